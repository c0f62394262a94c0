// Complement: two's complement samples to sign-and-magnitude. A negative sample becomes its
// magnitude with the sign bit set, a non-negative one stays; the most negative value keeps
// its bit pattern (its magnitude wraps to the sign bit alone). That is |x| (wrapping) OR the
// sign bit of x. Checks: pointers, then steps (< 1), then size (< 1).
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"

namespace {

using namespace zel;

// |x| | (x & sign): |x| wraps for the most negative value. 32-bit lanes in one 512-bit
// register; 8- and 16-bit lanes with AVX2, in 256-bit halves.
struct Complement32Op {
    __m512i operator()(__m512i x, __m512i, int) const {
        return _mm512_ternarylogic_epi32(_mm512_abs_epi32(x), x, _mm512_set1_epi32((int)0x80000000u), 0xF8);
    }
};
template <int S>
struct ComplementHalvesOp {
    using Vec = Halves;
    static __m256i one(__m256i x) {
        const __m256i sign = _mm256_set1_epi16(S == 2 ? (short)0x8000 : (short)0x8080);
        return _mm256_or_si256(S == 2 ? _mm256_abs_epi16(x) : _mm256_abs_epi8(x), _mm256_and_si256(x, sign));
    }
    Halves operator()(const Halves& x, const Halves&, int) const { return {one(x.lo), one(x.hi)}; }
};

template <typename T, int C, bool Alpha = false>
ZelStatus complement(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi) {
    if (ownsAnyNull(pSrc, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    // The operation does not depend on the channel, so C1, C3 and C4 share one row kernel.
    constexpr int Cr = Alpha ? 4 : 1;
    using Op = std::conditional_t<sizeof(T) == 4, Complement32Op, ComplementHalvesOp<sizeof(T)>>;
    ownsStreamLayout<sizeof(T), Cr, Alpha, false>(Op{}, pSrc, srcStep, nullptr, 0, nullptr, pDst, dstStep,
                                                  Alpha ? roi.width : (int64_t)roi.width * C, roi.height);
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
