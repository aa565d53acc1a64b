#include "bitmap/PixelConversion.h"

#include "Graphics/Exception.h"
#include "Graphics/Log.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace Graphics;

namespace {

typedef PixelConversion P;

std::vector<unsigned char> Words(std::initializer_list<uint32_t> words) {
    std::vector<unsigned char> bytes;
    for (uint32_t w : words) {
        bytes.push_back(static_cast<unsigned char>(w));
        bytes.push_back(static_cast<unsigned char>(w >> 8));
        bytes.push_back(static_cast<unsigned char>(w >> 16));
        bytes.push_back(static_cast<unsigned char>(w >> 24));
    }
    return bytes;
}

uint32_t WordAt(const unsigned char* p, int i) {
    p += 4 * i;
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

// One word through a routine.
uint32_t Convert1(ConvertProc proc, uint32_t word) {
    std::vector<unsigned char> s = Words({word});
    unsigned char d[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    proc(s.data(), d, 1);
    return WordAt(d, 0);
}

// One word to a one-byte result.
unsigned int ToByte(ConvertProc proc, uint32_t word) {
    std::vector<unsigned char> s = Words({word});
    unsigned char d[2] = {0xAA, 0x55};
    proc(s.data(), d, 1);
    EXPECT_EQ(0x55, d[1]);
    return d[0];
}

// One word to a one-bit result; the seven bits after it must stay.
unsigned int ToBit(ConvertProc proc, uint32_t word) {
    std::vector<unsigned char> s = Words({word});
    unsigned char d[1] = {0x55};
    proc(s.data(), d, 1);
    EXPECT_EQ(0x55 & 0x7F, d[0] & 0x7F);
    return d[0] >> 7;
}

struct Capture : LogListener {
    std::mutex m;
    std::vector<std::string> texts;
    void OnLogMessage(const std::string& text) override {
        std::lock_guard<std::mutex> lock(m);
        texts.push_back(text);
    }
};

std::string FailureOf(ConvertProc proc, int count) {
    unsigned char s[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    unsigned char d[16] = {};
    try {
        proc(s, d, count);
    } catch (const Exception& e) {
        for (unsigned char b : d) EXPECT_EQ(0, b);
        return e.what();
    }
    return "no failure";
}

const PixelFormat::Enum RGB8 = PixelFormat::RGB8, ARGB8p = PixelFormat::ARGB8p, ARGB8 = PixelFormat::ARGB8,
                        XRGB8 = PixelFormat::XRGB8, A8 = PixelFormat::A8, P8 = PixelFormat::P8, L8 = PixelFormat::L8,
                        A1 = PixelFormat::A1, P1 = PixelFormat::P1, L1 = PixelFormat::L1;

}  // namespace

TEST(PixelConversionTest, TableHoldsExactlyTheFortyFivePairs) {
    const std::map<std::pair<int, int>, ConvertProc> expected = {
        {{ARGB8, ARGB8}, &P::Convert_ARGB8_ARGB8},   {{ARGB8, ARGB8p}, &P::Convert_ARGB8_ARGB8p},
        {{ARGB8, XRGB8}, &P::Convert_ARGB8_XRGB8},   {{ARGB8, RGB8}, &P::Convert_XRGB8_RGB8},
        {{ARGB8, A8}, &P::Convert_ARGB8_A8},         {{ARGB8, L8}, &P::Convert_XRGB8_L8},
        {{ARGB8, A1}, &P::Convert_ARGB8_A1},

        {{RGB8, ARGB8p}, &P::Convert_RGB8_XRGB8},    {{RGB8, ARGB8}, &P::Convert_RGB8_XRGB8},
        {{RGB8, XRGB8}, &P::Convert_RGB8_XRGB8},     {{RGB8, L8}, &P::Convert_RGB8_L8},

        {{ARGB8p, ARGB8}, &P::Convert_ARGB8p_ARGB8}, {{ARGB8p, XRGB8}, &P::Convert_ARGB8p_XRGB8},
        {{ARGB8p, RGB8}, &P::Convert_ARGB8p_RGB8},   {{ARGB8p, A8}, &P::Convert_ARGB8_A8},
        {{ARGB8p, L8}, &P::Convert_ARGB8p_L8},       {{ARGB8p, P8}, &P::Convert_ARGB8p_L8},
        {{ARGB8p, A1}, &P::Convert_ARGB8_A1},        {{ARGB8p, L1}, &P::Convert_ARGB8p_L1},
        {{ARGB8p, P1}, &P::Convert_ARGB8p_L1},

        {{XRGB8, RGB8}, &P::Convert_XRGB8_RGB8},     {{XRGB8, ARGB8p}, &P::Convert_XRGB8_ARGB8},
        {{XRGB8, ARGB8}, &P::Convert_XRGB8_ARGB8},   {{XRGB8, L8}, &P::Convert_XRGB8_L8},
        {{XRGB8, L1}, &P::Convert_XRGB8_L1},

        {{A8, ARGB8}, &P::Convert_A8_ARGB8},         {{A8, ARGB8p}, &P::Convert_A8_ARGB8p},
        {{A8, XRGB8}, &P::Convert_L8_XRGB8},         {{A8, A1}, &P::Convert_A8_A1},

        {{L8, ARGB8p}, &P::Convert_L8_XRGB8},        {{L8, ARGB8}, &P::Convert_L8_XRGB8},
        {{L8, XRGB8}, &P::Convert_L8_XRGB8},         {{L8, P8}, &P::Convert_L8_P8},
        {{L8, L1}, &P::Convert_A8_A1},

        {{A1, ARGB8p}, &P::Convert_A1_ARGB8p},       {{A1, ARGB8}, &P::Convert_A1_ARGB8},
        {{A1, XRGB8}, &P::Convert_L1_XRGB8},         {{A1, A8}, &P::Convert_A1_A8},
        {{A1, L8}, &P::Convert_A1_A8},               {{A1, P1}, &P::Convert_A1_P1},

        {{L1, ARGB8p}, &P::Convert_L1_XRGB8},        {{L1, ARGB8}, &P::Convert_L1_XRGB8},
        {{L1, XRGB8}, &P::Convert_L1_XRGB8},         {{L1, L8}, &P::Convert_A1_A8},
        {{L1, P1}, &P::Convert_A1_P1},
    };
    ASSERT_EQ(45u, expected.size());

    int existing = 0;
    for (int from = 1; from <= 10; ++from) {
        for (int to = 1; to <= 10; ++to) {
            SCOPED_TRACE(testing::Message() << "from " << from << " to " << to);
            ConvertProc proc = P::Select(PixelFormat::Enum(from), PixelFormat::Enum(to));
            ASSERT_NE(nullptr, proc);
            EXPECT_EQ(proc, PixelConverter::SelectConvertProc(PixelFormat::Enum(from), PixelFormat::Enum(to)));
            auto it = expected.find({from, to});
            if (it != expected.end()) {
                ++existing;
                EXPECT_EQ(it->second, proc);
                // Real routines do nothing for an empty row.
                unsigned char s[8] = {1, 2, 3, 4, 5, 6, 7, 8}, d[8] = {};
                proc(s, d, 0);
                proc(s, d, -3);
                for (unsigned char b : d) EXPECT_EQ(0, b);
            } else {
                EXPECT_EQ(&P::ThrowBadConversion, proc);
                // Whatever the count, and before touching the destination.
                EXPECT_EQ("Bad format conversion", FailureOf(proc, 0));
                EXPECT_EQ("Bad format conversion", FailureOf(proc, 1));
                EXPECT_EQ("Bad format conversion", FailureOf(proc, -1));
            }
        }
    }
    EXPECT_EQ(45, existing);

    // Nothing starts from an indexed format, and of the same-format pairs
    // only ARGB8 to ARGB8 exists.
    for (int to = 1; to <= 10; ++to) {
        EXPECT_EQ(&P::ThrowBadConversion, P::Select(P8, PixelFormat::Enum(to)));
        EXPECT_EQ(&P::ThrowBadConversion, P::Select(P1, PixelFormat::Enum(to)));
        if (to != ARGB8) {
            EXPECT_EQ(&P::ThrowBadConversion, P::Select(PixelFormat::Enum(to), PixelFormat::Enum(to)));
        }
    }
    // The intended asymmetries.
    EXPECT_EQ(&P::ThrowBadConversion, P::Select(ARGB8, L1));
    EXPECT_EQ(&P::ThrowBadConversion, P::Select(XRGB8, A8));
    EXPECT_EQ(&P::ThrowBadConversion, P::Select(ARGB8, P8));
}

TEST(PixelConversionTest, FormatsOutsideTheTableSelectNothing) {
    const int bad[] = {0, -1, 11, 100};
    for (int b : bad) {
        EXPECT_EQ(nullptr, P::Select(PixelFormat::Enum(b), ARGB8));
        EXPECT_EQ(nullptr, P::Select(ARGB8, PixelFormat::Enum(b)));
        EXPECT_EQ(nullptr, PixelConverter::SelectConvertProc(PixelFormat::Enum(b), PixelFormat::Enum(b)));
    }
    // A converter without routine is a silent no-op.
    PixelConverter none(PixelFormat::Enum(0), ARGB8);
    unsigned char s[4] = {1, 2, 3, 4}, d[4] = {9, 9, 9, 9};
    EXPECT_NO_THROW(none.Convert(s, d, 1));
    for (unsigned char b : d) EXPECT_EQ(9, b);

    // A converter for a missing pair is built without complaint and fails at
    // its first row.
    PixelConverter missing(XRGB8, XRGB8);
    EXPECT_THROW(missing.Convert(s, d, 0), Exception);
    PixelConverter copy(ARGB8, ARGB8);
    copy.Convert(s, d, 1);
    EXPECT_EQ(0, std::memcmp(s, d, 4));
}

TEST(PixelConversionTest, MissingPairIsLoggedUnderItsRoutineName) {
    auto listener = std::make_shared<Capture>();
    AttachLogListener(listener);
    unsigned char s[4] = {}, d[4] = {};
    EXPECT_THROW(P::Select(ARGB8, P1)(s, d, 0), Exception);
    DetachLogListener(listener);
    ASSERT_EQ(1u, listener->texts.size());
    const std::string& text = listener->texts[0];
    EXPECT_EQ(0u, text.find("Exception in ThrowBadConversion ("));
    EXPECT_NE(std::string::npos, text.find("PixelConversion.cpp, "));
    const std::string tail = "):\n\tBad format conversion";
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST(PixelConversionTest, Premultiply) {
    ConvertProc proc = P::Select(ARGB8, ARGB8p);
    // red 255 * 129 >> 8 = 128
    EXPECT_EQ(0x80800000u, Convert1(proc, 0x80FF0000u));
    // Opaque words pass as they are.
    EXPECT_EQ(0xFF123456u, Convert1(proc, 0xFF123456u));
    EXPECT_EQ(0xFFFFFFFFu, Convert1(proc, 0xFFFFFFFFu));
    // Alpha 0: c * 1 >> 8 is 0 for every byte.
    EXPECT_EQ(0x00000000u, Convert1(proc, 0x00FFFFFFu));
    // 0x40, 0x80, 0xC0 with alpha 0x7F (w = 128): halves, truncated: 0x20, 0x40, 0x60.
    EXPECT_EQ(0x7F204060u, Convert1(proc, 0x7F4080C0u));
    // 1 * 255 >> 8 = 0: a small colour under a large but partial alpha vanishes.
    EXPECT_EQ(0xFE000000u, Convert1(proc, 0xFE010101u));

    // Every byte against every alpha.
    std::vector<unsigned char> s(256 * 256 * 4), d(s.size());
    for (int a = 0; a < 256; ++a)
        for (int c = 0; c < 256; ++c) {
            unsigned char* p = &s[(a * 256 + c) * 4];
            p[0] = static_cast<unsigned char>(c);
            p[1] = static_cast<unsigned char>(255 - c);
            p[2] = static_cast<unsigned char>(c ^ 0x5A);
            p[3] = static_cast<unsigned char>(a);
        }
    proc(s.data(), d.data(), 256 * 256);
    for (int i = 0; i < 256 * 256; ++i) {
        unsigned int a = s[i * 4 + 3];
        for (int k = 0; k < 3; ++k) ASSERT_EQ((s[i * 4 + k] * (a + 1)) >> 8, d[i * 4 + k]) << i;
        ASSERT_EQ(a, d[i * 4 + 3]);
    }
}

TEST(PixelConversionTest, Unpremultiply) {
    ConvertProc toARGB8 = P::Select(ARGB8p, ARGB8);
    ConvertProc toXRGB8 = P::Select(ARGB8p, XRGB8);
    ConvertProc toRGB8 = P::Select(ARGB8p, RGB8);
    // 128 * 256 / 129 = 254: the round trip loses one step.
    EXPECT_EQ(0x80FE0000u, Convert1(toARGB8, 0x80800000u));
    EXPECT_EQ(0xFFFE0000u, Convert1(toXRGB8, 0x80800000u));
    EXPECT_EQ(0xFF345678u, Convert1(toARGB8, 0xFF345678u));
    // A colour above its alpha wraps: 0x20 * 256 / 17 = 481, cut to 0xE1;
    // 0xFF * 256 / 17 = 3840, cut to 0.
    EXPECT_EQ(0x10E100E1u, Convert1(toARGB8, 0x1020FF20u));
    // Alpha 0 always gives black.
    EXPECT_EQ(0x00000000u, Convert1(toARGB8, 0x00FFFFFFu));
    EXPECT_EQ(0x00000000u, Convert1(toARGB8, 0x00010203u));
    EXPECT_EQ(0xFF000000u, Convert1(toXRGB8, 0x00FF8001u));

    // Three bytes, blue first, and nothing after them.
    std::vector<unsigned char> s = Words({0x80800040u, 0x00FFFFFFu});
    unsigned char d[7] = {9, 9, 9, 9, 9, 9, 9};
    toRGB8(s.data(), d, 2);
    EXPECT_EQ(0x7F, d[0]);  // 64 * 256 / 129 = 127
    EXPECT_EQ(0x00, d[1]);
    EXPECT_EQ(0xFE, d[2]);
    EXPECT_EQ(0x00, d[3]);
    EXPECT_EQ(0x00, d[4]);
    EXPECT_EQ(0x00, d[5]);
    EXPECT_EQ(9, d[6]);

    // Every byte against every alpha, for the three routines.
    std::vector<unsigned char> all(256 * 256 * 4), out4(all.size()), out3(256 * 256 * 3);
    for (int a = 0; a < 256; ++a)
        for (int c = 0; c < 256; ++c) {
            unsigned char* p = &all[(a * 256 + c) * 4];
            p[0] = static_cast<unsigned char>(c);
            p[1] = static_cast<unsigned char>(c * 7);
            p[2] = static_cast<unsigned char>(255 - c);
            p[3] = static_cast<unsigned char>(a);
        }
    toARGB8(all.data(), out4.data(), 256 * 256);
    toRGB8(all.data(), out3.data(), 256 * 256);
    for (int i = 0; i < 256 * 256; ++i) {
        unsigned int a = all[i * 4 + 3];
        for (int k = 0; k < 3; ++k) {
            unsigned int expected = ((all[i * 4 + k] * 256u) / (a + 1)) & 0xFF;
            ASSERT_EQ(expected, out4[i * 4 + k]) << "byte " << int(all[i * 4 + k]) << " alpha " << a;
            ASSERT_EQ(expected, out3[i * 3 + k]);
        }
        ASSERT_EQ(a, out4[i * 4 + 3]);
    }
    toXRGB8(all.data(), out4.data(), 256 * 256);
    for (int i = 0; i < 256 * 256; ++i) ASSERT_EQ(255, out4[i * 4 + 3]);
}

TEST(PixelConversionTest, GrayLevels) {
    ConvertProc fromXRGB8 = P::Select(XRGB8, L8);
    ConvertProc fromPremultiplied = P::Select(ARGB8p, L8);
    EXPECT_EQ(255u, ToByte(fromXRGB8, 0x00FFFFFFu));
    EXPECT_EQ(76u, ToByte(fromXRGB8, 0xFFFF0000u));   // 77 * 255 >> 8
    EXPECT_EQ(150u, ToByte(fromXRGB8, 0x0000FF00u));  // 151 * 255 >> 8
    EXPECT_EQ(27u, ToByte(fromXRGB8, 0x000000FFu));   // 28 * 255 >> 8
    // (77 * 16 + 151 * 32 + 28 * 64) >> 8 = 7856 >> 8 = 30; alpha ignored.
    EXPECT_EQ(30u, ToByte(fromXRGB8, 0x12102040u));
    EXPECT_EQ(30u, ToByte(P::Select(ARGB8, L8), 0x99102040u));

    // From premultiplied: the gray of the unpremultiplied, cut bytes.
    // 0x80800000: red 254, so 77 * 254 >> 8 = 76.
    EXPECT_EQ(76u, ToByte(fromPremultiplied, 0x80800000u));
    EXPECT_EQ(255u, ToByte(fromPremultiplied, 0xFFFFFFFFu));
    // The wrapped channel counts as it was cut: red 0x20 / alpha 0x10 -> 0xE1.
    EXPECT_EQ((77u * 0xE1) >> 8, ToByte(fromPremultiplied, 0x10200000u));
    EXPECT_EQ(0u, ToByte(fromPremultiplied, 0x00FFFFFFu));
    // For P8 the gray level is the index.
    EXPECT_EQ(76u, ToByte(P::Select(ARGB8p, P8), 0x80800000u));

    // RGB8 reads blue, green, red.
    ConvertProc fromRGB8 = P::Select(RGB8, L8);
    unsigned char rgb[6] = {0x40, 0x20, 0x10, 0xFF, 0xFF, 0xFF};
    unsigned char out[3] = {9, 9, 9};
    fromRGB8(rgb, out, 2);
    EXPECT_EQ(30, out[0]);
    EXPECT_EQ(255, out[1]);
    EXPECT_EQ(9, out[2]);
}

TEST(PixelConversionTest, OneBitThresholds) {
    ConvertProc fromXRGB8 = P::Select(XRGB8, L1);
    // 77 + 151 + 28 = 256: a gray g sums to 256 g.
    EXPECT_EQ(0u, ToBit(fromXRGB8, 0x00808080u));  // 32768, not above 33023
    EXPECT_EQ(1u, ToBit(fromXRGB8, 0x00818181u));  // 33024
    EXPECT_EQ(1u, ToBit(fromXRGB8, 0x00FFFFFFu));
    EXPECT_EQ(0u, ToBit(fromXRGB8, 0xFF000000u));
    // Pure green: 151 * 255 = 38505 sets it; pure red 19635 doesn't.
    EXPECT_EQ(1u, ToBit(fromXRGB8, 0x0000FF00u));
    EXPECT_EQ(0u, ToBit(fromXRGB8, 0x00FF0000u));

    // From premultiplied: ((sum AND NOT 255) / (alpha + 1)) above 128.
    ConvertProc fromPremultiplied = P::Select(ARGB8p, L1);
    EXPECT_EQ(fromPremultiplied, P::Select(ARGB8p, P1));
    EXPECT_EQ(1u, ToBit(fromPremultiplied, 0xFF818181u));  // 33024 / 256 = 129
    EXPECT_EQ(0u, ToBit(fromPremultiplied, 0xFF808080u));  // 32768 / 256 = 128
    EXPECT_EQ(1u, ToBit(fromPremultiplied, 0x80808080u));  // 32768 / 129 = 254
    // 32767 AND NOT 255 = 32512; / 253 = 128 (not above), / 252 = 129.
    // R = G = B = v sums to 256 v; with v = 0x7F that is 32512.
    EXPECT_EQ(0u, ToBit(fromPremultiplied, 0xFC7F7F7Fu));  // 32512 / 253 = 128
    EXPECT_EQ(1u, ToBit(fromPremultiplied, 0xFB7F7F7Fu));  // 32512 / 252 = 129
    // The low byte of the sum is dropped before the division: blue 10 sums
    // to 280, of which 256 / 2 = 128 is not above.
    EXPECT_EQ(0u, ToBit(fromPremultiplied, 0x0100000Au));
    // Alpha 0 divides by 1: anything above a sum of 255 sets the bit.
    EXPECT_EQ(1u, ToBit(fromPremultiplied, 0x00010101u));
    EXPECT_EQ(0u, ToBit(fromPremultiplied, 0x00000009u));  // 252 AND NOT 255 = 0

    // L8 reaches L1 by testing for non-zero, not by the threshold.
    ConvertProc fromL8 = P::Select(L8, L1);
    unsigned char gray[4] = {1, 0, 128, 255};
    unsigned char bits[1] = {0x0F};
    fromL8(gray, bits, 4);
    EXPECT_EQ(0xBF, bits[0]);  // 1, 0, 1, 1 then the old low nibble

    // Alpha bits, from words and from bytes.
    EXPECT_EQ(1u, ToBit(P::Select(ARGB8, A1), 0x01000000u));
    EXPECT_EQ(0u, ToBit(P::Select(ARGB8, A1), 0x00FFFFFFu));
    EXPECT_EQ(1u, ToBit(P::Select(ARGB8p, A1), 0x01000000u));
    unsigned char alpha[3] = {0, 1, 255};
    unsigned char mask[1] = {0xFF};
    P::Select(A8, A1)(alpha, mask, 3);
    EXPECT_EQ(0x7F, mask[0]);
}

TEST(PixelConversionTest, OneBitRowsChangeOnlyTheirOwnBits) {
    ConvertProc proc = P::Select(ARGB8, A1);
    std::vector<unsigned char> s = Words({0xFF000000u, 0x00FFFFFFu, 0x80000000u});
    unsigned char d[2] = {0x00, 0x00};
    proc(s.data(), d, 3);
    EXPECT_EQ(0xA0, d[0]);  // 1 0 1, low five bits untouched
    EXPECT_EQ(0x00, d[1]);
    d[0] = 0xFF;
    d[1] = 0xFF;
    proc(s.data(), d, 3);
    EXPECT_EQ(0xBF, d[0]);  // only the middle pixel cleared
    EXPECT_EQ(0xFF, d[1]);

    // Ten pixels: one whole byte, then the top two bits of the next.
    std::vector<unsigned char> ten;
    for (int i = 0; i < 10; ++i) {
        uint32_t w = (i % 3 == 0) ? 0xFF000000u : 0u;  // pixels 0, 3, 6, 9
        std::vector<unsigned char> one = Words({w});
        ten.insert(ten.end(), one.begin(), one.end());
    }
    unsigned char e[3] = {0x00, 0x3F, 0x5A};
    proc(ten.data(), e, 10);
    EXPECT_EQ(0x92, e[0]);  // 1001 0010
    EXPECT_EQ(0x7F, e[1]);  // 01 then the old 11 1111
    EXPECT_EQ(0x5A, e[2]);

    // Bit copy: exactly count bits.
    unsigned char bitsIn[2] = {0xA5, 0xC3};
    unsigned char bitsOut[2] = {0x0F, 0x0F};
    P::Select(A1, P1)(bitsIn, bitsOut, 11);
    EXPECT_EQ(0xA5, bitsOut[0]);
    EXPECT_EQ(0xCF, bitsOut[1]);  // 110 from the source, then 0 1111
    EXPECT_EQ(P::Select(A1, P1), P::Select(L1, P1));
    bitsOut[0] = 0xFF;
    P::Select(L1, P1)(bitsIn, bitsOut, 1);
    EXPECT_EQ(0xFF, bitsOut[0]);
    P::Select(L1, P1)(bitsIn + 1, bitsOut, 3);
    EXPECT_EQ(0xDF, bitsOut[0]);
}

TEST(PixelConversionTest, ExpansionsOfBytesAndBits) {
    // A8: white with that alpha, all four bytes, or an opaque gray.
    unsigned char a[2] = {0x7F, 0x00};
    unsigned char d[8];
    P::Select(A8, ARGB8)(a, d, 2);
    EXPECT_EQ(0x7FFFFFFFu, WordAt(d, 0));
    EXPECT_EQ(0x00FFFFFFu, WordAt(d, 1));
    P::Select(A8, ARGB8p)(a, d, 2);
    EXPECT_EQ(0x7F7F7F7Fu, WordAt(d, 0));
    EXPECT_EQ(0x00000000u, WordAt(d, 1));
    P::Select(A8, XRGB8)(a, d, 2);
    EXPECT_EQ(0xFF7F7F7Fu, WordAt(d, 0));
    EXPECT_EQ(0xFF000000u, WordAt(d, 1));
    for (PixelFormat::Enum to : {ARGB8p, ARGB8, XRGB8}) {
        P::Select(L8, to)(a, d, 2);
        EXPECT_EQ(0xFF7F7F7Fu, WordAt(d, 0));
        EXPECT_EQ(0xFF000000u, WordAt(d, 1));
    }
    unsigned char p8[3] = {9, 9, 9};
    P::Select(L8, P8)(a, p8, 2);
    EXPECT_EQ(0x7F, p8[0]);
    EXPECT_EQ(0x00, p8[1]);
    EXPECT_EQ(9, p8[2]);

    // RGB8: blue, green, red bytes into an opaque word.
    unsigned char rgb[6] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
    for (PixelFormat::Enum to : {ARGB8p, ARGB8, XRGB8}) {
        P::Select(RGB8, to)(rgb, d, 2);
        EXPECT_EQ(0xFF332211u, WordAt(d, 0));
        EXPECT_EQ(0xFF665544u, WordAt(d, 1));
    }
    // And back: the first three bytes of each word.
    std::vector<unsigned char> words = Words({0x12345678u, 0xABCDEF01u});
    unsigned char three[7] = {0, 0, 0, 0, 0, 0, 0xEE};
    P::Select(XRGB8, RGB8)(words.data(), three, 2);
    const unsigned char expect3[7] = {0x78, 0x56, 0x34, 0x01, 0xEF, 0xCD, 0xEE};
    EXPECT_EQ(0, std::memcmp(expect3, three, 7));
    EXPECT_EQ(P::Select(XRGB8, RGB8), P::Select(ARGB8, RGB8));
    // Alpha forced to 255, or taken alone.
    EXPECT_EQ(0xFF345678u, Convert1(P::Select(XRGB8, ARGB8), 0x12345678u));
    EXPECT_EQ(0xFF345678u, Convert1(P::Select(XRGB8, ARGB8p), 0x00345678u));
    EXPECT_EQ(0xFF345678u, Convert1(P::Select(ARGB8, XRGB8), 0x12345678u));
    EXPECT_EQ(0x12u, ToByte(P::Select(ARGB8, A8), 0x12345678u));
    EXPECT_EQ(0x12u, ToByte(P::Select(ARGB8p, A8), 0x12345678u));

    // One-bit sources, bits from mask 128 down, a new byte each eight.
    unsigned char bits[2] = {0xA0, 0x80};  // pixels 0, 2 and 8 set
    unsigned char w[9 * 4];
    P::Select(A1, ARGB8p)(bits, w, 9);
    EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 0));
    EXPECT_EQ(0x00000000u, WordAt(w, 1));
    EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 2));
    EXPECT_EQ(0x00000000u, WordAt(w, 7));
    EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 8));
    P::Select(A1, ARGB8)(bits, w, 9);
    EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 0));
    EXPECT_EQ(0x00FFFFFFu, WordAt(w, 1));
    EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 8));
    for (PixelFormat::Enum from : {A1, L1}) {
        P::Select(from, XRGB8)(bits, w, 9);
        EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 0));
        EXPECT_EQ(0xFF000000u, WordAt(w, 1));
        EXPECT_EQ(0xFF000000u, WordAt(w, 7));
        EXPECT_EQ(0xFFFFFFFFu, WordAt(w, 8));
    }
    EXPECT_EQ(P::Select(L1, ARGB8), P::Select(L1, ARGB8p));
    unsigned char bytes[10];
    std::memset(bytes, 7, sizeof bytes);
    P::Select(A1, A8)(bits, bytes, 9);
    const unsigned char expect8[10] = {255, 0, 255, 0, 0, 0, 0, 0, 255, 7};
    EXPECT_EQ(0, std::memcmp(expect8, bytes, 10));
    EXPECT_EQ(P::Select(A1, A8), P::Select(A1, L8));
    EXPECT_EQ(P::Select(A1, A8), P::Select(L1, L8));
}

TEST(PixelConversionTest, GroupsOverlapsAndOddAlignmentAgree) {
    // Long rows run in groups, overlapping rows pixel by pixel; both give
    // the one-pixel results, also from unaligned addresses.
    std::mt19937 random(1234);
    const int n = 37;
    std::vector<unsigned char> source(n * 4 + 3);
    for (auto& b : source) b = static_cast<unsigned char>(random());
    struct Case {
        PixelFormat::Enum from, to;
        int sourceBytes, destinationBytes;
    };
    const Case cases[] = {{ARGB8, ARGB8p, 4, 4}, {ARGB8p, ARGB8, 4, 4}, {ARGB8p, XRGB8, 4, 4},
                          {ARGB8, XRGB8, 4, 4},  {XRGB8, ARGB8, 4, 4},  {ARGB8, ARGB8, 4, 4},
                          {XRGB8, RGB8, 4, 3},   {ARGB8p, RGB8, 4, 3},  {XRGB8, L8, 4, 1},
                          {ARGB8p, L8, 4, 1},    {ARGB8, A8, 4, 1},     {RGB8, L8, 3, 1},
                          {L8, P8, 1, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
        ConvertProc proc = P::Select(c.from, c.to);
        // Reference: one pixel at a time into a separate row.
        std::vector<unsigned char> reference(n * c.destinationBytes);
        for (int i = 0; i < n; ++i)
            proc(&source[1 + i * c.sourceBytes], &reference[i * c.destinationBytes], 1);
        // Whole row, disjoint and unaligned.
        std::vector<unsigned char> out(n * c.destinationBytes + 1);
        proc(&source[1], &out[1], n);
        EXPECT_EQ(0, std::memcmp(reference.data(), &out[1], reference.size()));
        // In place: each pixel is read before it is written.
        if (c.destinationBytes <= c.sourceBytes) {
            std::vector<unsigned char> inPlace(source);
            proc(&inPlace[1], &inPlace[1], n);
            EXPECT_EQ(0, std::memcmp(reference.data(), &inPlace[1], reference.size()));
        }
    }
}
