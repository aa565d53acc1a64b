#include "sw/SwGradientColorSource.h"

#include "Graphics/Brush.h"
#include "Graphics/Gradient.h"
#include "core/Failure.h"
#include "sw/SwLinearGradientColorSource.h"
#include "sw/SwRadialGradientColorSource.h"

namespace Graphics {

std::shared_ptr<SwColorSource> SwGradientColorSource::Factory(std::shared_ptr<GradientBrush> brush,
                                                              const Rect<float>&, const Matrix& placement) {
    const std::shared_ptr<Gradient> gradient = brush ? brush->GetGradient() : nullptr;
    // The type number alone is not trusted with the cast: a gradient that
    // claims a type it does not have is refused like an unknown one.
    switch (gradient ? gradient->GetType() : -1) {
        case 0:
            if (dynamic_cast<const LinearGradientBase*>(gradient.get()) != nullptr)
                return std::make_shared<SwLinearGradientColorSource>(std::move(brush), placement);
            break;
        case 1:
            if (dynamic_cast<const RadialGradient*>(gradient.get()) != nullptr)
                return std::make_shared<SwRadialGradientColorSource>(std::move(brush), placement);
            break;
        case 2:  // triangle mesh paint: not available in this build yet
        default:
            break;
    }
    GRAPHICS_FAIL("Not implemented");
}

unsigned int SwGradientColorSource::OpacityWeight(float opacity) {
    // The product is taken in double. Values an int cannot hold (and NaN)
    // keep a low byte of 0, as a hardware truncation to int would.
    const double scaled = static_cast<double>(opacity) * 255.0;
    unsigned int low = 0;
    if (scaled > -2147483649.0 && scaled < 2147483648.0)
        low = static_cast<unsigned int>(static_cast<int>(scaled)) & 0xFFu;
    return low + 1;
}

}  // namespace Graphics
