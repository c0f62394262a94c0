// The median of masks whose sides are 1, 3 or 5, for every sample type and channel layout.
//
// A destination row is computed in chunks of samples. For each chunk the kh source rows are
// first sorted column by column into a small table (one sorting network per column, shared by
// the kw outputs that read the column), then every output runs the selection network of
// median_network.h on the kw sorted columns around it. Vectors take 32 samples (8u, AVX2),
// 16 (16u and 16s, AVX2) or 16 (32f, AVX-512F); a row shorter than a vector runs the same
// networks on scalars, and a row's last vector overlaps the one before it, so no byte outside
// the row is read or written.
//
// 32f samples are ordered as 32-bit keys: the bits of a float, with the magnitude bits of the
// negative ones inverted, compared as signed integers. That is the IEEE total order:
// -NaN < -inf < ... < -0 < +0 < ... < +inf < +NaN, so every path agrees on any input and the
// median is always one of the samples, bit for bit.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include "filter/border_rows.h"
#include "filter/median_network.h"

namespace zel {

template <typename T>
struct MedianLanes;

// The key of a sample: the value itself for integers, the total-order key for floats.
template <typename T>
struct MedianKey {
    using K = T;
    static K of(T v) { return v; }
    static T back(K k) { return k; }
};
template <>
struct MedianKey<Zel32f> {
    using K = int32_t;
    static K of(Zel32f v) {
        int32_t b;
        __builtin_memcpy(&b, &v, 4);
        return b ^ (int32_t)((uint32_t)(b >> 31) >> 1);
    }
    static Zel32f back(K k) {
        const int32_t b = k ^ (int32_t)((uint32_t)(k >> 31) >> 1);
        Zel32f v;
        __builtin_memcpy(&v, &b, 4);
        return v;
    }
};

// Scalar lanes: one sample.
template <typename K>
struct MedianScalar {
    static K mn(K a, K b) { return a < b ? a : b; }
    static K mx(K a, K b) { return a < b ? b : a; }
};

// Vector lanes of the integer types in AVX2: load, store, min, max, and a blend that keeps
// every fourth sample (the alpha of an AC4 row) from the destination.
template <typename T, int Lanes>
struct MedianAvx2 {
    using V = __m256i;
    static constexpr int N = Lanes;
    static V load(const T* p) { return _mm256_loadu_si256((const __m256i*)p); }
    static V key(const T* p) { return load(p); }
    static void store(T* p, V v) { _mm256_storeu_si256((__m256i*)p, v); }
    static void storeKeepAlpha(T* p, V v) {
        const __m256i alpha = sizeof(T) == 1 ? _mm256_set1_epi32((int)0xFF000000) : _mm256_set1_epi64x((int64_t)0xFFFF000000000000);
        store(p, _mm256_blendv_epi8(v, load(p), alpha));
    }
};
template <>
struct MedianLanes<Zel8u> : MedianAvx2<uint8_t, 32> {
    static V mn(V a, V b) { return _mm256_min_epu8(a, b); }
    static V mx(V a, V b) { return _mm256_max_epu8(a, b); }
};
template <>
struct MedianLanes<Zel16u> : MedianAvx2<uint16_t, 16> {
    static V mn(V a, V b) { return _mm256_min_epu16(a, b); }
    static V mx(V a, V b) { return _mm256_max_epu16(a, b); }
};
template <>
struct MedianLanes<Zel16s> : MedianAvx2<int16_t, 16> {
    static V mn(V a, V b) { return _mm256_min_epi16(a, b); }
    static V mx(V a, V b) { return _mm256_max_epi16(a, b); }
};
// 32f: sixteen keys in an AVX-512F register.
template <>
struct MedianLanes<Zel32f> {
    using V = __m512i;
    static constexpr int N = 16;
    static V load(const int32_t* p) { return _mm512_loadu_si512(p); }
    static void store(int32_t* p, V v) { _mm512_storeu_si512(p, v); }
    static V flip(V b) {
        const __mmask16 all = 0xFFFF;  // masked forms: no undefined pass-through (see mn, mx)
        return _mm512_xor_si512(b, _mm512_mask_srli_epi32(b, all, _mm512_mask_srai_epi32(b, all, b, 31), 1));
    }
    static V key(const Zel32f* p) { return flip(_mm512_loadu_si512(p)); }
    static void store(Zel32f* p, V v) { _mm512_storeu_si512(p, flip(v)); }
    static void storeKeepAlpha(Zel32f* p, V v) { store(p, v); }  // no 32f AC4 member
    // The masked forms with every lane selected: the plain intrinsics pass an undefined
    // vector through, which the compiler reports once they are inlined into the networks.
    static V mn(V a, V b) { return _mm512_mask_min_epi32(a, (__mmask16)0xFFFF, a, b); }
    static V mx(V a, V b) { return _mm512_mask_max_epi32(a, (__mmask16)0xFFFF, a, b); }
};

// Runs vec(i) for vectors of n items covering [0, len) (the last one overlapping when len is
// not a multiple of n), or one(i) per item when len < n.
template <int N, class FV, class F1>
inline void ownMedianSpan(int len, FV vec, F1 one) {
    if (len < N) {
        for (int i = 0; i < len; ++i) one(i);
        return;
    }
    for (int i = 0; i + N <= len; i += N) vec(i);
    if (len % N) vec(len - N);
}

// One destination row of a KW x KH median: rows[r] is column 0 of source row y - KH/2 + r as the
// current segment sees it, dst column 0 of the destination row, [x0, x1) the segment's
// columns. C samples per pixel; with Alpha every fourth sample of dst is left as it is.
template <typename T, int C, bool Alpha, int KW, int KH>
void ownMedianSmallRow(const T* const* rows, T* dst, int x0, int x1) {
    using L = MedianLanes<T>;
    using MK = MedianKey<T>;
    using K = typename MK::K;
    using V = typename L::V;
    constexpr int N = L::N, R = (KW - 1) / 2 * C;
    constexpr int CH = (2048 / (int)sizeof(K)) / (4 * N) * (4 * N);  // outputs per chunk
    K tab[KH][CH + 2 * R];

    for (int a = x0 * C; a < x1 * C; a += CH) {
        const int len = (x1 * C - a < CH ? x1 * C - a : CH), wide = len + 2 * R;
        const int s0 = a - R;  // the table's first sample
        ownMedianSpan<N>(
            wide,
            [&](int i) {
                V w[KH];
                for (int r = 0; r < KH; ++r) w[r] = L::key(rows[r] + s0 + i);
                sortColumn<L, KH>(w);
                for (int r = 0; r < KH; ++r) L::store(&tab[r][i], w[r]);
            },
            [&](int i) {
                K w[KH];
                for (int r = 0; r < KH; ++r) w[r] = MK::of(rows[r][s0 + i]);
                sortColumn<MedianScalar<K>, KH>(w);
                for (int r = 0; r < KH; ++r) tab[r][i] = w[r];
            });
        T* d = dst + a;
        ownMedianSpan<N>(
            len,
            [&](int i) {
                V w[KW * KH];
                for (int c = 0; c < KW; ++c)
                    for (int r = 0; r < KH; ++r) w[c * KH + r] = L::load(&tab[r][i + c * C]);
                const V m = medianSelect<L, KW, KH>(w);
                if constexpr (Alpha) L::storeKeepAlpha(d + i, m);
                else L::store(d + i, m);
            },
            [&](int i) {
                if (Alpha && (a + i) % 4 == 3) return;
                K w[KW * KH];
                for (int c = 0; c < KW; ++c)
                    for (int r = 0; r < KH; ++r) w[c * KH + r] = tab[r][i + c * C];
                d[i] = MK::back(medianSelect<MedianScalar<K>, KW, KH>(w));
            });
    }
}

// The whole image (or band) through br, for the fixed masks.
template <typename T, int C, bool Alpha, int KW, int KH>
void ownMedianSmall(BorderRows& br, T* pDst, int dstStep, int height) {
    for (int y = 0; y < height; ++y) {
        T* d = row(pDst, dstStep, y);
        for (int s = 0; s < br.segments(); ++s) {
            const T* rows[KH];
            for (int r = 0; r < KH; ++r) rows[r] = br.rowAs<T>(y - KH / 2 + r, s);
            ownMedianSmallRow<T, C, Alpha, KW, KH>(rows, d, br.segment(s).x0, br.segment(s).x1);
        }
    }
}

}  // namespace zel
