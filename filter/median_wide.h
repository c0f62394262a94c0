// The large-mask median of 16u, 16s and 32f images.
//
// Samples become unsigned keys in the order of the values (16s: the sign bit flipped; 32f: the
// IEEE total order, -NaN lowest and +NaN highest, as in median_small.h). Every column of the band
// keeps its kh keys of the window sorted, changed by one key leaving and one entering per
// destination row (a binary search and a short move). Along a row a histogram of the window's
// keys, on four levels of 16 counters per node (the key's top 4, 8, 12 and 16 bits), is slid
// by removing the kh keys of the column that leaves and adding those of the column that
// enters, read from the sorted columns; the median's 16 bits are found by walking down the
// levels, 64 counters at most. For 16-bit keys that is the median. For 32f it is the top half
// of the median's key and its rank among the window's keys with that top half; the sorted
// columns give each column's run of such keys by binary search, and a bisection over the low
// 16 bits, counting in those runs, finds the key. The cost per pixel grows with the mask's
// height, not with its area.
#pragma once

#include <string.h>

#include "filter/median_columns.h"

namespace zel {

template <typename T>
struct WideKey;
template <>
struct WideKey<Zel16u> {
    using K = uint16_t;
    static K of(Zel16u v) { return v; }
    static Zel16u back(K k) { return k; }
};
template <>
struct WideKey<Zel16s> {
    using K = uint16_t;
    static K of(Zel16s v) { return (uint16_t)((uint16_t)v ^ 0x8000u); }
    static Zel16s back(K k) { return (Zel16s)(uint16_t)(k ^ 0x8000u); }
};
template <>
struct WideKey<Zel32f> {
    using K = uint32_t;
    static K of(Zel32f v) {
        uint32_t b;
        memcpy(&b, &v, 4);
        return b ^ ((uint32_t)((int32_t)b >> 31) | 0x80000000u);
    }
    static Zel32f back(K k) {
        const uint32_t b = (k & 0x80000000u) ? k ^ 0x80000000u : ~k;
        Zel32f v;
        memcpy(&v, &b, 4);
        return v;
    }
};

// Counts of 16-bit values on four levels: 16 + 256 + 4096 + 65536 counters.
struct MedianRadix16 {
    static constexpr int kCounters = 16 + 256 + 4096 + 65536;
    uint32_t* c;
    void add(unsigned h, uint32_t d) {
        c[h >> 12] += d, c[16 + (h >> 8)] += d, c[272 + (h >> 4)] += d, c[4368 + h] += d;
    }
    // The smallest h with count(<= h) >= t; *below = count(< h).
    unsigned select(unsigned t, unsigned* below) const {
        unsigned h = 0, acc = 0;
        static constexpr int kBase[4] = {0, 16, 272, 4368};
        for (int lv = 0; lv < 4; ++lv) {
            const uint32_t* n = c + kBase[lv] + h * 16;
            int j = 0;
            while (acc + n[j] < t) acc += n[j++];
            h = h * 16 + (unsigned)j;
        }
        *below = acc;
        return h;
    }
};

// First position in the sorted run [p, p + n) whose key is not below k.
template <typename K>
inline int ownLowerBound(const K* p, int n, uint64_t k) {
    int lo = 0;
    while (n > 0) {
        const int h = n / 2;
        if ((uint64_t)p[lo + h] < k) lo += h + 1, n -= h + 1;
        else n = h;
    }
    return lo;
}

template <typename T>
struct MedianWide {
    using WK = WideKey<T>;
    using K = typename WK::K;
    static constexpr bool kSplit = sizeof(K) == 4;  // keys wider than the histogram

    struct Run {
        const K* p;
        int n;
    };

    static int64_t storeSize(int64_t width, int kw, int kh) {
        const int64_t cols = (width + kw - 1) * kh * (int64_t)sizeof(K);
        return MedianRadix16::kCounters * 4 + ((cols + 63) & ~(int64_t)63) + (kSplit ? (int64_t)kw * sizeof(Run) : 0);
    }

    // One channel `ch` of C over the band [bx0, bx1) of every row; store: storeSize bytes,
    // 64-byte aligned.
    static void run(BorderRows& br, const MedianColumns& mc, T* pDst, int dstStep, int height, int bx0, int bx1, int kw,
                    int kh, int C, int ch, uint8_t* store) {
        MedianRadix16 hist{(uint32_t*)store};
        K* cols = (K*)(store + MedianRadix16::kCounters * 4);  // [column][kh], each sorted
        Run* runs = (Run*)((uint8_t*)cols + ((((int64_t)mc.count * kh * sizeof(K)) + 63) & ~(int64_t)63));
        const int top = (kh - 1) / 2, bottom = kh - 1 - top, bw = bx1 - bx0;
        const unsigned half = ((unsigned)kw * (unsigned)kh + 1) / 2;
        auto hi = [](K k) { return kSplit ? (unsigned)(k >> 16) : (unsigned)k; };

        memset(hist.c, 0, MedianRadix16::kCounters * 4);
        for (int ys = -top; ys <= bottom; ++ys)  // sorted insertion, row by row
            mc.fill<T>(br, ys, C, ch, [&](int k, T v) {
                K* col = cols + (int64_t)k * kh;
                const int n = ys + top, at = ownLowerBound(col, n, WK::of(v));
                memmove(col + at + 1, col + at, (size_t)(n - at) * sizeof(K));
                col[at] = WK::of(v);
            });
        for (int y = 0; y < height; ++y) {
            if (y > 0)
                mc.update<T>(br, y - 1 - top, y + bottom, C, ch, [&](int k, T o, T i) {
                    K* col = cols + (int64_t)k * kh;
                    const K ko = WK::of(o), ki = WK::of(i);
                    const int at = ownLowerBound(col, kh, ko);
                    if (ki > ko) {
                        const int to = ownLowerBound(col, kh, ki);
                        memmove(col + at, col + at + 1, (size_t)(to - 1 - at) * sizeof(K));
                        col[to - 1] = ki;
                    } else if (ki < ko) {
                        const int to = ownLowerBound(col, kh, ki);
                        memmove(col + to + 1, col + to, (size_t)(at - to) * sizeof(K));
                        col[to] = ki;
                    }
                });
            auto addColumn = [&](int k, uint32_t d) {
                const K* col = cols + (int64_t)k * kh;
                for (int r = 0; r < kh; ++r) hist.add(hi(col[r]), d);
            };
            for (int k = 0; k < kw; ++k) addColumn(k, 1);
            T* d = row(pDst, dstStep, y) + (int64_t)bx0 * C + ch;
            for (int x = 0; x < bw; ++x) {
                unsigned below;
                const unsigned h = hist.select(half, &below);
                K key = (K)h;
                if constexpr (kSplit) key = resolve(cols, kh, x, kw, h, half - below - 1, runs);
                d[(int64_t)x * C] = WK::back(key);
                if (x + 1 < bw) addColumn(x, (uint32_t)-1), addColumn(x + kw, 1);
            }
            for (int k = bw - 1; k < bw - 1 + kw; ++k) addColumn(k, (uint32_t)-1);
        }
    }

    // The key of rank r among the window's keys whose top 16 bits are h.
    static K resolve(const K* cols, int kh, int x, int kw, unsigned h, unsigned r, Run* runs) {
        const uint64_t lo = (uint64_t)h << 16, end = lo + 65536;
        int nr = 0;
        for (int k = x; k < x + kw; ++k) {
            const K* col = cols + (int64_t)k * kh;
            const int a = ownLowerBound(col, kh, lo), b = a + ownLowerBound(col + a, kh - a, end);
            if (b > a) runs[nr++] = {col + a, b - a};
        }
        if (nr == 1) return runs[0].p[r];
        unsigned l = 0, u = 65535;
        while (l < u) {  // the smallest low half with more than r keys at or below it
            const unsigned mid = (l + u) / 2;
            unsigned cnt = 0;
            for (int i = 0; i < nr; ++i) cnt += (unsigned)ownLowerBound(runs[i].p, runs[i].n, lo + mid + 1);
            if (cnt > r) u = mid;
            else l = mid + 1;
        }
        return (K)(lo + l);
    }
};

}  // namespace zel
