// Roberts cross on the fixed-kernel frame (filter/fixed_frame.h): Down = p(x, y) - p(x+1, y+1),
// Up = p(x, y+1) - p(x+1, y). The 2x2 kernel sits in the 3x3 frame (mask 33 only; the border
// needs of a 3x3 mask apply) and reads the two source rows straight from the border component.
// 32f is one single-precision subtraction, 8u16s exact, 16s saturated. The buffer query is the
// Sobel one.
#include "filter/fixed_outputs.h"

namespace {

using namespace zel;

template <bool Up, typename S, typename D>
ZelStatus roberts(const S* pSrc, int srcStep, D* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask, ZeliBorderType border,
                  S value, Zel8u* pBuffer) {
    BorderArg b;
    if (ZelStatus s = ownFixedChecks(pSrc, srcStep, sizeof(S), pDst, dstStep, sizeof(D), pBuffer, roi, mask, kMask3,
                                     border, kBorderKindsFilter, &value, &b))
        return s;
    using A = typename std::conditional<std::is_same<S, float>::value, float, int32_t>::type;
    const FixedSource src{pSrc, srcStep, (int)sizeof(S), 1, roi.width, roi.height, ownCentredExtent(3, 3), b, &value, 1};
    ownFixedWalk(src, [&](BorderRows& rows, int, int) {
        for (int64_t y = 0; y < roi.height; ++y) {
            D* o = row(pDst, dstStep, y);
            for (int i = 0; i < rows.segments(); ++i) {
                const BorderRows::Segment g = rows.segment(i);
                const S *a = rows.rowAs<S>(y + Up, i), *c = rows.rowAs<S>(y + !Up, i) + 1;
                for (int64_t x = g.x0; x < g.x1; ++x) o[x] = ownSat<D>((A)a[x] - (A)c[x]);
            }
        }
    });
    return zelStsNoErr;
}

}  // namespace

#define ZEL_ROBERTS(op, up)                                                  \
    ZEL_IMPL(zeli##op##GetBufferSize, ownDerivativeQuery<kMask3>)                                 \
    ZEL_IMPL(zeli##op##_8u16s_C1R, roberts<up, Zel8u, Zel16s>)               \
    ZEL_IMPL(zeli##op##_16s_C1R, roberts<up, Zel16s, Zel16s>)                \
    ZEL_IMPL(zeli##op##_32f_C1R, roberts<up, Zel32f, Zel32f>)

ZEL_ROBERTS(FilterRobertsUpBorder, true)
ZEL_ROBERTS(FilterRobertsDownBorder, false)
