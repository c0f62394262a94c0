// MulScale and MulCScale: the product normalised to the type range, a * b / max with max 255
// (8u) or 65535 (16u), rounded to nearest (an odd divisor never gives a tie); the result never
// exceeds max. With u = a * b + (max + 1) / 2 the quotient is (u + (u >> k)) >> k, k the
// sample width in bits: exact for every product of two samples, and within 32 bits.
// MulScale multiplies two images (in place: pSrcDst * pSrc), MulCScale an image by a
// per-channel constant. AC4 keeps the destination's alpha. Checks: pointers, size, steps.
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"
#include "kernels/logic_unary.h"

namespace {

using namespace zel;

template <int S>
struct MulScaleOp {
    __m512i operator()(__m512i a, __m512i b, int) const {
        return ownsWidenU<S>(a, b, [](__m512i x, __m512i y) {
            constexpr int k = 8 * S;
            __m512i u = _mm512_add_epi32(_mm512_mullo_epi32(x, y), _mm512_set1_epi32(1 << (k - 1)));
            return _mm512_srli_epi32(_mm512_add_epi32(u, _mm512_srli_epi32(u, k)), k);
        });
    }
};

template <typename T, int C, bool Alpha = false>
ZelStatus mul_scale(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, src1Step, dstStep, pSrc1, pSrc2, pDst)) return st;
    if (src2Step < 1) return zelStsStepErr;
    ownsStreamLayout<sizeof(T), Alpha ? 4 : 1, Alpha, true>(MulScaleOp<sizeof(T)>{}, pSrc1, src1Step, pSrc2, src2Step,
                                                            nullptr, pDst, dstStep,
                                                            Alpha ? roi.width : (int64_t)roi.width * C, roi.height);
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha = false>
ZelStatus mul_scale_i(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return mul_scale<T, C, Alpha>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roi);
}

template <typename T, int C, bool Alpha>
ZelStatus mul_cscale_checked(const T* pSrc, int srcStep, const T* value, T* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, value, pDst)) return st;
    alignas(64) uint8_t pat[192];
    ownsBuildPattern(pat, value, C, Alpha ? 3 : C);
    ownsStreamLayout<sizeof(T), C, Alpha, false>(MulScaleOp<sizeof(T)>{}, pSrc, srcStep, nullptr, 0, pat, pDst, dstStep,
                                                 roi.width, roi.height);
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha = false>
ZelStatus mul_cscale(const T* pSrc, int srcStep, const T* value, T* pDst, int dstStep, ZeliSize roi) {
    return mul_cscale_checked<T, C, Alpha>(pSrc, srcStep, value, pDst, dstStep, roi);
}
template <typename T, int C, bool Alpha = false>
ZelStatus mul_cscale_i(const T* value, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return mul_cscale_checked<T, C, Alpha>(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roi);
}
template <typename T>
ZelStatus mul_cscale1(const T* pSrc, int srcStep, T value, T* pDst, int dstStep, ZeliSize roi) {
    return mul_cscale_checked<T, 1, false>(pSrc, srcStep, &value, pDst, dstStep, roi);
}
template <typename T>
ZelStatus mul_cscale1_i(T value, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return mul_cscale_checked<T, 1, false>(pSrcDst, srcDstStep, &value, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_MULSCALE(t, T)                                               \
    ZEL_IMPL(zeliMulScale_##t##_C1R, mul_scale<T, 1>)                    \
    ZEL_IMPL(zeliMulScale_##t##_C3R, mul_scale<T, 3>)                    \
    ZEL_IMPL(zeliMulScale_##t##_C4R, mul_scale<T, 4>)                    \
    ZEL_IMPL(zeliMulScale_##t##_AC4R, mul_scale<T, 4, true>)             \
    ZEL_IMPL(zeliMulScale_##t##_C1IR, mul_scale_i<T, 1>)                 \
    ZEL_IMPL(zeliMulScale_##t##_C3IR, mul_scale_i<T, 3>)                 \
    ZEL_IMPL(zeliMulScale_##t##_C4IR, mul_scale_i<T, 4>)                 \
    ZEL_IMPL(zeliMulScale_##t##_AC4IR, mul_scale_i<T, 4, true>)          \
    ZEL_IMPL(zeliMulCScale_##t##_C1R, mul_cscale1<T>)                    \
    ZEL_IMPL(zeliMulCScale_##t##_C3R, mul_cscale<T, 3>)                  \
    ZEL_IMPL(zeliMulCScale_##t##_C4R, mul_cscale<T, 4>)                  \
    ZEL_IMPL(zeliMulCScale_##t##_AC4R, mul_cscale<T, 4, true>)           \
    ZEL_IMPL(zeliMulCScale_##t##_C1IR, mul_cscale1_i<T>)                 \
    ZEL_IMPL(zeliMulCScale_##t##_C3IR, mul_cscale_i<T, 3>)               \
    ZEL_IMPL(zeliMulCScale_##t##_C4IR, mul_cscale_i<T, 4>)               \
    ZEL_IMPL(zeliMulCScale_##t##_AC4IR, mul_cscale_i<T, 4, true>)

ZEL_MULSCALE(8u, Zel8u)
ZEL_MULSCALE(16u, Zel16u)
