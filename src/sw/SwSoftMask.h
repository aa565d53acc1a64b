#pragma once

#include "Graphics/Types.h"

#include <memory>

namespace Graphics {

class SwColorSource;

// A soft mask of a sub-target's state: the paint whose alpha or luminosity
// scales what is drawn. Immutable once made, and shared between states.
struct SwSoftMask {
    std::shared_ptr<SwColorSource> source;
    SoftMaskType::Enum type = SoftMaskType::Alpha;
};

}  // namespace Graphics
