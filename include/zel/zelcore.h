/* libzelcore: the core services the image library builds on. Aligned allocation, the size
   of the processor's caches and processor-feature queries. */
#ifndef ZEL_ZELCORE_H
#define ZEL_ZELCORE_H

#include <stddef.h>
#include "zel/zeltypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Memory aligned to 64 bytes, or null when len is not positive or no memory is left. */
void* zelMalloc(int len);
void* zelMalloc_L(Zel64s len);
/* Releases memory of zelMalloc and zelMalloc_L; a null pointer is ignored. */
void zelFree(void* ptr);

/* Size in bytes of the largest cache of the processor (usually the last level), read from
   the processor's own cache descriptors. zelStsNotSupportedModeErr when none can be read. */
ZelStatus zelGetMaxCacheSizeB(int* pSizeByte);
/* Cache line size in bytes from the same descriptors (64 when they say nothing). */
ZelStatus zel_get_cache_line_size(int* pSize);

/* Processor features, one bit each, as reported by ownGetFeature. */
enum {
    zelCpuSSE42 = 1 << 0,
    zelCpuAVX = 1 << 1,
    zelCpuAVX2 = 1 << 2,
    zelCpuFMA = 1 << 3,
    zelCpuBMI2 = 1 << 4,
    zelCpuAVX512F = 1 << 5,
    zelCpuAVX512CD = 1 << 6,
    zelCpuAVX512ER = 1 << 7,
    zelCpuAVX512PF = 1 << 8,
    zelCpuAVX512BW = 1 << 9,
    zelCpuAVX512DQ = 1 << 10,
    zelCpuAVX512VL = 1 << 11,
    zelCpuOSAVX512 = 1 << 12 /* the operating system saves the AVX-512 state */
};
/* Non-zero when every bit of mask is a feature of this processor. */
int ownGetFeature(Zel64u mask);
/* All feature bits of this processor. */
Zel64u zelGetCpuFeatures(void);

#ifdef __cplusplus
}
#endif

#endif
