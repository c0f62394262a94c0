// Pixel-order reversal of rows: the horizontal flip of the mirror family. A pixel is P bytes
// (sample size times channels) and moves whole; the vector paths reverse a block of pixels in
// registers, the ends of a row are moved pixel by pixel, so no byte outside the row is touched.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

namespace zel {

// Pixels per vector block of a reversal, 0 when P has no vector path (6- and 12-byte pixels
// move pixel by pixel).
template <int P>
constexpr int kRevBlock = (P == 1 || P == 2 || P == 4 || P == 8 || P == 16) ? 64 / P : P == 3 ? 16 : 0;

// Reverses the bytes of v within 16-bit (P 2) or 8-bit (P 1) units across the whole 256-bit register.
template <int P>
inline __m256i rev256(__m256i v) {
    const __m256i idx = P == 1 ? _mm256_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13,
                                                  12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
                               : _mm256_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1, 14, 15, 12,
                                                  13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    return _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, idx), 0x4E);
}

// Byte shuffles that reverse 16 three-byte pixels: idx[k][c] picks from input chunk c the bytes
// of output chunk k.
struct Rev3Shuffle {
    alignas(16) int8_t idx[3][3][16];
};
constexpr Rev3Shuffle makeRev3Shuffle() {
    Rev3Shuffle t{};
    for (int k = 0; k < 3; ++k)
        for (int c = 0; c < 3; ++c)
            for (int j = 0; j < 16; ++j) {
                int o = 16 * k + j, b = 3 * (15 - o / 3) + o % 3;
                t.idx[k][c][j] = b / 16 == c ? (int8_t)(b % 16) : (int8_t)-1;
            }
    return t;
}
inline constexpr Rev3Shuffle kRev3Shuffle = makeRev3Shuffle();

// Loads kRevBlock<P> pixels at s and stores them in reverse order at d (blocks of 64 bytes, or
// 48 bytes for 3-byte pixels).
template <int P>
inline void ownRevBlock(const uint8_t* s, uint8_t* d) {
    if constexpr (P == 1 || P == 2) {
        __m256i a = _mm256_loadu_si256((const __m256i*)s), b = _mm256_loadu_si256((const __m256i*)(s + 32));
        _mm256_storeu_si256((__m256i*)d, rev256<P>(b));
        _mm256_storeu_si256((__m256i*)(d + 32), rev256<P>(a));
    } else if constexpr (P == 4) {
        const __m512i idx = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
        _mm512_storeu_si512(d, _mm512_permutexvar_epi32(idx, _mm512_loadu_si512(s)));
    } else if constexpr (P == 8) {
        const __m512i idx = _mm512_setr_epi64(7, 6, 5, 4, 3, 2, 1, 0);
        _mm512_storeu_si512(d, _mm512_permutexvar_epi64(idx, _mm512_loadu_si512(s)));
    } else if constexpr (P == 16) {
        _mm512_storeu_si512(d, _mm512_shuffle_i64x2(_mm512_loadu_si512(s), _mm512_loadu_si512(s), 0x1B));
    } else if constexpr (P == 3) {
        // 16 pixels in three 16-byte chunks; output chunk k is the OR of one byte shuffle of
        // each input chunk (lanes of -1 give zero).
        __m128i in0 = _mm_loadu_si128((const __m128i*)s), in1 = _mm_loadu_si128((const __m128i*)(s + 16));
        __m128i in2 = _mm_loadu_si128((const __m128i*)(s + 32));
        for (int k = 0; k < 3; ++k) {
            const __m128i* t = (const __m128i*)kRev3Shuffle.idx[k];
            __m128i v = _mm_or_si128(_mm_shuffle_epi8(in0, _mm_load_si128(t)), _mm_shuffle_epi8(in1, _mm_load_si128(t + 1)));
            _mm_storeu_si128((__m128i*)(d + 16 * k), _mm_or_si128(v, _mm_shuffle_epi8(in2, _mm_load_si128(t + 2))));
        }
    }
}

// d[i] = s[n - 1 - i] for n pixels of P bytes; s and d do not overlap.
template <int P>
inline void ownRevRow(const uint8_t* s, uint8_t* d, int64_t n) {
    constexpr int K = kRevBlock<P>;
    int64_t i = 0;
    if constexpr (K > 0)
        for (; i + K <= n; i += K) ownRevBlock<P>(s + (n - i - K) * P, d + i * P);
    for (; i < n; ++i) memcpy(d + i * P, s + (n - 1 - i) * P, P);
}

// Exchanges row a with row b reversed: a[i] <-> b[n - 1 - i]. With a == b the row is reversed
// in place.
template <int P>
inline void ownRevSwapRows(uint8_t* a, uint8_t* b, int64_t n) {
    constexpr int K = kRevBlock<P> > 0 ? kRevBlock<P> : 1;
    alignas(64) uint8_t x[K * P], y[K * P];
    int64_t lo = 0, hi = n;  // a[lo..) pairs with b[..hi)
    if (a == b) {
        if constexpr (kRevBlock<P> > 0)
            for (; lo + K <= hi - K; lo += K, hi -= K) {
                ownRevBlock<P>(a + lo * P, x);
                ownRevBlock<P>(a + (hi - K) * P, y);
                memcpy(a + lo * P, y, K * P);
                memcpy(a + (hi - K) * P, x, K * P);
            }
        for (; lo < hi - 1; ++lo, --hi) {
            memcpy(x, a + lo * P, P);
            memcpy(a + lo * P, a + (hi - 1) * P, P);
            memcpy(a + (hi - 1) * P, x, P);
        }
        return;
    }
    if constexpr (kRevBlock<P> > 0)
        for (; lo + K <= n; lo += K, hi -= K) {
            ownRevBlock<P>(a + lo * P, x);
            ownRevBlock<P>(b + (hi - K) * P, y);
            memcpy(a + lo * P, y, K * P);
            memcpy(b + (hi - K) * P, x, K * P);
        }
    for (; lo < n; ++lo, --hi) {
        memcpy(x, a + lo * P, P);
        memcpy(a + lo * P, b + (hi - 1) * P, P);
        memcpy(b + (hi - 1) * P, x, P);
    }
}

}  // namespace zel
