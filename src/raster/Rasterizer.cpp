#include "raster/Rasterizer.h"

#include "geometry/BezierFlattener.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <utility>

namespace Graphics {

namespace {

const int _IntMin = -2147483647 - 1;
const int _IntMax = 2147483647;


struct _CompareEdges {
    bool operator()(const Rasterizer::Edge* a, const Rasterizer::Edge* b) const {
        if (a->ySubStart != b->ySubStart) return a->ySubStart < b->ySubStart;
        return a->xSub < b->xSub;
    }
};

// floor(a / b) for b > 0.
int _FloorDiv(int a, int b) {
    int q = a / b;
    if ((a % b) != 0 && a < 0) --q;
    return q;
}

// Where an edge is after n more sample rows: the closed form of n steps of
// the per-row update. Wide enough for n beyond the edge's own end, which the
// trapezoid search asks about.
void _Skip(const Rasterizer::Edge& e, int64_t n, int64_t& xSub, int64_t& errorTerm) {
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

void _SkipEdge(Rasterizer::Edge* e, int n) {
    int64_t x = e->xSub, error = e->errorTerm;
    _Skip(*e, n, x, error);
    e->xSub = static_cast<int>(x);
    e->errorTerm = static_cast<int>(error);
}

// Four times the edge's slope (sample columns per sample row), rounded up:
// the room its ramp needs beside it in the trapezoid test.
int _SlopeWidth(const Rasterizer::Edge* e) {
    if (e->errorUp == 0) return std::abs(e->slopeInt) * 4;
    const int t = (e->errorUp * 4) / e->errorDown + e->slopeInt * 4;
    return e->slopeInt >= 0 ? t + 1 : 1 - t;
}

}  // namespace

// The point and edge lists and the coverage buffer of one draw, kept per
// thread for the next: a small fill then allocates nothing here. A
// rasterizer that runs while another on its thread holds them (a sink that
// rasterizes) makes its own.
struct Rasterizer::Scratch {
    std::vector<Point<int>> points;
    std::vector<Edge*> edges;
    std::shared_ptr<CoverageBuffer> coverage;
    bool inUse = false;
};

namespace {

thread_local Rasterizer::Scratch* t_Scratch = nullptr;

// Owns the thread's scratch and frees it when the thread ends.
struct _ScratchOwner {
    Rasterizer::Scratch scratch;
    _ScratchOwner() { t_Scratch = &scratch; }
    ~_ScratchOwner() { t_Scratch = nullptr; }
};

Rasterizer::Scratch* _TakeScratch() {
    thread_local _ScratchOwner owner;
    Rasterizer::Scratch* s = t_Scratch;
    if (!s || s->inUse) return nullptr;
    s->inUse = true;
    return s;
}

}  // namespace

Rasterizer::Edge* Rasterizer::NewEdge() {
    if (inlineEdgeCount < m_InlineEdges) return &inlineEdges[inlineEdgeCount++];
    Edge* edge = edgePool.malloc();
    if (!edge) throw std::bad_alloc();
    return edge;
}

Rasterizer::Rasterizer(const Rect<float>& clip_, float tolerance_, bool adjustRectangles_,
                       std::shared_ptr<RasterizationSink> sink_)
    : scratch(_TakeScratch()),
      tolerance(tolerance_),
      adjustRectangles(adjustRectangles_),
      fillRule(FillRule::Winding),
      inlineEdgeCount(0),
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
    if (scratch) {
        points.swap(scratch->points);
        edges.swap(scratch->edges);
    }
}

Rasterizer::~Rasterizer() {
    if (!scratch) return;
    // Back to the thread, emptied but with their room.
    points.clear();
    edges.clear();
    scratch->points.swap(points);
    scratch->edges.swap(edges);
    scratch->inUse = false;
}

void Rasterizer::BeginGeometry() {
    yMin = _IntMax;
    yMax = _IntMin;
    // Small enough for the allocator's per-thread cache; longer paths grow
    // the vectors as they go.
    points.reserve(64);
    edges.reserve(16);
}

void Rasterizer::EndGeometry() { Rasterize(); }

void Rasterizer::SetFillRule(FillRule::Enum rule) { fillRule = rule; }

// A point that is not a number has no place to go; the figure closes over
// the points around it. Everything else is taken, saturated at the limit.
// A repeat of the last fixed point would only make an edge without height,
// which is dropped anyway; leaving it out keeps a curve that saturates at the
// limit from piling up points.
void Rasterizer::AppendPoint(const Point<float>& point) {
    if (point.x != point.x || point.y != point.y) return;
    // Compared and built as two ints in place: a Point assembled on the
    // stack and copied in whole stalls on the two narrower stores.
    const int x = TransformToFixed(point.x), y = TransformToFixed(point.y);
    if (!points.empty() && points.back().x == x && points.back().y == y) return;
    points.emplace_back(x, y);
}

void Rasterizer::AcceptPoint(const Point<float>& point) { AppendPoint(point); }

void Rasterizer::BeginFigure(const Point<float>& point) {
    startPoint = point;
    lastPoint = point;
    AppendPoint(point);
}

void Rasterizer::LineTo(const Point<float>& point) {
    if (point == lastPoint) return;
    AppendPoint(point);
    lastPoint = point;
}

void Rasterizer::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    FlattenCurve(tolerance, lastPoint, control1, control2, end, [this](const Point<float>& p) { LineTo(p); });
}

// A fill closes every figure.
void Rasterizer::EndFigure() { EndFigureClose(); }

void Rasterizer::EndFigureClose() {
    if (points.empty()) return;
    points.push_back(points.front());
    InitializeEdges();
    points.clear();
}

void Rasterizer::InitializeEdges() {
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

bool Rasterizer::SetUpEdge(const Point<int>& from, const Point<int>& to, int top, int bottom, Edge& edge) {
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
    if (s == e || s >= bottom || e <= top) return false;

    const int dx = xb - xt;
    const int q = _FloorDiv(dx, dy);
    const int r = dx - q * dy;

    // Step to the next multiple of 8 fixed units in y, then round x up to a
    // multiple of 8 with the error term taking the difference. The masks of 7
    // against the shift of 4 below fix where in its cell a sample lies, and so
    // the coverage of every slanted edge.
    //
    // The k steps to that row in closed form: the error term starts at -1
    // and stays in [-dy, 0), so k additions of r carry (k * r - 1 + dy) / dy
    // times. (k is at most 7 and r below dy: no overflow.)
    const int k = (8 - (yt & 7)) & 7;
    const int t = k * r - 1;
    const int carries = (t + dy) / dy;
    xt += q * k + carries;
    int error = t - carries * dy;
    const int rounding = -((xt & 7) != 0);  // all ones when x is off the grid
    error -= ((8 - (xt & 7)) * dy) & rounding;
    xt += 7 & rounding;

    edge.next = nullptr;
    edge.ySubStart = s;
    edge.ySubEnd = e;
    edge.xSub = xt >> 4;
    edge.slopeInt = q;
    edge.errorTerm = error >> 4;
    edge.errorUp = r;
    edge.errorDown = dy;
    edge.windingDirection = direction;
    const int n = top - s;
    if (n > 0) {
        _SkipEdge(&edge, n);
        edge.ySubStart = top;
    }
    return true;
}

int Rasterizer::ColumnAfter(const Edge& edge, int n) {
    int64_t x = edge.xSub, error = edge.errorTerm;
    _Skip(edge, n, x, error);
    return static_cast<int>(x);
}

void Rasterizer::StepEdge(Edge& edge) {
    // Without a branch: whether the error term carries follows the slope's
    // remainder, which a branch predictor cannot learn across shapes.
    const int error = edge.errorTerm + edge.errorUp;
    const int carry = ~(error >> 31);  // all ones when error >= 0
    edge.xSub += edge.slopeInt - carry;
    edge.errorTerm = error - (edge.errorDown & carry);
}

void Rasterizer::AddEdge(const Point<int>& from, const Point<int>& to, int top, int bottom) {
    Edge made;
    if (!SetUpEdge(from, to, top, bottom, made)) return;
    Edge* edge = NewEdge();
    *edge = made;
    yMin = std::min(yMin, edge->ySubStart);
    yMax = std::max(yMax, edge->ySubEnd);
    if (edge->slopeInt != 0 || edge->errorUp != 0) hasSlopedEdge = true;
    edges.push_back(edge);
}

void Rasterizer::PrepareEdges() {
    std::sort(edges.begin(), edges.end(), _CompareEdges());
    Edge* sentinel = NewEdge();
    sentinel->next = nullptr;
    sentinel->ySubStart = sentinel->ySubEnd = sentinel->xSub = _IntMax;
    sentinel->slopeInt = sentinel->errorTerm = sentinel->errorUp = 0;
    sentinel->errorDown = 1;
    sentinel->windingDirection = 0;
    edges.push_back(sentinel);
    activeHead.next = nullptr;
}

void Rasterizer::Rasterize() {
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
    // The thread's buffer, unless a sink still holds on to it; it comes back
    // only from a run that ended normally, and so empty.
    if (scratch && scratch->coverage && scratch->coverage.use_count() == 1)
        coverage = std::move(scratch->coverage);
    else
        coverage = std::shared_ptr<CoverageBuffer>(new CoverageBuffer);
    RasterizeEdges(yMin, yMax);
    if (scratch) scratch->coverage = std::move(coverage);
    coverage.reset();
    edges.clear();
}

// Links the edges that start at row y into the active list, each at its
// place by x. They arrive sorted by x, so each search goes on from the last
// insertion.
void Rasterizer::InsertStartingEdges(int y, std::size_t& nextEdge) {
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
void Rasterizer::SortActiveEdges() {
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

namespace {

// Zero when a step to the next sample row leaves the edge where it is: true
// of vertical edges, whose error term stays negative.
inline int _Moves(const Rasterizer::Edge* e) {
    return e->slopeInt | e->errorUp | (~e->errorTerm & _IntMin);
}

}  // namespace

void Rasterizer::RasterizeEdges(int y0, int y1) {
    const bool trapezoids = sink->CanAcceptTrapezoids();
    std::size_t nextEdge = 0;
    int event = y0;
    int y = y0;
    // While every active edge is stationary, the sample rows up to the next
    // change of the list, or the end of the pixel row, have the very same
    // spans: they are added once, that many times over. moving counts the
    // active edges that are not stationary, which they stay for life; known
    // says whether it is up to date.
    bool known = false;
    int moving = 0;
    if (y0 < y1) {
        for (;;) {
            if (y == event) {
                InsertStartingEdges(y, nextEdge);
                event = nextEdge + 1 == edges.size() ? y1 : edges[nextEdge]->ySubStart;
                known = false;
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
                    known = false;
                    y = b;
                    if (y >= y1) break;
                    continue;
                }
            }

            if (!known) {
                moving = 0;
                for (const Edge* edge = activeHead.next; edge; edge = edge->next) moving += _Moves(edge) != 0;
                known = true;
            }
            int rows = 1;
            int firstEnd = y1;
            if (moving == 0) {
                for (const Edge* edge = activeHead.next; edge; edge = edge->next)
                    if (edge->ySubEnd < firstEnd) firstEnd = edge->ySubEnd;
                rows = std::min(std::min(8 - (y & 7), event - y), firstEnd - y);
                if (rows < 1) rows = 1;
            }
            AddScans(rows);
            y += rows - 1;
            if (((y + 1) & 7) == 0) {
                int repeats = 0;
                if (rows == 8 && !trapezoids) {
                    // The whole pixel row came from one stationary list.
                    // Further rows that the same list covers whole, with no
                    // edge starting or ending in them, have the very same
                    // coverage: the buffer goes out for all of them at once.
                    const int limit = std::min(std::min(event, firstEnd), y1);
                    if (limit - y - 1 >= 8) repeats = (limit - y - 1) / 8;
                }
                sink->AddCoverageRows(y >> 3, 1 + repeats, coverage);
                y += 8 * repeats;
                coverage->Reset();
            }

            Edge* previous = &activeHead;
            bool unsorted = false;
            int lastX = _IntMin;
            while (Edge* edge = previous->next) {
                if (edge->ySubEnd > y + 1) {
                    StepEdge(*edge);
                    unsorted |= edge->xSub < lastX;
                    lastX = edge->xSub;
                    previous = edge;
                } else {
                    moving -= _Moves(edge) != 0;
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

namespace {

using Edge = Rasterizer::Edge;

// The edge that closes the span opened by left under the fill rule, or null
// when the list ends first. A template on the rule, so that the per sample
// row walk tests the rule once rather than at every span.
template <bool evenOdd>
inline Edge* _RightEdge(Edge* left) {
    if (evenOdd) return left->next;
    int winding = left->windingDirection;
    for (Edge* edge = left->next; edge; edge = edge->next) {
        winding += edge->windingDirection;
        if (winding == 0) return edge;
    }
    return nullptr;
}

// The right edge of the span that starts at left, with empty pairs run
// together with the pairs that follow them at the same x.
template <bool evenOdd>
inline Edge* _SpanEnd(Edge* left) {
    Edge* right = _RightEdge<evenOdd>(left);
    if (!right || right->xSub != left->xSub) return right;
    while (right->next && right->next->xSub == right->xSub) {
        Edge* further = _RightEdge<evenOdd>(right->next);
        if (!further) break;
        right = further;
    }
    return right;
}

}  // namespace

Rasterizer::Edge* Rasterizer::GetRightEdge(Edge* left) const {
    return fillRule == FillRule::EvenOdd ? _RightEdge<true>(left) : _RightEdge<false>(left);
}

Rasterizer::Edge* Rasterizer::GetSpanEnd(Edge* left) const {
    return fillRule == FillRule::EvenOdd ? _SpanEnd<true>(left) : _SpanEnd<false>(left);
}

void Rasterizer::UpdateComplexScans(int) { AddScans(1); }

template <bool evenOdd>
void Rasterizer::AddScansFor(int rows) {
    CoverageBuffer& buffer = *coverage;
    Edge* left = activeHead.next;
    while (left) {
        Edge* right = _SpanEnd<evenOdd>(left);
        if (!right) break;
        if (left->xSub != right->xSub) buffer.AddSpan(left->xSub, right->xSub, rows);
        left = right->next;
    }
}

void Rasterizer::AddScans(int rows) {
    if (fillRule == FillRule::EvenOdd)
        AddScansFor<true>(rows);
    else
        AddScansFor<false>(rows);
}

int Rasterizer::ComputeTrapezoidsBottom(int top, int limit) const {
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

void Rasterizer::OutputTrapezoids(int top, int bottom) {
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

void Rasterizer::RasterizeAliased() {
    if (edges.empty() || !sink) {
        edges.clear();
        return;
    }
    PrepareEdges();
    RasterizeEdges_NoAA(yMin, yMax);
    OutputAliasedRects();
    edges.clear();
}

void Rasterizer::RasterizeEdges_NoAA(int y0, int y1) {
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

void Rasterizer::UpdateAliasedRects(int y0, int y1) {
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

void Rasterizer::OutputAliasedRects() {
    const RectList<int> rects = region.GetRects();
    for (const Rect<int>& rect : rects) sink->AddRectangle(rect.left, rect.top, rect.right, rect.bottom);
}

}  // namespace Graphics
