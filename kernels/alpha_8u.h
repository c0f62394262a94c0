// AVX2 row kernels of 8u alpha composition and premultiplication. Samples are widened to
// 16-bit lanes (vpmovzxbw), multiplied with vpmullw and divided by 255 with the div255 rule;
// results are packed back with unsigned saturation, which is the rule's clamp at 255. Each
// kernel does the whole blocks of a row and returns how many elements it did; the caller
// finishes the row with the scalar rule of alpha_rule.h.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include "kernels/alpha_rule.h"

namespace zel::alpha {

// 16 lanes of 16 bits holding values 0..510.
struct Vec8 {
    using V = __m256i;
    // div255(x * y) for x * y <= 65025. With t = x * y + 128 = 256h + l, (t * 257) >> 16 is
    // h + ((256(l + h) + l) >> 16) and (t + (t >> 8)) >> 8 is h + ((l + h) >> 8): equal for
    // every 16-bit t, so one vpmulhuw replaces two shifts and an add.
    static V mul_div(V x, V y) {
        V t = _mm256_add_epi16(_mm256_mullo_epi16(x, y), _mm256_set1_epi16(128));
        return _mm256_mulhi_epu16(t, _mm256_set1_epi16(257));
    }
    static V inv(V a) { return _mm256_sub_epi16(_mm256_set1_epi16(255), a); }
    static V add(V x, V y) { return _mm256_add_epi16(x, y); }
    static V mul_add(V x, V y, V z) { return add(mul_div(x, y), z); }
};

// 16 bytes widened to 16 lanes.
inline __m256i ownLoadW_8u(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p));
}
// 32 lanes (lo: elements 0..15, hi: 16..31) packed with saturation into 32 bytes.
inline void ownStoreW2_8u(uint8_t* p, __m256i lo, __m256i hi) {
    __m256i v = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
    _mm256_storeu_si256((__m256i*)p, v);
}
// Lane 3 of every four-lane pixel copied to all four lanes.
inline __m256i ownAlphaW_8u(__m256i v) {
    const __m256i k = _mm256_setr_epi8(6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15,
                                       6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15);
    return _mm256_shuffle_epi8(v, k);
}
// The multiplier that premultiplies a four-lane pixel: its alpha on colour lanes, 255 on the
// alpha lane (which keeps alpha as it is: div255(255 * a) = a).
inline __m256i ownPremulW_8u(__m256i alpha) { return _mm256_blend_epi16(alpha, _mm256_set1_epi16(255), 0x88); }

// Four AC4 pixels composed (16 lanes).
template <int Op, bool Pre>
inline __m256i ownCompAC4W_8u(__m256i a, __m256i b) {
    __m256i aa = ownAlphaW_8u(a), ab = ownAlphaW_8u(b);
    if constexpr (!Pre) {
        a = Vec8::mul_div(a, ownPremulW_8u(aa));
        b = Vec8::mul_div(b, ownPremulW_8u(ab));
    }
    return porter_duff<Op, Vec8>(a, b, aa, ab);
}

// n AC4 pixels of a and b composed into d (d may be b). Returns the pixels done.
template <int Op, bool Pre>
inline int64_t ownsAlphaCompAC4_8u(const uint8_t* a, const uint8_t* b, uint8_t* d, int64_t n) {
    int64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const int64_t o = 4 * i;
        __m256i lo = ownCompAC4W_8u<Op, Pre>(ownLoadW_8u(a + o), ownLoadW_8u(b + o));
        __m256i hi = ownCompAC4W_8u<Op, Pre>(ownLoadW_8u(a + o + 16), ownLoadW_8u(b + o + 16));
        ownStoreW2_8u(d + o, lo, hi);
    }
    return i;
}

// 16 samples of a colour plane composed with their alphas aa, ab; Pre set takes a, b as
// premultiplied.
template <int Op, bool Pre>
inline __m256i ownCompPlaneW_8u(__m256i a, __m256i aa, __m256i b, __m256i ab) {
    if constexpr (!Pre) {
        a = Vec8::mul_div(a, aa);
        b = Vec8::mul_div(b, ab);
    }
    return porter_duff<Op, Vec8>(a, b, aa, ab);
}

// n samples of a colour plane composed with the alpha planes aa, ab into d. An alpha plane
// alone is composed with a == aa, b == ab and Pre set. Returns samples done.
template <int Op, bool Pre>
inline int64_t ownsAlphaCompPlane_8u(const uint8_t* a, const uint8_t* aa, const uint8_t* b, const uint8_t* ab,
                                     uint8_t* d, int64_t n) {
    int64_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i lo = ownCompPlaneW_8u<Op, Pre>(ownLoadW_8u(a + i), ownLoadW_8u(aa + i), ownLoadW_8u(b + i),
                                               ownLoadW_8u(ab + i));
        __m256i hi = ownCompPlaneW_8u<Op, Pre>(ownLoadW_8u(a + i + 16), ownLoadW_8u(aa + i + 16),
                                               ownLoadW_8u(b + i + 16), ownLoadW_8u(ab + i + 16));
        ownStoreW2_8u(d + i, lo, hi);
    }
    return i;
}

// n samples composed with constant alphas. KeepAlpha: the samples are AC4 pixels and every
// fourth byte of d keeps its value (n a multiple of 4 then). Returns samples done.
template <int Op, bool Pre, bool KeepAlpha>
inline int64_t ownsAlphaCompConst_8u(const uint8_t* a, uint8_t a1, const uint8_t* b, uint8_t a2, uint8_t* d,
                                     int64_t n) {
    const __m256i aa = _mm256_set1_epi16(a1), ab = _mm256_set1_epi16(a2);
    const __m256i keep = _mm256_set1_epi32((int)0xFF000000u);
    int64_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i lo = ownCompPlaneW_8u<Op, Pre>(ownLoadW_8u(a + i), aa, ownLoadW_8u(b + i), ab);
        __m256i hi = ownCompPlaneW_8u<Op, Pre>(ownLoadW_8u(a + i + 16), aa, ownLoadW_8u(b + i + 16), ab);
        if constexpr (KeepAlpha) {
            __m256i old = _mm256_loadu_si256((const __m256i*)(d + i));
            __m256i v = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
            _mm256_storeu_si256((__m256i*)(d + i), _mm256_blendv_epi8(v, old, keep));
        } else {
            ownStoreW2_8u(d + i, lo, hi);
        }
    }
    return i;
}

// n AC4 pixels premultiplied by their alpha; the alpha byte is copied. Returns pixels done.
inline int64_t ownsAlphaPremulAC4_8u(const uint8_t* s, uint8_t* d, int64_t n) {
    int64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const int64_t o = 4 * i;
        __m256i lo = ownLoadW_8u(s + o), hi = ownLoadW_8u(s + o + 16);
        lo = Vec8::mul_div(lo, ownPremulW_8u(ownAlphaW_8u(lo)));
        hi = Vec8::mul_div(hi, ownPremulW_8u(ownAlphaW_8u(hi)));
        ownStoreW2_8u(d + o, lo, hi);
    }
    return i;
}

// n samples of c premultiplied by the samples of the alpha plane a. Returns samples done.
inline int64_t ownsAlphaPremulPlane_8u(const uint8_t* c, const uint8_t* a, uint8_t* d, int64_t n) {
    int64_t i = 0;
    for (; i + 32 <= n; i += 32)
        ownStoreW2_8u(d + i, Vec8::mul_div(ownLoadW_8u(c + i), ownLoadW_8u(a + i)),
                      Vec8::mul_div(ownLoadW_8u(c + i + 16), ownLoadW_8u(a + i + 16)));
    return i;
}

// n samples premultiplied by a constant alpha; KeepAlpha as in ownsAlphaCompConst_8u.
template <bool KeepAlpha>
inline int64_t ownsAlphaPremulConst_8u(const uint8_t* c, uint8_t alpha, uint8_t* d, int64_t n) {
    const __m256i a = _mm256_set1_epi16(alpha);
    const __m256i keep = _mm256_set1_epi32((int)0xFF000000u);
    int64_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i lo = Vec8::mul_div(ownLoadW_8u(c + i), a), hi = Vec8::mul_div(ownLoadW_8u(c + i + 16), a);
        if constexpr (KeepAlpha) {
            __m256i old = _mm256_loadu_si256((const __m256i*)(d + i));
            __m256i v = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
            _mm256_storeu_si256((__m256i*)(d + i), _mm256_blendv_epi8(v, old, keep));
        } else {
            ownStoreW2_8u(d + i, lo, hi);
        }
    }
    return i;
}

}  // namespace zel::alpha
