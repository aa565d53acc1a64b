#include "Graphics/Gradient.h"

#include "paint/GradientStopLookup.h"

namespace Graphics {

GradientSampler::GradientSampler(std::shared_ptr<LinearGradientBase> gradient) {
    if (gradient) m_Stops = gradient->GetGradientStopCollection();
}

unsigned int GradientSampler::GetColor(float t) const { return GradientStopLookup(*this).Premultiplied(t); }

}  // namespace Graphics
