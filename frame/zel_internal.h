// Internal frame of libzeli: how an implementation binds to its export, and the small
// helpers every family shares. Include this first in every implementation file.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <type_traits>

#include "zel/zeltypes.h"
#include "zel_impl_sigs.h"

#define ZEL_HIDDEN __attribute__((visibility("hidden")))

// ZEL_IMPL(zeliCopy_8u_C1R, copy_same<Zel8u, 1>) defines the implementation symbol
// n0_zeliCopy_8u_C1R with the export's exact signature (from the export list) and forwards
// its arguments to the template instance. The forwarder compiles to a jump; the export's slot
// points at it, replacing the placeholder.
#define ZEL_IMPL(name, ...)                                                              \
    extern "C" ZEL_HIDDEN ZEL_RET_##name n0_##name ZEL_PARAMS_##name;                    \
    extern "C" ZEL_HIDDEN ZEL_RET_##name n0_##name ZEL_PARAMS_##name {                   \
        return __VA_ARGS__ ZEL_ARGS_##name;                                              \
    }

namespace zel {

// Row r of an image that starts at p with the given step in bytes. The step is first reduced
// to whole elements (integer division), so an odd step of a 16-bit image advances by one byte
// less: the library-wide row-walking rule.
template <typename T, typename S>
inline T* row(T* p, S step, int64_t r) {
    int64_t elems = (int64_t)step / (int64_t)sizeof(T);
    return p + elems * r;
}

// The same for byte-exact steps, used where a family copies bytes regardless of type.
template <typename T, typename S>
inline T* row_bytes(T* p, S step, int64_t r) {
    using B = typename std::conditional<std::is_const<T>::value, const uint8_t, uint8_t>::type;
    return (T*)((B*)p + (int64_t)step * r);
}

constexpr int64_t kInt32Max = 2147483647;

// Entry shapes of the image-and-constant operations. F is a family's checked out-of-place
// form F(pSrc, srcStep, const V* value, pDst, dstStep, roiSize); these give its in-place form
// (constant first) and the one-channel forms that take the constant by value.
template <auto F, typename T, typename V>
ZelStatus const_inplace(const V* value, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return F(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roi);
}
template <auto F, typename T, typename V>
ZelStatus const_scalar(const T* pSrc, int srcStep, V value, T* pDst, int dstStep, ZeliSize roi) {
    return F(pSrc, srcStep, &value, pDst, dstStep, roi);
}
template <auto F, typename T, typename V>
ZelStatus const_scalar_inplace(V value, T* pSrcDst, int srcDstStep, ZeliSize roi) {
    return F(pSrcDst, srcDstStep, &value, pSrcDst, srcDstStep, roi);
}

}  // namespace zel
