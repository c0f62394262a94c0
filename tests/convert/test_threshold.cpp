// Thresholds: every fixed-threshold member against a scalar model of its rule on random
// geometry in guarded memory (all types and layouts, out of place and in place, NaN and
// signed zeros for 32f), Otsu against a direct double-precision reference, the adaptive box
// and Gaussian forms against a direct model of their window rule (masks 1..31, both border
// kinds with random in-memory sides, in place and out of place), and the check orders.
#include <math.h>

#include "zel_test_kit.h"

namespace {

// ---- fixed thresholds -----------------------------------------------------------------------

enum class Kind { Clamp, Replace, Both };

// zeliThreshold[_<form>]_<type>_<layout>: the form gives the rule and the comparison (GT, LT), or
// the member takes the comparison (cmp -1).
struct Member : zt::Name {
    Kind kind = Kind::Clamp;
    int cmp = -1;
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

std::vector<Member> fixedMembers() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"Threshold"})) {
        Member m;
        static_cast<zt::Name&>(m) = n;
        const std::string f = n.op.substr(std::min<size_t>(n.op.size(), 10));  // after "Threshold_"
        m.kind = f == "LTValGTVal" ? Kind::Both : f.find("Val") != std::string::npos ? Kind::Replace : Kind::Clamp;
        m.cmp = f == "GT" || f == "GTVal" ? zelCmpGreater : f == "LT" || f == "LTVal" ? zelCmpLess : -1;
        v.push_back(m);
    }
    return v;
}

// The arguments of one call; constants as raw samples, k[j] for threshold/value pairs.
struct Call {
    const void* src;
    int srcStep;
    void* dst;
    int dstStep;
    ZeliSize roi;
    int op;
    uint8_t k[4][32];  // four values of up to four 8-byte samples
    bool kNull = false;
};

// One-channel members take their constants by value, the others as arrays.
ZelStatus call(const Member& m, const Call& c) {
    return zt::withType(m.type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        auto run = [&](auto t1, auto v1, auto t2, auto v2) {
            auto go = [&](auto... k) {
                return m.inPlace ? zt::invoke(m.fn, c.dst, c.dstStep, c.roi, k...)
                                 : zt::invoke(m.fn, c.src, c.srcStep, c.dst, c.dstStep, c.roi, k...);
            };
            if (m.kind == Kind::Both) return go(t1, v1, t2, v2);
            if (m.kind == Kind::Replace) return m.cmp < 0 ? go(t1, v1, c.op) : go(t1, v1);
            return m.cmp < 0 ? go(t1, c.op) : go(t1);
        };
        if (m.channels > 1) {
            auto a = [&](int j) { return c.kNull ? nullptr : (const T*)c.k[j]; };
            return run(a(0), a(1), a(2), a(3));
        }
        T s[4];
        for (int j = 0; j < 4; ++j) memcpy(&s[j], c.k[j], sizeof(T));
        return run(s[0], s[1], s[2], s[3]);
    });
}

// A sample that often meets the constants: a few nearby integers, and for 32f signed zeros,
// NaN and infinities.
template <class T>
T sampleValue(zt::Rng& rng) {
    if constexpr (std::is_same_v<T, Zel32f>) {
        const float special[] = {0.0f, -0.0f, NAN, -INFINITY, INFINITY};
        return rng.chance(0.2) ? rng.pick(special) : (float)rng.range(-8, 8) * 0.5f;
    } else {
        return rng.chance(0.5) ? (T)(rng.range(0, 6) + (std::is_signed_v<T> ? -3 : 120)) : rng.bits<T>();
    }
}

// One random call against the rule: strict comparisons, clamping replaces by the threshold.
template <class T>
void modelTrial(const Member& m, zt::Rng& rng, zt::Tight tight) {
    const int S = m.sampleBytes, P = S * m.channels;
    const int64_t w = zt::randomWidth(rng, P), h = zt::randomHeight(rng, w * P);
    const int64_t ss = zt::randomStep(rng, w * P), ds = m.inPlace ? ss : zt::randomStep(rng, w * P);
    zt::Region src(w * P, h, ss, tight, rng.range(0, 63), S), dst(w * P, h, ds, tight, rng.range(0, 63), S);
    for (zt::Region* r : {&src, &dst})
        for (int64_t i = 0; i + S <= r->extent(); i += S) {
            T v = sampleValue<T>(rng);
            memcpy(r->lo() + i, &v, S);
        }
    Call c{src.origin(), (int)ss, dst.origin(), (int)ds, {(int)w, (int)h}, m.cmp >= 0 ? m.cmp : rng.chance(0.5) ? 0 : 4, {}};
    T k[4][4];
    for (int ch = 0; ch < 4; ++ch) {
        for (int j = 0; j < 4; ++j) k[j][ch] = sampleValue<T>(rng);
        if (m.kind == Kind::Both && k[2][ch] < k[0][ch]) std::swap(k[0][ch], k[2][ch]);
        if (m.kind == Kind::Clamp) k[1][ch] = k[0][ch];
    }
    for (int j = 0; j < 4; ++j) memcpy(c.k[j], k[j], sizeof k[j]);

    zt::Shadow orig({&src, &dst}), expect({&src, &dst});
    const uint8_t* in = orig(m.inPlace ? dst.origin() : src.origin());
    uint8_t* out = expect(dst.origin());
    for (int64_t y = 0; y < h; ++y)
        for (int64_t i = 0; i < w * m.channels; ++i) {
            const int ch = (int)(i % m.channels);
            if (ch >= m.used) continue;
            T s, r;
            memcpy(&s, in + y * ((m.inPlace ? ds : ss) / S * S) + i * S, S);
            if (m.kind == Kind::Both) r = s < k[0][ch] ? k[1][ch] : s > k[2][ch] ? k[3][ch] : s;
            else r = (c.op == zelCmpGreater ? s > k[0][ch] : s < k[0][ch]) ? k[1][ch] : s;
            memcpy(out + y * (ds / S * S) + i * S, &r, S);
        }
    SCOPED_TRACE(::testing::Message() << m.name << " " << w << "x" << h << " steps " << ss << "," << ds << " op " << c.op);
    ASSERT_EQ(call(m, c), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

class FixedThreshold : public ::testing::TestWithParam<Member> {};

TEST_P(FixedThreshold, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(8, [&](zt::Rng& rng, zt::Tight tight, int) {
        zt::withType(m.type, [&](auto tag) { modelTrial<typename decltype(tag)::type>(m, rng, tight); });
    });
}

// Pointers, size, steps, then the comparison or the order of the two thresholds.
TEST_P(FixedThreshold, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int P = m.sampleBytes * m.channels;
    zt::Region src(5 * P, 4, 5 * P + 3), dst(5 * P, 4, 5 * P + 7);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng);
    Call valid{src.origin(), (int)src.step(), dst.origin(), (int)dst.step(), {5, 4}, zelCmpGreater, {}};
    for (int j = 0; j < 4; ++j) memset(valid.k[j], j < 2 ? 0 : 0x40, 16);  // LT thresholds below GT
    zt::CheckOrder<Call> co{valid, [&m](const Call& c) { return call(m, c); }, {&src, &dst}};
    co.row("null image", [](Call& c) { c.src = nullptr, c.dst = nullptr; }, zelStsNullPtrErr);
    if (m.channels > 1) co.row("null constants", [](Call& c) { c.kNull = true; }, zelStsNullPtrErr);
    co.row("width 0", [](Call& c) { c.roi.width = 0; }, zelStsSizeErr);
    co.row("height -1", [](Call& c) { c.roi.height = -1; }, zelStsSizeErr);
    co.row("steps 0", [](Call& c) { c.srcStep = 0, c.dstStep = 0; }, zelStsStepErr);
    co.row("dstStep -5", [](Call& c) { c.dstStep = -5; }, zelStsStepErr);
    const int last = (m.used - 1) * m.sampleBytes;  // GT 0 below LT 1, 257 or 2.4e-38
    if (m.kind == Kind::Both)
        co.row("GT below LT", [=](Call& c) { memset(c.k[2] + last, 0, m.sampleBytes), memset(c.k[0] + last, 1, m.sampleBytes); },
               zelStsThresholdErr);
    else if (m.cmp < 0)
        co.row("cmpOp 3", [](Call& c) { c.op = zelCmpGreaterEq; }, zelStsNotSupportedModeErr);
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Convert, FixedThreshold, ::testing::ValuesIn(fixedMembers()), zt::paramName);

// ---- Otsu -----------------------------------------------------------------------------------

// The reference: bin centres, double precision, skip rule, first strict maximum.
int otsuReference(const std::vector<uint64_t>& hist) {
    double n = 0, muT = 0, w = 0, mu = 0, best = 0;
    for (auto c : hist) n += (double)c;
    double p[256];
    for (int i = 0; i < 256; ++i) p[i] = (double)hist[i] / n, muT = fma(i + 0.5, p[i], muT);
    int level = 0;
    for (int i = 0; i < 256; ++i) {
        w += p[i];
        mu = fma(i + 0.5, p[i], mu);
        if (std::min(w, 1 - w) < 1.1920928955078125e-7 || std::max(w, 1 - w) > 0.9999998807907104) continue;
        double d = fma(w + (1 - w), mu, -(muT * w)), var = d * d / (w * (1 - w));
        if (var > best) best = var, level = i;
    }
    return level;
}

TEST(Otsu, MatchesReferenceOnRandomHistograms) {
    ZT_SKIP_IF_PLACEHOLDER("zeliComputeThreshold_Otsu_8u_C1R");
    zt::forTrials(60, [&](zt::Rng& rng, zt::Tight tight, int t) {
        const int64_t w = zt::randomWidth(rng, 1), h = zt::randomHeight(rng, w) * (t % 3 + 1);
        const int64_t step = rng.chance(0.3) ? w : w + rng.range(1, 70);
        zt::Region img(w, h, step, tight);
        // A few levels with random weights, sometimes one or two, sometimes everything.
        std::vector<int> levels;
        for (int n = rng.chance(0.2) ? 1 + (int)rng.range(0, 1) : (int)rng.range(2, 12); n > 0; --n)
            levels.push_back((int)rng.range(0, 255));
        std::vector<uint64_t> hist(256);
        for (int64_t y = 0; y < h; ++y)
            for (int64_t x = 0; x < w; ++x) {
                int v = rng.chance(0.05) ? (int)rng.range(0, 255) : rng.pick(levels);
                img.row(y)[x] = (uint8_t)v;
                ++hist[v];
            }
        Zel8u out = 0xEE;
        ASSERT_EQ(zeliComputeThreshold_Otsu_8u_C1R(img.origin(), (int)step, {(int)w, (int)h}, &out), zelStsNoErr);
        EXPECT_EQ(out, otsuReference(hist)) << w << "x" << h << " step " << step;
    });
}

// Columns alternating between 0 and 255 put every other sample on one counter, 131072 of them:
// twice what a 16-bit sub-histogram counter holds, so the counts must be flushed on the way.
// A thousand samples of 128 make the level depend on the exact counts.
TEST(Otsu, CountsBeyondOneCounter) {
    ZT_SKIP_IF_PLACEHOLDER("zeliComputeThreshold_Otsu_8u_C1R");
    const int w = 1024, h = 256;
    zt::Region img(w, h, w);
    std::vector<uint64_t> hist(256);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int v = x % 2 == 0 ? 0 : y < 2 && x < 1000 ? 128 : 255;
            img.row(y)[x] = (uint8_t)v;
            ++hist[v];
        }
    Zel8u out = 0xEE;
    ASSERT_EQ(zeliComputeThreshold_Otsu_8u_C1R(img.origin(), w, {w, h}, &out), zelStsNoErr);
    EXPECT_EQ(out, otsuReference(hist));
}

TEST(Otsu, EdgeCasesAndChecks) {
    ZT_SKIP_IF_PLACEHOLDER("zeliComputeThreshold_Otsu_8u_C1R");
    zt::Region img(40, 10, 40), out(1, 1, 1);
    img.fill(77);
    Zel8u* o = out.lo();
    ASSERT_EQ(zeliComputeThreshold_Otsu_8u_C1R(img.origin(), 40, {40, 10}, o), zelStsNoErr);
    EXPECT_EQ(*o, 0);  // constant image
    for (int y = 0; y < 10; ++y) memset(img.row(y), y < 5 ? 10 : 200, 40);
    ASSERT_EQ(zeliComputeThreshold_Otsu_8u_C1R(img.origin(), 40, {40, 10}, o), zelStsNoErr);
    EXPECT_EQ(*o, 10);
    struct A {
        const Zel8u* src;
        int step;
        ZeliSize roi;
        Zel8u* out;
    };
    zt::CheckOrder<A> co{{img.origin(), 40, {40, 5}, o},
                         [](const A& a) { return zeliComputeThreshold_Otsu_8u_C1R(a.src, a.step, a.roi, a.out); }, {&img, &out}};
    co.row("null image", [](A& a) { a.src = nullptr; }, zelStsNullPtrErr);
    co.row("null result", [](A& a) { a.out = nullptr; }, zelStsNullPtrErr);
    co.row("width 0", [](A& a) { a.roi.width = 0; }, zelStsSizeErr);
    co.row("step below the row", [](A& a) { a.step = 39; }, zelStsStepErr);
    co.run();
}

// ---- adaptive box and Gauss -----------------------------------------------------------------

// The documented 1-D weights: all 1 (box), or the sampled Gaussian scaled to 2^11 and rounded,
// the centre taking the remainder (rounded down instead when the centre would go negative).
std::vector<int64_t> weights1d(bool gauss, int64_t k, float sigma) {
    std::vector<int64_t> w(k, 1);
    if (!gauss) return w;
    const int64_t r = k / 2;
    const double s = sigma > 0 ? sigma : 0.3 * ((k - 1) * 0.5 - 1) + 0.8;
    auto g = [&](int64_t i) { return exp(-(double)((i - r) * (i - r)) / (2 * s * s)); };
    double sum = 0;
    for (int64_t i = 0; i < k; ++i) sum += g(i);
    for (int pass = 0; pass < 2; ++pass) {
        int64_t rest = 2048;
        for (int64_t i = 0; i < k; ++i)
            if (i != r) rest -= w[i] = (int64_t)(pass ? floor(g(i) / sum * 2048) : nearbyint(g(i) / sum * 2048));
        w[r] = rest;
        if (rest >= 0) break;
    }
    return w;
}

struct Adapt {
    bool gauss, inPlace, samePtr;
    int64_t w, h, k;
    uint32_t border;
    uint8_t bv, vGT, vLE;
    float delta, sigma;
};

Adapt randomAdapt(zt::Rng& rng, bool gauss, int64_t k) {
    const float special[] = {0.0f, -0.0f, NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 255.0f, -255.0f};
    const bool inPlace = rng.chance(0.35);
    const uint32_t kind = rng.chance(0.5) ? zelBorderRepl : zelBorderConst;
    return {gauss, inPlace, !inPlace && rng.chance(0.2), rng.chance(0.3) ? rng.range(1, 6) : rng.range(1, 70),
            rng.range(1, 20), k, rng.chance(0.1) ? (uint32_t)zelBorderInMem : kind | (uint32_t)rng.range(0, 15) << 4,
            rng.bits<uint8_t>(), rng.bits<uint8_t>(), rng.bits<uint8_t>(),
            rng.chance(0.1) ? rng.pick(special) : rng.chance(0.5) ? (float)rng.range(-12, 12) : rng.range(-100, 100) / 8.0f,
            rng.chance(0.3) ? 0.0f : rng.range(1, 80) / 8.0f};
}

// Along one axis: the weight each index of the widened range [lo, hi) receives for output p;
// returns the weight that falls on the border value.
int64_t axisWeights(const std::vector<int64_t>& wt, int64_t p, int64_t lo, int64_t hi, bool cst, std::vector<int64_t>& out) {
    out.assign(hi - lo, 0);
    int64_t onConst = 0, r = (int64_t)wt.size() / 2;
    for (int64_t i = -r; i <= r; ++i) {
        if ((p + i < lo || p + i >= hi) && cst) onConst += wt[i + r];
        else out[std::clamp(p + i, lo, hi - 1) - lo] += wt[i + r];
    }
    return onConst;
}

// The four adaptive forms behind one call (in place: the image is dst).
ZelStatus adaptCall(bool gauss, bool inPlace, const uint8_t* src, int ss, uint8_t* dst, int ds, ZeliSize roi, ZeliSize mask,
                    float delta, uint8_t vGT, uint8_t vLE, uint32_t border, uint8_t bv, const ZeliThresholdAdaptiveSpec* specBlock,
                    uint8_t* buf) {
    if (gauss && inPlace) return zeliThresholdAdaptiveGauss_8u_C1IR(dst, ds, roi, mask, delta, vGT, vLE, border, bv, specBlock, buf);
    if (gauss) return zeliThresholdAdaptiveGauss_8u_C1R(src, ss, dst, ds, roi, mask, delta, vGT, vLE, border, bv, specBlock, buf);
    if (inPlace) return zeliThresholdAdaptiveBox_8u_C1IR(dst, ds, roi, mask, delta, vGT, vLE, border, bv, buf);
    return zeliThresholdAdaptiveBox_8u_C1R(src, ss, dst, ds, roi, mask, delta, vGT, vLE, border, bv, buf);
}

// One call against the model, on a source with memory beyond the ROI only on its flagged sides.
void adaptTrial(const Adapt& a, zt::Rng& rng, zt::Tight tight) {
    const int64_t r = a.k / 2, w = a.w, h = a.h;
    const int64_t left = a.border & 0x40 ? r : 0, right = a.border & 0x80 ? r : 0;
    const int64_t top = a.border & 0x10 ? r : 0, bottom = a.border & 0x20 ? r : 0;
    zt::StepPolicy pol;
    pol.negative = 0.1;
    const int64_t iw = left + w + right, ss = zt::randomStep(rng, iw, pol), ds = zt::randomStep(rng, w, pol);
    zt::Region img(iw, top + h + bottom, ss, tight, rng.range(0, 63)), out(w, h, ds, tight, rng.range(0, 63));
    img.randomize(rng), out.randomize(rng);
    if (rng.chance(0.5))  // flat patches, so that sums meet the bound exactly
        for (int64_t y = 0; y < img.height(); ++y)
            for (int64_t x = 0; x < iw; ++x) img.row(y)[x] = (uint8_t)(img.row(y)[x] % 3 + 100);
    uint8_t* roi = img.row(top) + left;
    const bool same = a.inPlace || a.samePtr;
    uint8_t* dst = same ? roi : out.origin();
    const int64_t dstStep = same ? ss : ds;
    const ZeliSize size{(int)w, (int)h}, mask{(int)a.k, (int)a.k};
    ZeliSize specRoi = size;
    if (rng.chance(0.3)) specRoi.width += (int)rng.range(0, 9), specRoi.height += (int)rng.range(0, 3);
    int specBytes = 1, bufBytes = 0;
    ASSERT_EQ(a.gauss ? zeliThresholdAdaptiveGaussGetBufferSize(specRoi, mask, zel8u, 1, &specBytes, &bufBytes)
                      : zeliThresholdAdaptiveBoxGetBufferSize(size, mask, zel8u, 1, &bufBytes), 0);
    zt::Region buf(bufBytes, 1, bufBytes, tight), specMem(specBytes, 1, specBytes, tight);
    auto* specBlock = (ZeliThresholdAdaptiveSpec*)specMem.lo();
    if (a.gauss) {
        ASSERT_EQ(zeliThresholdAdaptiveGaussInit(specRoi, mask, zel8u, 1, a.sigma, specBlock), 0);
    }

    // Exact window sums; s > S / A - delta decided in doubles (exact for the trials' deltas).
    zt::Shadow orig({&img, &out}), expect({&img, &out});
    const auto wt = weights1d(a.gauss, a.k, a.sigma);
    int64_t total = 0;
    for (auto v : wt) total += v;
    const bool cst = (a.border & 15) == zelBorderConst && a.border != zelBorderInMem;
    const uint8_t* src = orig(roi);
    std::vector<int64_t> wx, wy;
    for (int64_t y = 0; y < h; ++y) {
        const int64_t cy = axisWeights(wt, y, -top, h + bottom, cst, wy);
        for (int64_t x = 0; x < w; ++x) {
            const int64_t cx = axisWeights(wt, x, -left, w + right, cst, wx);
            int64_t S = (total * total - (total - cy) * (total - cx)) * a.bv;
            for (int64_t j = 0; j < (int64_t)wy.size(); ++j)
                for (int64_t i = 0; wy[j] && i < (int64_t)wx.size(); ++i) S += wy[j] * wx[i] * src[(j - top) * ss + i - left];
            const double A = (double)(total * total), s = src[y * ss + x];
            expect(dst)[y * dstStep + x] = A * (s + (double)a.delta) > (double)S ? a.vGT : a.vLE;
        }
    }
    SCOPED_TRACE(::testing::Message() << (a.gauss ? "Gauss" : "Box") << (a.inPlace ? " IR " : a.samePtr ? " R same " : " R ")
                                      << w << "x" << h << " mask " << a.k << " border " << a.border << " bv " << (int)a.bv
                                      << " delta " << a.delta << " sigma " << a.sigma << " steps " << ss << "," << ds);
    const ZelStatus st = adaptCall(a.gauss, a.inPlace, roi, (int)ss, dst, (int)dstStep, size, mask, a.delta, a.vGT, a.vLE,
                                   a.border, a.bv, specBlock, buf.lo());
    ASSERT_EQ(st, zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

TEST(ThresholdAdaptive, MatchesModelForEveryMaskSize) {
    ZT_SKIP_IF_PLACEHOLDER("zeliThresholdAdaptiveBox_8u_C1R");
    zt::forTrials(2, [&](zt::Rng& rng, zt::Tight tight, int) {
        for (int64_t k = 1; k <= 31; k += 2)
            for (int n = 0; n < 4; ++n) adaptTrial(randomAdapt(rng, n % 2, k), rng, tight);
    });
}

// Masks above 2901 leave the 32-bit path: sums up to 255 k^2 need 64 bits.
TEST(ThresholdAdaptive, HugeMask) {
    ZT_SKIP_IF_PLACEHOLDER("zeliThresholdAdaptiveBox_8u_C1R");
    zt::forTrials(3, [&](zt::Rng& rng, zt::Tight tight, int t) {
        Adapt a = randomAdapt(rng, false, 2903);
        a.w = rng.range(1, 9), a.h = rng.range(1, 5), a.border = t % 2 ? zelBorderRepl : zelBorderConst;
        a.delta = (float)rng.range(-20, 20);
        adaptTrial(a, rng, tight);
    });
}

struct AdaptArgs {
    uint8_t *src, *dst, *buf;
    ZeliThresholdAdaptiveSpec* specBlock;
    int srcStep, dstStep;
    ZeliSize roi, mask;
    uint32_t border;
};

TEST(ThresholdAdaptive, ChecksArgumentsInOrder) {
    ZT_SKIP_IF_PLACEHOLDER("zeliThresholdAdaptiveBox_8u_C1R");
    zt::Region src(12, 8, 12), dst(12, 8, 16), buf(4096, 1, 4096), specBlock(1024, 1, 1024), junk(1024, 1, 1024);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng), buf.randomize(rng), junk.fill(0);
    auto* sp = (ZeliThresholdAdaptiveSpec*)specBlock.lo();
    ASSERT_EQ(zeliThresholdAdaptiveGaussInit({12, 8}, {3, 3}, zel8u, 1, 1.0f, sp), 0);
    for (int form = 0; form < 4; ++form) {
        const bool gauss = form >= 2, inPlace = form % 2;
        auto call = [gauss, inPlace](const AdaptArgs& a) {
            return adaptCall(gauss, inPlace, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, 1.5f, 9, 7,
                             a.border, 0, a.specBlock, a.buf);
        };
        zt::CheckOrder<AdaptArgs> co{{src.origin(), dst.origin(), buf.lo(), sp, 12, 16, {12, 8}, {3, 3}, zelBorderRepl},
                                     call, {&src, &dst, &buf, &specBlock}};
        co.row("null image", [](AdaptArgs& a) { a.src = a.dst = nullptr; }, zelStsNullPtrErr);
        co.row("null buffer", [](AdaptArgs& a) { a.buf = nullptr; }, zelStsNullPtrErr);
        if (gauss) co.row("null spec block", [](AdaptArgs& a) { a.specBlock = nullptr; }, zelStsNullPtrErr);
        co.row("width 0", [](AdaptArgs& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("mask 4x4", [](AdaptArgs& a) { a.mask = {4, 4}; }, zelStsMaskSizeErr);
        co.row("mask 3x5", [](AdaptArgs& a) { a.mask = {3, 5}; }, zelStsMaskSizeErr);
        co.row("border 257", [](AdaptArgs& a) { a.border = 256 | zelBorderRepl; }, zelStsBorderErr);
        co.row("border mirror", [](AdaptArgs& a) { a.border = zelBorderMirror | zelBorderInMemTop; }, zelStsBorderErr);
        if (gauss) {
            co.row("spec block of nothing", [&](AdaptArgs& a) { a.specBlock = (ZeliThresholdAdaptiveSpec*)junk.lo(); }, zelStsContextMatchErr);
            co.row("mask not the spec block's", [](AdaptArgs& a) { a.mask = {5, 5}; }, zelStsMaskSizeErr);
            co.row("ROI above the spec block's", [](AdaptArgs& a) { a.roi.height = 9; }, zelStsSizeErr);
        }
        co.ignored("steps 0 and -3", [](AdaptArgs& a) { a.srcStep = 0, a.dstStep = -3; });
        co.run();
    }
}

// The queries and Init: output pointers, size, mask, data type, channels; sizes that do not
// fit 31 bits fail and report 0.
TEST(ThresholdAdaptive, QueriesCheckArgumentsInOrder) {
    ZT_SKIP_IF_PLACEHOLDER("zeliThresholdAdaptiveGaussInit");
    zt::Region out(64, 1, 64), specBlock(1024, 1, 1024);
    out.fill(0x5A), specBlock.fill(0x5A);
    struct Q {
        ZeliSize roi, mask;
        ZelDataType type;
        int channels;
        bool nullOut;
    };
    int* o = (int*)out.lo();
    auto* sp = (ZeliThresholdAdaptiveSpec*)specBlock.lo();
    std::function<ZelStatus(const Q&)> calls[] = {
        [o](const Q& a) { return zeliThresholdAdaptiveBoxGetBufferSize(a.roi, a.mask, a.type, a.channels, a.nullOut ? nullptr : o); },
        [o](const Q& a) { return zeliThresholdAdaptiveGaussGetBufferSize(a.roi, a.mask, a.type, a.channels, o, a.nullOut ? nullptr : o); },
        [sp](const Q& a) { return zeliThresholdAdaptiveGaussInit(a.roi, a.mask, a.type, a.channels, 2.0f, a.nullOut ? nullptr : sp); }};
    for (auto& call : calls) {
        zt::CheckOrder<Q> co{{{20, 10}, {5, 5}, zel8u, 1, false}, call, {&out, &specBlock}};
        co.row("null output", [](Q& a) { a.nullOut = true; }, zelStsNullPtrErr);
        co.row("height 0", [](Q& a) { a.roi.height = 0; }, zelStsSizeErr);
        co.row("mask 0x0", [](Q& a) { a.mask = {0, 0}; }, zelStsMaskSizeErr);
        co.row("16u", [](Q& a) { a.type = zel16u; }, zelStsDataTypeErr);
        co.row("3 channels", [](Q& a) { a.channels = 3; }, zelStsNumChannelsErr);
        co.run();
    }
    EXPECT_EQ(zeliThresholdAdaptiveBoxGetBufferSize({1 << 30, 1}, {1 << 29 | 1, 1 << 29 | 1}, zel8u, 1, o), zelStsBufferSizeErr);
    EXPECT_EQ(*o, 0);
}

}  // namespace
