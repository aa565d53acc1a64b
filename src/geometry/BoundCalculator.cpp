#include "geometry/BoundCalculator.h"

#include <algorithm>

namespace Graphics {

void BoundCalculator::Add(const Point<float>& point) {
    if (empty) {
        bound = Rect<float>(point.x, point.y, point.x, point.y);
        empty = false;
        return;
    }
    bound.left = std::min(bound.left, point.x);
    bound.top = std::min(bound.top, point.y);
    bound.right = std::max(bound.right, point.x);
    bound.bottom = std::max(bound.bottom, point.y);
}

void BoundCalculator::BeginFigure(const Point<float>& point) { Add(point); }

void BoundCalculator::LineTo(const Point<float>& point) { Add(point); }

void BoundCalculator::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    Add(control1);
    Add(control2);
    Add(end);
}

}  // namespace Graphics
