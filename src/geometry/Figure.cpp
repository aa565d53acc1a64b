#include "geometry/Figure.h"

#include "geometry/Transformer.h"

#include <algorithm>

namespace Graphics {

void Figure::StartAt(const Point<float>& p) {
    Reset();
    points.push_back(p);
}

void Figure::Reset() {
    commands.clear();
    points.clear();
    closed = false;
}

void Figure::CurveTo(const Point<float>& c1, const Point<float>& c2, const Point<float>& p) {
    commands.push_back(Curve);
    points.push_back(c1);
    points.push_back(c2);
    points.push_back(p);
}

void Figure::LineToReverse(const Point<float>& p) {
    if (!points.empty() && points.front().x == p.x && points.front().y == p.y) return;
    commands.push_front(Line);
    points.push_front(p);
}

void Figure::CurveToReverse(const Point<float>& a, const Point<float>& b, const Point<float>& c) {
    commands.push_front(Curve);
    points.push_front(c);
    points.push_front(b);
    points.push_front(a);
}

void Figure::JoinFigure(const std::shared_ptr<Figure>& other) {
    if (!other || other->points.empty()) return;
    // Joining a figure to itself would walk sequences that grow under the walk.
    if (other.get() == this) {
        JoinFigure(std::make_shared<Figure>(*this));
        return;
    }
    const Figure& o = *other;
    if (points.empty())
        StartAt(o.points.front());
    else
        LineTo(o.points.front());

    const std::size_t count = o.points.size();
    std::size_t i = 1;
    for (std::int32_t command : o.commands) {
        if (command == Line) {
            if (i >= count) break;
            LineTo(o.points[i]);
            i += 1;
        } else if (command == Curve) {
            if (i + 3 > count) break;
            CurveTo(o.points[i], o.points[i + 1], o.points[i + 2]);
            i += 3;
        }
    }
}

void Figure::JoinFigureReverse(const std::shared_ptr<Figure>& other) {
    if (other) JoinFigureReverse(*other);
}

void Figure::JoinFigureReverse(const Figure& o) {
    if (o.points.empty()) return;
    if (&o == this) {
        JoinFigureReverse(Figure(*this));
        return;
    }
    if (points.empty())
        StartAt(o.points.front());
    else
        LineToReverse(o.points.front());

    const std::size_t count = o.points.size();
    std::size_t i = 1;
    for (std::int32_t command : o.commands) {
        if (command == Line) {
            if (i >= count) break;
            LineToReverse(o.points[i]);
            i += 1;
        } else if (command == Curve) {
            if (i + 3 > count) break;
            CurveToReverse(o.points[i], o.points[i + 1], o.points[i + 2]);
            i += 3;
        }
    }
}

bool Figure::GetStartPoint(Point<float>* point) const {
    if (points.empty()) return false;
    if (point) *point = points.front();
    return true;
}

bool Figure::GetLastPoint(Point<float>* point) const {
    if (points.empty()) return false;
    if (point) *point = closed ? points.front() : points.back();
    return true;
}

bool Figure::IsEqual(const std::shared_ptr<Figure>& other) const {
    if (!other) return false;
    const Figure& o = *other;
    if (closed != o.closed) return false;
    if (commands.size() != o.commands.size()) return false;
    if (!std::equal(commands.begin(), commands.end(), o.commands.begin())) return false;
    if (points.size() != o.points.size()) return false;
    for (std::size_t i = 0; i < points.size(); ++i) {
        // Written as == so that NaN compares unequal.
        if (!(points[i].x == o.points[i].x && points[i].y == o.points[i].y)) return false;
    }
    return true;
}

bool Figure::IsRectangle(const Matrix& matrix, Rect<float>* rect) const {
    if (commands.size() == 4 && points.size() == 5) {
        if (!(points[0].x == points[4].x && points[0].y == points[4].y)) return false;
    } else if (!(commands.size() == 3 && points.size() == 4)) {
        return false;
    }
    for (std::int32_t command : commands) {
        if (command != Line) return false;
    }

    const Point<float> p0 = Transformer::Map(matrix, points[0]);
    const Point<float> p1 = Transformer::Map(matrix, points[1]);
    const Point<float> p2 = Transformer::Map(matrix, points[2]);
    const Point<float> p3 = Transformer::Map(matrix, points[3]);

    Rect<float> r;
    if (p0.x == p1.x && p1.y == p2.y && p2.x == p3.x && p3.y == p0.y) {
        r = Rect<float>(std::min(p0.x, p2.x), std::min(p1.y, p3.y), std::max(p0.x, p2.x), std::max(p1.y, p3.y));
    } else if (p0.y == p1.y && p1.x == p2.x && p2.y == p3.y && p3.x == p0.x) {
        r = Rect<float>(std::min(p1.x, p3.x), std::min(p0.y, p2.y), std::max(p1.x, p3.x), std::max(p0.y, p2.y));
    } else {
        return false;
    }
    if (rect) *rect = r;
    return true;
}

void Figure::SendToSink(const std::shared_ptr<GeometrySink>& sink) const {
    if (!sink || points.empty()) return;
    sink->BeginFigure(points.front());
    const std::size_t count = points.size();
    std::size_t i = 1;
    for (std::int32_t command : commands) {
        if (command == Line) {
            if (i >= count) break;
            sink->LineTo(points[i]);
            i += 1;
        } else if (command == Curve) {
            if (i + 3 > count) break;
            sink->CurveTo(points[i], points[i + 1], points[i + 2]);
            i += 3;
        }
    }
    if (closed)
        sink->EndFigureClose();
    else
        sink->EndFigure();
}

}  // namespace Graphics
