#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "raster/StrokedRectangle.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <utility>

using namespace Graphics;
using namespace RasterTest;

namespace {

// Coverage by pixel, however the rows were cut into runs, and the rows sent.
struct Picture {
    std::map<std::pair<int, int>, int> pixels;
    std::set<int> rows;
    bool operator==(const Picture& o) const { return pixels == o.pixels && rows == o.rows; }
};

Picture Paint(const RecordingRasterSink& sink) {
    Picture picture;
    for (const CoverageRow& row : sink.rows) {
        picture.rows.insert(row.y);
        for (std::size_t i = 1; i + 1 < row.nodes.size(); ++i)
            if (row.nodes[i].second)
                for (int x = row.nodes[i].first; x < row.nodes[i + 1].first; ++x)
                    picture.pixels[std::make_pair(x, row.y)] += row.nodes[i].second;
    }
    for (const Rect<int>& r : sink.rects)
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x) picture.pixels[std::make_pair(x, y)] += 64;
    return picture;
}

std::shared_ptr<Geometry> Outline(const Rect<float>& rect, float width, LineJoin::Enum join, float miterLimit) {
    auto path = std::make_shared<Geometry>();
    path->Rectangle(rect);
    StrokeParameters parameters;
    parameters.join = join;
    parameters.miterLimit = miterLimit;
    auto outline = std::make_shared<Geometry>();
    path->Widen(width, parameters, 0.25f, outline);
    return outline;
}

}  // namespace

// Random strokes of rectangles under scales, flips and clips, down to widths
// where the crossings at the inner corners come within a few sample columns
// of the outer edges: wherever the plain ring is taken, it gives every pixel
// the coverage the outline gives it, and reports the same rows.
TEST(StrokedRectangle, MatchesTheOutlineItReplacesPixelForPixel) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const LineJoin::Enum joins[3] = {LineJoin::Miter, LineJoin::Bevel, LineJoin::Round};
    int taken = 0;
    const int cases = 3000;
    for (int n = 0; n < cases; ++n) {
        const float x = 4.0f + 40.0f * unit(random), y = 4.0f + 40.0f * unit(random);
        const float w = 0.5f + 30.0f * unit(random), h = 0.5f + 30.0f * unit(random);
        const float width = n % 4 == 0 ? 0.2f + 0.8f * unit(random) : 0.5f + 5.0f * unit(random);
        const LineJoin::Enum join = joins[n % 3];
        const std::shared_ptr<Geometry> outline = Outline(Rect<float>(x, y, x + w, y + h), width, join,
                                                          1.0f + 2.0f * unit(random));
        Matrix m = Matrix::Identity();
        if (n % 2) {
            const float sx = (0.3f + 3.0f * unit(random)) * (n % 5 == 0 ? -1.0f : 1.0f);
            const float sy = (0.3f + 3.0f * unit(random)) * (n % 7 == 0 ? -1.0f : 1.0f);
            m = Matrix(sx, 0.0f, 0.0f, sy, sx < 0 ? 200.0f : 3.7f * unit(random), sy < 0 ? 200.0f : 2.1f);
        }
        const Rect<float> clip = n % 3 == 0 ? Rect<float>(0.0f, 0.0f, 256.0f, 256.0f)
                                            : Rect<float>(0.0f, 30.0f * unit(random), 256.0f, 256.0f);
        const bool adjust = n % 2 == 0;

        auto expected = std::make_shared<RecordingRasterSink>();
        RasterizeGeometry(outline, m, clip, adjust, expected);
        auto plain = std::make_shared<RecordingRasterSink>();
        if (!RasterizeStrokedRectangle(*outline, m, clip, adjust, plain)) continue;
        ++taken;
        ASSERT_TRUE(Paint(*plain) == Paint(*expected)) << "case " << n;
        EXPECT_TRUE(plain->rects.empty());
    }
    // Most of these are outlines it can vouch for.
    EXPECT_GT(taken, cases / 2);

    // An outer figure with a spike that runs up a column and partly back,
    // above the rows of the crossings.
    auto spiked = std::make_shared<Geometry>();
    Polyline(*spiked, {{10.3f, 21.6f}, {18.3f, 21.6f}, {17.3f, 20.6f}, {17.3f, 28.6f}, {18.3f, 27.6f},
                       {10.3f, 27.6f}, {11.3f, 28.6f}, {11.3f, 20.6f}});
    Polyline(*spiked, {{9.3f, 19.6f}, {9.3f, 29.6f}, {19.3f, 29.6f}, {19.3f, 19.6f}, {15.0f, 19.6f}, {15.0f, 16.2f},
                       {15.0f, 18.1f}, {15.0f, 19.6f}});
    const Rect<float> clip(0.0f, 0.0f, 64.0f, 64.0f);
    auto expected = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(spiked, Matrix::Identity(), clip, false, expected);
    auto plain = std::make_shared<RecordingRasterSink>();
    ASSERT_TRUE(RasterizeStrokedRectangle(*spiked, Matrix::Identity(), clip, false, plain));
    EXPECT_TRUE(Paint(*plain) == Paint(*expected));
}

TEST(StrokedRectangle, DeclinesOutlinesItCannotVouchFor) {
    const Rect<float> clip(0.0f, 0.0f, 100.0f, 100.0f);
    auto sink = std::make_shared<RecordingRasterSink>();
    const std::shared_ptr<Geometry> outline = Outline(Rect<float>(10.3f, 20.6f, 30.3f, 40.6f), 2.0f,
                                                      LineJoin::Miter, 10.0f);
    ASSERT_TRUE(RasterizeStrokedRectangle(*outline, Matrix::Identity(), clip, false, sink));

    // Turned by a quarter: the sides stay upright, but it is not taken.
    EXPECT_FALSE(RasterizeStrokedRectangle(*outline, Matrix(0.0f, 1.0f, -1.0f, 0.0f, 80.0f, 0.0f), clip, false,
                                           sink));
    EXPECT_FALSE(RasterizeStrokedRectangle(*outline, Matrix(0.995f, 0.0998f, -0.0998f, 0.995f, 0.0f, 0.0f), clip, false, sink));
    // Beyond the clip on the left, where points are folded; beyond the reach.
    EXPECT_FALSE(RasterizeStrokedRectangle(*outline, Matrix::Identity(), Rect<float>(11.0f, 0.0f, 100.0f, 100.0f),
                                           false, sink));
    EXPECT_FALSE(RasterizeStrokedRectangle(*outline, Matrix(1.0f, 0.0f, 0.0f, 1.0f, 40000.0f, 0.0f), clip, false, sink));
    // Under EvenOdd the crossings would open holes.
    auto evenOdd = std::make_shared<Geometry>();
    outline->SendToSink(evenOdd);
    evenOdd->SetFillRule(FillRule::EvenOdd);
    EXPECT_FALSE(RasterizeStrokedRectangle(*evenOdd, Matrix::Identity(), clip, false, sink));
    // A rectangle too small for an inner rectangle; an open stroke; a fill.
    EXPECT_FALSE(RasterizeStrokedRectangle(*Outline(Rect<float>(10.0f, 10.0f, 11.0f, 11.0f), 2.0f, LineJoin::Miter,
                                                    10.0f),
                                           Matrix::Identity(), clip, false, sink));
    auto line = std::make_shared<Geometry>();
    line->BeginFigure(Point<float>(10.0f, 10.0f));
    line->LineTo(Point<float>(50.0f, 10.0f));
    line->EndFigure();
    auto lineOutline = std::make_shared<Geometry>();
    line->Widen(2.0f, StrokeParameters(), 0.25f, lineOutline);
    EXPECT_FALSE(RasterizeStrokedRectangle(*lineOutline, Matrix::Identity(), clip, false, sink));
    auto rect = std::make_shared<Geometry>();
    rect->Rectangle(Rect<float>(10.0f, 10.0f, 50.0f, 50.0f));
    EXPECT_FALSE(RasterizeStrokedRectangle(*rect, Matrix::Identity(), clip, false, sink));
    // An inner rectangle thinner than a sample row: with adjustRectangles the
    // outer edges alone could be taken for a lone rectangle.
    EXPECT_FALSE(RasterizeStrokedRectangle(*Outline(Rect<float>(10.3f, 20.6f, 30.3f, 22.61f), 2.0f,
                                                    LineJoin::Miter, 10.0f),
                                           Matrix::Identity(), clip, true, sink));
    // The clip's side between an outer edge and the crossings.
    EXPECT_FALSE(RasterizeStrokedRectangle(*outline, Matrix::Identity(), Rect<float>(9.8f, 0.0f, 100.0f, 100.0f),
                                           false, sink));
    // Crossings that reach out past the outer figure's edge, and the same
    // figures with the crossings inside.
    for (const float corner : {9.0f, 10.3f}) {
        auto reaching = std::make_shared<Geometry>();
        Polyline(*reaching, {{corner, 21.6f}, {18.3f, 21.6f}, {17.3f, 20.6f}, {17.3f, 28.6f}, {18.3f, 27.6f},
                             {corner, 27.6f}, {11.3f, 28.6f}, {11.3f, 20.6f}});
        Polyline(*reaching, {{9.3f, 19.6f}, {9.3f, 29.6f}, {19.3f, 29.6f}, {19.3f, 19.6f}});
        EXPECT_EQ(corner > 9.3f, RasterizeStrokedRectangle(*reaching, Matrix::Identity(), clip, false, sink));
    }
    // The inner figure's corners swapped for NaN.
    auto broken = std::make_shared<Geometry>();
    const float nan = kNaN;
    Polyline(*broken, {{nan, 21.6f}, {18.3f, 21.6f}, {17.3f, 20.6f}, {17.3f, 28.6f}, {18.3f, 27.6f}, {nan, 27.6f},
                       {11.3f, 28.6f}, {11.3f, 20.6f}});
    Polyline(*broken, {{9.3f, 19.6f}, {9.3f, 29.6f}, {19.3f, 29.6f}, {19.3f, 19.6f}});
    EXPECT_FALSE(RasterizeStrokedRectangle(*broken, Matrix::Identity(), clip, false, sink));
    EXPECT_TRUE(sink->rows.size() > 0);
}
