// Norms, relative norms, sums, means and dot products against reference models written from
// the rules: exact integer sums (long double holds them exactly here), the accurate 32f pair
// rule, the wide-row strip rule of Norm_L2_8u_C1R; random geometry in guard-page regions.
#include "stat_members.h"

namespace {

enum class Kind { Inf, L1, L2, Sum, Dot };
enum class Form { Plain, Diff, Rel };

struct Reduction : st::Member {
    Kind kind = Kind::Sum;
    Form form = Form::Plain;
    bool mean = false, hint = false;
    bool two() const { return form != Form::Plain || kind == Kind::Dot; }
};

const std::vector<Reduction>& all() {
    static const std::vector<Reduction> v = [] {
        std::vector<Reduction> v;
        for (auto& n : st::members({"Norm_Inf, Norm_L1, Norm_L2, NormDiff_*, NormRel_*", "Sum, Mean", "DotProd"})) {
            Reduction r;
            static_cast<st::Member&>(r) = n;
            std::string op = n.op, norm = op.substr(op.find('_') + 1);
            r.form = op.rfind("NormDiff", 0) == 0 ? Form::Diff : op.rfind("NormRel", 0) == 0 ? Form::Rel : Form::Plain;
            r.kind = op == "DotProd" ? Kind::Dot : op == "Sum" || op == "Mean" ? Kind::Sum
                     : norm == "Inf" ? Kind::Inf : norm == "L1" ? Kind::L1 : Kind::L2;
            r.mean = op == "Mean";
            r.hint = n.isFloat && r.kind != Kind::Inf && r.kind != Kind::Dot;
            v.push_back(r);
        }
        return v;
    }();
    return v;
}

ZelStatus call(const Reduction& m, const void* a, int sa, const void* b, int sb, ZeliSize roi, double* v, int hint) {
    if (m.two()) return m.hint ? zt::invoke(m.fn, a, sa, b, sb, roi, v, hint) : zt::invoke(m.fn, a, sa, b, sb, roi, v);
    return m.hint ? zt::invoke(m.fn, a, sa, roi, v, hint) : zt::invoke(m.fn, a, sa, roi, v);
}

struct Expect {
    double v[4];
    long double scale[4];  // the sum of |term|: the size of the rounding a fast path may show
};

// The rule per channel. Integer sums are exact in long double here; the 32f accurate rule is
// followed operation by operation (two pair sums, fused for L2).
Expect model(const Reduction& m, const zt::Region& a, const zt::Region& b, ZeliSize roi, int hint) {
    const bool f32 = m.isFloat, accurate = f32 && hint == zelAlgHintAccurate;
    auto norm = [&](bool diff, const zt::Region& x, const zt::Region& y, double out[4], long double scale[4]) {
        for (int c = 0; c < m.channels; ++c) {
            long double acc = 0, mag = 0;
            double pair[2] = {0, 0};
            for (int64_t r = 0; r < roi.height; ++r)
                for (int64_t px = 0; px < roi.width; ++px) {
                    int64_t i = px * m.channels + c;
                    long double s = m.at(x.origin(), x.step(), r, i), t = diff || m.kind == Kind::Dot ? m.at(y.origin(), y.step(), r, i) : 0;
                    if (m.kind == Kind::Dot) {
                        acc += s * t, mag += fabsl(s * t);
                        continue;
                    }
                    if (diff) s = f32 && !accurate ? (long double)((float)s - (float)t) : s - t;
                    long double term = m.kind == Kind::L2 ? s * s : m.kind == Kind::Sum ? s : fabsl(s);
                    if (m.kind == Kind::Inf) acc = std::max(acc, term);
                    else acc += term, mag += fabsl(term);
                    double d = (double)s, &p = pair[px & 1];
                    p = m.kind == Kind::L2 ? std::fma(d, d, p) : m.kind == Kind::L1 ? p + std::fabs(d) : p + d;
                }
            double v = accurate && m.kind != Kind::Inf ? pair[0] + pair[1] : (double)acc;
            out[c] = m.kind == Kind::L2 ? std::sqrt(v) : v;
            scale[c] = mag;
        }
    };
    Expect e{};
    if (m.form == Form::Rel) {
        double num[4], den[4];
        long double sn[4], sd[4];
        norm(true, a, b, num, sn);
        norm(false, b, b, den, sd);
        for (int c = 0; c < m.channels; ++c)
            e.v[c] = den[c] == 0 ? (num[c] == 0 ? NAN : INFINITY) : num[c] / den[c], e.scale[c] = sn[c] + sd[c];
    } else {
        norm(m.form == Form::Diff, a, b, e.v, e.scale);
    }
    for (int c = 0; m.mean && c < m.channels; ++c) e.v[c] /= (double)roi.width * roi.height, e.scale[c] /= (long double)roi.width * roi.height;
    return e;
}

void checkValues(const Reduction& m, const Expect& e, const double* got, int hint) {
    const bool exact = !m.isFloat && m.sampleBytes < 4, accurate = m.isFloat && hint == zelAlgHintAccurate;
    for (int c = 0; c < m.used; ++c) {
        SCOPED_TRACE(::testing::Message() << "channel " << c);
        if (std::isnan(e.v[c])) {
            EXPECT_TRUE(std::isnan(got[c])) << got[c];
        } else if (exact || m.kind == Kind::Inf || accurate) {
            EXPECT_EQ(zt::bitsOf(got[c]), zt::bitsOf(e.v[c])) << got[c] << " vs " << e.v[c];
        } else {  // fast single-precision lanes: relative to the magnitude of what was summed
            double tol = (m.kind == Kind::Dot ? 1e-12 : 2e-6) * (double)e.scale[c] + 1e-30;
            if (m.form == Form::Rel) tol = 1e-5 * std::fabs(e.v[c]);
            else if (m.kind == Kind::L2) tol = 2e-6 * e.v[c];
            EXPECT_NEAR(got[c], e.v[c], tol);
        }
    }
}

// Random samples: any bits for integers; floats of mixed magnitude and sign, no NaN.
void fillSamples(zt::Region& r, const Reduction& m, zt::Rng& rng) {
    r.randomize(rng);
    for (int64_t i = 0; m.isFloat && i + 4 <= r.extent(); i += 4) {
        float f = (float)rng.range(-1000000, 1000000) * (rng.chance(0.5) ? 1e-3f : 1.0f);
        memcpy(r.lo() + i, &f, 4);
    }
}

class Reductions : public ::testing::TestWithParam<Reduction> {};

TEST_P(Reductions, MatchModelOnRandomGeometry) {
    const Reduction& m = GetParam();
    const int px = m.sampleBytes * m.channels;
    zt::StepPolicy pol;
    pol.unit = m.sampleBytes;
    if (m.kind == Kind::Dot) pol.negative = 0.2;
    if (m.kind == Kind::Sum) pol.zero = 0.05, pol.negative = 0.1;
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int) {
        ZeliSize roi{zt::randomWidth(rng, px), 0};
        roi.height = zt::randomHeight(rng, (int64_t)roi.width * px);
        int64_t row = (int64_t)roi.width * px;
        zt::Region a(row, roi.height, zt::randomStep(rng, row, pol), tight), b(row, roi.height, zt::randomStep(rng, row, pol), tight);
        fillSamples(a, m, rng), fillSamples(b, m, rng);
        if (m.form != Form::Plain && rng.chance(0.2))  // equal images: zero differences
            for (int64_t y = 0; y < roi.height; ++y) memcpy(b.row(y), a.row(y), row);
        for (int hint : {zelAlgHintNone, zelAlgHintAccurate}) {
            if (hint && !m.hint) continue;
            SCOPED_TRACE(::testing::Message() << roi.width << "x" << roi.height << " steps " << a.step() << ", " << b.step() << " hint " << hint);
            zt::Region out(64, 1, 64, tight);
            out.fill(0xA5);
            Expect e = model(m, a, m.two() ? b : a, roi, hint);
            ZelStatus want = zelStsNoErr;
            for (int c = 0; m.form == Form::Rel && c < m.channels; ++c)
                if (!std::isfinite(e.v[c])) want = zelStsDivByZero;
            ASSERT_EQ(call(m, a.origin(), (int)a.step(), b.origin(), (int)b.step(), roi, (double*)out.origin(), hint), want);
            checkValues(m, e, (double*)out.origin(), hint);
            for (int i = m.used * 8; i < 64; ++i) ASSERT_EQ(out.origin()[i], 0xA5) << "wrote past the results";
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Stat, Reductions, ::testing::ValuesIn(all()), zt::paramName);

const Reduction& named(const std::string& name) {
    for (auto& m : all())
        if (m.name == name) return m;
    static Reduction none;
    ADD_FAILURE() << name;
    return none;
}

// Sums that would overflow any lane kept too long: large images of the most extreme samples.
TEST(StatReductions, ExtremeSamplesOnLargeImagesStayExact) {
    struct Case {
        const char* name;
        uint16_t a, b;  // sample bits of the two images
        double term;    // per-sample contribution to the sum (before the square root)
    } cases[] = {
        {"zeliNorm_L2_8u_C1R", 255, 0, 65025},        {"zeliNorm_L2_8u_C3R", 255, 0, 65025},
        {"zeliNormDiff_L2_8u_C1R", 0, 255, 65025},    {"zeliNormDiff_L1_8u_C4R", 0, 255, 255},
        {"zeliSum_8u_C3R", 255, 0, 255},              {"zeliSum_8u_C1R", 255, 0, 255},
        {"zeliNorm_L1_16u_C1R", 65535, 0, 65535},     {"zeliSum_16s_C1R", 0x8000, 0, -32768},
        {"zeliNormDiff_L1_16s_C1R", 0x7FFF, 0x8000, 65535}, {"zeliNormDiff_L2_16u_C3R", 65535, 0, 65535.0 * 65535.0},
        {"zeliDotProd_8u64f_C1R", 255, 255, 65025},
    };
    const ZeliSize roi{2560, 1800};  // 4.6 M pixels: more than any block of a 32-bit lane
    for (const Case& k : cases) {
        const Reduction& m = named(k.name);
        const int64_t row = (int64_t)roi.width * m.channels * m.sampleBytes;
        std::vector<uint8_t> a(row * roi.height), b(row * roi.height);
        for (int64_t i = 0; i < (int64_t)a.size(); i += m.sampleBytes) memcpy(&a[i], &k.a, m.sampleBytes), memcpy(&b[i], &k.b, m.sampleBytes);
        double v[4];
        ASSERT_EQ(call(m, a.data(), (int)row, b.data(), (int)row, roi, v, 0), zelStsNoErr) << k.name;
        const double total = k.term * (double)roi.width * roi.height;
        for (int c = 0; c < m.channels; ++c) EXPECT_EQ(v[c], m.kind == Kind::L2 ? std::sqrt(total) : total) << k.name << " channel " << c;
    }
}

// The wide 8u kernels on random images large enough to drain their lanes more than once (256
// chunks of up to 256 bytes for the multi-channel sums, 16384 chunks of 64 bytes for the
// squares), packed and with padded rows; the first image has every sample at its bound.
TEST(StatReductions, Wide8uKernelsAreExact) {
    zt::Rng rng = zt::Rng::forTest();
    for (const char* name : {"zeliSum_8u_C3R", "zeliSum_8u_C4R", "zeliNorm_L1_8u_C3R", "zeliNorm_L2_8u_C1R", "zeliNormDiff_L2_8u_C1R"}) {
        const Reduction& m = named(name);
        for (int trial = 0; trial < 6; ++trial) {
            const ZeliSize roi{(int)rng.range(1, 4100), (int)rng.range(1, 300)};
            const int64_t row = (int64_t)roi.width * m.channels;
            zt::Region a(row, roi.height, trial % 2 ? row : row + rng.range(1, 70)), b(row, roi.height, a.step());
            a.randomize(rng), b.randomize(rng);
            if (trial == 0) a.fill(255);
            SCOPED_TRACE(::testing::Message() << name << " " << roi.width << "x" << roi.height << " step " << a.step());
            double v[4];
            ASSERT_EQ(call(m, a.origin(), (int)a.step(), b.origin(), (int)b.step(), roi, v, 0), zelStsNoErr);
            checkValues(m, model(m, a, b, roi, 0), v, 0);
        }
    }
}

// Rows wider than 32768 pixels: each strip's norm is squared back into the total.
TEST(StatReductions, NormL2_8u_WideRowsUseStrips) {
    zt::forTrials(3, [](zt::Rng& rng, zt::Tight tight, int trial) {
        ZeliSize roi{(int)(trial == 0 ? 32769 : rng.range(32769, 100000)), (int)rng.range(1, 3)};
        zt::Region r(roi.width, roi.height, roi.width + rng.range(0, 9), tight);
        r.randomize(rng);
        double total = 0;
        for (int64_t x0 = 0; x0 < roi.width; x0 += 32768) {
            uint64_t s = 0;
            for (int64_t y = 0; y < roi.height; ++y)
                for (int64_t x = x0; x < std::min<int64_t>(roi.width, x0 + 32768); ++x) s += (uint64_t)r.row(y)[x] * r.row(y)[x];
            double n = std::sqrt((double)s);
            total = std::fma(n, n, total);
        }
        double got = -1;
        ASSERT_EQ(zeliNorm_L2_8u_C1R(r.origin(), (int)r.step(), roi, &got), zelStsNoErr);
        EXPECT_EQ(got, std::sqrt(total));
    });
    std::vector<uint8_t> img(32768, 255);  // 32768 pixels or fewer: one exact sum
    double got;
    ASSERT_EQ(zeliNorm_L2_8u_C1R(img.data(), 32768, {32768, 1}, &got), zelStsNoErr);
    EXPECT_EQ(got, std::sqrt(65025.0 * 32768));
}

// Relative norms with a zero denominator, per channel; NaN through the 32f norms, in a vector
// body and in a tail; an odd step of 16-bit samples.
TEST(StatReductions, ByExample) {
    Zel16s zero[6] = {}, one[6] = {0, 0, 3, 0, 0, 0};
    double v = 0;
    EXPECT_EQ(zeliNormRel_Inf_16s_C1R(zero, 6, zero, 6, {3, 2}, &v), zelStsDivByZero);
    EXPECT_TRUE(std::isnan(v));
    EXPECT_EQ(zeliNormRel_Inf_16s_C1R(one, 6, zero, 6, {3, 2}, &v), zelStsDivByZero);
    EXPECT_EQ(v, INFINITY);
    Zel8u a[3] = {1, 2, 3}, b[3] = {2, 0, 3};
    double c3[3];
    EXPECT_EQ(zeliNormRel_L1_8u_C3R(a, 3, b, 3, {1, 1}, c3), zelStsDivByZero);
    EXPECT_EQ(std::vector<double>(c3, c3 + 3), (std::vector<double>{0.5, INFINITY, 0.0}));
    for (int at : {3, 97}) {
        std::vector<float> img(100, 1.0f);
        img[at] = NAN;
        ASSERT_EQ(zeliNorm_Inf_32f_C1R(img.data(), 400, {100, 1}, &v), zelStsNoErr);
        EXPECT_TRUE(std::isnan(v));
        ASSERT_EQ(zeliNorm_L2_32f_C1R(img.data(), 400, {100, 1}, &v, zelAlgHintFast), zelStsNoErr);
        EXPECT_TRUE(std::isnan(v));
    }
    Zel16u w[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ASSERT_EQ(zeliNorm_L1_16u_C1R(w, 9, {3, 3}, &v), zelStsNoErr);  // step 9 of 16-bit samples: rows 4 samples apart
    EXPECT_EQ(v, (1 + 2 + 3) + (5 + 6 + 7) + (9 + 10 + 11));
}

// ---- argument-check orders -----------------------------------------------------------------

struct Args {
    const Zel8u *a, *b;
    int sa, sb;
    ZeliSize roi;
    double* v;
};

TEST(StatReductions, CheckOrders) {
    zt::Region img(8, 4, 16), out(64, 1, 64);
    zt::Rng rng = zt::Rng::forTest();
    img.randomize(rng);
    const Args valid{img.origin(), img.origin(), 16, 16, {8, 4}, (double*)out.origin()};
    struct Step {
        const char* what;
        int Args::*step;
        int value;
    };
    struct Family {
        const char* name;
        bool meanFirst;
        std::vector<Step> steps;  // none: no step is checked
        ZelStatus stepStatus;
    };
    const Step s1{"src1Step 0", &Args::sa, 0}, s2{"src2Step -1", &Args::sb, -1}, s2zero{"src2Step 0", &Args::sb, 0};
    for (const Family& f : {Family{"zeliNorm_L2_8u_C1R", false, {s1}, zelStsStepErr},
                            Family{"zeliNormRel_L1_8u_C1R", false, {s2, s1}, zelStsStepErr},
                            Family{"zeliSum_8u_C1R", false, {}, 0}, Family{"zeliMean_8u_C1R", true, {}, 0},
                            Family{"zeliDotProd_8u64f_C1R", false, {s2zero, s1}, zelStsSizeErr}}) {
        SCOPED_TRACE(f.name);
        const Reduction& m = named(f.name);
        zt::CheckOrder<Args> co(valid, [&](const Args& a) { return call(m, a.a, a.sa, a.b, a.sb, a.roi, a.v, 0); }, {&img, &out});
        if (f.meanFirst) co.row("pMean null", [](Args& a) { a.v = nullptr; }, zelStsNullPtrErr);  // then as Sum
        co.row("pSrc null", [](Args& a) { a.a = nullptr; }, zelStsNullPtrErr);
        if (m.two()) co.row("pSrc2 null", [](Args& a) { a.b = nullptr; }, zelStsNullPtrErr);
        if (!f.meanFirst) co.row("result null", [](Args& a) { a.v = nullptr; }, zelStsNullPtrErr);
        co.row("width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -1", [](Args& a) { a.roi.height = -1; }, zelStsSizeErr);
        for (const Step& s : f.steps) co.row(s.what, [s](Args& a) { a.*s.step = s.value; }, f.stepStatus);
        if (f.steps.empty()) co.ignored("step -3", [](Args& a) { a.sa = -3; });
        co.run();
    }
}

}  // namespace
