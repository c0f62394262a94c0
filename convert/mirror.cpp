// Mirror: flips about the horizontal axis (0: rows reversed), the vertical axis (1: pixels of
// each row reversed), both (2), or a diagonal (3: transpose; 4: anti-transpose, the sample at
// (x, y) going to (height - 1 - y, width - 1 - x)), out of place or in place. AC4 members
// move the three colour channels and leave every alpha sample of the destination as it was.
//
// The axis flips check no step: any step, zero and negative included, is used as given
// (reduced to whole samples). The diagonal flips reject steps below 1 and buffers whose
// address ranges overlap. In place, a diagonal flip needs a square ROI (width == height,
// else zelStsSizeErr) and a step of at least 1 (else zelStsStepErr), checked after the flip.
#include "frame/zel_internal.h"
#include "kernels/convert_reverse.h"
#include "kernels/convert_transpose.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

template <int S>
inline int64_t sample_step(int64_t step) {
    return step / S * S;
}

// Exchanges n bytes of a and b (distinct rows).
inline void swap_bytes(uint8_t* a, uint8_t* b, int64_t n) {
    int64_t i = 0;
    for (; i + 64 <= n; i += 64) {
        __m512i x = _mm512_loadu_si512(a + i), y = _mm512_loadu_si512(b + i);
        _mm512_storeu_si512(a + i, y);
        _mm512_storeu_si512(b + i, x);
    }
    for (; i < n; ++i) {
        uint8_t t = a[i];
        a[i] = b[i];
        b[i] = t;
    }
}

// Colour channels of AC4 pixels: d[i] = s[n - 1 - i] (Reverse) or s[i].
template <int S, bool Reverse>
void ac4_copy_row(const uint8_t* s, uint8_t* d, int64_t n) {
    for (int64_t i = 0; i < n; ++i) memcpy(d + i * 4 * S, s + (Reverse ? n - 1 - i : i) * 4 * S, 3 * S);
}

// Colour channels of AC4 pixels: a[i] <-> b[n - 1 - i] (Reverse) or b[i]; a == b allowed.
template <int S, bool Reverse>
void ac4_swap_rows(uint8_t* a, uint8_t* b, int64_t n) {
    uint8_t t[3 * S];
    int64_t end = (a == b) ? n / 2 : n;
    for (int64_t i = 0; i < end; ++i) {
        uint8_t* q = b + (Reverse ? n - 1 - i : i) * 4 * S;
        memcpy(t, a + i * 4 * S, 3 * S);
        memcpy(a + i * 4 * S, q, 3 * S);
        memcpy(q, t, 3 * S);
    }
}

template <int S, int C, bool Alpha>
void flip_axis_in_place(uint8_t* p, int64_t step, int64_t w, int64_t h, int flip) {
    constexpr int P = S * C;
    if (flip == zelAxsHorizontal) {
        for (int64_t y = 0; y < h / 2; ++y) {
            uint8_t *a = p + y * step, *b = p + (h - 1 - y) * step;
            if (a == b) continue;
            if constexpr (Alpha) ac4_swap_rows<S, false>(a, b, w);
            else swap_bytes(a, b, w * P);
        }
        return;
    }
    // Vertical: every row reversed in place. Both: row y exchanged with row h - 1 - y
    // reversed, and a middle row reversed in place.
    auto revSwap = [](uint8_t* a, uint8_t* b, int64_t n) {
        if constexpr (Alpha) ac4_swap_rows<S, true>(a, b, n);
        else ownRevSwapRows<P>(a, b, n);
    };
    if (flip == zelAxsVertical) {
        for (int64_t y = 0; y < h; ++y) revSwap(p + y * step, p + y * step, w);
        return;
    }
    for (int64_t y = 0; y < h / 2; ++y) revSwap(p + y * step, p + (h - 1 - y) * step, w);
    if (h % 2) revSwap(p + h / 2 * step, p + h / 2 * step, w);
}

template <int S, int C, bool Alpha>
ZelStatus mirror_ir(void* pSrcDst, int srcDstStep, ZeliSize roi, ZelAxis flip) {
    if (!pSrcDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (flip < zelAxsHorizontal || flip > zelAxs135) return zelStsMirrorFlipErr;
    uint8_t* p = (uint8_t*)pSrcDst;
    int64_t step = sample_step<S>(srcDstStep);
    if (flip == zelAxs45 || flip == zelAxs135) {
        if (srcDstStep < 1) return zelStsStepErr;
        if (roi.width != roi.height) return zelStsSizeErr;
        ownTransposeSquareInPlace<S, C, Alpha>(p, step, roi.width);
        // The anti-transpose of a square is its transpose turned by half a turn.
        if (flip == zelAxs135) flip_axis_in_place<S, C, Alpha>(p, step, roi.width, roi.height, zelAxsBoth);
        return zelStsNoErr;
    }
    flip_axis_in_place<S, C, Alpha>(p, step, roi.width, roi.height, flip);
    return zelStsNoErr;
}

// The diagonal flips refuse buffers whose spans overlap: the source span runs from its first
// pixel to the end of its last row, the destination's (width rows of height pixels) likewise.
template <int S, int C, bool Alpha>
ZelStatus mirror_diagonal(const uint8_t* s, int srcStep, uint8_t* d, int dstStep, ZeliSize roi, ZelAxis flip) {
    constexpr int P = S * C;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    int64_t ss = sample_step<S>(srcStep), ds = sample_step<S>(dstStep), w = roi.width, h = roi.height;
    uintptr_t sLo = (uintptr_t)s, sHi = sLo + (uintptr_t)((h - 1) * ss + w * P);
    uintptr_t dLo = (uintptr_t)d, dHi = dLo + (uintptr_t)((w - 1) * ds + h * P);
    if (sLo < dHi && dLo < sHi) return zelStsNotSupportedModeErr;
    if (flip == zelAxs45) ownTranspose<S, C, Alpha>(s, ss, d, ds, w, h);
    else ownTranspose<S, C, Alpha>(s + (h - 1) * ss, -ss, d + (w - 1) * ds, -ds, w, h);
    return zelStsNoErr;
}

template <int S, int C, bool Alpha>
ZelStatus mirror_r(const void* pSrc, int srcStep, void* pDst, int dstStep, ZeliSize roi, ZelAxis flip) {
    constexpr int P = S * C;
    const uint8_t* s = (const uint8_t*)pSrc;
    uint8_t* d = (uint8_t*)pDst;
    if (flip == zelAxs45 || flip == zelAxs135) {
        if (!s || !d) return zelStsNullPtrErr;
        return mirror_diagonal<S, C, Alpha>(s, srcStep, d, dstStep, roi, flip);
    }
    if (s == d && srcStep == dstStep && flip >= zelAxsHorizontal && flip <= zelAxsBoth)
        return mirror_ir<S, C, Alpha>(d, dstStep, roi, flip);
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (flip < zelAxsHorizontal || flip > zelAxs135) return zelStsMirrorFlipErr;
    int64_t ss = sample_step<S>(srcStep), ds = sample_step<S>(dstStep), w = roi.width, h = roi.height;
    if (flip == zelAxsHorizontal) {  // walk the source from its last row up
        s += (h - 1) * ss;
        ss = -ss;
    } else if (flip == zelAxsBoth) {
        // Walk the destination from its last row up: the row reversal reads its source front
        // to back and writes back to front, so both images are then walked in one direction.
        d += (h - 1) * ds;
        ds = -ds;
    }
    if (flip == zelAxsHorizontal) {
        if constexpr (Alpha) {
            for (int64_t y = 0; y < h; ++y) ac4_copy_row<S, false>(s + y * ss, d + y * ds, w);
        } else if (ownsUseStreaming(w * P * h)) {
            // Streaming stores need no read-ahead, the loads do: read the source front to back
            // and write the destination from its last row up.
            ownsCopy2D_8u(s + (h - 1) * ss, -ss, d + (h - 1) * ds, -ds, w * P, h);
        } else {
            ownsCopy2D_8u(s, ss, d, ds, w * P, h);
        }
        return zelStsNoErr;
    }
    for (int64_t y = 0; y < h; ++y) {
        if constexpr (Alpha) ac4_copy_row<S, true>(s + y * ss, d + y * ds, w);
        else ownRevRow<P>(s + y * ss, d + y * ds, w);
    }
    return zelStsNoErr;
}

}  // namespace

#define ZEL_MIRROR(t, S, lay, C, A)                                     \
    ZEL_IMPL(zeliMirror_##t##_##lay##R, mirror_r<S, C, A>)              \
    ZEL_IMPL(zeliMirror_##t##_##lay##IR, mirror_ir<S, C, A>)
#define ZEL_MIRROR_TYPE(t, S)           \
    ZEL_MIRROR(t, S, C1, 1, false)      \
    ZEL_MIRROR(t, S, C3, 3, false)      \
    ZEL_MIRROR(t, S, C4, 4, false)      \
    ZEL_MIRROR(t, S, AC4, 4, true)

ZEL_MIRROR_TYPE(8u, 1)
ZEL_MIRROR_TYPE(16u, 2)
ZEL_MIRROR_TYPE(16s, 2)
ZEL_MIRROR_TYPE(32s, 4)
ZEL_MIRROR_TYPE(32f, 4)
