// Single-precision exponential and natural logarithm of 16 lanes with AVX-512F, for the Exp
// and Ln families. Both reduce the argument with the exact FMA and the AVX-512 exponent
// instructions (scalef, getexp, getmant) and evaluate a minimax polynomial; the results are
// within 1 ulp of the correctly rounded value over the whole range (checked against libm
// on dense samples by the tests). There is no scalar version: a row's last samples go
// through the same vector code, so a sample's result never depends on its position.
#pragma once

#include <immintrin.h>

namespace zel {

// e^x. Overflow gives +inf, underflow the rounded subnormal or 0, -inf gives 0, NaN stays NaN.
inline __m512 ownsExp16f(__m512 x) {
    // min/max return their second operand when one is NaN: the NaN goes through.
    x = _mm512_min_ps(_mm512_set1_ps(88.8f), x);
    x = _mm512_max_ps(_mm512_set1_ps(-104.0f), x);
    __m512 n = _mm512_roundscale_ps(_mm512_mul_ps(x, _mm512_set1_ps(1.44269504088896341f)),
                                    _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    __m512 r = _mm512_fnmadd_ps(n, _mm512_set1_ps(0.693145751953125f), x);  // ln 2 in 16 bits: n * hi is exact
    r = _mm512_fnmadd_ps(n, _mm512_set1_ps(1.42860682030941723e-6f), r);
    // e^r = 1 + r + r^2 p(r), |r| <= ln(2) / 2
    __m512 p = _mm512_set1_ps(1.9875691500e-4f);
    p = _mm512_fmadd_ps(p, r, _mm512_set1_ps(1.3981999507e-3f));
    p = _mm512_fmadd_ps(p, r, _mm512_set1_ps(8.3334519073e-3f));
    p = _mm512_fmadd_ps(p, r, _mm512_set1_ps(4.1665795894e-2f));
    p = _mm512_fmadd_ps(p, r, _mm512_set1_ps(1.6666665459e-1f));
    p = _mm512_fmadd_ps(p, r, _mm512_set1_ps(5.0000001201e-1f));
    __m512 y = _mm512_fmadd_ps(p, _mm512_mul_ps(r, r), r);
    y = _mm512_add_ps(y, _mm512_set1_ps(1.0f));
    // The results of lanes with n <= -126 (y lies in [0.7, 1.42], so they are below 2^-125.5)
    // are built in integer lanes, since a floating-point result below the normal range costs a
    // microcode assist per lane on many processors:
    // y 2^(n + 149) is exact and normal, and rounded to an integer (to nearest, ties to even)
    // it is the result's encoding in units of 2^-149, a subnormal's or, from 2^23, that of a
    // normal number of the lowest exponent. The same single rounding as scalef; neither path
    // sees the other's exponents, so no lane ever makes a subnormal. A vector without such a
    // lane takes the plain scaling alone.
    const __m512 lowest = _mm512_set1_ps(-125.0f);
    const __mmask16 tiny = _mm512_cmp_ps_mask(n, lowest, _CMP_LT_OQ);
    if (!tiny) return _mm512_scalef_ps(y, n);
    const __m512 big = _mm512_scalef_ps(y, _mm512_max_ps(n, lowest));  // NaN n: -125, y is NaN
    const __m512 units = _mm512_scalef_ps(y, _mm512_add_ps(_mm512_min_ps(n, lowest), _mm512_set1_ps(149.0f)));
    const __m512i bits = _mm512_cvt_roundps_epi32(units, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    return _mm512_mask_mov_ps(big, tiny, _mm512_castsi512_ps(bits));
}

// ln x. ln 0 = -inf, ln of a negative number (or -inf) = NaN, ln +inf = +inf, NaN stays NaN;
// subnormal inputs are exact inputs like any other.
inline __m512 ownsLn16f(__m512 x) {
    __m512 m = _mm512_getmant_ps(x, _MM_MANT_NORM_1_2, _MM_MANT_SIGN_zero);  // |x| = m 2^e, m in [1, 2)
    __m512 e = _mm512_getexp_ps(x);
    __mmask16 big = _mm512_cmp_ps_mask(m, _mm512_set1_ps(1.41421356237f), _CMP_GT_OQ);
    m = _mm512_mask_mul_ps(m, big, m, _mm512_set1_ps(0.5f));  // m in [sqrt(1/2), sqrt(2)]
    e = _mm512_mask_add_ps(e, big, e, _mm512_set1_ps(1.0f));
    __m512 f = _mm512_sub_ps(m, _mm512_set1_ps(1.0f));  // exact
    __m512 z = _mm512_mul_ps(f, f);
    __m512 p = _mm512_set1_ps(7.0376836292e-2f);
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(-1.1514610310e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(1.1676998740e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(-1.2420140846e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(1.4249322787e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(-1.6668057665e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(2.0000714765e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(-2.4999993993e-1f));
    p = _mm512_fmadd_ps(p, f, _mm512_set1_ps(3.3333331174e-1f));
    // ln m = f - f^2/2 + f^3 p(f); e ln 2 split in two so that e * hi is exact
    __m512 y = _mm512_mul_ps(_mm512_mul_ps(p, f), z);
    y = _mm512_fmadd_ps(e, _mm512_set1_ps(-2.12194440e-4f), y);
    y = _mm512_fnmadd_ps(z, _mm512_set1_ps(0.5f), y);
    __m512 r = _mm512_add_ps(f, y);
    r = _mm512_fmadd_ps(e, _mm512_set1_ps(0.693359375f), r);
    const __m512 inf = _mm512_set1_ps(__builtin_inff());
    r = _mm512_mask_mov_ps(r, _mm512_cmp_ps_mask(x, _mm512_setzero_ps(), _CMP_EQ_OQ), _mm512_sub_ps(_mm512_setzero_ps(), inf));
    r = _mm512_mask_mov_ps(r, _mm512_cmp_ps_mask(x, _mm512_setzero_ps(), _CMP_LT_OQ), _mm512_set1_ps(__builtin_nanf("")));
    r = _mm512_mask_mov_ps(r, _mm512_cmp_ps_mask(x, inf, _CMP_EQ_OQ), inf);
    r = _mm512_mask_add_ps(r, _mm512_cmp_ps_mask(x, x, _CMP_UNORD_Q), x, x);  // quiet NaN of the input
    return r;
}

}  // namespace zel
