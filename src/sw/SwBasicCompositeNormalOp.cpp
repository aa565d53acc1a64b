#include "sw/SwBasicCompositeNormalOp.h"

#include "core/CpuInfo.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#if defined(__SSE2__) && defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define GRAPHICS_COMPOSE_AVX2 1
#endif

namespace Graphics {

namespace {

#if defined(__SSE2__)

// SSE2 is part of every x86-64 processor, so this needs no run-time test.
//
// The two-lane scaling of a word is done in 16-bit lanes: a byte times a
// factor of at most 256 stays below 65536, so the 16-bit products hold the
// very bits of the 32-bit form. f holds each pixel's factor in both of its
// 16-bit halves.
inline __m128i _Scale(__m128i c, __m128i f) {
    const __m128i rb = _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(c, _mm_set1_epi32(0x00FF00FF)), f), 8);
    const __m128i ag =
        _mm_and_si128(_mm_mullo_epi16(_mm_srli_epi16(c, 8), f), _mm_set1_epi32(static_cast<int>(0xFF00FF00u)));
    return _mm_or_si128(rb, ag);
}

// Whether all four words have alpha 255.
inline bool _AllOpaque(__m128i w) {
    const __m128i ones = _mm_set1_epi32(-1);
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_or_si128(w, _mm_set1_epi32(0x00FFFFFF)), ones)) == 0xFFFF;
}

// Exactly ComposePixel on four pixels, without branches: every case is
// computed and the right one selected per pixel.
inline __m128i _Compose4(__m128i w, __m128i t, uint32_t shape4) {
    const __m128i zero = _mm_setzero_si128();
    __m128i s = _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(shape4)), zero);
    s = _mm_unpacklo_epi16(s, s);  // each shape byte in both halves of its pixel

    // A shape of 255 scales by 256, which leaves the word as it is, so the
    // scaling need not be skipped for full coverage.
    const __m128i ws = _Scale(w, _mm_add_epi16(s, _mm_set1_epi16(1)));

    // 255 - alpha of the scaled source, in both halves of each pixel.
    __m128i a = _mm_srli_epi16(ws, 8);
    a = _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, 0xF5), 0xF5);
    const __m128i over = _mm_add_epi32(_Scale(t, _mm_sub_epi16(_mm_set1_epi16(255), a)), ws);

    const __m128i emptyTarget = _mm_cmpeq_epi32(_mm_srli_epi32(t, 24), zero);
    const __m128i r = _mm_or_si128(_mm_and_si128(emptyTarget, ws), _mm_andnot_si128(emptyTarget, over));
    const __m128i skip = _mm_or_si128(_mm_cmpeq_epi32(s, zero), _mm_cmpeq_epi32(_mm_srli_epi32(w, 24), zero));
    return _mm_or_si128(_mm_and_si128(skip, t), _mm_andnot_si128(skip, r));
}

#endif

#if defined(GRAPHICS_COMPOSE_AVX2)

// Eight pixels under a constant word w whose complement weighs f.
__attribute__((target("avx2"), always_inline)) inline __m256i _OverConstant8(__m256i t, __m256i wv, __m256i fv,
                                                                           __m256i lowMask, __m256i highMask,
                                                                           __m256i zero) {
    const __m256i rb = _mm256_srli_epi16(_mm256_mullo_epi16(_mm256_and_si256(t, lowMask), fv), 8);
    const __m256i ag = _mm256_and_si256(_mm256_mullo_epi16(_mm256_srli_epi16(t, 8), fv), highMask);
    const __m256i over = _mm256_add_epi32(_mm256_or_si256(rb, ag), wv);
    const __m256i empty = _mm256_cmpeq_epi32(_mm256_srli_epi32(t, 24), zero);
    return _mm256_blendv_epi8(over, wv, empty);
}

// The constant-word loop of ComposeConstant eight pixels at a time, for
// processors that have AVX2 and spans of eight pixels or more; the same
// integer steps as the SSE2 form, so the same pixels. Returns how many
// pixels it did: all of them.
__attribute__((target("avx2"))) int _ComposeConstantAvx2(uint32_t* target, uint32_t w, uint32_t f, int count) {
    const __m256i wv = _mm256_set1_epi32(static_cast<int>(w));
    const __m256i fv = _mm256_set1_epi16(static_cast<short>(f));
    const __m256i lowMask = _mm256_set1_epi32(0x00FF00FF);
    const __m256i highMask = _mm256_set1_epi32(static_cast<int>(0xFF00FF00u));
    const __m256i zero = _mm256_setzero_si256();
    // Each pixel's result depends on its own old value alone, so the last
    // eight, read before anything is written, can be composed as one group
    // that overlaps the loop's last: the overlap gets the same words twice.
    __m256i* last = reinterpret_cast<__m256i*>(target + count - 8);
    const __m256i lastOld = _mm256_loadu_si256(last);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        __m256i* p = reinterpret_cast<__m256i*>(target + i);
        _mm256_storeu_si256(p, _OverConstant8(_mm256_loadu_si256(p), wv, fv, lowMask, highMask, zero));
    }
    if (i < count) _mm256_storeu_si256(last, _OverConstant8(lastOld, wv, fv, lowMask, highMask, zero));
    return count;
}

// ComposeSpanUniform under full coverage, eight pixels a step: where all
// eight source words are opaque they replace the target, as in the SSE2
// loop; other groups go through _Compose4, four at a time. Returns the
// pixels done, a multiple of eight.
__attribute__((target("avx2"))) int _ComposeFullAvx2(uint32_t* target, const uint32_t* color, int count) {
    const __m256i lowBytes = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i ones = _mm256_set1_epi32(-1);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(color + i));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi32(_mm256_or_si256(w, lowBytes), ones)) == -1) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(target + i), w);
            continue;
        }
        for (int k = i; k < i + 8; k += 4) {
            const __m128i w4 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(color + k));
            const __m128i t4 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + k));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + k), _Compose4(w4, t4, 0xFFFFFFFFu));
        }
    }
    return i;
}

#endif

}  // namespace

SwBasicCompositeNormalOp::SwBasicCompositeNormalOp() : SwOperation(OperationStage::Composite) {}

void SwBasicCompositeNormalOp::ComposeSpan(uint32_t* target, const uint32_t* color, const unsigned char* shape,
                                           int count) {
    int i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= count; i += 4) {
        uint32_t shape4;
        std::memcpy(&shape4, shape + i, sizeof shape4);
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(color + i));
        // Opaque paint under full coverage replaces the target: the interior
        // of an opaque fill is a plain copy.
        if (shape4 == 0xFFFFFFFFu && _AllOpaque(w)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), w);
            continue;
        }
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), _Compose4(w, t, shape4));
    }
#endif
    for (; i < count; ++i) ComposePixel(target + i, color[i], shape[i]);
}

void SwBasicCompositeNormalOp::ComposeSpanUniform(uint32_t* target, const uint32_t* color, unsigned int s,
                                                  int count) {
    if (s == 0) return;
    int i = 0;
#if defined(GRAPHICS_COMPOSE_AVX2)
    if (s == 255 && count >= 8 && CpuInfo::HasAvx2()) i = _ComposeFullAvx2(target, color, count);
#endif
#if defined(__SSE2__)
    const uint32_t shape4 = (s & 0xFFu) * 0x01010101u;
    for (; i + 4 <= count; i += 4) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(color + i));
        if (s == 255 && _AllOpaque(w)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), w);
            continue;
        }
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), _Compose4(w, t, shape4));
    }
    // The last one to three pixels: where the last four source words are
    // opaque under full coverage, they are the result of every one of those
    // pixels however it was composed, so writing them again over pixels
    // already done changes nothing.
    if (s == 255 && i < count && count >= 4) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(color + count - 4));
        if (_AllOpaque(w)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + count - 4), w);
            return;
        }
    }
#endif
    for (; i < count; ++i) ComposePixel(target + i, color[i], s);
}

namespace {

// The run of ComposeConstant once the scaled word w and the target's factor
// f = 255 - alpha of w are known; w has alpha above 0.
inline void _ConstantRun(uint32_t* target, uint32_t w, uint32_t f, int count) {
    if (f == 0) {
        // Scale(t, 0) + w is w, and an empty target takes w as well.
        if (count < 4) {
            target[0] = w;
            if (count > 1) target[1] = w;
            if (count > 2) target[2] = w;
            return;
        }
        for (int i = 0; i < count; ++i) target[i] = w;
        return;
    }
    if (count < 4) {
        // The partly covered ends of a stroke or an edge: too short for the
        // vector loops to pay for setting them up.
        uint32_t t = target[0];
        target[0] = (t >> 24) == 0 ? w : ScaleColor(t, f) + w;
        if (count > 1) {
            t = target[1];
            target[1] = (t >> 24) == 0 ? w : ScaleColor(t, f) + w;
            if (count > 2) {
                t = target[2];
                target[2] = (t >> 24) == 0 ? w : ScaleColor(t, f) + w;
            }
        }
        return;
    }
    int i = 0;
#if defined(GRAPHICS_COMPOSE_AVX2)
    if (count >= 8 && CpuInfo::HasAvx2()) i = _ComposeConstantAvx2(target, w, f, count);
#endif
#if defined(__SSE2__)
    const __m128i wv = _mm_set1_epi32(static_cast<int>(w));
    const __m128i fv = _mm_set1_epi16(static_cast<short>(f));
    const __m128i zero = _mm_setzero_si128();
    for (; i + 8 <= count; i += 8) {
        const __m128i t0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i));
        const __m128i t1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i + 4));
        const __m128i o0 = _mm_add_epi32(_Scale(t0, fv), wv);
        const __m128i o1 = _mm_add_epi32(_Scale(t1, fv), wv);
        const __m128i e0 = _mm_cmpeq_epi32(_mm_srli_epi32(t0, 24), zero);
        const __m128i e1 = _mm_cmpeq_epi32(_mm_srli_epi32(t1, 24), zero);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i),
                         _mm_or_si128(_mm_and_si128(e0, wv), _mm_andnot_si128(e0, o0)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i + 4),
                         _mm_or_si128(_mm_and_si128(e1, wv), _mm_andnot_si128(e1, o1)));
    }
    for (; i + 4 <= count; i += 4) {
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i));
        const __m128i o = _mm_add_epi32(_Scale(t, fv), wv);
        const __m128i e = _mm_cmpeq_epi32(_mm_srli_epi32(t, 24), zero);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), _mm_or_si128(_mm_and_si128(e, wv), _mm_andnot_si128(e, o)));
    }
#endif
    for (; i < count; ++i) {
        const uint32_t t = target[i];
        target[i] = (t >> 24) == 0 ? w : ScaleColor(t, f) + w;
    }
}

}  // namespace

void SwBasicCompositeNormalOp::ComposeConstant(uint32_t* target, uint32_t w, unsigned int s, int count) {
    if (s == 0 || (w >> 24) == 0 || count <= 0) return;
    // The scaled word and the target's factor are the same for every pixel.
    if (s < 255) w = ScaleColor(w, s + 1);
    _ConstantRun(target, w, 255 - (w >> 24), count);
}

void SwBasicCompositeNormalOp::ComposeConstantRows(uint32_t* target, std::ptrdiff_t stride, uint32_t w,
                                                   unsigned int s, int count, int rows) {
    if (s == 0 || (w >> 24) == 0 || count <= 0) return;
    if (s < 255) w = ScaleColor(w, s + 1);
    const uint32_t f = 255 - (w >> 24);
    unsigned char* row = reinterpret_cast<unsigned char*>(target);
    for (int r = 0; r < rows; ++r, row += stride) _ConstantRun(reinterpret_cast<uint32_t*>(row), w, f, count);
}

void SwBasicCompositeNormalOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (!context.targetColor || p.x2 <= p.x1) return;
    ComposeSpan(context.targetColor, context.sourceColor, context.sourceShape, p.x2 - p.x1);
}

}  // namespace Graphics
