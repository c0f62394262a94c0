// Adaptive thresholds of 8u images: each pixel against the box mean (ThresholdAdaptiveBox) or
// the Gaussian-weighted mean (ThresholdAdaptiveGauss) of its k x k neighbourhood minus delta;
// above it gives valGT, otherwise valLE. The exact rule, the border model and the row source
// are described in kernels/threshold_adaptive.h.
//
// Checks, in order: an out-of-place call with pSrc == pDst and equal steps is the in-place
// form; a null image, spec block or buffer; width or height below 1; a mask that is not square,
// positive and odd (zelStsMaskSizeErr); a border above 255, or other than zelBorderInMem (240)
// with a kind other than zelBorderRepl or zelBorderConst (zelStsBorderErr); then for the
// Gaussian form a spec block not made by zeliThresholdAdaptiveGaussInit (zelStsContextMatchErr), a
// mask other than the spec block's (zelStsMaskSizeErr) and a ROI larger than the spec block's
// (zelStsSizeErr). Steps are not checked: they are used as given. When delta alone decides
// every pixel (see ownAdaptBound; a 1 x 1 mask always) the ROI is filled by zeliSet_8u_C1R.
//
// Box: A = k^2, every weight 1. Column sums slide down one row at a time (add the entering
// row, subtract the leaving one) and window sums are differences of their running prefix, so
// the cost per pixel does not depend on k. Masks up to 2901 (255 k^2 below 2^31) run on
// 32-bit vectors; larger masks on a scalar 64-bit path.
//
// Gauss: the 1-D weights are the Gaussian exp(-(i - r)^2 / (2 sigma^2)), i = 0..k-1, scaled to
// sum 2^11 and rounded (the centre takes the rounding remainder; if that would be negative,
// every other weight is rounded down instead); the 2-D weight is the product of the row and
// column weights, A = 2^22. A sigma that is not positive (or NaN) is derived from the mask:
// 0.3 ((k - 1) / 2 - 1) + 0.8. Weighted column sums then weighted row sums, all in 32 bits.
//
// Buffer (both forms; the query returns the same size): from the first 64-byte boundary,
// 8 (w + 2r) bytes of column sums, 8 (w + 2r + 1) bytes of prefix sums, w + 2r bytes of border
// value, and min(r + 1, h) rows of w + 2r bytes for the in-place copies, each part rounded up
// to 64 bytes, plus 64 bytes of alignment slack; above 2^31 - 1 the query fails with
// zelStsBufferSizeErr. The spec block holds, from its first 64-byte boundary, an identifier, the
// mask size, the ROI, sigma as used, and the k integer weights.
#include <math.h>

#include "frame/zel_internal.h"
#include "kernels/threshold_adaptive.h"

extern "C" ZEL_HIDDEN ZEL_RET_zeliSet_8u_C1R n0_zeliSet_8u_C1R ZEL_PARAMS_zeliSet_8u_C1R;

namespace {

using namespace zel;

constexpr int kWeightBits = 11;
constexpr int64_t kFastMask = 2901;
constexpr uint32_t kGaussMagic = 0x7A617467;

inline int64_t up64(int64_t n) { return (n + 63) & ~(int64_t)63; }
template <typename P>
inline P* align64(P* p) {
    return (P*)(((uintptr_t)p + 63) & ~(uintptr_t)63);
}

struct GaussSpec {
    uint32_t magic;
    int32_t mask, width, height;
    float sigma;
    int32_t bits;
    int32_t* weights() { return (int32_t*)(this + 1); }
    const int32_t* weights() const { return (const int32_t*)(this + 1); }
};

struct Parts {
    uint8_t *col, *pre, *constRow, *ring;
    int64_t ringRows;
};

// The buffer's size for a w x h ROI and mask side k, and its parts inside base.
int64_t buffer_layout(int64_t w, int64_t h, int64_t k, uint8_t* base = nullptr, Parts* parts = nullptr) {
    const int64_t r = (k - 1) / 2, n = w + 2 * r, rows = r + 1 < h ? r + 1 : h;
    const int64_t col = up64(8 * n), pre = up64(8 * (n + 1)), cst = up64(n);
    if (parts) {
        uint8_t* b = align64(base);
        *parts = {b, b + col, b + col + pre, b + col + pre + cst, rows};
    }
    return 64 + col + pre + cst + up64(rows * n);
}

int64_t spec_bytes(int64_t k) { return 64 + up64((int64_t)sizeof(GaussSpec) + 4 * k); }

ZelStatus check_mask(ZeliSize m) {
    return (m.width != m.height || m.width < 1 || m.width % 2 == 0) ? zelStsMaskSizeErr : zelStsNoErr;
}
ZelStatus check_border(uint32_t b) {
    if (b > 255) return zelStsBorderErr;
    if (b == zelBorderInMem) return zelStsNoErr;
    return ((b & 15) == zelBorderRepl || (b & 15) == zelBorderConst) ? zelStsNoErr : zelStsBorderErr;
}
// The query arguments after the output pointers.
ZelStatus check_query(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels) {
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ZelStatus s = check_mask(mask)) return s;
    if (type != zel8u) return zelStsDataTypeErr;
    return channels == 1 ? zelStsNoErr : zelStsNumChannelsErr;
}

// c[i] += count p[i], the sum of count equal rows.
template <typename Acc>
void add_rows(Acc* c, const uint8_t* p, Acc count, int64_t n) {
    for (int64_t i = 0; i < n; ++i) c[i] += count * p[i];
}

// Column sums of the k rows around row 0 (the widened region always holds rows 0 .. h - 1, so
// top <= 0 <= bottom): the synthesised rows above and below it are each one row counted with
// its multiplicity.
template <typename Acc>
void box_first(const AdaptGeom& g, const AdaptRows& rows, Acc* c) {
    const int64_t lo = -g.r, hi = g.r, top = g.y0 > lo ? g.y0 : lo, bottom = g.y1 - 1 < hi ? g.y1 - 1 : hi;
    memset(c, 0, (size_t)g.cw() * sizeof(Acc));
    if (top > lo) add_rows(c, rows.row(lo), (Acc)(top - lo), g.cw());
    for (int64_t j = top; j <= bottom; ++j) add_rows(c, rows.row(j), (Acc)1, g.cw());
    if (hi > bottom) add_rows(c, rows.row(hi), (Acc)(hi - bottom), g.cw());
}

// The box form on column sums of type Acc (32-bit vectors, or 64-bit scalar for huge masks).
template <typename Acc>
void box_run(const AdaptGeom& g, AdaptRows& rows, uint8_t* dst, int64_t dstStep, const Parts& bp, __int128 B,
             uint8_t vGT, uint8_t vLE) {
    Acc* col = (Acc*)bp.col;
    Acc* pre = (Acc*)bp.pre;
    Acc* c = col + g.x0 + g.r;  // column x0
    const int64_t k = g.k, n = g.cols();
    const Acc A = (Acc)(k * k);
    box_first(g, rows, c);
    ownAdaptBorderColumns(g, col, (Acc)(k * g.bv));
    for (int64_t y = 0; y < g.h; ++y) {
        if (y) {
            ownAdaptSlide(c, rows.row(y + g.r), rows.row(y - 1 - g.r), g.cw());
            if (!g.constKind) ownAdaptBorderColumns(g, col, (Acc)0);
        }
        rows.keep(y);
        ownAdaptPrefix(col, pre, n);
        const uint8_t* s = rows.row(y) - g.x0;
        uint8_t* d = dst + y * dstStep;
        if constexpr (sizeof(Acc) == 4) {
            auto sumVec = [&](int64_t x) {
                return _mm512_sub_epi32(_mm512_loadu_si512(pre + x + k), _mm512_loadu_si512(pre + x));
            };
            auto sumAt = [&](int64_t x) { return pre[x + k] - pre[x]; };
            ownAdaptDecide(s, d, g.w, (int32_t)A, (int32_t)-B, vGT, vLE, sumVec, sumAt);
        } else {
            for (int64_t x = 0; x < g.w; ++x)
                d[x] = (__int128)A * s[x] - (__int128)(pre[x + k] - pre[x]) > B ? vGT : vLE;
        }
    }
}

// Gauss: weighted column sums c = sum wt[j] row(y - r + j), then weighted row sums.
void gauss_run(const AdaptGeom& g, AdaptRows& rows, uint8_t* dst, int64_t dstStep, const Parts& bp,
               const int32_t* wt, int32_t nb, uint8_t vGT, uint8_t vLE) {
    uint32_t* col = (uint32_t*)bp.col;
    uint32_t* c = col + g.x0 + g.r;
    const int64_t r = g.r, cw = g.cw();
    if (g.constKind) ownAdaptBorderColumns(g, col, (uint32_t)g.bv << kWeightBits);
    for (int64_t y = 0; y < g.h; ++y) {
        rows.keep(y);
        const uint8_t* m = rows.row(y);
        for (int64_t i = 0; i < cw; ++i) c[i] = (uint32_t)wt[r] * m[i];
        for (int64_t j = 0; j < r; ++j) {
            const uint8_t *a = rows.row(y - r + j), *b = rows.row(y + r - j);
            const uint32_t w = (uint32_t)wt[j];
            for (int64_t i = 0; i < cw; ++i) c[i] += w * (uint32_t)(a[i] + b[i]);
        }
        if (!g.constKind) ownAdaptBorderColumns(g, col, 0u);
        auto sumVec = [&](int64_t x) {
            __m512i acc = _mm512_mullo_epi32(_mm512_set1_epi32(wt[r]), _mm512_loadu_si512(col + x + r));
            for (int64_t i = 0; i < r; ++i) {
                __m512i pair = _mm512_add_epi32(_mm512_loadu_si512(col + x + i), _mm512_loadu_si512(col + x + 2 * r - i));
                acc = _mm512_add_epi32(acc, _mm512_mullo_epi32(_mm512_set1_epi32(wt[i]), pair));
            }
            return acc;
        };
        auto sumAt = [&](int64_t x) {
            uint32_t acc = (uint32_t)wt[r] * col[x + r];
            for (int64_t i = 0; i < r; ++i) acc += (uint32_t)wt[i] * (col[x + i] + col[x + 2 * r - i]);
            return acc;
        };
        ownAdaptDecide(m - g.x0, dst + y * dstStep, g.w, 1 << (2 * kWeightBits), nb, vGT, vLE, sumVec, sumAt);
    }
}

// The checked call after the same-pointer hand-over; specBlock is null for the box form.
ZelStatus adaptive(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, bool inPlace, ZeliSize roi,
                   ZeliSize mask, Zel32f delta, Zel8u valGT, Zel8u valLE, ZeliBorderType border, Zel8u borderValue,
                   bool gauss, const ZeliThresholdAdaptiveSpec* pSpec, Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pBuffer || (gauss && !pSpec)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ZelStatus s = check_mask(mask)) return s;
    if (ZelStatus s = check_border(border)) return s;
    const GaussSpec* specBlock = gauss ? align64((const GaussSpec*)pSpec) : nullptr;
    if (gauss) {
        if (specBlock->magic != kGaussMagic) return zelStsContextMatchErr;
        if (specBlock->mask != mask.width) return zelStsMaskSizeErr;
        if (roi.width > specBlock->width || roi.height > specBlock->height) return zelStsSizeErr;
    }
    const int64_t k = mask.width;
    __int128 A = (__int128)k * k, wc = 1;
    if (gauss) {
        A = (__int128)1 << (2 * kWeightBits);
        wc = (__int128)specBlock->weights()[k / 2] * specBlock->weights()[k / 2];
    }
    __int128 B = 0;
    if (int all = ownAdaptBound(delta, A, 255 * (A - wc), &B))
        return n0_zeliSet_8u_C1R(all > 0 ? valGT : valLE, pDst, dstStep, roi);

    const AdaptGeom g = ownAdaptGeom(roi.width, roi.height, k, border, borderValue);
    Parts bp;
    buffer_layout(g.w, g.h, k, pBuffer, &bp);
    memset(bp.constRow, borderValue, (size_t)g.cw());
    AdaptRows rows{g, pSrc, srcStep, bp.constRow, inPlace ? bp.ring : nullptr, bp.ringRows};
    if (gauss) gauss_run(g, rows, pDst, dstStep, bp, specBlock->weights(), (int32_t)-B, valGT, valLE);
    else if (k <= kFastMask) box_run<uint32_t>(g, rows, pDst, dstStep, bp, B, valGT, valLE);
    else box_run<uint64_t>(g, rows, pDst, dstStep, bp, B, valGT, valLE);
    return zelStsNoErr;
}

ZelStatus box_ir(Zel8u* p, int step, ZeliSize roi, ZeliSize mask, Zel32f delta, Zel8u valGT, Zel8u valLE,
                 ZeliBorderType border, Zel8u bv, Zel8u* pBuffer) {
    return adaptive(p, step, p, step, true, roi, mask, delta, valGT, valLE, border, bv, false, nullptr, pBuffer);
}
ZelStatus box_r(const Zel8u* s, int ss, Zel8u* d, int ds, ZeliSize roi, ZeliSize mask, Zel32f delta, Zel8u valGT,
                Zel8u valLE, ZeliBorderType border, Zel8u bv, Zel8u* pBuffer) {
    if (s == d && ss == ds) return box_ir(d, ds, roi, mask, delta, valGT, valLE, border, bv, pBuffer);
    return adaptive(s, ss, d, ds, false, roi, mask, delta, valGT, valLE, border, bv, false, nullptr, pBuffer);
}
ZelStatus gauss_ir(Zel8u* p, int step, ZeliSize roi, ZeliSize mask, Zel32f delta, Zel8u valGT, Zel8u valLE,
                   ZeliBorderType border, Zel8u bv, const ZeliThresholdAdaptiveSpec* pSpec, Zel8u* pBuffer) {
    return adaptive(p, step, p, step, true, roi, mask, delta, valGT, valLE, border, bv, true, pSpec, pBuffer);
}
ZelStatus gauss_r(const Zel8u* s, int ss, Zel8u* d, int ds, ZeliSize roi, ZeliSize mask, Zel32f delta, Zel8u valGT,
                  Zel8u valLE, ZeliBorderType border, Zel8u bv, const ZeliThresholdAdaptiveSpec* pSpec,
                  Zel8u* pBuffer) {
    if (s == d && ss == ds) return gauss_ir(d, ds, roi, mask, delta, valGT, valLE, border, bv, pSpec, pBuffer);
    return adaptive(s, ss, d, ds, false, roi, mask, delta, valGT, valLE, border, bv, true, pSpec, pBuffer);
}

// Sizes above 2^31 - 1 fail, and report 0.
ZelStatus report(int64_t bytes, int* out) {
    if (bytes > kInt32Max) {
        *out = 0;
        return zelStsBufferSizeErr;
    }
    *out = (int)bytes;
    return zelStsNoErr;
}

ZelStatus box_size(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, int* pBufferSize) {
    if (!pBufferSize) return zelStsNullPtrErr;
    if (ZelStatus s = check_query(roi, mask, type, channels)) return s;
    return report(buffer_layout(roi.width, roi.height, mask.width), pBufferSize);
}

ZelStatus gauss_size(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, int* pSpecSize, int* pBufferSize) {
    if (!pSpecSize || !pBufferSize) return zelStsNullPtrErr;
    if (ZelStatus s = check_query(roi, mask, type, channels)) return s;
    const int64_t specBlock = spec_bytes(mask.width), buf = buffer_layout(roi.width, roi.height, mask.width);
    if (specBlock > kInt32Max || buf > kInt32Max) {
        *pSpecSize = *pBufferSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSpecSize = (int)specBlock;
    *pBufferSize = (int)buf;
    return zelStsNoErr;
}

// The 1-D weights of side k, summing to 2^kWeightBits (see the top of the file).
void gauss_weights(int64_t k, double sigma, int32_t* wt) {
    const int64_t r = (k - 1) / 2;
    const double one = (double)(1 << kWeightBits);
    double sum = 0.0;
    for (int64_t i = 0; i < k; ++i) sum += exp(-(double)((i - r) * (i - r)) / (2.0 * sigma * sigma));
    for (int pass = 0; pass < 2; ++pass) {
        int64_t rest = 1 << kWeightBits;
        for (int64_t i = 0; i < k; ++i) {
            if (i == r) continue;
            const double v = exp(-(double)((i - r) * (i - r)) / (2.0 * sigma * sigma)) / sum * one;
            wt[i] = (int32_t)(pass == 0 ? nearbyint(v) : floor(v));
            rest -= wt[i];
        }
        wt[r] = (int32_t)rest;
        if (rest >= 0) return;
    }
}

ZelStatus gauss_init(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, Zel32f sigma,
                     ZeliThresholdAdaptiveSpec* pSpec) {
    if (!pSpec) return zelStsNullPtrErr;
    if (ZelStatus s = check_query(roi, mask, type, channels)) return s;
    if (spec_bytes(mask.width) > kInt32Max) return zelStsBufferSizeErr;
    GaussSpec* specBlock = align64((GaussSpec*)pSpec);
    const int64_t k = mask.width;
    const double s = sigma > 0 ? (double)sigma : 0.3 * ((double)(k - 1) * 0.5 - 1.0) + 0.8;
    *specBlock = {kGaussMagic, mask.width, roi.width, roi.height, (float)s, kWeightBits};
    gauss_weights(k, s, specBlock->weights());
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliThresholdAdaptiveBoxGetBufferSize, box_size)
ZEL_IMPL(zeliThresholdAdaptiveBox_8u_C1R, box_r)
ZEL_IMPL(zeliThresholdAdaptiveBox_8u_C1IR, box_ir)
ZEL_IMPL(zeliThresholdAdaptiveGaussGetBufferSize, gauss_size)
ZEL_IMPL(zeliThresholdAdaptiveGaussInit, gauss_init)
ZEL_IMPL(zeliThresholdAdaptiveGauss_8u_C1R, gauss_r)
ZEL_IMPL(zeliThresholdAdaptiveGauss_8u_C1IR, gauss_ir)
