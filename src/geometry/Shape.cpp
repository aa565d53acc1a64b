#include "geometry/Shape.h"

#include "geometry/Figure.h"

#include <utility>

namespace Graphics {

Shape::Shape() {}

Shape::~Shape() {}

void Shape::SetFillRule(FillRule::Enum rule) { fillRule = rule; }

void Shape::BeginFigure(const Point<float>& point) {
    if (activeFigure) EndFigure();
    // Room for the two figures of a stroke's outline at once.
    if (figures.empty()) figures.reserve(2);
    while (!activeFigure && !spareFigures.empty()) {
        if (spareFigures.back().use_count() == 1) activeFigure = std::move(spareFigures.back());
        spareFigures.pop_back();
    }
    if (!activeFigure) activeFigure = std::make_shared<Figure>();
    activeFigure->StartAt(point);
    boundCalculator.BeginFigure(point);
}

void Shape::LineTo(const Point<float>& point) {
    if (!activeFigure) return;
    activeFigure->LineTo(point);
    boundCalculator.LineTo(point);
}

void Shape::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    if (!activeFigure) return;
    activeFigure->CurveTo(control1, control2, end);
    boundCalculator.CurveTo(control1, control2, end);
}

void Shape::EndFigure() {
    if (!activeFigure) return;
    figures.push_back(std::move(activeFigure));
    activeFigure.reset();
    boundCalculator.EndFigure();
}

void Shape::EndFigureClose() {
    if (!activeFigure) return;
    activeFigure->Close();
    figures.push_back(std::move(activeFigure));
    activeFigure.reset();
    boundCalculator.EndFigureClose();
}

Rect<float> Shape::GetBound() const { return boundCalculator.GetBound(); }

void Shape::Reset() {
    fillRule = FillRule::Winding;
    if (activeFigure) spareFigures.push_back(std::move(activeFigure));
    activeFigure.reset();
    for (std::shared_ptr<Figure>& figure : figures) spareFigures.push_back(std::move(figure));
    figures.clear();
    // A few are what the common outlines need; a dashed one of hundreds of
    // figures should not leave them all behind.
    constexpr std::size_t kMostSpares = 8;
    if (spareFigures.size() > kMostSpares) spareFigures.resize(kMostSpares);
    boundCalculator = BoundCalculator();
}

std::size_t Shape::CountPoints() const {
    std::size_t n = activeFigure ? activeFigure->points.size() : 0;
    for (const std::shared_ptr<Figure>& figure : figures) n += figure->points.size();
    return n;
}

bool Shape::GetLastPoint(Point<float>* point) const {
    if (!point) return false;
    if (activeFigure && activeFigure->GetLastPoint(point)) return true;
    if (!figures.empty()) return figures.back()->GetLastPoint(point);
    return false;
}

bool Shape::IsRectangle(const Matrix& matrix, Rect<float>* rect) const {
    return figures.size() == 1 && figures.front()->IsRectangle(matrix, rect);
}

bool Shape::IsRectangleOf(const Rect<float>& r) const {
    if (fillRule != FillRule::Winding || figures.size() != 1) return false;
    const Figure& f = *figures.front();
    if (!f.closed || f.points.size() != 4 || f.commands.size() != 3) return false;
    for (std::int32_t command : f.commands)
        if (command != Figure::Line) return false;
    const Point<float> corners[4] = {Point<float>(r.left, r.top), Point<float>(r.right, r.top),
                                     Point<float>(r.right, r.bottom), Point<float>(r.left, r.bottom)};
    for (int i = 0; i < 4; ++i)
        if (!(f.points[i].x == corners[i].x && f.points[i].y == corners[i].y)) return false;
    return true;
}

bool Shape::IsEqual(const std::shared_ptr<Shape>& other) const {
    if (!other) return false;
    if (figures.empty() || other->figures.empty()) return figures.empty() && other->figures.empty();
    if (fillRule != other->fillRule) return false;
    const Rect<float> a = GetBound();
    const Rect<float> b = other->GetBound();
    // Written as == so that NaN compares unequal.
    if (!(a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom)) return false;
    if (figures.size() != other->figures.size()) return false;
    for (std::size_t i = 0; i < figures.size(); ++i) {
        if (!figures[i]->IsEqual(other->figures[i])) return false;
    }
    return true;
}

void Shape::SendToSink(const std::shared_ptr<GeometrySink>& sink) const {
    if (!sink) return;
    sink->SetFillRule(fillRule);
    for (const std::shared_ptr<Figure>& figure : figures) figure->SendToSink(sink);
}

}  // namespace Graphics
