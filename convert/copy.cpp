// Copy between images of the same layout: whole pixels (C1, C3, C4), the colour channels of
// AC4 pixels, their 64-bit (_L) forms, and the masked forms. Samples move bit for bit; no step
// is checked, any step (zero and negative included) is used as given, reduced to whole
// samples.
#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

// A step reduced to whole samples of S bytes.
template <int S>
inline int64_t sample_step(int64_t step) {
    return step / S * S;
}

// True when a 64-bit call can be handed to the 32-bit form.
inline bool fits32(int64_t srcStep, int64_t dstStep, ZeliSizeL roi) {
    auto small = [](int64_t v) { return v > -kInt32Max && v < kInt32Max; };
    return small(srcStep) && small(dstStep) && roi.width < kInt32Max && roi.height < kInt32Max &&
           roi.width * roi.height < kInt32Max;
}

// Copies channels 0..2 of n four-channel pixels of S-byte samples and keeps channel 3 of the
// destination. Works on 32-bit words (S per pixel): 32-bit samples are written with a masked
// store that skips the alpha word, narrower ones by a bit select against the destination.
template <int S>
void ac4_row(const uint8_t* s, uint8_t* d, int64_t n) {
    int64_t words = n * S, w = 0;
    if constexpr (S == 4) {
        const __mmask16 colour = 0x7777;
        for (; w + 16 <= words; w += 16)
            _mm512_mask_storeu_epi32(d + 4 * w, colour, _mm512_loadu_si512(s + 4 * w));
        __mmask16 tail = (__mmask16)(colour & ((1u << (words - w)) - 1));
        _mm512_mask_storeu_epi32(d + 4 * w, tail, _mm512_maskz_loadu_epi32(tail, s + 4 * w));
    } else {
        const __m512i sel = S == 1 ? _mm512_set1_epi32(0x00FFFFFF) : _mm512_set1_epi64(0x0000FFFFFFFFFFFFll);
        for (; w + 16 <= words; w += 16) {
            __m512i v = _mm512_ternarylogic_epi32(sel, _mm512_loadu_si512(s + 4 * w),
                                                  _mm512_loadu_si512(d + 4 * w), 0xCA);
            _mm512_storeu_si512(d + 4 * w, v);
        }
        __mmask16 tail = (__mmask16)((1u << (words - w)) - 1);
        __m512i v = _mm512_ternarylogic_epi32(sel, _mm512_maskz_loadu_epi32(tail, s + 4 * w),
                                              _mm512_maskz_loadu_epi32(tail, d + 4 * w), 0xCA);
        _mm512_mask_storeu_epi32(d + 4 * w, tail, v);
    }
}

// Same-layout copy of C channels (AC4 passes Alpha, C = 4).
template <int S, int C, bool Alpha = false>
void copy_rows(const void* pSrc, int64_t srcStep, void* pDst, int64_t dstStep, int64_t width, int64_t height) {
    const uint8_t* s = (const uint8_t*)pSrc;
    uint8_t* d = (uint8_t*)pDst;
    srcStep = sample_step<S>(srcStep);
    dstStep = sample_step<S>(dstStep);
    if constexpr (Alpha) {
        for (int64_t r = 0; r < height; ++r, s += srcStep, d += dstStep) ac4_row<S>(s, d, width);
    } else {
        ownsCopy2D_8u(s, srcStep, d, dstStep, width * C * S, height);
    }
}

template <int S, int C, bool Alpha = false>
ZelStatus copy_same(const void* pSrc, int srcStep, void* pDst, int dstStep, ZeliSize roi) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    copy_rows<S, C, Alpha>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
    return zelStsNoErr;
}

// The 64-bit form: the 32-bit form when everything fits, else a 64-bit row loop that hands
// each row to the one-dimensional copy in pieces of at most 2^30 bytes.
template <int S, int C, bool Alpha = false>
ZelStatus copy_same_L(const void* pSrc, int64_t srcStep, void* pDst, int64_t dstStep, ZeliSizeL roi) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (fits32(srcStep, dstStep, roi))
        return copy_same<S, C, Alpha>(pSrc, (int)srcStep, pDst, (int)dstStep, {(int)roi.width, (int)roi.height});
    if constexpr (Alpha) {
        copy_rows<S, C, Alpha>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
        return zelStsNoErr;
    } else {
        return ownsCopyRowsChunked_8u((const Zel8u*)pSrc, sample_step<S>(srcStep), (Zel8u*)pDst,
                                      sample_step<S>(dstStep), roi.width * C * S, roi.height, kCopyChunk);
    }
}

// Masked copy: channels 0..W-1 of each C-channel pixel whose mask byte is non-zero.
template <int S, int C, int W>
ZelStatus copy_masked(const void* pSrc, int srcStep, void* pDst, int dstStep, ZeliSize roi, const Zel8u* pMask,
                      int maskStep) {
    using T = typename Sample<S>::type;
    if (!pSrc || !pDst || !pMask) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    for (int64_t r = 0; r < roi.height; ++r) {
        const T* s = row((const T*)pSrc, srcStep, r);
        T* d = row((T*)pDst, dstStep, r);
        const Zel8u* m = row(pMask, maskStep, r);
        for (int64_t x = 0; x < roi.width; ++x)
            if (m[x])
                for (int c = 0; c < W; ++c) d[x * C + c] = s[x * C + c];
    }
    return zelStsNoErr;
}

}  // namespace

#define ZEL_COPY_SAME(t, S)                                           \
    ZEL_IMPL(zeliCopy_##t##_C1R, copy_same<S, 1>)                        \
    ZEL_IMPL(zeliCopy_##t##_C3R, copy_same<S, 3>)                        \
    ZEL_IMPL(zeliCopy_##t##_C4R, copy_same<S, 4>)                        \
    ZEL_IMPL(zeliCopy_##t##_AC4R, copy_same<S, 4, true>)                 \
    ZEL_IMPL(zeliCopy_##t##_C1R_L, copy_same_L<S, 1>)                    \
    ZEL_IMPL(zeliCopy_##t##_C3R_L, copy_same_L<S, 3>)                    \
    ZEL_IMPL(zeliCopy_##t##_C4R_L, copy_same_L<S, 4>)                    \
    ZEL_IMPL(zeliCopy_##t##_AC4R_L, copy_same_L<S, 4, true>)             \
    ZEL_IMPL(zeliCopy_##t##_C1MR, copy_masked<S, 1, 1>)                  \
    ZEL_IMPL(zeliCopy_##t##_C3MR, copy_masked<S, 3, 3>)                  \
    ZEL_IMPL(zeliCopy_##t##_C4MR, copy_masked<S, 4, 4>)                  \
    ZEL_IMPL(zeliCopy_##t##_AC4MR, copy_masked<S, 4, 3>)

ZEL_COPY_SAME(8u, 1)
ZEL_COPY_SAME(16u, 2)
ZEL_COPY_SAME(16s, 2)
ZEL_COPY_SAME(32s, 4)
ZEL_COPY_SAME(32f, 4)
