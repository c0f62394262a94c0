// Column state of the large-mask median methods.
//
// The large-mask methods keep, for every column a band of destination pixels reads (the band
// widened by the mask's left and right reach), some summary of the kh samples of that column
// in the current window (a histogram, or the sorted samples), updated by one sample leaving and
// one entering per destination row. A column is read through the first segment of the band
// whose view holds it; every view of a column gives the same pixels, so one is enough.
#pragma once

#include "filter/border_rows.h"

namespace zel {

struct MedianColumns {
    int first;        // the band's first column as a source column: bx0 - left
    int count;        // columns of the band: width + kw - 1
    int segs;
    int begin[3], end[3];  // per segment: the source columns it supplies, [begin, end)

    void init(BorderRows& br, int bx0, int bx1) {
        const BorderExtent& e = br.extent();
        first = bx0 - e.left, count = bx1 - bx0 + e.left + e.right, segs = br.segments();
        int from = first;
        for (int s = 0; s < segs; ++s) {
            begin[s] = from;
            end[s] = from = br.segment(s).x1 + e.right;
        }
    }

    // f(k, vOut, vIn) for every column k (0-based in the band): sample `ch` of that column's
    // pixel in source row yOut (leaving the window) and in row yIn (entering it).
    template <typename T, class F>
    void update(BorderRows& br, int64_t yOut, int64_t yIn, int C, int ch, F f) const {
        for (int s = 0; s < segs; ++s) {
            const T* po = br.rowAs<T>(yOut, s) + ch;
            const T* pi = br.rowAs<T>(yIn, s) + ch;
            for (int c = begin[s]; c < end[s]; ++c) f(c - first, po[(int64_t)c * C], pi[(int64_t)c * C]);
        }
    }
    // f(k, v) for every column k, sample `ch` of source row ys.
    template <typename T, class F>
    void fill(BorderRows& br, int64_t ys, int C, int ch, F f) const {
        for (int s = 0; s < segs; ++s) {
            const T* p = br.rowAs<T>(ys, s) + ch;
            for (int c = begin[s]; c < end[s]; ++c) f(c - first, p[(int64_t)c * C]);
        }
    }
};

}  // namespace zel
