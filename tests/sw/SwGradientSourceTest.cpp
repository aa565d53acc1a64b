#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "Graphics/Brush.h"
#include "Graphics/Gradient.h"
#include "LogCapture.h"
#include "sw/RadialGradientFiller.h"
#include "sw/SwColorSource.h"
#include "sw/SwGradientColorSource.h"
#include "sw/SwLinearGradientColorSource.h"
#include "sw/SwRadialGradientColorSource.h"

using namespace Graphics;

namespace {

constexpr uint32_t kGuard = 0xDEADBEEFu;

// The words of FillSpan(x0, x1, y), checking that nothing is written around them.
std::vector<uint32_t> Span(SwColorSource& source, int x0, int x1, int y) {
    const size_t n = x1 > x0 ? static_cast<size_t>(x1 - x0) : 0;
    std::vector<uint32_t> row(n + 2, kGuard);
    source.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), kGuard);
    EXPECT_EQ(row.back(), kGuard);
    return std::vector<uint32_t>(row.begin() + 1, row.end() - 1);
}

uint32_t Pixel(SwColorSource& source, int x, int y) { return Span(source, x, x + 1, y)[0]; }

// Opaque black at 0 and opaque blue at 1. Between them the lookup at t gives
// f = trunc((1 - t) * 255), blue (255 * (256 - f)) >> 8, and an alpha that
// sums back to 255; at t = k / 8 the blue byte is 0x20 * k.
const GradientStop kBlackBlue[] = {{0.0f, 0xFF000000u}, {1.0f, 0xFF0000FFu}};
const std::vector<uint32_t> kEighths = {0xFF000000u, 0xFF000020u, 0xFF000040u, 0xFF000060u, 0xFF000080u,
                                        0xFF0000A0u, 0xFF0000C0u, 0xFF0000E0u, 0xFF0000FFu};

std::shared_ptr<GradientBrush> LinearBrush(const GradientStop* stops, unsigned long count, Point<float> start,
                                           Point<float> end, bool extendStart = false, bool extendEnd = false) {
    auto gradient = std::make_shared<LinearGradient>(stops, count, start, end);
    gradient->SetExtendStart(extendStart);
    gradient->SetExtendEnd(extendEnd);
    return std::make_shared<GradientBrush>(gradient);
}

std::shared_ptr<GradientBrush> RadialBrush(Point<float> c0, float r0, Point<float> c1, float r1,
                                           bool extendStart = false, bool extendEnd = false) {
    auto gradient = std::make_shared<RadialGradient>(kBlackBlue, 2, c0, r0, c1, r1);
    gradient->SetExtendStart(extendStart);
    gradient->SetExtendEnd(extendEnd);
    return std::make_shared<GradientBrush>(gradient);
}

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

TEST(SwGradientSourceTest, LinearValuesAlongTheAxis) {
    // Axis of length 8: t = x / 8 exactly, carried by additions of 0.125.
    SwLinearGradientColorSource plain(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}), Matrix());
    EXPECT_FALSE(plain.IsDegenerate());
    EXPECT_EQ(plain.GetMatrix().m11, 0.125f);
    EXPECT_EQ(plain.GetMatrix().m21, 0.0f);

    std::vector<uint32_t> expected = {0u};  // x = -1: before the start, not extended
    expected.insert(expected.end(), kEighths.begin(), kEighths.end());
    expected.push_back(0u);  // x = 9: beyond the end
    EXPECT_EQ(Span(plain, -1, 10, 0), expected);

    // Only x counts along a horizontal axis, and a span starting mid-way
    // computes its own first t.
    EXPECT_EQ(Span(plain, -1, 10, -500), expected);
    EXPECT_EQ(Span(plain, 3, 6, 77), std::vector<uint32_t>(kEighths.begin() + 3, kEighths.begin() + 6));
    EXPECT_EQ(Span(plain, 5, 5, 0), std::vector<uint32_t>());
    EXPECT_EQ(Span(plain, 6, 2, 0), std::vector<uint32_t>());

    // Extended ends deliver the colours at 0 and 1, however far out.
    SwLinearGradientColorSource extended(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true), Matrix());
    EXPECT_EQ(extended.GetStartColor(), 0xFF000000u);
    EXPECT_EQ(extended.GetEndColor(), 0xFF0000FFu);
    EXPECT_EQ(Span(extended, -3, 0, 0), std::vector<uint32_t>(3, 0xFF000000u));
    EXPECT_EQ(Span(extended, 9, 12, 0), std::vector<uint32_t>(3, 0xFF0000FFu));
    EXPECT_EQ(Pixel(extended, -100000, 0), 0xFF000000u);
    EXPECT_EQ(Pixel(extended, 100000, 0), 0xFF0000FFu);

    // One end only.
    SwLinearGradientColorSource endOnly(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, false, true), Matrix());
    EXPECT_EQ(Pixel(endOnly, -1, 0), 0u);
    EXPECT_EQ(Pixel(endOnly, 9, 0), 0xFF0000FFu);

    // Axis of length 10: at x = 10, t = 10 * 0.1f rounds to exactly 1 and
    // takes the last stop; x = 11 is beyond the end.
    auto blackWhite = std::make_shared<LinearGradient>(Color(0xFF000000u), Color(0xFFFFFFFFu), Point<float>(0, 0),
                                                       Point<float>(10, 0));
    SwLinearGradientColorSource ten(std::make_shared<GradientBrush>(blackWhite), Matrix());
    EXPECT_EQ(Pixel(ten, 0, 0), 0xFF000000u);
    EXPECT_EQ(Span(ten, 10, 12, 0), (std::vector<uint32_t>{0xFFFFFFFFu, 0u}));
    // t = 0.5: f = 127, black weighs 128 and white 129: 0x80 in each channel.
    EXPECT_EQ(Pixel(ten, 5, 0), 0xFF808080u);

    // Reversed axis: t runs from 1 at x = 0 to 0 at x = 8. (The angle is pi
    // in float, whose sine is not 0, so other rows drift by about 1e-8 per
    // row; row 0 is exact.)
    SwLinearGradientColorSource reversed(LinearBrush(kBlackBlue, 2, {8, 0}, {0, 0}), Matrix());
    EXPECT_EQ(Span(reversed, 0, 9, 0), std::vector<uint32_t>(kEighths.rbegin(), kEighths.rend()));
    EXPECT_EQ(Pixel(reversed, 9, 0), 0u);
    EXPECT_EQ(Pixel(reversed, -1, 0), 0u);
}

TEST(SwGradientSourceTest, LinearVerticalAndTransformedAxes) {
    // Vertical axis: the angle is pi / 2 in float, cos of it is a tiny
    // negative number and sin rounds to 1, so t is y / 8 plus a drift of a
    // few 1e-9 per column that moves no lookup in rows 1 to 7.
    SwLinearGradientColorSource vertical(LinearBrush(kBlackBlue, 2, {0, 0}, {0, 8}), Matrix());
    EXPECT_EQ(vertical.GetMatrix().m21, 0.125f);
    EXPECT_LT(std::abs(vertical.GetMatrix().m11), 1e-8f);
    EXPECT_NE(vertical.GetMatrix().m11, 0.0f);
    for (int y = 1; y < 8; ++y) EXPECT_EQ(Span(vertical, -20, 21, y), std::vector<uint32_t>(41, kEighths[y])) << y;
    EXPECT_EQ(Pixel(vertical, 0, 0), 0xFF000000u);
    EXPECT_EQ(Pixel(vertical, 0, 8), 0xFF0000FFu);
    EXPECT_EQ(Span(vertical, -5, 5, 9), std::vector<uint32_t>(10, 0u));
    EXPECT_EQ(Span(vertical, -5, 5, -1), std::vector<uint32_t>(10, 0u));

    // A brush transform turning by 90 degrees gives the same vertical axis.
    auto turnedBrush = LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0});
    turnedBrush->SetTransform(Matrix(0, 1, -1, 0, 0, 0));
    SwLinearGradientColorSource turned(turnedBrush, Matrix());
    for (int y = 1; y < 8; ++y) EXPECT_EQ(Span(turned, -3, 4, y), std::vector<uint32_t>(7, kEighths[y])) << y;

    // A scaling transform stretches the axis: (0, 0)-(4, 0) scaled by 2.
    auto scaledBrush = LinearBrush(kBlackBlue, 2, {0, 0}, {4, 0});
    scaledBrush->SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    SwLinearGradientColorSource scaled(scaledBrush, Matrix());
    EXPECT_EQ(Span(scaled, 0, 9, 2), kEighths);

    // A skew moves only the end points; here it leaves them in place, so
    // the lines of equal t stay perpendicular to the axis.
    auto skewedBrush = LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0});
    skewedBrush->SetTransform(Matrix(1, 0, 1, 1, 0, 0));
    SwLinearGradientColorSource skewed(skewedBrush, Matrix());
    EXPECT_EQ(Span(skewed, 0, 9, 5), kEighths);
    EXPECT_EQ(Span(skewed, 0, 9, -5), kEighths);

    // The placement is the translation by the origin of the painted area:
    // brush space (0, 0) lands on surface pixel (-3, -5).
    SwLinearGradientColorSource placed(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}), Matrix(1, 0, 0, 1, 3, 5));
    EXPECT_EQ(placed.GetMatrix().dx, 0.375f);
    EXPECT_EQ(Span(placed, -3, 6, 0), kEighths);
    EXPECT_EQ(Pixel(placed, 6, 0), 0u);
}

TEST(SwGradientSourceTest, LinearStopsAndDegenerateAxis) {
    // Two stops at 0.5, red then blue, between white and black.
    const GradientStop stops[] = {
        {0.0f, 0xFFFFFFFFu}, {0.5f, 0xFFFF0000u}, {0.5f, 0xFF0000FFu}, {1.0f, 0xFF000000u}};
    SwLinearGradientColorSource split(LinearBrush(stops, 4, {0, 0}, {8, 0}), Matrix());
    // t = 0.375: f = trunc(0.25 * 255) = 63; white * 64 gives 0x3F per byte,
    // red * 193 gives 0xC0: 0xFFFF3F3F.
    // t = 0.5: the first stop inserted at 0.5, red.
    // t = 0.625: blue (the last at 0.5) towards black, f = trunc(0.75 * 255) = 191;
    // blue * 192 gives 0xBF0000BF, black * 65 gives 0x40000000.
    EXPECT_EQ(Span(split, 3, 6, 0), (std::vector<uint32_t>{0xFFFF3F3Fu, 0xFFFF0000u, 0xFF0000BFu}));

    // Stops that end at 0.5: above it the lookup is 0, and so is the
    // extended end colour, which is the lookup at 1.
    const GradientStop half[] = {{0.0f, 0xFF000000u}, {0.5f, 0xFF0000FFu}};
    SwLinearGradientColorSource shortStops(LinearBrush(half, 2, {0, 0}, {8, 0}, true, true), Matrix());
    EXPECT_EQ(shortStops.GetEndColor(), 0u);
    EXPECT_EQ(Span(shortStops, -1, 10, 0), (std::vector<uint32_t>{0xFF000000u, 0xFF000000u, 0xFF000040u,
                                                                   0xFF000080u, 0xFF0000C0u, 0xFF0000FFu, 0u, 0u,
                                                                   0u, 0u, 0u}));

    // Start equal to end: nothing is painted, not even extended ends.
    SwLinearGradientColorSource point(LinearBrush(kBlackBlue, 2, {4, 4}, {4, 4}, true, true), Matrix());
    EXPECT_TRUE(point.IsDegenerate());
    EXPECT_EQ(Span(point, -10, 10, 4), std::vector<uint32_t>(20, 0u));

    // Stops inserted after construction show up in the lookup (the sampler
    // shares them), though the end colours were fixed at construction.
    auto gradient = std::make_shared<LinearGradient>(kBlackBlue, 2, Point<float>(0, 0), Point<float>(8, 0));
    gradient->SetExtendEnd(true);
    SwLinearGradientColorSource live(std::make_shared<GradientBrush>(gradient), Matrix());
    gradient->GetGradientStopCollection()->InsertStop(0.5f, 0xFFFF0000u);
    EXPECT_EQ(Pixel(live, 4, 0), 0xFFFF0000u);
    EXPECT_EQ(Pixel(live, 9, 0), 0xFF0000FFu);
}

TEST(SwGradientSourceTest, OpacityAndPremultiplication) {
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(1.0f), 256u);
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(0.5f), 128u);  // 127.5 truncates to 127
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(0.3f), 77u);
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(0.0f), 1u);
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(2.0f), 255u);    // 510 keeps its low byte, 254
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(-0.5f), 130u);   // -127 has the low byte 129
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(1e20f), 1u);
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(std::numeric_limits<float>::quiet_NaN()), 1u);
    EXPECT_EQ(SwGradientColorSource::OpacityWeight(-std::numeric_limits<float>::infinity()), 1u);

    // Both stops 0x80FF8040: the interpolation keeps it at every t, and the
    // premultiplication by alpha + 1 = 129 gives 0x80804020.
    const GradientStop halfAlpha[] = {{0.0f, 0x80FF8040u}, {1.0f, 0x80FF8040u}};
    const struct {
        float opacity;
        uint32_t word;
    } cases[] = {
        {1.0f, 0x80804020u},
        {0.5f, 0x40402010u},  // weight 128
        {2.0f, 0x7F7F3F1Fu},  // weight 255
        {-0.5f, 0x41412010u},  // weight 130
        {0.0f, 0u},           // weight 1: every byte truncates to 0
    };
    for (const auto& c : cases) {
        auto brush = LinearBrush(halfAlpha, 2, {0, 0}, {8, 0}, true, true);
        brush->SetOpacity(c.opacity);
        SwLinearGradientColorSource linear(brush, Matrix());
        EXPECT_EQ(Span(linear, -2, 11, 0), std::vector<uint32_t>(13, c.word)) << c.opacity;
        EXPECT_EQ(linear.GetStartColor(), c.word);
        EXPECT_EQ(linear.GetEndColor(), c.word);

        auto radial = std::make_shared<RadialGradient>(halfAlpha, 2, Point<float>(0, 0), 8.0f);
        radial->SetExtendEnd(true);
        auto radialBrush = std::make_shared<GradientBrush>(radial);
        radialBrush->SetOpacity(c.opacity);
        SwRadialGradientColorSource round(radialBrush, Matrix());
        EXPECT_EQ(Span(round, -2, 11, 0), std::vector<uint32_t>(13, c.word)) << c.opacity;
    }

    // A transparent stop premultiplies to 0 whatever its colour bytes.
    const GradientStop clear[] = {{0.0f, 0x00FFFFFFu}, {1.0f, 0x00FFFFFFu}};
    SwLinearGradientColorSource transparent(LinearBrush(clear, 2, {0, 0}, {8, 0}), Matrix());
    EXPECT_EQ(Span(transparent, 0, 9, 0), std::vector<uint32_t>(9, 0u));
}

TEST(SwGradientSourceTest, RadialConcentric) {
    // Start radius 0, end radius 8, centre (0, 0): u = p / 8, A = -1, B = 0,
    // and the chosen root is the distance over 8.
    SwRadialGradientColorSource growing(RadialBrush({0, 0}, 0, {0, 0}, 8), Matrix());
    std::vector<uint32_t> expected = kEighths;
    expected.push_back(0u);
    EXPECT_EQ(Span(growing, 0, 10, 0), expected);
    EXPECT_EQ(Span(growing, -9, 1, 0), std::vector<uint32_t>(expected.rbegin(), expected.rend()));
    // Row 4: distance 5 at x = 3 gives t = 0.625 exactly; sqrt(20) / 8 =
    // 0.559 gives f = 112 (blue * 144: 0x8F); sqrt(17) / 8 = 0.515 gives
    // f = 123 (blue * 133: 0x84).
    EXPECT_EQ(Span(growing, -3, 4, 4), (std::vector<uint32_t>{0xFF0000A0u, 0xFF00008Fu, 0xFF000084u, 0xFF000080u,
                                                              0xFF000084u, 0xFF00008Fu, 0xFF0000A0u}));
    EXPECT_EQ(Pixel(growing, 4, -3), 0xFF0000A0u);
    EXPECT_EQ(Pixel(growing, 0, -8), 0xFF0000FFu);

    // Beyond the end circle the end colour; the start colour is never reached.
    SwRadialGradientColorSource extended(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true), Matrix());
    EXPECT_EQ(Pixel(extended, 9, 0), 0xFF0000FFu);
    EXPECT_EQ(Pixel(extended, -30, 30), 0xFF0000FFu);
    EXPECT_EQ(Pixel(extended, 0, 0), 0xFF000000u);

    // Radius 10 from the one-colour constructor: at distance 5, t = 0.5; at
    // distance 20 the roots are -2 and 2, so t = 2 and the end colour.
    auto ten = std::make_shared<RadialGradient>(Color(0xFF000000u), Color(0xFF0000FFu), Point<float>(0, 0), 10.0f);
    SwRadialGradientColorSource tenSource(std::make_shared<GradientBrush>(ten), Matrix());
    EXPECT_EQ(Pixel(tenSource, 5, 0), 0xFF000080u);
    EXPECT_EQ(Pixel(tenSource, 20, 0), 0u);
    ten->SetExtendEnd(true);
    SwRadialGradientColorSource tenExtended(std::make_shared<GradientBrush>(ten), Matrix());
    EXPECT_EQ(Pixel(tenExtended, 20, 0), 0xFF0000FFu);

    // Shrinking circles, radius 8 to 0: t = 1 - d / 8 is the first root
    // while it lies in 0..1. Outside the start circle that root is
    // negative, so the second, 1 + d / 8, is taken: the end colour, not the
    // start colour, paints the outside.
    SwRadialGradientColorSource shrinking(RadialBrush({0, 0}, 8, {0, 0}, 0, true, false), Matrix());
    EXPECT_EQ(Span(shrinking, 0, 9, 0), std::vector<uint32_t>(kEighths.rbegin(), kEighths.rend()));
    EXPECT_EQ(Pixel(shrinking, 12, 0), 0u);
    SwRadialGradientColorSource shrinkingEnd(RadialBrush({0, 0}, 8, {0, 0}, 0, false, true), Matrix());
    EXPECT_EQ(Pixel(shrinkingEnd, 12, 0), 0xFF0000FFu);
    EXPECT_EQ(Pixel(shrinkingEnd, -9, -9), 0xFF0000FFu);
}

TEST(SwGradientSourceTest, RadialNestedCircles) {
    // Start circle a point at (2, 0), end circle radius 8 at the origin:
    // a = 0.25, A = -0.9375. Circle t has centre (2 - 2t, 0), radius 8t.
    SwRadialGradientColorSource nested(RadialBrush({2, 0}, 0, {0, 0}, 8, true, false), Matrix());
    const std::vector<uint32_t> row = Span(nested, -1, 11, 0);
    // (-1, 0): t = 0.3, f = trunc(178.5) = 178: black * 179 + blue * 78.
    EXPECT_EQ(row[0], 0xFF00004Du);
    // (2, 0): the focus, D = 0 and t = 0.
    EXPECT_EQ(row[3], 0xFF000000u);
    // (5, 0): t = 0.5 within float rounding, f = 127.
    EXPECT_EQ(row[6], 0xFF000080u);
    // (10, 0): the roots are -0.8 and 4/3: the end colour, 0 unextended.
    EXPECT_EQ(row[11], 0u);
    // (0, 4): 60t^2 + 8t - 20 = 0, t = 0.5145, f = 123: black * 124 + blue * 133.
    EXPECT_EQ(Pixel(nested, 0, 4), 0xFF000084u);
    // Every point has two roots here: no pixel is left without a circle.
    for (uint32_t word : Span(nested, -40, 40, 25)) EXPECT_EQ(word, 0u);
    SwRadialGradientColorSource nestedEnd(RadialBrush({2, 0}, 0, {0, 0}, 8, false, true), Matrix());
    for (uint32_t word : Span(nestedEnd, -40, 40, 25)) EXPECT_EQ(word, 0xFF0000FFu);
}

TEST(SwGradientSourceTest, RadialSeparateCircles) {
    // Radius 2 at the origin to radius 4 at (16, 0): dr = 2, a = -8, A = 63.
    // The cone has its apex at (-16, 0), where the radius is 0.
    SwRadialGradientColorSource separate(RadialBrush({0, 0}, 2, {16, 0}, 4, true, true), Matrix());
    const std::vector<uint32_t> row = Span(separate, -40, 25, 0);
    auto at = [&](int x) { return row[static_cast<size_t>(x + 40)]; };
    // (-40, 0): behind the apex both roots are below 0 (-2.33, -2.71); the
    // sign of the radius does not matter, so the start colour.
    EXPECT_EQ(at(-40), 0xFF000000u);
    // (-16, 0): the apex, D exactly 0 and t = -1.
    EXPECT_EQ(at(-16), 0xFF000000u);
    // (-5, 0): roots -0.21 and -0.39, the start colour.
    EXPECT_EQ(at(-5), 0xFF000000u);
    // (-2, 0): the left edge of the start circle, t = 0 exactly.
    EXPECT_EQ(at(-2), 0xFF000000u);
    // (2, 0): the roots are 2/7 and 0; the first is in range, f = 182:
    // black * 183 + blue * 74.
    EXPECT_EQ(at(2), 0xFF000049u);
    // (10, 0): t = 6/7, f = 36: black * 37 + blue * 220.
    EXPECT_EQ(at(10), 0xFF0000DBu);
    // (24, 0): roots 1.86 and 1.22, the end colour.
    EXPECT_EQ(at(24), 0xFF0000FFu);

    // Outside the cone D is negative: 0, whatever the extend flags.
    EXPECT_EQ(Pixel(separate, 0, 10), 0u);
    EXPECT_EQ(Pixel(separate, -16, 1), 0u);
    EXPECT_EQ(Span(separate, -40, 40, 40), std::vector<uint32_t>(80, 0u));

    // Unextended, only the inside of the cone between the circles paints.
    SwRadialGradientColorSource bare(RadialBrush({0, 0}, 2, {16, 0}, 4), Matrix());
    EXPECT_EQ(Pixel(bare, -5, 0), 0u);
    EXPECT_EQ(Pixel(bare, 24, 0), 0u);
    EXPECT_EQ(Pixel(bare, 10, 0), 0xFF0000DBu);
}

TEST(SwGradientSourceTest, RadialDegenerateCircles) {
    // Radius 0 to 8 with the end centre at distance 8: A is exactly 0 and
    // t = -C / B.
    SwRadialGradientColorSource touching(RadialBrush({0, 0}, 0, {8, 0}, 8, true, false), Matrix());
    EXPECT_EQ(Pixel(touching, 4, 0), 0xFF000040u);   // t = 0.25
    EXPECT_EQ(Pixel(touching, 8, 4), 0xFF0000A0u);   // t = 0.625
    EXPECT_EQ(Pixel(touching, 16, 0), 0xFF0000FFu); // t = 1
    EXPECT_EQ(Pixel(touching, 20, 0), 0u);          // t = 1.25, end not extended
    EXPECT_EQ(Pixel(touching, -4, 0), 0xFF000000u); // t = -0.25
    // B = 0 at the start centre gives no finite t; the span is still written.
    Span(touching, -2, 3, 0);

    // Equal radii: nothing, whatever the centres and flags.
    for (const auto& brush : {RadialBrush({0, 0}, 4, {10, 0}, 4, true, true),
                              RadialBrush({0, 0}, 4, {0, 0}, 4, true, true),
                              RadialBrush({3, 3}, 0, {3, 3}, 0, true, true)}) {
        SwRadialGradientColorSource source(brush, Matrix());
        EXPECT_EQ(source.GetFiller().GetRadiusDelta(), 0.0f);
        EXPECT_EQ(Span(source, -20, 20, 3), std::vector<uint32_t>(40, 0u));
    }

    // A zero end radius with a non-zero start radius still paints.
    SwRadialGradientColorSource toPoint(RadialBrush({0, 0}, 8, {0, 0}, 0), Matrix());
    EXPECT_EQ(Pixel(toPoint, 4, 0), 0xFF000080u);
}

TEST(SwGradientSourceTest, RadialTransformAndPlacement) {
    // Radius 4 under a scaling by 2 is the radius 8 gradient.
    auto scaledBrush = RadialBrush({0, 0}, 0, {0, 0}, 4);
    scaledBrush->SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    SwRadialGradientColorSource scaled(scaledBrush, Matrix());
    EXPECT_EQ(scaled.GetFiller().GetMatrix().m11, 0.125f);
    EXPECT_EQ(Span(scaled, 0, 9, 0), kEighths);

    // Placement by (3, 4): the centre lands on surface pixel (-3, -4).
    SwRadialGradientColorSource placed(RadialBrush({0, 0}, 0, {0, 0}, 8), Matrix(1, 0, 0, 1, 3, 4));
    EXPECT_EQ(Span(placed, -3, 6, -4), kEighths);
    EXPECT_EQ(Pixel(placed, 0, 0), 0xFF0000A0u);  // distance 5

    // Brush translation and placement together.
    auto movedBrush = RadialBrush({0, 0}, 0, {0, 0}, 8);
    movedBrush->SetTransform(Matrix(1, 0, 0, 1, 10, 20));
    SwRadialGradientColorSource moved(movedBrush, Matrix(1, 0, 0, 1, 3, 4));
    EXPECT_EQ(Span(moved, 7, 16, 16), kEighths);

    // The filler can be driven directly with a gradient-to-surface matrix.
    auto gradient = std::make_shared<RadialGradient>(kBlackBlue, 2, Point<float>(0, 0), 8.0f);
    RadialGradientFiller filler(gradient, Matrix(1, 0, 0, 1, 100, 0), 1.0f);
    std::vector<uint32_t> words(9);
    filler.FillSpan(100, 109, 0, reinterpret_cast<unsigned char*>(words.data()));
    EXPECT_EQ(words, kEighths);
}

TEST(SwGradientSourceTest, SingularAndNaNTransformsStaySafe) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Matrix singular(0, 0, 0, 0, 0, 0);
    const Matrix flat(1, 2, 2, 4, 5, 5);
    const Matrix notANumber(nan, 0, 0, nan, nan, 0);
    for (const Matrix& m : {singular, flat, notANumber}) {
        // As the brush transform and as the placement; every word is written
        // and nothing around the span.
        auto linearBrush = LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true);
        linearBrush->SetTransform(m);
        SwLinearGradientColorSource linear(linearBrush, Matrix());
        Span(linear, -5, 5, 0);
        SwLinearGradientColorSource linearPlaced(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true), m);
        Span(linearPlaced, -5, 5, 0);

        // The radial equation has no real root anywhere then: all 0.
        auto radialBrush = RadialBrush({1, 1}, 1, {4, 4}, 6, true, true);
        radialBrush->SetTransform(m);
        SwRadialGradientColorSource radial(radialBrush, Matrix());
        EXPECT_EQ(Span(radial, -5, 5, 0), std::vector<uint32_t>(10, 0u));
        SwRadialGradientColorSource radialPlaced(RadialBrush({1, 1}, 1, {4, 4}, 6, true, true), m);
        EXPECT_EQ(Span(radialPlaced, -5, 5, 0), std::vector<uint32_t>(10, 0u));
    }

    // NaN points and radii in the gradient itself.
    SwLinearGradientColorSource nanAxis(LinearBrush(kBlackBlue, 2, {nan, 0}, {8, 0}, true, true), Matrix());
    Span(nanAxis, -5, 5, 0);
    SwRadialGradientColorSource nanRadius(RadialBrush({0, 0}, nan, {0, 0}, 8, true, true), Matrix());
    Span(nanRadius, -5, 5, 0);

    // Coordinates far from the origin.
    SwLinearGradientColorSource far(LinearBrush(kBlackBlue, 2, {0, 0}, {8, 0}, true, true), Matrix());
    EXPECT_EQ(Span(far, 2147483640, 2147483647, -2147483647 - 1), std::vector<uint32_t>(7, 0xFF0000FFu));
    SwRadialGradientColorSource farRadial(RadialBrush({0, 0}, 0, {0, 0}, 8, true, true), Matrix());
    EXPECT_EQ(Span(farRadial, -2147483647 - 1, -2147483647 + 6, 2147483647), std::vector<uint32_t>(7, 0xFF0000FFu));

    // A brush without a usable gradient paints nothing.
    SwLinearGradientColorSource noGradient(std::make_shared<GradientBrush>(nullptr), Matrix());
    EXPECT_EQ(Span(noGradient, 0, 4, 0), std::vector<uint32_t>(4, 0u));
    SwRadialGradientColorSource noRadial(std::make_shared<GradientBrush>(nullptr), Matrix());
    EXPECT_EQ(Span(noRadial, 0, 4, 0), std::vector<uint32_t>(4, 0u));
    SwLinearGradientColorSource noBrush(nullptr, Matrix());
    EXPECT_EQ(Span(noBrush, 0, 4, 0), std::vector<uint32_t>(4, 0u));
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

    auto direct = SwGradientColorSource::Factory(RadialBrush({0, 0}, 0, {0, 0}, 8), bounds, Matrix());
    ASSERT_NE(dynamic_cast<SwRadialGradientColorSource*>(direct.get()), nullptr);

    const TriMeshGradient::Vertex vertices[] = {{{0, 0}, 0xFFFF0000u}, {{8, 0}, 0xFF00FF00u}, {{0, 8}, 0xFF0000FFu}};
    auto mesh = std::make_shared<GradientBrush>(std::make_shared<TriMeshGradient>(vertices, 3));
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(mesh, bounds, Matrix()), "Factory", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(
        SwColorSource::CreateFromBrush(std::make_shared<GradientBrush>(std::make_shared<OddGradient>()), bounds,
                                       Matrix()),
        "Factory", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(
        SwColorSource::CreateFromBrush(std::make_shared<GradientBrush>(std::make_shared<Impostor>()), bounds,
                                       Matrix()),
        "Factory", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(std::make_shared<GradientBrush>(nullptr), bounds, Matrix()),
                            "Factory", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwGradientColorSource::Factory(nullptr, bounds, Matrix()), "Factory", "Not implemented");
}

namespace {

std::shared_ptr<GradientStopCollection> RandomStops(std::mt19937& random, LinearGradientBase& gradient) {
    auto stops = gradient.GetGradientStopCollection();
    const int count = 1 + static_cast<int>(random() % 5);
    for (int i = 0; i < count; ++i) {
        const float offset = (random() % 4 == 0) ? static_cast<float>(random() % 3) * 0.5f
                                                  : std::uniform_real_distribution<float>(-0.1f, 1.1f)(random);
        stops->InsertStop(offset, static_cast<unsigned int>(random()));
    }
    return stops;
}

}  // namespace

TEST(SwGradientSourceTest, SpansMatchAPixelByPixelReferenceOnRandomGradients) {
    std::mt19937 random(4242);
    std::uniform_real_distribution<float> coordinate(-40.0f, 80.0f);
    std::uniform_real_distribution<float> radius(0.0f, 60.0f);
    for (int round = 0; round < 150; ++round) {
        const float opacity = (round % 3 == 0) ? 1.0f : std::uniform_real_distribution<float>(0.0f, 1.0f)(random);
        const int x0 = static_cast<int>(random() % 60) - 20;
        const int x1 = x0 + static_cast<int>(random() % 140);
        const int y = static_cast<int>(random() % 80) - 20;

        // Linear: t starts at the pixel's parameter and is carried by addition.
        {
            auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(coordinate(random), coordinate(random)),
                                                             Point<float>(coordinate(random), coordinate(random)));
            if (round % 4 == 1) gradient->SetEndPoint(Point<float>(gradient->GetStartPoint().x + 0.01f, 500.0f));
            RandomStops(random, *gradient);
            gradient->SetExtendStart(random() % 2 == 0);
            gradient->SetExtendEnd(random() % 2 == 0);
            auto brush = std::make_shared<GradientBrush>(gradient);
            brush->SetOpacity(opacity);
            SwLinearGradientColorSource source(brush, Matrix(1, 0, 0, 1, 0.5f, -2.0f));
            GradientSampler sampler(gradient);
            const Matrix& m = source.GetMatrix();
            float t = (static_cast<float>(x0) * m.m11 + static_cast<float>(y) * m.m21) + m.dx;
            const std::vector<uint32_t> span = Span(source, x0, x1, y);
            for (int x = x0; x < x1; ++x, t += m.m11) {
                uint32_t expected = source.GetEndColor();
                if (t < 0.0f)
                    expected = source.GetStartColor();
                else if (!(t > 1.0f))
                    expected = SwGradientColorSource::ApplyWeight(sampler.GetColor(t), source.GetOpacityWeight());
                ASSERT_EQ(span[static_cast<size_t>(x - x0)], expected) << "linear round " << round << " x " << x;
            }
        }

        // Radial: the two-circle equation solved per pixel, as written out.
        {
            auto gradient = std::make_shared<RadialGradient>(nullptr, 0, Point<float>(coordinate(random), coordinate(random)),
                                                             radius(random),
                                                             Point<float>(coordinate(random), coordinate(random)),
                                                             radius(random));
            if (round % 4 == 2) gradient->SetEndPoint(gradient->GetStartPoint());
            RandomStops(random, *gradient);
            gradient->SetExtendStart(random() % 2 == 0);
            gradient->SetExtendEnd(random() % 2 == 0);
            RadialGradientFiller filler(gradient, Matrix(1.5f, 0.25f, -0.5f, 1.0f, 3.0f, 1.0f), opacity);
            GradientSampler sampler(gradient);

            const float dr = gradient->GetEndRadius() - gradient->GetStartRadius();
            const float k = 1.0f / dr;
            const Point<float> c0 = gradient->GetStartPoint();
            const Point<float> c1 = gradient->GetEndPoint();
            const float a = (c0.x - c1.x) * k;
            const float b = (c0.y - c1.y) * k;
            const float c = gradient->GetStartRadius() * k;
            const float cSquared = c * c;
            const float q = b * b + a * a - 1.0f;
            const float fourA = 4.0f * q;
            const float inverseTwoA = 1.0f / (q + q);
            const Matrix& m = filler.GetMatrix();
            const float bStep = 2.0f * (a * m.m11 + b * m.m12);
            float ux = (m.m21 * static_cast<float>(y) + m.m11 * static_cast<float>(x0)) + m.dx;
            float uy = (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy;
            float bb = 2.0f * ((a * ux + b * uy) - c);

            std::vector<uint32_t> span(static_cast<size_t>(x1 - x0) + 1, kGuard);
            filler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(span.data()));
            EXPECT_EQ(span.back(), kGuard);
            for (int x = x0; x < x1; ++x, bb += bStep, ux += m.m11, uy += m.m12) {
                const float cc = uy * uy + ux * ux - cSquared;
                uint32_t expected = 0;
                float t1 = 0.0f, t2 = 0.0f;
                bool covered = true;
                if (fourA == 0.0f) {
                    t1 = t2 = -cc / bb;
                } else {
                    const float d = bb * bb - fourA * cc;
                    if (d > 0.0f) {
                        const double r = std::sqrt(static_cast<double>(d));
                        t1 = static_cast<float>((-static_cast<double>(bb) + r) * static_cast<double>(inverseTwoA));
                        t2 = static_cast<float>((-static_cast<double>(bb) - r) * static_cast<double>(inverseTwoA));
                    } else if (d == 0.0f) {
                        t1 = t2 = -(inverseTwoA * bb);
                    } else {
                        covered = false;
                    }
                }
                if (covered) {
                    const float t = (t1 >= 0.0f && t1 <= 1.0f) ? t1 : t2;
                    if (t < 0.0f)
                        expected = filler.GetStartColor();
                    else if (t > 1.0f)
                        expected = filler.GetEndColor();
                    else
                        expected = SwGradientColorSource::ApplyWeight(sampler.GetColor(t), filler.GetOpacityWeight());
                }
                ASSERT_EQ(span[static_cast<size_t>(x - x0)], expected) << "radial round " << round << " x " << x;
            }
        }
    }
}
