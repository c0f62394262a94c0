// Per-sample terms of the statistics reductions (sum, |x|, x², |a-b|, (a-b)², a·b) for the sum
// engine, extreme keys for the extreme engine, and the accurate double-precision row rule of
// single-precision data.
#pragma once

#include <math.h>

#include "kernels/stat_reduce.h"

namespace zel::stat {

template <class T> constexpr bool is_f32 = std::is_same_v<T, Zel32f>;
template <class T> constexpr uint64_t kMaxAbs = std::is_same_v<T, Zel8u> ? 255 : std::is_same_v<T, Zel16s> ? 32768 : 65535;

// The 32-bit lane kind of integer term t: unsigned unless the term can be negative.
template <bool Signed> using Lane32 = std::conditional_t<Signed, LaneI32, LaneU32>;

// ---- 8u row kernels on 16-bit and 64-bit lanes, used where they beat the 32-bit widening ----

// Σx of a one-channel 8u row: vpsadbw against zero sums eight bytes into each 64-bit lane.
inline int64_t sum8u_c1_wide(const Zel8u* a, int64_t n, uint64_t* part) {
    const __m256i z = _mm256_setzero_si256();
    __m256i s0 = z, s1 = z, s2 = z, s3 = z;
    int64_t i = 0;
    for (; n - i >= 128; i += 128) {
        s0 = _mm256_add_epi64(s0, _mm256_sad_epu8(_mm256_loadu_si256((const __m256i*)(a + i)), z));
        s1 = _mm256_add_epi64(s1, _mm256_sad_epu8(_mm256_loadu_si256((const __m256i*)(a + i + 32)), z));
        s2 = _mm256_add_epi64(s2, _mm256_sad_epu8(_mm256_loadu_si256((const __m256i*)(a + i + 64)), z));
        s3 = _mm256_add_epi64(s3, _mm256_sad_epu8(_mm256_loadu_si256((const __m256i*)(a + i + 96)), z));
    }
    __m256i s = _mm256_add_epi64(_mm256_add_epi64(s0, s1), _mm256_add_epi64(s2, s3));
    alignas(32) uint64_t t[4];
    _mm256_store_si256((__m256i*)t, s);
    part[0] += t[0] + t[1] + t[2] + t[3];  // one channel: every position folds into it
    return i;
}

// Σx per position of a multi-channel 8u row, chunks of 64*U bytes in 32-bit lanes that take
// 256 chunks before they are drained. Per lane, w sums the whole dwords (modulo 2^32) and o
// bytes 1 and 3 in its two 16-bit halves; w - 256·o then holds bytes 0 and 2 in its halves.
// Every half stays below 2^16 (256 × 255), so both splits are exact. Byte k of dword l of
// vector u is chunk position p = 64u + 4l + k and adds into part[p % K]; K is a multiple of the
// channel count, so channels are kept apart.
template <int U, int K>
int64_t sum8u_cn_wide(const Zel8u* a, int64_t n, uint64_t* part) {
    const __m512i bytes13 = _mm512_set1_epi32(0x00FF00FF), low16 = _mm512_set1_epi32(0xFFFF);
    __m512i s[U][4];  // per byte k of each dword: sums of up to 65536 drains
    for (int u = 0; u < U; ++u)
        for (int k = 0; k < 4; ++k) s[u][k] = _mm512_setzero_si512();
    auto spill = [&] {
        alignas(64) uint32_t t[16];
        for (int u = 0; u < U; ++u)
            for (int k = 0; k < 4; ++k) {
                _mm512_store_si512(t, s[u][k]);
                for (int l = 0; l < 16; ++l) part[(64 * u + 4 * l + k) % K] += t[l];
                s[u][k] = _mm512_setzero_si512();
            }
    };
    int64_t i = 0;
    int drains = 0;
    while (n - i >= 64 * U) {
        int64_t chunks = (n - i) / (64 * U);
        if (chunks > 256) chunks = 256;
        __m512i w[U], o[U];
        for (int u = 0; u < U; ++u) w[u] = o[u] = _mm512_setzero_si512();
        for (int64_t c = 0; c < chunks; ++c, i += 64 * U)
            for (int u = 0; u < U; ++u) {
                __m512i v = _mm512_loadu_si512(a + i + 64 * u);
                w[u] = _mm512_add_epi32(w[u], v);
                o[u] = _mm512_add_epi32(o[u], _mm512_and_si512(_mm512_srli_epi32(v, 8), bytes13));
            }
        for (int u = 0; u < U; ++u) {
            __m512i e = _mm512_sub_epi32(w[u], _mm512_slli_epi32(o[u], 8));
            s[u][0] = _mm512_add_epi32(s[u][0], _mm512_and_si512(e, low16));
            s[u][1] = _mm512_add_epi32(s[u][1], _mm512_and_si512(o[u], low16));
            s[u][2] = _mm512_add_epi32(s[u][2], _mm512_srli_epi32(e, 16));
            s[u][3] = _mm512_add_epi32(s[u][3], _mm512_srli_epi32(o[u], 16));
        }
        if (++drains == 65536) spill(), drains = 0;  // 65536 × 65280 < 2^32
    }
    spill();
    return i;
}

// Σ(a-b)² (or Σa² when Diff is false) of a one-channel 8u row: 16-bit lanes multiplied and
// pairwise added into 32-bit lanes with vpmaddwd, the even and odd bytes' products added
// before they are accumulated; the lanes take at most 16384 chunks (4 × 65025 per chunk,
// below 2^32 in total) before they are flushed.
template <bool Diff>
int64_t sq8u_c1_wide(const Zel8u* a, const Zel8u* b, int64_t n, uint64_t* part) {
    const __m256i lo = _mm256_set1_epi16(0xFF);
    int64_t i = 0;
    while (n - i >= 64) {
        int64_t chunks = (n - i) / 64;
        if (chunks > 16384) chunks = 16384;
        __m256i s0 = _mm256_setzero_si256(), s1 = s0;
        for (int64_t c = 0; c < chunks; ++c, i += 64) {
            __m256i x0 = _mm256_loadu_si256((const __m256i*)(a + i));
            __m256i x1 = _mm256_loadu_si256((const __m256i*)(a + i + 32));
            __m256i e0 = _mm256_and_si256(x0, lo), o0 = _mm256_srli_epi16(x0, 8);
            __m256i e1 = _mm256_and_si256(x1, lo), o1 = _mm256_srli_epi16(x1, 8);
            if constexpr (Diff) {
                __m256i y0 = _mm256_loadu_si256((const __m256i*)(b + i));
                __m256i y1 = _mm256_loadu_si256((const __m256i*)(b + i + 32));
                e0 = _mm256_sub_epi16(e0, _mm256_and_si256(y0, lo));
                o0 = _mm256_sub_epi16(o0, _mm256_srli_epi16(y0, 8));
                e1 = _mm256_sub_epi16(e1, _mm256_and_si256(y1, lo));
                o1 = _mm256_sub_epi16(o1, _mm256_srli_epi16(y1, 8));
            }
            s0 = _mm256_add_epi32(s0, _mm256_add_epi32(_mm256_madd_epi16(e0, e0), _mm256_madd_epi16(o0, o0)));
            s1 = _mm256_add_epi32(s1, _mm256_add_epi32(_mm256_madd_epi16(e1, e1), _mm256_madd_epi16(o1, o1)));
        }
        __m512i w = _mm512_add_epi64(_mm512_cvtepu32_epi64(s0), _mm512_cvtepu32_epi64(s1));
        part[0] += (uint64_t)_mm512_reduce_add_epi64(w);
    }
    return i;
}

// ---- sum-engine ops ----------------------------------------------------------------------------

// x (sum of samples).
template <class T>
struct SumOp : NoWide {
    using Sample = T;
    using Lane = std::conditional_t<is_f32<T>, LaneF32, Lane32<std::is_same_v<T, Zel16s>>>;
    static constexpr int64_t kBlock = is_f32<T> ? 64 : block_for(INT32_MAX, kMaxAbs<T>);
    static typename Lane::V vstep(typename Lane::V s, const T* a, const T*) {
        if constexpr (is_f32<T>) return _mm512_add_ps(s, _mm512_loadu_ps(a));
        else return _mm512_add_epi32(s, load16_i32(a));
    }
    static typename Lane::P sterm(T a, T) { return (typename Lane::P)a; }
    template <int C, int K>
    static int64_t wide(const T* a, const T*, int64_t n, typename Lane::P* part) {
        if constexpr (!std::is_same_v<T, Zel8u>) return 0;
        else if constexpr (C == 1) return sum8u_c1_wide(a, n, part);
        else return sum8u_cn_wide<C == 3 ? 3 : 4, K>(a, n, part);
    }
};

// |x|, or |a - b| when Diff.
template <class T, bool Diff>
struct AbsOp : NoWide {
    using Sample = T;
    using Lane = std::conditional_t<is_f32<T>, LaneF32, LaneU32>;
    static constexpr uint64_t kMax = Diff ? (std::is_same_v<T, Zel8u> ? 255 : 65535) : kMaxAbs<T>;
    static constexpr int64_t kBlock = is_f32<T> ? 64 : block_for(UINT32_MAX, kMax);
    static typename Lane::V vstep(typename Lane::V s, const T* a, const T* b) {
        if constexpr (is_f32<T>) {
            __m512 x = _mm512_loadu_ps(a);
            if constexpr (Diff) x = _mm512_sub_ps(x, _mm512_loadu_ps(b));
            return _mm512_add_ps(s, _mm512_abs_ps(x));
        } else {
            __m512i x = load16_i32(a);
            if constexpr (Diff) x = _mm512_sub_epi32(x, load16_i32(b));
            return _mm512_add_epi32(s, _mm512_abs_epi32(x));
        }
    }
    static typename Lane::P sterm(T a, T b) {
        if constexpr (is_f32<T>) return fabs(Diff ? (double)(a - b) : (double)a);
        else return (uint64_t)abs(Diff ? (int)a - (int)b : (int)a);
    }
    template <int C, int K>
    static int64_t wide(const T* a, const T*, int64_t n, typename Lane::P* part) {
        if constexpr (std::is_same_v<T, Zel8u> && !Diff) return SumOp<T>::template wide<C, K>(a, a, n, part);
        else return 0;
    }
};

// x², or (a - b)² when Diff.
template <class T, bool Diff>
struct SqOp : NoWide {
    using Sample = T;
    static constexpr bool k8u = std::is_same_v<T, Zel8u>;
    using Lane = std::conditional_t<is_f32<T>, LaneF32, std::conditional_t<k8u, LaneU32, Lane64<uint64_t>>>;
    static constexpr int64_t kBlock = is_f32<T> ? 64 : k8u ? block_for(UINT32_MAX, 65025) : kNoBlock;
    static typename Lane::V vstep(typename Lane::V s, const T* a, const T* b) {
        if constexpr (is_f32<T>) {
            __m512 x = _mm512_loadu_ps(a);
            if constexpr (Diff) x = _mm512_sub_ps(x, _mm512_loadu_ps(b));
            return _mm512_fmadd_ps(x, x, s);
        } else if constexpr (k8u) {
            __m512i x = load16_i32(a);
            if constexpr (Diff) x = _mm512_sub_epi32(x, load16_i32(b));
            return _mm512_add_epi32(s, _mm512_mullo_epi32(x, x));
        } else {  // |x| < 2^32 fits the signed 32-bit multiplier's operands only for differences
            __m512i x = load8_i64(a);
            if constexpr (Diff) x = _mm512_sub_epi64(x, load8_i64(b));
            return _mm512_add_epi64(s, Diff || std::is_same_v<T, Zel16s> ? _mm512_mul_epi32(x, x) : _mm512_mul_epu32(x, x));
        }
    }
    static typename Lane::P sterm(T a, T b) {
        if constexpr (is_f32<T>) {
            double d = Diff ? (double)(a - b) : (double)a;
            return d * d;
        } else {
            int64_t d = Diff ? (int64_t)a - (int64_t)b : (int64_t)a;
            return (uint64_t)(d * d);
        }
    }
    template <int C, int K>
    static int64_t wide(const T* a, const T* b, int64_t n, typename Lane::P* part) {
        if constexpr (k8u && C == 1) return sq8u_c1_wide<Diff>(a, b, n, part);
        else return 0;
    }
};

// The 32f fast-path partials are doubles of single-precision lane sums; a 16-bit L2 partial
// is a uint64 (each square below 2^32).

// ---- extreme keys ------------------------------------------------------------------------------

// Samples as their own keys: 8- and 16-bit integers in ymm registers.
template <class T>
struct IntKey : Ymm {
    using Sample = T;
    using Key = T;
    static constexpr int N = 32 / sizeof(T);
    static constexpr Key lowest = std::numeric_limits<T>::min(), highest = std::numeric_limits<T>::max();
    static V vkey(const T* a, const T*) { return vload(a); }
    static Key skey(T a, T) { return a; }
    static V vmin(V x, V y) {
        if constexpr (std::is_same_v<T, Zel8u>) return _mm256_min_epu8(x, y);
        else if constexpr (std::is_same_v<T, Zel16u>) return _mm256_min_epu16(x, y);
        else return _mm256_min_epi16(x, y);
    }
    static V vmax(V x, V y) {
        if constexpr (std::is_same_v<T, Zel8u>) return _mm256_max_epu8(x, y);
        else if constexpr (std::is_same_v<T, Zel16u>) return _mm256_max_epu16(x, y);
        else return _mm256_max_epi16(x, y);
    }
    static T value(Key k) { return k; }
};

// Single-precision samples by their minimum or maximum key (see stat_reduce.h): NaN never wins
// over a number; -0 and +0 are equal (zero is the key kZero).
template <bool ForMin>
struct F32Key : Zmm {
    using Sample = Zel32f;
    using T = Zel32f;
    using Key = int32_t;
    static constexpr int N = 16;
    static constexpr Key lowest = INT32_MIN, highest = INT32_MAX;
    static constexpr Key kZero = ForMin ? kZeroMinKey : kZeroMaxKey;
    static V vkey(const T* a, const T*) {
        __m512i k = vorder_key(_mm512_loadu_si512(a));
        return ForMin ? _mm512_sub_epi32(k, _mm512_set1_epi32(kMinShift)) : _mm512_add_epi32(k, _mm512_set1_epi32(kMaxShift));
    }
    static Key skey(T a, T) { return ForMin ? min_key(a) : max_key(a); }
    static V vmin(V x, V y) { return _mm512_min_epi32(x, y); }
    static V vmax(V x, V y) { return _mm512_max_epi32(x, y); }
    static T value(Key k) { return ForMin ? from_min_key(k) : from_max_key(k); }
};

// The first sample of channel c (of C interleaved) that equals zero, of either sign, in raster
// order of a rect of w pixels by h rows: the value of a zero extreme under the ordinary
// comparison, whose keys do not tell -0 from +0. Searches 16 samples at a time, the row's tail
// by a masked load, and stops at the first one; +0 when there is none.
template <int C>
float first_zero(const float* p, int64_t step, int64_t w, int64_t h, int c) {
    __mmask16 lanes[C];  // the lanes of channel c in a vector starting at channel r
    for (int r = 0; r < C; ++r) {
        lanes[r] = 0;
        for (int j = 0; j < 16; ++j) lanes[r] |= (__mmask16)(((r + j) % C == c) << j);
    }
    const int64_t n = w * C;
    for (int64_t y = 0; y < h; ++y) {
        const float* q = row(p, step, y);
        for (int64_t i = 0; i < n; i += 16) {
            const __mmask16 m = lanes[i % C] & (n - i >= 16 ? (__mmask16)0xFFFF : (__mmask16)((1u << (n - i)) - 1));
            const __mmask16 z = _mm512_mask_cmp_ps_mask(m, _mm512_maskz_loadu_ps(m, q + i), _mm512_setzero_ps(), _CMP_EQ_OQ);
            if (z) return q[i + __builtin_ctz(z)];
        }
    }
    return 0.0f;
}

// |x| or |a - b| as an unsigned key, for the infinity norms. For 32f the key is the bits of the
// magnitude: every NaN sorts above +inf, so a NaN anywhere makes the norm NaN.
template <class T, bool Diff>
struct AbsKey : std::conditional_t<is_f32<T>, Zmm, Ymm> {
    using Sample = T;
    using V = typename std::conditional_t<is_f32<T>, Zmm, Ymm>::V;
    using Key = std::conditional_t<is_f32<T>, uint32_t, std::conditional_t<std::is_same_v<T, Zel8u>, uint8_t, uint16_t>>;
    static constexpr int N = is_f32<T> ? 16 : 32 / sizeof(T);
    static constexpr Key lowest = 0, highest = std::numeric_limits<Key>::max();
    static V vkey(const T* a, const T* b) {
        if constexpr (is_f32<T>) {
            __m512 x = _mm512_loadu_ps(a);
            if constexpr (Diff) x = _mm512_sub_ps(x, _mm512_loadu_ps(b));
            return _mm512_and_si512(_mm512_castps_si512(x), _mm512_set1_epi32(0x7FFFFFFF));
        } else {
            __m256i x = _mm256_loadu_si256((const __m256i*)a);
            if constexpr (std::is_same_v<T, Zel16s>) {
                if constexpr (!Diff) return _mm256_abs_epi16(x);  // |-32768| reads 32768 unsigned
                __m256i y = _mm256_loadu_si256((const __m256i*)b);
                return _mm256_sub_epi16(_mm256_max_epi16(x, y), _mm256_min_epi16(x, y));
            } else if constexpr (!Diff) {
                return x;
            } else {
                __m256i y = _mm256_loadu_si256((const __m256i*)b);
                if constexpr (std::is_same_v<T, Zel8u>) return _mm256_or_si256(_mm256_subs_epu8(x, y), _mm256_subs_epu8(y, x));
                else return _mm256_or_si256(_mm256_subs_epu16(x, y), _mm256_subs_epu16(y, x));
            }
        }
    }
    static Key skey(T a, T b) {
        if constexpr (is_f32<T>) {
            float x = Diff ? a - b : a;
            uint32_t u;
            __builtin_memcpy(&u, &x, 4);
            return u & 0x7FFFFFFF;
        } else {
            return (Key)abs(Diff ? (int)a - (int)b : (int)a);
        }
    }
    static V vmax(V x, V y) {
        if constexpr (is_f32<T>) return _mm512_max_epu32(x, y);
        else if constexpr (std::is_same_v<T, Zel8u>) return _mm256_max_epu8(x, y);
        else return _mm256_max_epu16(x, y);
    }
    static double value(Key k) {
        if constexpr (is_f32<T>) {
            float f;
            __builtin_memcpy(&f, &k, 4);
            return f;
        } else {
            return k;
        }
    }
};

// ---- the accurate rule of single-precision sums ------------------------------------------------
// Every sample is widened to double; per channel, the samples of even and of odd pixel columns
// run in two double accumulators (a row's odd last pixel is an even column, so it goes to the
// first by one more fused multiply-add), and the result is their sum. Term: 0 x, 1 |x|, 2 x²;
// with Diff the sample is (double)a - (double)b.
template <int Term, bool Diff, int C>
void accurate_row(const Zel32f* a, const Zel32f* b, int64_t width, double acc[2][C]) {
    for (int64_t x = 0; x < width; ++x)
        for (int c = 0; c < C; ++c) {
            double v = (double)a[x * C + c];
            if constexpr (Diff) v -= (double)b[x * C + c];
            double& s = acc[x & 1][c];
            if constexpr (Term == 0) s += v;
            else if constexpr (Term == 1) s += fabs(v);
            else s = fma(v, v, s);
        }
}

// ---- the row walk ------------------------------------------------------------------------------
// Calls f(rowA, rowB, samples) for every row of a ROI of `samples` samples per row, or once for
// the whole ROI when each step equals the packed row (and the pixel count stays below 2^31 - 1).
template <class T, class F>
void walk(const T* a, int64_t sa, const T* b, int64_t sb, int64_t samples, int64_t pixels, int64_t height, F&& f) {
    const int64_t packed = samples * (int64_t)sizeof(T);
    if (height > 1 && sa == packed && sb == packed && pixels * height < kInt32Max) {
        f(a, b, samples * height);
        return;
    }
    for (int64_t r = 0; r < height; ++r) f(row(a, sa, r), row(b, sb, r), samples);
}

}  // namespace zel::stat
