// Norms, relative norms, sums, means and dot products against reference models written from
// the rules: exact integer sums (long double holds them exactly here), the accurate 32f pair
// rule, the wide-row strip rule of Norm_L2_8u_C1R; random geometry in guard-page regions.
#include <cmath>
#include <functional>

#include "zel_test_kit.h"

namespace {

enum Ty { U8, U16, S16, F32, U32, S32 };
template <class T> constexpr Ty tyOf();
template <> constexpr Ty tyOf<Zel8u>() { return U8; }
template <> constexpr Ty tyOf<Zel16u>() { return U16; }
template <> constexpr Ty tyOf<Zel16s>() { return S16; }
template <> constexpr Ty tyOf<Zel32f>() { return F32; }
template <> constexpr Ty tyOf<Zel32u>() { return U32; }
template <> constexpr Ty tyOf<Zel32s>() { return S32; }
int bytesOf(Ty t) { return t == U8 ? 1 : t == U16 || t == S16 ? 2 : 4; }

enum Kind { Inf, L1, L2, Sum, Mean, Dot };
enum Form { Plain, Diff, Rel };
using Call = std::function<ZelStatus(const void*, int, const void*, int, ZeliSize, double*, int)>;

struct Member {
    const char* name;
    Ty ty;
    int C, out;
    Kind kind;
    Form form;
    bool hint;
    Call call;
};

#define ONE(fn, T, C, out, kind, form) \
    Member{#fn, tyOf<T>(), C, out, kind, form, false, [](const void* a, int sa, const void*, int, ZeliSize r, double* v, int) { return fn((const T*)a, sa, r, v); }}
#define ONEH(fn, T, C, out, kind, form) \
    Member{#fn, tyOf<T>(), C, out, kind, form, true, [](const void* a, int sa, const void*, int, ZeliSize r, double* v, int h) { return fn((const T*)a, sa, r, v, h); }}
#define TWO(fn, T, C, out, kind, form) \
    Member{#fn, tyOf<T>(), C, out, kind, form, false, [](const void* a, int sa, const void* b, int sb, ZeliSize r, double* v, int) { return fn((const T*)a, sa, (const T*)b, sb, r, v); }}
#define TWOH(fn, T, C, out, kind, form) \
    Member{#fn, tyOf<T>(), C, out, kind, form, true, [](const void* a, int sa, const void* b, int sb, ZeliSize r, double* v, int h) { return fn((const T*)a, sa, (const T*)b, sb, r, v, h); }}

#define LAYOUTS(M, pre, t, T, kind, form) \
    M(pre##_##t##_C1R, T, 1, 1, kind, form), M(pre##_##t##_C3R, T, 3, 3, kind, form), M(pre##_##t##_C4R, T, 4, 4, kind, form)
#define NORMS(M, MH, op, form)                                                                                  \
    LAYOUTS(M, zeli##op##_Inf, 8u, Zel8u, Inf, form), LAYOUTS(M, zeli##op##_Inf, 16u, Zel16u, Inf, form),        \
    LAYOUTS(M, zeli##op##_Inf, 16s, Zel16s, Inf, form), LAYOUTS(M, zeli##op##_Inf, 32f, Zel32f, Inf, form),     \
    LAYOUTS(M, zeli##op##_L1, 8u, Zel8u, L1, form), LAYOUTS(M, zeli##op##_L1, 16u, Zel16u, L1, form),            \
    LAYOUTS(M, zeli##op##_L1, 16s, Zel16s, L1, form), LAYOUTS(MH, zeli##op##_L1, 32f, Zel32f, L1, form),        \
    LAYOUTS(M, zeli##op##_L2, 8u, Zel8u, L2, form), LAYOUTS(M, zeli##op##_L2, 16u, Zel16u, L2, form),            \
    LAYOUTS(M, zeli##op##_L2, 16s, Zel16s, L2, form), LAYOUTS(MH, zeli##op##_L2, 32f, Zel32f, L2, form)
#define SUMS(op, kind)                                                                             \
    LAYOUTS(ONE, zeli##op, 8u, Zel8u, kind, Plain), LAYOUTS(ONE, zeli##op, 16u, Zel16u, kind, Plain), \
    LAYOUTS(ONE, zeli##op, 16s, Zel16s, kind, Plain), LAYOUTS(ONEH, zeli##op, 32f, Zel32f, kind, Plain)
#define DOTS(t, T)                                                                                  \
    LAYOUTS(TWO, zeliDotProd, t##64f, T, Dot, Plain), TWO(zeliDotProd_##t##64f_AC4R, T, 4, 3, Dot, Plain)

const std::vector<Member>& members() {
    static const std::vector<Member> m = {
        NORMS(ONE, ONEH, Norm, Plain), NORMS(TWO, TWOH, NormDiff, Diff), NORMS(TWO, TWOH, NormRel, Rel),
        SUMS(Sum, Sum), SUMS(Mean, Mean),
        DOTS(8u, Zel8u), DOTS(16u, Zel16u), DOTS(16s, Zel16s), DOTS(32u, Zel32u), DOTS(32s, Zel32s), DOTS(32f, Zel32f),
    };
    return m;
}

// ---- reference model ---------------------------------------------------------------------------

struct Image {
    const uint8_t* origin;
    int step;
    Ty ty;
    long double at(int64_t y, int64_t i) const {  // sample i of row y; rows advance by whole samples
        const uint8_t* r = origin + (int64_t)(step / bytesOf(ty)) * bytesOf(ty) * y + i * bytesOf(ty);
        switch (ty) {
            case U8: return *r;
            case U16: { uint16_t v; memcpy(&v, r, 2); return v; }
            case S16: { int16_t v; memcpy(&v, r, 2); return v; }
            case U32: { uint32_t v; memcpy(&v, r, 4); return v; }
            case S32: { int32_t v; memcpy(&v, r, 4); return v; }
            default: { float v; memcpy(&v, r, 4); return v; }
        }
    }
};

struct Expect {
    double v[4];
    long double scale[4];  // Σ|term|: the size of the rounding a fast path may show
};

// The value of the family's rule per channel. Integer sums are exact in long double here; the
// 32f accurate rule is followed operation by operation.
Expect model(const Member& m, Image a, Image b, ZeliSize roi, int hint) {
    Expect e{};
    const bool f32 = m.ty == F32, accurate = f32 && hint == zelAlgHintAccurate;
    Kind kind = m.kind == Mean ? Sum : m.kind;
    auto norm = [&](bool diff, Image x, Image y, double out[4], long double scale[4]) {
        for (int c = 0; c < m.C; ++c) {
            long double acc = 0, mag = 0;
            double pair[2] = {0, 0};
            for (int64_t r = 0; r < roi.height; ++r)
                for (int64_t px = 0; px < roi.width; ++px) {
                    long double s = x.at(r, px * m.C + c), t = diff || kind == Dot ? y.at(r, px * m.C + c) : 0;
                    if (kind == Dot) {
                        acc += s * t, mag += fabsl(s * t);
                        continue;
                    }
                    if (diff) s = f32 && !accurate ? (long double)((float)s - (float)t) : s - t;
                    long double term = kind == Inf ? fabsl(s) : kind == L1 ? fabsl(s) : kind == L2 ? s * s : s;
                    if (kind == Inf) acc = std::max(acc, term);
                    else acc += term, mag += fabsl(term);
                    double d = (double)s;
                    double& p = pair[px & 1];
                    p = kind == L2 ? std::fma(d, d, p) : kind == L1 ? p + std::fabs(d) : p + d;
                }
            double v = accurate && kind != Inf ? pair[0] + pair[1] : (double)acc;
            out[c] = kind == L2 ? std::sqrt(v) : v;
            scale[c] = mag;
        }
    };
    if (m.form == Rel) {
        double num[4], den[4];
        long double sn[4], sd[4];
        norm(true, a, b, num, sn);
        norm(false, b, b, den, sd);
        for (int c = 0; c < m.C; ++c) {
            e.v[c] = den[c] == 0 ? (num[c] == 0 ? NAN : INFINITY) : num[c] / den[c];
            e.scale[c] = sn[c] + sd[c];  // relative tolerance for the fast path
        }
    } else {
        norm(m.form == Diff, a, b, e.v, e.scale);
    }
    if (m.kind == Mean)
        for (int c = 0; c < m.C; ++c) e.v[c] /= (double)((int64_t)roi.width * roi.height), e.scale[c] /= (long double)roi.width * roi.height;
    return e;
}

bool twoSources(const Member& m) { return m.form != Plain || m.kind == Dot; }

// Random samples: any bits for integers; floats of mixed magnitude and sign, no NaN.
void fillSamples(zt::Region& r, Ty ty, zt::Rng& rng) {
    r.randomize(rng);
    if (ty != F32) return;
    for (int64_t i = 0; i + 4 <= r.extent(); i += 4) {
        float f = (float)((int64_t)rng.range(-1000000, 1000000)) * (rng.chance(0.5) ? 1e-3f : 1.0f);
        memcpy(r.lo() + i, &f, 4);
    }
}

void checkValues(const Member& m, const Expect& e, const double* got, int hint) {
    const bool exact = m.ty != F32 && m.ty != U32 && m.ty != S32;
    const bool accurate = m.ty == F32 && hint == zelAlgHintAccurate;
    for (int c = 0; c < m.out; ++c) {
        SCOPED_TRACE(::testing::Message() << "channel " << c);
        if (std::isnan(e.v[c])) {
            EXPECT_TRUE(std::isnan(got[c])) << got[c];
        } else if (exact || m.kind == Inf || accurate) {
            EXPECT_EQ(zt::bitsOf(got[c]), zt::bitsOf(e.v[c])) << got[c] << " vs " << e.v[c];
        } else {
            // Fast single-precision lanes: relative to the magnitude of what was summed.
            double tol = (m.kind == Dot ? 1e-12 : 2e-6) * (double)e.scale[c] + 1e-30;
            if (m.form == Rel) tol = 1e-5 * std::fabs(e.v[c]);
            if (m.kind == L2) tol = m.form == Rel ? tol : 2e-6 * e.v[c];
            EXPECT_NEAR(got[c], e.v[c], tol);
        }
    }
}

// ---- tests -------------------------------------------------------------------------------------

TEST(StatReductions, MatchModelOnRandomGeometry) {
    for (const Member& m : members()) {
        SCOPED_TRACE(m.name);
        ZT_SKIP_IF_PLACEHOLDER(m.name);
        const int px = bytesOf(m.ty) * m.C;
        zt::StepPolicy pol;
        pol.unit = bytesOf(m.ty);
        if (m.kind == Dot) pol.negative = 0.2;
        if (m.kind == Sum || m.kind == Mean) pol.zero = 0.05, pol.negative = 0.1;
        zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int) {
            ZeliSize roi{zt::randomWidth(rng, px), 0};
            roi.height = zt::randomHeight(rng, (int64_t)roi.width * px);
            int64_t row = (int64_t)roi.width * px;
            zt::Region a(row, roi.height, zt::randomStep(rng, row, pol), tight);
            zt::Region b(row, roi.height, zt::randomStep(rng, row, pol), tight);
            fillSamples(a, m.ty, rng);
            fillSamples(b, m.ty, rng);
            if (m.form != Plain && rng.chance(0.2)) {  // equal images: zero differences
                for (int64_t y = 0; y < roi.height; ++y) memcpy(b.row(y), a.row(y), row);
            }
            for (int hint : {zelAlgHintNone, zelAlgHintAccurate}) {
                if (hint && !m.hint) continue;
                SCOPED_TRACE(::testing::Message() << roi.width << "x" << roi.height << " steps " << a.step() << ", "
                                                  << b.step() << " hint " << hint);
                zt::Region out(64, 1, 64, tight);
                out.fill(0xA5);
                double* got = (double*)out.origin();
                Image ia{a.origin(), (int)a.step(), m.ty}, ib{b.origin(), (int)b.step(), m.ty};
                Expect e = model(m, ia, twoSources(m) ? ib : ia, roi, hint);
                ZelStatus want = zelStsNoErr;
                for (int c = 0; m.form == Rel && c < m.C; ++c)
                    if (std::isnan(e.v[c]) || std::isinf(e.v[c])) want = zelStsDivByZero;
                ASSERT_EQ(m.call(a.origin(), (int)a.step(), b.origin(), (int)b.step(), roi, got, hint), want);
                checkValues(m, e, got, hint);
                for (int i = m.out * 8; i < 64; ++i) ASSERT_EQ(out.origin()[i], 0xA5) << "wrote past the results";
            }
        });
    }
}

// Sums that would overflow any lane kept too long: large images of the most extreme samples.
TEST(StatReductions, ExtremeSamplesOnLargeImagesStayExact) {
    struct Case {
        const char* name;
        int C;
        std::function<ZelStatus(const uint8_t*, const uint8_t*, int, ZeliSize, double*)> call;
        int bytes;
        uint16_t a, b;  // sample bits of the two images
        double term;    // per-sample contribution to the sum (before the square root)
        bool root;
    };
    const std::vector<Case> cases = {
        {"zeliNorm_L2_8u_C1R", 1, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliNorm_L2_8u_C1R(a, s, r, v); }, 1, 255, 0, 65025, true},
        {"zeliNorm_L2_8u_C3R", 3, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliNorm_L2_8u_C3R(a, s, r, v); }, 1, 255, 0, 65025, true},
        {"zeliNormDiff_L2_8u_C1R", 1, [](auto a, auto b, int s, ZeliSize r, double* v) { return zeliNormDiff_L2_8u_C1R(a, s, b, s, r, v); }, 1, 0, 255, 65025, true},
        {"zeliNormDiff_L1_8u_C4R", 4, [](auto a, auto b, int s, ZeliSize r, double* v) { return zeliNormDiff_L1_8u_C4R(a, s, b, s, r, v); }, 1, 0, 255, 255, false},
        {"zeliSum_8u_C3R", 3, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliSum_8u_C3R(a, s, r, v); }, 1, 255, 0, 255, false},
        {"zeliSum_8u_C1R", 1, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliSum_8u_C1R(a, s, r, v); }, 1, 255, 0, 255, false},
        {"zeliNorm_L1_16u_C1R", 1, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliNorm_L1_16u_C1R((const Zel16u*)a, s, r, v); }, 2, 65535, 0, 65535, false},
        {"zeliSum_16s_C1R", 1, [](auto a, auto, int s, ZeliSize r, double* v) { return zeliSum_16s_C1R((const Zel16s*)a, s, r, v); }, 2, 0x8000, 0, -32768, false},
        {"zeliNormDiff_L1_16s_C1R", 1, [](auto a, auto b, int s, ZeliSize r, double* v) { return zeliNormDiff_L1_16s_C1R((const Zel16s*)a, s, (const Zel16s*)b, s, r, v); }, 2, 0x7FFF, 0x8000, 65535, false},
        {"zeliNormDiff_L2_16u_C3R", 3, [](auto a, auto b, int s, ZeliSize r, double* v) { return zeliNormDiff_L2_16u_C3R((const Zel16u*)a, s, (const Zel16u*)b, s, r, v); }, 2, 65535, 0, 65535.0 * 65535.0, true},
        {"zeliDotProd_8u64f_C1R", 1, [](auto a, auto b, int s, ZeliSize r, double* v) { return zeliDotProd_8u64f_C1R(a, s, b, s, r, v); }, 1, 255, 255, 65025, false},
    };
    const ZeliSize roi{2560, 1800};  // 4.6 M pixels: more than any block of a 32-bit lane
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        const int64_t row = (int64_t)roi.width * k.C * k.bytes;
        std::vector<uint8_t> a(row * roi.height), b(row * roi.height);
        for (int64_t i = 0; i < (int64_t)a.size(); i += k.bytes) {
            memcpy(&a[i], &k.a, k.bytes);
            memcpy(&b[i], &k.b, k.bytes);
        }
        double v[4];
        ASSERT_EQ(k.call(a.data(), b.data(), (int)row, roi, v), zelStsNoErr);
        const double total = k.term * (double)roi.width * roi.height;
        for (int c = 0; c < k.C; ++c) EXPECT_EQ(v[c], k.root ? std::sqrt(total) : total) << "channel " << c;
    }
}

// Rows wider than 32768 pixels: each strip's norm is squared back into the total.
TEST(StatReductions, NormL2_8u_WideRowsUseStrips) {
    ZT_SKIP_IF_PLACEHOLDER("zeliNorm_L2_8u_C1R");
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
    // 32768 pixels or fewer: one exact sum.
    std::vector<uint8_t> img(32768, 255);
    double got;
    ASSERT_EQ(zeliNorm_L2_8u_C1R(img.data(), 32768, {32768, 1}, &got), zelStsNoErr);
    EXPECT_EQ(got, std::sqrt(65025.0 * 32768));
}

TEST(StatReductions, RelativeNormWithZeroDenominator) {
    ZT_SKIP_IF_PLACEHOLDER("zeliNormRel_Inf_16s_C1R");
    Zel16s zero[6] = {}, one[6] = {0, 0, 3, 0, 0, 0};
    double v = 0;
    EXPECT_EQ(zeliNormRel_Inf_16s_C1R(zero, 6, zero, 6, {3, 2}, &v), zelStsDivByZero);
    EXPECT_TRUE(std::isnan(v));
    EXPECT_EQ(zeliNormRel_Inf_16s_C1R(one, 6, zero, 6, {3, 2}, &v), zelStsDivByZero);
    EXPECT_EQ(v, INFINITY);
    // Per channel: only the channel with a zero denominator is special.
    Zel8u a[3] = {1, 2, 3}, b[3] = {2, 0, 3};
    double c3[3];
    EXPECT_EQ(zeliNormRel_L1_8u_C3R(a, 3, b, 3, {1, 1}, c3), zelStsDivByZero);
    EXPECT_EQ(c3[0], 0.5);
    EXPECT_EQ(c3[1], INFINITY);
    EXPECT_EQ(c3[2], 0.0);
}

TEST(StatReductions, OnePixel) {
    Zel16s x = -7;
    double v;
    ASSERT_EQ(zeliNorm_Inf_16s_C1R(&x, 2, {1, 1}, &v), zelStsNoErr);
    EXPECT_EQ(v, 7);
    ASSERT_EQ(zeliNorm_L1_16s_C1R(&x, 2, {1, 1}, &v), zelStsNoErr);
    EXPECT_EQ(v, 7);
    ASSERT_EQ(zeliNorm_L2_16s_C1R(&x, 2, {1, 1}, &v), zelStsNoErr);
    EXPECT_EQ(v, 7);
    Zel32f f = -2.5f;
    ASSERT_EQ(zeliNorm_L2_32f_C1R(&f, 4, {1, 1}, &v, zelAlgHintAccurate), zelStsNoErr);
    EXPECT_EQ(v, 2.5);
}

TEST(StatReductions, NanPropagatesThroughNorms) {
    std::vector<float> img(100, 1.0f);
    for (int at : {3, 97}) {  // in a vector body and in a tail
        img.assign(100, 1.0f);
        img[at] = NAN;
        double v;
        ASSERT_EQ(zeliNorm_Inf_32f_C1R(img.data(), 400, {100, 1}, &v), zelStsNoErr);
        EXPECT_TRUE(std::isnan(v));
        ASSERT_EQ(zeliNorm_L2_32f_C1R(img.data(), 400, {100, 1}, &v, zelAlgHintFast), zelStsNoErr);
        EXPECT_TRUE(std::isnan(v));
    }
}

// Sum checks no step: a step of 0 sums the first row height times, a short step overlaps rows.
TEST(StatReductions, SumAcceptsAnyStep) {
    Zel8u img[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    double v;
    ASSERT_EQ(zeliSum_8u_C1R(img, 0, {4, 3}, &v), zelStsNoErr);
    EXPECT_EQ(v, 30);
    ASSERT_EQ(zeliSum_8u_C1R(img, 2, {4, 3}, &v), zelStsNoErr);
    EXPECT_EQ(v, 10 + 18 + 26);
    ASSERT_EQ(zeliMean_8u_C1R(img, 2, {4, 3}, &v), zelStsNoErr);
    EXPECT_EQ(v, 54.0 / 12);
}

// A 16-bit image with an odd step advances by the step less one byte.
TEST(StatReductions, OddStepRoundsDownToWholeSamples) {
    Zel16u img[12];
    for (int i = 0; i < 12; ++i) img[i] = (Zel16u)(i + 1);
    double v;
    ASSERT_EQ(zeliNorm_L1_16u_C1R(img, 9, {3, 3}, &v), zelStsNoErr);  // rows at 0, 4, 8 samples
    EXPECT_EQ(v, (1 + 2 + 3) + (5 + 6 + 7) + (9 + 10 + 11));
}

// ---- argument-check orders -----------------------------------------------------------------

struct Args {
    const Zel8u *a, *b;
    int sa, sb;
    ZeliSize roi;
    double* v;
};

zt::CheckOrder<Args> orderFor(zt::Region& img, zt::Region& out, std::function<ZelStatus(const Args&)> call) {
    Args valid{img.origin(), img.origin(), (int)img.step(), (int)img.step(), {8, 4}, (double*)out.origin()};
    return zt::CheckOrder<Args>(valid, std::move(call), {&img, &out});
}

TEST(StatReductions, CheckOrders) {
    zt::Region img(8, 4, 16), out(64, 1, 64);
    zt::Rng rng = zt::Rng::forTest();
    img.randomize(rng);
    auto nulls = [](zt::CheckOrder<Args>& co, bool two) {
        co.row("pSrc null", [](Args& a) { a.a = nullptr; }, zelStsNullPtrErr);
        if (two) co.row("pSrc2 null", [](Args& a) { a.b = nullptr; }, zelStsNullPtrErr);
        co.row("result null", [](Args& a) { a.v = nullptr; }, zelStsNullPtrErr);
    };
    auto sizes = [](zt::CheckOrder<Args>& co) {
        co.row("width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -1", [](Args& a) { a.roi.height = -1; }, zelStsSizeErr);
    };
    {
        SCOPED_TRACE("Norm");
        auto co = orderFor(img, out, [](const Args& a) { return zeliNorm_L2_8u_C1R(a.a, a.sa, a.roi, a.v); });
        nulls(co, false), sizes(co);
        co.row("step 0", [](Args& a) { a.sa = 0; }, zelStsStepErr);
        co.run();
    }
    {
        SCOPED_TRACE("NormRel");
        auto co = orderFor(img, out, [](const Args& a) { return zeliNormRel_L1_8u_C1R(a.a, a.sa, a.b, a.sb, a.roi, a.v); });
        nulls(co, true), sizes(co);
        co.row("src2Step -1", [](Args& a) { a.sb = -1; }, zelStsStepErr);
        co.row("src1Step 0", [](Args& a) { a.sa = 0; }, zelStsStepErr);
        co.run();
    }
    {
        SCOPED_TRACE("Sum");
        auto co = orderFor(img, out, [](const Args& a) { return zeliSum_8u_C1R(a.a, a.sa, a.roi, a.v); });
        nulls(co, false), sizes(co);
        co.ignored("step 0", [](Args& a) { a.sa = 0; });
        co.run();
    }
    {
        SCOPED_TRACE("Mean");  // pMean first, then the checks of Sum
        auto co = orderFor(img, out, [](const Args& a) { return zeliMean_8u_C1R(a.a, a.sa, a.roi, a.v); });
        co.row("pMean null", [](Args& a) { a.v = nullptr; }, zelStsNullPtrErr);
        co.row("pSrc null", [](Args& a) { a.a = nullptr; }, zelStsNullPtrErr);
        sizes(co);
        co.ignored("step -3", [](Args& a) { a.sa = -3; });
        co.run();
    }
    {
        SCOPED_TRACE("DotProd");
        auto co = orderFor(img, out, [](const Args& a) { return zeliDotProd_8u64f_C1R(a.a, a.sa, a.b, a.sb, a.roi, a.v); });
        nulls(co, true), sizes(co);
        co.row("src2Step 0", [](Args& a) { a.sb = 0; }, zelStsSizeErr);
        co.row("src1Step 0", [](Args& a) { a.sa = 0; }, zelStsSizeErr);
        co.run();
    }
}

TEST(StatReductions, DotProdAcceptsNegativeSteps) {
    Zel8u img[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    double v;
    ASSERT_EQ(zeliDotProd_8u64f_C1R(img + 4, -4, img + 4, -4, {4, 2}, &v), zelStsNoErr);
    EXPECT_EQ(v, 1 + 4 + 9 + 16 + 25 + 36 + 49 + 64);
}

}  // namespace
