// Sqrt: square root per sample. Integer forms: sqrt(x) * 2^-scaleFactor rounded half to even
// and saturated; a negative 16s sample gives 0. The root is taken in double precision. Ties
// of the rounding come only from perfect squares, whose double roots are exact; for any other
// sample, wherever the result does not saturate, the scaled root lies at least 2^-27 from a
// tie while the error of the double stays below 2^-29, so the rounding is the exact one. 32f: IEEE square root (a negative sample gives
// NaN). AC4 keeps the destination's alpha. Checks: pointers, size, then steps.
#include <math.h>

#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"
#include "kernels/logic_unary.h"

namespace {

using namespace zel;

template <typename T, int C, bool Alpha = false>
ZelStatus sqrt_sfs(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, int scaleFactor) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    // Roots are below 2^8: beyond +-64 every scale gives 0 or saturates as at +-64.
    const int sf = scaleFactor < -64 ? -64 : scaleFactor > 64 ? 64 : scaleFactor;
    constexpr int64_t hi = std::numeric_limits<T>::max();
    ownsUnaryScalar<T, C, Alpha>(pSrc, srcStep, pDst, dstStep, roi, [=](T x) {
        return x <= 0 ? T(0) : (T)ownsRoundSat(ldexp(sqrt((double)x), -sf), 0, hi);
    });
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha = false>
ZelStatus sqrt_sfs_i(T* pSrcDst, int srcDstStep, ZeliSize roi, int scaleFactor) {
    return sqrt_sfs<T, C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi, scaleFactor);
}

struct Sqrt32fOp {
    static constexpr bool kHeavy = true;
    __m512i operator()(__m512i x, __m512i, int) const {
        return _mm512_castps_si512(_mm512_sqrt_ps(_mm512_castsi512_ps(x)));
    }
};

template <int C, bool Alpha = false>
ZelStatus sqrt_32f(const Zel32f* pSrc, int srcStep, Zel32f* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    ownsStreamUnary<4, C, Alpha>(Sqrt32fOp{}, pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
    return zelStsNoErr;
}

template <int C, bool Alpha = false>
ZelStatus sqrt_32f_i(Zel32f* pSrcDst, int srcDstStep, ZeliSize roi) {
    return sqrt_32f<C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_SQRT_SFS(t, T)                                             \
    ZEL_IMPL(zeliSqrt_##t##_C1RSfs, sqrt_sfs<T, 1>)                    \
    ZEL_IMPL(zeliSqrt_##t##_C3RSfs, sqrt_sfs<T, 3>)                    \
    ZEL_IMPL(zeliSqrt_##t##_C4RSfs, sqrt_sfs<T, 4>)                    \
    ZEL_IMPL(zeliSqrt_##t##_AC4RSfs, sqrt_sfs<T, 4, true>)             \
    ZEL_IMPL(zeliSqrt_##t##_C1IRSfs, sqrt_sfs_i<T, 1>)                 \
    ZEL_IMPL(zeliSqrt_##t##_C3IRSfs, sqrt_sfs_i<T, 3>)                 \
    ZEL_IMPL(zeliSqrt_##t##_C4IRSfs, sqrt_sfs_i<T, 4>)                 \
    ZEL_IMPL(zeliSqrt_##t##_AC4IRSfs, sqrt_sfs_i<T, 4, true>)

ZEL_SQRT_SFS(8u, Zel8u)
ZEL_SQRT_SFS(16u, Zel16u)
ZEL_SQRT_SFS(16s, Zel16s)

ZEL_IMPL(zeliSqrt_32f_C1R, sqrt_32f<1>)
ZEL_IMPL(zeliSqrt_32f_C3R, sqrt_32f<3>)
ZEL_IMPL(zeliSqrt_32f_C4R, sqrt_32f<4>)
ZEL_IMPL(zeliSqrt_32f_AC4R, sqrt_32f<4, true>)
ZEL_IMPL(zeliSqrt_32f_C1IR, sqrt_32f_i<1>)
ZEL_IMPL(zeliSqrt_32f_C3IR, sqrt_32f_i<3>)
ZEL_IMPL(zeliSqrt_32f_C4IR, sqrt_32f_i<4>)
ZEL_IMPL(zeliSqrt_32f_AC4IR, sqrt_32f_i<4, true>)
