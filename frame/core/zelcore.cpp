// libzelcore: aligned allocation, cache geometry and processor features for libzeli.
// Plain C++ without the C++ runtime: the library needs only libc.
#include "zel/zelcore.h"

#include <cpuid.h>
#include <stdlib.h>

#define ZEL_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr size_t kAlign = 64;

struct Cpuid {
    unsigned a = 0, b = 0, c = 0, d = 0;
};

Cpuid cpuid(unsigned leaf, unsigned sub = 0) {
    Cpuid r;
    __cpuid_count(leaf, sub, r.a, r.b, r.c, r.d);
    return r;
}

bool is_amd() {
    Cpuid v = cpuid(0);
    // "AuthenticAMD" and "HygonGenuine" describe caches in leaf 0x8000001D.
    return (v.b == 0x68747541 && v.d == 0x69746e65) || (v.b == 0x6f677948 && v.d == 0x6e65476e);
}

// Walks the deterministic cache descriptors (leaf 4, or 0x8000001D on AMD, same layout) and
// reports the largest cache and its line size. Returns false when the processor has none.
bool read_caches(long long* largest, int* line) {
    unsigned leaf = 4;
    if (is_amd()) {
        if (cpuid(0x80000000).a < 0x8000001D) return false;
        leaf = 0x8000001D;
    } else if (cpuid(0).a < 4) {
        return false;
    }
    *largest = 0;
    *line = 0;
    for (unsigned i = 0; i < 16; ++i) {
        Cpuid r = cpuid(leaf, i);
        unsigned type = r.a & 0x1F;
        if (type == 0) break;
        if (type == 2) continue;  // instruction cache
        long long ways = ((r.b >> 22) & 0x3FF) + 1;
        long long parts = ((r.b >> 12) & 0x3FF) + 1;
        long long lsize = (r.b & 0xFFF) + 1;
        long long sets = (long long)r.c + 1;
        long long size = ways * parts * lsize * sets;
        if (size > *largest) *largest = size;
        if (*line == 0) *line = (int)lsize;
    }
    return *largest > 0;
}

void* aligned(size_t len) {
    void* p = nullptr;
    return posix_memalign(&p, kAlign, len) == 0 ? p : nullptr;
}

}  // namespace

ZEL_EXPORT void* zelMalloc(int len) { return len > 0 ? aligned((size_t)len) : nullptr; }

ZEL_EXPORT void* zelMalloc_L(Zel64s len) { return len > 0 ? aligned((size_t)len) : nullptr; }

ZEL_EXPORT void zelFree(void* ptr) { free(ptr); }

ZEL_EXPORT ZelStatus zelGetMaxCacheSizeB(int* pSizeByte) {
    if (!pSizeByte) return zelStsNullPtrErr;
    long long size;
    int line;
    if (!read_caches(&size, &line)) {
        *pSizeByte = 0;
        return zelStsNotSupportedModeErr;
    }
    *pSizeByte = size > 0x7FFFFFFF ? 0x7FFFFFFF : (int)size;
    return zelStsNoErr;
}

ZEL_EXPORT ZelStatus zel_get_cache_line_size(int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    long long size;
    int line = 0;
    *pSize = read_caches(&size, &line) && line > 0 ? line : 64;
    return zelStsNoErr;
}

ZEL_EXPORT Zel64u zelGetCpuFeatures(void) {
    Zel64u f = 0;
    Cpuid l1 = cpuid(1);
    if (l1.c & bit_SSE4_2) f |= zelCpuSSE42;
    if (l1.c & bit_AVX) f |= zelCpuAVX;
    if (l1.c & bit_FMA) f |= zelCpuFMA;
    if (cpuid(0).a >= 7) {
        Cpuid l7 = cpuid(7);
        if (l7.b & bit_AVX2) f |= zelCpuAVX2;
        if (l7.b & bit_BMI2) f |= zelCpuBMI2;
        if (l7.b & bit_AVX512F) f |= zelCpuAVX512F;
        if (l7.b & bit_AVX512CD) f |= zelCpuAVX512CD;
        if (l7.b & bit_AVX512ER) f |= zelCpuAVX512ER;
        if (l7.b & bit_AVX512PF) f |= zelCpuAVX512PF;
        if (l7.b & bit_AVX512BW) f |= zelCpuAVX512BW;
        if (l7.b & bit_AVX512DQ) f |= zelCpuAVX512DQ;
        if (l7.b & bit_AVX512VL) f |= zelCpuAVX512VL;
    }
    if (l1.c & bit_OSXSAVE) {
        unsigned lo, hi;
        __asm__("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
        if ((lo & 0xE6) == 0xE6) f |= zelCpuOSAVX512;  // SSE, AVX, opmask and ZMM state enabled
    }
    return f;
}

ZEL_EXPORT int ownGetFeature(Zel64u mask) { return (zelGetCpuFeatures() & mask) == mask; }
