// Row kernels of the minimum and maximum filters: the extremum of two rows, of a list of rows,
// and the running pair of the block method, over the lanes of one sample type.
//
// Every kernel works on "keys", values whose plain integer order is the order the filter
// uses. Integer samples are their own keys and the extremum is the type's min or max. Floating
// samples are mapped to signed integers of their width so that both filters take the integer
// maximum of keys:
//
//   key(x)  = bits(x) ^ (sign(x) ? 0x7FF..F : 0)   orders every non-NaN value, -0 below +0
//   Max key = key(x), Min key = ~key(x)           (~ reverses the order)
//   any NaN = the largest key (0x7FF..F), which no number has under either mapping
//
// so the extremum of a window is exact and independent of the order in which a running method
// combines its samples, -0 and +0 are told apart (the minimum of -0 and +0 is -0, the maximum
// +0), and a window that holds a NaN gives the quiet NaN 0x7FC00000 (64-bit: 0x7FF8...0). The
// vector and the scalar forms of every kernel compute the same function.
//
// Vectors: 8- and 16-bit lanes in 256-bit registers (AVX2), 32- and 64-bit keys in 512-bit
// registers (AVX-512F). A row shorter than a vector, and the tail of a kernel that works in
// place, run the scalar form; other tails end with a last vector that overlaps the one before.
// Nothing outside [0, n) is read or written.
// An output written with Out::Alpha skips every fourth sample (the alpha of an AC4 image).
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include "frame/zel_internal.h"

namespace zel {

enum class MmOut { Keys, Dst, Alpha };  // into a key row; into the image; into the image, alpha kept

template <typename T, bool Max>
struct MmLanes;

// 8- and 16-bit integers: AVX2.
template <typename L, bool Max>
struct MmLanesSmall {
    using T = L;
    using K = L;
    using V = __m256i;
    static constexpr int N = 32 / (int)sizeof(L);
    static constexpr bool kFloat = false;
    static K ext(K a, K b) { return Max ? (a > b ? a : b) : (a < b ? a : b); }
    static K enc(T x) { return x; }
    static T dec(K k) { return k; }
    static V load(const K* p) { return _mm256_loadu_si256((const __m256i*)p); }
    static V loadEnc(const T* p) { return load(p); }
    static void store(K* p, V v) { _mm256_storeu_si256((__m256i*)p, v); }
    static void storeDec(T* p, V v) { store(p, v); }
    // Samples 3, 7, 11, ... are left as they are: widened to 32-bit lanes and narrowed back with
    // a masked store (AVX-512F has no byte or word masks).
    static void storeAlpha(T* p, V v) {
        if constexpr (sizeof(L) == 1) {
            __m512i lo = _mm512_cvtepu8_epi32(_mm256_castsi256_si128(v));
            __m512i hi = _mm512_cvtepu8_epi32(_mm256_extracti128_si256(v, 1));
            _mm512_mask_cvtepi32_storeu_epi8(p, 0x7777, lo);
            _mm512_mask_cvtepi32_storeu_epi8(p + 16, 0x7777, hi);
        } else {
            _mm512_mask_cvtepi32_storeu_epi16(p, 0x7777, _mm512_cvtepu16_epi32(v));
        }
    }
    static V vext(V a, V b) {
        if constexpr (sizeof(L) == 1) return Max ? _mm256_max_epu8(a, b) : _mm256_min_epu8(a, b);
        else if constexpr (std::is_signed<L>::value) return Max ? _mm256_max_epi16(a, b) : _mm256_min_epi16(a, b);
        else return Max ? _mm256_max_epu16(a, b) : _mm256_min_epu16(a, b);
    }
};
template <bool Max> struct MmLanes<Zel8u, Max> : MmLanesSmall<Zel8u, Max> {};
template <bool Max> struct MmLanes<Zel16u, Max> : MmLanesSmall<Zel16u, Max> {};
template <bool Max> struct MmLanes<Zel16s, Max> : MmLanesSmall<Zel16s, Max> {};

// 32- and 64-bit floats: signed integer keys in AVX-512F registers, always the maximum.
template <typename F, typename I, bool Max>
struct MmLanesFloat {
    using T = F;
    using K = I;
    using V = __m512i;
    static constexpr int N = 64 / (int)sizeof(F);
    static constexpr bool kFloat = true;
    static constexpr I kTop = (I)(~(std::make_unsigned_t<I>)0 >> 1);  // 0x7FF..F
    static constexpr I kQNaN = sizeof(F) == 4 ? (I)0x7FC00000 : (I)0x7FF8000000000000ll;
    static constexpr I kInf = sizeof(F) == 4 ? (I)0x7F800000 : (I)0x7FF0000000000000ll;
    static K ext(K a, K b) { return a > b ? a : b; }
    static K enc(T x) {
        I u;
        __builtin_memcpy(&u, &x, sizeof u);
        if ((u & kTop) > kInf) return kTop;
        I k = u ^ ((u >> (8 * sizeof(I) - 1)) & kTop);
        return Max ? k : ~k;
    }
    static T dec(K k) {
        I u = kQNaN;
        if (k != kTop) {
            if (!Max) k = ~k;
            u = k ^ ((k >> (8 * sizeof(I) - 1)) & kTop);
        }
        T x;
        __builtin_memcpy(&x, &u, sizeof x);
        return x;
    }
    static V load(const K* p) { return _mm512_loadu_si512(p); }
    static void store(K* p, V v) { _mm512_storeu_si512(p, v); }
    static V vext(V a, V b) {
        if constexpr (sizeof(I) == 4) return _mm512_max_epi32(a, b);
        else return _mm512_max_epi64(a, b);
    }
    static V sra(V u) {
        if constexpr (sizeof(I) == 4) return _mm512_srai_epi32(u, 31);
        else return _mm512_srai_epi64(u, 63);
    }
    static __mmask16 isNaN(V a) {
        if constexpr (sizeof(I) == 4) return _mm512_cmpgt_epi32_mask(a, _mm512_set1_epi32((int)kInf));
        else return _mm512_cmpgt_epi64_mask(a, _mm512_set1_epi64(kInf));
    }
    static V set1(I v) {
        if constexpr (sizeof(I) == 4) return _mm512_set1_epi32((int)v);
        else return _mm512_set1_epi64(v);
    }
    static V blend(__mmask16 m, V a, V b) {
        if constexpr (sizeof(I) == 4) return _mm512_mask_blend_epi32(m, a, b);
        else return _mm512_mask_blend_epi64((__mmask8)m, a, b);
    }
    static V loadEnc(const T* p) {
        const V top = set1(kTop), u = _mm512_loadu_si512(p);
        V k = _mm512_xor_si512(u, _mm512_and_si512(sra(u), top));
        if (!Max) k = _mm512_xor_si512(k, set1(-1));
        return blend(isNaN(_mm512_and_si512(u, top)), k, top);
    }
    // The key of u without the NaN rule (a NaN gets some key), and the bits that tell a NaN: a
    // window holds a NaN exactly when the maximum of its nanBits exceeds kInf.
    static V rawKey(V u) {
        if constexpr (sizeof(I) == 4) return _mm512_ternarylogic_epi32(u, sra(u), set1(kTop), Max ? 0x78 : 0x87);
        else return _mm512_ternarylogic_epi64(u, sra(u), set1(kTop), Max ? 0x78 : 0x87);
    }
    static V nanBits(V u) { return _mm512_and_si512(u, set1(kTop)); }
    static V decode(V k) {
        const V top = set1(kTop);
        __mmask16 nan;
        if constexpr (sizeof(I) == 4) nan = _mm512_cmpeq_epi32_mask(k, top);
        else nan = _mm512_cmpeq_epi64_mask(k, top);
        if (!Max) k = _mm512_xor_si512(k, set1(-1));
        return blend(nan, _mm512_xor_si512(k, _mm512_and_si512(sra(k), top)), set1(kQNaN));
    }
    static void storeDec(T* p, V k) { _mm512_storeu_si512(p, decode(k)); }
    static void storeAlpha(T* p, V k) {
        if constexpr (sizeof(I) == 4) _mm512_mask_storeu_epi32(p, 0x7777, decode(k));
        else _mm512_mask_storeu_epi64(p, 0x77, decode(k));
    }
};
template <bool Max> struct MmLanes<Zel32f, Max> : MmLanesFloat<Zel32f, int32_t, Max> {};
template <bool Max> struct MmLanes<Zel64f, Max> : MmLanesFloat<Zel64f, int64_t, Max> {};

// Writes one vector of keys (or one key) where the output goes.
template <typename Ln, MmOut O>
inline void ownMmPut(void* d, int64_t i, typename Ln::V v) {
    if constexpr (O == MmOut::Keys) Ln::store((typename Ln::K*)d + i, v);
    else if constexpr (O == MmOut::Dst) Ln::storeDec((typename Ln::T*)d + i, v);
    else Ln::storeAlpha((typename Ln::T*)d + i, v);
}
template <typename Ln, MmOut O>
inline void ownMmPut1(void* d, int64_t i, typename Ln::K k) {
    if constexpr (O == MmOut::Keys) ((typename Ln::K*)d)[i] = k;
    else if (O == MmOut::Dst || (i & 3) != 3) ((typename Ln::T*)d)[i] = Ln::dec(k);
}

// Runs vec(i) over the vectors of [0, n) and one(i) over what is left. When recomputing an
// output is harmless (overlap: the kernel is not in place, or idempotent), the first vector is
// written unaligned, the rest on aligned addresses of d, and the last one ends at n: no scalar
// tail, and no store split across two cache lines.
// With Out::Alpha every vector starts on a pixel, so that its mask skips the alpha samples.
template <typename Ln, MmOut O, typename F, typename F1>
__attribute__((always_inline)) inline void ownMmLoop(const void* d, int64_t n, bool overlap, F&& vec, F1&& one) {
    constexpr int N = Ln::N;
    int64_t i = 0;
    if (overlap && n >= N) {
        vec(0);
        i = (int64_t)((-(uintptr_t)d) & (sizeof(typename Ln::V) - 1)) / (int64_t)sizeof(typename Ln::K);
        if (O == MmOut::Alpha) i = (i + 3) & ~(int64_t)3;
        if (i == 0) i = N;
        for (; i + N <= n; i += N) vec(i);
        if (i < n) vec(n - N);
        return;
    }
    for (; i + N <= n; i += N) vec(i);
    for (; i < n; ++i) one(i);
}

// d[i] = key of s[i], i < n (floating samples only).
template <typename Ln>
inline void ownMmEncode(typename Ln::K* d, const typename Ln::T* s, int64_t n) {
    int64_t i = 0;
    for (; i + Ln::N <= n; i += Ln::N) Ln::store(d + i, Ln::loadEnc(s + i));
    for (; i < n; ++i) d[i] = Ln::enc(s[i]);
}

// d[i] = ext(a[i], a[i + off]), i < n. d may be a itself (ascending order keeps it exact).
template <typename Ln, MmOut O>
inline void ownMmPair(void* d, const typename Ln::K* a, int64_t off, int64_t n) {
    ownMmLoop<Ln, O>(
        d, n, d != a || off >= n,
        [&](int64_t i) __attribute__((always_inline)) { ownMmPut<Ln, O>(d, i, Ln::vext(Ln::load(a + i), Ln::load(a + i + off))); },
        [&](int64_t i) __attribute__((always_inline)) { ownMmPut1<Ln, O>(d, i, Ln::ext(a[i], a[i + off])); });
}

// d[i] = the extremum of r[j][i] over the m rows (or of s[i + j * off] for the source form,
// encoded on the way when the samples are floating), i < n. M > 0 fixes m at compile time.
// In place (d is r[0] and the other rows lie after it) only with overlap false.
template <typename Ln, MmOut O, int M = 0>
inline void ownMmRows(void* d, const typename Ln::K* const* r, int m, int64_t n, bool overlap = true) {
    if constexpr (M > 0) m = M;
    ownMmLoop<Ln, O>(
        d, n, overlap,
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::V v = Ln::load(r[0] + i);
            for (int j = 1; j < m; ++j) v = Ln::vext(v, Ln::load(r[j] + i));
            ownMmPut<Ln, O>(d, i, v);
        },
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::K k = r[0][i];
            for (int j = 1; j < m; ++j) k = Ln::ext(k, r[j][i]);
            ownMmPut1<Ln, O>(d, i, k);
        });
}
template <typename Ln, MmOut O, int M = 0>
inline void ownMmTaps(void* d, const typename Ln::T* s, int64_t off, int m, int64_t n) {
    if constexpr (M > 0) m = M;
    ownMmLoop<Ln, O>(
        d, n, true,
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::V v = Ln::loadEnc(s + i);
            for (int j = 1; j < m; ++j) v = Ln::vext(v, Ln::loadEnc(s + i + j * off));
            ownMmPut<Ln, O>(d, i, v);
        },
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::K k = Ln::enc(s[i]);
            for (int j = 1; j < m; ++j) k = Ln::ext(k, Ln::enc(s[i + j * off]));
            ownMmPut1<Ln, O>(d, i, k);
        });
}

// d[i] = the extremum of the keys of r[j][i] over the m source rows, i < n (keys written).
template <typename Ln, int M = 0>
inline void ownMmRowsEnc(typename Ln::K* d, const typename Ln::T* const* r, int m, int64_t n) {
    if constexpr (M > 0) m = M;
    ownMmLoop<Ln, MmOut::Keys>(
        d, n, true,
        [&](int64_t i) __attribute__((always_inline)) {
            if constexpr (Ln::kFloat) {  // the NaN rule applied once to the extremum of the rows
                typename Ln::V u = _mm512_loadu_si512(r[0] + i), v = Ln::rawKey(u), a = Ln::nanBits(u);
                for (int j = 1; j < m; ++j) {
                    u = _mm512_loadu_si512(r[j] + i);
                    v = Ln::vext(v, Ln::rawKey(u));
                    a = Ln::vext(a, Ln::nanBits(u));
                }
                Ln::store(d + i, Ln::blend(Ln::isNaN(a), v, Ln::set1(Ln::kTop)));
            } else {
                typename Ln::V v = Ln::loadEnc(r[0] + i);
                for (int j = 1; j < m; ++j) v = Ln::vext(v, Ln::loadEnc(r[j] + i));
                Ln::store(d + i, v);
            }
        },
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::K k = Ln::enc(r[0][i]);
            for (int j = 1; j < m; ++j) k = Ln::ext(k, Ln::enc(r[j][i]));
            d[i] = k;
        });
}

// The same with the short counts unrolled.
template <typename Ln, MmOut O>
inline void ownMmRowsN(void* d, const typename Ln::K* const* r, int m, int64_t n) {
    switch (m) {
        case 1: return ownMmRows<Ln, O, 1>(d, r, 1, n);
        case 2: return ownMmRows<Ln, O, 2>(d, r, 2, n);
        case 3: return ownMmRows<Ln, O, 3>(d, r, 3, n);
        case 4: return ownMmRows<Ln, O, 4>(d, r, 4, n);
        case 5: return ownMmRows<Ln, O, 5>(d, r, 5, n);
        default: return ownMmRows<Ln, O>(d, r, m, n);
    }
}
template <typename Ln, MmOut O>
inline void ownMmTapsN(void* d, const typename Ln::T* s, int64_t off, int m, int64_t n) {
    switch (m) {
        case 1: return ownMmTaps<Ln, O, 1>(d, s, off, 1, n);
        case 2: return ownMmTaps<Ln, O, 2>(d, s, off, 2, n);
        case 3: return ownMmTaps<Ln, O, 3>(d, s, off, 3, n);
        case 4: return ownMmTaps<Ln, O, 4>(d, s, off, 4, n);
        default: return ownMmTaps<Ln, O>(d, s, off, m, n);
    }
}

template <typename Ln>
inline void ownMmRowsEncN(typename Ln::K* d, const typename Ln::T* const* r, int m, int64_t n) {
    switch (m) {
        case 1: return ownMmRowsEnc<Ln, 1>(d, r, 1, n);
        case 2: return ownMmRowsEnc<Ln, 2>(d, r, 2, n);
        case 3: return ownMmRowsEnc<Ln, 3>(d, r, 3, n);
        case 4: return ownMmRowsEnc<Ln, 4>(d, r, 4, n);
        case 5: return ownMmRowsEnc<Ln, 5>(d, r, 5, n);
        default: return ownMmRowsEnc<Ln>(d, r, m, n);
    }
}

// The step of the block method down a column: g[i] = ext(g[i], r[i]) (g = r on the first row of
// a block), then d[i] = ext(h[i], g[i]), i < n.
template <typename Ln, MmOut O>
inline void ownMmRun(void* d, typename Ln::K* g, const typename Ln::K* r, const typename Ln::K* h, bool first,
                     int64_t n) {
    ownMmLoop<Ln, O>(  // g = ext(g, r) is idempotent, so vectors may overlap
        d, n, true,
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::V v = Ln::load(r + i);
            if (!first) v = Ln::vext(v, Ln::load(g + i));
            Ln::store(g + i, v);
            ownMmPut<Ln, O>(d, i, Ln::vext(v, Ln::load(h + i)));
        },
        [&](int64_t i) __attribute__((always_inline)) {
            typename Ln::K k = first ? r[i] : Ln::ext(g[i], r[i]);
            g[i] = k;
            ownMmPut1<Ln, O>(d, i, Ln::ext(h[i], k));
        });
}

}  // namespace zel
