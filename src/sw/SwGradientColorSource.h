#pragma once

#include <memory>

#include "Graphics/Types.h"
#include "core/PackedColor.h"
#include "sw/SwColorSource.h"

namespace Graphics {

class GradientBrush;

// Picks the software source that paints a gradient brush, by the gradient's
// type, and holds the weighting that the gradient sources share.
class SwGradientColorSource {
public:
    // Linear and radial gradients get their own per-pixel sources. Any other
    // gradient, a missing one, or a brush without a gradient raises
    // "Not implemented".
    static std::shared_ptr<SwColorSource> Factory(std::shared_ptr<GradientBrush> brush, const Rect<float>& bounds,
                                                  const Matrix& placement);

    // The brush opacity as a weight from 1 to 256: the low byte of
    // truncate(opacity * 255.0), plus one. Opacity is not clamped, so 2.0
    // wraps to 255 and 0.0 gives 1 (every byte scales down to 0).
    static unsigned int OpacityWeight(float opacity);

    // A sampled colour weighted by the opacity; 256 leaves it as it is.
    static unsigned int ApplyWeight(unsigned int color, unsigned int weight) {
        return weight == 256 ? color : ScaleColor(color, weight);
    }
};

}  // namespace Graphics
