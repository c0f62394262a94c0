// Sqr: square per sample. Integer forms square exactly (in 64 bits) and apply the scale-factor
// rule of Add: round half to even of s * 2^-scaleFactor, then saturate; any scaleFactor is
// accepted. 32f: x * x in single precision. AC4 keeps the destination's alpha. Checks:
// pointers, size, then steps.
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"
#include "kernels/logic_unary.h"

namespace {

using namespace zel;

// s * 2^-sf rounded half to even (s >= 0), saturated to [0, hi].
inline int64_t scale_square(int64_t s, int sf, int64_t hi) {
    int64_t v;
    if (sf == 0) {
        v = s;
    } else if (sf > 0) {
        v = sf >= 62 ? 0 : (s + (int64_t(1) << (sf - 1)) - 1 + ((s >> sf) & 1)) >> sf;
    } else {
        int n = -sf;
        v = s == 0 ? 0 : n >= 32 ? hi : s << n;  // s < 2^32: n < 32 cannot overflow
    }
    return v > hi ? hi : v;
}

template <typename T, int C, bool Alpha = false>
ZelStatus sqr_sfs(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, int scaleFactor) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    constexpr int64_t hi = std::numeric_limits<T>::max();
    ownsUnaryScalar<T, C, Alpha>(pSrc, srcStep, pDst, dstStep, roi,
                                 [=](T x) { return (T)scale_square((int64_t)x * x, scaleFactor, hi); });
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha = false>
ZelStatus sqr_sfs_i(T* pSrcDst, int srcDstStep, ZeliSize roi, int scaleFactor) {
    return sqr_sfs<T, C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi, scaleFactor);
}

struct Sqr32fOp {
    __m512i operator()(__m512i x, __m512i, int) const {
        __m512 v = _mm512_castsi512_ps(x);
        return _mm512_castps_si512(_mm512_mul_ps(v, v));
    }
};

template <int C, bool Alpha = false>
ZelStatus sqr_32f(const Zel32f* pSrc, int srcStep, Zel32f* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    ownsStreamLayout<4, Alpha ? 4 : 1, Alpha, false>(Sqr32fOp{}, pSrc, srcStep, nullptr, 0, nullptr, pDst, dstStep,
                                                     Alpha ? roi.width : (int64_t)roi.width * C, roi.height);
    return zelStsNoErr;
}

template <int C, bool Alpha = false>
ZelStatus sqr_32f_i(Zel32f* pSrcDst, int srcDstStep, ZeliSize roi) {
    return sqr_32f<C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_SQR_SFS(t, T)                                             \
    ZEL_IMPL(zeliSqr_##t##_C1RSfs, sqr_sfs<T, 1>)                     \
    ZEL_IMPL(zeliSqr_##t##_C3RSfs, sqr_sfs<T, 3>)                     \
    ZEL_IMPL(zeliSqr_##t##_C4RSfs, sqr_sfs<T, 4>)                     \
    ZEL_IMPL(zeliSqr_##t##_AC4RSfs, sqr_sfs<T, 4, true>)              \
    ZEL_IMPL(zeliSqr_##t##_C1IRSfs, sqr_sfs_i<T, 1>)                  \
    ZEL_IMPL(zeliSqr_##t##_C3IRSfs, sqr_sfs_i<T, 3>)                  \
    ZEL_IMPL(zeliSqr_##t##_C4IRSfs, sqr_sfs_i<T, 4>)                  \
    ZEL_IMPL(zeliSqr_##t##_AC4IRSfs, sqr_sfs_i<T, 4, true>)

ZEL_SQR_SFS(8u, Zel8u)
ZEL_SQR_SFS(16u, Zel16u)
ZEL_SQR_SFS(16s, Zel16s)

ZEL_IMPL(zeliSqr_32f_C1R, sqr_32f<1>)
ZEL_IMPL(zeliSqr_32f_C3R, sqr_32f<3>)
ZEL_IMPL(zeliSqr_32f_C4R, sqr_32f<4>)
ZEL_IMPL(zeliSqr_32f_AC4R, sqr_32f<4, true>)
ZEL_IMPL(zeliSqr_32f_C1IR, sqr_32f_i<1>)
ZEL_IMPL(zeliSqr_32f_C3IR, sqr_32f_i<3>)
ZEL_IMPL(zeliSqr_32f_C4IR, sqr_32f_i<4>)
ZEL_IMPL(zeliSqr_32f_AC4IR, sqr_32f_i<4, true>)
