#include "geometry/BezierFlattener.h"

#include <algorithm>

namespace Graphics {

// std::max keeps a NaN argument: such a tolerance makes every comparison
// false, so curves go straight to their end points instead of being cut to
// the finest step.
BezierFlattener::BezierFlattener(float tolerance_) : tolerance(std::max(tolerance_, Epsilon)) {}

void BezierFlattener::SetPoints(const Point<float>& p0, const Point<float>& p1, const Point<float>& p2,
                                const Point<float>& p3) {
    point = p0;
    delta = Point<float>(p3.x - p0.x, p3.y - p0.y);
    e0 = Point<float>((p2.x + (p0.x - p1.x - p1.x)) * 6.0f, (p2.y + (p0.y - p1.y - p1.y)) * 6.0f);
    e1 = Point<float>((p3.x + (p1.x - p2.x - p2.x)) * 6.0f, (p3.y + (p1.y - p2.y - p2.y)) * 6.0f);
    stepSize = 1.0f;
    steps = 1;

    // NaN differences fail every comparison and take no halving; infinite
    // ones stop at the least step like any other steep curve.
    const float limit = tolerance * 6.0f;
    while (std::fabs(e0.x) > limit || std::fabs(e0.y) > limit || std::fabs(e1.x) > limit || std::fabs(e1.y) > limit) {
        HalveTheStep();
        if (!(stepSize > Epsilon)) break;
    }
}

}  // namespace Graphics
