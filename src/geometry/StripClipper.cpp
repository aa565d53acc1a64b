#include "geometry/StripClipper.h"

#include "geometry/BezierFlattener.h"

#include <cmath>
#include <utility>

namespace Graphics {

StripClipper::StripClipper(StripOrientation::Enum orientation_, float a, float b, float tolerance_,
                           std::shared_ptr<GeometrySink> sink_)
    : tolerance(tolerance_),
      orientation(orientation_),
      lowBound(a),
      highBound(b),
      sink(std::move(sink_)),
      figureStarted(false),
      region(1) {
    if (a > b) std::swap(lowBound, highBound);
}

void StripClipper::SetFillRule(FillRule::Enum rule) {
    if (sink) sink->SetFillRule(rule);
}

int StripClipper::GetPointRegion(const Point<float>& point) const {
    const float c = orientation == StripOrientation::Vertical ? point.x : point.y;
    if (c > highBound) return 2;
    if (lowBound > c) return 0;
    return 1;
}

Point<float> StripClipper::GetIntersection(const Point<float>& a, const Point<float>& b, int region_) const {
    const float v = region_ == 0 ? lowBound : highBound;
    if (orientation == StripOrientation::Vertical)
        return Point<float>(v, ((v - b.x) * a.y - (v - a.x) * b.y) / (a.x - b.x));
    return Point<float>(((v - b.y) * a.x - (v - a.y) * b.x) / (a.y - b.y), v);
}

void StripClipper::DoPoint(const Point<float>& point) {
    if (!sink) return;
    if (!figureStarted) {
        sink->BeginFigure(point);
        figureStarted = true;
    } else {
        sink->LineTo(point);
    }
}

void StripClipper::BeginFigure(const Point<float>& point) {
    figureStarted = false;
    startPoint = point;
    lastPoint = point;
    region = GetPointRegion(point);
}

void StripClipper::AcceptPoint(const Point<float>& point) {
    const int r = GetPointRegion(point);
    const int q = region;
    if (r == 1) {
        if (q != 1) DoPoint(GetIntersection(point, lastPoint, q));
        DoPoint(point);
    } else if (q == 1) {
        DoPoint(GetIntersection(lastPoint, point, r));
    } else if (r != q) {
        // Straight across the strip: in at one bound, out at the other.
        DoPoint(GetIntersection(point, lastPoint, q));
        DoPoint(GetIntersection(lastPoint, point, r));
    }
    // Both beyond the same bound: nothing. The next point passed on joins
    // the exit and the re-entry along the bound.
    region = r;
}

void StripClipper::LineTo(const Point<float>& point) {
    if (point == lastPoint) return;
    AcceptPoint(point);
    lastPoint = point;
}

void StripClipper::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    // A curve lies within the hull of its control points: with all four
    // beyond the same bound, every point of it would be dropped, and only the
    // end point matters. This spares the flattening of curves that a strong
    // zoom has made huge and pushed out of sight.
    const int r = GetPointRegion(end);
    if (r != 1 && region == r && GetPointRegion(control1) == r && GetPointRegion(control2) == r) {
        LineTo(end);
        return;
    }
    FlattenCurve(tolerance, lastPoint, control1, control2, end, [this](const Point<float>& p) { LineTo(p); });
}

// A fill closes an open figure anyway.
void StripClipper::EndFigure() { EndFigureClose(); }

void StripClipper::EndFigureClose() {
    LineTo(startPoint);
    if (sink) sink->EndFigureClose();
}

}  // namespace Graphics
