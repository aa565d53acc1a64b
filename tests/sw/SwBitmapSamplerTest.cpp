#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "Graphics/Bitmap.h"
#include "Graphics/Runtime.h"
#include "LogCapture.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwBitmapSampler.h"
#include "sw/SwExtend.h"

using namespace Graphics;

namespace {

const PixelFormat::Enum kAllFormats[] = {PixelFormat::RGB8, PixelFormat::ARGB8p, PixelFormat::ARGB8, PixelFormat::XRGB8,
                                         PixelFormat::A8,   PixelFormat::P8,     PixelFormat::L8,    PixelFormat::A1,
                                         PixelFormat::P1,   PixelFormat::L1};

const InterpolationMode::Enum kAllModes[] = {InterpolationMode::Nearest, InterpolationMode::Linear,
                                             InterpolationMode::HighQuality};

const ExtendMode::Enum kAllExtends[] = {ExtendMode::Clamp, ExtendMode::Wrap, ExtendMode::Mirror};

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

std::shared_ptr<SysMemBitmap> MakeBitmap(int width, int height, PixelFormat::Enum format) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(width, height), format, 96.0f, 96.0f);
    PixelBuffer& buffer = bitmap->GetBuffer();
    std::memset(buffer.data, 0, static_cast<size_t>(buffer.stride) * height + 1);
    return bitmap;
}

// An 8-bit bitmap from rows of values.
std::shared_ptr<SysMemBitmap> MakeBytes(PixelFormat::Enum format, const std::vector<std::vector<int>>& rows) {
    auto bitmap = MakeBitmap(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), format);
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x)
            bitmap->GetBuffer().GetPointer(static_cast<int>(y))[x] = static_cast<unsigned char>(rows[y][x]);
    return bitmap;
}

// A one-bit bitmap `width` pixels wide from rows of bytes.
std::shared_ptr<SysMemBitmap> MakeBits(PixelFormat::Enum format, int width, const std::vector<std::vector<int>>& rows) {
    auto bitmap = MakeBitmap(width, static_cast<int>(rows.size()), format);
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x)
            bitmap->GetBuffer().GetPointer(static_cast<int>(y))[x] = static_cast<unsigned char>(rows[y][x]);
    return bitmap;
}

// A 32-bit bitmap from rows of words.
std::shared_ptr<SysMemBitmap> MakeWords(PixelFormat::Enum format, const std::vector<std::vector<uint32_t>>& rows) {
    auto bitmap = MakeBitmap(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), format);
    for (size_t y = 0; y < rows.size(); ++y)
        std::memcpy(bitmap->GetBuffer().GetPointer(static_cast<int>(y)), rows[y].data(), rows[y].size() * 4);
    return bitmap;
}

std::vector<uint32_t> Span(SwBitmapSampler& sampler, int x0, int x1, int y) {
    std::vector<uint32_t> row(static_cast<size_t>(x1 - x0) + 2, 0xDEADBEEFu);
    sampler.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data() + 1));
    EXPECT_EQ(row.front(), 0xDEADBEEFu);
    EXPECT_EQ(row.back(), 0xDEADBEEFu);
    return std::vector<uint32_t>(row.begin() + 1, row.end() - 1);
}

std::vector<uint32_t> Span(std::shared_ptr<BitmapSource> bitmap, const Matrix& matrix, int x0, int x1, int y,
                           InterpolationMode::Enum mode = InterpolationMode::Nearest,
                           ExtendMode::Enum extendX = ExtendMode::Clamp, ExtendMode::Enum extendY = ExtendMode::Clamp,
                           float opacity = 1.0f) {
    SwBitmapSampler sampler(bitmap, extendX, extendY, mode, opacity, matrix);
    return Span(sampler, x0, x1, y);
}

uint32_t Premultiplied(uint32_t c) {
    const uint32_t a = c >> 24;
    if (a == 255) return c;
    uint32_t result = a << 24;
    for (int shift = 0; shift < 24; shift += 8) result |= ((((c >> shift) & 255u) * (a + 1)) >> 8) << shift;
    return result;
}

// What a pixel of the buffer must become, read independently of the sampler.
uint32_t ExpectedCopy(SysMemBitmap& bitmap, const uint32_t* palette, int x, int y) {
    const unsigned char* row = bitmap.GetBuffer().GetPointer(y);
    const unsigned bit = (row[x / 8] >> (7 - x % 8)) & 1u;
    uint32_t word = 0;
    if (PixelFormat::GetBitsPerPixel(bitmap.GetPixelFormat()) == 32) std::memcpy(&word, row + 4 * x, 4);
    switch (bitmap.GetPixelFormat()) {
        case PixelFormat::RGB8:
            return 0xFF000000u | row[3 * x + 2] << 16 | row[3 * x + 1] << 8 | row[3 * x];
        case PixelFormat::ARGB8p:
            return word;
        case PixelFormat::ARGB8:
            return Premultiplied(word);
        case PixelFormat::XRGB8:
            return word | 0xFF000000u;
        case PixelFormat::A8:
            return row[x] * 0x01010101u;
        case PixelFormat::L8:
            return 0xFF000000u | row[x] * 0x00010101u;
        case PixelFormat::P8:
            return Premultiplied(palette[row[x]]);
        case PixelFormat::A1:
            return bit ? 0xFFFFFFFFu : 0u;
        case PixelFormat::L1:
            return bit ? 0xFFFFFFFFu : 0xFF000000u;
        case PixelFormat::P1:
            return Premultiplied(palette[bit]);
    }
    return 0;
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
    // Clamp at size 4.
    EXPECT_EQ(SwExtend::Clamp(4, -3), 0);
    EXPECT_EQ(SwExtend::Clamp(4, 0), 0);
    EXPECT_EQ(SwExtend::Clamp(4, 3), 3);
    EXPECT_EQ(SwExtend::Clamp(4, 9), 3);
    EXPECT_EQ(SwExtend::Clamp(4, INT_MIN), 0);
    EXPECT_EQ(SwExtend::Clamp(4, INT_MAX), 3);

    // Wrap at size 4.
    EXPECT_EQ(SwExtend::Wrap(4, -1), 3);
    EXPECT_EQ(SwExtend::Wrap(4, -4), 0);
    EXPECT_EQ(SwExtend::Wrap(4, -5), 3);
    EXPECT_EQ(SwExtend::Wrap(4, 4), 0);
    EXPECT_EQ(SwExtend::Wrap(4, 6), 2);
    EXPECT_EQ(SwExtend::Wrap(4, INT_MIN), 0);
    EXPECT_EQ(SwExtend::Wrap(4, INT_MAX), 3);
    EXPECT_EQ(SwExtend::Wrap(3, INT_MIN), 1);  // -2147483648 = -715827882 * 3 - 2

    // Mirror at size 4: not a reflection about the edges.
    const int mirror[] = {0, 1, 2, 3, 3, 2, 1, 0, 0, 1};
    for (int c = 0; c < 10; ++c) EXPECT_EQ(SwExtend::Mirror(4, c), mirror[c]) << c;
    EXPECT_EQ(SwExtend::Mirror(4, -1), 1);
    EXPECT_EQ(SwExtend::Mirror(4, -4), 3);
    EXPECT_EQ(SwExtend::Mirror(4, INT_MAX), 0);  // 2147483647 = 536870911 * 4 + 3, q odd
    EXPECT_EQ(SwExtend::Mirror(4, INT_MIN), 0);  // magnitude 2^31, q even
    EXPECT_EQ(SwExtend::Mirror(3, INT_MIN), 2);  // 2^31 = 715827882 * 3 + 2, q even

    // Size 1 always gives 0.
    for (int c : {INT_MIN, -7, -1, 0, 1, 7, INT_MAX}) {
        EXPECT_EQ(SwExtend::Clamp(1, c), 0);
        EXPECT_EQ(SwExtend::Wrap(1, c), 0);
        EXPECT_EQ(SwExtend::Mirror(1, c), 0);
    }

    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Clamp), &SwExtend::Clamp);
    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Wrap), &SwExtend::Wrap);
    EXPECT_EQ(SwExtend::SelectExtendProc(ExtendMode::Mirror), &SwExtend::Mirror);
    EXPECT_EQ(SwExtend::SelectExtendProc(static_cast<ExtendMode::Enum>(3)), &SwExtend::Clamp);
}

TEST(SwBitmapSamplerTest, IdentityCopiesEveryFormatExactly) {
    HighQualityDownsampling hq(true);
    uint32_t palette[256];
    uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (auto& c : palette) c = next() | (next() << 24);
    palette[1] = 0xFF336699u;  // opaque, kept exactly
    palette[2] = 0x00FFFFFFu;  // transparent: all 0
    auto shared = std::make_shared<Palette>(palette, 256);

    const int width = 13;  // not a whole number of bytes for the one-bit formats
    const int height = 5;
    for (PixelFormat::Enum format : kAllFormats) {
        auto bitmap = MakeBitmap(width, height, format);
        PixelBuffer& buffer = bitmap->GetBuffer();
        for (int i = 0; i < buffer.stride * height + 1; ++i) buffer.data[i] = static_cast<unsigned char>(next());
        if (format == PixelFormat::P8 || format == PixelFormat::P1) bitmap->SetPalette(shared);

        for (InterpolationMode::Enum mode : kAllModes) {
            for (ExtendMode::Enum extend : kAllExtends) {
                SwBitmapSampler sampler(bitmap, extend, extend, mode, 1.0f, Matrix());
                EXPECT_EQ(sampler.GetSampledSize(), Size<int>(width, height));
                EXPECT_EQ(sampler.GetFilter(), nullptr);
                EXPECT_EQ(sampler.GetSampling(), mode == InterpolationMode::Nearest ? SwBitmapSampler::SamplingNearest
                                                                                    : SwBitmapSampler::SamplingLinear);
                for (int y = 0; y < height; ++y) {
                    const std::vector<uint32_t> row = Span(sampler, 0, width, y);
                    for (int x = 0; x < width; ++x)
                        ASSERT_EQ(row[x], ExpectedCopy(*bitmap, palette, x, y))
                            << "format " << format << " mode " << mode << " at " << x << ", " << y;
                }
                // A span that starts inside the row.
                const std::vector<uint32_t> part = Span(sampler, 4, 9, 2);
                for (int x = 4; x < 9; ++x) EXPECT_EQ(part[x - 4], ExpectedCopy(*bitmap, palette, x, 2));
            }
        }
    }
}

TEST(SwBitmapSamplerTest, ConversionsByHand) {
    // ARGB8 is premultiplied: 0x80FF8040 scales by 129.
    EXPECT_EQ(Span(MakeWords(PixelFormat::ARGB8, {{0x80FF8040u, 0xFF123456u, 0x00FFFFFFu}}), Matrix(), 0, 3, 0),
              (std::vector<uint32_t>{0x80804020u, 0xFF123456u, 0u}));
    // ARGB8p words pass untouched, even when not valid premultiplied colours.
    EXPECT_EQ(Span(MakeWords(PixelFormat::ARGB8p, {{0x10FFFFFFu}}), Matrix(), 0, 1, 0),
              (std::vector<uint32_t>{0x10FFFFFFu}));
    // XRGB8 ignores the top byte.
    EXPECT_EQ(Span(MakeWords(PixelFormat::XRGB8, {{0x00123456u, 0x7F000000u}}), Matrix(), 0, 2, 0),
              (std::vector<uint32_t>{0xFF123456u, 0xFF000000u}));
    // RGB8 bytes are blue, green, red.
    {
        auto bitmap = MakeBitmap(2, 1, PixelFormat::RGB8);
        const unsigned char bytes[] = {0x56, 0x34, 0x12, 0xAA, 0xBB, 0xCC};
        std::memcpy(bitmap->GetBuffer().data, bytes, sizeof bytes);
        EXPECT_EQ(Span(bitmap, Matrix(), 0, 2, 0), (std::vector<uint32_t>{0xFF123456u, 0xFFCCBBAAu}));
    }
    // A8 is white at alpha v; L8 is opaque grey.
    EXPECT_EQ(Span(MakeBytes(PixelFormat::A8, {{0, 0x80, 255}}), Matrix(), 0, 3, 0),
              (std::vector<uint32_t>{0u, 0x80808080u, 0xFFFFFFFFu}));
    EXPECT_EQ(Span(MakeBytes(PixelFormat::L8, {{0, 0x80, 255}}), Matrix(), 0, 3, 0),
              (std::vector<uint32_t>{0xFF000000u, 0xFF808080u, 0xFFFFFFFFu}));
    // One-bit rows: the leftmost pixel in the top bit.
    EXPECT_EQ(Span(MakeBits(PixelFormat::A1, 16, {{0xA0, 0x01}}), Matrix(), 0, 4, 0),
              (std::vector<uint32_t>{0xFFFFFFFFu, 0u, 0xFFFFFFFFu, 0u}));
    EXPECT_EQ(Span(MakeBits(PixelFormat::L1, 16, {{0xA0, 0x01}}), Matrix(), 14, 16, 0),
              (std::vector<uint32_t>{0xFF000000u, 0xFFFFFFFFu}));
}

TEST(SwBitmapSamplerTest, Palettes) {
    const uint32_t colors[] = {0x00FF0000u, 0xFF0000FFu, 0x80FF8040u};
    auto palette = std::make_shared<Palette>(colors, 3);

    auto p8 = MakeBytes(PixelFormat::P8, {{0, 1, 2, 3, 255}});
    p8->SetPalette(palette);
    // Indices beyond the palette read transparent black instead of memory
    // past its end.
    EXPECT_EQ(Span(p8, Matrix(), 0, 5, 0), (std::vector<uint32_t>{0u, 0xFF0000FFu, 0x80804020u, 0u, 0u}));

    // Half way between transparent red and opaque blue: the straight colours
    // interpolate (scale(blue, 128) + scale(red, 129) = 0x7F80007F), then
    // alpha 127 premultiplies with 128: 0x80 -> 0x40, 0x7F -> 0x3F.
    SwBitmapSampler linear(p8, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(linear.Sample(Point<float>(0.5f, 0.0f)), 0x7F40003Fu);
    // The same two colours as ARGB8 premultiply first: red becomes 0, and
    // the result is scale(blue, 128) alone.
    SwBitmapSampler argb(MakeWords(PixelFormat::ARGB8, {{0x00FF0000u, 0xFF0000FFu}}), ExtendMode::Clamp,
                         ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(argb.Sample(Point<float>(0.5f, 0.0f)), 0x7F00007Fu);

    auto p1 = MakeBits(PixelFormat::P1, 8, {{0x40}});  // pixels 0, 1, 0, 0...
    p1->SetPalette(palette);
    EXPECT_EQ(Span(p1, Matrix(), 0, 3, 0), (std::vector<uint32_t>{0u, 0xFF0000FFu, 0u}));
    SwBitmapSampler linear1(p1, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(linear1.Sample(Point<float>(0.5f, 0.0f)), 0x7F40003Fu);

    // Without a palette the indexed formats paint transparent black.
    auto bare = MakeBytes(PixelFormat::P8, {{0, 1, 2}});
    for (InterpolationMode::Enum mode : kAllModes)
        EXPECT_EQ(Span(bare, Matrix(0.3f, 0, 0, 0.3f, 0, 0), 0, 3, 0, mode), (std::vector<uint32_t>(3, 0u)));
    auto bare1 = MakeBits(PixelFormat::P1, 8, {{0xFF}});
    EXPECT_EQ(Span(bare1, Matrix(), 0, 3, 0), (std::vector<uint32_t>(3, 0u)));
}

TEST(SwBitmapSamplerTest, NearestPositions) {
    auto row = MakeBytes(PixelFormat::L8, {{10, 20, 30, 40}});
    SwBitmapSampler sampler(row, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Nearest, 1.0f, Matrix());
    auto grey = [](uint32_t v) { return 0xFF000000u | v * 0x010101u; };
    // p + 0.5 truncates toward zero: all of -1.5 < p < 0.5 is pixel 0.
    EXPECT_EQ(sampler.Sample(Point<float>(-1.4f, 0)), grey(10));
    EXPECT_EQ(sampler.Sample(Point<float>(0.49f, 0)), grey(10));
    EXPECT_EQ(sampler.Sample(Point<float>(0.5f, 0)), grey(20));
    EXPECT_EQ(sampler.Sample(Point<float>(1.49f, 0)), grey(20));
    EXPECT_EQ(sampler.Sample(Point<float>(2.5f, 0.4f)), grey(40));
    EXPECT_EQ(sampler.Sample(Point<float>(2.5f, -1.4f)), grey(40));

    // At -1.6 the truncation gives -1, which each mode extends its own way.
    SwBitmapSampler wrap(row, ExtendMode::Wrap, ExtendMode::Clamp, InterpolationMode::Nearest, 1.0f, Matrix());
    SwBitmapSampler mirror(row, ExtendMode::Mirror, ExtendMode::Clamp, InterpolationMode::Nearest, 1.0f, Matrix());
    EXPECT_EQ(sampler.Sample(Point<float>(-1.6f, 0)), grey(10));
    EXPECT_EQ(wrap.Sample(Point<float>(-1.6f, 0)), grey(40));
    EXPECT_EQ(mirror.Sample(Point<float>(-1.6f, 0)), grey(20));

    // Twice as large with pixel centres kept: surface pixels 0..3 read
    // -0.25, 0.25, 0.75, 1.25, that is source pixels 0, 0, 1, 1.
    EXPECT_EQ(Span(row, Matrix(0.5f, 0, 0, 0.5f, -0.25f, -0.25f), 0, 8, 0),
              (std::vector<uint32_t>{grey(10), grey(10), grey(20), grey(20), grey(30), grey(30), grey(40), grey(40)}));

    // The position is accumulated along the span. With a step of 0.15 the
    // eleventh pixel sits at 1.4999999 instead of 1.5 and reads pixel 1
    // where a recomputed position would read pixel 2.
    auto ramp = MakeBytes(PixelFormat::A8, {{0, 1, 2, 3, 4}});
    const std::vector<uint32_t> stepped = Span(ramp, Matrix(0.15f, 0, 0, 1, 0, 0), 0, 11, 0);
    EXPECT_EQ(stepped[9], 1u * 0x01010101u);   // 1.35
    EXPECT_EQ(stepped[10], 1u * 0x01010101u);  // accumulated 1.4999999

    // The start of the span is (y * m21 + x0 * m11) + dx: a shear moves it.
    auto grid = MakeBytes(PixelFormat::A8, {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    EXPECT_EQ(Span(grid, Matrix(1, 0, 1, 1, 0, 0), 0, 2, 1),
              (std::vector<uint32_t>{6u * 0x01010101u, 7u * 0x01010101u}));
    // A quarter turn: along the span x steps down the column.
    EXPECT_EQ(Span(grid, Matrix(0, 1, 1, 0, 0, 0), 0, 3, 2),
              (std::vector<uint32_t>{3u * 0x01010101u, 7u * 0x01010101u, 11u * 0x01010101u}));
}

TEST(SwBitmapSamplerTest, LinearPositions) {
    // Pixels 0 and 255 at 0.5: f = 128, (0 * 128 + 255 * 128) >> 8 = 127.
    auto l8 = MakeBytes(PixelFormat::L8, {{0, 255}});
    SwBitmapSampler grey(l8, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(grey.Sample(Point<float>(0.5f, 0)), 0xFF7F7F7Fu);
    // Between -1 and 0 the weights are mirrored about 0: -0.25 reads like
    // 0.25, (255 * 64) >> 8 = 63.
    EXPECT_EQ(grey.Sample(Point<float>(0.25f, 0)), 0xFF3F3F3Fu);
    EXPECT_EQ(grey.Sample(Point<float>(-0.25f, 0)), 0xFF3F3F3Fu);
    EXPECT_EQ(grey.Sample(Point<float>(-0.75f, 0)), 0xFFBFBFBFu);
    // Beyond the right edge the clamp gives pixel 1 for both neighbours.
    EXPECT_EQ(grey.Sample(Point<float>(1.5f, 0)), 0xFFFFFFFFu);
    // Wrapping blends the last pixel into the first.
    SwBitmapSampler wrap(l8, ExtendMode::Wrap, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(wrap.Sample(Point<float>(1.25f, 0)), 0xFFBFBFBFu);  // (255 * 192) >> 8 = 191

    // Words: scale(b, 128) + scale(a, 129).
    // b = 0xFF80C0F0 halves to 0x7F406078; a = 0x80402010 times 129 gives 0x40201008.
    auto words = MakeWords(PixelFormat::ARGB8p, {{0x80402010u, 0xFF80C0F0u}});
    SwBitmapSampler word(words, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(word.Sample(Point<float>(0.5f, 0)), 0xBF607080u);
    // f = 1 keeps a: scale(a, 256) is a, scale(b, 1) is 0.
    EXPECT_EQ(word.Sample(Point<float>(1.0f / 256.0f, 0)), 0x80402010u);
    // Opaque white with itself stays white at every weight.
    auto white = MakeWords(PixelFormat::ARGB8p, {{0xFFFFFFFFu, 0xFFFFFFFFu}});
    SwBitmapSampler whites(white, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    for (int f = 1; f < 256; ++f) EXPECT_EQ(whites.Sample(Point<float>(f / 256.0f, 0)), 0xFFFFFFFFu) << f;

    // Two dimensions on 2x2 at (0.25, 0.75): fx = 64, fy = 192.
    // Top (0 * 192 + 100 * 64) >> 8 = 25; bottom (200 * 192 + 255 * 64) >> 8 = 213;
    // (25 * 64 + 213 * 192) >> 8 = 166.
    auto square = MakeBytes(PixelFormat::A8, {{0, 100}, {200, 255}});
    SwBitmapSampler two(square, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(two.Sample(Point<float>(0.25f, 0.75f)), 166u * 0x01010101u);
    // Only one axis with a fraction.
    EXPECT_EQ(two.Sample(Point<float>(0.0f, 0.5f)), 100u * 0x01010101u);  // (0 + 200) * 128 >> 8
    EXPECT_EQ(two.Sample(Point<float>(1.0f, 0.5f)), 177u * 0x01010101u);  // (100 * 128 + 255 * 128) >> 8
    EXPECT_EQ(two.Sample(Point<float>(0.5f, 1.0f)), 227u * 0x01010101u);  // (200 + 255) * 128 >> 8

    // One-bit pixels interpolate as 0 and 255.
    auto bits = MakeBits(PixelFormat::A1, 8, {{0x40}});
    SwBitmapSampler bit(bits, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
    EXPECT_EQ(bit.Sample(Point<float>(0.25f, 0)), 63u * 0x01010101u);

    // HighQuality without reduction is linear.
    SwBitmapSampler hq(l8, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::HighQuality, 1.0f, Matrix());
    EXPECT_EQ(hq.GetSampling(), SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(hq.Sample(Point<float>(0.5f, 0)), 0xFF7F7F7Fu);
}

TEST(SwBitmapSamplerTest, ExtendModesInSpans) {
    auto row = MakeBytes(PixelFormat::A8, {{10, 20, 30, 40}});
    auto column = MakeBytes(PixelFormat::A8, {{10}, {20}, {30}, {40}});
    auto words = [](std::vector<uint32_t> v) {
        for (auto& x : v) x *= 0x01010101u;
        return v;
    };
    // Surface x from -6 to 9 on the identity. Left of 0, x + 0.5 truncates
    // toward zero, so surface x reads coordinate x + 1 there: -6 reads -5.
    EXPECT_EQ(Span(row, Matrix(), -6, 10, 0), words({10, 10, 10, 10, 10, 10, 10, 20, 30, 40, 40, 40, 40, 40, 40, 40}));
    EXPECT_EQ(Span(row, Matrix(), -6, 10, 0, InterpolationMode::Nearest, ExtendMode::Wrap),
              words({40, 10, 20, 30, 40, 10, 10, 20, 30, 40, 10, 20, 30, 40, 10, 20}));
    // Mirror: coordinates -5..0 give pixels 2 3 3 2 1 0, and 4..9 give 3 2 1 0 0 1.
    EXPECT_EQ(Span(row, Matrix(), -6, 10, 0, InterpolationMode::Nearest, ExtendMode::Mirror),
              words({30, 40, 40, 30, 20, 10, 10, 20, 30, 40, 40, 30, 20, 10, 10, 20}));

    // The same down a column, on the y axis, through the row of the span.
    for (ExtendMode::Enum mode : kAllExtends) {
        std::vector<uint32_t> down;
        std::vector<uint32_t> across = Span(row, Matrix(), -6, 10, 0, InterpolationMode::Nearest, mode);
        for (int y = -6; y < 10; ++y)
            down.push_back(Span(column, Matrix(), 0, 1, y, InterpolationMode::Nearest, ExtendMode::Clamp, mode)[0]);
        EXPECT_EQ(down, across) << mode;
    }

    // Far outside. A billion is exact in float but the steps along the span
    // are lost (float spacing there is 64): both pixels read the same place.
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, 1e9f, 0), 0, 2, 0), words({40, 40}));
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, -1e9f, 0), 0, 2, 0), words({10, 10}));
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, 1e9f, 0), 0, 2, 0, InterpolationMode::Nearest, ExtendMode::Wrap),
              words({10, 10}));
    // A million away the steps survive. 1000000 = 4 * 250000: q even.
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, 1e6f, 0), 0, 2, 0, InterpolationMode::Nearest, ExtendMode::Wrap),
              words({10, 20}));
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, 1e6f, 0), 0, 2, 0, InterpolationMode::Nearest, ExtendMode::Mirror),
              words({10, 20}));
    // -1000000 + 0.5 truncates to -999999: remainder -3, wrapped to 1; the
    // mirror's magnitude 999999 = 4 * 249999 + 3 has q odd, giving 0.
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, -1e6f, 0), 0, 2, 0, InterpolationMode::Nearest, ExtendMode::Wrap),
              words({20, 30}));
    EXPECT_EQ(Span(row, Matrix(1, 0, 0, 1, -1e6f, 0), 0, 2, 0, InterpolationMode::Nearest, ExtendMode::Mirror),
              words({10, 20}));
    // Linear, down the column: y = 3 lands on 1000003, which wraps to row 3.
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 1e6f), 0, 1, 3, InterpolationMode::Linear, ExtendMode::Clamp,
                   ExtendMode::Wrap),
              words({40}));

    // Linear across the wrap seam in y: halfway between rows 3 and 0.
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, InterpolationMode::Linear, ExtendMode::Clamp,
                   ExtendMode::Wrap),
              words({25}));  // (40 * 128 + 10 * 128) >> 8
    // Mirror repeats the last row at the seam.
    EXPECT_EQ(Span(column, Matrix(1, 0, 0, 1, 0, 0.5f), 0, 1, 3, InterpolationMode::Linear, ExtendMode::Clamp,
                   ExtendMode::Mirror),
              words({40}));
}

TEST(SwBitmapSamplerTest, Opacity) {
    auto word = MakeWords(PixelFormat::ARGB8p, {{0xFF8040C0u}});
    auto a8 = MakeBytes(PixelFormat::A8, {{200}});
    auto l8 = MakeBytes(PixelFormat::L8, {{255}});
    auto xrgb = MakeWords(PixelFormat::XRGB8, {{0x00FFFFFFu}});
    auto opacity = [](float o) {
        return SwBitmapSampler(nullptr, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Nearest, o, Matrix())
            .GetOpacity();
    };
    // (truncate(o * 255) AND 255) + 1.
    EXPECT_EQ(opacity(1.0f), 256);
    EXPECT_EQ(opacity(0.5f), 128);
    EXPECT_EQ(opacity(0.0f), 1);
    EXPECT_EQ(opacity(2.0f), 255);  // 510 AND 255 = 254
    EXPECT_EQ(opacity(-1.0f), 2);   // -255 AND 255 = 1
    EXPECT_EQ(opacity(std::numeric_limits<float>::quiet_NaN()), 1);

    EXPECT_EQ(Span(word, Matrix(), 0, 1, 0, InterpolationMode::Nearest, ExtendMode::Clamp, ExtendMode::Clamp, 0.5f),
              (std::vector<uint32_t>{0x7F402060u}));
    // Opacity 0 still scales by 1: every byte below 256 becomes 0.
    EXPECT_EQ(Span(word, Matrix(), 0, 1, 0, InterpolationMode::Nearest, ExtendMode::Clamp, ExtendMode::Clamp, 0.0f),
              (std::vector<uint32_t>{0u}));
    // XRGB8 gets alpha 255 before the opacity.
    EXPECT_EQ(Span(xrgb, Matrix(), 0, 1, 0, InterpolationMode::Linear, ExtendMode::Clamp, ExtendMode::Clamp, 0.5f),
              (std::vector<uint32_t>{0x7F7F7F7Fu}));
    // A8: (200 * 128) >> 8 = 100 in all four bytes.
    EXPECT_EQ(Span(a8, Matrix(), 0, 1, 0, InterpolationMode::Nearest, ExtendMode::Clamp, ExtendMode::Clamp, 0.5f),
              (std::vector<uint32_t>{0x64646464u}));
    // L8: alpha is opacity - 1 = 127, grey (255 * 128) >> 8 = 127.
    EXPECT_EQ(Span(l8, Matrix(), 0, 1, 0, InterpolationMode::Nearest, ExtendMode::Clamp, ExtendMode::Clamp, 0.5f),
              (std::vector<uint32_t>{0x7F7F7F7Fu}));
    // Above 1 the opacity wraps round: 2.0 weighs 255, (255 * 255) >> 8 = 254.
    EXPECT_EQ(Span(l8, Matrix(), 0, 1, 0, InterpolationMode::Nearest, ExtendMode::Clamp, ExtendMode::Clamp, 2.0f),
              (std::vector<uint32_t>{0xFEFEFEFEu}));
}

TEST(SwBitmapSamplerTest, HighQualitySelection) {
    HighQualityDownsampling hq(true);
    auto big = MakeBitmap(100, 100, PixelFormat::ARGB8p);
    auto make = [&](const Matrix& m, InterpolationMode::Enum mode = InterpolationMode::HighQuality) {
        return std::make_shared<SwBitmapSampler>(big, ExtendMode::Clamp, ExtendMode::Clamp, mode, 1.0f, m);
    };

    // A quarter-size drawing: sx = sy = 4, reduced to 25 x 25, ratio 4.
    auto quarter = make(Matrix(4, 0, 0, 4, 1.5f, 1.5f));
    EXPECT_EQ(quarter->GetSampling(), SwBitmapSampler::SamplingHighQuality);
    EXPECT_EQ(quarter->GetSampledSize(), Size<int>(25, 25));
    const SwBitmapSampler::Filter* filter = quarter->GetFilter();
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->ratioX, 4.0f);
    EXPECT_EQ(filter->ratioY, 4.0f);
    EXPECT_EQ(filter->scaleX, 16384);
    EXPECT_EQ(filter->scaleY, 16384);
    for (int i = 0; i < 25; ++i) {
        EXPECT_EQ(filter->rangesX[i].start, 4 * i);
        EXPECT_EQ(filter->rangesX[i].end, 4 * i + 4);
        EXPECT_EQ(filter->rangesX[i].count, 4);
        EXPECT_EQ(filter->rangesX[i].startWeight, 16383u);  // (65535 * 16384) >> 16
        EXPECT_EQ(filter->rangesX[i].endWeight, 0u);
    }
    // New matrix: scaled by 25/100 after moving by -0.5 * 4: dx = (1.5 - 2) * 0.25.
    EXPECT_EQ(quarter->GetMatrix(), Matrix(1, 0, 0, 1, -0.125f, -0.125f));

    // Exactly 1.01 is not above 1.01.
    EXPECT_EQ(make(Matrix(1.01f, 0, 0, 2, 0, 0))->GetSampling(), SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(make(Matrix(1.02f, 0, 0, 2, 0, 0))->GetSampling(), SwBitmapSampler::SamplingHighQuality);
    // One axis only: bilinear, no filter.
    auto oneAxis = make(Matrix(3, 0, 0, 1, 0, 0));
    EXPECT_EQ(oneAxis->GetSampling(), SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(oneAxis->GetFilter(), nullptr);
    EXPECT_EQ(oneAxis->GetSampledSize(), Size<int>(100, 100));
    EXPECT_EQ(make(Matrix(1, 0, 0, 3, 0, 0))->GetSampling(), SwBitmapSampler::SamplingLinear);
    // Enlarging is never reduced.
    EXPECT_EQ(make(Matrix(0.5f, 0, 0, 0.5f, 0, 0))->GetSampling(), SwBitmapSampler::SamplingLinear);

    // A quarter turn keeps to the axes: m11 = 0.
    auto turned = make(Matrix(0, 4, -4, 0, 0, 0));
    EXPECT_EQ(turned->GetSampling(), SwBitmapSampler::SamplingHighQuality);
    EXPECT_EQ(turned->GetSampledSize(), Size<int>(25, 25));
    // 45 degrees interpolates four reduced pixels.
    const float c = 4.0f * std::sqrt(0.5f);
    EXPECT_EQ(make(Matrix(c, c, -c, c, 0, 0))->GetSampling(), SwBitmapSampler::SamplingHighQualityL);

    // Other modes never reduce.
    EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0), InterpolationMode::Linear)->GetSampling(),
              SwBitmapSampler::SamplingLinear);
    EXPECT_EQ(make(Matrix(4, 0, 0, 4, 0, 0), InterpolationMode::Nearest)->GetSampling(),
              SwBitmapSampler::SamplingNearest);
    {
        HighQualityDownsampling off(false);
        auto linear = make(Matrix(4, 0, 0, 4, 0, 0));
        EXPECT_EQ(linear->GetSampling(), SwBitmapSampler::SamplingLinear);
        EXPECT_EQ(linear->GetFilter(), nullptr);
    }

    // An image reduced to less than one pixel still has one.
    auto dot = make(Matrix(1000, 0, 0, 1000, 0, 0));
    EXPECT_EQ(dot->GetSampledSize(), Size<int>(1, 1));
    EXPECT_EQ(dot->GetFilter()->rangesX[0].start, 0);
    EXPECT_EQ(dot->GetFilter()->rangesX[0].end, 100);
    EXPECT_EQ(dot->GetFilter()->rangesX[0].endWeight, 0u);
}

TEST(SwBitmapSamplerTest, FilterRanges) {
    // 10 into 3: ratio 3.3333333, full weight truncate(65536 / ratio) = 19660.
    SwBitmapSampler::Filter filter(Size<int>(10, 4), Size<int>(3, 2));
    EXPECT_EQ(filter.scaleX, 19660);
    EXPECT_EQ(filter.scaleY, 32768);
    const SwBitmapSampler::FilterRange* r = filter.rangesX.get();
    // [0, 3.33): pixel 0 whole, 1 and 2 full, 3 a third.
    EXPECT_EQ(r[0].start, 0);
    EXPECT_EQ(r[0].end, 3);
    EXPECT_EQ(r[0].startWeight, 19659u);  // (65535 * 19660) >> 16
    EXPECT_EQ(r[0].endWeight, 6552u);     // (21844 * 19660) >> 16
    // [3.33, 6.67): two thirds of 3, 4 and 5 full, two thirds of 6.
    EXPECT_EQ(r[1].start, 3);
    EXPECT_EQ(r[1].end, 6);
    EXPECT_EQ(r[1].count, 3);
    EXPECT_EQ(r[1].startWeight, 13106u);
    EXPECT_EQ(r[1].endWeight, 13106u);
    // The last range ends at the image's edge, with no weight there.
    EXPECT_EQ(r[2].start, 6);
    EXPECT_EQ(r[2].end, 10);
    EXPECT_EQ(r[2].count, 4);
    EXPECT_EQ(r[2].startWeight, 6553u);
    EXPECT_EQ(r[2].endWeight, 0u);
    // 4 into 2: exact halves.
    EXPECT_EQ(filter.rangesY[0].start, 0);
    EXPECT_EQ(filter.rangesY[0].end, 2);
    EXPECT_EQ(filter.rangesY[0].startWeight, 32767u);
    EXPECT_EQ(filter.rangesY[0].endWeight, 0u);
    EXPECT_EQ(filter.rangesY[1].end, 4);
}

TEST(SwBitmapSamplerTest, HighQualityAverages) {
    HighQualityDownsampling hq(true);

    // An 8 x 8 checkerboard of 0 and 255 at a quarter size: each row of a
    // box sums 16383 * v0 + 16384 * (v1 + v2 + v3) to 127 either way, and
    // the rows 127 * 65535 >> 16 = 126.
    auto board = MakeBitmap(8, 8, PixelFormat::A8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) board->GetBuffer().GetPointer(y)[x] = ((x + y) & 1) ? 0 : 255;
    // Surface pixels map to source 1.5 + 4 x.
    const Matrix quarter(4, 0, 0, 4, 1.5f, 1.5f);
    for (int y = -1; y < 3; ++y)
        EXPECT_EQ(Span(board, quarter, -1, 3, y, InterpolationMode::HighQuality),
                  std::vector<uint32_t>(4, 0x7E7E7E7Eu));
    // Without the reduction the same positions fall between pixels.
    EXPECT_EQ(Span(board, quarter, 0, 1, 0, InterpolationMode::Linear), (std::vector<uint32_t>{0x7F7F7F7Fu}));

    // Uniform white loses one step per axis: 255 * 65535 >> 16 = 254, then 253.
    auto white = MakeWords(PixelFormat::ARGB8p, std::vector<std::vector<uint32_t>>(8, std::vector<uint32_t>(8, ~0u)));
    EXPECT_EQ(Span(white, quarter, 0, 2, 0, InterpolationMode::HighQuality), (std::vector<uint32_t>(2, 0xFDFDFDFDu)));
    // Turned a quarter, the same boxes.
    EXPECT_EQ(Span(white, Matrix(0, 4, -4, 0, 0, 0), 0, 2, 0, InterpolationMode::HighQuality),
              (std::vector<uint32_t>(2, 0xFDFDFDFDu)));
    // At 45 degrees the interpolation of equal 8-bit boxes gives the box.
    const float c = 4.0f * std::sqrt(0.5f);
    {
        auto uniform = MakeBitmap(16, 16, PixelFormat::A8);
        std::memset(uniform->GetBuffer().data, 0xFF, static_cast<size_t>(uniform->GetBuffer().stride) * 16);
        SwBitmapSampler turned(uniform, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::HighQuality, 1.0f,
                               Matrix(c, c, -c, c, 3, 5));
        EXPECT_EQ(turned.GetSampling(), SwBitmapSampler::SamplingHighQualityL);
        EXPECT_EQ(Span(turned, -2, 6, 1), std::vector<uint32_t>(8, 0xFDFDFDFDu));
    }

    // A column ramp 0, 10 .. 90 on 10 x 10 at 0.3: sx = 3.3333333 reduces
    // to 3 x 3 with the ranges of 10 into 3 (FilterRanges).
    // Column box 0: 19660 * 30 + 6552 * 30 >> 16 = 11; box 1:
    // (13106 * 30 + 19660 * 90 + 13106 * 60) >> 16 = 44; box 2:
    // (6553 * 60 + 19660 * 240) >> 16 = 77. Rows weigh 65531 to 65533 in all:
    // one less each.
    auto ramp = MakeBitmap(10, 10, PixelFormat::L8);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) ramp->GetBuffer().GetPointer(y)[x] = static_cast<unsigned char>(10 * x);
    const Matrix tenth(1.0f / 0.3f, 0, 0, 1.0f / 0.3f, 1.0f / 0.3f * 0.5f - 0.5f, 1.0f / 0.3f * 0.5f - 0.5f);
    SwBitmapSampler reduced(ramp, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::HighQuality, 1.0f, tenth);
    ASSERT_EQ(reduced.GetSampling(), SwBitmapSampler::SamplingHighQuality);
    ASSERT_EQ(reduced.GetSampledSize(), Size<int>(3, 3));
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(Span(reduced, 0, 3, y), (std::vector<uint32_t>{0xFF0A0A0Au, 0xFF2B2B2Bu, 0xFF4C4C4Cu})) << y;

    // One-bit pixels are summed as bits and scaled by 255 at the end of a
    // row: a box of 4 x 4 set bits gives (65535 * 255) >> 16 = 254, then 253.
    auto bits = MakeBitmap(8, 8, PixelFormat::A1);
    std::memset(bits->GetBuffer().data, 0xFF, static_cast<size_t>(bits->GetBuffer().stride) * 8);
    EXPECT_EQ(Span(bits, quarter, 0, 2, 1, InterpolationMode::HighQuality), (std::vector<uint32_t>(2, 0xFDFDFDFDu)));

    // ARGB8 premultiplies each pixel before the average; P8 averages straight
    // colours and premultiplies after. 0x80FF8040 premultiplied is
    // 0x80804020; each channel then loses two steps.
    auto argb =
        MakeWords(PixelFormat::ARGB8, std::vector<std::vector<uint32_t>>(4, std::vector<uint32_t>(4, 0x80FF8040u)));
    const Matrix half(2, 0, 0, 2, 0.5f, 0.5f);
    EXPECT_EQ(Span(argb, half, 0, 1, 0, InterpolationMode::HighQuality), (std::vector<uint32_t>{0x7E7E3E1Eu}));
    const uint32_t color = 0x80FF8040u;
    auto p8 = MakeBytes(PixelFormat::P8, std::vector<std::vector<int>>(4, std::vector<int>(4, 0)));
    p8->SetPalette(std::make_shared<Palette>(&color, 1));
    // Straight 0x7EFD7E3E, then premultiplied with alpha 0x7E: scale by 127.
    EXPECT_EQ(Span(p8, half, 0, 1, 0, InterpolationMode::HighQuality), (std::vector<uint32_t>{0x7E7D3E1Eu}));
}

TEST(SwBitmapSamplerTest, LockAndFailures) {
    auto bitmap = std::make_shared<CountingBitmap>(Size<int>(4, 4), PixelFormat::A8);
    {
        SwBitmapSampler first(bitmap, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
        SwBitmapSampler second(bitmap, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Linear, 1.0f, Matrix());
        EXPECT_EQ(bitmap->locks, 2);
        EXPECT_EQ(bitmap->unlocks, 0);
        EXPECT_EQ(bitmap->lastMode, LockMode::Read);
        EXPECT_TRUE(bitmap->lastRectWasNull);
        EXPECT_EQ(Span(first, 0, 1, 0), (std::vector<uint32_t>{0x80808080u}));
    }
    EXPECT_EQ(bitmap->unlocks, 2);

    // A format outside 1..10 fails after the lock, and the lock is released.
    for (int format : {0, 11, 15}) {
        auto odd = std::make_shared<CountingBitmap>(Size<int>(4, 4), format);
        EXPECT_GRAPHICS_FAILURE((void)SwBitmapSampler(odd, ExtendMode::Clamp, ExtendMode::Clamp,
                                                      InterpolationMode::Nearest, 1.0f, Matrix()),
                                "SelectSampleProc", "Not implemented");
        EXPECT_EQ(odd->locks, 1);
        EXPECT_EQ(odd->unlocks, 1);
    }
    // Even without pixels.
    auto empty = std::make_shared<CountingBitmap>(Size<int>(0, 0), 12);
    EXPECT_GRAPHICS_FAILURE(
        (void)SwBitmapSampler(empty, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Nearest, 1.0f, Matrix()),
        "SelectSampleProc", "Not implemented");
    EXPECT_EQ(empty->unlocks, 1);
}

TEST(SwBitmapSamplerTest, DegenerateInputStaysSafe) {
    HighQualityDownsampling hq(true);
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Matrix matrices[] = {
        Matrix(0, 0, 0, 0, 0, 0),              // what a singular brush gives before the inverse
        Matrix(inf, inf, inf, inf, inf, inf),  // and after it
        Matrix(nan, nan, nan, nan, nan, nan),
        Matrix(1, 0, 0, 1, nan, 0),
        Matrix(-inf, 0, 0, inf, 0, 0),
        Matrix(1e30f, 0, 0, 1e30f, -1e30f, 1e30f),  // positions beyond any int
        Matrix(1e30f, 1e30f, -1e30f, 1e30f, 0, 0),  // reduced to one pixel, turned
        Matrix(1e20f, 0, 0, 3e9f, 0, 0),
        Matrix(3e9f, 1, 1, 3e9f, -2e9f, -2e9f),
        Matrix(1e-30f, 0, 0, 1e-30f, 0, 0),
    };
    for (PixelFormat::Enum format : kAllFormats) {
        auto bitmap = MakeBitmap(5, 3, format);
        std::memset(bitmap->GetBuffer().data, 0x5A, static_cast<size_t>(bitmap->GetBuffer().stride) * 3);
        for (const Matrix& m : matrices)
            for (InterpolationMode::Enum mode : kAllModes)
                for (ExtendMode::Enum ex : kAllExtends)
                    for (ExtendMode::Enum ey : kAllExtends) {
                        SwBitmapSampler sampler(bitmap, ex, ey, mode, 0.7f, m);
                        Span(sampler, -3, 4, 1);
                        Span(sampler, INT_MAX - 2, INT_MAX, INT_MIN);
                        Span(sampler, INT_MIN, INT_MIN + 2, INT_MAX);
                    }
    }

    // Images without pixels paint transparent black in every mode.
    for (const Size<int>& size : {Size<int>(0, 0), Size<int>(5, 0), Size<int>(0, 5)}) {
        for (PixelFormat::Enum format : kAllFormats) {
            auto empty = std::make_shared<SysMemBitmap>(size, format, 96.0f, 96.0f);
            for (InterpolationMode::Enum mode : kAllModes)
                for (ExtendMode::Enum extend : kAllExtends) {
                    SwBitmapSampler sampler(empty, extend, extend, mode, 1.0f, Matrix(0.1f, 0, 0, 0.1f, -3, 2));
                    EXPECT_EQ(sampler.GetSampling(), SwBitmapSampler::SamplingNone);
                    EXPECT_EQ(Span(sampler, -2, 3, 1), std::vector<uint32_t>(5, 0u));
                }
        }
    }
    // So does no source at all.
    SwBitmapSampler none(nullptr, ExtendMode::Wrap, ExtendMode::Mirror, InterpolationMode::HighQuality, 1.0f, Matrix());
    EXPECT_EQ(Span(none, 0, 3, 0), std::vector<uint32_t>(3, 0u));

    // Empty and inverted spans write nothing.
    auto one = MakeBytes(PixelFormat::A8, {{1}});
    SwBitmapSampler sampler(one, ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Nearest, 1.0f, Matrix());
    EXPECT_TRUE(Span(sampler, 5, 5, 0).empty());
    uint32_t guard = 0xDEADBEEFu;
    sampler.FillSpan(6, 5, 0, reinterpret_cast<unsigned char*>(&guard));
    EXPECT_EQ(guard, 0xDEADBEEFu);
}

namespace {

// What FillSpan must deliver: one Sample a pixel, the position accumulated
// by float additions along the span.
std::vector<uint32_t> AccumulatedSpan(const SwBitmapSampler& sampler, int x0, int x1, int y) {
    const Matrix& m = sampler.GetMatrix();
    Point<float> p((static_cast<float>(y) * m.m21 + static_cast<float>(x0) * m.m11) + m.dx,
                   (static_cast<float>(y) * m.m22 + static_cast<float>(x0) * m.m12) + m.dy);
    std::vector<uint32_t> words;
    for (int x = x0; x < x1; ++x) {
        words.push_back(sampler.Sample(p));
        p.x += m.m11;
        p.y += m.m12;
    }
    return words;
}

}  // namespace

// A bitmap of random bytes (and, when indexed, a random full palette).
template <typename Next>
std::shared_ptr<SysMemBitmap> RandomBitmap(int w, int h, PixelFormat::Enum format, Next& next) {
    auto bitmap = MakeBitmap(w, h, format);
    PixelBuffer& buffer = bitmap->GetBuffer();
    for (int y = 0; y < h; ++y)
        for (int b = 0; b < buffer.stride; ++b) buffer.GetPointer(y)[b] = static_cast<unsigned char>(next());
    if (PixelFormat::IsIndexed(format)) {
        std::vector<uint32_t> colors(256);
        for (uint32_t& c : colors) c = next() * 257u;
        bitmap->SetPalette(std::make_shared<Palette>(colors.data(), 256));
    }
    return bitmap;
}

// Spans without rotation take faster routes (rows chosen once, positions
// four at a time, copies at a unit step); they must match the accumulation
// one pixel at a time exactly, for every format, extension and placement.
TEST(SwBitmapSamplerTest, AxisAlignedSpansMatchAccumulation) {
    uint32_t seed = 12345u;
    auto next = [&seed]() {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;
    };
    const float scales[] = {1.0f, 1.0f, -1.0f, 4.0f, 16.0f, 0.25f, 0.5f, 1.5f, 0.7f, 3.0f / 7.0f, 2.0f, 0.0f};
    for (PixelFormat::Enum format : kAllFormats) {
        auto bitmap = RandomBitmap(13, 7, format, next);
        for (InterpolationMode::Enum mode : {InterpolationMode::Nearest, InterpolationMode::Linear}) {
            for (int trial = 0; trial < 150; ++trial) {
                const ExtendMode::Enum ex = kAllExtends[next() % 3];
                const ExtendMode::Enum ey = kAllExtends[next() % 3];
                const float sx = scales[next() % (sizeof scales / sizeof scales[0])];
                const float sy = scales[next() % 6];
                // Whole, half and arbitrary offsets, far left and right too.
                float dx = static_cast<float>(static_cast<int>(next() % 60) - 30);
                float dy = static_cast<float>(static_cast<int>(next() % 20) - 10);
                if (next() % 3 == 0) dx += static_cast<float>(next() % 1000) / 1000.0f;
                if (next() % 3 == 0) dy += 0.5f;
                if (next() % 7 == 0) dx += 600.0f;
                const float opacity = next() % 3 == 0 ? 0.6f : 1.0f;
                SwBitmapSampler sampler(bitmap, ex, ey, mode, opacity, Matrix(sx, 0.0f, 0.0f, sy, dx, dy));
                const int x0 = static_cast<int>(next() % 40) - 20;
                const int x1 = x0 + static_cast<int>(next() % 45);
                const int y = static_cast<int>(next() % 30) - 15;
                if (x1 <= x0) continue;
                ASSERT_EQ(Span(sampler, x0, x1, y), AccumulatedSpan(sampler, x0, x1, y))
                    << "format " << format << " mode " << mode << " scale " << sx << "," << sy << " offset " << dx
                    << "," << dy << " span " << x0 << ".." << x1 << " row " << y;
            }
        }
    }
}

// One sampler serving many rows of spans that start at a handful of places,
// longer and shorter than before, as a shape's edges and interior do: what a
// span reuses from earlier spans must equal a fresh accumulation from its
// own start. Scales like 256 / size, whose accumulated positions round.
TEST(SwBitmapSamplerTest, RepeatedSpanStartsMatchAccumulation) {
    uint32_t seed = 777u;
    auto next = [&seed]() {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;
    };
    const float scales[] = {256.0f / 13.0f, 256.0f / 100.0f, 256.0f / 200.0f, 0.3f, 1.0f / 3.0f, -2.5f, 5.0f / 7.0f,
                            1.0f};
    for (PixelFormat::Enum format : kAllFormats) {
        auto bitmap = RandomBitmap(19, 11, format, next);
        for (InterpolationMode::Enum mode : {InterpolationMode::Nearest, InterpolationMode::Linear}) {
            for (int trial = 0; trial < 12; ++trial) {
                const ExtendMode::Enum ex = kAllExtends[next() % 3];
                const ExtendMode::Enum ey = kAllExtends[next() % 3];
                const float sx = scales[next() % (sizeof scales / sizeof scales[0])];
                const float sy = scales[next() % (sizeof scales / sizeof scales[0])];
                const float dx = static_cast<float>(static_cast<int>(next() % 4000) - 2000) / 97.0f;
                const float dy = static_cast<float>(static_cast<int>(next() % 4000) - 2000) / 89.0f;
                const float opacity = next() % 3 == 0 ? 0.6f : 1.0f;
                SwBitmapSampler sampler(bitmap, ex, ey, mode, opacity, Matrix(sx, 0.0f, 0.0f, sy, dx, dy));
                // Six starts: more than are kept at once, so that some are
                // dropped and built again.
                int starts[6];
                for (int& s : starts) s = static_cast<int>(next() % 300) - 150;
                for (int span = 0; span < 60; ++span) {
                    const int x0 = starts[next() % 6];
                    const int x1 = x0 + 1 + static_cast<int>(next() % (next() % 4 == 0 ? 200 : 40));
                    const int y = static_cast<int>(next() % 200) - 100;
                    ASSERT_EQ(Span(sampler, x0, x1, y), AccumulatedSpan(sampler, x0, x1, y))
                        << "format " << format << " mode " << mode << " scale " << sx << "," << sy << " offset "
                        << dx << "," << dy << " span " << x0 << ".." << x1 << " row " << y;
                }
            }
        }
    }
    // Positions too far out for an exact weight, and no position at all.
    auto bitmap = MakeBitmap(5, 3, PixelFormat::ARGB8p);
    const uint32_t words[4] = {0xFF102030u, 0x80402010u, 0x00000000u, 0xFFFFFFFFu};
    for (int i = 0; i < 15; ++i) std::memcpy(bitmap->GetBuffer().GetPointer(i / 5) + 4 * (i % 5), &words[i % 4], 4);
    for (float dx : {3.0e9f, -3.0e9f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
        for (InterpolationMode::Enum mode : {InterpolationMode::Nearest, InterpolationMode::Linear}) {
            SwBitmapSampler sampler(bitmap, ExtendMode::Wrap, ExtendMode::Mirror, mode, 1.0f,
                                    Matrix(0.75f, 0.0f, 0.0f, 1.0f, dx, 0.25f));
            for (int y = 0; y < 3; ++y) EXPECT_EQ(Span(sampler, 2, 30, y), AccumulatedSpan(sampler, 2, 30, y));
        }
}
