// One-dimensional window sums without border handling: SumWindowRow sums maskSize samples of a
// row starting anchor pixels left of the destination pixel, SumWindowColumn maskSize samples of
// a column starting anchor rows above it; the caller provides every pixel they read. Each
// channel is summed on its own.
//
// Checks, in order: a null source or destination; maskSize below 1 (zelStsMaskSizeErr); an
// anchor outside [0, maskSize) (zelStsAnchorErr). A ROI with no rows or no columns is then a
// success that writes nothing. Steps are not checked.
//
// The sums are exact (32-bit integers while the largest possible sum fits, else double
// precision, exact below 2^53) and rounded once to single precision, to nearest even. Rows slide
// their window along the row (filter/box_rows.h); columns keep running column sums for strips
// of 512 samples at a time in a small array of their own, so no work buffer is needed.
#include "filter/box_rows.h"
#include "frame/zel_internal.h"

namespace {

using namespace zel;

template <typename T>
constexpr int64_t kMaxAbs = std::is_same_v<T, uint8_t> ? 255 : std::is_same_v<T, uint16_t> ? 65535 : 32768;

ZelStatus check(const void* src, const void* dst, int mask, int anchor) {
    if (!src || !dst) return zelStsNullPtrErr;
    if (mask < 1) return zelStsMaskSizeErr;
    if (anchor < 0 || anchor >= mask) return zelStsAnchorErr;
    return zelStsNoErr;
}

template <typename T, int N>
ZelStatus sum_row(const T* pSrc, int srcStep, Zel32f* pDst, int dstStep, ZeliSize roi, int mask, int anchor) {
    if (ZelStatus s = check(pSrc, pDst, mask, anchor)) return s;
    if (roi.width < 1 || roi.height < 1) return zelStsNoErr;
    for (int64_t y = 0; y < roi.height; ++y) {
        const T* s = row(pSrc, srcStep, y) - (int64_t)anchor * N;
        const BoxEmit<float, false, BoxOut::Sum> emit{row(pDst, dstStep, y), 0.0f};
        if (mask <= kInt32Max / kMaxAbs<T>) ownWindowRow<I32Lanes, N>(s, roi.width, mask, emit);
        else ownWindowRow<F64Lanes, N>(s, roi.width, mask, emit);
    }
    return zelStsNoErr;
}

// Columns [c0, c0 + n) (in samples) of every destination row, with column sums of type Acc.
template <typename Acc, class LN, typename T>
void column_strip(const T* src, int64_t srcStep, float* dst, int64_t dstStep, int64_t c0, int64_t n, int64_t h, int mask,
                  int anchor) {
    constexpr int64_t kStrip = 512;
    alignas(64) Acc col[kStrip + 16] = {};
    auto in = [&](int64_t y) { return row(src, srcStep, y) + c0; };
    for (int64_t i = -anchor; i < (int64_t)mask - anchor; ++i) ownColAdd(col, in(i), n);
    for (int64_t y = 0; y < h; ++y) {
        if (y) ownColSlide(col, in(y - anchor + mask - 1), in(y - 1 - anchor), n);
        const BoxEmit<float, false, BoxOut::Sum> emit{row(dst, dstStep, y) + c0, 0.0f};
        for (int64_t i = 0; i < n; i += LN::kLanes)
            emit(i, LN::load(col + i), (int)(n - i < LN::kLanes ? n - i : LN::kLanes));
    }
}

template <typename T, int N>
ZelStatus sum_column(const T* pSrc, int srcStep, Zel32f* pDst, int dstStep, ZeliSize roi, int mask, int anchor) {
    if (ZelStatus s = check(pSrc, pDst, mask, anchor)) return s;
    if (roi.width < 1 || roi.height < 1) return zelStsNoErr;
    const int64_t total = (int64_t)roi.width * N;
    for (int64_t c0 = 0; c0 < total; c0 += 512) {
        const int64_t n = total - c0 < 512 ? total - c0 : 512;
        if (mask <= kInt32Max / kMaxAbs<T>)
            column_strip<int32_t, I32Lanes>(pSrc, srcStep, pDst, dstStep, c0, n, roi.height, mask, anchor);
        else
            column_strip<double, F64Lanes>(pSrc, srcStep, pDst, dstStep, c0, n, roi.height, mask, anchor);
    }
    return zelStsNoErr;
}

}  // namespace

#define ZEL_SUM_1D(tok, T)                                                  \
    ZEL_IMPL(zeliSumWindowRow_##tok##_C1R, sum_row<T, 1>)                   \
    ZEL_IMPL(zeliSumWindowRow_##tok##_C3R, sum_row<T, 3>)                   \
    ZEL_IMPL(zeliSumWindowRow_##tok##_C4R, sum_row<T, 4>)                   \
    ZEL_IMPL(zeliSumWindowColumn_##tok##_C1R, sum_column<T, 1>)             \
    ZEL_IMPL(zeliSumWindowColumn_##tok##_C3R, sum_column<T, 3>)             \
    ZEL_IMPL(zeliSumWindowColumn_##tok##_C4R, sum_column<T, 4>)
ZEL_SUM_1D(8u32f, Zel8u)
ZEL_SUM_1D(16u32f, Zel16u)
ZEL_SUM_1D(16s32f, Zel16s)
