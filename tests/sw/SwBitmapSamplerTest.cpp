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
const ExtendMode::Enum kClamp = ExtendMode::Clamp;
// Sets the process-wide high-quality switch for one scope.
struct HighQualityDownsampling {
    explicit HighQualityDownsampling(bool on) { std::swap(on, g_RuntimeParameters.highQualityDownsampling), saved = on; }
    ~HighQualityDownsampling() { g_RuntimeParameters.highQualityDownsampling = saved; }
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
    for (size_t y = 0; y < rows.size(); ++y) {
        unsigned char* row = bitmap->GetBuffer().GetPointer(static_cast<int>(y));
        for (size_t x = 0; x < rows[y].size(); ++x)
            if (std::is_same<T, uint32_t>::value)
                std::memcpy(row + 4 * x, &rows[y][x], 4);
            else
                row[x] = static_cast<unsigned char>(rows[y][x]);
    }
    return bitmap;
}
SwBitmapSampler Sampler(std::shared_ptr<BitmapSource> bitmap, InterpolationMode::Enum mode = kLinear,
                        const Matrix& matrix = Matrix(), ExtendMode::Enum ex = kClamp, float opacity = 1.0f) {
    return SwBitmapSampler(bitmap, ex, kClamp, mode, opacity, matrix);
}
Words Span(SwBitmapSampler& sampler, int x0, int x1, int y) {
    Words row(static_cast<size_t>(x1 - x0) + 2, 0xDEADBEEFu);
    sampler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), 0xDEADBEEFu);
    EXPECT_EQ(row.back(), 0xDEADBEEFu);
    return Words(row.begin() + 1, row.end() - 1);
}
Words Span(std::shared_ptr<BitmapSource> bitmap, const Matrix& matrix, int x0, int x1, int y,
           InterpolationMode::Enum mode = kNearest, ExtendMode::Enum extendX = kClamp, ExtendMode::Enum extendY = kClamp,
           float opacity = 1.0f) {
    SwBitmapSampler sampler(bitmap, extendX, extendY, mode, opacity, matrix);
    return Span(sampler, x0, x1, y);
}
// Byte values as the words of A8: v in all four bytes.
Words A8(std::vector<uint32_t> v) {
    for (auto& x : v) x *= 0x01010101u;
    return v;
}
// Lockable pixels, with any format number, that count their locks.
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
        data.stride = data.rowBytes = 16;
        return data;
    }
    void Unlock() override { ++unlocks; }
    std::vector<unsigned char> pixels;
    int locks = 0, unlocks = 0;
    LockMode::Enum lastMode = LockMode::Write;
    bool lastRectWasNull = false;
};

}  // namespace

TEST(SwBitmapSamplerTest, ExtendFunctions) {
    // Mirror repeats the edge pixel going right (3 at 3 and 4) but not left; extremes take the magnitude
    // unsigned: 2147483647 = 536870911 * 4 + 3 (q odd), 2^31 = 715827882 * 3 + 2.
    const int cases[][5] = {{4, -5, 0, 3, 2}, {4, -1, 0, 3, 1},      {4, 4, 3, 0, 3},       {4, 6, 3, 2, 1},
                            {4, 9, 3, 1, 1},  {4, INT_MAX, 3, 3, 0}, {3, INT_MIN, 0, 1, 2}, {1, INT_MIN, 0, 0, 0}};
    for (const auto& k : cases) {
        EXPECT_EQ(k[2], SwExtend::Clamp(k[0], k[1])) << k[0] << ", " << k[1];
        EXPECT_EQ(k[3], SwExtend::Wrap(k[0], k[1])) << k[0] << ", " << k[1];
        EXPECT_EQ(k[4], SwExtend::Mirror(k[0], k[1])) << k[0] << ", " << k[1];
    }
    EXPECT_EQ(SwExtend::SelectExtendProc(static_cast<ExtendMode::Enum>(3)), &SwExtend::Clamp);
}

TEST(SwBitmapSamplerTest, ConversionsAndPalettes) {
    // ARGB8 premultiplies by alpha + 1; ARGB8p passes even invalid words; XRGB8 ignores the top byte; RGB8 is
    // blue, green, red; A8 is white at alpha v, L8 opaque grey; one-bit rows keep the leftmost pixel on top.
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::ARGB8, {{0x80FF8040u, 0xFF123456u, 0x00FFFFFFu}}), Matrix(), 0, 3, 0),
              (Words{0x80804020u, 0xFF123456u, 0u}));
    EXPECT_EQ(Span(Make<uint32_t>(PixelFormat::ARGB8p, {{0x10FFFFFFu}}), Matrix(), 0, 1, 0), (Words{0x10FFFFFFu}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::RGB8, {{0x56, 0x34, 0x12, 0xAA, 0xBB, 0xCC}}, 2), Matrix(), 0, 2, 0),
              (Words{0xFF123456u, 0xFFCCBBAAu}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::A8, {{0, 0x80}}), Matrix(), 0, 2, 0), A8({0, 0x80}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::L8, {{0x80}}), Matrix(), 0, 1, 0), (Words{0xFF808080u}));
    EXPECT_EQ(Span(Make<int>(PixelFormat::A1, {{0xA0, 0x01}}, 16), Matrix(), 0, 4, 0), A8({255, 0, 255, 0}));
    // Indices beyond the palette read transparent black. Between transparent red and opaque blue the straight
    // colours interpolate to 0x7F80007F, then premultiply by 128; ARGB8 premultiplies first: Scale(blue, 128).
    const uint32_t colors[] = {0x00FF0000u, 0xFF0000FFu, 0x80FF8040u};
    auto palette = std::make_shared<Palette>(colors, 3);
    auto p8 = Make<int>(PixelFormat::P8, {{0, 1, 2, 3, 255}});
    p8->SetPalette(palette);
    EXPECT_EQ(Span(p8, Matrix(), 0, 5, 0), (Words{0u, 0xFF0000FFu, 0x80804020u, 0u, 0u}));
    EXPECT_EQ(Sampler(p8).Sample(Point<float>(0.5f, 0.0f)), 0x7F40003Fu);
    EXPECT_EQ(Sampler(Make<uint32_t>(PixelFormat::ARGB8, {{0x00FF0000u, 0xFF0000FFu}})).Sample(Point<float>(0.5f, 0)),
              0x7F00007Fu);
    auto p1 = Make<int>(PixelFormat::P1, {{0x40}}, 8);  // pixels 0, 1, 0, 0...
    p1->SetPalette(palette);
    EXPECT_EQ(Span(p1, Matrix(), 0, 3, 0), (Words{0u, 0xFF0000FFu, 0u}));
    // Without a palette the indexed formats paint transparent black.
    EXPECT_EQ(Span(Make<int>(PixelFormat::P8, {{0, 1, 2}}), Matrix(0.3f, 0, 0, 0.3f, 0, 0), 0, 3, 0, kHigh), Words(3, 0u));
    EXPECT_EQ(Span(Make<int>(PixelFormat::P1, {{0xFF}}, 8), Matrix(), 0, 3, 0), Words(3, 0u));
}

TEST(SwBitmapSamplerTest, NearestPositions) {
    auto row = Make<int>(PixelFormat::L8, {{10, 20, 30, 40}});
    auto grey = [](uint32_t v) { return 0xFF000000u | v * 0x010101u; };
    // p + 0.5 truncates toward zero: -1.5 < p < 0.5 is pixel 0; -1.6 gives -1, extended each mode's way.
    const struct { ExtendMode::Enum extend; float x, y; uint32_t value; } cases[] = {
        {kClamp, -1.4f, 0, 10}, {kClamp, 0.49f, 0, 10}, {kClamp, 0.5f, 0, 20}, {kClamp, 2.5f, -1.4f, 40},
                 {ExtendMode::Wrap, -1.6f, 0, 40}, {ExtendMode::Mirror, -1.6f, 0, 20}};
    for (const auto& c : cases)
        EXPECT_EQ(grey(c.value), Sampler(row, kNearest, Matrix(), c.extend).Sample(Point<float>(c.x, c.y))) << c.x;
    // Positions accumulate along the span: at a step of 0.15 the eleventh sits at 1.4999999, pixel 1, where
    // one computed afresh would read pixel 2.
    const Words stepped = Span(Make<int>(PixelFormat::A8, {{0, 1, 2, 3, 4}}), Matrix(0.15f, 0, 0, 1, 0, 0), 0, 11, 0);
    EXPECT_EQ(stepped[10], 0x01010101u);
    // After a quarter turn x steps down the column.
    auto grid = Make<int>(PixelFormat::A8, {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    EXPECT_EQ(Span(grid, Matrix(0, 1, 1, 0, 0, 0), 0, 3, 2), A8({3, 7, 11}));
}

TEST(SwBitmapSamplerTest, LinearWeights) {
    // 0 and 255 at 0.5: f = 128, 255 * 128 >> 8 = 127. Between -1 and 0 the weights mirror about 0: -0.25 reads
    // like 0.25, 63; past the right edge the clamp gives pixel 1 twice; wrapping blends the last into the first.
    auto l8 = Make<int>(PixelFormat::L8, {{0, 255}});
    const struct { ExtendMode::Enum extend; float x; uint32_t value; } cases[] = {
        {kClamp, 0.5f, 0x7F}, {kClamp, -0.25f, 0x3F}, {kClamp, -0.75f, 0xBF}, {kClamp, 1.5f, 0xFF},
                 {ExtendMode::Wrap, 1.25f, 0xBF}};
    for (const auto& c : cases)
        EXPECT_EQ(0xFF000000u | c.value * 0x010101u, Sampler(l8, kLinear, Matrix(), c.extend).Sample(Point<float>(c.x, 0)))
            << c.x;
    // Words: Scale(b, f) + Scale(a, 257 - f); f = 1 keeps a. Opaque white stays white at every weight.
    auto word = Sampler(Make<uint32_t>(PixelFormat::ARGB8p, {{0x80402010u, 0xFF80C0F0u}}));
    EXPECT_EQ(word.Sample(Point<float>(0.5f, 0)), 0xBF607080u);
    auto whites = Sampler(Make<uint32_t>(PixelFormat::ARGB8p, {{~0u, ~0u}}));
    for (int f = 1; f < 256; ++f) EXPECT_EQ(whites.Sample(Point<float>(f / 256.0f, 0)), 0xFFFFFFFFu) << f;
    // (0.25, 0.75): top 25, bottom (200 * 192 + 255 * 64) >> 8 = 213, then 166; one-bit pixels are 0 and 255.
    auto two = Sampler(Make<int>(PixelFormat::A8, {{0, 100}, {200, 255}}));
    EXPECT_EQ(two.Sample(Point<float>(0.25f, 0.75f)), 166u * 0x01010101u);
    EXPECT_EQ(Sampler(Make<int>(PixelFormat::A1, {{0x40}}, 8)).Sample(Point<float>(0.25f, 0)), 63u * 0x01010101u);
}

TEST(SwBitmapSamplerTest, ExtendModesInSpans) {
    auto row = Make<int>(PixelFormat::A8, {{10, 20, 30, 40}});
    auto column = Make<int>(PixelFormat::A8, {{10}, {20}, {30}, {40}});
    // Each axis its own mode: x from -6 to 9 (left of 0, x + 0.5 truncates toward zero, so -6 reads -5).
    const Words mirrored = A8({30, 40, 40, 30, 20, 10, 10, 20, 30, 40, 40, 30, 20, 10, 10, 20});
    EXPECT_EQ(Span(row, Matrix(), -6, 10, 0, kNearest, ExtendMode::Mirror, ExtendMode::Wrap), mirrored);
    Words down;
    for (int y = -6; y < 10; ++y) down.push_back(Span(column, Matrix(), 0, 1, y, kNearest, kClamp, ExtendMode::Mirror)[0]);
    EXPECT_EQ(down, mirrored);
    // Linear across the wrap seam between rows 3 and 0: (40 + 10) * 128 >> 8; mirror repeats the last row.
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, kLinear, kClamp, ExtendMode::Wrap), A8({25}));
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, kLinear, kClamp, ExtendMode::Mirror), A8({40}));
}

TEST(SwBitmapSamplerTest, Opacity) {
    // The weight (truncate(o * 255) AND 255) + 1, each format its own way: XRGB8 is opaque first; A8 200 * 128
    // >> 8 in all bytes; L8 alpha 127 and grey (255 * 128) >> 8; opacity 0 still scales by 1; 2.0 weighs 255.
    const struct { std::shared_ptr<SysMemBitmap> bitmap; InterpolationMode::Enum mode; float opacity; uint32_t word; } cases[] = {
        {Make<uint32_t>(PixelFormat::ARGB8p, {{0xFF8040C0u}}), kNearest, 0.5f, 0x7F402060u},
        {Make<uint32_t>(PixelFormat::ARGB8p, {{0xFF8040C0u}}), kNearest, 0.0f, 0u},
        {Make<uint32_t>(PixelFormat::XRGB8, {{0x00FFFFFFu}}), kLinear, 0.5f, 0x7F7F7F7Fu},
        {Make<int>(PixelFormat::A8, {{200}}), kNearest, 0.5f, 0x64646464u},
        {Make<int>(PixelFormat::L8, {{255}}), kNearest, 0.5f, 0x7F7F7F7Fu},
        {Make<int>(PixelFormat::L8, {{255}}), kNearest, 2.0f, 0xFEFEFEFEu},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Span(c.bitmap, Matrix(), 0, 1, 0, c.mode, kClamp, kClamp, c.opacity), Words{c.word}) << c.opacity;
}

TEST(SwBitmapSamplerTest, HighQualitySelectionAndRanges) {
    HighQualityDownsampling hq(true);
    auto big = MakeBitmap(100, 100, PixelFormat::ARGB8p);
    auto make = [&](const Matrix& m, InterpolationMode::Enum mode = kHigh) {
        return std::make_shared<SwBitmapSampler>(big, kClamp, kClamp, mode, 1.0f, m);
    };
    // Only where both axes shrink by more than 1%, in HighQuality, with the switch on; 45 degrees interpolates.
    const float c = 4.0f * std::sqrt(0.5f);
    const std::pair<Matrix, SwBitmapSampler::Sampling> selections[] = {
        {Matrix(1.01f, 0, 0, 2, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(1.02f, 0, 0, 2, 0, 0), SwBitmapSampler::SamplingHighQuality},
        {Matrix(3, 0, 0, 1, 0, 0), SwBitmapSampler::SamplingLinear},
        {Matrix(0, 4, -4, 0, 0, 0), SwBitmapSampler::SamplingHighQuality},
        {Matrix(c, c, -c, c, 0, 0), SwBitmapSampler::SamplingHighQualityL}};
    for (const auto& s : selections) EXPECT_EQ(make(s.first)->GetSampling(), s.second) << s.first.m11;
    EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0), kLinear)->GetSampling(), SwBitmapSampler::SamplingLinear);
    {
        HighQualityDownsampling off(false);
        EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0))->GetSampling(), SwBitmapSampler::SamplingLinear);
    }
    EXPECT_EQ(make(Matrix(1000, 0, 0, 1000, 0, 0))->GetSampledSize(), Size<int>(1, 1));  // never below one pixel
}

TEST(SwBitmapSamplerTest, HighQualityAverages) {
    HighQualityDownsampling hq(true);
    // An 8 x 8 checkerboard at a quarter: each box row sums 16383 * v0 + 16384 * (v1 + v2 + v3) to 127, the
    // rows 127 * 65535 >> 16 = 126; without the reduction the same positions fall between pixels.
    auto board = MakeBitmap(8, 8, PixelFormat::A8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) board->GetBuffer().GetPointer(y)[x] = ((x + y) & 1) ? 0 : 255;
    const Matrix quarter(4, 0, 0, 4, 1.5f, 1.5f);
    for (int y = -1; y < 3; ++y) EXPECT_EQ(Span(board, quarter, -1, 3, y, kHigh), Words(4, 0x7E7E7E7Eu));
    EXPECT_EQ(Span(board, quarter, 0, 1, 0, kLinear), Words{0x7F7F7F7Fu});
    // Uniform white loses a step per axis, 254 then 253; at 45 degrees the interpolation of equal boxes is the
    // box; one-bit pixels are summed as bits and scaled by 255 at the end of a row.
    const float c = 4.0f * std::sqrt(0.5f);
    EXPECT_EQ(Span(MakeBitmap(16, 16, PixelFormat::ARGB8p, 0xFF), Matrix(0, 4, -4, 0, 0, 0), 0, 2, 0, kHigh),
              Words(2, 0xFDFDFDFDu));
    EXPECT_EQ(Span(MakeBitmap(16, 16, PixelFormat::A8, 0xFF), Matrix(c, c, -c, c, 3, 5), -2, 6, 1, kHigh),
              Words(8, 0xFDFDFDFDu));
    EXPECT_EQ(Span(MakeBitmap(8, 8, PixelFormat::A1, 0xFF), quarter, 0, 2, 1, kHigh), Words(2, 0xFDFDFDFDu));
    // Columns 0, 10 .. 90 at 0.3, 10 into 3: box 0 (19660 * 30 + 6552 * 30) >> 16 = 11; box 1 (13106 * 30 +
    // 19660 * 90 + 13106 * 60) >> 16 = 44; box 2 (6553 * 60 + 19660 * 240) >> 16 = 77; rows take one off each.
    auto ramp = MakeBitmap(10, 10, PixelFormat::L8);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) ramp->GetBuffer().GetPointer(y)[x] = static_cast<unsigned char>(10 * x);
    const float s = 1.0f / 0.3f;
    auto reduced = Sampler(ramp, kHigh, Matrix(s, 0, 0, s, s * 0.5f - 0.5f, s * 0.5f - 0.5f));
    ASSERT_EQ(reduced.GetSampledSize(), Size<int>(3, 3));
    for (int y = 0; y < 3; ++y) EXPECT_EQ(Span(reduced, 0, 3, y), (Words{0xFF0A0A0Au, 0xFF2B2B2Bu, 0xFF4C4C4Cu})) << y;
    // ARGB8 premultiplies each pixel before the average, then loses two steps a channel; P8 averages straight
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
    // Locked for reading, whole, while a sampler lives.
    auto bitmap = std::make_shared<CountingBitmap>(Size<int>(4, 4), PixelFormat::A8);
    {
        auto first = Sampler(bitmap);
        auto second = Sampler(bitmap);
        EXPECT_TRUE(bitmap->locks == 2 && bitmap->unlocks == 0 && bitmap->lastRectWasNull);
        EXPECT_EQ(bitmap->lastMode, LockMode::Read);
        EXPECT_EQ(Span(first, 0, 1, 0), Words{0x80808080u});
    }
    EXPECT_EQ(bitmap->unlocks, 2);
    // A format outside 1..10 fails after the lock, which is released, even without pixels.
    for (int format : {0, 11, 15}) {
        auto odd = std::make_shared<CountingBitmap>(Size<int>(format == 15 ? 0 : 4, 4), format);
        EXPECT_GRAPHICS_FAILURE((void)Sampler(odd, kNearest), "SelectSampleProc", "Not implemented");
        EXPECT_TRUE(odd->locks == 1 && odd->unlocks == 1) << format;
    }
    // Degenerate matrices and extreme spans read inside the image (the sanitizers check), whatever they deliver.
    HighQualityDownsampling hq(true);
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Matrix matrices[] = {
        Matrix(0, 0, 0, 0, 0, 0), Matrix(inf, inf, inf, inf, inf, inf), Matrix(nan, nan, nan, nan, nan, nan),
        Matrix(1, 0, 0, 1, nan, 0), Matrix(-inf, 0, 0, inf, 0, 0), Matrix(1e30f, 0, 0, 1e30f, -1e30f, 1e30f),
        Matrix(1e30f, 1e30f, -1e30f, 1e30f, 0, 0), Matrix(3e9f, 1, 1, 3e9f, -2e9f, -2e9f), Matrix(1e-30f, 0, 0, 1e-30f, 0, 0)};
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
        for (const Size<int>& size : {Size<int>(0, 0), Size<int>(5, 0), Size<int>(0, 5)})
            for (InterpolationMode::Enum mode : kAllModes) {
                SwBitmapSampler sampler(std::make_shared<SysMemBitmap>(size, format, 96.0f, 96.0f), ExtendMode::Wrap,
                                        ExtendMode::Mirror, mode, 1.0f, Matrix(0.1f, 0, 0, 0.1f, -3, 2));
                EXPECT_EQ(Span(sampler, -2, 3, 1), Words(5, 0u));
            }
    }
    // So does no source at all; empty and inverted spans write nothing.
    auto none = Sampler(nullptr, kHigh), one = Sampler(Make<int>(PixelFormat::A8, {{1}}), kNearest);
    EXPECT_EQ(Span(none, 0, 3, 0), Words(3, 0u));
    uint32_t guard = 0xDEADBEEFu;
    one.FillSpan(6, 5, 0, reinterpret_cast<unsigned char*>(&guard));
    EXPECT_EQ(guard, 0xDEADBEEFu);
}

TEST(SwBitmapSamplerTest, SpansMatchAccumulatedSamples) {
    // Unrotated spans take faster routes (rows chosen once, four positions at a time, a plain copy at a unit
    // step, column tables kept for repeated starts); every span must equal Sample at the positions accumulated
    // by float additions, positions too far out for an exact weight included. Scales like 256 / size round.
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
        // Mostly without shear, so that spans from one start can share their columns.
        const float m21 = random() % 5 == 0 ? 0.5f : 0.0f;
        const float opacity = random() % 3 == 0 ? 0.6f : 1.0f;
        const Matrix m(Pick(random, scales), 0.0f, m21, Pick(random, scales), dx, dy);
        SwBitmapSampler sampler(bitmap, ex, ey, mode, opacity, m);
        r.note << "format " << format << " mode " << mode << " extend " << ex << "," << ey << " matrix " << m.m11
               << " " << m.m21 << " " << m.m22 << " " << m.dx << " " << m.dy << " opacity " << opacity;
        // Six starts, more than are kept at once, so that some are dropped and built again.
        int starts[6];
        for (int& s : starts) s = random() % 2 ? Int(random, -150, 150) : Int(random, -40, 80);
        for (int span = 0; span < 12; ++span) {
            const int x0 = Pick(random, starts);
            // A lone column now and then: the end of an unaligned rectangle's rows.
            const int x1 = x0 + (random() % 4 == 0 ? 1 : Int(random, 1, random() % 4 == 0 ? 200 : 40));
            const int y = Int(random, -100, 100);
            Point<float> p((static_cast<float>(y) * m.m21 + static_cast<float>(x0) * m.m11) + m.dx,
                           (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy);
            Words reference;
            for (int x = x0; x < x1; ++x, p.x += m.m11) reference.push_back(sampler.Sample(p));
            r.Compare("span", Span(sampler, x0, x1, y), reference);
            // Where the words are said to lie in the image, they must be these.
            if (const uint32_t* words = sampler.SpanWords(x0, x1, y))
                r.Compare("words", Words(words, words + (x1 - x0)), reference);
            // Rows filled at once must be the rows' spans, each on its own row.
            const int rows = Int(random, 1, 9);
            Words block(static_cast<size_t>((x1 - x0) * rows), 0xDEADBEEFu);
            if (sampler.FillRows(x0, x1, y, rows, reinterpret_cast<unsigned char*>(block.data()), 4 * (x1 - x0),
                                 nullptr, nullptr)) {
                Words spans;
                for (int k = 0; k < rows; ++k) {
                    const Words row = Span(sampler, x0, x1, y + k);
                    spans.insert(spans.end(), row.begin(), row.end());
                }
                r.Compare("rows", block, spans);
            }
        }
    }));
}
