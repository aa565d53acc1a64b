#include "sw/SwBasicCompositeNormalOp.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
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
        if (shape4 == 0xFFFFFFFFu && (color[i] & color[i + 1] & color[i + 2] & color[i + 3]) >= 0xFF000000u) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), w);
            continue;
        }
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i), _Compose4(w, t, shape4));
    }
#endif
    for (; i < count; ++i) ComposePixel(target + i, color[i], shape[i]);
}

void SwBasicCompositeNormalOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (!context.targetColor || p.x2 <= p.x1) return;
    ComposeSpan(context.targetColor, context.sourceColor, context.sourceShape, p.x2 - p.x1);
}

}  // namespace Graphics
