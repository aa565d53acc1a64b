#include "Graphics/Rasterizer.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace RasterTest;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const FillRule::Enum W = FillRule::Winding, E = FillRule::EvenOdd;
const Rect<float> c8(0, 0, 8, 8);

using Polygon = std::vector<Point<float>>;
Polygon Box(float l, float t, float r, float b) { return {{l, t}, {r, t}, {r, b}, {l, b}}; }  // clockwise on screen
Polygon Reversed(Polygon p) { return Polygon(p.rbegin(), p.rend()); }

void Send(GeometrySink& sink, const std::vector<Polygon>& figures) {
    for (const Polygon& figure : figures) {
        sink.BeginFigure(figure[0]);
        for (std::size_t i = 1; i < figure.size(); ++i) sink.LineTo(figure[i]);
        sink.EndFigureClose();
    }
}

std::shared_ptr<RecordingRasterSink> Fill(const std::vector<Polygon>& figures, const Rect<float>& clip,
                                          FillRule::Enum rule = W, bool adjust = false, bool trapezoids = false) {
    auto sink = std::make_shared<RecordingRasterSink>(trapezoids);
    Rasterizer rasterizer(clip, 0.25f, adjust, sink);
    rasterizer.BeginGeometry();
    rasterizer.SetFillRule(rule);
    Send(rasterizer, figures);
    rasterizer.EndGeometry();
    return sink;
}

// Through RasterizeGeometry; with adjust the sink takes trapezoids too, so
// that every kind of output is open.
std::shared_ptr<RecordingRasterSink> FillGeometry(const std::vector<Polygon>& figures, const Matrix& m,
                                                  const Rect<float>& clip, bool adjust = false,
                                                  std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>()) {
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

    // The triangle (1, 0.3), (2, 2.3), (1, 2.3) is (128, 38), (256, 294),
    // (128, 294) in fixed units. Its sloped edge (dx 128, dy 256) starts at
    // sample row 2 at xSub 8 with error -113 of 256 (two steps down to the
    // sample centre, x rounded up), then runs 8, 9, 9, 10, 10, ... 16: the
    // error rises by 128 and carries every other row. Pixel 1 sums xSub - 8
    // over a pixel row's sample rows: 0+1+1+2+2+3 = 9 (rows 2-7), 3+4+4+5+
    // 5+6+6+7 = 40 (8-15), 7+8 = 15 (16, 17, sent after the loop). A clip
    // from y = 1 skips the edge 6 rows in one go; one ending at 1.25 ((160 +
    // 15) >> 4 = row 10) leaves 3 + 4. The hypotenuse of (0, 0), (4, 0),
    // (0, 4) is at xSub 32 - y: each pixel it crosses gets 8 + 7 + ... + 1.
    // x = 0.3 is 38 fixed, rounded up to 45: sample column 2; 2.3 gives 18.
    const Polygon triangle = {{1.0f, 0.3f}, {2.0f, 2.3f}, {1.0f, 2.3f}};
    // The triangle's edges as set up, and skipped down to a clip at y = 1:
    // t = 6 * 128 - 113 = 655 gives xSub 8 + 655 / 256 + 1 = 11, error -113.
    for (int clipTop : {0, 1}) {
        Rasterizer rasterizer(Rect<float>(0, float(clipTop), 10, 10), 0.25f, false, nullptr);
        rasterizer.BeginGeometry();
        Send(rasterizer, {triangle});
        ASSERT_EQ(rasterizer.GetEdges().size(), 2u);
        const Rasterizer::Edge& a = *rasterizer.GetEdges()[0];
        const Rasterizer::Edge& b = *rasterizer.GetEdges()[1];
        EXPECT_EQ(std::vector<int>({a.ySubStart, a.ySubEnd, a.xSub, a.slopeInt, a.errorTerm, a.errorUp,
                                    a.errorDown, a.windingDirection}),
                  std::vector<int>({clipTop ? 8 : 2, 18, clipTop ? 11 : 8, 0, -113, 128, 256, 1}));
        EXPECT_EQ(std::vector<int>({b.ySubStart, b.xSub, b.errorTerm, b.errorUp, b.windingDirection}),
                  std::vector<int>({clipTop ? 8 : 2, 8, -1, 0, -1}));
    }
    const std::vector<Node> half = {{0, 16}, {1, 32}, {2, 16}, {3, 0}}, two = {{0, 64}, {1, 0}, {2, 64}, {3, 0}};
    const std::vector<Node> column = {{1, 64}, {2, 0}};
    struct Case {
        const char* name;
        std::vector<Polygon> figures;
        Rect<float> clip;
        FillRule::Enum rule;
        std::vector<int> rowNumbers;
        std::vector<std::pair<int, std::vector<Node>>> rows;  // y, nodes without the end nodes
    };
    const Case cases[] = {
        {"triangle", {triangle}, Rect<float>(0, 0, 10, 10), W, {0, 1, 2},
         {{0, {{1, 9}, {2, 0}}}, {1, {{1, 40}, {2, 0}}}, {2, {{1, 15}, {2, 0}}}}},
        {"clip top", {triangle}, Rect<float>(0, 1, 10, 10), W, {1, 2},
         {{1, {{1, 40}, {2, 0}}}, {2, {{1, 15}, {2, 0}}}}},
        {"clip bottom", {triangle}, Rect<float>(0, 0, 10, 1.25f), W, {0, 1},
         {{0, {{1, 9}, {2, 0}}}, {1, {{1, 7}, {2, 0}}}}},
        {"negative slope", {{{0, 0}, {4, 0}, {0, 4}}}, c8, W, {0, 1, 2, 3},
         {{0, {{0, 64}, {3, 36}, {4, 0}}}, {1, {{0, 64}, {2, 36}, {3, 0}}}, {3, {{0, 36}, {1, 0}}}}},
        {"whole pixels", {Box(1, 1, 3, 2)}, c8, W, {1}, {{1, {{1, 64}, {3, 0}}}}},
        {"half pixels", {Box(0.5f, 0.5f, 2.5f, 1.5f)}, c8, W, {0, 1}, {{0, half}, {1, half}}},
        {"x rounded up", {Box(0.3f, 1.0f, 2.3f, 2.0f)}, c8, W, {1}, {{1, {{0, 48}, {1, 64}, {2, 16}, {3, 0}}}}},
        {"wound twice", {Box(0, 0, 2, 1), Box(1, 0, 3, 1)}, c8, W, {0}, {{0, {{0, 64}, {3, 0}}}}},
        {"wound twice, even-odd", {Box(0, 0, 2, 1), Box(1, 0, 3, 1)}, c8, E, {0}, {{0, two}}},
        {"wound both ways", {Box(0, 0, 2, 1), Reversed(Box(1, 0, 3, 1))}, c8, W, {0}, {{0, two}}},
        {"rows between shapes", {Box(0, 0, 2, 1), Box(0, 3, 2, 4)}, c8, W, {0, 1, 2, 3},
         {{1, {}}, {3, {{0, 64}, {2, 0}}}}},
        {"not cut at the clip", {Box(-100, 1, 100, 2)}, c8, W, {1}, {{1, {{-100, 64}, {100, 0}}}}},
        {"rows repeated", {Box(1, 0.5f, 2, 30)}, Rect<float>(0, 0, 8, 20), W,
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19},
         {{0, {{1, 32}, {2, 0}}}, {1, column}, {19, column}}},
        // Stationary edges: a row may go out again as it is up to the next
        // event, and several sample rows are added at once up to an edge's
        // end. Here one ends at sample row 23 (376 fixed), the last of a
        // pixel row, and one at 12, in the middle of one.
        {"repeat up to an end", {Box(1, 0, 2, 2.9375f)}, c8, W, {0, 1, 2}, {{1, column}, {2, {{1, 56}, {2, 0}}}}},
        {"ends inside a row", {Box(1, 0, 2, 1.5f), Box(4, 0, 5, 3)}, c8, W, {0, 1, 2},
         {{1, {{1, 32}, {2, 0}, {4, 64}, {5, 0}}}, {2, {{4, 64}, {5, 0}}}}},
        // A point, a horizontal line, a line within one sample row (256 and
        // 268 fixed are both row 16): no edges, no output.
        {"point", {{{2, 2}}}, c8, W, {}, {}},
        {"horizontal", {{{1, 2}, {5, 2}}}, c8, W, {}, {}},
        {"within a sample row", {{{1, 2}, {5, 2.1f}}}, c8, W, {}, {}},
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
    Rasterizer folding(Rect<float>(0, 0, 4, 4), 0.25f, false, nullptr);
    folding.BeginGeometry();
    Send(folding, {{{-10, 0}, {-5, 1}, {-20, 2}, {-8, 3}, {6, 3}, {6, 0}}});
    EXPECT_EQ(folding.GetEdges().size(), 2u);
    auto left = Fill({{{-10, 0}, {-5, 1}, {-20, 2}, {-8, 3}, {6, 3}, {6, 0}}}, Rect<float>(0, 0, 4, 4));
    auto right = Fill({{{2, 0}, {10, 0}, {20, 1}, {9, 2}, {12, 3}, {2, 3}}}, Rect<float>(0, 0, 4, 4), E);
    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(left->Dense(y, 0, 7), (std::vector<int>{64, 64, 64, 64, 64, 64, 0})) << y;
        EXPECT_EQ(right->Dense(y, 0, 4), (std::vector<int>{0, 0, 64, 64})) << y;
    }

    // A circle of radius 3 through curves: close to its area, full inside.
    auto circle = std::make_shared<Geometry>();
    circle->Ellipse(Rect<float>(1, 1, 7, 7));
    auto round = FillGeometry({}, Matrix(), c8, false, circle);
    EXPECT_EQ(round->RowNumbers(), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    int total = 0;
    for (int y = 0; y < 8; ++y)
        for (int v : round->Dense(y, 0, 8)) total += v;
    EXPECT_NEAR(total / 64.0, M_PI * 9, 1.0);  // sixteen chords cut about 0.7
    EXPECT_EQ(round->Dense(3, 3, 5), (std::vector<int>{64, 64}));
}

TEST(Rasterizer, RectanglePathAndAliasedPath) {
    // With adjustRectangles, two vertical edges over the same rows make one
    // whole-pixel rectangle, at least a pixel each way; the top is skipped to
    // the clip, the bottom not cut. Anything else takes the coverage path.
    const std::pair<std::vector<Polygon>, std::vector<Rect<int>>> cases[] = {
        {{Box(1, 2, 4, 5)}, {{1, 2, 4, 5}}},
        {{Box(0.5f, 0.5f, 2.5f, 1.5f)}, {{0, 0, 2, 1}}},
        {{Box(3.2f, 5.0f, 3.21f, 6.0f)}, {{3, 5, 4, 6}}},
        {{Box(3.2f, 5.05f, 3.21f, 5.15f)}, {{3, 5, 4, 6}}},
        {{Box(1, -5, 3, 12)}, {{1, 0, 3, 12}}},
        {{{{1, 0}, {3, 0}, {3, 12}, {1, 10}}}, {}},  // sloped only below the clip, sides of unequal length
        {{Box(1, 1, 2, 2), Box(4, 1, 5, 2)}, {}},
        {{{{1, 1}, {3, 1}, {3.5f, 3}, {1, 3}}}, {}},
        {{{{1, 1}, {3, 1}, {3, 3}, {2, 3}, {2, 2}, {1, 2}}}, {}},
    };
    for (const auto& c : cases) {
        auto sink = Fill(c.first, Rect<float>(0, 0, 10, 10), W, true);
        EXPECT_EQ(sink->rects, c.second);
        EXPECT_EQ(sink->calls, c.second.empty() ? static_cast<int>(sink->rows.size()) : 1);
        EXPECT_EQ(sink->rows.empty(), !c.second.empty());
    }
    // Without the flag the thin dot covers no sample, yet its row is sent.
    auto dot = Fill({Box(3.2f, 5.05f, 3.21f, 5.15f)}, Rect<float>(0, 0, 10, 10));
    EXPECT_EQ(dot->RowNumbers(), std::vector<int>{5});
    EXPECT_TRUE(dot->Inner(5).empty());

    // The aliased path: left and top round down, right and bottom up
    // (columns and rows 12 to 18 give pixels 1 to 3); overlaps are banded.
    auto aliased = [](const std::vector<Polygon>& figures) {
        auto sink = std::make_shared<RecordingRasterSink>();
        Rasterizer rasterizer(Rect<float>(0, 0, 10, 10), 0.25f, false, sink);
        rasterizer.BeginGeometry();
        Send(rasterizer, figures);
        rasterizer.RasterizeAliased();
        EXPECT_TRUE(sink->rows.empty());
        return sink->rects;
    };
    EXPECT_EQ(aliased({Box(1.5f, 1.5f, 2.25f, 2.25f)}), (std::vector<Rect<int>>{{1, 1, 3, 3}}));
    EXPECT_EQ(aliased({Box(1, 1, 3, 3), Box(2, 2, 5, 4)}),
              (std::vector<Rect<int>>{{1, 1, 3, 2}, {1, 2, 5, 3}, {2, 3, 5, 4}}));
    EXPECT_TRUE(aliased({}).empty());
}

TEST(Rasterizer, Trapezoids) {
    const Rect<float> clip(0, 0, 20, 40);
    // A vertical box is one trapezoid. Each side lies at xSub + errorTerm /
    // errorDown = 8 - 1/2048 and 40 - 1/2048 samples, an eighth in pixels.
    auto box = Fill({Box(1, 0, 5, 16)}, clip, W, false, true);
    EXPECT_EQ(box->calls, 1);
    ASSERT_EQ(box->traps.size(), 1u);
    const Trapezoid& t = box->traps[0];
    EXPECT_EQ(std::vector<float>({t.top, t.topLeft, t.topRight, t.bottom, t.bottomLeft, t.bottomRight, t.leftFeather,
                                  t.rightFeather}),
              std::vector<float>({0, 0.99993896484375f, 4.99993896484375f, 16, 0.99993896484375f, 4.99993896484375f,
                                  0.5f, 0.5f}));
    // Partial rows at both ends go as coverage.
    auto ragged = Fill({Box(1, 0.5f, 5, 15.5f)}, clip, W, false, true);
    EXPECT_EQ(ragged->RowNumbers(), (std::vector<int>{0, 15}));
    ASSERT_EQ(ragged->traps.size(), 1u);
    EXPECT_EQ(std::make_pair(ragged->traps[0].top, ragged->traps[0].bottom), std::make_pair(1.0f, 15.0f));
    EXPECT_EQ(ragged->Inner(0), (std::vector<Node>{{1, 32}, {5, 0}}));

    // Pairs of opposite direction under winding, or kept a pixel apart under
    // even-odd, make trapezoids; a same-direction pair, or sides closer than
    // a pixel (the gap between shapes included), fall back to coverage.
    struct Case {
        FillRule::Enum rule;
        std::vector<Polygon> figures;
        std::size_t traps, rows;
    };
    const Case cases[] = {{W, {Box(0, 0, 4, 16), Reversed(Box(6, 0, 10, 16))}, 2, 0},
                          {W, {Box(0, 0, 4, 16), Box(2, 0, 6, 16)}, 0, 16},
                          {E, {Box(0, 0, 4, 16), Box(2, 0, 6, 16)}, 2, 0},
                          {E, {Box(0, 0, 4, 16), Box(4.5f, 0, 8, 16)}, 0, 16}};
    for (const Case& c : cases) {
        auto sink = Fill(c.figures, clip, c.rule, false, true);
        EXPECT_EQ(std::make_pair(sink->traps.size(), sink->rows.size()), std::make_pair(c.traps, c.rows));
    }

    // Sloped sides: bands and coverage rows cover every row once, the rows
    // are those of the coverage path, and each band's corners lie on the
    // shape's sides within a sample, with a feather of half the slope plus
    // half a pixel, and wide enough for both feathers.
    struct Sloped {
        Polygon shape;
        Point<float> l0, l1, r0, r1;  // the left and the right side
    };
    const Sloped sloped[] = {{{{2, 0}, {10, 0}, {14, 32}, {6, 32}}, {2, 0}, {6, 32}, {10, 0}, {14, 32}},
                             {{{2, 1}, {30, 1}, {16, 30}}, {2, 1}, {16, 30}, {30, 1}, {16, 30}},
                             {{{20, 2.5f}, {36, 30}, {4, 30}}, {20, 2.5f}, {4, 30}, {20, 2.5f}, {36, 30}}};
    auto x = [](Point<float> a, Point<float> b, float y) { return a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y); };
    for (const Sloped& c : sloped) {
        auto coverage = Fill({c.shape}, clip);
        auto mixed = Fill({c.shape}, clip, W, false, true);
        ASSERT_FALSE(mixed->traps.empty());
        std::vector<int> rows = mixed->RowNumbers();
        for (int y : rows) EXPECT_EQ(mixed->Inner(y), coverage->Inner(y)) << y;
        for (const Trapezoid& b : mixed->traps) {
            for (int y = int(b.top); y < int(b.bottom); ++y) rows.push_back(y);
            EXPECT_NEAR(b.topLeft, x(c.l0, c.l1, b.top), 0.125f);
            EXPECT_NEAR(b.bottomLeft, x(c.l0, c.l1, b.bottom), 0.125f);
            EXPECT_NEAR(b.topRight, x(c.r0, c.r1, b.top), 0.125f);
            EXPECT_NEAR(b.bottomRight, x(c.r0, c.r1, b.bottom), 0.125f);
            EXPECT_NEAR(b.leftFeather, 0.5f + 0.5f * std::fabs((c.l1.x - c.l0.x) / (c.l1.y - c.l0.y)), 0.01f);
            EXPECT_NEAR(b.rightFeather, 0.5f + 0.5f * std::fabs((c.r1.x - c.r0.x) / (c.r1.y - c.r0.y)), 0.01f);
            // The ramps of the two sides never meet.
            EXPECT_GE(std::min(b.topRight - b.topLeft, b.bottomRight - b.bottomLeft), b.leftFeather + b.rightFeather);
        }
        std::sort(rows.begin(), rows.end());
        EXPECT_EQ(rows, coverage->RowNumbers());
    }
}

// Bad input of every kind: empty paths and clips, points that are not
// numbers, infinities, huge coordinates, events out of order, no sink.
TEST(Rasterizer, BadInput) {
    const std::vector<int> square = {64, 64, 64, 64, 0};
    // Empty, zero-size, inverted and NaN clips; shapes above or below, or
    // beside a zero-width clip: nothing. One across it still gives its row.
    EXPECT_EQ(Fill({}, c8)->calls, 0);
    for (const Rect<float>& clip :
         {Rect<float>(5, 5, 5, 5), Rect<float>(8, 8, 0, 0), Rect<float>(kNaN, kNaN, kNaN, kNaN)})
        EXPECT_EQ(Fill({Box(1, 1, 3, 3)}, clip)->calls, 0);
    EXPECT_EQ(Fill({Box(1, -5, 3, -1), Box(1, 9, 3, 12)}, c8)->calls, 0);
    EXPECT_EQ(Fill({Box(1, 1, 3, 2)}, Rect<float>(4, 0, 4, 8))->calls, 0);
    EXPECT_EQ(Fill({Box(1, 1, 3, 2)}, Rect<float>(2, 0, 2, 8))->RowNumbers(), std::vector<int>{1});

    // A point that is not a number drops out of its figure, wherever it is;
    // infinity saturates to a side far away.
    for (const Polygon& p :
         {Polygon{{0, 0}, {4, 0}, {4, 4}, {kNaN, 2}, {0, 4}}, Polygon{{kNaN, 0}, {0, 0}, {4, 0}, {4, 4}, {0, 4}}})
        for (int y = 0; y < 4; ++y) EXPECT_EQ(Fill({p}, c8)->Dense(y, 0, 5), square) << y;
    auto inf = Fill({{{2, 0}, {kInf, 0}, {kInf, 4}, {2, 4}}}, c8);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(inf->Dense(y, 0, 8), (std::vector<int>{0, 0, 64, 64, 64, 64, 64, 64})) << y;
    EXPECT_EQ(Fill({{{kNaN, kNaN}, {kNaN, 1}, {2, kNaN}}}, c8)->calls, 0);

    // Events out of order; a figure enclosing nothing reports empty rows.
    auto sink = std::make_shared<RecordingRasterSink>();
    {
        Rasterizer rasterizer(c8, 0.25f, false, sink);
        rasterizer.BeginGeometry();
        rasterizer.EndFigureClose();
        rasterizer.LineTo(Point<float>(3, 3));
        rasterizer.LineTo(Point<float>(1, 6));
        rasterizer.EndFigure();
        rasterizer.EndFigure();
        rasterizer.AcceptPoint(Point<float>(1, 1));
        rasterizer.CurveTo(Point<float>(kNaN, 2), Point<float>(kInf, -kInf), Point<float>(1, 1));
        rasterizer.EndGeometry();
    }
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{3, 4, 5}));
    for (const CoverageRow& row : sink->rows) EXPECT_EQ(row.nodes.size(), 2u);
    Rasterizer noSink(c8, 0.25f, true, nullptr);
    noSink.BeginGeometry();
    Send(noSink, {Box(1, 1, 3, 3)});
    noSink.EndGeometry();

    // Through RasterizeGeometry: null and empty inputs give nothing.
    RasterizeGeometry(nullptr, Matrix(), c8, false, sink);
    RasterizeGeometry(std::make_shared<Geometry>(), Matrix(), c8, false, nullptr);
    EXPECT_EQ(FillGeometry({}, Matrix(), c8)->calls, 0);
    EXPECT_EQ(FillGeometry({Box(0, 0, 4, 4)}, Matrix(), Rect<float>(0, 0, 0, 0))->calls, 0);
    EXPECT_EQ(FillGeometry({Box(0, 0, 4, 4)}, Matrix(0, 0, 0, 0, 0, 0), c8)->calls, 0);

    // Beyond 32535 either way paths are clipped before the fixed point.
    const Rect<float> c4(0, 0, 4, 4);
    auto huge = FillGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}, Matrix(), c4);
    EXPECT_EQ(huge->RowNumbers(), (std::vector<int>{0, 1, 2, 3}));
    for (int y = 0; y < 4; ++y) EXPECT_EQ(huge->Inner(y), (std::vector<Node>{{-32535, 64}, {32535, 0}}));
    EXPECT_EQ(FillGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}, Matrix(), c4, true)->rects,
              (std::vector<Rect<int>>{{-32535, 0, 32535, 32535}}));
    EXPECT_EQ(FillGeometry({Box(-1, -1, 1, 1)}, Matrix(1e7f, 0, 0, 1e7f, 0, 0), c4)->Dense(3, 0, 4),
              (std::vector<int>(4, 64)));
    // A huge triangle whose long side x + y = 4 crosses the clip shows about
    // what a small one with that side does.
    auto big = FillGeometry({{{-1e7f, -1e7f}, {1e7f + 4, -1e7f}, {-1e7f, 1e7f + 4}}}, Matrix(), c4);
    auto small = Fill({{{-4, -4}, {8, -4}, {-4, 8}}}, c4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_NEAR(big->Dense(y, 0, 4)[x], small->Dense(y, 0, 4)[x], 16) << x << "," << y;
    // A vertex at infinity brings the clippers; the crossings toward it are
    // not numbers and drop out, leaving the square. So does a NaN vertex.
    for (const Point<float>& bad : {Point<float>(kInf, 2), Point<float>(kNaN, kNaN)})
        EXPECT_EQ(FillGeometry({{{0, 0}, {4, 0}, bad, {4, 4}, {0, 4}}}, Matrix(), c8)->Dense(2, 0, 5), square);
    // Curves through infinities and 1e30 (the finest flattening), under
    // matrices of them: rows stay in the clip.
    auto wild = std::make_shared<Geometry>();
    wild->BeginFigure(Point<float>(1, 1));
    wild->CurveTo(Point<float>(kInf, 2), Point<float>(kNaN, -kInf), Point<float>(3, 5));
    wild->CurveTo(Point<float>(1e30f, -1e30f), Point<float>(-1e30f, 1e30f), Point<float>(1, 6));
    wild->LineTo(Point<float>(-kInf, kInf));
    wild->EndFigure();
    for (const Matrix& m : {Matrix(), Matrix(kNaN, 0, 0, 1, 0, 0), Matrix(kInf, 1, 1, kInf, 0, 0),
                            Matrix(1e30f, 0, 0, 1e30f, -1e30f, 1e30f), Matrix(0, 0, 0, 0, kNaN, kNaN)})
        for (bool adjust : {false, true}) {
            auto out = FillGeometry({}, m, c8, adjust, wild);
            for (const CoverageRow& row : out->rows) EXPECT_TRUE(row.y >= 0 && row.y < 8) << row.y;
        }
}
