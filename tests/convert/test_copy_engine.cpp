// The 64-bit copies' piecewise row loop (kernels/copy_engine.cpp, compiled into this test) with
// piece sizes of a few bytes, which no public call reaches: pieces cover each row exactly once,
// and a failing piece makes the row's status.
#pragma GCC push_options
#pragma GCC target("avx512f,avx512cd")
#include "../../kernels/copy_engine.cpp"
#pragma GCC pop_options

#include "zel_test_kit.h"

namespace {

TEST(CopyEngineUnit, ChunkedRowsCoverEachRowOnce) {
    zt::Rng rng = zt::Rng::forTest();
    for (int64_t chunk : {1, 7, 64, 333, 1000, 5000}) {
        const int64_t row = 1000, height = 5, srcStep = 1100, dstStep = -1037;
        zt::Region src(row, height, srcStep), dst(row, height, dstStep, zt::Tight::Start);
        src.randomize(rng), dst.randomize(rng);
        std::vector<uint8_t> want = dst.bytes();
        for (int64_t y = 0; y < height; ++y) memcpy(want.data() + (dst.row(y) - dst.lo()), src.row(y), (size_t)row);
        EXPECT_EQ(zel::ownsCopyRowsChunked_8u(src.origin(), srcStep, dst.origin(), dstStep, row, height, chunk), zelStsNoErr);
        EXPECT_EQ(dst.bytes(), want) << "chunk " << chunk;
    }
    EXPECT_EQ(zel::ownsCopyRowsChunked_8u(nullptr, 0, (Zel8u*)16, 0, 10, 1, 16), zelStsNullPtrErr);
}

}  // namespace
