// Every member of the sample-wise families against its rule on random geometry in guarded
// memory, its argument-check order, every 8-bit input (every scale factor from -40 to 40 for
// the scaled arithmetic) and every 16-bit input of the one-image functions; then dense 16-bit
// quotients, the long-row path and the cases users rely on by name.
#include "sample_ops.h"

namespace {

using ar::Member;
using ar::Op;
using ar::Shape;

const std::vector<Member>& all() {
    static const std::vector<Member> v = ar::members(
        {"Add, Sub, Mul, Div", "AddC, SubC, MulC, DivC", "Div_Round", "And, Or, Xor", "AndC, OrC, XorC", "Not",
         "LShiftC, RShiftC", "Complement", "Compare, CompareC", "CompareEqualEps, CompareEqualEpsC", "Abs", "Sqr",
         "Sqrt", "Exp, Ln", "MulScale, MulCScale"});
    return v;
}

const Member& named(const std::string& name) {
    for (auto& m : all())
        if (m.name == name) return m;
    static Member none;
    ADD_FAILURE() << name << " is not a member";
    return none;
}

// Writes v into sample i of row y of an image of the arguments.
template <class V>
void put(const void* base, int64_t step, int64_t y, int64_t i, V v) {
    memcpy((uint8_t*)base + step / (int64_t)sizeof(V) * (int64_t)sizeof(V) * y + i * (int64_t)sizeof(V), &v, sizeof v);
}

class SampleOps : public ::testing::TestWithParam<Member> {};

TEST_P(SampleOps, MatchesTheRuleOnRandomGeometry) {
    const Member& m = GetParam();
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        ar::Trial t = ar::makeTrial(m, rng, tight);
        if (m.shifts() && m.used > 1 && trial % 2)  // equal counts: the one-count path
            for (int c = 1; c < m.used; ++c) memcpy((uint8_t*)t.args.value + 4 * c, t.args.value, 4);
        ar::expectModel(m, t);
    });
}

TEST_P(SampleOps, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    zt::Rng rng = zt::Rng::forTest();
    ar::Trial t = ar::makeTrial(m, rng, zt::Tight::End, rng.range(1, 40), rng.range(1, 4), true);
    t.args.sf = (int)rng.range(-3, 3);
    if (m.divides() && m.shape == Shape::Binary)  // a valid division meets no zero divisor
        for (int64_t i = 0; i < t.regions[0].extent(); ++i) t.regions[0].lo()[i] |= 0x11;
    ar::checkOrder(m, t);
}

// One-channel members on every input. 8-bit: all pairs of two images (pSrc1 the column, pSrc2
// the row), every constant (shift counts 0..40), every scale factor from -40 to 40 for the scaled
// arithmetic (-12..24 for the other scaled functions), every round mode and every comparison.
// 16-bit one-image functions: every sample at scale factors across their useful range.
class EveryInput : public ::testing::TestWithParam<Member> {};

bool exhaustive(const Member& m) {
    if (m.layout != "C1" || m.longForm) return false;
    return m.sampleBytes == 1 ? !(m.scaledOp() && m.inPlace) : m.sampleBytes == 2 && m.shape == Shape::Unary && !m.inPlace;
}

TEST_P(EveryInput, MatchesTheRule) {
    const Member& m = GetParam();
    zt::Rng rng = zt::Rng::forTest();
    const bool two = m.shape == Shape::Binary, konst = m.shape == Shape::Const, wide = m.sampleBytes == 2;
    ar::Trial t = ar::makeTrial(m, rng, zt::Tight::End, 256, two || wide ? 256 : 1, true);
    ar::Args& a = t.args;
    std::vector<int> sfs = {0};
    if (m.scaled && wide) sfs = {-13, -8, -4, -1, 0, 1, 4, 9, 14, 18, 23};
    else if (m.scaled) sfs.clear();
    for (int sf = m.scaledOp() ? -40 : -12; m.scaled && !wide && sf <= (m.scaledOp() ? 40 : 24); ++sf) sfs.push_back(sf);
    const int kHi = !konst ? 0 : m.shifts() ? 40 : 255, kLo = konst && m.divides() ? 1 : 0;
    for (int sf : sfs)
        for (int rnd = m.op == Op::DivRound ? 0 : 1; rnd <= (m.op == Op::DivRound ? 2 : 1); ++rnd)
            for (int cmp = 0; cmp <= (m.op == Op::Compare ? 4 : 0); ++cmp)
                for (int k = kLo; k <= kHi; ++k) {
                    for (int64_t y = 0; y < a.h; ++y)
                        for (int x = 0; x < 256; ++x) {
                            if (wide) put<uint16_t>(a.p, a.pStep, y, x, uint16_t(y * 256 + x));
                            else put<uint8_t>(a.p, a.pStep, y, x, uint8_t(two ? y : x));
                            if (two) put<uint8_t>(a.q, a.qStep, y, x, uint8_t(x));
                        }
                    uint32_t kv = (uint32_t)k;
                    if (konst) memcpy((void*)a.value, &kv, m.shifts() ? 4 : 1);
                    a.sf = sf, a.rnd = rnd, a.cmp = cmp;
                    SCOPED_TRACE(::testing::Message() << "constant " << k);
                    ar::expectModel(m, t);
                    if (HasFailure()) return;
                }
}

INSTANTIATE_TEST_SUITE_P(Arith, SampleOps, ::testing::ValuesIn(all()), zt::paramName);
INSTANTIATE_TEST_SUITE_P(Arith, EveryInput, ::testing::ValuesIn([] {
                             std::vector<Member> v;
                             std::copy_if(all().begin(), all().end(), std::back_inserter(v), exhaustive);
                             return v;
                         }()), zt::paramName);

// Every member has an implementation and a name the model reads (the family titles themselves are
// checked where the finished families are listed).
TEST(SampleOpsTable, EveryExportIsBound) {
    for (auto& m : all()) {
        EXPECT_NE(m.fn, nullptr) << m.name;
        EXPECT_TRUE(m.known && m.roi && m.sampleBytes && !m.layout.empty()) << m.name;
    }
}

// 16-bit quotients that do not saturate, in every round mode: a division that is not exact shows
// here as a quotient rounded the wrong way near a tie or an integer.
TEST(SampleOpsDense16, QuotientsInRangeRoundExactly) {
    zt::Rng rng = zt::Rng::forTest();
    for (const char* name : {"zeliDiv_Round_16s_C1RSfs", "zeliDiv_Round_16u_C1RSfs"}) {
        const Member& m = named(name);
        ar::Trial t = ar::makeTrial(m, rng, zt::Tight::End, 4096, 1, true);
        for (int sf = -20; sf <= 20; ++sf)
            for (int rnd = 0; rnd < 3; ++rnd) {
                for (int i = 0; i < 4096; ++i) {
                    int64_t num = m.isSigned ? rng.range(-32768, 32767) : rng.range(0, 65535);
                    int64_t lim = std::max<int64_t>(1, (std::abs(num) << std::max(0, -sf)) / 32767 + 1);
                    int64_t den = lim > 32767 ? 0 : rng.range(lim, 32767);
                    if (den == 0) num = 0, den = 1;
                    if (m.isSigned && rng.chance(0.5)) den = -den;
                    put<uint16_t>(t.args.q, 0, 0, i, (uint16_t)den), put<uint16_t>(t.args.p, 0, 0, i, (uint16_t)num);
                }
                t.args.sf = sf, t.args.rnd = rnd;
                ar::expectModel(m, t);
                if (HasFailure()) return;
            }
    }
}

// A 64-bit step beyond 2^31 takes the 64-bit row loop; the regions span more than 2 GiB that are
// never touched, so rows are filled and compared by hand.
TEST(SampleOpsLong, StepsBeyondTwoGigabytes) {
    const int64_t step = (int64_t(1) << 31) + 128, w = 100;
    zt::Region q(w * 2, 2, step), p(w * 2, 2, step), d(w * 2, 2, step);
    zt::Rng rng = zt::Rng::forTest();
    for (int y = 0; y < 2; ++y)
        for (int64_t x = 0; x < w; ++x) put<Zel16s>(q.origin(), step, y, x, (Zel16s)rng.range(-300, 300)),
                                        put<Zel16s>(p.origin(), step, y, x, (Zel16s)rng.range(-30000, 30000));
    for (const char* name : {"zeliDiv_16s_C1RSfs_L", "zeliSub_16s_C1RSfs_L"}) {
        const Member& m = named(name);
        ar::Args a{q.origin(), step, p.origin(), step, d.origin(), step, w, 2};
        a.sf = -1;
        bool zero = false;
        ZelStatus st = ar::call(m, a);
        for (int y = 0; y < 2; ++y)
            for (int64_t x = 0; x < w; ++x) {
                Zel16s want = ar::rule<Zel16s>(m, ar::load<Zel16s>(p.origin(), step, y, x), ar::load<Zel16s>(q.origin(), step, y, x), 0, a, &zero);
                ASSERT_EQ(ar::load<Zel16s>(d.origin(), step, y, x), want) << name << " row " << y << " x " << x;
            }
        EXPECT_EQ(st, zero ? zelStsDivByZero : zelStsNoErr) << name;
    }
}

// The rules by example, so that the model cannot drift with the library: one-row images of a
// one-channel member; q is pSrc1 or the constant, p pSrc2 or the image.
template <class T, class V = T>
std::vector<T> run(const char* name, std::vector<V> q, std::vector<T> p, int sf = 0, ZelStatus want = zelStsNoErr) {
    std::vector<T> d(p.size(), T(0x5A));
    int64_t step = (int64_t)(p.size() * sizeof(T));
    ar::Args a{q.data(), step, p.data(), step, d.data(), step, (int64_t)p.size(), 1, q.data()};
    a.sf = sf;
    EXPECT_EQ(ar::call(named(name), a), want) << name;
    return d;
}

TEST(SampleOpsByExample, RoundingSaturationShiftsAndOperandOrder) {
    using V8 = std::vector<Zel8u>;
    using V16 = std::vector<Zel16s>;
    using V32 = std::vector<Zel32s>;
    EXPECT_EQ(run<Zel8u>("zeliAdd_8u_C1RSfs", {100, 101}, {101, 102}, 1), (V8{100, 102}));  // ties to even
    EXPECT_EQ(run<Zel8u>("zeliSub_8u_C1RSfs", {10, 3}, {3, 10}), (V8{0, 7}));  // pSrc2 - pSrc1
    EXPECT_EQ(run<Zel8u>("zeliSubC_8u_C1RSfs", {3}, {10, 2}), (V8{7, 0}));     // image - constant
    EXPECT_EQ(run<Zel16s>("zeliAdd_16s_C1RSfs", {-5, 5, 0, -32768}, {1, -1, 0, -1}, -16), (V16{-32768, 32767, 0, -32768}));
    EXPECT_EQ(run<Zel16s>("zeliDiv_16s_C1RSfs", {2, 0, 0, 0}, {-7, 5, -5, 0}, 0, zelStsDivByZero),
              (V16{-4, 32767, -32768, 0}));  // -3.5 to even; zero divisors give the dividend's extreme
    EXPECT_EQ(run<Zel8u>("zeliDiv_8u_C1RSfs", {0, 7}, {9, 0}, -16), (V8{255, 0}));  // no division below -15
    EXPECT_EQ(run<Zel16u>("zeliMul_16u_C1RSfs", {65535, 65535, 46341}, {65535, 32768, 46341}, 32),
              (std::vector<Zel16u>{1, 0, 1}));  // 0.99997 -> 1, 0.49999 -> 0, 0.500002 -> 1
    EXPECT_EQ((run<Zel8u, Zel32u>("zeliRShiftC_8u_C1R", {7}, {0, 127, 128, 255})), (V8{0, 0, 1, 1}));
    EXPECT_EQ((run<Zel16s, Zel32u>("zeliRShiftC_16s_C1R", {20}, {-32768, -1, 32767})), (V16{-1, -1, 0}));
    EXPECT_EQ((run<Zel32s, Zel32u>("zeliRShiftC_32s_C1R", {64}, {-5, 7, INT32_MIN})), (V32{-1, 0, -1}));  // sign fill
    EXPECT_EQ((run<Zel32s, Zel32u>("zeliLShiftC_32s_C1R", {32}, {-5, 7, INT32_MIN})), (V32{0, 0, 0}));
    EXPECT_EQ(run<Zel32s>("zeliComplement_32s_C1R", {}, {-5, 7, INT32_MIN}), (V32{(Zel32s)0x80000005u, 7, INT32_MIN}));
    Zel16s img[16] = {-32768, -2, 0, 0, 0, -3, -4, 0};  // step 11 of a 16-bit image advances 10 bytes
    ASSERT_EQ(zeliAbs_16s_C1IR(img, 11, {2, 2}), zelStsNoErr);
    EXPECT_EQ(V16(img, img + 7), (V16{32767, 2, 0, 0, 0, 3, 4}));
}

TEST(SampleOpsByExample, Ac4LeavesAlphaAndIgnoresItsZeroDivisor) {
    Zel16s s1[8] = {2, 2, 2, 0, 3, 3, 3, 0}, s2[8] = {5, 7, -9, 1, 9, 9, 9, 1}, d[8] = {0, 0, 0, 77, 0, 0, 0, -77};
    EXPECT_EQ(zeliDiv_16s_AC4RSfs(s1, 16, s2, 16, d, 16, {2, 1}, 0), zelStsNoErr);
    EXPECT_EQ(std::vector<Zel16s>(d, d + 8), (std::vector<Zel16s>{2, 4, -4, 77, 3, 3, 3, -77}));  // 2.5 to even
}

// Operation values outside 0..4, negative ones too, succeed and write nothing.
TEST(SampleOpsByExample, LenientComparisonWritesNothing) {
    zt::Rng rng = zt::Rng::forTest();
    for (auto& m : all()) {
        if (m.op != Op::Compare) continue;
        ar::Trial t = ar::makeTrial(m, rng, zt::Tight::End);
        for (int op : {5, 9, 1000, -1, INT32_MIN}) {
            t.args.cmp = op;
            zt::Shadow before(t.watch());
            EXPECT_EQ(ar::call(m, t.args), zelStsNoErr) << m.name << " operation " << op;
            EXPECT_TRUE(before.matches()) << m.name << " operation " << op;
        }
    }
}

}  // namespace
