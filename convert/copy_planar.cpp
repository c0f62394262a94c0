// Copy between pixel order and planes: three- or four-channel pixels split into planes
// (C3P3, C4P4) and planes interleaved into pixels (P3C3, P4C4). The planes share one step.
// No step is checked. Large images whose destination rows all start on 64-byte boundaries are
// written with non-temporal stores.
#include "frame/zel_internal.h"
#include "kernels/channel_shuffle.h"

namespace {

using namespace zel;

template <typename T, int C>
bool any_null(const T* const* planes) {
    if (!planes) return true;
    for (int c = 0; c < C; ++c)
        if (!planes[c]) return true;
    return false;
}

inline bool line_start(const void* p) { return ((uintptr_t)p & 63) == 0; }

// Runs rows(nt) with nt true when an image that moves `moved` bytes is streamed: every destination row
// of the pointers d on a 64-byte boundary (one row, or a step of whole lines).
template <int N, class Rows>
void planar_rows(uint8_t* const (&d)[N], int64_t ds, int64_t height, int64_t moved, Rows rows) {
    bool nt = ownsUseStreamingComputed(moved, true) && (height == 1 || ds % 64 == 0);
    for (int c = 0; c < N; ++c) nt &= line_start(d[c]);
    if (nt) {
        rows(std::true_type{});
        _mm_sfence();
    } else {
        rows(std::false_type{});
    }
}

// Pixel-order image to C planes.
template <typename T, int C>
ZelStatus copy_split(const T* pSrc, int srcStep, T* const* pDst, int dstStep, ZeliSize roi) {
    constexpr int S = sizeof(T);
    if (!pSrc || any_null<T, C>(pDst)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    int64_t ss = srcStep / S * S, ds = dstStep / S * S;
    int64_t width = roi.width, height = roi.height;
    if (ss == width * C * S && ds == width * S) {
        width *= height;
        height = 1;
    }
    uint8_t* d0[C];
    for (int c = 0; c < C; ++c) d0[c] = (uint8_t*)pDst[c];
    planar_rows(d0, ds, height, 2 * width * height * C * S, [&](auto nt) {
        const uint8_t* s = (const uint8_t*)pSrc;
        uint8_t* d[C];
        for (int c = 0; c < C; ++c) d[c] = d0[c];
        for (int64_t r = 0; r < height; ++r, s += ss) {
            if constexpr (C == 3) ownsSplitC3Row<S, nt>(s, d, width);
            else ownsSplitC4Row<S, nt>(s, d, width);
            for (int c = 0; c < C; ++c) d[c] += ds;
        }
    });
    return zelStsNoErr;
}

// C planes to a pixel-order image.
template <typename T, int C>
ZelStatus copy_merge(const T* const* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi) {
    constexpr int S = sizeof(T);
    if (any_null<T, C>(pSrc) || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    int64_t ss = srcStep / S * S, ds = dstStep / S * S;
    int64_t width = roi.width, height = roi.height;
    if (ss == width * S && ds == width * C * S) {
        width *= height;
        height = 1;
    }
    uint8_t* const d0[1] = {(uint8_t*)pDst};
    planar_rows(d0, ds, height, 2 * width * height * C * S, [&](auto nt) {
        const uint8_t* s[C];
        for (int c = 0; c < C; ++c) s[c] = (const uint8_t*)pSrc[c];
        uint8_t* d = d0[0];
        for (int64_t r = 0; r < height; ++r, d += ds) {
            if constexpr (C == 3) ownsMergeC3Row<S, nt>(s, d, width);
            else ownsMergeC4Row<S, nt>(s, d, width);
            for (int c = 0; c < C; ++c) s[c] += ss;
        }
    });
    return zelStsNoErr;
}

}  // namespace

#define ZEL_COPY_PLANAR(t, T)                                 \
    ZEL_IMPL(zeliCopy_##t##_C3P3R, copy_split<T, 3>)          \
    ZEL_IMPL(zeliCopy_##t##_C4P4R, copy_split<T, 4>)          \
    ZEL_IMPL(zeliCopy_##t##_P3C3R, copy_merge<T, 3>)          \
    ZEL_IMPL(zeliCopy_##t##_P4C4R, copy_merge<T, 4>)

ZEL_COPY_PLANAR(8u, Zel8u)
ZEL_COPY_PLANAR(16u, Zel16u)
ZEL_COPY_PLANAR(16s, Zel16s)
ZEL_COPY_PLANAR(32s, Zel32s)
ZEL_COPY_PLANAR(32f, Zel32f)
