#include "Graphics/Gradient.h"

#include "core/PackedColor.h"

namespace Graphics {

GradientSampler::GradientSampler(std::shared_ptr<LinearGradientBase> gradient) {
    if (gradient) m_Stops = gradient->GetGradientStopCollection();
}

unsigned int GradientSampler::GetColor(float t) const {
    if (!m_Stops) return 0;
    const unsigned int color = m_Stops->GetColor(t);
    const unsigned int a = (color >> 24) + 1;
    if (a == 256) return color;
    // Scaling with the alpha byte forced to 255 keeps the alpha of the
    // lookup: (255 * (alpha + 1)) >> 8 is alpha again.
    return ScaleColor(color | 0xFF000000u, a);
}

}  // namespace Graphics
