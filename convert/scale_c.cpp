// ScaleC: dst = saturate(roundHalfEven(src * mulVal + addVal)) with one fused multiply-add.
// The fast path (any hint but zelAlgHintAccurate) rounds the source, mulVal and addVal to
// floats and computes in single precision, whatever the types (64f included); the accurate path
// computes in double precision. Integer destinations saturate, NaN giving 0; float
// destinations take the rounded result as it is (overflowing to infinity).
//
// When mulVal is within double epsilon of 1 and addVal of 0 the call is the plain conversion
// of the pair, with that conversion's checks and status: integers widen exactly or saturate,
// floating point rounds half to even into integers, the same type is copied. Otherwise the
// checks are pointers, size, steps (< 1).
#include <math.h>

#include "kernels/convert_type.h"

namespace {

using namespace zel;
using namespace zel::cvt;

template <typename S, typename D>
ZelStatus scale_c(const S* s, int ss, D* d, int ds, ZeliSize roi, Zel64f mul, Zel64f add, ZelHintAlgorithm hint) {
    constexpr double eps = 2.220446049250313e-16;
    if (fabs(mul - 1.0) < eps && fabs(add) < eps) return ownsConvertPlain<S, D, 1>(s, ss, d, ds, roi);
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ss < 1 || ds < 1) return zelStsStepErr;
    const bool collapse = (int64_t)roi.width * roi.height < kInt32Max;
    if (hint == zelAlgHintAccurate)
        ownsConvertImage(s, ss, d, ds, roi.width, roi.height, false, collapse, OpScaleC<D, true>(mul, add));
    else
        ownsConvertImage(s, ss, d, ds, roi.width, roi.height, false, collapse, OpScaleC<D, false>(mul, add));
    return zelStsNoErr;
}

template <typename T>
ZelStatus scale_c_ir(T* p, int step, ZeliSize roi, Zel64f mul, Zel64f add, ZelHintAlgorithm hint) {
    return scale_c<T, T>(p, step, p, step, roi, mul, add, hint);
}

}  // namespace

#define ZEL_SCALEC(s, S, d, D) ZEL_IMPL(zeliScaleC_##s##d##_C1R, scale_c<S, D>)
#define ZEL_SCALEC_SAME(t, T)                           \
    ZEL_IMPL(zeliScaleC_##t##_C1R, scale_c<T, T>)       \
    ZEL_IMPL(zeliScaleC_##t##_C1IR, scale_c_ir<T>)
// Every destination of one source, the source's own type excluded.
#define ZEL_SCALEC_FROM(s, S, a, A, b, B, c, C, e, E, f, F, g, G) \
    ZEL_SCALEC(s, S, a, A) ZEL_SCALEC(s, S, b, B) ZEL_SCALEC(s, S, c, C) \
    ZEL_SCALEC(s, S, e, E) ZEL_SCALEC(s, S, f, F) ZEL_SCALEC(s, S, g, G) ZEL_SCALEC_SAME(s, S)

ZEL_SCALEC_FROM(8u, Zel8u, 8s, Zel8s, 16u, Zel16u, 16s, Zel16s, 32s, Zel32s, 32f, Zel32f, 64f, Zel64f)
ZEL_SCALEC_FROM(8s, Zel8s, 8u, Zel8u, 16u, Zel16u, 16s, Zel16s, 32s, Zel32s, 32f, Zel32f, 64f, Zel64f)
ZEL_SCALEC_FROM(16u, Zel16u, 8u, Zel8u, 8s, Zel8s, 16s, Zel16s, 32s, Zel32s, 32f, Zel32f, 64f, Zel64f)
ZEL_SCALEC_FROM(16s, Zel16s, 8u, Zel8u, 8s, Zel8s, 16u, Zel16u, 32s, Zel32s, 32f, Zel32f, 64f, Zel64f)
ZEL_SCALEC_FROM(32s, Zel32s, 8u, Zel8u, 8s, Zel8s, 16u, Zel16u, 16s, Zel16s, 32f, Zel32f, 64f, Zel64f)
ZEL_SCALEC_FROM(32f, Zel32f, 8u, Zel8u, 8s, Zel8s, 16u, Zel16u, 16s, Zel16s, 32s, Zel32s, 64f, Zel64f)
ZEL_SCALEC_FROM(64f, Zel64f, 8u, Zel8u, 8s, Zel8s, 16u, Zel16u, 16s, Zel16s, 32s, Zel32s, 32f, Zel32f)
