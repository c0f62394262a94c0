// Border extension: copies a source ROI into the middle of a larger destination and fills
// the frame around it with a constant, the replicated edge, a mirror image about the edge
// pixel (the edge not repeated), or the periodic continuation. The engine is shared by the
// four border-copy families, out of place and in place, 32- and 64-bit forms.
//
// Source rows are copied by the copy engine; then each row's left and right borders are
// filled, and the rows above and below are copies of whole extended rows (or constant
// blocks). AC4 pixels move and take only their three colour samples: every
// alpha sample of the destination, border and copied pixels alike, is left as it was.
#pragma once

#include <stdint.h>
#include <string.h>

#include "frame/zel_internal.h"
#include "kernels/convert_reverse.h"
#include "kernels/copy_engine.h"

namespace zel {

enum class Border { Const, Replicate, Mirror, Wrap };

// Geometry of one call, in pixels; borders right and bottom are what remains.
struct BorderGeom {
    int64_t srcW, srcH, dstW, dstH, top, left;
};

// The argument checks shared by every border copy after the pointers: steps, then sizes and
// border widths, then the source must fit inside the destination beside its borders.
inline ZelStatus ownBorderCheck(int64_t srcStep, int64_t dstStep, const BorderGeom& g) {
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (g.srcW < 1 || g.srcH < 1 || g.dstW < 1 || g.dstH < 1 || g.top < 0 || g.left < 0) return zelStsSizeErr;
    if (g.dstW - g.srcW < g.left || g.dstH - g.srcH < g.top) return zelStsSizeErr;
    return zelStsNoErr;
}

// True when a 64-bit call may run as its 32-bit form (checked geometry).
inline bool ownBorderFits32(int64_t srcStep, int64_t dstStep, const BorderGeom& g) {
    return srcStep < kInt32Max && dstStep < kInt32Max && g.dstW < kInt32Max && g.dstH < kInt32Max &&
           g.dstW * g.dstH < kInt32Max;
}

// Index i (any integer) of a border pixel mapped into [0, n).
inline int64_t ownBorderIndex(Border k, int64_t i, int64_t n) {
    if (i >= 0 && i < n) return i;
    if (k == Border::Replicate || (k == Border::Mirror && n == 1)) return i < 0 ? 0 : n - 1;
    int64_t period = k == Border::Mirror ? 2 * n - 2 : n, r = i % period;
    if (r < 0) r += period;
    return r < n ? r : period - r;
}

// 64 bytes of the pixel px repeated from byte 0, for pixels of other sizes than those of
// ownBorderSplat; returns the largest multiple of P up to 64, the distance by which the
// pattern may be restarted.
template <int P>
inline int ownBorderPattern(uint8_t* pat, const uint8_t* px) {
    int k = 0;
    for (; k + P <= 64; k += P) memcpy(pat + k, px, P);
    memcpy(pat + k, px, 64 - k);
    return 64 / P * P;
}

// Writes n >= 1 bytes (a whole number of pixels) of the pattern at d.
inline void ownBorderFill(uint8_t* d, const uint8_t* pat, int period, int64_t n) {
    int64_t i = 0;
    for (; n - i > 64; i += period) memcpy(d + i, pat, 64);
    int64_t rest = n - i;  // 1 to 64 bytes
    if (rest >= 32) {
        _mm256_storeu_si256((__m256i*)(d + i), _mm256_loadu_si256((const __m256i*)pat));
        _mm256_storeu_si256((__m256i*)(d + n - 32), _mm256_loadu_si256((const __m256i*)(pat + rest - 32)));
    } else if (rest >= 16) {
        _mm_storeu_si128((__m128i*)(d + i), _mm_loadu_si128((const __m128i*)pat));
        _mm_storeu_si128((__m128i*)(d + n - 16), _mm_loadu_si128((const __m128i*)(pat + rest - 16)));
    } else {
        for (int64_t k = 0; k < rest; ++k) d[i + k] = pat[k];
    }
}

// Pixels of 1, 2, 4 or 8 bytes: the pattern is one register, the same from any pixel boundary.
template <int P>
inline constexpr bool kBorderSplat = P == 1 || P == 2 || P == 4 || P == 8;

template <int P>
inline uint64_t ownBorderSplat(const uint8_t* px) {
    uint64_t v = 0;
    memcpy(&v, px, P);
    if (P == 1) v *= 0x0101010101010101ull;
    if (P == 2) v *= 0x0001000100010001ull;
    if (P == 4) v *= 0x0000000100000001ull;
    return v;
}

// Writes n >= 1 bytes (a whole number of pixels) of the 8-byte pattern q at d: the tail as
// two overlapping stores, which is exact because the pattern repeats every 8 bytes.
[[gnu::always_inline]] inline void ownBorderFillSplat(uint8_t* d, uint64_t q, int64_t n) {
    int64_t i = 0;
    if (n >= 64) {
        const __m512i v = _mm512_set1_epi64((long long)q);
        for (; n - i >= 64; i += 64) _mm512_storeu_si512(d + i, v);
    }
    const int64_t rest = n - i;
    const __m256i h = _mm256_set1_epi64x((long long)q);
    if (rest >= 32) {
        _mm256_storeu_si256((__m256i*)(d + i), h);
        _mm256_storeu_si256((__m256i*)(d + n - 32), h);
    } else if (rest >= 16) {
        _mm_storeu_si128((__m128i*)(d + i), _mm256_castsi256_si128(h));
        _mm_storeu_si128((__m128i*)(d + n - 16), _mm256_castsi256_si128(h));
    } else if (rest >= 8) {
        memcpy(d + i, &q, 8);
        memcpy(d + n - 8, &q, 8);
    } else {
        for (int64_t k = 0; k < rest; ++k) d[i + k] = (uint8_t)(q >> (8 * k));
    }
}

template <int S, int C, bool Alpha, Border K>
struct BorderEngine {
    static constexpr int P = S * C, W = Alpha ? 3 * S : P;  // pixel bytes, bytes written per pixel

    // Copies n pixels (the colour samples of AC4 pixels).
    static void copyPixels(const uint8_t* s, uint8_t* d, int64_t n) {
        if constexpr (Alpha)
            for (int64_t i = 0; i < n; ++i) memcpy(d + i * P, s + i * P, W);
        else
            ownsCopyRow_8u(s, d, n * P);
    }

    // Writes pixel px n times from d; pat, when given, is its pattern (ownBorderPattern).
    static void repeat(const uint8_t* px, uint8_t* d, int64_t n, const uint8_t* pat = nullptr) {
        if (n <= 0) return;
        if constexpr (Alpha) {
            for (int64_t i = 0; i < n; ++i) memcpy(d + i * P, px, W);
        } else if constexpr (kBorderSplat<P>) {
            ownBorderFillSplat(d, ownBorderSplat<P>(px), n * P);
        } else if (pat) {
            ownBorderFill(d, pat, 64 / P * P, n * P);
        } else {
            alignas(64) uint8_t own[64];
            int period = ownBorderPattern<P>(own, px);
            ownBorderFill(d, own, period, n * P);
        }
    }

    // Fills count border pixels at out from the source pixels in, starting at the reduced
    // index q (modulo the period), run by run: forward runs are copies, the descending runs of
    // a mirror are reversed copies.
    static void runs(const uint8_t* in, uint8_t* out, int64_t count, int64_t q, int64_t n, int64_t period) {
        while (count > 0) {
            int64_t len;
            if (q < n) {
                len = n - q < count ? n - q : count;
                ownsCopyRow_8u(in + q * P, out, len * P);
            } else {  // indices period - q, period - q - 1, ...
                len = period - q < count ? period - q : count;
                ownRevRow<P>(in + (period - q - len + 1) * P, out, len);
            }
            out += len * P, count -= len, q += len;
            if (q == period) q = 0;
        }
    }

    // Fills the left and right borders of one extended row r whose source pixels are in place;
    // in holds the same pixels (the source row, read rather than the lines just written).
    // start[0], start[1]: the reduced index (modulo the period) of the first left and first
    // right border pixel, for Mirror and Wrap.
    static void extendRow(uint8_t* r, const uint8_t* in, const BorderGeom& g, int64_t right, const uint8_t* value,
                          const uint8_t* pat, const int64_t* start) {
        uint8_t* out = r + g.left * P;
        if constexpr (K == Border::Const) {
            repeat(value, r, g.left, pat);
            repeat(value, out + g.srcW * P, right, pat);
        } else if constexpr (K == Border::Replicate) {
            repeat(in, r, g.left);
            repeat(in + (g.srcW - 1) * P, out + g.srcW * P, right);
        } else {
            static_assert(!Alpha, "mirror and wrap borders move whole pixels");
            const int64_t n = g.srcW, period = K == Border::Mirror ? 2 * n - 2 : n;
            if (period == 0) {  // a one-pixel mirror repeats its pixel
                repeat(in, r, g.left);
                repeat(in, out + n * P, right);
                return;
            }
            runs(in, r, g.left, start[0], n, period);
            runs(in, out + n * P, right, start[1], n, period);
        }
    }

    // The whole extended region at d (step ds), the source rows coming from s (step ss), or
    // already in place when s is null. value: one pixel, for Const. Steps as given in bytes.
    static void run(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, const BorderGeom& g, const uint8_t* value) {
        ss = ss / S * S;
        ds = ds / S * S;
        const int64_t right = g.dstW - g.left - g.srcW, bottom = g.dstH - g.top - g.srcH, rowBytes = g.dstW * P;
        int64_t start[2] = {0, 0};
        alignas(64) uint8_t patBuf[64];
        const uint8_t* pat = nullptr;
        if constexpr (K == Border::Const && !Alpha && !kBorderSplat<P>) ownBorderPattern<P>(patBuf, value), pat = patBuf;
        if constexpr (K == Border::Mirror || K == Border::Wrap) {
            int64_t period = K == Border::Mirror ? 2 * g.srcW - 2 : g.srcW;
            if (period > 0) start[0] = ((-g.left) % period + period) % period, start[1] = g.srcW % period;
        }
        // Source rows are copied and extended one at a time, each row's borders written while
        // its lines are still in the first-level cache. An image the copy engine streams goes in
        // first as one 2-D copy (its lines are gone anyway), and the borders follow. Border
        // pixels are read from the source rather than from the lines just written. AC4 rows
        // keep their alpha and are copied pixel by pixel.
        const bool whole = s && !Alpha, stream = whole && ownsUseStreaming(g.srcW * P * g.srcH);
        if (stream) ownsCopy2D_8u(s, ss, d + g.top * ds + g.left * P, ds, g.srcW * P, g.srcH);
        for (int64_t y = 0; y < g.srcH; ++y) {
            uint8_t* r = d + (g.top + y) * ds;
            if (whole && !stream) ownsCopyRowCached_8u(s + y * ss, r + g.left * P, g.srcW * P);
            else if (s && !whole) copyPixels(s + y * ss, r + g.left * P, g.srcW);
            extendRow(r, s ? s + y * ss : r + g.left * P, g, right, value, pat, start);
        }
        if constexpr (K == Border::Const) {
            if constexpr (Alpha) {
                for (int64_t y = 0; y < g.top; ++y) repeat(value, d + y * ds, g.dstW);
                for (int64_t y = g.top + g.srcH; y < g.dstH; ++y) repeat(value, d + y * ds, g.dstW);
            } else {
                if (g.top > 0) ownsFill2D_8u(value, P, d, ds, rowBytes, g.top);
                if (bottom > 0) ownsFill2D_8u(value, P, d + (g.top + g.srcH) * ds, ds, rowBytes, bottom);
            }
        } else {
            for (int64_t y = 0; y < g.top; ++y)
                copyPixels(d + (g.top + ownBorderIndex(K, y - g.top, g.srcH)) * ds, d + y * ds, g.dstW);
            for (int64_t y = g.top + g.srcH; y < g.dstH; ++y)
                copyPixels(d + (g.top + ownBorderIndex(K, y - g.top, g.srcH)) * ds, d + y * ds, g.dstW);
        }
    }

    // In place: p addresses the first source pixel; the region starts top rows above and left
    // pixels before it.
    static void runInPlace(uint8_t* p, int64_t step, const BorderGeom& g, const uint8_t* value) {
        int64_t rs = step / S * S;
        run(nullptr, 0, p - g.top * rs - g.left * P, step, g, value);
    }
};

// The R, IR, R_L and IR_L forms of the families without a constant. Replicate and Mirror
// hand an out-of-place call with pSrc == pDst to the in-place form before any check (the
// source step is then the step of the whole region); Wrap does so after its checks.
template <int S, int C, bool Alpha, Border K>
struct BorderForms {
    using E = BorderEngine<S, C, Alpha, K>;
    static constexpr bool kHandOverFirst = K != Border::Wrap;

    // In place there is nothing for 32-bit arithmetic to save: the 32-bit form widens its
    // arguments and runs as the 64-bit one (the same checks, the same engine).
    static ZelStatus ir(void* p, int step, ZeliSize src, ZeliSize dst, int top, int left) {
        return irL(p, step, {src.width, src.height}, {dst.width, dst.height}, top, left);
    }
    static ZelStatus irL(void* p, int64_t step, ZeliSizeL src, ZeliSizeL dst, int64_t top, int64_t left) {
        if (!p) return zelStsNullPtrErr;
        BorderGeom g{src.width, src.height, dst.width, dst.height, top, left};
        if (ZelStatus st = ownBorderCheck(step, step, g)) return st;
        E::runInPlace((uint8_t*)p, step, g, nullptr);
        return zelStsNoErr;
    }
    static ZelStatus r(const void* s, int ss, ZeliSize src, void* d, int ds, ZeliSize dst, int top, int left) {
        if (kHandOverFirst && s == d) return ir(d, ss, src, dst, top, left);
        if (!s || !d) return zelStsNullPtrErr;
        BorderGeom g{src.width, src.height, dst.width, dst.height, top, left};
        if (ZelStatus st = ownBorderCheck(ss, ds, g)) return st;
        if (s == d) return ir(d, ss, src, dst, top, left);
        E::run((const uint8_t*)s, ss, (uint8_t*)d, ds, g, nullptr);
        return zelStsNoErr;
    }
    // The out-of-place 64-bit form runs as the 32-bit form whenever the steps and the
    // destination's pixel count fit; only larger images take the engine directly here.
    static ZelStatus rL(const void* s, int64_t ss, ZeliSizeL src, void* d, int64_t ds, ZeliSizeL dst, int64_t top,
                        int64_t left) {
        if (kHandOverFirst && s == d) return irL(d, ss, src, dst, top, left);
        if (!s || !d) return zelStsNullPtrErr;
        BorderGeom g{src.width, src.height, dst.width, dst.height, top, left};
        if (ZelStatus st = ownBorderCheck(ss, ds, g)) return st;
        if (s == d) return irL(d, ss, src, dst, top, left);
        if (ownBorderFits32(ss, ds, g))
            return r(s, (int)ss, {(int)src.width, (int)src.height}, d, (int)ds, {(int)dst.width, (int)dst.height},
                     (int)top, (int)left);
        E::run((const uint8_t*)s, ss, (uint8_t*)d, ds, g, nullptr);
        return zelStsNoErr;
    }
};

}  // namespace zel
