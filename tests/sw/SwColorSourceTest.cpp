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
    Words row((x1 > x0 ? static_cast<size_t>(x1 - x0) : 0) + 2, kGuard);
    source.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), kGuard);
    EXPECT_EQ(row.back(), kGuard);
    return Words(row.begin() + 1, row.end() - 1);
}
// Opaque black to opaque blue: f = trunc((1 - t) * 255), blue (255 * (256 - f)) >> 8; at t = k / 8 blue is 0x20 k.
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
std::shared_ptr<GradientBrush> MakeBrush(std::shared_ptr<LinearGradientBase> g, bool extendStart, bool extendEnd,
                                     const Matrix& transform) {
    g->SetExtendStart(extendStart);
    g->SetExtendEnd(extendEnd);
    auto brush = std::make_shared<GradientBrush>(g);
    brush->SetTransform(transform);
    return brush;
}
std::shared_ptr<GradientBrush> LinearBrush(const GradientStop* stops, Point<float> start, Point<float> end,
                                           bool extendStart = false, bool extendEnd = false,
                                           const Matrix& transform = Matrix()) {
    return MakeBrush(std::make_shared<LinearGradient>(stops, 2, start, end), extendStart, extendEnd, transform);
}
std::shared_ptr<GradientBrush> RadialBrush(Point<float> c0, float r0, Point<float> c1, float r1,
                                           bool extendStart = false, bool extendEnd = false,
                                           const Matrix& transform = Matrix()) {
    return MakeBrush(std::make_shared<RadialGradient>(kBlackBlue, 2, c0, r0, c1, r1), extendStart, extendEnd, transform);
}
std::shared_ptr<SwColorSource> Linear(std::shared_ptr<GradientBrush> brush, const Matrix& placement = Matrix()) {
    return std::make_shared<SwLinearGradientColorSource>(std::move(brush), placement);
}
std::shared_ptr<SwColorSource> Radial(std::shared_ptr<GradientBrush> brush, const Matrix& placement = Matrix()) {
    return std::make_shared<SwRadialGradientColorSource>(std::move(brush), placement);
}
// A span of a source and the words it must give.
struct Case { const char* what; std::shared_ptr<SwColorSource> source; int x0, x1, y; Words words; };
void Check(const std::vector<Case>& cases) {
    for (const Case& c : cases)
        EXPECT_EQ(c.words, Span(*c.source, c.x0, c.x1, c.y)) << c.what << " at " << c.x0 << ".." << c.x1 << ", " << c.y;
}
// A public 4 x 3 A8 bitmap whose pixel (x, y) holds 16 * y + x + 1.
std::shared_ptr<Bitmap> MakeGrid() {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 3), PixelFormat::A8, 96.0f, 96.0f);
    unsigned char pixels[12];
    for (int i = 0; i < 12; ++i) pixels[i] = static_cast<unsigned char>(16 * (i / 4) + i % 4 + 1);
    bitmap->CopyFromMemory(nullptr, pixels, 4, 4);
    return bitmap;
}
Words A8(std::vector<uint32_t> v) {
    for (auto& x : v) x *= 0x01010101u;
    return v;
}
struct UnknownBrush : Brush {
    int GetType() const override { return 7; }
};
struct OddGradient : Gradient {
    int GetType() const override { return 7; }
};
struct Impostor : Gradient {  // claims to be linear without being an axial gradient
    int GetType() const override { return 0; }
};

}  // namespace

TEST(SwColorSourceTest, SolidPremultipliesWithOpacity) {
    // Alpha is truncate(a * opacity * 255), not clamped; below 255 the channels scale by alpha + 1:
    // 63.75 -> 63, then 255, 127, 63 by 64; 0.5 * 2 is opaque again.
    const std::pair<float, uint32_t> cases[] = {{0.5f, 0x3F3F1F0Fu}, {2.0f, 0xFFFF7F3Fu}};
    for (const auto& c : cases) {
        auto brush = std::make_shared<SolidBrush>(Color(1.0f, 0.5f, 0.25f, 0.5f));
        brush->SetOpacity(c.first);
        EXPECT_EQ(c.second, SwSolidColorSource(brush).GetColor()) << c.first;
    }
    // The brush is read once; no brush is transparent black.
    auto brush = std::make_shared<SolidBrush>(0xFF0000FFu);
    SwSolidColorSource source(brush);
    brush->SetColor(0xFFFF0000u);
    EXPECT_EQ(source.GetColor(), 0xFF0000FFu);
    EXPECT_EQ(SwSolidColorSource(nullptr).GetColor(), 0u);
    // Spans at any position and alignment; empty and inverted spans write nothing.
    SwSolidColorSource half(std::make_shared<SolidBrush>(Color(0x80FF8040u)));
    EXPECT_EQ(Span(half, -2, 2, 3), Words(4, 0x80804020u));
    EXPECT_EQ(Span(half, 7, 5, 0), Words());
    unsigned char odd[10] = {0};
    half.FillSpan(10, 12, 0, odd + 1);
    const unsigned char bytes[10] = {0, 0x20, 0x40, 0x80, 0x80, 0x20, 0x40, 0x80, 0x80, 0};
    EXPECT_EQ(0, std::memcmp(odd, bytes, sizeof bytes));
}

TEST(SwColorSourceTest, FactoryByBrushType) {
    auto solid = std::make_shared<SolidBrush>(Color(0x80FF8040u));
    auto source = SwColorSource::CreateFromBrush(solid, Rect<float>(0, 0, 10, 10), Matrix(1, 0, 0, 1, 5, 5));
    ASSERT_NE(dynamic_cast<SwSolidColorSource*>(source.get()), nullptr);
    EXPECT_EQ(Span(*source, 0, 2, 2), Words(2, 0x80804020u));
    // Identity brush and placement read pixel (x, y) exactly in every mode; a placement moves the read.
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
    EXPECT_EQ(Span(*placed, -2, 2, 1), A8({33, 34, 35, 36}));
    // Gradients by type; the placement reaches the source.
    auto linear = SwColorSource::CreateFromBrush(LinearBrush(kBlackBlue, {0, 0}, {8, 0}), Rect<float>(), Matrix());
    ASSERT_NE(dynamic_cast<SwLinearGradientColorSource*>(linear.get()), nullptr);
    EXPECT_EQ(Span(*linear, 0, 9, 0), kEighths);
    auto radial = SwColorSource::CreateFromBrush(RadialBrush({0, 0}, 0, {0, 0}, 8), Rect<float>(), Matrix(1, 0, 0, 1, 3, 4));
    ASSERT_NE(dynamic_cast<SwRadialGradientColorSource*>(radial.get()), nullptr);
    EXPECT_EQ(Span(*radial, -3, 6, -4), kEighths);
    // Patterns, mesh gradients, unknown types, false claims and missing brushes or gradients are refused.
    for (std::shared_ptr<Brush> refused : std::vector<std::shared_ptr<Brush>>{
             std::make_shared<PatternBrush>(nullptr), std::make_shared<UnknownBrush>(), nullptr})
        EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(refused, Rect<float>(), Matrix()), "CreateFromBrush",
                                "Not implemented");
    const TriMeshGradient::Vertex vertices[] = {{{0, 0}, 0xFFFF0000u}, {{8, 0}, 0xFF00FF00u}, {{0, 8}, 0xFF0000FFu}};
    for (const auto& gradient : std::vector<std::shared_ptr<Gradient>>{std::make_shared<TriMeshGradient>(vertices, 3),
                                                                       std::make_shared<OddGradient>(),
                                                                       std::make_shared<Impostor>(), nullptr})
        EXPECT_GRAPHICS_FAILURE(
            SwColorSource::CreateFromBrush(std::make_shared<GradientBrush>(gradient), Rect<float>(), Matrix()),
            "Factory", "Not implemented");
}

TEST(SwColorSourceTest, BitmapBrushSettings) {
    auto grid = MakeGrid();
    auto brush = std::make_shared<BitmapBrush>(grid);
    auto span = [&](int x0, int x1, int y) { return Span(*std::make_shared<SwBitmapColorSource>(brush, Matrix()), x0, x1, y); };
    // Defaults: linear, clamped.
    EXPECT_EQ(span(-2, 6, 0), A8({1, 1, 1, 2, 3, 4, 4, 4}));
    // Twice as large, nearest.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    EXPECT_EQ(span(0, 8, 3), A8({17, 17, 18, 18, 19, 19, 20, 20}));
    // Linear at twice the size, (1.75, 0.25): rows (2 * 64 + 3 * 192) >> 8 = 2 and 18, then (2 * 192 + 18 * 64) >> 8.
    brush->SetInterpolationMode(InterpolationMode::Linear);
    EXPECT_EQ(span(4, 6, 1), A8({6, 7}));
    // A quarter turn, brush (x, y) to (-y, x): surface (x, y) reads column y, row -x - 1.
    brush->SetTransform(Matrix(0, 1, -1, 0, 0, 0));
    EXPECT_EQ(span(-3, 0, 1), A8({34, 18, 2}));
    // Moved by one, wrapped across, mirrored down: row 3 reads row 2, row 4 row 1.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(1, 0, 0, 1, 1, 0));
    brush->SetExtendModeX(ExtendMode::Wrap);
    brush->SetExtendModeY(ExtendMode::Mirror);
    EXPECT_EQ(span(0, 6, 0), A8({1, 1, 2, 3, 4, 1}));
    EXPECT_EQ(span(1, 2, 3), A8({33}));
    EXPECT_EQ(span(1, 2, 4), A8({17}));
    // Opacity 0.5 weighs 128; the brush is read once.
    brush->SetOpacity(0.5f);
    brush->SetTransform(Matrix());
    SwBitmapColorSource faint(brush, Matrix());
    brush->SetOpacity(1.0f);
    EXPECT_EQ(Span(faint, 3, 4, 2), A8({(36 * 128) >> 8}));
    // Layers place a bitmap clamped, nearest, with their own opacity: 0.25 weighs 64.
    SwBitmapColorSource layer(grid, Matrix(1, 0, 0, 1, 3, 4), 1.0f);
    EXPECT_EQ(Span(layer, 2, 8, 4), A8({1, 1, 2, 3, 4, 4}));
    EXPECT_EQ(Span(*std::make_shared<SwBitmapColorSource>(grid, Matrix(), 0.25f), 3, 4, 2), A8({(36 * 64) >> 8}));
    // A source that is not a lockable bitmap goes through the software cache.
    auto solid = std::make_shared<SolidColorBitmapSource>(Size<int>(3, 2), PixelFormat::ARGB8, Color(0x80FF8040u));
    SwBitmapColorSource fromSolid(solid, Matrix(), 1.0f);
    EXPECT_TRUE(SwBitmapCache::IsCached(solid));
    EXPECT_EQ(Span(fromSolid, -1, 4, 1), Words(5, 0x80804020u));
    // Nothing to paint with: transparent black.
    SwBitmapColorSource noBrush(std::shared_ptr<BitmapBrush>{}, Matrix{});
    EXPECT_EQ(Span(noBrush, 0, 3, 0), Words(3, 0u));
    SwBitmapColorSource noBitmap(std::shared_ptr<BitmapSource>{}, Matrix{}, 1.0f);
    EXPECT_EQ(Span(noBitmap, -1, 1, 0), Words(2, 0u));
}

TEST(SwGradientSourceTest, LinearByHand) {
    // Axis of length 8: t = x / 8, carried by additions of 0.125.
    auto plain = Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}));
    auto extended = Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, true, true));
    // Vertical: the cosine of the angle is a tiny negative, a drift that moves no lookup in rows 1 to 7.
    auto vertical = Linear(LinearBrush(kBlackBlue, {0, 0}, {0, 8}));
    // A skew moves only the end points (here not at all): lines of equal t stay perpendicular to the axis.
    auto skewed = Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, false, false, Matrix(1, 0, 1, 1, 0, 0)));
    // Scaled by 2 and moved to (1, 0); a placement by (2, 5) puts the start on surface (-1, -5).
    auto moved = Linear(LinearBrush(kBlackBlue, {0, 0}, {4, 0}, false, false, Matrix(2, 0, 0, 2, 1, 0)),
                        Matrix(1, 0, 0, 1, 2, 5));
    // Stops ending at 0.5: above it the lookup is 0, and so is the extended end colour, the lookup at 1.
    const GradientStop half[] = {{0.0f, 0xFF000000u}, {0.5f, 0xFF0000FFu}};
    Check({
        {"plain", plain, -1, 10, -500, Join(Join({0u}, kEighths), {0u})},
        {"plain, inverted", plain, 6, 2, 0, {}},
        {"extended", extended, -2, 11, 0, Join(Join({kBlack, kBlack}, kEighths), {kBlue, kBlue})},
        {"end only", Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, false, true)), -1, 10, 0,
         Join(Join({0u}, kEighths), {kBlue})},
        {"reversed", Linear(LinearBrush(kBlackBlue, {8, 0}, {0, 0})), -1, 10, 0,
         Join(Join({0u}, Reversed(kEighths)), {0u})},
        {"vertical", vertical, -20, 21, 1, Words(41, kEighths[1])},
        {"skewed", skewed, 0, 9, -5, kEighths},
        {"scaled, moved and placed", moved, -1, 9, 1, Join(kEighths, {0u})},
        {"short stops", Linear(LinearBrush(half, {0, 0}, {8, 0}, true, true)), -1, 10, 0,
         {kBlack, kBlack, 0xFF000040u, 0xFF000080u, 0xFF0000C0u, kBlue, 0u, 0u, 0u, 0u, 0u}},
        {"point", Linear(LinearBrush(kBlackBlue, {4, 4}, {4, 4}, true, true)), -10, 10, 4, Words(20, 0u)},
    });
}

TEST(SwGradientSourceTest, RadialByHand) {
    // Radius 0 to 8: t = d / 8; row 4: sqrt(20) / 8 gives f = 112 (0x8F), sqrt(17) / 8 f = 123 (0x84). Shrinking:
    // t = 1 - d / 8, and outside the start circle the second root 1 + d / 8, the end colour.
    auto growing = Radial(RadialBrush({0, 0}, 0, {0, 0}, 8));
    const Words out = Join(kEighths, {0u});
    auto shrinking = Radial(RadialBrush({0, 0}, 8, {0, 0}, 0, true, false));
    auto shrinkingEnd = Radial(RadialBrush({0, 0}, 8, {0, 0}, 0, false, true));
    // Nested, a point at (2, 0) to radius 8 at the origin: (-1, 0) t = 0.3, f = 178; (2, 0) the focus;
    // (10, 0) roots -0.8 and 4/3; (0, 4) 60t^2 + 8t - 20 = 0, t = 0.5145, f = 123.
    auto nested = Radial(RadialBrush({2, 0}, 0, {0, 0}, 8, true, false));
    // Separate, radius 2 at the origin to 4 at (16, 0), apex (-16, 0): behind it both roots below 0; (2, 0)
    // roots 2/7 and 0, f = 182; (10, 0) t = 6/7, f = 36; (24, 0) roots 1.86 and 1.22; outside the cone nothing.
    auto separate = Radial(RadialBrush({0, 0}, 2, {16, 0}, 4, true, true));
    // End centre at distance 8 from radius 0 to 8: A is exactly 0, t = -C / B.
    auto touching = Radial(RadialBrush({0, 0}, 0, {8, 0}, 8, true, false));
    // Radius 4 scaled by 2 and moved to (10, 20); a placement by (3, 4) puts the centre on (7, 16).
    auto moved = Radial(RadialBrush({0, 0}, 0, {0, 0}, 4, false, false, Matrix(2, 0, 0, 2, 10, 20)),
                        Matrix(1, 0, 0, 1, 3, 4));
    Check({
        {"growing", growing, -9, 10, 0, Join(Reversed(out), Words(out.begin() + 1, out.end()))},
        {"growing", growing, -3, 4, 4,
         {0xFF0000A0u, 0xFF00008Fu, 0xFF000084u, 0xFF000080u, 0xFF000084u, 0xFF00008Fu, 0xFF0000A0u}},
        {"extended", Radial(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true)), 9, 10, 0, {kBlue}},
        {"shrinking", shrinking, 0, 9, 0, Reversed(kEighths)},
        {"shrinking end", shrinkingEnd, -9, -8, -9, {kBlue}},
        {"nested", nested, -1, 0, 0, {0xFF00004Du}},
        {"nested", nested, 10, 11, 0, {0u}},
        {"nested", nested, 0, 1, 4, {0xFF000084u}},
        {"separate", separate, -40, -39, 0, {kBlack}},
        {"separate", separate, 2, 3, 0, {0xFF000049u}},
        {"separate", separate, 10, 11, 0, {0xFF0000DBu}},
        {"separate", separate, -16, -15, 1, {0u}},
        {"bare", Radial(RadialBrush({0, 0}, 2, {16, 0}, 4)), -5, -4, 0, {0u}},
        {"touching", touching, 4, 5, 0, {0xFF000040u}},
        {"equal radii", Radial(RadialBrush({0, 0}, 4, {10, 0}, 4, true, true)), -20, 20, 3, Words(40, 0u)},
        {"to a point", Radial(RadialBrush({0, 0}, 8, {0, 0}, 0)), 4, 5, 0, {0xFF000080u}},
        {"moved", moved, 7, 16, 16, kEighths},
    });
}

TEST(SwGradientSourceTest, OpacityWeight) {
    // The low byte of truncate(opacity * 255) plus one, not clamped; what an int cannot hold gives 1.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::pair<float, unsigned int> weights[] = {{1.0f, 256u}, {0.3f, 77u}, {2.0f, 255u}, {-0.5f, 130u},
                                                      {1e20f, 1u},  {nan, 1u}};
    for (const auto& w : weights) EXPECT_EQ(w.second, SwGradientColorSource::OpacityWeight(w.first)) << w.first;
}

TEST(SwGradientSourceTest, BadInput) {
    // Singular and NaN matrices as brush transform and as placement: every word written, nothing around;
    // the radial equation then has no real root, so all is 0.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 0, 0), Matrix(1, 2, 2, 4, 5, 5), Matrix(nan, 0, 0, nan, nan, 0)}) {
        Span(*Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, true, true, m)), -5, 5, 0);
        Span(*Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, true, true), m), -5, 5, 0);
        EXPECT_EQ(Span(*Radial(RadialBrush({1, 1}, 1, {4, 4}, 6, true, true, m)), -5, 5, 0), Words(10, 0u));
        EXPECT_EQ(Span(*Radial(RadialBrush({1, 1}, 1, {4, 4}, 6, true, true), m), -5, 5, 0), Words(10, 0u));
    }
    // NaN points and radii; B = 0 at the centre of a gradient whose A is 0 gives no finite t.
    Span(*Linear(LinearBrush(kBlackBlue, {nan, 0}, {8, 0}, true, true)), -5, 5, 0);
    Span(*Radial(RadialBrush({0, 0}, nan, {0, 0}, 8, true, true)), -5, 5, 0);
    Span(*Radial(RadialBrush({0, 0}, 0, {8, 0}, 8, true, false)), -2, 3, 0);
    // Coordinates far from the origin.
    EXPECT_EQ(Span(*Linear(LinearBrush(kBlackBlue, {0, 0}, {8, 0}, true, true)), 2147483640, 2147483647, INT32_MIN),
              Words(7, kBlue));
    EXPECT_EQ(Span(*Radial(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true)), INT32_MIN, INT32_MIN + 7, 2147483647),
              Words(7, kBlue));
    // No usable gradient paints nothing.
    EXPECT_EQ(Span(*Linear(std::make_shared<GradientBrush>(nullptr)), 0, 4, 0), Words(4, 0u));
    EXPECT_EQ(Span(*Radial(std::make_shared<GradientBrush>(nullptr)), 0, 4, 0), Words(4, 0u));
    EXPECT_EQ(Span(*Linear(nullptr), 0, 4, 0), Words(4, 0u));
}

TEST(SwGradientSourceTest, SpansMatchAPixelByPixelReference) {
    // Chunked spans must equal a per-pixel lookup of the parameter carried by addition; the radial one
    // solves the two-circle equation per pixel as written out here.
    using namespace RandomizedCompare;
    EXPECT_TRUE(AllRoundsMatch(4242u, 150, [](Round& r) {
        std::mt19937& random = r.random;
        std::uniform_real_distribution<float> coordinate(-40.0f, 80.0f), radius(0.0f, 60.0f);
        auto point = [&] { return Point<float>(coordinate(random), coordinate(random)); };
        auto randomize = [&random](LinearGradientBase& gradient) {
            for (int i = Int(random, 1, 5); i > 0; --i) {
                const float offset = random() % 4 == 0 ? static_cast<float>(random() % 3) * 0.5f
                                                       : std::uniform_real_distribution<float>(-0.1f, 1.1f)(random);
                gradient.GetGradientStopCollection()->InsertStop(offset, static_cast<unsigned int>(random()));
            }
            gradient.SetExtendStart(random() % 2 == 0);
            gradient.SetExtendEnd(random() % 2 == 0);
        };
        // The end colours outside 0..1, else the weighted lookup.
        auto shade = [](float t, const auto& source, const GradientSampler& sampler) {
            return t < 0.0f   ? source.GetStartColor()
                   : t > 1.0f ? source.GetEndColor()
                              : SwGradientColorSource::ApplyWeight(sampler.GetColor(t), source.GetOpacityWeight());
        };
        const float opacity = random() % 3 == 0 ? 1.0f : std::uniform_real_distribution<float>(0.0f, 1.0f)(random);
        const int x0 = Int(random, -20, 39), x1 = x0 + Int(random, 0, 139), y = Int(random, -20, 59);
        r.note << "opacity " << opacity << " span " << x0 << ".." << x1 << ", " << y;
        auto linear = std::make_shared<LinearGradient>(nullptr, 0, point(), point());
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
        for (int x = x0; x < x1; ++x, t += lm.m11) expected.push_back(shade(t, source, linearSampler));
        r.Compare("linear", Span(source, x0, x1, y), expected);
        const Point<float> c0 = point();
        const float r0 = radius(random);
        auto radial = std::make_shared<RadialGradient>(nullptr, 0, c0, r0, point(), radius(random));
        if (random() % 4 == 0) radial->SetEndPoint(c0);  // sometimes concentric
        randomize(*radial);
        RadialGradientFiller filler(radial, Matrix(1.5f, 0.25f, -0.5f, 1.0f, 3.0f, 1.0f), opacity);
        GradientSampler radialSampler(radial);
        const float k = 1.0f / (radial->GetEndRadius() - r0);
        const float a = (c0.x - radial->GetEndPoint().x) * k, b = (c0.y - radial->GetEndPoint().y) * k, c = r0 * k;
        const float q = b * b + a * a - 1.0f, fourA = 4.0f * q, inverseTwoA = 1.0f / (q + q);
        const Matrix& m = filler.GetMatrix();
        const float bStep = 2.0f * (a * m.m11 + b * m.m12);
        float ux = (m.m21 * static_cast<float>(y) + m.m11 * static_cast<float>(x0)) + m.dx;
        float uy = (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy;
        float bb = 2.0f * ((a * ux + b * uy) - c);
        expected.clear();
        for (int x = x0; x < x1; ++x, bb += bStep, ux += m.m11, uy += m.m12) {
            const float cc = uy * uy + ux * ux - c * c, d = bb * bb - fourA * cc;
            float t1 = 0.0f, t2 = 0.0f;
            if (fourA == 0.0f) {
                t1 = t2 = -cc / bb;
            } else if (d > 0.0f) {
                const double root = std::sqrt(static_cast<double>(d)), bd = bb, inverse = inverseTwoA;
                t1 = static_cast<float>((-bd + root) * inverse);
                t2 = static_cast<float>((-bd - root) * inverse);
            } else if (d == 0.0f) {
                t1 = t2 = -(inverseTwoA * bb);
            }
            const bool covered = fourA == 0.0f || d >= 0.0f;
            expected.push_back(covered ? shade((t1 >= 0.0f && t1 <= 1.0f) ? t1 : t2, filler, radialSampler) : 0u);
        }
        Words span(expected.size() + 1, kGuard);
        filler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(span.data()));
        expected.push_back(kGuard);
        r.Compare("radial", span, expected);
    }));
}
