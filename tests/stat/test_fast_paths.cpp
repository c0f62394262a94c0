// The wide 8u kernels of the reductions on random data large enough for their lanes to be
// drained more than once (256 chunks of up to 256 bytes for the multi-channel sums, 16384
// chunks of 64 bytes for the squares), packed and with padded rows, against exact sums.
#include <algorithm>
#include <cmath>
#include <vector>

#include "zel_test_kit.h"

namespace {

struct Case {
    const char* name;
    int channels;
    int term;  // 0 x, 1 |x|, 2 x², 3 (a - b)²
    ZelStatus (*call)(const Zel8u*, const Zel8u*, int, ZeliSize, double*);
};

const Case kCases[] = {
    {"zeliSum_8u_C3R", 3, 0, [](const Zel8u* a, const Zel8u*, int s, ZeliSize r, double* v) { return zeliSum_8u_C3R(a, s, r, v); }},
    {"zeliSum_8u_C4R", 4, 0, [](const Zel8u* a, const Zel8u*, int s, ZeliSize r, double* v) { return zeliSum_8u_C4R(a, s, r, v); }},
    {"zeliNorm_L1_8u_C3R", 3, 1, [](const Zel8u* a, const Zel8u*, int s, ZeliSize r, double* v) { return zeliNorm_L1_8u_C3R(a, s, r, v); }},
    {"zeliNorm_L2_8u_C1R", 1, 2, [](const Zel8u* a, const Zel8u*, int s, ZeliSize r, double* v) { return zeliNorm_L2_8u_C1R(a, s, r, v); }},
    {"zeliNormDiff_L2_8u_C1R", 1, 3, [](const Zel8u* a, const Zel8u* b, int s, ZeliSize r, double* v) { return zeliNormDiff_L2_8u_C1R(a, s, b, s, r, v); }},
};

TEST(StatFastPaths, Wide8uKernelsAreExact) {
    zt::Rng rng = zt::Rng::forTest();
    for (const Case& k : kCases) {
        SCOPED_TRACE(k.name);
        for (int trial = 0; trial < 6; ++trial) {
            // Widths up to 4100 pixels, heights to 300: up to 3.7 MB, several drains of every lane.
            const ZeliSize roi{(int)rng.range(1, 4100), (int)rng.range(1, 300)};
            const int row = roi.width * k.channels;
            const int step = trial % 2 ? row : row + (int)rng.range(1, 70);
            std::vector<Zel8u> a((size_t)step * roi.height), b(a.size());
            rng.fill(a.data(), a.size());
            rng.fill(b.data(), b.size());
            if (trial == 0) std::fill(a.begin(), a.end(), 255);  // every lane at its bound
            uint64_t exact[4] = {};
            for (int y = 0; y < roi.height; ++y)
                for (int x = 0; x < row; ++x) {
                    const int64_t u = a[(size_t)y * step + x], d = u - b[(size_t)y * step + x];
                    exact[x % k.channels] += (uint64_t)(k.term == 0 || k.term == 1 ? u : k.term == 2 ? u * u : d * d);
                }
            double v[4];
            ASSERT_EQ(k.call(a.data(), b.data(), step, roi, v), zelStsNoErr);
            for (int c = 0; c < k.channels; ++c) {
                const double want = k.term >= 2 ? std::sqrt((double)exact[c]) : (double)exact[c];
                EXPECT_EQ(v[c], want) << roi.width << "x" << roi.height << " step " << step << " channel " << c;
            }
        }
    }
}

}  // namespace
