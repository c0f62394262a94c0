// CopyManaged: the same-layout 8u copy with explicit cache control. Flags bit 1 streams loads
// and stores, bit 0 (when bit 1 is clear) streams stores, neither copies with cached moves.
// No step is checked.
#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"

namespace {

using namespace zel;

template <typename U>
inline void move(const uint8_t*& s, uint8_t*& d, int64_t& n) {
    U v;
    memcpy(&v, s, sizeof v);
    memcpy(d, &v, sizeof v);
    s += sizeof v, d += sizeof v, n -= sizeof v;
}

// Copies n bytes with non-temporal stores: cached moves up to the first 64-byte boundary of
// the destination, then 64-byte streaming stores, then the cached tail.
void nt_store_row(const uint8_t* s, uint8_t* d, int64_t n) {
    int64_t a = (int64_t)(-(uintptr_t)d & 63);
    if (n < a + 64) {
        ownsCopyRow_8u(s, d, n);
        return;
    }
    ownsCopyShort_8u(s, d, a);
    int64_t p = a;
    for (; p + 64 <= n; p += 64) _mm512_stream_si512((__m512i*)(d + p), _mm512_loadu_si512(s + p));
    ownsCopyShort_8u(s + p, d + p, n - p);
}

// Copies n bytes with non-temporal loads and stores: single moves of 1, 2, 4 and 8 bytes until
// the destination is 16-byte aligned, then 16-byte streaming loads (plain loads when the
// source is not aligned with it) and streaming stores, then the tail in 8, 4, 2, 1 bytes.
void nt_load_row(const uint8_t* s, uint8_t* d, int64_t n) {
    if (n >= 32) {
        if ((uintptr_t)d & 1) move<uint8_t>(s, d, n);
        if ((uintptr_t)d & 2) move<uint16_t>(s, d, n);
        if ((uintptr_t)d & 4) move<uint32_t>(s, d, n);
        if ((uintptr_t)d & 8) move<uint64_t>(s, d, n);
        bool aligned = ((uintptr_t)s & 15) == 0;
        for (; n >= 16; n -= 16, s += 16, d += 16) {
            __m128i v = aligned ? _mm_stream_load_si128((__m128i*)s) : _mm_loadu_si128((const __m128i*)s);
            _mm_stream_si128((__m128i*)d, v);
        }
    }
    if (n & 8) move<uint64_t>(s, d, n);
    if (n & 4) move<uint32_t>(s, d, n);
    if (n & 2) move<uint16_t>(s, d, n);
    if (n & 1) move<uint8_t>(s, d, n);
    while (n >= 16) {  // rows shorter than 32 bytes
        move<uint64_t>(s, d, n);
        move<uint64_t>(s, d, n);
    }
}

ZelStatus copy_managed(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roi, int flags) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    int64_t width = roi.width, height = roi.height;
    if (flags & zelNonTemporalLoad) {
        for (int64_t r = 0; r < height; ++r, pSrc += srcStep, pDst += dstStep) nt_load_row(pSrc, pDst, width);
        _mm_sfence();
        return zelStsNoErr;
    }
    if (width == srcStep && width == dstStep) {
        width *= height;
        height = 1;
    }
    if (flags & zelNonTemporalStore) {
        for (int64_t r = 0; r < height; ++r, pSrc += srcStep, pDst += dstStep) nt_store_row(pSrc, pDst, width);
        _mm_sfence();
    } else {
        for (int64_t r = 0; r < height; ++r, pSrc += srcStep, pDst += dstStep) ownsCopyRow_8u(pSrc, pDst, width);
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliCopyManaged_8u_C1R, copy_managed)
