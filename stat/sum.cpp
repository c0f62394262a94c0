// Sum and mean of the samples per channel, in double.
//
// Checks, in order: a null pSrc or result → NullPtrErr (Mean tests its pMean first, then runs
// the checks of Sum); width or height below 1 → SizeErr. Steps are not checked: zero and
// negative steps walk rows at those distances, and a step equal to the packed row treats the
// region as one long row.
//
// Integer data is summed exactly and converted once. 32f with zelAlgHintAccurate follows the
// accurate double rule (kernels/stat_terms.h); any other hint sums single-precision lanes that
// are flushed into double partials every 64 samples per lane. The mean is the double sum
// divided by width × height.
#include "frame/zel_internal.h"
#include "kernels/stat_terms.h"

namespace {

using namespace zel;
using namespace zel::stat;

template <class T, int C>
ZelStatus sum_image(const T* pSrc, int srcStep, ZeliSize roi, Zel64f* pSum, ZelHintAlgorithm hint = zelAlgHintNone) {
    if (!pSrc || !pSum) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    const int64_t w = roi.width, h = roi.height;
    if constexpr (is_f32<T>) {
        if (hint == zelAlgHintAccurate) {
            double acc[2][C] = {};
            for (int64_t y = 0; y < h; ++y) {
                const T* p = row(pSrc, srcStep, y);
                accurate_row<0, false, C>(p, p, w, acc);
            }
            for (int c = 0; c < C; ++c) pSum[c] = acc[0][c] + acc[1][c];
            return zelStsNoErr;
        }
    }
    using Op = SumOp<T>;
    SumReducer<Op, C> r;
    walk(pSrc, srcStep, pSrc, srcStep, w * C, w, h, [&](const T* x, const T* y, int64_t n) { r.row(x, y, n); });
    typename Op::Lane::P s[C] = {};
    r.fold(s);
    for (int c = 0; c < C; ++c) pSum[c] = (double)s[c];
    return zelStsNoErr;
}

template <class T, int C>
ZelStatus mean_image(const T* pSrc, int srcStep, ZeliSize roi, Zel64f* pMean, ZelHintAlgorithm hint = zelAlgHintNone) {
    if (!pMean) return zelStsNullPtrErr;
    ZelStatus st = sum_image<T, C>(pSrc, srcStep, roi, pMean, hint);
    if (st != zelStsNoErr) return st;
    const double count = (double)((int64_t)roi.width * roi.height);
    for (int c = 0; c < C; ++c) pMean[c] /= count;
    return zelStsNoErr;
}

}  // namespace

#define ZEL_SUM(op, fn, t, T)                  \
    ZEL_IMPL(zeli##op##_##t##_C1R, fn<T, 1>)   \
    ZEL_IMPL(zeli##op##_##t##_C3R, fn<T, 3>)   \
    ZEL_IMPL(zeli##op##_##t##_C4R, fn<T, 4>)
#define ZEL_SUM_TYPES(op, fn)         \
    ZEL_SUM(op, fn, 8u, Zel8u)        \
    ZEL_SUM(op, fn, 16u, Zel16u)      \
    ZEL_SUM(op, fn, 16s, Zel16s)      \
    ZEL_SUM(op, fn, 32f, Zel32f)

ZEL_SUM_TYPES(Sum, sum_image)
ZEL_SUM_TYPES(Mean, mean_image)
