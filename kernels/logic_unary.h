// Row loop of the element-wise families whose integer rule is computed per sample in scalar
// code (square root, exponential, logarithm and square with a scale factor): every processed
// sample of the ROI goes through f; AC4 skips the fourth sample of each pixel. 8u images
// first tabulate f over the 256 inputs when that is cheaper than calling it per sample.
#pragma once

#include <stdint.h>
#include <string.h>

#include <limits>

#include "frame/zel_internal.h"

namespace zel {

// Checks of the element-wise families: pointers, then size (< 1), then steps (< 1).
template <class... P>
inline ZelStatus ownsCheckElementwise(ZeliSize roi, int step1, int step2, P... ptrs) {
    if (((ptrs == nullptr) || ...)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (step1 < 1 || step2 < 1) return zelStsStepErr;
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha, class F>
void ownsUnaryScalar(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, F f) {
    auto rows = [&](auto g) {
        for (int64_t r = 0; r < roi.height; ++r) {
            const T* s = row(pSrc, srcStep, r);
            T* d = row(pDst, dstStep, r);
            for (int64_t x = 0; x < (int64_t)roi.width * C; ++x)
                if (!Alpha || x % 4 != 3) {
                    T v;  // images of 16-bit samples may sit at odd addresses: no typed access
                    memcpy(&v, s + x, sizeof v);
                    v = g(v);
                    memcpy(d + x, &v, sizeof v);
                }
        }
    };
    if constexpr (sizeof(T) == 1) {
        if ((int64_t)roi.width * roi.height * C > 1024) {
            T table[256];
            for (int v = 0; v < 256; ++v) table[v] = f((T)v);
            rows([&](T v) { return table[(uint8_t)v]; });
            return;
        }
    }
    rows(f);
}

// Round half to even of v and saturate to [lo, hi].
inline int64_t ownsRoundSat(double v, int64_t lo, int64_t hi) {
    if (!(v > (double)lo)) return lo;
    if (v >= (double)hi) return hi;
    int64_t r = (int64_t)__builtin_roundeven(v);
    return r < lo ? lo : r > hi ? hi : r;
}

}  // namespace zel
