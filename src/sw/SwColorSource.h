#pragma once

#include <memory>

#include "Graphics/Types.h"

namespace Graphics {

class Brush;

// What the software compositor reads to learn the paint of a row of pixels.
//
// FillSpan(x0, x1, y, destination) writes x1 - x0 consecutive 32-bit words
// (the pixel of x0 first) in the layout of ARGB8p: alpha on top, colour
// channels premultiplied, the brush's opacity already applied. x1 is
// exclusive; with x1 not above x0 nothing is written. A source outside its
// paint delivers 0 (transparent black). (x, y) are surface pixel
// coordinates, evaluated as integers.
class SwColorSource {
public:
    virtual ~SwColorSource() = default;

    virtual void FillSpan(int x0, int x1, int y, unsigned char* destination) = 0;

    // Turns a brush into the source that paints it. `bounds` is the area to
    // be painted, in surface pixels; `placement` maps the pixels FillSpan
    // addresses into the space in which the brush's transform is given.
    static std::shared_ptr<SwColorSource> CreateFromBrush(std::shared_ptr<Brush> brush, const Rect<float>& bounds,
                                                          const Matrix& placement);
};

}  // namespace Graphics
