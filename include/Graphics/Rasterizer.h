#pragma once

#include "Graphics/Geometry.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <memory>

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
    const Span* GetHead() const { return &head; }

private:
    Span* NewSpan(Span* after, int x, int coverage);
    Span* EnsureNodeAfter(Span* node);

    struct Pool;
    std::unique_ptr<Pool> pool;
    Span head;
    Span tail;
    Span* cursor;
    Span* freeList;
};

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
