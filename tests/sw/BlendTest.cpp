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

// One channel of a separable function, the same value in all three.
int Channel(SwBlend::BlendFunc f, int cb, int cs) {
    const Pixel r = Apply(f, Px(cb, cb, cb, 17), Px(cs, cs, cs, 99));
    EXPECT_EQ(r[0], r[1]);
    EXPECT_EQ(r[1], r[2]);
    return r[2];
}

}  // namespace

TEST(SwBlendTest, TableAndModes) {
    EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(BlendMode::Normal));
    EXPECT_EQ(&SwBlend::Multiply, SwBlend::GetBlendFunc(BlendMode::Multiply));
    EXPECT_EQ(&SwBlend::Screen, SwBlend::GetBlendFunc(BlendMode::Screen));
    EXPECT_EQ(&SwBlend::Overlay, SwBlend::GetBlendFunc(BlendMode::Overlay));
    EXPECT_EQ(&SwBlend::Darken, SwBlend::GetBlendFunc(BlendMode::Darken));
    EXPECT_EQ(&SwBlend::Lighten, SwBlend::GetBlendFunc(BlendMode::Lighten));
    EXPECT_EQ(&SwBlend::ColorBurn, SwBlend::GetBlendFunc(BlendMode::ColorBurn));
    EXPECT_EQ(&SwBlend::ColorDodge, SwBlend::GetBlendFunc(BlendMode::ColorDodge));
    EXPECT_EQ(&SwBlend::HardLight, SwBlend::GetBlendFunc(BlendMode::HardLight));
    EXPECT_EQ(&SwBlend::SoftLight, SwBlend::GetBlendFunc(BlendMode::SoftLight));
    EXPECT_EQ(&SwBlend::Difference, SwBlend::GetBlendFunc(BlendMode::Difference));
    EXPECT_EQ(&SwBlend::Exclusion, SwBlend::GetBlendFunc(BlendMode::Exclusion));
    EXPECT_EQ(&SwBlend::Hue, SwBlend::GetBlendFunc(BlendMode::Hue));
    EXPECT_EQ(&SwBlend::Saturation, SwBlend::GetBlendFunc(BlendMode::Saturation));
    EXPECT_EQ(&SwBlend::ColorBlend, SwBlend::GetBlendFunc(BlendMode::Color));
    EXPECT_EQ(&SwBlend::Luminosity, SwBlend::GetBlendFunc(BlendMode::Luminosity));
    // Outside the table everything blends as Normal.
    EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(static_cast<BlendMode::Enum>(16)));
    EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(static_cast<BlendMode::Enum>(1000)));
    EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(static_cast<BlendMode::Enum>(-1)));

    SwBlend blend(BlendMode::Screen);
    EXPECT_EQ(&SwBlend::Screen, blend.GetFunction());
    blend.SetMode(BlendMode::Darken);
    EXPECT_EQ(&SwBlend::Darken, blend.GetFunction());
    blend.SetMode(static_cast<BlendMode::Enum>(17));
    EXPECT_EQ(&SwBlend::Normal, blend.GetFunction());
}

TEST(SwBlendTest, NormalAndCompatibleTakeTheSource) {
    EXPECT_EQ(Px(1, 2, 3, 0x5A), Apply(SwBlend::Normal, Px(200, 100, 50), Px(1, 2, 3)));
    EXPECT_EQ(Px(1, 2, 3, 0x5A), Apply(SwBlend::Compatible, Px(200, 100, 50), Px(1, 2, 3)));
}

TEST(SwBlendTest, SeparableModesPerChannel) {
    // Multiply: cs * cb / 255. 100 * 200 = 20000, / 255 = 78.4.
    EXPECT_EQ(78, Channel(SwBlend::Multiply, 200, 100));
    EXPECT_EQ(200, Channel(SwBlend::Multiply, 200, 255));
    EXPECT_EQ(0, Channel(SwBlend::Multiply, 200, 0));
    // Screen: 300 - 78.
    EXPECT_EQ(222, Channel(SwBlend::Screen, 200, 100));
    EXPECT_EQ(255, Channel(SwBlend::Screen, 255, 3));

    // Overlay switches on the backdrop. cb 200: v = 145, 245 - 14500 / 255
    // (56) = 189. cb 127 multiplies: 2 * 127 * 100 / 255 = 99.6. cb 128:
    // v = 1, 101 - 0.
    EXPECT_EQ(189, Channel(SwBlend::Overlay, 200, 100));
    EXPECT_EQ(99, Channel(SwBlend::Overlay, 127, 100));
    EXPECT_EQ(101, Channel(SwBlend::Overlay, 128, 100));
    // HardLight is the same with the roles exchanged.
    EXPECT_EQ(189, Channel(SwBlend::HardLight, 100, 200));
    EXPECT_EQ(99, Channel(SwBlend::HardLight, 100, 127));
    EXPECT_EQ(101, Channel(SwBlend::HardLight, 100, 128));
    EXPECT_EQ(255, Channel(SwBlend::HardLight, 0, 255));

    EXPECT_EQ(30, Channel(SwBlend::Darken, 30, 40));
    EXPECT_EQ(30, Channel(SwBlend::Darken, 40, 30));
    EXPECT_EQ(40, Channel(SwBlend::Lighten, 30, 40));
    EXPECT_EQ(40, Channel(SwBlend::Lighten, 40, 30));

    // ColorBurn: q = (255 - cb) * 255 / cs. 55 * 255 / 100 = 140 -> 115;
    // 205 * 255 / 100 = 522 -> 0. A source of 0 gives 0, even on white.
    EXPECT_EQ(115, Channel(SwBlend::ColorBurn, 200, 100));
    EXPECT_EQ(0, Channel(SwBlend::ColorBurn, 50, 100));
    EXPECT_EQ(0, Channel(SwBlend::ColorBurn, 255, 0));
    EXPECT_EQ(0, Channel(SwBlend::ColorBurn, 0, 0));
    EXPECT_EQ(255, Channel(SwBlend::ColorBurn, 255, 1));
    // ColorDodge: q = cb * 255 / (255 - cs). 50 * 255 / 155 = 82.3;
    // 100 * 255 / 55 = 463 -> 255. A source of 255 gives 255, even on black.
    EXPECT_EQ(82, Channel(SwBlend::ColorDodge, 50, 100));
    EXPECT_EQ(255, Channel(SwBlend::ColorDodge, 100, 200));
    EXPECT_EQ(255, Channel(SwBlend::ColorDodge, 0, 255));
    EXPECT_EQ(0, Channel(SwBlend::ColorDodge, 0, 254));

    EXPECT_EQ(240, Channel(SwBlend::Difference, 10, 250));
    EXPECT_EQ(240, Channel(SwBlend::Difference, 250, 10));
    // Exclusion: 300 - 40000 / 255 (156) = 144.
    EXPECT_EQ(144, Channel(SwBlend::Exclusion, 200, 100));
    EXPECT_EQ(0, Channel(SwBlend::Exclusion, 255, 255));
}

TEST(SwBlendTest, SeparableModesKeepChannelsApart) {
    // Red, green and blue each take their own pair.
    EXPECT_EQ(Px(78, 240, 0, 0x5A), Apply(SwBlend::Multiply, Px(200, 255, 9), Px(100, 240, 0)));
    EXPECT_EQ(Px(240, 30, 82, 0x5A), Apply(SwBlend::Difference, Px(10, 40, 100), Px(250, 10, 18)));
    EXPECT_EQ(Px(115, 0, 255, 0x5A), Apply(SwBlend::ColorBurn, Px(200, 255, 255), Px(100, 0, 1)));
}

TEST(SwBlendTest, SoftLightCurve) {
    // Up to a quarter, the cubic in float: x = 10 / 255 gives
    // ((16x - 12)x + 4) * 255 * x = 35.5.
    EXPECT_EQ(0, SwBlend::D(0));
    EXPECT_EQ(35, SwBlend::D(10));
    EXPECT_EQ(126, SwBlend::D(63));
    // Above, sqrt(x) * 255: 64 / 255 = 0.251 -> 127.75; 100 / 255 -> 159.7;
    // 200 / 255 -> 225.8.
    EXPECT_EQ(127, SwBlend::D(64));
    EXPECT_EQ(159, SwBlend::D(100));
    EXPECT_EQ(225, SwBlend::D(200));
    EXPECT_EQ(255, SwBlend::D(255));
}

TEST(SwBlendTest, SoftLightOnBothSidesOf128) {
    // Below 128: cb - (255 - 2cs) * cb * (255 - cb) / 65025.
    // cs 64: 127 * 100 * 155 / 65025 = 30.3 -> 70.
    EXPECT_EQ(70, Channel(SwBlend::SoftLight, 100, 64));
    // cs 0: 255 * 128 * 127 / 65025 = 63.75 -> 65.
    EXPECT_EQ(65, Channel(SwBlend::SoftLight, 128, 0));
    // cs 127: the factor is 1: 100 * 155 / 65025 = 0.2 -> 100.
    EXPECT_EQ(100, Channel(SwBlend::SoftLight, 100, 127));
    // From 128: (D(cb) - cb) * (2cs - 255) / 255 + cb.
    // cs 200, cb 100: 59 * 145 / 255 = 33.5 -> 133.
    EXPECT_EQ(133, Channel(SwBlend::SoftLight, 100, 200));
    // cs 200, cb 10: 25 * 145 / 255 = 14.2 -> 24.
    EXPECT_EQ(24, Channel(SwBlend::SoftLight, 10, 200));
    // cs 128 divides a difference below 255 by 255: cb stays.
    EXPECT_EQ(100, Channel(SwBlend::SoftLight, 100, 128));
    EXPECT_EQ(64, Channel(SwBlend::SoftLight, 64, 128));
    // cs 255, cb 200: 25 * 255 / 255 = 25 -> 225 = D(200).
    EXPECT_EQ(225, Channel(SwBlend::SoftLight, 200, 255));
    EXPECT_EQ(0, Channel(SwBlend::SoftLight, 0, 255));
    EXPECT_EQ(255, Channel(SwBlend::SoftLight, 255, 0));
}

TEST(SwBlendTest, Helpers) {
    // Lum of bytes: (b * 0.11 + (g * 0.59 + r * 0.3)) / 255.
    EXPECT_NEAR(111.6f / 255.0f, SwBlend::Lum(Px(200, 80, 40).data()), 1e-6f);
    EXPECT_FLOAT_EQ(0.0f, SwBlend::Lum(Px(0, 0, 0).data()));
    EXPECT_NEAR(0.3f, SwBlend::Lum(Color(1.0f, 0.0f, 0.0f, 0.0f)), 1e-7f);
    EXPECT_NEAR(0.59f, SwBlend::Lum(Color(0.0f, 1.0f, 0.0f, 0.0f)), 1e-7f);
    EXPECT_NEAR(0.11f, SwBlend::Lum(Color(0.0f, 0.0f, 1.0f, 0.0f)), 1e-7f);
    EXPECT_FLOAT_EQ(160.0f / 255.0f, SwBlend::Sat(Px(200, 80, 40).data()));
    EXPECT_FLOAT_EQ(0.0f, SwBlend::Sat(Px(7, 7, 7).data()));

    Color c;
    SwBlend::RGBColorToColor(Px(255, 51, 0).data(), c);
    EXPECT_FLOAT_EQ(1.0f, c.r);
    EXPECT_FLOAT_EQ(0.2f, c.g);
    EXPECT_FLOAT_EQ(0.0f, c.b);

    // Store: above 1 is 255, below 0 is 0, else truncation of c * 255.
    Pixel p = Px(9, 9, 9, 0x77);
    SwBlend::ColorToRGBColor(Color(1.5f, -0.25f, 0.5f, 0.0f), p.data());
    EXPECT_EQ(Px(255, 0, 127, 0x77), p);

    // The ordering of GetPosition decides ties.
    struct Case {
        Color c;
        int mx, mid, mn;  // 0 red, 1 green, 2 blue
    };
    const Case cases[] = {
        {Color(3, 2, 1, 0), 0, 1, 2}, {Color(3, 1, 2, 0), 0, 2, 1}, {Color(2, 1, 3, 0), 2, 0, 1},
        {Color(1, 3, 2, 0), 1, 2, 0}, {Color(2, 3, 1, 0), 1, 0, 2}, {Color(1, 2, 3, 0), 2, 1, 0},
        // r = b under a larger g: r counts as the middle one.
        {Color(1, 3, 1, 0), 1, 0, 2},
        // r = g above b: g is the maximum (r > g fails).
        {Color(3, 3, 1, 0), 1, 0, 2},
        // r > g, r = b: blue is the maximum.
        {Color(3, 1, 3, 0), 2, 0, 1},
        // All equal: blue, green, red.
        {Color(1, 1, 1, 0), 2, 1, 0},
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

    // SetSat keeps the minimum: (r 60, g 30, b 200) to 0.5: max b = 0.5,
    // mid r = (60 - 30) / 170 * 0.5, min g stays 30 / 255.
    SwBlend::SetSat(Px(60, 30, 200).data(), 0.5f, c);
    EXPECT_FLOAT_EQ(0.5f, c.b);
    EXPECT_NEAR(30.0f / 170.0f * 0.5f, c.r, 1e-6f);
    EXPECT_FLOAT_EQ(30.0f / 255.0f, c.g);

    // ClipColor pulls a channel above 1 back toward the luminosity.
    Color over(1.5f, 0.5f, 0.5f, 0.0f);
    SwBlend::ClipColor(over);
    // m = 0.8, x = 1.5: (1.5 - 0.8) * 0.2 / 0.7 + 0.8 = 1; 0.5 -> 0.714.
    EXPECT_NEAR(1.0f, over.r, 1e-6f);
    EXPECT_NEAR(0.8f - 0.3f * 0.2f / 0.7f, over.g, 1e-6f);
    Color under(-0.5f, 0.5f, 0.5f, 0.0f);
    SwBlend::ClipColor(under);
    // m = 0.2, n = -0.5: (-0.5 - 0.2) * 0.2 / 0.7 + 0.2 = 0.
    EXPECT_NEAR(0.0f, under.r, 1e-6f);
    EXPECT_NEAR(0.3f * 0.2f / 0.7f + 0.2f, under.g, 1e-6f);
}

TEST(SwBlendTest, NonSeparableModes) {
    const Pixel backdrop = Px(200, 80, 40);
    const Pixel source = Px(60, 30, 200);

    // Hue: the source's hue at the backdrop's saturation (160 / 255) and
    // luminosity (111.6 / 255). SetSat gives (r 0.1107, g 30 / 255,
    // b 0.6275) with Lum 0.1717; adding 0.2660 gives (0.3767, 0.3837,
    // 0.8935), inside 0 to 1: bytes 96, 97, 227.
    EXPECT_EQ(Px(96, 97, 227, 0x5A), Apply(SwBlend::Hue, backdrop, source));
    // Saturation: the backdrop at the source's saturation 170 / 255: max red
    // 0.6667, mid green (80 - 40) / 160 * 0.6667 = 0.1667, min blue 40 / 255;
    // Lum 0.3156, so d = 0.1221: (0.7887, 0.2887, 0.2789).
    EXPECT_EQ(Px(201, 73, 71, 0x5A), Apply(SwBlend::Saturation, backdrop, source));
    // Color: the source moved to the backdrop's luminosity, d = 0.4376 -
    // 0.2263 = 0.2114: (0.4467, 0.3290, 0.9957).
    EXPECT_EQ(Px(113, 83, 253, 0x5A), Apply(SwBlend::ColorBlend, backdrop, source));
    // Luminosity: the backdrop moved to the source's luminosity 0.2263
    // (d = -0.2114): (0.5729, 0.1024, -0.0545). Blue is below 0, so every
    // channel is pulled toward m by m / (m - n) = 0.8059: red 0.5056,
    // green 0.1264, blue 0.
    EXPECT_EQ(Px(128, 32, 0, 0x5A), Apply(SwBlend::Luminosity, backdrop, source));

    // Hue of grey on grey: SetSat zeroes max (blue) and mid (green) and keeps
    // red at 50 / 255; the luminosity of the backdrop (100 / 255) is then
    // added, d = 0.3333: red 0.5294, green and blue 0.3333.
    EXPECT_EQ(Px(135, 85, 85, 0x5A), Apply(SwBlend::Hue, Px(100, 100, 100), Px(50, 50, 50)));

    // Luminosity of light grey under a red backdrop: red would go to 1.451,
    // so ClipColor pulls all toward m = 230 / 255: green and blue
    // 0.6667 -> 0.8599. The largest channel lands on 1 give or take the last
    // bit of a float.
    const Pixel r = Apply(SwBlend::Luminosity, Px(200, 0, 0), Px(230, 230, 230));
    EXPECT_GE(r[2], 254);
    EXPECT_EQ(219, r[1]);
    EXPECT_EQ(219, r[0]);
}
