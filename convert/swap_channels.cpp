// SwapChannels: reorders the channels of each pixel; destination channel i takes source
// channel dstOrder[i]. C3C4R adds a channel (order entry 3 writes val, an entry above 3 leaves
// the destination channel as it is), C4C3R drops one, AC4R keeps the destination alpha. C3R
// with the source equal to the destination runs in place, as C3IR.
#include "frame/zel_internal.h"
#include "kernels/channel_shuffle.h"

namespace {

using namespace zel;

inline bool bad_size(ZeliSize roi) { return roi.width < 1 || roi.height < 1; }

// True when each of the n order entries lies in 0..hi.
inline bool order_ok(const int* order, int n, int hi) {
    for (int i = 0; i < n; ++i)
        if (order[i] < 0 || order[i] > hi) return false;
    return true;
}

// Walks the rows of a call that has passed its checks: rows of SC-channel source and
// DC-channel destination pixels, one long row when both steps are the packed row lengths.
template <typename T, int SC, int DC, typename Kernel>
void walk(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, Kernel kernel) {
    int64_t ss = srcStep / (int)sizeof(T), ds = dstStep / (int)sizeof(T);  // in samples
    int64_t width = roi.width, height = roi.height;
    if (ss == width * SC && ds == width * DC) {
        width *= height;
        height = 1;
    }
    for (int64_t r = 0; r < height; ++r) kernel((const uint8_t*)(pSrc + r * ss), (uint8_t*)(pDst + r * ds), width);
}

// The in-place engine of three-channel pixels (also runs C3R whose source is its destination).
template <typename T>
void swap_c3_run(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    constexpr int S = sizeof(T);
    SwapC3Tables tab;
    ownBuildSwapC3<S>(order, &tab);
    walk<T, 3, 3>(pSrc, srcStep, pDst, dstStep, roi,
                  [&](const uint8_t* s, uint8_t* d, int64_t n) { ownsSwapC3Row<S>(s, d, n, order, tab); });
}

template <typename T>
void swap_c4_run(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    constexpr int S = sizeof(T);
    SwapC4Table tab;
    ownBuildSwapC4<S>(order, &tab);
    walk<T, 4, 4>(pSrc, srcStep, pDst, dstStep, roi,
                  [&](const uint8_t* s, uint8_t* d, int64_t n) { ownsSwapC4Row<S>(s, d, n, order, tab); });
}

template <typename T>
ZelStatus swap_c3(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    if (!pSrc || !pDst || !order) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (srcStep == 0 || dstStep == 0) return zelStsStepErr;
    if (!order_ok(order, 3, 2)) return zelStsChannelOrderErr;
    if (pSrc == pDst) dstStep = srcStep;  // in place
    swap_c3_run(pSrc, srcStep, pDst, dstStep, roi, order);
    return zelStsNoErr;
}

template <typename T>
ZelStatus swap_c4(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    if (!pSrc || !pDst || !order) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (srcStep == 0 || dstStep == 0) return zelStsStepErr;
    if (!order_ok(order, 4, 3)) return zelStsChannelOrderErr;
    swap_c4_run(pSrc, srcStep, pDst, dstStep, roi, order);
    return zelStsNoErr;
}

// In place: the step is checked before the size.
template <typename T, int C>
ZelStatus swap_inplace(T* pSrcDst, int step, ZeliSize roi, const int* order) {
    if (!pSrcDst || !order) return zelStsNullPtrErr;
    if (step == 0) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (!order_ok(order, C, C - 1)) return zelStsChannelOrderErr;
    if constexpr (C == 3) swap_c3_run(pSrcDst, step, pSrcDst, step, roi, order);
    else swap_c4_run(pSrcDst, step, pSrcDst, step, roi, order);
    return zelStsNoErr;
}

// AC4: image pointers, steps, size, then the order array.
template <typename T>
ZelStatus swap_ac4(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    constexpr int S = sizeof(T);
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (srcStep == 0 || dstStep == 0) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (!order) return zelStsNullPtrErr;
    if (!order_ok(order, 3, 2)) return zelStsChannelOrderErr;
    const int full[4] = {order[0], order[1], order[2], 3};
    SwapC4Table tab;
    ownBuildSwapC4<S>(full, &tab);
    walk<T, 4, 4>(pSrc, srcStep, pDst, dstStep, roi,
                  [&](const uint8_t* s, uint8_t* d, int64_t n) { ownsSwapAC4Row<S>(s, d, n, order, tab); });
    return zelStsNoErr;
}

template <typename T>
ZelStatus swap_c3c4(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order, T val) {
    constexpr int S = sizeof(T);
    if (!pSrc || !pDst || !order) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (srcStep == 0 || dstStep == 0) return zelStsStepErr;
    for (int i = 0; i < 4; ++i)
        if (order[i] < 0) return zelStsChannelOrderErr;
    uint8_t v[S];
    memcpy(v, &val, S);
    SwapC3C4Tables tab;
    ownBuildSwapC3C4<S>(order, v, &tab);
    walk<T, 3, 4>(pSrc, srcStep, pDst, dstStep, roi,
                  [&](const uint8_t* s, uint8_t* d, int64_t n) { ownsSwapC3C4Row<S>(s, d, n, order, v, tab); });
    return zelStsNoErr;
}

// Four-channel to three-channel pixels: destination channel i from source channel order[i].
template <typename T>
ZelStatus swap_c4c3(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, const int* order) {
    using U = typename Sample<sizeof(T)>::type;
    if (!pSrc || !pDst || !order) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (srcStep == 0 || dstStep == 0) return zelStsStepErr;
    if (!order_ok(order, 3, 3)) return zelStsChannelOrderErr;
    const int o0 = order[0], o1 = order[1], o2 = order[2];
    walk<T, 4, 3>(pSrc, srcStep, pDst, dstStep, roi, [&](const uint8_t* s8, uint8_t* d8, int64_t n) {
        const U* __restrict s = (const U*)s8;
        U* __restrict d = (U*)d8;
        for (int64_t x = 0; x < n; ++x) {
            d[3 * x] = s[4 * x + o0];
            d[3 * x + 1] = s[4 * x + o1];
            d[3 * x + 2] = s[4 * x + o2];
        }
    });
    return zelStsNoErr;
}

}  // namespace

#define ZEL_SWAP(t, T)                                          \
    ZEL_IMPL(zeliSwapChannels_##t##_C3R, swap_c3<T>)            \
    ZEL_IMPL(zeliSwapChannels_##t##_C4R, swap_c4<T>)            \
    ZEL_IMPL(zeliSwapChannels_##t##_AC4R, swap_ac4<T>)          \
    ZEL_IMPL(zeliSwapChannels_##t##_C3C4R, swap_c3c4<T>)        \
    ZEL_IMPL(zeliSwapChannels_##t##_C4C3R, swap_c4c3<T>)

ZEL_SWAP(8u, Zel8u)
ZEL_SWAP(16u, Zel16u)
ZEL_SWAP(16s, Zel16s)
ZEL_SWAP(32s, Zel32s)
ZEL_SWAP(32f, Zel32f)
ZEL_IMPL(zeliSwapChannels_8u_C3IR, swap_inplace<Zel8u, 3>)
ZEL_IMPL(zeliSwapChannels_8u_C4IR, swap_inplace<Zel8u, 4>)
