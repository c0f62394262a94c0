// Laplace, Sharpen and Hipass: filters of the centre pixel p and the sum S of the n pixels of
// the 3x3 or 5x5 mask (n = 9 or 25), on the fixed-kernel frame (filter/fixed_frame.h). S is a
// separable box sum (1 1 1 or 1 1 1 1 1 in both passes); the output stage is CentreOut
// (filter/fixed_outputs.h):
//
//   Laplace   n p - S (8 or 24 in the centre, -1 around)
//   Sharpen   2 p - (S - p) / (n - 1)
//   Hipass    p - S / n
//
// 8u Laplace is the unsigned saturating subtraction n p - S packed to 8 bits (a negative
// response gives 0, one above 255 gives 255); the other integer results round half away from
// zero and saturate. Laplace refuses zelBorderMirror. Multi-channel members filter each channel
// with one border value per processed channel; AC4 leaves the destination's alpha alone.
//
// Queries: pBufferSize null; width or height below 1; mask 33 or 55; the types (Laplace:
// 8u, 8u to 16s, 16s, 32f; Sharpen and Hipass: 8u, 16u, 16s, 32f: zelStsDataTypeErr); channels
// other than 1, 3 or 4, or other than 1 for the one-channel pairs (zelStsNumChannelsErr). Size:
// a fixed 32 for 8u sources (no ring), else the width times the channels rounded up to 16,
// times 3 or 5 rows, times 4 bytes, plus 32.
#include "filter/fixed_outputs.h"

namespace {

using namespace zel;

template <CentreKind K, unsigned Kinds, typename S, typename D, int C, int Cw>
ZelStatus centre(const S* pSrc, int srcStep, D* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask, ZeliBorderType border,
                 const S* value, Zel8u* pBuffer) {
    BorderArg b;
    if (ZelStatus s = ownFixedChecks(pSrc, srcStep, sizeof(S), pDst, dstStep, sizeof(D), pBuffer, roi, mask, kMask35,
                                     border, Kinds, value, &b))
        return s;
    const int side = ownMaskSide(mask);
    const Taps box = side == 3 ? kBox3 : kBox5;
    const FixedPlan plan{1, {{box, box}}};
    CentreOut<K, S, D, C, Cw> out{pSrc, srcStep, {pDst, dstStep}, side * side};
    ownFixedRun(pSrc, srcStep, roi, C, side, b, value, Cw, plan, pBuffer, out);
    return zelStsNoErr;
}

template <CentreKind K, unsigned Kinds, typename S, typename D>
ZelStatus centre1(const S* pSrc, int srcStep, D* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask, ZeliBorderType border,
                  S value, Zel8u* pBuffer) {
    return centre<K, Kinds, S, D, 1, 1>(pSrc, srcStep, pDst, dstStep, roi, mask, border, &value, pBuffer);
}

ZelStatus sizeFor(ZeliSize roi, int mask, bool from8u, int channels, int* pSize) {
    if (from8u) {
        *pSize = 32;
        return zelStsNoErr;
    }
    return ownRingQuery(roi.width, channels, ownMaskSide(mask), 1, pSize);
}

ZelStatus queryHead(ZeliSize roi, int mask, const int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    return ownCheckMask(mask, kMask35);
}

ZelStatus laplaceQuery(ZeliSize roi, ZeliMaskSize mask, ZelDataType src, ZelDataType dst, int channels, int* pSize) {
    if (ZelStatus s = queryHead(roi, mask, pSize)) return s;
    const bool multi = (src == zel8u && dst == zel8u) || (src == zel32f && dst == zel32f);
    if (!multi && !(src == zel8u && dst == zel16s) && !(src == zel16s && dst == zel16s)) return zelStsDataTypeErr;
    if (!(channels == 1 || (multi && (channels == 3 || channels == 4)))) return zelStsNumChannelsErr;
    return sizeFor(roi, mask, src == zel8u, channels, pSize);
}

ZelStatus sharpenQuery(ZeliSize roi, ZeliMaskSize mask, ZelDataType type, int channels, int* pSize) {
    if (ZelStatus s = queryHead(roi, mask, pSize)) return s;
    if (type != zel8u && type != zel16u && type != zel16s && type != zel32f) return zelStsDataTypeErr;
    if (channels != 1 && channels != 3 && channels != 4) return zelStsNumChannelsErr;
    return sizeFor(roi, mask, type == zel8u, channels, pSize);
}

constexpr CentreKind kLap = CentreKind::Laplace, kSharp = CentreKind::Sharpen, kHi = CentreKind::Hipass;

}  // namespace

#define ZEL_CENTRE_ALL(op, K, kinds, t, T)                                          \
    ZEL_IMPL(zeli##op##_##t##_C1R, centre1<K, kinds, T, T>)                          \
    ZEL_IMPL(zeli##op##_##t##_C3R, centre<K, kinds, T, T, 3, 3>)                     \
    ZEL_IMPL(zeli##op##_##t##_C4R, centre<K, kinds, T, T, 4, 4>)                     \
    ZEL_IMPL(zeli##op##_##t##_AC4R, centre<K, kinds, T, T, 4, 3>)

ZEL_IMPL(zeliFilterLaplaceBorderGetBufferSize, laplaceQuery)
ZEL_CENTRE_ALL(FilterLaplaceBorder, kLap, kBorderKindsNoMirror, 8u, Zel8u)
ZEL_CENTRE_ALL(FilterLaplaceBorder, kLap, kBorderKindsNoMirror, 32f, Zel32f)
ZEL_IMPL(zeliFilterLaplaceBorder_8u16s_C1R, centre1<kLap, kBorderKindsNoMirror, Zel8u, Zel16s>)
ZEL_IMPL(zeliFilterLaplaceBorder_16s_C1R, centre1<kLap, kBorderKindsNoMirror, Zel16s, Zel16s>)

ZEL_IMPL(zeliFilterSharpenBorderGetBufferSize, sharpenQuery)
ZEL_IMPL(zeliFilterHipassBorderGetBufferSize, sharpenQuery)
#define ZEL_SHARPEN_HIPASS(t, T)                                  \
    ZEL_CENTRE_ALL(FilterSharpenBorder, kSharp, kBorderKindsFilter, t, T) \
    ZEL_CENTRE_ALL(FilterHipassBorder, kHi, kBorderKindsFilter, t, T)
ZEL_SHARPEN_HIPASS(8u, Zel8u)
ZEL_SHARPEN_HIPASS(16u, Zel16u)
ZEL_SHARPEN_HIPASS(16s, Zel16s)
ZEL_SHARPEN_HIPASS(32f, Zel32f)
