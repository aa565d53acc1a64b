#include "Graphics/Rasterizer.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;
using namespace RasterTest;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const int kMin = -2147483647 - 1;
const int kMax = 2147483647;

using Polygon = std::vector<Point<float>>;

Polygon Box(float l, float t, float r, float b) {  // clockwise on screen
    return {{l, t}, {r, t}, {r, b}, {l, b}};
}
Polygon Reversed(Polygon p) { return Polygon(p.rbegin(), p.rend()); }

void Send(Rasterizer& rasterizer, const std::vector<Polygon>& figures) {
    for (const Polygon& figure : figures) {
        rasterizer.BeginFigure(figure[0]);
        for (std::size_t i = 1; i < figure.size(); ++i) rasterizer.LineTo(figure[i]);
        rasterizer.EndFigureClose();
    }
}

std::shared_ptr<RecordingRasterSink> RasterizeFigures(const std::vector<Polygon>& figures, const Rect<float>& clip,
                                         FillRule::Enum rule = FillRule::Winding, bool adjust = false,
                                         bool trapezoids = false) {
    auto sink = std::make_shared<RecordingRasterSink>(trapezoids);
    Rasterizer rasterizer(clip, 0.25f, adjust, sink);
    rasterizer.BeginGeometry();
    rasterizer.SetFillRule(rule);
    Send(rasterizer, figures);
    rasterizer.EndGeometry();
    return sink;
}

std::shared_ptr<Geometry> MakeGeometry(const std::vector<Polygon>& figures, FillRule::Enum rule = FillRule::Winding) {
    auto geometry = std::make_shared<Geometry>();
    geometry->SetFillRule(rule);
    for (const Polygon& figure : figures) {
        geometry->BeginFigure(figure[0]);
        for (std::size_t i = 1; i < figure.size(); ++i) geometry->LineTo(figure[i]);
        geometry->EndFigureClose();
    }
    return geometry;
}

// Area of a polygon inside one pixel by dense point sampling (even-odd and
// winding agree for the simple shapes this is used on).
double PixelArea(const Polygon& poly, int px, int py) {
    const int n = 64;
    int inside = 0;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            const double x = px + (i + 0.5) / n, y = py + (j + 0.5) / n;
            bool in = false;
            for (std::size_t k = 0, l = poly.size() - 1; k < poly.size(); l = k++) {
                const double xk = poly[k].x, yk = poly[k].y, xl = poly[l].x, yl = poly[l].y;
                if ((yk > y) != (yl > y) && x < (xl - xk) * (y - yk) / (yl - yk) + xk) in = !in;
            }
            inside += in;
        }
    return inside * 64.0 / (n * n);
}

}  // namespace

TEST(Rasterizer, FixedPointConversion) {
    EXPECT_EQ(Rasterizer::TransformToFixed(1.0f), 128);
    EXPECT_EQ(Rasterizer::TransformToFixed(0.3f), 38);    // 38.4 truncated
    EXPECT_EQ(Rasterizer::TransformToFixed(-0.3f), -38);  // toward zero
    EXPECT_EQ(Rasterizer::TransformToFixed(-1.999f), -255);
    EXPECT_EQ(Rasterizer::TransformToFixed(32535.0f), 4164480);
    EXPECT_EQ(Rasterizer::TransformToFixed(-32535.0f), -4164480);
    // Saturation where the edge arithmetic would leave 32 bits.
    EXPECT_EQ(Rasterizer::TransformToFixed(1e7f), Rasterizer::m_FixedLimit);
    EXPECT_EQ(Rasterizer::TransformToFixed(-1e7f), -Rasterizer::m_FixedLimit);
    EXPECT_EQ(Rasterizer::TransformToFixed(kInf), Rasterizer::m_FixedLimit);
    EXPECT_EQ(Rasterizer::TransformToFixed(-kInf), -Rasterizer::m_FixedLimit);
    EXPECT_EQ(Rasterizer::TransformToFixed(kNaN), 0);

    Rasterizer rasterizer(Rect<float>(0.3f, -0.3f, 10.5f, 1e9f), 0.25f, false, nullptr);
    EXPECT_EQ(rasterizer.GetFixedClip(), Rect<int>(38, -38, 1344, Rasterizer::m_FixedLimit));
}

TEST(Rasterizer, EdgeSetUpAndSkipToTheClip) {
    // Triangle (1, 0.3), (2, 2.3), (1, 2.3); in fixed units (128, 38),
    // (256, 294), (128, 294).
    //
    // Sloped edge, downward: dy = 256, dx = 128, q = 0, r = 128; rows
    // 38 >> 4 = 2 to 294 >> 4 = 18. 38 & 7 = 6, so two steps: the error goes
    // -1 + 128 = 127, carries to -129 with x 129, then -129 + 128 = -1. Then
    // 129 & 7 = 1: error -1 - 7 * 256 = -1793, x 136. xSub = 136 >> 4 = 8,
    // errorTerm = -1793 >> 4 = -113.
    // The closing edge runs upward: vertical at x 128, xSub 8, error -1 >> 4.
    auto sink = std::make_shared<RecordingRasterSink>();
    {
        Rasterizer rasterizer(Rect<float>(0, 0, 10, 10), 0.25f, false, sink);
        rasterizer.BeginGeometry();
        Send(rasterizer, {{{1.0f, 0.3f}, {2.0f, 2.3f}, {1.0f, 2.3f}}});
        ASSERT_EQ(rasterizer.GetEdges().size(), 2u);
        const Rasterizer::Edge& a = *rasterizer.GetEdges()[0];
        EXPECT_EQ(a.ySubStart, 2);
        EXPECT_EQ(a.ySubEnd, 18);
        EXPECT_EQ(a.xSub, 8);
        EXPECT_EQ(a.slopeInt, 0);
        EXPECT_EQ(a.errorTerm, -113);
        EXPECT_EQ(a.errorUp, 128);
        EXPECT_EQ(a.errorDown, 256);
        EXPECT_EQ(a.windingDirection, 1);
        const Rasterizer::Edge& b = *rasterizer.GetEdges()[1];
        EXPECT_EQ(b.ySubStart, 2);
        EXPECT_EQ(b.ySubEnd, 18);
        EXPECT_EQ(b.xSub, 8);
        EXPECT_EQ(b.slopeInt, 0);
        EXPECT_EQ(b.errorTerm, -1);
        EXPECT_EQ(b.errorUp, 0);
        EXPECT_EQ(b.windingDirection, -1);
        EXPECT_TRUE(rasterizer.HasSlopedEdge());
        EXPECT_EQ(rasterizer.GetYMin(), 2);
        EXPECT_EQ(rasterizer.GetYMax(), 18);
        rasterizer.EndGeometry();
    }
    // The sloped edge's xSub per sample row from 2: the error goes up by 128
    // and carries every other row: 8, 9, 9, 10, 10, 11, 11, 12, ... 15, 16.
    // Pixel 1 sums the widths xSub - 8 over the rows of each pixel row:
    // row 0 (samples 2-7): 0+1+1+2+2+3 = 9; row 1 (8-15): 3+4+4+5+5+6+6+7 =
    // 40; row 2 (16, 17): 7+8 = 15, delivered after the loop.
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Inner(sink->Row(0)), (std::vector<Node>{{1, 9}, {2, 0}}));
    EXPECT_EQ(Inner(sink->Row(1)), (std::vector<Node>{{1, 40}, {2, 0}}));
    EXPECT_EQ(Inner(sink->Row(2)), (std::vector<Node>{{1, 15}, {2, 0}}));
    EXPECT_EQ(sink->rows[0].nodes.front(), Node(kMin, 0));
    EXPECT_EQ(sink->rows[0].nodes.back(), Node(kMax, 0));

    // With the clip from y = 1 (sample row 8) the edge is skipped 6 rows:
    // t = 6 * 128 - 113 = 655, k = 655 / 256 = 2, xSub 8 + 3 = 11, error
    // 655 - 3 * 256 = -113: the same as six single steps.
    auto clipped = std::make_shared<RecordingRasterSink>();
    {
        Rasterizer rasterizer(Rect<float>(0, 1, 10, 10), 0.25f, false, clipped);
        rasterizer.BeginGeometry();
        Send(rasterizer, {{{1.0f, 0.3f}, {2.0f, 2.3f}, {1.0f, 2.3f}}});
        const Rasterizer::Edge& a = *rasterizer.GetEdges()[0];
        EXPECT_EQ(a.ySubStart, 8);
        EXPECT_EQ(a.xSub, 11);
        EXPECT_EQ(a.errorTerm, -113);
        EXPECT_EQ(rasterizer.GetYMin(), 8);
        rasterizer.EndGeometry();
    }
    EXPECT_EQ(clipped->RowNumbers(), (std::vector<int>{1, 2}));
    EXPECT_EQ(Inner(clipped->Row(1)), (std::vector<Node>{{1, 40}, {2, 0}}));
    EXPECT_EQ(Inner(clipped->Row(2)), (std::vector<Node>{{1, 15}, {2, 0}}));

    // The clip's bottom stops the rows: (1.25 * 128 + 15) >> 4 = 10.
    auto bottom = RasterizeFigures({{{1.0f, 0.3f}, {2.0f, 2.3f}, {1.0f, 2.3f}}}, Rect<float>(0, 0, 10, 1.25f));
    EXPECT_EQ(bottom->RowNumbers(), (std::vector<int>{0, 1}));
    EXPECT_EQ(Inner(bottom->Row(1)), (std::vector<Node>{{1, 7}, {2, 0}}));  // samples 8, 9: 3 + 4
}

TEST(Rasterizer, SlantedEdgeWithNegativeSlope) {
    // Right triangle (0, 0), (4, 0), (0, 4): the hypotenuse from (512, 0) to
    // (0, 512) has q = -1, r = 0, xSub 32 - y at sample row y; the left side
    // is vertical at 0. Pixel 3 of row 0 gets 8 - y for y = 0..7: 36.
    auto sink = RasterizeFigures({{{0, 0}, {4, 0}, {0, 4}}}, Rect<float>(0, 0, 8, 8));
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(sink->Dense(0, 0, 5), (std::vector<int>{64, 64, 64, 36, 0}));
    EXPECT_EQ(sink->Dense(1, 0, 5), (std::vector<int>{64, 64, 36, 0, 0}));
    EXPECT_EQ(sink->Dense(3, 0, 5), (std::vector<int>{36, 0, 0, 0, 0}));
    // Pixel 3 of row 0 gets one node of its own: 3 starts at 8, then each
    // sample row adds its part.
    EXPECT_EQ(Inner(sink->Row(0)), (std::vector<Node>{{0, 64}, {3, 36}, {4, 0}}));
}

TEST(Rasterizer, WholeAndHalfPixelRectangles) {
    // Whole pixels: edges at sample columns 8 and 24, rows 8 to 15.
    auto whole = RasterizeFigures({Box(1, 1, 3, 2)}, Rect<float>(0, 0, 8, 8));
    ASSERT_EQ(whole->rows.size(), 1u);
    EXPECT_EQ(whole->rows[0].y, 1);
    EXPECT_EQ(whole->rows[0].nodes, (std::vector<Node>{{kMin, 0}, {1, 64}, {3, 0}, {kMax, 0}}));
    EXPECT_TRUE(whole->rects.empty());

    // Half pixels: columns 4 to 20, sample rows 4 to 11. Each sample row
    // gives 4, 8, 4; four rows in pixel row 0 and four in row 1, the second
    // delivered after the loop.
    auto half = RasterizeFigures({Box(0.5f, 0.5f, 2.5f, 1.5f)}, Rect<float>(0, 0, 8, 8));
    EXPECT_EQ(half->RowNumbers(), (std::vector<int>{0, 1}));
    EXPECT_EQ(Inner(half->Row(0)), (std::vector<Node>{{0, 16}, {1, 32}, {2, 16}, {3, 0}}));
    EXPECT_EQ(Inner(half->Row(1)), (std::vector<Node>{{0, 16}, {1, 32}, {2, 16}, {3, 0}}));

    // x = 0.3 is 38 fixed; 38 & 7 = 6 rounds it up to 45, sample column 2.
    // x = 2.3 is 294, rounded to 301, column 18. 1.0 to 2.0 in y.
    auto odd = RasterizeFigures({Box(0.3f, 1.0f, 2.3f, 2.0f)}, Rect<float>(0, 0, 8, 8));
    EXPECT_EQ(Inner(odd->Row(1)), (std::vector<Node>{{0, 48}, {1, 64}, {2, 16}, {3, 0}}));

    // Either orientation gives the same.
    auto reversed = RasterizeFigures({Reversed(Box(0.5f, 0.5f, 2.5f, 1.5f))}, Rect<float>(0, 0, 8, 8));
    EXPECT_EQ(reversed->rows.size(), 2u);
    EXPECT_EQ(Inner(reversed->Row(0)), Inner(half->Row(0)));
}

TEST(Rasterizer, RectanglePath) {
    const Rect<float> clip(0, 0, 10, 10);
    auto plain = RasterizeFigures({Box(1, 2, 4, 5)}, clip, FillRule::Winding, true);
    EXPECT_EQ(plain->calls, 1);
    ASSERT_EQ(plain->rects.size(), 1u);
    EXPECT_EQ(plain->rects[0], Rect<int>(1, 2, 4, 5));

    // Half pixels are cut to whole ones: columns 4..20 become pixels 0..2.
    auto half = RasterizeFigures({Box(0.5f, 0.5f, 2.5f, 1.5f)}, clip, FillRule::Winding, true);
    ASSERT_EQ(half->rects.size(), 1u);
    EXPECT_EQ(half->rects[0], Rect<int>(0, 0, 2, 1));

    // 0.01 pixel wide: both edges in column 26, widened to one pixel.
    auto thin = RasterizeFigures({Box(3.2f, 5.0f, 3.21f, 6.0f)}, clip, FillRule::Winding, true);
    ASSERT_EQ(thin->rects.size(), 1u);
    EXPECT_EQ(thin->rects[0], Rect<int>(3, 5, 4, 6));
    // Thin both ways, but across a sample row boundary (rows 40 to 41):
    // still one whole pixel.
    auto dot = RasterizeFigures({Box(3.2f, 5.05f, 3.21f, 5.15f)}, clip, FillRule::Winding, true);
    ASSERT_EQ(dot->rects.size(), 1u);
    EXPECT_EQ(dot->rects[0], Rect<int>(3, 5, 4, 6));
    // Without the flag that dot covers no sample, yet its row is reported.
    auto dotCoverage = RasterizeFigures({Box(3.2f, 5.05f, 3.21f, 5.15f)}, clip);
    EXPECT_TRUE(dotCoverage->rects.empty());
    ASSERT_EQ(dotCoverage->rows.size(), 1u);
    EXPECT_EQ(dotCoverage->rows[0].y, 5);
    EXPECT_EQ(dotCoverage->rows[0].nodes.size(), 2u);

    // The top is skipped down to the clip; the bottom is not cut.
    auto tall = RasterizeFigures({Box(1, -5, 3, 12)}, clip, FillRule::Winding, true);
    ASSERT_EQ(tall->rects.size(), 1u);
    EXPECT_EQ(tall->rects[0], Rect<int>(1, 0, 3, 12));

    // Two rectangles, a sloped edge, or no flag: the coverage path.
    auto two = RasterizeFigures({Box(1, 1, 2, 2), Box(4, 1, 5, 2)}, clip, FillRule::Winding, true);
    EXPECT_TRUE(two->rects.empty());
    EXPECT_EQ(two->Dense(1, 0, 6), (std::vector<int>{0, 64, 0, 0, 64, 0}));
    auto sloped = RasterizeFigures({{{1, 1}, {3, 1}, {3.5f, 3}, {1, 3}}}, clip, FillRule::Winding, true);
    EXPECT_TRUE(sloped->rects.empty());
    EXPECT_EQ(sloped->rows.size(), 2u);
    // An L shape (three vertical edges) takes the coverage path too.
    auto stair = RasterizeFigures({{{1, 1}, {3, 1}, {3, 3}, {2, 3}, {2, 2}, {1, 2}}}, clip, FillRule::Winding, true);
    EXPECT_TRUE(stair->rects.empty());
}

TEST(Rasterizer, FillRules) {
    const Rect<float> clip(0, 0, 8, 8);
    // Two overlapping boxes of the same orientation.
    const std::vector<Polygon> same = {Box(0, 0, 2, 1), Box(1, 0, 3, 1)};
    auto winding = RasterizeFigures(same, clip, FillRule::Winding);
    auto evenOdd = RasterizeFigures(same, clip, FillRule::EvenOdd);
    EXPECT_EQ(Inner(winding->Row(0)), (std::vector<Node>{{0, 64}, {3, 0}}));
    EXPECT_EQ(Inner(evenOdd->Row(0)), (std::vector<Node>{{0, 64}, {1, 0}, {2, 64}, {3, 0}}));

    // Opposite orientations cancel under both rules.
    const std::vector<Polygon> opposite = {Box(0, 0, 2, 1), Reversed(Box(1, 0, 3, 1))};
    EXPECT_EQ(RasterizeFigures(opposite, clip, FillRule::Winding)->Dense(0, 0, 4), (std::vector<int>{64, 0, 64, 0}));
    EXPECT_EQ(RasterizeFigures(opposite, clip, FillRule::EvenOdd)->Dense(0, 0, 4), (std::vector<int>{64, 0, 64, 0}));

    // A pentagram: the middle is wound twice, a hole under EvenOdd only.
    const Rect<float> big(0, 0, 16, 16);
    const float cx = 8, cy = 8, r = 7.5f;
    Polygon star;
    for (int i = 0; i < 5; ++i) {
        const double a = -M_PI / 2 + i * 4 * M_PI / 5;
        star.push_back(Point<float>(float(cx + r * std::cos(a)), float(cy + r * std::sin(a))));
    }
    auto starWinding = RasterizeFigures({star}, big, FillRule::Winding);
    auto starEvenOdd = RasterizeFigures({star}, big, FillRule::EvenOdd);
    EXPECT_EQ(starWinding->Dense(7, 7, 9), (std::vector<int>{64, 64}));
    EXPECT_EQ(starEvenOdd->Dense(7, 7, 9), (std::vector<int>{0, 0}));
    // The points of the star are wound once: the same under both rules.
    EXPECT_EQ(starWinding->Dense(1, 0, 16), starEvenOdd->Dense(1, 0, 16));
    EXPECT_GT(starWinding->Dense(1, 8, 9)[0], 0);

    // A figure of one point, or of one horizontal line, gives nothing at all.
    EXPECT_EQ(RasterizeFigures({{{2, 2}}}, clip)->calls, 0);
    EXPECT_EQ(RasterizeFigures({{{1, 2}, {5, 2}}}, clip)->calls, 0);
    // A line within one sample row (y 2.0 to 2.1: 256 and 268, both row 16).
    EXPECT_EQ(RasterizeFigures({{{1, 2}, {5, 2.1f}}}, clip)->calls, 0);
}

TEST(Rasterizer, RowsBetweenShapesAreReported) {
    auto sink = RasterizeFigures({Box(0, 0, 2, 1), Box(0, 3, 2, 4)}, Rect<float>(0, 0, 8, 8));
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(sink->Row(1)->nodes.size(), 2u);
    EXPECT_EQ(sink->Row(2)->nodes.size(), 2u);
    EXPECT_EQ(sink->Dense(3, 0, 3), (std::vector<int>{64, 64, 0}));
}

TEST(Rasterizer, WiderThanTheClip) {
    // All vertices left of the clip but two: the run (-10, 0), (-5, 1),
    // (-20, 2), (-8, 3) folds into one edge, and the right side at x = 6 is
    // beyond the clip too. The shape still fills every pixel of the clip.
    const Rect<float> clip(0, 0, 4, 4);
    const Polygon shape = {{-10, 0}, {-5, 1}, {-20, 2}, {-8, 3}, {6, 3}, {6, 0}};
    auto sink = std::make_shared<RecordingRasterSink>();
    Rasterizer rasterizer(clip, 0.25f, false, sink);
    rasterizer.BeginGeometry();
    Send(rasterizer, {shape});
    ASSERT_EQ(rasterizer.GetEdges().size(), 2u);
    EXPECT_EQ(rasterizer.GetEdges()[0]->ySubStart, 0);  // (-10, 0) to (-8, 3)
    EXPECT_EQ(rasterizer.GetEdges()[0]->ySubEnd, 24);
    EXPECT_EQ(rasterizer.GetEdges()[0]->windingDirection, 1);
    EXPECT_EQ(rasterizer.GetEdges()[1]->xSub, 48);  // x = 6
    rasterizer.EndGeometry();
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{0, 1, 2}));
    for (int y = 0; y < 3; ++y) EXPECT_EQ(sink->Dense(y, 0, 4), (std::vector<int>(4, 64))) << y;
    // The spans are not cut at the clip.
    EXPECT_EQ(sink->Dense(0, 5, 7), (std::vector<int>{64, 0}));
    EXPECT_LT(sink->Row(0)->nodes[1].first, -8);

    // A wide rectangle far beyond both sides.
    auto wide = RasterizeFigures({Box(-100, 1, 100, 2)}, clip);
    EXPECT_EQ(Inner(wide->Row(1)), (std::vector<Node>{{-100, 64}, {100, 0}}));
    // Under EvenOdd too, and for a shape that folds on the right.
    auto right = RasterizeFigures({{{2, 0}, {10, 0}, {20, 1}, {9, 2}, {12, 3}, {2, 3}}}, clip, FillRule::EvenOdd);
    for (int y = 0; y < 3; ++y) EXPECT_EQ(right->Dense(y, 0, 4), (std::vector<int>{0, 0, 64, 64})) << y;
}

TEST(Rasterizer, CurvesAreFlattened) {
    // A circle of radius 3 through curves: its coverage is close to the area
    // pixel by pixel, and exactly full in the middle.
    auto geometry = std::make_shared<Geometry>();
    geometry->Ellipse(Rect<float>(1, 1, 7, 7));
    auto sink = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(geometry, Matrix(), Rect<float>(0, 0, 8, 8), false, sink);
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    int total = 0;
    for (int y = 0; y < 8; ++y)
        for (int c : sink->Dense(y, 0, 8)) total += c;
    // Sixteen chords at a quarter pixel tolerance cut about 0.7 of the 28.3.
    EXPECT_NEAR(total / 64.0, M_PI * 9, 1.0);
    EXPECT_EQ(sink->Dense(3, 3, 5), (std::vector<int>{64, 64}));
}

TEST(Rasterizer, Trapezoids) {
    const Rect<float> clip(0, 0, 20, 40);
    // A vertical box: one trapezoid for all its rows and nothing else. Each
    // side sits at xSub + errorTerm / errorDown = 8 - 1/2048 and 40 - 1/2048
    // samples, an eighth of that in pixels.
    auto box = RasterizeFigures({Box(1, 0, 5, 16)}, clip, FillRule::Winding, false, true);
    EXPECT_EQ(box->calls, 1);
    ASSERT_EQ(box->traps.size(), 1u);
    const Trapezoid& t = box->traps[0];
    EXPECT_EQ(t.top, 0.0f);
    EXPECT_EQ(t.bottom, 16.0f);
    EXPECT_EQ(t.topLeft, 0.99993896484375f);
    EXPECT_EQ(t.bottomLeft, 0.99993896484375f);
    EXPECT_EQ(t.topRight, 4.99993896484375f);
    EXPECT_EQ(t.bottomRight, 4.99993896484375f);
    EXPECT_EQ(t.leftFeather, 0.5f);
    EXPECT_EQ(t.rightFeather, 0.5f);

    // Starting and ending inside pixel rows: coverage rows at both ends,
    // trapezoids from the first whole pixel row to the last.
    auto ragged = RasterizeFigures({Box(1, 0.5f, 5, 15.5f)}, clip, FillRule::Winding, false, true);
    EXPECT_EQ(ragged->RowNumbers(), (std::vector<int>{0, 15}));
    ASSERT_EQ(ragged->traps.size(), 1u);
    EXPECT_EQ(ragged->traps[0].top, 1.0f);
    EXPECT_EQ(ragged->traps[0].bottom, 15.0f);
    EXPECT_EQ(Inner(ragged->Row(0)), (std::vector<Node>{{1, 32}, {5, 0}}));

    // Under Winding, side by side with opposite orientations: the pairs are
    // of opposite direction, so trapezoids. Overlapping with the same
    // orientation: a pair of the same direction, so coverage rows only.
    auto sideBySide = RasterizeFigures({Box(0, 0, 4, 16), Reversed(Box(6, 0, 10, 16))}, clip, FillRule::Winding, false, true);
    EXPECT_EQ(sideBySide->traps.size(), 2u);
    EXPECT_TRUE(sideBySide->rows.empty());
    auto overlap = RasterizeFigures({Box(0, 0, 4, 16), Box(2, 0, 6, 16)}, clip, FillRule::Winding, false, true);
    EXPECT_TRUE(overlap->traps.empty());
    EXPECT_EQ(overlap->rows.size(), 16u);
    EXPECT_EQ(overlap->Dense(7, 0, 7), (std::vector<int>{64, 64, 64, 64, 64, 64, 0}));
    // The same under EvenOdd pairs (0, 2) and (4, 6): 2 pixels apart.
    auto evenOdd = RasterizeFigures({Box(0, 0, 4, 16), Box(2, 0, 6, 16)}, clip, FillRule::EvenOdd, false, true);
    EXPECT_EQ(evenOdd->traps.size(), 2u);
    // Sides closer than a pixel, counting the gap between shapes: no
    // trapezoids.
    auto close = RasterizeFigures({Box(0, 0, 4, 16), Box(4.5f, 0, 8, 16)}, clip, FillRule::EvenOdd, false, true);
    EXPECT_TRUE(close->traps.empty());
    EXPECT_EQ(close->rows.size(), 16u);
}

TEST(Rasterizer, TrapezoidsAgreeWithCoverage) {
    // A parallelogram leaning right and a triangle narrowing to a point: the
    // trapezoid bands and the coverage rows between them cover every row
    // once, the sides of the bands lie on the shape's sides, and each band's
    // area per pixel agrees with the coverage path.
    const Rect<float> clip(0, 0, 40, 40);
    const std::vector<Polygon> shapes = {
        {{2, 0}, {10, 0}, {14, 32}, {6, 32}},
        {{2, 1}, {30, 1}, {16, 30}},
        {{20, 2.5f}, {36, 30}, {4, 30}},
    };
    for (const Polygon& shape : shapes) {
        auto coverage = RasterizeFigures({shape}, clip, FillRule::Winding, false, false);
        auto mixed = RasterizeFigures({shape}, clip, FillRule::Winding, false, true);
        ASSERT_FALSE(mixed->traps.empty());

        std::vector<int> seen(40, 0);
        for (const CoverageRow& row : mixed->rows) {
            ++seen[row.y];
            // Rows outside the bands are computed the same way either way.
            EXPECT_EQ(row.nodes, coverage->Row(row.y)->nodes) << row.y;
        }
        for (const Trapezoid& t : mixed->traps) {
            EXPECT_EQ(t.top, std::floor(t.top));
            EXPECT_EQ(t.bottom, std::floor(t.bottom));
            for (int y = int(t.top); y < int(t.bottom); ++y) {
                ++seen[y];
                // The band's coverage of each pixel, by sampling it.
                const Polygon band = {{t.topLeft, t.top},
                                      {t.topRight, t.top},
                                      {t.bottomRight, t.bottom},
                                      {t.bottomLeft, t.bottom}};
                const std::vector<int> expected = coverage->Dense(y, 0, 40);
                for (int x = 0; x < 40; ++x)
                    EXPECT_NEAR(PixelArea(band, x, y), expected[x], 9.0) << "pixel " << x << ", " << y;
            }
            // The sides run along the shape's sides to within a sample.
            const std::vector<int> first = coverage->Dense(int(t.top), 0, 40);
            int left = 0;
            while (left < 40 && first[left] == 0) ++left;
            EXPECT_NEAR(t.topLeft, left + 0.5, 1.0);
            EXPECT_GT(t.leftFeather, 0.5f);
            EXPECT_GT(t.rightFeather, 0.5f);
        }
        for (int y = 0; y < 40; ++y) EXPECT_EQ(seen[y], coverage->Row(y) ? 1 : 0) << y;
    }
}

TEST(Rasterizer, EmptyAndDegenerateInput) {
    const Rect<float> clip(0, 0, 8, 8);
    EXPECT_EQ(RasterizeFigures({}, clip)->calls, 0);
    // Zero-size and inverted clips.
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 3)}, Rect<float>(5, 5, 5, 5))->calls, 0);
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 3)}, Rect<float>(8, 8, 0, 0))->calls, 0);
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 3)}, Rect<float>(kNaN, kNaN, kNaN, kNaN))->calls, 0);
    // Entirely above or below the clip.
    EXPECT_EQ(RasterizeFigures({Box(1, -5, 3, -1)}, clip)->calls, 0);
    EXPECT_EQ(RasterizeFigures({Box(1, 9, 3, 12)}, clip)->calls, 0);
    // A zero-width clip across the shape still gives the rows: x is for the
    // sink to cut. One beside the shape folds it away to nothing.
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 2)}, Rect<float>(2, 0, 2, 8))->rows.size(), 1u);
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 2)}, Rect<float>(4, 0, 4, 8))->calls, 0);
    EXPECT_EQ(RasterizeFigures({Box(1, 1, 3, 2)}, Rect<float>(4, 0, 8, 8))->calls, 0);

    // Events out of order: nothing breaks.
    auto sink = std::make_shared<RecordingRasterSink>();
    Rasterizer rasterizer(clip, 0.25f, false, sink);
    rasterizer.BeginGeometry();
    rasterizer.EndFigureClose();
    rasterizer.LineTo(Point<float>(3, 3));
    rasterizer.LineTo(Point<float>(1, 6));
    rasterizer.EndFigure();
    rasterizer.EndFigure();
    rasterizer.AcceptPoint(Point<float>(1, 1));
    rasterizer.AcceptPoint(Point<float>(1, 1));
    rasterizer.EndGeometry();
    // (3, 3) to (1, 6) and back encloses nothing: its rows come with no spans.
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{3, 4, 5}));
    for (const CoverageRow& row : sink->rows) EXPECT_EQ(row.nodes.size(), 2u);
    Rasterizer noSink(clip, 0.25f, true, nullptr);
    noSink.BeginGeometry();
    Send(noSink, {Box(1, 1, 3, 3)});
    noSink.EndGeometry();
}

TEST(Rasterizer, NotANumberAndInfinity) {
    const Rect<float> clip(0, 0, 8, 8);
    // A point that is not a number drops out of its figure.
    auto nan = RasterizeFigures({{{0, 0}, {4, 0}, {4, 4}, {kNaN, 2}, {0, 4}}}, clip);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(nan->Dense(y, 0, 5), (std::vector<int>{64, 64, 64, 64, 0})) << y;
    auto nanStart = RasterizeFigures({{{kNaN, 0}, {0, 0}, {4, 0}, {4, 4}, {0, 4}}}, clip);
    EXPECT_EQ(nanStart->Dense(2, 0, 5), (std::vector<int>{64, 64, 64, 64, 0}));
    EXPECT_EQ(RasterizeFigures({{{kNaN, kNaN}, {kNaN, 1}, {2, kNaN}}}, clip)->calls, 0);

    // Infinite points saturate: a side at +infinity is a side far right.
    auto inf = RasterizeFigures({{{2, 0}, {kInf, 0}, {kInf, 4}, {2, 4}}}, clip);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(inf->Dense(y, 0, 8), (std::vector<int>{0, 0, 64, 64, 64, 64, 64, 64}));
    auto sink = std::make_shared<RecordingRasterSink>();
    Rasterizer rasterizer(clip, 0.25f, false, sink);
    rasterizer.BeginGeometry();
    rasterizer.BeginFigure(Point<float>(1, 1));
    rasterizer.CurveTo(Point<float>(kNaN, 2), Point<float>(kInf, -kInf), Point<float>(1, 5));
    rasterizer.CurveTo(Point<float>(1e30f, 2), Point<float>(-1e30f, 1e30f), Point<float>(1, 1));
    rasterizer.EndFigureClose();
    rasterizer.EndGeometry();
    EXPECT_LE(sink->rows.size(), 8u);
}

TEST(Rasterizer, AliasedPath) {
    const Rect<float> clip(0, 0, 10, 10);
    auto run = [&](const std::vector<Polygon>& figures) {
        auto sink = std::make_shared<RecordingRasterSink>();
        Rasterizer rasterizer(clip, 0.25f, false, sink);
        rasterizer.BeginGeometry();
        Send(rasterizer, figures);
        rasterizer.RasterizeAliased();
        return sink;
    };
    // Left and top round down, right and bottom up: columns 12 to 18 and
    // rows 12 to 18 give pixels 1 to 3.
    auto one = run({Box(1.5f, 1.5f, 2.25f, 2.25f)});
    ASSERT_EQ(one->rects.size(), 1u);
    EXPECT_EQ(one->rects[0], Rect<int>(1, 1, 3, 3));
    EXPECT_TRUE(one->rows.empty());

    // Two overlapping boxes, banded at each start and end.
    auto two = run({Box(1, 1, 3, 3), Box(2, 2, 5, 4)});
    EXPECT_EQ(two->rects, (std::vector<Rect<int>>{{1, 1, 3, 2}, {1, 2, 5, 3}, {2, 3, 5, 4}}));
    EXPECT_TRUE(run({})->rects.empty());
}

TEST(RasterizeGeometry, ChainOfStages) {
    auto rasterizer = std::make_shared<Rasterizer>(Rect<float>(0, 0, 10, 10), 0.25f, false, nullptr);
    auto chain = [&](const Polygon& p, const Matrix& m) {
        return MakeRasterizationChain(*MakeGeometry({p}), m, rasterizer);
    };
    // Within the limits and untransformed: the rasterizer alone.
    EXPECT_EQ(chain(Box(0, 0, 10, 10), Matrix()), rasterizer);
    // A left side exactly at the limit needs no clipper; a right side does.
    EXPECT_EQ(chain(Box(-32535.0f, -32535.0f, 0, 0), Matrix()), rasterizer);
    auto right = chain(Box(0, 0, 32535.0f, 10), Matrix());
    auto rightClipper = std::dynamic_pointer_cast<StripClipper>(right);
    ASSERT_TRUE(rightClipper);
    // The clipper in x is the vertical one: it cuts a point beyond in x, not y.
    EXPECT_EQ(rightClipper->GetPointRegion(Point<float>(40000, 0)), 2);
    EXPECT_EQ(rightClipper->GetPointRegion(Point<float>(0, 40000)), 1);
    auto below = std::dynamic_pointer_cast<StripClipper>(chain(Box(0, 0, 10, 32535.0f), Matrix()));
    ASSERT_TRUE(below);
    EXPECT_EQ(below->GetPointRegion(Point<float>(0, 40000)), 2);
    // The transform counts: a scale takes a small box beyond the limit.
    auto scaled = chain(Box(0, 0, 10, 10), Matrix(4000, 0, 0, 1, 0, 0));
    EXPECT_TRUE(std::dynamic_pointer_cast<Transformer>(scaled));
    EXPECT_TRUE(std::dynamic_pointer_cast<Transformer>(chain(Box(0, 0, 1, 1), Matrix(1, 0, 0, 1, 0.5f, 0))));
}

TEST(RasterizeGeometry, TransformsAndClips) {
    auto sink = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(0, 0, 1, 1)}), Matrix(2, 0, 0, 1, 1, 1), Rect<float>(0, 0, 8, 8), false,
                      sink);
    EXPECT_EQ(sink->RowNumbers(), (std::vector<int>{1}));
    EXPECT_EQ(Inner(sink->Row(1)), (std::vector<Node>{{1, 64}, {3, 0}}));

    auto rect = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(0.2f, 0, 1.3f, 1)}), Matrix(), Rect<float>(0, 0, 8, 8), true, rect);
    EXPECT_EQ(rect->rects, (std::vector<Rect<int>>{{0, 0, 1, 1}}));

    // The fill rule travels with the geometry.
    auto evenOdd = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(0, 0, 2, 1), Box(1, 0, 3, 1)}, FillRule::EvenOdd), Matrix(),
                      Rect<float>(0, 0, 8, 8), false, evenOdd);
    EXPECT_EQ(evenOdd->Dense(0, 0, 4), (std::vector<int>{64, 0, 64, 0}));

    // Null and empty inputs.
    RasterizeGeometry(nullptr, Matrix(), Rect<float>(0, 0, 8, 8), false, sink);
    RasterizeGeometry(MakeGeometry({Box(0, 0, 1, 1)}), Matrix(), Rect<float>(0, 0, 8, 8), false, nullptr);
    auto empty = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(std::make_shared<Geometry>(), Matrix(), Rect<float>(0, 0, 8, 8), false, empty);
    RasterizeGeometry(MakeGeometry({Box(0, 0, 4, 4)}), Matrix(), Rect<float>(0, 0, 0, 0), false, empty);
    RasterizeGeometry(MakeGeometry({Box(0, 0, 4, 4)}), Matrix(0, 0, 0, 0, 0, 0), Rect<float>(0, 0, 8, 8), false,
                      empty);
    EXPECT_EQ(empty->calls, 0);
}

TEST(RasterizeGeometry, HugeCoordinates) {
    const Rect<float> clip(0, 0, 4, 4);
    // A box from -1e7 to 1e7: clipped to 32535 either way, it fills the
    // clip, and its spans reach the strip's limits.
    auto box = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}), Matrix(), clip, false, box);
    EXPECT_EQ(box->RowNumbers(), (std::vector<int>{0, 1, 2, 3}));
    for (const CoverageRow& row : box->rows) EXPECT_EQ(Inner(&row), (std::vector<Node>{{-32535, 64}, {32535, 0}}));
    auto boxRect = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(-1e7f, -1e7f, 1e7f, 1e7f)}), Matrix(), clip, true, boxRect);
    EXPECT_EQ(boxRect->rects, (std::vector<Rect<int>>{{-32535, 0, 32535, 32535}}));

    // A huge triangle whose long side x + y = 4 crosses the clip: close to
    // the small triangle it shows there.
    const Polygon huge = {{-1e7f, -1e7f}, {1e7f + 4, -1e7f}, {-1e7f, 1e7f + 4}};
    auto big = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({huge}), Matrix(), clip, false, big);
    const Polygon small = {{-4, -4}, {8, -4}, {-4, 8}};
    auto reference = RasterizeFigures({small}, clip);
    for (int y = 0; y < 4; ++y) {
        const std::vector<int> a = big->Dense(y, 0, 4), b = reference->Dense(y, 0, 4);
        for (int x = 0; x < 4; ++x) EXPECT_NEAR(a[x], b[x], 16) << x << ", " << y;
    }
    // The same through a transform that makes it huge.
    auto scaled = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({Box(-1, -1, 1, 1)}), Matrix(1e7f, 0, 0, 1e7f, 0, 0), clip, false, scaled);
    EXPECT_EQ(scaled->rows.size(), 4u);
    EXPECT_EQ(scaled->Dense(3, 0, 4), (std::vector<int>(4, 64)));
}

TEST(RasterizeGeometry, NotANumberAndInfinity) {
    const Rect<float> clip(0, 0, 8, 8);
    // A vertex at infinity brings the clippers; the crossings toward it are
    // not numbers and drop out, leaving the square.
    auto inf = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({{{0, 0}, {4, 0}, {kInf, 2}, {4, 4}, {0, 4}}}), Matrix(), clip, false, inf);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(inf->Dense(y, 0, 5), (std::vector<int>{64, 64, 64, 64, 0})) << y;

    auto nan = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(MakeGeometry({{{0, 0}, {4, 0}, {kNaN, kNaN}, {4, 4}, {0, 4}}}), Matrix(), clip, false, nan);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(nan->Dense(y, 0, 5), (std::vector<int>{64, 64, 64, 64, 0})) << y;

    // Curves through infinities and non-numbers, and matrices of them: no
    // crash and no hang, and no rows outside the clip.
    auto geometry = std::make_shared<Geometry>();
    geometry->BeginFigure(Point<float>(1, 1));
    geometry->CurveTo(Point<float>(kInf, 2), Point<float>(kNaN, -kInf), Point<float>(3, 5));
    geometry->CurveTo(Point<float>(1e30f, -1e30f), Point<float>(-1e30f, 1e30f), Point<float>(1, 6));
    geometry->LineTo(Point<float>(-kInf, kInf));
    geometry->EndFigure();
    const Matrix matrices[] = {Matrix(), Matrix(kNaN, 0, 0, 1, 0, 0), Matrix(kInf, 1, 1, kInf, 0, 0),
                               Matrix(1e30f, 0, 0, 1e30f, -1e30f, 1e30f), Matrix(0, 0, 0, 0, kNaN, kNaN)};
    for (const Matrix& m : matrices) {
        auto sink = std::make_shared<RecordingRasterSink>();
        RasterizeGeometry(geometry, m, clip, false, sink);
        for (const CoverageRow& row : sink->rows) {
            EXPECT_GE(row.y, 0);
            EXPECT_LT(row.y, 8);
        }
        RasterizeGeometry(geometry, m, clip, true, std::make_shared<RecordingRasterSink>(true));
    }
}

TEST(RasterizeGeometry, RandomPathsKeepTheInvariants) {
    // Polygons and curves with ordinary, huge, infinite and non-number
    // coordinates, under random transforms: rows stay inside the clip, each
    // row's nodes ascend, and coverage stays within 0 to 64.
    std::mt19937 random(1234);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    // A curve of 1e30 takes the flattener down to its finest step, millions
    // of points (NotANumberAndInfinity has one); here curves stay smaller,
    // so that the test stays quick.
    auto coordinate = [&](bool line) -> float {
        const float u = unit(random);
        if (u < 0.02f) return kNaN;
        if (u < 0.04f) return unit(random) < 0.5f ? kInf : -kInf;
        if (u < 0.10f) return (unit(random) - 0.5f) * (line ? 2e7f : 2e3f);
        return (unit(random) - 0.25f) * 48.0f;
    };
    const Rect<float> clip(0, 0, 24, 24);
    for (int round = 0; round < 300; ++round) {
        auto geometry = std::make_shared<Geometry>();
        geometry->SetFillRule(round % 2 ? FillRule::EvenOdd : FillRule::Winding);
        const int figures = 1 + round % 3;
        for (int f = 0; f < figures; ++f) {
            geometry->BeginFigure(Point<float>(coordinate(true), coordinate(true)));
            const int segments = 1 + int(unit(random) * 12);
            for (int s = 0; s < segments; ++s) {
                if (unit(random) < 0.3f)
                    geometry->CurveTo(Point<float>(coordinate(false), coordinate(false)),
                                      Point<float>(coordinate(false), coordinate(false)),
                                      Point<float>(coordinate(false), coordinate(false)));
                else
                    geometry->LineTo(Point<float>(coordinate(true), coordinate(true)));
            }
            if (unit(random) < 0.5f)
                geometry->EndFigureClose();
            else
                geometry->EndFigure();
        }
        Matrix matrix;
        if (round % 4 == 1) matrix = Matrix(1.5f, 0.5f, -0.5f, 1.5f, 3, -2);
        if (round % 4 == 2) matrix = Matrix(unit(random) * 1e3f, 0, 0, unit(random) * 1e3f, 0, 0);
        if (round % 4 == 3) matrix = Matrix(coordinate(false), coordinate(false), coordinate(false), coordinate(false), 0, 0);

        for (int flags = 0; flags < 2; ++flags) {
            auto sink = std::make_shared<RecordingRasterSink>(flags == 1);
            RasterizeGeometry(geometry, matrix, clip, flags == 1, sink);
            for (const CoverageRow& row : sink->rows) {
                EXPECT_GE(row.y, 0) << round;
                EXPECT_LT(row.y, 24) << round;
                ASSERT_GE(row.nodes.size(), 2u);
                EXPECT_EQ(row.nodes.front(), Node(kMin, 0));
                EXPECT_EQ(row.nodes.back(), Node(kMax, 0));
                for (std::size_t i = 0; i + 1 < row.nodes.size(); ++i) {
                    EXPECT_LT(row.nodes[i].first, row.nodes[i + 1].first) << round;
                    EXPECT_GE(row.nodes[i].second, 0) << round;
                    EXPECT_LE(row.nodes[i].second, 64) << round;
                }
            }
            for (const Trapezoid& t : sink->traps) {
                EXPECT_GE(t.top, 0.0f);
                EXPECT_LE(t.bottom, 24.0f);
                EXPECT_LT(t.top, t.bottom);
            }
            if (flags == 0) {
                EXPECT_TRUE(sink->rects.empty());
            }
        }
    }
}
