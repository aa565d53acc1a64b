#include "Graphics/Gradient.h"

namespace Graphics {

// Defined out of line so that the gradient's type information lives in one
// place, the library.
Gradient::~Gradient() = default;

}  // namespace Graphics
