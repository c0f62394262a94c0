// Transpose: source pixel (x, y) goes to destination pixel (y, x); the destination is height
// rows of width pixels. No step is checked: any step, zero and negative included, is used as
// given (reduced to whole samples). In place only square ROIs can be transposed.
#include "frame/zel_internal.h"
#include "kernels/convert_transpose.h"

namespace {

using namespace zel;

template <int S>
inline int64_t sample_step(int64_t step) {
    return step / S * S;
}

template <int S, int C>
ZelStatus transpose_ir(void* pSrcDst, int srcDstStep, ZeliSize roi) {
    if (!pSrcDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1 || roi.width != roi.height) return zelStsSizeErr;
    ownTransposeSquareInPlace<S, C>((uint8_t*)pSrcDst, sample_step<S>(srcDstStep), roi.width);
    return zelStsNoErr;
}

// The same pointer for source and destination is the in-place transpose (with the source's
// step), so a square ROI passed twice is transposed where it is.
template <int S, int C>
ZelStatus transpose_r(const void* pSrc, int srcStep, void* pDst, int dstStep, ZeliSize roi) {
    if (pSrc == pDst) return transpose_ir<S, C>(pDst, srcStep, roi);
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    ownTranspose<S, C>((const uint8_t*)pSrc, sample_step<S>(srcStep), (uint8_t*)pDst, sample_step<S>(dstStep),
                       roi.width, roi.height);
    return zelStsNoErr;
}

}  // namespace

#define ZEL_TRANSPOSE(t, S, lay, C)                              \
    ZEL_IMPL(zeliTranspose_##t##_##lay##R, transpose_r<S, C>)   \
    ZEL_IMPL(zeliTranspose_##t##_##lay##IR, transpose_ir<S, C>)
#define ZEL_TRANSPOSE_TYPE(t, S)  \
    ZEL_TRANSPOSE(t, S, C1, 1)    \
    ZEL_TRANSPOSE(t, S, C3, 3)    \
    ZEL_TRANSPOSE(t, S, C4, 4)

ZEL_TRANSPOSE_TYPE(8u, 1)
ZEL_TRANSPOSE_TYPE(16u, 2)
ZEL_TRANSPOSE_TYPE(16s, 2)
ZEL_TRANSPOSE_TYPE(32s, 4)
ZEL_TRANSPOSE_TYPE(32f, 4)
// A complex sample is one 8-byte element: its steps are reduced to multiples of 8.
ZEL_IMPL(zeliTranspose_32fc_C1R, transpose_r<8, 1>)
