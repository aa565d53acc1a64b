#include "bitmap/PixelConversion.h"

#include "core/Failure.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Graphics {

namespace {

typedef unsigned char Byte;

// Pixels are read and written byte by byte in their little-endian layout
// (blue, green, red, alpha for the 32-bit words), which keeps unaligned rows
// legal and the results independent of the host's byte order.

// Gray level: the weights sum to 256, so white stays 255.
inline unsigned int _GraySum(unsigned int r, unsigned int g, unsigned int b) { return 77 * r + 151 * g + 28 * b; }
inline Byte _Gray(unsigned int r, unsigned int g, unsigned int b) {
    return static_cast<Byte>(_GraySum(r, g, b) >> 8);
}

// c * (a + 1) >> 8; an alpha of 255 gives c * 256 >> 8 = c, so opaque words
// pass unchanged without a separate branch.
inline Byte _Premultiply(unsigned int c, unsigned int w) { return static_cast<Byte>((c * w) >> 8); }

// Reciprocals for the unpremultiplication: (c * 256) / (a + 1) equals
// (c * m) >> 16 with m = ceil(2^24 / (a + 1)) for every byte c and a. The
// error of the reciprocal stays below 1 / (a + 1), the smallest distance of
// c * 256 / (a + 1) to the next integer, so the quotient is exact; the
// product fits 32 bits since 255 * 2^24 < 2^32.
struct _ReciprocalTable {
    std::uint32_t m[256];
    constexpr _ReciprocalTable() : m() {
        for (unsigned int a = 0; a < 256; ++a) m[a] = static_cast<std::uint32_t>(((1u << 24) + a) / (a + 1));
    }
};
constexpr _ReciprocalTable s_Reciprocal;

// The low eight bits of the quotient: a colour byte above its alpha wraps,
// and alpha 0 always gives 0 (c * 256 cut to eight bits).
inline Byte _Unpremultiply(unsigned int c, std::uint32_t m) { return static_cast<Byte>((c * m) >> 16); }

inline bool _Overlap(const void* s, std::size_t sBytes, const void* d, std::size_t dBytes) {
    std::uintptr_t sa = reinterpret_cast<std::uintptr_t>(s);
    std::uintptr_t da = reinterpret_cast<std::uintptr_t>(d);
    return sa < da + dBytes && da < sa + sBytes;
}

// Byte-aligned pixels to byte-aligned pixels. Each Op::Pixel reads its
// whole source pixel before writing, so rows that overlap get exactly the
// results of the one-pixel loop; rows that don't are run in four-pixel groups
// through restrict pointers, which the compiler may turn into vector code.
template <int SB, int DB, typename Op>
void _RunGroups(const Byte* __restrict s, Byte* __restrict d, std::size_t n) {
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const Byte* sp = s + i * SB;
        Byte* dp = d + i * DB;
        Op::Pixel(sp, dp);
        Op::Pixel(sp + SB, dp + DB);
        Op::Pixel(sp + 2 * SB, dp + 2 * DB);
        Op::Pixel(sp + 3 * SB, dp + 3 * DB);
    }
    for (; i < n; ++i) Op::Pixel(s + i * SB, d + i * DB);
}

template <int SB, int DB, typename Op>
inline void _Run(const void* source, void* destination, int count) {
    if (count < 1) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    std::size_t n = static_cast<std::size_t>(count);
    if (!_Overlap(s, n * SB, d, n * DB)) {
        _RunGroups<SB, DB, Op>(s, d, n);
    } else {
        for (std::size_t i = 0; i < n; ++i) Op::Pixel(s + i * SB, d + i * DB);
    }
}

// Byte-aligned pixels into a one-bit row: the leftmost pixel goes to mask
// 128, and the bits after the last pixel keep their value.
template <int SB, typename Op>
inline void _RunToBits(const void* source, void* destination, int count) {
    if (count < 1) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    std::size_t n = static_cast<std::size_t>(count);
    if (!_Overlap(s, n * SB, d, (n + 7) / 8)) {
        std::size_t full = n / 8;
        for (std::size_t j = 0; j < full; ++j) {
            const Byte* sp = s + j * 8 * SB;
            unsigned int bits = 0;
            for (int k = 0; k < 8; ++k) bits = (bits << 1) | Op::Bit(sp + k * SB);
            d[j] = static_cast<Byte>(bits);
        }
        unsigned int rest = static_cast<unsigned int>(n % 8);
        if (rest) {
            const Byte* sp = s + full * 8 * SB;
            unsigned int bits = 0;
            for (unsigned int k = 0; k < rest; ++k) bits = (bits << 1) | Op::Bit(sp + k * SB);
            unsigned int shift = 8 - rest;
            unsigned int mask = (0xFFu << shift) & 0xFFu;
            d[full] = static_cast<Byte>((d[full] & ~mask) | (bits << shift));
        }
    } else {
        for (std::size_t i = 0; i < n; ++i) {
            unsigned int bit = Op::Bit(s + i * SB);
            Byte mask = static_cast<Byte>(0x80u >> (i & 7));
            Byte& out = d[i >> 3];
            out = static_cast<Byte>(bit ? (out | mask) : (out & ~mask));
        }
    }
}

// A one-bit row into byte-aligned pixels, bits read from mask 128 downward.
template <int DB, typename Op>
inline void _RunFromBits(const void* source, void* destination, int count) {
    if (count < 1) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    std::size_t n = static_cast<std::size_t>(count);
    if (!_Overlap(s, (n + 7) / 8, d, n * DB)) {
        std::size_t full = n / 8;
        for (std::size_t j = 0; j < full; ++j) {
            unsigned int bits = s[j];
            Byte* dp = d + j * 8 * DB;
            for (int k = 0; k < 8; ++k) Op::Pixel((bits >> (7 - k)) & 1u, dp + k * DB);
        }
        unsigned int rest = static_cast<unsigned int>(n % 8);
        if (rest) {
            unsigned int bits = s[full];
            Byte* dp = d + full * 8 * DB;
            for (unsigned int k = 0; k < rest; ++k) Op::Pixel((bits >> (7 - k)) & 1u, dp + k * DB);
        }
    } else {
        for (std::size_t i = 0; i < n; ++i) Op::Pixel((s[i >> 3] >> (7 - (i & 7))) & 1u, d + i * DB);
    }
}

inline void _Store4(Byte* d, Byte b0, Byte b1, Byte b2, Byte b3) {
    d[0] = b0;
    d[1] = b1;
    d[2] = b2;
    d[3] = b3;
}

// ---- byte-aligned pixel operations -------------------------------------

struct _Copy32 {
    static void Pixel(const Byte* s, Byte* d) {
        Byte b = s[0], g = s[1], r = s[2], a = s[3];
        _Store4(d, b, g, r, a);
    }
};

struct _Copy8 {
    static void Pixel(const Byte* s, Byte* d) { d[0] = s[0]; }
};

struct _Premultiply32 {
    static void Pixel(const Byte* s, Byte* d) {
        unsigned int b = s[0], g = s[1], r = s[2], a = s[3];
        unsigned int w = a + 1;
        _Store4(d, _Premultiply(b, w), _Premultiply(g, w), _Premultiply(r, w), static_cast<Byte>(a));
    }
};

struct _Opaque32 {
    static void Pixel(const Byte* s, Byte* d) {
        Byte b = s[0], g = s[1], r = s[2];
        _Store4(d, b, g, r, 255);
    }
};

struct _Word24 {
    static void Pixel(const Byte* s, Byte* d) {
        Byte b = s[0], g = s[1], r = s[2];
        d[0] = b;
        d[1] = g;
        d[2] = r;
    }
};

struct _Alpha8 {
    static void Pixel(const Byte* s, Byte* d) { d[0] = s[3]; }
};

// Blue, green, red bytes, whether three or four to a pixel.
struct _GrayOfBGR {
    static void Pixel(const Byte* s, Byte* d) { d[0] = _Gray(s[2], s[1], s[0]); }
};

struct _Unpremultiply32 {
    static void Pixel(const Byte* s, Byte* d) {
        unsigned int b = s[0], g = s[1], r = s[2], a = s[3];
        std::uint32_t m = s_Reciprocal.m[a];
        _Store4(d, _Unpremultiply(b, m), _Unpremultiply(g, m), _Unpremultiply(r, m), static_cast<Byte>(a));
    }
};

struct _UnpremultiplyOpaque32 {
    static void Pixel(const Byte* s, Byte* d) {
        unsigned int b = s[0], g = s[1], r = s[2], a = s[3];
        std::uint32_t m = s_Reciprocal.m[a];
        _Store4(d, _Unpremultiply(b, m), _Unpremultiply(g, m), _Unpremultiply(r, m), 255);
    }
};

struct _Unpremultiply24 {
    static void Pixel(const Byte* s, Byte* d) {
        unsigned int b = s[0], g = s[1], r = s[2], a = s[3];
        std::uint32_t m = s_Reciprocal.m[a];
        d[0] = _Unpremultiply(b, m);
        d[1] = _Unpremultiply(g, m);
        d[2] = _Unpremultiply(r, m);
    }
};

struct _UnpremultipliedGray {
    static void Pixel(const Byte* s, Byte* d) {
        unsigned int b = s[0], g = s[1], r = s[2], a = s[3];
        std::uint32_t m = s_Reciprocal.m[a];
        d[0] = _Gray(_Unpremultiply(r, m), _Unpremultiply(g, m), _Unpremultiply(b, m));
    }
};

struct _WhiteWithAlpha {
    static void Pixel(const Byte* s, Byte* d) {
        Byte a = s[0];
        _Store4(d, 255, 255, 255, a);
    }
};

struct _AllFour {
    static void Pixel(const Byte* s, Byte* d) {
        Byte a = s[0];
        _Store4(d, a, a, a, a);
    }
};

struct _OpaqueGray {
    static void Pixel(const Byte* s, Byte* d) {
        Byte l = s[0];
        _Store4(d, l, l, l, 255);
    }
};

// ---- one-bit results ----------------------------------------------------

struct _AlphaBit32 {
    static unsigned int Bit(const Byte* s) { return s[3] != 0; }
};

struct _NonZeroBit8 {
    static unsigned int Bit(const Byte* s) { return s[0] != 0; }
};

// Gray above 128: the sum of the weighted channels above 128 * 256 + 255.
struct _ThresholdBit32 {
    static unsigned int Bit(const Byte* s) { return _GraySum(s[2], s[1], s[0]) > 33023u; }
};

// ((sum AND NOT 255) / (a + 1)) above 128, the division standing in for the
// unpremultiplication; for integers that is (sum AND NOT 255) >= 129 (a + 1).
struct _PremultipliedThresholdBit32 {
    static unsigned int Bit(const Byte* s) {
        unsigned int sum = _GraySum(s[2], s[1], s[0]) & ~255u;
        return sum >= 129u * (static_cast<unsigned int>(s[3]) + 1u);
    }
};

// ---- one-bit sources ----------------------------------------------------

struct _BitToPremultipliedWhite {
    static void Pixel(unsigned int bit, Byte* d) {
        Byte v = static_cast<Byte>(0u - bit);
        _Store4(d, v, v, v, v);
    }
};

struct _BitToAlphaWhite {
    static void Pixel(unsigned int bit, Byte* d) { _Store4(d, 255, 255, 255, static_cast<Byte>(0u - bit)); }
};

struct _BitToOpaqueGray {
    static void Pixel(unsigned int bit, Byte* d) {
        Byte v = static_cast<Byte>(0u - bit);
        _Store4(d, v, v, v, 255);
    }
};

struct _BitToByte {
    static void Pixel(unsigned int bit, Byte* d) { d[0] = static_cast<Byte>(0u - bit); }
};

}  // namespace

void PixelConversion::ThrowBadConversion(const void*, void*, int) {
    GRAPHICS_FAIL_IN("ThrowBadConversion", "Bad format conversion");
}

void PixelConversion::Convert_ARGB8_ARGB8(const void* s, void* d, int count) {
    if (count < 1) return;
    std::size_t bytes = static_cast<std::size_t>(count) * 4;
    if (!_Overlap(s, bytes, d, bytes))
        std::memcpy(d, s, bytes);
    else
        _Run<4, 4, _Copy32>(s, d, count);
}

void PixelConversion::Convert_ARGB8_ARGB8p(const void* s, void* d, int count) {
    _Run<4, 4, _Premultiply32>(s, d, count);
}

void PixelConversion::Convert_ARGB8_XRGB8(const void* s, void* d, int count) { _Run<4, 4, _Opaque32>(s, d, count); }

void PixelConversion::Convert_XRGB8_RGB8(const void* s, void* d, int count) { _Run<4, 3, _Word24>(s, d, count); }

void PixelConversion::Convert_ARGB8_A8(const void* s, void* d, int count) { _Run<4, 1, _Alpha8>(s, d, count); }

void PixelConversion::Convert_XRGB8_L8(const void* s, void* d, int count) { _Run<4, 1, _GrayOfBGR>(s, d, count); }

void PixelConversion::Convert_ARGB8_A1(const void* s, void* d, int count) { _RunToBits<4, _AlphaBit32>(s, d, count); }

void PixelConversion::Convert_RGB8_XRGB8(const void* s, void* d, int count) { _Run<3, 4, _Opaque32>(s, d, count); }

void PixelConversion::Convert_RGB8_L8(const void* s, void* d, int count) { _Run<3, 1, _GrayOfBGR>(s, d, count); }

void PixelConversion::Convert_ARGB8p_ARGB8(const void* s, void* d, int count) {
    _Run<4, 4, _Unpremultiply32>(s, d, count);
}

void PixelConversion::Convert_ARGB8p_XRGB8(const void* s, void* d, int count) {
    _Run<4, 4, _UnpremultiplyOpaque32>(s, d, count);
}

void PixelConversion::Convert_ARGB8p_RGB8(const void* s, void* d, int count) {
    _Run<4, 3, _Unpremultiply24>(s, d, count);
}

void PixelConversion::Convert_ARGB8p_L8(const void* s, void* d, int count) {
    _Run<4, 1, _UnpremultipliedGray>(s, d, count);
}

void PixelConversion::Convert_ARGB8p_L1(const void* s, void* d, int count) {
    _RunToBits<4, _PremultipliedThresholdBit32>(s, d, count);
}

void PixelConversion::Convert_XRGB8_ARGB8(const void* s, void* d, int count) { _Run<4, 4, _Opaque32>(s, d, count); }

void PixelConversion::Convert_XRGB8_L1(const void* s, void* d, int count) {
    _RunToBits<4, _ThresholdBit32>(s, d, count);
}

void PixelConversion::Convert_A8_ARGB8(const void* s, void* d, int count) {
    _Run<1, 4, _WhiteWithAlpha>(s, d, count);
}

void PixelConversion::Convert_A8_ARGB8p(const void* s, void* d, int count) { _Run<1, 4, _AllFour>(s, d, count); }

void PixelConversion::Convert_L8_XRGB8(const void* s, void* d, int count) { _Run<1, 4, _OpaqueGray>(s, d, count); }

void PixelConversion::Convert_A8_A1(const void* s, void* d, int count) { _RunToBits<1, _NonZeroBit8>(s, d, count); }

void PixelConversion::Convert_L8_P8(const void* s, void* d, int count) {
    if (count < 1) return;
    std::size_t bytes = static_cast<std::size_t>(count);
    if (!_Overlap(s, bytes, d, bytes))
        std::memcpy(d, s, bytes);
    else
        _Run<1, 1, _Copy8>(s, d, count);
}

void PixelConversion::Convert_A1_ARGB8p(const void* s, void* d, int count) {
    _RunFromBits<4, _BitToPremultipliedWhite>(s, d, count);
}

void PixelConversion::Convert_A1_ARGB8(const void* s, void* d, int count) {
    _RunFromBits<4, _BitToAlphaWhite>(s, d, count);
}

void PixelConversion::Convert_L1_XRGB8(const void* s, void* d, int count) {
    _RunFromBits<4, _BitToOpaqueGray>(s, d, count);
}

void PixelConversion::Convert_A1_A8(const void* s, void* d, int count) { _RunFromBits<1, _BitToByte>(s, d, count); }

void PixelConversion::Convert_A1_P1(const void* source, void* destination, int count) {
    if (count < 1) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    std::size_t n = static_cast<std::size_t>(count);
    std::size_t full = n / 8;
    unsigned int rest = static_cast<unsigned int>(n % 8);
    std::size_t bytes = (n + 7) / 8;
    if (!_Overlap(s, bytes, d, bytes)) {
        std::memcpy(d, s, full);
        if (rest) {
            unsigned int mask = (0xFFu << (8 - rest)) & 0xFFu;
            d[full] = static_cast<Byte>((d[full] & ~mask) | (s[full] & mask));
        }
    } else {
        for (std::size_t i = 0; i < n; ++i) {
            Byte mask = static_cast<Byte>(0x80u >> (i & 7));
            Byte bit = static_cast<Byte>(s[i >> 3] & mask);
            Byte& out = d[i >> 3];
            out = static_cast<Byte>((out & ~mask) | bit);
        }
    }
}

ConvertProc PixelConversion::Select(PixelFormat::Enum from, PixelFormat::Enum to) {
    typedef PixelConversion P;
    constexpr ConvertProc X = &P::ThrowBadConversion;
    // Rows: source format 1..10; columns: destination format 1..10, in the
    // order RGB8, ARGB8p, ARGB8, XRGB8, A8, P8, L8, A1, P1, L1.
    static constexpr ConvertProc table[10][10] = {
        // RGB8
        {X, &P::Convert_RGB8_XRGB8, &P::Convert_RGB8_XRGB8, &P::Convert_RGB8_XRGB8, X, X, &P::Convert_RGB8_L8, X, X,
         X},
        // ARGB8p
        {&P::Convert_ARGB8p_RGB8, X, &P::Convert_ARGB8p_ARGB8, &P::Convert_ARGB8p_XRGB8, &P::Convert_ARGB8_A8,
         &P::Convert_ARGB8p_L8, &P::Convert_ARGB8p_L8, &P::Convert_ARGB8_A1, &P::Convert_ARGB8p_L1,
         &P::Convert_ARGB8p_L1},
        // ARGB8
        {&P::Convert_XRGB8_RGB8, &P::Convert_ARGB8_ARGB8p, &P::Convert_ARGB8_ARGB8, &P::Convert_ARGB8_XRGB8,
         &P::Convert_ARGB8_A8, X, &P::Convert_XRGB8_L8, &P::Convert_ARGB8_A1, X, X},
        // XRGB8
        {&P::Convert_XRGB8_RGB8, &P::Convert_XRGB8_ARGB8, &P::Convert_XRGB8_ARGB8, X, X, X, &P::Convert_XRGB8_L8, X,
         X, &P::Convert_XRGB8_L1},
        // A8
        {X, &P::Convert_A8_ARGB8p, &P::Convert_A8_ARGB8, &P::Convert_L8_XRGB8, X, X, X, &P::Convert_A8_A1, X, X},
        // P8
        {X, X, X, X, X, X, X, X, X, X},
        // L8
        {X, &P::Convert_L8_XRGB8, &P::Convert_L8_XRGB8, &P::Convert_L8_XRGB8, X, &P::Convert_L8_P8, X, X, X,
         &P::Convert_A8_A1},
        // A1
        {X, &P::Convert_A1_ARGB8p, &P::Convert_A1_ARGB8, &P::Convert_L1_XRGB8, &P::Convert_A1_A8, X,
         &P::Convert_A1_A8, X, &P::Convert_A1_P1, X},
        // P1
        {X, X, X, X, X, X, X, X, X, X},
        // L1
        {X, &P::Convert_L1_XRGB8, &P::Convert_L1_XRGB8, &P::Convert_L1_XRGB8, X, X, &P::Convert_A1_A8, X,
         &P::Convert_A1_P1, X},
    };
    int f = static_cast<int>(from);
    int t = static_cast<int>(to);
    if (f < 1 || f > 10 || t < 1 || t > 10) return nullptr;
    return table[f - 1][t - 1];
}

}  // namespace Graphics
