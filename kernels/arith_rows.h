// Row machinery of the element-wise arithmetic families: the block driver that runs a vector
// kernel over one row (whole blocks in place, the remainder through copies on the stack), and
// the row walker that hands each row of an image, a long packed run, a constant pattern or an
// AC4 row to such a row kernel.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>

#include "frame/zel_internal.h"

namespace zel {

// The scale of one call, decoded once; what a row kernel needs besides its rows.
struct ArithCtx {
    int n = 0;                    // shift count, |scaleFactor| limited as the kernel needs
    int32_t lo = 0, hi = 0;       // left shift: the exact result is first clamped to [lo, hi]
    uint32_t mask = 0, half = 0;  // right shift: the bits shifted out, and half of 2^n
    float fscale = 1.0f;          // division: 2^-scaleFactor
    double dscale = 1.0;
};

// A row kernel: d[i] = op(s1[i], s2[i]) for i < n. Returns non-zero when a division met a
// zero divisor.
template <typename T>
using ArithRowFn = int (*)(const T* s1, const T* s2, T* d, int64_t n, const ArithCtx& c);

// Runs the block kernel K over n samples. K::load reads the operand-1 value of one block of
// K::B samples and K::block combines it with a block of s2 into d. With Pat, s1 is a constant
// pattern (kArithPatternBytes, repeating with a period that divides three blocks) whose three
// block values are loaded once and kept in registers. Whole blocks are read and written in
// place; a partial block goes through stack copies padded with ones, so that padding never
// counts as a zero divisor and nothing outside the row is touched. With NT the destination is
// first brought to a 64-byte boundary, then whole blocks are written with streaming stores.
template <class K, bool NT, bool Pat>
int ownsArithRun(const typename K::T* s1, const typename K::T* s2, typename K::T* d, int64_t n,
                 const ArithCtx& c) {
    using T = typename K::T;
    using V = typename K::V;
    constexpr int B = K::B;
    const K k(c);
    int zero = 0;
    // Operand 1 of sample i on: the image, or the pattern at the same phase.
    auto first = [&](int64_t i) { return Pat ? s1 + i % (3 * B) : s1 + i; };
    auto partial = [&](int64_t i, int64_t m) {
        T a[B], b[B], r[B];
        for (int j = 0; j < B; ++j) a[j] = b[j] = T(1);
        memcpy(a, first(i), (size_t)m * sizeof(T));
        memcpy(b, s2 + i, (size_t)m * sizeof(T));
        zero |= k.template block<false>(K::load(a), b, r);
        memcpy(d + i, r, (size_t)m * sizeof(T));
    };
    auto blocks = [&](int64_t i, auto nt) {
        constexpr bool kNT = decltype(nt)::value;
        if constexpr (Pat) {
            const V p0 = K::load(first(i)), p1 = K::load(first(i + B)), p2 = K::load(first(i + 2 * B));
            for (; i + 3 * B <= n; i += 3 * B) {
                zero |= k.template block<kNT>(p0, s2 + i, d + i);
                zero |= k.template block<kNT>(p1, s2 + i + B, d + i + B);
                zero |= k.template block<kNT>(p2, s2 + i + 2 * B, d + i + 2 * B);
            }
        }
        for (; i + B <= n; i += B) zero |= k.template block<kNT>(K::load(first(i)), s2 + i, d + i);
        return i;
    };
    int64_t i = 0;
    if constexpr (NT) {
        if ((uintptr_t)d % sizeof(T) == 0) {
            int64_t head = std::min<int64_t>(n, (int64_t)((64 - ((uintptr_t)d & 63)) & 63) / (int64_t)sizeof(T));
            for (; i < head; i += B) partial(i, std::min<int64_t>(B, head - i));
            i = blocks(head, std::true_type{});
        }
    }
    i = blocks(i, std::false_type{});
    if (i < n) partial(i, n - i);
    return zero;
}

// Writes n zero samples.
template <typename T>
int ownsArithZeroRow(const T*, const T*, T* d, int64_t n, const ArithCtx&) {
    memset(d, 0, (size_t)n * sizeof(T));
    return 0;
}

// Samples per piece of an AC4 row: a multiple of 4 and of 64 bytes, so that streaming stores
// keep their alignment from piece to piece. Bytes of a constant pattern: four blocks of the
// widest kernel, so that three blocks can start at any sample of the first.
constexpr int64_t kArithPiece = 1536;
constexpr int64_t kArithPatternBytes = 256;

// Walks h rows of w samples. Operand 1 is an image (s1, s1Step) or, with pattern,
// kArithPatternBytes of a repeating constant that every row and piece starts from. Steps are in bytes
// and reduced to whole samples; when every image is packed the rows run as one. With ac4 the
// samples form four-channel pixels whose fourth sample keeps its value in d: the kernel writes a
// stack row whose colour samples are copied out, and an image operand 1 reads 1 as alpha, so
// that alpha never counts as a zero divisor. Returns the kernels' zero-divisor flags, or-ed.
template <typename T>
int ownsArithRows(ArithRowFn<T> fn, const ArithCtx& c, const T* s1, int64_t s1Step, bool pattern, const T* s2,
                  int64_t s2Step, T* d, int64_t dStep, int64_t w, int64_t h, bool ac4) {
    const int64_t e1 = pattern ? 0 : s1Step / (int64_t)sizeof(T);
    const int64_t e2 = s2Step / (int64_t)sizeof(T), ed = dStep / (int64_t)sizeof(T);
    if (h > 1 && (pattern || e1 == w) && e2 == w && ed == w && w * h < kInt32Max) {
        w *= h;
        h = 1;
    }
    int zero = 0;
    for (int64_t y = 0; y < h; ++y) {
        const T* a = s1 + e1 * y;
        const T* b = s2 + e2 * y;
        T* o = d + ed * y;
        if (!ac4) {
            zero |= fn(a, b, o, w, c);
            continue;
        }
        for (int64_t p = 0; p < w; p += kArithPiece) {
            const int64_t len = std::min(kArithPiece, w - p);
            T one[kArithPiece], res[kArithPiece];
            const T* x = a;
            if (!pattern) {  // images of 16-bit samples may sit at odd addresses: no typed access
                memcpy(one, a + p, (size_t)len * sizeof(T));
                for (int64_t i = 3; i < len; i += 4) one[i] = T(1);
                x = one;
            }
            zero |= fn(x, b + p, res, len, c);
            for (int64_t i = 0; i < len; i += 4) memcpy(o + p + i, res + i, 3 * sizeof(T));
        }
    }
    return zero;
}

}  // namespace zel
