#include "Graphics/Gradient.h"

namespace Graphics {

LinearGradientBase::LinearGradientBase(const Color& startColor, const Color& endColor, const Point<float>& start,
                                       const Point<float>& end)
    : m_Stops(std::make_shared<GradientStopCollection>()), m_StartPoint(start), m_EndPoint(end) {
    m_Stops->InsertStop(0.0f, startColor);
    m_Stops->InsertStop(1.0f, endColor);
}

LinearGradientBase::LinearGradientBase(const GradientStop* stops, unsigned long count, const Point<float>& start,
                                       const Point<float>& end)
    : m_Stops(std::make_shared<GradientStopCollection>()), m_StartPoint(start), m_EndPoint(end) {
    m_Stops->InsertStops(stops, count);
}

}  // namespace Graphics
