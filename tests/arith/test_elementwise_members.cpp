// Abs, Sqr, Sqrt, Exp, Ln, MulScale, MulCScale: every member against the rule computed in wider
// arithmetic (exact integers, long double for the transcendental integer forms) on random
// geometry in guarded memory, the check order (size before steps), and every 8-bit input.
#include <math.h>

#include <set>

#include "sample_model.h"

namespace {

using am::Member;
using am::Rule;
using am::Shape;

template <class T>
int64_t value(uint64_t bits) {
    return std::is_signed_v<T> ? am::sext(bits, sizeof(T)) : (int64_t)bits;
}
template <class T>
uint64_t saturate(long double v) {
    constexpr int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    int64_t r = v <= lo ? lo : v >= hi ? hi : (int64_t)__builtin_roundevenl(v);
    return am::low(r, sizeof(T));
}
float asFloat(uint64_t b) { return zt::fromBits<float>((uint32_t)b); }
uint64_t bitsOf(float f) { return zt::bitsOf(f); }

// s * 2^-sf rounded half to even (s >= 0), from the remainder.
long double scaled(int64_t s, int sf) {
    if (sf <= 0) return sf < -40 ? (s ? INFINITY : 0) : ldexpl((long double)s, -sf);
    if (sf >= 62) return 0;
    int64_t q = s >> sf, rem = s - (q << sf), half = int64_t(1) << (sf - 1);
    return (long double)(rem > half || (rem == half && (q & 1)) ? q + 1 : q);
}

template <class T>
Rule sqrRule() {
    return [](uint64_t a, uint64_t, int sf) { int64_t v = value<T>(a); return saturate<T>(scaled(v * v, sf)); };
}
template <class T>
Rule sqrtRule() {
    return [](uint64_t a, uint64_t, int sf) {
        int64_t v = value<T>(a);
        return v <= 0 ? 0 : saturate<T>(ldexpl(sqrtl((long double)v), -sf));
    };
}
template <class T>
Rule expRule() {
    return [](uint64_t a, uint64_t, int sf) { return saturate<T>(ldexpl(expl((long double)value<T>(a)), -sf)); };
}
template <class T>
Rule lnRule() {
    return [](uint64_t a, uint64_t, int sf) {
        int64_t v = value<T>(a);
        return v <= 0 ? am::low(std::numeric_limits<T>::min(), sizeof(T)) : saturate<T>(ldexpl(logl((long double)v), -sf));
    };
}
Rule abs16s() {
    return [](uint64_t a, uint64_t, int) {
        int64_t v = am::sext(a, 2);
        return am::low(v < 0 ? std::min<int64_t>(-v, 32767) : v, 2);
    };
}
Rule abs32f() { return [](uint64_t a, uint64_t, int) { return a & 0x7FFFFFFF; }; }
Rule sqr32f() { return [](uint64_t a, uint64_t, int) { float f = asFloat(a); return bitsOf(f * f); }; }
Rule sqrt32f() { return [](uint64_t a, uint64_t, int) { return bitsOf(sqrtf(asFloat(a))); }; }
Rule exp32f() { return [](uint64_t a, uint64_t, int) { return bitsOf((float)exp((double)asFloat(a))); }; }
Rule ln32f() { return [](uint64_t a, uint64_t, int) { return bitsOf((float)log((double)asFloat(a))); }; }
template <int Max>
Rule mulScale() {
    return [](uint64_t a, uint64_t b, int) { return (2 * a * b + Max) / (2 * Max); };
}

// Distance in units in the last place; NaNs match NaNs.
int64_t ulps(uint64_t x, uint64_t y) {
    float fx = asFloat(x), fy = asFloat(y);
    if (isnan(fx) || isnan(fy)) return isnan(fx) && isnan(fy) ? 0 : INT64_MAX;
    auto ord = [](uint32_t u) { return (int64_t)(u & 0x80000000u ? -(int64_t)(u & 0x7FFFFFFF) : (int64_t)u); };
    return std::llabs(ord((uint32_t)x) - ord((uint32_t)y));
}

#define EM_ALL(op, t, T, shape, rule, R, IR)                                                                   \
    am::make<T>("zeli" #op "_" #t "_C1" #R, zeli##op##_##t##_C1##R, "C1", shape, false, rule, 0, true),        \
    am::make<T>("zeli" #op "_" #t "_C3" #R, zeli##op##_##t##_C3##R, "C3", shape, false, rule, 0, true),        \
    am::make<T>("zeli" #op "_" #t "_C4" #R, zeli##op##_##t##_C4##R, "C4", shape, false, rule, 0, true),        \
    am::make<T>("zeli" #op "_" #t "_AC4" #R, zeli##op##_##t##_AC4##R, "AC4", shape, false, rule, 0, true),     \
    am::make<T>("zeli" #op "_" #t "_C1" #IR, zeli##op##_##t##_C1##IR, "C1", shape, true, rule, 0, true),       \
    am::make<T>("zeli" #op "_" #t "_C3" #IR, zeli##op##_##t##_C3##IR, "C3", shape, true, rule, 0, true),       \
    am::make<T>("zeli" #op "_" #t "_C4" #IR, zeli##op##_##t##_C4##IR, "C4", shape, true, rule, 0, true),       \
    am::make<T>("zeli" #op "_" #t "_AC4" #IR, zeli##op##_##t##_AC4##IR, "AC4", shape, true, rule, 0, true)
#define EM_13(op, t, T, rule, R, IR)                                                                            \
    am::make<T>("zeli" #op "_" #t "_C1" #R, zeli##op##_##t##_C1##R, "C1", Shape::Unary, false, rule, 0, true), \
    am::make<T>("zeli" #op "_" #t "_C3" #R, zeli##op##_##t##_C3##R, "C3", Shape::Unary, false, rule, 0, true), \
    am::make<T>("zeli" #op "_" #t "_C1" #IR, zeli##op##_##t##_C1##IR, "C1", Shape::Unary, true, rule, 0, true), \
    am::make<T>("zeli" #op "_" #t "_C3" #IR, zeli##op##_##t##_C3##IR, "C3", Shape::Unary, true, rule, 0, true)

std::vector<Member> build() {
    std::vector<Member> v = {
        EM_ALL(Abs, 16s, Zel16s, Shape::Unary, abs16s(), R, IR),
        EM_ALL(Abs, 32f, Zel32f, Shape::Unary, abs32f(), R, IR),
        EM_ALL(Sqr, 8u, Zel8u, Shape::Unary, sqrRule<Zel8u>(), RSfs, IRSfs),
        EM_ALL(Sqr, 16u, Zel16u, Shape::Unary, sqrRule<Zel16u>(), RSfs, IRSfs),
        EM_ALL(Sqr, 16s, Zel16s, Shape::Unary, sqrRule<Zel16s>(), RSfs, IRSfs),
        EM_ALL(Sqr, 32f, Zel32f, Shape::Unary, sqr32f(), R, IR),
        EM_ALL(Sqrt, 8u, Zel8u, Shape::Unary, sqrtRule<Zel8u>(), RSfs, IRSfs),
        EM_ALL(Sqrt, 16u, Zel16u, Shape::Unary, sqrtRule<Zel16u>(), RSfs, IRSfs),
        EM_ALL(Sqrt, 16s, Zel16s, Shape::Unary, sqrtRule<Zel16s>(), RSfs, IRSfs),
        EM_ALL(Sqrt, 32f, Zel32f, Shape::Unary, sqrt32f(), R, IR),
        EM_13(Exp, 8u, Zel8u, expRule<Zel8u>(), RSfs, IRSfs),
        EM_13(Exp, 16s, Zel16s, expRule<Zel16s>(), RSfs, IRSfs),
        EM_13(Exp, 32f, Zel32f, exp32f(), R, IR),
        EM_13(Ln, 8u, Zel8u, lnRule<Zel8u>(), RSfs, IRSfs),
        EM_13(Ln, 16s, Zel16s, lnRule<Zel16s>(), RSfs, IRSfs),
        EM_13(Ln, 32f, Zel32f, ln32f(), R, IR),
        EM_ALL(MulScale, 8u, Zel8u, Shape::Binary, mulScale<255>(), R, IR),
        EM_ALL(MulScale, 16u, Zel16u, Shape::Binary, mulScale<65535>(), R, IR),
        EM_ALL(MulCScale, 8u, Zel8u, Shape::Const, mulScale<255>(), R, IR),
        EM_ALL(MulCScale, 16u, Zel16u, Shape::Const, mulScale<65535>(), R, IR),
    };
    for (auto& m : v) {
        if (m.name.find("Sfs") != std::string::npos) m.hasScale = true;
        if (m.name.find("Exp_32f") != std::string::npos || m.name.find("Ln_32f") != std::string::npos)
            m.close = [](uint64_t got, uint64_t want, uint64_t) { return ulps(got, want) <= 1; };
    }
    return v;
}

const std::vector<Member>& members() {
    static const std::vector<Member> all = build();
    return all;
}

// Inputs where the functions are interesting: exp around its range, ln over positive floats.
am::Gen inputs(const Member& m) {
    if (m.name.find("Exp_32f") != std::string::npos)
        return [](zt::Rng& r) { return bitsOf(r.chance(0.05) ? (float)r.range(-200, 200) : (float)(r.range(-220000, 220000) * 5e-4)); };
    if (m.name.find("Ln_32f") != std::string::npos)
        return [](zt::Rng& r) { return (uint64_t)(r.bits<uint32_t>() & (r.chance(0.95) ? 0x7FFFFFFFu : ~0u)); };
    return {};
}

class Elementwise : public ::testing::TestWithParam<const Member*> {};

TEST_P(Elementwise, MatchesRule) {
    const Member& m = *GetParam();
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int) { am::expectModel(m, am::makeTrial(m, rng, tight, 0, 0, inputs(m))); });
}

TEST_P(Elementwise, ChecksSizeBeforeSteps) {
    const Member& m = *GetParam();
    zt::Rng rng = zt::Rng::forTest();
    am::Trial t = am::makeTrial(m, rng, zt::Tight::End, (int)rng.range(1, 40), (int)rng.range(1, 4));
    am::checkOrder(m, t).run();
}

// Every 8-bit input (all pairs for MulScale, all constants for MulCScale) and scale factors
// from far below to far above the useful range.
TEST_P(Elementwise, EveryEightBitInput) {
    const Member& m = *GetParam();
    if (m.elem != 1 || m.channels != 1) GTEST_SKIP() << "8-bit one-channel members only";
    zt::Rng rng = zt::Rng::forTest();
    am::Trial t = am::makeTrial(m, rng, zt::Tight::End, 256, m.shape == Shape::Binary ? 256 : 1);
    am::Args& a = t.args;
    auto fill = [&] {
        for (int y = 0; y < a.height; ++y)
            for (int x = 0; x < 256; ++x) {
                a.a[y * a.aStep + x] = (uint8_t)x;
                if (a.b) a.b[y * a.bStep + x] = (uint8_t)y;
            }
    };
    int lo = m.hasScale ? -12 : 0, hi = m.hasScale ? 24 : 0, last = m.shape == Shape::Const ? 255 : 0;
    for (int sf = lo; sf <= hi && !HasFailure(); ++sf)
        for (int k = 0; k <= last && !HasFailure(); ++k) {
            fill();
            a.scale = sf, a.value[0] = (uint8_t)k;
            SCOPED_TRACE(::testing::Message() << "scale factor " << sf << ", constant " << k);
            am::expectModel(m, t);
        }
}

INSTANTIATE_TEST_SUITE_P(Arith, Elementwise, ::testing::ValuesIn([] {
                             std::vector<const Member*> v;
                             for (auto& m : members()) v.push_back(&m);
                             return v;
                         }()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(ElementwiseTable, CoversEveryExportOfTheFamilies) {
    auto names = zt::exportsOf({"Abs", "Sqr", "Sqrt", "Exp, Ln", "MulScale, MulCScale"});
    std::set<std::string> tested;
    for (auto& m : members()) EXPECT_TRUE(tested.insert(m.name).second) << m.name << " twice";
    for (auto& n : names) EXPECT_TRUE(tested.count(n)) << n << " has no row in the member table";
    EXPECT_EQ(tested.size(), names.size());
}

// All 16-bit inputs of the scaled integer functions at a few scale factors, against the rule.
TEST(ElementwiseEdges, EverySixteenBitInput) {
    static Zel16s s[65536], d[65536];
    static Zel16u u[65536], e[65536];
    for (int i = 0; i < 65536; ++i) s[i] = (Zel16s)i, u[i] = (Zel16u)i;
    for (int sf : {-3, 0, 1, 4, 9}) {
        SCOPED_TRACE(::testing::Message() << "scale factor " << sf);
        ASSERT_EQ(zeliSqrt_16u_C1RSfs(u, 512, e, 512, {256, 256}, sf), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ(e[i], sqrtRule<Zel16u>()(i, 0, sf)) << i;
        ASSERT_EQ(zeliSqrt_16s_C1RSfs(s, 512, d, 512, {256, 256}, sf), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ((uint16_t)d[i], sqrtRule<Zel16s>()(i, 0, sf)) << i;
        ASSERT_EQ(zeliLn_16s_C1RSfs(s, 512, d, 512, {256, 256}, sf - 10), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ((uint16_t)d[i], lnRule<Zel16s>()(i, 0, sf - 10)) << i;
        ASSERT_EQ(zeliExp_16s_C1RSfs(s, 512, d, 512, {256, 256}, sf - 8), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ((uint16_t)d[i], expRule<Zel16s>()(i, 0, sf - 8)) << i;
        ASSERT_EQ(zeliSqr_16s_C1RSfs(s, 512, d, 512, {256, 256}, sf + 14), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ((uint16_t)d[i], sqrRule<Zel16s>()(i, 0, sf + 14)) << i;
    }
}

TEST(ElementwiseEdges, ByExample) {
    Zel16s s[3] = {-32768, -5, 7}, d[3];
    ASSERT_EQ(zeliAbs_16s_C1R(s, 6, d, 6, {3, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(d, d + 3), (std::vector<int>{32767, 5, 7}));
    // Step 11 of a 16-bit image advances 10 bytes.
    Zel16s img[16] = {-1, -2, 0, 0, 0, -3, -4, 0};
    ASSERT_EQ(zeliAbs_16s_C1IR(img, 11, {2, 2}), zelStsNoErr);
    EXPECT_EQ(img[5], 3);
    EXPECT_EQ(img[6], 4);
    Zel32f f[4] = {0.0f, -1.0f, INFINITY, 1.0f}, g[4];
    ASSERT_EQ(zeliLn_32f_C1R(f, 16, g, 16, {4, 1}), zelStsNoErr);
    EXPECT_EQ(g[0], -INFINITY);
    EXPECT_TRUE(isnan(g[1]));
    EXPECT_EQ(g[2], INFINITY);
    EXPECT_EQ(g[3], 0.0f);
    Zel8u u[2] = {100, 101}, v[2];
    ASSERT_EQ(zeliSqrt_8u_C1RSfs(u, 2, v, 2, {2, 1}, 0), zelStsNoErr);
    EXPECT_EQ(v[0], 10);
    EXPECT_EQ(v[1], 10);
    EXPECT_EQ(zeliSqrt_8u_C1RSfs(u, 0, v, 2, {0, 1}, 0), zelStsSizeErr);  // size before steps
}

}  // namespace
