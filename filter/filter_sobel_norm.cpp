// FilterSobel: the edge strength of the two Sobel derivatives gx (right minus left) and gy
// (bottom minus top), 3x3 or 5x5, as the norm normType names: 1 max(|gx|, |gy|), 2 |gx| + |gy|,
// 4 sqrt(gx^2 + gy^2). Both derivatives run through one pass of the fixed-kernel frame
// (filter/fixed_frame.h) and NormOut (filter/fixed_outputs.h) combines them: 32f in single
// precision (the L2 norm as sqrt(fma(gx, gx, gy * gy))); 16s and 16u sources give exact integer
// derivatives, converted to single precision; the 8u16s member rounds the exact norm to nearest
// and saturates.
//
// Checks: pSrc, pDst, pBuffer null; width or height below 1; a step that is not a whole
// number of its image's elements (zelStsNotEvenStepErr); mask 33 or 55; normType
// (zelStsNotSupportedModeErr); the border (kinds 1, 3, 6, or 240).
//
// Query: pBufferSize null; width or height below 1; mask; normType; the types (8u to 16s, 16s,
// 16u or 32f to 32f: zelStsDataTypeErr); channels other than 1 (zelStsNumChannelsErr). Size: a
// fixed 32 from 8u, else two rings: the width rounded up to 16, times 3 or 5 rows, times 4 bytes,
// times 2, plus 32.
#include "filter/fixed_outputs.h"

namespace {

using namespace zel;

template <typename S, typename D>
ZelStatus sobelNorm(const S* pSrc, int srcStep, D* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask, int norm,
                    ZeliBorderType border, S value, Zel8u* pBuffer) {
    BorderArg b;
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (!ownStepOk(srcStep, sizeof(S)) || !ownStepOk(dstStep, sizeof(D))) return zelStsNotEvenStepErr;
    if (ZelStatus s = ownCheckMask(mask, kMask35)) return s;
    if (!ownNormOk(norm)) return zelStsNotSupportedModeErr;
    if (ZelStatus s = ownCheckBorder(border, kBorderKindsFilter, &value, &b)) return s;
    const int side = ownMaskSide(mask);
    const Separable gx = side == 3 ? Separable{kDeriv3, kSmooth3} : Separable{kDeriv5, kSmooth5};
    const Separable gy = side == 3 ? Separable{kSmooth3, kDeriv3} : Separable{kSmooth5, kDeriv5};
    NormOut<D> out{{pDst, dstStep}, norm};
    ownFixedRun(pSrc, srcStep, roi, 1, side, b, &value, 1, FixedPlan{2, {gx, gy}}, pBuffer, out);
    return zelStsNoErr;
}

ZelStatus query(ZeliSize roi, ZeliMaskSize mask, int norm, ZelDataType src, ZelDataType dst, int channels, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ZelStatus s = ownCheckMask(mask, kMask35)) return s;
    if (!ownNormOk(norm)) return zelStsNotSupportedModeErr;
    const bool from8u = src == zel8u && dst == zel16s;
    if (!from8u && !(dst == zel32f && (src == zel16s || src == zel16u || src == zel32f))) return zelStsDataTypeErr;
    if (channels != 1) return zelStsNumChannelsErr;
    if (from8u) {
        *pSize = 32;
        return zelStsNoErr;
    }
    return ownRingQuery(roi.width, 1, ownMaskSide(mask), 2, pSize);
}

}  // namespace

ZEL_IMPL(zeliFilterSobelGetBufferSize, query)
ZEL_IMPL(zeliFilterSobel_8u16s_C1R, sobelNorm<Zel8u, Zel16s>)
ZEL_IMPL(zeliFilterSobel_16s32f_C1R, sobelNorm<Zel16s, Zel32f>)
ZEL_IMPL(zeliFilterSobel_16u32f_C1R, sobelNorm<Zel16u, Zel32f>)
ZEL_IMPL(zeliFilterSobel_32f_C1R, sobelNorm<Zel32f, Zel32f>)
