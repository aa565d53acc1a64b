#include "sw/SwBitmapSampler.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "Graphics/Runtime.h"
#include "core/Failure.h"
#include "core/CpuInfo.h"
#include "core/FpuState.h"
#include "core/PackedColor.h"

#if defined(__SSE__) || defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#define GRAPHICS_SAMPLER_CVTT 1
#endif

#if defined(__SSE2__) || defined(__x86_64__) || defined(_M_X64)
#include <emmintrin.h>
#define GRAPHICS_SAMPLER_SSE2 1
#endif

#if defined(GRAPHICS_SAMPLER_SSE2) && defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define GRAPHICS_SAMPLER_AVX2 1
#endif

// The per-pixel routines must melt into the span loop that calls them.
#if defined(__GNUC__)
#define GRAPHICS_SAMPLER_INLINE inline __attribute__((always_inline))
#else
#define GRAPHICS_SAMPLER_INLINE inline
#endif

namespace Graphics {

namespace {

// Truncation toward zero. A value that does not fit (NaN, infinities, huge
// positions from a degenerate matrix) gives INT_MIN, as the processor's own
// conversion does, instead of undefined behaviour; the extend functions
// bring INT_MIN back into the image like any other coordinate.
GRAPHICS_SAMPLER_INLINE int _Truncate(float v) {
#ifdef GRAPHICS_SAMPLER_CVTT
    return _mm_cvtt_ss2si(_mm_set_ss(v));
#else
    return (v >= -2147483648.0f && v < 2147483648.0f) ? static_cast<int>(v) : INT_MIN;
#endif
}

// The 8-bit weight of the fractional part of a position, 0 to 255 for any
// finite position. Unsigned, so that the garbage of a non-finite position
// stays well-defined arithmetic.
GRAPHICS_SAMPLER_INLINE uint32_t _Fraction(float p, int t) {
    return static_cast<uint32_t>(_Truncate(std::fabs(p - static_cast<float>(t)) * 256.0f));
}

GRAPHICS_SAMPLER_INLINE uint32_t _LoadWord(const unsigned char* p) {
    uint32_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

// A word with alpha 255 is left as it is; else its colour channels become
// (c * (alpha + 1)) >> 8 and alpha stays.
GRAPHICS_SAMPLER_INLINE uint32_t _Premultiply(uint32_t c) {
    const uint32_t a = c >> 24;
    return a == 255 ? c : ScaleColor(c | 0xFF000000u, a + 1);
}

GRAPHICS_SAMPLER_INLINE uint32_t _ApplyOpacity(uint32_t c, uint32_t opacity) {
    return opacity == 256 ? c : ScaleColor(c, opacity);
}

GRAPHICS_SAMPLER_INLINE uint32_t _Lerp8(uint32_t a, uint32_t b, uint32_t f) {
    return ((a * (256u - f) + b * f) >> 8) & 255u;
}

GRAPHICS_SAMPLER_INLINE uint32_t _Bit(const unsigned char* row, int x) {
    return (static_cast<uint32_t>(row[x >> 3]) >> (7 - (x & 7))) & 1u;
}

// Channel sums of the box filter, in unsigned 32-bit accumulators: four
// for colour words, one for byte values. Run sums a run of values at weight
// 1, Add weighs one value, AddScaled weighs a run's sums, and Pack shifts
// each channel by 16 (after the factor Scale) and cuts it to eight bits.
struct _Sum4 {
    uint32_t c0 = 0, c1 = 0, c2 = 0, c3 = 0;

    GRAPHICS_SAMPLER_INLINE void Add(uint32_t w, uint32_t v) {
        c0 += w * (v & 255u);
        c1 += w * ((v >> 8) & 255u);
        c2 += w * ((v >> 16) & 255u);
        c3 += w * (v >> 24);
    }
    GRAPHICS_SAMPLER_INLINE void AddScaled(uint32_t w, const _Sum4& s) {
        c0 += w * s.c0;
        c1 += w * s.c1;
        c2 += w * s.c2;
        c3 += w * s.c3;
    }
    template <class Fetch>
    GRAPHICS_SAMPLER_INLINE static _Sum4 Run(int from, int to, Fetch fetch) {
        // Two channels per addition: a 16-bit lane holds 257 bytes.
        _Sum4 s;
        int i = from;
        while (i < to) {
            const int stop = to - i > 256 ? i + 256 : to;
            uint32_t rb = 0;
            uint32_t ag = 0;
            for (; i < stop; ++i) {
                const uint32_t v = fetch(i);
                rb += v & 0x00FF00FFu;
                ag += (v >> 8) & 0x00FF00FFu;
            }
            s.c0 += rb & 0xFFFFu;
            s.c2 += rb >> 16;
            s.c1 += ag & 0xFFFFu;
            s.c3 += ag >> 16;
        }
        return s;
    }
    template <uint32_t Scale>
    GRAPHICS_SAMPLER_INLINE uint32_t Pack() const {
        return ((c0 * Scale >> 16) & 255u) | ((c1 * Scale >> 16) & 255u) << 8 | ((c2 * Scale >> 16) & 255u) << 16 |
               ((c3 * Scale >> 16) & 255u) << 24;
    }
};

struct _Sum1 {
    uint32_t c0 = 0;

    GRAPHICS_SAMPLER_INLINE void Add(uint32_t w, uint32_t v) { c0 += w * v; }
    GRAPHICS_SAMPLER_INLINE void AddScaled(uint32_t w, const _Sum1& s) { c0 += w * s.c0; }
    template <class Fetch>
    GRAPHICS_SAMPLER_INLINE static _Sum1 Run(int from, int to, Fetch fetch) {
        _Sum1 s;
        for (int i = from; i < to; ++i) s.c0 += fetch(i);
        return s;
    }
    template <uint32_t Scale>
    GRAPHICS_SAMPLER_INLINE uint32_t Pack() const {
        return (c0 * Scale >> 16) & 255u;
    }
};

// What every pixel format supplies to the generic routines:
//   Get(row, x, palette)  the pixel in the space where interpolation and
//                         averaging happen;
//   GetRaw, kRawScale     what the box filter sums, and the factor applied
//                         to a row's sums before their shift (one-bit pixels
//                         are summed as bits and scaled to 255 at the end);
//   Sum                   the box filter's accumulators;
//   Lerp                  interpolation in that space;
//   Finish(v, opacity)    the delivered premultiplied word, opacity last.
//   Wide, Widen, Narrow   the form in which Lerp works: a colour word is
//                         spread into four 16-bit lanes so that one 64-bit
//                         multiplication scales all four channels.
struct _Word {
    typedef _Sum4 Sum;
    static constexpr bool kVector = true;  // Lerp4 applies
    static constexpr bool kPlainWords = false;
    typedef uint64_t Wide;
    static constexpr uint32_t kRawScale = 1;
    GRAPHICS_SAMPLER_INLINE static Wide Widen(uint32_t c) {
        return (c & 0x00FF00FFu) | static_cast<uint64_t>((c >> 8) & 0x00FF00FFu) << 32;
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Narrow(Wide w) {
        return static_cast<uint32_t>(w & 0x00FF00FFu) | static_cast<uint32_t>((w >> 32) & 0x00FF00FFu) << 8;
    }
    // Weighs b by f and a by 257 - f, f not 0, with the truncations of
    // scale(b, f) + scale(a, 257 - f) on packed words: each product
    // truncates on its own, which keeps every channel of the sum within
    // 255, and no lane carries into the next, since a byte times 256 fits in
    // 16 bits. f = 256 gives b.
    GRAPHICS_SAMPLER_INLINE static Wide Lerp(Wide a, Wide b, uint32_t f) {
        const uint64_t mask = 0x00FF00FF00FF00FFull;
        return ((b * f >> 8) & mask) + ((a * (257u - f) >> 8) & mask);
    }
};

struct _Byte {
    typedef _Sum1 Sum;
    static constexpr bool kVector = false;
    static constexpr bool kPlainWords = false;
    typedef uint32_t Wide;
    GRAPHICS_SAMPLER_INLINE static Wide Widen(uint32_t v) { return v; }
    GRAPHICS_SAMPLER_INLINE static uint32_t Narrow(Wide v) { return v; }
    GRAPHICS_SAMPLER_INLINE static Wide Lerp(Wide a, Wide b, uint32_t f) { return _Lerp8(a, b, f); }
};

struct _ARGB8p : _Word {
    // The word in memory is the delivered word (at full opacity).
    static constexpr bool kPlainWords = true;
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t*) {
        return _LoadWord(row + 4 * x);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t* p) {
        return Get(row, x, p);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) { return _ApplyOpacity(v, opacity); }
};

// Premultiplied as each pixel is read, before interpolation or averaging.
struct _ARGB8 : _Word {
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t*) {
        return _Premultiply(_LoadWord(row + 4 * x));
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t* p) {
        return Get(row, x, p);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) { return _ApplyOpacity(v, opacity); }
};

// XRGB8 at a step of 4 and RGB8 at a step of 3. An RGB8 word's top byte is
// the next pixel's blue (the buffer's spare byte for the very last pixel);
// channels never mix, and alpha is forced once the colour is known.
template <int Step>
struct _XRGB : _Word {
    // A run of pixels is a run of words only at a 4-byte step.
    static constexpr bool kPlainWords = Step == 4;
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t*) {
        return _LoadWord(row + Step * x);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t* p) {
        return Get(row, x, p);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) {
        return _ApplyOpacity(v | 0xFF000000u, opacity);
    }
};

// Palette formats interpolate straight colours and premultiply at the end.
struct _P8 : _Word {
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t* palette) {
        return palette[row[x]];
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t* p) {
        return Get(row, x, p);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) {
        return _ApplyOpacity(_Premultiply(v), opacity);
    }
};

struct _P1 : _Word {
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t* palette) {
        return palette[_Bit(row, x)];
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t* p) {
        return Get(row, x, p);
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) {
        return _ApplyOpacity(_Premultiply(v), opacity);
    }
};

// Coverage as white: all four bytes (v * opacity) >> 8.
struct _AlphaFinish {
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) {
        return ((v * opacity >> 8) & 255u) * 0x01010101u;
    }
};

// Grey at the brush's opacity: alpha opacity - 1, each channel (v * opacity) >> 8.
struct _GreyFinish {
    GRAPHICS_SAMPLER_INLINE static uint32_t Finish(uint32_t v, uint32_t opacity) {
        return ((opacity - 1u) << 24) | ((v * opacity >> 8) & 255u) * 0x00010101u;
    }
};

struct _Byte8 : _Byte {
    static constexpr uint32_t kRawScale = 1;
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t*) { return row[x]; }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t*) { return row[x]; }
};

struct _Bit1 : _Byte {
    static constexpr uint32_t kRawScale = 255;
    GRAPHICS_SAMPLER_INLINE static uint32_t Get(const unsigned char* row, int x, const uint32_t*) {
        return _Bit(row, x) * 255u;
    }
    GRAPHICS_SAMPLER_INLINE static uint32_t GetRaw(const unsigned char* row, int x, const uint32_t*) {
        return _Bit(row, x);
    }
};

struct _A8 : _Byte8, _AlphaFinish {};
struct _L8 : _Byte8, _GreyFinish {};
struct _A1 : _Bit1, _AlphaFinish {};
struct _L1 : _Bit1, _GreyFinish {};

// Bilinear interpolation of whatever fetch(x, y) returns. Positions truncate
// toward zero and the fraction is taken unsigned, so between -1 and 0 the
// result lies between pixels 0 and 1, mirrored about 0. Neighbours are read
// only where their weight is not 0.
template <class P, class ExtendXFn, class ExtendYFn, class Fetch>
GRAPHICS_SAMPLER_INLINE uint32_t _Bilinear(const Point<float>& p, ExtendXFn extendX, ExtendYFn extendY, Fetch fetch) {
    const int tx = _Truncate(p.x);
    const int ty = _Truncate(p.y);
    const uint32_t fx = _Fraction(p.x, tx);
    const uint32_t fy = _Fraction(p.y, ty);
    const int x0 = extendX(tx);
    const int y0 = extendY(ty);
    if ((fx | fy) == 0) return fetch(x0, y0);
    typename P::Wide top = P::Widen(fetch(x0, y0));
    int x1 = x0;
    if (fx != 0) {
        x1 = extendX(tx + 1);
        top = P::Lerp(top, P::Widen(fetch(x1, y0)), fx);
    }
    if (fy != 0) {
        const int y1 = extendY(ty + 1);
        typename P::Wide bottom = P::Widen(fetch(x0, y1));
        if (fx != 0) bottom = P::Lerp(bottom, P::Widen(fetch(x1, y1)), fx);
        top = P::Lerp(top, bottom, fy);
    }
    return P::Narrow(top);
}

// The exponent of the lowest power of two of which a nonzero float is a
// multiple.
inline int _LowBitExponent(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const int biased = static_cast<int>((bits >> 23) & 255u);
    uint32_t mantissa = bits & 0x7FFFFFu;
    int exponent = -149;
    if (biased != 0) {
        mantissa |= 0x800000u;
        exponent = biased - 150;
    }
    while ((mantissa & 1u) == 0) {
        mantissa >>= 1;
        ++exponent;
    }
    return exponent;
}

// Whether start, start + step, ... for `count` pixels (and one block of four
// beyond), accumulated one float addition at a time, never round: every
// value is then a multiple of the coarser of the two lowest bits, small
// enough to be held exactly, so each position equals start + i * step and
// may be computed in any order. Positions also stay below 2^30, so that
// their truncations and fractions are ordinary numbers. Subnormal grids are
// left to the accumulating loop.
inline bool _ExactSteps(float start, float step, int count) {
    if (!std::isfinite(start) || !std::isfinite(step)) return false;
    int low = INT_MAX;
    if (start != 0.0f) low = _LowBitExponent(start);
    if (step != 0.0f) {
        const int s = _LowBitExponent(step);
        if (s < low) low = s;
    }
    if (low == INT_MAX) return true;  // every position is zero
    if (low < -120) return false;
    const double bound = std::fabs(static_cast<double>(start)) +
                         (static_cast<double>(count) + 4.0) * std::fabs(static_cast<double>(step));
    return bound < 1073741824.0 && bound < std::ldexp(1.0, 23 + low);
}

// The longest span whose columns SpanAxisTable keeps.
constexpr int kColumnTableLimit = 1 << 16;

#ifdef GRAPHICS_SAMPLER_SSE2
// SwExtend::Clamp on four coordinates: below 1 gives 0, above last gives last.
GRAPHICS_SAMPLER_INLINE __m128i _Clamp4(__m128i t, __m128i last) {
    t = _mm_and_si128(t, _mm_cmpgt_epi32(t, _mm_setzero_si128()));
    const __m128i over = _mm_cmpgt_epi32(t, last);
    return _mm_or_si128(_mm_andnot_si128(over, t), _mm_and_si128(over, last));
}

// Four coordinates through an extend function.
template <SwExtend::Proc Extend>
GRAPHICS_SAMPLER_INLINE __m128i _Extend4(__m128i t, int size) {
    if (Extend == &SwExtend::Clamp) return _Clamp4(t, _mm_set1_epi32(size - 1));
    alignas(16) int v[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(v), t);
    return _mm_set_epi32(Extend(size, v[3]), Extend(size, v[2]), Extend(size, v[1]), Extend(size, v[0]));
}

// Weights 0..256 of four pixels, each spread over its four 16-bit channel
// lanes: pixels 0 and 1 in lo, 2 and 3 in hi.
GRAPHICS_SAMPLER_INLINE void _Weights4(__m128i f, __m128i& lo, __m128i& hi) {
    const __m128i f16 = _mm_packs_epi32(f, f);
    const __m128i pairs = _mm_unpacklo_epi16(f16, f16);
    lo = _mm_unpacklo_epi32(pairs, pairs);
    hi = _mm_unpackhi_epi32(pairs, pairs);
}

// _Word::Lerp on four pixels at once: per channel (b * f) >> 8 plus
// (a * (257 - f)) >> 8. Every product fits in 16 bits and the sum stays
// within 255, so f = 0 gives a and f = 256 gives b, as the packed form does.
//
// The lanes come in shifted left by 8 (a << 8, b << 8; the byte unpacks give
// them so for free), and the high half of the product with the weight is
// then the product shifted right by 8: with channels at most 255 and weights
// at most 257 neither form wraps, so they agree.
GRAPHICS_SAMPLER_INLINE __m128i _Lerp4Half(__m128i a8, __m128i b8, __m128i w) {
    const __m128i inverse = _mm_sub_epi16(_mm_set1_epi16(257), w);
    return _mm_add_epi16(_mm_mulhi_epu16(b8, w), _mm_mulhi_epu16(a8, inverse));
}

GRAPHICS_SAMPLER_INLINE __m128i _Lerp4(__m128i a, __m128i b, __m128i wlo, __m128i whi) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _Lerp4Half(_mm_unpacklo_epi8(zero, a), _mm_unpacklo_epi8(zero, b), wlo);
    const __m128i hi = _Lerp4Half(_mm_unpackhi_epi8(zero, a), _mm_unpackhi_epi8(zero, b), whi);
    return _mm_packus_epi16(lo, hi);
}

// The horizontal step of four pixels whose right neighbours lie just behind
// them in memory: each pixel and its neighbour come in one 8-byte load, and
// the result stays in 16-bit lanes (pixels 0 and 1 in lo, 2 and 3 in hi) for
// the vertical step. Every lane is at most 255, so this is _Lerp4 without
// its final pack.
GRAPHICS_SAMPLER_INLINE void _LerpPairs4(const unsigned char* row, const int32_t* a, __m128i wlo, __m128i whi,
                                         __m128i& lo, __m128i& hi) {
    const __m128i p0 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(a[0])));
    const __m128i p1 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(a[1])));
    const __m128i p2 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(a[2])));
    const __m128i p3 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(a[3])));
    // [a0 b0 a1 b1] and [a2 b2 a3 b3] into [a0 a1 a2 a3] and [b0 b1 b2 b3].
    const __m128 q01 = _mm_castsi128_ps(_mm_unpacklo_epi64(p0, p1));
    const __m128 q23 = _mm_castsi128_ps(_mm_unpacklo_epi64(p2, p3));
    const __m128i left = _mm_castps_si128(_mm_shuffle_ps(q01, q23, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i right = _mm_castps_si128(_mm_shuffle_ps(q01, q23, _MM_SHUFFLE(3, 1, 3, 1)));
    const __m128i zero = _mm_setzero_si128();
    lo = _Lerp4Half(_mm_unpacklo_epi8(zero, left), _mm_unpacklo_epi8(zero, right), wlo);
    hi = _Lerp4Half(_mm_unpackhi_epi8(zero, left), _mm_unpackhi_epi8(zero, right), whi);
}

// Four pixels of one row at the columns xv (also in x): a single load when
// the words lie side by side in memory.
template <class P>
GRAPHICS_SAMPLER_INLINE __m128i _Fetch4(const unsigned char* row, __m128i xv, const int* x, const uint32_t* palette) {
    if (P::kPlainWords) {
        const __m128i run = _mm_add_epi32(_mm_set1_epi32(x[0]), _mm_set_epi32(3, 2, 1, 0));
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(run, xv)) == 0xFFFF)
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[0])));
    }
    return _mm_set_epi32(static_cast<int>(P::Get(row, x[3], palette)), static_cast<int>(P::Get(row, x[2], palette)),
                         static_cast<int>(P::Get(row, x[1], palette)), static_cast<int>(P::Get(row, x[0], palette)));
}

// Delivers four interpolated words.
template <class P>
GRAPHICS_SAMPLER_INLINE void _Finish4(__m128i v, uint32_t opacity, unsigned char* destination) {
    if (opacity == 256 && P::kPlainWords) {
        if (!std::is_same<P, _ARGB8p>::value) v = _mm_or_si128(v, _mm_set1_epi32(static_cast<int>(0xFF000000u)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), v);
        return;
    }
    alignas(16) uint32_t w[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(w), v);
    for (int i = 0; i < 4; ++i) w[i] = P::Finish(w[i], opacity);
    std::memcpy(destination, w, sizeof w);
}
#endif

void _BuildRanges(int sourceSize, int reducedSize, float& ratio, int& scale,
                  std::unique_ptr<SwBitmapSampler::FilterRange[]>& ranges) {
    ratio = static_cast<float>(sourceSize) / static_cast<float>(reducedSize);
    scale = _Truncate(65536.0f / ratio);
    ranges.reset(new SwBitmapSampler::FilterRange[static_cast<size_t>(reducedSize)]);
    const uint32_t fullWeight = static_cast<uint32_t>(scale);
    for (int i = 0; i < reducedSize; ++i) {
        SwBitmapSampler::FilterRange& r = ranges[i];
        const float a = static_cast<float>(i) * ratio;
        r.start = _Truncate(a);
        const float fa = a - static_cast<float>(r.start);
        const float b = static_cast<float>(i + 1) * ratio;
        r.end = _Truncate(b);
        const float fb = b - static_cast<float>(r.end);
        r.count = r.end - r.start;
        r.startWeight = (static_cast<uint32_t>(_Truncate((1.0f - fa) * 65535.0f)) * fullWeight) >> 16;
        r.endWeight = (static_cast<uint32_t>(_Truncate(fb * 65535.0f)) * fullWeight) >> 16;
        // Never read outside the image, whatever the rounding of the ratio.
        if (r.start < 0) r.start = 0;
        if (r.start > sourceSize - 1) r.start = sourceSize - 1;
        if (r.end >= sourceSize) {
            r.end = sourceSize;
            r.endWeight = 0;
        }
    }
    // The last pixel ends exactly at the image's edge.
    ranges[reducedSize - 1].end = sourceSize;
    ranges[reducedSize - 1].endWeight = 0;
}

}  // namespace

SwBitmapSampler::Filter::Filter(const Size<int>& sourceSize, const Size<int>& reducedSize) {
    FpuState fpu;
    _BuildRanges(sourceSize.width, reducedSize.width, ratioX, scaleX, rangesX);
    _BuildRanges(sourceSize.height, reducedSize.height, ratioY, scaleY, rangesY);
}

SwBitmapSampler::SwBitmapSampler(std::shared_ptr<BitmapSource> source, ExtendMode::Enum modeX, ExtendMode::Enum modeY,
                                 InterpolationMode::Enum mode, float opacityValue, const Matrix& m)
    : matrix(m) {
    Use<&SwBitmapSampler::SampleNone>(SamplingNone);
    bitmap = DeriveBitmapFromSource(source);
    if (source) palette = source->GetPalette();
    opacity = (_Truncate(opacityValue * 255.0f) & 255) + 1;
    extendX = SwExtend::SelectExtendProc(modeX);
    extendY = SwExtend::SelectExtendProc(modeY);
    // No source at all paints transparent black.
    if (!bitmap) return;

    const PixelFormat::Enum format = bitmap->GetPixelFormat();
    if (PixelFormat::IsIndexed(format)) {
        paletteColors.reset(new uint32_t[256]());
        const unsigned long count = !palette ? 0 : palette->GetCount() < 256 ? palette->GetCount() : 256;
        for (unsigned long i = 0; i < count; ++i) paletteColors[i] = palette->GetColor(i);
    }

    locked = bitmap->Lock(nullptr, LockMode::Read);
    try {
        SelectSampleProc(format, mode, modeX, modeY);
    } catch (...) {
        bitmap->Unlock();
        throw;
    }
}

SwBitmapSampler::~SwBitmapSampler() {
    if (bitmap) bitmap->Unlock();
}

void SwBitmapSampler::FillSpan(int x0, int x1, int y, unsigned char* destination) {
    if (x1 <= x0) return;
    (this->*spanProc)(x0, x1, y, destination);
}

void SwBitmapSampler::ExpectSpans(int x0, int x1) {
    if (x1 <= x0) return;
    expectedX0 = x0;
    expectedCount = x1 - x0;
    for (const int start : columnStartsSeen)
        if (start == x0) return;
    columnStartsSeen[columnStartNext] = x0;
    columnStartNext = (columnStartNext + 1) % kColumnTables;
}

bool SwBitmapSampler::FillRows(int x0, int x1, int y0, int rows, unsigned char* destination, std::ptrdiff_t stride,
                               const void* avoidBegin, const void* avoidEnd) {
    if (!rowsProc || x1 <= x0 || rows < 1 || !locked.data || height < 1) return false;
    // The image's pixels, from its first row to the end of its last.
    const unsigned char* first = GetRowPointer(0);
    const unsigned char* last = GetRowPointer(height - 1);
    const unsigned char* begin = std::min(first, last);
    const unsigned char* end = std::max(first, last) + 4 * static_cast<ptrdiff_t>(width) + 8;
    if (static_cast<const void*>(begin) < avoidEnd && avoidBegin < static_cast<const void*>(end)) return false;
    return (this->*rowsProc)(x0, x1, y0, rows, destination, stride);
}

const uint32_t* SwBitmapSampler::SpanWords(int x0, int x1, int y) {
    if (!wordsProc || x1 <= x0) return nullptr;
    return (this->*wordsProc)(x0, x1, y);
}

// The position is accumulated along the span, not recomputed per pixel.
template <SwBitmapSampler::SampleProc Proc>
void SwBitmapSampler::SpanLoop(int x0, int x1, int y, unsigned char* destination) const {
    const float fy = static_cast<float>(y);
    const float fx = static_cast<float>(x0);
    const float m11 = matrix.m11;
    const float m12 = matrix.m12;
    Point<float> p(fy * matrix.m21 + fx * m11 + matrix.dx, fy * matrix.m22 + fx * m12 + matrix.dy);
    for (int x = x0; x < x1; ++x) {
        const uint32_t word = (this->*Proc)(p);
        std::memcpy(destination, &word, sizeof word);
        destination += sizeof word;
        p.x += m11;
        p.y += m12;
    }
}

template <SwBitmapSampler::SampleProc Proc>
void SwBitmapSampler::Use(Sampling kind) {
    sampleProc = Proc;
    spanProc = &SwBitmapSampler::SpanLoop<Proc>;
    wordsProc = nullptr;
    sampling = kind;
}

void SwBitmapSampler::SelectSampleProc(PixelFormat::Enum format, InterpolationMode::Enum mode, ExtendMode::Enum modeX,
                                       ExtendMode::Enum modeY) {
    switch (format) {
        case PixelFormat::RGB8:
            return SelectSampleProc<_XRGB<3>>(mode, modeX, modeY);
        case PixelFormat::ARGB8p:
            return SelectSampleProc<_ARGB8p>(mode, modeX, modeY);
        case PixelFormat::ARGB8:
            return SelectSampleProc<_ARGB8>(mode, modeX, modeY);
        case PixelFormat::XRGB8:
            return SelectSampleProc<_XRGB<4>>(mode, modeX, modeY);
        case PixelFormat::A8:
            return SelectSampleProc<_A8>(mode, modeX, modeY);
        case PixelFormat::P8:
            return SelectSampleProc<_P8>(mode, modeX, modeY);
        case PixelFormat::L8:
            return SelectSampleProc<_L8>(mode, modeX, modeY);
        case PixelFormat::A1:
            return SelectSampleProc<_A1>(mode, modeX, modeY);
        case PixelFormat::P1:
            return SelectSampleProc<_P1>(mode, modeX, modeY);
        case PixelFormat::L1:
            return SelectSampleProc<_L1>(mode, modeX, modeY);
        default:
            GRAPHICS_FAIL("Not implemented");
    }
}

template <class P>
void SwBitmapSampler::SelectSampleProc(InterpolationMode::Enum mode, ExtendMode::Enum modeX, ExtendMode::Enum modeY) {
    const Size<int> size = bitmap->GetSize();
    // An image without pixels has nothing to extend: transparent black.
    if (size.width <= 0 || size.height <= 0 || !locked.data) return;

    if (mode == InterpolationMode::HighQuality && g_RuntimeParameters.highQualityDownsampling &&
        ReduceForHighQuality()) {
        // Along an axis of the reduced image the nearest reduced pixel is
        // read; otherwise four are interpolated.
        if (matrix.m11 == 0.0f || matrix.m12 == 0.0f)
            Use<&SwBitmapSampler::SampleHighQuality<P>>(SamplingHighQuality);
        else
            Use<&SwBitmapSampler::SampleHighQualityL<P>>(SamplingHighQualityL);
        return;
    }
    width = size.width;
    height = size.height;
    if (mode == InterpolationMode::Linear || mode == InterpolationMode::HighQuality)
        SelectExtended<P, true>(modeX, modeY);
    else
        SelectExtended<P, false>(modeX, modeY);
}

template <class P, bool Linear>
void SwBitmapSampler::SelectExtended(ExtendMode::Enum modeX, ExtendMode::Enum modeY) {
    switch (modeX) {
        case ExtendMode::Wrap:
            return SelectExtendedY<P, Linear, &SwExtend::Wrap>(modeY);
        case ExtendMode::Mirror:
            return SelectExtendedY<P, Linear, &SwExtend::Mirror>(modeY);
        default:
            return SelectExtendedY<P, Linear, &SwExtend::Clamp>(modeY);
    }
}

template <class P, bool Linear, SwExtend::Proc ExtendX>
void SwBitmapSampler::SelectExtendedY(ExtendMode::Enum modeY) {
    switch (modeY) {
        case ExtendMode::Wrap:
            return SelectRoutine<P, Linear, ExtendX, &SwExtend::Wrap>();
        case ExtendMode::Mirror:
            return SelectRoutine<P, Linear, ExtendX, &SwExtend::Mirror>();
        default:
            return SelectRoutine<P, Linear, ExtendX, &SwExtend::Clamp>();
    }
}

template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
void SwBitmapSampler::SelectRoutine() {
    if (Linear)
        Use<&SwBitmapSampler::SampleLinear<P, ExtendX, ExtendY>>(SamplingLinear);
    else
        Use<&SwBitmapSampler::SampleNearest<P, ExtendX, ExtendY>>(SamplingNearest);
    // Without rotation or shear the y position never changes along a span.
    if (matrix.m12 == 0.0f) {
        spanProc = &SwBitmapSampler::SpanAxis<P, Linear, ExtendX, ExtendY>;
        rowsProc = &SwBitmapSampler::SpanAxisRows<P, Linear, ExtendX, ExtendY>;
        if (std::is_same<P, _ARGB8p>::value) wordsProc = &SwBitmapSampler::SpanWordsAxis<Linear, ExtendX, ExtendY>;
    }
}

// Pixel centres at a unit step: inside the image every position reads its
// own pixel with weight 0 on the neighbours (or, nearest, rounds to itself),
// and every extend mode leaves a column inside the image as it is, so that
// stretch is a plain copy. Gives the row, the first column and the part of
// the span inside the image, when there is one.
template <bool Linear, SwExtend::Proc ExtendY>
bool SwBitmapSampler::FindUnitRun(int count, float px, float py, UnitRun* run) const {
    if (!(matrix.m11 == 1.0f && px == std::floor(px) && std::fabs(px) < 4194304.0f && count < 4194304)) return false;
    if (Linear && _Fraction(py, _Truncate(py)) != 0) return false;
    run->k = static_cast<int>(px);
    run->inside0 = run->k < 0 ? -run->k : 0;
    run->inside1 = std::min(width - run->k, count);
    if (run->inside0 >= run->inside1) return false;
    const int rowY = Linear ? ExtendY(height, _Truncate(py)) : ExtendY(height, _Truncate(py + 0.5f));
    run->row = GetRowPointer(rowY);
    return true;
}

// Follows SpanAxis's choice of route, position for position, and answers
// only where that route copies the whole span from one image row: the
// unit step on whole pixels, or, for nearest, a column table already built
// whose columns are consecutive. It never builds a table itself, so that
// asking does not change which spans get one.
template <bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
const uint32_t* SwBitmapSampler::SpanWordsAxis(int x0, int x1, int y) const {
    const float m11 = matrix.m11;
    // Steps of two columns and more are never consecutive in the image's
    // interior; not asking there keeps the cost off reductions.
    if (opacity != 256 || (m11 != 1.0f && (Linear || !(m11 > 0.0f && m11 < 2.0f)))) return nullptr;
    const float fy = static_cast<float>(y);
    const float fx = static_cast<float>(x0);
    const float px = fy * matrix.m21 + fx * m11 + matrix.dx;
    const float py = fy * matrix.m22 + fx * matrix.m12 + matrix.dy;
    const int count = x1 - x0;
    const unsigned char* words = nullptr;
    UnitRun run;
    if (FindUnitRun<Linear, ExtendY>(count, px, py, &run)) {
        if (run.inside0 != 0 || run.inside1 != count) return nullptr;
        words = run.row + 4 * static_cast<ptrdiff_t>(run.k);
    } else {
        if (Linear || matrix.m21 != 0.0f || count > kColumnTableLimit) return nullptr;
        const ColumnTable* table = FindColumnTable(x0, count);
        if (!table || !table->usable || count > table->consecutive) return nullptr;
        words = GetRowPointer(ExtendY(height, _Truncate(py + 0.5f))) + 4 * static_cast<ptrdiff_t>(table->a[0]);
    }
    if (reinterpret_cast<uintptr_t>(words) % alignof(uint32_t) != 0) return nullptr;
    return reinterpret_cast<const uint32_t*>(words);
}

// The position is computed as SpanLoop computes it, and p.y stays what it is
// when m12 is zero. When the x positions are exact (see _ExactSteps) they
// are produced four at a time by vector additions, which then give the very
// values of the accumulation; otherwise they are accumulated one by one.
template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
void SwBitmapSampler::SpanAxis(int x0, int x1, int y, unsigned char* destination) const {
    const float fy = static_cast<float>(y);
    const float fx = static_cast<float>(x0);
    const float m11 = matrix.m11;
    float px = fy * matrix.m21 + fx * m11 + matrix.dx;
    const float py = fy * matrix.m22 + fx * matrix.m12 + matrix.dy;
    const uint32_t op = static_cast<uint32_t>(opacity);
    const uint32_t* colors = paletteColors.get();
    const int count = x1 - x0;

    // A lone pixel (the partly covered end of a row) is one sample at the
    // very position SpanLoop would use; the span set-up would cost more.
    if (count == 1) {
        const Point<float> p(px, py);
        const uint32_t word =
            Linear ? SampleLinear<P, ExtendX, ExtendY>(p) : SampleNearest<P, ExtendX, ExtendY>(p);
        std::memcpy(destination, &word, sizeof word);
        return;
    }

    UnitRun run;
    if (FindUnitRun<Linear, ExtendY>(count, px, py, &run)) {
        const int k = run.k, inside0 = run.inside0, inside1 = run.inside1;
        if (inside0 > 0) SpanAxisRun<P, Linear, ExtendX, ExtendY>(0, inside0, static_cast<float>(k), py, destination);
        unsigned char* out = destination + 4 * static_cast<ptrdiff_t>(inside0);
        const int c0 = k + inside0;
        const int n = inside1 - inside0;
        if (P::kPlainWords && op == 256) {
            std::memcpy(out, run.row + 4 * static_cast<ptrdiff_t>(c0), 4 * static_cast<size_t>(n));
            if (!std::is_same<P, _ARGB8p>::value)
                for (int j = 0; j < n; ++j) out[4 * j + 3] = 255;
        } else {
            for (int j = 0; j < n; ++j) {
                const uint32_t word = P::Finish(P::Get(run.row, c0 + j, colors), op);
                std::memcpy(out + 4 * static_cast<ptrdiff_t>(j), &word, sizeof word);
            }
        }
        if (inside1 < count)
            SpanAxisRun<P, Linear, ExtendX, ExtendY>(inside1, count, static_cast<float>(k + inside1), py, destination);
        return;
    }
    // Without m21, fy * m21 is a zero and px is the same for every span
    // starting at x0, so are all the positions accumulated from it.
    if (matrix.m21 == 0.0f && count <= kColumnTableLimit &&
        SpanAxisTable<P, Linear, ExtendX, ExtendY>(x0, count, px, py, destination))
        return;
    SpanAxisRun<P, Linear, ExtendX, ExtendY>(0, count, px, py, destination);
}

// Fills the column table for spans starting at x0, accumulating px exactly
// as SpanAxisRun does, unless it already covers count pixels from there.
const SwBitmapSampler::ColumnTable* SwBitmapSampler::FindColumnTable(int x0, int count) const {
    for (const ColumnTable& t : columnTables)
        if (t.count > 0 && t.x0 == x0 && t.count >= count) return &t;
    return nullptr;
}

template <bool Linear, SwExtend::Proc ExtendX>
const SwBitmapSampler::ColumnTable* SwBitmapSampler::BuildColumnTable(int x0, int count, float px) const {
    if (const ColumnTable* t = FindColumnTable(x0, count)) return t->usable ? t : nullptr;
    // A start seen only once (a polygon's rows each start elsewhere) is not
    // worth a table: the first span from it takes the general route.
    bool seen = false;
    for (const int start : columnStartsSeen)
        if (start == x0) seen = true;
    if (!seen) {
        columnStartsSeen[columnStartNext] = x0;
        columnStartNext = (columnStartNext + 1) % kColumnTables;
        return nullptr;
    }
    ColumnTable& table = columnTables[columnTableNext];
    columnTableNext = (columnTableNext + 1) % kColumnTables;
    // Spans tend to grow and shrink around one length: room for a little
    // more avoids building again for a slightly longer one, unless the
    // spans were announced.
    const bool announced = x0 == expectedX0 && count == expectedCount;
    const int n = !announced && count + 16 <= kColumnTableLimit ? count + 16 : count;
    table.storage.resize(static_cast<size_t>(n) * (Linear ? 3 : 1));
    table.a = table.storage.data();
    table.b = Linear ? table.a + n : nullptr;
    table.weight = Linear ? table.a + 2 * static_cast<ptrdiff_t>(n) : nullptr;
    const float m11 = matrix.m11;
    const int w = width;
    int32_t* a = table.a;
    int32_t* b = table.b;
    int32_t* weight = table.weight;
    bool usable = true;
    for (int i = 0; i < n; ++i) {
        if (Linear) {
            const int tx = _Truncate(px);
            const uint32_t wx = _Fraction(px, tx);
            // Only a non-finite or enormous position gives a weight past
            // 255; the packed forms then differ from the vector lanes.
            if (wx > 255u) usable = false;
            a[i] = ExtendX(w, tx);
            b[i] = wx != 0 ? ExtendX(w, tx + 1) : a[i];
            weight[i] = static_cast<int32_t>(wx & 255u);
        } else {
            a[i] = ExtendX(w, _Truncate(px + 0.5f));
        }
        px += m11;
    }
    int consecutive = 0;
    while (consecutive < n && a[consecutive] == a[0] + consecutive && (!Linear || b[consecutive] == a[consecutive] + 1))
        ++consecutive;
    table.x0 = x0;
    table.count = n;
    table.usable = usable;
    table.consecutive = consecutive;
    return usable ? &table : nullptr;
}

#ifdef GRAPHICS_SAMPLER_SSE2
// The four-pixel loop of the linear column-table span, for word formats;
// returns how many pixels it did. The opacity of 256 is a template
// parameter so that the loop does not compute the scaling it never needs.
template <class P, bool FullOpacity>
int _LinearTableRun(const int32_t* a, const int32_t* b, const int32_t* weight, int count, const unsigned char* row0,
                    const unsigned char* row1, uint32_t wy, uint32_t opacity, const uint32_t* colors,
                    unsigned char* destination) {
    const uint32_t op = FullOpacity ? 256u : opacity;
    int i = 0;
    const __m128i wyv = _mm_set1_epi16(static_cast<short>(wy));
    for (; i + 4 <= count; i += 4) {
        const __m128i fv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weight + i));
        __m128i wlo, whi;
        _Weights4(fv, wlo, whi);
        const int32_t* ai = a + i;
        const int32_t* bi = b + i;
        if (P::kPlainWords) {
            const __m128i av = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ai));
            const __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bi));
            // Unless some pixel lacks a right neighbour of its own (at
            // an edge, or for a weight of 0), which is read word by word
            // below.
            const bool neighbours =
                _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_add_epi32(av, _mm_set1_epi32(1)), bv)) == 0xFFFF;
            if (neighbours && ai[3] - ai[0] != 3) {
                // Each pixel and its neighbour side by side.
                __m128i topLo, topHi;
                _LerpPairs4(row0, ai, wlo, whi, topLo, topHi);
                if (wy != 0) {
                    __m128i bottomLo, bottomHi;
                    _LerpPairs4(row1, ai, wlo, whi, bottomLo, bottomHi);
                    topLo = _Lerp4Half(_mm_slli_epi16(topLo, 8), _mm_slli_epi16(bottomLo, 8), wyv);
                    topHi = _Lerp4Half(_mm_slli_epi16(topHi, 8), _mm_slli_epi16(bottomHi, 8), wyv);
                }
                _Finish4<P>(_mm_packus_epi16(topLo, topHi), op, destination + 4 * static_cast<ptrdiff_t>(i));
                continue;
            }
            // Near a unit step the four pixels and their neighbours lie
            // side by side: two loads a row.
            const __m128i run = _mm_add_epi32(_mm_set1_epi32(ai[0]), _mm_set_epi32(3, 2, 1, 0));
            if (neighbours && _mm_movemask_epi8(_mm_cmpeq_epi32(run, av)) == 0xFFFF) {
                const ptrdiff_t offset = 4 * static_cast<ptrdiff_t>(ai[0]);
                __m128i top = _Lerp4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row0 + offset)),
                                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(row0 + offset + 4)), wlo,
                                     whi);
                if (wy != 0) {
                    const __m128i bottom =
                        _Lerp4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row1 + offset)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(row1 + offset + 4)), wlo, whi);
                    top = _Lerp4(top, bottom, wyv, wyv);
                }
                _Finish4<P>(top, op, destination + 4 * static_cast<ptrdiff_t>(i));
                continue;
            }
        }
        __m128i top = _mm_set_epi32(
            static_cast<int>(P::Get(row0, ai[3], colors)), static_cast<int>(P::Get(row0, ai[2], colors)),
            static_cast<int>(P::Get(row0, ai[1], colors)), static_cast<int>(P::Get(row0, ai[0], colors)));
        const __m128i right = _mm_set_epi32(
            static_cast<int>(P::Get(row0, bi[3], colors)), static_cast<int>(P::Get(row0, bi[2], colors)),
            static_cast<int>(P::Get(row0, bi[1], colors)), static_cast<int>(P::Get(row0, bi[0], colors)));
        top = _Lerp4(top, right, wlo, whi);
        if (wy != 0) {
            const __m128i left1 = _mm_set_epi32(
                static_cast<int>(P::Get(row1, ai[3], colors)), static_cast<int>(P::Get(row1, ai[2], colors)),
                static_cast<int>(P::Get(row1, ai[1], colors)), static_cast<int>(P::Get(row1, ai[0], colors)));
            const __m128i right1 = _mm_set_epi32(
                static_cast<int>(P::Get(row1, bi[3], colors)), static_cast<int>(P::Get(row1, bi[2], colors)),
                static_cast<int>(P::Get(row1, bi[1], colors)), static_cast<int>(P::Get(row1, bi[0], colors)));
            top = _Lerp4(top, _Lerp4(left1, right1, wlo, whi), wyv, wyv);
        }
        _Finish4<P>(top, op, destination + 4 * static_cast<ptrdiff_t>(i));
    }
    return i;
}
#endif

#ifdef GRAPHICS_SAMPLER_AVX2
#define GRAPHICS_SAMPLER_AVX2_INLINE inline __attribute__((always_inline, target("avx2")))

// Eight pixels of a row and their right neighbours, each pair from one
// 8-byte load. Pixels 0, 1, 4, 5 go to the low halves of the two 128-bit
// lanes and 2, 3, 6, 7 to the high halves, so that unpacking and packing
// within lanes keeps them in order.
GRAPHICS_SAMPLER_AVX2_INLINE void _LoadPairs8(const unsigned char* row, const int32_t* x, __m256i& left,
                                              __m256i& right) {
    const __m128i p0 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[0])));
    const __m128i p1 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[1])));
    const __m128i p2 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[2])));
    const __m128i p3 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[3])));
    const __m128i p4 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[4])));
    const __m128i p5 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[5])));
    const __m128i p6 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[6])));
    const __m128i p7 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(x[7])));
    const __m256i q0 =
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(p0, p1)), _mm_unpacklo_epi64(p4, p5), 1);
    const __m256i q1 =
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(p2, p3)), _mm_unpacklo_epi64(p6, p7), 1);
    left = _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(q0), _mm256_castsi256_ps(q1), _MM_SHUFFLE(2, 0, 2, 0)));
    right = _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(q0), _mm256_castsi256_ps(q1), _MM_SHUFFLE(3, 1, 3, 1)));
}

// Eight consecutive pixels from column x and the eight behind each of them.
GRAPHICS_SAMPLER_AVX2_INLINE void _LoadRun8(const unsigned char* row, int32_t x, __m256i& left, __m256i& right) {
    const unsigned char* p = row + 4 * static_cast<ptrdiff_t>(x);
    left = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    right = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 4));
}

// _Lerp4Half in 256 bits, (y * w) >> 8 plus (x * inverse) >> 8, for x and y
// of at most 255 handed in as x << 8 and y << 8: the high half of the
// product with the weight is then the product shifted right by 8. The
// weights are at most 257, so neither form wraps and they agree, and the
// byte unpacks give the shifted values for free.
GRAPHICS_SAMPLER_AVX2_INLINE __m256i _Lerp8High(__m256i x8, __m256i y8, __m256i w, __m256i inverse) {
    return _mm256_add_epi16(_mm256_mulhi_epu16(y8, w), _mm256_mulhi_epu16(x8, inverse));
}
#endif

#ifdef GRAPHICS_SAMPLER_AVX2
// _LinearTableRun for word formats at full opacity, eight pixels at a time
// where each pixel's right neighbour lies just behind it in memory; other
// groups of eight go through _LinearTableRun. The very integer steps of
// _Lerp4, in 256-bit registers: the same pixels. Returns the pixels done:
// all of them, unless there are fewer than four.
template <class P>
__attribute__((target("avx2"))) int _LinearTablePairsAvx2(const int32_t* a, const int32_t* b,
                                                          const int32_t* weight, int count, int consecutive,
                                                          const unsigned char* row0, const unsigned char* row1,
                                                          uint32_t wy, const uint32_t* colors,
                                                          unsigned char* destination) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i one = _mm256_set1_epi32(1);
    const __m256i w257 = _mm256_set1_epi16(257);
    const __m256i wyv = _mm256_set1_epi16(static_cast<short>(wy));
    const __m256i wyInverse = _mm256_sub_epi16(w257, wyv);
    const __m256i alpha = _mm256_set1_epi32(std::is_same<P, _ARGB8p>::value ? 0 : static_cast<int>(0xFF000000u));
    // Each pixel depends on its own table entries only, so groups may
    // overlap: five to seven pixels go as two groups of four.
    if (count < 8) {
        if (count < 4) return 0;
        _LinearTableRun<P, true>(a, b, weight, 4, row0, row1, wy, 256u, colors, destination);
        const int last = count - 4;
        _LinearTableRun<P, true>(a + last, b + last, weight + last, 4, row0, row1, wy, 256u, colors,
                                 destination + 4 * static_cast<ptrdiff_t>(last));
        return count;
    }
    // Groups of eight pixels; the last few pixels go as the end of one more
    // group, overlapping the one before.
    int next = 0;
    while (next < count) {
        const int i = next + 8 <= count ? next : count - 8;
        next = i + 8;
        // Over consecutive columns the eight pixels and their neighbours are
        // two plain loads; pixels 0, 1, 4, 5 then sit in the low halves of
        // the lanes, just as _LoadPairs8 arranges them.
        const bool plain = i + 8 <= consecutive;
        const __m256i av = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
        const __m256i bv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
        if (!plain && _mm256_movemask_epi8(_mm256_cmpeq_epi32(_mm256_add_epi32(av, one), bv)) != -1) {
            _LinearTableRun<P, true>(a + i, b + i, weight + i, 8, row0, row1, wy, 256u, colors,
                                     destination + 4 * static_cast<ptrdiff_t>(i));
            continue;
        }
        const __m256i fv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(weight + i));
        const __m256i f16 = _mm256_packs_epi32(fv, fv);
        const __m256i pairs = _mm256_unpacklo_epi16(f16, f16);
        const __m256i wlo = _mm256_unpacklo_epi32(pairs, pairs);
        const __m256i whi = _mm256_unpackhi_epi32(pairs, pairs);
        const __m256i ilo = _mm256_sub_epi16(w257, wlo);
        const __m256i ihi = _mm256_sub_epi16(w257, whi);

        __m256i left, right;
        if (plain)
            _LoadRun8(row0, a[i], left, right);
        else
            _LoadPairs8(row0, a + i, left, right);
        __m256i lo = _Lerp8High(_mm256_unpacklo_epi8(zero, left), _mm256_unpacklo_epi8(zero, right), wlo, ilo);
        __m256i hi = _Lerp8High(_mm256_unpackhi_epi8(zero, left), _mm256_unpackhi_epi8(zero, right), whi, ihi);
        if (wy != 0) {
            if (plain)
                _LoadRun8(row1, a[i], left, right);
            else
                _LoadPairs8(row1, a + i, left, right);
            const __m256i lo1 =
                _Lerp8High(_mm256_unpacklo_epi8(zero, left), _mm256_unpacklo_epi8(zero, right), wlo, ilo);
            const __m256i hi1 =
                _Lerp8High(_mm256_unpackhi_epi8(zero, left), _mm256_unpackhi_epi8(zero, right), whi, ihi);
            // A row's result is at most 255.
            lo = _Lerp8High(_mm256_slli_epi16(lo, 8), _mm256_slli_epi16(lo1, 8), wyv, wyInverse);
            hi = _Lerp8High(_mm256_slli_epi16(hi, 8), _mm256_slli_epi16(hi1, 8), wyv, wyInverse);
        }
        const __m256i v = _mm256_or_si256(_mm256_packus_epi16(lo, hi), alpha);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + 4 * static_cast<ptrdiff_t>(i)), v);
    }
    return count;
}
#endif

template <SwExtend::Proc ExtendY>
GRAPHICS_SAMPLER_INLINE uint32_t SwBitmapSampler::LinearRows(float py, const unsigned char** upper,
                                                            const unsigned char** lower) const {
    const int ty = _Truncate(py);
    const uint32_t wy = _Fraction(py, ty);
    *upper = GetRowPointer(ExtendY(height, ty));
    *lower = wy != 0 ? GetRowPointer(ExtendY(height, ty + 1)) : *upper;
    return wy;
}

template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
bool SwBitmapSampler::SpanAxisTable(int x0, int count, float px, float py, unsigned char* destination) const {
    const ColumnTable* table = BuildColumnTable<Linear, ExtendX>(x0, count, px);
    if (!table) return false;
    SpanFromTable<P, Linear, ExtendX, ExtendY>(*table, count, py, destination);
    return true;
}

// Without the unit step (m11 other than 1), a span of two pixels or more
// from x0 takes SpanAxis's table route on every row when x does not depend
// on y, and the table route gives what the per-pixel route would: one table
// serves all the rows. px is the same for every row (fy * m21 is a zero).
template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
bool SwBitmapSampler::SpanAxisRows(int x0, int x1, int y0, int rows, unsigned char* destination,
                                   std::ptrdiff_t stride) const {
    const int count = x1 - x0;
    const float fx = static_cast<float>(x0);
    if (count == 1) {
        int r = 0;
#ifdef GRAPHICS_SAMPLER_SSE2
        const float px = static_cast<float>(y0) * matrix.m21 + fx * matrix.m11 + matrix.dx;
        const int tx = _Truncate(px);
        if (Linear && P::kVector && matrix.m21 == 0.0f && rows >= 4 && _Fraction(px, tx) <= 255u) {
            // A lone column, four rows at a time: px, its weight and its two
            // columns are the same on every row (fy * m21 is a zero), and
            // _Lerp4 gives _Bilinear's packed steps. A weight of 0 makes a
            // lerp return its first word, so the steps that _Bilinear skips
            // may run. A weight beyond 255
            // comes from a position too far out for a fraction (or not
            // finite); such a column takes the scalar steps, which make of
            // it what a span does.
            const uint32_t wx = _Fraction(px, tx);
            const int xa = ExtendX(width, tx);
            const int xb = wx != 0 ? ExtendX(width, tx + 1) : xa;
            const uint32_t op = static_cast<uint32_t>(opacity);
            const uint32_t* colors = paletteColors.get();
            __m128i wxlo, wxhi;
            _Weights4(_mm_set1_epi32(static_cast<int>(wx)), wxlo, wxhi);
            for (; r + 4 <= rows; r += 4) {
                const unsigned char* upper[4];
                const unsigned char* lower[4];
                alignas(16) int wy[4];
                for (int k = 0; k < 4; ++k) {
                    const float py = static_cast<float>(y0 + r + k) * matrix.m22 + fx * matrix.m12 + matrix.dy;
                    wy[k] = static_cast<int>(LinearRows<ExtendY>(py, &upper[k], &lower[k]));
                }
                auto fetch = [&](const unsigned char* const* rowsOf, int x) {
                    return _mm_setr_epi32(static_cast<int>(P::Get(rowsOf[0], x, colors)),
                                          static_cast<int>(P::Get(rowsOf[1], x, colors)),
                                          static_cast<int>(P::Get(rowsOf[2], x, colors)),
                                          static_cast<int>(P::Get(rowsOf[3], x, colors)));
                };
                const __m128i top = _Lerp4(fetch(upper, xa), fetch(upper, xb), wxlo, wxhi);
                const __m128i bottom = _Lerp4(fetch(lower, xa), fetch(lower, xb), wxlo, wxhi);
                __m128i wylo, wyhi;
                _Weights4(_mm_load_si128(reinterpret_cast<const __m128i*>(wy)), wylo, wyhi);
                alignas(16) unsigned char words[16];
                _Finish4<P>(_Lerp4(top, bottom, wylo, wyhi), op, words);
                for (int k = 0; k < 4; ++k) std::memcpy(destination + stride * (r + k), words + 4 * k, 4);
            }
        }
#endif
        // A lone pixel per row is one sample, at the position SpanAxis takes.
        for (; r < rows; ++r) {
            const float fy = static_cast<float>(y0 + r);
            const Point<float> p(fy * matrix.m21 + fx * matrix.m11 + matrix.dx,
                                 fy * matrix.m22 + fx * matrix.m12 + matrix.dy);
            const uint32_t word =
                Linear ? SampleLinear<P, ExtendX, ExtendY>(p) : SampleNearest<P, ExtendX, ExtendY>(p);
            std::memcpy(destination + stride * r, &word, sizeof word);
        }
        return true;
    }
    if (matrix.m11 == 1.0f || matrix.m21 != 0.0f || count > kColumnTableLimit) return false;
    const float px = static_cast<float>(y0) * matrix.m21 + fx * matrix.m11 + matrix.dx;
    const ColumnTable* table = BuildColumnTable<Linear, ExtendX>(x0, count, px);
    if (!table) return false;
    if (Linear) {
        // The rows and weights of a few rows first, then their spans: the
        // conversions of one row's position no longer wait on the span
        // before it.
        constexpr int kChunk = 16;
        const unsigned char* upper[kChunk];
        const unsigned char* lower[kChunk];
        uint32_t wy[kChunk];
        for (int r0 = 0; r0 < rows; r0 += kChunk) {
            const int n = std::min(kChunk, rows - r0);
            for (int k = 0; k < n; ++k) {
                const float py = static_cast<float>(y0 + r0 + k) * matrix.m22 + fx * matrix.m12 + matrix.dy;
                wy[k] = LinearRows<ExtendY>(py, &upper[k], &lower[k]);
            }
            for (int k = 0; k < n; ++k)
                LinearFromTable<P>(*table, count, upper[k], lower[k], wy[k], destination + stride * (r0 + k));
        }
        return true;
    }
    for (int r = 0; r < rows; ++r) {
        const float fy = static_cast<float>(y0 + r);
        const float py = fy * matrix.m22 + fx * matrix.m12 + matrix.dy;
        SpanFromTable<P, Linear, ExtendX, ExtendY>(*table, count, py, destination + stride * r);
    }
    return true;
}

template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
void SwBitmapSampler::SpanFromTable(const ColumnTable& table, int count, float py,
                                    unsigned char* destination) const {
    const uint32_t op = static_cast<uint32_t>(opacity);
    const uint32_t* colors = paletteColors.get();
    const int32_t* a = table.a;
    int i = 0;

    if (!Linear) {
        const unsigned char* row = GetRowPointer(ExtendY(height, _Truncate(py + 0.5f)));
        if (P::kPlainWords && op == 256) {
            // The words as they are, alpha forced where the format has none;
            // four columns in a row are one copy.
            const uint32_t alpha = std::is_same<P, _ARGB8p>::value ? 0u : 0xFF000000u;
            if (count <= table.consecutive && alpha == 0u) {
                std::memcpy(destination, row + 4 * static_cast<ptrdiff_t>(a[0]), 4 * static_cast<size_t>(count));
                return;
            }
#ifdef GRAPHICS_SAMPLER_SSE2
            const __m128i alphaV = _mm_set1_epi32(static_cast<int>(alpha));
            for (; i + 4 <= count; i += 4) {
                const int32_t* ai = a + i;
                __m128i v;
                if (ai[3] - ai[0] == 3 && ai[1] - ai[0] == 1 && ai[2] - ai[0] == 2)
                    v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 4 * static_cast<ptrdiff_t>(ai[0])));
                else
                    v = _mm_setr_epi32(static_cast<int>(_LoadWord(row + 4 * static_cast<ptrdiff_t>(ai[0]))),
                                       static_cast<int>(_LoadWord(row + 4 * static_cast<ptrdiff_t>(ai[1]))),
                                       static_cast<int>(_LoadWord(row + 4 * static_cast<ptrdiff_t>(ai[2]))),
                                       static_cast<int>(_LoadWord(row + 4 * static_cast<ptrdiff_t>(ai[3]))));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + 4 * static_cast<ptrdiff_t>(i)),
                                 _mm_or_si128(v, alphaV));
            }
#endif
            for (; i < count; ++i) {
                const uint32_t word = _LoadWord(row + 4 * static_cast<ptrdiff_t>(a[i])) | alpha;
                std::memcpy(destination + 4 * static_cast<ptrdiff_t>(i), &word, sizeof word);
            }
            return;
        }
        for (; i < count; ++i) {
            const uint32_t word = P::Finish(P::Get(row, a[i], colors), op);
            std::memcpy(destination + 4 * static_cast<ptrdiff_t>(i), &word, sizeof word);
        }
        return;
    }

    const unsigned char *row0, *row1;
    const uint32_t wy = LinearRows<ExtendY>(py, &row0, &row1);
    LinearFromTable<P>(table, count, row0, row1, wy, destination);
}

template <class P>
void SwBitmapSampler::LinearFromTable(const ColumnTable& table, int count, const unsigned char* row0,
                                      const unsigned char* row1, uint32_t wy, unsigned char* destination) const {
    const uint32_t op = static_cast<uint32_t>(opacity);
    const uint32_t* colors = paletteColors.get();
    const int32_t* a = table.a;
    const int32_t* b = table.b;
    const int32_t* weight = table.weight;
    int i = 0;
#ifdef GRAPHICS_SAMPLER_SSE2
    if (P::kVector) {
#ifdef GRAPHICS_SAMPLER_AVX2
        if (P::kPlainWords && op == 256 && CpuInfo::HasAvx2())
            i = _LinearTablePairsAvx2<P>(a, b, weight, count, table.consecutive, row0, row1, wy, colors,
                                            destination);
        else
#endif
            i = op == 256 ? _LinearTableRun<P, true>(a, b, weight, count, row0, row1, wy, op, colors, destination)
                          : _LinearTableRun<P, false>(a, b, weight, count, row0, row1, wy, op, colors, destination);
    }
#endif
    for (; i < count; ++i) {
        const uint32_t wx = static_cast<uint32_t>(weight[i]);
        uint32_t v;
        if ((wx | wy) == 0) {
            v = P::Get(row0, a[i], colors);
        } else {
            typename P::Wide top = P::Widen(P::Get(row0, a[i], colors));
            if (wx != 0) top = P::Lerp(top, P::Widen(P::Get(row0, b[i], colors)), wx);
            if (wy != 0) {
                typename P::Wide bottom = P::Widen(P::Get(row1, a[i], colors));
                if (wx != 0) bottom = P::Lerp(bottom, P::Widen(P::Get(row1, b[i], colors)), wx);
                top = P::Lerp(top, bottom, wy);
            }
            v = P::Narrow(top);
        }
        const uint32_t word = P::Finish(v, op);
        std::memcpy(destination + 4 * static_cast<ptrdiff_t>(i), &word, sizeof word);
    }
}

// Pixels i0..i1-1 of a span whose pixel i0 lies at (px, py).
template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
void SwBitmapSampler::SpanAxisRun(int i0, int i1, float px, float py, unsigned char* destination) const {
    const float m11 = matrix.m11;
    const uint32_t op = static_cast<uint32_t>(opacity);
    const uint32_t* colors = paletteColors.get();
    const int w = width;
    const int count = i1;
    int i = i0;

    if (!Linear) {
        const unsigned char* row = GetRowPointer(ExtendY(height, _Truncate(py + 0.5f)));
#ifdef GRAPHICS_SAMPLER_SSE2
        if (count - i >= 4 && _ExactSteps(px, m11, count - i)) {
            const float p1 = px + m11;
            const float p2 = p1 + m11;
            __m128 pv = _mm_setr_ps(px, p1, p2, p2 + m11);
            const __m128 step = _mm_set1_ps(m11 * 4.0f);
            const __m128 half = _mm_set1_ps(0.5f);
            for (; i + 4 <= count; i += 4) {
                const __m128i xv = _Extend4<ExtendX>(_mm_cvttps_epi32(_mm_add_ps(pv, half)), w);
                alignas(16) int xs[4];
                _mm_store_si128(reinterpret_cast<__m128i*>(xs), xv);
                _Finish4<P>(_Fetch4<P>(row, xv, xs, colors), op, destination + 4 * static_cast<ptrdiff_t>(i));
                pv = _mm_add_ps(pv, step);
            }
            px = _mm_cvtss_f32(pv);
        }
#endif
        for (; i < count; ++i) {
            const uint32_t word = P::Finish(P::Get(row, ExtendX(w, _Truncate(px + 0.5f)), colors), op);
            std::memcpy(destination + 4 * static_cast<ptrdiff_t>(i), &word, sizeof word);
            px += m11;
        }
        return;
    }

    // The second row is read only where its weight is not 0.
    const unsigned char *row0, *row1;
    const uint32_t wy = LinearRows<ExtendY>(py, &row0, &row1);
#ifdef GRAPHICS_SAMPLER_SSE2
    if (P::kVector && count - i >= 4 && _ExactSteps(px, m11, count - i)) {
        const float p1 = px + m11;
        const float p2 = p1 + m11;
        __m128 pv = _mm_setr_ps(px, p1, p2, p2 + m11);
        const __m128 step = _mm_set1_ps(m11 * 4.0f);
        const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
        const __m128 k256 = _mm_set1_ps(256.0f);
        const __m128i one = _mm_set1_epi32(1);
        const __m128i wyv = _mm_set1_epi16(static_cast<short>(wy));
        for (; i + 4 <= count; i += 4) {
            const __m128i tv = _mm_cvttps_epi32(pv);
            const __m128i fv =
                _mm_cvttps_epi32(_mm_mul_ps(_mm_and_ps(_mm_sub_ps(pv, _mm_cvtepi32_ps(tv)), magnitude), k256));
            const __m128i xa = _Extend4<ExtendX>(tv, w);
            alignas(16) int xsa[4];
            _mm_store_si128(reinterpret_cast<__m128i*>(xsa), xa);
            __m128i top = _Fetch4<P>(row0, xa, xsa, colors);
            const __m128i none = _mm_cmpeq_epi32(fv, _mm_setzero_si128());
            if (_mm_movemask_epi8(none) == 0xFFFF) {
                if (wy != 0) top = _Lerp4(top, _Fetch4<P>(row1, xa, xsa, colors), wyv, wyv);
            } else {
                // Where a weight is 0 the pixel itself stands in for its
                // neighbour, which is then not read: lerp(a, a, 0) is a.
                __m128i xb = _Extend4<ExtendX>(_mm_add_epi32(tv, one), w);
                xb = _mm_or_si128(_mm_and_si128(none, xa), _mm_andnot_si128(none, xb));
                alignas(16) int xsb[4];
                _mm_store_si128(reinterpret_cast<__m128i*>(xsb), xb);
                __m128i wlo, whi;
                _Weights4(fv, wlo, whi);
                top = _Lerp4(top, _Fetch4<P>(row0, xb, xsb, colors), wlo, whi);
                if (wy != 0) {
                    const __m128i bottom =
                        _Lerp4(_Fetch4<P>(row1, xa, xsa, colors), _Fetch4<P>(row1, xb, xsb, colors), wlo, whi);
                    top = _Lerp4(top, bottom, wyv, wyv);
                }
            }
            _Finish4<P>(top, op, destination + 4 * static_cast<ptrdiff_t>(i));
            pv = _mm_add_ps(pv, step);
        }
        px = _mm_cvtss_f32(pv);
    }
#endif
    for (; i < count; ++i) {
        const int tx = _Truncate(px);
        const uint32_t wx = _Fraction(px, tx);
        const int xa = ExtendX(w, tx);
        uint32_t v;
        if ((wx | wy) == 0) {
            v = P::Get(row0, xa, colors);
        } else {
            typename P::Wide top = P::Widen(P::Get(row0, xa, colors));
            int xb = xa;
            if (wx != 0) {
                xb = ExtendX(w, tx + 1);
                top = P::Lerp(top, P::Widen(P::Get(row0, xb, colors)), wx);
            }
            if (wy != 0) {
                typename P::Wide bottom = P::Widen(P::Get(row1, xa, colors));
                if (wx != 0) bottom = P::Lerp(bottom, P::Widen(P::Get(row1, xb, colors)), wx);
                top = P::Lerp(top, bottom, wy);
            }
            v = P::Narrow(top);
        }
        const uint32_t word = P::Finish(v, op);
        std::memcpy(destination + 4 * static_cast<ptrdiff_t>(i), &word, sizeof word);
        px += m11;
    }
}

// Replaces the matrix and the sampled size by those of a virtual image
// reduced by the matrix's scale, when both axes shrink by more than 1%.
bool SwBitmapSampler::ReduceForHighQuality() {
    const float m11 = matrix.m11;
    const float m12 = matrix.m12;
    const float m21 = matrix.m21;
    const float m22 = matrix.m22;
    const float sx = std::sqrt(m11 * m11 + m12 * m12);
    if (!(sx > 1.01f)) return false;
    const float sy = std::fabs((m11 * m22 - m12 * m21) / sx);
    if (!(sy > 1.01f)) return false;

    const Size<int> size = bitmap->GetSize();
    int reducedWidth = _Truncate(static_cast<float>(size.width) / sx + 0.5f);
    int reducedHeight = _Truncate(static_cast<float>(size.height) / sy + 0.5f);
    if (reducedWidth < 1) reducedWidth = 1;
    if (reducedHeight < 1) reducedHeight = 1;
    filter.reset(new Filter(size, Size<int>(reducedWidth, reducedHeight)));

    const float rw = static_cast<float>(reducedWidth) / static_cast<float>(size.width);
    const float rh = static_cast<float>(reducedHeight) / static_cast<float>(size.height);
    matrix = Matrix(m11 * rw, m12 * rh, m21 * rw, m22 * rh, (matrix.dx - 0.5f * sx) * rw, (matrix.dy - 0.5f * sy) * rh);
    width = reducedWidth;
    height = reducedHeight;
    return true;
}

unsigned int SwBitmapSampler::SampleNone(const Point<float>&) const { return 0; }

template <class P, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
GRAPHICS_SAMPLER_INLINE unsigned int SwBitmapSampler::SampleNearest(const Point<float>& p) const {
    // Truncation toward zero: all of -1.5 < p < 0.5 lands on 0.
    const int x = ExtendX(width, _Truncate(p.x + 0.5f));
    const int y = ExtendY(height, _Truncate(p.y + 0.5f));
    return P::Finish(P::Get(GetRowPointer(y), x, paletteColors.get()), static_cast<uint32_t>(opacity));
}

template <class P, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
GRAPHICS_SAMPLER_INLINE unsigned int SwBitmapSampler::SampleLinear(const Point<float>& p) const {
    const int w = width;
    const int h = height;
    const uint32_t v = _Bilinear<P>(
        p, [w](int x) { return ExtendX(w, x); }, [h](int y) { return ExtendY(h, y); },
        [this](int x, int y) { return P::Get(GetRowPointer(y), x, paletteColors.get()); });
    return P::Finish(v, static_cast<uint32_t>(opacity));
}

template <class P>
unsigned int SwBitmapSampler::SampleHighQuality(const Point<float>& p) const {
    const int x = extendX(width, _Truncate(p.x + 0.5f));
    const int y = extendY(height, _Truncate(p.y + 0.5f));
    return P::Finish(Resample<P>(x, y), static_cast<uint32_t>(opacity));
}

template <class P>
unsigned int SwBitmapSampler::SampleHighQualityL(const Point<float>& p) const {
    const SwExtend::Proc ex = extendX;
    const SwExtend::Proc ey = extendY;
    const int w = width;
    const int h = height;
    const uint32_t v = _Bilinear<P>(
        p, [ex, w](int x) { return ex(w, x); }, [ey, h](int y) { return ey(h, y); },
        [this](int x, int y) { return Resample<P>(x, y); });
    return P::Finish(v, static_cast<uint32_t>(opacity));
}

// One source row of a reduced pixel: start and end weighted, the pixels
// between summed at full weight. Each channel goes separately and is cut to
// eight bits after the shift; there is no rounding term.
template <class P>
GRAPHICS_SAMPLER_INLINE uint32_t SwBitmapSampler::ResampleX(const FilterRange& range, const unsigned char* row) const {
    typename P::Sum sum;
    const uint32_t* colors = paletteColors.get();
    if (range.startWeight != 0) sum.Add(range.startWeight, P::GetRaw(row, range.start, colors));
    const uint32_t scale = static_cast<uint32_t>(filter->scaleX);
    if (scale != 0 && range.end - range.start > 1)
        sum.AddScaled(
            scale, P::Sum::Run(range.start + 1, range.end, [row, colors](int i) { return P::GetRaw(row, i, colors); }));
    if (range.endWeight != 0) sum.Add(range.endWeight, P::GetRaw(row, range.end, colors));
    return sum.template Pack<P::kRawScale>();
}

// The rows of a reduced pixel, weighted as ResampleX weights columns.
// Source pixels are read without extension: the ranges lie inside the image.
template <class P>
uint32_t SwBitmapSampler::Resample(int x, int y) const {
    const FilterRange& rx = filter->rangesX[x];
    const FilterRange& ry = filter->rangesY[y];
    typename P::Sum sum;
    if (ry.startWeight != 0) sum.Add(ry.startWeight, ResampleX<P>(rx, GetRowPointer(ry.start)));
    const uint32_t scale = static_cast<uint32_t>(filter->scaleY);
    if (scale != 0 && ry.end - ry.start > 1)
        sum.AddScaled(scale, P::Sum::Run(ry.start + 1, ry.end,
                                         [this, &rx](int j) { return ResampleX<P>(rx, GetRowPointer(j)); }));
    if (ry.endWeight != 0) sum.Add(ry.endWeight, ResampleX<P>(rx, GetRowPointer(ry.end)));
    return sum.template Pack<1>();
}

}  // namespace Graphics
