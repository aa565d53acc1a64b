#include "bitmap/PixelFormatConverter.h"

#include "bitmap/SysMemBitmap.h"

#include "Graphics/Bitmap.h"
#include "Graphics/Exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

using namespace Graphics;

namespace {

uint32_t WordAt(const unsigned char* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

void PutWord(unsigned char* p, uint32_t w) {
    p[0] = static_cast<unsigned char>(w);
    p[1] = static_cast<unsigned char>(w >> 8);
    p[2] = static_cast<unsigned char>(w >> 16);
    p[3] = static_cast<unsigned char>(w >> 24);
}

std::shared_ptr<Palette> MakePalette(std::initializer_list<unsigned int> colors) {
    std::vector<unsigned int> c(colors);
    return std::make_shared<Palette>(c.data(), static_cast<unsigned long>(c.size()));
}

// Writes rows of bytes into a bitmap through its lock.
void Fill(BitmapBase& bitmap, const std::vector<std::vector<unsigned char>>& rows) {
    LockedData lock = bitmap.Lock(nullptr, LockMode::Write);
    for (size_t y = 0; y < rows.size(); ++y)
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y, rows[y].data(), rows[y].size());
    bitmap.Unlock();
}

void FillWords(BitmapBase& bitmap, const std::vector<std::vector<uint32_t>>& rows) {
    std::vector<std::vector<unsigned char>> bytes;
    for (const auto& row : rows) {
        std::vector<unsigned char> b(row.size() * 4);
        for (size_t i = 0; i < row.size(); ++i) PutWord(&b[i * 4], row[i]);
        bytes.push_back(b);
    }
    Fill(bitmap, bytes);
}

// A source that is neither a BitmapBase nor a Bitmap: byte rows of one
// format, served through CopyToMemory, which records what it was asked.
class RowSource : public BitmapSource {
public:
    RowSource(Size<int> s, PixelFormat::Enum f, std::vector<std::vector<unsigned char>> r, std::shared_ptr<Palette> p)
        : size(s), format(f), rows(std::move(r)), palette(std::move(p)) {}
    PixelFormat::Enum GetPixelFormat() const override { return format; }
    Size<int> GetSize() const override { return size; }
    float GetDpiX() const override { return 72.0f; }
    float GetDpiY() const override { return 144.0f; }
    std::shared_ptr<Palette> GetPalette() const override { return palette; }
    void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) override {
        requests.push_back(rect ? *rect : Rect<int>(-1, -1, -1, -1));
        maxRowBytesSeen.push_back(maxRowBytes);
        if (!rect || rect->top < 0 || rect->top >= size.height || rect->Height() != 1) return;
        const int bytesPerPixel = (PixelFormat::GetBitsPerPixel(format) + 7) / 8;
        const int from = rect->left * bytesPerPixel;
        int bytes = rect->Width() * bytesPerPixel;
        if (bytes > maxRowBytes) bytes = maxRowBytes;
        if (from < 0 || from + bytes > static_cast<int>(rows[rect->top].size())) return;
        std::memcpy(destination, rows[rect->top].data() + from, bytes);
        (void)stride;
    }

    Size<int> size;
    PixelFormat::Enum format;
    std::vector<std::vector<unsigned char>> rows;
    std::shared_ptr<Palette> palette;
    std::vector<Rect<int>> requests;
    std::vector<int> maxRowBytesSeen;
};

std::string FailureOf(PixelFormatConverter& converter, void* destination, int stride) {
    try {
        converter.CopyToMemory(nullptr, destination, stride, stride);
    } catch (const Exception& e) {
        return e.what();
    }
    return "no failure";
}

}  // namespace

TEST(PixelFormatConverterTest, ForwardsTheSourceAndReportsItsTarget) {
    auto source = std::make_shared<RowSource>(Size<int>(4, 3), PixelFormat::P8,
                                              std::vector<std::vector<unsigned char>>(3), MakePalette({1, 2}));
    PixelFormatConverter converter(source, PixelFormat::ARGB8p);
    EXPECT_EQ(PixelFormat::ARGB8p, converter.GetPixelFormat());
    EXPECT_EQ(Size<int>(4, 3), converter.GetSize());
    EXPECT_EQ(72.0f, converter.GetDpiX());
    EXPECT_EQ(144.0f, converter.GetDpiY());
    EXPECT_EQ(source->palette, converter.GetPalette());

    EXPECT_EQ(&PixelFormatConverter::Convert_P1_ARGB8, PixelFormatConverter::SelectConvertProc(PixelFormat::P1));
    EXPECT_EQ(&PixelFormatConverter::Convert_P8_ARGB8, PixelFormatConverter::SelectConvertProc(PixelFormat::P8));
    for (int f : {0, 1, 2, 3, 4, 5, 7, 8, 10, 11})
        EXPECT_EQ(nullptr, PixelFormatConverter::SelectConvertProc(PixelFormat::Enum(f)));
}

TEST(PixelFormatConverterTest, PaletteRoutines) {
    auto palette = MakePalette({0x80FF0000u, 0xFF00FF00u, 0x00123456u});
    unsigned char indices[4] = {2, 0, 1, 0};
    unsigned char out[5 * 4];
    std::memset(out, 0xEE, sizeof out);
    PixelFormatConverter::Convert_P8_ARGB8(indices, palette, out, 4);
    EXPECT_EQ(0x00123456u, WordAt(out));
    EXPECT_EQ(0x80FF0000u, WordAt(out + 4));
    EXPECT_EQ(0xFF00FF00u, WordAt(out + 8));
    EXPECT_EQ(0x80FF0000u, WordAt(out + 12));
    EXPECT_EQ(0xEEEEEEEEu, WordAt(out + 16));

    // Bits from mask 128 down, a new byte each eight pixels.
    unsigned char bits[2] = {0x81, 0x40};  // pixels 0, 7 and 9 set
    std::vector<unsigned char> words(11 * 4, 0xEE);
    PixelFormatConverter::Convert_P1_ARGB8(bits, palette, words.data(), 10);
    for (int i = 0; i < 10; ++i) {
        const bool set = i == 0 || i == 7 || i == 9;
        EXPECT_EQ(set ? 0xFF00FF00u : 0x80FF0000u, WordAt(&words[i * 4])) << i;
    }
    EXPECT_EQ(0xEEEEEEEEu, WordAt(&words[40]));

    // Nothing for an empty row; an index without a colour reads as opaque black.
    std::memset(out, 0xEE, sizeof out);
    PixelFormatConverter::Convert_P8_ARGB8(indices, palette, out, 0);
    EXPECT_EQ(0xEEEEEEEEu, WordAt(out));
    unsigned char far[2] = {3, 255};
    PixelFormatConverter::Convert_P8_ARGB8(far, palette, out, 2);
    EXPECT_EQ(0xFF000000u, WordAt(out));
    EXPECT_EQ(0xFF000000u, WordAt(out + 4));
    PixelFormatConverter::Convert_P8_ARGB8(indices, nullptr, out, 1);
    EXPECT_EQ(0xFF000000u, WordAt(out));
    PixelFormatConverter::Convert_P1_ARGB8(bits, MakePalette({0xFF0000FFu}), out, 2);
    EXPECT_EQ(0xFF000000u, WordAt(out));      // index 1 is past the end
    EXPECT_EQ(0xFF0000FFu, WordAt(out + 4));  // index 0
}

TEST(PixelFormatConverterTest, IndexedBitmapsExpandThroughTheirPalette) {
    auto palette = MakePalette({0x80FF0000u, 0xFF00FF00u, 0x00FFFFFFu});
    auto memory = std::make_shared<SysMemBitmap>(Size<int>(3, 2), PixelFormat::P8, 96.0f, 96.0f);
    memory->SetPalette(palette);
    Fill(*memory, {{0, 1, 2}, {2, 1, 0}});

    // The bitmap itself, and the same pixels behind a public Bitmap.
    std::shared_ptr<BitmapSource> sources[2] = {memory, std::make_shared<Bitmap>(memory)};
    for (auto& source : sources) {
        // ARGB8: the palette words; maxRowBytes plays no part.
        PixelFormatConverter toARGB8(source, PixelFormat::ARGB8);
        unsigned char out[2][16];
        std::memset(out, 0xEE, sizeof out);
        toARGB8.CopyToMemory(nullptr, out, 16, 0);
        EXPECT_EQ(0x80FF0000u, WordAt(out[0]));
        EXPECT_EQ(0xFF00FF00u, WordAt(out[0] + 4));
        EXPECT_EQ(0x00FFFFFFu, WordAt(out[0] + 8));
        EXPECT_EQ(0xEEEEEEEEu, WordAt(out[0] + 12));
        EXPECT_EQ(0x00FFFFFFu, WordAt(out[1]));
        EXPECT_EQ(0x80FF0000u, WordAt(out[1] + 8));

        // ARGB8p: expanded, then premultiplied.
        PixelFormatConverter toARGB8p(source, PixelFormat::ARGB8p);
        toARGB8p.CopyToMemory(nullptr, out, 16, 0);
        EXPECT_EQ(0x80800000u, WordAt(out[0]));
        EXPECT_EQ(0xFF00FF00u, WordAt(out[0] + 4));
        EXPECT_EQ(0x00000000u, WordAt(out[0] + 8));

        // A block: row 1, columns 1 and 2, into L8 (gray of the expansion).
        PixelFormatConverter toL8(source, PixelFormat::L8);
        unsigned char gray[4] = {9, 9, 9, 9};
        Rect<int> block(1, 1, 3, 2);
        toL8.CopyToMemory(&block, gray, 4, 4);
        EXPECT_EQ(150, gray[0]);  // green 255: 151 * 255 >> 8
        EXPECT_EQ(76, gray[1]);   // red 255 with its alpha ignored: 77 * 255 >> 8
        EXPECT_EQ(9, gray[2]);

        // Expansion goes to ARGB8 first, which has no way to one-bit gray.
        PixelFormatConverter toL1(source, PixelFormat::L1);
        unsigned char untouched[2][16];
        std::memset(untouched, 0x5A, sizeof untouched);
        EXPECT_EQ("Bad format conversion", FailureOf(toL1, untouched, 16));
        for (auto& row : untouched)
            for (unsigned char b : row) EXPECT_EQ(0x5A, b);
    }
}

TEST(PixelFormatConverterTest, OneBitIndexedBitmap) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(10, 1), PixelFormat::P1, 96.0f, 96.0f);
    bitmap->SetPalette(MakePalette({0xFF000000u, 0xFFFFFFFFu}));
    Fill(*bitmap, {{0xA0, 0x40}});  // pixels 0, 2 and 9 set
    PixelFormatConverter converter(bitmap, PixelFormat::XRGB8);
    std::vector<unsigned char> out(48, 0xEE);
    converter.CopyToMemory(nullptr, out.data(), 48, 48);
    for (int i = 0; i < 10; ++i) {
        const bool set = i == 0 || i == 2 || i == 9;
        EXPECT_EQ(set ? 0xFFFFFFFFu : 0xFF000000u, WordAt(&out[i * 4])) << i;
    }
    EXPECT_EQ(0xEEEEEEEEu, WordAt(&out[40]));
}

TEST(PixelFormatConverterTest, PlainSourcesAreReadRowByRow) {
    // Indexed: one row rectangle at a time, moving down, each filled with the
    // row buffer's stride as its limit.
    auto indexed = std::make_shared<RowSource>(Size<int>(4, 3), PixelFormat::P8,
                                               std::vector<std::vector<unsigned char>>{{0, 1, 1, 0}, {1, 0, 0, 1}, {1, 1, 1, 1}},
                                               MakePalette({0x40000000u, 0xC0FFFFFFu}));
    PixelFormatConverter expand(indexed, PixelFormat::A8);
    unsigned char alpha[3][4];
    std::memset(alpha, 0xEE, sizeof alpha);
    Rect<int> block(1, 0, 4, 2);
    expand.CopyToMemory(&block, alpha, 4, 0);
    const unsigned char expected[2][3] = {{0xC0, 0xC0, 0x40}, {0x40, 0x40, 0xC0}};
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) EXPECT_EQ(expected[y][x], alpha[y][x]) << x << "," << y;
    EXPECT_EQ(0xEE, alpha[0][3]);
    EXPECT_EQ(0xEE, alpha[2][0]);
    ASSERT_EQ(2u, indexed->requests.size());
    EXPECT_EQ(Rect<int>(1, 0, 4, 1), indexed->requests[0]);
    EXPECT_EQ(Rect<int>(1, 1, 4, 2), indexed->requests[1]);
    EXPECT_EQ(16, indexed->maxRowBytesSeen[0]);

    // Not indexed: the same walk with a null rectangle, from (0, 0).
    auto gray = std::make_shared<RowSource>(Size<int>(2, 2), PixelFormat::L8,
                                            std::vector<std::vector<unsigned char>>{{0, 255}, {1, 128}}, nullptr);
    PixelFormatConverter toWords(gray, PixelFormat::ARGB8);
    unsigned char words[2][8];
    toWords.CopyToMemory(nullptr, words, 8, 0);
    EXPECT_EQ(0xFF000000u, WordAt(words[0]));
    EXPECT_EQ(0xFFFFFFFFu, WordAt(words[0] + 4));
    EXPECT_EQ(0xFF010101u, WordAt(words[1]));
    EXPECT_EQ(0xFF808080u, WordAt(words[1] + 4));
    ASSERT_EQ(2u, gray->requests.size());
    EXPECT_EQ(Rect<int>(0, 0, 2, 1), gray->requests[0]);
    EXPECT_EQ(Rect<int>(0, 1, 2, 2), gray->requests[1]);

    // An indexed source without palette reads opaque black rather than
    // reaching through an empty pointer.
    auto bare = std::make_shared<RowSource>(Size<int>(1, 1), PixelFormat::P8,
                                            std::vector<std::vector<unsigned char>>{{0}}, nullptr);
    PixelFormatConverter fromBare(bare, PixelFormat::ARGB8);
    unsigned char one[4] = {};
    fromBare.CopyToMemory(nullptr, one, 4, 4);
    EXPECT_EQ(0xFF000000u, WordAt(one));
}

TEST(PixelFormatConverterTest, BitmapsConvertThroughTheirLock) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(3, 3), PixelFormat::ARGB8p, 96.0f, 96.0f);
    FillWords(*bitmap, {{0xFF102030u, 0x80800000u, 0x00000000u},
                        {0x80808080u, 0x10200000u, 0xFFFFFFFFu},
                        {0x01010101u, 0x02000000u, 0x40404040u}});
    // Whole bitmap to ARGB8: unpremultiplied, alpha kept.
    PixelFormatConverter toARGB8(bitmap, PixelFormat::ARGB8);
    unsigned char out[3][12];
    toARGB8.CopyToMemory(nullptr, out, 12, 0);
    EXPECT_EQ(0xFF102030u, WordAt(out[0]));
    EXPECT_EQ(0x80FE0000u, WordAt(out[0] + 4));
    EXPECT_EQ(0x00000000u, WordAt(out[0] + 8));
    EXPECT_EQ(0x80FEFEFEu, WordAt(out[1]));
    EXPECT_EQ(0x10E10000u, WordAt(out[1] + 4));  // the colour above its alpha wraps
    EXPECT_EQ(0x01808080u, WordAt(out[2]));      // 256 / 2 = 128
    EXPECT_EQ(0x40FCFCFCu, WordAt(out[2] + 8));  // 64 * 256 / 65 = 252

    // A block to one-bit gray by the premultiplied threshold.
    PixelFormatConverter toL1(bitmap, PixelFormat::L1);
    unsigned char bits[2] = {0x00, 0xFF};
    Rect<int> block(0, 1, 3, 3);
    toL1.CopyToMemory(&block, bits, 1, 1);
    // 32768 / 129, 2304 / 17 and 65280 / 256 are all above 128.
    EXPECT_EQ(0xE0, bits[0]);
    // 256 / 2 = 128 is not; 0 is not; 16384 / 65 = 252 is. The old low bits stay.
    EXPECT_EQ(0x3F, bits[1]);

    // The same pixels behind a Bitmap.
    auto wrapped = std::make_shared<Bitmap>(std::static_pointer_cast<BitmapBase>(bitmap));
    PixelFormatConverter fromWrapped(wrapped, PixelFormat::XRGB8);
    fromWrapped.CopyToMemory(nullptr, out, 12, 0);
    EXPECT_EQ(0xFFFE0000u, WordAt(out[0] + 4));
    EXPECT_EQ(0xFF000000u, WordAt(out[0] + 8));

    // A missing pair fails at the first row, leaving the destination alone.
    PixelFormatConverter toA8(std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96.0f, 96.0f),
                              PixelFormat::A8);
    unsigned char alpha[2][2] = {{7, 7}, {7, 7}};
    EXPECT_EQ("Bad format conversion", FailureOf(toA8, alpha, 2));
    EXPECT_EQ(7, alpha[0][0]);
    EXPECT_EQ(7, alpha[1][1]);
}

TEST(PixelFormatConverterTest, RowLimitAndBoundsKeepWritesAndReadsInside) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(4, 2), PixelFormat::L8, 96.0f, 96.0f);
    Fill(*bitmap, {{1, 2, 3, 4}, {5, 6, 7, 8}});
    PixelFormatConverter converter(bitmap, PixelFormat::XRGB8);

    // A row limit that can't hold the row cuts it to the whole pixels that fit.
    unsigned char out[2][16];
    std::memset(out, 0xEE, sizeof out);
    converter.CopyToMemory(nullptr, out, 16, 9);
    EXPECT_EQ(0xFF010101u, WordAt(out[0]));
    EXPECT_EQ(0xFF020202u, WordAt(out[0] + 4));
    EXPECT_EQ(0xEEEEEEEEu, WordAt(out[0] + 8));
    EXPECT_EQ(0xFF060606u, WordAt(out[1] + 4));
    EXPECT_EQ(0xEEEEEEEEu, WordAt(out[1] + 12));

    // A block reaching past the bitmap is read through the clipped source
    // copy rather than outside the pixels, and empty blocks do nothing.
    std::vector<unsigned char> wide(8 * 4 * 4, 0xEE);
    Rect<int> beyond(2, 1, 8, 5);
    EXPECT_NO_THROW(converter.CopyToMemory(&beyond, wide.data(), 32, 0));
    EXPECT_EQ(0xFF070707u, WordAt(&wide[0]));
    EXPECT_EQ(0xFF080808u, WordAt(&wide[4]));
    Rect<int> before(-3, -2, 1, 1);
    EXPECT_NO_THROW(converter.CopyToMemory(&before, wide.data(), 32, 0));
    std::vector<unsigned char> copy(wide);
    Rect<int> inverted(3, 1, 1, 2);
    converter.CopyToMemory(&inverted, wide.data(), 32, 0);
    Rect<int> empty(1, 1, 1, 2);
    converter.CopyToMemory(&empty, wide.data(), 32, 0);
    EXPECT_EQ(copy, wide);
}

TEST(PixelFormatConverterTest, CopyFromBitmapConvertsBetweenFormats) {
    auto source = std::make_shared<Bitmap>(Size<int>(2, 1), PixelFormat::ARGB8, 96.0f, 96.0f);
    std::vector<unsigned char> pixels(8);
    PutWord(&pixels[0], 0x80FF0000u);
    PutWord(&pixels[4], 0x7F4080C0u);
    source->CopyFromMemory(nullptr, pixels.data(), 8, 8);

    Bitmap target(Size<int>(2, 1), PixelFormat::ARGB8p, 96.0f, 96.0f);
    target.CopyFromBitmap(nullptr, source, nullptr);
    LockedData lock = target.Lock(nullptr, LockMode::Read);
    EXPECT_EQ(0x80800000u, WordAt(static_cast<unsigned char*>(lock.data)));
    EXPECT_EQ(0x7F204060u, WordAt(static_cast<unsigned char*>(lock.data) + 4));
    target.Unlock();

    // A P8 bitmap into ARGB8 expands through its palette.
    auto indexed = std::make_shared<Bitmap>(Size<int>(2, 1), PixelFormat::P8, 96.0f, 96.0f);
    indexed->SetPalette(MakePalette({0x11223344u, 0x55667788u}));
    unsigned char idx[2] = {1, 0};
    indexed->CopyFromMemory(nullptr, idx, 2, 2);
    Bitmap expanded(Size<int>(2, 1), PixelFormat::ARGB8, 96.0f, 96.0f);
    expanded.CopyFromBitmap(nullptr, indexed, nullptr);
    lock = expanded.Lock(nullptr, LockMode::Read);
    EXPECT_EQ(0x55667788u, WordAt(static_cast<unsigned char*>(lock.data)));
    EXPECT_EQ(0x11223344u, WordAt(static_cast<unsigned char*>(lock.data) + 4));
    expanded.Unlock();
}
