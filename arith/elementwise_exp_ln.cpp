// Exp and Ln: natural exponential and logarithm per sample. 32f: vectorised single precision
// within 1 ulp (kernels/logic_math.h); ln 0 = -inf, ln of a negative sample = NaN. Integer
// forms: the real result times 2^-scaleFactor, rounded half to even and saturated; Ln of a
// sample <= 0 gives the type minimum (0 for 8u, -32768 for 16s). No warning is returned.
// Checks: pointers, size, then steps.
//
// Integer results are computed in double. The only exact ties are exp(0) and ln(1) (every
// other value is transcendental), but a value may come close to a tie: when the scaled double
// lies within 2^-24 (relative) of a half-integer, it is recomputed in long double (64-bit
// mantissa), whose error is far below any distance that matters at 16-bit results.
#include <math.h>

#include "frame/zel_internal.h"
#include "kernels/logic_math.h"
#include "kernels/logic_stream.h"
#include "kernels/logic_unary.h"

namespace {

using namespace zel;

inline bool near_tie(double v) {
    double f = v - floor(v);
    return fabs(f - 0.5) <= fabs(v) * 0x1p-24;
}

// The rounded, saturated e^x 2^-sf.
inline int64_t exp_scaled(int x, int sf, int64_t lo, int64_t hi) {
    // Screen with log2 of the result: beyond these bounds it is below 1/4 or above 2^17.
    double l2 = x * 1.4426950408889634 - sf;
    if (l2 < -2) return lo < 0 ? 0 : lo;
    if (l2 > 17) return hi;
    // Here x - sf ln 2 lies in [-1.4, 11.8]; x and sf can still be large together.
    auto reduced = [=] { return (long double)x - (long double)sf * 0.693147180559945309417232121458176568L; };
    double v = (x > -700 && x < 700 && sf > -64 && sf < 64) ? ldexp(exp((double)x), -sf) : exp((double)reduced());
    if (near_tie(v)) {
        long double w = expl(reduced());
        return w >= (long double)hi ? hi : (int64_t)__builtin_roundevenl(w);
    }
    return ownsRoundSat(v, lo, hi);
}

inline int64_t ln_scaled(int x, int sf, int64_t lo, int64_t hi) {
    if (x <= 0) return lo;
    double v = ldexp(log((double)x), -sf);  // sf clamped by the caller
    if (near_tie(v)) {
        long double w = ldexpl(logl((long double)x), -sf);
        return w >= (long double)hi ? hi : (int64_t)__builtin_roundevenl(w);
    }
    return ownsRoundSat(v, lo, hi);
}

template <typename T, bool Ln, int C>
ZelStatus exp_ln_sfs(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, int scaleFactor) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    constexpr int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    if constexpr (Ln) {
        // ln of a 16-bit sample lies in [0, 10.4]: beyond +-64 every scale acts as +-64.
        const int sf = scaleFactor < -64 ? -64 : scaleFactor > 64 ? 64 : scaleFactor;
        ownsUnaryScalar<T, C, false>(pSrc, srcStep, pDst, dstStep, roi, [=](T x) { return (T)ln_scaled(x, sf, lo, hi); });
    } else {
        // |x| <= 32768: beyond +-60000 every scale acts as +-60000.
        const int sf = scaleFactor < -60000 ? -60000 : scaleFactor > 60000 ? 60000 : scaleFactor;
        ownsUnaryScalar<T, C, false>(pSrc, srcStep, pDst, dstStep, roi, [=](T x) { return (T)exp_scaled(x, sf, lo, hi); });
    }
    return zelStsNoErr;
}

template <typename T, bool Ln, int C>
ZelStatus exp_ln_sfs_i(T* pSrcDst, int srcDstStep, ZeliSize roi, int scaleFactor) {
    return exp_ln_sfs<T, Ln, C>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi, scaleFactor);
}

template <bool Ln>
struct ExpLn32fOp {
    static constexpr bool kHeavy = true;
    __m512i operator()(__m512i x, __m512i, int) const {
        __m512 v = _mm512_castsi512_ps(x);
        return _mm512_castps_si512(Ln ? ownsLn16f(v) : ownsExp16f(v));
    }
};

template <bool Ln, int C>
ZelStatus exp_ln_32f(const Zel32f* pSrc, int srcStep, Zel32f* pDst, int dstStep, ZeliSize roi) {
    if (ZelStatus st = ownsCheckElementwise(roi, srcStep, dstStep, pSrc, pDst)) return st;
    ownsStreamUnary<4, C, false>(ExpLn32fOp<Ln>{}, pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
    return zelStsNoErr;
}

template <bool Ln, int C>
ZelStatus exp_ln_32f_i(Zel32f* pSrcDst, int srcDstStep, ZeliSize roi) {
    return exp_ln_32f<Ln, C>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roi);
}

}  // namespace

#define ZEL_EXP_LN(name, Ln)                                                \
    ZEL_IMPL(zeli##name##_8u_C1RSfs, exp_ln_sfs<Zel8u, Ln, 1>)              \
    ZEL_IMPL(zeli##name##_8u_C3RSfs, exp_ln_sfs<Zel8u, Ln, 3>)              \
    ZEL_IMPL(zeli##name##_8u_C1IRSfs, exp_ln_sfs_i<Zel8u, Ln, 1>)           \
    ZEL_IMPL(zeli##name##_8u_C3IRSfs, exp_ln_sfs_i<Zel8u, Ln, 3>)           \
    ZEL_IMPL(zeli##name##_16s_C1RSfs, exp_ln_sfs<Zel16s, Ln, 1>)            \
    ZEL_IMPL(zeli##name##_16s_C3RSfs, exp_ln_sfs<Zel16s, Ln, 3>)            \
    ZEL_IMPL(zeli##name##_16s_C1IRSfs, exp_ln_sfs_i<Zel16s, Ln, 1>)         \
    ZEL_IMPL(zeli##name##_16s_C3IRSfs, exp_ln_sfs_i<Zel16s, Ln, 3>)         \
    ZEL_IMPL(zeli##name##_32f_C1R, exp_ln_32f<Ln, 1>)                       \
    ZEL_IMPL(zeli##name##_32f_C3R, exp_ln_32f<Ln, 3>)                       \
    ZEL_IMPL(zeli##name##_32f_C1IR, exp_ln_32f_i<Ln, 1>)                    \
    ZEL_IMPL(zeli##name##_32f_C3IR, exp_ln_32f_i<Ln, 3>)

ZEL_EXP_LN(Exp, false)
ZEL_EXP_LN(Ln, true)
