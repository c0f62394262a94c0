// Block kernels of the element-wise arithmetic families and the choice among them by sample
// type, operation, scale factor and rounding. Integer samples are widened to 32-bit lanes, where
// every exact sum, difference and product fits, and the scale-factor rule is applied there;
// plain saturating sums and differences use the 8- and 16-bit AVX2 instructions. Every kernel
// gives the scalar rule's result bit for bit.
#pragma once

#include <math.h>

#include <type_traits>

#include "kernels/arith_rows.h"
#include "kernels/vector_halves.h"

namespace zel {

// Operand order: Sub gives s2 - s1 and Div s2 / s1. The constant forms run the same operation
// with the constant as s1, so their names are aliases.
enum class ArithOp { Add, Sub, Mul, Div, AddC = Add, SubC = Sub, MulC = Mul, DivC = Div };

// 16 samples widened to 32-bit lanes.
inline __m512i arith_load16(const uint8_t* p) { return _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)p)); }
inline __m512i arith_load16(const uint16_t* p) {
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)p));
}
inline __m512i arith_load16(const int16_t* p) { return _mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)p)); }

// Stores 16 lanes already in the sample type's range, truncated to the sample width.
template <bool NT>
inline void arith_store16(uint8_t* p, __m512i v) {
    __m128i r = _mm512_cvtepi32_epi8(v);
    if constexpr (NT) _mm_stream_si128((__m128i*)p, r);
    else _mm_storeu_si128((__m128i*)p, r);
}
template <bool NT, typename T>
inline void arith_store16(T* p, __m512i v) {
    __m256i r = _mm512_cvtepi32_epi16(v);
    if constexpr (NT) _mm256_stream_si256((__m256i*)p, r);
    else _mm256_storeu_si256((__m256i*)p, r);
}

template <typename T> constexpr int32_t kArithMin = std::is_signed_v<T> ? -32768 : 0;
template <typename T> constexpr int32_t kArithMax = std::is_same_v<T, uint8_t> ? 255 : std::is_signed_v<T> ? 32767 : 65535;

// Returns the signed 32-bit lanes clamped to the range of T.
template <typename T>
inline __m512i arith_saturate(__m512i s) {
    return _mm512_min_epi32(_mm512_max_epi32(s, _mm512_set1_epi32(kArithMin<T>)), _mm512_set1_epi32(kArithMax<T>));
}

// Returns saturate(round_half_even(op(s1, s2) * 2^-sf)) with Scale 0 (sf = 0), 1 (sf > 0: the
// shifted-out bits decide, ties to the even quotient) or -1 (sf < 0: the clamped exact result
// shifted left). The exact 16u product may exceed 2^31 and is kept unsigned.
template <typename Ty, ArithOp Op, int Scale>
struct ArithIntK {
    using T = Ty;
    static constexpr int B = 16;
    static constexpr bool U = std::is_same_v<T, uint16_t> && Op == ArithOp::Mul;
    __m128i cnt;
    __m512i mask, half, lo, hi;
    explicit ArithIntK(const ArithCtx& c)
        : cnt(_mm_cvtsi32_si128(c.n)), mask(_mm512_set1_epi32((int)c.mask)), half(_mm512_set1_epi32((int)c.half)),
          lo(_mm512_set1_epi32(c.lo)), hi(_mm512_set1_epi32(c.hi)) {}
    using V = __m512i;
    static V load(const T* a) { return arith_load16(a); }
    template <bool NT>
    int block(V x, const T* b, T* d) const {
        __m512i y = arith_load16(b), s;
        if constexpr (Op == ArithOp::Add) s = _mm512_add_epi32(x, y);
        else if constexpr (Op == ArithOp::Sub) s = _mm512_sub_epi32(y, x);
        else s = _mm512_mullo_epi32(x, y);
        if constexpr (Scale == 1) {
            __m512i q = U ? _mm512_srl_epi32(s, cnt) : _mm512_sra_epi32(s, cnt);
            __m512i odd = _mm512_and_si512(q, _mm512_set1_epi32(1));
            __m512i r = _mm512_add_epi32(_mm512_and_si512(s, mask), odd);
            s = _mm512_mask_sub_epi32(q, _mm512_cmpgt_epu32_mask(r, half), q, _mm512_set1_epi32(-1));
        } else if constexpr (Scale == -1) {
            s = U ? _mm512_min_epu32(s, hi) : _mm512_min_epi32(_mm512_max_epi32(s, lo), hi);
            s = _mm512_sll_epi32(s, cnt);
        }
        s = U ? _mm512_min_epu32(s, _mm512_set1_epi32(65535)) : arith_saturate<T>(s);
        arith_store16<NT>(d, s);
        return 0;
    }
};

// Returns the saturating sum or difference (sf = 0) with the 8- and 16-bit AVX2 instructions.
template <typename Ty, ArithOp Op>
struct ArithSatK {
    using T = Ty;
    static constexpr int B = 64 / (int)sizeof(T);
    explicit ArithSatK(const ArithCtx&) {}
    static __m256i op(__m256i x, __m256i y) {
        if constexpr (std::is_same_v<T, uint8_t>) return Op == ArithOp::Add ? _mm256_adds_epu8(x, y) : _mm256_subs_epu8(y, x);
        else if constexpr (std::is_same_v<T, uint16_t>) return Op == ArithOp::Add ? _mm256_adds_epu16(x, y) : _mm256_subs_epu16(y, x);
        else return Op == ArithOp::Add ? _mm256_adds_epi16(x, y) : _mm256_subs_epi16(y, x);
    }
    struct V {
        __m256i lo, hi;
    };
    static V load(const T* a) {
        return {_mm256_loadu_si256((const __m256i*)a), _mm256_loadu_si256((const __m256i*)a + 1)};
    }
    template <bool NT>
    int block(const V& x, const T* b, T* d) const {
        const __m256i* pb = (const __m256i*)b;
        __m256i r0 = op(x.lo, _mm256_loadu_si256(pb));
        __m256i r1 = op(x.hi, _mm256_loadu_si256(pb + 1));
        if constexpr (NT) {
            _mm256_stream_si256((__m256i*)d, r0);
            _mm256_stream_si256((__m256i*)d + 1, r1);
        } else {
            _mm256_storeu_si256((__m256i*)d, r0);
            _mm256_storeu_si256((__m256i*)d + 1, r1);
        }
        return 0;
    }
};

// Returns the single-precision result under the caller's rounding mode; a division reports
// zero divisors (its results stay IEEE: infinities and NaN).
template <ArithOp Op>
struct ArithF32K {
    using T = float;
    static constexpr int B = 16;
    explicit ArithF32K(const ArithCtx&) {}
    using V = __m512;
    static V load(const float* a) { return _mm512_loadu_ps(a); }
    template <bool NT>
    int block(V x, const float* b, float* d) const {
        __m512 y = _mm512_loadu_ps(b), r;
        int zero = 0;
        if constexpr (Op == ArithOp::Add) r = _mm512_add_ps(x, y);
        else if constexpr (Op == ArithOp::Sub) r = _mm512_sub_ps(y, x);
        else if constexpr (Op == ArithOp::Mul) r = _mm512_mul_ps(x, y);
        else {
            r = _mm512_div_ps(y, x);
            zero = _mm512_cmp_ps_mask(x, _mm512_setzero_ps(), _CMP_EQ_OQ) != 0;
        }
        if constexpr (NT) _mm512_stream_ps(d, r);
        else _mm512_storeu_ps(d, r);
        return zero;
    }
};

// Returns v rounded to an integral value: Rnd 0 toward zero, 1 half to even, 2 half away from
// zero. The callers' quotients are never within rounding error of a tie or an integer they are
// not exactly equal to, so rounding the correctly rounded quotient rounds the exact one.
template <int Rnd>
inline __m512 arith_round(__m512 v) {
    if constexpr (Rnd == 1) return _mm512_roundscale_ps(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    if constexpr (Rnd == 2) {
        __m512i half = _mm512_or_si512(_mm512_and_si512(_mm512_castps_si512(v), _mm512_set1_epi32(INT32_MIN)),
                                       _mm512_castps_si512(_mm512_set1_ps(0.5f)));
        v = _mm512_add_round_ps(v, _mm512_castsi512_ps(half), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
    return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
template <int Rnd>
inline __m512d arith_round(__m512d v) {
    if constexpr (Rnd == 1) return _mm512_roundscale_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    if constexpr (Rnd == 2) {
        __m512i half = _mm512_or_si512(_mm512_and_si512(_mm512_castpd_si512(v), _mm512_set1_epi64(INT64_MIN)),
                                       _mm512_castpd_si512(_mm512_set1_pd(0.5)));
        v = _mm512_add_round_pd(v, _mm512_castsi512_pd(half), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
    return _mm512_roundscale_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}

// Returns saturate(round(s2 * 2^-sf / s1)) with the rounding Rnd; a zero divisor gives the
// saturated extreme of the dividend's sign, 0 for 0 / 0, and is reported. Path 0 divides in
// single precision, exact for every dividend below 2^16 with sf >= 0 and for 8-bit dividends
// with -15 <= sf (the quotient's distance to the nearest tie or integer is then more than its
// rounding error); path 1 in double precision for 16-bit samples with sf < 0; path 2 is the
// 8u result for sf < -15, where no division is done: 255 wherever the dividend is non-zero.
template <typename Ty, int Rnd, int Path>
struct ArithDivK {
    using T = Ty;
    static constexpr int B = 16;
    __m512 fs;
    __m512d ds;
    explicit ArithDivK(const ArithCtx& c) : fs(_mm512_set1_ps(c.fscale)), ds(_mm512_set1_pd(c.dscale)) {}
    using V = __m512i;
    static V load(const T* a) { return arith_load16(a); }
    template <bool NT>
    int block(V x, const T* b, T* d) const {
        constexpr int kRn = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;
        __m512i y = arith_load16(b), r;
        __mmask16 z = _mm512_cmpeq_epi32_mask(x, _mm512_setzero_si512());
        if constexpr (Path == 2) {
            r = _mm512_maskz_mov_epi32(_mm512_test_epi32_mask(y, y), _mm512_set1_epi32(255));
            z = 0;
        } else if constexpr (Path == 0) {
            __m512 fy = _mm512_cvtepi32_ps(y);
            __m512 q = _mm512_div_round_ps(_mm512_mul_ps(fy, fs), _mm512_cvtepi32_ps(x), kRn);
            q = _mm512_mask_mul_ps(q, z, fy, _mm512_set1_ps(0x1p60f));
            q = arith_round<Rnd>(q);
            q = _mm512_min_ps(_mm512_max_ps(q, _mm512_set1_ps((float)kArithMin<T>)), _mm512_set1_ps((float)kArithMax<T>));
            r = _mm512_cvttps_epi32(q);
        } else {
            __m256i h[2];
            for (int i = 0; i < 2; ++i) {
                __m512d fy = _mm512_cvtepi32_pd(i ? _mm512_extracti64x4_epi64(y, 1) : _mm512_castsi512_si256(y));
                __m512d fx = _mm512_cvtepi32_pd(i ? _mm512_extracti64x4_epi64(x, 1) : _mm512_castsi512_si256(x));
                __m512d q = _mm512_div_round_pd(_mm512_mul_pd(fy, ds), fx, kRn);
                q = _mm512_mask_mul_pd(q, (__mmask8)(z >> (8 * i)), fy, _mm512_set1_pd(0x1p60));
                q = arith_round<Rnd>(q);
                q = _mm512_min_pd(_mm512_max_pd(q, _mm512_set1_pd(kArithMin<T>)), _mm512_set1_pd(kArithMax<T>));
                h[i] = _mm512_cvttpd_epi32(q);
            }
            r = ownsJoin256(h[0], h[1]);
        }
        arith_store16<NT>(d, r);
        return z != 0;
    }
};

#define ZEL_ARITH_RUN(...) (nt ? &ownsArithRun<__VA_ARGS__, true, Pat> : &ownsArithRun<__VA_ARGS__, false, Pat>)

// Above this scale factor the rule rounds every result of the operation to 0.
template <typename T, ArithOp Op>
constexpr int arith_zero_threshold() {
    if constexpr (std::is_same_v<T, uint8_t>) return Op == ArithOp::Add ? 9 : Op == ArithOp::Sub ? 8 : 16;
    else if constexpr (std::is_same_v<T, int16_t>) return Op == ArithOp::Mul ? 30 : 16;
    else return Op == ArithOp::Add ? 17 : Op == ArithOp::Sub ? 16 : 32;
}

// Chooses the row kernel of a call and fills c; nullptr when the rule gives 0 everywhere
// (the destination is then filled). nt selects streaming stores, Pat a constant pattern as
// operand 1; rnd is the ZelRoundMode of a division (1 for every other operation).
template <typename T, ArithOp Op, bool Pat>
ArithRowFn<T> ownsArithPick(int sf, int rnd, bool nt, ArithCtx& c) {
    if constexpr (std::is_same_v<T, float>) {
        return ZEL_ARITH_RUN(ArithF32K<Op>);
    } else if constexpr (Op == ArithOp::Div) {
        // Beyond +-40 every quotient is the same as at +-40: below 2^16 / 2^40 or above 2^40 / 2^16.
        int s = std::clamp(sf, -40, 40);
        c.fscale = ldexpf(1.0f, -s);
        c.dscale = ldexp(1.0, -s);
        if (std::is_same_v<T, uint8_t> && sf < -15) return ZEL_ARITH_RUN(ArithDivK<T, 1, 2>);
        if (s >= 0 || std::is_same_v<T, uint8_t>) {
            if (rnd == 0) return ZEL_ARITH_RUN(ArithDivK<T, 0, 0>);
            if (rnd == 2) return ZEL_ARITH_RUN(ArithDivK<T, 2, 0>);
            return ZEL_ARITH_RUN(ArithDivK<T, 1, 0>);
        }
        if (rnd == 0) return ZEL_ARITH_RUN(ArithDivK<T, 0, 1>);
        if (rnd == 2) return ZEL_ARITH_RUN(ArithDivK<T, 2, 1>);
        return ZEL_ARITH_RUN(ArithDivK<T, 1, 1>);
    } else {
        if (sf == 0) {
            if constexpr (Op == ArithOp::Mul) return ZEL_ARITH_RUN(ArithIntK<T, Op, 0>);
            else return ZEL_ARITH_RUN(ArithSatK<T, Op>);
        }
        if (sf > 0) {
            if (sf > arith_zero_threshold<T, Op>()) return nullptr;
            c.n = sf;
            c.mask = (uint32_t)((uint64_t(1) << sf) - 1);
            c.half = uint32_t(1) << (sf - 1);
            return ZEL_ARITH_RUN(ArithIntK<T, Op, 1>);
        }
        // Any non-zero exact result shifted left by 16 or more saturates: the bound kernel keeps
        // only its sign. Below that every value beyond [-65536, 65535] saturates too.
        int64_t n = -(int64_t)sf;
        bool bound = n >= 16;
        c.n = bound ? 16 : (int)n;
        c.lo = bound ? -1 : -65536;
        c.hi = bound ? 1 : 65535;
        return ZEL_ARITH_RUN(ArithIntK<T, Op, -1>);
    }
}

#undef ZEL_ARITH_RUN

}  // namespace zel
