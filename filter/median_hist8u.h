// The large-mask median of 8u images: sliding histograms with a coarse and a fine level.
//
// Every column of the band keeps a histogram of its kh samples in the window: 256 fine counters
// and 16 coarse ones (one per 16 values), changed by one sample leaving and one entering per
// destination row. Along a row the window's coarse histogram is the sum of kw column
// histograms, slid by adding the column that enters and subtracting the one that leaves (one
// vector operation each). The median's coarse bin is found on it first; the window's fine
// counters of that bin only (16 of them, one vector) are then brought up to date, from where
// they were last used if that is less than a window away, else summed afresh. The median is the
// smallest value whose cumulative count reaches (kw * kh + 1) / 2.
//
// Counters are 8-bit for masks up to 15 x 15 (at most 225 samples), 16-bit up to 255 x 255
// (65025) and 32-bit beyond; the window's sums wrap freely in between, as only their final
// values, which fit, are read.
#pragma once

#include <limits.h>
#include <string.h>

#include "filter/median_columns.h"

namespace zel {

template <typename CT>
struct MedianHist8u {
    typedef CT V __attribute__((vector_size(16 * sizeof(CT)), may_alias));

    // Bytes of the histograms for a band of `width` pixels and a kw-wide mask.
    static int64_t storeSize(int64_t width, int kw) { return (width + kw - 1) * 272 * (int64_t)sizeof(CT) + 256 * sizeof(CT); }

    // One channel `ch` of C over the band [bx0, bx1) of every row; store: storeSize bytes,
    // 64-byte aligned.
    static void run(BorderRows& br, const MedianColumns& mc, Zel8u* pDst, int dstStep, int height, int bx0, int bx1,
                    int kw, int kh, int C, int ch, uint8_t* store) {
        CT* fine = (CT*)store;                    // [column][256]
        CT* coarse = fine + (int64_t)mc.count * 256;  // [column][16]
        V* win = (V*)(coarse + (int64_t)mc.count * 16);  // [16] the window's fine counters
        const int top = (kh - 1) / 2, bottom = kh - 1 - top, bw = bx1 - bx0;
        const unsigned half = ((unsigned)kw * (unsigned)kh + 1) / 2;
        auto vec = [](const CT* p) { return *(const V*)p; };

        memset(fine, 0, (size_t)mc.count * 272 * sizeof(CT));
        for (int ys = -top; ys <= bottom; ++ys)
            mc.fill<Zel8u>(br, ys, C, ch, [&](int k, Zel8u v) {
                ++fine[k * 256 + v];
                ++coarse[k * 16 + (v >> 4)];
            });
        for (int y = 0; y < height; ++y) {
            if (y > 0)
                mc.update<Zel8u>(br, y - 1 - top, y + bottom, C, ch, [&](int k, Zel8u o, Zel8u i) {
                    --fine[k * 256 + o], ++fine[k * 256 + i];
                    --coarse[k * 16 + (o >> 4)], ++coarse[k * 16 + (i >> 4)];
                });
            V cw = {};
            for (int k = 0; k < kw; ++k) cw += vec(coarse + k * 16);
            int last[16];  // the window position each bin of `win` was last brought to
            for (int b = 0; b < 16; ++b) last[b] = INT_MIN / 2;
            Zel8u* d = row(pDst, dstStep, y) + (int64_t)bx0 * C + ch;
            for (int x = 0; x < bw; ++x) {
                unsigned acc = 0;
                int b = 0;
                while (acc + (unsigned)cw[b] < half) acc += (unsigned)cw[b++];
                V w = win[b];
                if (x - last[b] >= kw) {
                    w = V{};
                    for (int k = x; k < x + kw; ++k) w += vec(fine + k * 256 + b * 16);
                } else {
                    for (int p = last[b] + 1; p <= x; ++p) w += vec(fine + (p + kw - 1) * 256 + b * 16) - vec(fine + (p - 1) * 256 + b * 16);
                }
                win[b] = w;
                last[b] = x;
                int j = 0;
                while (acc + (unsigned)w[j] < half) acc += (unsigned)w[j++];
                d[(int64_t)x * C] = (Zel8u)(b * 16 + j);
                if (x + 1 < bw) cw += vec(coarse + (x + kw) * 16) - vec(coarse + x * 16);
            }
        }
    }
};

}  // namespace zel
