// Sobel, Scharr and Prewitt derivatives: one separable kernel each, on the fixed-kernel frame
// (filter/fixed_frame.h), stored with saturation.
//
//   SobelVert         row: left minus right (1 0 -1 or 1 2 0 -2 -1)   column: 1 2 1 or 1 4 6 4 1
//   SobelNegVert      row: right minus left                           column: smoothing
//   SobelHoriz        row: smoothing                                  column: bottom minus top
//   SobelHorizSecond  row: smoothing                                  column: 1 -2 1 or 1 0 -2 0 1
//   SobelVertSecond   row: 1 -2 1 or 1 0 -2 0 1                       column: smoothing
//   ScharrHorizMask   row: 3 10 3                                     column: bottom minus top
//   ScharrVertMask    row: left minus right                           column: 3 10 3
//   PrewittHoriz      row: 1 1 1                                      column: bottom minus top
//   PrewittVert       row: left minus right                           column: 1 1 1
//
// 32f is single precision in the frame's order of operations (the row pass first); 8u16s is
// exact; 16s is exact in 32 bits, then saturated. Scharr and Prewitt are 3x3 only.
//
// Buffer query (every family here): pBufferSize null; width or height below 1; mask; the
// types (16s from 8u or 16s, 32f from 32f: zelStsDataTypeErr); channels other than 1
// (zelStsNumChannelsErr). Size: the width rounded up to 16, times 3 or 5 rows, times 4 bytes,
// plus 32; from 8u to 16s a fixed 32 (that member needs no ring).
#include "filter/fixed_outputs.h"

namespace {

using namespace zel;

struct SobelVert {
    static constexpr unsigned masks = kMask35;
    static Separable kernel(int side) { return side == 3 ? Separable{kNegDeriv3, kSmooth3} : Separable{kNegDeriv5, kSmooth5}; }
};
struct SobelNegVert {
    static constexpr unsigned masks = kMask35;
    static Separable kernel(int side) { return side == 3 ? Separable{kDeriv3, kSmooth3} : Separable{kDeriv5, kSmooth5}; }
};
struct SobelHoriz {
    static constexpr unsigned masks = kMask35;
    static Separable kernel(int side) { return side == 3 ? Separable{kSmooth3, kDeriv3} : Separable{kSmooth5, kDeriv5}; }
};
struct SobelHorizSecond {
    static constexpr unsigned masks = kMask35;
    static Separable kernel(int side) { return side == 3 ? Separable{kSmooth3, kSecond3} : Separable{kSmooth5, kSecond5}; }
};
struct SobelVertSecond {
    static constexpr unsigned masks = kMask35;
    static Separable kernel(int side) { return side == 3 ? Separable{kSecond3, kSmooth3} : Separable{kSecond5, kSmooth5}; }
};
struct ScharrHoriz {
    static constexpr unsigned masks = kMask3;
    static Separable kernel(int) { return {kScharr3, kDeriv3}; }
};
struct ScharrVert {
    static constexpr unsigned masks = kMask3;
    static Separable kernel(int) { return {kNegDeriv3, kScharr3}; }
};
struct PrewittHoriz {
    static constexpr unsigned masks = kMask3;
    static Separable kernel(int) { return {kBox3, kDeriv3}; }
};
struct PrewittVert {
    static constexpr unsigned masks = kMask3;
    static Separable kernel(int) { return {kNegDeriv3, kBox3}; }
};

template <class K, typename S, typename D>
ZelStatus derivative(const S* pSrc, int srcStep, D* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask,
                     ZeliBorderType border, S value, Zel8u* pBuffer) {
    BorderArg b;
    if (ZelStatus s = ownFixedChecks(pSrc, srcStep, sizeof(S), pDst, dstStep, sizeof(D), pBuffer, roi, mask, K::masks,
                                     border, kBorderKindsFilter, &value, &b))
        return s;
    const int side = ownMaskSide(mask);
    const FixedPlan plan{1, {K::kernel(side)}};
    StoreOut<D, 1, 1> out{{pDst, dstStep}};
    ownFixedRun(pSrc, srcStep, roi, 1, side, b, &value, 1, plan, pBuffer, out);
    return zelStsNoErr;
}

}  // namespace

#define ZEL_DERIVATIVE(op, K, masks)                                             \
    ZEL_IMPL(zeli##op##GetBufferSize, ownDerivativeQuery<masks>)                             \
    ZEL_IMPL(zeli##op##_8u16s_C1R, derivative<K, Zel8u, Zel16s>)                \
    ZEL_IMPL(zeli##op##_16s_C1R, derivative<K, Zel16s, Zel16s>)                 \
    ZEL_IMPL(zeli##op##_32f_C1R, derivative<K, Zel32f, Zel32f>)

ZEL_DERIVATIVE(FilterSobelVertBorder, SobelVert, kMask35)
ZEL_DERIVATIVE(FilterSobelNegVertBorder, SobelNegVert, kMask35)
ZEL_DERIVATIVE(FilterSobelHorizBorder, SobelHoriz, kMask35)
ZEL_DERIVATIVE(FilterSobelHorizSecondBorder, SobelHorizSecond, kMask35)
ZEL_DERIVATIVE(FilterSobelVertSecondBorder, SobelVertSecond, kMask35)
ZEL_DERIVATIVE(FilterScharrHorizMaskBorder, ScharrHoriz, kMask3)
ZEL_DERIVATIVE(FilterScharrVertMaskBorder, ScharrVert, kMask3)
ZEL_DERIVATIVE(FilterPrewittHorizBorder, PrewittHoriz, kMask3)
ZEL_DERIVATIVE(FilterPrewittVertBorder, PrewittVert, kMask3)
