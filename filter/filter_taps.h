// Row kernels of the general 2-D filter: the direct kernel that applies a kh x kw tap table to
// kh source rows, the widening of integer source rows into accumulator lanes, and the
// conversion of a row of sums to the destination type.
//
// The rule every path follows, so that vector and scalar code agree bit for bit: output sample
// s is one running sum, started at +0, to which the taps are added in row-major order of the
// tap table (m = i * kw + j), each as one fused multiply-add
//
//     acc = fma(tap[m], rows[i][s + j * stride], acc).
//
// The accumulator is a float, a double, or a 32-bit integer (whose products and sums wrap
// modulo 2^32). A channel-interleaved row is a row of samples whose taps lie `stride` (the
// channel count) samples apart, so one kernel serves every layout.
#pragma once

#include "kernels/convert_type.h"

namespace zel::ftap {

using cvt::Rnd;

// Lanes of one accumulator type: N samples, the multiply-add, loads and stores.
struct LanesF {
    using T = float;
    using R = __m512;
    static constexpr int N = 16;
    static R zero() { return _mm512_setzero_ps(); }
    static R set1(T t) { return _mm512_set1_ps(t); }
    static R load(const T* p) { return _mm512_loadu_ps(p); }
    static R load(const T* p, unsigned m) { return _mm512_maskz_loadu_ps((__mmask16)m, p); }
    static R madd(R k, R s, R acc) { return _mm512_fmadd_ps(k, s, acc); }
    static void store(T* p, R v) { _mm512_storeu_ps(p, v); }
    static void store(T* p, R v, unsigned m) { _mm512_mask_storeu_ps(p, (__mmask16)m, v); }
};
struct LanesD {
    using T = double;
    using R = __m512d;
    static constexpr int N = 8;
    static R zero() { return _mm512_setzero_pd(); }
    static R set1(T t) { return _mm512_set1_pd(t); }
    static R load(const T* p) { return _mm512_loadu_pd(p); }
    static R load(const T* p, unsigned m) { return _mm512_maskz_loadu_pd((__mmask8)m, p); }
    static R madd(R k, R s, R acc) { return _mm512_fmadd_pd(k, s, acc); }
    static void store(T* p, R v) { _mm512_storeu_pd(p, v); }
    static void store(T* p, R v, unsigned m) { _mm512_mask_storeu_pd(p, (__mmask8)m, v); }
};
struct LanesI {
    using T = int32_t;
    using R = __m512i;
    static constexpr int N = 16;
    static R zero() { return _mm512_setzero_si512(); }
    static R set1(T t) { return _mm512_set1_epi32(t); }
    static R load(const T* p) { return _mm512_loadu_si512(p); }
    static R load(const T* p, unsigned m) { return _mm512_maskz_loadu_epi32((__mmask16)m, p); }
    static R madd(R k, R s, R acc) { return _mm512_add_epi32(acc, _mm512_mullo_epi32(k, s)); }
    static void store(T* p, R v) { _mm512_storeu_si512(p, v); }
    static void store(T* p, R v, unsigned m) { _mm512_mask_storeu_epi32(p, (__mmask16)m, v); }
};

// 16 signed 16-bit lanes (AVX2), for sums that provably stay within 16 bits. Rows and outputs
// are the pipeline's own padded buffers: a tail loads and stores whole vectors.
struct LanesW {
    using T = int16_t;
    using R = __m256i;
    static constexpr int N = 16;
    static R zero() { return _mm256_setzero_si256(); }
    static R set1(T t) { return _mm256_set1_epi16(t); }
    static R load(const T* p, unsigned = 0) { return _mm256_loadu_si256((const __m256i*)p); }
    static R madd(R k, R s, R acc) { return _mm256_add_epi16(acc, _mm256_mullo_epi16(k, s)); }
    static void store(T* p, R v, unsigned = 0) { _mm256_storeu_si256((__m256i*)p, v); }
};

// Source rows as an array of row pointers (rows synthesised by the border component) ...
template <typename T>
struct RowList {
    const T* const* r;
    const T* operator[](int i) const { return r[i]; }
};
// ... or as rows a fixed number of elements apart (an image that carries its own border).
template <typename T>
struct RowStride {
    const T* base;
    int64_t step;
    const T* operator[](int i) const { return base + i * step; }
};

// One source row's share of a group of NR output rows: output row q (Q0 <= q <= Q1) adds the
// taps of kernel row r - q. Each vector of the source row is loaded once for all of them.
template <class L, int NB, int NR, bool Tail, int Q0, int Q1>
__attribute__((always_inline)) inline void tapsRowGroup(const typename L::T* p, int r, int kw, int stride,
                                                        const typename L::T* taps, int64_t rowTaps, int tstep,
                                                        typename L::R (&acc)[NR][NB], unsigned last) {
    using R = typename L::R;
    const typename L::T* t[NR];
#pragma GCC unroll 4
    for (int q = Q0; q <= Q1; ++q) t[q] = taps + (r - q) * rowTaps;
    for (int j = 0; j < kw; ++j, p += stride) {
        R k[NR];
#pragma GCC unroll 4
        for (int q = Q0; q <= Q1; ++q) k[q] = L::set1(t[q][j * tstep]);
#pragma GCC unroll 8
        for (int b = 0; b < NB; ++b) {
            const R v = Tail && b == NB - 1 ? L::load(p + b * L::N, last) : L::load(p + b * L::N);
#pragma GCC unroll 4
            for (int q = Q0; q <= Q1; ++q) acc[q][b] = L::madd(k[q], v, acc[q][b]);
        }
    }
}

// NB vectors of NR output rows from sample s on (with Tail, the last vector limited to the
// lanes of `last`), out[q] from the source rows rows[q .. q + kh).
template <class L, int NB, int NR, bool Tail, class Rows>
inline void tapsBlock(const Rows& rows, int kh, int kw, int stride, const typename L::T* taps, int tstep, int64_t s,
                      typename L::T* const* out, unsigned last) {
    typename L::R acc[NR][NB];
#pragma GCC unroll 4
    for (int q = 0; q < NR; ++q)
#pragma GCC unroll 8
        for (int b = 0; b < NB; ++b) acc[q][b] = L::zero();
    const int64_t rowTaps = (int64_t)kw * tstep;
#define ZEL_TAPS_GROUP(A, B, r) \
    tapsRowGroup<L, NB, NR, Tail, A, B>(rows[r] + s, r, kw, stride, taps, rowTaps, tstep, acc, last)
    if constexpr (NR == 1) {
        for (int r = 0; r < kh; ++r) ZEL_TAPS_GROUP(0, 0, r);
    } else if constexpr (NR == 2) {
        ZEL_TAPS_GROUP(0, 0, 0);
        for (int r = 1; r < kh; ++r) ZEL_TAPS_GROUP(0, 1, r);
        ZEL_TAPS_GROUP(1, 1, kh);
    } else {  // kh >= 3: rows 0..2 start the group, rows kh..kh + 2 end it
        ZEL_TAPS_GROUP(0, 0, 0), ZEL_TAPS_GROUP(0, 1, 1), ZEL_TAPS_GROUP(0, 2, 2);
        for (int r = 3; r < kh; ++r) ZEL_TAPS_GROUP(0, 3, r);
        ZEL_TAPS_GROUP(1, 3, kh), ZEL_TAPS_GROUP(2, 3, kh + 1), ZEL_TAPS_GROUP(3, 3, kh + 2);
    }
#undef ZEL_TAPS_GROUP
#pragma GCC unroll 4
    for (int q = 0; q < NR; ++q)
#pragma GCC unroll 8
        for (int b = 0; b < NB; ++b) {
            if (Tail && b == NB - 1) L::store(out[q] + s + b * L::N, acc[q][b], last);
            else L::store(out[q] + s + b * L::N, acc[q][b]);
        }
}

// out[q][s] for q < NR (1, 2, or 4 when kh >= 3) and s in [0, n): the running sum above over the source rows
// rows[q .. q + kh) and the kh * kw taps, tap m at taps[m * tstep]. Reads rows[r][0 .. n +
// (kw - 1) * stride) and nothing else; each source vector is loaded once for the NR rows.
template <class L, int NR, class Rows>
void ownFilterTapsRows(const Rows& rows, int kh, int kw, int stride, const typename L::T* taps, int tstep, int64_t n,
                       typename L::T* const* out) {
    // Accumulators in registers: 8 vectors of one row, 4 of two, 4 (2 for ymm lanes) of four.
    constexpr int N = L::N, NB = NR == 1 ? 8 : NR == 4 && sizeof(typename L::R) == 32 ? 2 : 4;
    constexpr unsigned all = (1u << N) - 1;
    int64_t s = 0;
    for (; s + NB * N <= n; s += NB * N) tapsBlock<L, NB, NR, false>(rows, kh, kw, stride, taps, tstep, s, out, all);
    for (; s + N <= n; s += N) tapsBlock<L, 1, NR, false>(rows, kh, kw, stride, taps, tstep, s, out, all);
    if (s < n) tapsBlock<L, 1, NR, true>(rows, kh, kw, stride, taps, tstep, s, out, (1u << (n - s)) - 1);
}

// d[i] = s[i] widened to float, int32 or (from 8u) int16 lanes, for n samples; int16 rows are
// written in whole vectors, up to 15 samples past n.
template <typename S, typename A>
void ownWidenRow(const S* s, A* d, int64_t n) {
    if constexpr (std::is_same_v<A, int16_t>) {
        int64_t i = 0;
        for (; i + 16 <= n; i += 16) _mm256_storeu_si256((__m256i*)(d + i), _mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)(s + i))));
        if (i < n) {
            uint8_t b[16] = {};
            memcpy(b, s + i, (size_t)(n - i));
            _mm256_storeu_si256((__m256i*)(d + i), _mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)b)));
        }
        return;
    }
    auto put = [&](int64_t i, cvt::Lanes<S> v, unsigned m) {
        if constexpr (std::is_same_v<A, float>) _mm512_mask_storeu_ps(d + i, (__mmask16)m, cvt::to_f(v).v);
        else _mm512_mask_storeu_epi32(d + i, (__mmask16)m, v.v);
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) put(i, cvt::load16(s + i), 0xFFFF);
    if (i < n) put(i, cvt::load_part(s + i, (int)(n - i)), (1u << (n - i)) - 1);
}

// How a row of sums becomes destination samples.
struct Finish {
    float offset;    // float sums: added first (the offset, or the offset times the divisor)
    float recip;     // float sums: then multiplied by this (1, 2^-k or 1 / divisor)
    int32_t ioffset; // integer sums: offset times divisor, added modulo 2^32
    int shift, addend, mask;
};

// Float sums to an integer type: (acc + offset) * recip, rounded by R and saturated.
template <typename T, Rnd R>
void ownFinishFloat(const float* a, int64_t n, T* d, const Finish& f) {
    const __m512 off = _mm512_set1_ps(f.offset), rc = _mm512_set1_ps(f.recip);
    auto one = [&](int64_t i, __mmask16 m) {
        __m512 v = _mm512_maskz_loadu_ps(m, a + i);
        v = _mm512_mul_round_ps(_mm512_add_round_ps(v, off, cvt::kRN), rc, cvt::kRN);
        cvt::store16(d + i, cvt::VI{cvt::round_int<T, R>(cvt::VF{v})}, m);
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) one(i, 0xFFFF);
    if (i < n) one(i, cvt::first((int)(n - i)));
}

// Integer sums (held as int32, int16 in a padded row, or floats that are exact integers) to an integer type by the
// divisor rule of the 16s kernels: mode 0 adds the offset, mode 1 shifts right by k after the
// rounding term of R, mode 2 multiplies by the float reciprocal and rounds by R; then saturates.
template <typename T, int Mode, Rnd R, typename A>
void ownFinishInt(const A* a, int64_t n, T* d, const Finish& f) {
    const __m512i off = _mm512_set1_epi32(f.ioffset), add = _mm512_set1_epi32(f.addend);
    const __m512i msk = _mm512_set1_epi32(f.mask), one1 = _mm512_set1_epi32(1);
    const __m128i k = _mm_cvtsi32_si128(f.shift);
    const __m512 rc = _mm512_set1_ps(f.recip);
    auto one = [&](int64_t i, __mmask16 m) {
        __m512i t;
        if constexpr (std::is_same_v<A, float>) t = _mm512_cvt_roundps_epi32(_mm512_maskz_loadu_ps(m, a + i), cvt::kRN);
        else if constexpr (std::is_same_v<A, int16_t>) t = _mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)(a + i)));
        else t = _mm512_maskz_loadu_epi32(m, a + i);
        t = _mm512_add_epi32(t, off);
        if constexpr (Mode == 1) {
            const __m512i neg = _mm512_srai_epi32(t, 31);
            if constexpr (R == Rnd::Zero) t = _mm512_add_epi32(t, _mm512_and_si512(neg, msk));
            else if constexpr (R == Rnd::Fin) t = _mm512_add_epi32(_mm512_add_epi32(t, add), neg);
            else t = _mm512_add_epi32(_mm512_add_epi32(t, _mm512_sub_epi32(add, one1)),
                                      _mm512_and_si512(_mm512_sra_epi32(t, k), one1));
            t = _mm512_sra_epi32(t, k);
        }
        if constexpr (Mode == 2) {
            const __m512 v = _mm512_mul_round_ps(_mm512_cvt_roundepi32_ps(t, cvt::kRN), rc, cvt::kRN);
            t = cvt::round_int<T, R>(cvt::VF{v});
        } else {
            t = cvt::sat_int<T>(cvt::VI{t});
        }
        cvt::store16(d + i, cvt::VI{t}, m);
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) one(i, 0xFFFF);
    if (i < n) one(i, cvt::first((int)(n - i)));
}

// The same rule for 16-bit sums to 8u with divisor modes 0 and 1, in 16-bit lanes, when the
// caller has made sure that |sum| + |offset * divisor| + divisor stays below 2^15 and k < 15:
// 32 samples at a time, read from a row padded by 64 bytes.
template <int Mode, Rnd R>
void ownFinishInt16(const int16_t* a, int64_t n, uint8_t* d, const Finish& f) {
    const __m256i off = _mm256_set1_epi16((int16_t)f.ioffset), add = _mm256_set1_epi16((int16_t)f.addend);
    const __m256i msk = _mm256_set1_epi16((int16_t)f.mask), one1 = _mm256_set1_epi16(1);
    const __m128i k = _mm_cvtsi32_si128(f.shift);
    auto div = [&](__m256i t) {
        t = _mm256_add_epi16(t, off);
        if constexpr (Mode == 1) {
            const __m256i neg = _mm256_srai_epi16(t, 15);
            if constexpr (R == Rnd::Zero) t = _mm256_add_epi16(t, _mm256_and_si256(neg, msk));
            else if constexpr (R == Rnd::Fin) t = _mm256_add_epi16(_mm256_add_epi16(t, add), neg);
            else t = _mm256_add_epi16(_mm256_add_epi16(t, _mm256_sub_epi16(add, one1)),
                                      _mm256_and_si256(_mm256_sra_epi16(t, k), one1));
            t = _mm256_sra_epi16(t, k);
        }
        return t;
    };
    for (int64_t i = 0; i < n; i += 32) {
        const __m256i lo = div(_mm256_loadu_si256((const __m256i*)(a + i)));
        const __m256i hi = div(_mm256_loadu_si256((const __m256i*)(a + i + 16)));
        const __m256i v = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
        if (i + 32 <= n) {
            _mm256_storeu_si256((__m256i*)(d + i), v);
        } else {
            alignas(32) uint8_t b[32];
            _mm256_store_si256((__m256i*)b, v);
            memcpy(d + i, b, (size_t)(n - i));
        }
    }
}

}  // namespace zel::ftap
