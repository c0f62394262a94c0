// Compare, CompareC, CompareEqualEps, CompareEqualEpsC: one 8u byte per pixel, 255 where the
// relation holds on every processed channel of the pixel, 0 elsewhere. Greater-or-equal and
// greater are less-or-equal and less with the operands exchanged (the same for every input,
// NaN included: a comparison with NaN is false). Any operation value outside 0..4, negative
// ones included, is not an error: the call returns NoErr and writes nothing, as it does for
// values above 4. CompareEqualEps tests |a - b| <= eps in single precision (an infinite or NaN
// difference is never within eps). Checks: pointers, steps (< 1), size (< 1), then the
// operation or eps (negative: EpsValErr).
//
// Pixels go 16 at a time: each channel sample is widened to a 32-bit lane, compared into a
// mask bit, the bits of a pixel's channels are ANDed and gathered to one bit per pixel
// (BMI2 pext), and the 16 bits become 16 bytes. The last pixels of a row run the same code on
// a copy, with a masked store.
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"

#include <utility>

namespace {

using namespace zel;

template <typename T>
inline __m512i load16(const T* p) {
    if constexpr (sizeof(T) == 4) return _mm512_loadu_si512(p);
    if constexpr (std::is_same_v<T, Zel16s>) return _mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i*)p));
    if constexpr (std::is_same_v<T, Zel16u>) return _mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)p));
    if constexpr (sizeof(T) == 1) return _mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)p));
}

enum Rel { kLt, kLe, kEq, kEps };

// The relation on 16 widened samples; Swap exchanges the operands.
template <typename T, int R, bool Swap>
struct Cmp {
    static constexpr int rel = R;
    static constexpr bool swap = Swap;
    __m512 eps;
    __mmask16 operator()(__m512i a, __m512i b) const {
        if (Swap) std::swap(a, b);
        if constexpr (std::is_same_v<T, Zel32f>) {
            __m512 x = _mm512_castsi512_ps(a), y = _mm512_castsi512_ps(b);
            if constexpr (R == kEps) {
                __m512 d = _mm512_castsi512_ps(
                    _mm512_and_epi32(_mm512_castps_si512(_mm512_sub_ps(x, y)), _mm512_set1_epi32(0x7FFFFFFF)));
                return _mm512_cmp_ps_mask(d, eps, _CMP_LE_OQ);
            }
            return _mm512_cmp_ps_mask(x, y, R == kLt ? _CMP_LT_OQ : R == kLe ? _CMP_LE_OQ : _CMP_EQ_OQ);
        } else {
            return _mm512_cmp_epi32_mask(a, b, R == kLt ? _MM_CMPINT_LT : R == kLe ? _MM_CMPINT_LE : _MM_CMPINT_EQ);
        }
    }
};

// One bit per pixel of 16 pixels of C channels, W of them processed.
template <typename T, int C, int W, bool Two, class F>
inline uint32_t block(const F& f, const T* a, const T* b, const __m512i* pat) {
    uint64_t m = 0;
    for (int i = 0; i < C; ++i)
        m |= (uint64_t)f(load16(a + 16 * i), Two ? load16(b + 16 * i) : pat[i]) << (16 * i);
    if constexpr (C == 1) return (uint32_t)m;
    if constexpr (C == 3) return (uint32_t)_pext_u64(m & (m >> 1) & (m >> 2), 0x0000249249249249ull);
    if constexpr (C == 4 && W == 3) return (uint32_t)_pext_u64(m & (m >> 1) & (m >> 2), 0x1111111111111111ull);
    if constexpr (C == 4 && W == 4) return (uint32_t)_pext_u64(m & (m >> 1) & (m >> 2) & (m >> 3), 0x1111111111111111ull);
}

inline __m512i bytes_of(uint32_t m) { return _mm512_maskz_set1_epi32((__mmask16)m, 0xFF); }

// One-channel 8- and 16-bit rows compare in their own width with AVX2, 32 pixels at a time:
// 0xFF/0x00 lanes that are the result bytes already (16-bit lanes are packed to bytes).
// Unsigned order is signed order after flipping the top bit. Returns the pixels done.
template <typename T, int R, bool Swap>
inline __m256i cmp256(__m256i a, __m256i b) {
    if (Swap) std::swap(a, b);
    constexpr bool Byte = sizeof(T) == 1;
    if constexpr (R == kEq) return Byte ? _mm256_cmpeq_epi8(a, b) : _mm256_cmpeq_epi16(a, b);
    if constexpr (!std::is_signed_v<T>) {
        const __m256i top = Byte ? _mm256_set1_epi8((char)0x80) : _mm256_set1_epi16((short)0x8000);
        a = _mm256_xor_si256(a, top), b = _mm256_xor_si256(b, top);
    }
    if constexpr (R == kLt) return Byte ? _mm256_cmpgt_epi8(b, a) : _mm256_cmpgt_epi16(b, a);
    __m256i gt = Byte ? _mm256_cmpgt_epi8(a, b) : _mm256_cmpgt_epi16(a, b);  // a <= b is not a > b
    return _mm256_xor_si256(gt, _mm256_set1_epi8(-1));
}

template <typename T, int R, bool Swap, bool Two>
int64_t narrow_row(const T* a, const T* b, Zel8u* d, int64_t n) {
    T c = 0;
    if constexpr (!Two) c = *b;  // the constant (b is then the caller's value)
    __m256i k = sizeof(T) == 1 ? _mm256_set1_epi8((char)c) : _mm256_set1_epi16((short)c);
    auto load = [](const T* p) { return _mm256_loadu_si256((const __m256i*)p); };
    int64_t x = 0;
    if constexpr (sizeof(T) == 1)  // two registers a step: the loads of both keep the loop fed
        for (; x + 64 <= n; x += 64) {
            __m256i r0 = cmp256<T, R, Swap>(load(a + x), Two ? load(b + x) : k);
            __m256i r1 = cmp256<T, R, Swap>(load(a + x + 32), Two ? load(b + x + 32) : k);
            _mm256_storeu_si256((__m256i*)(d + x), r0);
            _mm256_storeu_si256((__m256i*)(d + x + 32), r1);
        }
    for (; x + 32 <= n; x += 32) {
        __m256i r;
        if constexpr (sizeof(T) == 1) {
            r = cmp256<T, R, Swap>(load(a + x), Two ? load(b + x) : k);
        } else {
            __m256i lo = cmp256<T, R, Swap>(load(a + x), Two ? load(b + x) : k);
            __m256i hi = cmp256<T, R, Swap>(load(a + x + 16), Two ? load(b + x + 16) : k);
            r = _mm256_permute4x64_epi64(_mm256_packs_epi16(lo, hi), 0xD8);
        }
        _mm256_storeu_si256((__m256i*)(d + x), r);
    }
    return x;
}

template <typename T, int C, int W, bool Two, class F>
void compare_row(const F& f, const T* a, const T* b, const __m512i* pat, Zel8u* d, int64_t n) {
    int64_t x = 0;
    if constexpr (C == 1 && sizeof(T) <= 2) x = narrow_row<T, F::rel, F::swap, Two>(a, b, d, n);
    for (; x + 16 <= n; x += 16) {
        if constexpr (sizeof(T) == 4 && C == 1) {  // the hardware does not run far enough ahead of two streams
            _mm_prefetch((const char*)(a + x + 1024), _MM_HINT_T0);
            if constexpr (Two) _mm_prefetch((const char*)(b + x + 1024), _MM_HINT_T0);
        }
        _mm_storeu_si128((__m128i*)(d + x), _mm512_cvtepi32_epi8(bytes_of(block<T, C, W, Two>(f, a + x * C, Two ? b + x * C : b, pat))));
    }
    if (x < n) {
        int64_t m = n - x;
        T ba[16 * C] = {}, bb[16 * C] = {};
        memcpy(ba, a + x * C, m * C * sizeof(T));
        if constexpr (Two) memcpy(bb, b + x * C, m * C * sizeof(T));
        uint32_t bits = block<T, C, W, Two>(f, ba, bb, pat);
        _mm512_mask_cvtepi32_storeu_epi8(d + x, (__mmask16)((1u << m) - 1), bytes_of(bits));
    }
}

template <typename T, int C, int W, bool Two, class F>
void compare_image(const F& f, const T* a, int aStep, const T* b, int bStep, const T* value, Zel8u* d, int dStep,
                   ZeliSize roi) {
    __m512i pat[C] = {};
    if constexpr (!Two) {
        T v[16 * C];
        for (int i = 0; i < 16 * C; ++i) v[i] = i % C < W ? value[i % C] : T(0);
        for (int i = 0; i < C; ++i) pat[i] = load16(v + 16 * i);
    }
    int64_t w = roi.width, h = roi.height;
    int64_t as = ownsWholeStep<sizeof(T)>(aStep), bs = ownsWholeStep<sizeof(T)>(bStep);
    int64_t packed = w * C * (int64_t)sizeof(T);
    if (as == packed && dStep == w && (!Two || bs == packed)) w *= h, h = 1;
    for (int64_t r = 0; r < h; ++r)
        compare_row<T, C, W, Two>(f, row(a, aStep, r), Two ? row(b, bStep, r) : value, pat, row(d, dStep, r), w);
}

template <typename T, int C, int W, bool Two>
ZelStatus dispatch(const T* a, int aStep, const T* b, int bStep, const T* value, Zel8u* d, int dStep, ZeliSize roi,
                   ZelCmpOp op) {
    switch (op) {
        case zelCmpLess: compare_image<T, C, W, Two>(Cmp<T, kLt, false>{}, a, aStep, b, bStep, value, d, dStep, roi); break;
        case zelCmpLessEq: compare_image<T, C, W, Two>(Cmp<T, kLe, false>{}, a, aStep, b, bStep, value, d, dStep, roi); break;
        case zelCmpEq: compare_image<T, C, W, Two>(Cmp<T, kEq, false>{}, a, aStep, b, bStep, value, d, dStep, roi); break;
        case zelCmpGreaterEq: compare_image<T, C, W, Two>(Cmp<T, kLe, true>{}, a, aStep, b, bStep, value, d, dStep, roi); break;
        case zelCmpGreater: compare_image<T, C, W, Two>(Cmp<T, kLt, true>{}, a, aStep, b, bStep, value, d, dStep, roi); break;
        default: break;  // lenient: nothing to do
    }
    return zelStsNoErr;
}

inline bool bad_size(ZeliSize roi) { return roi.width < 1 || roi.height < 1; }

template <typename T, int C, int W = C>
ZelStatus compare(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, Zel8u* pDst, int dstStep, ZeliSize roi,
                  ZelCmpOp op) {
    if (ownsAnyNull(pSrc1, pSrc2, pDst)) return zelStsNullPtrErr;
    if (src1Step < 1 || src2Step < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    return dispatch<T, C, W, true>(pSrc1, src1Step, pSrc2, src2Step, nullptr, pDst, dstStep, roi, op);
}

template <typename T, int C, int W = C>
ZelStatus compare_c(const T* pSrc, int srcStep, const T* value, Zel8u* pDst, int dstStep, ZeliSize roi, ZelCmpOp op) {
    if (ownsAnyNull(pSrc, value, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    return dispatch<T, C, W, false>(pSrc, srcStep, nullptr, 0, value, pDst, dstStep, roi, op);
}

template <typename T>
ZelStatus compare_c1(const T* pSrc, int srcStep, T value, Zel8u* pDst, int dstStep, ZeliSize roi, ZelCmpOp op) {
    return compare_c<T, 1>(pSrc, srcStep, &value, pDst, dstStep, roi, op);
}

template <int C, int W = C>
ZelStatus equal_eps(const Zel32f* pSrc1, int src1Step, const Zel32f* pSrc2, int src2Step, Zel8u* pDst, int dstStep,
                    ZeliSize roi, Zel32f eps) {
    if (ownsAnyNull(pSrc1, pSrc2, pDst)) return zelStsNullPtrErr;
    if (src1Step < 1 || src2Step < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (eps < 0) return zelStsEpsValErr;
    compare_image<Zel32f, C, W, true>(Cmp<Zel32f, kEps, false>{_mm512_set1_ps(eps)}, pSrc1, src1Step, pSrc2, src2Step,
                                      nullptr, pDst, dstStep, roi);
    return zelStsNoErr;
}

template <int C, int W = C>
ZelStatus equal_eps_c(const Zel32f* pSrc, int srcStep, const Zel32f* value, Zel8u* pDst, int dstStep, ZeliSize roi,
                      Zel32f eps) {
    if (ownsAnyNull(pSrc, value, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (bad_size(roi)) return zelStsSizeErr;
    if (eps < 0) return zelStsEpsValErr;
    compare_image<Zel32f, C, W, false>(Cmp<Zel32f, kEps, false>{_mm512_set1_ps(eps)}, pSrc, srcStep, nullptr, 0, value,
                                       pDst, dstStep, roi);
    return zelStsNoErr;
}

ZelStatus equal_eps_c1(const Zel32f* pSrc, int srcStep, Zel32f value, Zel8u* pDst, int dstStep, ZeliSize roi,
                       Zel32f eps) {
    return equal_eps_c<1>(pSrc, srcStep, &value, pDst, dstStep, roi, eps);
}

}  // namespace

#define ZEL_COMPARE(t, T)                                          \
    ZEL_IMPL(zeliCompare_##t##_C1R, compare<T, 1>)                 \
    ZEL_IMPL(zeliCompare_##t##_C3R, compare<T, 3>)                 \
    ZEL_IMPL(zeliCompare_##t##_C4R, compare<T, 4>)                 \
    ZEL_IMPL(zeliCompare_##t##_AC4R, compare<T, 4, 3>)             \
    ZEL_IMPL(zeliCompareC_##t##_C1R, compare_c1<T>)                \
    ZEL_IMPL(zeliCompareC_##t##_C3R, compare_c<T, 3>)              \
    ZEL_IMPL(zeliCompareC_##t##_C4R, compare_c<T, 4>)              \
    ZEL_IMPL(zeliCompareC_##t##_AC4R, compare_c<T, 4, 3>)

ZEL_COMPARE(8u, Zel8u)
ZEL_COMPARE(16u, Zel16u)
ZEL_COMPARE(16s, Zel16s)
ZEL_COMPARE(32f, Zel32f)

ZEL_IMPL(zeliCompareEqualEps_32f_C1R, equal_eps<1>)
ZEL_IMPL(zeliCompareEqualEps_32f_C3R, equal_eps<3>)
ZEL_IMPL(zeliCompareEqualEps_32f_C4R, equal_eps<4>)
ZEL_IMPL(zeliCompareEqualEps_32f_AC4R, equal_eps<4, 3>)
ZEL_IMPL(zeliCompareEqualEpsC_32f_C1R, equal_eps_c1)
ZEL_IMPL(zeliCompareEqualEpsC_32f_C3R, equal_eps_c<3>)
ZEL_IMPL(zeliCompareEqualEpsC_32f_C4R, equal_eps_c<4>)
ZEL_IMPL(zeliCompareEqualEpsC_32f_AC4R, equal_eps_c<4, 3>)
