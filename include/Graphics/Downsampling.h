#pragma once

#include "Graphics/Types.h"

namespace Graphics {

// Averages the 2 x 2 block at (2x, 2y) into output pixel x. `source` is the
// start of source row 2y, `stride` leads to the next source row and
// `destination` is the start of output row y. A missing right column or
// bottom row repeats the pixel to its left or above.
class Box2x2Downsampling {
public:
    static void Downsample_8bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                void* destination);
    static void Downsample_24bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                 void* destination);
    static void Downsample_32bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                 void* destination);
    [[noreturn]] static void ThrowBadFormat();
};

}  // namespace Graphics
