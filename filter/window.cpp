// WinBartlett, WinHamming: the ROI multiplied by a separable window, the same function of the
// column across a row and of the row down a column:
//
//   dst(x, y) = (src(x, y) * w_W(x)) * w_H(y)       in single precision, in that order,
//
// rounded half to even and saturated for the integer types. For N points (N = width or height)
// and n in [0, N), with w(N - 1 - n) = w(n) (each value is computed for n <= (N - 1) / 2 in
// double precision, rounded to single, and mirrored):
//
//   Bartlett  w(n) = 1 - |2n / (N - 1) - 1|, computed as 2n / (N - 1) below the middle
//   Hamming   w(n) = 0.54 - 0.46 cos(2 pi n / (N - 1))
//   N = 1     w(0) = 1 for both
//
// Checks, in order: a null pointer (-8), a width or height below 1 (-6), a step below 1 (-16).
// The work buffer holds the two weight vectors, each starting on a 64-byte boundary; the query
// accepts the data types 8u, 16u and 32f.
#include <immintrin.h>
#include <math.h>

#include "frame/zel_internal.h"
#include "kernels/convert_type.h"

namespace {

using namespace zel;

inline int64_t round64(int64_t n) { return (n + 63) & ~(int64_t)63; }

int64_t window_buffer_bytes(ZeliSize roi) { return round64((int64_t)roi.width * 4) + round64((int64_t)roi.height * 4) + 64; }

ZelStatus window_buffer_size(ZelDataType type, ZeliSize roi, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (type != zel8u && type != zel16u && type != zel32f) return zelStsDataTypeErr;
    int64_t n = window_buffer_bytes(roi);
    if (n > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)n;
    return zelStsNoErr;
}

enum class Win { Bartlett, Hamming };

template <Win W>
void window_weights(float* w, int64_t n) {
    if (n == 1) {
        w[0] = 1.0f;
        return;
    }
    const double m = (double)(n - 1);
    for (int64_t k = 0; k <= (n - 1) / 2; ++k) {
        double v = W == Win::Bartlett ? (double)(2 * k) / m : 0.54 - 0.46 * cos(2.0 * M_PI * (double)k / m);
        w[k] = w[n - 1 - k] = (float)v;
    }
}

template <typename T>
void window_row(const T* s, T* d, const float* wx, float wy, int64_t n) {
    const __m512 vy = _mm512_set1_ps(wy);
    auto block = [&](cvt::VF x, const float* w) {
        cvt::VF v{_mm512_mul_ps(_mm512_mul_ps(x.v, _mm512_loadu_ps(w)), vy)};
        return cvt::narrow<T>(v);
    };
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) cvt::store16(d + i, block(cvt::to_f(cvt::load16(s + i)), wx + i), (__mmask16)0xFFFF);
    if (i < n) {
        int m = (int)(n - i);
        __m512 w = _mm512_maskz_loadu_ps(cvt::first(m), wx + i);
        cvt::VF v{_mm512_mul_ps(_mm512_mul_ps(cvt::to_f(cvt::load_part(s + i, m)).v, w), vy)};
        cvt::store16(d + i, cvt::narrow<T>(v), cvt::first(m));
    }
}

template <typename T, Win W>
ZelStatus window(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    float* wx = (float*)(((uintptr_t)pBuffer + 63) & ~(uintptr_t)63);
    float* wy = wx + round64((int64_t)roi.width * 4) / 4;
    window_weights<W>(wx, roi.width);
    window_weights<W>(wy, roi.height);
    cvt::FpNear fp;
    for (int64_t y = 0; y < roi.height; ++y) window_row(row(pSrc, srcStep, y), row(pDst, dstStep, y), wx, wy[y], roi.width);
    return zelStsNoErr;
}

template <typename T, Win W>
ZelStatus window_inplace(T* pSrcDst, int step, ZeliSize roi, Zel8u* pBuffer) {
    return window<T, W>(pSrcDst, step, pSrcDst, step, roi, pBuffer);
}

}  // namespace

ZEL_IMPL(zeliWinBartlettGetBufferSize, window_buffer_size)
ZEL_IMPL(zeliWinHammingGetBufferSize, window_buffer_size)

#define ZEL_WINDOW(name, W, t, T)                                  \
    ZEL_IMPL(zeli##name##_##t##_C1R, window<T, W>)                 \
    ZEL_IMPL(zeli##name##_##t##_C1IR, window_inplace<T, W>)
#define ZEL_WINDOW_TYPES(name, W) \
    ZEL_WINDOW(name, W, 8u, Zel8u)   \
    ZEL_WINDOW(name, W, 16u, Zel16u) \
    ZEL_WINDOW(name, W, 32f, Zel32f)
ZEL_WINDOW_TYPES(WinBartlett, Win::Bartlett)
ZEL_WINDOW_TYPES(WinHamming, Win::Hamming)
