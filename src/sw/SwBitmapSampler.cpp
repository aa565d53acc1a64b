#include "sw/SwBitmapSampler.h"

#include <climits>
#include <cmath>
#include <cstring>

#include "Graphics/Runtime.h"
#include "core/Failure.h"
#include "core/FpuState.h"
#include "core/PackedColor.h"

#if defined(__SSE__) || defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#define GRAPHICS_SAMPLER_CVTT 1
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
    typedef uint32_t Wide;
    GRAPHICS_SAMPLER_INLINE static Wide Widen(uint32_t v) { return v; }
    GRAPHICS_SAMPLER_INLINE static uint32_t Narrow(Wide v) { return v; }
    GRAPHICS_SAMPLER_INLINE static Wide Lerp(Wide a, Wide b, uint32_t f) { return _Lerp8(a, b, f); }
};

struct _ARGB8p : _Word {
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
    if (palette && PixelFormat::IsIndexed(format)) {
        const unsigned long count = palette->GetCount() < 256 ? palette->GetCount() : 256;
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
            if (Linear)
                Use<&SwBitmapSampler::SampleLinear<P, ExtendX, &SwExtend::Wrap>>(SamplingLinear);
            else
                Use<&SwBitmapSampler::SampleNearest<P, ExtendX, &SwExtend::Wrap>>(SamplingNearest);
            return;
        case ExtendMode::Mirror:
            if (Linear)
                Use<&SwBitmapSampler::SampleLinear<P, ExtendX, &SwExtend::Mirror>>(SamplingLinear);
            else
                Use<&SwBitmapSampler::SampleNearest<P, ExtendX, &SwExtend::Mirror>>(SamplingNearest);
            return;
        default:
            if (Linear)
                Use<&SwBitmapSampler::SampleLinear<P, ExtendX, &SwExtend::Clamp>>(SamplingLinear);
            else
                Use<&SwBitmapSampler::SampleNearest<P, ExtendX, &SwExtend::Clamp>>(SamplingNearest);
            return;
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
    return P::Finish(P::Get(GetRowPointer(y), x, paletteColors), static_cast<uint32_t>(opacity));
}

template <class P, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
GRAPHICS_SAMPLER_INLINE unsigned int SwBitmapSampler::SampleLinear(const Point<float>& p) const {
    const int w = width;
    const int h = height;
    const uint32_t v = _Bilinear<P>(
        p, [w](int x) { return ExtendX(w, x); }, [h](int y) { return ExtendY(h, y); },
        [this](int x, int y) { return P::Get(GetRowPointer(y), x, paletteColors); });
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
    const uint32_t* colors = paletteColors;
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
