// And, Or, Xor (and their constant forms), Not, LShiftC, RShiftC and Complement: every member
// against the scalar rule on random geometry in guarded memory, its check order (steps before
// size), every 8u member on every input, and the edge cases users trip over.
#include <set>

#include "sample_model.h"

namespace {

using am::Member;
using am::Rule;
using am::Shape;

Rule bitAnd() { return [](uint64_t a, uint64_t b, int) { return a & b; }; }
Rule bitOr() { return [](uint64_t a, uint64_t b, int) { return a | b; }; }
Rule bitXor() { return [](uint64_t a, uint64_t b, int) { return a ^ b; }; }
Rule bitNot() { return [](uint64_t a, uint64_t, int) { return ~a & 0xFF; }; }
// Shifts: counts not below the width give 0, or the sign fill for signed right shifts.
Rule lshift(int bytes) {
    return [=](uint64_t a, uint64_t n, int) { return n >= 8u * bytes ? 0 : am::low((int64_t)(a << n), bytes); };
}
Rule rshiftU(int bytes) {
    return [=](uint64_t a, uint64_t n, int) { return n >= 8u * bytes ? 0 : a >> n; };
}
Rule rshiftS(int bytes) {
    return [=](uint64_t a, uint64_t n, int) {
        int64_t s = am::sext(a, bytes);
        return am::low(n >= 63 ? (s < 0 ? -1 : 0) : s >> n, bytes);
    };
}
// Sign and magnitude: negative samples become |x| with the sign bit set.
Rule complement(int bytes) {
    return [=](uint64_t a, uint64_t, int) {
        int64_t s = am::sext(a, bytes);
        return s >= 0 ? a : am::low(-s | (int64_t(1) << (8 * bytes - 1)), bytes);
    };
}

#define AM_LAYOUTS(op, t, T, shape, rule, ...)                                                                  \
    am::make<T>("zeli" #op "_" #t "_C1R", zeli##op##_##t##_C1R, "C1", shape, false, rule, ##__VA_ARGS__),       \
    am::make<T>("zeli" #op "_" #t "_C3R", zeli##op##_##t##_C3R, "C3", shape, false, rule, ##__VA_ARGS__),       \
    am::make<T>("zeli" #op "_" #t "_C4R", zeli##op##_##t##_C4R, "C4", shape, false, rule, ##__VA_ARGS__),       \
    am::make<T>("zeli" #op "_" #t "_AC4R", zeli##op##_##t##_AC4R, "AC4", shape, false, rule, ##__VA_ARGS__),    \
    am::make<T>("zeli" #op "_" #t "_C1IR", zeli##op##_##t##_C1IR, "C1", shape, true, rule, ##__VA_ARGS__),      \
    am::make<T>("zeli" #op "_" #t "_C3IR", zeli##op##_##t##_C3IR, "C3", shape, true, rule, ##__VA_ARGS__),      \
    am::make<T>("zeli" #op "_" #t "_C4IR", zeli##op##_##t##_C4IR, "C4", shape, true, rule, ##__VA_ARGS__),      \
    am::make<T>("zeli" #op "_" #t "_AC4IR", zeli##op##_##t##_AC4IR, "AC4", shape, true, rule, ##__VA_ARGS__)

#define AM_BITWISE(t, T)                                             \
    AM_LAYOUTS(And, t, T, Shape::Binary, bitAnd()),                  \
    AM_LAYOUTS(Or, t, T, Shape::Binary, bitOr()),                    \
    AM_LAYOUTS(Xor, t, T, Shape::Binary, bitXor()),                  \
    AM_LAYOUTS(AndC, t, T, Shape::Const, bitAnd()),                  \
    AM_LAYOUTS(OrC, t, T, Shape::Const, bitOr()),                    \
    AM_LAYOUTS(XorC, t, T, Shape::Const, bitXor())

const std::vector<Member>& members() {
    static const std::vector<Member> all = {
        AM_BITWISE(8u, Zel8u),
        AM_BITWISE(16u, Zel16u),
        AM_BITWISE(32s, Zel32s),
        AM_LAYOUTS(Not, 8u, Zel8u, Shape::Unary, bitNot()),
        AM_LAYOUTS(LShiftC, 8u, Zel8u, Shape::Const, lshift(1), 4),
        AM_LAYOUTS(LShiftC, 16u, Zel16u, Shape::Const, lshift(2), 4),
        AM_LAYOUTS(LShiftC, 32s, Zel32s, Shape::Const, lshift(4), 4),
        AM_LAYOUTS(RShiftC, 8u, Zel8u, Shape::Const, rshiftU(1), 4),
        AM_LAYOUTS(RShiftC, 16u, Zel16u, Shape::Const, rshiftU(2), 4),
        AM_LAYOUTS(RShiftC, 16s, Zel16s, Shape::Const, rshiftS(2), 4),
        AM_LAYOUTS(RShiftC, 32s, Zel32s, Shape::Const, rshiftS(4), 4),
        AM_LAYOUTS(Complement, 8s, Zel8s, Shape::Unary, complement(1)),
        AM_LAYOUTS(Complement, 16s, Zel16s, Shape::Unary, complement(2)),
        AM_LAYOUTS(Complement, 32s, Zel32s, Shape::Unary, complement(4)),
    };
    return all;
}

std::vector<const Member*> pointers() {
    std::vector<const Member*> v;
    for (auto& m : members()) v.push_back(&m);
    return v;
}

class Logic : public ::testing::TestWithParam<const Member*> {};

TEST_P(Logic, MatchesScalarRule) {
    const Member& m = *GetParam();
    zt::forTrials(14, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        am::Trial t = am::makeTrial(m, rng, tight);
        if (m.constElem == 4 && m.used > 1 && trial % 2)  // equal counts: the one-channel path
            for (int c = 1; c < 4; ++c) memcpy(t.args.value + 4 * c, t.args.value, 4);
        am::expectModel(m, t);
    });
}

TEST_P(Logic, ChecksStepsBeforeSize) {
    const Member& m = *GetParam();
    zt::Rng rng = zt::Rng::forTest();
    am::Trial t = am::makeTrial(m, rng, zt::Tight::End, (int)rng.range(1, 40), (int)rng.range(1, 4));
    am::checkOrder(m, t).run();
}

// Every input of every 8-bit member: all 65536 pairs, all constants, all counts 0..40.
TEST_P(Logic, EveryEightBitInput) {
    const Member& m = *GetParam();
    if (m.elem != 1 || m.channels != 1) GTEST_SKIP() << "8-bit one-channel members only";
    zt::Rng rng = zt::Rng::forTest();
    am::Trial t = am::makeTrial(m, rng, zt::Tight::End, 256, 256);
    am::Args& a = t.args;
    auto fill = [&] {
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) {
                a.a[y * a.aStep + x] = (uint8_t)x;
                if (a.b) a.b[y * a.bStep + x] = (uint8_t)y;
            }
    };
    if (m.shape != Shape::Const) {
        fill();
        am::expectModel(m, t);
        return;
    }
    int last = m.constElem == 4 ? 40 : 255;
    for (int k = 0; k <= last && !HasFailure(); ++k) {
        fill();
        uint32_t v = (uint32_t)k;
        memcpy(a.value, &v, 4);
        SCOPED_TRACE(::testing::Message() << "constant " << k);
        am::expectModel(m, t);
    }
}

INSTANTIATE_TEST_SUITE_P(Arith, Logic, ::testing::ValuesIn(pointers()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(LogicTable, CoversEveryExportOfTheFamilies) {
    auto names = zt::exportsOf({"And, Or, Xor", "AndC, OrC, XorC", "Not", "LShiftC, RShiftC", "Complement"});
    std::set<std::string> tested;
    for (auto& m : members()) EXPECT_TRUE(tested.insert(m.name).second) << m.name << " twice";
    for (auto& n : names) EXPECT_TRUE(tested.count(n)) << n << " has no row in the member table";
    EXPECT_EQ(tested.size(), names.size());
}

TEST(LogicEdges, ShiftsAndComplementByExample) {
    Zel8u s8[4] = {0, 127, 128, 255}, d8[4];
    ASSERT_EQ(zeliRShiftC_8u_C1R(s8, 4, 8, d8, 4, {4, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(d8, d8 + 4), (std::vector<int>{0, 0, 0, 0}));
    ASSERT_EQ(zeliRShiftC_8u_C1R(s8, 4, 7, d8, 4, {4, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(d8, d8 + 4), (std::vector<int>{0, 0, 1, 1}));
    Zel16s s16[3] = {-32768, -1, 32767}, d16[3];
    ASSERT_EQ(zeliRShiftC_16s_C1R(s16, 6, 20, d16, 6, {3, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(d16, d16 + 3), (std::vector<int>{-1, -1, 0}));
    Zel32s s32[3] = {-5, 7, INT32_MIN}, d32[3];
    ASSERT_EQ(zeliComplement_32s_C1R(s32, 12, d32, 12, {3, 1}), zelStsNoErr);
    EXPECT_EQ((uint32_t)d32[0], 0x80000005u);
    EXPECT_EQ(d32[1], 7);
    EXPECT_EQ(d32[2], INT32_MIN);
    ASSERT_EQ(zeliRShiftC_32s_C1R(s32, 12, 64, d32, 12, {3, 1}), zelStsNoErr);  // 64 and more: sign fill
    EXPECT_EQ(std::vector<int>(d32, d32 + 3), (std::vector<int>{-1, 0, -1}));
    ASSERT_EQ(zeliLShiftC_32s_C1R(s32, 12, 32, d32, 12, {3, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(d32, d32 + 3), (std::vector<int>{0, 0, 0}));
}

TEST(LogicEdges, ZeroSizeWithZeroStepIsAStepError) {
    Zel8u p[4] = {};
    EXPECT_EQ(zeliAnd_8u_C1R(p, 0, p, 4, p, 4, {0, 1}), zelStsStepErr);
    EXPECT_EQ(zeliNot_8u_C1IR(p, 0, {0, 0}), zelStsStepErr);
    EXPECT_EQ(zeliAnd_8u_C1R(nullptr, 0, p, 4, p, 4, {0, 1}), zelStsNullPtrErr);
}

}  // namespace
