// The frame of the fixed-kernel filters (Sobel, Scharr, Prewitt, Roberts, Laplace, Sharpen,
// Hipass, the Sobel norm and the gradient vectors): argument checks, the walk over bands of
// destination columns, and the two pipelines that feed a filter's output stage.
//
// A filter is one or two separable 3x3 or 5x5 kernels (a row pass and a column pass, each a
// one-dimensional kernel of 3 or 5 taps) plus an output stage that turns the kernels' results
// into destination samples (a store with saturation, a combination with the centre pixel, a
// norm, an angle). Everything else is written once here:
//
// - Bands. The border state of BorderRows lives on the stack, so the ROI is walked in bands of
//   at most kBandElems samples (fewer for wide pixels); each band sees its own border segments.
//   Every result depends only on the pixels of its neighbourhood, never on the band width.
// - Row first (16s, 16u and 32f sources): for each source row the row pass writes one
//   intermediate row into a ring of 3 or 5 rows in the caller's buffer; the column pass then
//   combines the ring rows of y - r .. y + r into destination row y. This is the order of
//   operations that fixes every single-precision result.
// - Column first (8u sources, whose buffer query returns a fixed 32 bytes): the column pass
//   combines the source rows straight from the border component's row pointers into one row
//   on the stack, and the row pass runs over it. The arithmetic is 16-bit and wraps; every
//   8u kernel's exact result fits 16 bits, so the result is the exact one, in either order.
//
// One-dimensional kernels are taken in pair form, with weights w0 (centre), w1, w2:
//   even (symmetric):      w2 (q(+2) + q(-2)) + w1 (q(+1) + q(-1)) + w0 q(0)
//   odd (antisymmetric):   w2 (q(+2) - q(-2)) + w1 (q(+1) - q(-1))
// where q(+k) is k columns right of (row pass) or k rows below (column pass) the centre. In
// single precision the order is fixed: acc = w_R * pair_R, then acc = fma(w_k, pair_k, acc) for
// k = R - 1 down to 1, then (even kernels) acc = fma(w0, q(0), acc); zero weights are applied
// like any other. A one-tap-radius kernel is R = 1.
#pragma once

#include <immintrin.h>
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "filter/border_rows.h"
#include "kernels/copy_engine.h"
#include "frame/zel_internal.h"

namespace zel {

// ---- kernels ---------------------------------------------------------------------------------

struct Taps {
    int R;     // radius: 1 (3 taps) or 2 (5 taps)
    bool odd;  // antisymmetric
    int w[3];  // w0 centre, w1, w2
};

constexpr Taps kSmooth3{1, false, {2, 1, 0}};    // 1 2 1
constexpr Taps kSmooth5{2, false, {6, 4, 1}};    // 1 4 6 4 1
constexpr Taps kDeriv3{1, true, {0, 1, 0}};      // -1 0 1: right minus left, bottom minus top
constexpr Taps kDeriv5{2, true, {0, 2, 1}};      // -1 -2 0 2 1
constexpr Taps kNegDeriv3{1, true, {0, -1, 0}};  // 1 0 -1: left minus right
constexpr Taps kNegDeriv5{2, true, {0, -2, -1}};
constexpr Taps kSecond3{1, false, {-2, 1, 0}};   // 1 -2 1
constexpr Taps kSecond5{2, false, {-2, 0, 1}};   // 1 0 -2 0 1
constexpr Taps kScharr3{1, false, {10, 3, 0}};   // 3 10 3
constexpr Taps kBox3{1, false, {1, 1, 0}};       // 1 1 1
constexpr Taps kBox5{2, false, {1, 1, 1}};       // 1 1 1 1 1

// One separable kernel: the row pass, then the column pass.
struct Separable {
    Taps row, col;
};

// What a filter computes: one or two separable kernels (two for gx and gy).
struct FixedPlan {
    int nf;
    Separable k[2];
};

inline float ownMadd(float w, float x, float acc) { return __builtin_fmaf(w, x, acc); }
inline int32_t ownMadd(int32_t w, int32_t x, int32_t acc) { return w * x + acc; }
inline int16_t ownMadd(int16_t w, int16_t x, int16_t acc) { return (int16_t)(uint16_t)((uint32_t)w * (uint32_t)x + (uint32_t)acc); }

template <typename A>
inline A ownPair(bool odd, A hi, A lo) {
    if constexpr (sizeof(A) == 2) return (A)(uint16_t)(odd ? (uint32_t)hi - (uint32_t)lo : (uint32_t)hi + (uint32_t)lo);
    else return odd ? hi - lo : hi + lo;
}
template <typename A>
inline A ownMul(A w, A x) {
    if constexpr (sizeof(A) == 2) return (A)(uint16_t)((uint32_t)w * (uint32_t)x);
    else return w * x;
}

// out[i] = the kernel t over q[0][i] .. q[2R][i] (q[R] the centre), in the order above.
template <int R, bool Odd, typename In, typename A>
void ownTapsLineT(const In* const* q, const A* w, int64_t n, A* __restrict out) {
    const A w0 = w[0], w1 = w[1], w2 = w[2];
    if constexpr (R == 1) {
        const In *a = q[0], *c = q[1], *b = q[2];
        for (int64_t i = 0; i < n; ++i) {
            A acc = ownMul(w1, ownPair<A>(Odd, (A)b[i], (A)a[i]));
            if constexpr (!Odd) acc = ownMadd(w0, (A)c[i], acc);
            out[i] = acc;
        }
    } else {
        const In *a2 = q[0], *a1 = q[1], *c = q[2], *b1 = q[3], *b2 = q[4];
        for (int64_t i = 0; i < n; ++i) {
            A acc = ownMul(w2, ownPair<A>(Odd, (A)b2[i], (A)a2[i]));
            acc = ownMadd(w1, ownPair<A>(Odd, (A)b1[i], (A)a1[i]), acc);
            if constexpr (!Odd) acc = ownMadd(w0, (A)c[i], acc);
            out[i] = acc;
        }
    }
}

template <typename In, typename A>
void ownTapsLine(const Taps& t, const In* const* q, int64_t n, A* out, bool stream = false) {
    if constexpr (std::is_same<In, float>::value && std::is_same<A, float>::value) return ownTapsLineF(t, q, n, out, stream);
    const A w[3] = {(A)t.w[0], (A)t.w[1], (A)t.w[2]};
    if (t.R == 1) {
        if (t.odd) ownTapsLineT<1, true>(q, w, n, out);
        else ownTapsLineT<1, false>(q, w, n, out);
    } else {
        if (t.odd) ownTapsLineT<2, true>(q, w, n, out);
        else ownTapsLineT<2, false>(q, w, n, out);
    }
}

// The single-precision kernel in 512-bit registers, the tail masked; with stream set, the
// stores from the first 64-byte boundary of out on are non-temporal. Same operations as
// ownTapsLineT, so the same results.
inline void ownTapsLineF(const Taps& t, const float* const* q, int64_t n, float* out, bool stream) {
    const __m512 w0 = _mm512_set1_ps((float)t.w[0]), w1 = _mm512_set1_ps((float)t.w[1]), w2 = _mm512_set1_ps((float)t.w[2]);
    const int R = t.R;
    const bool odd = t.odd;
    auto at = [&](int k, int64_t i, __mmask16 m) { return _mm512_maskz_loadu_ps(m, q[k] + i); };
    auto one = [&](int64_t i, __mmask16 m) {
        auto pair = [&](int k) {
            const __m512 hi = at(R + k, i, m), lo = at(R - k, i, m);
            return odd ? _mm512_sub_ps(hi, lo) : _mm512_add_ps(hi, lo);
        };
        __m512 acc;
        if (R == 1) {
            acc = _mm512_mul_ps(w1, pair(1));
        } else {
            acc = _mm512_mul_ps(w2, pair(2));
            acc = _mm512_fmadd_ps(w1, pair(1), acc);
        }
        if (!odd) acc = _mm512_fmadd_ps(w0, at(R, i, m), acc);
        return acc;
    };
    int64_t i = 0;
    if (stream) {
        const int64_t head = (int64_t)((64 - ((uintptr_t)out & 63)) & 63) / 4;
        if ((((uintptr_t)out & 3) == 0) && head < n) {
            if (head) _mm512_mask_storeu_ps(out, (__mmask16)((1u << head) - 1), one(0, (__mmask16)((1u << head) - 1)));
            for (i = head; i + 16 <= n; i += 16) _mm512_stream_ps(out + i, one(i, 0xffff));
        }
    }
    for (; i + 16 <= n; i += 16) _mm512_storeu_ps(out + i, one(i, 0xffff));
    if (i < n) {
        const __mmask16 m = (__mmask16)((1u << (n - i)) - 1);
        _mm512_mask_storeu_ps(out + i, m, one(i, m));
    }
}

// Row pass over the samples p[0 .. n) of a row with `stride` samples between neighbours.
template <typename In, typename A>
void ownTapsRow(const Taps& t, const In* p, int64_t stride, int64_t n, A* out) {
    const In* q[5];
    for (int k = 0; k <= 2 * t.R; ++k) q[k] = p + (k - t.R) * stride;
    ownTapsLine(t, q, n, out);
}

// ---- checks ----------------------------------------------------------------------------------

constexpr unsigned kMask3 = 1, kMask35 = 3;  // accepted masks: bit 0 is 33, bit 1 is 55

inline int ownMaskSide(int mask) { return mask == zelMskSize3x3 ? 3 : 5; }

inline ZelStatus ownCheckMask(int mask, unsigned accepted) {
    if (mask == zelMskSize3x3 && (accepted & 1)) return zelStsNoErr;
    if (mask == zelMskSize5x5 && (accepted & 2)) return zelStsNoErr;
    return zelStsMaskSizeErr;
}

// A step must be a whole number of elements; no other test.
inline bool ownStepOk(int64_t step, int elemBytes) { return step % elemBytes == 0; }

// The border test of the frame, then the constant's pointer when the constant is needed.
inline ZelStatus ownCheckBorder(unsigned border, unsigned kinds, const void* value, BorderArg* b) {
    if (ZelStatus s = ownBorderDecode(border, kinds, b)) return s;
    return (b->kind == 6 && !value) ? zelStsNullPtrErr : zelStsNoErr;
}

// The buffer size of the ring queries: nf rings of `rows` rows of width x channels 4-byte
// samples, each row rounded up to 16 samples, plus 32 bytes of alignment.
inline ZelStatus ownRingQuery(int64_t width, int64_t channels, int rows, int nf, int* pSize) {
    const int64_t n = ((width * channels + 15) & ~(int64_t)15) * rows * 4 * nf + 32;
    if (n > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)n;
    return zelStsNoErr;
}

// The checks of every fixed-kernel filter, in order: pSrc, pDst, pBuffer null; width or height
// below 1; a step that is not a whole number of its image's elements (zelStsNotEvenStepErr);
// the mask; the border, and the constant's pointer when the constant is needed.
inline ZelStatus ownFixedChecks(const void* pSrc, int64_t srcStep, int srcElem, const void* pDst, int64_t dstStep,
                                int dstElem, const void* pBuffer, ZeliSize roi, int mask, unsigned masks,
                                unsigned border, unsigned kinds, const void* value, BorderArg* b) {
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (!ownStepOk(srcStep, srcElem) || !ownStepOk(dstStep, dstElem)) return zelStsNotEvenStepErr;
    if (ZelStatus s = ownCheckMask(mask, masks)) return s;
    return ownCheckBorder(border, kinds, value, b);
}

// The query of the derivative families (Sobel, Scharr, Prewitt, Roberts): pBufferSize null;
// width or height below 1; the mask; 16s from 8u or 16s, 32f from 32f (zelStsDataTypeErr);
// channels other than 1 (zelStsNumChannelsErr). The ring size, or a fixed 32 from 8u to 16s.
template <unsigned Masks>
ZelStatus ownDerivativeQuery(ZeliSize roi, ZeliMaskSize mask, ZelDataType srcType, ZelDataType dstType, int channels, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ZelStatus s = ownCheckMask(mask, Masks)) return s;
    const bool from8u = srcType == zel8u && dstType == zel16s;
    if (!from8u && !(srcType == zel16s && dstType == zel16s) && !(srcType == zel32f && dstType == zel32f))
        return zelStsDataTypeErr;
    if (channels != 1) return zelStsNumChannelsErr;
    if (from8u) {
        *pSize = 32;
        return zelStsNoErr;
    }
    return ownRingQuery(roi.width, 1, ownMaskSide(mask), 1, pSize);
}

// ---- the walk --------------------------------------------------------------------------------

constexpr int kBandElems = 1024;    // samples of one band row
constexpr int kStateBytes = 8192;  // the band's border state on the stack

// The source and the border of one call.
struct FixedSource {
    const void* src;
    int64_t step;
    int elemBytes, channels, width, height;
    BorderExtent e;
    BorderArg b;
    const void* value;
    int valueSamples;
};

// The widest band, a multiple of 16 pixels, whose border state fits kStateBytes.
inline int ownBandWidth(const FixedSource& s) {
    const int P = s.elemBytes * s.channels;
    int bw = kBandElems / s.channels & ~15;
    while (bw > 16 && BorderRows::bufferSize(bw, P, s.e) > kStateBytes) bw -= 16;
    return bw < s.width ? bw : s.width;
}

// Source rows are fetched this many rows ahead of the row pass: a band's piece of a row is a
// short run that the hardware prefetcher alone does not start early enough.
constexpr int kAheadRows = 4;
inline void ownPrefetchRow(const uint8_t* p, int64_t bytes) {
    for (int64_t i = 0; i < bytes; i += 64) _mm_prefetch((const char*)p + i, _MM_HINT_T0);
}

// Whether a filter writing dstBytes-sample results of the whole ROI streams them past the
// caches: the library's rule for computing kernels, on every source byte read and every
// destination byte written.
inline bool ownStreamResult(const FixedSource& s, int dstBytes) {
    const int64_t px = (int64_t)s.width * s.height * s.channels;
    return ownsUseStreamingComputed(px * (s.elemBytes + dstBytes), false);
}

// Calls body(rows, bx0, bx1) for each band of destination columns.
template <class Body>
void ownFixedWalk(const FixedSource& s, Body&& body) {
    alignas(64) uint8_t state[kStateBytes];
    const int bw = ownBandWidth(s);
    for (int bx0 = 0; bx0 < s.width; bx0 += bw) {
        const int bx1 = bx0 + bw < s.width ? bx0 + bw : s.width;
        BorderRows rows;
        rows.init(s.src, s.step, s.elemBytes, s.channels, s.width, s.height, s.e, s.b, s.value, s.valueSamples,
                  state, bx0, bx1);
        body(rows, bx0, bx1);
    }
}

// An output stage: out.row(y, bx0, bx1, res) gets, for destination row y and the band's
// columns, res[f] pointing at the result of kernel f for sample (bx0, channel 0); samples are
// interleaved as in the source. out.direct(y, bx0) may return where the results of a one-kernel
// filter can be written as they are (the destination itself), or null.

// Row first, accumulator A (float or int32); ring: the caller's buffer, 32-byte slack included.
template <typename S, typename A, class Out>
void ownRunRowFirst(const FixedSource& s, const FixedPlan& plan, uint8_t* buffer, Out& out) {
    const int C = s.channels, r = s.e.top, kh = 2 * r + 1;
    A* ring = (A*)(((uintptr_t)buffer + 31) & ~(uintptr_t)31);
    const bool stream = ownStreamResult(s, sizeof(A));
    ownFixedWalk(s, [&](BorderRows& rows, int bx0, int bx1) {
        const int64_t n = (int64_t)(bx1 - bx0) * C, stride = (n + 15) & ~(int64_t)15;
        alignas(64) A res[2][kBandElems];
        for (int64_t ys = -r; ys < s.height + r; ++ys) {
            const int64_t slot = (ys + r) % kh;
            if (ys + kAheadRows < s.height) ownPrefetchRow(rows.mapRow(ys + kAheadRows) + (int64_t)bx0 * s.elemBytes * C, n * s.elemBytes);
            for (int f = 0; f < plan.nf; ++f) {
                A* line = ring + (f * kh + slot) * stride - (int64_t)bx0 * C;
                for (int i = 0; i < rows.segments(); ++i) {
                    const BorderRows::Segment g = rows.segment(i);
                    ownTapsRow(plan.k[f].row, rows.rowAs<S>(ys, i) + (int64_t)g.x0 * C, C, (int64_t)(g.x1 - g.x0) * C,
                               line + (int64_t)g.x0 * C);
                }
            }
            const int64_t y = ys - r;
            if (y < 0) continue;
            const A* ptr[2];
            A* direct = plan.nf == 1 ? out.template direct<A>(y, bx0) : nullptr;
            for (int f = 0; f < plan.nf; ++f) {
                const A* q[5];
                for (int k = 0; k < kh; ++k) q[k] = ring + (f * kh + (y + k) % kh) * stride;
                ownTapsLine(plan.k[f].col, q, n, direct ? direct : res[f], direct && stream);
                ptr[f] = res[f];
            }
            if (!direct) out.row(y, bx0, bx1, ptr);
        }
    });
    if (stream) _mm_sfence();
}

// Column first in 16-bit lanes, for 8u sources; no buffer.
template <class Out>
void ownRunColumnFirst(const FixedSource& s, const FixedPlan& plan, Out& out) {
    const int C = s.channels, r = s.e.top, kh = 2 * r + 1;
    ownFixedWalk(s, [&](BorderRows& rows, int bx0, int bx1) {
        alignas(64) int16_t col[kBandElems + 16];
        alignas(64) int16_t res[2][kBandElems];
        const int16_t* ptr[2] = {res[0], res[1]};
        for (int64_t y = 0; y < s.height; ++y) {
            if (y + r + kAheadRows < s.height) ownPrefetchRow(rows.mapRow(y + r + kAheadRows) + (int64_t)bx0 * C, (int64_t)(bx1 - bx0) * C);
            int16_t* direct = plan.nf == 1 ? out.template direct<int16_t>(y, bx0) : nullptr;
            int16_t* to[2] = {direct ? direct : res[0], res[1]};
            for (int i = 0; i < rows.segments(); ++i) {
                const BorderRows::Segment g = rows.segment(i);
                const Zel8u* q[5];
                const int64_t c0 = (int64_t)(g.x0 - r) * C, n = (int64_t)(g.x1 - g.x0) * C;
                for (int k = 0; k < kh; ++k) q[k] = rows.rowAs<Zel8u>(y - r + k, i) + c0;
                for (int f = 0; f < plan.nf; ++f) {
                    ownTapsLine(plan.k[f].col, q, n + 2 * r * C, col);
                    ownTapsRow(plan.k[f].row, (const int16_t*)col + r * C, C, n, to[f] + (int64_t)(g.x0 - bx0) * C);
                }
            }
            if (!direct) out.row(y, bx0, bx1, ptr);
        }
    });
}

// Runs the plan over the ROI into out: column first for 8u sources, row first otherwise.
template <typename S, class Out>
void ownFixedRun(const S* pSrc, int64_t srcStep, ZeliSize roi, int channels, int side, const BorderArg& b,
                 const void* value, int valueSamples, const FixedPlan& plan, uint8_t* buffer, Out& out) {
    const FixedSource s{pSrc, srcStep, (int)sizeof(S), channels, roi.width, roi.height, ownCentredExtent(side, side),
                        b, value, valueSamples};
    if constexpr (sizeof(S) == 1) ownRunColumnFirst(s, plan, out);
    else if constexpr (std::is_same<S, float>::value) ownRunRowFirst<S, float>(s, plan, buffer, out);
    else ownRunRowFirst<S, int32_t>(s, plan, buffer, out);
}

// ---- conversions of results ------------------------------------------------------------------

template <typename D, typename A>
inline D ownSat(A v) {
    if constexpr (sizeof(D) == 4 && (D)0.5 != 0) return (D)v;  // float
    else {
        constexpr int32_t lo = (D)-1 < 0 ? -(1 << (8 * sizeof(D) - 1)) : 0;
        constexpr int32_t hi = (D)-1 < 0 ? (1 << (8 * sizeof(D) - 1)) - 1 : (int32_t)(D)-1;
        const int32_t x = (int32_t)v;
        return (D)(x < lo ? lo : x > hi ? hi : x);
    }
}

}  // namespace zel
