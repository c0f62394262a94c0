// AlphaPremul and AlphaPremulC: colour multiplied by alpha, divided by the opaque value with
// rounding to nearest (div255 for 8u, its 16-bit analogue for 16u; kernels/alpha_rule.h).
//
// AlphaPremul takes each pixel's own alpha: AC4 premultiplies channels 0..2 by channel 3 and
// writes channel 3 unchanged; AP4 does the same on planes (plane 3 is the alpha; the
// out-of-place form copies it).
// AlphaPremulC takes one constant alpha for every pixel: C1, C3, C4 premultiply every
// channel; AC4 channels 0..2, leaving the destination's channel 3 as it was (as every AC4
// operation of the library); AP4 planes 0..2, leaving plane 3 alone.
//
// Checks: pointers (for AP4 the arrays and all four planes), then width or height < 1. Steps
// are not checked.
#include <string.h>

#include "frame/zel_internal.h"
#include "kernels/alpha_rows.h"

namespace {

using namespace zel;
using namespace zel::alpha;

template <typename T>
ZelStatus premul_ac4(const T* s, int ss, T* d, int ds, ZeliSize roi) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * 4 * sizeof(T), ss, ds);
    for (int64_t r = 0; r < w.height; ++r) ownsAlphaPremulAC4<T>(row(s, ss, r), row(d, ds, r), w.width);
    return zelStsNoErr;
}

template <typename T>
ZelStatus premul_ac4_i(T* sd, int sds, ZeliSize roi) {
    return premul_ac4<T>(sd, sds, sd, sds, roi);
}

template <typename T>
ZelStatus premul_ap4(const T* const s[4], int ss, T* const d[4], int ds, ZeliSize roi) {
    if (!planes_ok(s) || !planes_ok(d)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * sizeof(T), ss, ds);
    for (int64_t r = 0; r < w.height; ++r) {
        const T* a = row(s[3], ss, r);
        for (int c = 0; c < 3; ++c) ownsAlphaPremulPlane<T>(row(s[c], ss, r), a, row(d[c], ds, r), w.width);
        T* da = row(d[3], ds, r);
        if (da != a) memmove(da, a, (size_t)w.width * sizeof(T));
    }
    return zelStsNoErr;
}

template <typename T>
ZelStatus premul_ap4_i(T* const sd[4], int sds, ZeliSize roi) {
    if (!planes_ok(sd)) return zelStsNullPtrErr;
    const T* const s[4] = {sd[0], sd[1], sd[2], sd[3]};
    return premul_ap4<T>(s, sds, sd, sds, roi);
}

template <typename T, int C, bool KeepAlpha = false>
ZelStatus premul_c(const T* s, int ss, T alpha, T* d, int ds, ZeliSize roi) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * C * sizeof(T), ss, ds);
    for (int64_t r = 0; r < w.height; ++r)
        ownsAlphaPremulConst<T, C, KeepAlpha>(row(s, ss, r), alpha, row(d, ds, r), w.width);
    return zelStsNoErr;
}

template <typename T, int C, bool KeepAlpha = false>
ZelStatus premul_c_i(T alpha, T* sd, int sds, ZeliSize roi) {
    return premul_c<T, C, KeepAlpha>(sd, sds, alpha, sd, sds, roi);
}

template <typename T>
ZelStatus premul_c_ap4(const T* const s[4], int ss, T alpha, T* const d[4], int ds, ZeliSize roi) {
    if (!planes_ok(s) || !planes_ok(d)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * sizeof(T), ss, ds);
    for (int64_t r = 0; r < w.height; ++r)
        for (int c = 0; c < 3; ++c)
            ownsAlphaPremulConst<T, 1, false>(row(s[c], ss, r), alpha, row(d[c], ds, r), w.width);
    return zelStsNoErr;
}

template <typename T>
ZelStatus premul_c_ap4_i(T alpha, T* const sd[4], int sds, ZeliSize roi) {
    if (!planes_ok(sd)) return zelStsNullPtrErr;
    const T* const s[4] = {sd[0], sd[1], sd[2], sd[3]};
    return premul_c_ap4<T>(s, sds, alpha, sd, sds, roi);
}

}  // namespace

#define ZEL_ALPHA_PREMUL(t, T)                                       \
    ZEL_IMPL(zeliAlphaPremul_##t##_AC4R, premul_ac4<T>)              \
    ZEL_IMPL(zeliAlphaPremul_##t##_AC4IR, premul_ac4_i<T>)           \
    ZEL_IMPL(zeliAlphaPremul_##t##_AP4R, premul_ap4<T>)              \
    ZEL_IMPL(zeliAlphaPremul_##t##_AP4IR, premul_ap4_i<T>)           \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C1R, premul_c<T, 1>)             \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C1IR, premul_c_i<T, 1>)          \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C3R, premul_c<T, 3>)             \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C3IR, premul_c_i<T, 3>)          \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C4R, premul_c<T, 4>)             \
    ZEL_IMPL(zeliAlphaPremulC_##t##_C4IR, premul_c_i<T, 4>)          \
    ZEL_IMPL(zeliAlphaPremulC_##t##_AC4R, premul_c<T, 4, true>)      \
    ZEL_IMPL(zeliAlphaPremulC_##t##_AC4IR, premul_c_i<T, 4, true>)   \
    ZEL_IMPL(zeliAlphaPremulC_##t##_AP4R, premul_c_ap4<T>)           \
    ZEL_IMPL(zeliAlphaPremulC_##t##_AP4IR, premul_c_ap4_i<T>)

ZEL_ALPHA_PREMUL(8u, Zel8u)
ZEL_ALPHA_PREMUL(16u, Zel16u)
