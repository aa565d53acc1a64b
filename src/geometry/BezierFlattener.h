#pragma once

#include "Graphics/Types.h"

#include <cmath>

namespace Graphics {

// Walks one cubic Bezier curve by forward differences in float, with a
// parameter step that halves where the curve bends and doubles where it is
// flat. Lives on the caller's stack, one per curve: no allocation, no
// recursion.
//
// Use:
//   BezierFlattener flattener(tolerance);
//   flattener.SetPoints(current, c1, c2, end);
//   Point<float> p;
//   while (flattener.NextPoint(&p)) sink->LineTo(p);
//   sink->LineTo(end);
//
// The end point itself is never returned, so a curve always ends exactly on
// its end point whatever error the differences accumulated.
//
// The tolerance bounds the largest coordinate of the second differences
// scaled by 6 (limit 6 * tolerance), not the distance to the curve.
//
// The parameter step never falls below 2^-23, so one curve never yields more
// than 2^23 - 1 points, whatever its coordinates (NaN and infinities
// included).
class BezierFlattener {
public:
    // The float machine epsilon: the least tolerance and the least step.
    static constexpr float Epsilon = 1.1920929e-7f;

    // Tolerances below the epsilon are raised to it.
    explicit BezierFlattener(float tolerance);

    void SetPoints(const Point<float>& p0, const Point<float>& p1, const Point<float>& p2, const Point<float>& p3);

    // The next point of the curve, stored in point when it is not null; false
    // once only the step to the end point is left.
    bool NextPoint(Point<float>* point) {
        if (steps < 2) return false;
        Step();
        if (point) *point = this->point;
        const float limit = tolerance * 6.0f;
        if (stepSize > Epsilon && (std::fabs(e1.x) > limit || std::fabs(e1.y) > limit)) {
            HalveTheStep();
            return true;
        }
        while (TryDoubleTheStep()) {
        }
        return true;
    }

    void Step() {
        point.x = point.x + delta.x;
        point.y = point.y + delta.y;
        const Point<float> old = e1;
        e1.x = (e1.x - e0.x) + e1.x;
        e1.y = (e1.y - e0.y) + e1.y;
        delta.x = delta.x + old.x;
        delta.y = delta.y + old.y;
        e0 = old;
        steps = steps - 1;
    }

    void HalveTheStep() {
        e1.x = (e1.x + e0.x) * 0.125f;
        e1.y = (e1.y + e0.y) * 0.125f;
        delta.x = (delta.x - e1.x) * 0.5f;
        delta.y = (delta.y - e1.y) * 0.5f;
        e0.x = e0.x * 0.25f;
        e0.y = e0.y * 0.25f;
        stepSize = stepSize * 0.5f;
        steps = steps * 2;
    }

    // Doubling keeps the walk landing exactly on the end, so it needs an even
    // count of steps left. Its limit is a quarter of the halving limit since
    // the differences grow fourfold with the step: a step just doubled is not
    // halved again at once unless the curve bends more.
    bool TryDoubleTheStep() {
        if (steps & 1u) return false;
        const float limit = tolerance * 1.5f;
        const Point<float> f(e1.x + e1.x - e0.x, e1.y + e1.y - e0.y);
        if (std::fabs(e0.x) > limit || std::fabs(e0.y) > limit || std::fabs(f.x) > limit || std::fabs(f.y) > limit)
            return false;
        delta.x = e1.x + delta.x + delta.x;
        delta.y = e1.y + delta.y + delta.y;
        e0.x = e0.x * 4.0f;
        e0.y = e0.y * 4.0f;
        e1.x = f.x * 4.0f;
        e1.y = f.y * 4.0f;
        stepSize = stepSize * 2.0f;
        steps = steps / 2;
        return true;
    }

    float GetTolerance() const { return tolerance; }
    unsigned GetSteps() const { return steps; }
    float GetStepSize() const { return stepSize; }

private:
    float tolerance;
    unsigned steps = 1;
    float stepSize = 1.0f;
    Point<float> e0;     // older second difference at the present step, times 6
    Point<float> e1;     // newer second difference, times 6
    Point<float> delta;  // from the present point to the next one
    Point<float> point;  // the present point
};

inline bool IsFinitePoint(const Point<float>& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// Feeds the inner points of the curve from `from` to `lineTo`, then its end
// point. A curve through a non-finite point has no points worth drawing, and
// an infinite one would only make the stepper halve down to its floor: it
// goes out as its end point alone.
template <typename LineTo>
void FlattenCurve(float tolerance, const Point<float>& from, const Point<float>& control1,
                  const Point<float>& control2, const Point<float>& end, LineTo&& lineTo) {
    if (IsFinitePoint(from) && IsFinitePoint(control1) && IsFinitePoint(control2) && IsFinitePoint(end)) {
        BezierFlattener flattener(tolerance);
        flattener.SetPoints(from, control1, control2, end);
        Point<float> point;
        while (flattener.NextPoint(&point)) lineTo(point);
    }
    lineTo(end);
}

}  // namespace Graphics
