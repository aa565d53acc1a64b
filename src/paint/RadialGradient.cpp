#include "Graphics/Gradient.h"

namespace Graphics {

RadialGradient::RadialGradient(const Color& startColor, const Color& endColor, const Point<float>& center,
                               float radius)
    : LinearGradientBase(startColor, endColor, center, center), m_StartRadius(0.0f), m_EndRadius(radius) {}

RadialGradient::RadialGradient(const GradientStop* stops, unsigned long count, const Point<float>& center,
                               float radius)
    : LinearGradientBase(stops, count, center, center), m_StartRadius(0.0f), m_EndRadius(radius) {}

RadialGradient::RadialGradient(const Color& startColor, const Color& endColor, const Point<float>& start,
                               float startRadius, const Point<float>& end, float endRadius)
    : LinearGradientBase(startColor, endColor, start, end), m_StartRadius(startRadius), m_EndRadius(endRadius) {}

RadialGradient::RadialGradient(const GradientStop* stops, unsigned long count, const Point<float>& start,
                               float startRadius, const Point<float>& end, float endRadius)
    : LinearGradientBase(stops, count, start, end), m_StartRadius(startRadius), m_EndRadius(endRadius) {}

int RadialGradient::GetType() const { return 1; }

}  // namespace Graphics
