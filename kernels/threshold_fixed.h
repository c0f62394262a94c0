// The fixed-threshold rules as vector operations for the element-stream engine
// (kernels/logic_stream.h). Every rule compares strictly and keeps the sample otherwise:
//
//   ReplaceGT: dst = value   where src > threshold, else src
//   ReplaceLT: dst = value   where src < threshold, else src
//   Both:      dst = valueLT where src < thresholdLT, valueGT where src > thresholdGT, else src
//
// Clamping is replacing by the threshold itself: for integers that is min(src, threshold)
// (GT) and max(src, threshold) (LT), which is what the integer kernels compute. For 32f the
// strict comparison is the rule, so a NaN sample (every comparison with it is false) is kept
// by every form, clamping included, and a NaN threshold or value keeps (or writes) as the
// comparisons say; -0.0 and +0.0 compare equal and the sample is kept.
//
// Integer samples are processed as two 256-bit halves (8- and 16-bit lanes are AVX2
// operations; the engine hands them over as Halves); 32f samples as one 512-bit vector with
// mask registers. The per-channel
// constants are patterns of Period vectors (three for 3-channel layouts, one otherwise),
// indexed by the phase the engine passes.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include <type_traits>

#include "kernels/logic_stream.h"

namespace zel {

enum class ThrRule { ClampGT, ClampLT, ReplaceGT, ReplaceLT, Both };

// Lane operations on 256-bit halves of 8u, 16u, 16s samples: the minimum, the maximum and
// the equality mask of the sample type.
template <typename T> struct ThrLanes;
template <> struct ThrLanes<Zel8u> {
    static __m256i min(__m256i a, __m256i b) { return _mm256_min_epu8(a, b); }
    static __m256i max(__m256i a, __m256i b) { return _mm256_max_epu8(a, b); }
    static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi8(a, b); }
};
template <> struct ThrLanes<Zel16u> {
    static __m256i min(__m256i a, __m256i b) { return _mm256_min_epu16(a, b); }
    static __m256i max(__m256i a, __m256i b) { return _mm256_max_epu16(a, b); }
    static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi16(a, b); }
};
template <> struct ThrLanes<Zel16s> {
    static __m256i min(__m256i a, __m256i b) { return _mm256_min_epi16(a, b); }
    static __m256i max(__m256i a, __m256i b) { return _mm256_max_epi16(a, b); }
    static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi16(a, b); }
};

// The rule on one half: t1/v1 are the threshold and value of the one-sided rules (the LT pair
// of Both), t2/v2 the GT pair of Both.
template <ThrRule R, typename T>
inline __m256i ownThrHalf(__m256i a, __m256i t1, __m256i v1, __m256i t2, __m256i v2) {
    using L = ThrLanes<T>;
    if constexpr (R == ThrRule::ClampGT) return L::min(a, t1);
    if constexpr (R == ThrRule::ClampLT) return L::max(a, t1);
    // keep where a <= t (min(a, t) == a) or a >= t (max(a, t) == a)
    if constexpr (R == ThrRule::ReplaceGT) return _mm256_blendv_epi8(v1, a, L::eq(L::min(a, t1), a));
    if constexpr (R == ThrRule::ReplaceLT) return _mm256_blendv_epi8(v1, a, L::eq(L::max(a, t1), a));
    if constexpr (R == ThrRule::Both) {
        // thresholdLT <= thresholdGT (checked), so the two replaced ranges are disjoint.
        __m256i x = _mm256_blendv_epi8(v1, a, L::eq(L::max(a, t1), a));
        return _mm256_blendv_epi8(v2, x, L::eq(L::min(a, t2), a));
    }
}

template <ThrRule R>
inline __m512 ownThrFloat(__m512 a, __m512 t1, __m512 v1, __m512 t2, __m512 v2) {
    if constexpr (R == ThrRule::ClampGT || R == ThrRule::ReplaceGT)
        return _mm512_mask_mov_ps(a, _mm512_cmp_ps_mask(a, t1, _CMP_GT_OQ), v1);
    if constexpr (R == ThrRule::ClampLT || R == ThrRule::ReplaceLT)
        return _mm512_mask_mov_ps(a, _mm512_cmp_ps_mask(a, t1, _CMP_LT_OQ), v1);
    if constexpr (R == ThrRule::Both) {
        __m512 x = _mm512_mask_mov_ps(a, _mm512_cmp_ps_mask(a, t1, _CMP_LT_OQ), v1);
        return _mm512_mask_mov_ps(x, _mm512_cmp_ps_mask(a, t2, _CMP_GT_OQ), v2);
    }
}

// The engine's operation: holds the four constant patterns (192 bytes each, built with
// ownsBuildPattern) as vectors and applies the rule to a vector of phase k. Integer samples
// travel as the engine's Halves, loaded and stored as two 256-bit halves, never split from or
// joined into a 512-bit register (a split and a join cost more than the rule itself).
// The vector type V of the operation; integer rules declare Vec (Halves) for the engine, 32f
// takes the engine's default of whole registers.
template <bool Float> struct ThrVec { using V = Halves; using Vec = Halves; };
template <> struct ThrVec<true> { using V = __m512i; };

template <ThrRule R, typename T, int Period>
struct ThrOp : ThrVec<std::is_same_v<T, Zel32f>> {
    static constexpr bool kFloat = std::is_same_v<T, Zel32f>;
    using V = typename ThrVec<kFloat>::V;
    V pat[4][Period];  // t1, v1, t2, v2

    explicit ThrOp(const uint8_t (*patterns)[192]) {
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < Period; ++k) ownsVecLoad(patterns[j] + 64 * k, pat[j][k]);
    }

    V operator()(const V& a, const V&, int k) const {
        const V &t1 = pat[0][k], &v1 = pat[1][k], &t2 = pat[2][k], &v2 = pat[3][k];
        if constexpr (kFloat) {
            return _mm512_castps_si512(ownThrFloat<R>(_mm512_castsi512_ps(a), _mm512_castsi512_ps(t1), _mm512_castsi512_ps(v1),
                                                      _mm512_castsi512_ps(t2), _mm512_castsi512_ps(v2)));
        } else {
            return {ownThrHalf<R, T>(a.lo, t1.lo, v1.lo, t2.lo, v2.lo), ownThrHalf<R, T>(a.hi, t1.hi, v1.hi, t2.hi, v2.hi)};
        }
    }
};

}  // namespace zel
