// Compare, CompareC, CompareEqualEps, CompareEqualEpsC: every member against the scalar rule
// (255 where the relation holds on every processed channel of the pixel) on random geometry in
// guarded memory, every operation value, the check order, and the lenient operation values.
#include <math.h>

#include <set>

#include "zel_test_kit.h"

namespace {

struct Args {
    const uint8_t* a = nullptr;
    int aStep = 0;
    const uint8_t* b = nullptr;  // second image
    int bStep = 0;
    uint8_t* dst = nullptr;
    int dstStep = 0;
    int width = 0, height = 0;
    uint8_t value[16] = {};
    bool valueNull = false;
    int op = 0;
    float eps = 0;
};

struct Member {
    std::string name;
    int elem, channels, used;
    bool isConst, isFloat, isSigned, isEps;
    std::function<ZelStatus(const Args&)> call;
};

const uint8_t* constants(const Args& a, int n, int elem) {
    static zt::Region* page = new zt::Region(64, 1, 64, zt::Tight::End);
    if (a.valueNull) return nullptr;
    uint8_t* p = page->lo() + 64 - n * elem;
    memcpy(p, a.value, n * elem);
    return p;
}

template <class T, class P>
Member make(const char* name, ZelStatus (*fn)(const T*, int, const T*, int, Zel8u*, int, ZeliSize, P), int ch, int used) {
    Member m{name, sizeof(T), ch, used, false, std::is_same_v<T, float>, std::is_signed_v<T>, std::is_same_v<P, float>, {}};
    m.call = [fn](const Args& a) {
        P p;
        if constexpr (std::is_same_v<P, float>) p = a.eps; else p = (P)a.op;
        return fn((const T*)a.a, a.aStep, (const T*)a.b, a.bStep, a.dst, a.dstStep, {a.width, a.height}, p);
    };
    return m;
}
template <class T, class P>
Member make(const char* name, ZelStatus (*fn)(const T*, int, T, Zel8u*, int, ZeliSize, P), int ch, int used) {
    Member m{name, sizeof(T), ch, used, true, std::is_same_v<T, float>, std::is_signed_v<T>, std::is_same_v<P, float>, {}};
    m.call = [fn](const Args& a) {
        P p;
        if constexpr (std::is_same_v<P, float>) p = a.eps; else p = (P)a.op;
        T v;
        memcpy(&v, a.value, sizeof v);
        return fn((const T*)a.a, a.aStep, v, a.dst, a.dstStep, {a.width, a.height}, p);
    };
    return m;
}
template <class T, class P>
Member make(const char* name, ZelStatus (*fn)(const T*, int, const T*, Zel8u*, int, ZeliSize, P), int ch, int used) {
    Member m{name, sizeof(T), ch, used, true, std::is_same_v<T, float>, std::is_signed_v<T>, std::is_same_v<P, float>, {}};
    m.call = [fn, used](const Args& a) {
        P p;
        if constexpr (std::is_same_v<P, float>) p = a.eps; else p = (P)a.op;
        return fn((const T*)a.a, a.aStep, (const T*)constants(a, used, sizeof(T)), a.dst, a.dstStep,
                  {a.width, a.height}, p);
    };
    return m;
}

#define CM_LAYOUTS(op, t)                                                  \
    make("zeli" #op "_" #t "_C1R", zeli##op##_##t##_C1R, 1, 1),            \
    make("zeli" #op "_" #t "_C3R", zeli##op##_##t##_C3R, 3, 3),            \
    make("zeli" #op "_" #t "_C4R", zeli##op##_##t##_C4R, 4, 4),            \
    make("zeli" #op "_" #t "_AC4R", zeli##op##_##t##_AC4R, 4, 3)

const std::vector<Member>& members() {
    static const std::vector<Member> all = {
        CM_LAYOUTS(Compare, 8u),  CM_LAYOUTS(Compare, 16u),  CM_LAYOUTS(Compare, 16s),  CM_LAYOUTS(Compare, 32f),
        CM_LAYOUTS(CompareC, 8u), CM_LAYOUTS(CompareC, 16u), CM_LAYOUTS(CompareC, 16s), CM_LAYOUTS(CompareC, 32f),
        CM_LAYOUTS(CompareEqualEps, 32f), CM_LAYOUTS(CompareEqualEpsC, 32f),
    };
    return all;
}

double sample(const Member& m, const uint8_t* p) {
    if (m.isFloat) return zt::fromBits<float>(*(const uint32_t*)p);
    if (m.elem == 1) return *p;
    return m.isSigned ? (double)*(const int16_t*)p : (double)*(const uint16_t*)p;
}

// The rule, from the operation's definition.
bool holds(const Member& m, const Args& a, double x, double y) {
    if (m.isEps) return fabsf((float)x - (float)y) <= a.eps;
    switch (a.op) {
        case 0: return x < y;
        case 1: return x <= y;
        case 2: return x == y;
        case 3: return x >= y;
        default: return x > y;
    }
}

void model(const Member& m, const Args& a, const uint8_t* sa, const uint8_t* sb, uint8_t* sd) {
    int64_t as = a.aStep / m.elem * m.elem, bs = a.bStep / m.elem * m.elem;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x) {
            bool all = true;
            for (int c = 0; c < m.used; ++c) {
                int64_t off = ((int64_t)x * m.channels + c) * m.elem;
                double va = sample(m, sa + y * as + off);
                double vb = m.isConst ? sample(m, a.value + c * m.elem) : sample(m, sb + y * bs + off);
                all &= holds(m, a, va, vb);
            }
            sd[(int64_t)y * a.dstStep + x] = all ? 255 : 0;
        }
}

// Samples from a small set so that equal values are common; floats include the specials.
void fillSamples(const Member& m, zt::Rng& rng, uint8_t* p, int64_t n) {
    static const float specials[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, INFINITY, -INFINITY, NAN, 1e-40f, 3.0e38f};
    for (int64_t i = 0; i < n; i += m.elem) {
        uint64_t v;
        if (m.isFloat) {
            float f = rng.chance(0.2) ? rng.pick(specials) : (float)rng.range(-4, 4) * 0.25f;
            v = zt::bitsOf(f);
        } else {
            v = rng.chance(0.5) ? (uint64_t)rng.range(0, 3) : rng.next();
            if (rng.chance(0.2)) v = m.isSigned ? 0x8000 : (m.elem == 1 ? 0xFF : 0xFFFF);
        }
        memcpy(p + i, &v, m.elem);
    }
}

struct Trial {
    std::vector<zt::Region> regions;
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> w;
        for (auto& r : regions) w.push_back(&r);
        return w;
    }
};

Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, int width = 0, int height = 0) {
    Trial t;
    Args& a = t.args;
    a.width = width ? width : zt::randomWidth(rng, m.channels * m.elem);
    int64_t rowBytes = (int64_t)a.width * m.channels * m.elem;
    a.height = height ? height : zt::randomHeight(rng, rowBytes);
    t.regions.reserve(3);
    auto image = [&](int64_t rb, int& step, bool samples) {
        step = (int)zt::randomStep(rng, rb);
        t.regions.emplace_back(rb, a.height, step, tight, rng.range(0, 63));
        zt::Region& r = t.regions.back();
        r.randomize(rng);
        if (samples)
            for (int y = 0; y < a.height; ++y) fillSamples(m, rng, r.origin() + y * (step / m.elem * m.elem), rb);
        return r.origin();
    };
    a.dst = image(a.width, a.dstStep, false);
    a.a = image(rowBytes, a.aStep, true);
    if (!m.isConst) a.b = image(rowBytes, a.bStep, true);
    fillSamples(m, rng, a.value, 4 * m.elem);
    a.op = (int)rng.range(0, 4);
    a.eps = rng.chance(0.5) ? 0.0f : 0.25f * (float)rng.range(0, 8);
    return t;
}

void expectModel(const Member& m, const Trial& t) {
    zt::Shadow shadow(t.watch());
    const Args& a = t.args;
    model(m, a, shadow(a.a), shadow(a.b), shadow(a.dst));
    ASSERT_EQ(m.call(a), zelStsNoErr);
    EXPECT_TRUE(shadow.matches()) << "operation " << a.op << ", eps " << a.eps;
}

class Compare : public ::testing::TestWithParam<const Member*> {};

TEST_P(Compare, MatchesScalarRule) {
    const Member& m = *GetParam();
    zt::forTrials(30, [&](zt::Rng& rng, zt::Tight tight, int) { expectModel(m, makeTrial(m, rng, tight)); });
}

TEST_P(Compare, ChecksStepsBeforeSizeBeforeParameters) {
    const Member& m = *GetParam();
    zt::Rng rng = zt::Rng::forTest();
    Trial t = makeTrial(m, rng, zt::Tight::End, (int)rng.range(1, 40), (int)rng.range(1, 4));
    zt::CheckOrder<Args> co(t.args, m.call, t.watch());
    co.row("first source null", [](Args& a) { a.a = nullptr; }, zelStsNullPtrErr);
    if (!m.isConst) co.row("second source null", [](Args& a) { a.b = nullptr; }, zelStsNullPtrErr);
    if (m.isConst && m.channels > 1) co.row("constants null", [](Args& a) { a.valueNull = true; }, zelStsNullPtrErr);
    co.row("destination null", [](Args& a) { a.dst = nullptr; }, zelStsNullPtrErr);
    co.row("first step 0", [](Args& a) { a.aStep = 0; }, zelStsStepErr);
    if (!m.isConst) co.row("second step -3", [](Args& a) { a.bStep = -3; }, zelStsStepErr);
    co.row("destination step 0", [](Args& a) { a.dstStep = 0; }, zelStsStepErr);
    co.row("width 0", [](Args& a) { a.width = 0; }, zelStsSizeErr);
    co.row("height 0", [](Args& a) { a.height = 0; }, zelStsSizeErr);
    if (m.isEps) co.row("eps -0.5", [](Args& a) { a.eps = -0.5f; }, zelStsEpsValErr);
    co.run();
}

// Operation values outside 0..4 (negative ones too) succeed and write nothing.
TEST_P(Compare, LenientOperationWritesNothing) {
    const Member& m = *GetParam();
    if (m.isEps) GTEST_SKIP() << "no operation argument";
    zt::Rng rng = zt::Rng::forTest();
    Trial t = makeTrial(m, rng, zt::Tight::End);
    for (int op : {5, 9, 1000, -1, INT32_MIN}) {
        t.args.op = op;
        zt::Shadow before(t.watch());
        EXPECT_EQ(m.call(t.args), zelStsNoErr) << "operation " << op;
        EXPECT_TRUE(before.matches()) << "operation " << op;
    }
}

INSTANTIATE_TEST_SUITE_P(Arith, Compare, ::testing::ValuesIn([] {
                             std::vector<const Member*> v;
                             for (auto& m : members()) v.push_back(&m);
                             return v;
                         }()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(CompareTable, CoversEveryExportOfTheFamilies) {
    auto names = zt::exportsOf({"Compare, CompareC", "CompareEqualEps, CompareEqualEpsC"});
    std::set<std::string> tested;
    for (auto& m : members()) tested.insert(m.name);
    for (auto& n : names) EXPECT_TRUE(tested.count(n)) << n << " has no row in the member table";
    EXPECT_EQ(tested.size(), names.size());
}

// Every pair of 8-bit samples under every operation.
TEST(CompareEdges, EveryEightBitPair) {
    static Zel8u a[65536], b[65536], d[65536];
    for (int i = 0; i < 65536; ++i) a[i] = (Zel8u)i, b[i] = (Zel8u)(i >> 8);
    for (int op = 0; op <= 4; ++op) {
        ASSERT_EQ(zeliCompare_8u_C1R(a, 256, b, 256, d, 256, {256, 256}, op), zelStsNoErr);
        for (int i = 0; i < 65536; ++i) {
            int x = i & 255, y = i >> 8;
            bool r = op == 0 ? x < y : op == 1 ? x <= y : op == 2 ? x == y : op == 3 ? x >= y : x > y;
            ASSERT_EQ(d[i], r ? 255 : 0) << "op " << op << ": " << x << " vs " << y;
        }
        for (int k = 0; k < 256; ++k) {
            ASSERT_EQ(zeliCompareC_8u_C1R(a, 256, (Zel8u)k, d, 256, {256, 1}, op), zelStsNoErr);
            for (int x = 0; x < 256; ++x) {
                bool r = op == 0 ? x < k : op == 1 ? x <= k : op == 2 ? x == k : op == 3 ? x >= k : x > k;
                ASSERT_EQ(d[x], r ? 255 : 0) << "op " << op << ": " << x << " vs constant " << k;
            }
        }
    }
}

TEST(CompareEdges, AllChannelsMustHold) {
    const Zel8u s1[6] = {1, 2, 3, 1, 9, 3}, s2[6] = {2, 3, 4, 2, 3, 4};
    Zel8u d[2];
    ASSERT_EQ(zeliCompare_8u_C3R(s1, 6, s2, 6, d, 2, {2, 1}, zelCmpLess), zelStsNoErr);
    EXPECT_EQ(d[0], 255);
    EXPECT_EQ(d[1], 0);
    const Zel32f f[1] = {1.0f};
    EXPECT_EQ(zeliCompareEqualEps_32f_C1R(f, 4, f, 4, d, 1, {1, 1}, -0.5f), zelStsEpsValErr);
}

}  // namespace
