// The copy engine's paths that random geometry rarely reaches (streaming stores above the
// cache, the 4 KiB-aliasing variant, cache-managed copies at every head alignment) and the
// rules of single members that deserve a name of their own.
#include <numeric>

#include "copy_members.h"
#include "zel/zelcore.h"

namespace {

using ct::Args;
using ct::Member;

// A same-layout copy between two images placed at chosen byte offsets after their guard pages.
void copyAt(const Member& m, int width, int height, int64_t srcStep, int64_t dstStep, int64_t srcSlack,
            int64_t dstSlack) {
    zt::Rng rng = zt::Rng::forTest(srcSlack * 4099 + dstSlack);
    int64_t rowBytes = (int64_t)width * m.dst.stride * m.elem;
    zt::Region src(rowBytes, height, srcStep, zt::Tight::Start, srcSlack);
    zt::Region dst(rowBytes, height, dstStep, zt::Tight::Start, dstSlack);
    src.randomize(rng), dst.randomize(rng);
    Args a;
    a.src[0] = src.origin(), a.srcStep = srcStep, a.dst[0] = dst.origin(), a.dstStep = dstStep;
    a.width = width, a.height = height;
    ct::expectModel(m, a, {&src, &dst});
}

int64_t largestCache() {
    int size = 0;
    return zelGetMaxCacheSizeB(&size) == zelStsNoErr ? size : 0;
}

// Above 3 MiB and at least half the largest cache the copy streams past the cache: aligned
// (destination and step on 64 bytes, rows a multiple of 32), unaligned, and as one packed block.
TEST(CopyEngine, StreamingCopies) {
    const Member& m = ct::member("zeliCopy_8u_C4R");
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    int width = 4096, height = 2048;
    int64_t cache = largestCache();
    while ((int64_t)width * 4 * height < std::max<int64_t>(cache / 2, 0x300001)) height *= 2;
    RecordProperty("largest_cache", (int)cache);
    int64_t row = (int64_t)width * 4;
    {
        SCOPED_TRACE("aligned");
        copyAt(m, width, height, row + 64, row + 64, 0, 0);
    }
    {
        SCOPED_TRACE("unaligned destination and step");
        copyAt(m, width - 3, height, row + 7, row + 20, 64, 8);
    }
    {
        SCOPED_TRACE("packed");
        copyAt(m, width, height, row, row, 0, 0);
    }
    // Three-channel float rows are not a multiple of 32 bytes.
    const Member& f = ct::member("zeliCopy_32f_C3R");
    SCOPED_TRACE("32f C3");
    int64_t fRow = 1365 * 12, fHeight = std::max<int64_t>(cache / 2, 0x300001) / fRow + 2;
    copyAt(f, 1365, (int)fHeight, fRow + 36, fRow + 4, 0, 64);
}

// Just above 3 MiB but below half the cache (where the cache is that large) the cached path
// remains.
TEST(CopyEngine, JustAboveThreeMebibytes) {
    const Member& m = ct::member("zeliCopy_8u_C1R");
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    copyAt(m, 4096, 769, 4096 + 32, 4096 + 32, 0, 0);
    copyAt(m, 4095, 769, 4100, 4104, 3, 5);
}

// Equal steps with the destination 0..159 bytes after the source modulo 4096 (32-byte aligned)
// take the variant ordered against 4 KiB aliasing; the neighbours of that window do not.
TEST(CopyEngine, FourKibibyteAliasing) {
    for (const char* name : {"zeliCopy_8u_C1R", "zeliCopy_16s_C3R", "zeliCopy_32f_C4R", "zeliCopy_8u_C4R"}) {
        const Member& m = ct::member(name);
        if (zt::isPlaceholder(name)) continue;
        SCOPED_TRACE(name);
        int pixel = m.dst.stride * m.elem, w0 = 32 / std::gcd(pixel, 32);  // rows of whole 32-byte units
        for (int bytes : {1024, 2048, 8192}) {
            int width = (bytes / pixel + w0 - 1) / w0 * w0;
            int64_t row = (int64_t)width * pixel, step = row + 96;
            for (int64_t d : {0, 32, 64, 96, 128, 160, 192, 4064, 4000}) {
                SCOPED_TRACE(::testing::Message() << "row " << row << ", d " << d);
                copyAt(m, width, 24, step, step, 256, 256 + d);
                copyAt(m, width, 24, step, step, 512 + 32, 512 + 32 + d);
            }
            // Same offsets, destination off the 32-byte grid.
            copyAt(m, width, 24, step, step, 256, 256 + 40);
            if (HasFailure()) return;
        }
    }
}

// Every flag value, every destination head alignment up to 64 bytes, packed and padded.
TEST(CopyEngine, ManagedCopyFlagsAndHeads) {
    const Member& m = ct::member("zeliCopyManaged_8u_C1R");
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::Rng rng = zt::Rng::forTest();
    for (int flags : {0, 1, 2, 3, 4, -1})
        for (int head = 0; head < 64; head += (int)rng.range(1, 9)) {
            int width = (int)rng.pick(std::vector<int>{1, 15, 64, 200, 1000, 5000});
            int height = (int)rng.range(1, 5);
            bool packed = rng.chance(0.5);
            int64_t srcStep = packed ? width : width + rng.range(1, 100);
            int64_t dstStep = packed ? width : width + rng.range(1, 100);
            zt::Region src(width, height, srcStep, zt::Tight::Start, rng.range(0, 63));
            zt::Region dst(width, height, dstStep, zt::Tight::Start, head);
            src.randomize(rng), dst.randomize(rng);
            Args a;
            a.src[0] = src.origin(), a.srcStep = srcStep, a.dst[0] = dst.origin(), a.dstStep = dstStep;
            a.width = width, a.height = height, a.flags = flags;
            SCOPED_TRACE(::testing::Message() << "flags " << flags << ", head " << head << ", " << width << "x"
                                              << height << (packed ? " packed" : ""));
            ct::expectModel(m, a, {&src, &dst});
            if (HasFailure()) return;
        }
}

// The 64-bit forms with steps no 32-bit form could carry (one row, so the step is never taken).
TEST(CopyEngine, LongFormsWithHugeSteps) {
    for (const char* name : {"zeliCopy_8u_C1R_L", "zeliCopy_16u_C3R_L", "zeliCopy_32f_AC4R_L"}) {
        const Member& m = ct::member(name);
        if (zt::isPlaceholder(name)) continue;
        SCOPED_TRACE(name);
        zt::Rng rng = zt::Rng::forTest();
        int64_t row = 777 * m.dst.stride * m.elem;
        for (int64_t step : {(int64_t)1 << 31, (int64_t)1 << 40, -((int64_t)1 << 35), (int64_t)0}) {
            zt::Region src(row, 1, step), dst(row, 1, -step);
            src.randomize(rng), dst.randomize(rng);
            Args a;
            a.src[0] = src.origin(), a.srcStep = step, a.dst[0] = dst.origin(), a.dstStep = -step;
            a.width = 777, a.height = 1;
            ct::expectModel(m, a, {&src, &dst});
        }
    }
}

// Two gibibytes of rows, all on the same memory: the 32-bit form streams (the total exceeds
// 2^31 bytes) and the 64-bit form runs its own row loop (width x height exceeds 2^31 - 1).
TEST(CopyEngine, ZeroStepsOverTwoGibibytes) {
    zt::Rng rng = zt::Rng::forTest();
    const int w = 65536, h = 32768;
    zt::Region src(w, 1, 0), dst(w, 1, 0);
    src.randomize(rng);
    if (!zt::isPlaceholder("zeliCopy_8u_C1R")) {
        dst.randomize(rng);
        ASSERT_EQ(zeliCopy_8u_C1R(src.origin(), 0, dst.origin(), 0, {w, h}), zelStsNoErr);
        EXPECT_EQ(memcmp(src.origin(), dst.origin(), w), 0);
    }
    if (!zt::isPlaceholder("zeliCopy_8u_C1R_L")) {
        dst.randomize(rng);
        ASSERT_EQ(zeliCopy_8u_C1R_L(src.origin(), 0, dst.origin(), 0, {w, h}), zelStsNoErr);
        EXPECT_EQ(memcmp(src.origin(), dst.origin(), w), 0);
    }
}

TEST(Copy, ZeroSourceStepReplicatesTheFirstRow) {
    ZT_SKIP_IF_PLACEHOLDER("zeliCopy_8u_C1R");
    zt::Rng rng = zt::Rng::forTest();
    zt::Region src(37, 1, 0), dst(37, 9, 41);
    src.randomize(rng), dst.randomize(rng);
    ASSERT_EQ(zeliCopy_8u_C1R(src.origin(), 0, dst.origin(), 41, {37, 9}), zelStsNoErr);
    for (int y = 0; y < 9; ++y) EXPECT_EQ(memcmp(dst.row(y), src.origin(), 37), 0) << "row " << y;
}

// Masked forms with an all-zero mask write nothing; AC4 forms never write alpha.
TEST(Copy, ZeroMaskWritesNothingAndAlphaStays) {
    zt::Rng rng = zt::Rng::forTest();
    for (auto& m : ct::members()) {
        bool ac4 = m.name.find("AC4") != std::string::npos && m.name.find("AC4C3") == std::string::npos;
        if ((!m.mask && !ac4) || zt::isPlaceholder(m.name.c_str())) continue;
        SCOPED_TRACE(m.name);
        ct::Trial t = ct::makeTrial(m, rng, zt::Tight::End);
        const zt::Region& dst = t.regions.front();  // the destination is made first
        if (m.mask) {
            zt::Region& mask = t.regions.back();
            mask.fill(0);
            zt::Shadow before({&dst});
            ASSERT_EQ(m.call(t.args), zelStsNoErr);
            EXPECT_TRUE(before.matches()) << "an all-zero mask";
            mask.fill(1);
        }
        if (ac4) {
            std::vector<uint8_t> alpha;
            auto collect = [&] {
                std::vector<uint8_t> v;
                for (int64_t y = 0; y < t.args.height; ++y)
                    for (int64_t x = 0; x < t.args.width; ++x) {
                        const uint8_t* p = t.args.dst[0] + y * (t.args.dstStep / m.elem * m.elem) + (4 * x + 3) * m.elem;
                        v.insert(v.end(), p, p + m.elem);
                    }
                return v;
            };
            alpha = collect();
            ASSERT_EQ(m.call(t.args), zelStsNoErr);
            EXPECT_EQ(collect(), alpha) << "alpha was written";
        }
    }
}

TEST(Set, SinglePrecisionBitPatternsAreKept) {
    const uint32_t patterns[] = {0x7fc12345u, 0xffc00001u, 0x7f800001u, 0x80000000u, 0xff800000u, 0x00000001u};
    zt::Rng rng = zt::Rng::forTest();
    for (auto& m : ct::members()) {
        if (m.family != ct::Family::Set || m.elem != 4 || m.name.find("32f") == std::string::npos) continue;
        if (zt::isPlaceholder(m.name.c_str())) continue;
        SCOPED_TRACE(m.name);
        for (uint32_t bits : patterns) {
            ct::Trial t = ct::makeTrial(m, rng, zt::Tight::End);
            for (int i = 0; i < 8; ++i) memcpy(t.args.value + 4 * i, &bits, 4);
            ct::expectModel(m, t.args, t.watch());
        }
    }
    // And directly: the scalar form stores the argument's exact bits.
    if (zt::isPlaceholder("zeliSet_32f_C1R")) return;
    zt::Region dst(4 * 33, 3, 4 * 40);
    for (uint32_t bits : patterns) {
        ASSERT_EQ(zeliSet_32f_C1R(zt::fromBits<float>(bits), (Zel32f*)dst.origin(), 160, {33, 3}), zelStsNoErr);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 33; ++x) {
                uint32_t got;
                memcpy(&got, dst.row(y) + 4 * x, 4);
                ASSERT_EQ(got, bits) << "pixel " << x << "," << y;
            }
    }
}

// C3C4R: an entry 0..2 takes that source channel, 3 the constant, above 3 leaves the channel.
TEST(SwapChannels, ThreeToFourChannelRule) {
    ZT_SKIP_IF_PLACEHOLDER("zeliSwapChannels_8u_C3C4R");
    const int w = 37, h = 3;
    zt::Region src(3 * w, h, 3 * w), dst(4 * w, h, 4 * w);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng);
    const int bgra[4] = {2, 1, 0, 3}, bgrKeep[4] = {2, 1, 0, 4}, wild[4] = {3, 2147483647, 1, 0};
    dst.fill(0x11);
    ASSERT_EQ(zeliSwapChannels_8u_C3C4R(src.origin(), 3 * w, dst.origin(), 4 * w, {w, h}, bgra, 255), zelStsNoErr);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t *s = src.row(y) + 3 * x, *d = dst.row(y) + 4 * x;
            ASSERT_TRUE(d[0] == s[2] && d[1] == s[1] && d[2] == s[0] && d[3] == 255) << x << "," << y;
        }
    dst.fill(0x11);
    ASSERT_EQ(zeliSwapChannels_8u_C3C4R(src.origin(), 3 * w, dst.origin(), 4 * w, {w, h}, bgrKeep, 255), zelStsNoErr);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) ASSERT_EQ(dst.row(y)[4 * x + 3], 0x11) << x << "," << y;
    dst.fill(0x22);
    ASSERT_EQ(zeliSwapChannels_8u_C3C4R(src.origin(), 3 * w, dst.origin(), 4 * w, {w, h}, wild, 7), zelStsNoErr);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t *s = src.row(y) + 3 * x, *d = dst.row(y) + 4 * x;
            ASSERT_TRUE(d[0] == 7 && d[1] == 0x22 && d[2] == s[1] && d[3] == s[0]) << x << "," << y;
        }
}

TEST(SwapChannels, FourToThreeTakesAlpha) {
    for (auto& m : ct::members()) {
        if (m.order != ct::Order::C4C3 || zt::isPlaceholder(m.name.c_str())) continue;
        SCOPED_TRACE(m.name);
        zt::Rng rng = zt::Rng::forTest();
        ct::Trial t = ct::makeTrial(m, rng, zt::Tight::Start);
        t.args.order[0] = 3, t.args.order[1] = 0, t.args.order[2] = 3;
        ct::expectModel(m, t.args, t.watch());
    }
}

// The three-channel out-of-place form accepts the same image as source and destination.
TEST(SwapChannels, ThreeChannelsWithSourceAsDestination) {
    for (auto& m : ct::members()) {
        if (m.family != ct::Family::Swap || m.inPlace || m.name.find("_C3R") == std::string::npos) continue;
        if (zt::isPlaceholder(m.name.c_str())) continue;
        SCOPED_TRACE(m.name);
        zt::forTrials(4, [&](zt::Rng& rng, zt::Tight tight, int) {
            ct::Trial t = ct::makeTrial(m, rng, tight, {0, 0, true, false});
            ct::expectModel(m, t.args, t.watch());
        });
    }
}

}  // namespace
