// Blocked transposition of pixel arrays: the transpose family and the diagonal flips of the
// mirror family. A pixel is S-byte samples times C channels and moves whole (or, with Alpha,
// only its first three channels, the destination's fourth kept). The work goes in 16 x 16 tiles
// so that both images are walked a cache line at a time; full tiles of 1-, 3- and 4-byte pixels
// are transposed in registers, everything else sample by sample.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

namespace zel {

// Transposes 16 rows of 32 bytes: source column c (0..15) becomes destination row c, column
// c + 16 row c + 16; each destination row receives 16 bytes.
inline void ownTranspose16x32_8u(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds) {
    __m256i r[16], t[16];
    for (int i = 0; i < 16; ++i) r[i] = _mm256_loadu_si256((const __m256i*)(s + i * ss));
    for (int i = 0; i < 8; ++i) {
        t[2 * i] = _mm256_unpacklo_epi8(r[2 * i], r[2 * i + 1]);
        t[2 * i + 1] = _mm256_unpackhi_epi8(r[2 * i], r[2 * i + 1]);
    }
    // t[4g + 0..3]: rows 4g..4g+3 as pairs; regroup by 16-bit units into columns of 4 rows.
    for (int g = 0; g < 4; ++g) {
        __m256i a0 = t[4 * g], a1 = t[4 * g + 1], b0 = t[4 * g + 2], b1 = t[4 * g + 3];
        r[4 * g] = _mm256_unpacklo_epi16(a0, b0);      // columns 0..3
        r[4 * g + 1] = _mm256_unpackhi_epi16(a0, b0);  // 4..7
        r[4 * g + 2] = _mm256_unpacklo_epi16(a1, b1);  // 8..11
        r[4 * g + 3] = _mm256_unpackhi_epi16(a1, b1);  // 12..15
    }
    // r[4g + q]: columns 4q..4q+3 of rows 4g..4g+3. Join row groups 0/1 and 2/3 by 32-bit units.
    for (int h = 0; h < 2; ++h)
        for (int q = 0; q < 4; ++q) {
            __m256i a = r[8 * h + q], b = r[8 * h + 4 + q];
            t[8 * h + 2 * q] = _mm256_unpacklo_epi32(a, b);      // columns 4q, 4q+1 of 8 rows
            t[8 * h + 2 * q + 1] = _mm256_unpackhi_epi32(a, b);  // columns 4q+2, 4q+3
        }
    // t[8h + p]: columns 2p, 2p+1 of rows 8h..8h+7. Join the two halves by 64-bit units.
    for (int p = 0; p < 8; ++p) {
        __m256i lo = _mm256_unpacklo_epi64(t[p], t[8 + p]), hi = _mm256_unpackhi_epi64(t[p], t[8 + p]);
        _mm_storeu_si128((__m128i*)(d + (2 * p) * ds), _mm256_castsi256_si128(lo));
        _mm_storeu_si128((__m128i*)(d + (2 * p + 1) * ds), _mm256_castsi256_si128(hi));
        _mm_storeu_si128((__m128i*)(d + (2 * p + 16) * ds), _mm256_extracti128_si256(lo, 1));
        _mm_storeu_si128((__m128i*)(d + (2 * p + 17) * ds), _mm256_extracti128_si256(hi, 1));
    }
}

// The unmasked 512-bit unpacks, lane shuffles, permutes and shifts pass an undefined vector through, which
// GCC 12 reports as uninitialised once they are inlined into these loops; the all-lanes masked
// forms are the same instructions without it.
inline __m512i unpacklo32(__m512i a, __m512i b) { return _mm512_mask_unpacklo_epi32(a, 0xFFFF, a, b); }
inline __m512i unpackhi32(__m512i a, __m512i b) { return _mm512_mask_unpackhi_epi32(a, 0xFFFF, a, b); }
inline __m512i unpacklo64(__m512i a, __m512i b) { return _mm512_mask_unpacklo_epi64(a, 0xFF, a, b); }
inline __m512i unpackhi64(__m512i a, __m512i b) { return _mm512_mask_unpackhi_epi64(a, 0xFF, a, b); }
template <int I>
inline __m512i lanes128(__m512i a, __m512i b) { return _mm512_mask_shuffle_i32x4(a, 0xFFFF, a, b, I); }
inline __m512i permute32(__m512i idx, __m512i a) { return _mm512_mask_permutexvar_epi32(a, 0xFFFF, idx, a); }
inline __m512i shiftl32(__m512i a, __m512i n) { return _mm512_mask_sllv_epi32(a, 0xFFFF, a, n); }
inline __m512i shiftr32(__m512i a, __m512i n) { return _mm512_mask_srlv_epi32(a, 0xFFFF, a, n); }

// Transposes 16 registers of 16 32-bit samples in place: r[i] lane j becomes r[j] lane i.
inline void ownTranspose16x16_32(__m512i r[16]) {
    __m512i t[16];
    for (int k = 0; k < 8; ++k) {
        t[2 * k] = unpacklo32(r[2 * k], r[2 * k + 1]);
        t[2 * k + 1] = unpackhi32(r[2 * k], r[2 * k + 1]);
    }
    // r[4g + q], lane L: column 4L + q of rows 4g..4g+3.
    for (int g = 0; g < 4; ++g) {
        r[4 * g + 0] = unpacklo64(t[4 * g], t[4 * g + 2]);
        r[4 * g + 1] = unpackhi64(t[4 * g], t[4 * g + 2]);
        r[4 * g + 2] = unpacklo64(t[4 * g + 1], t[4 * g + 3]);
        r[4 * g + 3] = unpackhi64(t[4 * g + 1], t[4 * g + 3]);
    }
    // For each q, a 4 x 4 transpose of 128-bit lanes gathers column 4L + q of all 16 rows.
    for (int q = 0; q < 4; ++q) {
        __m512i x0 = lanes128<0x44>(r[q], r[4 + q]), x1 = lanes128<0xEE>(r[q], r[4 + q]);
        __m512i x2 = lanes128<0x44>(r[8 + q], r[12 + q]), x3 = lanes128<0xEE>(r[8 + q], r[12 + q]);
        t[q] = lanes128<0x88>(x0, x2), t[4 + q] = lanes128<0xDD>(x0, x2);
        t[8 + q] = lanes128<0x88>(x1, x3), t[12 + q] = lanes128<0xDD>(x1, x3);
    }
    for (int i = 0; i < 16; ++i) r[i] = t[i];
}

// Transposes a 16 x 16 block of 32-bit samples; with Stream the destination rows (whole,
// 64-byte aligned cache lines) are written with non-temporal stores.
template <bool Stream>
inline void ownTranspose16x16_32(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds) {
    __m512i r[16];
    for (int i = 0; i < 16; ++i) r[i] = _mm512_loadu_si512(s + i * ss);
    ownTranspose16x16_32(r);
    for (int i = 0; i < 16; ++i) {
        if constexpr (Stream) _mm512_stream_si512((__m512i*)(d + i * ds), r[i]);
        else _mm512_storeu_si512(d + i * ds, r[i]);
    }
}

// Transposes a 16 x 16 block of 3-byte pixels as 32-bit lanes: each source row of 48 bytes is
// spread to one pixel per lane (lane i = bytes 3i..3i+2, the top byte left over), the lanes are
// transposed, and each destination row is packed back into 48 bytes. Spreading and packing are
// dword permutes and variable shifts, which AVX-512F has for whole registers.
inline void ownTranspose16x16_24(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds) {
    // Spread: lane i takes its bytes from dwords 3i/4 and 3i/4 + 1, shifted by 8 (3i mod 4).
    const __m512i lo = _mm512_setr_epi32(0, 0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11);
    const __m512i off = _mm512_setr_epi32(0, 24, 16, 8, 0, 24, 16, 8, 0, 24, 16, 8, 0, 24, 16, 8);
    const __m512i hi = _mm512_add_epi32(lo, _mm512_set1_epi32(1)), back = _mm512_sub_epi32(_mm512_set1_epi32(32), off);
    __m512i r[16];
    for (int i = 0; i < 16; ++i) {
        const __m512i v = _mm512_maskz_loadu_epi32(0x0FFF, s + i * ss);
        r[i] = _mm512_or_si512(shiftr32(permute32(lo, v), off), shiftl32(permute32(hi, v), back));
    }
    ownTranspose16x16_32(r);
    // Pack: dword j of the row is pixel 4j/3 shifted down by 8 (4j mod 3) joined with the next
    // pixel shifted up by the rest; pixels are first cut to their three bytes.
    const __m512i plo = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0);
    const __m512i poff = _mm512_setr_epi32(0, 8, 16, 0, 8, 16, 0, 8, 16, 0, 8, 16, 0, 0, 0, 0);
    const __m512i phi = _mm512_add_epi32(plo, _mm512_set1_epi32(1)), pback = _mm512_sub_epi32(_mm512_set1_epi32(24), poff);
    const __m512i low3 = _mm512_set1_epi32(0xFFFFFF);
    for (int i = 0; i < 16; ++i) {
        const __m512i v = _mm512_and_si512(r[i], low3);
        const __m512i w = _mm512_or_si512(shiftr32(permute32(plo, v), poff), shiftl32(permute32(phi, v), pback));
        _mm512_mask_storeu_epi32(d + i * ds, 0x0FFF, w);
    }
}

// Destination row x, pixel y = source row y, pixel x, for a w x h source (w, h <= 16 here).
template <int S, int C, bool Alpha>
inline void ownTransposeSmall(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t w, int64_t h) {
    constexpr int P = S * C, W = Alpha ? 3 * S : P;
    for (int64_t x = 0; x < w; ++x) {
        uint8_t* dr = d + x * ds;
        for (int64_t y = 0; y < h; ++y) memcpy(dr + y * P, s + y * ss + x * P, W);
    }
}

// The tiles of one block of at most kTransposeBlock x kTransposeBlock pixels, a column of
// tiles at a time: the destination rows of a tile column are then written front to back, so
// that stores stream; only the loads stride across rows.
//
// next, when not null, is the source of the block after this one, with as many rows: each tile
// asks for the lines its counterpart there will load (while they still fall inside that block),
// since strided loads down a column of lines are not fetched ahead by the hardware.
template <int S, int C, bool Alpha, bool Stream>
void ownTransposeTiles(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t w, int64_t h,
                       const uint8_t* next = nullptr, int64_t nextW = 0) {
    constexpr int P = S * C;
    constexpr bool kBytes = P == 1, kWords = P == 4 && !Alpha, kTriples = P == 3;
    constexpr int64_t TW = kBytes ? 32 : 16;
    for (int64_t x = 0; x < w; x += TW) {
        const int64_t tw = w - x < TW ? w - x : TW;
        const bool ahead = next && x < nextW;
        for (int64_t y = 0; y < h; y += 16) {
            const int64_t th = h - y < 16 ? h - y : 16;
            if (ahead)
                for (int64_t r = 0; r < th; ++r) _mm_prefetch((const char*)(next + (y + r) * ss + x * P), _MM_HINT_T0);
            const uint8_t* sb = s + y * ss + x * P;
            uint8_t* db = d + x * ds + y * P;
            if (kBytes && th == 16 && tw == TW) {
                ownTranspose16x32_8u(sb, ss, db, ds);
            } else if (kWords && th == 16 && tw == TW) {
                ownTranspose16x16_32<Stream>(sb, ss, db, ds);
            } else if (kTriples && th == 16 && tw == TW) {
                ownTranspose16x16_24(sb, ss, db, ds);
            } else {
                for (int64_t xx = 0; xx < tw; xx += 16)
                    ownTransposeSmall<S, C, Alpha>(sb + xx * P, ss, db + xx * ds, ds, tw - xx < 16 ? tw - xx : 16, th);
            }
        }
    }
}

// Blocks of 256 x 256 pixels keep the rows one block touches (256 source and 256 destination
// rows, each often on its own page) within the translation cache: walking a whole band of a
// wide image would touch a new page per destination row on every band.
constexpr int64_t kTransposeBlock = 256;

// Transposes a w x h source of S-byte, C-channel pixels (w, h >= 1; steps in bytes, any
// sign; source and destination do not overlap): destination row x, pixel y = source row y,
// pixel x.
template <int S, int C, bool Alpha = false>
void ownTranspose(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t w, int64_t h) {
    constexpr int P = S * C, B = kTransposeBlock;
    // 4-byte pixels go around the cache from 4 MiB of destination on, when every full tile
    // stores whole aligned lines: the strided stores of a transpose would otherwise wait for
    // each line to be read in first, and a destination that size no longer fits the core's
    // own caches anyway.
    bool stream = false;
    if constexpr (P == 4 && !Alpha)
        stream = ((uintptr_t)d & 63) == 0 && (ds & 63) == 0 && w * (ds < 0 ? -ds : ds) >= (int64_t(4) << 20);
    for (int64_t y = 0; y < h; y += B)
        for (int64_t x = 0; x < w; x += B) {
            const uint8_t* sb = s + y * ss + x * P;
            uint8_t* db = d + x * ds + y * P;
            int64_t bw = w - x < B ? w - x : B, bh = h - y < B ? h - y : B;
            // The next block along the band, when it has the same rows.
            const uint8_t* next = x + B < w ? sb + B * P : nullptr;
            int64_t nextW = w - x - B < B ? w - x - B : B;
            if (stream) ownTransposeTiles<S, C, Alpha, true>(sb, ss, db, ds, bw, bh, next, nextW);
            else ownTransposeTiles<S, C, Alpha, false>(sb, ss, db, ds, bw, bh, next, nextW);
        }
    if (stream) _mm_sfence();
}

// Copies n pixels; with Alpha only the first three samples of each.
template <int S, int C, bool Alpha>
inline void ownCopyPixels(const uint8_t* s, uint8_t* d, int64_t n) {
    if constexpr (Alpha)
        for (int64_t i = 0; i < n; ++i) memcpy(d + i * 4 * S, s + i * 4 * S, 3 * S);
    else
        memcpy(d, s, n * S * C);
}

// Transposes an n x n square in place (step in bytes), tile pair by tile pair through
// buffers on the stack; with Alpha the fourth channel of every pixel stays where it is.
template <int S, int C, bool Alpha = false>
void ownTransposeSquareInPlace(uint8_t* p, int64_t step, int64_t n) {
    constexpr int P = S * C, T = 16;
    alignas(64) uint8_t a[T * T * P], b[T * T * P];
    for (int64_t i = 0; i < n; i += T) {
        int64_t hi = n - i < T ? n - i : T;
        for (int64_t j = i; j < n; j += T) {
            int64_t wj = n - j < T ? n - j : T;
            uint8_t* A = p + i * step + j * P;  // rows i.., columns j..: hi x wj
            uint8_t* B = p + j * step + i * P;  // rows j.., columns i..: wj x hi
            ownTranspose<S, C>(A, step, a, T * P, wj, hi);  // a: wj rows of hi pixels
            if (j != i) {
                ownTranspose<S, C>(B, step, b, T * P, hi, wj);  // b: hi rows of wj pixels
                for (int64_t r = 0; r < hi; ++r) ownCopyPixels<S, C, Alpha>(b + r * T * P, A + r * step, wj);
            }
            for (int64_t r = 0; r < wj; ++r) ownCopyPixels<S, C, Alpha>(a + r * T * P, B + r * step, hi);
        }
    }
}

}  // namespace zel
