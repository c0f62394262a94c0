// Paths that only large images take: non-temporal stores with their source prefetching, a
// constant pattern held in registers whose phase follows the unaligned head of every row, and
// 16-bit operations in 256-bit halves. Each case moves half of the largest cache or more
// and is checked against its rule sample by sample; sources end right before a guard page.
#include <math.h>

#include <algorithm>
#include <functional>

#include "zel/zel.h"
#include "streamed_height.h"
#include "zel_test_kit.h"

namespace {

// n samples of T a row (width times channels) from `sources` images into one, every row
// starting `shift` samples past a 64-byte boundary (0: all rows aligned). call(src, srcStep,
// dst, dstStep, roi height) runs the library; rule(a, b, i) is the result of sample i of a row
// from the sources' samples, compared bit for bit.
template <typename T>
void check(int64_t n, int sources, int64_t shift, const std::function<ZelStatus(T**, int, T*, int, int)>& call,
           const std::function<T(T, T, int64_t)>& rule) {
    constexpr int64_t S = sizeof(T);
    const int64_t h = zt::streamedHeight((sources + 1) * n * S);
    if (!h) GTEST_SKIP() << "largest cache unknown or too large for a streamed image";
    const int64_t step = (n * S + 63) / 64 * 64 + 64 + (shift ? 7 * S : 0);  // unaligned rows drift
    zt::Rng rng = zt::Rng::forTest();
    zt::Region a(n * S, h, step), b(n * S, h, step), d(n * S, h, step, zt::Tight::Start, shift * S);
    a.randomize(rng), b.randomize(rng), d.fill(0);
    if constexpr (std::is_same_v<T, Zel32f>)  // finite values, some negative
        for (auto* r : {&a, &b})
            for (int64_t i = 0; i < r->extent() / 4; ++i) ((float*)r->lo())[i] = (float)rng.range(-100000, 100000) / 64;
    T* src[2] = {(T*)a.origin(), (T*)b.origin()};
    ASSERT_EQ(call(src, (int)step, (T*)d.origin(), (int)step, (int)h), zelStsNoErr);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t i = 0; i < n; ++i) {
            T x, z, got;
            memcpy(&x, a.row(y) + i * S, S), memcpy(&z, b.row(y) + i * S, S), memcpy(&got, d.row(y) + i * S, S);
            const T want = rule(x, z, i);
            ASSERT_EQ(memcmp(&got, &want, S), 0) << "row " << y << " sample " << i << ": " << +got << ", not " << +want;
        }
}

template <typename T>
T saturate(int64_t v) {
    return (T)std::clamp<int64_t>(v, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
}

const Zel8u k8u[3] = {3, 250, 77};
const Zel16s k16s[3] = {-300, 7, 12000};
const Zel32f k32f[3] = {0.5f, -3.25f, 1e6f};

TEST(ArithStreamed, ConstantPatternFollowsTheRowHead) {
    const int w = 700;
    check<Zel8u>(3 * w, 1, 5,
        [&](Zel8u** s, int ss, Zel8u* d, int ds, int h) { return zeliAddC_8u_C3RSfs(s[0], ss, k8u, d, ds, {w, h}, 0); },
        [](Zel8u a, Zel8u, int64_t i) { return saturate<Zel8u>(a + k8u[i % 3]); });
    check<Zel16s>(3 * w, 1, 3,
        [&](Zel16s** s, int ss, Zel16s* d, int ds, int h) { return zeliMulC_16s_C3RSfs(s[0], ss, k16s, d, ds, {w, h}, 1); },
        [](Zel16s a, Zel16s, int64_t i) {
            int64_t v = (int64_t)a * k16s[i % 3], q = v >> 1;
            return saturate<Zel16s>(q + (v & 1 & q));  // half to even
        });
    check<Zel32f>(3 * w, 1, 2,
        [&](Zel32f** s, int ss, Zel32f* d, int ds, int h) { return zeliAddC_32f_C3R(s[0], ss, k32f, d, ds, {w, h}); },
        [](Zel32f a, Zel32f, int64_t i) { return a + k32f[i % 3]; });
}

TEST(ArithStreamed, EngineRowsWithPrefetch) {
    const int w = 1000;
    check<Zel8u>(w, 2, 0,
        [&](Zel8u** s, int ss, Zel8u* d, int ds, int h) { return zeliXor_8u_C1R(s[0], ss, s[1], ss, d, ds, {w, h}); },
        [](Zel8u a, Zel8u b, int64_t) { return Zel8u(a ^ b); });
    check<Zel16s>(w, 1, 0,
        [&](Zel16s** s, int ss, Zel16s* d, int ds, int h) { return zeliRShiftC_16s_C1R(s[0], ss, 3, d, ds, {w, h}); },
        [](Zel16s a, Zel16s, int64_t) { return Zel16s(a >> 3); });
    check<Zel16s>(w, 1, 0,
        [&](Zel16s** s, int ss, Zel16s* d, int ds, int h) { return zeliComplement_16s_C1R(s[0], ss, d, ds, {w, h}); },
        [](Zel16s a, Zel16s, int64_t) { return Zel16s(a < 0 ? (-a) | 0x8000 : a); });
    check<Zel32f>(w, 1, 0,
        [&](Zel32f** s, int ss, Zel32f* d, int ds, int h) { return zeliSqrt_32f_C1R(s[0], ss, d, ds, {w, h}); },
        [](Zel32f a, Zel32f, int64_t) { return sqrtf(a); });
}

}  // namespace
