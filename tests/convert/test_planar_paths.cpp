// The streamed planar conversions: images that move half of the largest cache or more,
// whose destination rows start on 64-byte boundaries, take non-temporal stores and prefetch
// their sources. Checked against the rule on padded rows (a partial block at every row's end)
// and on packed rows (one long row), sources ending right before a guard page.
#include <algorithm>
#include <vector>

#include "zel/zel.h"
#include "streamed_height.h"
#include "zel_test_kit.h"

namespace {

template <typename T>
using SplitFn = ZelStatus (*)(const T*, int, T* const*, int, ZeliSize);
template <typename T>
using MergeFn = ZelStatus (*)(const T* const*, int, T*, int, ZeliSize);

// Splits and merges w x h images of C channels, with padded or packed rows.
template <typename T, int C>
void checkBothWays(SplitFn<T> split, MergeFn<T> merge, int64_t w, bool packed) {
    constexpr int64_t S = sizeof(T);
    const int64_t h = zt::streamedHeight(2 * w * C * S);
    if (!h) GTEST_SKIP() << "largest cache unknown or too large for a streamed image";
    const int64_t pixelStep = packed ? w * C * S : (w * C * S + 127) / 64 * 64;
    const int64_t planeStep = packed ? w * S : (w * S + 127) / 64 * 64;
    zt::Rng rng = zt::Rng::forTest();
    const ZeliSize roi{(int)w, (int)h};

    zt::Region pixels(w * C * S, h, pixelStep, zt::Tight::End);
    pixels.randomize(rng);
    std::vector<zt::Region> planes;
    T* dst[C];
    for (int c = 0; c < C; ++c) {
        planes.emplace_back(w * S, h, planeStep, zt::Tight::Start);  // rows on 64-byte boundaries
        planes[c].fill(0);
        dst[c] = (T*)planes[c].origin();
    }
    ASSERT_EQ(split((const T*)pixels.origin(), (int)pixelStep, dst, (int)planeStep, roi), zelStsNoErr);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x)
            for (int c = 0; c < C; ++c)
                ASSERT_EQ(memcmp(planes[c].row(y) + x * S, pixels.row(y) + (x * C + c) * S, S), 0)
                    << "split: row " << y << " pixel " << x << " channel " << c;

    for (int c = 0; c < C; ++c) {
        zt::Region fresh(w * S, h, planeStep, zt::Tight::End);  // sources against the guard
        fresh.randomize(rng);
        planes[c] = std::move(fresh);
    }
    const T* src[C];
    for (int c = 0; c < C; ++c) src[c] = (const T*)planes[c].origin();
    zt::Region out(w * C * S, h, pixelStep, zt::Tight::Start);
    out.fill(0);
    ASSERT_EQ(merge(src, (int)planeStep, (T*)out.origin(), (int)pixelStep, roi), zelStsNoErr);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x)
            for (int c = 0; c < C; ++c)
                ASSERT_EQ(memcmp(out.row(y) + (x * C + c) * S, planes[c].row(y) + x * S, S), 0)
                    << "merge: row " << y << " pixel " << x << " channel " << c;
}

TEST(PlanarStreamed, ThreeChannels8u) {
    checkBothWays<Zel8u, 3>(zeliCopy_8u_C3P3R, zeliCopy_8u_P3C3R, 1000, false);
    checkBothWays<Zel8u, 3>(zeliCopy_8u_C3P3R, zeliCopy_8u_P3C3R, 1001, true);
}

TEST(PlanarStreamed, FourChannels16s) {
    checkBothWays<Zel16s, 4>(zeliCopy_16s_C4P4R, zeliCopy_16s_P4C4R, 517, false);
    checkBothWays<Zel16s, 4>(zeliCopy_16s_C4P4R, zeliCopy_16s_P4C4R, 517, true);
}

TEST(PlanarStreamed, ThreeChannels32f) { checkBothWays<Zel32f, 3>(zeliCopy_32f_C3P3R, zeliCopy_32f_P3C3R, 333, false); }

}  // namespace
