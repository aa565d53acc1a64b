#include "geometry/Transformer.h"

#include <utility>

namespace Graphics {

Transformer::Transformer(const Matrix& matrix_, std::shared_ptr<GeometrySink> next_)
    : matrix(matrix_), next(std::move(next_)) {}

void Transformer::SetFillRule(FillRule::Enum rule) {
    if (next) next->SetFillRule(rule);
}

void Transformer::BeginFigure(const Point<float>& point) {
    if (next) next->BeginFigure(Map(matrix, point));
}

void Transformer::EndFigure() {
    if (next) next->EndFigure();
}

void Transformer::EndFigureClose() {
    if (next) next->EndFigureClose();
}

void Transformer::LineTo(const Point<float>& point) {
    if (next) next->LineTo(Map(matrix, point));
}

void Transformer::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    if (next) next->CurveTo(Map(matrix, control1), Map(matrix, control2), Map(matrix, end));
}

}  // namespace Graphics
