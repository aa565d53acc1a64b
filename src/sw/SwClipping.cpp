#include "sw/SwClipping.h"

namespace Graphics {

SwClipping::SwClipping(const Size<int>& s, float x, float y) : size(s), dpiX(x), dpiY(y) {}

SwClipping::SwClipping(const SwClipping& other) : size(other.size), dpiX(other.dpiX), dpiY(other.dpiY) {}

std::shared_ptr<SwClipping> SwClipping::Clone() const { return std::make_shared<SwClipping>(*this); }

}  // namespace Graphics
