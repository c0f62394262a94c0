// AlphaComp: Porter-Duff composition of two images with per-pixel alpha. alphaType 0..5 are
// over, in, out, atop, xor and plus on straight (not premultiplied) colour, which is
// premultiplied first; 6..11 the same operators on premultiplied colour. The result is
// premultiplied either way (arithmetic and rounding: kernels/alpha_rule.h).
//
// Layouts: AC4 composes all four channels (alpha by the operator's alpha equation); AP4 the
// same on four planes sharing one step; AC1 images are alpha planes alone. In-place forms
// compose pSrc (the first image, A) with pSrcDst (B) and write the result over B.
//
// Checks: pointers (for AP4 the arrays and every plane), then width or height < 1, then
// alphaType outside 0..11. Steps are not checked: any step, zero and negative included, is
// used as given, reduced to whole samples.
#include "frame/zel_internal.h"
#include "kernels/alpha_rows.h"

namespace {

using namespace zel;
using namespace zel::alpha;

template <typename T>
ZelStatus comp_ac4(const T* a, int as, const T* b, int bs, T* d, int ds, ZeliSize roi, ZelAlphaType type) {
    if (!a || !b || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * 4 * sizeof(T), as, bs, ds);
    with_type(type, [&](auto op, auto pre) {
        for (int64_t r = 0; r < w.height; ++r)
            ownsAlphaCompAC4<T, decltype(op)::value, decltype(pre)::value>(row(a, as, r), row(b, bs, r),
                                                                           row(d, ds, r), w.width);
    });
    return zelStsNoErr;
}

template <typename T>
ZelStatus comp_ac4_i(const T* s, int ss, T* sd, int sds, ZeliSize roi, ZelAlphaType type) {
    return comp_ac4<T>(s, ss, sd, sds, sd, sds, roi, type);
}

template <typename T>
ZelStatus comp_ac1(const T* a, int as, const T* b, int bs, T* d, int ds, ZeliSize roi, ZelAlphaType type) {
    if (!a || !b || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * sizeof(T), as, bs, ds);
    // Alpha planes need no premultiplication: plain and premultiplied types agree.
    with_type(type, [&](auto op, auto) {
        for (int64_t r = 0; r < w.height; ++r)
            ownsAlphaCompAlpha<T, decltype(op)::value>(row(a, as, r), row(b, bs, r), row(d, ds, r), w.width);
    });
    return zelStsNoErr;
}

template <typename T>
ZelStatus comp_ap4(const T* const a[4], int as, const T* const b[4], int bs, T* const d[4], int ds, ZeliSize roi,
                   ZelAlphaType type) {
    if (!planes_ok(a) || !planes_ok(b) || !planes_ok(d)) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    Rows w = rows_of(roi, (int64_t)roi.width * sizeof(T), as, bs, ds);
    with_type(type, [&](auto op, auto pre) {
        constexpr int Op = decltype(op)::value;
        for (int64_t r = 0; r < w.height; ++r) {
            const T *aa = row(a[3], as, r), *ab = row(b[3], bs, r);
            for (int c = 0; c < 3; ++c)
                ownsAlphaCompPlane<T, Op, decltype(pre)::value>(row(a[c], as, r), aa, row(b[c], bs, r), ab,
                                                                row(d[c], ds, r), w.width);
            // Last: in place, the alpha plane of B is the destination's.
            ownsAlphaCompAlpha<T, Op>(aa, ab, row(d[3], ds, r), w.width);
        }
    });
    return zelStsNoErr;
}

template <typename T>
ZelStatus comp_ap4_i(const T* const s[4], int ss, T* const sd[4], int sds, ZeliSize roi, ZelAlphaType type) {
    if (!planes_ok(s) || !planes_ok(sd)) return zelStsNullPtrErr;
    const T* const b[4] = {sd[0], sd[1], sd[2], sd[3]};
    return comp_ap4<T>(s, ss, b, sds, sd, sds, roi, type);
}

}  // namespace

#define ZEL_ALPHA_COMP(t, T)                                  \
    ZEL_IMPL(zeliAlphaComp_##t##_AC4R, comp_ac4<T>)           \
    ZEL_IMPL(zeliAlphaComp_##t##_AC4IR, comp_ac4_i<T>)        \
    ZEL_IMPL(zeliAlphaComp_##t##_AC1R, comp_ac1<T>)
#define ZEL_ALPHA_COMP_PLANAR(t, T)                           \
    ZEL_IMPL(zeliAlphaComp_##t##_AP4R, comp_ap4<T>)           \
    ZEL_IMPL(zeliAlphaComp_##t##_AP4IR, comp_ap4_i<T>)

ZEL_ALPHA_COMP(8u, Zel8u)
ZEL_ALPHA_COMP(16u, Zel16u)
ZEL_ALPHA_COMP(16s, Zel16s)
ZEL_ALPHA_COMP(32s, Zel32s)
ZEL_ALPHA_COMP(32u, Zel32u)
ZEL_ALPHA_COMP(32f, Zel32f)
ZEL_ALPHA_COMP_PLANAR(8u, Zel8u)
ZEL_ALPHA_COMP_PLANAR(16u, Zel16u)
