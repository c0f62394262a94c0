// AlphaCompC: Porter-Duff composition of two images whose pixels all have one constant alpha
// each (alpha1 for the first image, alpha2 for the second). alphaType as for AlphaComp: 0..5
// premultiply the colour by its constant first, 6..11 take it as premultiplied already; the
// result is premultiplied colour (arithmetic and rounding: kernels/alpha_rule.h).
//
// Layouts: C1, C3, C4 compose every channel; AC4 composes channels 0..2 and, as every AC4
// operation of the library, leaves the destination's channel 3 as it was; AP4 likewise
// composes planes 0..2 and leaves plane 3 alone (all four plane pointers must still be set).
// In-place forms compose pSrc (A, alpha1) with pSrcDst (B, alpha2) and write over B.
//
// Checks: pointers, then width or height < 1, then alphaType outside 0..11; steps are not
// checked.
#include "frame/zel_internal.h"
#include "kernels/alpha_rows.h"

namespace {

using namespace zel;
using namespace zel::alpha;

template <typename T, int C, bool KeepAlpha = false>
ZelStatus comp_c(const T* a, int as, T a1, const T* b, int bs, T a2, T* d, int ds, ZeliSize roi,
                 ZelAlphaType type) {
    if (!a || !b || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * C * sizeof(T), as, bs, ds);
    with_type(type, [&](auto op, auto pre) {
        for (int64_t r = 0; r < w.height; ++r)
            ownsAlphaCompConst<T, decltype(op)::value, decltype(pre)::value, C, KeepAlpha>(
                row(a, as, r), a1, row(b, bs, r), a2, row(d, ds, r), w.width);
    });
    return zelStsNoErr;
}

template <typename T, int C, bool KeepAlpha = false>
ZelStatus comp_c_i(const T* s, int ss, T a1, T* sd, int sds, T a2, ZeliSize roi, ZelAlphaType type) {
    return comp_c<T, C, KeepAlpha>(s, ss, a1, sd, sds, a2, sd, sds, roi, type);
}

template <typename T>
ZelStatus comp_c_ap4(const T* const a[4], int as, T a1, const T* const b[4], int bs, T a2, T* const d[4], int ds,
                     ZeliSize roi, ZelAlphaType type) {
    if (!planes_ok(a) || !planes_ok(b) || !planes_ok(d)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * sizeof(T), as, bs, ds);
    with_type(type, [&](auto op, auto pre) {
        for (int64_t r = 0; r < w.height; ++r)
            for (int c = 0; c < 3; ++c)
                ownsAlphaCompConst<T, decltype(op)::value, decltype(pre)::value, 1, false>(
                    row(a[c], as, r), a1, row(b[c], bs, r), a2, row(d[c], ds, r), w.width);
    });
    return zelStsNoErr;
}

template <typename T>
ZelStatus comp_c_ap4_i(const T* const s[4], int ss, T a1, T* const sd[4], int sds, T a2, ZeliSize roi,
                       ZelAlphaType type) {
    if (!planes_ok(s) || !planes_ok(sd)) return zelStsNullPtrErr;
    const T* const b[4] = {sd[0], sd[1], sd[2], sd[3]};
    return comp_c_ap4<T>(s, ss, a1, b, sds, a2, sd, sds, roi, type);
}

}  // namespace

#define ZEL_ALPHA_COMP_C1(t, T)                                 \
    ZEL_IMPL(zeliAlphaCompC_##t##_C1R, comp_c<T, 1>)            \
    ZEL_IMPL(zeliAlphaCompC_##t##_C1IR, comp_c_i<T, 1>)
#define ZEL_ALPHA_COMP_C(t, T)                                  \
    ZEL_ALPHA_COMP_C1(t, T)                                     \
    ZEL_IMPL(zeliAlphaCompC_##t##_C3R, comp_c<T, 3>)            \
    ZEL_IMPL(zeliAlphaCompC_##t##_C3IR, comp_c_i<T, 3>)         \
    ZEL_IMPL(zeliAlphaCompC_##t##_C4R, comp_c<T, 4>)            \
    ZEL_IMPL(zeliAlphaCompC_##t##_C4IR, comp_c_i<T, 4>)         \
    ZEL_IMPL(zeliAlphaCompC_##t##_AC4R, comp_c<T, 4, true>)     \
    ZEL_IMPL(zeliAlphaCompC_##t##_AC4IR, comp_c_i<T, 4, true>)  \
    ZEL_IMPL(zeliAlphaCompC_##t##_AP4R, comp_c_ap4<T>)          \
    ZEL_IMPL(zeliAlphaCompC_##t##_AP4IR, comp_c_ap4_i<T>)

ZEL_ALPHA_COMP_C(8u, Zel8u)
ZEL_ALPHA_COMP_C(16u, Zel16u)
ZEL_ALPHA_COMP_C1(16s, Zel16s)
ZEL_ALPHA_COMP_C1(32s, Zel32s)
ZEL_ALPHA_COMP_C1(32u, Zel32u)
ZEL_ALPHA_COMP_C1(32f, Zel32f)
