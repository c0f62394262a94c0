// Complement: two's complement samples to sign-and-magnitude. A negative sample becomes its
// magnitude with the sign bit set, a non-negative one stays; the most negative value keeps
// its bit pattern (its magnitude wraps to the sign bit alone). That is |x| (wrapping) OR the
// sign bit of x. Checks: pointers, then steps (< 1), then size (< 1).
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"

namespace {

using namespace zel;

// |x| with wrap-around for 8-, 16- or 32-bit lanes; 8 and 16 bits use the AVX2 halves.
template <int S>
inline __m512i abs_wrap(__m512i x) {
    if constexpr (S == 4) {
        return _mm512_abs_epi32(x);
    } else if constexpr (S == 2) {
        return ownsJoin256(_mm256_abs_epi16(ownsLo256(x)), _mm256_abs_epi16(ownsHi256(x)));
    } else {
        return ownsJoin256(_mm256_abs_epi8(ownsLo256(x)), _mm256_abs_epi8(ownsHi256(x)));
    }
}

template <int S>
struct ComplementOp {
    __m512i operator()(__m512i x, __m512i, int) const {
        const __m512i sign = _mm512_set1_epi32(S == 4 ? (int)0x80000000u : S == 2 ? (int)0x80008000u : (int)0x80808080u);
        return _mm512_ternarylogic_epi32(abs_wrap<S>(x), x, sign, 0xF8);  // |x| | (x & sign)
    }
};

template <typename T, int C, bool Alpha = false>
ZelStatus complement(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi) {
    if (ownsAnyNull(pSrc, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    // The operation does not depend on the channel, so C1, C3 and C4 share one row kernel.
    constexpr int Cr = Alpha ? 4 : 1;
    ownsStreamLayout<sizeof(T), Cr, Alpha, false>(ComplementOp<sizeof(T)>{}, pSrc, srcStep, nullptr, 0, nullptr, pDst,
                                                  dstStep, Alpha ? roi.width : (int64_t)roi.width * C, roi.height);
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha = false>
ZelStatus complement_i(T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return complement<T, C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_COMPLEMENT(t, T)                                            \
    ZEL_IMPL(zeliComplement_##t##_C1R, complement<T, 1>)                \
    ZEL_IMPL(zeliComplement_##t##_C3R, complement<T, 3>)                \
    ZEL_IMPL(zeliComplement_##t##_C4R, complement<T, 4>)                \
    ZEL_IMPL(zeliComplement_##t##_AC4R, complement<T, 4, true>)         \
    ZEL_IMPL(zeliComplement_##t##_C1IR, complement_i<T, 1>)             \
    ZEL_IMPL(zeliComplement_##t##_C3IR, complement_i<T, 3>)             \
    ZEL_IMPL(zeliComplement_##t##_C4IR, complement_i<T, 4>)             \
    ZEL_IMPL(zeliComplement_##t##_AC4IR, complement_i<T, 4, true>)

ZEL_COMPLEMENT(8s, Zel8s)
ZEL_COMPLEMENT(16s, Zel16s)
ZEL_COMPLEMENT(32s, Zel32s)
