// Abs: absolute value per sample. 16s saturates |-32768| to 32767; 32f clears the sign bit
// (NaN stays NaN). AC4 keeps the destination's alpha. Checks: pointers, size, then steps.
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"
#include "kernels/logic_unary.h"

namespace {

using namespace zel;

struct Abs16sOp {
    using Vec = Halves;  // AVX2 16-bit lanes
    static __m256i one(__m256i x) {
        return _mm256_min_epu16(_mm256_abs_epi16(x), _mm256_set1_epi16(0x7FFF));  // |-32768| wraps to 0x8000
    }
    Halves operator()(const Halves& x, const Halves&, int) const { return {one(x.lo), one(x.hi)}; }
};

struct Abs32fOp {
    __m512i operator()(__m512i x, __m512i, int) const { return _mm512_and_epi32(x, _mm512_set1_epi32(0x7FFFFFFF)); }
};

template <typename T, class Op, int C, bool Alpha = false>
ZelStatus abs_r(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    // Without alpha the channels do not matter: one row of width * C samples.
    ownsStreamLayout<sizeof(T), Alpha ? 4 : 1, Alpha, false>(Op{}, pSrc, srcStep, nullptr, 0, nullptr, pDst, dstStep,
                                                             Alpha ? roi.width : (int64_t)roi.width * C, roi.height);
    return zelStsNoErr;
}

template <typename T, class Op, int C, bool Alpha = false>
ZelStatus abs_i(T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return abs_r<T, Op, C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_ABS(t, T, Op)                                        \
    ZEL_IMPL(zeliAbs_##t##_C1R, abs_r<T, Op, 1>)                 \
    ZEL_IMPL(zeliAbs_##t##_C3R, abs_r<T, Op, 3>)                 \
    ZEL_IMPL(zeliAbs_##t##_C4R, abs_r<T, Op, 4>)                 \
    ZEL_IMPL(zeliAbs_##t##_AC4R, abs_r<T, Op, 4, true>)          \
    ZEL_IMPL(zeliAbs_##t##_C1IR, abs_i<T, Op, 1>)                \
    ZEL_IMPL(zeliAbs_##t##_C3IR, abs_i<T, Op, 3>)                \
    ZEL_IMPL(zeliAbs_##t##_C4IR, abs_i<T, Op, 4>)                \
    ZEL_IMPL(zeliAbs_##t##_AC4IR, abs_i<T, Op, 4, true>)

ZEL_ABS(16s, Zel16s, Abs16sOp)
ZEL_ABS(32f, Zel32f, Abs32fOp)
