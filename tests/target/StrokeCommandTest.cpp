#include "FillTestSupport.h"

#include <cmath>
#include <cstring>
#include <limits>

using namespace Graphics;
using FillTest::Canvas;
using FillTest::ExpectPicture;
using FillTest::Solid;

namespace {

const unsigned int kRed = 0xFFFF0000u;
const unsigned int kHalf = 0x7F7F0000u;     // half a pixel: coverage 127
const unsigned int kQuarters = 0xBFBF0000u;  // three quarters: coverage 191

// The expected picture of a one-pixel frame on the pixels of (l, t, r, b),
// right and bottom exclusive.
std::vector<unsigned int> Frame(int width, int height, int l, int t, int r, int b, unsigned int word) {
    std::vector<unsigned int> v(static_cast<std::size_t>(width * height), 0);
    for (int y = t; y < b; ++y)
        for (int x = l; x < r; ++x)
            if (x == l || x == r - 1 || y == t || y == b - 1) v[static_cast<std::size_t>(y * width + x)] = word;
    return v;
}

std::vector<unsigned int> Row(int width, int height, int row, int from, int to, unsigned int word) {
    std::vector<unsigned int> v(static_cast<std::size_t>(width * height), 0);
    for (int x = from; x < to; ++x) v[static_cast<std::size_t>(row * width + x)] = word;
    return v;
}

}  // namespace

TEST(StrokeCommands, RectanglesAreCrispOnWholePixelsWithStrokeAdjustment) {
    // (1, 1, 4, 4) moves to (1.5, 1.5, 4.5, 4.5): a line of width 1 through
    // the middle of rows and columns 1 and 4.
    {
        Canvas canvas(6, 6);
        canvas.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, StrokeParameters());
        ExpectPicture(canvas, Frame(6, 6, 1, 1, 5, 5, kRed));
    }
    // Fractions are dropped the same way: (1.2, 1.9, 3.7, 4.1) goes to
    // (1.5, 1.5, 3.5, 4.5).
    {
        Canvas canvas(6, 6);
        canvas.target.StrokeRectangle(Rect<float>(1.2f, 1.9f, 3.7f, 4.1f), Solid(kRed), 1, StrokeParameters());
        ExpectPicture(canvas, Frame(6, 6, 1, 1, 4, 5, kRed));
    }
    // Under a scale of 2 the adjustment is made in pixels: a width of 0.5 is
    // one pixel, and (0.5, 0.5, 2, 2) is (1, 1, 4, 4) on the target.
    {
        Canvas canvas(6, 6);
        canvas.target.ScaleTransform(2, 2);
        canvas.target.StrokeRectangle(Rect<float>(0.5f, 0.5f, 2, 2), Solid(kRed), 0.5f, StrokeParameters());
        ExpectPicture(canvas, Frame(6, 6, 1, 1, 5, 5, kRed));
        EXPECT_EQ(canvas.target.GetTransform(), Matrix(2, 0, 0, 2, 0, 0));
    }
    // A quarter turn keeps the axes as well.
    {
        Canvas canvas(6, 6);
        canvas.target.SetTransform(Matrix(0, 1, -1, 0, 6, 0));
        canvas.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, StrokeParameters());
        // x' = 6 - y, y' = x: (1, 1, 4, 4) covers (2, 1, 5, 4), moved to
        // (2.5, 1.5, 5.5, 4.5).
        ExpectPicture(canvas, Frame(6, 6, 2, 1, 6, 5, kRed));
    }
    // Without adjustment the line straddles the pixel edges: half on each.
    {
        Canvas canvas(6, 6);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, StrokeParameters());
        EXPECT_EQ(canvas.At(0, 2), kHalf);
        EXPECT_EQ(canvas.At(1, 2), kHalf);
        EXPECT_EQ(canvas.At(2, 2), 0u);
        EXPECT_EQ(canvas.At(2, 0), kHalf);
        EXPECT_EQ(canvas.At(2, 1), kHalf);
        EXPECT_EQ(canvas.At(3, 2), kHalf);
        EXPECT_EQ(canvas.At(4, 2), kHalf);
        EXPECT_EQ(canvas.At(5, 2), 0u);
        // Inner corners lie in two half-covered sides: three quarters.
        EXPECT_EQ(canvas.At(3, 1), kQuarters);
        EXPECT_EQ(canvas.At(1, 3), kQuarters);
        // Outer corners: the miter fills the quarter of the pixel at the corner.
        EXPECT_EQ(canvas.At(0, 0), 0x3F3F0000u);
        EXPECT_EQ(canvas.At(4, 4), 0x3F3F0000u);
    }
    // Flat rectangles draw nothing, even with a wide pen.
    {
        Canvas canvas(6, 6);
        canvas.target.StrokeRectangle(Rect<float>(1, 1, 1, 4), Solid(kRed), 3, StrokeParameters());
        canvas.target.StrokeRectangle(Rect<float>(1, 2, 4, 2), Solid(kRed), 3, StrokeParameters());
        canvas.target.StrokeEllipse(Rect<float>(1, 1, 1, 4), Solid(kRed), 3, StrokeParameters());
        canvas.target.StrokeRoundRectangle(Rect<float>(1, 2, 4, 2), 1, 1, Solid(kRed), 3, StrokeParameters());
        canvas.target.StrokeCircle(Point<float>(3, 3), 0, Solid(kRed), 3, StrokeParameters());
        ExpectPicture(canvas, std::vector<unsigned int>(36, 0));
    }
}

TEST(StrokeCommands, HairlinesAreOneDeviceLineWhateverTheScale) {
    // Width 0 is a device line 0.75 wide. Along a pixel row's middle it
    // covers 6 of 8 sample rows; with the snap, the whole row.
    // Scales that are powers of two keep the sample rows exact.
    const float scales[] = {1.0f, 8.0f, 0.25f};
    for (float scale : scales) {
        SCOPED_TRACE(scale);
        for (bool adjust : {true, false}) {
            Canvas canvas(6, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.ScaleTransform(scale, scale);
            canvas.target.StrokeLine(Point<float>(1 / scale, 1.5f / scale), Point<float>(5 / scale, 1.5f / scale),
                                     Solid(kRed), 0, StrokeParameters());
            ExpectPicture(canvas, Row(6, 4, 1, 1, 5, adjust ? kRed : kQuarters));
            EXPECT_EQ(canvas.target.GetTransform(), Matrix(scale, 0, 0, scale, 0, 0));
        }
    }
    // Under a scale of 10 the points are a little off; the snap puts the
    // line on its row all the same.
    {
        Canvas canvas(6, 4);
        canvas.target.ScaleTransform(10, 10);
        canvas.target.StrokeLine(Point<float>(0.1f, 0.15f), Point<float>(0.5f, 0.15f), Solid(kRed), 0,
                                 StrokeParameters());
        ExpectPicture(canvas, Row(6, 4, 1, 1, 5, kRed));
    }
    // A hairline rectangle under a scale is one device pixel thick on each
    // side: with the adjustment, its sides run through pixel middles.
    {
        Canvas canvas(8, 8);
        canvas.target.ScaleTransform(8, 8);
        canvas.target.StrokeRectangle(Rect<float>(0.125f, 0.125f, 0.75f, 0.75f), Solid(kRed), 0,
                                      StrokeParameters());
        // (1, 1, 6, 6) -> (1.5, 1.5, 6.5, 6.5); outer edge 1.125, inner
        // 1.875: the frame lies within pixels 1 and 6 of each side.
        for (int i = 2; i < 6; ++i) {
            EXPECT_EQ(canvas.At(i, 1), kQuarters) << i;
            EXPECT_EQ(canvas.At(1, i), kQuarters) << i;
            EXPECT_EQ(canvas.At(i, 6), kQuarters) << i;
            EXPECT_EQ(canvas.At(6, i), kQuarters) << i;
            EXPECT_EQ(canvas.At(i, 0), 0u);
            EXPECT_EQ(canvas.At(i, 2 + (i % 2)), 0u);
        }
    }
    // Hairlines stay hairlines on a sheared or rotated transform: nothing is
    // painted beyond a pixel or so from the line.
    {
        Canvas canvas(10, 10);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.SetTransform(Matrix(3, 3, -3, 3, 0, 0));
        canvas.target.StrokeLine(Point<float>(0.5f, 0), Point<float>(1.5f, 0), Solid(kRed), 0, StrokeParameters());
        // The line runs from (1.5, 1.5) to (4.5, 4.5).
        int painted = 0;
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 10; ++x)
                if (canvas.At(x, y) != 0) {
                    ++painted;
                    EXPECT_LE(std::abs(x - y), 1) << x << "," << y;
                }
        EXPECT_GE(painted, 3);
    }
}

TEST(StrokeCommands, WidthsHaveAMinimumOfHalfAPixel) {
    // Width 0.01 at scale 1 draws as width 0.5: four of eight sample rows.
    for (float width : {0.01f, 0.5f, -3.0f}) {
        Canvas canvas(4, 3);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.StrokeLine(Point<float>(0, 1.5f), Point<float>(4, 1.5f), Solid(kRed), width,
                                 StrokeParameters());
        ExpectPicture(canvas, Row(4, 3, 1, 0, 4, kHalf));
    }
    // The minimum is measured in pixels: under a scale of 4, 0.01 becomes
    // 0.125 units, half a pixel again.
    {
        Canvas canvas(4, 3);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.ScaleTransform(4, 4);
        canvas.target.StrokeLine(Point<float>(0, 0.375f), Point<float>(1, 0.375f), Solid(kRed), 0.01f,
                                 StrokeParameters());
        ExpectPicture(canvas, Row(4, 3, 1, 0, 4, kHalf));
    }
    // Wider than the minimum is kept: width 2 covers rows 0.5 .. 2.5.
    {
        Canvas canvas(4, 4);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.StrokeLine(Point<float>(0, 1.5f), Point<float>(4, 1.5f), Solid(kRed), 2, StrokeParameters());
        std::vector<unsigned int> expected(16, 0);
        for (int x = 0; x < 4; ++x) {
            expected[x + 0] = kHalf;
            expected[x + 4] = kRed;
            expected[x + 8] = kHalf;
        }
        ExpectPicture(canvas, expected);
    }
}

TEST(StrokeCommands, DashedStrokes) {
    StrokeParameters dashed;
    dashed.dashes = {2.0f, 2.0f};
    {
        // Along the middle of row 0, width 1: dashes on 0..2 and 4..6.
        Canvas canvas(8, 2);
        canvas.target.StrokeLine(Point<float>(0, 0.5f), Point<float>(8, 0.5f), Solid(kRed), 1, dashed);
        ExpectPicture(canvas, {kRed, kRed, 0, 0, kRed, kRed, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    }
    {
        // The offset moves the pattern along the line.
        dashed.dashOffset = 1.0f;
        Canvas canvas(8, 1);
        canvas.target.StrokeLine(Point<float>(0, 0.5f), Point<float>(8, 0.5f), Solid(kRed), 1, dashed);
        ExpectPicture(canvas, {kRed, 0, 0, kRed, kRed, 0, 0, kRed});
    }
    {
        // A dashed hairline: the pattern is in device units after the
        // transform, since the path is mapped before it is widened.
        dashed.dashOffset = 0.0f;
        Canvas canvas(8, 1);
        canvas.target.ScaleTransform(4, 4);
        canvas.target.StrokeLine(Point<float>(0, 0.125f), Point<float>(2, 0.125f), Solid(kRed), 0, dashed);
        ExpectPicture(canvas, {kQuarters, kQuarters, 0, 0, kQuarters, kQuarters, 0, 0});
    }
    {
        // A rectangle's frame dashed: its corners are where the pattern says.
        StrokeParameters pattern;
        pattern.dashes = {1.0f, 1.0f};
        Canvas canvas(6, 6);
        canvas.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, pattern);
        // About half of the frame's pixels' worth of paint, and none inside.
        Canvas solid(6, 6);
        solid.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, StrokeParameters());
        unsigned int dashedSum = 0, solidSum = 0;
        for (unsigned int w : canvas.Words()) dashedSum += w >> 24;
        for (unsigned int w : solid.Words()) solidSum += w >> 24;
        EXPECT_EQ(solidSum, 12u * 255u);
        EXPECT_GT(dashedSum, 5u * 255u);
        EXPECT_LT(dashedSum, 8u * 255u);
        EXPECT_EQ(canvas.At(2, 2), 0u);
        EXPECT_EQ(canvas.At(3, 3), 0u);
    }
}

TEST(StrokeCommands, EllipsesCirclesRoundRectanglesAndOddInput) {
    {
        Canvas canvas(9, 9);
        canvas.target.StrokeCircle(Point<float>(4.5f, 4.5f), 3, Solid(kRed), 1, StrokeParameters());
        // The ring passes through pixel (4, 1) and (1, 4); the middle and the
        // corners stay clear.
        for (Point<int> p : {Point<int>(4, 1), Point<int>(1, 4), Point<int>(7, 4), Point<int>(4, 7)})
            EXPECT_GE(canvas.At(p.x, p.y) >> 24, 0xC0u) << p.x << "," << p.y;
        EXPECT_EQ(canvas.At(4, 4), 0u);
        EXPECT_EQ(canvas.At(0, 0), 0u);
        EXPECT_EQ(canvas.At(8, 8), 0u);
    }
    {
        Canvas circle(9, 9), ellipse(9, 9);
        circle.target.StrokeCircle(Point<float>(4.5f, 4.5f), 3, Solid(kRed), 1, StrokeParameters());
        ellipse.target.StrokeEllipse(Rect<float>(1.5f, 1.5f, 7.5f, 7.5f), Solid(kRed), 1, StrokeParameters());
        EXPECT_EQ(circle.Words(), ellipse.Words());
    }
    {
        Canvas canvas(8, 8);
        canvas.target.StrokeRoundRectangle(Rect<float>(1.5f, 1.5f, 6.5f, 6.5f), 1, 1, Solid(kRed), 1,
                                           StrokeParameters());
        // Straight parts are crisp, the corners are rounded off.
        for (int i = 3; i < 5; ++i) {
            EXPECT_EQ(canvas.At(i, 1), kRed);
            EXPECT_EQ(canvas.At(1, i), kRed);
        }
        EXPECT_NE(canvas.At(1, 1), kRed);
        EXPECT_EQ(canvas.At(4, 4), 0u);
    }

    // Null and empty geometries, NaN and singular transforms: no paint, no
    // crash, and the transform comes back.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    Canvas canvas(4, 4);
    canvas.target.StrokeGeometry(nullptr, Solid(kRed), 1, StrokeParameters());
    canvas.target.StrokeGeometry(std::make_shared<Geometry>(), Solid(kRed), 0, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(1, 1), Point<float>(1, 1), Solid(kRed), 1, StrokeParameters());
    ExpectPicture(canvas, std::vector<unsigned int>(16, 0));

    canvas.target.StrokeLine(Point<float>(nan, 1), Point<float>(3, nan), Solid(kRed), 1, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(-inf, 1), Point<float>(inf, 1), Solid(kRed), 1, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), nan, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), inf, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(-1e7f, -1e7f), Point<float>(1e7f, 1e7f), Solid(kRed), 1,
                             StrokeParameters());
    canvas.target.StrokeEllipse(Rect<float>(-1e7f, -1e7f, 1e7f, 1e7f), Solid(kRed), 0, StrokeParameters());
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 1, 1), Matrix(nan, 0, 0, 1, 0, 0), Matrix(1e-30f, 0, 0, 1e-30f, 0, 0),
                            Matrix(1e20f, 0, 0, 1e20f, 0, 0)}) {
        canvas.target.SetTransform(m);
        const Matrix before = canvas.target.GetTransform();
        canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), 1, StrokeParameters());
        canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), 0, StrokeParameters());
        canvas.target.StrokeRectangle(Rect<float>(0, 0, 3, 3), Solid(kRed), 1, StrokeParameters());
        canvas.target.StrokeCircle(Point<float>(1, 1), 1, Solid(kRed), 0.5f, StrokeParameters());
        const Matrix after = canvas.target.GetTransform();
        EXPECT_TRUE(std::memcmp(&after, &before, sizeof before) == 0);
    }
}
