#include "Graphics/Types.h"

namespace Graphics {

Color::Color(unsigned int argb)
    : r(static_cast<float>((argb >> 16) & 0xFF) / 255.0f),
      g(static_cast<float>((argb >> 8) & 0xFF) / 255.0f),
      b(static_cast<float>(argb & 0xFF) / 255.0f),
      a(static_cast<float>((argb >> 24) & 0xFF) / 255.0f) {}

namespace {

// Truncates toward zero with no clamp. Out-of-range values (negative, above
// 1, NaN) must not be undefined behaviour, so the float goes through a wide
// signed integer first and wraps as the masks below expect.
unsigned int _Channel(float v) {
    const float scaled = v * 255.0f;
    if (!(scaled > -2147483648.0f && scaled < 2147483648.0f)) return 0;
    return static_cast<unsigned int>(static_cast<int>(scaled));
}

}  // namespace

unsigned int Color::ToARGB() const {
    return (_Channel(a) << 24) | ((_Channel(r) & 0xFF) << 16) | ((_Channel(g) & 0xFF) << 8) | (_Channel(b) & 0xFF);
}

unsigned int Color::ToABGR() const {
    return (_Channel(a) << 24) | ((_Channel(b) & 0xFF) << 16) | ((_Channel(g) & 0xFF) << 8) | (_Channel(r) & 0xFF);
}

}  // namespace Graphics
