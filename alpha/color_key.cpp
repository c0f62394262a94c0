// CompColorKey: dst = src2 where the src1 pixel equals colorKey on every channel, else src1.
// AlphaCompColorKey_8u_AC4R: the constant-alpha composition of AlphaCompC_8u_AC4R in which a
// src1 pixel whose three colour channels equal colorKey is keyed out: it counts as fully
// transparent (colour 0, alpha 0, whatever alphaType says), so every operator sees B alone
// there (over gives src2's colour, premultiplied by alpha2 for alphaType 0..5). Channel 3 of
// the destination is left as it was.
//
// Checks: pointers (images and the key array), then width or height < 1, then any step < 1,
// then (AlphaCompColorKey) alphaType outside 0..11.
#include "frame/zel_internal.h"
#include "kernels/alpha_rule.h"

namespace {

using namespace zel;
using namespace zel::alpha;

template <typename T, int C>
ZelStatus comp_key(const T* a, int as, const T* b, int bs, T* d, int ds, ZeliSize roi, const T* key) {
    if (!a || !b || !d || !key) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (as < 1 || bs < 1 || ds < 1) return zelStsStepErr;
    T k[C];
    for (int c = 0; c < C; ++c) k[c] = key[c];
    for (int64_t r = 0; r < roi.height; ++r) {
        const T *p = row(a, as, r), *q = row(b, bs, r);
        T* o = row(d, ds, r);
        for (int64_t x = 0; x < (int64_t)roi.width * C; x += C) {
            bool hit = true;
            for (int c = 0; c < C; ++c) hit &= p[x + c] == k[c];
            for (int c = 0; c < C; ++c) o[x + c] = hit ? q[x + c] : p[x + c];
        }
    }
    return zelStsNoErr;
}

template <typename T>
ZelStatus comp_key_c1(const T* a, int as, const T* b, int bs, T* d, int ds, ZeliSize roi, T key) {
    return comp_key<T, 1>(a, as, b, bs, d, ds, roi, &key);
}

ZelStatus alpha_comp_key(const Zel8u* a, int as, Zel8u a1, const Zel8u* b, int bs, Zel8u a2, Zel8u* d, int ds,
                         ZeliSize roi, const Zel8u key[3], ZelAlphaType type) {
    if (!a || !b || !d || !key) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (as < 1 || bs < 1 || ds < 1) return zelStsStepErr;
    if (bad_type(type)) return zelStsAlphaTypeErr;
    const Zel8u k0 = key[0], k1 = key[1], k2 = key[2];
    with_type(type, [&](auto op, auto pre) {
        constexpr int Op = decltype(op)::value;
        constexpr bool Pre = decltype(pre)::value;
        for (int64_t r = 0; r < roi.height; ++r) {
            const Zel8u *p = row(a, as, r), *q = row(b, bs, r);
            Zel8u* o = row(d, ds, r);
            for (int64_t x = 0; x < (int64_t)roi.width * 4; x += 4) {
                bool keyed = p[x] == k0 && p[x + 1] == k1 && p[x + 2] == k2;
                uint32_t aa = keyed ? 0 : a1;
                for (int c = 0; c < 3; ++c)
                    o[x + c] = comp_colour<Zel8u, Op, Pre>(keyed ? 0 : p[x + c], q[x + c], aa, a2);
            }
        }
    });
    return zelStsNoErr;
}

}  // namespace

#define ZEL_COMP_COLOR_KEY(t, T)                                 \
    ZEL_IMPL(zeliCompColorKey_##t##_C1R, comp_key_c1<T>)         \
    ZEL_IMPL(zeliCompColorKey_##t##_C3R, comp_key<T, 3>)         \
    ZEL_IMPL(zeliCompColorKey_##t##_C4R, comp_key<T, 4>)

ZEL_COMP_COLOR_KEY(8u, Zel8u)
ZEL_COMP_COLOR_KEY(16u, Zel16u)
ZEL_COMP_COLOR_KEY(16s, Zel16s)
ZEL_IMPL(zeliAlphaCompColorKey_8u_AC4R, alpha_comp_key)
