// Dot product of two images per channel: Σ src1 · src2.
//
// Checks, in order: a null pointer → NullPtrErr; width or height below 1, or either step equal
// to 0 → SizeErr. Negative steps are accepted. AC4R writes the first three channels.
//
// 8u, 16u and 16s products are summed exactly in integers and converted to double once (the
// correctly rounded value of the exact sum). 32u, 32s and 32f samples are widened to double and
// accumulated with fused multiply-adds in per-position double partials (a product of two
// floats is exact in double, so for 32f only the additions round).
#include "frame/zel_internal.h"
#include "kernels/stat_terms.h"

namespace {

using namespace zel;
using namespace zel::stat;

template <class T>
struct DotOp : NoWide {
    using Sample = T;
    static constexpr bool kInt = sizeof(T) == 4 ? false : true;
    using Lane = std::conditional_t<!kInt, LaneF64,
                 std::conditional_t<std::is_same_v<T, Zel8u>, LaneU32,
                 std::conditional_t<std::is_same_v<T, Zel16u>, Lane64<uint64_t>, Lane64<int64_t>>>>;
    static constexpr int64_t kBlock = std::is_same_v<T, Zel8u> ? block_for(UINT32_MAX, 65025) : kNoBlock;
    static typename Lane::V vstep(typename Lane::V s, const T* a, const T* b) {
        if constexpr (!kInt) return _mm512_fmadd_pd(load8_f64(a), load8_f64(b), s);
        else if constexpr (std::is_same_v<T, Zel8u>) return _mm512_add_epi32(s, _mm512_mullo_epi32(load16_i32(a), load16_i32(b)));
        else if constexpr (std::is_same_v<T, Zel16u>) return _mm512_add_epi64(s, _mm512_mul_epu32(load8_i64(a), load8_i64(b)));
        else return _mm512_add_epi64(s, _mm512_mul_epi32(load8_i64(a), load8_i64(b)));
    }
    static typename Lane::P sterm(T a, T b) { return (typename Lane::P)a * (typename Lane::P)b; }
};

template <class T, int C, int Out>
ZelStatus dot(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, ZeliSize roi, Zel64f* pDp) {
    if (!pSrc1 || !pSrc2 || !pDp) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1 || src1Step == 0 || src2Step == 0) return zelStsSizeErr;
    const int64_t w = roi.width, h = roi.height;
    SumReducer<DotOp<T>, C> r;
    walk(pSrc1, src1Step, pSrc2, src2Step, w * C, w, h, [&](const T* a, const T* b, int64_t n) { r.row(a, b, n); });
    typename DotOp<T>::Lane::P s[C] = {};
    r.fold(s);
    for (int c = 0; c < Out; ++c) pDp[c] = (double)s[c];
    return zelStsNoErr;
}

}  // namespace

#define ZEL_DOT(t, T)                                      \
    ZEL_IMPL(zeliDotProd_##t##64f_C1R, dot<T, 1, 1>)       \
    ZEL_IMPL(zeliDotProd_##t##64f_C3R, dot<T, 3, 3>)       \
    ZEL_IMPL(zeliDotProd_##t##64f_C4R, dot<T, 4, 4>)       \
    ZEL_IMPL(zeliDotProd_##t##64f_AC4R, dot<T, 4, 3>)

ZEL_DOT(8u, Zel8u)
ZEL_DOT(16u, Zel16u)
ZEL_DOT(16s, Zel16s)
ZEL_DOT(32u, Zel32u)
ZEL_DOT(32s, Zel32s)
ZEL_DOT(32f, Zel32f)
