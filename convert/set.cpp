// Set: fills a ROI, the colour channels of AC4 pixels, one channel of interest, or the pixels
// selected by a mask with a constant. Values are stored as their bit patterns (a 32f NaN keeps
// its payload). No step is checked.
#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

inline bool bad_size(ZeliSize roi) { return roi.width < 1 || roi.height < 1; }

// Whole pixels of C channels from the pixel value[0..C-1], through the fill engine.
template <typename T, int C>
void fill(const T* value, T* pDst, int dstStep, ZeliSize roi) {
    constexpr int S = sizeof(T);
    uint8_t pixel[C * S];
    memcpy(pixel, value, sizeof pixel);
    ownsFill2D_8u(pixel, C * S, (uint8_t*)pDst, (int64_t)dstStep / S * S, (int64_t)roi.width * C * S, roi.height);
}

template <typename T>
ZelStatus set_c1(T value, T* pDst, int dstStep, ZeliSize roi) {
    if (!pDst) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    fill<T, 1>(&value, pDst, dstStep, roi);
    return zelStsNoErr;
}

template <typename T, int C>
ZelStatus set_cn(const T* value, T* pDst, int dstStep, ZeliSize roi) {
    if (!value || !pDst) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    fill<T, C>(value, pDst, dstStep, roi);
    return zelStsNoErr;
}

// Channels 0..2 of n four-channel pixels of S-byte samples from the pixel pattern pat (in every
// 4S bytes of the vector), channel 3 kept: a masked store for 32-bit samples, a bit select
// against the destination for narrower ones.
template <int S>
void set_ac4_row(__m512i pat, uint8_t* d, int64_t n) {
    int64_t words = n * S, w = 0;
    if constexpr (S == 4) {
        const __mmask16 colour = 0x7777;
        for (; w + 16 <= words; w += 16) _mm512_mask_storeu_epi32(d + 4 * w, colour, pat);
        _mm512_mask_storeu_epi32(d + 4 * w, (__mmask16)(colour & ((1u << (words - w)) - 1)), pat);
    } else {
        const __m512i sel = S == 1 ? _mm512_set1_epi32(0x00FFFFFF) : _mm512_set1_epi64(0x0000FFFFFFFFFFFFll);
        for (; w + 16 <= words; w += 16)
            _mm512_storeu_si512(d + 4 * w, _mm512_ternarylogic_epi32(sel, pat, _mm512_loadu_si512(d + 4 * w), 0xCA));
        __mmask16 tail = (__mmask16)((1u << (words - w)) - 1);
        __m512i v = _mm512_ternarylogic_epi32(sel, pat, _mm512_maskz_loadu_epi32(tail, d + 4 * w), 0xCA);
        _mm512_mask_storeu_epi32(d + 4 * w, tail, v);
    }
}

template <typename T>
ZelStatus set_ac4(const T* value, T* pDst, int dstStep, ZeliSize roi) {
    constexpr int S = sizeof(T);
    if (!value || !pDst) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    alignas(64) uint8_t pixels[64];
    for (int i = 0; i < 64; i += 4 * S) {
        memcpy(pixels + i, value, 3 * S);
        memset(pixels + i + 3 * S, 0, S);
    }
    __m512i pat = _mm512_load_si512(pixels);
    for (int64_t r = 0; r < roi.height; ++r) set_ac4_row<S>(pat, (uint8_t*)row(pDst, dstStep, r), roi.width);
    return zelStsNoErr;
}

// One channel of interest: width samples C samples apart per row, from pDst.
template <typename T, int C>
ZelStatus set_channel(T value, T* pDst, int dstStep, ZeliSize roi) {
    if (!pDst) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    for (int64_t r = 0; r < roi.height; ++r) {
        T* d = row(pDst, dstStep, r);
        for (int64_t x = 0; x < roi.width; ++x) d[x * C] = value;
    }
    return zelStsNoErr;
}

// Channels 0..W-1 of each C-channel pixel whose mask byte is non-zero receive value[0..W-1].
template <typename T, int C, int W>
void set_masked_rows(const T* value, T* pDst, int dstStep, ZeliSize roi, const Zel8u* pMask, int maskStep) {
    for (int64_t r = 0; r < roi.height; ++r) {
        T* d = row(pDst, dstStep, r);
        const Zel8u* m = row(pMask, maskStep, r);
        for (int64_t x = 0; x < roi.width; ++x)
            if (m[x])
                for (int c = 0; c < W; ++c) d[x * C + c] = value[c];
    }
}

template <typename T>
ZelStatus set_masked_c1(T value, T* pDst, int dstStep, ZeliSize roi, const Zel8u* pMask, int maskStep) {
    if (!pDst || !pMask) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    set_masked_rows<T, 1, 1>(&value, pDst, dstStep, roi, pMask, maskStep);
    return zelStsNoErr;
}

template <typename T, int C, int W>
ZelStatus set_masked(const T* value, T* pDst, int dstStep, ZeliSize roi, const Zel8u* pMask, int maskStep) {
    if (!value || !pDst || !pMask) return zelStsNullPtrErr;
    if (bad_size(roi)) return zelStsSizeErr;
    set_masked_rows<T, C, W>(value, pDst, dstStep, roi, pMask, maskStep);
    return zelStsNoErr;
}

}  // namespace

#define ZEL_SET(t, T)                                             \
    ZEL_IMPL(zeliSet_##t##_C1R, set_c1<T>)                        \
    ZEL_IMPL(zeliSet_##t##_C3R, set_cn<T, 3>)                     \
    ZEL_IMPL(zeliSet_##t##_C4R, set_cn<T, 4>)                     \
    ZEL_IMPL(zeliSet_##t##_AC4R, set_ac4<T>)                      \
    ZEL_IMPL(zeliSet_##t##_C3CR, set_channel<T, 3>)               \
    ZEL_IMPL(zeliSet_##t##_C4CR, set_channel<T, 4>)               \
    ZEL_IMPL(zeliSet_##t##_C1MR, set_masked_c1<T>)                \
    ZEL_IMPL(zeliSet_##t##_C3MR, set_masked<T, 3, 3>)             \
    ZEL_IMPL(zeliSet_##t##_C4MR, set_masked<T, 4, 4>)             \
    ZEL_IMPL(zeliSet_##t##_AC4MR, set_masked<T, 4, 3>)

ZEL_SET(8u, Zel8u)
ZEL_SET(16u, Zel16u)
ZEL_SET(16s, Zel16s)
ZEL_SET(32s, Zel32s)
ZEL_SET(32f, Zel32f)
