#include "sw/SwBlend.h"

#include <gtest/gtest.h>

#include <array>

using namespace Graphics;

namespace {

// A pixel in memory order: blue, green, red, alpha.
typedef std::array<unsigned char, 4> Pixel;

Pixel Px(int r, int g, int b, int a = 255) {
    return Pixel{{static_cast<unsigned char>(b), static_cast<unsigned char>(g), static_cast<unsigned char>(r),
                  static_cast<unsigned char>(a)}};
}

// Runs a blend function; the result's alpha byte starts at a marker that
// must survive.
Pixel Apply(SwBlend::BlendFunc f, const Pixel& backdrop, const Pixel& source) {
    Pixel r{{0xEE, 0xEE, 0xEE, 0x5A}};
    f(backdrop.data(), source.data(), r.data());
    EXPECT_EQ(0x5A, r[3]) << "the alpha byte of the result is not the function's";
    return r;
}

}  // namespace

TEST(SwBlendTest, EveryModeByHand) {
    // Each row of the separable modes holds three hand-worked channel pairs,
    // red, green and blue, so that a mix-up of channels shows as well. The
    // functions are taken from the mode table.
    struct Case {
        BlendMode::Enum mode;
        int b[3], s[3], r[3];  // backdrop, source, result as red, green, blue
    };
    const Case cases[] = {
        {BlendMode::Normal, {200, 100, 50}, {1, 2, 3}, {1, 2, 3}},
        // cs * cb / 255: 20000 / 255 = 78.4.
        {BlendMode::Multiply, {200, 200, 200}, {100, 255, 0}, {78, 200, 0}},
        // cs + cb - cs * cb / 255: 300 - 78.
        {BlendMode::Screen, {200, 255, 0}, {100, 3, 0}, {222, 255, 0}},
        // Switching on the backdrop at 128. cb 200: v = 145, 245 - 14500 /
        // 255 (56) = 189; cb 127 multiplies, 2 * 127 * 100 / 255 = 99.6;
        // cb 128: v = 1, 101 - 0.
        {BlendMode::Overlay, {200, 127, 128}, {100, 100, 100}, {189, 99, 101}},
        // The same with the roles exchanged.
        {BlendMode::HardLight, {100, 100, 100}, {200, 127, 128}, {189, 99, 101}},
        {BlendMode::Darken, {30, 40, 7}, {40, 30, 7}, {30, 30, 7}},
        {BlendMode::Lighten, {30, 40, 7}, {40, 30, 7}, {40, 40, 7}},
        // q = (255 - cb) * 255 / cs: 55 * 255 / 100 = 140 -> 115; 129 * 255 /
        // 128 = 256.99, just past 255 -> 0. A source of 0 gives 0, even on
        // white.
        {BlendMode::ColorBurn, {200, 126, 255}, {100, 128, 0}, {115, 0, 0}},
        {BlendMode::ColorBurn, {0, 255, 200}, {0, 1, 255}, {0, 255, 200}},
        // q = cb * 255 / (255 - cs): 50 * 255 / 155 = 82.3; 100 * 255 / 55 =
        // 463 -> 255. A source of 255 gives 255, even on black.
        {BlendMode::ColorDodge, {50, 100, 0}, {100, 200, 255}, {82, 255, 255}},
        {BlendMode::ColorDodge, {0, 30, 0}, {254, 0, 0}, {0, 30, 0}},
        {BlendMode::Difference, {10, 250, 0}, {250, 10, 0}, {240, 240, 0}},
        // 300 - 40000 / 255 (156) = 144.
        {BlendMode::Exclusion, {200, 255, 0}, {100, 255, 0}, {144, 0, 0}},
        // Below 128: cb - (255 - 2cs) * cb * (255 - cb) / 65025. cs 64:
        // 127 * 100 * 155 / 65025 = 30.3 -> 70; cs 0: 255 * 39 * 216 / 65025
        // = 33.03 -> 6; cs 127: 100 * 155 / 65025 = 0.2 -> 100.
        {BlendMode::SoftLight, {100, 39, 100}, {64, 0, 127}, {70, 6, 100}},
        // From 128: (D(cb) - cb) * (2cs - 255) / 255 + cb. cb 100 (D 159):
        // 59 * 145 / 255 = 33.5 -> 133; cb 10 (D 35, the cubic below a
        // quarter): 25 * 145 / 255 = 14.2 -> 24; cs 128 leaves cb.
        {BlendMode::SoftLight, {100, 10, 100}, {200, 200, 128}, {133, 24, 100}},
        // cs 255, cb 200: D(200) = 225.
        {BlendMode::SoftLight, {64, 200, 255}, {128, 255, 0}, {64, 225, 255}},
        // Hue: the source's hue at the backdrop's saturation (160 / 255) and
        // luminosity (111.6 / 255). SetSat gives (0.1107, 30 / 255, 0.6275)
        // with Lum 0.1717; adding 0.2660 gives (0.3767, 0.3837, 0.8935).
        {BlendMode::Hue, {200, 80, 40}, {60, 30, 200}, {96, 97, 227}},
        // The backdrop at the source's saturation 170 / 255: red 0.6667,
        // green (80 - 40) / 160 * 0.6667, blue 40 / 255 kept; Lum 0.3156, so
        // d = 0.1221: (0.7887, 0.2887, 0.2789).
        {BlendMode::Saturation, {200, 80, 40}, {60, 30, 200}, {201, 73, 71}},
        // The source moved to the backdrop's luminosity, d = 0.4376 - 0.2263.
        {BlendMode::Color, {200, 80, 40}, {60, 30, 200}, {113, 83, 253}},
        // The backdrop moved to 0.2263 (d = -0.2114) is (0.5729, 0.1024,
        // -0.0545): below 0, so every channel is pulled toward m by m / (m -
        // n) = 0.8059: 0.5056, 0.1264, 0.
        {BlendMode::Luminosity, {200, 80, 40}, {60, 30, 200}, {128, 32, 0}},
        // Grey on grey: SetSat zeroes max (blue) and mid (green), keeps red at
        // 50 / 255; adding d = 0.3333 gives 0.5294, 0.3333, 0.3333.
        {BlendMode::Hue, {100, 100, 100}, {50, 50, 50}, {135, 85, 85}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode << " backdrop " << c.b[0] << "," << c.b[1] << "," << c.b[2]);
        EXPECT_EQ(Px(c.r[0], c.r[1], c.r[2], 0x5A),
                  Apply(SwBlend::GetBlendFunc(c.mode), Px(c.b[0], c.b[1], c.b[2], 17), Px(c.s[0], c.s[1], c.s[2], 99)));
    }

    // Luminosity of light grey under red: red would go to 1.451, so all are
    // pulled toward m = 230 / 255: green and blue 0.6667 -> 0.8599. The
    // largest lands on 1 give or take the last bit of a float.
    const Pixel r = Apply(SwBlend::Luminosity, Px(200, 0, 0), Px(230, 230, 230));
    EXPECT_GE(r[2], 254);
    EXPECT_EQ(219, r[1]);
    EXPECT_EQ(219, r[0]);

    // Compatible is Normal under another name; outside the table everything
    // blends as Normal.
    EXPECT_EQ(Px(1, 2, 3, 0x5A), Apply(SwBlend::Compatible, Px(200, 100, 50), Px(1, 2, 3)));
    for (int mode : {16, 1000, -1}) EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(static_cast<BlendMode::Enum>(mode)));
    EXPECT_EQ(&SwBlend::Darken, SwBlend(BlendMode::Darken).GetFunction());
}

TEST(SwBlendTest, SoftLightCurveAndHelpers) {
    // Up to a quarter the cubic ((16x - 12)x + 4) * 255 * x in float, above
    // it sqrt(x) * 255, both truncated: 10 -> 35.5, 63 -> 126.x, 64 ->
    // 127.75, 200 -> 225.8.
    const int d[][2] = {{0, 0}, {10, 35}, {63, 126}, {64, 127}, {100, 159}, {200, 225}, {255, 255}};
    for (const auto& c : d) EXPECT_EQ(c[1], SwBlend::D(static_cast<unsigned char>(c[0]))) << c[0];

    // Storing: above 1 is 255, below 0 (and NaN) is 0, else c * 255 truncated.
    Pixel p = Px(9, 9, 9, 0x77);
    SwBlend::ColorToRGBColor(Color(1.5f, -0.25f, 0.5f, 0.0f), p.data());
    EXPECT_EQ(Px(255, 0, 127, 0x77), p);

    // The fixed comparisons of GetPosition decide which of two equal
    // channels counts as the middle one: 0 red, 1 green, 2 blue for the
    // largest, middle and smallest.
    struct Case {
        Color c;
        int mx, mid, mn;
    };
    const Case cases[] = {
        {Color(3, 2, 1, 0), 0, 1, 2}, {Color(3, 1, 2, 0), 0, 2, 1}, {Color(2, 1, 3, 0), 2, 0, 1},
        {Color(1, 3, 2, 0), 1, 2, 0}, {Color(2, 3, 1, 0), 1, 0, 2}, {Color(1, 2, 3, 0), 2, 1, 0},
        {Color(1, 3, 1, 0), 1, 0, 2},  // r = b under a larger g: r is the middle one
        {Color(3, 3, 1, 0), 1, 0, 2},  // r = g above b: g is the largest
        {Color(3, 1, 3, 0), 2, 0, 1},  // r > g, r = b: blue is the largest
        {Color(1, 1, 1, 0), 2, 1, 0},  // all equal: blue, green, red
    };
    for (const Case& k : cases) {
        Color col = k.c;
        float* pos[3];
        SwBlend::GetPosition(col, pos);
        float* channels[3] = {&col.r, &col.g, &col.b};
        EXPECT_EQ(channels[k.mx], pos[0]);
        EXPECT_EQ(channels[k.mid], pos[1]);
        EXPECT_EQ(channels[k.mn], pos[2]);
    }
}
