// Unit tests of the row-copy engine itself (kernels/copy_engine.cpp, compiled into this test):
// which store path each geometry takes, the piecewise row loop of the 64-bit copies with a
// small piece size, and the fill engine's string-store and vector paths. The public members
// and their guard-page behaviour are tested through the library in test_copy_paths.cpp.
#pragma GCC push_options
#pragma GCC target("avx512f,avx512cd")
#include "../../kernels/copy_engine.cpp"
#pragma GCC pop_options

#include "zel_test_kit.h"

namespace {

using zel::CopyPath;

// Plans a copy at fake addresses: the plan never touches memory.
zel::CopyPlan plan(uintptr_t src, int64_t srcStep, uintptr_t dst, int64_t dstStep, int64_t rowBytes, int64_t height) {
    return zel::ownsPlanCopy2D_8u((const uint8_t*)src, srcStep, (const uint8_t*)dst, dstStep, rowBytes, height);
}

bool streams(int64_t total) {
    int cache = 0;
    if (total >= ((int64_t)1 << 31)) return true;
    return total > 0x300000 && zelGetMaxCacheSizeB(&cache) == zelStsNoErr && cache > 0 && 2 * total >= cache;
}

TEST(CopyEngineUnit, PackedBlocksBecomeOneRow) {
    zel::CopyPlan p = plan(0x10000, 100, 0x20000, 100, 100, 30);
    EXPECT_EQ(p.rowBytes, 3000);
    EXPECT_EQ(p.height, 1);
    EXPECT_EQ(p.path, CopyPath::Unaligned);  // 3000 is not a multiple of 32
    p = plan(0x10000, 96, 0x20800, 96, 96, 1000);
    EXPECT_EQ(p.rowBytes, 96000);
    EXPECT_EQ(p.path, CopyPath::Aligned);
    // 2^31 bytes and more are never joined, and always streamed.
    p = plan(0x10000, 1 << 16, 0x20000, 1 << 16, 1 << 16, 1 << 15);
    EXPECT_EQ(p.height, 1 << 15);
    EXPECT_EQ(p.path, CopyPath::StreamAligned);
}

TEST(CopyEngineUnit, NarrowRowsBelow512Bytes) {
    EXPECT_EQ(plan(0x10000, 640, 0x20800, 640, 511, 4).path, CopyPath::Narrow);
    EXPECT_EQ(plan(0x10000, 640, 0x20800, 640, 512, 4).path, CopyPath::Aligned);
    EXPECT_EQ(plan(0x10000, 0, 0x20000, -600, 1, 4).path, CopyPath::Narrow);
    // Narrow rows of 2^31 bytes in all are streamed instead.
    EXPECT_EQ(plan(0x10000, 64, 0x20000, 64, 32, (int64_t)1 << 26).path, CopyPath::StreamAligned);
}

TEST(CopyEngineUnit, CachedPathAlignmentTests) {
    // Any of destination, dstStep and rowBytes off the 32-byte grid: the unaligned copy.
    EXPECT_EQ(plan(0x10000, 4096, 0x20010, 4096, 1024, 8).path, CopyPath::Unaligned);
    EXPECT_EQ(plan(0x10000, 4096, 0x20000, 4112, 1024, 8).path, CopyPath::Unaligned);
    EXPECT_EQ(plan(0x10000, 4096, 0x20000, 4096, 1040, 8).path, CopyPath::Unaligned);
    // The source alignment plays no part.
    EXPECT_EQ(plan(0x10003, 4099, 0x20800, 4096, 1024, 8).path, CopyPath::Aligned);
}

TEST(CopyEngineUnit, AliasingWindowIsZeroTo159AfterTheSource) {
    for (int64_t d : {0, 32, 128, 159 / 32 * 32})
        EXPECT_EQ(plan(0x10100, 4096, 0x20100 + d, 4096, 1024, 8).path, CopyPath::AlignedAhead) << d;
    for (int64_t d : {160, 192, -32, 4064})
        EXPECT_EQ(plan(0x10100, 4096, 0x20100 + d, 4096, 1024, 8).path, CopyPath::Aligned) << d;
    // Only with equal steps.
    EXPECT_EQ(plan(0x10100, 4160, 0x20100, 4096, 1024, 8).path, CopyPath::Aligned);
}

TEST(CopyEngineUnit, StreamingThresholds) {
    EXPECT_FALSE(zel::ownsUseStreaming(0x300000));
    EXPECT_TRUE(zel::ownsUseStreaming((int64_t)1 << 31));
    for (int64_t total : {(int64_t)0x300001, (int64_t)1 << 23, (int64_t)1 << 24, (int64_t)1 << 26, (int64_t)1 << 30})
        EXPECT_EQ(zel::ownsUseStreaming(total), streams(total)) << total;
    if (!streams((int64_t)1 << 30)) return;  // no cache size to compare with
    EXPECT_EQ(plan(0x10000, 1 << 27, 0x20040, 1 << 27, 1 << 27, 8).path, CopyPath::StreamAligned);
    EXPECT_EQ(plan(0x10000, 1 << 27, 0x20020, 1 << 27, 1 << 27, 8).path, CopyPath::StreamUnaligned);
    EXPECT_EQ(plan(0x10000, (1 << 27) + 32, 0x20040, (1 << 27) + 32, (1 << 27) + 32, 8).path,
              CopyPath::StreamUnaligned);
}

// The 64-bit row loop with a piece size of a few bytes: pieces cover each row exactly once.
TEST(CopyEngineUnit, ChunkedRowsCoverEachRowOnce) {
    zt::Rng rng = zt::Rng::forTest();
    for (int64_t chunk : {1, 7, 64, 333, 1000, 5000}) {
        int64_t row = 1000, height = 5, srcStep = 1100, dstStep = -1037;
        zt::Region src(row, height, srcStep), dst(row, height, dstStep, zt::Tight::Start);
        src.randomize(rng), dst.randomize(rng);
        std::vector<uint8_t> want = dst.bytes();
        for (int64_t y = 0; y < height; ++y)
            memcpy(want.data() + (dst.row(y) - dst.lo()), src.row(y), (size_t)row);
        EXPECT_EQ(zel::ownsCopyRowsChunked_8u(src.origin(), srcStep, dst.origin(), dstStep, row, height, chunk),
                  zelStsNoErr);
        EXPECT_EQ(dst.bytes(), want) << "chunk " << chunk;
    }
    EXPECT_EQ(zel::ownsCopy_8u(nullptr, (Zel8u*)16, 4), zelStsNullPtrErr);
    EXPECT_EQ(zel::ownsCopy_8u((const Zel8u*)16, (Zel8u*)16, 0), zelStsSizeErr);
    // A failing piece makes the row's status.
    EXPECT_EQ(zel::ownsCopyRowsChunked_8u(nullptr, 0, (Zel8u*)16, 0, 10, 1, 16), zelStsNullPtrErr);
}

// Every pixel size of the fill engine, on rows that take the string stores (more than 1 MiB,
// rows of 4 KiB and more) and on short rows that take vector stores; padding stays as it was.
TEST(CopyEngineUnit, FillEveryPixelSize) {
    zt::Rng rng = zt::Rng::forTest();
    for (int pixel : {1, 2, 3, 4, 6, 8, 12, 16}) {
        for (auto [rowPixels, height, pad] : {std::tuple{5000, 300, 24}, {5000, 300, 0}, {20000, 30, 8}, {37, 9, 5}, {200, 3, 0}}) {
            int64_t row = (int64_t)rowPixels * pixel, step = row + pad;
            zt::Region dst(row, height, step, zt::Tight::End, rng.range(0, 63));
            dst.randomize(rng);
            uint8_t value[16];
            rng.fill(value, sizeof value);
            std::vector<uint8_t> want = dst.bytes();
            for (int64_t y = 0; y < height; ++y)
                for (int64_t i = 0; i < row; ++i) want[(dst.row(y) - dst.lo()) + i] = value[i % pixel];
            zel::ownsFill2D_8u(value, pixel, dst.origin(), step, row, height);
            EXPECT_EQ(dst.bytes(), want) << "pixel " << pixel << ", row " << row << ", pad " << pad;
        }
    }
}

}  // namespace
