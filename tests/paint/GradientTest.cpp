#include <gtest/gtest.h>
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
const float kInf = std::numeric_limits<float>::infinity();

StopList Stops(const LinearGradientBase& gradient) {
    const auto map = gradient.GetGradientStopCollection()->GetStopsCollection();
    return StopList(map.begin(), map.end());
}

// Each byte times w (1..256), truncated, two bytes at a time.
unsigned int Scale(unsigned int c, unsigned int w) {
    return ((((c & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu) | ((((c >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u);
}

unsigned int Premultiplied(unsigned int color) { return Scale(color | 0xFF000000u, (color >> 24) + 1); }

// The lookup written out step by step on a multimap.
unsigned int ReferenceLookup(const std::multimap<float, unsigned int>& stops, float t) {
    auto next = stops.lower_bound(t);
    if (next == stops.end()) return 0;
    if (next->first == t || next == stops.begin()) return next->second;
    auto previous = std::prev(next);
    const float v = (next->first - t) / (next->first - previous->first) * 255.0f;
    const unsigned int f = (v > -2147483648.0f && v < 2147483648.0f) ? (unsigned(int(v)) & 0xFFu) : 0u;
    if (f == 255) return previous->second;
    return Scale(previous->second, f + 1) + (f == 0 ? next->second : Scale(next->second, 256 - f));
}

}  // namespace

TEST(GradientTest, ConstructorsMakeAndOrderTheStops) {
    LinearGradient linear(Color(0.5f, 0.25f, 1, 1), Color(0xFF000000u), Point<float>(1, 2), Point<float>(3, 4));
    EXPECT_EQ(Stops(linear), (StopList{{0.0f, 0xFF7F3FFFu}, {1.0f, 0xFF000000u}}));  // 0.5 -> 127
    // Arrays sort by offset; equal offsets keep their order across later
    // insertions of all kinds; offsets are not limited to 0..1.
    const GradientStop stops[] = {GradientStop(0.75f, 0xFF0000FFu), GradientStop(0.25f, 0xFF00FF00u),
                                  GradientStop(0.75f, 0xFFFF0000u), GradientStop(-3.0f, 0x00000000u)};
    LinearGradient sorted(stops, 4, Point<float>(), Point<float>(1, 1));
    auto collection = sorted.GetGradientStopCollection();
    collection->InsertStop(0.75f, Color(1, 1, 1, 0.5f));
    collection->InsertStop(GradientStop(0.75f, 0x22222222u));
    collection->InsertStops(stops, 1);
    collection->InsertStops(nullptr, 3);
    EXPECT_EQ(Stops(sorted), (StopList{{-3.0f, 0x00000000u}, {0.25f, 0xFF00FF00u}, {0.75f, 0xFF0000FFu},
                                       {0.75f, 0xFFFF0000u}, {0.75f, 0x7FFFFFFFu}, {0.75f, 0x22222222u},
                                       {0.75f, 0xFF0000FFu}}));
    EXPECT_TRUE(Stops(LinearGradient(nullptr, 5, Point<float>(), Point<float>())).empty());
    // Radial with one centre starts at radius 0.
    RadialGradient centred(stops, 2, Point<float>(5, 6), 7.0f);
    EXPECT_EQ(centred.GetStartPoint(), centred.GetEndPoint());
    EXPECT_EQ(centred.GetStartRadius(), 0.0f);
    EXPECT_EQ(Stops(centred), (StopList{{0.25f, 0xFF00FF00u}, {0.75f, 0xFF0000FFu}}));
    // A mesh copies its vertices; a null array is an empty strip.
    TriMeshGradient::Vertex v[2] = {{Point<float>(0, 0), 0xFFFF0000u}, {Point<float>(10, 0), 0x800000FFu}};
    TriMeshGradient mesh(v, 2);
    v[0].color = 0;
    ASSERT_EQ(mesh.GetVertices().size(), 2u);
    EXPECT_EQ(mesh.GetVertices()[0].color, 0xFFFF0000u);
}

TEST(GradientTest, LookupWorkedByHand) {
    // Between two stops f = (next - t) / span * 255 truncated; the previous
    // colour weighs f + 1, the next 256 - f, each byte truncated after >> 8.
    const struct {
        StopList stops;
        std::vector<std::pair<float, unsigned int>> probes;  // t, straight colour
    } cases[] = {
        {{}, {{0.5f, 0u}}},
        // f = 127 at 0.5: black 128 -> alpha 127, white 129 -> 128 a byte.
        // Below the first stop its colour, above the last transparent black.
        {{{0, 0xFF000000u}, {1, 0xFFFFFFFFu}}, {{0.5f, 0xFF808080u}, {1, 0xFFFFFFFFu}, {1.0001f, 0u}, {kInf, 0u},
                                                {-kInf, 0xFF000000u}}},
        // Straight ARGB, not premultiplied: transparent red to opaque blue.
        {{{0, 0x00FF0000u}, {1, 0xFF0000FFu}}, {{0.5f, 0x807F0080u}}},
        // f = 255 gives the previous colour as it is; f = 254: 255 * 255 >> 8
        // = 254; f = 0 the next as it is; f = 2: 2 plus 0x80 * 254 >> 8 = 127.
        {{{0, 0xFFFFFFFFu}, {1, 0x80402010u}},
         {{1e-10f, 0xFFFFFFFFu}, {0.001f, 0xFFFEFEFEu}, {0.999f, 0x80402010u}, {0.99f, 0x81412111u}}},
        // Equal offsets: the first inserted answers at the offset, the last starts the next interval.
        {{{0, 0xFFFFFFFFu}, {0.5f, 0xFFFF0000u}, {0.5f, 0xFF0000FFu}, {1, 0xFF000000u}},
         {{0.5f, 0xFFFF0000u}, {0.4999f, 0xFFFF0000u}, {0.5001f, 0xFF0000FEu}}},
        // inf / inf is NaN: the weight falls back to 0, the next colour.
        {{{-kInf, 0xFF000000u}, {kInf, 0xFFFFFFFFu}}, {{0.0f, 0xFFFFFFFFu}}},
    };
    for (const auto& c : cases) {
        auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(), Point<float>(1, 0));
        for (const auto& s : c.stops) gradient->GetGradientStopCollection()->InsertStop(s.first, s.second);
        GradientSampler sampler(gradient);
        for (const auto& p : c.probes) {
            EXPECT_EQ(gradient->GetGradientStopCollection()->GetColor(p.first), p.second) << p.first;
            EXPECT_EQ(sampler.GetColor(p.first), Premultiplied(p.second)) << p.first;
        }
    }

    // The sampler premultiplies by alpha + 1 after the blend: 0x00FFFFFF to
    // 0x80FF8040 at 0.375 blends to 0x40FFBF9F, which scales by 0x41.
    auto gradient = std::make_shared<RadialGradient>(nullptr, 0, Point<float>(), 1.0f);
    GradientSampler sampler(gradient);
    auto stops = gradient->GetGradientStopCollection();
    const GradientStop ramp[] = {{0, 0xFF123456u}, {0.25f, 0x00FFFFFFu}, {0.5f, 0x80FF8040u}, {0.75f, 0x01FFFFFFu}};
    stops->InsertStops(ramp, 4);
    gradient.reset();  // the sampler shares the stops and keeps them alive
    const std::pair<float, unsigned int> premultiplied[] = {
        {0, 0xFF123456u}, {0.25f, 0u}, {0.5f, 0x80804020u}, {0.75f, 0x01010101u}, {0.375f, 0x40403028u}};
    for (const auto& p : premultiplied) EXPECT_EQ(sampler.GetColor(p.first), p.second) << p.first;
    EXPECT_EQ(stops->GetColor(0.375f), 0x40FFBF9Fu);
    EXPECT_EQ(GradientSampler(nullptr).GetColor(0.5f), 0u);
}

TEST(GradientTest, LookupSamplerAndSpansMatchTheReferenceOnRandomStops) {
    // Flat arrays, the remembered interval and the span path against the reference; NaN offsets take the map walk.
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> unit(-0.25f, 1.25f);
    const float oddOffsets[] = {0.0f, -0.0f, 1.0f, 0.5f, kInf, -kInf, std::nanf("")};
    const float steps[] = {0.0f, 1e-7f, 0.003f, -0.011f, 0.05f, 0.3f};
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        auto gradient = std::make_shared<LinearGradient>(nullptr, 0, Point<float>(), Point<float>(1, 0));
        GradientStopCollection& stops = *gradient->GetGradientStopCollection();
        std::multimap<float, unsigned int> reference;
        const int count = static_cast<int>(random() % 7);
        for (int i = 0; i < count; ++i) {
            float offset = unit(random);
            const unsigned int pick = random() % 10;
            if (pick < 2 && !reference.empty()) offset = std::next(reference.begin(), random() % reference.size())->first;
            if (pick == 2) offset = static_cast<float>(random() % 3) * 0.5f;
            if (pick == 3 && round % 5 == 0) offset = oddOffsets[random() % 7];
            const unsigned int color = static_cast<unsigned int>(random());
            stops.InsertStop(offset, color);
            reference.insert({offset, color});
        }
        GradientSampler sampler(gradient);
        std::vector<float> probes = {std::nanf(""), -1.0f, 2.0f};
        for (const auto& stop : reference)
            for (float t : {stop.first, std::nextafter(stop.first, -1e30f), std::nextafter(stop.first, 1e30f)})
                probes.push_back(t);
        for (int i = 0; i < 100; ++i) probes.push_back(unit(random));
        for (float t : probes) {
            const unsigned int expected = ReferenceLookup(reference, t);
            ASSERT_EQ(stops.GetColor(t), expected) << "t " << t;
            ASSERT_EQ(sampler.GetColor(t), Premultiplied(expected)) << "t " << t;
        }
        // Spans: runs from a start and a step, with a NaN or a stop's offset now and then.
        const size_t n = 1 + random() % 150;
        std::vector<float> t(n);
        const float step = steps[random() % 6];
        t[0] = std::uniform_real_distribution<float>(-0.3f, 1.3f)(random);
        for (size_t i = 1; i < n; ++i) t[i] = t[i - 1] + step;
        if (round % 10 == 0) t[random() % n] = std::nanf("");
        if (round % 7 == 0 && !reference.empty()) t[random() % n] = reference.begin()->first;
        const unsigned int weight = (round % 3 == 0) ? 256u : 1u + static_cast<unsigned int>(random() % 256),
                           startColor = static_cast<unsigned int>(random()), endColor = ~startColor;
        std::vector<uint32_t> shaded(n + 1, 0xDEADBEEFu);
        GradientStopLookup(sampler).Shade(t.data(), n, startColor, endColor, weight, shaded.data());
        EXPECT_EQ(shaded[n], 0xDEADBEEFu);
        for (size_t i = 0; i < n; ++i) {
            const unsigned int expected = t[i] < 0.0f   ? startColor
                                          : t[i] > 1.0f ? endColor
                                                        : Scale(Premultiplied(ReferenceLookup(reference, t[i])), weight);
            ASSERT_EQ(shaded[i], expected) << "pixel " << i << " t " << t[i];
        }
    }
}
