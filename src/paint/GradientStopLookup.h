#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

#include "Graphics/Gradient.h"
#include "core/PackedColor.h"

namespace Graphics {

// The stop lookup of GradientStopCollection::GetColor and GradientSampler::
// GetColor, shaped for loops that look up one t per pixel. It reads the stop
// arrays once, at construction, so make one per span and do not keep it
// across insertions. It remembers the interval of the last lookup and tests
// it first: neighbouring pixels mostly fall between the same two stops.
struct GradientStopLookup {
    explicit GradientStopLookup(const GradientStopCollection* stops) : m_Collection(stops) {
        if (stops == nullptr) return;
        if (stops->m_HasNaN) {
            m_UseMap = true;
            return;
        }
        m_Offsets = stops->m_Offsets.data();
        m_Colors = stops->m_Colors.data();
        m_Spans = stops->m_Spans.data();
        m_Count = stops->m_Offsets.size();
    }
    explicit GradientStopLookup(const GradientSampler& sampler) : GradientStopLookup(sampler.m_Stops.get()) {}

    // Straight ARGB8 colour at t, as GradientStopCollection::GetColor.
    uint32_t Straight(float t) {
        if (m_UseMap) return MapLookup(m_Collection->m_Stops, t);
        size_t i = m_Cursor;
        // The remembered index still answers when every stop before it lies
        // below t and it does not (a NaN t fails the first test unless the
        // index is 0, where a search would land anyway).
        if (!((i == 0 || m_Offsets[i - 1] < t) && (i == m_Count || !(m_Offsets[i] < t)))) {
            i = static_cast<size_t>(std::lower_bound(m_Offsets, m_Offsets + m_Count, t) - m_Offsets);
            m_Cursor = i;
        }
        if (i == m_Count) return 0;  // above every stop, or no stops at all
        const float next = m_Offsets[i];
        // At a stop its colour is taken as stored; below the first stop
        // there is nothing to blend from and the first colour answers.
        if (next == t || i == 0) return m_Colors[i];
        const uint32_t f = LowByte((next - t) / m_Spans[i] * 255.0f);
        return Blend(m_Colors[i - 1], m_Colors[i], f);
    }

    // Premultiplied ARGB8p colour at t, as GradientSampler::GetColor.
    uint32_t Premultiplied(float t) { return Premultiply(Straight(t)); }

    // Scaling with the alpha byte forced to 255 keeps the alpha: (255 *
    // (alpha + 1)) >> 8 is alpha again; an opaque colour scales by 256,
    // which leaves it unchanged.
    static uint32_t Premultiply(uint32_t color) { return ScaleColor(color | 0xFF000000u, (color >> 24) + 1); }

    // previous weighs f + 1 and next 256 - f; the weights sum to 257 and
    // the truncations keep each byte of the sum within 255, so plain
    // addition does not carry. At f = 0 next scales by 256 (unchanged) and
    // at f = 255 by 1 (to 0), so no case needs a branch.
    static uint32_t Blend(uint32_t previous, uint32_t next, uint32_t f) {
        return ScaleColor(previous, f + 1) + ScaleColor(next, 256 - f);
    }

    // Truncates toward zero and keeps the low eight bits. Values an int
    // cannot hold (infinite or NaN ratios from extreme offsets) give 0.
    static uint32_t LowByte(float v) {
#if defined(__SSE2__) || defined(_M_X64)
        // The truncating conversion answers 0x80000000 for anything out of
        // range, whose low byte is 0 as well.
        return static_cast<uint32_t>(_mm_cvttss_si32(_mm_set_ss(v))) & 0xFFu;
#else
        if (!(v > -2147483648.0f && v < 2147483648.0f)) return 0;
        return static_cast<uint32_t>(static_cast<int>(v)) & 0xFFu;
#endif
    }

    // Writes n pixels of a gradient span from their parameters: below 0
    // startColor, above 1 endColor, else the premultiplied colour at t
    // scaled by weight (1..256). Exactly 0 and 1 go through the stops.
    void Shade(const float* t, size_t n, uint32_t startColor, uint32_t endColor, uint32_t weight,
               uint32_t* destination) {
        size_t k = 0;
#if defined(__SSE2__) || defined(_M_X64)
        const __m128 zero = _mm_setzero_ps();
        const __m128 one = _mm_set1_ps(1.0f);
        const __m128i weights = _mm_set1_epi32(static_cast<int>(weight | (weight << 16)));
        for (; k + 4 <= n; k += 4) {
            const __m128 tv = _mm_loadu_ps(t + k);
            const size_t i = m_Cursor;
            if (!m_UseMap && i > 0 && i < m_Count) {
                // All four within 0..1 and between the remembered stops
                // (above the lower, not above the upper; NaN fails).
                __m128 inside = _mm_and_ps(_mm_cmpge_ps(tv, zero), _mm_cmple_ps(tv, one));
                inside = _mm_and_ps(inside, _mm_cmplt_ps(_mm_set1_ps(m_Offsets[i - 1]), tv));
                inside = _mm_and_ps(inside, _mm_cmple_ps(tv, _mm_set1_ps(m_Offsets[i])));
                if (_mm_movemask_ps(inside) == 0xF) {
                    // At the upper stop the ratio is 0, f is 0 and the blend
                    // gives that stop's colour unchanged, as the lookup does.
                    const __m128 ratio =
                        _mm_div_ps(_mm_sub_ps(_mm_set1_ps(m_Offsets[i]), tv), _mm_set1_ps(m_Spans[i]));
                    const __m128i f = _mm_and_si128(_mm_cvttps_epi32(_mm_mul_ps(ratio, _mm_set1_ps(255.0f))),
                                                    _mm_set1_epi32(0xFF));
                    const __m128i previousWeight = _mm_add_epi32(f, _mm_set1_epi32(1));
                    const __m128i nextWeight = _mm_sub_epi32(_mm_set1_epi32(256), f);
                    __m128i color =
                        _mm_add_epi32(Scale4(_mm_set1_epi32(static_cast<int>(m_Colors[i - 1])), Spread(previousWeight)),
                                      Scale4(_mm_set1_epi32(static_cast<int>(m_Colors[i])), Spread(nextWeight)));
                    const __m128i alphaWeight = _mm_add_epi32(_mm_srli_epi32(color, 24), _mm_set1_epi32(1));
                    color = Scale4(_mm_or_si128(color, _mm_set1_epi32(static_cast<int>(0xFF000000u))),
                                   Spread(alphaWeight));
                    color = Scale4(color, weights);
                    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + k), color);
                    continue;
                }
            }
            for (size_t j = k; j < k + 4; ++j) destination[j] = ShadeOne(t[j], startColor, endColor, weight);
        }
#endif
        for (; k < n; ++k) destination[k] = ShadeOne(t[k], startColor, endColor, weight);
    }

    uint32_t ShadeOne(float t, uint32_t startColor, uint32_t endColor, uint32_t weight) {
        if (t < 0.0f) return startColor;
        if (t > 1.0f) return endColor;
        return ScaleColor(Premultiplied(t), weight);  // a weight of 256 leaves it unchanged
    }

#if defined(__SSE2__) || defined(_M_X64)
    // Four ScaleColor at once. Each byte times a weight up to 256 fits in
    // 16 bits, so 16-bit lanes give the same truncated products as the
    // 32-bit pairs; w holds each weight in both halves of its lane.
    static __m128i Scale4(__m128i c, __m128i w) {
        const __m128i mask = _mm_set1_epi32(0x00FF00FF);
        const __m128i rb = _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(c, mask), w), 8);
        const __m128i ag = _mm_andnot_si128(mask, _mm_mullo_epi16(_mm_and_si128(_mm_srli_epi32(c, 8), mask), w));
        return _mm_or_si128(rb, ag);
    }
    static __m128i Spread(__m128i w) { return _mm_or_si128(w, _mm_slli_epi32(w, 16)); }
#endif

    // The lookup done on the map itself, for stops whose offsets do not
    // sort (NaN).
    static uint32_t MapLookup(const GradientStopCollection::StopMap& stops, float t);

private:
    const GradientStopCollection* m_Collection = nullptr;
    const float* m_Offsets = nullptr;
    const unsigned int* m_Colors = nullptr;
    const float* m_Spans = nullptr;
    size_t m_Count = 0;
    size_t m_Cursor = 0;
    bool m_UseMap = false;
};

}  // namespace Graphics
