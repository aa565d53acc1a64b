#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "Graphics/Gradient.h"
#include "paint/GradientStopLookup.h"

using namespace Graphics;

namespace {

using StopList = std::vector<std::pair<float, unsigned int>>;

StopList Stops(const GradientStopCollection& collection) {
    StopList list;
    for (const auto& s : collection.GetStopsCollection()) list.push_back(s);
    return list;
}

}  // namespace

TEST(GradientTest, TwoColourConstructorsMakeStopsAtZeroAndOne) {
    // (0.5, 0.25, 1, 1) truncates to 127, 63, 255 and alpha 255.
    LinearGradient linear(Color(0.5f, 0.25f, 1.0f, 1.0f), Color(0xFF000000u), Point<float>(1, 2),
                          Point<float>(3, 4));
    EXPECT_EQ(Stops(*linear.GetGradientStopCollection()),
              (StopList{{0.0f, 0xFF7F3FFFu}, {1.0f, 0xFF000000u}}));
    EXPECT_EQ(linear.GetStartPoint(), Point<float>(1, 2));
    EXPECT_EQ(linear.GetEndPoint(), Point<float>(3, 4));
    EXPECT_FALSE(linear.IsExtendStart());
    EXPECT_FALSE(linear.IsExtendEnd());

    linear.SetStartPoint(Point<float>(-1, -2));
    linear.SetEndPoint(Point<float>(5, 6));
    linear.SetExtendStart(true);
    linear.SetExtendEnd(true);
    EXPECT_EQ(linear.GetStartPoint(), Point<float>(-1, -2));
    EXPECT_EQ(linear.GetEndPoint(), Point<float>(5, 6));
    EXPECT_TRUE(linear.IsExtendStart());
    EXPECT_TRUE(linear.IsExtendEnd());
}

TEST(GradientTest, StopArrayConstructorsKeepArrayOrder) {
    const GradientStop stops[] = {GradientStop(0.75f, 0xFF0000FFu), GradientStop(0.25f, 0xFF00FF00u),
                                  GradientStop(0.75f, 0xFFFF0000u), GradientStop(-3.0f, 0x00000000u)};
    LinearGradient linear(stops, 4, Point<float>(), Point<float>(1, 1));
    // Sorted by offset; the two stops at 0.75 stay in insertion order.
    EXPECT_EQ(Stops(*linear.GetGradientStopCollection()),
              (StopList{{-3.0f, 0x00000000u}, {0.25f, 0xFF00FF00u}, {0.75f, 0xFF0000FFu}, {0.75f, 0xFFFF0000u}}));

    LinearGradient empty(stops, 0, Point<float>(), Point<float>());
    ASSERT_NE(empty.GetGradientStopCollection(), nullptr);
    EXPECT_TRUE(empty.GetGradientStopCollection()->GetStopsCollection().empty());
    LinearGradient fromNull(nullptr, 5, Point<float>(), Point<float>());
    EXPECT_TRUE(fromNull.GetGradientStopCollection()->GetStopsCollection().empty());
}

TEST(GradientTest, RadialConstructors) {
    const GradientStop stops[] = {GradientStop(0.0f, 0xFF000000u), GradientStop(1.0f, 0xFFFFFFFFu)};

    RadialGradient a(Color(0xFF000000u), Color(0xFFFFFFFFu), Point<float>(5, 6), 7.0f);
    EXPECT_EQ(a.GetStartPoint(), Point<float>(5, 6));
    EXPECT_EQ(a.GetEndPoint(), Point<float>(5, 6));
    EXPECT_EQ(a.GetStartRadius(), 0.0f);
    EXPECT_EQ(a.GetEndRadius(), 7.0f);
    EXPECT_EQ(Stops(*a.GetGradientStopCollection()), (StopList{{0.0f, 0xFF000000u}, {1.0f, 0xFFFFFFFFu}}));

    RadialGradient b(stops, 2, Point<float>(1, 1), 3.0f);
    EXPECT_EQ(b.GetStartPoint(), Point<float>(1, 1));
    EXPECT_EQ(b.GetEndPoint(), Point<float>(1, 1));
    EXPECT_EQ(b.GetStartRadius(), 0.0f);
    EXPECT_EQ(b.GetEndRadius(), 3.0f);
    EXPECT_EQ(Stops(*b.GetGradientStopCollection()), (StopList{{0.0f, 0xFF000000u}, {1.0f, 0xFFFFFFFFu}}));

    RadialGradient c(Color(0xFF000000u), Color(0xFFFFFFFFu), Point<float>(1, 2), 0.5f, Point<float>(3, 4), 9.0f);
    EXPECT_EQ(c.GetStartPoint(), Point<float>(1, 2));
    EXPECT_EQ(c.GetEndPoint(), Point<float>(3, 4));
    EXPECT_EQ(c.GetStartRadius(), 0.5f);
    EXPECT_EQ(c.GetEndRadius(), 9.0f);

    RadialGradient d(stops, 1, Point<float>(-1, -2), 2.0f, Point<float>(-3, -4), 8.0f);
    EXPECT_EQ(d.GetStartPoint(), Point<float>(-1, -2));
    EXPECT_EQ(d.GetEndPoint(), Point<float>(-3, -4));
    EXPECT_EQ(d.GetStartRadius(), 2.0f);
    EXPECT_EQ(d.GetEndRadius(), 8.0f);
    EXPECT_EQ(Stops(*d.GetGradientStopCollection()), (StopList{{0.0f, 0xFF000000u}}));

    d.SetStartRadius(4.0f);
    d.SetEndRadius(-1.0f);
    EXPECT_EQ(d.GetStartRadius(), 4.0f);
    EXPECT_EQ(d.GetEndRadius(), -1.0f);
}

TEST(GradientTest, TriMeshCopiesVertices) {
    TriMeshGradient::Vertex v[3] = {TriMeshGradient::Vertex(Point<float>(0, 0), 0xFFFF0000u),
                                    TriMeshGradient::Vertex(Point<float>(10, 0), 0xFF00FF00u),
                                    TriMeshGradient::Vertex(Point<float>(0, 10), 0x800000FFu)};
    TriMeshGradient mesh(v, 3);
    v[0].color = 0;  // the mesh holds a copy
    ASSERT_EQ(mesh.GetVertices().size(), 3u);
    EXPECT_EQ(mesh.GetVertices()[0].color, 0xFFFF0000u);
    EXPECT_EQ(mesh.GetVertices()[1].position, Point<float>(10, 0));
    EXPECT_EQ(mesh.GetVertices()[2].color, 0x800000FFu);

    EXPECT_TRUE(TriMeshGradient(nullptr, 12).GetVertices().empty());
    EXPECT_TRUE(TriMeshGradient(v, 0).GetVertices().empty());
}

TEST(GradientTest, StopInsertion) {
    GradientStopCollection stops;
    stops.InsertStop(0.5f, 0x11111111u);
    stops.InsertStop(GradientStop(0.5f, 0x22222222u));
    stops.InsertStop(0.5f, Color(0xFF336699u));  // stored as Color::ToARGB
    stops.InsertStop(2.0f, 0x44444444u);         // offsets are not limited to 0..1
    stops.InsertStop(-1.0f, Color(1.0f, 1.0f, 1.0f, 0.5f));
    const GradientStop more[] = {GradientStop(0.5f, 0x55555555u), GradientStop(0.0f, 0x66666666u)};
    stops.InsertStops(more, 2);
    stops.InsertStops(nullptr, 3);
    stops.InsertStops(more, 0);

    EXPECT_EQ(Stops(stops), (StopList{{-1.0f, 0x7FFFFFFFu},
                                     {0.0f, 0x66666666u},
                                     {0.5f, 0x11111111u},
                                     {0.5f, 0x22222222u},
                                     {0.5f, 0xFF336699u},
                                     {0.5f, 0x55555555u},
                                     {2.0f, 0x44444444u}}));

    // GetStopsCollection hands out a copy.
    auto copy = stops.GetStopsCollection();
    copy.clear();
    EXPECT_EQ(stops.GetStopsCollection().size(), 7u);
}

TEST(GradientTest, LookupAtAndOutsideStops) {
    GradientStopCollection empty;
    EXPECT_EQ(empty.GetColor(0.0f), 0u);
    EXPECT_EQ(empty.GetColor(0.5f), 0u);

    GradientStopCollection stops;
    stops.InsertStop(0.0f, 0xFF000000u);
    stops.InsertStop(1.0f, 0xFFFFFFFFu);
    EXPECT_EQ(stops.GetColor(0.0f), 0xFF000000u);
    EXPECT_EQ(stops.GetColor(1.0f), 0xFFFFFFFFu);
    // Above the last stop: transparent black, not the last colour.
    EXPECT_EQ(stops.GetColor(1.0001f), 0u);
    EXPECT_EQ(stops.GetColor(1e30f), 0u);
    EXPECT_EQ(stops.GetColor(std::numeric_limits<float>::infinity()), 0u);
    // Below the first stop: the first stop's colour.
    EXPECT_EQ(stops.GetColor(-0.5f), 0xFF000000u);
    EXPECT_EQ(stops.GetColor(-std::numeric_limits<float>::infinity()), 0xFF000000u);

    // A collection that ends below 1.
    GradientStopCollection shortRamp;
    shortRamp.InsertStop(0.0f, 0xFF102030u);
    shortRamp.InsertStop(0.6f, 0xFF405060u);
    EXPECT_EQ(shortRamp.GetColor(0.6f), 0xFF405060u);
    EXPECT_EQ(shortRamp.GetColor(0.8f), 0u);
    EXPECT_EQ(shortRamp.GetColor(1.0f), 0u);

    // A single stop: its colour at and below it, 0 above.
    GradientStopCollection single;
    single.InsertStop(0.5f, 0x80112233u);
    EXPECT_EQ(single.GetColor(0.5f), 0x80112233u);
    EXPECT_EQ(single.GetColor(0.25f), 0x80112233u);
    EXPECT_EQ(single.GetColor(0.75f), 0u);
}

TEST(GradientTest, LookupBetweenStops) {
    GradientStopCollection stops;
    stops.InsertStop(0.0f, 0xFF000000u);
    stops.InsertStop(1.0f, 0xFFFFFFFFu);
    // (1 - 0.5) / 1 * 255 = 127.5, f = 127: black weighs 128, white 129.
    // Black: alpha (255 * 128) >> 8 = 127. White: (255 * 129) >> 8 = 128 per byte.
    // 0x7F000000 + 0x80808080.
    EXPECT_EQ(stops.GetColor(0.5f), 0xFF808080u);
    // (1 - 0.25) * 255 = 191.25, f = 191: black weighs 192, white 65.
    // Alpha (255 * 192) >> 8 = 191 plus (255 * 65) >> 8 = 64; colours 64.
    EXPECT_EQ(stops.GetColor(0.25f), 0xFF404040u);

    // Interpolation is in straight ARGB: a transparent red towards opaque blue.
    GradientStopCollection straight;
    straight.InsertStop(0.0f, 0x00FF0000u);
    straight.InsertStop(1.0f, 0xFF0000FFu);
    // f = 127: red (255 * 128) >> 8 = 127; blue and alpha (255 * 129) >> 8 = 128.
    EXPECT_EQ(straight.GetColor(0.5f), 0x807F0080u);

    // Offsets outside 0..1: (3 - 1) / (3 - -1) * 255 = 127.5, f = 127 again.
    GradientStopCollection wide;
    wide.InsertStop(-1.0f, 0xFF000000u);
    wide.InsertStop(3.0f, 0xFFFFFFFFu);
    EXPECT_EQ(wide.GetColor(1.0f), 0xFF808080u);
}

TEST(GradientTest, LookupWeightsAtTheEndsOfAnInterval) {
    GradientStopCollection stops;
    stops.InsertStop(0.0f, 0xFFFFFFFFu);
    stops.InsertStop(1.0f, 0x80402010u);

    // Just after the previous stop the ratio rounds to 1 in float: f = 255,
    // and the previous colour is returned as it stands.
    EXPECT_EQ(stops.GetColor(1e-10f), 0xFFFFFFFFu);

    // (1 - 0.001) * 255 = 254.745, f = 254: previous weighs 255, next 2.
    // (255 * 255) >> 8 = 254; next bytes (0x80, 0x40, 0x20, 0x10) * 2 >> 8 = 1, 0, 0, 0.
    EXPECT_EQ(stops.GetColor(0.001f), 0xFFFEFEFEu);

    // (1 - 0.999) * 255 = 0.255, f = 0: previous weighs 1 (every byte
    // (255 * 1) >> 8 = 0) and next's stored colour is used directly.
    EXPECT_EQ(stops.GetColor(0.999f), 0x80402010u);

    // (1 - 0.99) * 255 = 2.55, f = 2: previous weighs 3, next 254.
    // (255 * 3) >> 8 = 2; 0x80 * 254 >> 8 = 127, 0x40 -> 63, 0x20 -> 31, 0x10 -> 15.
    EXPECT_EQ(stops.GetColor(0.99f), 0x81412111u);
}

TEST(GradientTest, LookupWithStopsAtEqualOffsets) {
    GradientStopCollection stops;
    stops.InsertStop(0.0f, 0xFFFFFFFFu);  // white
    stops.InsertStop(0.5f, 0xFFFF0000u);  // red
    stops.InsertStop(0.5f, 0xFF0000FFu);  // blue
    stops.InsertStop(1.0f, 0xFF000000u);  // black

    // At the shared offset the first inserted wins.
    EXPECT_EQ(stops.GetColor(0.5f), 0xFFFF0000u);

    // Below it: white towards red. f = 127: white (255 * 128) >> 8 = 0x7F per
    // byte; red (255 * 129) >> 8 = 0x80 in alpha and red.
    EXPECT_EQ(stops.GetColor(0.25f), 0xFFFF7F7Fu);

    // Above it: blue towards black, the last stop at 0.5 being the previous.
    // f = 127: blue 0x7F in alpha and blue; black 0x80 in alpha.
    EXPECT_EQ(stops.GetColor(0.75f), 0xFF00007Fu);

    // Just below and just above 0.5 the two sides stay apart.
    EXPECT_EQ(stops.GetColor(0.4999f) & 0x000000FFu, 0u);           // no blue from below
    EXPECT_EQ(stops.GetColor(0.5001f) & 0x00FF0000u, 0u);           // no red from above
    EXPECT_EQ(stops.GetColor(0.4999f) & 0x00FF0000u, 0x00FF0000u);  // red from below
    EXPECT_EQ(stops.GetColor(0.5001f) & 0x000000FFu, 0x000000FEu);  // blue: f = 254, (255 * 255) >> 8
}

TEST(GradientTest, LookupWeightsSumTo257WithoutCarry) {
    // With equal neighbours every byte is (v * (f + 1)) >> 8 + (v * (256 - f)) >> 8,
    // which is 255 for v = 255 at every f, and the addition never carries
    // into the neighbouring byte.
    GradientStopCollection white;
    white.InsertStop(0.0f, 0xFFFFFFFFu);
    white.InsertStop(1.0f, 0xFFFFFFFFu);
    for (int i = 0; i <= 1000; ++i) {
        const float t = static_cast<float>(i) / 1000.0f;
        ASSERT_EQ(white.GetColor(t), 0xFFFFFFFFu) << t;
    }

    // Each byte of a blend lies between the smaller of its two stop bytes
    // less one (two truncations) and the larger: a carry between bytes
    // would break out of that range.
    const unsigned int from = 0x7F10F020u, to = 0x207F1060u;
    GradientStopCollection mixed;
    mixed.InsertStop(0.0f, from);
    mixed.InsertStop(1.0f, to);
    for (int i = 0; i <= 1000; ++i) {
        const unsigned int c = mixed.GetColor(static_cast<float>(i) / 1000.0f);
        for (int shift = 0; shift < 32; shift += 8) {
            const unsigned int a = (from >> shift) & 0xFF, b = (to >> shift) & 0xFF, v = (c >> shift) & 0xFF;
            ASSERT_LE(v, std::max(a, b)) << i << " " << shift;
            ASSERT_GE(v + 1, std::min(a, b)) << i << " " << shift;
        }
    }
}

TEST(GradientTest, LookupSurvivesNonFiniteOffsets) {
    GradientStopCollection stops;
    stops.InsertStop(-std::numeric_limits<float>::infinity(), 0xFF000000u);
    stops.InsertStop(std::numeric_limits<float>::infinity(), 0xFFFFFFFFu);
    // infinity / infinity is NaN: the weight falls back to 0, the next colour.
    EXPECT_EQ(stops.GetColor(0.0f), 0xFFFFFFFFu);
    // NaN finds no stop it is not below; any value is fine, but no crash.
    (void)stops.GetColor(std::nanf(""));
}

TEST(GradientTest, SamplerPremultiplies) {
    auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(), Point<float>(1, 0));
    auto stops = gradient->GetGradientStopCollection();
    stops->InsertStop(0.0f, 0xFF123456u);
    stops->InsertStop(0.25f, 0x00FFFFFFu);
    stops->InsertStop(0.5f, 0x80FF8040u);
    stops->InsertStop(0.75f, 0x01FFFFFFu);
    GradientSampler sampler(gradient);

    // Opaque: unchanged.
    EXPECT_EQ(sampler.GetColor(0.0f), 0xFF123456u);
    // Alpha 0: all channels 0.
    EXPECT_EQ(sampler.GetColor(0.25f), 0u);
    // Alpha 0x80 scales by 129: 0xFF -> 0x80, 0x80 -> 0x40, 0x40 -> 0x20; alpha stays.
    EXPECT_EQ(sampler.GetColor(0.5f), 0x80804020u);
    // Alpha 1 scales by 2: 0xFF -> 1.
    EXPECT_EQ(sampler.GetColor(0.75f), 0x01010101u);
    // Outside the stops the lookup is 0 and so is the sample.
    EXPECT_EQ(sampler.GetColor(0.9f), 0u);

    // Between stops the lookup blends first, then premultiplies:
    // 0x00FFFFFF towards 0x80FF8040 at 0.375: f = 127, weights 128 and 129.
    // Lookup: alpha 0 + 0x40 = 0x40; red 0x7F + 0x80 = 0xFF; green 0x7F + 0x40 = 0xBF;
    // blue 0x7F + 0x20 = 0x9F. Then scale by 0x41: 0xFF -> 0x40, 0xBF -> 0x30, 0x9F -> 0x28.
    EXPECT_EQ(stops->GetColor(0.375f), 0x40FFBF9Fu);
    EXPECT_EQ(sampler.GetColor(0.375f), 0x40403028u);
}

TEST(GradientTest, SamplerSharesTheStops) {
    auto gradient = std::make_shared<RadialGradient>(nullptr, 0, Point<float>(), 1.0f);
    GradientSampler sampler(gradient);
    EXPECT_EQ(sampler.GetColor(0.5f), 0u);
    gradient->GetGradientStopCollection()->InsertStop(0.5f, 0xFFABCDEFu);
    EXPECT_EQ(sampler.GetColor(0.5f), 0xFFABCDEFu);
    // The sampler keeps the stops alive on its own.
    gradient.reset();
    EXPECT_EQ(sampler.GetColor(0.5f), 0xFFABCDEFu);

    GradientSampler none(nullptr);
    EXPECT_EQ(none.GetColor(0.5f), 0u);
}

namespace {

// The lookup written out step by step on a multimap, with every branch of
// the definition kept (f = 0, f = 255, below the first stop).
unsigned int ReferenceLookup(const std::multimap<float, unsigned int>& stops, float t) {
    if (stops.empty()) return 0;
    auto next = stops.lower_bound(t);
    if (next == stops.end()) return 0;
    if (next->first == t) return next->second;
    if (next == stops.begin()) return next->second;
    auto previous = std::prev(next);
    const float v = (next->first - t) / (next->first - previous->first) * 255.0f;
    const unsigned int f =
        (v > -2147483648.0f && v < 2147483648.0f) ? (static_cast<unsigned int>(static_cast<int>(v)) & 0xFFu) : 0u;
    if (f == 255) return previous->second;
    auto scale = [](unsigned int c, unsigned int w) {
        return ((((c & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu) | ((((c >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u);
    };
    return scale(previous->second, f + 1) + (f == 0 ? next->second : scale(next->second, 256 - f));
}

unsigned int ReferencePremultiplied(unsigned int color) {
    const unsigned int a = (color >> 24) + 1;
    if (a == 256) return color;
    const unsigned int c = color | 0xFF000000u;
    return ((((c & 0x00FF00FFu) * a) >> 8) & 0x00FF00FFu) | ((((c >> 8) & 0x00FF00FFu) * a) & 0xFF00FF00u);
}

}  // namespace

TEST(GradientTest, LookupMatchesAStepByStepReferenceOnRandomStops) {
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> unit(-0.25f, 1.25f);
    const float specials[] = {0.0f, -0.0f, 1.0f, 0.5f, std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), std::nanf("")};
    for (int round = 0; round < 300; ++round) {
        auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(), Point<float>(1, 0));
        GradientStopCollection& stops = *gradient->GetGradientStopCollection();
        GradientSampler sampler(gradient);
        std::multimap<float, unsigned int> reference;
        const int count = static_cast<int>(random() % 7);
        for (int i = 0; i < count; ++i) {
            float offset = unit(random);
            const unsigned int pick = random() % 10;
            if (pick < 2 && !reference.empty()) offset = std::next(reference.begin(), random() % reference.size())->first;
            // A NaN offset only in some rounds: the map walk takes over then.
            if (pick == 2 && round % 5 == 0) offset = specials[random() % 7];
            const unsigned int color = static_cast<unsigned int>(random());
            stops.InsertStop(offset, color);
            reference.insert({offset, color});
        }

        std::vector<float> probes = {std::nanf(""), -1.0f, 2.0f};
        for (const auto& stop : reference) {
            probes.push_back(stop.first);
            probes.push_back(std::nextafter(stop.first, -1e30f));
            probes.push_back(std::nextafter(stop.first, 1e30f));
        }
        for (int i = 0; i < 200; ++i) probes.push_back(unit(random));
        for (float t : probes) {
            const unsigned int expected = ReferenceLookup(reference, t);
            ASSERT_EQ(stops.GetColor(t), expected) << "round " << round << " t " << t;
            ASSERT_EQ(sampler.GetColor(t), ReferencePremultiplied(expected)) << "round " << round << " t " << t;
        }
    }
}

TEST(GradientTest, SpanShadingMatchesTheLookupPixelByPixel) {
    std::mt19937 random(777);
    auto scale = [](unsigned int c, unsigned int w) {
        return ((((c & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu) | ((((c >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u);
    };
    for (int round = 0; round < 200; ++round) {
        auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(), Point<float>(1, 0));
        GradientStopCollection& stops = *gradient->GetGradientStopCollection();
        std::multimap<float, unsigned int> reference;
        const int count = 1 + static_cast<int>(random() % 5);
        for (int i = 0; i < count; ++i) {
            // Mostly within 0..1, sometimes at the very ends or beyond.
            const float offset = (random() % 4 == 0) ? static_cast<float>(random() % 3) * 0.5f
                                                      : std::uniform_real_distribution<float>(-0.1f, 1.1f)(random);
            const unsigned int color = static_cast<unsigned int>(random());
            stops.InsertStop(offset, color);
            reference.insert({offset, color});
        }
        const unsigned int weight = (round % 3 == 0) ? 256u : 1u + static_cast<unsigned int>(random() % 256);
        const unsigned int startColor = static_cast<unsigned int>(random());
        const unsigned int endColor = static_cast<unsigned int>(random());

        // Runs of parameters as spans make them: a start and a step, some
        // steps tiny or zero, some crossing 0 and 1; and a NaN now and then.
        const size_t n = 1 + random() % 150;
        std::vector<float> t(n);
        float value = std::uniform_real_distribution<float>(-0.3f, 1.3f)(random);
        const float steps[] = {0.0f, 1e-7f, 0.003f, -0.011f, 0.05f, 0.3f};
        const float step = steps[random() % 6];
        for (size_t i = 0; i < n; ++i) {
            t[i] = value;
            value += step;
        }
        if (round % 10 == 0) t[random() % n] = std::nanf("");
        if (round % 7 == 0) t[random() % n] = reference.begin()->first;

        GradientSampler sampler(gradient);
        GradientStopLookup lookup(sampler);
        std::vector<uint32_t> shaded(n + 1, 0xDEADBEEFu);
        lookup.Shade(t.data(), n, startColor, endColor, weight, shaded.data());
        EXPECT_EQ(shaded[n], 0xDEADBEEFu);
        for (size_t i = 0; i < n; ++i) {
            unsigned int expected;
            if (t[i] < 0.0f)
                expected = startColor;
            else if (t[i] > 1.0f)
                expected = endColor;
            else
                expected = scale(ReferencePremultiplied(ReferenceLookup(reference, t[i])), weight);
            ASSERT_EQ(shaded[i], expected) << "round " << round << " pixel " << i << " t " << t[i];
        }
    }
}
