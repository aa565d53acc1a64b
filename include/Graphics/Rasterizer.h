#pragma once

#include "Graphics/Geometry.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Graphics {

// One pixel row of anti-aliased coverage, as a sorted list of nodes. Each
// node gives the coverage (0 to 64, 64 being full) of the pixels from its x
// up to the x of the next node. The list always starts with a node at
// x = -2147483648 and ends with one at x = 2147483647, both of coverage 0;
// neighbouring nodes of equal coverage are not merged.
//
// Reading a row:
//   for (const CoverageBuffer::Span* s = buffer->GetHead(); s->next; s = s->next)
//       if (s->coverage) Paint(s->x, s->next->x, s->coverage);
class CoverageBuffer : public GraphicsBase {
public:
    struct Span {
        Span* next;
        int x;         // first pixel of the run
        int coverage;  // absolute, not a delta
    };

    CoverageBuffer();
    ~CoverageBuffer();
    CoverageBuffer(const CoverageBuffer&) = delete;
    CoverageBuffer& operator=(const CoverageBuffer&) = delete;

    // Adds the span of one sample row, from sample column x0 up to x1
    // (exclusive), eight sample columns to a pixel. Each sample row adds at
    // most 8 to a pixel.
    void InsertSpan(int x0, int x1);
    // Back to the two end nodes. The nodes are kept for the next row; they
    // are freed with the buffer.
    void Reset();

    // The first node (x = -2147483648).
    const Span* GetHead() const {
        if (!built) const_cast<CoverageBuffer*>(this)->Build();
        return &head;
    }

private:
    // Spans are not linked in as they come: each adds its changes of
    // coverage at up to four pixels to a window of per-pixel deltas, with a
    // bit per pixel that marks where a node goes, and the node list is built
    // in one sweep when the row is read. The nodes and their coverage depend
    // only on the set of spans, not on their order. Changes outside the
    // window wait in a list that is sorted into the sweep.
    friend class Rasterizer;
    // The span added times times over, as that many sample rows that agree.
    void AddSpan(int x0, int x1, int times);
    void InsertSlow(int x0, int x1);
    void Build();
    void Unbuild();
    void AddChange(int x, int delta);
    void ClearWindow();
    void Allocate(int width);

    Span head;
    Span tail;
    bool built;                             // head..tail is up to date, the window empty
    std::vector<Span> nodes;                // storage of the built list, between head and tail
    std::size_t nodeCount;
    int base;                               // the pixel of the window's first delta
    int width;                              // pixels in the window, a multiple of 64
    unsigned fastLimit;                     // width - 1, or 0 before the window exists
    int firstWord;                          // marked words lie in firstWord..lastWord
    int lastWord;
    bool overflowed;                        // a change fell outside the window this row
    std::vector<int> deltas;                // per pixel of the window
    std::vector<unsigned long long> marks;  // a bit per pixel of the window
    std::vector<std::pair<int, int>> outside;  // x and change, outside the window
};

// Inline, as the rasterizer calls it for every span of every sample row; what
// does not fit the window, or comes after the row was read, goes the long way.
inline void CoverageBuffer::InsertSpan(int x0, int x1) { AddSpan(x0, x1, 1); }

inline void CoverageBuffer::AddSpan(int x0, int x1, int times) {
    if (x1 <= x0) return;
    const unsigned ia = static_cast<unsigned>((x0 >> 3) - base);
    const unsigned ib = static_cast<unsigned>((x1 >> 3) - base);
    if (built || ia >= fastLimit || ib >= fastLimit) {
        for (int k = 0; k < times; ++k) InsertSlow(x0, x1);
        return;
    }
    const int f0 = x0 & 7;
    const int f1 = x1 & 7;
    int* d = deltas.data();
    unsigned long long* m = marks.data();
    // The pixel behind each end takes the rest of a partly covered sample
    // column; it is marked only when there is a rest, but updated either
    // way (adding 0), so that the fractions, which vary from span to span,
    // cost no branches. ia + 1 and ib + 1 lie inside the window.
    d[ia] += (8 - f0) * times;
    m[ia >> 6] |= 1ULL << (ia & 63);
    d[ia + 1] += f0 * times;
    m[(ia + 1) >> 6] |= static_cast<unsigned long long>(f0 != 0) << ((ia + 1) & 63);
    d[ib] -= (8 - f1) * times;
    m[ib >> 6] |= 1ULL << (ib & 63);
    d[ib + 1] -= f1 * times;
    m[(ib + 1) >> 6] |= static_cast<unsigned long long>(f1 != 0) << ((ib + 1) & 63);
    const int w0 = static_cast<int>(ia >> 6);
    const int w1 = static_cast<int>((ib + 1) >> 6);
    if (w0 < firstWord) firstWord = w0;
    if (w1 > lastWord) lastWord = w1;
}

// The receiver of a rasterized path. Exactly one kind of output reaches it
// per draw: rows of coverage, one rectangle, or trapezoids (with rows of
// coverage between them where trapezoids could not be used).
class RasterizationSink {
public:
    virtual ~RasterizationSink() {}
    // Pixel row y is complete. The buffer is reset as soon as the call
    // returns: consume it during the call. Spans may lie left or right of the
    // clip; the sink clips x itself.
    virtual void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) = 0;
    // The whole shape is this pixel rectangle; right and bottom exclusive.
    virtual void AddRectangle(int left, int top, int right, int bottom) = 0;
    // Asked once per draw, before any output.
    virtual bool CanAcceptTrapezoids() const = 0;
    // The band from top to bottom, in pixels, between a left side running
    // from topLeft to bottomLeft and a right side from topRight to
    // bottomRight. Each feather is the half width, in pixels, of the ramp
    // across which that side goes from no coverage to full coverage.
    virtual void AddTrapezoid(float top, float topLeft, float topRight, float bottom, float bottomLeft,
                              float bottomRight, float leftFeather, float rightFeather) = 0;
    // Pixel rows y .. y + count - 1 all have the coverage of the buffer, as
    // consecutive AddCoverage calls would give it: by default that is what
    // happens. A sink may paint them in another order where that gives the
    // same pixels.
    virtual void AddCoverageRows(int y, int count, std::shared_ptr<CoverageBuffer> buffer) {
        for (int k = 0; k < count; ++k) AddCoverage(y + k, buffer);
    }
};

// Scan-converts the geometry under the transform into the sink, 8 by 8
// samples to a pixel, curves flattened in device space with a tolerance of a
// quarter pixel. Rows outside the clip are not produced; the clip does not
// cut x. With adjustRectangles, a geometry that rasterizes to one
// axis-aligned rectangle comes out as one whole-pixel AddRectangle, at least
// one pixel wide and tall. Coordinates far beyond the drawable range
// (32535 pixels either way) are clipped away first, so any finite path is
// safe to pass. Nothing happens for a null geometry or sink.
void RasterizeGeometry(std::shared_ptr<Geometry> geometry, const Matrix& transform, const Rect<float>& clip,
                       bool adjustRectangles, std::shared_ptr<RasterizationSink> sink);

}  // namespace Graphics
