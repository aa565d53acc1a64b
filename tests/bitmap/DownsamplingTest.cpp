#include "Graphics/Downsampling.h"
#include "LogCapture.h"
#include <gtest/gtest.h>
#include <vector>

using namespace Graphics;

namespace {
typedef std::vector<unsigned char> Bytes;
typedef void (*Downsample)(const void*, const Size<int>&, int, int, int, void*);

// Every output pixel; each output row is followed by one byte that must stay 0xEE.
Bytes DownsampleAll(Downsample proc, int bytesPerPixel, int w, int h, int stride, const Bytes& source) {
    const int row = (w + 1) / 2 * bytesPerPixel + 1;
    Bytes out(static_cast<size_t>((h + 1) / 2 * row), 0xEE);
    for (int y = 0; y < (h + 1) / 2; ++y)
        for (int x = 0; x < (w + 1) / 2; ++x) proc(&source[2 * y * stride], Size<int>(w, h), stride, x, y, &out[y * row]);
    return out;
}
}  // namespace

TEST(DownsamplingTest, BlocksAverageAndOddEdgesRepeat) {
    const struct {
        const char* name;
        Downsample proc;
        int bytesPerPixel, w, h, stride;
        Bytes source, expected;
    } cases[] = {
        // (1 + 2 + 2 + 2) >> 2 = 1; the odd right column and bottom row repeat:
        // (10 + 10 + 20 + 20) >> 2 = 15, (40 + 80) * 2 >> 2 = 60.
        {"8", Box2x2Downsampling::Downsample_8bpp, 1, 3, 3, 4, {1, 2, 10, 99, 2, 2, 20, 99, 40, 80, 200, 99},
         {1, 15, 0xEE, 60, 200, 0xEE}},
        // Exactly nine bytes: the last pixel is read without a spare byte; 126 >> 2 = 31.
        {"24", Box2x2Downsampling::Downsample_24bpp, 3, 3, 1, 9, {10, 20, 30, 11, 21, 33, 255, 254, 253},
         {10, 20, 31, 255, 254, 253, 0xEE}},
        // Bytes stay apart: 255 + 0 + 0 + 0 gives 0x3F each; 0x80 and 0x01 twice -> 0x40;
        // 3 and 255 twice -> 0x81.
        {"32", Box2x2Downsampling::Downsample_32bpp, 4, 3, 3, 12,
         {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x10, 0x20, 0x40, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1,
          3, 3, 3, 3, 0, 0xFF, 0, 0xFF, 0x78, 0x56, 0x34, 0x12},
         {0x3F, 0x3F, 0x3F, 0x3F, 0x0A, 0x11, 0x21, 0x40, 0xEE, 0x01, 0x81, 0x01, 0x81, 0x78, 0x56, 0x34, 0x12, 0xEE}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(DownsampleAll(c.proc, c.bytesPerPixel, c.w, c.h, c.stride, c.source), c.expected) << c.name;
    // Outside the source, or without buffers, nothing is written.
    unsigned char s[4] = {1, 2, 3, 4}, out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    const Size<int> one(1, 1);
    Box2x2Downsampling::Downsample_8bpp(s, one, 1, 1, 0, out);
    Box2x2Downsampling::Downsample_24bpp(s, one, 3, 0, 1, out);
    Box2x2Downsampling::Downsample_32bpp(s, one, 4, 0, -1, out);
    Box2x2Downsampling::Downsample_32bpp(nullptr, one, 4, 0, 0, out);
    Box2x2Downsampling::Downsample_32bpp(s, one, 4, 0, 0, nullptr);
    EXPECT_EQ(Bytes(out, out + 8), Bytes(8, 9));
    EXPECT_GRAPHICS_FAILURE(Box2x2Downsampling::ThrowBadFormat(), "ThrowBadFormat", "Bad format for downsampling");
}
