// Image memory: the allocators' steps, bounds and failures, observed through the core
// allocator. This executable defines zelMalloc, zelMalloc_L and zelFree itself and exports
// them, so the library binds to these: they record every request and either forward it to the
// core library or, in dry mode, answer with a marker address without allocating.
#include <dlfcn.h>
#include <limits.h>

#include "zel/zelcore.h"
#include "zel_test_kit.h"

namespace {

struct CoreLog {
    int calls32 = 0, callsL = 0, frees = 0;
    int64_t len = -1;
    void* freed = nullptr;
    bool dry = false;
    void* dryResult = nullptr;
} g;

void* const kMarker = (void*)(uintptr_t)0x7e5700000040ull;

template <class F>
F next(const char* name) {
    static_assert(sizeof(F) == sizeof(void*));
    return (F)dlsym(RTLD_NEXT, name);
}

void reset(bool dry = false, void* dryResult = kMarker) { g = CoreLog{}, g.dry = dry, g.dryResult = dryResult; }

}  // namespace

extern "C" {
__attribute__((visibility("default"))) void* zelMalloc(int len) {
    ++g.calls32, g.len = len;
    if (g.dry) return g.dryResult;
    static auto real = next<void* (*)(int)>("zelMalloc");
    return real(len);
}
__attribute__((visibility("default"))) void* zelMalloc_L(Zel64s len) {
    ++g.callsL, g.len = len;
    if (g.dry) return g.dryResult;
    static auto real = next<void* (*)(Zel64s)>("zelMalloc_L");
    return real(len);
}
__attribute__((visibility("default"))) void zelFree(void* p) {
    ++g.frees, g.freed = p;
    static auto real = next<void (*)(void*)>("zelFree");
    real(p);
}
}

namespace {

int64_t roundUp64(int64_t n) { return (n + 63) / 64 * 64; }

// Every allocator of the export list with its long form: name, pixel size, both calls.
struct Allocator {
    std::string name;
    int pixelBytes;
    void* fn32;
    void* fnL;
    void* alloc32(int w, int h, int* step) const { return zt::invoke<void*>(fn32, w, h, step); }
    void* allocL(Zel64s w, Zel64s h, Zel64s* step) const { return zt::invoke<void*>(fnL, w, h, step); }
};

const std::vector<Allocator>& allocators() {
    static const std::vector<Allocator> v = [] {
        std::vector<Allocator> v;
        for (auto& n : zt::namesOf({"Malloc"}))
            if (!n.longForm) v.push_back({n.name, n.sampleBytes * n.channels, n.fn, zt::parseName(n.name + "_L").fn});
        return v;
    }();
    return v;
}

// Every allocator and its long form: rows on 64-byte boundaries, step = row bytes rounded up to
// 64, one block of step x height from the core allocator (every byte of it writable), released
// by zeliFree, which hands null on too.
TEST(ImageMemory, EveryAllocatorAlignsAndSizes) {
    EXPECT_EQ(2 * allocators().size(), zt::exportsOf({"Malloc"}).size()) << "an allocator without a long form";
    zt::Rng rng = zt::Rng::forTest();
    for (auto& a : allocators()) {
        SCOPED_TRACE(a.name.c_str());
        ASSERT_TRUE(a.fn32 && a.fnL && a.pixelBytes);
        for (int t = 0; t < 6; ++t) {
            int w = t == 0 ? 64 / std::min(a.pixelBytes, 64) : (int)rng.range(1, 300), h = (int)rng.range(1, 5);
            int64_t step = roundUp64((int64_t)w * a.pixelBytes);
            for (bool longForm : {false, true}) {
                reset();
                int s32 = -1;
                Zel64s sL = -1;
                auto* p = (uint8_t*)(longForm ? a.allocL(w, h, &sL) : a.alloc32(w, h, &s32));
                ASSERT_NE(p, nullptr) << w << "x" << h << (longForm ? " _L" : "");
                EXPECT_EQ((uintptr_t)p % 64, 0u);
                EXPECT_EQ(longForm ? sL : s32, step) << w << "x" << h;
                EXPECT_EQ(g.calls32 * 10 + g.callsL, longForm ? 1 : 10);
                EXPECT_EQ(g.len, step * h);
                memset(p, 0xA5, (size_t)(step * h));
                zeliFree(p);
                EXPECT_EQ(g.frees, 1);
                EXPECT_EQ(g.freed, p);
            }
        }
    }
    reset();
    zeliFree(nullptr);
    EXPECT_EQ(g.frees, 1);
    EXPECT_EQ(g.freed, nullptr);
}

// Failures before the step is computed clear it; nothing is requested from the core allocator.
TEST(ImageMemory, BadSizesClearTheStep) {
    const int sizes[][2] = {{0, 5}, {5, 0}, {-1, 5}, {5, -1}, {INT_MIN, 1}, {1, INT_MIN}, {0, 0}};
    for (auto& a : allocators()) {
        for (auto& wh : sizes) {
            SCOPED_TRACE(::testing::Message() << a.name << " " << wh[0] << "x" << wh[1]);
            reset();
            int s32 = 12345;
            EXPECT_EQ(a.alloc32(wh[0], wh[1], &s32), nullptr);
            EXPECT_EQ(s32, 0);
            Zel64s sL = 12345;
            EXPECT_EQ(a.allocL(wh[0], wh[1], &sL), nullptr);
            EXPECT_EQ(sL, 0);
            EXPECT_EQ(g.calls32 + g.callsL, 0);
        }
        reset();
        EXPECT_EQ(a.alloc32(10, 10, nullptr), nullptr);
        EXPECT_EQ(a.allocL(10, 10, nullptr), nullptr);
        EXPECT_EQ(g.calls32 + g.callsL, 0) << a.name << ": null step pointer";
    }
}

// The bounds, with the core allocator answering `core` without allocating. A row above the
// bound clears the step and requests nothing; a block above it fails with the step already
// written (at the 32-bit bound the rounded step is stored as it wraps); just below, the request
// goes to the core allocator, whose answer is returned with the step. The long forms lift the
// 32-bit bounds; a row that does not fit 64 bits, or whose rounding wraps, clears the step.
TEST(ImageMemory, Bounds) {
    const int64_t big = INT64_MAX - 63, e40 = int64_t(1) << 40;
    const struct {
        const char* name;
        int64_t w, h;
        void* core;     // the core allocator's answer
        int64_t step;   // the step stored
        int64_t len;    // requested from the core allocator; -1: not called
    } cases[] = {
        {"zeliMalloc_32fc_C4", 67108864, 1, kMarker, 0, -1},  // 2^31 row bytes
        {"zeliMalloc_16u_C1", 1073741824, 1, kMarker, 0, -1},
        {"zeliMalloc_8u_C1", 65536, 32768, kMarker, 65536, -1},  // a block of 2^31 bytes
        {"zeliMalloc_8u_C1", INT_MAX, 1, kMarker, INT_MIN, -1},
        {"zeliMalloc_16u_C1", 1073741823, 1, kMarker, INT_MIN, -1},
        {"zeliMalloc_8u_C1", 64, 33554432, kMarker, 64, -1},
        {"zeliMalloc_8u_C1", 64, 33554431, kMarker, 64, 2147483584},
        {"zeliMalloc_8u_C4", 1000, 1000, nullptr, 4032, 4032000},  // a failing core allocator
        {"zeliMalloc_32fc_C4_L", 67108864, 1, kMarker, int64_t(1) << 31, int64_t(1) << 31},
        {"zeliMalloc_8u_C1_L", 65536, 32768, kMarker, 65536, int64_t(1) << 31},
        {"zeliMalloc_8u_C1_L", 1, 1, kMarker, 64, 64},
        {"zeliMalloc_8u_C1_L", e40, int64_t(1) << 20, kMarker, e40, int64_t(1) << 60},
        {"zeliMalloc_8u_C1_L", INT64_MAX, 1, kMarker, 0, -1},
        {"zeliMalloc_8u_C1_L", INT64_MAX - 62, 1, kMarker, 0, -1},
        {"zeliMalloc_32fc_C4_L", INT64_MAX / 16, 1, kMarker, 0, -1},
        {"zeliMalloc_8u_C1_L", big, 1, kMarker, big, big},  // the largest row that still rounds
        {"zeliMalloc_8u_C1_L", e40, int64_t(1) << 30, kMarker, e40, -1},
        {"zeliMalloc_8u_C1_L", big, 2, kMarker, big, -1},
        {"zeliMalloc_16s_AC4_L", int64_t(1) << 29, int64_t(1) << 31, kMarker, int64_t(1) << 32, -1},  // 2^32 x 2^31
    };
    for (auto& k : cases) {
        SCOPED_TRACE(::testing::Message() << k.name << " " << k.w << "x" << k.h);
        reset(true, k.core);
        zt::Name n = zt::parseName(k.name);
        int s32 = 7;
        Zel64s sL = 7;
        void* p = n.longForm ? zt::invoke<void*>(n.fn, (Zel64s)k.w, (Zel64s)k.h, &sL) : zt::invoke<void*>(n.fn, (int)k.w, (int)k.h, &s32);
        EXPECT_EQ(p, k.len < 0 ? nullptr : k.core);
        EXPECT_EQ(n.longForm ? sL : s32, k.step);
        EXPECT_EQ(g.calls32 + g.callsL, k.len >= 0);
        EXPECT_EQ(g.len, k.len);
        EXPECT_EQ(g.callsL, n.longForm && k.len >= 0);
    }
}

}  // namespace
