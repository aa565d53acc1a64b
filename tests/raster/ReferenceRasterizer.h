#pragma once

// A frozen copy of the scan converter as it was before its coverage
// accumulation was reworked, kept apart under other names. The equivalence
// tests run both on the same paths and demand the very same sink calls.

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "Graphics/Region.h"
#include "core/FpuState.h"
#include "geometry/BezierFlattener.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"

#include <boost/pool/object_pool.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace RefRaster {
using namespace Graphics;

class RefCoverageBuffer : public GraphicsBase {
public:
    struct Span {
        Span* next;
        int x;         // first pixel of the run
        int coverage;  // absolute, not a delta
    };

    RefCoverageBuffer();
    ~RefCoverageBuffer();
    RefCoverageBuffer(const RefCoverageBuffer&) = delete;
    RefCoverageBuffer& operator=(const RefCoverageBuffer&) = delete;

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

class RefSink {
public:
    virtual ~RefSink() {}
    // Pixel row y is complete. The buffer is reset as soon as the call
    // returns: consume it during the call. Spans may lie left or right of the
    // clip; the sink clips x itself.
    virtual void AddCoverage(int y, std::shared_ptr<RefCoverageBuffer> buffer) = 0;
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

class RefRasterizer : public TessellationSink {
public:
    struct Edge {
        Edge* next;            // in the active list
        int ySubStart;         // first sample row
        int ySubEnd;           // sample row behind the last
        int xSub;              // present x, in sample columns
        int slopeInt;          // whole part of dx / dy, rounded down
        int errorTerm;         // accumulated error, negative between steps
        int errorUp;           // remainder of dx / dy, added per row
        int errorDown;         // dy of the edge in fixed units
        int windingDirection;  // +1 running down in path order, -1 up
    };

    // Fixed coordinates are held within this magnitude (524288 pixels), so
    // that the products of the edge set-up stay inside 32 bits. The path
    // reaches the rasterizer clipped to a much smaller range, so the limit
    // only ever matters for points that were never meant to be drawn.
    static constexpr int m_FixedLimit = 1 << 26;

    // Device coordinate to 1/128 pixel, truncating toward zero. Beyond the
    // limit the value saturates; a NaN gives 0.
    static int TransformToFixed(float value);

    RefRasterizer(const Rect<float>& clip, float tolerance, bool adjustRectangles,
               std::shared_ptr<RefSink> sink);
    ~RefRasterizer() override;

    RefRasterizer(const RefRasterizer&) = delete;
    RefRasterizer& operator=(const RefRasterizer&) = delete;

    void BeginGeometry() override;
    void EndGeometry() override;
    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    // Appends a point to the present figure without comparing it with the
    // last one.
    void AcceptPoint(const Point<float>& point);

    // The hard-edged variant, in place of EndGeometry: the edges, taken as
    // vertical (they are not stepped), become a Region of whole pixels whose
    // rectangles go to the sink through AddRectangle.
    void RasterizeAliased();
    void RasterizeEdges_NoAA(int y0, int y1);
    void UpdateAliasedRects(int y0, int y1);
    void OutputAliasedRects();

    // What the figures so far have produced, for inspection.
    const std::vector<Edge*>& GetEdges() const { return edges; }
    int GetYMin() const { return yMin; }
    int GetYMax() const { return yMax; }
    bool HasSlopedEdge() const { return hasSlopedEdge; }
    const Rect<int>& GetFixedClip() const { return clip; }

private:
    void AppendPoint(const Point<float>& point);
    void InitializeEdges();
    void AddEdge(const Point<int>& from, const Point<int>& to, int top, int bottom);
    void Rasterize();
    void PrepareEdges();
    void RasterizeEdges(int y0, int y1);
    void InsertStartingEdges(int y, std::size_t& nextEdge);
    void SortActiveEdges();
    void UpdateComplexScans(int y);
    Edge* GetRightEdge(Edge* left) const;
    Edge* GetSpanEnd(Edge* left) const;
    int ComputeTrapezoidsBottom(int top, int limit) const;
    void OutputTrapezoids(int top, int bottom);

    float tolerance;
    bool adjustRectangles;
    FillRule::Enum fillRule;
    Point<float> startPoint;
    Point<float> lastPoint;
    std::vector<Point<int>> points;
    boost::object_pool<Edge> edgePool;
    std::vector<Edge*> edges;
    Edge activeHead;
    bool hasSlopedEdge;
    Rect<int> clip;  // fixed units
    int yMin;        // sample rows
    int yMax;
    Region region;   // the aliased path only
    std::shared_ptr<RefCoverageBuffer> coverage;
    std::shared_ptr<RefSink> sink;
};


struct RefCoverageBuffer::Pool {
    boost::object_pool<Span> nodes{32};
};

inline RefCoverageBuffer::RefCoverageBuffer() : pool(new Pool), cursor(&head), freeList(nullptr) {
    head.next = &tail;
    head.x = -2147483647 - 1;
    head.coverage = 0;
    tail.next = nullptr;
    tail.x = 2147483647;
    tail.coverage = 0;
}

inline RefCoverageBuffer::~RefCoverageBuffer() {}

inline RefCoverageBuffer::Span* RefCoverageBuffer::NewSpan(Span* after, int x, int coverage) {
    Span* node = freeList;
    if (node) {
        freeList = node->next;
    } else {
        node = pool->nodes.malloc();
        if (!node) throw std::bad_alloc();
    }
    node->x = x;
    node->coverage = coverage;
    node->next = after->next;
    after->next = node;
    return node;
}

// A node at node->x + 1 that carries node's present coverage, so that a
// change made to node afterwards stops after one pixel.
inline RefCoverageBuffer::Span* RefCoverageBuffer::EnsureNodeAfter(Span* node) {
    Span* next = node->next;
    if (next->x == node->x + 1) return next;
    return NewSpan(node, node->x + 1, node->coverage);
}

inline void RefCoverageBuffer::InsertSpan(int x0, int x1) {
    // The rasterizer only passes spans from left to right; anything else
    // would make no sense as coverage.
    if (x1 <= x0) return;
    const int a = x0 >> 3;
    const int b = x1 >> 3;

    // Spans of one sample row arrive from left to right, so the walk can
    // usually start where the last span ended.
    Span* previous = a > cursor->x ? cursor : &head;
    Span* node = previous->next;
    while (node->x < a) {
        previous = node;
        node = node->next;
    }
    if (node->x != a) node = NewSpan(previous, a, previous->coverage);

    if (a == b) {
        EnsureNodeAfter(node);
        node->coverage += x1 - x0;
        cursor = node;
        return;
    }

    if (x0 & 7) {
        EnsureNodeAfter(node);
        node->coverage -= x0 & 7;
    }
    node->coverage += 8;
    previous = node;
    node = node->next;
    while (node->x < b) {
        node->coverage += 8;
        previous = node;
        node = node->next;
    }
    // Every node between a and b has just been raised by 8, so the coverage
    // to continue with at b is the previous node's less those 8.
    if (node->x != b) node = NewSpan(previous, b, previous->coverage - 8);
    cursor = node;
    if ((x1 & 7) == 0) return;
    EnsureNodeAfter(node);
    node->coverage += x1 & 7;
}

inline void RefCoverageBuffer::Reset() {
    Span* first = head.next;
    if (first != &tail) {
        Span* last = first;
        while (last->next != &tail) last = last->next;
        last->next = freeList;
        freeList = first;
        head.next = &tail;
    }
    cursor = &head;
}


namespace detail {

const int _IntMin = -2147483647 - 1;
const int _IntMax = 2147483647;

inline bool _IsFinite(const Point<float>& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

inline bool _CompareEdges(const RefRasterizer::Edge* a, const RefRasterizer::Edge* b) {
    if (a->ySubStart != b->ySubStart) return a->ySubStart < b->ySubStart;
    return a->xSub < b->xSub;
}

// floor(a / b) for b > 0.
inline int _FloorDiv(int a, int b) {
    int q = a / b;
    if ((a % b) != 0 && a < 0) --q;
    return q;
}

// Where an edge is after n more sample rows: the closed form of n steps of
// the per-row update. Wide enough for n beyond the edge's own end, which the
// trapezoid search asks about.
inline void _Skip(const RefRasterizer::Edge& e, int64_t n, int64_t& xSub, int64_t& errorTerm) {
    xSub += static_cast<int64_t>(e.slopeInt) * n;
    const int64_t t = n * e.errorUp + errorTerm;
    if (t >= 0) {
        const int64_t k = t / e.errorDown;
        xSub += k + 1;
        errorTerm = t - (k + 1) * e.errorDown;
    } else {
        errorTerm = t;
    }
}

inline void _SkipEdge(RefRasterizer::Edge* e, int n) {
    int64_t x = e->xSub, error = e->errorTerm;
    _Skip(*e, n, x, error);
    e->xSub = static_cast<int>(x);
    e->errorTerm = static_cast<int>(error);
}

// Four times the edge's slope (sample columns per sample row), rounded up:
// the room its ramp needs beside it in the trapezoid test.
inline int _SlopeWidth(const RefRasterizer::Edge* e) {
    if (e->errorUp == 0) return std::abs(e->slopeInt) * 4;
    const int t = (e->errorUp * 4) / e->errorDown + e->slopeInt * 4;
    return e->slopeInt >= 0 ? t + 1 : 1 - t;
}

}  // namespace detail
using namespace detail;

inline int RefRasterizer::TransformToFixed(float value) {
    const float fixed = value * 128.0f;
    if (fixed >= static_cast<float>(m_FixedLimit)) return m_FixedLimit;
    if (fixed <= -static_cast<float>(m_FixedLimit)) return -m_FixedLimit;
    if (fixed != fixed) return 0;
    return static_cast<int>(fixed);
}

inline RefRasterizer::RefRasterizer(const Rect<float>& clip_, float tolerance_, bool adjustRectangles_,
                       std::shared_ptr<RefSink> sink_)
    : tolerance(tolerance_),
      adjustRectangles(adjustRectangles_),
      fillRule(FillRule::Winding),
      edgePool(32),
      hasSlopedEdge(false),
      clip(TransformToFixed(clip_.left), TransformToFixed(clip_.top), TransformToFixed(clip_.right),
           TransformToFixed(clip_.bottom)),
      yMin(_IntMax),
      yMax(_IntMin),
      sink(std::move(sink_)) {
    activeHead.next = nullptr;
    activeHead.ySubStart = activeHead.ySubEnd = activeHead.xSub = _IntMin;
    activeHead.slopeInt = activeHead.errorTerm = activeHead.errorUp = activeHead.errorDown = 0;
    activeHead.windingDirection = 0;
}

inline RefRasterizer::~RefRasterizer() {}

inline void RefRasterizer::BeginGeometry() {
    yMin = _IntMax;
    yMax = _IntMin;
    points.reserve(256);
}

inline void RefRasterizer::EndGeometry() { Rasterize(); }

inline void RefRasterizer::SetFillRule(FillRule::Enum rule) { fillRule = rule; }

// A point that is not a number has no place to go; the figure closes over
// the points around it. Everything else is taken, saturated at the limit.
// A repeat of the last fixed point would only make an edge without height,
// which is dropped anyway; leaving it out keeps a curve that saturates at the
// limit from piling up points.
inline void RefRasterizer::AppendPoint(const Point<float>& point) {
    if (point.x != point.x || point.y != point.y) return;
    const Point<int> fixed(TransformToFixed(point.x), TransformToFixed(point.y));
    if (!points.empty() && points.back() == fixed) return;
    points.push_back(fixed);
}

inline void RefRasterizer::AcceptPoint(const Point<float>& point) { AppendPoint(point); }

inline void RefRasterizer::BeginFigure(const Point<float>& point) {
    startPoint = point;
    lastPoint = point;
    AppendPoint(point);
}

inline void RefRasterizer::LineTo(const Point<float>& point) {
    if (point == lastPoint) return;
    AppendPoint(point);
    lastPoint = point;
}

inline void RefRasterizer::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    // Through an infinity or a non-number the curve has no points to speak
    // of, and the stepper would only halve its step down to the floor; the
    // chord is all that can be drawn.
    if (!_IsFinite(lastPoint) || !_IsFinite(control1) || !_IsFinite(control2) || !_IsFinite(end)) {
        LineTo(end);
        return;
    }
    BezierFlattener flattener(tolerance);
    flattener.SetPoints(lastPoint, control1, control2, end);
    Point<float> point;
    while (flattener.NextPoint(&point)) LineTo(point);
    LineTo(end);
}

// A fill closes every figure.
inline void RefRasterizer::EndFigure() { EndFigureClose(); }

inline void RefRasterizer::EndFigureClose() {
    if (points.empty()) return;
    points.push_back(points.front());
    InitializeEdges();
    points.clear();
}

inline void RefRasterizer::InitializeEdges() {
    const int left = clip.left;
    const int right = clip.right;
    const int top = clip.top >> 4;
    const int bottom = (clip.bottom + 15) >> 4;
    const std::size_t count = points.size();

    std::size_t i = 0;
    while (i + 1 < count) {
        const Point<int>& a = points[i];
        // Runs of points wholly left or wholly right of the clip fold into one
        // edge from the first to the last: only the winding counts there.
        std::size_t j = i + 2;
        while (j < count && ((a.x <= left && points[j - 1].x <= left && points[j].x <= left) ||
                             (a.x >= right && points[j - 1].x >= right && points[j].x >= right)))
            ++j;
        AddEdge(a, points[j - 1], top, bottom);
        i = j - 1;
    }
    yMax = std::min(yMax, bottom);
}

inline void RefRasterizer::AddEdge(const Point<int>& from, const Point<int>& to, int top, int bottom) {
    int xt = from.x, yt = from.y, xb = to.x, yb = to.y;
    int dy = yb - yt;
    int direction = 1;
    if (dy < 0) {
        std::swap(xt, xb);
        std::swap(yt, yb);
        dy = -dy;
        direction = -1;
    }
    const int s = yt >> 4;
    const int e = yb >> 4;
    if (s == e || s >= bottom || e <= top) return;

    const int dx = xb - xt;
    const int q = _FloorDiv(dx, dy);
    const int r = dx - q * dy;

    // Step to the next multiple of 8 fixed units in y, then round x up to a
    // multiple of 8 with the error term taking the difference. The masks of 7
    // against the shift of 4 below fix where in its cell a sample lies, and so
    // the coverage of every slanted edge.
    int error = -1;
    if (yt & 7) {
        for (int k = 8 - (yt & 7); k > 0; --k) {
            xt += q;
            error += r;
            if (error >= 0) {
                error -= dy;
                xt += 1;
            }
        }
    }
    if (xt & 7) {
        error -= (8 - (xt & 7)) * dy;
        xt += 7;
    }

    Edge* edge = edgePool.malloc();
    if (!edge) throw std::bad_alloc();
    edge->next = nullptr;
    edge->ySubStart = s;
    edge->ySubEnd = e;
    edge->xSub = xt >> 4;
    edge->slopeInt = q;
    edge->errorTerm = error >> 4;
    edge->errorUp = r;
    edge->errorDown = dy;
    edge->windingDirection = direction;
    const int n = top - s;
    if (n > 0) {
        _SkipEdge(edge, n);
        edge->ySubStart = top;
    }
    yMin = std::min(yMin, edge->ySubStart);
    yMax = std::max(yMax, edge->ySubEnd);
    if (q != 0 || r != 0) hasSlopedEdge = true;
    edges.push_back(edge);
}

inline void RefRasterizer::PrepareEdges() {
    std::sort(edges.begin(), edges.end(), _CompareEdges);
    Edge* sentinel = edgePool.malloc();
    if (!sentinel) throw std::bad_alloc();
    sentinel->next = nullptr;
    sentinel->ySubStart = sentinel->ySubEnd = sentinel->xSub = _IntMax;
    sentinel->slopeInt = sentinel->errorTerm = sentinel->errorUp = 0;
    sentinel->errorDown = 1;
    sentinel->windingDirection = 0;
    edges.push_back(sentinel);
    activeHead.next = nullptr;
}

inline void RefRasterizer::Rasterize() {
    if (edges.empty() || !sink) {
        edges.clear();
        return;
    }

    // Two vertical edges over the same rows: an axis-aligned rectangle, which
    // goes out as whole pixels, at least one each way, so that a hairline
    // does not vanish.
    if (adjustRectangles && !hasSlopedEdge && edges.size() == 2 && edges[0]->ySubStart == edges[1]->ySubStart &&
        edges[0]->ySubEnd == edges[1]->ySubEnd) {
        const int y0 = edges[0]->ySubStart;
        int y1 = edges[0]->ySubEnd;
        const int x0 = std::min(edges[0]->xSub, edges[1]->xSub);
        int x1 = std::max(edges[0]->xSub, edges[1]->xSub);
        if (y1 - y0 < 8) y1 = y0 + 8;
        if (x1 - x0 < 8) x1 = x0 + 8;
        edges.clear();
        sink->AddRectangle(x0 >> 3, y0 >> 3, x1 >> 3, y1 >> 3);
        return;
    }

    PrepareEdges();
    coverage = std::shared_ptr<RefCoverageBuffer>(new RefCoverageBuffer);
    RasterizeEdges(yMin, yMax);
    coverage.reset();
    edges.clear();
}

// Links the edges that start at row y into the active list, each at its
// place by x. They arrive sorted by x, so each search goes on from the last
// insertion.
inline void RefRasterizer::InsertStartingEdges(int y, std::size_t& nextEdge) {
    Edge* place = &activeHead;
    for (;;) {
        Edge* edge = edges[nextEdge];
        if (edge->ySubStart > y || nextEdge + 1 == edges.size()) break;
        while (place->next && place->next->xSub < edge->xSub) place = place->next;
        edge->next = place->next;
        place->next = edge;
        place = edge;
        ++nextEdge;
    }
}

// Repeated passes of neighbour swaps; only needed when edges really crossed.
inline void RefRasterizer::SortActiveEdges() {
    bool swapped;
    do {
        swapped = false;
        Edge* previous = &activeHead;
        while (previous->next && previous->next->next) {
            Edge* a = previous->next;
            Edge* b = a->next;
            if (b->xSub < a->xSub) {
                a->next = b->next;
                b->next = a;
                previous->next = b;
                swapped = true;
            }
            previous = previous->next;
        }
    } while (swapped);
}

inline void RefRasterizer::RasterizeEdges(int y0, int y1) {
    const bool trapezoids = sink->CanAcceptTrapezoids();
    std::size_t nextEdge = 0;
    int event = y0;
    int y = y0;
    if (y0 < y1) {
        for (;;) {
            if (y == event) {
                InsertStartingEdges(y, nextEdge);
                event = nextEdge + 1 == edges.size() ? y1 : edges[nextEdge]->ySubStart;
            }

            if (trapezoids && (y & 7) == 0 && event >= y + 8) {
                const int b = ComputeTrapezoidsBottom(y, event);
                if (b >= y + 8) OutputTrapezoids(y, b);
                if (b > y) {
                    Edge* previous = &activeHead;
                    bool unsorted = false;
                    int lastX = _IntMin;
                    while (Edge* edge = previous->next) {
                        if (edge->ySubEnd <= b) {
                            previous->next = edge->next;
                            continue;
                        }
                        if (edge->xSub < lastX) unsorted = true;
                        lastX = edge->xSub;
                        previous = edge;
                    }
                    if (unsorted) SortActiveEdges();
                    y = b;
                    if (y >= y1) break;
                    continue;
                }
            }

            UpdateComplexScans(y);
            if (((y + 1) & 7) == 0) {
                sink->AddCoverage(y >> 3, coverage);
                coverage->Reset();
            }

            Edge* previous = &activeHead;
            bool unsorted = false;
            int lastX = _IntMin;
            while (Edge* edge = previous->next) {
                if (edge->ySubEnd > y + 1) {
                    edge->xSub += edge->slopeInt;
                    edge->errorTerm += edge->errorUp;
                    if (edge->errorTerm >= 0) {
                        edge->xSub += 1;
                        edge->errorTerm -= edge->errorDown;
                    }
                    if (edge->xSub < lastX) unsorted = true;
                    lastX = edge->xSub;
                    previous = edge;
                } else {
                    previous->next = edge->next;
                }
            }
            if (unsorted) SortActiveEdges();

            ++y;
            if (y >= y1) break;
        }
    }
    // A last pixel row that the shape leaves part way down.
    if (y & 7) {
        sink->AddCoverage(y >> 3, coverage);
        coverage->Reset();
    }
}

// The edge that closes the span opened by left under the fill rule, or null
// when the list ends first.
inline RefRasterizer::Edge* RefRasterizer::GetRightEdge(Edge* left) const {
    if (fillRule == FillRule::EvenOdd) return left->next;
    int winding = left->windingDirection;
    for (Edge* edge = left->next; edge; edge = edge->next) {
        winding += edge->windingDirection;
        if (winding == 0) return edge;
    }
    return nullptr;
}

// The right edge of the span that starts at left, with empty pairs run
// together with the pairs that follow them at the same x.
inline RefRasterizer::Edge* RefRasterizer::GetSpanEnd(Edge* left) const {
    Edge* right = GetRightEdge(left);
    if (!right || right->xSub != left->xSub) return right;
    while (right->next && right->next->xSub == right->xSub) {
        Edge* further = GetRightEdge(right->next);
        if (!further) break;
        right = further;
    }
    return right;
}

inline void RefRasterizer::UpdateComplexScans(int) {
    Edge* left = activeHead.next;
    while (left) {
        Edge* right = GetSpanEnd(left);
        if (!right) break;
        if (left->xSub != right->xSub) coverage->InsertSpan(left->xSub, right->xSub);
        left = right->next;
    }
}

inline int RefRasterizer::ComputeTrapezoidsBottom(int top, int limit) const {
    if (fillRule == FillRule::Winding) {
        for (const Edge* e = activeHead.next; e && e->next; e = e->next->next)
            if (e->windingDirection == e->next->windingDirection) return top;
    }
    if (!activeHead.next) return limit & ~7;

    int bottom = limit;
    // Every neighbouring pair, so that the gap between two trapezoids must
    // stay as wide as the inside of one.
    for (const Edge* e = activeHead.next; e; e = e->next) {
        bottom = std::min(bottom, e->ySubEnd);
        const Edge* f = e->next;
        if (!f) return bottom & ~7;

        const int gap = _SlopeWidth(e) + _SlopeWidth(f) + 8;
        int d = f->xSub - e->xSub;
        if (static_cast<int64_t>(f->errorTerm + 1) * e->errorDown <
            static_cast<int64_t>(e->errorTerm + 1) * f->errorDown)
            d -= 1;
        if (d < gap) return top;

        if (e->slopeInt < f->slopeInt ||
            (e->slopeInt == f->slopeInt &&
             static_cast<int64_t>(e->errorUp) * f->errorDown <= static_cast<int64_t>(f->errorUp) * e->errorDown))
            continue;  // they do not approach

        const int64_t n = static_cast<int64_t>(bottom) - top;
        int64_t ex = e->xSub, eError = e->errorTerm;
        int64_t fx = f->xSub, fError = f->errorTerm;
        _Skip(*e, n, ex, eError);
        _Skip(*f, n, fx, fError);
        const int64_t w = fx - ex;
        if (gap < w) continue;
        // The row at which they come within gap of each other.
        bottom = static_cast<int>(static_cast<int64_t>(d - gap) * n / (d + 1 - w) + top);
        if (bottom < top + 8) return top;
    }
    return bottom & ~7;
}

inline void RefRasterizer::OutputTrapezoids(int top, int bottom) {
    const int n = bottom - top;
    Edge* e = activeHead.next;
    while (e) {
        Edge* f = e->next;
        if (!f) {
            // An unpaired edge (a malformed path) still moves on with the rest.
            _SkipEdge(e, n);
            break;
        }
        const float eTop = static_cast<float>(e->errorTerm) / static_cast<float>(e->errorDown) +
                           static_cast<float>(e->xSub);
        const float fTop = static_cast<float>(f->errorTerm) / static_cast<float>(f->errorDown) +
                           static_cast<float>(f->xSub);
        _SkipEdge(e, n);
        _SkipEdge(f, n);
        const float eBottom = static_cast<float>(e->errorTerm) / static_cast<float>(e->errorDown) +
                              static_cast<float>(e->xSub);
        const float fBottom = static_cast<float>(f->errorTerm) / static_cast<float>(f->errorDown) +
                              static_cast<float>(f->xSub);
        const float eSlope =
            static_cast<float>(e->errorUp) / static_cast<float>(e->errorDown) + static_cast<float>(e->slopeInt);
        const float fSlope =
            static_cast<float>(f->errorUp) / static_cast<float>(f->errorDown) + static_cast<float>(f->slopeInt);
        sink->AddTrapezoid(static_cast<float>(top) * 0.125f, eTop * 0.125f, fTop * 0.125f,
                           static_cast<float>(bottom) * 0.125f, eBottom * 0.125f, fBottom * 0.125f,
                           std::fabs(eSlope) * 0.5f + 0.5f, std::fabs(fSlope) * 0.5f + 0.5f);
        e = f->next;
    }
}

inline void RefRasterizer::RasterizeAliased() {
    if (edges.empty() || !sink) {
        edges.clear();
        return;
    }
    PrepareEdges();
    RasterizeEdges_NoAA(yMin, yMax);
    OutputAliasedRects();
    edges.clear();
}

inline void RefRasterizer::RasterizeEdges_NoAA(int y0, int y1) {
    region = Region();
    std::size_t nextEdge = 0;
    int y = y0;
    while (y < y1) {
        InsertStartingEdges(y, nextEdge);
        int next = nextEdge + 1 == edges.size() ? y1 : edges[nextEdge]->ySubStart;
        for (const Edge* e = activeHead.next; e; e = e->next) next = std::min(next, e->ySubEnd);
        next = std::min(next, y1);
        if (next <= y) break;  // cannot happen with edges from InitializeEdges
        UpdateAliasedRects(y, next);
        Edge* previous = &activeHead;
        while (Edge* edge = previous->next) {
            if (edge->ySubEnd <= next)
                previous->next = edge->next;
            else
                previous = edge;
        }
        y = next;
    }
}

inline void RefRasterizer::UpdateAliasedRects(int y0, int y1) {
    Edge* left = activeHead.next;
    while (left) {
        Edge* right = GetSpanEnd(left);
        if (!right) break;
        if (left->xSub != right->xSub) {
            const Rect<int> rect(left->xSub >> 3, y0 >> 3, (right->xSub + 7) >> 3, (y1 + 7) >> 3);
            region = Region::Combine(region, Region(rect), CombineMode::Union);
        }
        left = right->next;
    }
}

inline void RefRasterizer::OutputAliasedRects() {
    const RectList<int> rects = region.GetRects();
    for (const Rect<int>& rect : rects) sink->AddRectangle(rect.left, rect.top, rect.right, rect.bottom);
}


namespace detail {
const float _StripLimit = 32535.0f;
const float _Tolerance = 0.25f;
}  // namespace detail

inline std::shared_ptr<GeometrySink> MakeRefChain(const Geometry& geometry, const Matrix& transform,
                                                     std::shared_ptr<RefRasterizer> rasterizer) {
    std::shared_ptr<GeometrySink> head = std::move(rasterizer);
    // The tests are uneven on purpose: a left side exactly at the limit
    // needs no clipper, a right side exactly at it does.
    const Rect<float> bound = geometry.GetBound(transform);
    if (-_StripLimit > bound.left || bound.right >= _StripLimit)
        head = std::make_shared<StripClipper>(StripOrientation::Vertical, -_StripLimit, _StripLimit, _Tolerance, head);
    if (-_StripLimit > bound.top || bound.bottom >= _StripLimit)
        head =
            std::make_shared<StripClipper>(StripOrientation::Horizontal, -_StripLimit, _StripLimit, _Tolerance, head);
    if (!transform.IsIdentity()) head = std::make_shared<Transformer>(transform, head);
    return head;
}

inline void RefRasterizeGeometry(std::shared_ptr<Geometry> geometry, const Matrix& transform, const Rect<float>& clip,
                                 bool adjustRectangles, std::shared_ptr<RefSink> sink) {
    if (!geometry || !sink) return;
    FpuState fpuState;
    std::shared_ptr<RefRasterizer> rasterizer = std::make_shared<RefRasterizer>(clip, _Tolerance, adjustRectangles, sink);
    const std::shared_ptr<GeometrySink> head = MakeRefChain(*geometry, transform, rasterizer);
    rasterizer->BeginGeometry();
    geometry->SendToSink(head);
    rasterizer->EndGeometry();
}

}  // namespace RefRaster
