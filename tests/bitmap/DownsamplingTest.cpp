#include "Graphics/Downsampling.h"

#include "Graphics/Exception.h"
#include "Graphics/Log.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

struct Capture : LogListener {
    std::vector<std::string> texts;
    void OnLogMessage(const std::string& text) override { texts.push_back(text); }
};

uint32_t WordAt(const unsigned char* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

void PutWord(unsigned char* p, uint32_t w) {
    p[0] = static_cast<unsigned char>(w);
    p[1] = static_cast<unsigned char>(w >> 8);
    p[2] = static_cast<unsigned char>(w >> 16);
    p[3] = static_cast<unsigned char>(w >> 24);
}

}  // namespace

TEST(DownsamplingTest, EightBitsOddSizesRepeatTheEdge) {
    // 3 x 3, stride 4 (one spare byte a row, never read).
    const int stride = 4;
    std::vector<unsigned char> s = {
        1, 2, 10, 99,   //
        2, 2, 20, 99,   //
        40, 80, 200, 99,
    };
    Size<int> size(3, 3);
    unsigned char out[2][3];
    for (auto& row : out)
        for (auto& b : row) b = 0xEE;
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            Box2x2Downsampling::Downsample_8bpp(&s[2 * y * stride], size, stride, x, y, out[y]);
    EXPECT_EQ(1, out[0][0]);                       // (1 + 2 + 2 + 2) >> 2 = 7 >> 2
    EXPECT_EQ((10 + 10 + 20 + 20) >> 2, out[0][1]);  // the right column repeats
    EXPECT_EQ((40 + 80 + 40 + 80) >> 2, out[1][0]);  // the bottom row repeats
    EXPECT_EQ(200, out[1][1]);                     // the corner is one pixel four times
    EXPECT_EQ(0xEE, out[0][2]);
    EXPECT_EQ(0xEE, out[1][2]);

    // 1 x 1: the pixel itself.
    unsigned char one = 77, result = 0;
    Box2x2Downsampling::Downsample_8bpp(&one, Size<int>(1, 1), 1, 0, 0, &result);
    EXPECT_EQ(77, result);
}

TEST(DownsamplingTest, TwentyFourBitsReadOnlyTheirPixels) {
    // 3 x 1 in a buffer holding exactly its nine bytes: the last pixel is read
    // without a spare byte after it.
    std::vector<unsigned char> s = {10, 20, 30, 11, 21, 33, 255, 254, 253};
    unsigned char out[6] = {0, 0, 0, 0, 0, 0};
    Size<int> size(3, 1);
    Box2x2Downsampling::Downsample_24bpp(s.data(), size, 9, 0, 0, out);
    Box2x2Downsampling::Downsample_24bpp(s.data(), size, 9, 1, 0, out);
    EXPECT_EQ((10 + 11) * 2 >> 2, out[0]);  // 42 >> 2 = 10
    EXPECT_EQ((20 + 21) * 2 >> 2, out[1]);  // 82 >> 2 = 20
    EXPECT_EQ((30 + 33) * 2 >> 2, out[2]);  // 126 >> 2 = 31
    EXPECT_EQ(255, out[3]);
    EXPECT_EQ(254, out[4]);
    EXPECT_EQ(253, out[5]);

    // 2 x 2 with every value different, channels independent.
    std::vector<unsigned char> t = {1, 2, 3, 4, 5, 6,  //
                                    7, 8, 9, 250, 251, 252};
    unsigned char block[4] = {0, 0, 0, 0xCC};
    Box2x2Downsampling::Downsample_24bpp(t.data(), Size<int>(2, 2), 6, 0, 0, block);
    EXPECT_EQ((1 + 4 + 7 + 250) >> 2, block[0]);
    EXPECT_EQ((2 + 5 + 8 + 251) >> 2, block[1]);
    EXPECT_EQ((3 + 6 + 9 + 252) >> 2, block[2]);
    EXPECT_EQ(0xCC, block[3]);  // three bytes written, not four
}

TEST(DownsamplingTest, ThirtyTwoBitsAverageEachChannel) {
    // 3 x 3 words; stride 12.
    std::vector<unsigned char> s(36);
    const uint32_t words[9] = {0xFFFFFFFFu, 0x00000000u, 0x80402010u,  //
                               0x00000000u, 0x00000000u, 0x01020304u,  //
                               0x03030303u, 0xFF00FF00u, 0x12345678u};
    for (int i = 0; i < 9; ++i) PutWord(&s[i * 4], words[i]);
    Size<int> size(3, 3);
    unsigned char out[2][8];
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            Box2x2Downsampling::Downsample_32bpp(&s[2 * y * 12], size, 12, x, y, out[y]);
    // 255 / 4 = 63 in every channel; nothing carries into the next channel.
    EXPECT_EQ(0x3F3F3F3Fu, WordAt(out[0]));
    // (2 * 0x80 + 2 * 0x01) >> 2 = 0x40, (2 * 0x40 + 2 * 0x02) >> 2 = 0x21,
    // (2 * 0x20 + 2 * 0x03) >> 2 = 0x11, (2 * 0x10 + 2 * 0x04) >> 2 = 0x0A.
    EXPECT_EQ(0x4021110Au, WordAt(out[0] + 4));
    // Bottom row repeated: (3 + 3 + 0xFF + 0xFF) >> 2 = 0x81 and (6 >> 2) = 1.
    EXPECT_EQ(0x81018101u, WordAt(out[1]));
    EXPECT_EQ(0x12345678u, WordAt(out[1] + 4));
}

TEST(DownsamplingTest, OutsideTheSourceWritesNothing) {
    unsigned char s[4] = {1, 2, 3, 4};
    unsigned char out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    Size<int> size(1, 1);
    Box2x2Downsampling::Downsample_8bpp(s, size, 1, 1, 0, out);
    Box2x2Downsampling::Downsample_8bpp(s, size, 1, 0, 1, out);
    Box2x2Downsampling::Downsample_8bpp(s, size, 1, -1, 0, out);
    Box2x2Downsampling::Downsample_24bpp(s, Size<int>(0, 0), 3, 0, 0, out);
    Box2x2Downsampling::Downsample_32bpp(s, size, 4, 0, -1, out);
    Box2x2Downsampling::Downsample_32bpp(nullptr, size, 4, 0, 0, out);
    Box2x2Downsampling::Downsample_32bpp(s, size, 4, 0, 0, nullptr);
    for (unsigned char b : out) EXPECT_EQ(9, b);
}

TEST(DownsamplingTest, BadFormatRaises) {
    auto listener = std::make_shared<Capture>();
    AttachLogListener(listener);
    std::string message;
    try {
        Box2x2Downsampling::ThrowBadFormat();
    } catch (const Exception& e) {
        message = e.what();
    }
    DetachLogListener(listener);
    EXPECT_EQ("Bad format for downsampling", message);
    ASSERT_EQ(1u, listener->texts.size());
    EXPECT_EQ(0u, listener->texts[0].find("Exception in ThrowBadFormat ("));
}
