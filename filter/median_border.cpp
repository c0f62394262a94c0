// FilterMedianBorder: the exact median of an odd mask around every pixel, borders replicated or
// constant, and its buffer query.
//
// The method follows the mask (the same choice for every sample type and layout):
//   1 x 1                 a copy (nothing when source and destination are the same image);
//   sides 1, 3 or 5       sorted columns and a pruned selection network (median_small.h);
//   larger, 8u            sliding coarse and fine histograms (median_hist8u.h), with 8-bit
//                         counters while the larger side is at most 16, 16-bit up to 256 and
//                         32-bit beyond;
//   larger, 16u, 16s, 32f sorted columns and a sliding four-level histogram of 16-bit keys
//                         (median_wide.h).
// A mask one pixel wide reads no column outside the ROI, one pixel high no row outside it. All
// methods give the exact median, so they agree bit for bit. Multi-channel images are filtered
// channel by channel; AC4 leaves the destination's alpha as it is.
#include <string.h>

#include "filter/border_rows.h"
#include "filter/median_hist8u.h"
#include "filter/median_small.h"
#include "filter/median_wide.h"
#include "frame/zel_internal.h"

namespace zel {
namespace {

enum MedianMethod { kMedianCopy, kMedianSmall, kMedianHist8, kMedianHist16, kMedianHist32, kMedianWide };

constexpr int kMedianBand = 512;  // destination columns per band of the histogram methods

struct MedianPlan {
    int method, band;
    int64_t borderBytes, storeBytes;
    int64_t total() const { return borderBytes + 64 + storeBytes; }
};

// type: the ZelDataType of the samples (1, 5, 7 or 13).
MedianPlan ownMedianPlan(ZeliSize roi, ZeliSize mask, int type, int channels) {
    const int kw = mask.width, kh = mask.height, m = kw > kh ? kw : kh;
    const int elem = type == 1 ? 1 : type == 13 ? 4 : 2;
    MedianPlan p{kMedianSmall, roi.width, 0, 0};
    if (kw == 1 && kh == 1) p.method = kMedianCopy;
    else if (m > 5) {
        p.band = roi.width < kMedianBand ? roi.width : kMedianBand;
        p.method = type != 1 ? kMedianWide : m <= 16 ? kMedianHist8 : m <= 256 ? kMedianHist16 : kMedianHist32;
    }
    if (p.method == kMedianCopy) return p;
    p.borderBytes = BorderRows::bufferSize(p.band, elem * channels, ownCentredExtent(kw, kh));
    switch (p.method) {
        case kMedianHist8: p.storeBytes = MedianHist8u<uint8_t>::storeSize(p.band, kw); break;
        case kMedianHist16: p.storeBytes = MedianHist8u<uint16_t>::storeSize(p.band, kw); break;
        case kMedianHist32: p.storeBytes = MedianHist8u<uint32_t>::storeSize(p.band, kw); break;  // covers <16, 32>
        case kMedianWide:
            p.storeBytes = type == 13 ? MedianWide<Zel32f>::storeSize(p.band, kw, kh)
                                      : MedianWide<Zel16u>::storeSize(p.band, kw, kh);
            break;
    }
    return p;
}

template <typename T, int C, bool A>
using MedianSmallFn = void (*)(BorderRows&, T*, int, int);

template <typename T, int C, bool A>
MedianSmallFn<T, C, A> ownMedianSmallFn(int kw, int kh) {
    static constexpr MedianSmallFn<T, C, A> table[3][3] = {
        {nullptr, &ownMedianSmall<T, C, A, 1, 3>, &ownMedianSmall<T, C, A, 1, 5>},
        {&ownMedianSmall<T, C, A, 3, 1>, &ownMedianSmall<T, C, A, 3, 3>, &ownMedianSmall<T, C, A, 3, 5>},
        {&ownMedianSmall<T, C, A, 5, 1>, &ownMedianSmall<T, C, A, 5, 3>, &ownMedianSmall<T, C, A, 5, 5>},
    };
    return table[kw / 2][kh / 2];
}

template <typename T>
constexpr int kMedianType = sizeof(T) == 1 ? 1 : sizeof(T) == 4 ? 13 : std::is_signed<T>::value ? 7 : 5;

// The large-mask method of one band, channel by channel.
template <typename T, int C, bool A>
void ownMedianLarge(const MedianPlan& p, BorderRows& br, T* pDst, int dstStep, int height, int bx0, int bx1, int kw,
                    int kh, uint8_t* store) {
    MedianColumns mc;
    mc.init(br, bx0, bx1);
    for (int ch = 0; ch < (A ? 3 : C); ++ch) {
        if constexpr (sizeof(T) == 1) {
            auto run = p.method == kMedianHist8    ? &MedianHist8u<uint8_t>::run
                       : p.method == kMedianHist16 ? &MedianHist8u<uint16_t>::run
                       : kh <= 65535                ? &MedianHist8u<uint16_t, uint32_t>::run
                                                   : &MedianHist8u<uint32_t>::run;
            run(br, mc, pDst, dstStep, height, bx0, bx1, kw, kh, C, ch, store);
        } else {
            MedianWide<T>::run(br, mc, pDst, dstStep, height, bx0, bx1, kw, kh, C, ch, store);
        }
    }
}

// The checked form of every member: value points to the border value (one sample per colour
// channel).
template <typename T, int C, bool A>
ZelStatus ownFilterMedianBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliSize mask,
                                ZeliBorderType border, const T* value, Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (!value && (border & 15) == 6) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1 || !(mask.width & 1) || !(mask.height & 1)) return zelStsMaskSizeErr;
    BorderArg b;
    if (ZelStatus st = ownBorderDecode(border, kBorderKindsNoMirror, &b)) return st;

    const int kw = mask.width, kh = mask.height, W = roi.width, H = roi.height;
    const MedianPlan p = ownMedianPlan(roi, mask, kMedianType<T>, C);
    if (p.method == kMedianCopy) {
        if (pSrc == pDst) return zelStsNoErr;
        for (int y = 0; y < H; ++y) {
            const T* s = row(pSrc, srcStep, y);
            T* d = row(pDst, dstStep, y);
            if (!A) memcpy(d, s, (size_t)W * C * sizeof(T));
            else for (int64_t x = 0; x < W; ++x) memcpy(d + 4 * x, s + 4 * x, 3 * sizeof(T));
        }
        return zelStsNoErr;
    }
    if (kw == 1) b.memLeft = b.memRight = true;  // nothing left or right of the ROI is read
    if (kh == 1) b.memTop = b.memBottom = true;

    const BorderExtent e = ownCentredExtent(kw, kh);
    uint8_t* store = (uint8_t*)(((uintptr_t)pBuffer + p.borderBytes + 63) & ~(uintptr_t)63);
    for (int bx0 = 0; bx0 < W; bx0 += p.band) {
        const int bx1 = W - bx0 < p.band ? W : bx0 + p.band;
        BorderRows br;
        br.init(pSrc, srcStep, sizeof(T), C, W, H, e, b, value, A ? 3 : C, pBuffer, bx0, bx1);
        if (p.method == kMedianSmall) ownMedianSmallFn<T, C, A>(kw, kh)(br, pDst, dstStep, H);
        else ownMedianLarge<T, C, A>(p, br, pDst, dstStep, H, bx0, bx1, kw, kh, store);
    }
    return zelStsNoErr;
}

// The one-channel members take the border value by value.
template <typename T>
ZelStatus ownFilterMedianBorder1(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliSize mask,
                                 ZeliBorderType border, T value, Zel8u* pBuffer) {
    return ownFilterMedianBorder<T, 1, false>(pSrc, srcStep, pDst, dstStep, roi, mask, border, &value, pBuffer);
}

// Checks: size (-6), mask (-33), data type (-59), channels (-47; 32f takes one), pointer (-8).
ZelStatus ownFilterMedianBorderGetBufferSize(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, int* pSize) {
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1 || !(mask.width & 1) || !(mask.height & 1)) return zelStsMaskSizeErr;
    if (type != 1 && type != 5 && type != 7 && type != 13) return zelStsDataTypeErr;
    if ((channels != 1 && channels != 3 && channels != 4) || (type == 13 && channels != 1)) return zelStsChannelErr;
    if (!pSize) return zelStsNullPtrErr;
    const int64_t n = ownMedianPlan(roi, mask, type, channels).total();
    if (n > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)n;
    return zelStsNoErr;
}

}  // namespace
}  // namespace zel

using namespace zel;

#define ZEL_MEDIAN_MEMBERS(t, T)                                                                    \
    ZEL_IMPL(zeliFilterMedianBorder_##t##_C1R, ownFilterMedianBorder1<T>)                           \
    ZEL_IMPL(zeliFilterMedianBorder_##t##_C3R, ownFilterMedianBorder<T, 3, false>)                  \
    ZEL_IMPL(zeliFilterMedianBorder_##t##_C4R, ownFilterMedianBorder<T, 4, false>)                  \
    ZEL_IMPL(zeliFilterMedianBorder_##t##_AC4R, ownFilterMedianBorder<T, 4, true>)

ZEL_IMPL(zeliFilterMedianBorderGetBufferSize, ownFilterMedianBorderGetBufferSize)
ZEL_MEDIAN_MEMBERS(8u, Zel8u)
ZEL_MEDIAN_MEMBERS(16u, Zel16u)
ZEL_MEDIAN_MEMBERS(16s, Zel16s)
ZEL_IMPL(zeliFilterMedianBorder_32f_C1R, ownFilterMedianBorder1<Zel32f>)
