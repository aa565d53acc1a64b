#include "Graphics/Brush.h"

namespace Graphics {

// Defined out of line so that the brush's type information lives in one
// place, the library.
Brush::~Brush() = default;

}  // namespace Graphics
