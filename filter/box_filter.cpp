// Box filter (FilterBoxBorder: the mean of a mask neighbourhood) and window sums (SumWindow:
// its plain sum) with the library's border model.
//
// Checks, in order: a null source, destination or buffer; a step below 1 (zelStsStepErr); a ROI
// width, then height, below 1 (zelStsSizeErr); a mask width, then height, below 1
// (zelStsMaskSizeErr); the border (zelStsBorderErr: above 255, or a kind other than replicate,
// mirror or constant unless it is 240); kind 6 with a null border value (zelStsNullPtrErr).
//
// The neighbourhood of (x, y) is the mask placed with its anchor ((kw - 1) / 2, (kh - 1) / 2)
// on (x, y); its pixels outside the ROI come through the border component (filter/border_rows.h),
// which hands each segment of a destination row its source rows with the border columns in
// place. Column sums cover the columns [-left, W + right); each segment keeps the columns from
// its own first column minus left up to the next segment's, the last one up to W + right.
// AC4 images are summed as four channels and the fourth is never written; their border value
// is three samples.
//
// Arithmetic (filter/box_rows.h): integer data is summed exactly. 8u masks of at most 257
// pixels (every window sum then fits 16 bits) run in 16-bit lanes throughout: masks up to 7 wide
// sum their column sums directly, wider ones add stored sums of 2, 4 and 8 neighbouring column
// sums; their means are an exact 16-bit quotient for odd areas and the single-precision rule
// otherwise. Other integer windows use 32-bit sums while
// the largest window sum fits, else double precision (exact below 2^53). 32f data is summed in
// double precision with running sums: a window sum is then the exact sum up to a relative
// error of a few units of 2^-53 of the row's and column's magnitudes, well inside the single
// precision of the result, which is that sum rounded to single precision.
//   SumWindow: 8u gives the exact sum (32s); 16u, 16s and 32f the sum rounded once to single
//   precision.
//   FilterBoxBorder: mean = float(sum) * r in single precision, r = 1 / (kw kh) rounded to
//   single, then for integer types rounded to nearest even and saturated; for 8u 3x3 means this
//   is (sum * 29128 + 131072) >> 18.
//
// In place (pSrc == pDst with equal steps, same-size samples): each destination row is kept
// in a ring in the buffer until no later window reads its source row, then written.
//
// Buffer: the border component's share, the column sums (8 bytes a sample), the in-place ring
// (min(H, kh + 1) rows) and one 32-bit word per row, each rounded to 64 bytes, plus 63 bytes of
// alignment slack. Both queries report it for their destination type; above 2^31 - 1 they fail
// with zelStsBufferSizeErr and report 0.
#include <string.h>

#include <type_traits>

#include "filter/border_rows.h"
#include "filter/box_rows.h"
#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

inline int64_t up64(int64_t n) { return (n + 63) & ~(int64_t)63; }

struct BoxLayout {
    uint8_t *rows, *col, *ring;
    int32_t* last;
    int64_t ringRows, ringRowBytes;
};

// Buffer bytes for a w x h ROI, a kw x kh mask, N channels of S-byte source samples and D-byte
// destination samples; with buf, where each part lies.
int64_t box_layout(int64_t w, int64_t h, int kw, int kh, int S, int N, int D, uint8_t* buf = nullptr,
                   BoxLayout* out = nullptr) {
    const int64_t rows = BorderRows::bufferSize(w, S * N, ownCentredExtent(kw, kh));
    const int64_t col = up64(((w + kw - 1) * N + 16) * 8);
    const int64_t ringRows = h < (int64_t)kh + 1 ? h : (int64_t)kh + 1, ringRow = up64(w * N * D);
    if (out) {
        uint8_t* b = (uint8_t*)(((uintptr_t)(buf + rows) + 63) & ~(uintptr_t)63);
        *out = {buf, b, b + col, (int32_t*)(b + col + ringRows * ringRow), ringRows, ringRow};
    }
    return rows + 63 + col + ringRows * ringRow + up64(h * 4);
}

int sample_bytes(ZelDataType t) {
    switch (t) {
        case zel8u: return 1;
        case zel16u:
        case zel16s: return 2;
        case zel32f: return 4;
        default: return 0;
    }
}

// The buffer query; D: destination sample bytes (0: as the source).
template <int D>
ZelStatus box_size(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, int* pBufferSize) {
    if (!pBufferSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
    const int S = sample_bytes(type);
    if (!S) return zelStsDataTypeErr;
    if (channels != 1 && channels != 3 && channels != 4) return zelStsNumChannelsErr;
    const int64_t n = box_layout(roi.width, roi.height, mask.width, mask.height, S, channels, D ? D : S);
    if (n > kInt32Max) {
        *pBufferSize = 0;
        return zelStsBufferSizeErr;
    }
    *pBufferSize = (int)n;
    return zelStsNoErr;
}

template <typename T, typename Out, int N, bool Alpha>
struct BoxCall {
    const T* src;
    int64_t srcStep;
    Out* dst;
    int64_t dstStep;
    int w, h, kw, kh;
    BorderExtent e;
    BorderArg b;
    const T* value;
    uint8_t* buf;
    bool inPlace;

    // rowFn(col, d): the destination row d from the column sums.
    template <typename Acc, class RowFn>
    void run(RowFn&& rowFn) {
        BoxLayout lay;
        box_layout(w, h, kw, kh, sizeof(T), N, sizeof(Out), buf, &lay);
        BorderRows rows;
        rows.init(src, srcStep, sizeof(T), N, w, h, e, b, value, Alpha ? 3 : N, lay.rows);
        const int nseg = rows.segments();
        int64_t c0[3], len[3];  // per segment: first column sum it keeps, and how many samples
        for (int i = 0; i < nseg; ++i) {
            const int64_t first = (int64_t)rows.segment(i).x0 - e.left;
            const int64_t end = i == nseg - 1 ? (int64_t)w + e.right : (int64_t)rows.segment(i).x1 - e.left;
            c0[i] = first, len[i] = (end - first) * N;
        }
        Acc* col = (Acc*)lay.col;
        auto part = [&](int64_t ys, int i) { return rows.rowAs<T>(ys, i) + c0[i] * N; };
        auto colOf = [&](int i) { return col + (c0[i] + e.left) * N; };
        memset(col, 0, (size_t)(((int64_t)w + kw - 1) * N + 16) * sizeof(Acc));
        for (int64_t ys = -e.top; ys <= e.bottom; ++ys)
            for (int i = 0; i < nseg; ++i) ownColAdd(colOf(i), part(ys, i), len[i]);
        if (inPlace) mark_last_uses(lay.last);

        const int64_t rowBytes = (int64_t)w * N * sizeof(T);
        for (int64_t y = 0; y < h; ++y) {
            if (y + 1 + e.bottom < (int64_t)h + e.bottom) {  // the row entering next, ahead of its loads
                const uint8_t* next = rows.mapRow(y + 1 + e.bottom);
                for (int64_t o = 0; o < rowBytes; o += 64) _mm_prefetch((const char*)next + o, _MM_HINT_T0);
            }
            if (y)
                for (int i = 0; i < nseg; ++i) ownColSlide(colOf(i), part(y + e.bottom, i), part(y - 1 - e.top, i), len[i]);
            rowFn((const Acc*)col, inPlace ? (Out*)(lay.ring + (y % lay.ringRows) * lay.ringRowBytes) : row(dst, dstStep, y));
            if (inPlace) flush(lay, y, y);
        }
        if (inPlace) flush(lay, h - 1, INT64_MAX);
    }

    // last[y]: the last destination row whose window reads source row y (itself, or as the
    // row a replicated or mirrored border row repeats).
    void mark_last_uses(int32_t* last) const {
        auto atMost = [&](int64_t v) { return (int32_t)(v < h - 1 ? v : h - 1); };
        for (int64_t y = 0; y < h; ++y) last[y] = atMost(y + e.top + 1);
        if (b.kind == 1 || b.kind == 3) {
            if (!b.memTop)
                for (int64_t ys = -e.top; ys < 0; ++ys) {
                    int32_t& l = last[ownBorderMap(b.kind, ys, h)];
                    if (l < atMost(ys + e.top + 1)) l = atMost(ys + e.top + 1);
                }
            if (!b.memBottom)
                for (int64_t ys = h; ys < (int64_t)h + e.bottom; ++ys) last[ownBorderMap(b.kind, ys, h)] = h - 1;
        }
    }

    // Writes the kept rows that no window after row `done` reads (every kept row when done is
    // INT64_MAX); a written row's mark becomes -1.
    void flush(const BoxLayout& lay, int64_t y, int64_t done) const {
        int32_t* last = lay.last;
        for (int64_t r = y - lay.ringRows + 1 < 0 ? 0 : y - lay.ringRows + 1; r <= y; ++r) {
            if (last[r] < 0 || last[r] > done) continue;
            const Out* s = (const Out*)(lay.ring + (r % lay.ringRows) * lay.ringRowBytes);
            Out* d = row(dst, dstStep, r);
            if constexpr (Alpha) {
                for (int64_t x = 0; x < w; ++x) memcpy(d + 4 * x, s + 4 * x, 3 * sizeof(Out));
            } else {
                memcpy(d, s, (size_t)w * N * sizeof(Out));
            }
            last[r] = -1;
        }
    }
};

// The checked call; Sum: window sums, else means.
template <typename T, typename Out, int N, bool Alpha, bool Sum>
ZelStatus box(const T* pSrc, int srcStep, Out* pDst, int dstStep, ZeliSize roi, ZeliSize mask, ZeliBorderType border,
              const T* borderValue, Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return zelStsMaskSizeErr;
    BorderArg b;
    if (ZelStatus s = ownBorderDecode(border, kBorderKindsFilter, &b)) return s;
    if (ownBorderNeedsValue(border) && !borderValue) return zelStsNullPtrErr;

    const bool inPlace = sizeof(T) == sizeof(Out) && (const void*)pSrc == (const void*)pDst && srcStep == dstStep;
    BoxCall<T, Out, N, Alpha> call{pSrc, srcStep, pDst, dstStep, roi.width, roi.height, mask.width, mask.height,
                                   ownCentredExtent(mask.width, mask.height), b, borderValue, pBuffer, inPlace};
    const int64_t area = (int64_t)mask.width * mask.height;
    constexpr BoxOut kKind = Sum ? BoxOut::Sum : BoxOut::Mean;
    const float r = ownBoxReciprocal(area);
    const int w = roi.width, kw = mask.width;
    auto sliding = [&](auto lanes, auto emit) {
        return [&, emit](const auto* col, Out* d) mutable {
            emit.d = d;
            if (kw <= 7) ownWindowRowDirect<decltype(lanes), N>(col, w, kw, emit);
            else ownWindowRow<decltype(lanes), N>(col, w, kw, emit);
        };
    };
    const BoxEmit<Out, Alpha, kKind> emit{nullptr, r};
    if constexpr (std::is_same_v<T, float>) {
        call.template run<double>(sliding(F64Lanes{}, emit));
    } else {
        constexpr int64_t kMaxAbs = std::is_same_v<T, uint8_t> ? 255 : std::is_same_v<T, uint16_t> ? 65535 : 32768;
        if (sizeof(T) == 1 && mask.height <= 257 && area <= 65535 / 255) {
            // Every window sum fits 16 bits: 16-bit lanes throughout (narrow masks summed directly).
            // The column sums take a quarter of their space; the rest holds the level rows.
            const int64_t stride = ((int64_t)w + kw - 1) * N + 16;
            if constexpr (sizeof(T) == 1 && Sum) {
                // 32-bit sums four times the source: large results stream past the caches.
                const bool stream = !inPlace && ownsUseStreamingComputed((int64_t)w * roi.height * N * 5, false);
                call.template run<uint16_t>([&](const uint16_t* col, Out* d) {
                    ownWindowRow16Levels<N>((uint16_t*)col, stride, w, kw, Sum16Emit<Alpha>{d, stream});
                });
                if (stream) _mm_sfence();
            } else if constexpr (sizeof(T) == 1) {
                const Mean16 m = ownMean16(area, r);
                if (kw <= 7)
                    call.template run<uint16_t>([&](const uint16_t* col, Out* d) { ownBoxMeanRow8u<N, Alpha>(col, w, kw, m, d); });
                else
                    call.template run<uint16_t>([&](const uint16_t* col, Out* d) {
                        ownWindowRow16Levels<N>((uint16_t*)col, stride, w, kw, Mean8uEmit<Alpha>{d, m});
                    });
            }
        } else if (area <= kInt32Max / kMaxAbs) {
            call.template run<int32_t>(sliding(I32Lanes{}, emit));
        } else {
            call.template run<double>(sliding(F64Lanes{}, emit));
        }
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliFilterBoxBorderGetBufferSize, box_size<0>)
ZEL_IMPL(zeliSumWindowGetBufferSize, box_size<4>)

#define ZEL_BOX_MEMBERS(tok, T)                                                        \
    ZEL_IMPL(zeliFilterBoxBorder_##tok##_C1R, box<T, T, 1, false, false>)             \
    ZEL_IMPL(zeliFilterBoxBorder_##tok##_C3R, box<T, T, 3, false, false>)             \
    ZEL_IMPL(zeliFilterBoxBorder_##tok##_C4R, box<T, T, 4, false, false>)             \
    ZEL_IMPL(zeliFilterBoxBorder_##tok##_AC4R, box<T, T, 4, true, false>)
ZEL_BOX_MEMBERS(8u, Zel8u)
ZEL_BOX_MEMBERS(16u, Zel16u)
ZEL_BOX_MEMBERS(16s, Zel16s)
ZEL_BOX_MEMBERS(32f, Zel32f)

#define ZEL_SUM_MEMBERS(tok, T, O)                                                     \
    ZEL_IMPL(zeliSumWindow_##tok##_C1R, box<T, O, 1, false, true>)                    \
    ZEL_IMPL(zeliSumWindow_##tok##_C3R, box<T, O, 3, false, true>)                    \
    ZEL_IMPL(zeliSumWindow_##tok##_C4R, box<T, O, 4, false, true>)                    \
    ZEL_IMPL(zeliSumWindow_##tok##_AC4R, box<T, O, 4, true, true>)
ZEL_SUM_MEMBERS(8u32s, Zel8u, Zel32s)
ZEL_SUM_MEMBERS(16u32f, Zel16u, Zel32f)
ZEL_SUM_MEMBERS(16s32f, Zel16s, Zel32f)
ZEL_SUM_MEMBERS(32f, Zel32f, Zel32f)
