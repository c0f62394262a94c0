// The older 64f box filter without border handling: the mean of the kw x kh neighbourhood that
// starts anchor.x columns left of and anchor.y rows above each destination pixel; the caller
// provides every source pixel it reads (the anchor is not checked).
//
// Checks, in order: a null source or destination; any ROI or mask dimension below 1
// (zelStsSizeErr); srcStep below (W + kw - 1) * 8 or dstStep below W * 8 (zelStsStepErr).
//
// Double precision, by running sums, with the destination rows as the only storage: row 0 is
// the sum of the horizontal window sums of its kh source rows; row y is row y - 1 plus the
// horizontal sums of the row entering the window minus those of the row leaving it; a row is
// multiplied by 1 / (kw kh) once the next row has been formed from it. The result is the exact
// mean up to a relative error of a few units of 2^-53 of the magnitudes summed along a row and
// down a column. The source and the destination must not overlap.
#include "filter/box_rows.h"
#include "frame/zel_internal.h"

namespace {

using namespace zel;

// d[i] = base[i] + sign * v[i] for the window sums v of one source row (base null: 0).
struct RowAccumulate {
    double* d;
    const double* base;
    bool subtract;
    void operator()(int64_t i0, __m512d v, int lanes) const {
        const __mmask8 m = (__mmask8)((1u << lanes) - 1);
        const __m512d b = base ? _mm512_maskz_loadu_pd(m, base + i0) : _mm512_setzero_pd();
        _mm512_mask_storeu_pd(d + i0, m, subtract ? _mm512_sub_pd(b, v) : _mm512_add_pd(b, v));
    }
};

void scale_row(double* d, int64_t w, double r) {
    for (int64_t x = 0; x < w; ++x) d[x] *= r;
}

ZelStatus box_64f(const Zel64f* pSrc, int srcStep, Zel64f* pDst, int dstStep, ZeliSize roi, ZeliSize mask, ZeliPoint anchor) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1 || mask.width < 1 || mask.height < 1) return zelStsSizeErr;
    if (srcStep < ((int64_t)roi.width + mask.width - 1) * 8 || dstStep < (int64_t)roi.width * 8) return zelStsStepErr;
    const int64_t w = roi.width, kw = mask.width, kh = mask.height;
    const double r = 1.0 / ((double)kw * (double)kh);
    auto src = [&](int64_t ys) { return row(pSrc, srcStep, ys - anchor.y) - anchor.x; };
    double* d = row(pDst, dstStep, 0);
    ownWindowRow<F64Lanes, 1>(src(0), w, kw, RowAccumulate{d, nullptr, false});
    for (int64_t i = 1; i < kh; ++i) ownWindowRow<F64Lanes, 1>(src(i), w, kw, RowAccumulate{d, d, false});
    for (int64_t y = 1; y < roi.height; ++y) {
        double* p = d;
        d = row(pDst, dstStep, y);
        ownWindowRow<F64Lanes, 1>(src(y + kh - 1), w, kw, RowAccumulate{d, p, false});
        ownWindowRow<F64Lanes, 1>(src(y - 1), w, kw, RowAccumulate{d, d, true});
        scale_row(p, w, r);
    }
    scale_row(d, w, r);
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliFilterBox_64f_C1R, box_64f)
