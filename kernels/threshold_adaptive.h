// Adaptive (local) thresholding of 8u images: the pieces shared by the box and Gaussian forms.
//
// Decision rule. Each pixel s is compared with the weighted mean of its k x k neighbourhood
// minus delta. With integer weights w(i, j) of sum A, window sum S = sum w(i, j) p(i, j) and
// D = A s - S (an integer), the pixel is above the local mean minus delta exactly when
// D > -delta A, that is when D > B with B = floor(-delta A), computed exactly from the bits of
// delta. D lies in [-Dmax, Dmax] with Dmax = 255 (A - wc), wc the centre weight (the centre
// pixel does not differ from itself), so B < -Dmax sends every pixel to valGT and B >= Dmax
// (or a NaN delta, which compares false) every pixel to valLE: such calls are a constant fill.
//
// Border. The in-memory flags widen the region read directly (a flagged side reaches r = k div
// 2 pixels beyond the ROI); a pixel outside that region is the nearest pixel of the region
// (zelBorderRepl) or the border value (zelBorderConst). The window sums need per column only
// the sum of its k rows, so border columns are whole column sums: the edge column's
// (replicate) or k times the border value, weighted (constant).
//
// Rows. The rows of the widened region are read through AdaptRows, which serves synthesised
// rows (a row of border values, or the nearest row of the region) and, in place, the rows the
// output has already overwritten from a ring of copies kept in the caller's buffer.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

namespace zel {

struct AdaptGeom {
    int64_t w, h, k, r;      // ROI, mask side, radius
    int64_t x0, x1, y0, y1;  // the widened region, in ROI coordinates
    bool constKind;
    uint8_t bv;
    int64_t cw() const { return x1 - x0; }
    int64_t cols() const { return w + 2 * r; }  // column sums kept: x = -r .. w + r - 1
};

inline AdaptGeom ownAdaptGeom(int64_t w, int64_t h, int64_t k, uint32_t border, uint8_t bv) {
    AdaptGeom g{w, h, k, (k - 1) / 2, 0, w, 0, h, (border & 15) == 6, bv};
    if (border & 0x40) g.x0 = -g.r;
    if (border & 0x80) g.x1 = w + g.r;
    if (border & 0x10) g.y0 = -g.r;
    if (border & 0x20) g.y1 = h + g.r;
    return g;
}

// Rows of the widened region, each as a pointer to its column x0.
struct AdaptRows {
    const AdaptGeom& g;
    const uint8_t* src;
    int64_t step;
    const uint8_t* constRow;  // cw bytes of the border value
    uint8_t* ring;            // in place: copies of the last ringRows ROI rows, else null
    int64_t ringRows;
    int64_t kept = -1;        // ROI rows 0..kept have copies in the ring

    const uint8_t* image(int64_t j) const { return src + j * step + g.x0; }
    const uint8_t* row(int64_t j) const {
        if (j < g.y0 || j >= g.y1) {
            if (g.constKind) return constRow;
            j = j < g.y0 ? g.y0 : g.y1 - 1;
        }
        if (ring && j >= 0 && j <= kept) return ring + (j % ringRows) * g.cw();
        return image(j);
    }
    // In place, row y is copied before its output overwrites it.
    void keep(int64_t y) {
        if (!ring) return;
        memcpy(ring + (y % ringRows) * g.cw(), image(y), (size_t)g.cw());
        kept = y;
    }
};

// Sets the column sums outside the widened region (col holds x = -r .. w + r - 1) from its
// edge columns (replicate) or to the constant column sum.
template <typename Acc>
inline void ownAdaptBorderColumns(const AdaptGeom& g, Acc* col, Acc constant) {
    const int64_t lo = g.x0 + g.r, hi = g.x1 + g.r, n = g.cols();
    const Acc left = g.constKind ? constant : col[lo], right = g.constKind ? constant : col[hi - 1];
    for (int64_t i = 0; i < lo; ++i) col[i] = left;
    for (int64_t i = hi; i < n; ++i) col[i] = right;
}

// c[i] += a[i] - b[i] (column sums moving down one row), for n columns.
inline void ownAdaptSlide(uint32_t* c, const uint8_t* a, const uint8_t* b, int64_t n) {
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m512i va = _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)(a + i)));
        __m512i vb = _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)(b + i)));
        __m512i vc = _mm512_loadu_si512(c + i);
        _mm512_storeu_si512(c + i, _mm512_sub_epi32(_mm512_add_epi32(vc, va), vb));
    }
    for (; i < n; ++i) c[i] += (uint32_t)a[i] - b[i];
}
inline void ownAdaptSlide(uint64_t* c, const uint8_t* a, const uint8_t* b, int64_t n) {
    for (int64_t i = 0; i < n; ++i) c[i] += (uint64_t)a[i] - b[i];
}

// pre[0] = 0, pre[i + 1] = pre[i] + c[i] (modulo 2^32): the window sum of k columns from i is
// pre[i + k] - pre[i], exact while it is below 2^32.
inline void ownAdaptPrefix(const uint32_t* c, uint32_t* pre, int64_t n) {
    const __m512i zero = _mm512_setzero_si512(), last = _mm512_set1_epi32(15);
    __m512i carry = zero;
    pre[0] = 0;
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m512i x = _mm512_loadu_si512(c + i);
        x = _mm512_add_epi32(x, _mm512_alignr_epi32(x, zero, 15));  // lanes shifted up by 1
        x = _mm512_add_epi32(x, _mm512_alignr_epi32(x, zero, 14));
        x = _mm512_add_epi32(x, _mm512_alignr_epi32(x, zero, 12));
        x = _mm512_add_epi32(x, _mm512_alignr_epi32(x, zero, 8));
        x = _mm512_add_epi32(x, carry);
        _mm512_storeu_si512(pre + i + 1, x);
        carry = _mm512_permutexvar_epi32(last, x);
    }
    for (; i < n; ++i) pre[i + 1] = pre[i] + c[i];
}
inline void ownAdaptPrefix(const uint64_t* c, uint64_t* pre, int64_t n) {
    pre[0] = 0;
    for (int64_t i = 0; i < n; ++i) pre[i + 1] = pre[i] + c[i];
}

// The decision of one row, with window sums below 2^31: d[x] = valGT where
// S(x) - A s[x] < nb (nb = -B), else valLE. sumVec(x) gives S for pixels x .. x + 15,
// sumAt(x) for one pixel.
template <class SumVec, class SumAt>
inline void ownAdaptDecide(const uint8_t* s, uint8_t* d, int64_t w, int32_t A, int32_t nb, uint8_t valGT, uint8_t valLE,
                           const SumVec& sumVec, const SumAt& sumAt) {
    const __m512i vA = _mm512_set1_epi32(A), vnb = _mm512_set1_epi32(nb);
    const __m512i vGT = _mm512_set1_epi32(valGT), vLE = _mm512_set1_epi32(valLE);
    int64_t x = 0;
    for (; x + 16 <= w; x += 16) {
        __m512i px = _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)(s + x)));
        __m512i t = _mm512_sub_epi32(sumVec(x), _mm512_mullo_epi32(px, vA));
        __m512i r = _mm512_mask_blend_epi32(_mm512_cmplt_epi32_mask(t, vnb), vLE, vGT);
        _mm_storeu_si128((__m128i*)(d + x), _mm512_cvtepi32_epi8(r));
    }
    for (; x < w; ++x) d[x] = (int32_t)(sumAt(x) - (uint32_t)A * s[x]) < nb ? valGT : valLE;
}

// The bound B = floor(-delta A) against Dmax: returns +1 when every pixel goes to valGT
// (B < -Dmax), -1 when every pixel goes to valLE (B >= Dmax, or delta is NaN), else 0 with B.
inline int ownAdaptBound(float delta, __int128 A, __int128 dmax, __int128* pB) {
    if (delta != delta) return -1;
    const double approx = -(double)delta * (double)A;  // only to set aside the far cases
    if (approx > 0x1p66) return -1;
    if (approx < -0x1p66) return 1;
    uint32_t bits;
    memcpy(&bits, &delta, 4);
    const int exp = (int)((bits >> 23) & 0xFF);
    __int128 m = exp ? (bits & 0x7FFFFF) | 0x800000 : (bits & 0x7FFFFF);  // |delta| = m 2^e
    const int e = (exp ? exp : 1) - 150;
    __int128 p = (bits >> 31) ? m * A : -(m * A);  // -delta A = p 2^e
    __int128 b;
    if (e >= 0) b = p * ((__int128)1 << e);  // |p 2^e| is below 2^67 here
    else b = -e >= 127 ? (p < 0 ? -1 : 0) : p >> -e;  // arithmetic shift: the floor
    if (b < -dmax) return 1;
    if (b >= dmax) return -1;
    *pB = b;
    return 0;
}

}  // namespace zel
