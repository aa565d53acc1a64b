#include "Graphics/Rasterizer.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;
using namespace RasterTest;

namespace {

const FillRule::Enum W = FillRule::Winding, E = FillRule::EvenOdd;
const Rect<float> c8(0, 0, 8, 8), c10(0, 0, 10, 10);

Polygon Box(float l, float t, float r, float b) { return {{l, t}, {r, t}, {r, b}, {l, b}}; }  // clockwise on screen
Polygon Reversed(Polygon p) { return Polygon(p.rbegin(), p.rend()); }

std::shared_ptr<RecordingRasterSink> Fill(const std::vector<Polygon>& figures, const Rect<float>& clip,
                                          FillRule::Enum rule = W, bool adjust = false, bool trapezoids = false) {
    auto sink = std::make_shared<RecordingRasterSink>(trapezoids);
    Rasterizer rasterizer(clip, 0.25f, adjust, sink);
    rasterizer.BeginGeometry(); rasterizer.SetFillRule(rule); Send(rasterizer, figures); rasterizer.EndGeometry();
    return sink;
}

// Through RasterizeGeometry; with adjust the sink takes trapezoids too.
std::shared_ptr<RecordingRasterSink> FillGeometry(const std::vector<Polygon>& figures, const Matrix& m,
                                                  const Rect<float>& clip, bool adjust = false) {
    auto geometry = std::make_shared<Geometry>();
    Send(*geometry, figures);
    auto sink = std::make_shared<RecordingRasterSink>(adjust);
    RasterizeGeometry(geometry, m, clip, adjust, sink);
    return sink;
}

}  // namespace

TEST(Rasterizer, CoverageWorkedByHand) {
    const std::pair<float, int> fixed[] = {{1.0f, 128}, {0.3f, 38}, {-0.3f, -38}, {-1.999f, -255},
                                           {32535.0f, 4164480}, {1e7f, 1 << 26}, {-kInf, -(1 << 26)}, {kNaN, 0}};
    for (const auto& f : fixed) EXPECT_EQ(Rasterizer::TransformToFixed(f.first), f.second) << f.first;
    // (1, 0.3), (2, 2.3), (1, 2.3) is (128, 38), (256, 294), (128, 294) fixed.
    // The sloped edge (dx 128, dy 256) starts at sample row 2, xSub 8, error
    // -113, and carries every other row: 8, 9, 9, 10, 10, ... Pixel 1 sums
    // xSub - 8 per pixel row: 0+1+1+2+2+3 = 9, 3+4+4+5+5+6+6+7 = 40, 7+8 = 15.
    // A clip from y = 1 skips 6 rows at once (t = 6 * 128 - 113 = 655: xSub
    // 8 + 655 / 256 + 1 = 11); one ending at 1.25 leaves row 10: 3 + 4.
    const Polygon triangle = {{1.0f, 0.3f}, {2.0f, 2.3f}, {1.0f, 2.3f}};
    for (int clipTop : {0, 1}) {
        Rasterizer rasterizer(Rect<float>(0, float(clipTop), 10, 10), 0.25f, false, nullptr);
        rasterizer.BeginGeometry(); Send(rasterizer, {triangle});
        ASSERT_EQ(rasterizer.GetEdges().size(), 2u);
        const Rasterizer::Edge &a = *rasterizer.GetEdges()[0], &b = *rasterizer.GetEdges()[1];
        EXPECT_EQ(std::vector<int>({a.ySubStart, a.ySubEnd, a.xSub, a.slopeInt, a.errorTerm, a.errorUp,
                                    a.errorDown, a.windingDirection}),
                  std::vector<int>({clipTop ? 8 : 2, 18, clipTop ? 11 : 8, 0, -113, 128, 256, 1}));
        EXPECT_EQ(std::vector<int>({b.ySubStart, b.xSub, b.errorTerm, b.errorUp, b.windingDirection}),
                  std::vector<int>({clipTop ? 8 : 2, 8, -1, 0, -1}));
    }
    // The hypotenuse of (0, 0), (4, 0), (0, 4) is at xSub 32 - y: each pixel
    // it crosses gets 8 + 7 + ... + 1 = 36. x = 0.3 is 38 fixed, rounded up
    // to sample column 2; 2.3 gives 18.
    const std::vector<Node> half = {{0, 16}, {1, 32}, {2, 16}, {3, 0}}, two = {{0, 64}, {1, 0}, {2, 64}, {3, 0}};
    const std::vector<Node> column = {{1, 64}, {2, 0}};
    struct Case {
        const char* name; std::vector<Polygon> figures; Rect<float> clip; FillRule::Enum rule;
        std::vector<int> rowNumbers; std::vector<std::pair<int, std::vector<Node>>> rows;  // y, inner nodes
    };
    const Case cases[] = {
        {"triangle", {triangle}, c10, W, {0, 1, 2},
         {{0, {{1, 9}, {2, 0}}}, {1, {{1, 40}, {2, 0}}}, {2, {{1, 15}, {2, 0}}}}},
        {"clip bottom", {triangle}, Rect<float>(0, 0, 10, 1.25f), W, {0, 1},
         {{0, {{1, 9}, {2, 0}}}, {1, {{1, 7}, {2, 0}}}}},
        {"negative slope", {{{0, 0}, {4, 0}, {0, 4}}}, c8, W, {0, 1, 2, 3},
         {{0, {{0, 64}, {3, 36}, {4, 0}}}, {1, {{0, 64}, {2, 36}, {3, 0}}}, {3, {{0, 36}, {1, 0}}}}},
        {"half pixels", {Box(0.5f, 0.5f, 2.5f, 1.5f)}, c8, W, {0, 1}, {{0, half}, {1, half}}},
        {"x rounded up", {Box(0.3f, 1.0f, 2.3f, 2.0f)}, c8, W, {1}, {{1, {{0, 48}, {1, 64}, {2, 16}, {3, 0}}}}},
        {"wound twice", {Box(0, 0, 2, 1), Box(1, 0, 3, 1)}, c8, W, {0}, {{0, {{0, 64}, {3, 0}}}}},
        {"wound twice, even-odd", {Box(0, 0, 2, 1), Box(1, 0, 3, 1)}, c8, E, {0}, {{0, two}}},
        {"wound both ways", {Box(0, 0, 2, 1), Reversed(Box(1, 0, 3, 1))}, c8, W, {0}, {{0, two}}},
        {"rows between shapes", {Box(0, 0, 2, 1), Box(0, 3, 2, 4)}, c8, W, {0, 1, 2, 3},
         {{1, {}}, {3, {{0, 64}, {2, 0}}}}},
        {"not cut at the clip", {Box(-100, 1, 100, 2)}, c8, W, {1}, {{1, {{-100, 64}, {100, 0}}}}},
        // Stationary edges repeat rows up to an end at sample row 23 (the last
        // of a pixel row) or 12 (mid-row).
        {"repeat up to an end", {Box(1, 0, 2, 2.9375f)}, c8, W, {0, 1, 2}, {{1, column}, {2, {{1, 56}, {2, 0}}}}},
        {"ends inside a row", {Box(1, 0, 2, 1.5f), Box(4, 0, 5, 3)}, c8, W, {0, 1, 2},
         {{1, {{1, 32}, {2, 0}, {4, 64}, {5, 0}}}, {2, {{4, 64}, {5, 0}}}}},
        // A point, a horizontal line, a line within one sample row: no edges.
        {"no edges", {{{2, 2}}, {{1, 2}, {5, 2}}, {{1, 2}, {5, 2.1f}}}, c8, W, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto sink = Fill(c.figures, c.clip, c.rule);
        EXPECT_EQ(sink->RowNumbers(), c.rowNumbers);
        EXPECT_TRUE(sink->rects.empty() && sink->traps.empty());
        for (const auto& row : c.rows) EXPECT_EQ(sink->Inner(row.first), row.second) << "row " << row.first;
        for (const CoverageRow& row : sink->rows)
            EXPECT_TRUE(row.nodes.front() == Node(kMin, 0) && row.nodes.back() == Node(kMax, 0));
    }
    // Runs of points beyond a side of the clip fold into one edge; the clip
    // is still filled (even-odd too), and spans run on beyond it.
    const Polygon leftRun = {{-10, 0}, {-5, 1}, {-20, 2}, {-8, 3}, {6, 3}, {6, 0}};
    Rasterizer folding(Rect<float>(0, 0, 4, 4), 0.25f, false, nullptr);
    folding.BeginGeometry(); Send(folding, {leftRun});
    EXPECT_EQ(folding.GetEdges().size(), 2u);
    auto left = Fill({leftRun}, Rect<float>(0, 0, 4, 4));
    auto right = Fill({{{2, 0}, {10, 0}, {20, 1}, {9, 2}, {12, 3}, {2, 3}}}, Rect<float>(0, 0, 4, 4), E);
    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(left->Dense(y, 0, 7), (std::vector<int>{64, 64, 64, 64, 64, 64, 0})) << y;
        EXPECT_EQ(right->Dense(y, 0, 4), (std::vector<int>{0, 0, 64, 64})) << y;
    }
}

// An edge set up from a start inside a sample row equals the walk of the
// row steps down to the next sample row, one step at a time, with x then
// rounded up to a sample column. Random edges, and the carries that come
// exactly on the last step (k * r - 1 a multiple of dy).
TEST(Rasterizer, EdgeSetUpEqualsTheStepsItSkips) {
    auto walk = [](Point<int> a, Point<int> b) {
        if (b.y < a.y) std::swap(a, b);
        const int dy = b.y - a.y, dx = b.x - a.x;
        int q = dx / dy;
        if (dx % dy != 0 && dx < 0) --q;
        const int r = dx - q * dy;
        int x = a.x, error = -1;
        for (int k = (8 - (a.y & 7)) & 7; k > 0; --k) {
            x += q;
            error += r;
            if (error >= 0) { error -= dy; x += 1; }
        }
        if (x & 7) { error -= (8 - (x & 7)) * dy; x += 7; }
        return std::vector<int>{x >> 4, q, error >> 4, r, dy};
    };
    std::mt19937 rng(5);
    std::vector<std::pair<Point<int>, Point<int>>> lines;
    for (int dy : {9, 23, 100, 4096})
        for (int k = 1; k < 8; ++k)
            for (int m = 0; m < 3; ++m) {
                const int r = (1 + m * dy) % (k * dy) / k;  // k * r - 1 == m * dy where k divides
                if (k * r - 1 != m * dy) continue;
                lines.push_back({{37, 8 * 16 - k}, {37 + 5 * dy + r, 8 * 16 - k + dy}});
            }
    for (int i = 0; i < 20000; ++i) {
        const int span = i % 2 ? 64 : 40000;
        const Point<int> a(int(rng() % (2 * span)) - span, int(rng() % (2 * span)) - span);
        lines.push_back({a, {a.x + int(rng() % (2 * span)) - span, a.y + int(rng() % 300) - 150}});
    }
    int checked = 0;
    for (const auto& line : lines) {
        Rasterizer::Edge edge;
        if (!Rasterizer::SetUpEdge(line.first, line.second, -1000000, 1000000, edge)) continue;
        ++checked;
        EXPECT_EQ((std::vector<int>{edge.xSub, edge.slopeInt, edge.errorTerm, edge.errorUp, edge.errorDown}),
                  walk(line.first, line.second))
            << line.first.x << "," << line.first.y << " " << line.second.x << "," << line.second.y;
    }
    EXPECT_GT(checked, 15000);
}

TEST(Rasterizer, RectanglePathAndAliasedPath) {
    // With adjustRectangles, two vertical edges over the same rows make one
    // whole-pixel rectangle, at least a pixel each way, its top skipped to the
    // clip, its bottom not cut. Anything else takes the coverage path.
    const std::pair<std::vector<Polygon>, std::vector<Rect<int>>> cases[] = {
        {{Box(1, 2, 4, 5)}, {{1, 2, 4, 5}}},
        {{Box(0.5f, 0.5f, 2.5f, 1.5f)}, {{0, 0, 2, 1}}},
        {{Box(3.2f, 5.05f, 3.21f, 5.15f)}, {{3, 5, 4, 6}}},
        {{Box(1, -5, 3, 12)}, {{1, 0, 3, 12}}},
        {{{{1, 0}, {3, 0}, {3, 12}, {1, 10}}}, {}},  // sloped only below the clip, sides of unequal length
        {{Box(1, 1, 2, 2), Box(4, 1, 5, 2)}, {}},
        {{{{1, 1}, {3, 1}, {3.5f, 3}, {1, 3}}}, {}},
    };
    for (const auto& c : cases) {
        auto sink = Fill(c.first, c10, W, true);
        EXPECT_EQ(sink->rects, c.second);
        EXPECT_EQ(sink->calls, c.second.empty() ? static_cast<int>(sink->rows.size()) : 1);
    }
    // Aliased: left and top round down, right and bottom up; overlaps banded.
    auto aliased = [](const std::vector<Polygon>& figures) {
        auto sink = std::make_shared<RecordingRasterSink>();
        Rasterizer rasterizer(c10, 0.25f, false, sink);
        rasterizer.BeginGeometry(); Send(rasterizer, figures); rasterizer.RasterizeAliased();
        EXPECT_TRUE(sink->rows.empty());
        return sink->rects;
    };
    EXPECT_EQ(aliased({Box(1.5f, 1.5f, 2.25f, 2.25f)}), (std::vector<Rect<int>>{{1, 1, 3, 3}}));
    EXPECT_EQ(aliased({Box(1, 1, 3, 3), Box(2, 2, 5, 4)}),
              (std::vector<Rect<int>>{{1, 1, 3, 2}, {1, 2, 5, 3}, {2, 3, 5, 4}}));
}

TEST(Rasterizer, Trapezoids) {
    const Rect<float> clip(0, 0, 20, 40);
    // A vertical box is one trapezoid; each side lies at xSub + errorTerm /
    // errorDown = 8 - 1/2048 and 40 - 1/2048 samples.
    auto box = Fill({Box(1, 0, 5, 16)}, clip, W, false, true);
    ASSERT_TRUE(box->calls == 1 && box->traps.size() == 1u);
    const float l = 0.99993896484375f, r = 4.99993896484375f;
    EXPECT_TRUE(box->traps[0] == (Trapezoid{0, l, r, 16, l, r, 0.5f, 0.5f}));
    // Partial rows at both ends go as coverage.
    auto ragged = Fill({Box(1, 0.5f, 5, 15.5f)}, clip, W, false, true);
    EXPECT_EQ(ragged->RowNumbers(), (std::vector<int>{0, 15}));
    ASSERT_EQ(ragged->traps.size(), 1u);
    EXPECT_EQ(std::make_pair(ragged->traps[0].top, ragged->traps[0].bottom), std::make_pair(1.0f, 15.0f));
    EXPECT_EQ(ragged->Inner(0), (std::vector<Node>{{1, 32}, {5, 0}}));
    // Opposite directions under winding, or a pixel apart under even-odd,
    // make trapezoids; a same-direction pair or closer sides fall back.
    auto split = [&](FillRule::Enum rule, const std::vector<Polygon>& figures) {
        auto sink = Fill(figures, clip, rule, false, true);
        return std::make_pair(sink->traps.size(), sink->rows.size());
    };
    const std::pair<std::size_t, std::size_t> bands(2, 0), rows(0, 16);
    EXPECT_EQ(split(W, {Box(0, 0, 4, 16), Reversed(Box(6, 0, 10, 16))}), bands);
    EXPECT_EQ(split(W, {Box(0, 0, 4, 16), Box(2, 0, 6, 16)}), rows);
    EXPECT_EQ(split(E, {Box(0, 0, 4, 16), Box(2, 0, 6, 16)}), bands);
    EXPECT_EQ(split(E, {Box(0, 0, 4, 16), Box(4.5f, 0, 8, 16)}), rows);
    // Sloped sides: bands and coverage rows cover every row once, with the
    // coverage path's rows; corners on the sides within a sample, feathers of
    // half the slope plus half a pixel that never meet.
    struct Sloped { Polygon shape; Point<float> l0, l1, r0, r1; };
    const Sloped sloped[] = {{{{2, 0}, {10, 0}, {14, 32}, {6, 32}}, {2, 0}, {6, 32}, {10, 0}, {14, 32}},
                             {{{20, 2.5f}, {36, 30}, {4, 30}}, {20, 2.5f}, {4, 30}, {20, 2.5f}, {36, 30}}};
    auto x = [](Point<float> a, Point<float> b, float y) { return a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y); };
    auto feather = [](Point<float> a, Point<float> b) { return 0.5f + 0.5f * std::fabs((b.x - a.x) / (b.y - a.y)); };
    for (const Sloped& c : sloped) {
        auto coverage = Fill({c.shape}, clip);
        auto mixed = Fill({c.shape}, clip, W, false, true);
        ASSERT_FALSE(mixed->traps.empty());
        std::vector<int> rows = mixed->RowNumbers();
        for (int y : rows) EXPECT_EQ(mixed->Inner(y), coverage->Inner(y)) << y;
        for (const Trapezoid& b : mixed->traps) {
            for (int y = int(b.top); y < int(b.bottom); ++y) rows.push_back(y);
            const float got[] = {b.topLeft, b.bottomLeft, b.topRight, b.bottomRight, b.leftFeather, b.rightFeather};
            const float want[] = {x(c.l0, c.l1, b.top), x(c.l0, c.l1, b.bottom), x(c.r0, c.r1, b.top),
                                  x(c.r0, c.r1, b.bottom), feather(c.l0, c.l1), feather(c.r0, c.r1)};
            for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], i < 4 ? 0.125f : 0.01f) << i;
            EXPECT_GE(std::min(b.topRight - b.topLeft, b.bottomRight - b.bottomLeft), b.leftFeather + b.rightFeather);
        }
        std::sort(rows.begin(), rows.end());
        EXPECT_EQ(rows, coverage->RowNumbers());
    }
}

TEST(Rasterizer, BadInput) {
    const std::vector<int> square = {64, 64, 64, 64, 0};
    // Empty, zero-size, inverted and NaN clips, shapes off the clip: nothing.
    // One across a zero-width clip still gives its row.
    EXPECT_EQ(Fill({}, c8)->calls + Fill({Box(1, -5, 3, -1), Box(1, 9, 3, 12)}, c8)->calls, 0);
    for (const Rect<float>& clip : {Rect<float>(5, 5, 5, 5), Rect<float>(8, 8, 0, 0), Rect<float>(4, 0, 4, 8),
                                    Rect<float>(kNaN, kNaN, kNaN, kNaN)})
        EXPECT_EQ(Fill({Box(1, 1, 3, 2)}, clip)->calls, 0);
    EXPECT_EQ(Fill({Box(1, 1, 3, 2)}, Rect<float>(2, 0, 2, 8))->RowNumbers(), std::vector<int>{1});
    // A NaN point drops out of its figure, wherever it is; infinity saturates.
    for (const Polygon& p :
         {Polygon{{0, 0}, {4, 0}, {4, 4}, {kNaN, 2}, {0, 4}}, Polygon{{kNaN, 0}, {0, 0}, {4, 0}, {4, 4}, {0, 4}}})
        for (int y = 0; y < 4; ++y) EXPECT_EQ(Fill({p}, c8)->Dense(y, 0, 5), square) << y;
    auto inf = Fill({{{2, 0}, {kInf, 0}, {kInf, 4}, {2, 4}}}, c8);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(inf->Dense(y, 0, 8), (std::vector<int>{0, 0, 64, 64, 64, 64, 64, 64})) << y;
    EXPECT_EQ(Fill({{{kNaN, kNaN}, {kNaN, 1}, {2, kNaN}}}, c8)->calls, 0);
    // Events out of order; a figure enclosing nothing reports empty rows.
    auto sink = std::make_shared<RecordingRasterSink>();
    Rasterizer r(c8, 0.25f, false, sink);
    r.BeginGeometry(); r.EndFigureClose(); r.LineTo({3, 3}); r.LineTo({1, 6}); r.EndFigure(); r.EndFigure();
    r.AcceptPoint({1, 1}); r.CurveTo({kNaN, 2}, {kInf, -kInf}, {1, 1}); r.EndGeometry();
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{3, 4, 5}));
    for (const CoverageRow& row : sink->rows) EXPECT_EQ(row.nodes.size(), 2u);
    // Through RasterizeGeometry: null and empty inputs give nothing.
    RasterizeGeometry(nullptr, Matrix(), c8, false, sink);
    EXPECT_EQ(FillGeometry({}, Matrix(), c8)->calls + FillGeometry({Box(0, 0, 4, 4)}, Matrix(), Rect<float>())->calls +
                  FillGeometry({Box(0, 0, 4, 4)}, Matrix(0, 0, 0, 0, 0, 0), c8)->calls, 0);
    // Beyond 32535 either way paths are clipped before the fixed point.
    const Rect<float> c4(0, 0, 4, 4);
    auto huge = FillGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}, Matrix(), c4);
    EXPECT_EQ(huge->RowNumbers(), (std::vector<int>{0, 1, 2, 3}));
    for (int y = 0; y < 4; ++y) EXPECT_EQ(huge->Inner(y), (std::vector<Node>{{-32535, 64}, {32535, 0}}));
    EXPECT_EQ(FillGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}, Matrix(), c4, true)->rects,
              (std::vector<Rect<int>>{{-32535, 0, 32535, 32535}}));
    // A vertex at infinity brings the clippers; the crossings toward it are
    // NaN and drop out, leaving the square. So does a NaN vertex.
    for (const Point<float>& bad : {Point<float>(kInf, 2), Point<float>(kNaN, kNaN)})
        EXPECT_EQ(FillGeometry({{{0, 0}, {4, 0}, bad, {4, 4}, {0, 4}}}, Matrix(), c8)->Dense(2, 0, 5), square);
}

TEST(CoverageBuffer, SpanArithmetic) {
    struct Case { std::vector<std::pair<int, int>> spans; std::vector<Node> inner; };
    const Case cases[] = {
        {{{3, 5}}, {{0, 2}, {1, 0}}},             // inside one pixel: a node where the rise ends
        {{{8, 32}, {8, 32}}, {{1, 16}, {4, 0}}},  // whole pixels: end nodes only; equal spans add up
        {{{0, 8}, {16, 24}, {4, 18}}, {{0, 12}, {1, 8}, {2, 10}, {3, 0}}},
        {{{-12, -3}}, {{-2, 4}, {-1, 5}, {0, 0}}},                   // shifts round toward minus infinity
        {{{0, 12}, {12, 24}}, {{0, 8}, {1, 8}, {2, 8}, {3, 0}}},     // equal neighbours stay apart
        {{{7, 7}, {9, 3}}, {}},                                      // empty and reversed spans
    };
    for (const Case& c : cases) {
        CoverageBuffer buffer;
        for (const auto& s : c.spans) buffer.InsertSpan(s.first, s.second);
        std::vector<Node> want = c.inner;
        want.insert(want.begin(), Node(kMin, 0));
        want.push_back(Node(kMax, 0));
        EXPECT_EQ(Nodes(buffer), want) << ::testing::PrintToString(c.spans);
        buffer.Reset();
        EXPECT_EQ(Nodes(buffer), (std::vector<Node>{{kMin, 0}, {kMax, 0}}));
    }
}

// Against a map of per-pixel changes: spans near and far (to the int limits),
// reads mid-row (later spans go into the built list), and resets.
TEST(CoverageBuffer, MatchesAMapOfChanges) {
    std::mt19937 rng(99);
    CoverageBuffer buffer;
    std::map<int, int> changes;
    for (int step = 0; step < 20000; ++step) {
        const unsigned op = rng() % 100;
        if (op < 2) { buffer.Reset(); changes.clear(); continue; }
        if (op < 6) {
            std::vector<Node> want{{kMin, 0}};
            int coverage = 0;
            for (const auto& c : changes) want.push_back(Node(c.first, coverage += c.second));
            want.push_back(Node(kMax, 0));
            ASSERT_EQ(Nodes(buffer), want) << "step " << step;
            continue;
        }
        const long long range = op < 90 ? 4000 : op < 97 ? 4000000 : 2147483000;
        const long long a = static_cast<long long>(rng() % (2 * range)) - range;
        const int x0 = static_cast<int>(a);
        const long long length = rng() % (op < 95 ? 64 : 40000);
        const int x1 = static_cast<int>(std::min(a + length, 2147483640LL));
        buffer.InsertSpan(x0, x1);
        if (x1 <= x0) continue;
        changes[x0 >> 3] += 8 - (x0 & 7);
        if (x0 & 7) changes[(x0 >> 3) + 1] += x0 & 7;
        changes[x1 >> 3] += (x1 & 7) - 8;
        if (x1 & 7) changes[(x1 >> 3) + 1] -= x1 & 7;
    }
}
