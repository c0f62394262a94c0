// The 256-bin histogram of 8-bit samples, for the global threshold choice.
//
// A histogram increment is a load, an add and a store to a counter. Two things set its speed:
// - when nearby samples hit the same counter, each increment waits for the previous store to
//   be forwarded, so consecutive samples go to different sub-histograms in turn;
// - the more cache lines the increments of a stretch of samples touch, the slower they
//   retire, so the counters are 16-bit and there are no more sub-histograms than needed.
// The two pull apart: samples spread over the whole range run fastest with two
// sub-histograms, smooth images (neighbours a few levels apart, hence many repeated bins)
// with eight. Each piece of a row takes its count from the mean step between its first 33
// neighbours (one vpsadbw), which sorts images into the two kinds well enough; the counts
// themselves never depend on the choice.
//
// A 16-bit counter takes at most 65535 increments, so the sub-histograms are added into the
// 64-bit totals (and cleared) before the samples counted since the last flush could exceed
// that.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

namespace zel {

class Hist8u {
public:
    explicit Hist8u(uint64_t (&total)[256]) : total_(total) {
        memset(sub_, 0, sizeof sub_);
        memset(total, 0, sizeof total);
    }

    // Counts n samples from p.
    void add(const uint8_t* p, int64_t n) {
        while (n > 0) {
            const int64_t k = n < kPiece ? n : kPiece;
            if (pending_ + k > kCapacity) flush();
            if (k < 33) countK<8>(p, k);
            else {
                const __m256i d = _mm256_sad_epu8(_mm256_loadu_si256((const __m256i*)p),
                                                  _mm256_loadu_si256((const __m256i*)(p + 1)));
                const __m128i h = _mm_add_epi64(_mm256_castsi256_si128(d), _mm256_extracti128_si256(d, 1));
                const int64_t steps = _mm_cvtsi128_si64(h) + _mm_extract_epi64(h, 1);  // Σ|p[i+1]-p[i]|, 32 terms
                if (steps > 32 * 40) countK<2>(p, k);
                else if (steps > 32 * 10) countK<4>(p, k);
                else countK<8>(p, k);
            }
            pending_ += k, p += k, n -= k;
        }
    }

    // Adds the sub-histograms into the totals and clears them.
    void flush() {
        for (int v = 0; v < 256; v += 16) {
            __m512i s = _mm512_setzero_si512();
            #pragma GCC unroll 8
            for (int k = 0; k < kSubs; ++k)
                s = _mm512_add_epi32(s, _mm512_cvtepu16_epi32(_mm256_load_si256((const __m256i*)(sub_[k] + v))));
            __m512i lo = _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(s, 0));
            __m512i hi = _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(s, 1));
            _mm512_storeu_si512(total_ + v, _mm512_add_epi64(_mm512_loadu_si512(total_ + v), lo));
            _mm512_storeu_si512(total_ + v + 8, _mm512_add_epi64(_mm512_loadu_si512(total_ + v + 8), hi));
        }
        memset(sub_, 0, sizeof sub_);
        pending_ = 0;
    }

private:
    static constexpr int kSubs = 8;
    static constexpr int64_t kPiece = 4096;        // samples per choice of sub-histogram count
    static constexpr int64_t kCapacity = 65535;    // increments a 16-bit counter takes

    template <int K>
    void countK(const uint8_t* p, int64_t n) {
        int64_t i = 0;
        for (; i + 16 <= n; i += 16) {
            uint64_t a, b;
            memcpy(&a, p + i, 8);
            memcpy(&b, p + i + 8, 8);
            #pragma GCC unroll 8
            for (int j = 0; j < 8; ++j) ++sub_[j % K][(a >> (8 * j)) & 0xFF];
            #pragma GCC unroll 8
            for (int j = 0; j < 8; ++j) ++sub_[(8 + j) % K][(b >> (8 * j)) & 0xFF];
        }
        for (; i < n; ++i) ++sub_[i % K][p[i]];
    }

    alignas(64) uint16_t sub_[kSubs][256];
    int64_t pending_ = 0;
    uint64_t (&total_)[256];
};

// The histogram of a width x height ROI (rows step bytes apart) into total. A packed ROI is
// counted as one run.
inline void ownHistogram8u(const uint8_t* p, int64_t step, int64_t width, int64_t height, uint64_t (&total)[256]) {
    Hist8u h(total);
    if (step == width) {
        width *= height;
        height = 1;
    }
    for (int64_t y = 0; y < height; ++y) h.add(p + y * step, width);
    h.flush();
}

}  // namespace zel
