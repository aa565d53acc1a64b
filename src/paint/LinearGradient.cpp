#include "Graphics/Gradient.h"

namespace Graphics {

LinearGradient::LinearGradient(const Color& startColor, const Color& endColor, const Point<float>& start,
                               const Point<float>& end)
    : LinearGradientBase(startColor, endColor, start, end) {}

LinearGradient::LinearGradient(const GradientStop* stops, unsigned long count, const Point<float>& start,
                               const Point<float>& end)
    : LinearGradientBase(stops, count, start, end) {}

int LinearGradient::GetType() const { return 0; }

}  // namespace Graphics
