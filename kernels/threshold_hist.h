// The 256-bin histogram of 8-bit samples, for the global threshold choice.
//
// A histogram increment is a load, an add and a store to a counter; when nearby samples hit
// the same counter, each increment waits for the previous store to be forwarded. Four
// sub-histograms, filled in turn, keep consecutive samples on different counters; each
// 64-bit load feeds eight increments. The sub-histograms count 32-bit, so the image is
// counted in chunks of at most 2^31 samples that are then added to 64-bit totals.
#pragma once

#include <stdint.h>
#include <string.h>

namespace zel {

struct Hist8u {
    uint32_t sub[4][256];

    void clear() { memset(sub, 0, sizeof sub); }

    // Counts n samples from p.
    void add(const uint8_t* p, int64_t n) {
        uint32_t *h0 = sub[0], *h1 = sub[1], *h2 = sub[2], *h3 = sub[3];
        int64_t i = 0;
        for (; i + 16 <= n; i += 16) {
            uint64_t a, b;
            memcpy(&a, p + i, 8);
            memcpy(&b, p + i + 8, 8);
            ++h0[a & 0xFF], ++h1[(a >> 8) & 0xFF], ++h2[(a >> 16) & 0xFF], ++h3[(a >> 24) & 0xFF];
            ++h0[(a >> 32) & 0xFF], ++h1[(a >> 40) & 0xFF], ++h2[(a >> 48) & 0xFF], ++h3[a >> 56];
            ++h0[b & 0xFF], ++h1[(b >> 8) & 0xFF], ++h2[(b >> 16) & 0xFF], ++h3[(b >> 24) & 0xFF];
            ++h0[(b >> 32) & 0xFF], ++h1[(b >> 40) & 0xFF], ++h2[(b >> 48) & 0xFF], ++h3[b >> 56];
        }
        for (; i < n; ++i) ++h0[p[i]];
    }

    // Adds the sub-histograms into total and clears them.
    void flush(uint64_t (&total)[256]) {
        for (int v = 0; v < 256; ++v) total[v] += (uint64_t)sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v];
        clear();
    }
};

// The histogram of a width x height ROI (rows step bytes apart) into total (cleared first).
// A packed ROI is counted as one run.
inline void ownHistogram8u(const uint8_t* p, int64_t step, int64_t width, int64_t height, uint64_t (&total)[256]) {
    Hist8u h;
    h.clear();
    memset(total, 0, sizeof total);
    if (step == width) {
        width *= height;
        height = 1;
    }
    constexpr int64_t kChunk = int64_t(1) << 31;  // a sub-counter never exceeds it
    int64_t pending = 0;
    for (int64_t y = 0; y < height; ++y) {
        const uint8_t* r = p + y * step;
        for (int64_t x = 0; x < width;) {
            int64_t n = width - x < kChunk - pending ? width - x : kChunk - pending;
            h.add(r + x, n);
            x += n, pending += n;
            if (pending == kChunk) h.flush(total), pending = 0;
        }
    }
    h.flush(total);
}

}  // namespace zel
