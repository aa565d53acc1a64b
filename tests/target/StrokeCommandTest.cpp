#include "TargetTestSupport.h"
#include "geometry/GeometryAccess.h"
#include "geometry/Widener.h"
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace Graphics;
using namespace TargetTest;

namespace {
const unsigned int kRed = 0xFFFF0000u;
const unsigned int kHalf = 0x7F7F0000u;      // half a pixel: coverage 127
const unsigned int kQuarters = 0xBFBF0000u;  // three quarters: coverage 191

// A one-pixel frame on the pixels of (l, t, r, b), right and bottom exclusive.
std::vector<unsigned int> Frame(int size, int l, int t, int r, int b) {
    std::vector<unsigned int> v(static_cast<std::size_t>(size * size), 0);
    for (int y = t; y < b; ++y)
        for (int x = l; x < r; ++x)
            if (x == l || x == r - 1 || y == t || y == b - 1) v[static_cast<std::size_t>(y * size + x)] = kRed;
    return v;
}
// Pixels [from, to) of one row set to the word.
std::vector<unsigned int> Row(int width, int height, int row, int from, int to, unsigned int word) {
    std::vector<unsigned int> v(static_cast<std::size_t>(width * height), 0);
    for (int x = from; x < to; ++x) v[static_cast<std::size_t>(row * width + x)] = word;
    return v;
}
}  // namespace

TEST(StrokeCommands, RectanglesAreCrispOnWholePixelsWithStrokeAdjustment) {
    // Each side moves to the middle of its pixel row or column, in pixels: (1.2, 1.9, 3.7, 4.1)
    // to (1.5, 1.5, 3.5, 4.5); under a scale of 2 a width of 0.5 is one pixel; a quarter turn keeps the axes.
    const struct {
        Matrix transform;
        Rect<float> rect;
        float width;
        std::vector<unsigned int> expected;
    } cases[] = {
        {Matrix(), Rect<float>(1, 1, 4, 4), 1, Frame(6, 1, 1, 5, 5)},
        {Matrix(), Rect<float>(1.2f, 1.9f, 3.7f, 4.1f), 1, Frame(6, 1, 1, 4, 5)},
        {Matrix(2, 0, 0, 2, 0, 0), Rect<float>(0.5f, 0.5f, 2, 2), 0.5f, Frame(6, 1, 1, 5, 5)},
        {Matrix(0, 1, -1, 0, 6, 0), Rect<float>(1, 1, 4, 4), 1, Frame(6, 2, 1, 6, 5)},
    };
    for (const auto& c : cases) {
        Canvas canvas(6, 6);
        canvas.target.SetTransform(c.transform);
        canvas.target.StrokeRectangle(c.rect, Solid(kRed), c.width, StrokeParameters());
        EXPECT_EQ(canvas.Words(), c.expected) << c.rect.left;
        EXPECT_EQ(canvas.target.GetTransform(), c.transform);
    }
    // Without adjustment the line straddles the pixel edges, half on each; inner corners
    // lie in two half-covered sides (three quarters); the miter fills a quarter of an outer corner.
    Canvas soft(6, 6);
    soft.target.SetStrokeAdjustment(false);
    soft.target.StrokeRectangle(Rect<float>(1, 1, 4, 4), Solid(kRed), 1, StrokeParameters());
    const std::vector<unsigned int> row2 = {kHalf, kHalf, 0, kHalf, kHalf, 0};
    for (int x = 0; x < 6; ++x) EXPECT_EQ(soft.At(x, 2), row2[x]) << x;
    EXPECT_EQ(soft.At(3, 1), kQuarters);
    EXPECT_EQ(soft.At(4, 4), 0x3F3F0000u);
    // Flat shapes draw nothing, even with a wide pen.
    Canvas flat(6, 6);
    flat.target.StrokeRectangle(Rect<float>(1, 1, 1, 4), Solid(kRed), 3, StrokeParameters());
    flat.target.StrokeEllipse(Rect<float>(1, 1, 1, 4), Solid(kRed), 3, StrokeParameters());
    flat.target.StrokeRoundRectangle(Rect<float>(1, 2, 4, 2), 1, 1, Solid(kRed), 3, StrokeParameters());
    flat.target.StrokeCircle(Point<float>(3, 3), 0, Solid(kRed), 3, StrokeParameters());
    ExpectPicture(flat, std::vector<unsigned int>(36, 0));
}

TEST(StrokeCommands, HairlinesAndTheMinimumWidth) {
    // Width 0 is a device line 0.75 wide: 6 of 8 sample rows, with the snap the whole row.
    // Powers of two keep the sample rows exact; under a scale of 10 the snap still finds the row.
    for (float scale : {1.0f, 8.0f, 0.25f, 10.0f}) {
        for (bool adjust : {true, false}) {
            if (scale == 10.0f && !adjust) continue;
            Canvas canvas(6, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.ScaleTransform(scale, scale);
            canvas.target.StrokeLine(Point<float>(1 / scale, 1.5f / scale), Point<float>(5 / scale, 1.5f / scale),
                                     Solid(kRed), 0, StrokeParameters());
            EXPECT_EQ(canvas.Words(), Row(6, 4, 1, 1, 5, adjust ? kRed : kQuarters)) << scale << " " << adjust;
            EXPECT_EQ(canvas.target.GetTransform(), Matrix(scale, 0, 0, scale, 0, 0));
        }
    }
    // Widths below half a pixel draw as half a pixel, four of eight sample rows;
    // measured in pixels, so 0.01 under a scale of 4 too. Width 2 covers rows 0.5 to 2.5.
    const struct {
        float scale, width, y;
    } thin[] = {{1, -3.0f, 1.5f}, {4, 0.01f, 0.375f}};
    for (const auto& c : thin) {
        Canvas canvas(4, 3);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.ScaleTransform(c.scale, c.scale);
        canvas.target.StrokeLine(Point<float>(0, c.y), Point<float>(4 / c.scale, c.y), Solid(kRed), c.width,
                                 StrokeParameters());
        ExpectPicture(canvas, Row(4, 3, 1, 0, 4, kHalf));
    }
    Canvas wide(4, 4);
    wide.target.SetStrokeAdjustment(false);
    wide.target.StrokeLine(Point<float>(0, 1.5f), Point<float>(4, 1.5f), Solid(kRed), 2, StrokeParameters());
    std::vector<unsigned int> expected(16, 0);
    for (int x = 0; x < 4; ++x) expected[x] = kHalf, expected[4 + x] = kRed, expected[8 + x] = kHalf;
    ExpectPicture(wide, expected);
}

TEST(StrokeCommands, DashedStrokes) {
    StrokeParameters dashed;
    dashed.dashes = {2.0f, 2.0f};
    // Along the middle of row 0, width 1: dashes on 0..2 and 4..6; the
    // offset moves the pattern along the line.
    Canvas plain(8, 1), shifted(8, 1), hairline(8, 1);
    plain.target.StrokeLine(Point<float>(0, 0.5f), Point<float>(8, 0.5f), Solid(kRed), 1, dashed);
    ExpectPicture(plain, {kRed, kRed, 0, 0, kRed, kRed, 0, 0});
    StrokeParameters offset = dashed;
    offset.dashOffset = 1.0f;
    shifted.target.StrokeLine(Point<float>(0, 0.5f), Point<float>(8, 0.5f), Solid(kRed), 1, offset);
    ExpectPicture(shifted, {kRed, 0, 0, kRed, kRed, 0, 0, kRed});
    // A dashed hairline is mapped before it is widened: the pattern is in device units.
    hairline.target.ScaleTransform(4, 4);
    hairline.target.StrokeLine(Point<float>(0, 0.125f), Point<float>(2, 0.125f), Solid(kRed), 0, dashed);
    ExpectPicture(hairline, {kQuarters, kQuarters, 0, 0, kQuarters, kQuarters, 0, 0});
}

TEST(StrokeCommands, EllipsesCirclesRoundRectanglesAndOddInput) {
    // The ring passes through (4, 1), (1, 4), (7, 4), (4, 7); the middle and
    // the corners stay clear; the same ellipse gives the same pixels.
    Canvas circle(9, 9), ellipse(9, 9);
    circle.target.StrokeCircle(Point<float>(4.5f, 4.5f), 3, Solid(kRed), 1, StrokeParameters());
    ellipse.target.StrokeEllipse(Rect<float>(1.5f, 1.5f, 7.5f, 7.5f), Solid(kRed), 1, StrokeParameters());
    EXPECT_EQ(circle.Words(), ellipse.Words());
    for (Point<int> p : {Point<int>(4, 1), Point<int>(1, 4), Point<int>(7, 4), Point<int>(4, 7)})
        EXPECT_GE(circle.At(p.x, p.y) >> 24, 0xC0u) << p.x << "," << p.y;
    EXPECT_EQ(circle.At(4, 4), 0u);
    EXPECT_EQ(circle.At(0, 0), 0u);
    // Straight parts of a round rectangle are crisp, the corners rounded off.
    Canvas round(8, 8);
    round.target.StrokeRoundRectangle(Rect<float>(1.5f, 1.5f, 6.5f, 6.5f), 1, 1, Solid(kRed), 1, StrokeParameters());
    EXPECT_EQ(round.At(3, 1), kRed);
    EXPECT_EQ(round.At(1, 4), kRed);
    EXPECT_NE(round.At(1, 1), kRed);
    EXPECT_EQ(round.At(4, 4), 0u);
    // Null and empty geometries and a line of no length draw nothing; NaN,
    // infinite and huge input and singular transforms don't crash, and the
    // transform comes back.
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    Canvas canvas(4, 4);
    canvas.target.StrokeGeometry(nullptr, Solid(kRed), 1, StrokeParameters());
    canvas.target.StrokeGeometry(std::make_shared<Geometry>(), Solid(kRed), 0, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(1, 1), Point<float>(1, 1), Solid(kRed), 1, StrokeParameters());
    ExpectPicture(canvas, std::vector<unsigned int>(16, 0));
    canvas.target.StrokeLine(Point<float>(nan, 1), Point<float>(3, nan), Solid(kRed), 1, StrokeParameters());
    canvas.target.StrokeLine(Point<float>(-inf, 1), Point<float>(inf, 1), Solid(kRed), 1, StrokeParameters());
    for (float width : {nan, inf})
        canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), width, StrokeParameters());
    canvas.target.StrokeEllipse(Rect<float>(-1e7f, -1e7f, 1e7f, 1e7f), Solid(kRed), 0, StrokeParameters());
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 1, 1), Matrix(nan, 0, 0, 1, 0, 0), Matrix(1e-30f, 0, 0, 1e-30f, 0, 0),
                            Matrix(1e20f, 0, 0, 1e20f, 0, 0)}) {
        canvas.target.SetTransform(m);
        const Matrix before = canvas.target.GetTransform();
        for (float width : {0.0f, 1.0f})
            canvas.target.StrokeLine(Point<float>(0, 1), Point<float>(3, 1), Solid(kRed), width, StrokeParameters());
        canvas.target.StrokeCircle(Point<float>(1, 1), 1, Solid(kRed), 0.5f, StrokeParameters());
        const Matrix after = canvas.target.GetTransform();
        EXPECT_EQ(std::memcmp(&after, &before, sizeof after), 0);
    }
}

// Curve chords beyond the target's reach get no sides; the pixels must be those of the whole outline (the public
// Widen, which leaves nothing out) filled the same way. Curves cross the edges and run far beyond them, under
// rotations and scales, wide and thin, hairlines included, with every join and cap at the curves' ends.
TEST(StrokeCommands, CurvesBeyondTheTargetPaintAsTheWholeOutline) {
    // The stroke's pixels, after checking them against the whole outline's.
    auto strokeAsWhole = [](const std::shared_ptr<Geometry>& geometry, const Matrix& m, float width,
                            const StrokeParameters& stroke) {
        Canvas stroked(40, 32), whole(40, 32);
        stroked.target.SetTransform(m);
        stroked.target.StrokeGeometry(geometry, Solid(0xFF3080C0u), width, stroke);
        auto outline = std::make_shared<Geometry>();
        if (width == 0.0f) {
            auto device = std::make_shared<Geometry>();
            geometry->Transform(m, device);
            device->Widen(0.75f, stroke, 0.25f, outline);
        } else {
            const float tolerance = 0.25f / std::sqrt(std::fabs(m.m11 * m.m22 - m.m12 * m.m21));
            geometry->Widen(std::max(tolerance + tolerance, width), stroke, tolerance, outline);
            whole.target.SetTransform(m);
        }
        whole.target.FillGeometry(outline, Solid(0xFF3080C0u));
        const std::vector<unsigned int> words = stroked.Words();
        EXPECT_EQ(words, whole.Words());
        return words;
    };
    std::mt19937 random(11u);
    std::uniform_real_distribution<float> coordinate(-150.0f, 190.0f), unit(0.0f, 1.0f);
    auto point = [&] { return Point<float>(coordinate(random), coordinate(random)); };
    int painted = 0;
    for (int round = 0; round < 240 && !HasFailure(); ++round) {
        auto geometry = std::make_shared<Geometry>();
        geometry->BeginFigure(point());
        for (int i = 0, n = 1 + static_cast<int>(random() % 4); i < n; ++i) {
            if (random() % 3 == 0) {
                geometry->LineTo(point());
            } else {
                const Point<float> a = point(), b = point();
                geometry->CurveTo(a, b, point());
            }
        }
        random() % 2 ? geometry->EndFigureClose() : geometry->EndFigure();
        const float angle = 6.2831855f * unit(random), scale = 0.3f + 2.0f * unit(random);
        const Matrix m(scale * std::cos(angle), scale * std::sin(angle), -scale * std::sin(angle),
                       scale * std::cos(angle), 40.0f * unit(random), 30.0f * unit(random));
        const float width = random() % 6 == 0 ? 0.0f : 0.5f + 24.0f * unit(random);
        StrokeParameters stroke;
        stroke.join = static_cast<LineJoin::Enum>(random() % 3);
        stroke.cap = static_cast<LineCap::Enum>(random() % 3);
        stroke.miterLimit = random() % 2 ? 4.0f : 40.0f;
        const std::vector<unsigned int> words = strokeAsWhole(geometry, m, width, stroke);
        painted += std::count(words.begin(), words.end(), 0u) != static_cast<long>(words.size());
        if (HasFailure()) ADD_FAILURE() << "round " << round;
    }
    EXPECT_GT(painted, 120);
    // Lines keep their sides: a sharp turn far right of the target sends its miter back into it.
    auto zigzag = std::make_shared<Geometry>();
    zigzag->BeginFigure(Point<float>(200.0f, 0.0f));
    zigzag->LineTo(Point<float>(70.0f, 12.0f));
    zigzag->LineTo(Point<float>(200.0f, 24.0f));
    zigzag->EndFigure();
    StrokeParameters miter;
    miter.miterLimit = 40.0f;
    EXPECT_NE(0u, strokeAsWhole(zigzag, Matrix(), 10.0f, miter)[12 * 40 + 39]);

    // A rounded rectangle upside down has corner curves some 1e29 long. Beyond the target they add no sides
    // chord by chord; the whole outline would have tens of millions of points.
    auto huge = std::make_shared<Geometry>();
    huge->RoundRectangle(Rect<float>(-0.5f, 2.19115e29f, 0.0f, 0.0f), 0.0f, 0.0f);
    auto outline = std::make_shared<Geometry>();
    WidenWithin(*huge, 1.0f, StrokeParameters(), 0.25f, Matrix(), Rect<float>(-1, -1, 41, 31), outline);
    EXPECT_FALSE(outline->IsEmpty());
    EXPECT_LT(GeometryAccess::GetShape(*outline).CountPoints(), 100u);
}
