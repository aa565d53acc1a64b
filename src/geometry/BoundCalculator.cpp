#include "geometry/BoundCalculator.h"

#include <algorithm>

namespace Graphics {

void BoundCalculator::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    Add(control1);
    Add(control2);
    Add(end);
}

}  // namespace Graphics
