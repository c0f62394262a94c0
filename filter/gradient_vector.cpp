// GradientVectorSobel, GradientVectorScharr, GradientVectorPrewitt: the derivatives gx (right
// minus left) and gy (bottom minus top) of the named kernel, the magnitude by normType (1 Inf,
// 2 L1, 4 L2, as FilterSobel) and the angle atan2(gy, gx) in radians, in (-pi, pi] and within
// 1e-6 of the exact angle (ownAtan2Row). Any of the four outputs may be null and is then skipped.
// Colour members (C3C1R, AC4C1R) give, per pixel, all four outputs from the colour channel whose
// magnitude is largest (the first of equal ones; alpha is never read into the choice).
//
// Kernels: Sobel 3x3 (1 2 1 smoothing, -1 0 1 difference) and 5x5 (1 4 6 4 1, -1 -2 0 2 1);
// Scharr 3x3 (3 10 3); Prewitt 3x3 (1 1 1). Both derivatives run through one pass of the
// fixed-kernel frame (filter/fixed_frame.h); GradientOut (filter/fixed_outputs.h) writes the
// outputs. 8u16s: exact derivatives, the magnitude rounded to nearest and saturated; 16s32f and
// 16u32f: exact derivatives converted to single precision; 32f: single precision throughout.
//
// Checks: pSrc or pBuffer null, or all four outputs null; width or height below 1; the source
// step and each given output's step not a whole number of its elements (zelStsNotEvenStepErr);
// the mask (33 or 55 for Sobel, 33 for the others); normType (zelStsNotSupportedModeErr); the
// border (kinds 1, 3, 6, or 240), then a null border value of the colour members when the
// constant is needed.
//
// Query (one for the three kernels): pBufferSize null; width or height below 1; mask 33 or 55;
// data type 8u, 16s, 16u or 32f (zelStsDataTypeErr); channels 1, 3 or 4 (zelStsNumChannelsErr).
// Size: a fixed 32 for 8u, else two rings: the width times the channels rounded up to 16, times
// 3 or 5 rows, times 4 bytes, times 2, plus 32.
#include "filter/fixed_outputs.h"

namespace {

using namespace zel;

enum class Kind { Sobel, Scharr, Prewitt };

template <Kind K, typename S, typename D, int C>
ZelStatus gradient(const S* pSrc, int srcStep, D* pGx, int gxStep, D* pGy, int gyStep, D* pMag, int magStep,
                   Zel32f* pAngle, int angleStep, ZeliSize roi, ZeliMaskSize mask, int norm, ZeliBorderType border,
                   const S* value, Zel8u* pBuffer) {
    if (!pSrc || !pBuffer || (!pGx && !pGy && !pMag && !pAngle)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (!ownStepOk(srcStep, sizeof(S)) || (pGx && !ownStepOk(gxStep, sizeof(D))) || (pGy && !ownStepOk(gyStep, sizeof(D))) ||
        (pMag && !ownStepOk(magStep, sizeof(D))) || (pAngle && !ownStepOk(angleStep, 4)))
        return zelStsNotEvenStepErr;
    if (ZelStatus s = ownCheckMask(mask, K == Kind::Sobel ? kMask35 : kMask3)) return s;
    if (!ownNormOk(norm)) return zelStsNotSupportedModeErr;
    BorderArg b;
    if (ZelStatus s = ownCheckBorder(border, kBorderKindsFilter, value, &b)) return s;
    const int side = ownMaskSide(mask);
    const Taps smooth = K == Kind::Scharr ? kScharr3 : K == Kind::Prewitt ? kBox3 : side == 3 ? kSmooth3 : kSmooth5;
    const Taps diff = side == 3 ? kDeriv3 : kDeriv5;
    GradientOut<D, C> out{{pGx, gxStep}, {pGy, gyStep}, {pMag, magStep}, {pAngle, angleStep}, norm};
    ownFixedRun(pSrc, srcStep, roi, C, side, b, value, C == 1 ? 1 : 3, FixedPlan{2, {{diff, smooth}, {smooth, diff}}},
                pBuffer, out);
    return zelStsNoErr;
}

template <Kind K, typename S, typename D>
ZelStatus gradient1(const S* pSrc, int srcStep, D* pGx, int gxStep, D* pGy, int gyStep, D* pMag, int magStep,
                    Zel32f* pAngle, int angleStep, ZeliSize roi, ZeliMaskSize mask, int norm, ZeliBorderType border,
                    S value, Zel8u* pBuffer) {
    return gradient<K, S, D, 1>(pSrc, srcStep, pGx, gxStep, pGy, gyStep, pMag, magStep, pAngle, angleStep, roi, mask, norm,
                                border, &value, pBuffer);
}

ZelStatus query(ZeliSize roi, ZeliMaskSize mask, ZelDataType type, int channels, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ZelStatus s = ownCheckMask(mask, kMask35)) return s;
    if (type != zel8u && type != zel16s && type != zel16u && type != zel32f) return zelStsDataTypeErr;
    if (channels != 1 && channels != 3 && channels != 4) return zelStsNumChannelsErr;
    if (type == zel8u) {
        *pSize = 32;
        return zelStsNoErr;
    }
    return ownRingQuery(roi.width, channels, ownMaskSide(mask), 2, pSize);
}

}  // namespace

#define ZEL_GRADIENT_TYPE(op, K, t, S, D)                                  \
    ZEL_IMPL(zeli##op##_##t##_C1R, gradient1<K, S, D>)                     \
    ZEL_IMPL(zeli##op##_##t##_C3C1R, gradient<K, S, D, 3>)                 \
    ZEL_IMPL(zeli##op##_##t##_AC4C1R, gradient<K, S, D, 4>)
#define ZEL_GRADIENT(op, K)                                      \
    ZEL_GRADIENT_TYPE(op, K, 8u16s, Zel8u, Zel16s)               \
    ZEL_GRADIENT_TYPE(op, K, 16s32f, Zel16s, Zel32f)             \
    ZEL_GRADIENT_TYPE(op, K, 16u32f, Zel16u, Zel32f)             \
    ZEL_GRADIENT_TYPE(op, K, 32f, Zel32f, Zel32f)

ZEL_IMPL(zeliGradientVectorGetBufferSize, query)
ZEL_GRADIENT(GradientVectorSobel, Kind::Sobel)
ZEL_GRADIENT(GradientVectorScharr, Kind::Scharr)
ZEL_GRADIENT(GradientVectorPrewitt, Kind::Prewitt)
