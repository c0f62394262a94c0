// Otsu's global threshold of an 8u image: the level that maximises the between-class variance
// of the ROI's histogram.
//
// Checks, in order: a null image or result pointer, width or height below 1, then a step
// shorter than the width (the step is compared with the width, not with 1). On an error the
// result is not written.
//
// With p[i] = hist[i] / N (N = width x height) and the levels at the bin centres i + 0.5, the
// total mean is muT = sum (i + 0.5) p[i], accumulated with fused multiply-adds in increasing i
// (so that the running class mean below reaches exactly muT). Then for i = 0..255, in double
// precision: w += p[i]; mu = fma(i + 0.5, p[i], mu); the level is skipped while either class
// weight is below 2^-23 (or above 1 - 2^-23); otherwise its variance is
// d^2 / (w (1 - w)) with d = (w + (1 - w)) mu - muT w formed by one fused multiply-subtract.
// The first level of strictly greatest variance wins (ties keep the lowest); the result is
// its bin index, or 0 when no level qualifies (a constant image).
#include <math.h>

#include "frame/zel_internal.h"
#include "kernels/threshold_hist.h"

namespace {

using namespace zel;

Zel8u otsu_level(const uint64_t (&hist)[256], double n) {
    double p[256], muT = 0.0;
    for (int i = 0; i < 256; ++i) {
        p[i] = (double)hist[i] / n;
        muT = fma(i + 0.5, p[i], muT);
    }
    const double lo = 1.1920928955078125e-7, hi = 0.9999998807907104;
    double w = 0.0, mu = 0.0, best = 0.0;
    int level = 0;
    for (int i = 0; i < 256; ++i) {
        w += p[i];
        mu = fma(i + 0.5, p[i], mu);
        const double v = 1.0 - w;
        if (w < lo || v < lo || w > hi || v > hi) continue;  // min(w, v) < lo or max(w, v) > hi
        const double d = fma(w + v, mu, -(muT * w));
        const double var = d * d / (w * v);
        if (var > best) best = var, level = i;
    }
    return (Zel8u)level;
}

ZelStatus otsu(const Zel8u* pSrc, int srcStep, ZeliSize roi, Zel8u* pThreshold) {
    if (!pSrc || !pThreshold) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < roi.width) return zelStsStepErr;
    uint64_t hist[256];
    ownHistogram8u(pSrc, srcStep, roi.width, roi.height, hist);
    *pThreshold = otsu_level(hist, (double)roi.width * roi.height);
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliComputeThreshold_Otsu_8u_C1R, otsu)
