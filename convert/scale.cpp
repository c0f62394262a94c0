// Scale: maps the whole range of the source type linearly onto the whole range of the
// destination type (for 32f, the caller's range [vMin, vMax]).
//
// From 8u the destination range is filled exactly by repeating the byte: 16u v * 0x0101, 16s
// v * 0x0101 - 32768, 32s v * 0x01010101 - 2^31; 32f v * q + vMin with q = (vMax - vMin) / 255
// (product and sum rounded separately).
// Into 8u, with the hint: the fast path (any hint but zelAlgHintAccurate) subtracts the
// sample's own high byte and keeps the high byte of the rest, t = s - (s >> 8),
// dst = (t >> (bits - 8)) + 128, with arithmetic shifts on the signed value (16u first offset
// by -32768, so it maps as the 16s value of the same rank). The accurate path rounds
// (s - typeMin) * k half to even: k the float nearest to 255 / 65535 and a single-precision
// product for 16-bit sources, the double nearest to 255 / (2^32 - 1) and a double product for
// 32s (which then is the exactly rounded quotient).
// 32f into 8u: dst = roundHalfEven(fma(k, src, b)) saturated, k = 255 / (vMax - vMin) and
// b = -(k * vMin) in single precision; NaN gives 0.
//
// Checks: for the 32f forms first vMax - vMin <= 0 in single precision (zelStsScaleRangeErr,
// before anything else), then pointers, size, steps (< 1).
#include "kernels/convert_type.h"

namespace {

using namespace zel;
using namespace zel::cvt;

// 8u into the integer D by repeating the byte.
template <typename D>
struct OpScaleFrom8u {
    Lanes<D> operator()(VI x) const {
        __m512i v = _mm512_or_si512(x.v, _mm512_slli_epi32(x.v, 8));
        if constexpr (std::is_same_v<D, Zel16s>) v = _mm512_sub_epi32(v, _mm512_set1_epi32(32768));
        if constexpr (std::is_same_v<D, Zel32s>)
            v = _mm512_xor_si512(_mm512_or_si512(v, _mm512_slli_epi32(v, 16)), _mm512_set1_epi32(INT32_MIN));
        return {v};
    }
};

struct OpScale8u32f {
    __m512 q, lo;
    VF operator()(VI x) const { return {_mm512_add_round_ps(_mm512_mul_round_ps(to_f(x).v, q, kRN), lo, kRN)}; }
};

template <typename S, bool Accurate>
struct OpScaleTo8u {
    VI operator()(VI x) const {
        constexpr int bits = sizeof(S) * 8;
        __m512i s = x.v;
        if constexpr (std::is_same_v<S, Zel16u>) s = _mm512_sub_epi32(s, _mm512_set1_epi32(32768));
        if constexpr (!Accurate) {
            __m512i t = _mm512_sub_epi32(s, _mm512_srai_epi32(s, 8));
            return {_mm512_add_epi32(_mm512_srai_epi32(t, bits - 8), _mm512_set1_epi32(128))};
        } else if constexpr (bits == 16) {
            const __m512 k = _mm512_set1_ps(255.0f / 65535.0f);
            __m512 u = _mm512_cvtepi32_ps(_mm512_add_epi32(s, _mm512_set1_epi32(32768)));
            return {_mm512_cvttps_epi32(_mm512_roundscale_ps(_mm512_mul_round_ps(u, k, kRN), kRN))};
        } else {
            const __m512d k = _mm512_set1_pd(255.0 / 4294967295.0), off = _mm512_set1_pd(0x1p31);
            VD v = to_d(x);
            auto half = [&](__m512d h) {
                return _mm512_cvttpd_epi32(_mm512_roundscale_pd(_mm512_mul_round_pd(_mm512_add_pd(h, off), k, kRN), kRN));
            };
            return {join(half(v.lo), half(v.hi))};
        }
    }
};

struct OpScale32f8u {
    __m512 k, b;
    VI operator()(VF x) const { return {round_int<Zel8u, Rnd::Near>(VF{_mm512_fmadd_round_ps(k, x.v, b, kRN)})}; }
};

template <typename S, typename D, int L>
ZelStatus checks(const S* s, int ss, D* d, int ds, ZeliSize roi) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ss < 1 || ds < 1) return zelStsStepErr;
    return zelStsNoErr;
}

template <int L, typename S, typename D, class Op>
ZelStatus run(const S* s, int ss, D* d, int ds, ZeliSize roi, bool collapse, const Op& op) {
    ZelStatus st = checks<S, D, L>(s, ss, d, ds, roi);
    if (st == zelStsNoErr)
        ownsConvertImage(s, ss, d, ds, (int64_t)roi.width * samples_of(L), roi.height, L == kAC4, collapse, op);
    return st;
}

inline bool collapsible(ZeliSize roi) { return (int64_t)roi.width * roi.height < kInt32Max; }

inline float sub_rn(float a, float b) { return _mm_cvtss_f32(_mm_sub_round_ss(_mm_set_ss(a), _mm_set_ss(b), kRN)); }
inline float div_rn(float a, float b) { return _mm_cvtss_f32(_mm_div_round_ss(_mm_set_ss(a), _mm_set_ss(b), kRN)); }
inline float mul_rn(float a, float b) { return _mm_cvtss_f32(_mm_mul_round_ss(_mm_set_ss(a), _mm_set_ss(b), kRN)); }

template <typename D, int L>
ZelStatus scale_from_8u(const Zel8u* s, int ss, D* d, int ds, ZeliSize roi) {
    return run<L>(s, ss, d, ds, roi, collapsible(roi), OpScaleFrom8u<D>{});
}

template <int L>
ZelStatus scale_8u32f(const Zel8u* s, int ss, Zel32f* d, int ds, ZeliSize roi, Zel32f vMin, Zel32f vMax) {
    if (vMax - vMin <= 0) return zelStsScaleRangeErr;
    const float q = div_rn(sub_rn(vMax, vMin), 255.0f);
    return run<L>(s, ss, d, ds, roi, collapsible(roi), OpScale8u32f{_mm512_set1_ps(q), _mm512_set1_ps(vMin)});
}

template <typename S, int L>
ZelStatus scale_to_8u(const S* s, int ss, Zel8u* d, int ds, ZeliSize roi, ZelHintAlgorithm hint) {
    if (hint == zelAlgHintAccurate) return run<L>(s, ss, d, ds, roi, collapsible(roi), OpScaleTo8u<S, true>{});
    return run<L>(s, ss, d, ds, roi, collapsible(roi), OpScaleTo8u<S, false>{});
}

template <int L>
ZelStatus scale_32f8u(const Zel32f* s, int ss, Zel8u* d, int ds, ZeliSize roi, Zel32f vMin, Zel32f vMax) {
    if (vMax - vMin <= 0) return zelStsScaleRangeErr;
    const float k = div_rn(255.0f, sub_rn(vMax, vMin)), b = -mul_rn(k, vMin);
    const bool collapse = roi.width <= 32768 && roi.height <= 32768;
    return run<L>(s, ss, d, ds, roi, collapse, OpScale32f8u{_mm512_set1_ps(k), _mm512_set1_ps(b)});
}

}  // namespace

#define ZEL_SCALE4(name, impl)                                 \
    ZEL_IMPL(zeliScale_##name##_C1R, impl<1>)                  \
    ZEL_IMPL(zeliScale_##name##_C3R, impl<3>)                  \
    ZEL_IMPL(zeliScale_##name##_C4R, impl<4>)                  \
    ZEL_IMPL(zeliScale_##name##_AC4R, impl<kAC4>)

template <int L> constexpr auto scale_8u16u = scale_from_8u<Zel16u, L>;
template <int L> constexpr auto scale_8u16s = scale_from_8u<Zel16s, L>;
template <int L> constexpr auto scale_8u32s = scale_from_8u<Zel32s, L>;
template <int L> constexpr auto scale_16u8u = scale_to_8u<Zel16u, L>;
template <int L> constexpr auto scale_16s8u = scale_to_8u<Zel16s, L>;
template <int L> constexpr auto scale_32s8u = scale_to_8u<Zel32s, L>;

ZEL_SCALE4(8u16u, scale_8u16u)
ZEL_SCALE4(8u16s, scale_8u16s)
ZEL_SCALE4(8u32s, scale_8u32s)
ZEL_SCALE4(8u32f, scale_8u32f)
ZEL_SCALE4(16u8u, scale_16u8u)
ZEL_SCALE4(16s8u, scale_16s8u)
ZEL_SCALE4(32s8u, scale_32s8u)
ZEL_SCALE4(32f8u, scale_32f8u)
