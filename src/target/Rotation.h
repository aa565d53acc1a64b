#pragma once

#include <cmath>

namespace Graphics {

// Sine and cosine of a rotation angle in radians, as the transform helpers
// use them. An angle of a full turn or more is first reduced by the float
// value of 2 pi; negative angles are left as they are. The functions run in
// double and the results are narrowed to float.
inline void ComputeRotation(float angle, float& sine, float& cosine) {
    const float fullTurn = 6.2831855f;
    double a = angle;
    if (angle >= fullTurn) a = std::fmod(a, static_cast<double>(fullTurn));
    sine = static_cast<float>(std::sin(a));
    cosine = static_cast<float>(std::cos(a));
}

}  // namespace Graphics
