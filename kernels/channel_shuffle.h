// Row kernels that move samples between channel layouts with byte shuffles: channel
// reordering of three- and four-channel pixels, three- and four-channel pixels to planes and
// back, and one channel duplicated into three. S is the sample size in bytes (1, 2 or 4).
//
// The three-channel kernels work on blocks of 96 bytes kept as three "lane groups": register k
// holds bytes 16k..16k+15 of the block in its low 128-bit lane and bytes 48+16k..63+16k in its
// high lane, so that each lane holds one 48-byte group and the in-lane byte shuffle (vpshufb)
// reaches every sample of the group. The four-channel kernels do the same with 128-byte
// blocks of two 64-byte groups. Remainders shorter than a block are done pixel by pixel.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include "copy_engine.h"
#include "vector_halves.h"

namespace zel {

// ---- block loads and stores ------------------------------------------------------------

inline __m256i ownLoadLanes(const uint8_t* lo, const uint8_t* hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)lo)),
                                   _mm_loadu_si128((const __m128i*)hi), 1);
}
inline __m256i ownLoad32(const void* p) { return _mm256_loadu_si256((const __m256i*)p); }
inline void ownStore32(void* p, __m256i v) { _mm256_storeu_si256((__m256i*)p, v); }
inline __m256i ownTable(const uint8_t t[16]) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)t));
}

// Loads 192 bytes as two blocks of three lane groups, with six 32-byte loads.
inline void ownLoadGroups3x2(const uint8_t* p, __m256i r[3], __m256i q[3]) {
    __m256i a0 = ownLoad32(p), a1 = ownLoad32(p + 32), b0 = ownLoad32(p + 64), b1 = ownLoad32(p + 96);
    __m256i c0 = ownLoad32(p + 128), c1 = ownLoad32(p + 160);
    r[0] = _mm256_permute2x128_si256(a0, a1, 0x30);
    r[1] = _mm256_permute2x128_si256(a0, b0, 0x21);
    r[2] = _mm256_permute2x128_si256(a1, b0, 0x30);
    q[0] = _mm256_permute2x128_si256(b1, c0, 0x30);
    q[1] = _mm256_permute2x128_si256(b1, c1, 0x21);
    q[2] = _mm256_permute2x128_si256(c0, c1, 0x30);
}
// Orders three lane groups as 96 contiguous bytes (three 32-byte parts).
inline void ownPackGroups3(const __m256i r[3], __m256i out[3]) {
    out[0] = _mm256_permute2x128_si256(r[0], r[1], 0x20);
    out[1] = _mm256_permute2x128_si256(r[2], r[0], 0x30);
    out[2] = _mm256_permute2x128_si256(r[1], r[2], 0x31);
}
// Stores two 32-byte halves as one 64-byte store (whole cache lines on aligned rows); with NT
// a non-temporal store, which needs p on a 64-byte boundary.
template <bool NT = false>
inline void ownStore64(void* p, __m256i lo, __m256i hi) {
    __m512i v = ownsJoin256(lo, hi);
    if constexpr (NT) _mm512_stream_si512((__m512i*)p, v);
    else _mm512_storeu_si512(p, v);
}
// Stores two blocks of three lane groups as 192 contiguous bytes.
template <bool NT = false>
inline void ownStoreGroups3x2(uint8_t* p, const __m256i a[3], const __m256i b[3]) {
    __m256i x[3], y[3];
    ownPackGroups3(a, x);
    ownPackGroups3(b, y);
    ownStore64<NT>(p, x[0], x[1]);
    ownStore64<NT>(p + 64, x[2], y[0]);
    ownStore64<NT>(p + 128, y[1], y[2]);
}
// Loads 128 bytes as four lane groups.
inline void ownLoadGroups4(const uint8_t* p, __m256i r[4]) {
    #pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) r[k] = ownLoadLanes(p + 16 * k, p + 64 + 16 * k);
}
// Stores four lane groups as 128 contiguous bytes.
template <bool NT = false>
inline void ownStoreGroups4(uint8_t* p, const __m256i r[4]) {
    ownStore64<NT>(p, _mm256_permute2x128_si256(r[0], r[1], 0x20), _mm256_permute2x128_si256(r[2], r[3], 0x20));
    ownStore64<NT>(p + 64, _mm256_permute2x128_si256(r[0], r[1], 0x31), _mm256_permute2x128_si256(r[2], r[3], 0x31));
}

// Transposes four registers of four 32-bit words in each lane: word j of register k becomes
// word k of register j.
inline void ownTranspose4x32(__m256i r[4]) {
    __m256i t0 = _mm256_unpacklo_epi32(r[0], r[1]), t1 = _mm256_unpackhi_epi32(r[0], r[1]);
    __m256i t2 = _mm256_unpacklo_epi32(r[2], r[3]), t3 = _mm256_unpackhi_epi32(r[2], r[3]);
    r[0] = _mm256_unpacklo_epi64(t0, t2);
    r[1] = _mm256_unpackhi_epi64(t0, t2);
    r[2] = _mm256_unpacklo_epi64(t1, t3);
    r[3] = _mm256_unpackhi_epi64(t1, t3);
}

// ---- constant tables for planar conversions --------------------------------------------

// Three channels: plane c sample i of a 48-byte group is group sample 3i+c, which lies in
// register (3i+c)/E at position (3i+c)%E (E = 16/S samples per register). For one c these
// positions are all different, so a blend of the three registers followed by one shuffle
// gathers the plane; the interleave runs the same tables backwards.
template <int S>
struct Planar3Tables {
    static constexpr int E = 16 / S;
    uint8_t from1[3][16], from2[3][16];  // per plane: positions taken from register 1, 2
    uint8_t gather[3][16];                // per plane: shuffle of the blended register
    uint8_t scatter[3][16];               // per plane: plane sample i to position (3i+c)%E
    uint8_t take1[3][16], take2[3][16];   // per register: positions filled from plane 1, 2
    constexpr Planar3Tables() : from1(), from2(), gather(), scatter(), take1(), take2() {
        #pragma GCC unroll 4
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < E; ++i) {
                int g = 3 * i + c, reg = g / E, q = g % E;
                for (int b = 0; b < S; ++b) {
                    from1[c][q * S + b] = reg == 1 ? 0xFF : 0;
                    from2[c][q * S + b] = reg == 2 ? 0xFF : 0;
                    gather[c][i * S + b] = (uint8_t)(q * S + b);
                    scatter[c][q * S + b] = (uint8_t)(i * S + b);
                }
            }
        #pragma GCC unroll 4
        for (int k = 0; k < 3; ++k)
            for (int q = 0; q < E; ++q)
                for (int b = 0; b < S; ++b) {
                    int c = (k * E + q) % 3;
                    take1[k][q * S + b] = c == 1 ? 0xFF : 0;
                    take2[k][q * S + b] = c == 2 ? 0xFF : 0;
                }
    }
};

// Four channels: a shuffle gathers each channel of a 16-byte register into one 32-bit word
// (word c = channel c of the register's pixels), then a 4x4 word transpose forms the planes.
template <int S>
struct Planar4Tables {
    uint8_t gather[16], scatter[16];
    constexpr Planar4Tables() : gather(), scatter() {
        constexpr int P = 4 / S;  // pixels per register
        for (int p = 0; p < P; ++p)
            #pragma GCC unroll 4
            for (int c = 0; c < 4; ++c)
                for (int b = 0; b < S; ++b) {
                    int from = p * 4 * S + c * S + b, to = c * 4 + p * S + b;
                    gather[to] = (uint8_t)from;
                    scatter[from] = (uint8_t)to;
                }
    }
};

template <int S> inline constexpr Planar3Tables<S> kPlanar3{};
template <int S> inline constexpr Planar4Tables<S> kPlanar4{};

// ---- planar row kernels ---------------------------------------------------------------
//
// With NT the whole blocks are written with non-temporal stores: every destination row must
// start on a 64-byte boundary (a block writes whole lines from there on), and the caller
// fences after the image.

// Runs block(x) for every whole block of B pixels of a row of n pixels and returns the pixels
// done. Each of the N source streams src[k] holds bpp bytes per pixel; with NT each block
// first prefetches into L2 the lines of its streams kStreamAhead / N bytes further on, as long
// as they lie inside the row.
template <int64_t B, bool NT, int N, class Block>
inline int64_t ownsPlanarBlocks(const uint8_t* const (&src)[N], int64_t bpp, int64_t n, Block block) {
    int64_t x = 0;
    if constexpr (NT) {
        const int64_t ahead = kStreamAhead / (N * bpp);
        const int64_t lines = (B * bpp + 63) / 64;
        for (; x + B + ahead <= n; x += B) {
            #pragma GCC unroll 4
            for (int k = 0; k < N; ++k)
                for (int64_t j = 0; j < lines; ++j)
                    _mm_prefetch((const char*)src[k] + bpp * (x + ahead) + 64 * j, _MM_HINT_T1);
            block(x);
        }
    }
    for (; x + B <= n; x += B) block(x);
    return x;
}

// Splits n three-channel pixels at src into the planes d[0], d[1], d[2]. Each step takes two
// 96-byte blocks and writes 64 bytes to each plane.
template <int S, bool NT = false>
void ownsSplitC3Row(const uint8_t* src, uint8_t* const planes[3], int64_t n) {
    uint8_t* const d[3] = {planes[0], planes[1], planes[2]};  // kept in registers across stores
    using T = typename Sample<S>::type;
    const auto& t = kPlanar3<S>;
    constexpr int64_t B = 64 / S;  // pixels per step
    __m256i f1[3], f2[3], g[3];
    #pragma GCC unroll 4
    for (int c = 0; c < 3; ++c) f1[c] = ownTable(t.from1[c]), f2[c] = ownTable(t.from2[c]), g[c] = ownTable(t.gather[c]);
    const uint8_t* const streams[1] = {src};
    int64_t x = ownsPlanarBlocks<B, NT>(streams, 3 * S, n, [&](int64_t x) {
        __m256i r[3], q[3];
        ownLoadGroups3x2(src + 3 * S * x, r, q);
        #pragma GCC unroll 4
        for (int c = 0; c < 3; ++c) {
            __m256i a = _mm256_blendv_epi8(_mm256_blendv_epi8(r[0], r[1], f1[c]), r[2], f2[c]);
            __m256i b = _mm256_blendv_epi8(_mm256_blendv_epi8(q[0], q[1], f1[c]), q[2], f2[c]);
            ownStore64<NT>(d[c] + S * x, _mm256_shuffle_epi8(a, g[c]), _mm256_shuffle_epi8(b, g[c]));
        }
    });
    const T* s = (const T*)src;
    for (; x < n; ++x)
        #pragma GCC unroll 4
        for (int c = 0; c < 3; ++c) ((T*)d[c])[x] = s[3 * x + c];
}

// Interleaves n pixels of the planes s[0], s[1], s[2] into three-channel pixels at dst, 64
// bytes of each plane per step.
template <int S, bool NT = false>
void ownsMergeC3Row(const uint8_t* const planes[3], uint8_t* dst, int64_t n) {
    const uint8_t* const s[3] = {planes[0], planes[1], planes[2]};
    using T = typename Sample<S>::type;
    const auto& t = kPlanar3<S>;
    constexpr int64_t B = 64 / S;
    __m256i sc[3], t1[3], t2[3];
    #pragma GCC unroll 4
    for (int c = 0; c < 3; ++c) sc[c] = ownTable(t.scatter[c]), t1[c] = ownTable(t.take1[c]), t2[c] = ownTable(t.take2[c]);
    int64_t x = ownsPlanarBlocks<B, NT>(s, S, n, [&](int64_t x) {
        __m256i p[3], q[3], r[3], o[3];
        #pragma GCC unroll 4
        for (int c = 0; c < 3; ++c) {
            p[c] = _mm256_shuffle_epi8(ownLoad32(s[c] + S * x), sc[c]);
            q[c] = _mm256_shuffle_epi8(ownLoad32(s[c] + S * x + 32), sc[c]);
        }
        #pragma GCC unroll 4
        for (int k = 0; k < 3; ++k) {
            r[k] = _mm256_blendv_epi8(_mm256_blendv_epi8(p[0], p[1], t1[k]), p[2], t2[k]);
            o[k] = _mm256_blendv_epi8(_mm256_blendv_epi8(q[0], q[1], t1[k]), q[2], t2[k]);
        }
        ownStoreGroups3x2<NT>(dst + 3 * S * x, r, o);
    });
    T* d = (T*)dst;
    for (; x < n; ++x)
        #pragma GCC unroll 4
        for (int c = 0; c < 3; ++c) d[3 * x + c] = ((const T*)s[c])[x];
}

// Splits n four-channel pixels at src into the planes d[0..3], 64 bytes of each plane per
// step.
template <int S, bool NT = false>
void ownsSplitC4Row(const uint8_t* src, uint8_t* const planes[4], int64_t n) {
    uint8_t* const d[4] = {planes[0], planes[1], planes[2], planes[3]};
    using T = typename Sample<S>::type;
    constexpr int64_t B = 64 / S;
    __m256i g = ownTable(kPlanar4<S>.gather);
    const uint8_t* const streams[1] = {src};
    int64_t x = ownsPlanarBlocks<B, NT>(streams, 4 * S, n, [&](int64_t x) {
        __m256i r[4], q[4];
        ownLoadGroups4(src + 4 * S * x, r);
        ownLoadGroups4(src + 4 * S * x + 128, q);
        #pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) r[k] = _mm256_shuffle_epi8(r[k], g), q[k] = _mm256_shuffle_epi8(q[k], g);
        ownTranspose4x32(r);
        ownTranspose4x32(q);
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) ownStore64<NT>(d[c] + S * x, r[c], q[c]);
    });
    const T* s = (const T*)src;
    for (; x < n; ++x)
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) ((T*)d[c])[x] = s[4 * x + c];
}

// Interleaves n pixels of the planes s[0..3] into four-channel pixels at dst.
template <int S, bool NT = false>
void ownsMergeC4Row(const uint8_t* const planes[4], uint8_t* dst, int64_t n) {
    const uint8_t* const s[4] = {planes[0], planes[1], planes[2], planes[3]};
    using T = typename Sample<S>::type;
    constexpr int64_t B = 32 / S;
    __m256i sc = ownTable(kPlanar4<S>.scatter);
    int64_t x = ownsPlanarBlocks<B, NT>(s, S, n, [&](int64_t x) {
        __m256i r[4];
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) r[c] = ownLoad32(s[c] + S * x);
        ownTranspose4x32(r);
        #pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) r[k] = _mm256_shuffle_epi8(r[k], sc);
        ownStoreGroups4<NT>(dst + 4 * S * x, r);
    });
    T* d = (T*)dst;
    for (; x < n; ++x)
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) d[4 * x + c] = ((const T*)s[c])[x];
}

// ---- channel reordering ----------------------------------------------------------------

// Shuffle tables of a three-channel reorder: out register k of a 48-byte group is the OR of
// in-lane shuffles of input registers k-1, k and k+1 (a sample moves at most two samples away,
// never past a neighbouring register).
struct SwapC3Tables {
    alignas(16) uint8_t t[3][3][16];  // [out register][in register][byte]
};

template <int S>
void ownBuildSwapC3(const int order[3], SwapC3Tables* tab) {
    constexpr int E = 16 / S;
    #pragma GCC unroll 4
    for (int k = 0; k < 3; ++k)
        for (int q = 0; q < E; ++q) {
            int g = k * E + q, src = 3 * (g / 3) + order[g % 3];
            for (int j = 0; j < 3; ++j)
                for (int b = 0; b < S; ++b)
                    tab->t[k][j][q * S + b] = src / E == j ? (uint8_t)((src % E) * S + b) : 0x80;
        }
}

// Writes n three-channel pixels to dst, channel i of each taken from channel order[i] of the
// same pixel at src, two 96-byte blocks per step. Each step reads its blocks whole before it
// writes them, so src may equal dst.
template <int S>
void ownsSwapC3Row(const uint8_t* src, uint8_t* dst, int64_t n, const int order[3], const SwapC3Tables& tab) {
    using T = typename Sample<S>::type;
    constexpr int64_t B = 32 / S;
    __m256i t00 = ownTable(tab.t[0][0]), t01 = ownTable(tab.t[0][1]);
    __m256i t10 = ownTable(tab.t[1][0]), t11 = ownTable(tab.t[1][1]), t12 = ownTable(tab.t[1][2]);
    __m256i t21 = ownTable(tab.t[2][1]), t22 = ownTable(tab.t[2][2]);
    int64_t x = 0;
    auto shuffle = [&](const __m256i r[3], __m256i o[3]) {
        o[0] = _mm256_or_si256(_mm256_shuffle_epi8(r[0], t00), _mm256_shuffle_epi8(r[1], t01));
        o[1] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(r[0], t10), _mm256_shuffle_epi8(r[1], t11)),
                               _mm256_shuffle_epi8(r[2], t12));
        o[2] = _mm256_or_si256(_mm256_shuffle_epi8(r[1], t21), _mm256_shuffle_epi8(r[2], t22));
    };
    for (; x + 2 * B <= n; x += 2 * B) {
        __m256i r[3], q[3], o[3], p[3];
        ownLoadGroups3x2(src + 3 * S * x, r, q);
        shuffle(r, o);
        shuffle(q, p);
        ownStoreGroups3x2(dst + 3 * S * x, o, p);
    }
    const T* s = (const T*)src;
    T* d = (T*)dst;
    for (; x < n; ++x) {
        T a = s[3 * x + order[0]], b = s[3 * x + order[1]], c = s[3 * x + order[2]];
        d[3 * x] = a, d[3 * x + 1] = b, d[3 * x + 2] = c;
    }
}

// Shuffle table of a four-channel reorder within each 16-byte register; keep marks the bytes
// that take the destination's own value (the alpha of AC4, entries above 3 of C3C4).
struct SwapC4Table {
    alignas(16) uint8_t t[16];
};

template <int S>
void ownBuildSwapC4(const int order[4], SwapC4Table* tab) {
    for (int p = 0; p < 4 / S; ++p)
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c)
            for (int b = 0; b < S; ++b) tab->t[p * 4 * S + c * S + b] = (uint8_t)(p * 4 * S + order[c] * S + b);
}

// Writes n four-channel pixels to dst, channel i of each taken from channel order[i] of the
// same pixel at src (order entries 0..3). src may equal dst.
template <int S>
void ownsSwapC4Row(const uint8_t* src, uint8_t* dst, int64_t n, const int order[4], const SwapC4Table& tab) {
    using T = typename Sample<S>::type;
    constexpr int64_t B = 8 / S;
    __m256i t = ownTable(tab.t);
    int64_t x = 0;
    for (; x + 2 * B <= n; x += 2 * B) {
        __m256i a = ownLoad32(src + 4 * S * x), b = ownLoad32(src + 4 * S * x + 32);
        ownStore64(dst + 4 * S * x, _mm256_shuffle_epi8(a, t), _mm256_shuffle_epi8(b, t));
    }
    const T* s = (const T*)src;
    T* d = (T*)dst;
    for (; x < n; ++x) {
        T v[4] = {s[4 * x + order[0]], s[4 * x + order[1]], s[4 * x + order[2]], s[4 * x + order[3]]};
        memcpy(d + 4 * x, v, sizeof v);
    }
}

// Reorder of AC4 pixels: channels 0..2 of dst from channels order[0..2] of src, the
// destination's alpha left as it is.
template <int S>
void ownsSwapAC4Row(const uint8_t* src, uint8_t* dst, int64_t n, const int order[3], const SwapC4Table& tab) {
    using T = typename Sample<S>::type;
    constexpr int64_t B = 8 / S;
    __m256i t = ownTable(tab.t);
    alignas(16) uint8_t alpha[16];  // the bytes of channel 3 keep the destination
    for (int i = 0; i < 16; ++i) alpha[i] = (i / S) % 4 == 3 ? 0xFF : 0;
    __m256i keep = ownTable(alpha);
    int64_t x = 0;
    for (; x + B <= n; x += B) {
        __m256i v = _mm256_shuffle_epi8(ownLoad32(src + 4 * S * x), t);
        ownStore32(dst + 4 * S * x, _mm256_blendv_epi8(v, ownLoad32(dst + 4 * S * x), keep));
    }
    const T* s = (const T*)src;
    T* d = (T*)dst;
    for (; x < n; ++x) {
        T a = s[4 * x + order[0]], b = s[4 * x + order[1]], c = s[4 * x + order[2]];
        d[4 * x] = a, d[4 * x + 1] = b, d[4 * x + 2] = c;
    }
}

// Three-channel to four-channel reorder, 48 source bytes to 64 destination bytes per step:
// each 16-byte destination register is shuffled from the 16-byte window that starts at its
// 12 source bytes (the last window starts 4 bytes earlier so that it ends inside the group).
struct SwapC3C4Tables {
    alignas(16) uint8_t first[16], last[16];  // windows 0..2 and window 3
    alignas(16) uint8_t val[16], keep[16];    // the constant's bytes, bytes left unchanged
    bool anyKeep;
};

// Per destination channel i: order[i] in 0..2 takes that source channel, 3 takes val, above 3
// leaves the destination channel unchanged.
template <int S>
void ownBuildSwapC3C4(const int order[4], const uint8_t* val, SwapC3C4Tables* tab) {
    tab->anyKeep = false;
    for (int p = 0; p < 4 / S; ++p)
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c)
            for (int b = 0; b < S; ++b) {
                int i = p * 4 * S + c * S + b, o = order[c];
                bool take = o <= 2;
                tab->first[i] = take ? (uint8_t)(p * 3 * S + o * S + b) : 0x80;
                tab->last[i] = take ? (uint8_t)(4 + p * 3 * S + o * S + b) : 0x80;
                tab->val[i] = o == 3 ? val[b] : 0;
                tab->keep[i] = o > 3 ? 0xFF : 0;
                tab->anyKeep |= o > 3;
            }
}

template <int S>
void ownsSwapC3C4Row(const uint8_t* src, uint8_t* dst, int64_t n, const int order[4], const uint8_t* val,
                     const SwapC3C4Tables& tab) {
    using T = typename Sample<S>::type;
    constexpr int64_t B = 16 / S;  // pixels per 48-byte group
    __m256i tA = ownTable(tab.first);
    __m256i tB = _mm256_inserti128_si256(tA, _mm_load_si128((const __m128i*)tab.last), 1);
    __m256i v = ownTable(tab.val), keep = ownTable(tab.keep);
    int64_t x = 0;
    for (; x + B <= n; x += B) {
        const uint8_t* s = src + 3 * S * x;
        uint8_t* d = dst + 4 * S * x;
        __m256i a = _mm256_or_si256(_mm256_shuffle_epi8(ownLoadLanes(s, s + 12), tA), v);
        __m256i b = _mm256_or_si256(_mm256_shuffle_epi8(ownLoadLanes(s + 24, s + 32), tB), v);
        if (tab.anyKeep) {
            a = _mm256_blendv_epi8(a, ownLoad32(d), keep);
            b = _mm256_blendv_epi8(b, ownLoad32(d + 32), keep);
        }
        ownStore64(d, a, b);
    }
    const T* s = (const T*)src;
    T* d = (T*)dst;
    T cv;
    memcpy(&cv, val, S);
    for (; x < n; ++x)
        #pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) {
            int o = order[c];
            if (o <= 2) d[4 * x + c] = s[3 * x + o];
            else if (o == 3) d[4 * x + c] = cv;
        }
}

// ---- duplication ------------------------------------------------------------------------

// Writes each of n bytes at src into the three bytes of a pixel at dst.
inline void ownsDupC3Row_8u(const uint8_t* src, uint8_t* dst, int64_t n) {
    alignas(32) static constexpr uint8_t k0[32] = {0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5,
                                                    5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10};
    alignas(32) static constexpr uint8_t k1[32] = {10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15,
                                                    0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5};
    alignas(32) static constexpr uint8_t k2[32] = {5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10,
                                                    10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15};
    __m256i t0 = _mm256_load_si256((const __m256i*)k0), t1 = _mm256_load_si256((const __m256i*)k1);
    __m256i t2 = _mm256_load_si256((const __m256i*)k2);
    int64_t x = 0;
    for (; x + 64 <= n; x += 64) {
        __m256i v[6];
        #pragma GCC unroll 4
        for (int h = 0; h < 2; ++h) {
            const uint8_t* p = src + x + 32 * h;
            __m256i lo = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)p));
            __m256i hi = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(p + 16)));
            v[3 * h] = _mm256_shuffle_epi8(lo, t0);
            v[3 * h + 1] = _mm256_shuffle_epi8(ownLoad32(p), t1);
            v[3 * h + 2] = _mm256_shuffle_epi8(hi, t2);
        }
        ownStore64(dst + 3 * x, v[0], v[1]);
        ownStore64(dst + 3 * x + 64, v[2], v[3]);
        ownStore64(dst + 3 * x + 128, v[4], v[5]);
    }
    for (; x < n; ++x) dst[3 * x] = dst[3 * x + 1] = dst[3 * x + 2] = src[x];
}

// Writes each of n bytes at src into the four bytes of a pixel at dst.
inline void ownsDupC4Row_8u(const uint8_t* src, uint8_t* dst, int64_t n) {
    alignas(32) static constexpr uint8_t k0[32] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,
                                                    4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7};
    __m256i t0 = _mm256_load_si256((const __m256i*)k0);
    __m256i t1 = _mm256_add_epi8(t0, _mm256_set1_epi8(8));
    int64_t x = 0;
    for (; x + 16 <= n; x += 16) {
        __m256i v = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(src + x)));
        ownStore64(dst + 4 * x, _mm256_shuffle_epi8(v, t0), _mm256_shuffle_epi8(v, t1));
    }
    for (; x < n; ++x) {
        uint32_t v = src[x] * 0x01010101u;
        memcpy(dst + 4 * x, &v, 4);
    }
}

}  // namespace zel
