// Row kernels of the type conversions (Convert, Scale, ScaleC). Every rule works on blocks of
// 16 samples held in 32-bit lanes: integers widened to int32 (VI) or uint32 (VU), floats (VF),
// doubles in two halves (VD). A sample type loads into its natural lanes, a rule maps lanes to
// the destination's natural lanes, and the store narrows them (the saturating vpmov[u]sdb and
// vpmov[u]sdw are AVX-512F, their masked forms to memory included). A row runs in whole blocks and ends with one block
// whose loads stop at the row's end and whose stores are masked; AC4 rows mask the fourth
// sample of every pixel out of every store, so the destination's alpha is never written.
//
// Rounding never depends on the caller's floating-point environment: every rounding operation
// names its rounding (embedded rounding), and the image walk runs under FpNear, which sets the
// control register to its defaults (round to nearest, no flush to zero, exceptions masked) and
// restores the caller's register, status flags included, afterwards.
#pragma once

// The widening and narrowing intrinsics inlined here pass an undefined operand that GCC 12
// reports as used uninitialised (the maybe form is off for the whole library); the warning
// has to be off before the intrinsic headers.
#pragma GCC diagnostic ignored "-Wuninitialized"

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include <limits>
#include <type_traits>

#include <algorithm>

#include "frame/zel_internal.h"
#include "kernels/copy_engine.h"
#include "kernels/vector_halves.h"

namespace zel::cvt {

constexpr int kRN = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;
constexpr int kRZ = _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC;

// The three integer roundings: 0 truncates, 1 rounds half to even, every other value rounds
// half away from zero (the financial rule).
enum class Rnd { Zero, Near, Fin };
inline Rnd round_rule(int mode) { return mode == 0 ? Rnd::Zero : mode == 1 ? Rnd::Near : Rnd::Fin; }

struct FpNear {
    unsigned saved;
    FpNear() : saved(_mm_getcsr()) { _mm_setcsr(0x1F80); }
    ~FpNear() { _mm_setcsr(saved); }
    FpNear(const FpNear&) = delete;
};

struct VI { __m512i v; };       // 16 signed 32-bit integers
struct VU { __m512i v; };       // 16 unsigned 32-bit integers
struct VF { __m512 v; };        // 16 floats
struct VD { __m512d lo, hi; };  // 16 doubles: samples 0-7 and 8-15

template <typename T> struct LanesOf { using type = VI; };
template <> struct LanesOf<uint32_t> { using type = VU; };
template <> struct LanesOf<float> { using type = VF; };
template <> struct LanesOf<double> { using type = VD; };
template <typename T> using Lanes = typename LanesOf<T>::type;

template <typename T> constexpr bool kFloat = std::is_floating_point_v<T>;
template <typename T> constexpr double kLo = (double)std::numeric_limits<T>::lowest();
template <typename T> constexpr double kHi = (double)std::numeric_limits<T>::max();

inline __mmask16 first(int m) { return (__mmask16)((1u << m) - 1); }

// ---- loads and stores of 16 samples ----------------------------------------------------------

template <typename T>
Lanes<T> load16(const T* p) {
    if constexpr (std::is_same_v<T, uint8_t>) return {_mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)p))};
    else if constexpr (std::is_same_v<T, int8_t>) return {_mm512_cvtepi8_epi32(_mm_loadu_si128((const __m128i*)p))};
    else if constexpr (std::is_same_v<T, uint16_t>) return {_mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)p))};
    else if constexpr (std::is_same_v<T, int16_t>) return {_mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)p))};
    else if constexpr (sizeof(T) == 4 && !kFloat<T>) return {_mm512_loadu_si512(p)};
    else if constexpr (std::is_same_v<T, float>) return {_mm512_loadu_ps(p)};
    else return {_mm512_loadu_pd(p), _mm512_loadu_pd(p + 8)};
}

// The first m (1..15) samples at p; the other lanes hold zeros. Nothing past p + m is read.
template <typename T>
Lanes<T> load_part(const T* p, int m) {
    if constexpr (sizeof(T) <= 2) {
        T b[16] = {};
        memcpy(b, p, (size_t)m * sizeof(T));
        return load16(b);
    } else if constexpr (sizeof(T) == 4 && !kFloat<T>) {
        return {_mm512_maskz_loadu_epi32(first(m), p)};
    } else if constexpr (std::is_same_v<T, float>) {
        return {_mm512_maskz_loadu_ps(first(m), p)};
    } else {
        __mmask16 k = first(m);
        return {_mm512_maskz_loadu_pd((__mmask8)k, p), _mm512_maskz_loadu_pd((__mmask8)(k >> 8), p + 8)};
    }
}

// The integer lanes narrowed to the 8- or 16-bit type T with the saturating conversions, which
// read the lanes as unsigned for an unsigned T: a lane with the sign bit set then saturates to
// T's maximum, so lanes need only be non-negative for an unsigned T.
template <typename T>
auto narrow_lanes(__m512i v) {
    if constexpr (std::is_same_v<T, uint8_t>) return _mm512_cvtusepi32_epi8(v);
    else if constexpr (std::is_same_v<T, int8_t>) return _mm512_cvtsepi32_epi8(v);
    else if constexpr (std::is_same_v<T, uint16_t>) return _mm512_cvtusepi32_epi16(v);
    else return _mm512_cvtsepi32_epi16(v);
}
template <typename T>
void narrow_store(T* p, __mmask16 k, __m512i v) {
    if constexpr (std::is_same_v<T, uint8_t>) _mm512_mask_cvtusepi32_storeu_epi8(p, k, v);
    else if constexpr (std::is_same_v<T, int8_t>) _mm512_mask_cvtsepi32_storeu_epi8(p, k, v);
    else if constexpr (std::is_same_v<T, uint16_t>) _mm512_mask_cvtusepi32_storeu_epi16(p, k, v);
    else _mm512_mask_cvtsepi32_storeu_epi16(p, k, v);
}

// Stores the samples of the lanes selected by k (all 16 when k is 0xFFFF); integer lanes hold
// values of the destination's range, or for an unsigned 8- or 16-bit destination any
// non-negative value (saturated by the store).
template <typename T, class L>
void store16(T* p, const L& x, __mmask16 k) {
    if constexpr (sizeof(T) == 1) {
        if (k == 0xFFFF) _mm_storeu_si128((__m128i*)p, narrow_lanes<T>(x.v));
        else narrow_store(p, k, x.v);
    } else if constexpr (sizeof(T) == 2) {
        if (k == 0xFFFF) _mm256_storeu_si256((__m256i*)p, narrow_lanes<T>(x.v));
        else narrow_store(p, k, x.v);
    } else if constexpr (sizeof(T) == 4 && !kFloat<T>) {
        _mm512_mask_storeu_epi32(p, k, x.v);
    } else if constexpr (std::is_same_v<T, float>) {
        _mm512_mask_storeu_ps(p, k, x.v);
    } else {
        _mm512_mask_storeu_pd(p, (__mmask8)k, x.lo);
        _mm512_mask_storeu_pd(p + 8, (__mmask8)(k >> 8), x.hi);
    }
}

// ---- lanes to lanes ----------------------------------------------------------------------------

inline __m512i join(__m256i lo, __m256i hi) { return ownsJoin256(lo, hi); }
inline __m512 join(__m256 lo, __m256 hi) {
    return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_castps_pd(lo)), _mm256_castps_pd(hi), 1));
}

// To floats, rounded to nearest where the value has more digits than a float.
inline VF to_f(VI x) { return {_mm512_cvt_roundepi32_ps(x.v, kRN)}; }
inline VF to_f(VU x) { return {_mm512_cvt_roundepu32_ps(x.v, kRN)}; }
inline VF to_f(VF x) { return x; }
inline VF to_f(VD x) { return {join(_mm512_cvt_roundpd_ps(x.lo, kRN), _mm512_cvt_roundpd_ps(x.hi, kRN))}; }

// To doubles: exact.
inline VD to_d(VI x) {
    return {_mm512_cvtepi32_pd(_mm512_castsi512_si256(x.v)), _mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(x.v, 1))};
}
inline VD to_d(VU x) {
    return {_mm512_cvtepu32_pd(_mm512_castsi512_si256(x.v)), _mm512_cvtepu32_pd(_mm512_extracti64x4_epi64(x.v, 1))};
}
inline VD to_d(VF x) {
    return {_mm512_cvtps_pd(_mm512_castps512_ps256(x.v)),
            _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(x.v), 1)))};
}
inline VD to_d(VD x) { return x; }

// Integer lanes saturated to the range of T.
template <typename T>
__m512i sat_int(VI x) {
    __m512i v = x.v;
    if constexpr (kLo<T> > (double)INT32_MIN) v = _mm512_max_epi32(v, _mm512_set1_epi32((int32_t)kLo<T>));
    if constexpr (kHi<T> < (double)INT32_MAX) v = _mm512_min_epi32(v, _mm512_set1_epi32((int32_t)kHi<T>));
    return v;
}
template <typename T>
__m512i sat_int(VU x) {
    if constexpr (kHi<T> < (double)UINT32_MAX) return _mm512_min_epu32(x.v, _mm512_set1_epi32((int32_t)(int64_t)kHi<T>));
    else return x.v;
}

// The value a NaN converts to: 0, or the destination maximum in the financial rule (which
// clamps to the maximum before it rounds, and the clamp takes the maximum for a NaN).
template <typename T, Rnd R>
constexpr double nan_value() { return R == Rnd::Fin ? kHi<T> : 0; }

// Floats rounded by R and saturated to the integer type T (for an unsigned 8- or 16-bit T only
// made non-negative, the store saturating the rest); NaN as nan_value. The financial rule adds
// 0.5 with the value's sign, rounded to nearest in the source's own precision, and truncates:
// halves go away from zero. That one addition is the whole rule, so a float just below a half
// whose sum rounds up to the next integer (0.49999997 + 0.5) goes up too, and an odd integer
// between 2^23 and 2^24 becomes the even one above or below it, as the addition rounds.
template <Rnd R>
__m512 round_f(__m512 x) {
    if constexpr (R == Rnd::Zero) return _mm512_roundscale_ps(x, kRZ);
    else if constexpr (R == Rnd::Near) return _mm512_roundscale_ps(x, kRN);
    const __m512i sign = _mm512_and_si512(_mm512_castps_si512(x), _mm512_set1_epi32(INT32_MIN));
    const __m512 h = _mm512_castsi512_ps(_mm512_or_si512(sign, _mm512_set1_epi32(0x3F000000)));
    return _mm512_roundscale_ps(_mm512_add_round_ps(x, h, kRN), kRZ);
}
template <Rnd R>
__m512d round_d(__m512d x) {
    if constexpr (R == Rnd::Zero) return _mm512_roundscale_pd(x, kRZ);
    else if constexpr (R == Rnd::Near) return _mm512_roundscale_pd(x, kRN);
    const __m512i sign = _mm512_and_si512(_mm512_castpd_si512(x), _mm512_set1_epi64(INT64_MIN));
    const __m512d h = _mm512_castsi512_pd(_mm512_or_si512(sign, _mm512_set1_epi64(0x3FE0000000000000ll)));
    return _mm512_roundscale_pd(_mm512_add_round_pd(x, h, kRN), kRZ);
}

template <typename T, Rnd R>
__m512i round_int(VF x) {
    if constexpr (sizeof(T) < 4) {
        const __m512 lo = _mm512_set1_ps((float)kLo<T>), hi = _mm512_set1_ps((float)kHi<T>);
        if constexpr (R == Rnd::Fin) {  // min(NaN, hi) is hi: the clamp comes first
            __m512 v = _mm512_max_ps(_mm512_min_ps(x.v, hi), lo);
            const __m512i sign = _mm512_and_si512(_mm512_castps_si512(v), _mm512_set1_epi32(INT32_MIN));
            v = _mm512_add_round_ps(v, _mm512_castsi512_ps(_mm512_or_si512(sign, _mm512_set1_epi32(0x3F000000))), kRN);
            return _mm512_cvt_roundps_epi32(v, kRZ);
        }
        __m512 v;
        if constexpr (kLo<T> == 0) {  // max(NaN, 0) is 0; the store saturates the rest
            v = _mm512_max_ps(x.v, lo);
        } else {
            const __mmask16 ord = _mm512_cmp_ps_mask(x.v, x.v, _CMP_ORD_Q);
            v = _mm512_maskz_mov_ps(ord, _mm512_min_ps(_mm512_max_ps(x.v, lo), hi));
        }
        return _mm512_cvt_roundps_epi32(v, R == Rnd::Zero ? kRZ : kRN);
    }
    const __mmask16 ord = _mm512_cmp_ps_mask(x.v, x.v, _CMP_ORD_Q);
    __m512 r = _mm512_mask_mov_ps(_mm512_set1_ps((float)nan_value<T, R>()), ord, round_f<R>(x.v));
    if constexpr (std::is_same_v<T, int32_t>) {  // 2^31 and above: the maximum
        __m512i i = _mm512_cvttps_epi32(_mm512_max_ps(r, _mm512_set1_ps(-0x1p31f)));
        return _mm512_mask_mov_epi32(i, _mm512_cmp_ps_mask(r, _mm512_set1_ps(0x1p31f), _CMP_GE_OQ),
                                     _mm512_set1_epi32(INT32_MAX));
    } else {  // uint32: the conversion itself gives 2^32 - 1 from 2^32 on
        return _mm512_cvttps_epu32(_mm512_max_ps(r, _mm512_setzero_ps()));
    }
}

// The same for doubles; every limit of a 32-bit type is a double.
template <typename T, Rnd R>
__m256i round_int(__m512d x) {
    const __mmask8 ord = _mm512_cmp_pd_mask(x, x, _CMP_ORD_Q);
    __m512d r = _mm512_mask_mov_pd(_mm512_set1_pd((double)nan_value<T, R>()), ord, round_d<R>(x));
    r = _mm512_min_pd(_mm512_max_pd(r, _mm512_set1_pd(kLo<T>)), _mm512_set1_pd(kHi<T>));
    if constexpr (std::is_same_v<T, uint32_t>) return _mm512_cvttpd_epu32(r);
    else return _mm512_cvttpd_epi32(r);
}
template <typename T, Rnd R>
__m512i round_int(VD x) {
    return join(round_int<T, R>(x.lo), round_int<T, R>(x.hi));
}

// Lanes converted to the natural lanes of T as a plain conversion does: integers saturate,
// floating point rounds half to even and saturates into integers, NaN gives 0.
template <typename T, class L>
Lanes<T> narrow(const L& x) {
    if constexpr (std::is_same_v<T, float>) return to_f(x);
    else if constexpr (std::is_same_v<T, double>) return to_d(x);
    else if constexpr (std::is_same_v<L, VF> || std::is_same_v<L, VD>) return {round_int<T, Rnd::Near>(x)};
    else return {sat_int<T>(x)};
}

// ---- powers of two -----------------------------------------------------------------------------

// 2^e as a float, exactly, for -149 <= e <= 127.
inline float pow2f(int e) {
    uint32_t b = e >= -126 ? (uint32_t)(e + 127) << 23 : 1u << (e + 149);
    float f;
    memcpy(&f, &b, 4);
    return f;
}
inline double pow2d(int e) {
    uint64_t b = e >= -1022 ? (uint64_t)(e + 1023) << 52 : 1ull << (e + 1074);
    double f;
    memcpy(&f, &b, 8);
    return f;
}

// The factor 2^-scaleFactor as two exact powers of two whose product the value is multiplied
// by in turn: the result is exact wherever it is a normal number; a result too small for one
// rounds to 0 in every mode either way, one too large becomes infinite and saturates. The
// exponent is first limited to where no value of the type can leave that verdict.
template <typename F>
struct Pow2 {
    F a = 1, b = 1;
    explicit Pow2(int scaleFactor) {
        constexpr int lo = std::is_same_v<F, float> ? -149 : -1074, hi = std::is_same_v<F, float> ? 127 : 1023;
        int64_t e = -(int64_t)scaleFactor;
        e = e < lo ? lo : e > 2 * hi ? 2 * hi : e;
        auto p = [](int64_t v) { return std::is_same_v<F, float> ? (F)pow2f((int)v) : (F)pow2d((int)v); };
        if (e > hi) a = p(hi), b = p(e - hi);
        else a = p(e);
    }
};

// ---- row and image walking ---------------------------------------------------------------------

// 64 bytes of destination (64 / sizeof(D) samples, 1 to 4 blocks) from one run of op.
template <typename S, typename D, class Op>
__m512i convert64(const S* s, const Op& op) {
    if constexpr (sizeof(D) == 1) {
        __m512i r = _mm512_castsi128_si512(narrow_lanes<D>(op(load16(s)).v));
        r = _mm512_inserti32x4(r, narrow_lanes<D>(op(load16(s + 16)).v), 1);
        r = _mm512_inserti32x4(r, narrow_lanes<D>(op(load16(s + 32)).v), 2);
        return _mm512_inserti32x4(r, narrow_lanes<D>(op(load16(s + 48)).v), 3);
    } else if constexpr (sizeof(D) == 2) {
        return join(narrow_lanes<D>(op(load16(s)).v), narrow_lanes<D>(op(load16(s + 16)).v));
    } else if constexpr (std::is_same_v<D, float>) {
        return _mm512_castps_si512(op(load16(s)).v);
    } else {
        return op(load16(s)).v;
    }
}

// 32 samples of a 16-bit type saturated to 8 bits with the AVX2 packs.
template <typename S, typename D>
__m256i pack16to8(const S* s) {
    __m256i a = _mm256_loadu_si256((const __m256i*)s), b = _mm256_loadu_si256((const __m256i*)(s + 16));
    if constexpr (std::is_same_v<S, uint16_t>) {
        const __m256i top = _mm256_set1_epi16(std::is_same_v<D, uint8_t> ? 255 : 127);
        a = _mm256_min_epu16(a, top), b = _mm256_min_epu16(b, top);
    }
    __m256i r = std::is_same_v<D, uint8_t> ? _mm256_packus_epi16(a, b) : _mm256_packs_epi16(a, b);
    return _mm256_permute4x64_epi64(r, 0xD8);
}

// d[i] = op(s[i]) for n samples, in blocks of 16 (a whole 64-byte line of destination at a
// time where one fits); keep selects the samples of a block that are written (0x7777 for AC4
// rows, whose blocks start on pixel boundaries). The plain conversion of 16-bit into 8-bit
// integers runs as AVX2 packs.
template <typename D> struct OpConvert;
template <typename S, typename D, class Op>
void ownsConvertRow(const S* s, D* d, int64_t n, __mmask16 keep, const Op& op) {
    int64_t i = 0;
    if (keep == 0xFFFF) {
        if constexpr (std::is_same_v<Op, OpConvert<D>> && sizeof(S) == 2 && sizeof(D) == 1) {
            for (; i + 32 <= n; i += 32) _mm256_storeu_si256((__m256i*)(d + i), pack16to8<S, D>(s + i));
        } else if constexpr (sizeof(D) <= 4) {
            constexpr int64_t L = 64 / sizeof(D);
            for (; i + L <= n; i += L) _mm512_storeu_si512(d + i, convert64<S, D>(s + i, op));
        }
        for (; i + 16 <= n; i += 16) store16(d + i, op(load16(s + i)), 0xFFFF);
    } else {
        for (; i + 16 <= n; i += 16) store16(d + i, op(load16(s + i)), keep);
    }
    if (i < n) {
        const int m = (int)(n - i);
        store16(d + i, op(load_part(s + i, m)), (__mmask16)(keep & first(m)));
    }
}

// ownsConvertRow with non-temporal stores of whole 64-byte lines (destinations of at most 4
// bytes per sample at addresses that are multiples of the sample size): a head up to the
// first line boundary and the tail go through ownsConvertRow.
template <typename S, typename D, class Op>
void ownsConvertRowStream(const S* s, D* d, int64_t n, const Op& op) {
    constexpr int64_t L = 64 / sizeof(D);
    int64_t head = std::min<int64_t>(n, (int64_t)((64 - ((uintptr_t)d & 63)) & 63) / (int64_t)sizeof(D));
    ownsConvertRow(s, d, head, 0xFFFF, op);
    int64_t i = head;
    for (; i + L <= n; i += L) _mm512_stream_si512((__m512i*)(d + i), convert64<S, D>(s + i, op));
    ownsConvertRow(s + i, d + i, n - i, 0xFFFF, op);
}

// Runs op over h rows of n samples (n = width x samples per pixel), the rows advancing by the
// steps reduced to whole samples. When both steps are the packed row lengths and collapse
// allows it, the image is one row of n x h samples. Images that would only evict the caches
// are written with streaming stores.
template <typename S, typename D, class Op>
void ownsConvertImage(const S* s, int srcStep, D* d, int dstStep, int64_t n, int64_t h, bool ac4, bool collapse,
                      const Op& op) {
    FpNear fp;
    if (collapse && h > 1 && srcStep == n * (int64_t)sizeof(S) && dstStep == n * (int64_t)sizeof(D)) n *= h, h = 1;
    const __mmask16 keep = ac4 ? 0x7777 : 0xFFFF;
    if constexpr (sizeof(D) <= 4) {
        if (!ac4 && (uintptr_t)d % sizeof(D) == 0 &&
            ownsUseStreaming(n * h * (int64_t)(sizeof(S) + sizeof(D)))) {
            for (int64_t y = 0; y < h; ++y) ownsConvertRowStream(row(s, srcStep, y), row(d, dstStep, y), n, op);
            _mm_sfence();
            return;
        }
    }
    for (int64_t y = 0; y < h; ++y) ownsConvertRow(row(s, srcStep, y), row(d, dstStep, y), n, keep, op);
}

// ---- the rules ----------------------------------------------------------------------------------

// Plain conversion: widening exactly, narrowing with saturation, into floats rounded to nearest,
// from floating point rounded half to even (NaN to 0).
template <typename D>
struct OpConvert {
    template <class L>
    Lanes<D> operator()(const L& x) const { return narrow<D>(x); }
};

// From floating point (or, exactly, from integers through doubles) to the integer D: multiply by
// 2^-scaleFactor when Scaled, round by R, saturate.
template <typename F, typename D, Rnd R, bool Scaled>
struct OpRound {
    Pow2<F> p;
    explicit OpRound(int scaleFactor) : p(scaleFactor) {}
    template <class L>
    Lanes<D> operator()(const L& in) const {
        if constexpr (std::is_same_v<F, float>) {
            VF x = to_f(in);
            if constexpr (Scaled)
                x.v = _mm512_mul_round_ps(_mm512_mul_round_ps(x.v, _mm512_set1_ps(p.a), kRN), _mm512_set1_ps(p.b), kRN);
            return {round_int<D, R>(x)};
        } else {
            VD x = to_d(in);
            if constexpr (Scaled) {
                const __m512d a = _mm512_set1_pd(p.a), b = _mm512_set1_pd(p.b);
                x.lo = _mm512_mul_round_pd(_mm512_mul_round_pd(x.lo, a, kRN), b, kRN);
                x.hi = _mm512_mul_round_pd(_mm512_mul_round_pd(x.hi, a, kRN), b, kRN);
            }
            return {round_int<D, R>(x)};
        }
    }
};

// dst = saturate(roundHalfEven(src * mul + add)) with one fused multiply-add, in single
// precision (Accurate false: the source, mul and add are first rounded to floats) or double.
template <typename D, bool Accurate>
struct OpScaleC {
    __m512d md, ad;
    __m512 mf, af;
    OpScaleC(double mul, double add)
        : md(_mm512_set1_pd(mul)), ad(_mm512_set1_pd(add)),
          mf(_mm512_broadcastss_ps(_mm_cvt_roundsd_ss(_mm_setzero_ps(), _mm_set_sd(mul), kRN))),
          af(_mm512_broadcastss_ps(_mm_cvt_roundsd_ss(_mm_setzero_ps(), _mm_set_sd(add), kRN))) {}
    template <class L>
    Lanes<D> operator()(const L& in) const {
        if constexpr (Accurate) {
            VD x = to_d(in);
            return narrow<D>(VD{_mm512_fmadd_round_pd(x.lo, md, ad, kRN), _mm512_fmadd_round_pd(x.hi, md, ad, kRN)});
        } else {
            return narrow<D>(VF{_mm512_fmadd_round_ps(to_f(in).v, mf, af, kRN)});
        }
    }
};

// ---- checked image forms shared by the families -------------------------------------------------

// Samples per pixel of a layout: 1, 3, 4, or 5 for AC4 (four samples, the fourth untouched).
constexpr int kAC4 = 5;
constexpr int samples_of(int layout) { return layout == kAC4 ? 4 : layout; }

// The plain conversion of a type pair checks the steps (< 1) after the size when it narrows:
// integers into a smaller type, floating point into integers or into a smaller float.
template <typename S, typename D>
constexpr bool kNarrowing = (kFloat<S> && !kFloat<D>) || sizeof(D) < sizeof(S);

template <typename S, typename D, int L>
ZelStatus ownsConvertPlain(const S* s, int srcStep, D* d, int dstStep, ZeliSize roi) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if constexpr (kNarrowing<S, D>)
        if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    ownsConvertImage(s, srcStep, d, dstStep, (int64_t)roi.width * samples_of(L), roi.height, L == kAC4, true,
                     OpConvert<D>{});
    return zelStsNoErr;
}

}  // namespace zel::cvt
