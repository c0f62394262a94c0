// Extremes per channel (Min, Max, MinMax) and extremes with their first position in raster order
// (MinIndx, MaxIndx). AC4R members look at the first three channels and write three results.
//
// Checks, in order: a null pointer (source, every value and index pointer) → NullPtrErr; width
// or height below 1 → SizeErr. Steps are not checked (a zero step reads the first row again).
//
// 32f samples compare by the ordinary comparison, -0 equal to +0, and a NaN never wins over a
// number: NaN samples are ignored unless every sample of the channel is NaN, in which case the
// result is a NaN sample of the image (which one depends on the NaN patterns present, never on
// the path or the scan order) and its first position. Of equal extremes (+0 and -0) the first
// in raster order is the result. The order lives in integer keys (kernels/stat_reduce.h) that
// put both zeros on one key, so every path, vector or scalar, body or tail, and every scan
// order finds the same extreme; a zero extreme takes its sign from the first zero in raster
// order (first_zero).
//
// Indx: each row's extreme per channel is compared with the current one; only a strictly better
// row extreme moves the recorded row, so the first row holding the final extreme is kept. The
// scan stops once every channel holds the type's most extreme key (255 for a maximum of 8u,
// -inf for a minimum of 32f, ...). The column is then the first one in the recorded row whose
// sample has the extreme's key, and the value is that sample.
#include "frame/zel_internal.h"
#include "kernels/stat_terms.h"

namespace {

using namespace zel;
using namespace zel::stat;

template <class T> struct Keys { using Min = IntKey<T>; using Max = IntKey<T>; };
template <> struct Keys<Zel32f> { using Min = F32Key<true>; using Max = F32Key<false>; };

template <class T, int C, bool WantMin, bool WantMax>
using Reducer = ExtReducer<std::conditional_t<WantMin, typename Keys<T>::Min, NoKey>,
                           std::conditional_t<WantMax, typename Keys<T>::Max, NoKey>, C>;

// The sample an extreme key of channel c stands for: the first zero in raster order for the
// zero key of 32f, which both zeros share.
template <class KOp, int C, class T>
T value_of(typename KOp::Key k, const T* p, int step, ZeliSize roi, int c) {
    if constexpr (std::is_same_v<T, Zel32f>)
        if (k == KOp::kZero) return first_zero<C>(p, step, roi.width, roi.height, c);
    return KOp::value(k);
}

// Minimum and/or maximum of the first Out channels.
template <class T, int C, int Out, bool WantMin, bool WantMax>
void extremes(const T* p, int step, ZeliSize roi, T* pMin, T* pMax) {
    Reducer<T, C, WantMin, WantMax> r;
    const int64_t w = roi.width;
    walk(p, step, p, step, w * C, w, roi.height, [&](const T* a, const T* b, int64_t n) { r.row(a, b, n); });
    if constexpr (WantMin) {
        typename Keys<T>::Min::Key k[C];
        r.fold_min(k);
        for (int c = 0; c < Out; ++c) pMin[c] = value_of<typename Keys<T>::Min, C>(k[c], p, step, roi, c);
    }
    if constexpr (WantMax) {
        typename Keys<T>::Max::Key k[C];
        r.fold_max(k);
        for (int c = 0; c < Out; ++c) pMax[c] = value_of<typename Keys<T>::Max, C>(k[c], p, step, roi, c);
    }
}

template <class T, int C, int Out>
ZelStatus min_of(const T* pSrc, int srcStep, ZeliSize roi, T* pMin) {
    if (!pSrc || !pMin) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    extremes<T, C, Out, true, false>(pSrc, srcStep, roi, pMin, nullptr);
    return zelStsNoErr;
}

template <class T, int C, int Out>
ZelStatus max_of(const T* pSrc, int srcStep, ZeliSize roi, T* pMax) {
    if (!pSrc || !pMax) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    extremes<T, C, Out, false, true>(pSrc, srcStep, roi, nullptr, pMax);
    return zelStsNoErr;
}

template <class T, int C, int Out>
ZelStatus min_max_of(const T* pSrc, int srcStep, ZeliSize roi, T* pMin, T* pMax) {
    if (!pSrc || !pMin || !pMax) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    extremes<T, C, Out, true, true>(pSrc, srcStep, roi, pMin, pMax);
    return zelStsNoErr;
}

template <class T, int C, int Out, bool IsMax>
ZelStatus indx_of(const T* pSrc, int srcStep, ZeliSize roi, T* pValue, int* pIndexX, int* pIndexY) {
    if (!pSrc || !pValue || !pIndexX || !pIndexY) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    using KOp = std::conditional_t<IsMax, typename Keys<T>::Max, typename Keys<T>::Min>;
    using Key = typename KOp::Key;
    constexpr Key kBest = IsMax ? KOp::highest : KOp::lowest;
    auto better = [](Key a, Key b) { return IsMax ? a > b : a < b; };
    const int64_t w = roi.width, h = roi.height;

    Key cur[C];
    int64_t at[C] = {};
    for (int c = 0; c < C; ++c) cur[c] = KOp::skey(pSrc[c], pSrc[c]);
    Reducer<T, C, !IsMax, IsMax> r;
    for (int64_t y = 0; y < h; ++y) {
        const T* p = row(pSrc, srcStep, y);
        r.reset();
        r.row(p, p, w * C);
        Key k[C];
        if constexpr (IsMax) r.fold_max(k);
        else r.fold_min(k);
        bool done = true;
        for (int c = 0; c < Out; ++c) {
            if (better(k[c], cur[c])) cur[c] = k[c], at[c] = y;
            done = done && cur[c] == kBest;
        }
        if (done) break;
    }
    for (int c = 0; c < Out; ++c) {
        const T* p = row(pSrc, srcStep, at[c]);
        int64_t x = 0;
        while (x < w - 1 && KOp::skey(p[x * C + c], p[x * C + c]) != cur[c]) ++x;
        pValue[c] = p[x * C + c];
        pIndexX[c] = (int)x;
        pIndexY[c] = (int)at[c];
    }
    return zelStsNoErr;
}

template <class T, int C, int Out> ZelStatus min_indx(const T* s, int st, ZeliSize r, T* v, int* x, int* y) { return indx_of<T, C, Out, false>(s, st, r, v, x, y); }
template <class T, int C, int Out> ZelStatus max_indx(const T* s, int st, ZeliSize r, T* v, int* x, int* y) { return indx_of<T, C, Out, true>(s, st, r, v, x, y); }

}  // namespace

#define ZEL_EXT(op, fn, t, T)                          \
    ZEL_IMPL(zeli##op##_##t##_C1R, fn<T, 1, 1>)        \
    ZEL_IMPL(zeli##op##_##t##_C3R, fn<T, 3, 3>)        \
    ZEL_IMPL(zeli##op##_##t##_C4R, fn<T, 4, 4>)        \
    ZEL_IMPL(zeli##op##_##t##_AC4R, fn<T, 4, 3>)
#define ZEL_EXT_TYPES(op, fn)          \
    ZEL_EXT(op, fn, 8u, Zel8u)         \
    ZEL_EXT(op, fn, 16u, Zel16u)       \
    ZEL_EXT(op, fn, 16s, Zel16s)       \
    ZEL_EXT(op, fn, 32f, Zel32f)

ZEL_EXT_TYPES(Min, min_of)
ZEL_EXT_TYPES(Max, max_of)
ZEL_EXT_TYPES(MinMax, min_max_of)
ZEL_EXT_TYPES(MinIndx, min_indx)
ZEL_EXT_TYPES(MaxIndx, max_indx)
