#include "bitmap/PixelConversion.h"
#include "bitmap/PixelFormatConverter.h"
#include "bitmap/SysMemBitmap.h"
#include "LogCapture.h"
#include <gtest/gtest.h>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <vector>

using namespace Graphics;

namespace {
typedef std::vector<unsigned char> Bytes;
typedef PixelConversion P;

const PixelFormat::Enum RGB8 = PixelFormat::RGB8, ARGB8p = PixelFormat::ARGB8p, ARGB8 = PixelFormat::ARGB8,
                        XRGB8 = PixelFormat::XRGB8, A8 = PixelFormat::A8, P8 = PixelFormat::P8, L8 = PixelFormat::L8,
                        A1 = PixelFormat::A1, P1 = PixelFormat::P1, L1 = PixelFormat::L1;

// Words in memory order: blue, green, red, alpha.
Bytes W(std::initializer_list<uint32_t> words) {
    Bytes bytes;
    for (uint32_t w : words)
        for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(w >> shift));
    return bytes;
}
uint32_t WordAt(const unsigned char* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

// Nine pixels from the bits 0xA0, 0x80: pixels 0, 2 and 8 set.
Bytes Bits9(uint32_t on, uint32_t off) { return W({on, off, on, off, off, off, off, off, on}); }

struct Row {
    PixelFormat::Enum from, to;
    int count;
    Bytes in, out;  // out as it reads after a destination of 0x5A bytes
};
// Every pair that converts, with results worked out by hand. One-bit rows
// keep the bits after their last pixel (here from 0x5A).
const std::vector<Row>& Table() {
    static const Bytes rgb = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}, bits = {0xA0, 0x80}, bitCopy = {0xA5, 0xDA};
    static const Bytes gray = {0x7F, 0x00}, bytes9 = {255, 0, 255, 0, 0, 0, 0, 0, 255};
    static const std::vector<Row> rows = {
        {RGB8, ARGB8p, 2, rgb, W({0xFF332211u, 0xFF665544u})}, {RGB8, ARGB8, 2, rgb, W({0xFF332211u, 0xFF665544u})},
        {RGB8, XRGB8, 2, rgb, W({0xFF332211u, 0xFF665544u})},
        // (77 * 16 + 151 * 32 + 28 * 64) >> 8 = 7856 >> 8 = 30
        {RGB8, L8, 2, {0x40, 0x20, 0x10, 0xFF, 0xFF, 0xFF}, {30, 255}},
        // c * 256 / (a + 1) cut to a byte: 128 * 256 / 129 = 254; 0x20 * 256 / 17 = 481 -> 0xE1.
        {ARGB8p, RGB8, 2, W({0x80800040u, 0x00FFFFFFu}), {0x7F, 0x00, 0xFE, 0, 0, 0}},
        {ARGB8p, ARGB8, 4, W({0x80800000u, 0xFF345678u, 0x1020FF20u, 0x00010203u}),
         W({0x80FE0000u, 0xFF345678u, 0x10E100E1u, 0})},
        {ARGB8p, XRGB8, 2, W({0x80800000u, 0x00FF8001u}), W({0xFFFE0000u, 0xFF000000u})},
        {ARGB8p, A8, 1, W({0x12345678u}), {0x12}},
        // Gray of the unpremultiplied bytes: 77 * 254 >> 8 = 76, 77 * 0xE1 >> 8 = 67.
        {ARGB8p, L8, 4, W({0x80800000u, 0xFFFFFFFFu, 0x10200000u, 0x00FFFFFFu}), {76, 255, 67, 0}},
        {ARGB8p, P8, 1, W({0x80800000u}), {76}}, {ARGB8p, A1, 3, W({0x01000000u, 0x00FFFFFFu, 0xFF000000u}), {0xBA}},
        // (gray sum AND NOT 255) / (alpha + 1) above 128: 33024 / 256 = 129 is, 32768 / 256 not,
        // 32512 / 253 = 128 not, 32512 / 252 = 129 is, 256 / 2 (blue 10 sums to 280) not, 252 -> 0.
        {ARGB8p, L1, 8,
         W({0xFF818181u, 0xFF808080u, 0x80808080u, 0xFC7F7F7Fu, 0xFB7F7F7Fu, 0x0100000Au, 0x00010101u, 0x00000009u}), {0xAA}},
        {ARGB8p, P1, 1, W({0x80808080u}), {0xDA}},
        {ARGB8, RGB8, 2, W({0x12345678u, 0xABCDEF01u}), {0x78, 0x56, 0x34, 0x01, 0xEF, 0xCD}},
        // c * (a + 1) >> 8: 255 * 129 >> 8 = 128; opaque words pass; 1 * 255 >> 8 = 0.
        {ARGB8, ARGB8p, 5, W({0x80FF0000u, 0xFF123456u, 0x00FFFFFFu, 0x7F4080C0u, 0xFE010101u}),
         W({0x80800000u, 0xFF123456u, 0, 0x7F204060u, 0xFE000000u})},
        {ARGB8, ARGB8, 2, W({0x12345678u, 0x00ABCDEFu}), W({0x12345678u, 0x00ABCDEFu})},
        {ARGB8, XRGB8, 1, W({0x12345678u}), W({0xFF345678u})}, {ARGB8, A8, 1, W({0x12345678u}), {0x12}},
        {ARGB8, L8, 2, W({0x99102040u, 0xFFFF0000u}), {30, 76}},
        {ARGB8, A1, 3, W({0xFF000000u, 0x00FFFFFFu, 0x80000000u}), {0xBA}},
        {XRGB8, RGB8, 1, W({0x12345678u}), {0x78, 0x56, 0x34}},
        {XRGB8, ARGB8p, 1, W({0x00345678u}), W({0xFF345678u})}, {XRGB8, ARGB8, 1, W({0x12345678u}), W({0xFF345678u})},
        // Weights 77, 151, 28 sum to 256: white stays 255, alpha plays no part.
        {XRGB8, L8, 5, W({0x00FFFFFFu, 0xFFFF0000u, 0x0000FF00u, 0x000000FFu, 0x12102040u}), {255, 76, 150, 27, 30}},
        // Gray sum above 33023: 256 * 0x80 is not, 256 * 0x81 is; green 38505 is, red 19635 not.
        {XRGB8, L1, 6, W({0x00808080u, 0x00818181u, 0x00FFFFFFu, 0xFF000000u, 0x0000FF00u, 0x00FF0000u}), {0x6A}},
        {A8, ARGB8p, 2, gray, W({0x7F7F7F7Fu, 0})}, {A8, ARGB8, 2, gray, W({0x7FFFFFFFu, 0x00FFFFFFu})},
        {A8, XRGB8, 2, gray, W({0xFF7F7F7Fu, 0xFF000000u})}, {A8, A1, 4, {1, 0, 128, 255}, {0xBA}},
        {L8, ARGB8p, 2, gray, W({0xFF7F7F7Fu, 0xFF000000u})}, {L8, ARGB8, 2, gray, W({0xFF7F7F7Fu, 0xFF000000u})},
        {L8, XRGB8, 2, gray, W({0xFF7F7F7Fu, 0xFF000000u})}, {L8, P8, 2, gray, gray},
        {L8, L1, 3, {0, 1, 255}, {0x7A}},  // non-zero, not the threshold
        {A1, ARGB8p, 9, bits, Bits9(0xFFFFFFFFu, 0)}, {A1, ARGB8, 9, bits, Bits9(0xFFFFFFFFu, 0x00FFFFFFu)},
        {A1, XRGB8, 9, bits, Bits9(0xFFFFFFFFu, 0xFF000000u)}, {A1, A8, 9, bits, bytes9}, {A1, L8, 9, bits, bytes9},
        {A1, P1, 11, {0xA5, 0xC3}, bitCopy}, {L1, ARGB8p, 9, bits, Bits9(0xFFFFFFFFu, 0xFF000000u)},
        {L1, ARGB8, 9, bits, Bits9(0xFFFFFFFFu, 0xFF000000u)}, {L1, XRGB8, 9, bits, Bits9(0xFFFFFFFFu, 0xFF000000u)},
        {L1, L8, 9, bits, bytes9}, {L1, P1, 11, {0xA5, 0xC3}, bitCopy},
    };
    return rows;
}
}  // namespace

TEST(PixelConversionTest, EveryPairWorkedByHandAndTheRestRefused) {
    std::set<std::pair<int, int>> pairs;
    std::mt19937 random(1234);
    for (const Row& r : Table()) {
        pairs.insert({r.from, r.to});
        const ConvertProc proc = P::Select(r.from, r.to);
        ASSERT_NE(proc, nullptr);
        Bytes d(r.out.size() + 1, 0x5A);
        proc(r.in.data(), d.data(), -3);  // an empty row does nothing
        EXPECT_EQ(d, Bytes(d.size(), 0x5A)) << r.from << " to " << r.to;
        proc(r.in.data(), d.data(), r.count);
        EXPECT_EQ(Bytes(d.begin(), d.end() - 1), r.out) << r.from << " to " << r.to;
        EXPECT_EQ(d.back(), 0x5A);  // nothing written past the row
        // Long rows run in groups, overlapping ones pixel by pixel: both give
        // the one-pixel results, unaligned too; in place, each pixel is read first.
        const int n = 37, sb = PixelFormat::GetBitsPerPixel(r.from), db = PixelFormat::GetBitsPerPixel(r.to);
        const size_t outBytes = (n * db + 7) / 8;
        Bytes source(1 + (n * sb + 7) / 8 + 3);
        for (auto& b : source) b = static_cast<unsigned char>(random());
        Bytes out(source), inPlace(source);  // so that the bits after a one-bit row compare too
        out.resize(std::max(out.size(), 1 + outBytes));
        proc(&source[1], &out[1], n);
        Bytes one(db / 8);
        for (int i = 0; sb >= 8 && db >= 8 && i < n; ++i) {
            proc(&source[1 + i * sb / 8], one.data(), 1);
            ASSERT_EQ(Bytes(out.begin() + 1 + i * db / 8, out.begin() + 1 + (i + 1) * db / 8), one) << r.from << " to " << r.to;
        }
        if (db > sb) continue;
        proc(&inPlace[1], &inPlace[1], n);
        inPlace.resize(1 + outBytes), out.resize(1 + outBytes);
        EXPECT_EQ(inPlace, out) << r.from << " to " << r.to;
    }
    ASSERT_EQ(pairs.size(), 45u);
    // Every other pair of formats 1..10 refuses at once, whatever the count, before writing.
    for (int from = 1; from <= 10; ++from)
        for (int to = 1; to <= 10; ++to) {
            if (pairs.count({from, to})) continue;
            const ConvertProc proc = P::Select(PixelFormat::Enum(from), PixelFormat::Enum(to));
            ASSERT_NE(proc, nullptr);
            unsigned char s[16] = {1, 2, 3, 4, 5, 6, 7, 8}, d[16] = {};
            EXPECT_GRAPHICS_FAILURE(proc(s, d, from - 5), "ThrowBadConversion", "Bad format conversion");
            EXPECT_EQ(Bytes(d, d + 16), Bytes(16, 0)) << from << " to " << to;
        }
    // Formats outside 1..10 select nothing and convert as a silent no-op.
    unsigned char s[4] = {1, 2, 3, 4}, d[4] = {9, 9, 9, 9};
    for (int bad : {0, 11}) EXPECT_EQ(P::Select(ARGB8, PixelFormat::Enum(bad)), nullptr);
    PixelConverter(PixelFormat::Enum(0), ARGB8).Convert(s, d, 1);
    EXPECT_EQ(d[0], 9);
}

TEST(PixelConversionTest, PremultiplyRoundTripAndThresholdsForEveryByteAndAlpha) {
    // Three colour bytes against every alpha: premultiplied, then back.
    const int n = 256 * 256;
    Bytes argb(n * 4), premultiplied(n * 4), back(n * 4), raw(n * 4), gray(n), bits(n / 8);
    for (int i = 0; i < n; ++i)
        argb[i * 4] = i & 255, argb[i * 4 + 1] = 255 - (i & 255), argb[i * 4 + 2] = (i & 255) ^ 0x5A, argb[i * 4 + 3] = i >> 8;
    P::Select(ARGB8, ARGB8p)(argb.data(), premultiplied.data(), n);
    P::Select(ARGB8p, ARGB8)(premultiplied.data(), back.data(), n);
    // The same words read as premultiplied, colours above alpha included.
    P::Select(ARGB8p, ARGB8)(argb.data(), raw.data(), n);
    P::Select(ARGB8p, L8)(argb.data(), gray.data(), n);
    P::Select(ARGB8p, L1)(argb.data(), bits.data(), n);
    for (int i = 0; i < n; ++i) {
        const unsigned int a = argb[i * 4 + 3];
        unsigned int u[3];
        for (int k = 0; k < 3; ++k) {
            const unsigned int v = argb[i * 4 + k], p = premultiplied[i * 4 + k], b = back[i * 4 + k];
            ASSERT_EQ(p, (v * (a + 1)) >> 8) << i;
            // The round trip never gains and loses less than a step of 256 / (a + 1).
            ASSERT_LE(b, v) << i;
            ASSERT_LT((v - b) * (a + 1), 256 + a + 1) << i;
            ASSERT_TRUE(a < 255 || b == v) << i;
            u[k] = ((v * 256) / (a + 1)) & 0xFF;
            ASSERT_EQ(raw[i * 4 + k], u[k]) << i;
        }
        ASSERT_EQ(premultiplied[i * 4 + 3], a);
        ASSERT_EQ(raw[i * 4 + 3], a);
        ASSERT_EQ(gray[i], (77 * u[2] + 151 * u[1] + 28 * u[0]) >> 8) << i;
        const unsigned int sum = (77 * argb[i * 4 + 2] + 151 * argb[i * 4 + 1] + 28 * argb[i * 4]) & ~255u;
        ASSERT_EQ((bits[i >> 3] >> (7 - (i & 7))) & 1u, sum / (a + 1) > 128 ? 1u : 0u) << i;
    }
}

namespace {
std::shared_ptr<Palette> MakePalette(std::vector<unsigned int> colors) {
    return std::make_shared<Palette>(colors.data(), static_cast<unsigned long>(colors.size()));
}
void Fill(BitmapBase& bitmap, const std::vector<Bytes>& rows) {
    LockedData lock = bitmap.Lock(nullptr, LockMode::Write);
    for (size_t y = 0; y < rows.size(); ++y)
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y, rows[y].data(), rows[y].size());
    bitmap.Unlock();
}
// Neither a BitmapBase nor a Bitmap: byte rows through CopyToMemory, recording the rectangles.
class RowSource : public BitmapSource {
public:
    RowSource(Size<int> s, PixelFormat::Enum f, std::vector<Bytes> r, std::shared_ptr<Palette> p)
        : size(s), format(f), rows(std::move(r)), palette(std::move(p)) {}
    PixelFormat::Enum GetPixelFormat() const override { return format; }
    Size<int> GetSize() const override { return size; }
    float GetDpiX() const override { return 72.0f; }
    float GetDpiY() const override { return 144.0f; }
    std::shared_ptr<Palette> GetPalette() const override { return palette; }
    void CopyToMemory(const Rect<int>* rect, void* destination, int, int maxRowBytes) override {
        requests.push_back(rect ? *rect : Rect<int>(-1, -1, -1, -1));
        const int pixelBytes = PixelFormat::GetBitsPerPixel(format) / 8;
        if (rect && rect->Height() == 1 && rect->top < size.height)
            std::memcpy(destination, rows[rect->top].data() + rect->left * pixelBytes,
                        std::min(rect->Width() * pixelBytes, maxRowBytes));
    }
    Size<int> size;
    PixelFormat::Enum format;
    std::vector<Bytes> rows;
    std::shared_ptr<Palette> palette;
    std::vector<Rect<int>> requests;
};
}  // namespace

TEST(PixelFormatConverterTest, PalettesLocksPlainSourcesAndBounds) {
    // An index without a colour, or without a palette, reads as opaque black.
    // Bits go from mask 128 down, a new byte each eight.
    auto palette = MakePalette({0x80FF0000u, 0xFF00FF00u, 0x00123456u});
    const unsigned char indices[5] = {2, 0, 1, 3, 255}, bits[2] = {0x81, 0x40};
    Bytes out(11 * 4, 0xEE);
    PixelFormatConverter::Convert_P8_ARGB8(indices, palette, out.data(), 5);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 24),
              W({0x00123456u, 0x80FF0000u, 0xFF00FF00u, 0xFF000000u, 0xFF000000u, 0xEEEEEEEEu}));
    PixelFormatConverter::Convert_P8_ARGB8(indices, nullptr, out.data(), 1);
    EXPECT_EQ(WordAt(&out[0]), 0xFF000000u);
    const uint32_t k = 0xFF000000u, b = 0xFF0000FFu;
    PixelFormatConverter::Convert_P1_ARGB8(bits, MakePalette({b}), out.data(), 10);
    EXPECT_EQ(out, W({k, b, b, b, b, b, b, k, b, k, 0xEEEEEEEEu}));
    // Through a bitmap's lock, also behind a public Bitmap: palette words
    // premultiplied, or the gray of a block; ARGB8 has no way to one-bit
    // gray and is refused before any row is written.
    auto memory = std::make_shared<SysMemBitmap>(Size<int>(3, 2), P8, 96.0f, 96.0f);
    memory->SetPalette(palette);
    Fill(*memory, {{0, 1, 2}, {2, 1, 0}});
    for (std::shared_ptr<BitmapSource> source : {std::shared_ptr<BitmapSource>(memory),
                                                 std::shared_ptr<BitmapSource>(std::make_shared<Bitmap>(memory))}) {
        Bytes words(2 * 16, 0xEE), gray(4, 9), untouched(32, 0x5A);
        PixelFormatConverter(source, ARGB8p).CopyToMemory(nullptr, words.data(), 16, 0);
        EXPECT_EQ(Bytes(words.begin(), words.begin() + 12), W({0x80800000u, 0xFF00FF00u, 0x00000000u}));
        const Rect<int> block(1, 1, 3, 2);
        PixelFormatConverter(source, L8).CopyToMemory(&block, gray.data(), 4, 4);
        EXPECT_EQ(gray, (Bytes{150, 76, 9, 9}));
        PixelFormatConverter toL1(source, L1);
        EXPECT_GRAPHICS_FAILURE(toL1.CopyToMemory(nullptr, untouched.data(), 16, 16), "ThrowBadConversion",
                                "Bad format conversion");
        EXPECT_EQ(untouched, Bytes(32, 0x5A));
    }
    // A plain source is read one row rectangle at a time, moving down.
    auto indexed = std::make_shared<RowSource>(Size<int>(4, 3), P8, std::vector<Bytes>{{0, 1, 1, 0}, {1, 0, 0, 1}, {1, 1, 1, 1}},
                                               MakePalette({0x40000000u, 0xC0FFFFFFu}));
    Bytes alpha(12, 0xEE);
    const Rect<int> block(1, 0, 4, 2);
    PixelFormatConverter(indexed, A8).CopyToMemory(&block, alpha.data(), 4, 0);
    EXPECT_EQ(alpha, (Bytes{0xC0, 0xC0, 0x40, 0xEE, 0x40, 0x40, 0xC0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(indexed->requests, (std::vector<Rect<int>>{Rect<int>(1, 0, 4, 1), Rect<int>(1, 1, 4, 2)}));
    // A row limit that can't hold the row cuts it to whole pixels; a block
    // past the bitmap is read through the clipped copy, whose rows below the
    // bitmap come from its top; empty blocks do nothing.
    auto l8 = std::make_shared<SysMemBitmap>(Size<int>(4, 2), L8, 96.0f, 96.0f);
    Fill(*l8, {{1, 2, 3, 4}, {5, 6, 7, 8}});
    PixelFormatConverter converter(l8, XRGB8);
    const uint32_t e = 0xEEEEEEEEu;
    Bytes cut(32, 0xEE), wide(8 * 4 * 4, 0xEE);
    converter.CopyToMemory(nullptr, cut.data(), 16, 9);
    EXPECT_EQ(cut, W({0xFF010101u, 0xFF020202u, e, e, 0xFF050505u, 0xFF060606u, e, e}));
    const Rect<int> beyond(2, 1, 8, 5), empty(1, 1, 1, 2);
    converter.CopyToMemory(&empty, wide.data(), 32, 0);
    EXPECT_EQ(wide, Bytes(wide.size(), 0xEE));
    converter.CopyToMemory(&beyond, wide.data(), 32, 0);
    EXPECT_EQ(Bytes(wide.begin() + 32, wide.begin() + 48), W({0xFF010101u, 0xFF020202u, 0xFF030303u, 0xFF040404u}));
}
