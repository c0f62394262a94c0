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

constexpr int64_t kPage64 = 64;
int64_t roundUp64(int64_t n) { return (n + kPage64 - 1) / kPage64 * kPage64; }

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

TEST(ImageMemory, EveryAllocatorHasALongForm) {
    EXPECT_EQ(2 * allocators().size(), zt::exportsOf({"Malloc"}).size());
    for (auto& a : allocators()) EXPECT_TRUE(a.fn32 && a.fnL && a.pixelBytes) << a.name;
}

// Every allocator: rows on 64-byte boundaries, step = row bytes rounded up to 64, one block of
// step x height from the core allocator (every byte of it writable), released by zeliFree.
TEST(ImageMemory, EveryAllocatorAlignsAndSizes) {
    zt::Rng rng = zt::Rng::forTest();
    for (auto& a : allocators()) {
        SCOPED_TRACE(a.name.c_str());
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
                EXPECT_EQ(g.calls32, !longForm);
                EXPECT_EQ(g.callsL, longForm);
                EXPECT_EQ(g.len, step * h);
                memset(p, 0xA5, (size_t)(step * h));
                zeliFree(p);
                EXPECT_EQ(g.frees, 1);
                EXPECT_EQ(g.freed, p);
            }
        }
    }
}

// The rule by example: one pixel, a 300-byte row, a 24-byte pixel, a row of exactly 64 bytes.
TEST(ImageMemory, KnownSteps) {
    int step = -1;
    auto expect = [&](void* p, int wantStep, int64_t wantLen) {
        EXPECT_NE(p, nullptr);
        EXPECT_EQ(step, wantStep);
        EXPECT_EQ(g.len, wantLen);
        zeliFree(p);
    };
    expect(zeliMalloc_8u_C1(1, 1, &step), 64, 64);
    expect(zeliMalloc_8u_C3(100, 10, &step), 320, 3200);
    expect(zeliMalloc_32fc_C3(1, 1, &step), 64, 64);
    expect(zeliMalloc_8u_C1(64, 2, &step), 64, 128);
}

TEST(ImageMemory, FreeHandsNullOn) {
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

TEST(ImageMemory, RowBytesAboveTheBound) {
    reset();
    int step = 7;
    EXPECT_EQ(zeliMalloc_32fc_C4(67108864, 1, &step), nullptr);  // 2^31 row bytes
    EXPECT_EQ(step, 0);
    step = 7;
    EXPECT_EQ(zeliMalloc_16u_C1(1073741824, 1, &step), nullptr);
    EXPECT_EQ(step, 0);
    EXPECT_EQ(g.calls32, 0);
}

// A block above the bound fails with the step already written: it is kept.
TEST(ImageMemory, BlockAboveTheBoundKeepsTheStep) {
    reset(true);
    int step = 7;
    EXPECT_EQ(zeliMalloc_8u_C1(65536, 32768, &step), nullptr);  // 2^31 bytes
    EXPECT_EQ(step, 65536);
    // Row bytes at the bound round to a step that no longer fits: stored as it wraps.
    step = 7;
    EXPECT_EQ(zeliMalloc_8u_C1(INT_MAX, 1, &step), nullptr);
    EXPECT_EQ(step, INT_MIN);
    step = 7;
    EXPECT_EQ(zeliMalloc_16u_C1(1073741823, 1, &step), nullptr);
    EXPECT_EQ(step, INT_MIN);
    step = 7;
    EXPECT_EQ(zeliMalloc_8u_C1(64, 33554432, &step), nullptr);
    EXPECT_EQ(step, 64);
    EXPECT_EQ(g.calls32, 0);

    // Just below the bound the request goes to the core allocator, whose answer is returned.
    reset(true);
    EXPECT_EQ(zeliMalloc_8u_C1(64, 33554431, &step), kMarker);
    EXPECT_EQ(g.len, 2147483584);
    reset(true, nullptr);
    step = 7;
    EXPECT_EQ(zeliMalloc_8u_C4(1000, 1000, &step), nullptr);
    EXPECT_EQ(step, 4032) << "a failing core allocator leaves the step";
    EXPECT_EQ(g.calls32, 1);
}

TEST(ImageMemory, LongFormsLiftThe32BitBounds) {
    reset(true);
    Zel64s step = 7;
    EXPECT_EQ(zeliMalloc_32fc_C4_L(67108864, 1, &step), kMarker);
    EXPECT_EQ(step, 2147483648);
    EXPECT_EQ(g.len, 2147483648);
    EXPECT_EQ(zeliMalloc_8u_C1_L(65536, 32768, &step), kMarker);
    EXPECT_EQ(step, 65536);
    EXPECT_EQ(g.len, 2147483648);
    EXPECT_EQ(zeliMalloc_8u_C1_L(1, 1, &step), kMarker);
    EXPECT_EQ(step, 64);
    EXPECT_EQ(g.len, 64);
    EXPECT_EQ(zeliMalloc_8u_C1_L((Zel64s)1 << 40, (Zel64s)1 << 20, &step), kMarker);
    EXPECT_EQ(g.len, (Zel64s)1 << 60);
    EXPECT_EQ(g.calls32, 0);
}

TEST(ImageMemory, LongFormOverflow) {
    reset(true);
    // The row does not fit 64 bits, or its rounding up wraps: the step is cleared.
    const Zel64s rowOverflow[][2] = {{INT64_MAX, 1}, {INT64_MAX - 62, 1}};
    for (auto& wh : rowOverflow) {
        Zel64s step = 7;
        EXPECT_EQ(zeliMalloc_8u_C1_L(wh[0], wh[1], &step), nullptr) << wh[0];
        EXPECT_EQ(step, 0) << wh[0];
    }
    Zel64s step = 7;
    EXPECT_EQ(zeliMalloc_32fc_C4_L(INT64_MAX / 16, 1, &step), nullptr);
    EXPECT_EQ(step, 0);
    EXPECT_EQ(g.callsL, 0);

    // The largest row that still rounds.
    EXPECT_EQ(zeliMalloc_8u_C1_L(INT64_MAX - 63, 1, &step), kMarker);
    EXPECT_EQ(step, INT64_MAX - 63);
    EXPECT_EQ(g.callsL, 1);

    // step x height does not fit: null with the step kept.
    reset(true);
    step = 7;
    EXPECT_EQ(zeliMalloc_8u_C1_L((Zel64s)1 << 40, (Zel64s)1 << 30, &step), nullptr);
    EXPECT_EQ(step, (Zel64s)1 << 40);
    step = 7;
    EXPECT_EQ(zeliMalloc_8u_C1_L(INT64_MAX - 63, 2, &step), nullptr);
    EXPECT_EQ(step, INT64_MAX - 63);
    step = 7;
    EXPECT_EQ(zeliMalloc_16s_AC4_L((Zel64s)1 << 29, (Zel64s)1 << 31, &step), nullptr);  // 2^32 x 2^31
    EXPECT_EQ(step, (Zel64s)1 << 32);
    EXPECT_EQ(g.callsL, 0);
}

}  // namespace
