// Image memory: allocators that return rows aligned to 64 bytes and the row step to use.
// The memory comes from libzelcore. The order of the checks and which failures clear *pStep
// are part of the contract: a caller must test the pointer, never the step.
#include "frame/zel_internal.h"
#include "zel/zelcore.h"

namespace {

using zel::kInt32Max;

template <typename T, int Channels>
T* alloc32(int width, int height, int* pStep) {
    if (!pStep) return nullptr;
    if (width < 1 || height < 1) {
        *pStep = 0;
        return nullptr;
    }
    int64_t rowBytes = (int64_t)width * (int64_t)(sizeof(T) * Channels);
    if (rowBytes > kInt32Max) {
        *pStep = 0;
        return nullptr;
    }
    // The rounded step may no longer fit an int; it is stored as it wraps, and the product
    // with the height, compared as unsigned, then fails the bound below. In that case (and
    // whenever the block exceeds the bound) *pStep deliberately keeps the step.
    int step = (int)(uint32_t)((rowBytes + 63) & ~(int64_t)63);
    *pStep = step;
    int64_t total = (int64_t)step * (int64_t)height;
    if ((uint64_t)total > (uint64_t)kInt32Max) return nullptr;
    return (T*)zelMalloc((int)total);
}

template <typename T, int Channels>
T* alloc64(Zel64s width, Zel64s height, Zel64s* pStep) {
    if (!pStep) return nullptr;
    if (width < 1 || height < 1) {
        *pStep = 0;
        return nullptr;
    }
    int64_t rowBytes, rounded;
    if (__builtin_mul_overflow(width, (int64_t)(sizeof(T) * Channels), &rowBytes) ||
        __builtin_add_overflow(rowBytes, (int64_t)63, &rounded)) {
        *pStep = 0;
        return nullptr;
    }
    int64_t step = rounded & ~(int64_t)63;
    *pStep = step;
    int64_t total;
    if (__builtin_mul_overflow(step, height, &total)) return nullptr;  // step kept
    return (T*)zelMalloc_L(total);
}

void free_image(void* p) { zelFree(p); }

}  // namespace

// Complex samples are two of the base type: a pixel of 32fc C3 is 24 bytes.
#define ZEL_MALLOC(t, T, lay, ch)                         \
    ZEL_IMPL(zeliMalloc_##t##_##lay, alloc32<T, ch>)      \
    ZEL_IMPL(zeliMalloc_##t##_##lay##_L, alloc64<T, ch>)
#define ZEL_MALLOC_TYPE(t, T)       \
    ZEL_MALLOC(t, T, C1, 1)         \
    ZEL_MALLOC(t, T, C2, 2)         \
    ZEL_MALLOC(t, T, C3, 3)         \
    ZEL_MALLOC(t, T, C4, 4)         \
    ZEL_MALLOC(t, T, AC4, 4)

ZEL_MALLOC_TYPE(8u, Zel8u)
ZEL_MALLOC_TYPE(16u, Zel16u)
ZEL_MALLOC_TYPE(16s, Zel16s)
ZEL_MALLOC_TYPE(32s, Zel32s)
ZEL_MALLOC_TYPE(32f, Zel32f)
ZEL_MALLOC_TYPE(32sc, Zel32sc)
ZEL_MALLOC_TYPE(32fc, Zel32fc)

ZEL_IMPL(zeliFree, free_image)
