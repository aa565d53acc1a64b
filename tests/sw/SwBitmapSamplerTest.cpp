#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

#include "Graphics/Bitmap.h"
#include "Graphics/Runtime.h"
#include "LogCapture.h"
#include "RandomizedCompare.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwBitmapSampler.h"
#include "sw/SwExtend.h"

using namespace Graphics;
using RandomizedCompare::Words;

namespace {

const PixelFormat::Enum kAllFormats[] = {PixelFormat::RGB8, PixelFormat::ARGB8p, PixelFormat::ARGB8, PixelFormat::XRGB8,
                                         PixelFormat::A8,   PixelFormat::P8,     PixelFormat::L8,    PixelFormat::A1,
                                         PixelFormat::P1,   PixelFormat::L1};
const InterpolationMode::Enum kAllModes[] = {InterpolationMode::Nearest, InterpolationMode::Linear,
                                             InterpolationMode::HighQuality};
const ExtendMode::Enum kAllExtends[] = {ExtendMode::Clamp, ExtendMode::Wrap, ExtendMode::Mirror};
const InterpolationMode::Enum kNearest = InterpolationMode::Nearest;
const InterpolationMode::Enum kLinear = InterpolationMode::Linear;
const InterpolationMode::Enum kHigh = InterpolationMode::HighQuality;

// Sets the process-wide high-quality switch for one scope.
class HighQualityDownsampling {
public:
    explicit HighQualityDownsampling(bool on) : saved(g_RuntimeParameters.highQualityDownsampling) {
        g_RuntimeParameters.highQualityDownsampling = on;
    }
    ~HighQualityDownsampling() { g_RuntimeParameters.highQualityDownsampling = saved; }

private:
    bool saved;
};

std::shared_ptr<SysMemBitmap> MakeBitmap(int width, int height, PixelFormat::Enum format, int fill = 0) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(width, height), format, 96.0f, 96.0f);
    PixelBuffer& buffer = bitmap->GetBuffer();
    std::memset(buffer.data, fill, static_cast<size_t>(buffer.stride) * height + 1);
    return bitmap;
}

// A bitmap from rows of bytes (8-bit and 1-bit formats) or words.
template <class T>
std::shared_ptr<SysMemBitmap> Make(PixelFormat::Enum format, const std::vector<std::vector<T>>& rows, int width = 0) {
    auto bitmap = MakeBitmap(width ? width : static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), format);
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x) {
            unsigned char* row = bitmap->GetBuffer().GetPointer(static_cast<int>(y));
            if (std::is_same<T, uint32_t>::value)
                std::memcpy(row + 4 * x, &rows[y][x], 4);
            else
                row[x] = static_cast<unsigned char>(rows[y][x]);
        }
    return bitmap;
}

Words Span(SwBitmapSampler& sampler, int x0, int x1, int y) {
    Words row(static_cast<size_t>(x1 - x0) + 2, 0xDEADBEEFu);
    sampler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), 0xDEADBEEFu);
    EXPECT_EQ(row.back(), 0xDEADBEEFu);
    return Words(row.begin() + 1, row.end() - 1);
}

Words Span(std::shared_ptr<BitmapSource> bitmap, const Matrix& matrix, int x0, int x1, int y,
           InterpolationMode::Enum mode = kNearest, ExtendMode::Enum extendX = ExtendMode::Clamp,
           ExtendMode::Enum extendY = ExtendMode::Clamp, float opacity = 1.0f) {
    SwBitmapSampler sampler(bitmap, extendX, extendY, mode, opacity, matrix);
    return Span(sampler, x0, x1, y);
}

// Byte values as the words of A8: v in all four bytes.
Words A8(std::vector<uint32_t> v) {
    for (auto& x : v) x *= 0x01010101u;
    return v;
}

// Lockable pixels that count their locks, with any format number.
class CountingBitmap : public BitmapBase {
public:
    CountingBitmap(const Size<int>& size, int format)
        : BitmapBase(size, static_cast<PixelFormat::Enum>(format), 96.0f, 96.0f), pixels(256, 0x80) {}
    std::shared_ptr<Palette> GetPalette() const override { return nullptr; }
    void SetPalette(std::shared_ptr<Palette>) override {}
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override {
        ++locks;
        lastMode = mode;
        lastRectWasNull = rect == nullptr;
        LockedData data;
        data.data = pixels.data();
        data.stride = 16;
        data.rowBytes = 16;
        return data;
    }
    void Unlock() override { ++unlocks; }

    std::vector<unsigned char> pixels;
    int locks = 0;
    int unlocks = 0;
    LockMode::Enum lastMode = LockMode::Write;
    bool lastRectWasNull = false;
};

}  // namespace

TEST(SwBitmapSamplerTest, ExtendFunctions) {
    // Mirror is not a reflection about the edges: size 4 repeats 3 at 3 and
    // 4, but not 0 at -1. Extremes take the magnitude unsigned:
    // 2147483647 = 536870911 * 4 + 3 (q odd), 2^31 = 715827882 * 3 + 2.
    struct Case {
        int size, c, clamp, wrap, mirror;
    };
    const Case cases[] = {
        {4, -5, 0, 3, 2},      {4, -4, 0, 0, 3}, {4, -1, 0, 3, 1},      {4, 0, 0, 0, 0},
        {4, 3, 3, 3, 3},       {4, 4, 3, 0, 3},  {4, 6, 3, 2, 1},       {4, 9, 3, 1, 1},
        {4, INT_MIN, 0, 0, 0}, {4, INT_MAX, 3, 3, 0}, {3, INT_MIN, 0, 1, 2}, {1, INT_MIN, 0, 0, 0},
        {1, -7, 0, 0, 0},      {1, 7, 0, 0, 0},  {1, INT_MAX, 0, 0, 0},
    };
    for (const Case& k : cases) {
        EXPECT_EQ(k.clamp, SwExtend::Clamp(k.size, k.c)) << k.size << ", " << k.c;
        EXPECT_EQ(k.wrap, SwExtend::Wrap(k.size, k.c)) << k.size << ", " << k.c;
        EXPECT_EQ(k.mirror, SwExtend::Mirror(k.size, k.c)) << k.size << ", " << k.c;
    }
    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Clamp), &SwExtend::Clamp);
    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Wrap), &SwExtend::Wrap);
    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Mirror), &SwExtend::Mirror);
    EXPECT_EQ(SwExtend::SelectExtendProc(static_cast<ExtendMode::Enum>(3)), &SwExtend::Clamp);
}

TEST(SwBitmapSamplerTest, ConversionsAndPalettes) {
    // ARGB8 premultiplies by alpha + 1 = 129; ARGB8p words pass untouched,
    // even when not valid premultiplied colours; XRGB8 ignores the top byte.
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::ARGB8, {{0x80FF8040u, 0xFF123456u, 0x00FFFFFFu}}), Matrix(), 0, 3, 0),
              (Words{0x80804020u, 0xFF123456u, 0u}));
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::ARGB8p, {{0x10FFFFFFu}}), Matrix(), 0, 1, 0), (Words{0x10FFFFFFu}));
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::XRGB8, {{0x00123456u, 0x7F000000u}}), Matrix(), 0, 2, 0),
              (Words{0xFF123456u, 0xFF000000u}));
    // RGB8 bytes are blue, green, red.
    EXPECT_EQ(Span(Make<int>(PixelFormat::RGB8, {{0x56, 0x34, 0x12, 0xAA, 0xBB, 0xCC}}, 2), Matrix(), 0, 2, 0),
              (Words{0xFF123456u, 0xFFCCBBAAu}));
    // A8 is white at alpha v; L8 is opaque grey.
    EXPECT_EQ(Span(Make<int>(PixelFormat::A8, {{0, 0x80, 255}}), Matrix(), 0, 3, 0), A8({0, 0x80, 255}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::L8, {{0, 0x80, 255}}), Matrix(), 0, 3, 0),
              (Words{0xFF000000u, 0xFF808080u, 0xFFFFFFFFu}));
    // One-bit rows: the leftmost pixel in the top bit.
    EXPECT_EQ(Span(Make<int>(PixelFormat::A1, {{0xA0, 0x01}}, 16), Matrix(), 0, 4, 0), A8({255, 0, 255, 0}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::L1, {{0xA0, 0x01}}, 16), Matrix(), 14, 16, 0),
              (Words{0xFF000000u, 0xFFFFFFFFu}));

    const uint32_t colors[] = {0x00FF0000u, 0xFF0000FFu, 0x80FF8040u};
    auto palette = std::make_shared<Palette>(colors, 3);
    auto p8 = Make<int>(PixelFormat::P8, {{0, 1, 2, 3, 255}});
    p8->SetPalette(palette);
    // Indices beyond the palette read transparent black, not memory past it.
    EXPECT_EQ(Span(p8, Matrix(), 0, 5, 0), (Words{0u, 0xFF0000FFu, 0x80804020u, 0u, 0u}));
    // Half way between transparent red and opaque blue the straight colours
    // interpolate (Scale(blue, 128) + Scale(red, 129) = 0x7F80007F), then
    // alpha 127 premultiplies by 128. ARGB8 premultiplies first: red becomes
    // 0, and the result is Scale(blue, 128) alone.
    SwBitmapSampler linear(p8, ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
    EXPECT_EQ(linear.Sample(Point<float>(0.5f, 0.0f)), 0x7F40003Fu);
    SwBitmapSampler argb(Make<uint32_t>(PixelFormat::ARGB8, {{0x00FF0000u, 0xFF0000FFu}}), ExtendMode::Clamp,
                         ExtendMode::Clamp, kLinear, 1.0f, Matrix());
    EXPECT_EQ(argb.Sample(Point<float>(0.5f, 0.0f)), 0x7F00007Fu);
    auto p1 = Make<int>(PixelFormat::P1, {{0x40}}, 8);  // pixels 0, 1, 0, 0...
    p1->SetPalette(palette);
    EXPECT_EQ(Span(p1, Matrix(), 0, 3, 0), (Words{0u, 0xFF0000FFu, 0u}));
    SwBitmapSampler linear1(p1, ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
    EXPECT_EQ(linear1.Sample(Point<float>(0.5f, 0.0f)), 0x7F40003Fu);

    // Without a palette the indexed formats paint transparent black.
    for (InterpolationMode::Enum mode : kAllModes)
        EXPECT_EQ(Span(Make<int>(PixelFormat::P8, {{0, 1, 2}}), Matrix(0.3f, 0, 0, 0.3f, 0, 0), 0, 3, 0, mode),
                  Words(3, 0u));
    EXPECT_EQ(Span(Make<int>(PixelFormat::P1, {{0xFF}}, 8), Matrix(), 0, 3, 0), Words(3, 0u));
}

TEST(SwBitmapSamplerTest, NearestPositions) {
    auto row = Make<int>(PixelFormat::L8, {{10, 20, 30, 40}});
    auto grey = [](uint32_t v) { return 0xFF000000u | v * 0x010101u; };
    // p + 0.5 truncates toward zero: all of -1.5 < p < 0.5 is pixel 0; at
    // -1.6 the truncation gives -1, which each mode extends its own way.
    struct Case {
        ExtendMode::Enum extend;
        float x, y;
        uint32_t value;
    };
    const Case cases[] = {
        {ExtendMode::Clamp, -1.4f, 0, 10}, {ExtendMode::Clamp, 0.49f, 0, 10},  {ExtendMode::Clamp, 0.5f, 0, 20},
        {ExtendMode::Clamp, 1.49f, 0, 20}, {ExtendMode::Clamp, 2.5f, 0.4f, 40}, {ExtendMode::Clamp, 2.5f, -1.4f, 40},
        {ExtendMode::Clamp, -1.6f, 0, 10}, {ExtendMode::Wrap, -1.6f, 0, 40},   {ExtendMode::Mirror, -1.6f, 0, 20},
    };
    for (const Case& c : cases) {
        SwBitmapSampler sampler(row, c.extend, ExtendMode::Clamp, kNearest, 1.0f, Matrix());
        EXPECT_EQ(grey(c.value), sampler.Sample(Point<float>(c.x, c.y))) << c.extend << " " << c.x << ", " << c.y;
    }

    // Twice as large with pixel centres kept: surface pixels 0..3 read
    // -0.25, 0.25, 0.75, 1.25, that is source pixels 0, 0, 1, 1.
    EXPECT_EQ(Span(row, Matrix(0.5f, 0, 0, 0.5f, -0.25f, -0.25f), 0, 8, 0),
              (Words{grey(10), grey(10), grey(20), grey(20), grey(30), grey(30), grey(40), grey(40)}));
    // The position is accumulated along the span: with a step of 0.15 the
    // eleventh pixel sits at 1.4999999 and reads pixel 1, where a position
    // computed afresh would read pixel 2.
    const Words stepped = Span(Make<int>(PixelFormat::A8, {{0, 1, 2, 3, 4}}), Matrix(0.15f, 0, 0, 1, 0, 0), 0, 11, 0);
    EXPECT_EQ(stepped[9], 0x01010101u);
    EXPECT_EQ(stepped[10], 0x01010101u);
    // The start of the span is (y * m21 + x0 * m11) + dx: a shear moves it;
    // after a quarter turn x steps down the column.
    auto grid = Make<int>(PixelFormat::A8, {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    EXPECT_EQ(Span(grid, Matrix(1, 0, 1, 1, 0, 0), 0, 2, 1), A8({6, 7}));
    EXPECT_EQ(Span(grid, Matrix(0, 1, 1, 0, 0, 0), 0, 3, 2), A8({3, 7, 11}));
}

TEST(SwBitmapSamplerTest, LinearWeights) {
    // Pixels 0 and 255 at 0.5: f = 128, (0 * 128 + 255 * 128) >> 8 = 127.
    // Between -1 and 0 the weights are mirrored about 0: -0.25 reads like
    // 0.25, (255 * 64) >> 8 = 63. Beyond the right edge the clamp gives
    // pixel 1 twice; wrapping blends the last pixel into the first.
    auto l8 = Make<int>(PixelFormat::L8, {{0, 255}});
    struct Case {
        ExtendMode::Enum extend;
        float x;
        uint32_t value;
    };
    const Case cases[] = {{ExtendMode::Clamp, 0.5f, 0x7F},  {ExtendMode::Clamp, 0.25f, 0x3F},
                          {ExtendMode::Clamp, -0.25f, 0x3F}, {ExtendMode::Clamp, -0.75f, 0xBF},
                          {ExtendMode::Clamp, 1.5f, 0xFF},   {ExtendMode::Wrap, 1.25f, 0xBF}};
    for (const Case& c : cases) {
        SwBitmapSampler sampler(l8, c.extend, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
        EXPECT_EQ(0xFF000000u | c.value * 0x010101u, sampler.Sample(Point<float>(c.x, 0))) << c.x;
    }

    // Words: Scale(b, f) + Scale(a, 257 - f). b = 0xFF80C0F0 halves to
    // 0x7F406078; a = 0x80402010 times 129 gives 0x40201008. f = 1 keeps a.
    auto words = Make<uint32_t>(PixelFormat::ARGB8p, {{0x80402010u, 0xFF80C0F0u}});
    SwBitmapSampler word(words, ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
    EXPECT_EQ(word.Sample(Point<float>(0.5f, 0)), 0xBF607080u);
    EXPECT_EQ(word.Sample(Point<float>(1.0f / 256.0f, 0)), 0x80402010u);
    // Opaque white with itself stays white at every weight.
    SwBitmapSampler whites(Make<uint32_t>(PixelFormat::ARGB8p, {{~0u, ~0u}}), ExtendMode::Clamp, ExtendMode::Clamp,
                           kLinear, 1.0f, Matrix());
    for (int f = 1; f < 256; ++f) EXPECT_EQ(whites.Sample(Point<float>(f / 256.0f, 0)), 0xFFFFFFFFu) << f;

    // Two dimensions at (0.25, 0.75): fx = 64, fy = 192. Top (100 * 64) >> 8
    // = 25; bottom (200 * 192 + 255 * 64) >> 8 = 213; (25 * 64 + 213 * 192)
    // >> 8 = 166. With one fraction only: (0 + 200) * 128 >> 8, (100 + 255)
    // * 128 >> 8, (200 + 255) * 128 >> 8.
    SwBitmapSampler two(Make<int>(PixelFormat::A8, {{0, 100}, {200, 255}}), ExtendMode::Clamp, ExtendMode::Clamp,
                        kLinear, 1.0f, Matrix());
    EXPECT_EQ(two.Sample(Point<float>(0.25f, 0.75f)), 166u * 0x01010101u);
    EXPECT_EQ(two.Sample(Point<float>(0.0f, 0.5f)), 100u * 0x01010101u);
    EXPECT_EQ(two.Sample(Point<float>(1.0f, 0.5f)), 177u * 0x01010101u);
    EXPECT_EQ(two.Sample(Point<float>(0.5f, 1.0f)), 227u * 0x01010101u);
    // One-bit pixels interpolate as 0 and 255.
    SwBitmapSampler bit(Make<int>(PixelFormat::A1, {{0x40}}, 8), ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f,
                        Matrix());
    EXPECT_EQ(bit.Sample(Point<float>(0.25f, 0)), 63u * 0x01010101u);
    // HighQuality without reduction is linear.
    SwBitmapSampler hq(l8, ExtendMode::Clamp, ExtendMode::Clamp, kHigh, 1.0f, Matrix());
    EXPECT_EQ(hq.GetSampling(), SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(hq.Sample(Point<float>(0.5f, 0)), 0xFF7F7F7Fu);
}

TEST(SwBitmapSamplerTest, ExtendModesInSpans) {
    auto row = Make<int>(PixelFormat::A8, {{10, 20, 30, 40}});
    auto column = Make<int>(PixelFormat::A8, {{10}, {20}, {30}, {40}});
    // Surface x from -6 to 9 on the identity. Left of 0, x + 0.5 truncates
    // toward zero, so x reads coordinate x + 1 there: -6 reads -5. Mirror:
    // coordinates -5..0 give pixels 2 3 3 2 1 0, and 4..9 give 3 2 1 0 0 1.
    const std::pair<ExtendMode::Enum, Words> spans[] = {
        {ExtendMode::Clamp, A8({10, 10, 10, 10, 10, 10, 10, 20, 30, 40, 40, 40, 40, 40, 40, 40})},
        {ExtendMode::Wrap, A8({40, 10, 20, 30, 40, 10, 10, 20, 30, 40, 10, 20, 30, 40, 10, 20})},
        {ExtendMode::Mirror, A8({30, 40, 40, 30, 20, 10, 10, 20, 30, 40, 40, 30, 20, 10, 10, 20})}};
    for (const auto& s : spans) {
        EXPECT_EQ(Span(row, Matrix(), -6, 10, 0, kNearest, s.first), s.second) << s.first;
        // The same down a column, on the y axis.
        Words down;
        for (int y = -6; y < 10; ++y)
            down.push_back(Span(column, Matrix(), 0, 1, y, kNearest, ExtendMode::Clamp, s.first)[0]);
        EXPECT_EQ(down, s.second) << s.first;
    }

    // Far outside. A billion is exact in float but the steps along the span
    // are lost (float spacing there is 64): both pixels read the same place.
    // A million away the steps survive: 1000000 = 4 * 250000, q even.
    // -1000000 + 0.5 truncates to -999999: remainder -3, wrapped to 1; the
    // mirror's magnitude 999999 = 4 * 249999 + 3 has q odd, giving 0.
    struct Far {
        float dx;
        ExtendMode::Enum extend;
        Words words;
    };
    const Far far[] = {{1e9f, ExtendMode::Clamp, A8({40, 40})},   {1e9f, ExtendMode::Wrap, A8({10, 10})},
                       {1e6f, ExtendMode::Mirror, A8({10, 20})},  {-1e6f, ExtendMode::Wrap, A8({20, 30})},
                       {-1e6f, ExtendMode::Mirror, A8({10, 20})}};
    for (const Far& f : far)
        EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, f.dx, 0), 0, 2, 0, kNearest, f.extend), f.words)
            << f.dx << " " << f.extend;

    // Linear down the column: y = 3 at 1000003 wraps to row 3. Across the
    // wrap seam halfway between rows 3 and 0, (40 * 128 + 10 * 128) >> 8;
    // mirror repeats the last row at the seam.
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 1e6f), 0, 1, 3, kLinear, ExtendMode::Clamp, ExtendMode::Wrap), A8({40}));
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, kLinear, ExtendMode::Clamp, ExtendMode::Wrap), A8({25}));
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, kLinear, ExtendMode::Clamp, ExtendMode::Mirror),
              A8({40}));
}

TEST(SwBitmapSamplerTest, Opacity) {
    // The weight is (truncate(o * 255) AND 255) + 1, not clamped.
    const std::pair<float, int> weights[] = {{1.0f, 256}, {0.5f, 128}, {0.0f, 1}, {2.0f, 255}, {-1.0f, 2},
                                             {std::numeric_limits<float>::quiet_NaN(), 1}};
    for (const auto& w : weights)
        EXPECT_EQ(w.second, SwBitmapSampler(nullptr, ExtendMode::Clamp, ExtendMode::Clamp, kNearest, w.first, Matrix())
                                .GetOpacity())
            << w.first;

    // Each format applies it its own way. Opacity 0 still scales by 1, which
    // takes every byte to 0; XRGB8 gets alpha 255 first; A8 (200 * 128) >> 8
    // = 100 in all bytes; L8 alpha opacity - 1 = 127 and grey (255 * 128) >>
    // 8; 2.0 weighs 255: (255 * 255) >> 8 = 254.
    struct Case {
        std::shared_ptr<SysMemBitmap> bitmap;
        InterpolationMode::Enum mode;
        float opacity;
        uint32_t word;
    };
    const Case cases[] = {
        {Make<uint32_t>(PixelFormat::ARGB8p, {{0xFF8040C0u}}), kNearest, 0.5f, 0x7F402060u},
        {Make<uint32_t>(PixelFormat::ARGB8p, {{0xFF8040C0u}}), kNearest, 0.0f, 0u},
        {Make<uint32_t>(PixelFormat::XRGB8, {{0x00FFFFFFu}}), kLinear, 0.5f, 0x7F7F7F7Fu},
        {Make<int>(PixelFormat::A8, {{200}}), kNearest, 0.5f, 0x64646464u},
        {Make<int>(PixelFormat::L8, {{255}}), kNearest, 0.5f, 0x7F7F7F7Fu},
        {Make<int>(PixelFormat::L8, {{255}}), kNearest, 2.0f, 0xFEFEFEFEu},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Span(c.bitmap, Matrix(), 0, 1, 0, c.mode, ExtendMode::Clamp, ExtendMode::Clamp, c.opacity),
                  Words{c.word})
            << c.bitmap->GetPixelFormat() << " " << c.opacity;
}

TEST(SwBitmapSamplerTest, HighQualitySelectionAndRanges) {
    HighQualityDownsampling hq(true);
    auto big = MakeBitmap(100, 100, PixelFormat::ARGB8p);
    auto make = [&](const Matrix& m, InterpolationMode::Enum mode = kHigh) {
        return std::make_shared<SwBitmapSampler>(big, ExtendMode::Clamp, ExtendMode::Clamp, mode, 1.0f, m);
    };
    // A quarter-size drawing reduces to 25 x 25, a box of 4 x 4 pixels each;
    // the matrix is scaled by 25 / 100 after moving by -0.5 * 4.
    auto quarter = make(Matrix(4, 0, 0, 4, 1.5f, 1.5f));
    EXPECT_EQ(quarter->GetSampling(), SwBitmapSampler::SamplingHighQuality);
    EXPECT_EQ(quarter->GetSampledSize(), Size<int>(25, 25));
    ASSERT_NE(quarter->GetFilter(), nullptr);
    EXPECT_EQ(quarter->GetFilter()->scaleX, 16384);
    EXPECT_EQ(quarter->GetMatrix(), Matrix(1, 0, 0, 1, -0.125f, -0.125f));

    // Only where both axes shrink by more than 1%, in HighQuality, with the
    // process switch on. A quarter turn keeps to the axes; 45 degrees
    // interpolates four reduced pixels.
    const float c = 4.0f * std::sqrt(0.5f);
    const std::pair<Matrix, SwBitmapSampler::Sampling> selections[] = {
        {Matrix(1.01f, 0, 0, 2, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(1.02f, 0, 0, 2, 0, 0), SwBitmapSampler::SamplingHighQuality},
        {Matrix(3, 0, 0, 1, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(1, 0, 0, 3, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(0.5f, 0, 0, 0.5f, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(0, 4, -4, 0, 0, 0), SwBitmapSampler::SamplingHighQuality},
        {Matrix(c, c, -c, c, 0, 0), SwBitmapSampler::SamplingHighQualityL}};
    for (const auto& s : selections) EXPECT_EQ(make(s.first)->GetSampling(), s.second) << s.first.m11;
    EXPECT_EQ(make(Matrix(3, 0, 0, 1, 0, 0))->GetFilter(), nullptr);
    EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0), kLinear)->GetSampling(), SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0), kNearest)->GetSampling(), SwBitmapSampler::SamplingNearest);
    {
        HighQualityDownsampling off(false);
        EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0))->GetSampling(), SwBitmapSampler::SamplingLinear);
    }
    // An image reduced to less than one pixel still has one.
    auto dot = make(Matrix(1000, 0, 0, 1000, 0, 0));
    EXPECT_EQ(dot->GetSampledSize(), Size<int>(1, 1));
    EXPECT_EQ(dot->GetFilter()->rangesX[0].end, 100);
    EXPECT_EQ(dot->GetFilter()->rangesX[0].endWeight, 0u);

    // 10 into 3: ratio 3.3333333, full weight truncate(65536 / ratio) =
    // 19660. [0, 3.33): pixel 0 whole, (65535 * 19660) >> 16; a third of 3,
    // (21844 * 19660) >> 16. [3.33, 6.67): two thirds of 3 and of 6. The
    // last range ends at the image's edge with no weight there. 4 into 2:
    // exact halves.
    SwBitmapSampler::Filter ranges(Size<int>(10, 4), Size<int>(3, 2));
    EXPECT_EQ(ranges.scaleX, 19660);
    EXPECT_EQ(ranges.scaleY, 32768);
    const unsigned int expected[][4] = {{0, 3, 19659, 6552}, {3, 6, 13106, 13106}, {6, 10, 6553, 0}};
    for (int i = 0; i < 3; ++i) {
        const SwBitmapSampler::FilterRange& r = ranges.rangesX[i];
        EXPECT_EQ(expected[i][0], static_cast<unsigned int>(r.start)) << i;
        EXPECT_EQ(expected[i][1], static_cast<unsigned int>(r.end)) << i;
        EXPECT_EQ(expected[i][2], r.startWeight) << i;
        EXPECT_EQ(expected[i][3], r.endWeight) << i;
    }
    EXPECT_EQ(ranges.rangesY[0].end, 2);
    EXPECT_EQ(ranges.rangesY[0].startWeight, 32767u);
    EXPECT_EQ(ranges.rangesY[1].end, 4);
}

TEST(SwBitmapSamplerTest, HighQualityAverages) {
    HighQualityDownsampling hq(true);
    // An 8 x 8 checkerboard of 0 and 255 at a quarter size: each row of a
    // box sums 16383 * v0 + 16384 * (v1 + v2 + v3) to 127 either way, and
    // the rows 127 * 65535 >> 16 = 126. Surface pixels map to 1.5 + 4x.
    auto board = MakeBitmap(8, 8, PixelFormat::A8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) board->GetBuffer().GetPointer(y)[x] = ((x + y) & 1) ? 0 : 255;
    const Matrix quarter(4, 0, 0, 4, 1.5f, 1.5f);
    for (int y = -1; y < 3; ++y) EXPECT_EQ(Span(board, quarter, -1, 3, y, kHigh), Words(4, 0x7E7E7E7Eu));
    // Without the reduction the same positions fall between pixels.
    EXPECT_EQ(Span(board, quarter, 0, 1, 0, kLinear), Words{0x7F7F7F7Fu});

    // Uniform white loses one step per axis: 255 * 65535 >> 16 = 254, then
    // 253; turned a quarter, the same boxes; at 45 degrees the interpolation
    // of equal boxes gives the box. One-bit pixels are summed as bits and
    // scaled by 255 at the end of a row, with the same result.
    const float c = 4.0f * std::sqrt(0.5f);
    auto white = MakeBitmap(16, 16, PixelFormat::ARGB8p, 0xFF);
    EXPECT_EQ(Span(white, quarter, 0, 2, 0, kHigh), Words(2, 0xFDFDFDFDu));
    EXPECT_EQ(Span(white, Matrix(0, 4, -4, 0, 0, 0), 0, 2, 0, kHigh), Words(2, 0xFDFDFDFDu));
    EXPECT_EQ(Span(MakeBitmap(16, 16, PixelFormat::A8, 0xFF), Matrix(c, c, -c, c, 3, 5), -2, 6, 1, kHigh),
              Words(8, 0xFDFDFDFDu));
    EXPECT_EQ(Span(MakeBitmap(8, 8, PixelFormat::A1, 0xFF), quarter, 0, 2, 1, kHigh), Words(2, 0xFDFDFDFDu));

    // A column ramp 0, 10 .. 90 on 10 x 10 at 0.3 reduces to 3 x 3 with the
    // ranges of 10 into 3. Column box 0: 19660 * 30 + 6552 * 30 >> 16 = 11;
    // box 1: (13106 * 30 + 19660 * 90 + 13106 * 60) >> 16 = 44; box 2:
    // (6553 * 60 + 19660 * 240) >> 16 = 77. Rows weigh 65531 to 65533 in
    // all: one less each.
    auto ramp = MakeBitmap(10, 10, PixelFormat::L8);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) ramp->GetBuffer().GetPointer(y)[x] = static_cast<unsigned char>(10 * x);
    const float s = 1.0f / 0.3f;
    SwBitmapSampler reduced(ramp, ExtendMode::Clamp, ExtendMode::Clamp, kHigh, 1.0f,
                            Matrix(s, 0, 0, s, s * 0.5f - 0.5f, s * 0.5f - 0.5f));
    ASSERT_EQ(reduced.GetSampledSize(), Size<int>(3, 3));
    for (int y = 0; y < 3; ++y) EXPECT_EQ(Span(reduced, 0, 3, y), (Words{0xFF0A0A0Au, 0xFF2B2B2Bu, 0xFF4C4C4Cu})) << y;

    // ARGB8 premultiplies each pixel before the average (0x80FF8040 becomes
    // 0x80804020, then each channel loses two steps); P8 averages straight
    // colours to 0x7EFD7E3E and premultiplies after, by 127.
    const Matrix half(2, 0, 0, 2, 0.5f, 0.5f);
    const uint32_t color = 0x80FF8040u;
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::ARGB8, std::vector<Words>(4, Words(4, color))), half, 0, 1, 0, kHigh),
              Words{0x7E7E3E1Eu});
    auto p8 = MakeBitmap(4, 4, PixelFormat::P8);
    p8->SetPalette(std::make_shared<Palette>(&color, 1));
    EXPECT_EQ(Span(p8, half, 0, 1, 0, kHigh), Words{0x7E7D3E1Eu});
}

TEST(SwBitmapSamplerTest, LocksAndBadInput) {
    // The bitmap is locked for reading, whole, while a sampler lives.
    auto bitmap = std::make_shared<CountingBitmap>(Size<int>(4, 4), PixelFormat::A8);
    {
        SwBitmapSampler first(bitmap, ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
        SwBitmapSampler second(bitmap, ExtendMode::Clamp, ExtendMode::Clamp, kLinear, 1.0f, Matrix());
        EXPECT_EQ(bitmap->locks, 2);
        EXPECT_EQ(bitmap->unlocks, 0);
        EXPECT_EQ(bitmap->lastMode, LockMode::Read);
        EXPECT_TRUE(bitmap->lastRectWasNull);
        EXPECT_EQ(Span(first, 0, 1, 0), Words{0x80808080u});
    }
    EXPECT_EQ(bitmap->unlocks, 2);
    // A format outside 1..10 fails after the lock, and the lock is released,
    // even without pixels.
    for (int format : {0, 11, 15}) {
        auto odd = std::make_shared<CountingBitmap>(Size<int>(format == 15 ? 0 : 4, 4), format);
        EXPECT_GRAPHICS_FAILURE(
            (void)SwBitmapSampler(odd, ExtendMode::Clamp, ExtendMode::Clamp, kNearest, 1.0f, Matrix()),
            "SelectSampleProc", "Not implemented");
        EXPECT_EQ(odd->locks, 1);
        EXPECT_EQ(odd->unlocks, 1);
    }

    // Degenerate matrices and extreme spans read inside the image, whatever
    // they deliver.
    HighQualityDownsampling hq(true);
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Matrix matrices[] = {
        Matrix(0, 0, 0, 0, 0, 0),              // what a singular brush gives before the inverse
        Matrix(inf, inf, inf, inf, inf, inf),  // and after it
        Matrix(nan, nan, nan, nan, nan, nan),      Matrix(1, 0, 0, 1, nan, 0), Matrix(-inf, 0, 0, inf, 0, 0),
        Matrix(1e30f, 0, 0, 1e30f, -1e30f, 1e30f),  // positions beyond any int
        Matrix(1e30f, 1e30f, -1e30f, 1e30f, 0, 0),  // reduced to one pixel, turned
        Matrix(1e20f, 0, 0, 3e9f, 0, 0),           Matrix(3e9f, 1, 1, 3e9f, -2e9f, -2e9f),
        Matrix(1e-30f, 0, 0, 1e-30f, 0, 0),
    };
    for (PixelFormat::Enum format : kAllFormats) {
        auto bitmap5 = MakeBitmap(5, 3, format, 0x5A);
        for (const Matrix& m : matrices)
            for (InterpolationMode::Enum mode : kAllModes)
                for (ExtendMode::Enum ex : kAllExtends)
                    for (ExtendMode::Enum ey : kAllExtends) {
                        SwBitmapSampler sampler(bitmap5, ex, ey, mode, 0.7f, m);
                        Span(sampler, -3, 4, 1);
                        Span(sampler, INT_MAX - 2, INT_MAX, INT_MIN);
                        Span(sampler, INT_MIN, INT_MIN + 2, INT_MAX);
                    }
        // Images without pixels paint transparent black in every mode.
        for (const Size<int>& size : {Size<int>(0, 0), Size<int>(5, 0), Size<int>(0, 5)}) {
            auto empty = std::make_shared<SysMemBitmap>(size, format, 96.0f, 96.0f);
            for (InterpolationMode::Enum mode : kAllModes) {
                SwBitmapSampler sampler(empty, ExtendMode::Wrap, ExtendMode::Mirror, mode, 1.0f,
                                        Matrix(0.1f, 0, 0, 0.1f, -3, 2));
                EXPECT_EQ(sampler.GetSampling(), SwBitmapSampler::SamplingNone);
                EXPECT_EQ(Span(sampler, -2, 3, 1), Words(5, 0u));
            }
        }
    }
    // So does no source at all; empty and inverted spans write nothing.
    SwBitmapSampler none(nullptr, ExtendMode::Wrap, ExtendMode::Mirror, kHigh, 1.0f, Matrix());
    EXPECT_EQ(Span(none, 0, 3, 0), Words(3, 0u));
    SwBitmapSampler one(Make<int>(PixelFormat::A8, {{1}}), ExtendMode::Clamp, ExtendMode::Clamp, kNearest, 1.0f,
                        Matrix());
    EXPECT_TRUE(Span(one, 5, 5, 0).empty());
    uint32_t guard = 0xDEADBEEFu;
    one.FillSpan(6, 5, 0, reinterpret_cast<unsigned char*>(&guard));
    EXPECT_EQ(guard, 0xDEADBEEFu);
}

TEST(SwBitmapSamplerTest, SpansMatchAccumulatedSamples) {
    // Spans without rotation take faster routes: rows chosen once, positions
    // four at a time, a plain copy at a unit step, and column tables kept
    // for spans that start where earlier ones did. Every span must equal one
    // Sample a pixel at the positions accumulated by float additions, for
    // every format, extension and placement, including positions too far out
    // for an exact weight. Scales like 256 / size make the accumulated
    // positions round.
    using namespace RandomizedCompare;
    const float scales[] = {1.0f, 1.0f, -1.0f, 4.0f, 16.0f, 0.25f, 0.5f, 1.5f, 0.7f, 3.0f / 7.0f, 2.0f, 0.0f,
                            256.0f / 13.0f, 256.0f / 100.0f, 0.3f, 1.0f / 3.0f, -2.5f, 5.0f / 7.0f};
    const float faraway[] = {3.0e9f, -3.0e9f, std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
    EXPECT_TRUE(AllRoundsMatch(12345u, 600, [&](Round& r) {
        std::mt19937& random = r.random;
        const PixelFormat::Enum format = Pick(random, kAllFormats);
        // Now and then wide enough for runs of eight columns inside.
        auto bitmap = MakeBitmap(random() % 4 == 0 ? Int(random, 20, 70) : Int(random, 1, 19), Int(random, 1, 11),
                                 format);
        PixelBuffer& buffer = bitmap->GetBuffer();
        for (int i = 0; i < buffer.stride * bitmap->GetSize().height; ++i)
            buffer.data[i] = static_cast<unsigned char>(random());
        if (PixelFormat::IsIndexed(format)) {
            Words colors(256);
            for (uint32_t& c : colors) c = static_cast<uint32_t>(random());
            bitmap->SetPalette(std::make_shared<Palette>(colors.data(), 256));
        }
        const InterpolationMode::Enum mode = random() % 2 ? kNearest : kLinear;
        const ExtendMode::Enum ex = Pick(random, kAllExtends);
        const ExtendMode::Enum ey = Pick(random, kAllExtends);
        // Whole, half and arbitrary offsets, far left and right too.
        float dx = static_cast<float>(Int(random, -30, 30));
        float dy = static_cast<float>(Int(random, -10, 10));
        if (random() % 3 == 0) dx += static_cast<float>(Int(random, 0, 999)) / 1000.0f;
        if (random() % 3 == 0) dy += 0.5f;
        if (random() % 7 == 0) dx += 600.0f;
        if (random() % 15 == 0) dx = Pick(random, faraway);
        // Mostly without shear, so that spans from one start can share their
        // columns.
        const float m21 = random() % 5 == 0 ? 0.5f : 0.0f;
        const float opacity = random() % 3 == 0 ? 0.6f : 1.0f;
        const Matrix m(Pick(random, scales), 0.0f, m21, Pick(random, scales), dx, dy);
        SwBitmapSampler sampler(bitmap, ex, ey, mode, opacity, m);
        r.note << "format " << format << " mode " << mode << " extend " << ex << "," << ey << " matrix " << m.m11
               << " " << m.m21 << " " << m.m22 << " " << m.dx << " " << m.dy << " opacity " << opacity;
        // Six starts: more than are kept at once, so that some are dropped
        // and built again.
        int starts[6];
        for (int& s : starts) s = random() % 2 ? Int(random, -150, 150) : Int(random, -40, 80);
        for (int span = 0; span < 12; ++span) {
            const int x0 = Pick(random, starts);
            const int x1 = x0 + Int(random, 1, random() % 4 == 0 ? 200 : 40);
            const int y = Int(random, -100, 100);
            Point<float> p((static_cast<float>(y) * m.m21 + static_cast<float>(x0) * m.m11) + m.dx,
                           (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy);
            Words reference;
            for (int x = x0; x < x1; ++x, p.x += m.m11) reference.push_back(sampler.Sample(p));
            r.Compare("span", Span(sampler, x0, x1, y), reference);
        }
    }));
}
