// Accuracy of the single-precision Exp and Ln against libm (in double, rounded once) on dense
// samples of their whole ranges, and their special values. The library's results are within
// 1 ulp of the correctly rounded value; whole rows run through the same vector code as their
// tails, so a value gives the same result wherever it stands in a row.
#include "sample_ops.h"

namespace {

using Fn = ZelStatus (*)(const Zel32f*, int, Zel32f*, int, ZeliSize);

// Every stride-th float from lo to hi by bit pattern, in rows of an odd width (every row has a
// tail), within 1 ulp of ref.
void sweep(Fn fn, double (*ref)(double), uint32_t lo, uint32_t hi, uint32_t stride) {
    std::vector<float> in, out;
    for (uint64_t u = lo; u <= hi; u += stride) in.push_back(zt::fromBits<float>((uint32_t)u));
    out.resize(in.size());
    for (size_t i = 0, n; i < in.size(); i += n) {
        n = std::min<size_t>(1021, in.size() - i);
        ASSERT_EQ(fn(in.data() + i, 4 * (int)n, out.data() + i, 4 * (int)n, {(int)n, 1}), zelStsNoErr);
    }
    for (size_t i = 0; i < in.size(); ++i) ASSERT_LE(ar::ulps(out[i], (float)ref(in[i])), 1) << "at " << in[i] << ": " << out[i];
}

TEST(ElementwiseMath, WithinOneUlpOverTheirRanges) {
    sweep(zeliExp_32f_C1R, exp, 0x00000000u, 0x42B20000u, 37);  // 0 .. 89
    sweep(zeliExp_32f_C1R, exp, 0x80000000u, 0xC2D00000u, 37);  // -0 .. -104
    sweep(zeliExp_32f_C1R, exp, 0xC2AA0000u, 0xC2D00000u, 3);   // -85 .. -104: subnormal and zero results
    sweep(zeliLn_32f_C1R, log, 0x00000001u, 0x7F7FFFFFu, 101);  // subnormals to max
    sweep(zeliLn_32f_C1R, log, 0x3F400000u, 0x3FC00000u, 3);    // around 1
}

// Exact results at the ends: overflow to infinity and underflow to 0 are not 1 ulp away.
TEST(ElementwiseMath, SpecialValues) {
    const float in[8] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, 89.0f, -110.0f, 1.0f};
    const float exps[7] = {1.0f, 1.0f, INFINITY, 0.0f, NAN, INFINITY, 0.0f}, lns[8] = {-INFINITY, -INFINITY, INFINITY, NAN, NAN};
    float out[8];
    ASSERT_EQ(zeliExp_32f_C1R(in, 32, out, 32, {8, 1}), zelStsNoErr);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(ar::ulps(out[i], exps[i]), 0) << "exp " << in[i] << ": " << out[i];
    ASSERT_EQ(zeliLn_32f_C1R(in, 32, out, 32, {8, 1}), zelStsNoErr);
    for (int i : {0, 1, 2, 3, 4, 7}) EXPECT_EQ(ar::ulps(out[i], lns[i]), 0) << "ln " << in[i] << ": " << out[i];
}

// One value gives one result at every position of a row (body or tail) and in every layout.
TEST(ElementwiseMath, ResultDoesNotDependOnPosition) {
    zt::Rng rng = zt::Rng::forTest();
    for (int t = 0; t < 200; ++t) {
        const float v[2] = {zt::fromBits<float>(rng.bits<uint32_t>() & 0x7FFFFFFFu), (float)rng.range(-1000, 1000) * 0.09f};
        for (int k = 0; k < 2; ++k) {
            std::vector<float> row(111, v[k]), out(111);
            ASSERT_EQ(k ? zeliExp_32f_C1R(row.data(), 444, out.data(), 444, {111, 1}) : zeliLn_32f_C3R(row.data(), 444, out.data(), 444, {37, 1}),
                      zelStsNoErr);
            for (float o : out) ASSERT_EQ(zt::bitsOf(o), zt::bitsOf(out[0])) << (k ? "exp " : "ln ") << v[k];
        }
    }
}

}  // namespace
