// Element-wise minimum or maximum of two images: the IR forms replace each sample of pSrcDst by
// the smaller (larger) of itself and the sample of pSrc; the C1R forms write the smaller (larger)
// of pSrc1 and pSrc2 to pDst. AC4IR leaves the fourth channel of pSrcDst as it was.
//
// Checks, in order: a null pointer → NullPtrErr; width or height below 1 → SizeErr; a step
// below 1 → StepErr.
//
// 32f uses the ordinary comparison, and a NaN never wins over a number. With a the kept image
// (pSrcDst, or pSrc1) and b the other: the minimum is b < a ? b : a, the maximum b > a ? b : a,
// except that a NaN a with a number b gives b. So equal samples (+0 and -0) keep a, and where
// both are NaN a is kept. Vector bodies and masked tails compute exactly this.
#include "frame/zel_internal.h"

#include <immintrin.h>
#include <math.h>

namespace {

using namespace zel;

// Scalar rule of one sample pair; a is kept on ties.
template <bool IsMax, class T>
inline T pick(T a, T b) {
    T r = (IsMax ? b > a : b < a) ? b : a;
    if constexpr (std::is_same_v<T, Zel32f>)
        if (isnan(a) && !isnan(b)) r = b;
    return r;
}

template <bool IsMax, class T>
inline __m256i vpick(__m256i a, __m256i b) {
    if constexpr (std::is_same_v<T, Zel8u>) return IsMax ? _mm256_max_epu8(a, b) : _mm256_min_epu8(a, b);
    else if constexpr (std::is_same_v<T, Zel16u>) return IsMax ? _mm256_max_epu16(a, b) : _mm256_min_epu16(a, b);
    else return IsMax ? _mm256_max_epi16(a, b) : _mm256_min_epi16(a, b);
}

// maxps/minps(b, a) return a when the comparison fails, NaN included; then a NaN a with an
// ordered b is replaced by b.
template <bool IsMax>
inline __m512 vpick32f(__m512 a, __m512 b) {
    __m512 r = IsMax ? _mm512_max_ps(b, a) : _mm512_min_ps(b, a);
    __mmask16 fix = _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(a, a, _CMP_UNORD_Q), b, b, _CMP_ORD_Q);
    return _mm512_mask_mov_ps(r, fix, b);
}

// One row of n samples: d[i] = pick(a[i], b[i]); with Alpha, every fourth sample of d keeps a's.
template <bool IsMax, bool Alpha, class T>
void every_row(const T* a, const T* b, T* d, int64_t n) {
    int64_t i = 0;
    if constexpr (std::is_same_v<T, Zel32f>) {
        const __mmask16 keep = Alpha ? 0x7777 : 0xFFFF;
        for (; n - i >= 16; i += 16) {
            __m512 x = _mm512_loadu_ps(a + i), y = _mm512_loadu_ps(b + i);
            _mm512_storeu_ps(d + i, _mm512_mask_mov_ps(x, keep, vpick32f<IsMax>(x, y)));
        }
        if (i < n) {
            const __mmask16 m = (__mmask16)((1u << (n - i)) - 1);
            __m512 x = _mm512_maskz_loadu_ps(m, a + i), y = _mm512_maskz_loadu_ps(m, b + i);
            _mm512_mask_storeu_ps(d + i, m, _mm512_mask_mov_ps(x, keep, vpick32f<IsMax>(x, y)));
        }
    } else {
        // Alpha samples are the last of each group of four: bytes 3 mod 4 (8u), words 3 mod 4 (16-bit).
        const __m256i alpha = sizeof(T) == 1 ? _mm256_set1_epi32((int)0xFF000000) : _mm256_set1_epi64x((int64_t)0xFFFF000000000000ull);
        constexpr int64_t V = 32 / sizeof(T);
        for (; n - i >= V; i += V) {
            __m256i x = _mm256_loadu_si256((const __m256i*)(a + i)), y = _mm256_loadu_si256((const __m256i*)(b + i));
            __m256i r = vpick<IsMax, T>(x, y);
            if constexpr (Alpha) r = _mm256_blendv_epi8(r, x, alpha);
            _mm256_storeu_si256((__m256i*)(d + i), r);
        }
        for (; i < n; ++i) d[i] = (Alpha && (i & 3) == 3) ? a[i] : pick<IsMax>(a[i], b[i]);
    }
}

template <bool IsMax, bool Alpha, class T>
void every(const T* a, int64_t sa, const T* b, int64_t sb, T* d, int64_t sd, int64_t samples, ZeliSize roi) {
    const int64_t packed = samples * (int64_t)sizeof(T), h = roi.height;
    if (h > 1 && sa == packed && sb == packed && sd == packed && (int64_t)roi.width * h < kInt32Max) {
        every_row<IsMax, Alpha>(a, b, d, samples * h);
        return;
    }
    for (int64_t y = 0; y < h; ++y) every_row<IsMax, Alpha>(row(a, sa, y), row(b, sb, y), row(d, sd, y), samples);
}

template <class T, int C, bool Alpha, bool IsMax>
ZelStatus every_ir(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    if (!pSrc || !pSrcDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || srcDstStep < 1) return zelStsStepErr;
    every<IsMax, Alpha>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, (int64_t)roi.width * C, roi);
    return zelStsNoErr;
}

template <class T, bool IsMax>
ZelStatus every_r(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, ZeliSize roi) {
    if (!pSrc1 || !pSrc2 || !pDst) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (src1Step < 1 || src2Step < 1 || dstStep < 1) return zelStsStepErr;
    every<IsMax, false>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi.width, roi);
    return zelStsNoErr;
}

}  // namespace

#define ZEL_EVERY_IR(op, isMax, t, T)                               \
    ZEL_IMPL(zeli##op##_##t##_C1IR, every_ir<T, 1, false, isMax>)   \
    ZEL_IMPL(zeli##op##_##t##_C3IR, every_ir<T, 3, false, isMax>)   \
    ZEL_IMPL(zeli##op##_##t##_C4IR, every_ir<T, 4, false, isMax>)   \
    ZEL_IMPL(zeli##op##_##t##_AC4IR, every_ir<T, 4, true, isMax>)
#define ZEL_EVERY(op, isMax)                                  \
    ZEL_EVERY_IR(op, isMax, 8u, Zel8u)                        \
    ZEL_EVERY_IR(op, isMax, 16u, Zel16u)                      \
    ZEL_EVERY_IR(op, isMax, 16s, Zel16s)                      \
    ZEL_EVERY_IR(op, isMax, 32f, Zel32f)                      \
    ZEL_IMPL(zeli##op##_8u_C1R, every_r<Zel8u, isMax>)        \
    ZEL_IMPL(zeli##op##_16u_C1R, every_r<Zel16u, isMax>)      \
    ZEL_IMPL(zeli##op##_32f_C1R, every_r<Zel32f, isMax>)

ZEL_EVERY(MinEvery, false)
ZEL_EVERY(MaxEvery, true)
