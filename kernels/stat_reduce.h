// Reduction engine of the statistics families: sums of per-sample terms and extremes of
// per-sample keys over rows of interleaved samples.
//
// A row of n samples (C channels interleaved, starting at channel 0) is consumed in chunks of
// K samples, K a multiple of C, held in U vectors of N lanes. Each lane always sees the same
// position modulo K, hence the same channel, so the lanes accumulate per position and are
// folded into channels only at the end (position j belongs to channel j % C). Samples after the
// last whole chunk go through the scalar rule into the same position slots.
//
// Sums: narrow lanes (32-bit integers, floats) run for at most kBlock chunks, a count chosen so
// that no lane can overflow, then are added into wide per-position partials (64-bit integers or
// doubles). Integer data is therefore summed exactly. Extremes: the lanes hold keys whose
// integer order is the order wanted, so the result does not depend on the order of the scan.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include <limits>

#include "frame/zel_internal.h"

namespace zel::stat {

// ---- lane kinds of the sums ----------------------------------------------------------------
// Each: vector type V, lanes N, wide partial type P, zero(), flush(acc, part) adding the N
// lanes into part[0..N).

struct LaneU32 {  // unsigned 32-bit lanes, flushed into uint64
    using V = __m512i;
    using P = uint64_t;
    static constexpr int N = 16;
    static V zero() { return _mm512_setzero_si512(); }
    static void flush(V a, P* part) {
        __m512i lo = _mm512_cvtepu32_epi64(_mm512_castsi512_si256(a));
        __m512i hi = _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(a, 1));
        _mm512_storeu_si512(part, _mm512_add_epi64(_mm512_loadu_si512(part), lo));
        _mm512_storeu_si512(part + 8, _mm512_add_epi64(_mm512_loadu_si512(part + 8), hi));
    }
};

struct LaneI32 {  // signed 32-bit lanes, flushed into int64
    using V = __m512i;
    using P = int64_t;
    static constexpr int N = 16;
    static V zero() { return _mm512_setzero_si512(); }
    static void flush(V a, P* part) {
        __m512i lo = _mm512_cvtepi32_epi64(_mm512_castsi512_si256(a));
        __m512i hi = _mm512_cvtepi32_epi64(_mm512_extracti64x4_epi64(a, 1));
        _mm512_storeu_si512(part, _mm512_add_epi64(_mm512_loadu_si512(part), lo));
        _mm512_storeu_si512(part + 8, _mm512_add_epi64(_mm512_loadu_si512(part + 8), hi));
    }
};

template <class W>
struct Lane64 {  // 64-bit integer lanes: they are the partials
    using V = __m512i;
    using P = W;
    static constexpr int N = 8;
    static V zero() { return _mm512_setzero_si512(); }
    static void flush(V a, P* part) { _mm512_storeu_si512(part, _mm512_add_epi64(_mm512_loadu_si512(part), a)); }
};

struct LaneF32 {  // single-precision lanes, flushed into double
    using V = __m512;
    using P = double;
    static constexpr int N = 16;
    static V zero() { return _mm512_setzero_ps(); }
    static void flush(V a, P* part) {
        __m512d lo = _mm512_cvtps_pd(_mm512_castps512_ps256(a));
        __m512d hi = _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(a), 1)));
        _mm512_storeu_pd(part, _mm512_add_pd(_mm512_loadu_pd(part), lo));
        _mm512_storeu_pd(part + 8, _mm512_add_pd(_mm512_loadu_pd(part + 8), hi));
    }
};

struct LaneF64 {  // double lanes: they are the partials
    using V = __m512d;
    using P = double;
    static constexpr int N = 8;
    static V zero() { return _mm512_setzero_pd(); }
    static void flush(V a, P* part) { _mm512_storeu_pd(part, _mm512_add_pd(_mm512_loadu_pd(part), a)); }
};

// ---- widening loads --------------------------------------------------------------------------

inline __m512i load16_i32(const Zel8u* p) { return _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)p)); }
inline __m512i load16_i32(const Zel16u* p) { return _mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)p)); }
inline __m512i load16_i32(const Zel16s* p) { return _mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)p)); }
inline __m512i load8_i64(const Zel16u* p) { return _mm512_cvtepu16_epi64(_mm_loadu_si128((const __m128i*)p)); }
inline __m512i load8_i64(const Zel16s* p) { return _mm512_cvtepi16_epi64(_mm_loadu_si128((const __m128i*)p)); }
inline __m512d load8_f64(const Zel32f* p) { return _mm512_cvtps_pd(_mm256_loadu_ps(p)); }
inline __m512d load8_f64(const Zel32s* p) { return _mm512_cvtepi32_pd(_mm256_loadu_si256((const __m256i*)p)); }
inline __m512d load8_f64(const Zel32u* p) { return _mm512_cvtepu32_pd(_mm256_loadu_si256((const __m256i*)p)); }

// ---- the sum engine ----------------------------------------------------------------------------
// An Op supplies: Sample (the sample type T), Lane, kBlock (chunks a narrow lane can take without overflow),
// vstep(acc, a, b) = acc + term of the N samples at a (and b), and sterm(a, b), the same term
// of one sample pair in the partial type. Unary ops ignore b.
//
// wide<C, K>(a, b, n, part) runs first: a row kernel for the members where a narrower lane
// pays (it keeps the same position rule and returns how many samples it consumed, a multiple
// of K); NoWide consumes nothing.
struct NoWide {
    template <int C, int K, class T, class P>
    static int64_t wide(const T*, const T*, int64_t, P*) { return 0; }
};

template <class Op, int C>
struct SumReducer {
    using T = typename Op::Sample;
    using Lane = typename Op::Lane;
    using P = typename Lane::P;
    static constexpr int N = Lane::N;
    static constexpr int U = C == 3 ? 3 : 4;
    static constexpr int K = U * N;

    alignas(64) P part[K] = {};

    void row(const T* a, const T* b, int64_t n) {
        int64_t i = 0;
        i = Op::template wide<C, K>(a, b, n, part);
        while (n - i >= K) {
            int64_t chunks = (n - i) / K;
            if (chunks > Op::kBlock) chunks = Op::kBlock;
            // Named accumulators: GCC keeps them in registers without copies.
            typename Lane::V a0 = Lane::zero(), a1 = a0, a2 = a0, a3 = a0;
            for (int64_t c = 0; c < chunks; ++c, i += K) {
                a0 = Op::vstep(a0, a + i, b + i);
                a1 = Op::vstep(a1, a + i + N, b + i + N);
                a2 = Op::vstep(a2, a + i + 2 * N, b + i + 2 * N);
                if constexpr (U == 4) a3 = Op::vstep(a3, a + i + 3 * N, b + i + 3 * N);
            }
            Lane::flush(a0, part);
            Lane::flush(a1, part + N);
            Lane::flush(a2, part + 2 * N);
            if constexpr (U == 4) Lane::flush(a3, part + 3 * N);
        }
        for (int64_t j = i % K; i < n; ++i, ++j) part[j] += Op::sterm(a[i], b[i]);
    }

    // Adds each position's partial into its channel.
    template <class R>
    void fold(R out[C]) const {
        for (int j = 0; j < K; ++j) out[j % C] += (R)part[j];
    }
};

// Largest count of chunks whose terms, each at most maxTerm, fit a lane of limit.
constexpr int64_t block_for(uint64_t limit, uint64_t maxTerm) { return (int64_t)(limit / maxTerm); }
constexpr int64_t kNoBlock = int64_t(1) << 62;

// ---- the extreme engine --------------------------------------------------------------------
// A key op supplies: Sample, Key (integer type whose order is the wanted order), V (vector type),
// N (keys per vector), vkey(a, b) (the keys of N samples at a and b), skey(a, b), vmin/vmax,
// and lowest/highest (the identities). Two key ops can be run in one pass: KMin for the
// minimum, KMax for the maximum; either may be NoKey.

struct NoKey {};

template <class KMin, class KMax, int C>
struct ExtReducer {
    static constexpr bool kMin = !std::is_same_v<KMin, NoKey>;
    static constexpr bool kMax = !std::is_same_v<KMax, NoKey>;
    using KOp = std::conditional_t<kMin, KMin, KMax>;
    using T = typename KOp::Sample;
    using V = typename KOp::V;
    static constexpr int N = KOp::N;
    static constexpr int U = C == 3 ? 3 : 4;
    static constexpr int K = U * N;
    template <class Op>
    using KeyOf = typename std::conditional_t<std::is_same_v<Op, NoKey>, KOp, Op>::Key;

    alignas(64) KeyOf<KMin> mn[K];
    alignas(64) KeyOf<KMax> mx[K];

    ExtReducer() { reset(); }
    void reset() {
        for (int j = 0; j < K; ++j) {
            if constexpr (kMin) mn[j] = KMin::highest;
            if constexpr (kMax) mx[j] = KMax::lowest;
        }
    }

    void row(const T* a, const T* b, int64_t n) {
        int64_t i = 0;
        if (n >= K) {
            V l0{}, l1{}, l2{}, l3{}, h0{}, h1{}, h2{}, h3{};
            if constexpr (kMin) l0 = KMin::vload(mn), l1 = KMin::vload(mn + N), l2 = KMin::vload(mn + 2 * N), l3 = KMin::vload(mn + (U - 1) * N);
            if constexpr (kMax) h0 = KMax::vload(mx), h1 = KMax::vload(mx + N), h2 = KMax::vload(mx + 2 * N), h3 = KMax::vload(mx + (U - 1) * N);
            for (; n - i >= K; i += K) {
                if constexpr (kMin) {
                    l0 = KMin::vmin(l0, KMin::vkey(a + i, b + i));
                    l1 = KMin::vmin(l1, KMin::vkey(a + i + N, b + i + N));
                    l2 = KMin::vmin(l2, KMin::vkey(a + i + 2 * N, b + i + 2 * N));
                    if constexpr (U == 4) l3 = KMin::vmin(l3, KMin::vkey(a + i + 3 * N, b + i + 3 * N));
                }
                if constexpr (kMax) {
                    h0 = KMax::vmax(h0, KMax::vkey(a + i, b + i));
                    h1 = KMax::vmax(h1, KMax::vkey(a + i + N, b + i + N));
                    h2 = KMax::vmax(h2, KMax::vkey(a + i + 2 * N, b + i + 2 * N));
                    if constexpr (U == 4) h3 = KMax::vmax(h3, KMax::vkey(a + i + 3 * N, b + i + 3 * N));
                }
            }
            if constexpr (kMin) {
                KMin::vstore(mn, l0), KMin::vstore(mn + N, l1), KMin::vstore(mn + 2 * N, l2);
                if constexpr (U == 4) KMin::vstore(mn + 3 * N, l3);
            }
            if constexpr (kMax) {
                KMax::vstore(mx, h0), KMax::vstore(mx + N, h1), KMax::vstore(mx + 2 * N, h2);
                if constexpr (U == 4) KMax::vstore(mx + 3 * N, h3);
            }
        }
        for (int64_t j = i % K; i < n; ++i, ++j) {
            if constexpr (kMin) {
                auto k = KMin::skey(a[i], b[i]);
                if (k < mn[j]) mn[j] = k;
            }
            if constexpr (kMax) {
                auto k = KMax::skey(a[i], b[i]);
                if (k > mx[j]) mx[j] = k;
            }
        }
    }

    // Per-channel extremes of the positions.
    void fold_min(KeyOf<KMin> out[C]) const {
        for (int c = 0; c < C; ++c) out[c] = KMin::highest;
        for (int j = 0; j < K; ++j)
            if (mn[j] < out[j % C]) out[j % C] = mn[j];
    }
    void fold_max(KeyOf<KMax> out[C]) const {
        for (int c = 0; c < C; ++c) out[c] = KMax::lowest;
        for (int j = 0; j < K; ++j)
            if (mx[j] > out[j % C]) out[j % C] = mx[j];
    }
};

// Vector helpers for keys held in ymm (8- and 16-bit) and zmm (32-bit) registers.
struct Ymm {
    using V = __m256i;
    static V vload(const void* p) { return _mm256_loadu_si256((const __m256i*)p); }
    static void vstore(void* p, V v) { _mm256_storeu_si256((__m256i*)p, v); }
};
struct Zmm {
    using V = __m512i;
    static V vload(const void* p) { return _mm512_loadu_si512(p); }
    static void vstore(void* p, V v) { _mm512_storeu_si512(p, v); }
};

// ---- keys of single-precision samples ------------------------------------------------------
// The bits b of a float, as a signed integer, reordered so that integer order is the ordinary
// order of the numbers, with -0 and +0 on one key: a non-negative b is its own key, a negative b
// is minus its magnitude. The NaN patterns land beyond the infinities (-NaN below -inf, +NaN
// above +inf); the keys are then rotated so that every NaN sorts after every number (the minimum
// key) or before every number (the maximum key): NaN samples never win over a number. Every
// key but that of zero gives its sample back; the sign of a zero result is the caller's (see
// first_zero in stat_terms.h).
constexpr int32_t kMinShift = 0x800000, kMaxShift = 0x7FFFFF;

inline int32_t order_key(uint32_t b) {
    const uint32_t s = (uint32_t)((int32_t)b >> 31);
    return (int32_t)((b ^ (s >> 1)) - s);
}
inline int32_t min_key(float f) { uint32_t b; __builtin_memcpy(&b, &f, 4); return (int32_t)((uint32_t)order_key(b) - kMinShift); }
inline int32_t max_key(float f) { uint32_t b; __builtin_memcpy(&b, &f, 4); return (int32_t)((uint32_t)order_key(b) + kMaxShift); }
inline float from_order(int32_t k) {
    uint32_t b = k >= 0 ? (uint32_t)k : ((uint32_t)k - 1) ^ 0x7FFFFFFFu;
    float f;
    __builtin_memcpy(&f, &b, 4);
    return f;
}
inline float from_min_key(int32_t k) { return from_order((int32_t)((uint32_t)k + kMinShift)); }
inline float from_max_key(int32_t k) { return from_order((int32_t)((uint32_t)k - kMaxShift)); }
constexpr int32_t kZeroMinKey = -kMinShift, kZeroMaxKey = kMaxShift;

inline __m512i vorder_key(__m512i b) {
    __m512i s = _mm512_srai_epi32(b, 31);
    return _mm512_sub_epi32(_mm512_xor_si512(b, _mm512_srli_epi32(s, 1)), s);
}

}  // namespace zel::stat
