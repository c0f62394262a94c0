// Add, Sub, Mul, Div, their constant forms and Div_Round: every member against the exact rule on
// random geometry in guarded memory, every member's check order, all 8-bit operand pairs at
// every scale factor from -40 to 40, and the behaviours users rely on by name.
#include <limits.h>
#include <math.h>

#include <set>

#include "arith_scaled_members.h"

namespace {

using at::Args;
using at::Member;
using at::Op;
using at::Type;

std::vector<const Member*> all() {
    std::vector<const Member*> v;
    for (auto& m : at::members()) v.push_back(&m);
    return v;
}

// A value of T with a bias to the edges: extremes, small numbers, zero.
template <class T>
T sample(zt::Rng& rng) {
    if constexpr (std::is_same_v<T, float>) {
        static const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 3.0f, 1e30f, -1e-30f, INFINITY, -INFINITY};
        if (rng.chance(0.15)) return rng.pick(special);
        return (float)rng.range(-1000000, 1000000) / (float)rng.range(1, 1000);
    } else {
        int64_t r = rng.range(0, 9);
        if (r < 5) return rng.bits<T>();
        if (r < 8) return (T)rng.range(std::max<int64_t>(at::lowest<T>(), -9), 9);
        return (T)rng.pick(std::vector<int64_t>{at::lowest<T>(), at::highest<T>(), at::highest<T>() - 1, 0});
    }
}

// Fills every whole sample of the region; a divisor image gets no zeros unless zeros is set.
template <class T>
void fillSamples(zt::Region& r, zt::Rng& rng, bool zeros = true) {
    for (int64_t i = 0; i + (int64_t)sizeof(T) <= r.extent(); i += sizeof(T)) {
        T v = sample<T>(rng);
        if (!zeros && v == T(0)) v = T(1);
        memcpy(r.lo() + i, &v, sizeof v);
    }
}

int randomScale(zt::Rng& rng) {
    int64_t r = rng.range(0, 19);
    if (r == 0) return rng.pick(std::vector<int>{INT_MIN, INT_MAX, -1000, 1000, 63, -63, 32, -32, 31, -31});
    if (r < 12) return (int)rng.range(-18, 18);
    return (int)rng.range(-40, 40);
}

// Images of one trial: regions, the arguments into them, and what must stay unchanged.
struct Trial {
    std::vector<zt::Region> regions;
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> v;
        for (auto& r : regions) v.push_back(&r);
        return v;
    }
};

struct Geometry {
    int64_t w = 0, h = 0;
    bool zeroSteps = false;  // allowed to draw zero and negative steps
};

template <class T>
Trial makeTrialAs(const Member& m, zt::Rng& rng, zt::Tight tight, Geometry g) {
    const int64_t sz = sizeof(T), rowBytes = g.w * m.samples() * sz;
    zt::StepPolicy policy;
    if (g.zeroSteps) policy.negative = 0.1, policy.zero = 0.05;
    Trial t;
    t.regions.reserve(4);
    auto image = [&](int64_t& step, bool divisor) -> void* {
        int64_t s = zt::randomStep(rng, rowBytes, policy);
        if (g.zeroSteps && g.h == 1 && rng.chance(0.3)) s = rng.range(-1000, 1000);  // any step is fine for one row
        step = s;
        t.regions.emplace_back(rowBytes, g.h, s / sz * sz, tight, rng.range(0, 3) * sz);
        fillSamples<T>(t.regions.back(), rng, !divisor || rng.chance(0.5));
        return t.regions.back().origin();
    };
    Args& a = t.args;
    a.w = g.w, a.h = g.h;
    a.sf = randomScale(rng);
    a.rnd = m.op == Op::DivRound ? (int)rng.range(0, 2) : 1;
    if (m.isConst) {
        t.regions.emplace_back(m.constants() * sz, 1, 0, tight);  // the constants, guarded
        zt::Region& v = t.regions.back();
        fillSamples<T>(v, rng, !m.isDiv());
        a.value = v.origin();
    } else {
        a.s1 = image(a.s1Step, m.isDiv());
    }
    if (m.inPlace) {
        a.d = image(a.dStep, false);
        a.s2 = a.d, a.s2Step = a.dStep;
    } else {
        a.s2 = image(a.s2Step, false);
        a.d = image(a.dStep, false);
    }
    return t;
}

Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, Geometry g) {
    switch (m.type) {
        case Type::U8: return makeTrialAs<Zel8u>(m, rng, tight, g);
        case Type::U16: return makeTrialAs<Zel16u>(m, rng, tight, g);
        case Type::S16: return makeTrialAs<Zel16s>(m, rng, tight, g);
        default: return makeTrialAs<Zel32f>(m, rng, tight, g);
    }
}

// Runs the model on a snapshot and the library on the memory, then compares every byte.
void expectModel(const Member& m, const Trial& t) {
    zt::Shadow shadow(t.watch());
    Args s = t.args;
    s.s1 = shadow(s.s1), s.s2 = shadow(s.s2), s.d = shadow(s.d), s.value = shadow(s.value);
    ZelStatus want = at::model(m, s);
    ASSERT_EQ(at::call(m, t.args), want) << "w " << s.w << " h " << s.h << " sf " << s.sf << " rnd " << s.rnd;
    EXPECT_TRUE(shadow.matches()) << "w " << s.w << " h " << s.h << " sf " << s.sf << " rnd " << s.rnd
                                  << " steps " << s.s1Step << " " << s.s2Step << " " << s.dStep;
}

class ScaledArith : public ::testing::TestWithParam<const Member*> {};

TEST_P(ScaledArith, MatchesTheRuleOnRandomGeometry) {
    const Member& m = *GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(10, [&](zt::Rng& rng, zt::Tight tight, int) {
        Geometry g;
        g.w = zt::randomWidth(rng, m.samples() * m.elem());
        g.h = zt::randomHeight(rng, g.w * m.samples() * m.elem());
        g.zeroSteps = !m.checksSteps();
        expectModel(m, makeTrial(m, rng, tight, g));
    });
}

TEST_P(ScaledArith, ChecksArgumentsInOrder) {
    const Member& m = *GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::Rng rng = zt::Rng::forTest();
    Trial t = makeTrial(m, rng, zt::Tight::End, {(int)rng.range(1, 40), (int)rng.range(1, 4), false});
    t.args.sf = (int)rng.range(-3, 3);
    if (!m.isConst) {  // a valid division meets no zero divisor
        auto* s1 = (uint8_t*)t.regions[0].lo();
        for (int64_t i = 0; i < t.regions[0].extent(); ++i) s1[i] |= 0x11;
    }
    zt::CheckOrder<Args> co(t.args, [&](const Args& a) { return at::call(m, a); }, t.watch());
    if (!m.isConst && !m.inPlace) co.row("pSrc1 null", [](Args& a) { a.s1 = nullptr; }, zelStsNullPtrErr);
    if (!m.isConst && m.inPlace) co.row("pSrc null", [](Args& a) { a.s1 = nullptr; }, zelStsNullPtrErr);
    if (m.isConst && !m.inPlace) co.row("pSrc null", [](Args& a) { a.s2 = nullptr; }, zelStsNullPtrErr);
    if (m.isConst && m.layout != 1) co.row("value null", [](Args& a) { a.value = nullptr; }, zelStsNullPtrErr);
    if (!m.isConst && !m.inPlace) co.row("pSrc2 null", [](Args& a) { a.s2 = nullptr; }, zelStsNullPtrErr);
    co.row("pDst null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
    co.row("width 0", [](Args& a) { a.w = 0; }, zelStsSizeErr);
    co.row("height -1", [](Args& a) { a.h = -1; }, zelStsSizeErr);
    if (m.checksSteps()) {
        if (!m.isConst) co.row("src1 step 0", [](Args& a) { a.s1Step = 0; }, zelStsStepErr);
        if (!m.inPlace) co.row("src2 step -4", [](Args& a) { a.s2Step = -4; }, zelStsStepErr);
        co.row("dst step 0", [](Args& a) { a.dStep = 0; }, zelStsStepErr);
    } else {
        co.ignored("every step 0", [](Args& a) { a.s1Step = a.s2Step = a.dStep = 0; });
        co.ignored("every step negative", [](Args& a) { a.s1Step = a.s2Step = a.dStep = -64; });
    }
    std::vector<std::vector<uint8_t>> zeroed;  // one constant array per zero channel
    if (m.isDiv() && m.isConst) {
        for (int c = 0; c < m.constants(); ++c) {
            std::vector<uint8_t> v((const uint8_t*)t.args.value, (const uint8_t*)t.args.value + m.constants() * m.elem());
            memset(v.data() + c * m.elem(), 0, m.elem());
            zeroed.push_back(v);
        }
        for (int c = 0; c < m.constants(); ++c) {
            const void* p = zeroed[c].data();
            co.row("constant " + std::to_string(c) + " zero", [p](Args& a) { a.value = p; }, zelStsDivByZeroErr);
        }
    }
    if (m.op == Op::DivRound) {
        co.row("round mode 3", [](Args& a) { a.rnd = 3; }, zelStsRoundModeErr);
        co.row("round mode -1", [](Args& a) { a.rnd = -1; }, zelStsRoundModeErr);
    }
    co.ignored("scale factor INT_MIN", [](Args& a) { a.sf = INT_MIN; });
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Arith, ScaledArith, ::testing::ValuesIn(all()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(ScaledArithTable, CoversEveryMember) {
    EXPECT_EQ(at::members().size(), 536u);
    std::set<std::string> names;
    for (auto& m : at::members()) {
        EXPECT_TRUE(names.insert(m.name).second) << m.name;
        EXPECT_NE(m.fn, nullptr) << m.name;
    }
}

// All 65536 pairs of 8-bit operands, as one 256x256 image (operand 1 the column, operand 2 the
// row), for every two-image 8u operation and scale factor; the constant forms with every constant
// over a row of all 256 values.
TEST(ScaledArithExhaustive8u, EveryPairAtEveryScaleFactor) {
    zt::Region r1(256, 256, 256), r2(256, 256, 256), dst(256, 256, 256);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) r1.row(y)[x] = (uint8_t)x, r2.row(y)[x] = (uint8_t)y;
    struct Case {
        const char* name;
        int rnd;
    };
    const Case cases[] = {{"zeliAdd_8u_C1RSfs", 1},       {"zeliSub_8u_C1RSfs", 1},       {"zeliMul_8u_C1RSfs", 1},
                          {"zeliDiv_8u_C1RSfs", 1},       {"zeliDiv_Round_8u_C1RSfs", 0}, {"zeliDiv_Round_8u_C1RSfs", 1},
                          {"zeliDiv_Round_8u_C1RSfs", 2}};
    for (const Case& c : cases) {
        const Member& m = at::member(c.name);
        for (int sf = -40; sf <= 40; ++sf) {
            Args a{r1.origin(), 256, r2.origin(), 256, dst.origin(), 256, 256, 256, nullptr, sf, c.rnd};
            dst.fill(0xA5);
            ZelStatus st = at::call(m, a);
            ZelStatus want = m.isDiv() && sf >= -15 ? zelStsDivByZero : zelStsNoErr;
            ASSERT_EQ(st, want) << c.name << " sf " << sf;
            bool zero = false;
            for (int y = 0; y < 256; ++y)
                for (int x = 0; x < 256; ++x) {
                    Zel8u want8 = at::rule<Zel8u>(m.op, (Zel8u)x, (Zel8u)y, sf, c.rnd, &zero);
                    ASSERT_EQ(dst.row(y)[x], want8) << c.name << " rnd " << c.rnd << " sf " << sf << ": " << y << " op " << x;
                }
        }
    }
    zt::Region val(1, 1, 0), row(256, 1, 256), out(256, 1, 256);
    for (int x = 0; x < 256; ++x) row.origin()[x] = (uint8_t)x;
    for (const char* name : {"zeliAddC_8u_C1RSfs", "zeliSubC_8u_C1RSfs", "zeliMulC_8u_C1RSfs", "zeliDivC_8u_C1RSfs"}) {
        const Member& m = at::member(name);
        for (int sf = -40; sf <= 40; ++sf)
            for (int c = m.isDiv() ? 1 : 0; c < 256; ++c) {
                val.origin()[0] = (uint8_t)c;
                Args a{nullptr, 0, row.origin(), 256, out.origin(), 256, 256, 1, val.origin(), sf, 1};
                ASSERT_EQ(at::call(m, a), zelStsNoErr) << name;
                bool zero = false;
                for (int x = 0; x < 256; ++x)
                    ASSERT_EQ(out.origin()[x], at::rule<Zel8u>(m.op, (Zel8u)c, (Zel8u)x, sf, 1, &zero))
                        << name << " sf " << sf << ": " << x << " op " << c;
            }
    }
}

// 16-bit quotients that do not saturate, many per scale factor, in every round mode: a division
// that is not exact shows here as a quotient rounded the wrong way near a tie or an integer.
TEST(ScaledArithDense16, QuotientsInRangeRoundExactly) {
    zt::Rng rng = zt::Rng::forTest();
    const int n = 4096;
    zt::Region s1(n * 2, 1, n * 2), s2(n * 2, 1, n * 2), d(n * 2, 1, n * 2);
    for (const char* name : {"zeliDiv_Round_16s_C1RSfs", "zeliDiv_Round_16u_C1RSfs"}) {
        const Member& m = at::member(name);
        for (int sf = -20; sf <= 20; ++sf)
            for (int rnd = 0; rnd < 3; ++rnd) {
                Zel16u* a = (Zel16u*)s1.origin();
                Zel16u* b = (Zel16u*)s2.origin();
                for (int i = 0; i < n; ++i) {
                    int64_t num = m.type == Type::S16 ? rng.range(-32768, 32767) : rng.range(0, 65535);
                    int64_t lim = std::max<int64_t>(1, (std::abs(num) << std::max(0, -sf)) / 32767 + 1);
                    int64_t den = lim > 32767 ? 0 : rng.range(lim, 32767);
                    if (den == 0) num = 0, den = 1;
                    if (m.type == Type::S16 && rng.chance(0.5)) den = -den;
                    a[i] = (Zel16u)den, b[i] = (Zel16u)num;
                }
                Args args{a, n * 2, b, n * 2, d.origin(), n * 2, n, 1, nullptr, sf, rnd};
                ASSERT_EQ(at::call(m, args), zelStsNoErr);
                bool zero = false;
                for (int i = 0; i < n; ++i) {
                    Zel16u want = m.type == Type::S16 ? (Zel16u)at::rule<Zel16s>(m.op, (Zel16s)a[i], (Zel16s)b[i], sf, rnd, &zero)
                                                      : at::rule<Zel16u>(m.op, a[i], b[i], sf, rnd, &zero);
                    ASSERT_EQ(((Zel16u*)d.origin())[i], want) << name << " sf " << sf << " rnd " << rnd << ": " << b[i] << " / " << a[i];
                }
            }
    }
}

// Named behaviours, each a few samples through the 8u or 16-bit C1 forms.
template <class T>
std::vector<T> run2(const char* name, std::vector<T> s1, std::vector<T> s2, int sf, ZelStatus want = zelStsNoErr) {
    const Member& m = at::member(name);
    std::vector<T> d(s1.size(), T(0x5A));
    int64_t step = (int64_t)(s1.size() * sizeof(T));
    Args a{s1.data(), step, s2.data(), step, d.data(), step, (int64_t)s1.size(), 1, nullptr, sf, 1};
    EXPECT_EQ(at::call(m, a), want) << name;
    return d;
}

TEST(ScaledArithNamed, RoundingSaturationAndOperandOrder) {
    using V8 = std::vector<Zel8u>;
    using V16 = std::vector<Zel16s>;
    EXPECT_EQ(run2<Zel8u>("zeliAdd_8u_C1RSfs", {100, 101}, {101, 102}, 1), (V8{100, 102}));  // ties to even
    EXPECT_EQ(run2<Zel8u>("zeliAdd_8u_C1RSfs", {255, 1, 0}, {255, 0, 0}, 10), (V8{0, 0, 0}));
    EXPECT_EQ(run2<Zel8u>("zeliAdd_8u_C1RSfs", {1, 0, 0, 3}, {0, 1, 0, 4}, -8), (V8{255, 255, 0, 255}));
    EXPECT_EQ(run2<Zel8u>("zeliSub_8u_C1RSfs", {10, 3}, {3, 10}, 0), (V8{0, 7}));  // pSrc2 - pSrc1
    EXPECT_EQ(run2<Zel16s>("zeliAdd_16s_C1RSfs", {-32768}, {-1}, 0), (V16{-32768}));
    EXPECT_EQ(run2<Zel16s>("zeliAdd_16s_C1RSfs", {-5, 5, 0}, {1, -1, 0}, -16), (V16{-32768, 32767, 0}));
    EXPECT_EQ(run2<Zel16s>("zeliDiv_16s_C1RSfs", {2, 0, 0, 0}, {-7, 5, -5, 0}, 0, zelStsDivByZero),
              (V16{-4, 32767, -32768, 0}));  // -3.5 to even; zero divisors give the dividend's extreme
    EXPECT_EQ(run2<Zel8u>("zeliDiv_8u_C1RSfs", {0, 7}, {9, 0}, -16), (V8{255, 0}));  // no division below -15
    std::vector<Zel16u> q = run2<Zel16u>("zeliMul_16u_C1RSfs", {65535, 65535, 46341}, {65535, 32768, 46341}, 32);
    EXPECT_EQ(q, (std::vector<Zel16u>{1, 0, 1}));  // 0.99997 -> 1, 0.49999 -> 0, 0.500002 -> 1
}

TEST(ScaledArithNamed, DivByZeroProcessesEveryRow) {
    const Member& m = at::member("zeliDiv_8u_C1RSfs");
    zt::Region s1(8, 3, 8), s2(8, 3, 8), d(8, 3, 8);
    s1.fill(2), s2.fill(9), d.fill(0);
    s1.row(0)[3] = 0;  // one zero divisor in the first row
    Args a{s1.origin(), 8, s2.origin(), 8, d.origin(), 8, 8, 3, nullptr, 0, 1};
    EXPECT_EQ(at::call(m, a), zelStsDivByZero);
    EXPECT_EQ(d.row(0)[3], 255);
    EXPECT_EQ(d.row(2)[7], 4);  // 4.5 to even, last row written
}

TEST(ScaledArithNamed, DivCRefusesAnyZeroConstantBeforeWriting) {
    zt::Region s(6 * 3, 2, 6 * 3), d(6 * 3, 2, 6 * 3);
    s.fill(7), d.fill(0x33);
    const Zel16u one[3] = {1, 0, 2};
    EXPECT_EQ(zeliDivC_16u_C3RSfs((const Zel16u*)s.origin(), 18, one, (Zel16u*)d.origin(), 18, {3, 2}, 0), zelStsDivByZeroErr);
    EXPECT_EQ(zeliDivC_16u_C1RSfs((const Zel16u*)s.origin(), 18, 0, (Zel16u*)d.origin(), 18, {9, 2}, 0), zelStsDivByZeroErr);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 18; ++x) ASSERT_EQ(d.row(y)[x], 0x33);
}

TEST(ScaledArithNamed, Ac4LeavesAlphaAndIgnoresItsZeroDivisor) {
    Zel16s s1[8] = {2, 2, 2, 0, 3, 3, 3, 0}, s2[8] = {5, 7, -9, 1, 9, 9, 9, 1}, d[8] = {0, 0, 0, 77, 0, 0, 0, -77};
    EXPECT_EQ(zeliDiv_16s_AC4RSfs(s1, 16, s2, 16, d, 16, {2, 1}, 0), zelStsNoErr);
    EXPECT_EQ(d[0], 2);  // 2.5 to even
    EXPECT_EQ(d[1], 4);
    EXPECT_EQ(d[2], -4);
    EXPECT_EQ(d[3], 77);
    EXPECT_EQ(d[7], -77);
}

// A 64-bit step beyond 2^31 takes the 64-bit row loop; rows are written by hand, since the
// regions span more than 2 GiB that are never touched.
TEST(ScaledArithLong, StepsBeyondTwoGigabytes) {
    const int64_t step = (int64_t(1) << 31) + 128, w = 100;
    zt::Region s1(w * 2, 2, step), s2(w * 2, 2, step), d(w * 2, 2, step);
    zt::Rng rng = zt::Rng::forTest();
    for (int y = 0; y < 2; ++y) {
        for (int64_t x = 0; x < w; ++x) {
            Zel16s a = (Zel16s)rng.range(-300, 300), b = (Zel16s)rng.range(-30000, 30000);
            memcpy(s1.row(y) + 2 * x, &a, 2);
            memcpy(s2.row(y) + 2 * x, &b, 2);
        }
        memset(d.row(y), 0, w * 2);
    }
    for (const char* name : {"zeliDiv_16s_C1RSfs_L", "zeliSub_16s_C1RSfs_L"}) {
        const Member& m = at::member(name);
        Args a{s1.origin(), step, s2.origin(), step, d.origin(), step, w, 2, nullptr, -1, 1};
        bool zero = false;
        ZelStatus st = at::call(m, a);
        for (int y = 0; y < 2; ++y)
            for (int64_t x = 0; x < w; ++x) {
                Zel16s a1, b1, got;
                memcpy(&a1, s1.row(y) + 2 * x, 2), memcpy(&b1, s2.row(y) + 2 * x, 2), memcpy(&got, d.row(y) + 2 * x, 2);
                ASSERT_EQ(got, at::rule<Zel16s>(m.op, a1, b1, -1, 1, &zero)) << name << " row " << y << " x " << x;
            }
        EXPECT_EQ(st, zero ? zelStsDivByZero : zelStsNoErr) << name;
    }
}

}  // namespace
