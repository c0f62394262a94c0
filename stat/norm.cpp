// Norms of an image (Inf = max |x|, L1 = Σ|x|, L2 = √Σx²), of the difference of two images
// (the same of a - b, taken exactly), and relative norms (the difference norm over the same norm
// of pSrc2), one double per channel.
//
// Checks, in order: a null pointer (sources, result) → NullPtrErr; width or height below 1 →
// SizeErr; a step below 1 → StepErr.
//
// Integer data: the infinity norm is found as an integer; L1 and Σx² are exact integer sums
// converted to double once, and L2 is the square root of that double. Norm_L2_8u_C1R takes rows
// wider than 32768 pixels in column strips of 32768: it squares each strip's L2 norm back into a
// double total with fused multiply-adds, left to right, and takes the square root of the total.
//
// 32f data: the infinity norm is exact, and a NaN anywhere makes it NaN (as it does the sums).
// L1 and L2 with zelAlgHintAccurate follow the accurate double rule (kernels/stat_terms.h); any
// other hint takes single-precision lanes that are flushed into double partials every 64
// samples per lane. Differences are taken in single precision on the fast path and in double
// on the accurate one.
//
// A relative norm whose denominator is zero writes NaN when its numerator is zero too and
// +infinity otherwise, and the call returns the warning zelStsDivByZero; the other channels
// get their quotients.
#include "frame/zel_internal.h"
#include "kernels/stat_terms.h"

namespace {

using namespace zel;
using namespace zel::stat;

enum Kind { Inf, L1, L2 };

constexpr int64_t kStrip = 32768;

// The norm of each channel of a, or of a - b when Diff.
template <class T, int C, Kind N, bool Diff>
void norm_of(const T* a, int sa, const T* b, int sb, ZeliSize roi, ZelHintAlgorithm hint, double out[C]) {
    const int64_t w = roi.width, h = roi.height;
    if constexpr (N == Inf) {
        using Key = AbsKey<T, Diff>;
        ExtReducer<NoKey, Key, C> r;
        walk(a, sa, b, sb, w * C, w, h, [&](const T* x, const T* y, int64_t n) { r.row(x, y, n); });
        typename Key::Key m[C];
        r.fold_max(m);
        for (int c = 0; c < C; ++c) out[c] = Key::value(m[c]);
        return;
    } else {
        if constexpr (is_f32<T>) {
            if (hint == zelAlgHintAccurate) {
                double acc[2][C] = {};
                for (int64_t y = 0; y < h; ++y) accurate_row<N == L1 ? 1 : 2, Diff, C>(row(a, sa, y), row(b, sb, y), w, acc);
                for (int c = 0; c < C; ++c) {
                    double s = acc[0][c] + acc[1][c];
                    out[c] = N == L2 ? sqrt(s) : s;
                }
                return;
            }
        }
        using Op = std::conditional_t<N == L1, AbsOp<T, Diff>, SqOp<T, Diff>>;
        using P = typename Op::Lane::P;
        if constexpr (N == L2 && !Diff && C == 1 && std::is_same_v<T, Zel8u>) {
            if (w > kStrip) {
                double total = 0;
                for (int64_t x0 = 0; x0 < w; x0 += kStrip) {
                    const int64_t n = w - x0 < kStrip ? w - x0 : kStrip;
                    SumReducer<Op, 1> r;
                    for (int64_t y = 0; y < h; ++y) {
                        const T* p = row(a, sa, y) + x0;
                        r.row(p, p, n);
                    }
                    P s[1] = {};
                    r.fold(s);
                    double strip = sqrt((double)s[0]);
                    total = fma(strip, strip, total);
                }
                out[0] = sqrt(total);
                return;
            }
        }
        SumReducer<Op, C> r;
        walk(a, sa, b, sb, w * C, w, h, [&](const T* x, const T* y, int64_t n) { r.row(x, y, n); });
        P s[C] = {};
        r.fold(s);
        for (int c = 0; c < C; ++c) out[c] = N == L2 ? sqrt((double)s[c]) : (double)s[c];
    }
}

template <class T, int C, Kind N>
ZelStatus norm(const T* pSrc, int srcStep, ZeliSize roi, Zel64f* pValue, ZelHintAlgorithm hint = zelAlgHintNone) {
    if (!pSrc || !pValue) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1) return zelStsStepErr;
    norm_of<T, C, N, false>(pSrc, srcStep, pSrc, srcStep, roi, hint, pValue);
    return zelStsNoErr;
}

template <class T, int C, Kind N>
ZelStatus norm_diff(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, ZeliSize roi, Zel64f* pValue,
                    ZelHintAlgorithm hint = zelAlgHintNone) {
    if (!pSrc1 || !pSrc2 || !pValue) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (src1Step < 1 || src2Step < 1) return zelStsStepErr;
    norm_of<T, C, N, true>(pSrc1, src1Step, pSrc2, src2Step, roi, hint, pValue);
    return zelStsNoErr;
}

template <class T, int C, Kind N>
ZelStatus norm_rel(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, ZeliSize roi, Zel64f* pValue,
                   ZelHintAlgorithm hint = zelAlgHintNone) {
    if (!pSrc1 || !pSrc2 || !pValue) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (src1Step < 1 || src2Step < 1) return zelStsStepErr;
    double num[C], den[C];
    norm_of<T, C, N, true>(pSrc1, src1Step, pSrc2, src2Step, roi, hint, num);
    norm_of<T, C, N, false>(pSrc2, src2Step, pSrc2, src2Step, roi, hint, den);
    ZelStatus st = zelStsNoErr;
    for (int c = 0; c < C; ++c) {
        if (den[c] == 0) {
            pValue[c] = num[c] == 0 ? __builtin_nan("") : __builtin_inf();
            st = zelStsDivByZero;
        } else {
            pValue[c] = num[c] / den[c];
        }
    }
    return st;
}

}  // namespace

#define ZEL_NORM_LAYOUTS(op, fn, K, t, T)                 \
    ZEL_IMPL(zeli##op##_##K##_##t##_C1R, fn<T, 1, K>)     \
    ZEL_IMPL(zeli##op##_##K##_##t##_C3R, fn<T, 3, K>)     \
    ZEL_IMPL(zeli##op##_##K##_##t##_C4R, fn<T, 4, K>)
#define ZEL_NORM_TYPES(op, fn, K)                  \
    ZEL_NORM_LAYOUTS(op, fn, K, 8u, Zel8u)         \
    ZEL_NORM_LAYOUTS(op, fn, K, 16u, Zel16u)       \
    ZEL_NORM_LAYOUTS(op, fn, K, 16s, Zel16s)       \
    ZEL_NORM_LAYOUTS(op, fn, K, 32f, Zel32f)
#define ZEL_NORM_FAMILY(op, fn)     \
    ZEL_NORM_TYPES(op, fn, Inf)     \
    ZEL_NORM_TYPES(op, fn, L1)      \
    ZEL_NORM_TYPES(op, fn, L2)

ZEL_NORM_FAMILY(Norm, norm)
ZEL_NORM_FAMILY(NormDiff, norm_diff)
ZEL_NORM_FAMILY(NormRel, norm_rel)
