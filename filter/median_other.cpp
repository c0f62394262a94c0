// The median functions without border handling: the caller provides the source pixels the
// neighbourhood reaches around the ROI.
//
//   FilterMedian (32f C3, C4; 64f C1): any mask with an anchor; the sample of rank
//     (n - 1) / 2 of the n samples (for an even count the lower of the two middle ones), found
//     per pixel by selection in the work buffer; floats ordered by the IEEE total order
//     (-NaN < -inf < ... < -0 < +0 < ... < +inf < +NaN), as FilterMedianBorder orders them.
//   FilterMedianColor: the vector median of a 3x3 or 5x5 neighbourhood.
//   FilterMedianCross: the median of the centre row and column of a 3x3 or 5x5 mask.
//   FilterMedianWeightedCenter3x3: a 3x3 median whose centre counts `weight` times.
//   Median_8u_P3C1R: the median of three planes.
// Steps below 1 are refused (-16) by all of them.
#include <string.h>

#include "filter/median_small.h"
#include "frame/zel_internal.h"

namespace zel {
namespace {

// The sample of rank r of k[0..n) (keys), by selection (k is reordered).
template <typename K>
K ownSelect(K* k, int n, int r) {
    int lo = 0, hi = n - 1;
    while (lo < hi) {
        const K p = k[lo + (hi - lo) / 2];
        int i = lo, j = hi;
        while (i <= j) {
            while (k[i] < p) ++i;
            while (p < k[j]) --j;
            if (i <= j) {
                const K t = k[i];
                k[i++] = k[j], k[j--] = t;
            }
        }
        if (r <= j) hi = j;
        else if (r >= i) lo = i;
        else return k[r];
    }
    return k[r];
}

// Total-order keys of 32f and 64f samples.
inline int64_t ownKey(Zel32f v) { return MedianKey<Zel32f>::of(v); }
inline int64_t ownKey(Zel64f v) {
    int64_t b;
    memcpy(&b, &v, 8);
    return b ^ (int64_t)((uint64_t)(b >> 63) >> 1);
}
template <typename T>
T ownFromKey(int64_t k);
template <>
Zel32f ownFromKey<Zel32f>(int64_t k) { return MedianKey<Zel32f>::back((int32_t)k); }
template <>
Zel64f ownFromKey<Zel64f>(int64_t k) {
    const int64_t b = k ^ (int64_t)((uint64_t)(k >> 63) >> 1);
    Zel64f v;
    memcpy(&v, &b, 8);
    return v;
}

int64_t ownFilterMedianBufferBytes(ZeliSize mask) { return (int64_t)mask.width * mask.height * 8 + 64; }

// Checks: pointer (-8), sizes (-6), mask (-33), channels (-47: 3 or 4 for 32f, 1 for 64f).
template <bool F64>
ZelStatus ownFilterMedianGetBufferSize(ZeliSize roi, ZeliSize mask, Zel32u channels, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
    if (F64 ? channels != 1 : channels != 3 && channels != 4) return zelStsChannelErr;
    const int64_t n = ownFilterMedianBufferBytes(mask);
    if (n > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)n;
    return zelStsNoErr;
}

template <typename T, int C>
ZelStatus ownFilterMedian(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliSize mask, ZeliPoint anchor,
                          Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height) return zelStsAnchorErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    int64_t* keys = (int64_t*)(((uintptr_t)pBuffer + 63) & ~(uintptr_t)63);
    const int n = mask.width * mask.height;
    for (int y = 0; y < roi.height; ++y) {
        T* d = row(pDst, dstStep, y);
        for (int x = 0; x < roi.width; ++x)
            for (int c = 0; c < C; ++c) {
                int i = 0;
                for (int dy = 0; dy < mask.height; ++dy) {
                    const T* s = row(pSrc, srcStep, (int64_t)y - anchor.y + dy) + ((int64_t)x - anchor.x) * C + c;
                    for (int dx = 0; dx < mask.width; ++dx) keys[i++] = ownKey(s[dx * C]);
                }
                d[(int64_t)x * C + c] = ownFromKey<T>(ownSelect(keys, n, (n - 1) / 2));
            }
    }
    return zelStsNoErr;
}

// The checks of the fixed-mask functions: pointers, size, steps, then the mask (33 or 55).
inline ZelStatus ownMaskedChecks(const void* s, const void* d, ZeliSize roi, int srcStep, int dstStep, ZeliMaskSize mask) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (mask != zelMskSize3x3 && mask != zelMskSize5x5) return zelStsMaskSizeErr;
    return zelStsNoErr;
}

// The vector median: the pixel of the neighbourhood whose sum of L1 distances (over the colour
// channels) to all the others is smallest, the first in raster order on ties. Sums are exact
// integers for 8u and 16s; for 32f they are accumulated in double in raster order.
template <typename T, int C>
ZelStatus ownFilterMedianColor(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask) {
    if (ZelStatus st = ownMaskedChecks(pSrc, pDst, roi, srcStep, dstStep, mask)) return st;
    const int r = mask == zelMskSize3x3 ? 1 : 2, k = 2 * r + 1, n = k * k;
    using A = std::conditional_t<sizeof(T) == 4, double, int64_t>;
    for (int y = 0; y < roi.height; ++y) {
        T* d = row(pDst, dstStep, y);
        for (int x = 0; x < roi.width; ++x) {
            const T* px[25];
            for (int i = 0; i < n; ++i) px[i] = row(pSrc, srcStep, (int64_t)y - r + i / k) + ((int64_t)x - r + i % k) * C;
            int best = 0;
            A bestSum = 0;
            for (int i = 0; i < n; ++i) {
                A sum = 0;
                for (int j = 0; j < n; ++j)
                    for (int c = 0; c < 3; ++c) {
                        const A a = (A)px[i][c], b = (A)px[j][c];
                        sum += a < b ? b - a : a - b;
                    }
                if (i == 0 || sum < bestSum) best = i, bestSum = sum;
            }
            for (int c = 0; c < 3; ++c) d[(int64_t)x * C + c] = px[best][c];
        }
    }
    return zelStsNoErr;
}

template <typename T>
void ownSortSmall(T* v, int n) {
    for (int i = 1; i < n; ++i)
        for (int j = i; j > 0 && v[j] < v[j - 1]; --j) {
            const T t = v[j];
            v[j] = v[j - 1], v[j - 1] = t;
        }
}

// The median of the 5 (3x3) or 9 (5x5) samples of the centre row and column, per channel.
template <typename T, int C, int Used>
ZelStatus ownFilterMedianCross(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliMaskSize mask) {
    if (ZelStatus st = ownMaskedChecks(pSrc, pDst, roi, srcStep, dstStep, mask)) return st;
    const int r = mask == zelMskSize3x3 ? 1 : 2;
    for (int y = 0; y < roi.height; ++y) {
        const T* s = row(pSrc, srcStep, y);
        T* d = row(pDst, dstStep, y);
        for (int64_t x = 0; x < roi.width; ++x)
            for (int c = 0; c < Used; ++c) {
                T v[9];
                int n = 0;
                for (int o = -r; o <= r; ++o) v[n++] = s[(x + o) * C + c];
                for (int o = -r; o <= r; ++o)
                    if (o) v[n++] = row(pSrc, srcStep, (int64_t)y + o)[x * C + c];
                ownSortSmall(v, n);
                d[x * C + c] = v[n / 2];
            }
    }
    return zelStsNoErr;
}

// The 3x3 median with the centre counted `weight` times: of the 8 + weight samples, the one of
// rank (7 + weight) / 2 (the lower middle one for an even count).
ZelStatus ownFilterMedianWeightedCenter3x3(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roi, int weight) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (weight < 1) return zelStsWeightErr;
    const int64_t rank = (7 + (int64_t)weight) / 2;
    for (int y = 0; y < roi.height; ++y) {
        Zel8u* d = row(pDst, dstStep, y);
        for (int64_t x = 0; x < roi.width; ++x) {
            Zel8u v[8];
            int n = 0;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    if (dy || dx) v[n++] = row(pSrc, srcStep, (int64_t)y + dy)[x + dx];
            ownSortSmall(v, 8);
            const Zel8u c = row(pSrc, srcStep, y)[x];
            int below = 0;  // neighbours below the centre: the centre's copies follow them
            while (below < 8 && v[below] < c) ++below;
            d[x] = rank < below ? v[rank] : rank < below + weight ? c : v[rank - weight];
        }
    }
    return zelStsNoErr;
}

// Checks: pointers (the array, each plane, the destination), size, steps.
ZelStatus ownMedianP3(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep, ZeliSize roi) {
    if (!pSrc || !pSrc[0] || !pSrc[1] || !pSrc[2] || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    for (int y = 0; y < roi.height; ++y) {
        const Zel8u *a = row(pSrc[0], srcStep, y), *b = row(pSrc[1], srcStep, y), *c = row(pSrc[2], srcStep, y);
        Zel8u* d = row(pDst, dstStep, y);
        for (int x = 0; x < roi.width; ++x) {
            const Zel8u lo = a[x] < b[x] ? a[x] : b[x], hi = a[x] < b[x] ? b[x] : a[x];
            const Zel8u m = hi < c[x] ? hi : c[x];
            d[x] = lo < m ? m : lo;
        }
    }
    return zelStsNoErr;
}

}  // namespace
}  // namespace zel

using namespace zel;

ZEL_IMPL(zeliFilterMedianGetBufferSize_32f, ownFilterMedianGetBufferSize<false>)
ZEL_IMPL(zeliFilterMedianGetBufferSize_64f, ownFilterMedianGetBufferSize<true>)
ZEL_IMPL(zeliFilterMedian_32f_C3R, ownFilterMedian<Zel32f, 3>)
ZEL_IMPL(zeliFilterMedian_32f_C4R, ownFilterMedian<Zel32f, 4>)
ZEL_IMPL(zeliFilterMedian_64f_C1R, ownFilterMedian<Zel64f, 1>)

ZEL_IMPL(zeliFilterMedianColor_8u_C3R, ownFilterMedianColor<Zel8u, 3>)
ZEL_IMPL(zeliFilterMedianColor_8u_AC4R, ownFilterMedianColor<Zel8u, 4>)
ZEL_IMPL(zeliFilterMedianColor_16s_C3R, ownFilterMedianColor<Zel16s, 3>)
ZEL_IMPL(zeliFilterMedianColor_16s_AC4R, ownFilterMedianColor<Zel16s, 4>)
ZEL_IMPL(zeliFilterMedianColor_32f_C3R, ownFilterMedianColor<Zel32f, 3>)
ZEL_IMPL(zeliFilterMedianColor_32f_AC4R, ownFilterMedianColor<Zel32f, 4>)

#define ZEL_MEDIAN_CROSS(t, T)                                                     \
    ZEL_IMPL(zeliFilterMedianCross_##t##_C1R, ownFilterMedianCross<T, 1, 1>)       \
    ZEL_IMPL(zeliFilterMedianCross_##t##_C3R, ownFilterMedianCross<T, 3, 3>)       \
    ZEL_IMPL(zeliFilterMedianCross_##t##_AC4R, ownFilterMedianCross<T, 4, 3>)
ZEL_MEDIAN_CROSS(8u, Zel8u)
ZEL_MEDIAN_CROSS(16u, Zel16u)
ZEL_MEDIAN_CROSS(16s, Zel16s)

ZEL_IMPL(zeliFilterMedianWeightedCenter3x3_8u_C1R, ownFilterMedianWeightedCenter3x3)
ZEL_IMPL(zeliMedian_8u_P3C1R, ownMedianP3)
