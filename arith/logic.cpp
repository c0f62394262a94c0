// Bitwise logic: And, Or, Xor of two images or of an image and per-channel constants, and Not.
// Bits do not care about sample types, so a row of C channels is one run of bytes; only the
// constant pattern (one value per channel) and AC4 (the destination's alpha is kept) see the
// layout. Checks: pointers, then steps (< 1), then size (< 1).
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"

namespace {

using namespace zel;

struct AndOp {
    __m512i operator()(__m512i a, __m512i b, int) const { return _mm512_and_si512(a, b); }
};
struct OrOp {
    __m512i operator()(__m512i a, __m512i b, int) const { return _mm512_or_si512(a, b); }
};
struct XorOp {
    __m512i operator()(__m512i a, __m512i b, int) const { return _mm512_xor_si512(a, b); }
};

inline bool bad_size(ZeliSize roi) { return roi.width < 1 || roi.height < 1; }

// Two images, rowBytes per row; S only decides the step rounding and the alpha bits.
template <class Op, int S, bool Alpha>
void run2(const void* a, int aStep, const void* b, int bStep, void* d, int dStep, int64_t rowBytes, int64_t height) {
    ownsStreamImage<1, true, Alpha>(Op{}, (const uint8_t*)a, ownsWholeStep<S>(aStep), (const uint8_t*)b,
                                    ownsWholeStep<S>(bStep), nullptr, Alpha ? ownsAlphaBits<S>() : __m512i{},
                                    (uint8_t*)d, ownsWholeStep<S>(dStep), rowBytes, height);
}

template <class Op, typename T, int C, bool Alpha = false>
ZelStatus logic2(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, ZeliSize roi) {
    if (ownsAnyNull(pSrc1, pSrc2, pDst)) return zelStsNullPtrErr;
    if (src1Step < 1 || src2Step < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    run2<Op, sizeof(T), Alpha>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, (int64_t)roi.width * C * sizeof(T),
                               roi.height);
    return zelStsNoErr;
}

// In place: pSrcDst = pSrcDst op pSrc.
template <class Op, typename T, int C, bool Alpha = false>
ZelStatus logic2_i(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return logic2<Op, T, C, Alpha>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roi);
}

// Image and constant pattern (period P vectors).
template <class Op, int S, int P, bool Alpha>
void runc(const void* a, int aStep, const uint8_t* pattern, void* d, int dStep, int64_t rowBytes, int64_t height) {
    ownsStreamImage<P, false, Alpha>(Op{}, (const uint8_t*)a, ownsWholeStep<S>(aStep), nullptr, 0, pattern,
                                     Alpha ? ownsAlphaBits<S>() : __m512i{}, (uint8_t*)d, ownsWholeStep<S>(dStep),
                                     rowBytes, height);
}

template <class Op, typename T, int C, bool Alpha = false>
ZelStatus logicc_checked(const T* pSrc, int srcStep, const T* value, T* pDst, int dstStep, ZeliSize roi) {
    if (ownsAnyNull(pSrc, value, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    alignas(64) uint8_t pat[192];
    ownsBuildPattern(pat, value, C, Alpha ? 3 : C);
    runc<Op, sizeof(T), ownsPatternPeriod(C), Alpha>(pSrc, srcStep, pat, pDst, dstStep,
                                                     (int64_t)roi.width * C * sizeof(T), roi.height);
    return zelStsNoErr;
}

// Not is Xor with all ones.
template <int C, bool Alpha = false>
ZelStatus not_8u(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roi) {
    const Zel8u ones[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    return logicc_checked<XorOp, Zel8u, C, Alpha>(pSrc, srcStep, ones, pDst, dstStep, roi);
}
template <int C, bool Alpha = false>
ZelStatus not_8u_i(Zel8u* pSrcDst, int srcDstStep, ZeliSize roi) {
    return not_8u<C, Alpha>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_LOGIC_TYPE(name, Op, t, T)                                       \
    ZEL_IMPL(zeli##name##_##t##_C1R, logic2<Op, T, 1>)                       \
    ZEL_IMPL(zeli##name##_##t##_C3R, logic2<Op, T, 3>)                       \
    ZEL_IMPL(zeli##name##_##t##_C4R, logic2<Op, T, 4>)                       \
    ZEL_IMPL(zeli##name##_##t##_AC4R, logic2<Op, T, 4, true>)                \
    ZEL_IMPL(zeli##name##_##t##_C1IR, logic2_i<Op, T, 1>)                    \
    ZEL_IMPL(zeli##name##_##t##_C3IR, logic2_i<Op, T, 3>)                    \
    ZEL_IMPL(zeli##name##_##t##_C4IR, logic2_i<Op, T, 4>)                    \
    ZEL_IMPL(zeli##name##_##t##_AC4IR, logic2_i<Op, T, 4, true>)             \
    ZEL_IMPL(zeli##name##C_##t##_C1R, const_scalar<logicc_checked<Op, T, 1>, T, T>)          \
    ZEL_IMPL(zeli##name##C_##t##_C3R, logicc_checked<Op, T, 3>)                            \
    ZEL_IMPL(zeli##name##C_##t##_C4R, logicc_checked<Op, T, 4>)                            \
    ZEL_IMPL(zeli##name##C_##t##_AC4R, logicc_checked<Op, T, 4, true>)                     \
    ZEL_IMPL(zeli##name##C_##t##_C1IR, const_scalar_inplace<logicc_checked<Op, T, 1>, T, T>) \
    ZEL_IMPL(zeli##name##C_##t##_C3IR, const_inplace<logicc_checked<Op, T, 3>, T, T>)      \
    ZEL_IMPL(zeli##name##C_##t##_C4IR, const_inplace<logicc_checked<Op, T, 4>, T, T>)      \
    ZEL_IMPL(zeli##name##C_##t##_AC4IR, const_inplace<logicc_checked<Op, T, 4, true>, T, T>)

#define ZEL_LOGIC(name, Op)                  \
    ZEL_LOGIC_TYPE(name, Op, 8u, Zel8u)      \
    ZEL_LOGIC_TYPE(name, Op, 16u, Zel16u)    \
    ZEL_LOGIC_TYPE(name, Op, 32s, Zel32s)

ZEL_LOGIC(And, AndOp)
ZEL_LOGIC(Or, OrOp)
ZEL_LOGIC(Xor, XorOp)

ZEL_IMPL(zeliNot_8u_C1R, not_8u<1>)
ZEL_IMPL(zeliNot_8u_C3R, not_8u<3>)
ZEL_IMPL(zeliNot_8u_C4R, not_8u<4>)
ZEL_IMPL(zeliNot_8u_AC4R, not_8u<4, true>)
ZEL_IMPL(zeliNot_8u_C1IR, not_8u_i<1>)
ZEL_IMPL(zeliNot_8u_C3IR, not_8u_i<3>)
ZEL_IMPL(zeliNot_8u_C4IR, not_8u_i<4>)
ZEL_IMPL(zeliNot_8u_AC4IR, not_8u_i<4, true>)
