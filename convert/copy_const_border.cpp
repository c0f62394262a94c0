// CopyConstBorder: the frame around the source takes a constant pixel (one value for C1,
// three for C3 and AC4, four for C4). The constant array is a required pointer, checked with
// the image pointers. AC4 members write the three colour samples of the border and of the
// copied pixels and leave the destination's alpha samples as they were. The 32-bit forms
// widen their sizes and run as the 64-bit forms.
#include <type_traits>

#include "kernels/convert_border.h"

namespace {

using namespace zel;

// V is T for one-channel members (the value passed by value) and const T* otherwise.
template <typename T, int C, bool Alpha, typename V>
ZelStatus const_rL(const T* s, int64_t ss, ZeliSizeL src, T* d, int64_t ds, ZeliSizeL dst, int64_t top,
                   int64_t left, V value) {
    const void* px;
    if constexpr (std::is_pointer_v<V>) px = value;
    else px = &value;
    if (!s || !d || !px) return zelStsNullPtrErr;
    BorderGeom g{src.width, src.height, dst.width, dst.height, top, left};
    if (ZelStatus st = ownBorderCheck(ss, ds, g)) return st;
    BorderEngine<sizeof(T), C, Alpha, Border::Const>::run((const uint8_t*)s, ss, (uint8_t*)d, ds, g,
                                                           (const uint8_t*)px);
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha, typename V>
ZelStatus const_irL(T* p, int64_t step, ZeliSizeL src, ZeliSizeL dst, int64_t top, int64_t left, V value) {
    const void* px;
    if constexpr (std::is_pointer_v<V>) px = value;
    else px = &value;
    if (!p || !px) return zelStsNullPtrErr;
    BorderGeom g{src.width, src.height, dst.width, dst.height, top, left};
    if (ZelStatus st = ownBorderCheck(step, step, g)) return st;
    BorderEngine<sizeof(T), C, Alpha, Border::Const>::runInPlace((uint8_t*)p, step, g, (const uint8_t*)px);
    return zelStsNoErr;
}

template <typename T, int C, bool Alpha, typename V>
ZelStatus const_r(const T* s, int ss, ZeliSize src, T* d, int ds, ZeliSize dst, int top, int left, V value) {
    return const_rL<T, C, Alpha, V>(s, ss, {src.width, src.height}, d, ds, {dst.width, dst.height}, top, left,
                                    value);
}

template <typename T, int C, bool Alpha, typename V>
ZelStatus const_ir(T* p, int step, ZeliSize src, ZeliSize dst, int top, int left, V value) {
    return const_irL<T, C, Alpha, V>(p, step, {src.width, src.height}, {dst.width, dst.height}, top, left, value);
}

}  // namespace

#define ZEL_CONSTB(t, T, lay, C, A, V)                                          \
    ZEL_IMPL(zeliCopyConstBorder_##t##_##lay##R, const_r<T, C, A, V>)          \
    ZEL_IMPL(zeliCopyConstBorder_##t##_##lay##IR, const_ir<T, C, A, V>)        \
    ZEL_IMPL(zeliCopyConstBorder_##t##_##lay##R_L, const_rL<T, C, A, V>)       \
    ZEL_IMPL(zeliCopyConstBorder_##t##_##lay##IR_L, const_irL<T, C, A, V>)
#define ZEL_CONSTB_TYPE(t, T)                   \
    ZEL_CONSTB(t, T, C1, 1, false, T)           \
    ZEL_CONSTB(t, T, C3, 3, false, const T*)    \
    ZEL_CONSTB(t, T, C4, 4, false, const T*)    \
    ZEL_CONSTB(t, T, AC4, 4, true, const T*)

ZEL_CONSTB_TYPE(8u, Zel8u)
ZEL_CONSTB_TYPE(16u, Zel16u)
ZEL_CONSTB_TYPE(16s, Zel16s)
ZEL_CONSTB_TYPE(32s, Zel32s)
ZEL_CONSTB_TYPE(32f, Zel32f)
