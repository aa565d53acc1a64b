#pragma once

#include <cstddef>
#include <cstdint>
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

    // Where the words that FillSpan would write for the span already lie in
    // memory (an image's own pixels drawn at unit scale), the address of
    // x0's word, aligned to a word; null otherwise. A caller may then read
    // them in place of a copy.
    virtual const uint32_t* SpanWords(int x0, int x1, int y) {
        (void)x0;
        (void)x1;
        (void)y;
        return nullptr;
    }

    // The spans from x0 to x1 of rows y0 .. y0 + rows - 1, row r written at
    // destination + r * stride: the words FillSpan would give row by row.
    // Returns false, having written nothing, where the source has no faster
    // way than FillSpan per row, or where it reads memory in
    // [avoidBegin, avoidEnd) (pixels a caller writes while the rows wait).
    virtual bool FillRows(int /*x0*/, int /*x1*/, int /*y0*/, int /*rows*/, unsigned char* /*destination*/,
                          std::ptrdiff_t /*stride*/, const void* /*avoidBegin*/, const void* /*avoidEnd*/) {
        return false;
    }

    // Tells the source that spans from x0 to x1 follow on many rows, so
    // that work shared by them may be done from the first.
    virtual void ExpectSpans(int x0, int x1) {
        (void)x0;
        (void)x1;
    }

    // Turns a brush into the source that paints it. `bounds` is the area to
    // be painted, in surface pixels; `placement` maps the pixels FillSpan
    // addresses into the space in which the brush's transform is given.
    static std::shared_ptr<SwColorSource> CreateFromBrush(std::shared_ptr<Brush> brush, const Rect<float>& bounds,
                                                          const Matrix& placement);
};

}  // namespace Graphics
