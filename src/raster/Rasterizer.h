#pragma once

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "Graphics/Region.h"

#include <boost/pool/object_pool.hpp>

#include <memory>
#include <vector>

namespace Graphics {

// Scan converter with 8 by 8 samples to a pixel, in integers throughout.
//
// Device coordinates become fixed point in 1/128 pixel; a fixed value shifted
// right by 4 is a sample index, by 3 more a pixel index. Each figure is cut
// into edges as soon as it closes; at EndGeometry the edges are stepped down
// the sample rows on an active list sorted by x, with Bresenham-style error
// terms (no division per row), and every sample row adds its spans to a
// CoverageBuffer that goes to the sink once per pixel row.
//
// A Rasterizer serves one geometry: BeginGeometry, the figure events,
// EndGeometry. Curves are flattened here with the tolerance given.
class Rasterizer : public TessellationSink {
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

    // Storage that rasterizers on one thread pass on to each other.
    struct Scratch;

    // Fixed coordinates are held within this magnitude (524288 pixels), so
    // that the products of the edge set-up stay inside 32 bits. The path
    // reaches the rasterizer clipped to a much smaller range, so the limit
    // only ever matters for points that were never meant to be drawn.
    static constexpr int m_FixedLimit = 1 << 26;

    // Device coordinate to 1/128 pixel, truncating toward zero. Beyond the
    // limit the value saturates; a NaN gives 0.
    static int TransformToFixed(float value) {
        const float fixed = value * 128.0f;
        if (fixed >= static_cast<float>(m_FixedLimit)) return m_FixedLimit;
        if (fixed <= -static_cast<float>(m_FixedLimit)) return -m_FixedLimit;
        if (fixed != fixed) return 0;
        return static_cast<int>(fixed);
    }
    // The column an edge reaches after n more sample rows, as n steps
    // would take it there.
    static int ColumnAfter(const Edge& edge, int n);

    // The edge from one fixed point to another, set up on the first of its
    // sample rows at or below top (sample rows); false for a line that gives
    // no edge: one within a sample row, or wholly above top or from bottom on.
    static bool SetUpEdge(const Point<int>& from, const Point<int>& to, int top, int bottom, Edge& edge);
    // One sample row down.
    static void StepEdge(Edge& edge);

    Rasterizer(const Rect<float>& clip, float tolerance, bool adjustRectangles,
               std::shared_ptr<RasterizationSink> sink);
    ~Rasterizer() override;

    Rasterizer(const Rasterizer&) = delete;
    Rasterizer& operator=(const Rasterizer&) = delete;

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
    // The spans of the present sample row, counted rows times.
    void AddScans(int rows);
    template <bool evenOdd>
    void AddScansFor(int rows);
    Edge* GetRightEdge(Edge* left) const;
    Edge* GetSpanEnd(Edge* left) const;
    int ComputeTrapezoidsBottom(int top, int limit) const;
    void OutputTrapezoids(int top, int bottom);

    // The first edges live in the rasterizer itself; only paths with more
    // take them from the pool.
    static constexpr int m_InlineEdges = 24;
    Edge* NewEdge();

    Scratch* scratch;

    float tolerance;
    bool adjustRectangles;
    FillRule::Enum fillRule;
    Point<float> startPoint;
    Point<float> lastPoint;
    std::vector<Point<int>> points;
    Edge inlineEdges[m_InlineEdges];
    int inlineEdgeCount;
    boost::object_pool<Edge> edgePool;
    std::vector<Edge*> edges;
    Edge activeHead;
    bool hasSlopedEdge;
    Rect<int> clip;  // fixed units
    int yMin;        // sample rows
    int yMax;
    Region region;   // the aliased path only
    std::shared_ptr<CoverageBuffer> coverage;
    std::shared_ptr<RasterizationSink> sink;
};

// The flattening tolerance of every rasterization, in device pixels.
constexpr float kRasterTolerance = 0.25f;
// Beyond this many pixels either way, paths are clipped before they reach the
// fixed-point arithmetic: 4164480 fixed units, so that the difference of two
// clipped coordinates stays below 2^23.
constexpr float kStripLimit = 32535.0f;

// A callable that sends a path to the sink it is handed, borrowed for one
// call: neither copied nor stored, so captures of any size cost nothing.
class PathSender {
public:
    template <class F>
    PathSender(const F& f)  // NOLINT: implicit, so that lambdas pass as they are
        : callable(&f), call([](const void* c, const std::shared_ptr<GeometrySink>& sink) {
              (*static_cast<const F*>(c))(sink);
          }) {}
    void operator()(const std::shared_ptr<GeometrySink>& sink) const { call(callable, sink); }

private:
    const void* callable;
    void (*call)(const void*, const std::shared_ptr<GeometrySink>&);
};

// What RasterizeGeometry does for a path within kStripLimit on both axes:
// send gives the path to the sink it is handed, a Transformer in front of a
// rasterizer, or the rasterizer itself under the identity.
void RasterizeWithinReach(const Matrix& transform, const Rect<float>& clip, bool adjustRectangles,
                          std::shared_ptr<RasterizationSink> sink, const PathSender& send);

// The chain of stages that RasterizeGeometry runs a geometry through, ending
// in the rasterizer: a Transformer unless the transform is the identity, then
// a StripClipper in y and one in x where the transformed bound of the
// geometry reaches beyond 32535 pixels on that axis. Returns the first stage.
std::shared_ptr<GeometrySink> MakeRasterizationChain(const Geometry& geometry, const Matrix& transform,
                                                     std::shared_ptr<Rasterizer> rasterizer);

}  // namespace Graphics
