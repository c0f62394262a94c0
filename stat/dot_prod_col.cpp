// Weighted sum of a list of rows, column by column: pDst[j] = Σ_i pWeights[i] · ppSrcRows[i][j]
// for j < len (the column pass of a separable filter), accumulated in the row type.
//
// Checks, in order: a null ppSrcRows, pWeights or pDst → NullPtrErr; numRows or len below 1 →
// SizeErr; a null row pointer among the first numRows → NullPtrErr.
//
// Rule: acc = 0, then acc = fma(pWeights[i], ppSrcRows[i][j], acc) for i = 0, 1, ... in order;
// vector bodies and masked tails evaluate exactly this.
#include "frame/zel_internal.h"

#include <immintrin.h>

namespace {

using namespace zel;

template <class T> struct Simd;
template <> struct Simd<Zel32f> {
    using V = __m512;
    using M = __mmask16;
    static constexpr int N = 16;
    static V load(M m, const float* p) { return _mm512_maskz_loadu_ps(m, p); }
    static void store(M m, float* p, V v) { _mm512_mask_storeu_ps(p, m, v); }
    static V fma(V w, V x, V acc) { return _mm512_fmadd_ps(w, x, acc); }
    static V set1(float w) { return _mm512_set1_ps(w); }
    static V zero() { return _mm512_setzero_ps(); }
};
template <> struct Simd<Zel64f> {
    using V = __m512d;
    using M = __mmask8;
    static constexpr int N = 8;
    static V load(M m, const double* p) { return _mm512_maskz_loadu_pd(m, p); }
    static void store(M m, double* p, V v) { _mm512_mask_storeu_pd(p, m, v); }
    static V fma(V w, V x, V acc) { return _mm512_fmadd_pd(w, x, acc); }
    static V set1(double w) { return _mm512_set1_pd(w); }
    static V zero() { return _mm512_setzero_pd(); }
};

template <class T>
ZelStatus dot_prod_col(const T* const ppSrcRows[], const T* pWeights, int numRows, T* pDst, int len) {
    if (!ppSrcRows || !pWeights || !pDst) return zelStsNullPtrErr;
    if (numRows < 1 || len < 1) return zelStsSizeErr;
    for (int i = 0; i < numRows; ++i)
        if (!ppSrcRows[i]) return zelStsNullPtrErr;
    using S = Simd<T>;
    constexpr int N = S::N;
    const typename S::M all = (typename S::M)~0u;
    for (int64_t j = 0; j < len; j += N) {
        const typename S::M m = len - j >= N ? all : (typename S::M)((1u << (len - j)) - 1);
        typename S::V acc = S::zero();
        for (int i = 0; i < numRows; ++i) acc = S::fma(S::set1(pWeights[i]), S::load(m, ppSrcRows[i] + j), acc);
        S::store(m, pDst + j, acc);
    }
    return zelStsNoErr;
}

}  // namespace

ZEL_IMPL(zeliDotProdCol_32f_L2, dot_prod_col<Zel32f>)
ZEL_IMPL(zeliDotProdCol_64f_L2, dot_prod_col<Zel64f>)
