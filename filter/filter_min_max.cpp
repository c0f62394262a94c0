// Minimum and maximum filters over a rectangular mask (FilterMinBorder, FilterMaxBorder, with
// their buffer queries) and the older 3x3 forms for 64f images without border handling
// (Erode3x3, Dilate3x3).
//
// The filter is separable and its cost per pixel barely grows with the mask:
//
// - Row pass, for each source row the mask reaches: each sample becomes the extremum of
//   maskWidth samples of its channel, the run starting ax pixels to its left. Narrow masks take
//   the samples directly; wider ones build runs of 4, 16, 64, ... samples in place in one row of
//   the buffer (each level four loads of the one before) and join at most four overlapping runs
//   of the largest size for the last step, so a 61-wide mask costs three passes over the row.
//   Floating samples are turned into keys once, into that row, before anything else.
// - Column pass: short masks take the extremum of the maskHeight row-pass rows straight from a
//   ring of rows. Taller ones use the block method (van Herk, Gil and Werman): the source rows
//   are cut into blocks of maskHeight rows; within a block the ring holds the extrema from each
//   row to the block's end (a suffix pass, back to front), and a running row holds the
//   extremum from the start of the next block to the current row, so each destination row is
//   one step of the running row and one join with the suffix row: three operations per
//   sample, whatever the height.
//
// - Small masks on floating samples (up to 5x5): a direct kernel, column extrema of the source
//   rows into a chunk of keys on the stack and row extrema of that chunk into the destination,
//   with a border ring of maskHeight rows where that fits the buffer.
//
// Borders come from the border component (filter/border_rows.h) with a ring of one row: the
// row pass is done with each source row before it asks for the next. The work fits the size
// the query reports for every ROI and mask; where the ring for the whole width would not fit
// (large masks on small images), the ROI is walked in bands of destination columns, and where
// even a narrow band has no room for the row buffer, the row pass takes the samples directly.
// The order of samples never changes a result (the keys of filter/minmax_rows.h), so every path
// gives the same pixels.
#include "filter/border_rows.h"
#include "filter/minmax_rows.h"

namespace {

using namespace zel;

constexpr int kTapsMaxWidth = 4;   // wider masks double runs along the row
constexpr int kRowsMaxHeight = 4;  // taller masks take the block method down the columns
constexpr int kDirectMax = 5;      // masks up to this size on both sides may take the direct kernel
constexpr int kDirectChunkBytes = 3072;  // keys per chunk of the direct kernel: whole pixels of 3 or 4

int64_t r8(int64_t n) { return (n + 7) & ~(int64_t)7; }
int64_t r32(int64_t n) { return (n + 31) & ~(int64_t)31; }

// The size the queries report: the border strips (or the whole bordered ROI when the ROI is
// not larger than the mask in some direction), a ring of maskHeight rows, one mask-width row,
// 64 more bytes for 32f and 32 in every case.
int64_t ownMinMaxBufferSize(ZeliSize roi, ZeliSize mask, int64_t pixelBytes, bool is32f) {
    const int64_t W = roi.width, H = roi.height, kw = mask.width, kh = mask.height;
    const BorderExtent e = ownCentredExtent(mask.width, mask.height);
    int64_t area;
    if (W > kw && H > kh) {
        const int64_t farB = kh == 2 ? 2 : e.bottom, farR = kw == 2 ? 2 : e.right;
        const int64_t tb = farB > 0 ? (W + kw - 1) * (kh + farB - 1) : 0;
        const int64_t lr = farR > 0 ? (kh + H - 1) * (kw + farR - 1) : 0;
        area = tb > lr ? tb : lr;
    } else {
        area = (W + kw - 1) * (H + kh - 1);
    }
    return r32(area * pixelBytes) + kh * r32(W * pixelBytes) + r32(kw * pixelBytes) + (is32f ? 64 : 0) + 32;
}

ZelStatus query(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
    if (channels != 1 && channels != 3 && channels != 4) return zelStsNumChannelsErr;
    int e;
    switch (type) {
        case zel8u: e = 1; break;
        case zel16u: case zel16s: e = 2; break;
        case zel32f: e = 4; break;
        default: return zelStsDataTypeErr;
    }
    const int64_t size = ownMinMaxBufferSize(roi, mask, (int64_t)e * channels, type == zel32f);
    if (size > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)size;
    return zelStsNoErr;
}

// How one call uses its buffer: the band width and which form each pass takes.
struct MmPlan {
    int bw;
    bool rowBuf, block;  // a row buffer for the row pass; the block method down the columns
};

// Bytes a band bw pixels wide needs under the plan.
int64_t planBytes(const MmPlan& p, const BorderExtent& e, int kw, int kh, int64_t pixelBytes) {
    const int64_t rowB = r8(p.bw * pixelBytes);
    return BorderRows::bufferSize(p.bw, (int)pixelBytes, e, 1) + 7 +
           (p.rowBuf ? r8(((int64_t)p.bw + kw - 1) * pixelBytes) : 0) + (kh > 1 ? kh * rowB : 0) +
           (p.block ? rowB : 0);
}

// The widest band that fits, with the row buffer if it fits at all.
MmPlan choosePlan(int W, int kw, int kh, bool isFloat, int64_t pixelBytes, const BorderExtent& e, int64_t budget) {
    MmPlan p{W, kw > kTapsMaxWidth || isFloat, kh > kRowsMaxHeight};
    for (;;) {
        p.bw = W;
        if (planBytes(p, e, kw, kh, pixelBytes) <= budget) return p;
        p.bw = 1;
        if (planBytes(p, e, kw, kh, pixelBytes) <= budget) {
            int lo = 1, hi = W;  // lo fits, hi does not
            while (hi - lo > 1) {
                p.bw = lo + (hi - lo) / 2;
                (planBytes(p, e, kw, kh, pixelBytes) <= budget ? lo : hi) = p.bw;
            }
            p.bw = lo;
            return p;
        }
        if (!p.rowBuf) return p;  // not reached for a buffer of the queried size
        p.rowBuf = false;
    }
}

template <typename T, int C, bool Alpha, bool Max>
struct MinMax {
    using Ln = MmLanes<T, Max>;
    using K = typename Ln::K;
    static constexpr MmOut kOut = Alpha ? MmOut::Alpha : MmOut::Dst;

    // The state of one band.
    struct Band {
        BorderRows rows;
        int bx0, bw, kw, kh;
        bool rowBuf;  // tmp holds the runs of the row pass
        K* tmp;

        // The row pass of source row ys into out (column bx0 of a key row, or of a destination
        // row when O is not Keys).
        template <MmOut O>
        void rowPass(int64_t ys, void* out) {
            for (int s = 0; s < rows.segments(); ++s) {
                const auto seg = rows.segment(s);
                const T* in = rows.rowAs<T>(ys, s) + (int64_t)(seg.x0 - rows.extent().left) * C;
                const int64_t len = (int64_t)(seg.x1 - seg.x0) * C;
                void* o = (uint8_t*)out + (int64_t)(seg.x0 - bx0) * C * (O == MmOut::Keys ? sizeof(K) : sizeof(T));
                if (!rowBuf) {
                    ownMmTapsN<Ln, O>(o, in, C, kw, len);
                    continue;
                }
                // Runs of 4, 16, 64, ... samples in place in tmp, then at most four runs of the
                // largest size overlapping to cover the mask.
                const int64_t inLen = len + (int64_t)(kw - 1) * C;
                const K* a = (const K*)in;
                if constexpr (Ln::kFloat) {
                    ownMmEncode<Ln>(tmp, in, inLen);
                    a = tmp;
                }
                int64_t span = 1;
                for (; 4 * span < kw; span *= 4) {
                    const K* r[4] = {a, a + span * C, a + 2 * span * C, a + 3 * span * C};
                    ownMmRows<Ln, MmOut::Keys, 4>(tmp, r, 4, inLen - (4 * span - 1) * C, a != tmp);
                    a = tmp;
                }
                const int m = (int)((kw + span - 1) / span);
                const K* r[4];
                for (int j = 0; j < m - 1; ++j) r[j] = a + j * span * C;
                r[m - 1] = a + (kw - span) * C;
                ownMmRowsN<Ln, O>(o, r, m, len);
            }
        }
    };

    static void filterBand(Band& b, T* dst, int64_t dstStepE, int H, uint8_t* mem, bool block) {
        const int kh = b.kh, top = b.rows.extent().top;
        const int64_t len = (int64_t)b.bw * C, rowK = r8(len * sizeof(K)) / sizeof(K);
        T* d0 = dst + (int64_t)b.bx0 * C;
        auto out = [&](int64_t y) { return d0 + y * dstStepE; };
        if (kh == 1) {
            for (int y = 0; y < H; ++y) b.template rowPass<kOut>(y, out(y));
            return;
        }
        K* ring = (K*)mem;
        auto slot = [&](int64_t i) { return ring + i * rowK; };
        if (!block) {  // the extremum of the kh rows of the ring, the ring indexed by source row
            K* rp[kRowsMaxHeight];
            auto at = [&](int64_t ys) { return slot((ys + top) % kh); };
            for (int64_t ys = -top; ys < kh - 1 - top; ++ys) b.template rowPass<MmOut::Keys>(ys, at(ys));
            for (int64_t y = 0; y < H; ++y) {
                b.template rowPass<MmOut::Keys>(y - top + kh - 1, at(y - top + kh - 1));
                for (int j = 0; j < kh; ++j) rp[j] = at(y - top + j);
                ownMmRowsN<Ln, kOut>(out(y), rp, kh, len);
            }
            return;
        }
        // The block method: block j holds the row-pass rows -top + j*kh ... -top + j*kh + kh - 1.
        K* g = slot(kh);
        for (int i = 0; i < kh; ++i) b.template rowPass<MmOut::Keys>(i - top, slot(i));
        for (int64_t j = 0; j * kh < H; ++j) {
            for (int i = kh - 2; i >= 0; --i) ownMmPair<Ln, MmOut::Keys>(slot(i), slot(i), rowK, len);
            const K* first = slot(0);
            ownMmRows<Ln, kOut, 1>(out(j * kh), &first, 1, len);
            for (int i = 1; i < kh; ++i) {
                const int64_t y = j * kh + i;
                if (y >= H) return;
                b.template rowPass<MmOut::Keys>(y - top + kh - 1, slot(i - 1));
                ownMmRun<Ln, kOut>(out(y), g, slot(i - 1), slot(i), i == 1, len);
            }
            if ((j + 1) * kh < H) b.template rowPass<MmOut::Keys>((j + 1) * kh + kh - 1 - top, slot(kh - 1));
        }
    }

    // Small masks on floating samples, when the border ring for kh rows fits the buffer: for each destination row and
    // segment, the extremum of the kh source rows into a chunk of keys on the stack, then of kw
    // shifted loads of that chunk into the destination. No row of the whole width is written
    // besides the destination, so the work stays in the first-level cache.
    static void direct(BorderRows& rows, const T* src, int srcStep, int W, T* dst, int64_t dstStepE, int H, int kw,
                       int kh) {
        constexpr int64_t kDirectChunk = kDirectChunkBytes / sizeof(K);
        alignas(64) K col[kDirectChunk + 4 * (kDirectMax - 1)];
        const int top = rows.extent().top, left = rows.extent().left;
        for (int64_t y = 0; y < H; ++y) {
            if (y + kh - top < H) {  // the row the next destination row adds, ahead of its loads
                const char* p = (const char*)row(src, srcStep, y + kh - top);
                for (int64_t b = 0; b < (int64_t)W * C * (int64_t)sizeof(T); b += 64) _mm_prefetch(p + b, _MM_HINT_T0);
            }
            for (int s = 0; s < rows.segments(); ++s) {
                const auto seg = rows.segment(s);
                const T* r[kDirectMax];
                for (int j = 0; j < kh; ++j) r[j] = rows.rowAs<T>(y - top + j, s) + (int64_t)(seg.x0 - left) * C;
                const int64_t len = (int64_t)(seg.x1 - seg.x0) * C;
                T* d = dst + y * dstStepE + (int64_t)seg.x0 * C;
                for (int64_t c = 0; c < len; c += kDirectChunk) {
                    const int64_t n = len - c < kDirectChunk ? len - c : kDirectChunk;
                    const T* rc[kDirectMax];
                    for (int j = 0; j < kh; ++j) rc[j] = r[j] + c;
                    ownMmRowsEncN<Ln>(col, rc, kh, n + (int64_t)(kw - 1) * C);
                    const K* h[kDirectMax];
                    for (int j = 0; j < kw; ++j) h[j] = col + j * C;
                    ownMmRowsN<Ln, kOut>(d + c, h, kw, n);
                }
            }
        }
    }

    static ZelStatus run(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliSize mask,
                         ZeliBorderType border, const T* value, Zel8u* pBuffer) {
        if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
        if (!value && ((unsigned)border & 15) == 6) return zelStsNullPtrErr;  // kind 6, whatever else is set
        if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
        if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
        BorderArg arg;
        if (ownBorderDecode(border, kBorderKindsFilter, &arg) != zelStsNoErr) return zelStsBorderErr;

        const int W = roi.width, H = roi.height, kw = mask.width, kh = mask.height;
        const int64_t dstStepE = (int64_t)dstStep / (int64_t)sizeof(T), P = (int64_t)C * sizeof(T);
        if (kw == 1 && kh == 1) {  // the ROI itself, through the same keys
            for (int y = 0; y < H; ++y)
                ownMmTaps<Ln, kOut, 1>(pDst + y * dstStepE, row(pSrc, srcStep, y), 0, 1, (int64_t)W * C);
            return zelStsNoErr;
        }
        const BorderExtent e = ownCentredExtent(kw, kh);
        const int64_t budget = ownMinMaxBufferSize(roi, mask, P, sizeof(T) == 4);
        if (Ln::kFloat && kw <= kDirectMax && kh <= kDirectMax && BorderRows::bufferSize(W, (int)P, e, kh) <= budget) {
            BorderRows rows;
            rows.init(pSrc, srcStep, sizeof(T), C, W, H, e, arg, value, Alpha ? 3 : C, pBuffer, 0, W, kh);
            direct(rows, pSrc, srcStep, W, pDst, dstStepE, H, kw, kh);
            return zelStsNoErr;
        }
        const MmPlan plan = choosePlan(W, kw, kh, Ln::kFloat, (int64_t)C * sizeof(K), e, budget);
        for (int bx0 = 0; bx0 < W; bx0 += plan.bw) {
            Band b;
            b.bx0 = bx0, b.bw = W - bx0 < plan.bw ? W - bx0 : plan.bw, b.kw = kw, b.kh = kh;
            b.rowBuf = plan.rowBuf;
            b.rows.init(pSrc, srcStep, sizeof(T), C, W, H, e, arg, value, Alpha ? 3 : C, pBuffer, bx0, bx0 + b.bw, 1);
            uint8_t* mem = (uint8_t*)(((uintptr_t)pBuffer + BorderRows::bufferSize(plan.bw, (int)P, e, 1) + 7) & ~(uintptr_t)7);
            b.tmp = (K*)mem;
            if (plan.rowBuf) mem += r8(((int64_t)plan.bw + kw - 1) * C * sizeof(K));
            filterBand(b, pDst, dstStepE, H, mem, plan.block);
        }
        return zelStsNoErr;
    }
};

// Erode3x3 and Dilate3x3 on 64f: the 3x3 block around each pixel, read straight from memory
// (one pixel beyond the ROI on every side is the caller's), in chunks of columns on the stack.
template <bool Max>
ZelStatus morph3x3(const Zel64f* pSrc, int srcStep, Zel64f* pDst, int dstStep, ZeliSize roi) {
    using Ln = MmLanes<Zel64f, Max>;
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < (int64_t)roi.width * 8 + 16 || dstStep < (int64_t)roi.width * 8) return zelStsStrideErr;
    constexpr int kChunk = 512;
    alignas(64) int64_t col[kChunk + 2];
    const int64_t ss = srcStep / 8;
    for (int y = 0; y < roi.height; ++y) {
        const Zel64f* s = row(pSrc, srcStep, y - 1) - 1;
        Zel64f* d = row(pDst, dstStep, y);
        for (int x = 0; x < roi.width; x += kChunk) {
            const int n = roi.width - x < kChunk ? roi.width - x : kChunk;
            ownMmTaps<Ln, MmOut::Keys, 3>(col, s + x, ss, 3, n + 2);
            const int64_t* r[3] = {col, col + 1, col + 2};
            ownMmRows<Ln, MmOut::Dst, 3>(d + x, r, 3, n);
        }
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliFilterMinBorderGetBufferSize, query)
ZEL_IMPL(zeliFilterMaxBorderGetBufferSize, query)
ZEL_IMPL(zeliErode3x3_64f_C1R, morph3x3<false>)
ZEL_IMPL(zeliDilate3x3_64f_C1R, morph3x3<true>)

#define ZEL_MM_LAYOUT(op, max, t, T)                                                  \
    ZEL_IMPL(zeliFilter##op##Border_##t##_C1R, MinMax<T, 1, false, max>::run)        \
    ZEL_IMPL(zeliFilter##op##Border_##t##_C3R, MinMax<T, 3, false, max>::run)        \
    ZEL_IMPL(zeliFilter##op##Border_##t##_C4R, MinMax<T, 4, false, max>::run)        \
    ZEL_IMPL(zeliFilter##op##Border_##t##_AC4R, MinMax<T, 4, true, max>::run)
#define ZEL_MM_TYPE(t, T) ZEL_MM_LAYOUT(Min, false, t, T) ZEL_MM_LAYOUT(Max, true, t, T)
ZEL_MM_TYPE(8u, Zel8u)
ZEL_MM_TYPE(16u, Zel16u)
ZEL_MM_TYPE(16s, Zel16s)
ZEL_MM_TYPE(32f, Zel32f)
