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
// The result's alpha byte starts at a marker that must survive.
Pixel Apply(SwBlend::BlendFunc f, const Pixel& backdrop, const Pixel& source) {
    Pixel r{{0xEE, 0xEE, 0xEE, 0x5A}};
    f(backdrop.data(), source.data(), r.data());
    EXPECT_EQ(0x5A, r[3]);
    return r;
}

}  // namespace

TEST(SwBlendTest, EveryModeByHand) {
    // Three channel pairs a row (red, green, blue), so a channel mix-up shows.
    struct Case {
        BlendMode::Enum mode;
        int b[3], s[3], r[3];  // backdrop, source, result
    };
    const Case cases[] = {
        {BlendMode::Normal, {200, 100, 50}, {1, 2, 3}, {1, 2, 3}},
        // 20000 / 255 = 78.4.
        {BlendMode::Multiply, {200, 200, 200}, {100, 255, 0}, {78, 200, 0}},
        {BlendMode::Screen, {200, 255, 0}, {100, 3, 0}, {222, 255, 0}},
        // Switching at backdrop 128: 245 - 14500 / 255 = 189; 2 * 127 * 100 / 255 = 99.6; 101 - 0.
        {BlendMode::Overlay, {200, 127, 128}, {100, 100, 100}, {189, 99, 101}},
        {BlendMode::HardLight, {100, 100, 100}, {200, 127, 128}, {189, 99, 101}},
        {BlendMode::Darken, {30, 40, 7}, {40, 30, 7}, {30, 30, 7}},
        {BlendMode::Lighten, {30, 40, 7}, {40, 30, 7}, {40, 40, 7}},
        // 255 - 55 * 255 / 100 = 115; 129 * 255 / 128 just past 255 -> 0; source 0 gives 0 even on white.
        {BlendMode::ColorBurn, {200, 126, 255}, {100, 128, 0}, {115, 0, 0}},
        {BlendMode::ColorBurn, {0, 255, 200}, {0, 1, 255}, {0, 255, 200}},
        // 50 * 255 / 155 = 82.3; 100 * 255 / 55 -> 255; source 255 gives 255 even on black.
        {BlendMode::ColorDodge, {50, 100, 0}, {100, 200, 255}, {82, 255, 255}},
        {BlendMode::ColorDodge, {0, 30, 0}, {254, 0, 0}, {0, 30, 0}},
        {BlendMode::Difference, {10, 250, 0}, {250, 10, 0}, {240, 240, 0}},
        {BlendMode::Exclusion, {200, 255, 0}, {100, 255, 0}, {144, 0, 0}},
        // Below 128: 100 - 127 * 100 * 155 / 65025 = 69.7 -> 70; 39 - 33.03 -> 6; 100 - 0.2 -> 100.
        {BlendMode::SoftLight, {100, 39, 100}, {64, 0, 127}, {70, 6, 100}},
        // From 128: 100 + 59 * 145 / 255 -> 133; 10 + 25 * 145 / 255 (the cubic) -> 24; 128 keeps cb.
        {BlendMode::SoftLight, {100, 10, 100}, {200, 200, 128}, {133, 24, 100}},
        // SetSat to 160 / 255, SetLum to 111.6 / 255: (0.3767, 0.3837, 0.8935).
        {BlendMode::Hue, {200, 80, 40}, {60, 30, 200}, {96, 97, 227}},
        {BlendMode::Saturation, {200, 80, 40}, {60, 30, 200}, {201, 73, 71}},
        {BlendMode::Color, {200, 80, 40}, {60, 30, 200}, {113, 83, 253}},
        // (0.5729, 0.1024, -0.0545) is below 0: pulled toward the luminosity by 0.8059.
        {BlendMode::Luminosity, {200, 80, 40}, {60, 30, 200}, {128, 32, 0}},
        // Grey backdrop: SetSat zeroes max and mid, keeps red at 50; plus d = 0.3333.
        {BlendMode::Hue, {100, 100, 100}, {50, 50, 50}, {135, 85, 85}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Px(c.r[0], c.r[1], c.r[2], 0x5A),
                  Apply(SwBlend::GetBlendFunc(c.mode), Px(c.b[0], c.b[1], c.b[2], 17), Px(c.s[0], c.s[1], c.s[2], 99)))
            << c.mode << " backdrop " << c.b[0];
    // Above 1 pulls toward the luminosity 230 / 255: green and blue 0.6667 -> 0.8599; red lands on 1 within a bit.
    const Pixel r = Apply(SwBlend::Luminosity, Px(200, 0, 0), Px(230, 230, 230));
    EXPECT_GE(r[2], 254);
    EXPECT_EQ(219, r[1]);
    EXPECT_EQ(219, r[0]);
    // Compatible is Normal; outside the table everything blends as Normal.
    EXPECT_EQ(Px(1, 2, 3, 0x5A), Apply(SwBlend::Compatible, Px(200, 100, 50), Px(1, 2, 3)));
    for (int mode : {16, -1}) EXPECT_EQ(&SwBlend::Normal, SwBlend::GetBlendFunc(static_cast<BlendMode::Enum>(mode)));
}

TEST(SwBlendTest, SoftLightCurveAndHelpers) {
    // Up to a quarter the cubic ((16x - 12)x + 4) * 255 * x, above sqrt(x) * 255, both truncated.
    const int d[][2] = {{10, 35}, {63, 126}, {64, 127}, {200, 225}, {255, 255}};
    for (const auto& c : d) EXPECT_EQ(c[1], SwBlend::D(static_cast<unsigned char>(c[0]))) << c[0];
    // Above 1 is 255, below 0 is 0, else c * 255 truncated.
    Pixel p = Px(9, 9, 9, 0x77);
    SwBlend::ColorToRGBColor(Color(1.5f, -0.25f, 0.5f, 0.0f), p.data());
    EXPECT_EQ(Px(255, 0, 127, 0x77), p);
    // Largest, middle, smallest as 0 red, 1 green, 2 blue; ties decide the middle one.
    struct Case { Color c; int mx, mid, mn; };
    const Case cases[] = {
        {Color(3, 2, 1, 0), 0, 1, 2}, {Color(3, 1, 2, 0), 0, 2, 1}, {Color(2, 1, 3, 0), 2, 0, 1},
        {Color(1, 3, 2, 0), 1, 2, 0}, {Color(2, 3, 1, 0), 1, 0, 2}, {Color(1, 2, 3, 0), 2, 1, 0},
        {Color(1, 3, 1, 0), 1, 0, 2}, {Color(3, 3, 1, 0), 1, 0, 2}, {Color(3, 1, 3, 0), 2, 0, 1},
        {Color(1, 1, 1, 0), 2, 1, 0},
    };
    for (const Case& k : cases) {
        Color col = k.c;
        float* pos[3];
        SwBlend::GetPosition(col, pos);
        float* channels[3] = {&col.r, &col.g, &col.b};
        EXPECT_TRUE(channels[k.mx] == pos[0] && channels[k.mid] == pos[1] && channels[k.mn] == pos[2])
            << k.c.r << " " << k.c.g << " " << k.c.b;
    }
}
