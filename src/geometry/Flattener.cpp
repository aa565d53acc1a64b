#include "geometry/Flattener.h"

#include <utility>

namespace Graphics {

Flattener::Flattener(float tolerance_, std::shared_ptr<GeometrySink> next_)
    : tolerance(tolerance_), next(std::move(next_)) {}

void Flattener::SetFillRule(FillRule::Enum rule) {
    if (next) next->SetFillRule(rule);
}

void Flattener::BeginFigure(const Point<float>& point) {
    if (next) next->BeginFigure(point);
    lastPoint = point;
}

void Flattener::EndFigure() {
    if (next) next->EndFigure();
}

void Flattener::EndFigureClose() {
    if (next) next->EndFigureClose();
}

void Flattener::LineTo(const Point<float>& point) {
    if (next) next->LineTo(point);
    lastPoint = point;
}

void Flattener::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    if (next) {
        BezierFlattener flattener(tolerance);
        flattener.SetPoints(lastPoint, control1, control2, end);
        Point<float> p;
        while (flattener.NextPoint(&p)) next->LineTo(p);
        next->LineTo(end);
    }
    lastPoint = end;
}

}  // namespace Graphics
