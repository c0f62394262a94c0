// DecimateFilterRow, DecimateFilterColumn: the width (Row) or the height (Column) reduced by
// the fraction p/q (fraction 0: 1/2, 1: 3/5, 2: 5/8, 3: 7/10, 4: 3/4) to floor(length * p / q)
// samples through a triangular low-pass filter, the linear interpolation kernel stretched to
// the output spacing q/p.
//
// Output sample k is centred at source position c = (k + 1/2) q/p - 1/2 and weights source
// sample t by max(0, 1 - |t - c| p/q). Scaled by 2q these weights are the integers
//
//   n(t) = 2q - |2p t - (2k + 1) q + p|,   for the t where n(t) > 0,
//
// and the result is sum n(t) s(t) / N with N = sum n(t): symmetric about c, summing to one.
// The taps repeat with period p in k (shifted by q source samples); 1/2, for instance, gives
// (1, 3, 3, 1) / 8 on samples 2k - 1 .. 2k + 2. A tap before the first or after the last
// source sample reads the edge sample.
//
// Arithmetic: acc = 0, then acc = fma(n(t), s(t), acc) in single precision in increasing t,
// then acc / N. For 8u every step is exact up to the division, so the result is the exact
// quotient rounded half to even.
//
// Checks, in order: a null pointer (-8), a step below 1 (-16), a width or height below 1 (-6),
// an unknown fraction (zelStsDecimateFractionErr, -212), a source too short to give one
// destination sample (-6).
#include <immintrin.h>
#include <math.h>

#include <algorithm>

#include "frame/zel_internal.h"
#include "kernels/convert_type.h"

namespace {

using namespace zel;

constexpr int kMaxTaps = 4;

// The taps of each phase k mod p, relative to the first source sample of its period.
struct Taps {
    int p, q;
    struct Phase {
        int count;
        int at[kMaxTaps];
        float weight[kMaxTaps];
        float sum;
    } phase[7];

    Taps(int p_, int q_) : p(p_), q(q_) {
        for (int k = 0; k < p; ++k) {
            Phase& ph = phase[k];
            ph.count = 0;
            int sum = 0;
            for (int t = -q; t <= 2 * q; ++t) {
                int d = 2 * p * t - (2 * k + 1) * q + p, n = 2 * q - (d < 0 ? -d : d);
                if (n <= 0) continue;
                ph.at[ph.count] = t, ph.weight[ph.count] = (float)n, ++ph.count;
                sum += n;
            }
            ph.sum = (float)sum;
        }
    }
    // Source sample of tap i for output sample k, the edge sample past either end.
    int64_t source(int64_t k, int i, int64_t len) const {
        int64_t t = k / p * q + phase[k % p].at[i];
        return t < 0 ? 0 : t >= len ? len - 1 : t;
    }
};

constexpr int kFractions[5][2] = {{1, 2}, {3, 5}, {5, 8}, {7, 10}, {3, 4}};

template <typename T>
inline T finish(float v) {
    if constexpr (std::is_same_v<T, float>) return v;
    else {
        int r = _mm_cvt_roundss_si32(_mm_set_ss(v), cvt::kRN);
        return (T)std::clamp(r, 0, 255);
    }
}

template <typename T, int C>
void decimate_row(const T* s, T* d, const Taps& taps, int64_t len, int64_t out) {
    for (int64_t k = 0; k < out; ++k) {
        const auto& ph = taps.phase[k % taps.p];
        int64_t at[kMaxTaps];
        for (int i = 0; i < ph.count; ++i) at[i] = taps.source(k, i, len) * C;
        for (int c = 0; c < C; ++c) {
            float acc = 0.0f;
            for (int i = 0; i < ph.count; ++i) acc = fmaf(ph.weight[i], (float)s[at[i] + c], acc);
            d[k * C + c] = finish<T>(acc / ph.sum);
        }
    }
}

// One destination row from the source rows of one output sample's taps, 16 samples at a time.
template <typename T>
void decimate_column_row(const T* const* rows, const float* weight, int count, float sum, T* d, int64_t n) {
    const __m512 vs = _mm512_set1_ps(sum);
    for (int64_t i = 0; i < n; i += 16) {
        int m = (int)std::min<int64_t>(16, n - i);
        __m512 acc = _mm512_setzero_ps();
        for (int t = 0; t < count; ++t) {
            const T* p = rows[t] + i;
            __m512 x = cvt::to_f(m == 16 ? cvt::load16(p) : cvt::load_part(p, m)).v;
            acc = _mm512_fmadd_ps(_mm512_set1_ps(weight[t]), x, acc);
        }
        cvt::store16(d + i, cvt::narrow<T>(cvt::VF{_mm512_div_ps(acc, vs)}), cvt::first(m));
    }
}

template <bool Column>
ZelStatus decimate_checks(const void* pSrc, int srcStep, ZeliSize roi, const void* pDst, int dstStep, int fraction,
                          int64_t* out) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (fraction < 0 || fraction > 4) return zelStsDecimateFractionErr;
    *out = (int64_t)(Column ? roi.height : roi.width) * kFractions[fraction][0] / kFractions[fraction][1];
    return *out < 1 ? zelStsSizeErr : zelStsNoErr;
}

template <typename T, int C>
ZelStatus decimate_row_image(const T* pSrc, int srcStep, ZeliSize roi, T* pDst, int dstStep, int fraction) {
    int64_t out;
    if (ZelStatus st = decimate_checks<false>(pSrc, srcStep, roi, pDst, dstStep, fraction, &out)) return st;
    const Taps taps(kFractions[fraction][0], kFractions[fraction][1]);
    cvt::FpNear fp;
    for (int64_t y = 0; y < roi.height; ++y)
        decimate_row<T, C>(row(pSrc, srcStep, y), row(pDst, dstStep, y), taps, roi.width, out);
    return zelStsNoErr;
}

template <typename T, int C>
ZelStatus decimate_column_image(const T* pSrc, int srcStep, ZeliSize roi, T* pDst, int dstStep, int fraction) {
    int64_t out;
    if (ZelStatus st = decimate_checks<true>(pSrc, srcStep, roi, pDst, dstStep, fraction, &out)) return st;
    const Taps taps(kFractions[fraction][0], kFractions[fraction][1]);
    cvt::FpNear fp;
    for (int64_t k = 0; k < out; ++k) {
        const auto& ph = taps.phase[k % taps.p];
        const T* rows[kMaxTaps];
        for (int i = 0; i < ph.count; ++i) rows[i] = row(pSrc, srcStep, taps.source(k, i, roi.height));
        decimate_column_row(rows, ph.weight, ph.count, ph.sum, row(pDst, dstStep, k), (int64_t)roi.width * C);
    }
    return zelStsNoErr;
}

}  // namespace

#define ZEL_DECIMATE(t, T, C)                                                    \
    ZEL_IMPL(zeliDecimateFilterRow_##t##_C##C##R, decimate_row_image<T, C>)       \
    ZEL_IMPL(zeliDecimateFilterColumn_##t##_C##C##R, decimate_column_image<T, C>)
ZEL_DECIMATE(8u, Zel8u, 1)
ZEL_DECIMATE(8u, Zel8u, 3)
ZEL_DECIMATE(8u, Zel8u, 4)
ZEL_DECIMATE(32f, Zel32f, 1)
ZEL_DECIMATE(32f, Zel32f, 3)
ZEL_DECIMATE(32f, Zel32f, 4)
