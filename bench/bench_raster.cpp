// Scan conversion alone: RasterizeGeometry into a sink that only counts and
// sums what it receives, for random polygons of 10, 20 and 40 vertices,
// ellipses and closed paths of cubic curves, each fitted to a square of 8 to
// 256 pixels. The shapes are made once, from a fixed seed; an iteration is
// one whole draw (chain set-up, flattening, edges, rows).

#include <Graphics/Geometry.h>
#include <Graphics/Rasterizer.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

using namespace Graphics;

namespace {

class CountingSink : public RasterizationSink {
public:
    void AddCoverage(int, std::shared_ptr<CoverageBuffer> buffer) override {
        ++rows;
        const CoverageBuffer::Span* s = buffer->GetHead();
        for (; s->next; s = s->next) {
            ++nodes;
            area += static_cast<long>(s->coverage) * (static_cast<long>(s->next->x) - s->x);
        }
    }
    void AddRectangle(int, int, int, int) override { ++rects; }
    bool CanAcceptTrapezoids() const override { return false; }
    void AddTrapezoid(float, float, float, float, float, float, float, float) override {}

    long rows = 0, nodes = 0, rects = 0, area = 0;
};

std::shared_ptr<Geometry> RandomPolygon(int vertices, float size) {
    std::mt19937 random(20240 + vertices);
    std::uniform_real_distribution<float> coordinate(0.0f, size);
    auto geometry = std::make_shared<Geometry>();
    geometry->BeginFigure(Point<float>(coordinate(random), coordinate(random)));
    for (int i = 1; i < vertices; ++i) geometry->LineTo(Point<float>(coordinate(random), coordinate(random)));
    geometry->EndFigureClose();
    return geometry;
}

std::shared_ptr<Geometry> Ellipse(float size) {
    auto geometry = std::make_shared<Geometry>();
    geometry->Ellipse(Rect<float>(0.5f, size * 0.2f, size - 0.5f, size * 0.8f));
    return geometry;
}

// Eight cubic curves through random points, closed.
std::shared_ptr<Geometry> CurvedPath(float size) {
    std::mt19937 random(777);
    std::uniform_real_distribution<float> coordinate(0.0f, size);
    auto point = [&]() { return Point<float>(coordinate(random), coordinate(random)); };
    auto geometry = std::make_shared<Geometry>();
    const Point<float> start = point();
    geometry->BeginFigure(start);
    for (int i = 0; i < 7; ++i) geometry->CurveTo(point(), point(), point());
    geometry->CurveTo(point(), point(), start);
    geometry->EndFigureClose();
    return geometry;
}

void Rasterize(benchmark::State& state, const std::shared_ptr<Geometry>& geometry, float size) {
    auto sink = std::make_shared<CountingSink>();
    const Rect<float> clip(0, 0, size, size);
    const Matrix identity;
    for (auto _ : state) {
        RasterizeGeometry(geometry, identity, clip, false, sink);
        benchmark::DoNotOptimize(sink->area);
    }
    state.counters["rows/draw"] = static_cast<double>(sink->rows) / state.iterations();
    state.counters["nodes/draw"] = static_cast<double>(sink->nodes) / state.iterations();
    state.SetItemsProcessed(state.iterations());
}

void BM_Polygon10(benchmark::State& state) {
    const float size = static_cast<float>(state.range(0));
    Rasterize(state, RandomPolygon(10, size), size);
}
void BM_Polygon20(benchmark::State& state) {
    const float size = static_cast<float>(state.range(0));
    Rasterize(state, RandomPolygon(20, size), size);
}
void BM_Polygon40(benchmark::State& state) {
    const float size = static_cast<float>(state.range(0));
    Rasterize(state, RandomPolygon(40, size), size);
}
void BM_Ellipse(benchmark::State& state) {
    const float size = static_cast<float>(state.range(0));
    Rasterize(state, Ellipse(size), size);
}
void BM_CurvedPath(benchmark::State& state) {
    const float size = static_cast<float>(state.range(0));
    Rasterize(state, CurvedPath(size), size);
}

}  // namespace

BENCHMARK(BM_Polygon10)->RangeMultiplier(2)->Range(8, 256);
BENCHMARK(BM_Polygon20)->RangeMultiplier(2)->Range(8, 256);
BENCHMARK(BM_Polygon40)->RangeMultiplier(2)->Range(8, 256);
BENCHMARK(BM_Ellipse)->RangeMultiplier(2)->Range(8, 256);
BENCHMARK(BM_CurvedPath)->RangeMultiplier(2)->Range(8, 256);

BENCHMARK_MAIN();
