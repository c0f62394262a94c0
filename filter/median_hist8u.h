// The large-mask median of 8u images: sliding histograms with a coarse and a fine level.
//
// Every column of the band keeps a histogram of its kh samples in the window, changed by one
// sample leaving and one entering per destination row: 16 coarse bins (one per 16 values) and,
// per coarse bin, its 16 values. Each level is kept as running counts (lane j counts the
// samples in bins 0..j), so one sample is one vector add of a step, and a window's running
// counts are plain sums of its columns'. Along a row the window's coarse counts are slid by
// adding the column that enters and subtracting the one that leaves; the median's coarse bin is
// the number of lanes still below (kw * kh + 1) / 2, one comparison. The window's fine counts
// of that bin only are then brought up to date, from where they were last used if that is less
// than a window away, else summed afresh, and give the value within the bin the same way.
//
// Counters are 8-bit for masks up to 15 x 15 (at most 225 samples), 16-bit up to 255 x 255
// (65025) and 32-bit beyond, where the columns keep 16-bit counters while they are at most
// 65535 rows high; the window's sums wrap freely in between, as only their final values, which
// fit, are read.
#pragma once

#include <immintrin.h>
#include <limits.h>
#include <string.h>

#include "filter/median_columns.h"

namespace zel {

// CT: the columns' counters, WT: the window's (at least as wide).
template <typename CT, typename WT = CT>
struct MedianHist8u {
    typedef CT V __attribute__((vector_size(16 * sizeof(CT)), may_alias));
    typedef WT W __attribute__((vector_size(16 * sizeof(WT)), may_alias));
    static W wide(V v) {
        if constexpr (sizeof(CT) == sizeof(WT)) return v;
        else return __builtin_convertvector(v, W);
    }

    // step[q]: 1 in the lanes q and above. Adding it to a running count of 16 bins counts one
    // more sample in bin q.
    struct Steps {
        alignas(64) CT v[17][16];
        constexpr Steps() : v() {
            for (int q = 0; q < 17; ++q)
                for (int j = 0; j < 16; ++j) v[q][j] = j >= q ? 1 : 0;
        }
    };
    static constexpr Steps kSteps{};
    static V step(int q) { return *(const V*)kSteps.v[q]; }

    // The first bin of the running counts c whose count, added to *acc, reaches half; *acc
    // gains the counts of the bins before it.
    static int reach(W c, unsigned* acc, unsigned half) {
        const W below = (W)(c < (WT)(half - *acc));
        int j;
        if constexpr (sizeof(WT) == 1) j = __builtin_popcount((unsigned)_mm_movemask_epi8((__m128i)below));
        else if constexpr (sizeof(WT) == 2) j = __builtin_popcount((unsigned)_mm256_movemask_epi8((__m256i)below)) / 2;
        else j = __builtin_popcount((unsigned)_mm512_test_epi32_mask((__m512i)below, (__m512i)below));
        if (j) *acc += (unsigned)c[j - 1];
        return j;
    }

    // Bytes of the histograms for a band of `width` pixels and a kw-wide mask.
    static int64_t storeSize(int64_t width, int kw) { return (width + kw) * 272 * (int64_t)sizeof(CT) + 64 + 512 * sizeof(WT); }

    // One channel `ch` of C over the band [bx0, bx1) of every row; store: storeSize bytes,
    // 64-byte aligned.
    static void run(BorderRows& br, const MedianColumns& mc, Zel8u* pDst, int dstStep, int height, int bx0, int bx1,
                    int kw, int kh, int C, int ch, uint8_t* store) {
        V* fine = (V*)store;                       // [column][coarse bin]: running counts of its 16 values
        V* coarse = fine + (int64_t)mc.count * 16;  // [column + 1]: running counts of the 16 coarse bins
        W* win = (W*)(((uintptr_t)(coarse + mc.count + 1) + 63) & ~(uintptr_t)63);  // [2][coarse bin]: the cursors' fine running counts
        const int top = (kh - 1) / 2, bottom = kh - 1 - top, bw = bx1 - bx0;
        const unsigned half = ((unsigned)kw * (unsigned)kh + 1) / 2;

        memset(fine, 0, (size_t)(mc.count + 1) * 272 * sizeof(CT));
        for (int ys = -top; ys <= bottom; ++ys)
            mc.fill<Zel8u>(br, ys, C, ch, [&](int k, Zel8u v) {
                fine[k * 16 + (v >> 4)] += step(v & 15);
                coarse[k] += step(v >> 4);
            });
        for (int y = 0; y < height; ++y) {
            if (y > 0)
                mc.update<Zel8u>(br, y - 1 - top, y + bottom, C, ch, [&](int k, Zel8u o, Zel8u i) {
                    fine[k * 16 + (o >> 4)] -= step(o & 15);
                    fine[k * 16 + (i >> 4)] += step(i & 15);
                    coarse[k] += step(i >> 4) - step(o >> 4);
                });
            // Two cursors, on the two halves of the row, run interleaved: their chains of
            // dependent steps are independent of each other.
            Zel8u* d = row(pDst, dstStep, y) + (int64_t)bx0 * C + ch;
            const int mid = bw / 2;
            Cursor c0, c1;
            c0.start(coarse, 0, kw, win), c1.start(coarse, mid, kw, win + 16);
            for (int x = 0; x < mid; ++x) {
                d[(int64_t)x * C] = c0.next(fine, coarse, kw, half);
                d[(int64_t)(x + mid) * C] = c1.next(fine, coarse, kw, half);
            }
            if (bw & 1) d[(int64_t)(bw - 1) * C] = c1.next(fine, coarse, kw, half);
        }
    }

    // The window at one position of a row: its coarse running counts, and its fine running
    // counts per coarse bin with the position each was last brought to.
    struct Cursor {
        W cw;
        W* win;
        int x, last[16];
        void start(const V* coarse, int x0, int kw, W* w) {
            cw = W{};
            for (int k = x0; k < x0 + kw; ++k) cw += wide(coarse[k]);
            win = w, x = x0;
            for (int b = 0; b < 16; ++b) last[b] = INT_MIN / 2;
        }
        // The median at x; moves to x + 1.
        Zel8u next(const V* fine, const V* coarse, int kw, unsigned half) {
            unsigned acc = 0;
            const int b = reach(cw, &acc, half);
            W w = win[b];
            if (x - last[b] >= kw) {
                w = W{};
                for (int k = x; k < x + kw; ++k) w += wide(fine[k * 16 + b]);
            } else {
                for (int p = last[b] + 1; p <= x; ++p) w += wide(fine[(p + kw - 1) * 16 + b]) - wide(fine[(p - 1) * 16 + b]);
            }
            win[b] = w;
            last[b] = x;
            const int j = reach(w, &acc, half);
            cw += wide(coarse[x + kw]) - wide(coarse[x]);  // past the last position: the zero column after the band
            ++x;
            return (Zel8u)(b * 16 + j);
        }
    };
};

}  // namespace zel
