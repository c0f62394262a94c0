// Bit-packed (1u) images to 8u and back. Eight pixels share a byte, the most significant bit
// first; a row starts bitOffset bits into its first byte. 1u8u writes 0 or 255 per pixel;
// 8u1u sets the bit of every sample at or above the threshold and leaves the other bits of
// the first and last byte of a row (those outside the ROI) as they were.
//
// Checks, in order: a null pointer → NullPtrErr; width or height below 1 → SizeErr; a step
// below 1 → StepErr; an offset outside 0..7 → BadArgErr. A row reads and writes only the
// bytes that hold its bits.
#include <immintrin.h>
#include <string.h>

#include "frame/zel_internal.h"

namespace {

// The eight pixels of a byte, most significant bit first, as 0 or 255.
struct Expand {
    uint64_t bytes[256];
    constexpr Expand() : bytes() {
        for (int v = 0; v < 256; ++v)
            for (int k = 0; k < 8; ++k)
                if (v & (0x80 >> k)) bytes[v] |= uint64_t(0xFF) << (8 * k);
    }
};
constexpr Expand kExpand{};

// Bit order reversed within a byte: a compare mask (pixel k in bit k) to packed order.
struct Reverse {
    uint8_t bits[256];
    constexpr Reverse() : bits() {
        for (int v = 0; v < 256; ++v)
            for (int k = 0; k < 8; ++k)
                if (v & (1 << k)) bits[v] |= (uint8_t)(0x80 >> k);
    }
};
constexpr Reverse kReverse{};

ZelStatus check(const void* s, int ss, const void* d, int ds, int offset, ZeliSize roi) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ss < 1 || ds < 1) return zelStsStepErr;
    if (offset < 0 || offset > 7) return zelStsBadArgErr;
    return zelStsNoErr;
}

ZelStatus unpack(const Zel8u* pSrc, int srcStep, int srcBitOffset, Zel8u* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = check(pSrc, srcStep, pDst, dstStep, srcBitOffset, roi)) return st;
    const int64_t w = roi.width, o = srcBitOffset;
    for (int64_t y = 0; y < roi.height; ++y) {
        const uint8_t* s = pSrc + y * srcStep;
        uint8_t* d = pDst + y * dstStep;
        int64_t x = 0;
        // Eight pixels from bits b..b+7, which lie in byte b/8 and, unless b is a multiple of
        // 8, the next one.
        for (; x + 8 <= w; x += 8) {
            const int64_t b = o + x;
            const unsigned r = b & 7;
            unsigned v = (unsigned)s[b >> 3] << 8;
            if (r) v |= s[(b >> 3) + 1];
            memcpy(d + x, &kExpand.bytes[(v >> (8 - r)) & 0xFF], 8);
        }
        for (; x < w; ++x) {
            const int64_t b = o + x;
            d[x] = (s[b >> 3] >> (7 - (b & 7))) & 1 ? 255 : 0;
        }
    }
    return zelStsNoErr;
}

ZelStatus pack(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, int dstBitOffset, ZeliSize roi,
               Zel8u threshold) {
    if (ZelStatus st = check(pSrc, srcStep, pDst, dstStep, dstBitOffset, roi)) return st;
    const int64_t w = roi.width;
    const __m128i t = _mm_set1_epi8((char)threshold);
    for (int64_t y = 0; y < roi.height; ++y) {
        const uint8_t* s = pSrc + y * srcStep;
        uint8_t* d = pDst + y * dstStep;
        // acc holds the n bits not yet written, the oldest highest; it starts with the bits
        // of the first byte that precede the ROI.
        unsigned acc = dstBitOffset ? d[0] >> (8 - dstBitOffset) : 0;
        int n = dstBitOffset;
        int64_t x = 0;
        for (; x + 8 <= w; x += 8) {
            const __m128i v = _mm_loadl_epi64((const __m128i*)(s + x));
            const unsigned m = (unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, t), v)) & 0xFF;
            acc = (acc << 8) | kReverse.bits[m];
            *d++ = (uint8_t)(acc >> n);
            acc &= (1u << n) - 1;
        }
        for (; x < w; ++x) {
            acc = (acc << 1) | (s[x] >= threshold);
            if (++n == 8) *d++ = (uint8_t)acc, acc = 0, n = 0;
        }
        if (n) *d = (uint8_t)((acc << (8 - n)) | (*d & ((1u << (8 - n)) - 1)));
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliConvert_1u8u_C1R, unpack)
ZEL_IMPL(zeliConvert_8u1u_C1R, pack)
