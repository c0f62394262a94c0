// Pixel-order reversal of rows: the horizontal flip of the mirror family. A pixel is P bytes
// (sample size times channels) and moves whole; the vector paths reverse a block of pixels in
// registers, the ends of a row are moved pixel by pixel, so no byte outside the row is touched.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include "kernels/vector_halves.h"

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

// Reversal of 16 three-byte pixels (12 dwords) in a zmm register: groups of four pixels are
// whole dwords (three each), so one dword permute reverses the order of the groups and spreads
// each into its own 128-bit lane; a byte shuffle reverses the four pixels inside each lane, and
// a second permute packs the lanes' first twelve bytes back together.
inline __m512i rev3x16(__m512i v) {
    const __m512i spread = _mm512_setr_epi32(9, 10, 11, 0, 6, 7, 8, 0, 3, 4, 5, 0, 0, 1, 2, 0);
    const __m512i pack = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0);
    const __m256i inLane = _mm256_setr_epi8(9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, -1, -1, -1, -1,
                                            9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, -1, -1, -1, -1);
    __m512i g = _mm512_permutexvar_epi32(spread, v);
    __m256i lo = _mm256_shuffle_epi8(ownsLo256(g), inLane);
    __m256i hi = _mm256_shuffle_epi8(ownsHi256(g), inLane);
    return _mm512_permutexvar_epi32(pack, ownsJoin256(lo, hi));
}

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
        _mm512_mask_storeu_epi32(d, 0x0FFF, rev3x16(_mm512_maskz_loadu_epi32(0x0FFF, s)));
    }
}

// d[i] = s[n - 1 - i] for n pixels of P bytes; s and d do not overlap. The source is read
// front to back and the destination written back to front: streams read backwards are
// fetched ahead far worse than those written backwards.
template <int P>
inline void ownRevRow(const uint8_t* s, uint8_t* d, int64_t n) {
    constexpr int K = kRevBlock<P>;
    int64_t j = 0;  // source pixels done
    if constexpr (P == 3) {
        // Eight pixels, two groups of four (12 bytes each), per step: each group is loaded into
        // its own 128-bit lane with the 4 bytes after it, a byte shuffle reverses its pixels,
        // and a dword permute packs both into the top 24 bytes. The 32-byte store writes 8
        // bytes below its 24, which a later step (or the pixel loop) rewrites; loads and stores
        // stay inside the row while 11 pixels remain.
        const __m256i inLane = _mm256_setr_epi8(9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, -1, -1, -1, -1,
                                                9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, -1, -1, -1, -1);
        const __m256i pack = _mm256_setr_epi32(0, 0, 0, 1, 2, 4, 5, 6);
        for (; n - j >= 11; j += 8) {
            const uint8_t* g = s + j * 3;
            __m256i v = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)(g + 12))),
                                                _mm_loadu_si128((const __m128i*)g), 1);
            v = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v, inLane), pack);
            _mm256_storeu_si256((__m256i*)(d + (n - j - 8) * 3 - 8), v);
        }
    } else if constexpr (K > 0) {
        for (; j + K <= n; j += K) ownRevBlock<P>(s + j * P, d + (n - j - K) * P);
    }
    for (; j < n; ++j) memcpy(d + (n - 1 - j) * P, s + j * P, P);
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
