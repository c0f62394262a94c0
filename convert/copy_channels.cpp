// Copy between channel layouts: one channel out of or into a multi-channel image (C3C1, C4C1,
// C1C3, C1C4), channel of interest to channel of interest (C3CR, C4CR), and three channels
// into or out of four-channel pixels (C3AC4, AC4C3). Channels not named are left as they
// are. No step is checked.
#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

// Copies channels 0..K-1 of n pixels of SC-channel samples at s into the first K channels of
// DC-channel pixels at d.
template <typename T, int SC, int DC, int K>
void channels_row(const T* __restrict s, T* __restrict d, int64_t n) {
    for (int64_t x = 0; x < n; ++x)
        for (int c = 0; c < K; ++c) d[x * DC + c] = s[x * SC + c];
}

template <int S, int SC, int DC, int K>
ZelStatus copy_channels(const void* pSrc, int srcStep, void* pDst, int dstStep, ZeliSize roi) {
    using T = typename Sample<S>::type;
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    const T* s = (const T*)pSrc;
    T* d = (T*)pDst;
    int64_t ss = srcStep / S, ds = dstStep / S;  // in samples
    int64_t width = roi.width, height = roi.height;
    if (ss == width * SC && ds == width * DC) {  // packed rows: one long row
        width *= height;
        height = 1;
    }
    for (int64_t r = 0; r < height; ++r) channels_row<T, SC, DC, K>(s + r * ss, d + r * ds, width);
    return zelStsNoErr;
}

}  // namespace

#define ZEL_COPY_CHANNELS(t, S)                                       \
    ZEL_IMPL(zeliCopy_##t##_C3C1R, copy_channels<S, 3, 1, 1>)         \
    ZEL_IMPL(zeliCopy_##t##_C4C1R, copy_channels<S, 4, 1, 1>)         \
    ZEL_IMPL(zeliCopy_##t##_C1C3R, copy_channels<S, 1, 3, 1>)         \
    ZEL_IMPL(zeliCopy_##t##_C1C4R, copy_channels<S, 1, 4, 1>)         \
    ZEL_IMPL(zeliCopy_##t##_C3CR, copy_channels<S, 3, 3, 1>)          \
    ZEL_IMPL(zeliCopy_##t##_C4CR, copy_channels<S, 4, 4, 1>)          \
    ZEL_IMPL(zeliCopy_##t##_C3AC4R, copy_channels<S, 3, 4, 3>)        \
    ZEL_IMPL(zeliCopy_##t##_AC4C3R, copy_channels<S, 4, 3, 3>)

ZEL_COPY_CHANNELS(8u, 1)
ZEL_COPY_CHANNELS(16u, 2)
ZEL_COPY_CHANNELS(16s, 2)
ZEL_COPY_CHANNELS(32s, 4)
ZEL_COPY_CHANNELS(32f, 4)
