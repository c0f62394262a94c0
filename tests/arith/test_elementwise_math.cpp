// Accuracy of the single-precision Exp and Ln against libm (in double, rounded once) on dense
// samples of their whole ranges, and their special values. The library's results are within
// 1 ulp of the correctly rounded value; whole rows run through the same vector code as their
// tails, so a value gives the same result wherever it stands in a row.
#include <math.h>

#include <vector>

#include "sample_ops.h"

namespace {

using ar::ulps;

// Every stride-th float from lo to hi (by bit pattern, both signs handled by the caller).
std::vector<float> sweep(uint32_t lo, uint32_t hi, uint32_t stride) {
    std::vector<float> v;
    for (uint64_t u = lo; u <= hi; u += stride) v.push_back(zt::fromBits<float>((uint32_t)u));
    return v;
}

void expectWithinOneUlp(ZelStatus (*fn)(const Zel32f*, int, Zel32f*, int, ZeliSize), double (*ref)(double),
                        const std::vector<float>& in) {
    std::vector<float> out(in.size());
    const int w = 1021;  // rows of an odd width: every row has a tail
    for (size_t i = 0; i < in.size(); i += w) {
        int n = (int)std::min<size_t>(w, in.size() - i);
        ASSERT_EQ(fn(in.data() + i, 4 * n, out.data() + i, 4 * n, {n, 1}), zelStsNoErr);
    }
    int64_t worst = 0;
    float at = 0;
    for (size_t i = 0; i < in.size(); ++i) {
        int64_t d = ulps(out[i], (float)ref(in[i]));
        if (d > worst) worst = d, at = in[i];
    }
    EXPECT_LE(worst, 1) << "worst at " << at;
}

TEST(ElementwiseMath, ExpWithinOneUlpOverItsRange) {
    expectWithinOneUlp(zeliExp_32f_C1R, exp, sweep(0x00000000u, 0x42B20000u, 37));  // 0 .. 89
    expectWithinOneUlp(zeliExp_32f_C1R, exp, sweep(0x80000000u, 0xC2D00000u, 37));  // -0 .. -104
}

TEST(ElementwiseMath, LnWithinOneUlpOverPositiveFloats) {
    expectWithinOneUlp(zeliLn_32f_C1R, log, sweep(0x00000001u, 0x7F7FFFFFu, 101));  // subnormals to max
    expectWithinOneUlp(zeliLn_32f_C1R, log, sweep(0x3F400000u, 0x3FC00000u, 3));   // around 1
}

TEST(ElementwiseMath, SpecialValues) {
    const float in[8] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, 89.0f, -110.0f, 1.0f};
    float out[8];
    ASSERT_EQ(zeliExp_32f_C1R(in, 32, out, 32, {8, 1}), zelStsNoErr);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], 1.0f);
    EXPECT_EQ(out[2], INFINITY);
    EXPECT_EQ(out[3], 0.0f);
    EXPECT_TRUE(isnan(out[4]));
    EXPECT_EQ(out[5], INFINITY);
    EXPECT_EQ(out[6], 0.0f);
    ASSERT_EQ(zeliLn_32f_C1R(in, 32, out, 32, {8, 1}), zelStsNoErr);
    EXPECT_EQ(out[0], -INFINITY);
    EXPECT_EQ(out[1], -INFINITY);
    EXPECT_EQ(out[2], INFINITY);
    EXPECT_TRUE(isnan(out[3]));
    EXPECT_TRUE(isnan(out[4]));
    EXPECT_EQ(out[7], 0.0f);
}

// One value gives one result at every position of a row (body or tail) and in every layout.
TEST(ElementwiseMath, ResultDoesNotDependOnPosition) {
    zt::Rng rng = zt::Rng::forTest();
    for (int t = 0; t < 200; ++t) {
        float v = zt::fromBits<float>(rng.bits<uint32_t>() & 0x7FFFFFFFu);
        float e = (float)rng.range(-1000, 1000) * 0.09f;
        std::vector<float> row(3 * 37, v), out(row.size()), row2(row.size(), e), out2(row.size());
        ASSERT_EQ(zeliLn_32f_C3R(row.data(), 4 * 111, out.data(), 4 * 111, {37, 1}), zelStsNoErr);
        ASSERT_EQ(zeliExp_32f_C1R(row2.data(), 4 * 111, out2.data(), 4 * 111, {111, 1}), zelStsNoErr);
        for (size_t i = 1; i < out.size(); ++i) {
            ASSERT_EQ(zt::bitsOf(out[i]), zt::bitsOf(out[0])) << "ln " << v << " at " << i;
            ASSERT_EQ(zt::bitsOf(out2[i]), zt::bitsOf(out2[0])) << "exp " << e << " at " << i;
        }
    }
}

}  // namespace
