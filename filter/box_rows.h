// Running-sum row kernels of the box filter and the window sums.
//
// A window sum over a kw x kh neighbourhood is formed in two running passes, so that its cost
// per pixel does not depend on the mask:
//
//   column sums   col[c] = the sum of the kh source samples above each other in column c; when
//                 the window moves down one row, the entering row is added and the leaving row
//                 subtracted (ownColSlide);
//   window sums   out[x] = col[x] + ... + col[x + kw - 1], formed as out[x] = out[x - 1] +
//                 (col[x - 1 + kw] - col[x - 1]): the differences of a whole vector are summed by
//                 an inclusive prefix inside the register, and the last pixel of one vector
//                 carries into the next (ownWindowRow).
//
// Samples are interleaved: n channels, each summed on its own (the prefix runs with a stride of
// n lanes, and a vector holds a whole number of pixels: 15 of 16 lanes for three channels).
//
// Two lane kinds: I32Lanes (16 lanes, 32-bit integers, modular) for integer data whose window
// sums fit 32 bits: modular arithmetic is then exact, whatever the order. F64Lanes (8 lanes,
// double precision) for 32f data and for integer windows too large for 32 bits (exact while
// the sums stay below 2^53).
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

#include "kernels/vector_halves.h"

namespace zel {

// col[i] += a[i] for n samples (the first window of a column).
template <typename Acc, typename T>
inline void ownColAdd(Acc* __restrict col, const T* __restrict a, int64_t n) {
    for (int64_t i = 0; i < n; ++i) col[i] = (Acc)(col[i] + (Acc)a[i]);
}

// col[i] = (col[i] + in[i]) - out[i]: the window moves down one row. For 16-bit column sums of
// 8u data the arithmetic is modulo 2^16, exact while every column sum fits 16 bits.
template <typename Acc, typename T>
inline void ownColSlide(Acc* __restrict col, const T* __restrict in, const T* __restrict out, int64_t n) {
    for (int64_t i = 0; i < n; ++i) col[i] = (Acc)((Acc)(col[i] + (Acc)in[i]) - (Acc)out[i]);
}

struct I32Lanes {
    using Vec = __m512i;
    using Sum = uint32_t;  // modular scalar sums
    static constexpr int kLanes = 16;
    static Vec add(Vec a, Vec b) { return _mm512_add_epi32(a, b); }
    static Vec sub(Vec a, Vec b) { return _mm512_sub_epi32(a, b); }
    template <int K>
    static Vec shl(Vec x) {  // lane l takes lane l - K, the first K lanes 0
        return _mm512_alignr_epi32(x, _mm512_setzero_si512(), 16 - K);
    }
    static Vec fromSums(const Sum* s) { return _mm512_loadu_si512(s); }
    static Vec permute(const int32_t* idx, Vec v) { return _mm512_permutexvar_epi32(_mm512_loadu_si512(idx), v); }
    static Vec load(const uint8_t* p) { return _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)p)); }
    static Vec load(const uint16_t* p) { return _mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)p)); }
    static Vec load(const int16_t* p) { return _mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)p)); }
    static Vec load(const int32_t* p) { return _mm512_loadu_si512(p); }
};

struct F64Lanes {
    using Vec = __m512d;
    using Sum = double;
    static constexpr int kLanes = 8;
    static Vec add(Vec a, Vec b) { return _mm512_add_pd(a, b); }
    static Vec sub(Vec a, Vec b) { return _mm512_sub_pd(a, b); }
    template <int K>
    static Vec shl(Vec x) {
        return _mm512_castsi512_pd(_mm512_alignr_epi64(_mm512_castpd_si512(x), _mm512_setzero_si512(), 8 - K));
    }
    static Vec fromSums(const Sum* s) { return _mm512_loadu_pd(s); }
    static Vec permute(const int32_t* idx, Vec v) {
        return _mm512_permutexvar_pd(_mm512_cvtepi32_epi64(_mm256_loadu_si256((const __m256i*)idx)), v);
    }
    static Vec load(const uint8_t* p) {
        return _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)p)));
    }
    static Vec load(const uint16_t* p) { return _mm512_cvtepi32_pd(_mm256_cvtepu16_epi32(_mm_loadu_si128((const __m128i*)p))); }
    static Vec load(const int16_t* p) { return _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i*)p))); }
    static Vec load(const float* p) { return _mm512_cvtps_pd(_mm256_loadu_ps(p)); }
    static Vec load(const double* p) { return _mm512_loadu_pd(p); }
};

// Window sums of one row: for x in [0, w) and each of the N channels,
//   out[x N + c] = in[x N + c] + in[(x + 1) N + c] + ... + in[(x + k - 1) N + c],
// reading the samples [0, (w + k - 1) N) of `in` and nothing else. emit(i0, v, lanes) receives
// the sums of samples i0 .. i0 + lanes - 1 in the first lanes of v (i0 a multiple of whole
// pixels). In F64Lanes the first window is summed left to right, then each window is the
// previous one plus the difference of the samples entering and leaving, prefix-summed in the
// register in Hillis-Steele order.
template <class LN, int N, typename In, class Emit>
inline void ownWindowRow(const In* in, int64_t w, int64_t k, Emit&& emit) {
    using Vec = typename LN::Vec;
    using Sum = typename LN::Sum;
    constexpr int V = LN::kLanes, L = V - V % N;  // lanes used: whole pixels
    alignas(64) Sum first[V];
    alignas(64) int32_t next[V];
    for (int l = 0; l < V; ++l) {
        Sum s = 0;
        for (int64_t j = 0; j < k; ++j) s += (Sum)in[j * N + l % N];
        first[l] = s;
        next[l] = L - N + l % N;
    }
    Vec carry = LN::fromSums(first);
    const int64_t total = w * N, kN = k * N;
    for (int64_t i0 = 0; i0 < total; i0 += L) {
        const int lanes = (int)(total - i0 < L ? total - i0 : L);
        Vec e;
        if (i0 >= N && i0 + V <= total) {
            e = LN::sub(LN::load(in + i0 - N + kN), LN::load(in + i0 - N));
        } else {  // the first vector and the last: only the samples that exist
            alignas(64) In a[V], b[V];
            memset(a, 0, sizeof a), memset(b, 0, sizeof b);
            for (int l = 0; l < lanes; ++l)
                if (i0 + l >= N) a[l] = in[i0 + l - N + kN], b[l] = in[i0 + l - N];
            e = LN::sub(LN::load(a), LN::load(b));
        }
        e = LN::add(e, LN::template shl<N>(e));
        if constexpr (2 * N < L) e = LN::add(e, LN::template shl<2 * N>(e));
        if constexpr (4 * N < L) e = LN::add(e, LN::template shl<4 * N>(e));
        if constexpr (8 * N < L) e = LN::add(e, LN::template shl<8 * N>(e));
        emit(i0, LN::add(carry, e), lanes);
        carry = LN::add(carry, LN::permute(next, e));  // the carry is a pattern by channel: one add on the chain
    }
}

// The same sums for narrow windows, each formed directly left to right from k loads: `in` must
// hold kLanes - 1 readable samples past its end (the column sums do), read into unused lanes.
template <class LN, int N, typename In, class Emit>
inline void ownWindowRowDirect(const In* in, int64_t w, int64_t k, Emit&& emit) {
    constexpr int V = LN::kLanes;
    const int64_t total = w * N;
    for (int64_t i0 = 0; i0 < total; i0 += V) {
        typename LN::Vec v = LN::load(in + i0);
        for (int64_t j = 1; j < k; ++j) v = LN::add(v, LN::load(in + i0 + j * N));
        emit(i0, v, (int)(total - i0 < V ? total - i0 : V));
    }
}

// ---- stores of computed lanes ----------------------------------------------------------------

constexpr int kRoundNear = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;

// Stores the first `lanes` lanes; with Alpha (AC4) every fourth sample is left as it is.
template <bool Alpha, typename Out>
inline void ownStorePartial(Out* d, const Out* v, int lanes) {
    for (int l = 0; l < lanes; ++l)
        if (!Alpha || (l & 3) != 3) d[l] = v[l];
}

// 32-bit lanes: a masked store.
template <bool Alpha>
inline void ownStoreLanes(int32_t* d, __m512i q, int lanes) {
    _mm512_mask_storeu_epi32(d, (__mmask16)(((1u << lanes) - 1) & (Alpha ? 0x7777u : 0xFFFFu)), q);
}
template <bool Alpha>
inline void ownStoreLanes(float* d, __m512 f, int lanes) {
    _mm512_mask_storeu_ps(d, (__mmask16)(((1u << lanes) - 1) & (Alpha ? 0x7777u : 0xFFFFu)), f);
}

// Integers saturated to 8 or 16 bits (never negative for the unsigned types).
template <bool Alpha>
inline void ownStoreBytes(uint8_t* d, __m128i b, int lanes) {
    if (lanes == 16) {
        if constexpr (Alpha) {
            const __m128i keep = _mm_set1_epi32((int)0xFF000000u);
            _mm_storeu_si128((__m128i*)d, _mm_blendv_epi8(b, _mm_loadu_si128((const __m128i*)d), keep));
        } else {
            _mm_storeu_si128((__m128i*)d, b);
        }
        return;
    }
    alignas(16) uint8_t t[16];
    _mm_store_si128((__m128i*)t, b);
    ownStorePartial<Alpha>(d, t, lanes);
}
template <bool Alpha>
inline void ownStoreLanes(uint8_t* d, __m512i q, int lanes) {
    ownStoreBytes<Alpha>(d, _mm512_cvtusepi32_epi8(q), lanes);
}
template <bool Alpha, typename Out>
inline void ownStoreLanes16(Out* d, __m256i h, int lanes) {
    if (lanes == 16) {
        if constexpr (Alpha) h = _mm256_blend_epi16(_mm256_loadu_si256((const __m256i*)d), h, 0x77);
        _mm256_storeu_si256((__m256i*)d, h);
        return;
    }
    alignas(32) Out t[16];
    _mm256_store_si256((__m256i*)t, h);
    ownStorePartial<Alpha>(d, t, lanes);
}
template <bool Alpha>
inline void ownStoreLanes(uint16_t* d, __m512i q, int lanes) {
    ownStoreLanes16<Alpha>(d, _mm512_cvtusepi32_epi16(q), lanes);
}
template <bool Alpha>
inline void ownStoreLanes(int16_t* d, __m512i q, int lanes) {
    ownStoreLanes16<Alpha>(d, _mm512_cvtsepi32_epi16(q), lanes);
}

// Eight double lanes to single precision (round to nearest even), in the low half.
inline __m512 ownNarrowPd(__m512d v) {
    const __m256 f = _mm512_maskz_cvt_roundpd_ps(0xFF, v, kRoundNear);
    return _mm512_castsi512_ps(ownsJoin256(_mm256_castps_si256(f), _mm256_setzero_si256()));
}

// What a window sum becomes in the destination. Sum: the plain sum (32s exact; 32f the exact
// sum rounded once to single precision, or for 32f data the double sum rounded). Mean:
// float(sum) * r rounded to nearest even and saturated (integer types), float(sum) * r (32f).
enum class BoxOut { Sum, Mean };

template <typename Out, bool Alpha, BoxOut Kind>
struct BoxEmit {
    Out* d;
    float r;

    void operator()(int64_t i0, __m512i v, int lanes) const {
        if constexpr (Kind == BoxOut::Sum && std::is_same_v<Out, int32_t>) {
            ownStoreLanes<Alpha>(d + i0, v, lanes);
        } else {
            floats(i0, _mm512_maskz_cvt_roundepi32_ps(0xFFFF, v, kRoundNear), lanes);
        }
    }
    void operator()(int64_t i0, __m512d v, int lanes) const {
        if constexpr (Kind == BoxOut::Sum && std::is_same_v<Out, int32_t>) {  // 32s: saturated
            const __m512d c = _mm512_min_pd(_mm512_max_pd(v, _mm512_set1_pd(-2147483648.0)), _mm512_set1_pd(2147483647.0));
            ownStoreLanes<Alpha>(d + i0, ownsJoin256(_mm512_maskz_cvt_roundpd_epi32(0xFF, c, kRoundNear), _mm256_setzero_si256()), lanes);
        } else {
            floats(i0, ownNarrowPd(v), lanes);
        }
    }
    // f: the sums in single precision.
    void floats(int64_t i0, __m512 f, int lanes) const {
        if constexpr (Kind == BoxOut::Mean) f = _mm512_mul_round_ps(f, _mm512_set1_ps(r), kRoundNear);
        if constexpr (std::is_same_v<Out, float>) ownStoreLanes<Alpha>(d + i0, f, lanes);
        else ownStoreLanes<Alpha>(d + i0, _mm512_maskz_cvt_roundps_epi32(0xFFFF, f, kRoundNear), lanes);
    }
};

// The single-precision reciprocal of a mask area: 1 / area in double precision, rounded to
// single (both round to nearest even, whatever the caller's rounding mode).
inline float ownBoxReciprocal(int64_t area) {
    const __m128d q = _mm_div_round_sd(_mm_set_sd(1.0), _mm_cvt_roundsi64_sd(_mm_setzero_pd(), area, kRoundNear), kRoundNear);
    return _mm_cvtss_f32(_mm_cvt_roundsd_ss(_mm_setzero_ps(), q, kRoundNear));
}

// ---- 8u means of narrow masks in 16-bit lanes ------------------------------------------------

// The mean of 8u windows of area A (at most 255 pixels) as an integer quotient: for odd A the
// rule float(sum) * r rounded to nearest even is round(sum / A) (no ties, and the float error
// stays far below 1 / 2A), which is mulhi16(sum + (A - 1) / 2, M) >> s with M = ceil(2^(16+s) / A),
// s = floor(log2 A), whenever nmax * (M A - 2^(16+s)) < 2^(16+s) for the largest numerator nmax.
// For A = 9 this is the integer form (sum * 29128 + 131072) >> 18 exactly.
struct Mean16 {
    bool exact;  // false: use the single-precision rule
    uint16_t half, mul;
    int shift;
    float r;
};

inline Mean16 ownMean16(int64_t area, float r) {
    Mean16 m{false, 0, 0, 0, r};
    if (area % 2 == 0 || area > 255) return m;
    int s = 0;
    while ((int64_t)2 << s <= area) ++s;
    const int64_t p = (int64_t)1 << (16 + s), mul = (p + area - 1) / area, nmax = 255 * area + (area - 1) / 2;
    if (mul >= 65536 || nmax * (mul * area - p) >= p) return m;
    return {true, (uint16_t)((area - 1) / 2), (uint16_t)mul, s, r};
}

// The means of 16 window sums (16-bit lanes), as 16-bit lanes.
inline __m256i ownMean8u(const Mean16& m, __m256i s) {
    if (m.exact)
        return _mm256_srl_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(s, _mm256_set1_epi16((short)m.half)),
                                                   _mm256_set1_epi16((short)m.mul)),
                                _mm_cvtsi32_si128(m.shift));
    const __m512 f = _mm512_maskz_cvt_roundepi32_ps(0xFFFF, _mm512_cvtepu16_epi32(s), kRoundNear);
    const __m512 q = _mm512_mul_round_ps(f, _mm512_set1_ps(m.r), kRoundNear);
    return _mm512_cvtusepi32_epi16(_mm512_maskz_cvt_roundps_epi32(0xFFFF, q, kRoundNear));
}

// Window sums of one row of 16-bit samples, as ownWindowRow, modulo 2^16 in 16-bit lanes (so
// exact when every window sum is below 2^16), without shuffles: rows of the sums of 2, 4 and 8
// neighbouring pixels of a channel are stored after `in` (level b at in + b * stride), then
// every window sum is a few loads of them. emit(i0, sums, lanes). `in` holds (w + k - 1) N
// samples and stride >= (w + k - 1) N + 16, with room for four such rows.
template <int N, class Emit>
inline void ownWindowRow16Levels(uint16_t* in, int64_t stride, int64_t w, int64_t k, Emit&& emit) {
    const int64_t total = w * N, all = (w + k - 1) * N;
    int levels = 0, best = 1 << 30;  // the depth with the fewest loads and stores per vector
    for (int b = 0; b <= 3 && ((int64_t)1 << b) <= k; ++b) {
        const int cost = 3 * b + (int)(k >> b) + __builtin_popcountll((uint64_t)(k & ((1 << b) - 1)));
        if (cost < best) best = cost, levels = b;
    }
    auto at = [](const uint16_t* p) { return _mm256_loadu_si256((const __m256i*)p); };
    for (int b = 1; b <= levels; ++b) {
        const uint16_t* lo = in + (b - 1) * stride;
        uint16_t* hi = in + b * stride;
        const int64_t half = ((int64_t)1 << (b - 1)) * N, len = all - (2 * half - N);
        for (int64_t x = 0; x < len; x += 16) _mm256_storeu_si256((__m256i*)(hi + x), _mm256_add_epi16(at(lo + x), at(lo + x + half)));
    }
    const uint16_t* top = in + levels * stride;
    const int64_t span = ((int64_t)1 << levels) * N, whole = k >> levels;
    int64_t x = 0;
    for (; x + 32 <= total; x += 32) {  // two vectors at a time, their loads interleaved
        __m256i s0 = at(top + x), s1 = at(top + x + 16);
        int64_t off = span;
        for (int64_t j = 1; j < whole; ++j, off += span)
            s0 = _mm256_add_epi16(s0, at(top + x + off)), s1 = _mm256_add_epi16(s1, at(top + x + 16 + off));
        for (int b = levels - 1; b >= 0; --b)
            if (k >> b & 1) {
                const uint16_t* p = in + b * stride + x + off;
                s0 = _mm256_add_epi16(s0, at(p)), s1 = _mm256_add_epi16(s1, at(p + 16));
                off += ((int64_t)1 << b) * N;
            }
        emit(x, s0, 16);
        emit(x + 16, s1, 16);
    }
    for (; x < total; x += 16) {
        __m256i s = at(top + x);
        int64_t off = span;
        for (int64_t j = 1; j < whole; ++j, off += span) s = _mm256_add_epi16(s, at(top + x + off));
        for (int b = levels - 1; b >= 0; --b)
            if (k >> b & 1) s = _mm256_add_epi16(s, at(in + b * stride + x + off)), off += ((int64_t)1 << b) * N;
        emit(x, s, (int)(total - x < 16 ? total - x : 16));
    }
}

// Means of one row of 8u pixels from 16-bit column sums col (N channels, window kw pixels, every
// window sum below 2^16): direct sums of kw shifted loads, then the quotient or the rule.
template <int N, bool Alpha>
inline void ownBoxMeanRow8u(const uint16_t* col, int64_t w, int kw, const Mean16& m, uint8_t* d) {
    const int64_t total = w * N;
    auto mean = [&](__m256i s) { return ownMean8u(m, s); };
    for (int64_t x = 0; x < total; x += 32) {  // col holds at least 32 samples of slack past its end
        __m256i s0 = _mm256_loadu_si256((const __m256i*)(col + x)), s1 = _mm256_loadu_si256((const __m256i*)(col + x + 16));
        for (int j = 1; j < kw; ++j) {
            s0 = _mm256_add_epi16(s0, _mm256_loadu_si256((const __m256i*)(col + x + j * N)));
            s1 = _mm256_add_epi16(s1, _mm256_loadu_si256((const __m256i*)(col + x + 16 + j * N)));
        }
        const __m256i b = _mm256_permute4x64_epi64(_mm256_packus_epi16(mean(s0), mean(s1)), 0xD8);
        if (x + 32 <= total) {
            __m256i* p = (__m256i*)(d + x);
            _mm256_storeu_si256(p, Alpha ? _mm256_blendv_epi8(b, _mm256_loadu_si256(p), _mm256_set1_epi32((int)0xFF000000u)) : b);
        } else {
            alignas(32) uint8_t t[32];
            _mm256_store_si256((__m256i*)t, b);
            ownStorePartial<Alpha>(d + x, t, (int)(total - x));
        }
    }
}

// Emitters of ownWindowRow16Levels: 8u means, and exact 32s sums.
template <bool Alpha>
struct Mean8uEmit {
    uint8_t* d;
    Mean16 m;
    void operator()(int64_t i0, __m256i s, int lanes) const {
        const __m256i q = ownMean8u(m, s);
        ownStoreBytes<Alpha>(d + i0, _mm_packus_epi16(_mm256_castsi256_si128(q), _mm256_extracti128_si256(q, 1)), lanes);
    }
};
template <bool Alpha>
struct Sum16Emit {
    int32_t* d;
    bool stream;  // whole aligned vectors bypass the caches (the caller fences after the call)
    void operator()(int64_t i0, __m256i s, int lanes) const {
        const __m512i v = _mm512_cvtepu16_epi32(s);
        if (!Alpha && stream && lanes == 16 && ((uintptr_t)(d + i0) & 63) == 0) _mm512_stream_si512((__m512i*)(d + i0), v);
        else ownStoreLanes<Alpha>(d + i0, v, lanes);
    }
};

}  // namespace zel
