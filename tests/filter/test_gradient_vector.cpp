// FilterSobel and the gradient vectors against the model (fixed_model.h): gx, gy, the norm and
// the colour rule exactly, the angle within its documented bound of atan2; random outputs
// skipped; and the check orders of these families.
#include "fixed_model.h"

namespace {

using fm::Source;
using fm::Taps;

struct Grad {
    Taps diff, smooth;
};
Grad gradKernel(const std::string& op, int side) {
    if (op.find("Scharr") != op.npos) return {{-1, 0, 1}, {3, 10, 3}};
    if (op.find("Prewitt") != op.npos) return {{-1, 0, 1}, {1, 1, 1}};
    return side == 3 ? Grad{{-1, 0, 1}, {1, 2, 1}} : Grad{{-1, -2, 0, 2, 1}, {1, 4, 6, 4, 1}};
}

// The magnitude in single precision, or of integers exactly (the L2 norm as its square, which
// orders the channels; the output rounds its root to nearest).
double magnitude(float gx, float gy, int norm) {
    const float ax = fabsf(gx), ay = fabsf(gy);
    return norm == 1 ? fmaxf(ax, ay) : norm == 2 ? ax + ay : sqrtf(fmaf(gx, gx, gy * gy));
}
double magnitude(int64_t gx, int64_t gy, int norm) {
    const int64_t ax = gx < 0 ? -gx : gx, ay = gy < 0 ? -gy : gy;
    return norm == 1 ? (double)std::max(ax, ay) : norm == 2 ? (double)(ax + ay) : (double)(ax * ax + ay * ay);
}

// atan2 in (-pi, pi], with (0, 0) giving 0 and -0 counted as 0.
double angleOf(double gy, double gx) {
    if (gy == 0) return gx < 0 ? M_PI : 0;
    return atan2(gy, gx);
}

struct Out {
    zt::Region* r;
    int bytes;
};

template <typename S, typename D>
void trial(const zt::Name& n, zt::Rng& rng, zt::Tight tight) {
    const bool vector = n.op.rfind("GradientVector", 0) == 0;
    const int C = n.channels, side = n.op.find("Sobel") != n.op.npos && rng.chance(0.5) ? 5 : 3;
    const int W = (int)(rng.chance(0.1) ? rng.range(1000, 1300) : rng.range(1, 70)), H = (int)rng.range(1, W > 500 ? 3 : 10);
    Source s(rng, tight, W, H, C, sizeof(S), side / 2, fm::randomBorder(rng, {1, 3, 6}));
    fm::fillSamples<S>(rng, s.img);
    const int norm = (int)rng.pick(std::vector<int>{1, 2, 4});
    auto image = [&](int bytes) {
        const int64_t row = (int64_t)W * bytes;
        auto* r = new zt::Region(row, H, row + bytes * rng.range(0, 2), tight, 0, bytes);
        r->randomize(rng);
        return r;
    };
    // gx, gy, magnitude, angle; FilterSobel has the magnitude alone.
    std::unique_ptr<zt::Region> out[4];
    do {
        for (int k = 0; k < 4; ++k) out[k].reset(vector ? (rng.chance(0.7) ? image(k == 3 ? 4 : sizeof(D)) : nullptr) : k == 2 ? image(sizeof(D)) : nullptr);
    } while (!out[0] && !out[1] && !out[2] && !out[3]);
    const ZeliSize roi{W, H};
    const int mask = side == 3 ? zelMskSize3x3 : zelMskSize5x5;
    auto code = [](const std::string& t) { return t == "8u" ? zel8u : t == "16u" ? zel16u : t == "16s" ? zel16s : zel32f; };
    int bytes = 0;
    ASSERT_EQ(vector ? zeliGradientVectorGetBufferSize(roi, mask, code(fm::typesOf(n).src), C, &bytes)
                     : zeliFilterSobelGetBufferSize(roi, mask, norm, code(fm::typesOf(n).src), code(fm::typesOf(n).dst), 1, &bytes),
              zelStsNoErr);
    zt::Region buf(bytes, 1, bytes, tight);
    std::vector<const zt::Region*> regions{&s.img};
    for (auto& o : out)
        if (o) regions.push_back(o.get());
    zt::Shadow shadow(regions);
    auto ptr = [&](int k) { return out[k] ? (void*)out[k]->origin() : nullptr; };
    auto step = [&](int k) { return out[k] ? (int)out[k]->step() : 0; };
    const S v = *(const S*)s.value;
    ZelStatus st;
    if (!vector)
        st = zt::invoke(n.fn, (const S*)s.roi, (int)s.step, (D*)ptr(2), step(2), roi, mask, norm, s.border, v, buf.origin());
    else if (C == 1)
        st = zt::invoke(n.fn, (const S*)s.roi, (int)s.step, (D*)ptr(0), step(0), (D*)ptr(1), step(1), (D*)ptr(2), step(2),
                        (Zel32f*)ptr(3), step(3), roi, mask, norm, s.border, v, buf.origin());
    else
        st = zt::invoke(n.fn, (const S*)s.roi, (int)s.step, (D*)ptr(0), step(0), (D*)ptr(1), step(1), (D*)ptr(2), step(2),
                        (Zel32f*)ptr(3), step(3), roi, mask, norm, s.border, (const S*)s.value, buf.origin());
    ASSERT_EQ(st, zelStsNoErr);
    const Grad g = gradKernel(n.op, side);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            // Integer derivatives become single precision for a 32f destination, exactly.
            using V = std::conditional_t<std::is_floating_point<D>::value, float, int64_t>;
            V gx = (V)fm::separable<S>(s, g.diff, g.smooth, x, y, 0), gy = (V)fm::separable<S>(s, g.smooth, g.diff, x, y, 0);
            for (int ch = 1; ch < std::min(C, 3); ++ch) {
                const V a = (V)fm::separable<S>(s, g.diff, g.smooth, x, y, ch), b = (V)fm::separable<S>(s, g.smooth, g.diff, x, y, ch);
                if (magnitude(a, b, norm) > magnitude(gx, gy, norm)) gx = a, gy = b;
            }
            double m = magnitude(gx, gy, norm);
            if (!std::is_floating_point<D>::value && norm == 4) m = floor(sqrt(m) + 0.5);
            const D vals[3] = {(D)gx, (D)gy, std::is_floating_point<D>::value ? (D)m : fm::saturate<D>((int64_t)m)};
            for (int k = 0; k < 3; ++k)
                if (out[k]) ((D*)shadow(out[k]->row(y)))[x] = vals[k];
            if (out[3]) {
                const float got = ((const float*)out[3]->row(y))[x];
                const double want = angleOf((double)(float)gy, (double)(float)gx);
                ASSERT_LE(fabs(got - want), 1e-6) << n.name << " gx " << (float)gx << " gy " << (float)gy;
                ((float*)shadow(out[3]->row(y)))[x] = got;
            }
        }
    ASSERT_TRUE(shadow.matches()) << n.name << " " << W << "x" << H << " border " << s.border << " norm " << norm;
}

class Gradients : public ::testing::TestWithParam<zt::Name> {};

TEST_P(Gradients, MatchTheModel) {
    const zt::Name n = GetParam();
    const fm::Types t = fm::typesOf(n);
    fm::withPair(t, [&](auto st, auto dt) {
        zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int) {
            trial<typename decltype(st)::type, typename decltype(dt)::type>(n, rng, tight);
        });
    });
}

std::vector<zt::Name> members() {
    std::vector<zt::Name> out;
    for (auto& n : zt::namesOf({"FilterSobel", "GradientVectorSobel, GradientVectorScharr, GradientVectorPrewitt, GradientVectorGetBufferSize"}))
        if (n.roi) out.push_back(n);
    return out;
}
INSTANTIATE_TEST_SUITE_P(Norms, Gradients, ::testing::ValuesIn(members()), zt::paramName);

// The angle's bound over every direction and magnitude, zero and signed zeros included.
TEST(GradientAngle, WithinBoundOfAtan2) {
    zt::Rng rng = zt::Rng::forTest();
    const int64_t W = 4096;
    std::vector<float> gx(W), gy(W), mag(W), ang(W);
    for (int rep = 0; rep < 32; ++rep) {
        std::vector<float> src((W + 2) * 3);
        for (auto& f : src) f = rep < 4 ? (float)rng.range(-3, 3) : ldexpf((float)rng.range(-(1 << 20), 1 << 20), (int)rng.range(-20, 20));
        int bytes = 0;
        ASSERT_EQ(zeliGradientVectorGetBufferSize({(int)W, 1}, zelMskSize3x3, zel32f, 1, &bytes), zelStsNoErr);
        std::vector<Zel8u> buf(bytes);
        ASSERT_EQ(zeliGradientVectorPrewitt_32f_C1R(src.data() + W + 3, (W + 2) * 4, gx.data(), W * 4, gy.data(), W * 4, nullptr, 0,
                                                   ang.data(), W * 4, {(int)W, 1}, zelMskSize3x3, 4, zelBorderInMem, 0, buf.data()),
                  zelStsNoErr);
        for (int64_t i = 0; i < W; ++i) ASSERT_LE(fabs(ang[i] - angleOf(gy[i], gx[i])), 1e-6) << gx[i] << " " << gy[i];
    }
}

struct GArgs {
    const Zel16u* src;
    int srcStep;
    Zel32f *gx, *gy, *mag, *angle;
    int step;
    ZeliSize roi;
    int mask, norm;
    unsigned border;
    const Zel16u* value;
    Zel8u* buf;
};

TEST(GradientChecks, Order) {
    zt::Region src(64 * 8, 6, 64 * 8), out(4 * 16, 6 * 4, 4 * 16);
    zt::Rng rng(3);
    src.randomize(rng), out.randomize(rng);
    std::vector<Zel8u> buf(8192);
    const Zel16u value[3] = {1, 2, 3};
    auto plane = [&](int k) { return (Zel32f*)out.row(6 * k); };
    GArgs valid{(const Zel16u*)src.origin(), 512, plane(0), plane(1), plane(2), plane(3), 64, {16, 6}, zelMskSize3x3, 2,
                zelBorderConst, value, buf.data()};
    zt::CheckOrder<GArgs> co(valid, [](const GArgs& a) {
        return zeliGradientVectorScharr_16u32f_C3C1R(a.src, a.srcStep, a.gx, a.step, a.gy, a.step, a.mag, a.step, a.angle, a.step,
                                                     a.roi, a.mask, a.norm, a.border, a.value, a.buf);
    }, {&src, &out});
    co.row("pSrc null", [](GArgs& a) { a.src = nullptr; }, zelStsNullPtrErr)
        .row("pBuffer null", [](GArgs& a) { a.buf = nullptr; }, zelStsNullPtrErr)
        .row("every output null", [](GArgs& a) { a.gx = a.gy = a.mag = a.angle = nullptr; }, zelStsNullPtrErr)
        .row("width -1", [](GArgs& a) { a.roi.width = -1; }, zelStsSizeErr)
        .row("source step odd", [](GArgs& a) { a.srcStep = 511; }, zelStsNotEvenStepErr)
        .row("output step 62", [](GArgs& a) { a.step = 62; }, zelStsNotEvenStepErr)
        .row("mask 55 (3x3 only)", [](GArgs& a) { a.mask = zelMskSize5x5; }, zelStsMaskSizeErr)
        .row("norm 3", [](GArgs& a) { a.norm = 3; }, zelStsNotSupportedModeErr)
        .row("border kind 4", [](GArgs& a) { a.border = 4; }, zelStsBorderErr)
        .row("constant null", [](GArgs& a) { a.value = nullptr; }, zelStsNullPtrErr)
        .run();

    int size = 0;
    EXPECT_EQ(zeliGradientVectorGetBufferSize({16, 6}, zelMskSize5x5, zel16u, 2, &size), zelStsNumChannelsErr);
    EXPECT_EQ(zeliGradientVectorGetBufferSize({16, 6}, zelMskSize5x5, zel64f, 2, &size), zelStsDataTypeErr);
    EXPECT_EQ(zeliGradientVectorGetBufferSize({16, 6}, zelMskSize5x5, zel16u, 3, &size), zelStsNoErr);
    EXPECT_EQ(size, 48 * 5 * 4 * 2 + 32);
    EXPECT_EQ(zeliFilterSobelGetBufferSize({16, 6}, zelMskSize3x3, 3, zel32f, zel32f, 1, &size), zelStsNotSupportedModeErr);
    EXPECT_EQ(zeliFilterSobelGetBufferSize({16, 6}, zelMskSize3x3, 1, zel16s, zel16s, 1, &size), zelStsDataTypeErr);
    Zel16s d[4];
    Zel8u s8[4] = {}, b[32];
    EXPECT_EQ(zeliFilterSobel_8u16s_C1R(s8, 2, d, 3, {2, 2}, zelMskSize3x3, 4, zelBorderRepl, 0, b), zelStsNotEvenStepErr);
    EXPECT_EQ(zeliFilterSobel_8u16s_C1R(s8, 2, d, 4, {2, 2}, zelMskSize3x3, 0, zelBorderRepl, 0, b), zelStsNotSupportedModeErr);
    EXPECT_EQ(zeliFilterSobel_8u16s_C1R(s8, 2, d, 4, {2, 2}, zelMskSize3x3, 4, 2, 0, b), zelStsBorderErr);
}

}  // namespace
