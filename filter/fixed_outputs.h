// Output stages of the fixed-kernel filters: what turns the results of a filter's separable
// kernels into destination samples. Each stage has row(y, bx0, bx1, res) and direct<A>(y, bx0)
// as ownRunRowFirst and ownRunColumnFirst call them (filter/fixed_frame.h).
#pragma once

#include "filter/fixed_frame.h"

namespace zel {

// Destination image: C interleaved samples a pixel, of which the first Cw are written (AC4
// leaves the fourth alone).
template <typename D>
struct FixedDst {
    D* p;
    int64_t step;
    D* row(int64_t y) const { return zel::row(p, step, y); }
};

// The result itself, saturated to D.
template <typename D, int C, int Cw>
struct StoreOut {
    FixedDst<D> d;
    template <typename A>
    A* direct(int64_t y, int bx0) {
        if constexpr (std::is_same<A, D>::value && C == Cw) return d.row(y) + (int64_t)bx0 * C;
        else return nullptr;
    }
    template <typename A>
    void row(int64_t y, int bx0, int bx1, const A* const* res) {
        D* o = d.row(y) + (int64_t)bx0 * C;
        const A* r = res[0];
        const int64_t n = (int64_t)(bx1 - bx0) * C;
        if constexpr (C == Cw) {
            for (int64_t i = 0; i < n; ++i) o[i] = ownSat<D>(r[i]);
        } else {
            for (int64_t i = 0; i < n; i += C)
                for (int c = 0; c < Cw; ++c) o[i + c] = ownSat<D>(r[i + c]);
        }
    }
};

// Round half away from zero of num / den (den > 0), exactly.
inline int32_t ownDivRound(int32_t num, int32_t den) {
    const int32_t q = (2 * (num < 0 ? -num : num) + den) / (2 * den);
    return num < 0 ? -q : q;
}

// Filters of the centre pixel p and the sum S of the n samples of the mask (res[0]):
//   Laplace   n p - S                          float: fma(n, p, -S)
//   Sharpen   2 p - (S - p) / (n - 1)          float: fma(-1/(n - 1), S - p, 2 p)
//   Hipass    p - S / n                        float: fma(-1/n, S, p)
// Integer results of Sharpen and Hipass are ((2n - 1) p - S) / (n - 1) and (n p - S) / n
// rounded half away from zero; every integer result is saturated to D.
enum class CentreKind { Laplace, Sharpen, Hipass };

template <CentreKind K, typename S, typename D, int C, int Cw>
struct CentreOut {
    const S* src;
    int64_t srcStep;
    FixedDst<D> d;
    int n;  // 9 or 25
    template <typename A>
    A* direct(int64_t, int) { return nullptr; }

    static D one(S p, int32_t sum, int n) {
        if constexpr (K == CentreKind::Laplace) return ownSat<D>(n * (int32_t)p - sum);
        else if constexpr (K == CentreKind::Sharpen) return ownSat<D>(ownDivRound((2 * n - 1) * (int32_t)p - sum, n - 1));
        else return ownSat<D>(ownDivRound(n * (int32_t)p - sum, n));
    }
    static float one(float p, float sum, int n) {
        if constexpr (K == CentreKind::Laplace) return __builtin_fmaf((float)n, p, -sum);
        else if constexpr (K == CentreKind::Sharpen) return __builtin_fmaf(-1.0f / (float)(n - 1), sum - p, 2.0f * p);
        else return __builtin_fmaf(-1.0f / (float)n, sum, p);
    }
    template <typename A>
    void row(int64_t y, int bx0, int bx1, const A* const* res) {
        const int64_t o0 = (int64_t)bx0 * C, n0 = (int64_t)(bx1 - bx0) * C;
        const S* p = zel::row(src, srcStep, y) + o0;
        D* o = d.row(y) + o0;
        const A* r = res[0];
        const int nn = n;
        using V = typename std::conditional<std::is_same<A, float>::value, float, int32_t>::type;
        if constexpr (K == CentreKind::Laplace && sizeof(A) == 2 && C == Cw) {
            // 8u: n p - S fits 16 bits; clamped to 0..255 (unsigned saturating subtraction and packing).
            const int16_t w = (int16_t)nn;
            for (int64_t i = 0; i < n0; ++i) {
                const int16_t v = (int16_t)(w * (int16_t)p[i] - r[i]);
                if constexpr (sizeof(D) == 1) o[i] = (D)(v < 0 ? 0 : v > 255 ? 255 : v);
                else o[i] = (D)v;
            }
        } else if constexpr (C == Cw) {
            for (int64_t i = 0; i < n0; ++i) o[i] = (D)one((V)p[i], (V)r[i], nn);
        } else {
            for (int64_t i = 0; i < n0; i += C)
                for (int c = 0; c < Cw; ++c) o[i + c] = (D)one((V)p[i + c], (V)r[i + c], nn);
        }
    }
};

// ---- gradients -------------------------------------------------------------------------------

constexpr int kNormInf = 1, kNormL1 = 2, kNormL2 = 4;

inline bool ownNormOk(int norm) { return norm == kNormInf || norm == kNormL1 || norm == kNormL2; }

// Magnitude of (gx, gy) in single precision: max(|gx|, |gy|), |gx| + |gy|, or
// sqrt(fma(gx, gx, gy * gy)).
inline float ownMagnitude(float gx, float gy, int norm) {
    const float ax = __builtin_fabsf(gx), ay = __builtin_fabsf(gy);
    if (norm == kNormInf) return ax > ay ? ax : ay;
    if (norm == kNormL1) return ax + ay;
    return __builtin_sqrtf(__builtin_fmaf(gx, gx, gy * gy));
}

// Magnitude of integer derivatives, exact before rounding: the L2 norm is the square root of
// the integer sum of squares in double precision, rounded to nearest (no ties can occur).
inline int64_t ownMagnitudeKey(int32_t gx, int32_t gy, int norm) {
    const int64_t ax = gx < 0 ? -(int64_t)gx : gx, ay = gy < 0 ? -(int64_t)gy : gy;
    if (norm == kNormInf) return ax > ay ? ax : ay;
    if (norm == kNormL1) return ax + ay;
    return ax * ax + ay * ay;  // compared as the square
}
inline int32_t ownMagnitudeInt(int32_t gx, int32_t gy, int norm) {
    const int64_t k = ownMagnitudeKey(gx, gy, norm);
    const int64_t m = norm == kNormL2 ? (int64_t)(__builtin_sqrt((double)k) + 0.5) : k;
    return m > 0x7fffffff ? 0x7fffffff : (int32_t)m;
}

// atan2(y, x) in (-pi, pi], within 1e-6 radians of the exact angle, for n samples: the smaller
// of |x|, |y| over the larger (or, above tan(pi/8), (min - max) / (min + max) with pi/4 added), a
// degree-9 odd polynomial for the arc tangent, then the octant. y = 0 (either sign) gives 0 for
// x >= 0 and pi for x < 0; (0, 0) gives 0. Every sample, the masked tail too, takes this path.
inline void ownAtan2Row(const float* y, const float* x, float* out, int64_t n) {
    const __m512 zero = _mm512_setzero_ps();
    const __m512 one = _mm512_set1_ps(1.0f), tan8 = _mm512_set1_ps(0.41421356237f);
    auto one16 = [&](int64_t i, __mmask16 m) {
        const __m512 vx = _mm512_maskz_loadu_ps(m, x + i), vy = _mm512_maskz_loadu_ps(m, y + i);
        const __m512 ax = _mm512_abs_ps(vx), ay = _mm512_abs_ps(vy);
        const __m512 mx = _mm512_max_ps(ax, ay), mn = _mm512_min_ps(ax, ay);
        const __mmask16 big = _mm512_cmp_ps_mask(mn, _mm512_mul_ps(tan8, mx), _CMP_GT_OQ);
        const __m512 num = _mm512_mask_sub_ps(mn, big, mn, mx);
        __m512 den = _mm512_mask_add_ps(mx, big, mn, mx);
        den = _mm512_mask_blend_ps(_mm512_cmp_ps_mask(mx, zero, _CMP_GT_OQ), one, den);
        const __m512 t = _mm512_div_ps(num, den), z = _mm512_mul_ps(t, t);
        __m512 p = _mm512_fmadd_ps(_mm512_set1_ps(8.05374449538e-2f), z, _mm512_set1_ps(-1.38776856032e-1f));
        p = _mm512_fmadd_ps(p, z, _mm512_set1_ps(1.99777106478e-1f));
        p = _mm512_fmadd_ps(p, z, _mm512_set1_ps(-3.33329491539e-1f));
        __m512 r = _mm512_fmadd_ps(_mm512_mul_ps(p, z), t, t);
        r = _mm512_add_ps(r, _mm512_maskz_mov_ps(big, _mm512_set1_ps(0.78539816340f)));
        r = _mm512_mask_sub_ps(r, _mm512_cmp_ps_mask(ay, ax, _CMP_GT_OQ), _mm512_set1_ps(1.57079632679f), r);
        r = _mm512_mask_sub_ps(r, _mm512_cmp_ps_mask(vx, zero, _CMP_LT_OQ), _mm512_set1_ps(3.14159265359f), r);
        return _mm512_mask_sub_ps(r, _mm512_cmp_ps_mask(vy, zero, _CMP_LT_OQ), zero, r);
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) _mm512_storeu_ps(out + i, one16(i, 0xffff));
    if (i < n) {
        const __mmask16 m = (__mmask16)((1u << (n - i)) - 1);
        _mm512_mask_storeu_ps(out + i, m, one16(i, m));
    }
}

// Single-precision magnitudes of n samples (ownMagnitude), the L2 norm in 512-bit registers.
inline void ownMagnitudeRow(const float* x, const float* y, float* out, int64_t n, int norm) {
    if (norm != kNormL2) {
        for (int64_t i = 0; i < n; ++i) out[i] = ownMagnitude(x[i], y[i], norm);
        return;
    }
    auto one16 = [&](int64_t i, __mmask16 m) {
        const __m512 vx = _mm512_maskz_loadu_ps(m, x + i), vy = _mm512_maskz_loadu_ps(m, y + i);
        return _mm512_sqrt_ps(_mm512_fmadd_ps(vx, vx, _mm512_mul_ps(vy, vy)));
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) _mm512_storeu_ps(out + i, one16(i, 0xffff));
    if (i < n) {
        const __mmask16 m = (__mmask16)((1u << (n - i)) - 1);
        _mm512_mask_storeu_ps(out + i, m, one16(i, m));
    }
}

// The norm of the two Sobel derivatives (FilterSobel): D from results A (int16 or int32 exact,
// or float). Integer destinations round to nearest and saturate.
template <typename D>
struct NormOut {
    FixedDst<D> d;
    int norm;
    template <typename A>
    A* direct(int64_t, int) { return nullptr; }
    template <typename A>
    void row(int64_t y, int bx0, int bx1, const A* const* res) {
        D* o = d.row(y) + bx0;
        const A *gx = res[0], *gy = res[1];
        const int64_t n = bx1 - bx0;
        const int nt = norm;
        if constexpr (std::is_same<D, float>::value && std::is_same<A, float>::value) {
            ownMagnitudeRow(gx, gy, o, n, nt);
        } else {
            for (int64_t i = 0; i < n; ++i) {
                if constexpr (std::is_same<D, float>::value) o[i] = ownMagnitude((float)gx[i], (float)gy[i], nt);
                else o[i] = ownSat<D>(ownMagnitudeInt(gx[i], gy[i], nt));
            }
        }
    }
};

// The gradient vector: gx, gy, magnitude (D each, any of them null) and angle (float, or
// null), from the channel whose magnitude is largest (the first of equal ones).
template <typename D, int C>
struct GradientOut {
    FixedDst<D> gx, gy, mag;
    FixedDst<float> angle;
    int norm;
    template <typename A>
    A* direct(int64_t, int) { return nullptr; }
    template <typename A>
    void row(int64_t y, int bx0, int bx1, const A* const* res) {
        constexpr bool kFloat = std::is_same<D, float>::value;
        D* ox = gx.p ? gx.row(y) + bx0 : nullptr;
        D* oy = gy.p ? gy.row(y) + bx0 : nullptr;
        D* om = mag.p ? mag.row(y) + bx0 : nullptr;
        float* oa = angle.p ? angle.row(y) + bx0 : nullptr;
        const int64_t n = bx1 - bx0;
        const int nt = norm;
        const A *sx = res[0], *sy = res[1];
        alignas(64) A cx[C > 1 ? kBandElems : 1], cy[C > 1 ? kBandElems : 1];
        if constexpr (C > 1) {
            auto key = [&](A a, A b) {
                if constexpr (kFloat) return ownMagnitude((float)a, (float)b, nt);
                else return ownMagnitudeKey(a, b, nt);
            };
            for (int64_t i = 0; i < n; ++i) {
                A x = sx[i * C], v = sy[i * C];
                auto best = key(x, v);
                for (int c = 1; c < 3; ++c) {
                    const A a = sx[i * C + c], b = sy[i * C + c];
                    const auto k = key(a, b);
                    if (k > best) best = k, x = a, v = b;
                }
                cx[i] = x, cy[i] = v;
            }
            sx = cx, sy = cy;
        }
        if (ox)
            for (int64_t i = 0; i < n; ++i) ox[i] = (D)sx[i];
        if (oy)
            for (int64_t i = 0; i < n; ++i) oy[i] = (D)sy[i];
        // Single-precision derivatives for the magnitude and the angle.
        alignas(64) float fx[std::is_same<A, float>::value ? 1 : kBandElems], fy[std::is_same<A, float>::value ? 1 : kBandElems];
        const float *px, *py;
        if constexpr (std::is_same<A, float>::value) {
            px = sx, py = sy;
        } else {
            for (int64_t i = 0; i < n; ++i) fx[i] = (float)sx[i], fy[i] = (float)sy[i];
            px = fx, py = fy;
        }
        if (om) {
            if constexpr (kFloat) ownMagnitudeRow(px, py, om, n, nt);
            else
                for (int64_t i = 0; i < n; ++i) om[i] = ownSat<D>(ownMagnitudeInt(sx[i], sy[i], nt));
        }
        if (oa) ownAtan2Row(py, px, oa, n);
    }
};

}  // namespace zel
