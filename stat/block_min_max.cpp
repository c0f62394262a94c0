// Minimum and maximum of each blockSize block of the source into two small images of
// ceil(width / block width) × ceil(height / block height) samples (the last column and row of
// blocks may be partial), and the extremes of the whole source.
//
// Checks, in order: a null pointer (source, both block images, both global results) →
// NullPtrErr; a source width or height below 1 → SizeErr; a block width or height below 1 →
// SizeErr; a step below 1 (source, minimum image, maximum image) → StepErr.
//
// 32f samples compare as in Min and Max: by the ordinary comparison, and a NaN never wins over a
// number, so a block of NaN samples alone yields NaN and any number beats it. A zero extreme is
// the first zero of its block (of the image, for the global ones) in raster order, so +0 and -0
// come out as the scalar rule that keeps the first of equal samples gives them.
#include "frame/zel_internal.h"
#include "kernels/stat_terms.h"

namespace {

using namespace zel;
using namespace zel::stat;

// Keys of one sample for the minimum and for the maximum, and back.
template <class T> struct BlockKeys {
    using Key = T;
    static void zero_signs(const T*, int64_t, int64_t, int64_t, int64_t, T*, T*) {}
    static T global_lo(Key k, const T*, int64_t, int64_t, int64_t) { return k; }
    static T global_hi(Key k, const T*, int64_t, int64_t, int64_t) { return k; }
    static Key lo(T v) { return v; }
    static Key hi(T v) { return v; }
    static T from_lo(Key k) { return k; }
    static T from_hi(Key k) { return k; }
};
template <> struct BlockKeys<Zel32f> {
    using Key = int32_t;
    static Key lo(float v) { return min_key(v); }
    static Key hi(float v) { return max_key(v); }
    static float from_lo(Key k) { return from_min_key(k); }
    static float from_hi(Key k) { return from_max_key(k); }
    // The zero results of one row of blocks (bh rows from s, blocks of bw of the w columns) take
    // the sign of their first zero.
    static void zero_signs(const float* s, int64_t step, int64_t w, int64_t bw, int64_t bh, float* lo, float* hi) {
        for (int64_t bx = 0, x0 = 0; x0 < w; ++bx, x0 += bw) {
            const int64_t n = w - x0 < bw ? w - x0 : bw;
            if (lo[bx] == 0.0f) lo[bx] = first_zero<1>(s + x0, step, n, bh, 0);
            if (hi[bx] == 0.0f) hi[bx] = first_zero<1>(s + x0, step, n, bh, 0);
        }
    }
    static float global_lo(Key k, const float* s, int64_t step, int64_t w, int64_t h) {
        return k == kZeroMinKey ? first_zero<1>(s, step, w, h, 0) : from_min_key(k);
    }
    static float global_hi(Key k, const float* s, int64_t step, int64_t w, int64_t h) {
        return k == kZeroMaxKey ? first_zero<1>(s, step, w, h, 0) : from_max_key(k);
    }
};

constexpr int64_t kStripCols = 2048;

template <class T>
ZelStatus block_min_max(const T* pSrc, int srcStep, ZeliSize srcSize, T* pDstMin, int dstMinStep, T* pDstMax,
                        int dstMaxStep, ZeliSize blockSize, T* pDstGlobalMin, T* pDstGlobalMax) {
    if (!pSrc || !pDstMin || !pDstMax || !pDstGlobalMin || !pDstGlobalMax) return zelStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1) return zelStsSizeErr;
    if (blockSize.width < 1 || blockSize.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || dstMinStep < 1 || dstMaxStep < 1) return zelStsStepErr;
    using K = BlockKeys<T>;
    using Key = typename K::Key;
    const int64_t w = srcSize.width, h = srcSize.height, bw = blockSize.width, bh = blockSize.height;
    // Column strips hold whole blocks when blocks are narrower than a strip.
    const int64_t strip = bw <= kStripCols ? kStripCols / bw * bw : kStripCols;
    Key colLo[kStripCols], colHi[kStripCols];
    Key gLo = K::lo(pSrc[0]), gHi = K::hi(pSrc[0]);
    for (int64_t y0 = 0, by = 0; y0 < h; y0 += bh, ++by) {
        const int64_t y1 = y0 + bh < h ? y0 + bh : h;
        T* dLo = row(pDstMin, dstMinStep, by);
        T* dHi = row(pDstMax, dstMaxStep, by);
        for (int64_t x0 = 0; x0 < w; x0 += strip) {
            const int64_t n = w - x0 < strip ? w - x0 : strip;
            const T* s = row(pSrc, srcStep, y0) + x0;
            for (int64_t x = 0; x < n; ++x) colLo[x] = K::lo(s[x]), colHi[x] = K::hi(s[x]);
            for (int64_t y = y0 + 1; y < y1; ++y) {
                s = row(pSrc, srcStep, y) + x0;
                for (int64_t x = 0; x < n; ++x) {
                    Key l = K::lo(s[x]), u = K::hi(s[x]);
                    colLo[x] = l < colLo[x] ? l : colLo[x];
                    colHi[x] = u > colHi[x] ? u : colHi[x];
                }
            }
            // Fold the columns into their blocks; a block that began in an earlier strip
            // continues from what its destination sample already holds.
            for (int64_t x = 0; x < n;) {
                const int64_t gx = x0 + x, bx = gx / bw;
                const int64_t end = (bx + 1) * bw - x0 < n ? (bx + 1) * bw - x0 : n;
                Key l = colLo[x], u = colHi[x];
                for (int64_t i = x + 1; i < end; ++i) {
                    l = colLo[i] < l ? colLo[i] : l;
                    u = colHi[i] > u ? colHi[i] : u;
                }
                if (gx != bx * bw) {
                    Key pl = K::lo(dLo[bx]), pu = K::hi(dHi[bx]);
                    l = pl < l ? pl : l;
                    u = pu > u ? pu : u;
                }
                dLo[bx] = K::from_lo(l);
                dHi[bx] = K::from_hi(u);
                gLo = l < gLo ? l : gLo;
                gHi = u > gHi ? u : gHi;
                x = end;
            }
        }
        K::zero_signs(row(pSrc, srcStep, y0), srcStep, w, bw, y1 - y0, dLo, dHi);
    }
    *pDstGlobalMin = K::global_lo(gLo, pSrc, srcStep, w, h);
    *pDstGlobalMax = K::global_hi(gHi, pSrc, srcStep, w, h);
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliBlockMinMax_8u_C1R, block_min_max<Zel8u>)
ZEL_IMPL(zeliBlockMinMax_16u_C1R, block_min_max<Zel16u>)
ZEL_IMPL(zeliBlockMinMax_16s_C1R, block_min_max<Zel16s>)
ZEL_IMPL(zeliBlockMinMax_32f_C1R, block_min_max<Zel32f>)
