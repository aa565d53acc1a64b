#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "Graphics/Bitmap.h"
#include "Graphics/Brush.h"
#include "Graphics/Gradient.h"
#include "LogCapture.h"
#include "RandomizedCompare.h"
#include "bitmap/SolidColorBitmapSource.h"
#include "bitmap/SwBitmapCache.h"
#include "sw/RadialGradientFiller.h"
#include "sw/SwBitmapColorSource.h"
#include "sw/SwBitmapSampler.h"
#include "sw/SwColorSource.h"
#include "sw/SwGradientColorSource.h"
#include "sw/SwLinearGradientColorSource.h"
#include "sw/SwRadialGradientColorSource.h"
#include "sw/SwSolidColorSource.h"

using namespace Graphics;
using RandomizedCompare::Words;

namespace {

constexpr uint32_t kGuard = 0xDEADBEEFu;

// The words of FillSpan(x0, x1, y), checking that nothing is written around them.
Words Span(SwColorSource& source, int x0, int x1, int y) {
    const size_t n = x1 > x0 ? static_cast<size_t>(x1 - x0) : 0;
    Words row(n + 2, kGuard);
    source.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), kGuard);
    EXPECT_EQ(row.back(), kGuard);
    return Words(row.begin() + 1, row.end() - 1);
}

// Opaque black at 0 and opaque blue at 1. Between them the lookup at t gives
// f = trunc((1 - t) * 255), blue (255 * (256 - f)) >> 8, and an alpha that
// sums back to 255; at t = k / 8 the blue byte is 0x20 * k.
const GradientStop kBlackBlue[] = {{0.0f, 0xFF000000u}, {1.0f, 0xFF0000FFu}};
const Words kEighths = {0xFF000000u, 0xFF000020u, 0xFF000040u, 0xFF000060u, 0xFF000080u,
                        0xFF0000A0u, 0xFF0000C0u, 0xFF0000E0u, 0xFF0000FFu};
const uint32_t kBlack = 0xFF000000u;
const uint32_t kBlue = 0xFF0000FFu;

Words Reversed(Words w) { return Words(w.rbegin(), w.rend()); }
Words Join(Words a, const Words& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::shared_ptr<GradientBrush> LinearBrush(const GradientStop* stops, unsigned long count, Point<float> start,
                                           Point<float> end, bool extendStart = false, bool extendEnd = false,
                                           const Matrix& transform = Matrix()) {
    auto gradient = std::make_shared<LinearGradient>(stops, count, start, end);
    gradient->SetExtendStart(extendStart);
    gradient->SetExtendEnd(extendEnd);
    auto brush = std::make_shared<GradientBrush>(gradient);
    brush->SetTransform(transform);
    return brush;
}

std::shared_ptr<GradientBrush> RadialBrush(Point<float> c0, float r0, Point<float> c1, float r1,
                                           bool extendStart = false, bool extendEnd = false,
                                           const Matrix& transform = Matrix()) {
    auto gradient = std::make_shared<RadialGradient>(kBlackBlue, 2, c0, r0, c1, r1);
    gradient->SetExtendStart(extendStart);
    gradient->SetExtendEnd(extendEnd);
    auto brush = std::make_shared<GradientBrush>(gradient);
    brush->SetTransform(transform);
    return brush;
}

std::shared_ptr<SwColorSource> Linear(std::shared_ptr<GradientBrush> brush, const Matrix& placement = Matrix()) {
    return std::make_shared<SwLinearGradientColorSource>(std::move(brush), placement);
}

std::shared_ptr<SwColorSource> Radial(std::shared_ptr<GradientBrush> brush, const Matrix& placement = Matrix()) {
    return std::make_shared<SwRadialGradientColorSource>(std::move(brush), placement);
}

// A span of a source and the words it must give.
struct Case {
    const char* what;
    std::shared_ptr<SwColorSource> source;
    int x0, x1, y;
    Words words;
};

void Check(const std::vector<Case>& cases) {
    for (const Case& c : cases)
        EXPECT_EQ(c.words, Span(*c.source, c.x0, c.x1, c.y)) << c.what << " at " << c.x0 << ".." << c.x1 << ", " << c.y;
}

uint32_t SolidWord(const Color& color, float opacity) {
    auto brush = std::make_shared<SolidBrush>(color);
    brush->SetOpacity(opacity);
    return SwSolidColorSource(brush).GetColor();
}

// A public 4 x 3 A8 bitmap whose pixel (x, y) holds 16 * y + x + 1.
std::shared_ptr<Bitmap> MakeGrid() {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 3), PixelFormat::A8, 96.0f, 96.0f);
    unsigned char pixels[12];
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) pixels[4 * y + x] = static_cast<unsigned char>(16 * y + x + 1);
    bitmap->CopyFromMemory(nullptr, pixels, 4, 4);
    return bitmap;
}

Words A8(std::vector<uint32_t> v) {
    for (auto& x : v) x *= 0x01010101u;
    return v;
}

class UnknownBrush : public Brush {
public:
    int GetType() const override { return 7; }
};

class OddGradient : public Gradient {
public:
    int GetType() const override { return 7; }
};

// Claims to be linear without being an axial gradient.
class Impostor : public Gradient {
public:
    int GetType() const override { return 0; }
};

}  // namespace

TEST(SwColorSourceTest, SolidPremultipliesWithOpacity) {
    // Alpha is truncate(a * opacity * 255); below 255 the channels are
    // scaled by alpha + 1. 0.25 * 255 = 63.75 gives 63, and 255, 127, 63
    // scaled by 64: 63, 31, 15. Alpha 0x80 scales by 129. 0.3 * 255 = 76.5
    // gives 76, (255 * 77) >> 8 = 76. Alpha 1 scales by 2. Opacity is not
    // clamped: 0.5 * 2 is opaque again and the channels stay.
    const struct {
        Color color;
        float opacity;
        uint32_t word;
    } cases[] = {
        {Color(0xFF336699u), 1.0f, 0xFF336699u},           {Color(1.0f, 0.5f, 0.25f, 0.5f), 0.5f, 0x3F3F1F0Fu},
        {Color(0x80FF8040u), 1.0f, 0x80804020u},           {Color(0xFFFFFFFFu), 0.3f, 0x4C4C4C4Cu},
        {Color(0xFFFFFFFFu), 0.0f, 0u},                    {Color(0x00FFFFFFu), 1.0f, 0u},
        {Color(0x01FF7FFFu), 1.0f, 0x01010001u},           {Color(1.0f, 0.5f, 0.25f, 0.5f), 2.0f, 0xFFFF7F3Fu},
    };
    for (const auto& c : cases) EXPECT_EQ(c.word, SolidWord(c.color, c.opacity)) << std::hex << c.word;

    // The brush is read once; no brush is transparent black.
    auto brush = std::make_shared<SolidBrush>(0xFF0000FFu);
    SwSolidColorSource source(brush);
    brush->SetColor(0xFFFF0000u);
    brush->SetOpacity(0.0f);
    EXPECT_EQ(source.GetColor(), 0xFF0000FFu);
    EXPECT_EQ(SwSolidColorSource(nullptr).GetColor(), 0u);

    // Spans: the words from x0 to the exclusive x1 at any position, in
    // memory blue, green, red, alpha, at any alignment; empty and inverted
    // spans write nothing.
    SwSolidColorSource half(std::make_shared<SolidBrush>(Color(0x80FF8040u)));
    EXPECT_EQ(Span(half, -2, 2, 3), Words(4, 0x80804020u));
    EXPECT_EQ(Span(half, 5, 5, 0), Words());
    EXPECT_EQ(Span(half, 7, 5, 0), Words());
    unsigned char odd[10] = {0};
    half.FillSpan(10, 12, 0, odd + 1);
    const unsigned char bytes[10] = {0, 0x20, 0x40, 0x80, 0x80, 0x20, 0x40, 0x80, 0x80, 0};
    EXPECT_EQ(0, std::memcmp(odd, bytes, sizeof bytes));
}

TEST(SwColorSourceTest, FactoryByBrushType) {
    // Bounds and placement do not matter to a solid colour.
    auto solid = std::make_shared<SolidBrush>(Color(1.0f, 0.5f, 0.25f, 0.5f));
    solid->SetOpacity(0.5f);
    auto source = SwColorSource::CreateFromBrush(solid, Rect<float>(0, 0, 10, 10), Matrix(1, 0, 0, 1, 5, 5));
    ASSERT_NE(dynamic_cast<SwSolidColorSource*>(source.get()), nullptr);
    EXPECT_EQ(Span(*source, 0, 2, 2), Words(2, 0x3F3F1F0Fu));

    // Identity brush and placement: surface pixel (x, y) is source pixel
    // (x, y) exactly, in every interpolation mode; a sub-surface whose
    // pixel (0, 0) lies at (2, 1) of brush space reads from there.
    auto brush = std::make_shared<BitmapBrush>(MakeGrid());
    for (auto mode : {InterpolationMode::Nearest, InterpolationMode::Linear, InterpolationMode::HighQuality}) {
        brush->SetInterpolationMode(mode);
        auto bitmap = SwColorSource::CreateFromBrush(brush, Rect<float>(0, 0, 4, 3), Matrix());
        ASSERT_NE(dynamic_cast<SwBitmapColorSource*>(bitmap.get()), nullptr);
        for (int y = 0; y < 3; ++y)
            EXPECT_EQ(Span(*bitmap, 0, 4, y), A8({16u * y + 1, 16u * y + 2, 16u * y + 3, 16u * y + 4}));
    }
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    auto placed = SwColorSource::CreateFromBrush(brush, Rect<float>(), Matrix(1, 0, 0, 1, 2, 1));
    EXPECT_EQ(Span(*placed, 0, 2, 0), A8({19, 20}));
    EXPECT_EQ(Span(*placed, -2, 0, 1), A8({33, 34}));

    EXPECT_GRAPHICS_FAILURE(
        SwColorSource::CreateFromBrush(std::make_shared<PatternBrush>(nullptr), Rect<float>(), Matrix()),
        "CreateFromBrush", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(std::make_shared<UnknownBrush>(), Rect<float>(), Matrix()),
                            "CreateFromBrush", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(nullptr, Rect<float>(), Matrix()), "CreateFromBrush",
                            "Not implemented");
}

TEST(SwColorSourceTest, BitmapSourceMatrix) {
    // The surface pixel's centre through the inverse of the brush transform
    // (after the placement), back to pixel units. Twice as large: A = (2, 0,
    // 0, 2, 1, 1), inverse (0.5, 0, 0, 0.5, -0.5, -0.5), shifted: dx = 0.5 *
    // 0.5 - 0.5. A quarter turn, brush (x, y) -> (-y, x): A = (0, 1, -1, 0,
    // -0.5, 0.5), inverse (0, -1, 1, 0, -0.5, -0.5), dx = 0.5 - 0.5 = 0, dy =
    // -0.5 - 0.5 = -1.
    const struct {
        Matrix brush, placement, expected;
    } cases[] = {
        {Matrix(), Matrix(), Matrix()},
        {Matrix(2, 0, 0, 2, 0, 0), Matrix(), Matrix(0.5f, 0, 0, 0.5f, -0.25f, -0.25f)},
        {Matrix(), Matrix(1, 0, 0, 1, 10, 20), Matrix(1, 0, 0, 1, 10, 20)},
        {Matrix(1, 0, 0, 1, 3, 4), Matrix(1, 0, 0, 1, 10, 20), Matrix(1, 0, 0, 1, 7, 16)},
        {Matrix(0, 1, -1, 0, 0, 0), Matrix(), Matrix(0, -1, 1, 0, 0, -1)},
    };
    for (const auto& c : cases) EXPECT_EQ(c.expected, SwBitmapColorSource::SurfaceToSourceMatrix(c.brush, c.placement));
    // A bitmap placed directly at (3, 4) of the surface.
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(1, 0, 0, 1, 3, 4)), Matrix(1, 0, 0, 1, -3, -4));
}

TEST(SwColorSourceTest, BitmapBrushSettings) {
    auto grid = MakeGrid();
    auto brush = std::make_shared<BitmapBrush>(grid);
    // Defaults: linear, clamped.
    EXPECT_EQ(Span(*std::make_shared<SwBitmapColorSource>(brush, Matrix()), -2, 6, 0), A8({1, 1, 1, 2, 3, 4, 4, 4}));
    // Twice as large, nearest: each source pixel covers two surface pixels.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    EXPECT_EQ(Span(*std::make_shared<SwBitmapColorSource>(brush, Matrix()), 0, 8, 3),
              A8({17, 17, 18, 18, 19, 19, 20, 20}));
    // Linear at twice the size. Row 1 reads y = 0.25: rows 0 and 1 at 64.
    // Pixel 4 reads x = 1.75: row 0 (2 * 64 + 3 * 192) >> 8 = 2, row 1 (18 *
    // 64 + 19 * 192) >> 8 = 18, then (2 * 192 + 18 * 64) >> 8 = 6. Pixel 5
    // reads 2.25: rows give 3 and 19, then 7.
    brush->SetInterpolationMode(InterpolationMode::Linear);
    EXPECT_EQ(Span(*std::make_shared<SwBitmapColorSource>(brush, Matrix()), 4, 6, 1), A8({6, 7}));
    // Tiled both ways, moved by one pixel: surface x reads x - 1 (at x = 0,
    // -0.5 truncates to 0); row 3 mirrors to row 2, row 4 to row 1.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(1, 0, 0, 1, 1, 0));
    brush->SetExtendModeX(ExtendMode::Wrap);
    brush->SetExtendModeY(ExtendMode::Mirror);
    SwBitmapColorSource tiled(brush, Matrix());
    EXPECT_EQ(Span(tiled, 0, 6, 0), A8({1, 1, 2, 3, 4, 1}));
    EXPECT_EQ(Span(tiled, 1, 2, 3), A8({33}));
    EXPECT_EQ(Span(tiled, 1, 2, 4), A8({17}));
    // The brush's opacity 0.5 weighs 128; the brush is read once.
    brush->SetOpacity(0.5f);
    brush->SetTransform(Matrix());
    SwBitmapColorSource faint(brush, Matrix());
    brush->SetOpacity(1.0f);
    brush->SetTransform(Matrix(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(Span(faint, 3, 4, 2), A8({(36 * 128) >> 8}));

    // Layers and mesh gradients place a bitmap clamped, nearest, with their
    // own opacity: 0.25 gives truncate(63.75) + 1 = 64.
    SwBitmapColorSource layer(grid, Matrix(1, 0, 0, 1, 3, 4), 1.0f);
    EXPECT_EQ(layer.GetSampler()->GetSampling(), SwBitmapSampler::SamplingNearest);
    EXPECT_EQ(Span(layer, 2, 8, 4), A8({1, 1, 2, 3, 4, 4}));
    EXPECT_EQ(Span(layer, 3, 4, 100), A8({33}));
    EXPECT_EQ(Span(*std::make_shared<SwBitmapColorSource>(grid, Matrix(), 0.25f), 3, 4, 2), A8({(36 * 64) >> 8}));
    // A source that is not a lockable bitmap is copied into the software
    // cache first.
    auto solid = std::make_shared<SolidColorBitmapSource>(Size<int>(3, 2), PixelFormat::ARGB8, Color(0x80FF8040u));
    EXPECT_FALSE(SwBitmapCache::IsCached(solid));
    SwBitmapColorSource fromSolid(solid, Matrix(), 1.0f);
    EXPECT_TRUE(SwBitmapCache::IsCached(solid));
    EXPECT_EQ(Span(fromSolid, -1, 4, 1), Words(5, 0x80804020u));
}

TEST(SwColorSourceTest, NothingToPaintWith) {
    // Singular placements and bitmaps without pixels paint transparent black
    // or at least something, safely; the sampler's own tests go through the
    // degenerate matrices.
    SwBitmapColorSource flat(std::make_shared<BitmapBrush>(MakeGrid()), Matrix(0, 0, 0, 0, 0, 0));
    Span(flat, 0, 3, 0);
    auto empty =
        std::make_shared<BitmapBrush>(std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8, 96.0f, 96.0f));
    EXPECT_EQ(Span(*SwColorSource::CreateFromBrush(empty, Rect<float>(), Matrix()), 0, 3, 0), Words(3, 0u));
    EXPECT_EQ(Span(*SwColorSource::CreateFromBrush(std::make_shared<BitmapBrush>(nullptr), Rect<float>(), Matrix()), 0,
                   3, 0),
              Words(3, 0u));
    SwBitmapColorSource noBrush(std::shared_ptr<BitmapBrush>{}, Matrix{});
    EXPECT_EQ(noBrush.GetSampler(), nullptr);
    EXPECT_EQ(Span(noBrush, 0, 3, 0), Words(3, 0u));
    EXPECT_EQ(Span(noBrush, 3, 3, 0), Words());
    SwBitmapColorSource noBitmap(std::shared_ptr<BitmapSource>{}, Matrix{}, 1.0f);
    EXPECT_EQ(Span(noBitmap, -1, 1, 0), Words(2, 0u));
}

TEST(SwGradientSourceTest, LinearByHand) {
    // Axis of length 8: t = x / 8 exactly, carried by additions of 0.125.
    auto plain = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}));
    auto extended = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true));
    auto endOnly = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, false, true));
    // Reversed: the angle is pi in float, whose sine is not 0, so rows other
    // than 0 drift by about 1e-8 per row.
    auto reversed = Linear(LinearBrush(kBlackBlue, 2, {8, 0}, {0, 0}));
    // Vertical: cos of the angle is a tiny negative number, so t is y / 8
    // plus a drift that moves no lookup in rows 1 to 7. A brush turned by 90
    // degrees gives the same axis.
    auto vertical = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {0, 8}));
    auto turned = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, false, false, Matrix(0, 1, -1, 0, 0, 0)));
    // Scaling stretches the axis; a skew moves only the end points (here
    // not at all), so lines of equal t stay perpendicular to the axis; the
    // placement by (3, 5) puts brush (0, 0) on surface pixel (-3, -5).
    auto scaled = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {4, 0}, false, false, Matrix(2, 0, 0, 2, 0, 0)));
    auto skewed = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, false, false, Matrix(1, 0, 1, 1, 0, 0)));
    auto placed = Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}), Matrix(1, 0, 0, 1, 3, 5));
    // Stops that end at 0.5: above it the lookup is 0, and so is the
    // extended end colour, the lookup at 1.
    const GradientStop half[] = {{0.0f, 0xFF000000u}, {0.5f, 0xFF0000FFu}};
    // Start equal to end paints nothing, not even extended ends.
    auto point = Linear(LinearBrush(kBlackBlue, 2, {4, 4}, {4, 4}, true, true));
    Check({
        {"plain", plain, -1, 10, -500, Join(Join({0u}, kEighths), {0u})},
        {"plain, mid-way", plain, 3, 6, 77, Words(kEighths.begin() + 3, kEighths.begin() + 6)},
        {"plain, inverted", plain, 6, 2, 0, {}},
        {"extended", extended, -2, 11, 0, Join(Join({kBlack, kBlack}, kEighths), {kBlue, kBlue})},
        {"extended", extended, -100000, -99999, 0, {kBlack}},
        {"extended", extended, 100000, 100001, 0, {kBlue}},
        {"end only", endOnly, -1, 10, 0, Join(Join({0u}, kEighths), {kBlue})},
        {"reversed", reversed, -1, 10, 0, Join(Join({0u}, Reversed(kEighths)), {0u})},
        {"vertical", vertical, -20, 21, 1, Words(41, kEighths[1])},
        {"vertical", vertical, -20, 21, 7, Words(41, kEighths[7])},
        {"vertical", vertical, 0, 1, 8, {kBlue}},
        {"vertical", vertical, -5, 5, -1, Words(10, 0u)},
        {"turned", turned, -3, 4, 3, Words(7, kEighths[3])},
        {"scaled", scaled, 0, 9, 2, kEighths},
        {"skewed", skewed, 0, 9, -5, kEighths},
        {"placed", placed, -3, 7, 0, Join(kEighths, {0u})},
        {"short stops", Linear(LinearBrush(half, 2, {0, 0}, {8, 0}, true, true)), -1, 10, 0,
         {kBlack, kBlack, 0xFF000040u, 0xFF000080u, 0xFF0000C0u, kBlue, 0u, 0u, 0u, 0u, 0u}},
        {"point", point, -10, 10, 4, Words(20, 0u)},
    });

    // Stops inserted after construction show up in the lookup (the sampler
    // shares them), though the end colours were fixed at construction.
    auto gradient = std::make_shared<LinearGradient>(kBlackBlue, 2, Point<float>(0, 0), Point<float>(8, 0));
    gradient->SetExtendEnd(true);
    SwLinearGradientColorSource live(std::make_shared<GradientBrush>(gradient), Matrix());
    gradient->GetGradientStopCollection()->InsertStop(0.5f, 0xFFFF0000u);
    EXPECT_EQ(Span(live, 4, 5, 0), Words{0xFFFF0000u});
    EXPECT_EQ(Span(live, 9, 10, 0), Words{kBlue});
}

TEST(SwGradientSourceTest, RadialByHand) {
    // Radius 0 to 8 about the origin: the chosen root is the distance over 8.
    // Row 4: distance 5 at x = 3 gives t = 0.625; sqrt(20) / 8 = 0.559 gives
    // f = 112 (blue * 144: 0x8F); sqrt(17) / 8 = 0.515 gives f = 123 (0x84).
    auto growing = Radial(RadialBrush({0, 0}, 0, {0, 0}, 8));
    // Extended, beyond the end circle the end colour.
    auto extended = Radial(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true));
    // Shrinking, radius 8 to 0: t = 1 - d / 8 while it lies in 0..1; outside
    // the start circle the second root, 1 + d / 8, is taken: the end
    // colour, not the start colour, paints the outside.
    auto shrinking = Radial(RadialBrush({0, 0}, 8, {0, 0}, 0, true, false));
    auto shrinkingEnd = Radial(RadialBrush({0, 0}, 8, {0, 0}, 0, false, true));
    // Nested: a point at (2, 0) to radius 8 at the origin, a = 0.25, A =
    // -0.9375; circle t has centre (2 - 2t, 0), radius 8t. (-1, 0): t = 0.3,
    // f = 178: black * 179 + blue * 78. (2, 0): the focus, t = 0. (10, 0):
    // roots -0.8 and 4/3. (0, 4): 60t^2 + 8t - 20 = 0, t = 0.5145, f = 123.
    // Every point has a root: none is left without a circle.
    auto nested = Radial(RadialBrush({2, 0}, 0, {0, 0}, 8, true, false));
    auto nestedEnd = Radial(RadialBrush({2, 0}, 0, {0, 0}, 8, false, true));
    // Separate: radius 2 at the origin to radius 4 at (16, 0), the cone's
    // apex at (-16, 0). Behind the apex both roots are below 0 (the sign of
    // the radius does not matter): the start colour; at the apex D is 0 and
    // t = -1; (2, 0): roots 2/7 and 0, f = 182: blue * 74; (10, 0): t = 6/7,
    // f = 36: blue * 220;
    // (24, 0): roots 1.86 and 1.22. Outside the cone D is negative: 0,
    // whatever the flags; unextended only the inside between the circles
    // paints.
    auto separate = Radial(RadialBrush({0, 0}, 2, {16, 0}, 4, true, true));
    auto bare = Radial(RadialBrush({0, 0}, 2, {16, 0}, 4));
    // Radius 0 to 8 with the end centre at distance 8: A is exactly 0 and t
    // = -C / B.
    auto touching = Radial(RadialBrush({0, 0}, 0, {8, 0}, 8, true, false));
    // Radius 4 under a scaling by 2 is the radius 8 gradient; placement by (3,
    // 4) puts the centre on (-3, -4); with a brush translation by (10, 20)
    // as well, on (7, 16).
    auto scaled = Radial(RadialBrush({0, 0}, 0, {0, 0}, 4, false, false, Matrix(2, 0, 0, 2, 0, 0)));
    auto placed = Radial(RadialBrush({0, 0}, 0, {0, 0}, 8), Matrix(1, 0, 0, 1, 3, 4));
    auto moved = Radial(RadialBrush({0, 0}, 0, {0, 0}, 8, false, false, Matrix(1, 0, 0, 1, 10, 20)),
                        Matrix(1, 0, 0, 1, 3, 4));
    Check({
        {"growing", growing, 0, 10, 0, Join(kEighths, {0u})},
        {"growing", growing, -9, 1, 0, Reversed(Join(kEighths, {0u}))},
        {"growing", growing, -3, 4, 4,
         {0xFF0000A0u, 0xFF00008Fu, 0xFF000084u, 0xFF000080u, 0xFF000084u, 0xFF00008Fu, 0xFF0000A0u}},
        {"growing", growing, 0, 1, -8, {kBlue}},
        {"extended", extended, 9, 10, 0, {kBlue}},
        {"extended", extended, 0, 1, 0, {kBlack}},
        {"shrinking", shrinking, 0, 9, 0, Reversed(kEighths)},
        {"shrinking", shrinking, 12, 13, 0, {0u}},
        {"shrinking end", shrinkingEnd, 12, 13, 0, {kBlue}},
        {"shrinking end", shrinkingEnd, -9, -8, -9, {kBlue}},
        {"nested", nested, -1, 0, 0, {0xFF00004Du}},
        {"nested", nested, 2, 3, 0, {kBlack}},
        {"nested", nested, 10, 11, 0, {0u}},
        {"nested", nested, 0, 1, 4, {0xFF000084u}},
        {"nested", nested, -40, 40, 25, Words(80, 0u)},
        {"nested end", nestedEnd, -40, 40, 25, Words(80, kBlue)},
        {"separate", separate, -40, -39, 0, {kBlack}},
        {"separate", separate, -16, -15, 0, {kBlack}},
        {"separate", separate, 2, 3, 0, {0xFF000049u}},
        {"separate", separate, 10, 11, 0, {0xFF0000DBu}},
        {"separate", separate, 24, 25, 0, {kBlue}},
        {"separate", separate, -16, -15, 1, {0u}},
        {"separate", separate, -40, 40, 40, Words(80, 0u)},
        {"bare", bare, -5, -4, 0, {0u}},
        {"bare", bare, 10, 11, 0, {0xFF0000DBu}},
        {"touching", touching, 4, 5, 0, {0xFF000040u}},
        {"touching", touching, 16, 17, 0, {kBlue}},
        {"touching", touching, 20, 21, 0, {0u}},
        {"touching", touching, -4, -3, 0, {kBlack}},
        // Equal radii paint nothing, whatever the centres and flags.
        {"equal radii", Radial(RadialBrush({0, 0}, 4, {10, 0}, 4, true, true)), -20, 20, 3, Words(40, 0u)},
        {"equal radii", Radial(RadialBrush({0, 0}, 4, {0, 0}, 4, true, true)), -20, 20, 3, Words(40, 0u)},
        // A zero end radius with a non-zero start radius still paints.
        {"to a point", Radial(RadialBrush({0, 0}, 8, {0, 0}, 0)), 4, 5, 0, {0xFF000080u}},
        {"scaled", scaled, 0, 9, 0, kEighths},
        {"placed", placed, -3, 6, -4, kEighths},
        {"moved", moved, 7, 16, 16, kEighths},
    });

    // The filler can be driven directly with a gradient-to-surface matrix.
    auto gradient = std::make_shared<RadialGradient>(kBlackBlue, 2, Point<float>(0, 0), 8.0f);
    RadialGradientFiller filler(gradient, Matrix(1, 0, 0, 1, 100, 0), 1.0f);
    Words words(9);
    filler.FillSpan(100, 109, 0, reinterpret_cast<unsigned char*>(words.data()));
    EXPECT_EQ(words, kEighths);
}

TEST(SwGradientSourceTest, OpacityAndPremultiplication) {
    // The low byte of truncate(opacity * 255) plus one, not clamped; values
    // an int cannot hold keep a low byte of 0.
    const std::pair<float, unsigned int> weights[] = {
        {1.0f, 256u}, {0.5f, 128u}, {0.3f, 77u}, {0.0f, 1u}, {2.0f, 255u}, {-0.5f, 130u}, {1e20f, 1u},
        {std::numeric_limits<float>::quiet_NaN(), 1u}, {-std::numeric_limits<float>::infinity(), 1u}};
    for (const auto& w : weights) EXPECT_EQ(w.second, SwGradientColorSource::OpacityWeight(w.first)) << w.first;

    // Both stops 0x80FF8040: the interpolation keeps it at every t, and the
    // premultiplication by 129 gives 0x80804020; then the weight.
    const GradientStop halfAlpha[] = {{0.0f, 0x80FF8040u}, {1.0f, 0x80FF8040u}};
    const std::pair<float, uint32_t> cases[] = {
        {1.0f, 0x80804020u}, {0.5f, 0x40402010u}, {2.0f, 0x7F7F3F1Fu}, {-0.5f, 0x41412010u}, {0.0f, 0u}};
    for (const auto& c : cases) {
        auto brush = LinearBrush(halfAlpha, 2, {0, 0}, {8, 0}, true, true);
        brush->SetOpacity(c.first);
        SwLinearGradientColorSource linear(brush, Matrix());
        EXPECT_EQ(Span(linear, -2, 11, 0), Words(13, c.second)) << c.first;
        auto radial = std::make_shared<RadialGradient>(halfAlpha, 2, Point<float>(0, 0), 8.0f);
        radial->SetExtendEnd(true);
        auto radialBrush = std::make_shared<GradientBrush>(radial);
        radialBrush->SetOpacity(c.first);
        EXPECT_EQ(Span(*Radial(radialBrush), -2, 11, 0), Words(13, c.second)) << c.first;
    }
    // A transparent stop premultiplies to 0 whatever its colour bytes.
    const GradientStop clear[] = {{0.0f, 0x00FFFFFFu}, {1.0f, 0x00FFFFFFu}};
    EXPECT_EQ(Span(*Linear(LinearBrush(clear, 2, {0, 0}, {8, 0})), 0, 9, 0), Words(9, 0u));
}

TEST(SwGradientSourceTest, BadInput) {
    // Singular and NaN matrices, as the brush transform and as the
    // placement: every word is written and nothing around the span; the
    // radial equation then has no real root anywhere, so all is 0.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 0, 0), Matrix(1, 2, 2, 4, 5, 5), Matrix(nan, 0, 0, nan, nan, 0)}) {
        Span(*Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true, m)), -5, 5, 0);
        Span(*Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true), m), -5, 5, 0);
        EXPECT_EQ(Span(*Radial(RadialBrush({1, 1}, 1, {4, 4}, 6, true, true, m)), -5, 5, 0), Words(10, 0u));
        EXPECT_EQ(Span(*Radial(RadialBrush({1, 1}, 1, {4, 4}, 6, true, true), m), -5, 5, 0), Words(10, 0u));
    }
    // NaN points and radii in the gradient itself; B = 0 at the centre of a
    // gradient whose A is 0 gives no finite t.
    Span(*Linear(LinearBrush(kBlackBlue, 2, {nan, 0}, {8, 0}, true, true)), -5, 5, 0);
    Span(*Radial(RadialBrush({0, 0}, nan, {0, 0}, 8, true, true)), -5, 5, 0);
    Span(*Radial(RadialBrush({0, 0}, 0, {8, 0}, 8, true, false)), -2, 3, 0);

    // Coordinates far from the origin.
    EXPECT_EQ(Span(*Linear(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true)), 2147483640, 2147483647,
                   -2147483647 - 1),
              Words(7, kBlue));
    EXPECT_EQ(Span(*Radial(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true)), -2147483647 - 1, -2147483647 + 6,
                   2147483647),
              Words(7, kBlue));

    // A brush without a usable gradient paints nothing.
    EXPECT_EQ(Span(*Linear(std::make_shared<GradientBrush>(nullptr)), 0, 4, 0), Words(4, 0u));
    EXPECT_EQ(Span(*Radial(std::make_shared<GradientBrush>(nullptr)), 0, 4, 0), Words(4, 0u));
    EXPECT_EQ(Span(*Linear(nullptr), 0, 4, 0), Words(4, 0u));
}

TEST(SwGradientSourceTest, FactoryDispatch) {
    const Rect<float> bounds(0, 0, 16, 16);
    auto linear = SwColorSource::CreateFromBrush(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}), bounds, Matrix());
    ASSERT_NE(dynamic_cast<SwLinearGradientColorSource*>(linear.get()), nullptr);
    EXPECT_EQ(Span(*linear, 0, 9, 0), kEighths);
    // The placement reaches the source.
    auto radial = SwColorSource::CreateFromBrush(RadialBrush({0, 0}, 0, {0, 0}, 8), bounds, Matrix(1, 0, 0, 1, 3, 4));
    ASSERT_NE(dynamic_cast<SwRadialGradientColorSource*>(radial.get()), nullptr);
    EXPECT_EQ(Span(*radial, -3, 6, -4), kEighths);

    // Mesh gradients, unknown types, gradients that claim a type they do not
    // have, and missing ones are refused.
    const TriMeshGradient::Vertex vertices[] = {{{0, 0}, 0xFFFF0000u}, {{8, 0}, 0xFF00FF00u}, {{0, 8}, 0xFF0000FFu}};
    for (const auto& gradient : std::vector<std::shared_ptr<Gradient>>{
             std::make_shared<TriMeshGradient>(vertices, 3), std::make_shared<OddGradient>(),
             std::make_shared<Impostor>(), nullptr})
        EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(std::make_shared<GradientBrush>(gradient), bounds,
                                                               Matrix()),
                                "Factory", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwGradientColorSource::Factory(nullptr, bounds, Matrix()), "Factory", "Not implemented");
}

TEST(SwGradientSourceTest, SpansMatchAPixelByPixelReference) {
    // Random gradients, stops, extensions and opacities: the chunked spans
    // must equal the parameter of each pixel, carried by addition, looked
    // up one at a time; the radial one solves the two-circle equation per
    // pixel as written out here.
    using namespace RandomizedCompare;
    EXPECT_TRUE(AllRoundsMatch(4242u, 150, [](Round& r) {
        std::mt19937& random = r.random;
        std::uniform_real_distribution<float> coordinate(-40.0f, 80.0f);
        std::uniform_real_distribution<float> radius(0.0f, 60.0f);
        auto randomize = [&random](LinearGradientBase& gradient) {
            for (int i = Int(random, 1, 5); i > 0; --i) {
                const float offset = random() % 4 == 0 ? static_cast<float>(random() % 3) * 0.5f
                                                       : std::uniform_real_distribution<float>(-0.1f, 1.1f)(random);
                gradient.GetGradientStopCollection()->InsertStop(offset, static_cast<unsigned int>(random()));
            }
            gradient.SetExtendStart(random() % 2 == 0);
            gradient.SetExtendEnd(random() % 2 == 0);
        };
        const float opacity = random() % 3 == 0 ? 1.0f : std::uniform_real_distribution<float>(0.0f, 1.0f)(random);
        const int x0 = Int(random, -20, 39);
        const int x1 = x0 + Int(random, 0, 139);
        const int y = Int(random, -20, 59);
        r.note << "opacity " << opacity << " span " << x0 << ".." << x1 << ", " << y;

        auto linear = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(coordinate(random), coordinate(random)),
                                                       Point<float>(coordinate(random), coordinate(random)));
        // Sometimes nearly vertical.
        if (random() % 4 == 0) linear->SetEndPoint(Point<float>(linear->GetStartPoint().x + 0.01f, 500.0f));
        randomize(*linear);
        auto brush = std::make_shared<GradientBrush>(linear);
        brush->SetOpacity(opacity);
        SwLinearGradientColorSource source(brush, Matrix(1, 0, 0, 1, 0.5f, -2.0f));
        GradientSampler linearSampler(linear);
        const Matrix& lm = source.GetMatrix();
        float t = (static_cast<float>(x0) * lm.m11 + static_cast<float>(y) * lm.m21) + lm.dx;
        Words expected;
        for (int x = x0; x < x1; ++x, t += lm.m11) {
            if (t < 0.0f)
                expected.push_back(source.GetStartColor());
            else if (t > 1.0f)
                expected.push_back(source.GetEndColor());
            else
                expected.push_back(
                    SwGradientColorSource::ApplyWeight(linearSampler.GetColor(t), source.GetOpacityWeight()));
        }
        r.Compare("linear", Span(source, x0, x1, y), expected);

        auto radial = std::make_shared<RadialGradient>(nullptr, 0, Point<float>(coordinate(random), coordinate(random)),
                                                       radius(random), Point<float>(coordinate(random), coordinate(random)),
                                                       radius(random));
        // Sometimes concentric.
        if (random() % 4 == 0) radial->SetEndPoint(radial->GetStartPoint());
        randomize(*radial);
        RadialGradientFiller filler(radial, Matrix(1.5f, 0.25f, -0.5f, 1.0f, 3.0f, 1.0f), opacity);
        GradientSampler radialSampler(radial);
        const float k = 1.0f / (radial->GetEndRadius() - radial->GetStartRadius());
        const Point<float> c0 = radial->GetStartPoint();
        const Point<float> c1 = radial->GetEndPoint();
        const float a = (c0.x - c1.x) * k;
        const float b = (c0.y - c1.y) * k;
        const float c = radial->GetStartRadius() * k;
        const float cSquared = c * c;
        const float q = b * b + a * a - 1.0f;
        const float fourA = 4.0f * q;
        const float inverseTwoA = 1.0f / (q + q);
        const Matrix& m = filler.GetMatrix();
        const float bStep = 2.0f * (a * m.m11 + b * m.m12);
        float ux = (m.m21 * static_cast<float>(y) + m.m11 * static_cast<float>(x0)) + m.dx;
        float uy = (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy;
        float bb = 2.0f * ((a * ux + b * uy) - c);
        expected.clear();
        for (int x = x0; x < x1; ++x, bb += bStep, ux += m.m11, uy += m.m12) {
            const float cc = uy * uy + ux * ux - cSquared;
            float t1 = 0.0f, t2 = 0.0f;
            bool covered = true;
            if (fourA == 0.0f) {
                t1 = t2 = -cc / bb;
            } else {
                const float d = bb * bb - fourA * cc;
                if (d > 0.0f) {
                    const double root = std::sqrt(static_cast<double>(d));
                    t1 = static_cast<float>((-static_cast<double>(bb) + root) * static_cast<double>(inverseTwoA));
                    t2 = static_cast<float>((-static_cast<double>(bb) - root) * static_cast<double>(inverseTwoA));
                } else if (d == 0.0f) {
                    t1 = t2 = -(inverseTwoA * bb);
                } else {
                    covered = false;
                }
            }
            const float tr = (t1 >= 0.0f && t1 <= 1.0f) ? t1 : t2;
            if (!covered)
                expected.push_back(0u);
            else if (tr < 0.0f)
                expected.push_back(filler.GetStartColor());
            else if (tr > 1.0f)
                expected.push_back(filler.GetEndColor());
            else
                expected.push_back(
                    SwGradientColorSource::ApplyWeight(radialSampler.GetColor(tr), filler.GetOpacityWeight()));
        }
        Words span(expected.size() + 1, kGuard);
        filler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(span.data()));
        expected.push_back(kGuard);
        r.Compare("radial", span, expected);
    }));
}
