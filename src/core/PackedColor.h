#pragma once

#include <cstdint>

namespace Graphics {

// Scales a packed 32-bit colour (alpha on top) by a weight from 0 to 256,
// two channels per multiplication. Each product truncates, with no rounding
// term: a byte v becomes (v * w) >> 8. This one operation is shared by every
// software stage that weights colours (premultiplication, gradient stops,
// sampler weights, opacity), so that they all truncate the same way.
inline uint32_t ScaleColor(uint32_t c, uint32_t w) {
    const uint32_t rb = (((c & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu;
    const uint32_t ag = (((c >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u;
    return rb | ag;
}

}  // namespace Graphics
