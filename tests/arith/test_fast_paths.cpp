// Paths that only large images take: non-temporal stores with their source prefetching, a
// constant pattern held in registers whose phase follows the unaligned head of every row, and
// 16-bit operations in 256-bit halves. Each image moves half of the largest cache or more and
// is checked against the rule; sources end right before a guard page.
#include "sample_ops.h"
#include "streamed_height.h"

namespace {

// The destination's rows start `shift` samples past a 64-byte boundary and drift by 7 samples
// a row; with no shift every row is aligned.
void streamed(const char* name, int w, int shift, int sf = 0) {
    const ar::Member m = ar::member(zt::parseName(name));
    const int64_t sz = m.sampleBytes, row = w * m.channels * sz;
    const int64_t h = zt::streamedHeight((m.shape == ar::Shape::Binary ? 3 : 2) * row);
    if (!h) GTEST_SKIP() << "largest cache unknown or too large for a streamed image";
    zt::Rng rng = zt::Rng::forTest();
    ar::Trial t = ar::makeTrial(m, rng, zt::Tight::End, w, h, true, (row + 63) / 64 * 64 + 64 + (shift ? 7 * sz : 0), shift * sz);
    t.args.sf = sf;
    if (m.shifts()) *(uint32_t*)t.args.value = 3;
    SCOPED_TRACE(name);
    ar::expectModel(m, t);
}

TEST(ArithStreamed, ConstantPatternFollowsTheRowHead) {
    streamed("zeliAddC_8u_C3RSfs", 700, 5);
    streamed("zeliMulC_16s_C3RSfs", 700, 3, 1);
    streamed("zeliAddC_32f_C3R", 700, 2);
}

TEST(ArithStreamed, EngineRowsWithPrefetch) {
    streamed("zeliXor_8u_C1R", 1000, 0);
    streamed("zeliRShiftC_16s_C1R", 1000, 0);
    streamed("zeliComplement_16s_C1R", 1000, 0);
    streamed("zeliSqrt_32f_C1R", 1000, 0);
}

}  // namespace
