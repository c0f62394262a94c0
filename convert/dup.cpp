// Dup: writes a one-channel 8u image into every channel of a three- or four-channel image.
// No step is checked.
#include "frame/zel_internal.h"
#include "kernels/channel_shuffle.h"

namespace {

using namespace zel;

template <int C>
ZelStatus dup(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roi) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    int64_t width = roi.width, height = roi.height, ss = srcStep, ds = dstStep;
    if (ss == width && ds == width * C) {  // packed rows: one long row
        width *= height;
        height = 1;
    }
    for (int64_t r = 0; r < height; ++r, pSrc += ss, pDst += ds) {
        if constexpr (C == 3) ownsDupC3Row_8u(pSrc, pDst, width);
        else ownsDupC4Row_8u(pSrc, pDst, width);
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliDup_8u_C1C3R, dup<3>)
ZEL_IMPL(zeliDup_8u_C1C4R, dup<4>)
