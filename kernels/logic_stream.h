// The element-stream engine of the logic, shift and element-wise families: a row is a run of
// bytes processed 64 at a time by an operation on 512-bit vectors. A second operand comes
// either from a second image or from a pattern of per-channel constants that repeats every
// pixel; since a pixel of 3 channels does not divide 64 bytes, patterns span three vectors
// (192 bytes, a multiple of every 3-channel pixel size) and the operation sees which of them
// it works on. AC4 rows keep the destination's fourth channel by a bit select against it.
//
// The last partial vector of a row goes through the same vector operation on a copy in a
// local buffer, so a row's tail gives bit for bit what its body gives, and no byte outside
// the row is read or written.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

#include "kernels/copy_engine.h"
#include "kernels/vector_halves.h"


namespace zel {

// A step reduced to whole samples of S bytes (the library's row-walking rule).
template <int S>
inline int64_t ownsWholeStep(int64_t step) {
    return step / S * S;
}

template <class... P>
inline bool ownsAnyNull(P... p) {
    return ((p == nullptr) || ...);
}

// Period of the constant pattern of a C-channel layout, in 64-byte vectors.
constexpr int ownsPatternPeriod(int channels) { return channels == 3 ? 3 : 1; }

// 192 bytes of pixels: sample i of the stream holds value[i % C]; every sample of a
// channel at or beyond `used` is zero.
template <typename T>
inline void ownsBuildPattern(uint8_t (&pat)[192], const T* value, int channels, int used) {
    constexpr int S = sizeof(T);
    for (int i = 0; i < 192 / S; ++i) {
        int c = i % channels;
        T v = c < used ? value[c] : T(0);
        memcpy(pat + i * S, &v, S);
    }
}

// Bits of the fourth channel of 4-channel pixels of S-byte samples, repeated over a vector.
template <int S>
inline __m512i ownsAlphaBits() {
    if constexpr (S == 1) return _mm512_set1_epi32((int)0xFF000000u);
    if constexpr (S == 2) return _mm512_set1_epi64((long long)0xFFFF000000000000ull);
    return _mm512_setr_epi32(0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1);
}

// The 64 bytes the engine hands to an operation: one 512-bit register, or, for operations that
// declare `using Vec = Halves`, two 256-bit halves. Operations on 8- and 16-bit lanes have
// AVX2 instructions only, and splitting a 512-bit register and joining it again costs two
// shuffles per vector, more than the operation itself: every such operation (shifts, Abs,
// complement, the fixed thresholds) takes Halves, its constants included. Only operations
// that widen samples to 32-bit lanes work on whole registers (ownsWidenU).
struct Halves {
    __m256i lo, hi;
};
// Operations that declare `static constexpr bool kHeavy = true` (roots, exponentials) count as
// heavy kernels for the choice of streaming stores.
template <class Op, class = void>
struct StreamHeavy : std::false_type {};
template <class Op>
struct StreamHeavy<Op, std::void_t<decltype(Op::kHeavy)>> : std::bool_constant<Op::kHeavy> {};

template <class Op, class = void>
struct StreamVec {
    using type = __m512i;
};
template <class Op>
struct StreamVec<Op, std::void_t<typename Op::Vec>> {
    using type = typename Op::Vec;
};

inline void ownsVecLoad(const uint8_t* p, __m512i& v) { v = _mm512_loadu_si512(p); }
inline void ownsVecLoad(const uint8_t* p, Halves& v) {
    v.lo = _mm256_loadu_si256((const __m256i*)p);
    v.hi = _mm256_loadu_si256((const __m256i*)(p + 32));
}
template <bool NT>
inline void ownsVecStore(uint8_t* p, __m512i v) {
    if constexpr (NT) _mm512_stream_si512((__m512i*)p, v);
    else _mm512_storeu_si512(p, v);
}
template <bool NT>
inline void ownsVecStore(uint8_t* p, const Halves& v) {
    if constexpr (NT) {
        _mm256_stream_si256((__m256i*)p, v.lo);
        _mm256_stream_si256((__m256i*)(p + 32), v.hi);
    } else {
        _mm256_storeu_si256((__m256i*)p, v.lo);
        _mm256_storeu_si256((__m256i*)(p + 32), v.hi);
    }
}
// The bytes of r, except where keep is set: those come from d (keep sets whole bytes).
inline __m512i ownsVecKeep(__m512i keep, __m512i d, __m512i r) { return _mm512_ternarylogic_epi32(keep, d, r, 0xCA); }
inline Halves ownsVecKeep(const Halves& keep, const Halves& d, const Halves& r) {
    return {_mm256_blendv_epi8(r.lo, d.lo, keep.lo), _mm256_blendv_epi8(r.hi, d.hi, keep.hi)};
}

// One row: d[0..n) = op(a, b) vector by vector; b is the second image (Two) or the pattern
// vector of the current phase; with Keep, bytes set in `keep` come from d unchanged. Stream
// writes with non-temporal stores, needs d 64-byte aligned and prefetches its sources. Op is
// called as op(a, b, phase) with phase 0..Period-1, on vectors of type V.
template <int Period, bool Two, bool Keep, bool Stream, class Op, class V>
inline void ownsStreamRow(const Op& op, const uint8_t* a, const uint8_t* b, const V* pat, const V& keep, uint8_t* d,
                          int64_t n) {
    auto one = [&](int64_t off, int k) {
        V va, vb, r;
        ownsVecLoad(a + off, va);
        if constexpr (Two) ownsVecLoad(b + off, vb);
        else vb = pat[k];
        r = op(va, vb, k);
        if constexpr (Keep) {
            V vd;
            ownsVecLoad(d + off, vd);
            r = ownsVecKeep(keep, vd, r);
        }
        ownsVecStore<Stream>(d + off, r);
    };
    int64_t i = 0;
    if constexpr (Stream) {  // prefetch the sources kStreamAhead bytes on, inside the row
        constexpr int64_t ahead = kStreamAhead / (Two ? 2 : 1);
        for (; i + 64 * Period + ahead <= n; i += 64 * Period)
            for (int k = 0; k < Period; ++k) {
                _mm_prefetch((const char*)a + i + 64 * k + ahead, _MM_HINT_T1);
                if constexpr (Two) _mm_prefetch((const char*)b + i + 64 * k + ahead, _MM_HINT_T1);
                one(i + 64 * k, k);
            }
    }
    for (; i + 64 * Period <= n; i += 64 * Period)
        for (int k = 0; k < Period; ++k) one(i + 64 * k, k);
    int k = 0;
    for (; i + 64 <= n; i += 64, ++k) one(i, k);
    if (i < n) {
        int64_t m = n - i;
        alignas(64) uint8_t ba[64] = {}, bb[64] = {}, bd[64] = {};
        memcpy(ba, a + i, m);
        if constexpr (Two) memcpy(bb, b + i, m);
        if constexpr (Keep) memcpy(bd, d + i, m);
        V va, vb, r;
        ownsVecLoad(ba, va);
        if constexpr (Two) ownsVecLoad(bb, vb);
        else vb = pat[k];
        r = op(va, vb, k);
        if constexpr (Keep) {
            V vd;
            ownsVecLoad(bd, vd);
            r = ownsVecKeep(keep, vd, r);
        }
        ownsVecStore<false>(bd, r);
        memcpy(d + i, bd, m);
    }
}

// The image: height rows of rowBytes bytes, steps already reduced to whole samples (bStep
// is ignored without a second image). Rows that follow each other without padding are
// handled as one long row. Large images whose destination rows all start on a 64-byte
// boundary are written with non-temporal stores (ownsUseStreamingComputed).
template <int Period, bool Two, bool Keep, class Op>
void ownsStreamImage(const Op& op, const uint8_t* a, int64_t aStep, const uint8_t* b, int64_t bStep,
                     const uint8_t* pattern, __m512i keep, uint8_t* d, int64_t dStep, int64_t rowBytes,
                     int64_t height) {
    using V = typename StreamVec<Op>::type;
    alignas(64) static constexpr uint8_t kZero[192] = {};
    alignas(64) uint8_t keepBytes[64];
    _mm512_store_si512(keepBytes, keep);
    V pat[3], vkeep;
    for (int k = 0; k < 3; ++k) ownsVecLoad((pattern ? pattern : kZero) + 64 * k, pat[k]);
    ownsVecLoad(keepBytes, vkeep);
    if (aStep == rowBytes && dStep == rowBytes && (!Two || bStep == rowBytes)) {
        rowBytes *= height;
        height = 1;
    }
    const int64_t moved = rowBytes * height * (Two ? 3 : 2);
    bool stream = ownsUseStreamingComputed(moved, StreamHeavy<Op>::value) && ((uintptr_t)d & 63) == 0 &&
                  (height == 1 || dStep % 64 == 0);
    if (stream) {
        for (int64_t r = 0; r < height; ++r, a += aStep, b += Two ? bStep : 0, d += dStep)
            ownsStreamRow<Period, Two, Keep, true>(op, a, b, pat, vkeep, d, rowBytes);
        _mm_sfence();
    } else {
        for (int64_t r = 0; r < height; ++r, a += aStep, b += Two ? bStep : 0, d += dStep)
            ownsStreamRow<Period, Two, Keep, false>(op, a, b, pat, vkeep, d, rowBytes);
    }
}

// Dispatch on the layout: C channels of S-byte samples, Alpha for AC4 (C = 4). The pattern
// is used when there is no second image.
template <int S, int C, bool Alpha, bool Two, class Op>
void ownsStreamLayout(const Op& op, const void* a, int64_t aStep, const void* b, int64_t bStep,
                      const uint8_t* pattern, void* d, int64_t dStep, int64_t width, int64_t height) {
    constexpr int P = Two ? 1 : ownsPatternPeriod(C);
    ownsStreamImage<P, Two, Alpha>(op, (const uint8_t*)a, ownsWholeStep<S>(aStep), (const uint8_t*)b,
                                   ownsWholeStep<S>(bStep), pattern, Alpha ? ownsAlphaBits<S>() : __m512i{},
                                   (uint8_t*)d, ownsWholeStep<S>(dStep), width * C * S, height);
}

// A sample-wise unary operation on C channels: without alpha the channels do not matter and a
// row is width * C samples of one channel.
template <int S, int C, bool Alpha, class Op>
void ownsStreamUnary(const Op& op, const void* a, int64_t aStep, void* d, int64_t dStep, int64_t width,
                     int64_t height) {
    ownsStreamLayout<S, Alpha ? 4 : 1, Alpha, false>(op, a, aStep, nullptr, 0, nullptr, d, dStep,
                                                     Alpha ? width : width * C, height);
}

// Sub-vector access for operations that widen samples to 32-bit lanes: part j (0..3) of a
// vector as 16 bytes, parts j (0..1) as 32 bytes.
inline __m128i ownsPart128(__m512i v, int j) {
    switch (j) {
        case 0: return _mm512_extracti32x4_epi32(v, 0);
        case 1: return _mm512_extracti32x4_epi32(v, 1);
        case 2: return _mm512_extracti32x4_epi32(v, 2);
        default: return _mm512_extracti32x4_epi32(v, 3);
    }
}
inline __m512i ownsJoin128(__m128i p0, __m128i p1, __m128i p2, __m128i p3) {
    __m512i r = _mm512_castsi128_si512(p0);
    r = _mm512_inserti32x4(r, p1, 1);
    r = _mm512_inserti32x4(r, p2, 2);
    return _mm512_inserti32x4(r, p3, 3);
}

// Applies f to every 32-bit widened lane group of a vector of 8-bit (W = 1) or 16-bit (W = 2)
// unsigned samples, with the matching group of b: f(__m512i a32, __m512i b32) -> __m512i of
// 32-bit results, narrowed back by truncation.
template <int W, class F>
inline __m512i ownsWidenU(__m512i a, __m512i b, F f) {
    if constexpr (W == 1) {
        __m128i p[4];
        for (int j = 0; j < 4; ++j)
            p[j] = _mm512_cvtepi32_epi8(f(_mm512_cvtepu8_epi32(ownsPart128(a, j)), _mm512_cvtepu8_epi32(ownsPart128(b, j))));
        return ownsJoin128(p[0], p[1], p[2], p[3]);
    } else {
        __m256i lo = _mm512_cvtepi32_epi16(f(_mm512_cvtepu16_epi32(ownsLo256(a)), _mm512_cvtepu16_epi32(ownsLo256(b))));
        __m256i hi = _mm512_cvtepi32_epi16(f(_mm512_cvtepu16_epi32(ownsHi256(a)), _mm512_cvtepu16_epi32(ownsHi256(b))));
        return ownsJoin256(lo, hi);
    }
}

}  // namespace zel
