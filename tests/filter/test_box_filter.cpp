// Box filter and window sums against a scalar model written from the rules: the exact sum of
// the mask neighbourhood (pixels outside the ROI by the border rules), then the plain sum or
// the mean float(sum) * r rounded to nearest even. Every member on random geometry, masks and
// borders, images inside larger buffers where sides are in memory, buffers of exactly the
// queried size, everything against guard pages; 32f results within the documented bound.
#include <math.h>

#include "filter/border_rows.h"
#include "zel_test_kit.h"

namespace {

using zel::BorderArg;

struct Geometry {
    int w, h, kw, kh, P;  // P: source pixel bytes
    BorderArg b;
    unsigned border;
};

const ZeliSize kMasks[] = {{1, 1}, {1, 4}, {5, 1}, {2, 2}, {3, 3}, {5, 5}, {7, 7}, {15, 15}, {4, 3}, {16, 16}, {31, 3}, {31, 31}};

ZeliSize randomMask(zt::Rng& rng, int w, int h) {
    if (rng.chance(0.15)) return {(int)rng.range(w, w + 9), (int)rng.range(h, h + 9)};  // larger than the ROI
    if (rng.chance(0.1)) return {(int)rng.range(1, 40), (int)rng.range(1, 40)};
    return rng.pick(kMasks);
}

unsigned randomBorder(zt::Rng& rng) {
    static const unsigned kinds[] = {1, 3, 6};
    return rng.chance(0.1) ? 240u : kinds[rng.range(0, 2)] | (unsigned)(rng.range(0, 15) << 4);
}

// Reads sample c of the pixel that (col, ys) stands for, from an image whose ROI starts at roi.
template <typename T>
double modelSample(const Geometry& g, const uint8_t* roi, int64_t step, const T* value, int64_t col, int64_t ys, int c) {
    const BorderArg& b = g.b;
    bool rowReal = (ys >= 0 && ys < g.h) || (ys < 0 && b.memTop) || (ys >= g.h && b.memBottom);
    bool colReal = (col >= 0 && col < g.w) || (col < 0 && b.memLeft) || (col >= g.w && b.memRight);
    if ((!rowReal || !colReal) && b.kind == 6) return (double)value[c];
    if (!rowReal) ys = zel::ownBorderMap(b.kind, ys, g.h);
    if (!colReal) col = zel::ownBorderMap(b.kind, col, g.w);
    T t;
    memcpy(&t, roi + ys * (step / (int64_t)sizeof(T) * sizeof(T)) + col * g.P + c * sizeof(T), sizeof t);
    return (double)t;
}

template <typename T>
T saturate(double v) {
    if constexpr (std::is_floating_point_v<T>) return (T)v;
    else return (T)fmin(fmax(v, (double)std::numeric_limits<T>::min()), (double)std::numeric_limits<T>::max());
}

// Expected result of one member into dst (a shadow copy); float results also get their bound.
template <typename T, typename Out>
void model(const Geometry& g, const zt::Name& n, const uint8_t* roi, int64_t step, const T* value, uint8_t* dst,
           int64_t dstStep, bool sum, std::vector<double>* bound) {
    const int ax = (g.kw - 1) / 2, ay = (g.kh - 1) / 2;
    const double area = (double)g.kw * g.kh;
    const float r = (float)(1.0 / area);
    for (int y = 0; y < g.h; ++y)
        for (int x = 0; x < g.w; ++x)
            for (int c = 0; c < n.used; ++c) {
                double s = 0, mag = 0;
                for (int i = 0; i < g.kh; ++i)
                    for (int j = 0; j < g.kw; ++j) {
                        double v = modelSample<T>(g, roi, step, value, x - ax + j, y - ay + i, c);
                        s += v, mag += fabs(v);
                    }
                Out o;
                if (sum) o = std::is_same_v<Out, int32_t> ? (Out)s : (Out)(float)s;
                else if (std::is_floating_point_v<Out>) o = (Out)((float)s * r);
                else o = saturate<Out>(nearbyintf((float)s * r));
                memcpy(dst + y * (dstStep / (int64_t)sizeof(Out) * sizeof(Out)) + ((int64_t)x * n.channels + c) * sizeof(Out), &o, sizeof o);
                if (bound) bound->push_back(fabs((double)o) * 0x1p-23 + mag * 1e-11 * (sum ? 1 : r));
            }
}

std::vector<zt::Name> members(const char* op) {
    std::vector<zt::Name> out;
    for (auto& n : zt::namesOf({"FilterBoxBorder, SumWindow"}))
        if (n.op == op) out.push_back(n);
    return out;
}

template <typename T, typename Out>
void trial(const zt::Name& n, zt::Rng& rng, zt::Tight tight, bool inPlace) {
    const bool sum = n.op == "SumWindow";
    Geometry g{};
    g.P = n.channels * (int)sizeof(T);
    g.w = rng.chance(0.1) ? (int)rng.range(1, 3) : zt::randomWidth(rng, g.P) % 200 + 1;
    g.h = (int)rng.range(1, 14);
    ZeliSize mask = randomMask(rng, g.w, g.h);
    g.kw = mask.width, g.kh = mask.height;
    g.border = randomBorder(rng);
    ASSERT_EQ(zel::ownBorderDecode(g.border, zel::kBorderKindsFilter, &g.b), zelStsNoErr);
    const zel::BorderExtent e = zel::ownCentredExtent(g.kw, g.kh);
    const int ml = g.b.memLeft ? e.left : 0, mr = g.b.memRight ? e.right : 0;
    const int mt = g.b.memTop ? e.top : 0, mb = g.b.memBottom ? e.bottom : 0;
    zt::StepPolicy sp;
    sp.unit = sizeof(T);
    const int64_t srcRow = (int64_t)(ml + g.w + mr) * g.P, srcStep = zt::randomStep(rng, srcRow, sp);
    zt::Region img(srcRow, mt + g.h + mb, srcStep, tight);
    if constexpr (std::is_floating_point_v<T>) {
        for (int64_t i = 0; i < img.extent() / 4; ++i) ((float*)img.lo())[i] = (float)rng.range(-40000, 40000) / 256;
    } else {
        img.randomize(rng);
    }
    T value[4];
    for (auto& v : value) v = saturate<T>((double)rng.range(-300, 70000) / (sizeof(T) == 1 ? 250 : 1));
    const uint8_t* roi = img.row(mt) + (int64_t)ml * g.P;

    sp.unit = sizeof(Out);
    const int64_t dstRow = (int64_t)g.w * n.channels * sizeof(Out);
    zt::Region out(inPlace ? 1 : dstRow, inPlace ? 1 : g.h, inPlace ? 1 : zt::randomStep(rng, dstRow, sp), tight);
    out.randomize(rng);
    uint8_t* dst = inPlace ? (uint8_t*)roi : out.origin();
    const int64_t dstStep = inPlace ? srcStep : out.step();

    int bytes = 0;
    auto query = sum ? zeliSumWindowGetBufferSize : zeliFilterBoxBorderGetBufferSize;
    ASSERT_EQ(query({g.w, g.h}, mask, n.type == "8u" ? zel8u : n.type == "16u" ? zel16u : n.type == "16s" ? zel16s : zel32f,
                    n.channels, &bytes),
              zelStsNoErr);
    zt::Region buf(bytes, 1, bytes, tight);

    const std::vector<uint8_t> original = img.bytes();
    const uint8_t* roiCopy = original.data() + (roi - img.lo());
    zt::Shadow shadow({&img, &out});
    std::vector<double> bound;
    const bool isFloat = std::is_floating_point_v<T>;
    model<T, Out>(g, n, roiCopy, srcStep, value, shadow(dst), dstStep, sum, isFloat ? &bound : nullptr);

    const T* bv = g.b.kind == 6 ? value : (rng.chance(0.5) ? value : nullptr);
    ZelStatus st = zt::invoke(n.fn, (const T*)roi, (int)srcStep, (Out*)dst, (int)dstStep, ZeliSize{g.w, g.h}, mask,
                              (ZeliBorderType)g.border, bv, buf.origin());
    ASSERT_EQ(st, zelStsNoErr);
    std::string what = "w " + std::to_string(g.w) + " h " + std::to_string(g.h) + " mask " + std::to_string(g.kw) + "x" +
                       std::to_string(g.kh) + " border " + std::to_string(g.border) + (inPlace ? " in place" : "");
    if (isFloat) {  // within the bound, then exact everywhere else
        size_t k = 0;
        for (int y = 0; y < g.h; ++y)
            for (int x = 0; x < g.w; ++x)
                for (int c = 0; c < n.used; ++c, ++k) {
                    const int64_t off = y * dstStep + ((int64_t)x * n.channels + c) * (int64_t)sizeof(Out);
                    float got, want;
                    memcpy(&got, dst + off, 4), memcpy(&want, shadow(dst) + off, 4);
                    ASSERT_LE(fabs((double)got - want), bound[k]) << what << " at " << x << "," << y << "," << c;
                    memcpy(shadow(dst) + off, &got, 4);
                }
    }
    ASSERT_TRUE(shadow.matches()) << what;
}

class BoxMember : public ::testing::TestWithParam<zt::Name> {};

TEST_P(BoxMember, MatchesTheModel) {
    const zt::Name& n = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(n.name.c_str());
    zt::forTrials(60, [&](zt::Rng& rng, zt::Tight tight, int t) {
        zt::withType(n.type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            if (n.op == "FilterBoxBorder") trial<T, T>(n, rng, tight, t % 4 == 3);
            else if constexpr (sizeof(T) == 1) trial<T, int32_t>(n, rng, tight, false);
            else trial<T, float>(n, rng, tight, std::is_same_v<T, float> && t % 4 == 3);
        });
    });
}

std::vector<zt::Name> allMembers() {
    auto a = members("FilterBoxBorder"), b = members("SumWindow");
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
INSTANTIATE_TEST_SUITE_P(Box, BoxMember, ::testing::ValuesIn(allMembers()), zt::paramName);

// ---- argument checks ---------------------------------------------------------------------

struct BoxArgs {
    const Zel8u* src;
    int srcStep;
    void* dst;
    int dstStep;
    ZeliSize roi, mask;
    unsigned border;
    const Zel8u* value;
    Zel8u* buf;
};

void checkOrder(void* fn, int outBytes) {
    zt::Region src(8, 4, 8), dst(8 * outBytes, 4, 8 * outBytes), buf(1 << 16, 1, 1 << 16);
    const Zel8u value = 7;
    BoxArgs valid{src.origin(), 8, dst.origin(), 8 * outBytes, {8, 4}, {3, 3}, zelBorderConst, &value, buf.origin()};
    zt::CheckOrder<BoxArgs> co(valid, [fn](const BoxArgs& a) {
        return zt::invoke(fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, (ZeliBorderType)a.border, a.value, a.buf);
    }, {&dst});
    co.row("pSrc null", [](BoxArgs& a) { a.src = nullptr; }, zelStsNullPtrErr)
        .row("pDst null", [](BoxArgs& a) { a.dst = nullptr; }, zelStsNullPtrErr)
        .row("pBuffer null", [](BoxArgs& a) { a.buf = nullptr; }, zelStsNullPtrErr)
        .row("srcStep 0", [](BoxArgs& a) { a.srcStep = 0; }, zelStsStepErr)
        .row("dstStep -8", [](BoxArgs& a) { a.dstStep = -8; }, zelStsStepErr)
        .row("width 0", [](BoxArgs& a) { a.roi.width = 0; }, zelStsSizeErr)
        .row("height -1", [](BoxArgs& a) { a.roi.height = -1; }, zelStsSizeErr)
        .row("mask width 0", [](BoxArgs& a) { a.mask.width = 0; }, zelStsMaskSizeErr)
        .row("mask height 0", [](BoxArgs& a) { a.mask.height = 0; }, zelStsMaskSizeErr)
        .row("border 2", [](BoxArgs& a) { a.border = 2; }, zelStsBorderErr)
        .row("border 256 + 6", [](BoxArgs& a) { a.border = 262; }, zelStsBorderErr)
        .row("value null", [](BoxArgs& a) { a.value = nullptr; }, zelStsNullPtrErr);
    co.run();
}

TEST(FilterBoxBorder, CheckOrder) { checkOrder((void*)zeliFilterBoxBorder_8u_C1R, 1); }
TEST(SumWindow, CheckOrder) { checkOrder((void*)zeliSumWindow_8u32s_C1R, 4); }

TEST(FilterBoxBorder, BufferQueries) {
    for (auto query : {zeliFilterBoxBorderGetBufferSize, zeliSumWindowGetBufferSize}) {
        int n = -1;
        EXPECT_EQ(query({8, 8}, {3, 3}, zel8u, 1, nullptr), zelStsNullPtrErr);
        EXPECT_EQ(query({0, 8}, {0, 3}, zel64f, 2, &n), zelStsSizeErr);
        EXPECT_EQ(query({8, 8}, {3, 0}, zel64f, 2, &n), zelStsMaskSizeErr);
        EXPECT_EQ(query({8, 8}, {3, 3}, zel64f, 2, &n), zelStsDataTypeErr);
        EXPECT_EQ(query({8, 8}, {3, 3}, zel16s, 2, &n), zelStsNumChannelsErr);
        EXPECT_EQ(n, -1);
        EXPECT_EQ(query({100000, 60000}, {5, 60000}, zel32f, 4, &n), zelStsBufferSizeErr);
        EXPECT_EQ(n, 0);
    }
}

// ---- one-dimensional sums and the older 64f form -------------------------------------------

class SumWindow1D : public ::testing::TestWithParam<zt::Name> {};

TEST_P(SumWindow1D, ExactSumsRoundedOnce) {
    const zt::Name& n = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(n.name.c_str());
    const bool rows = n.op == "SumWindowRow";
    zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int t) {
        zt::withType(n.type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            const int P = n.channels * (int)sizeof(T);
            const bool huge = t == 7 && sizeof(T) == 2;  // sums beyond 32 bits
            const int w = (int)rng.range(1, huge ? 4 : 150), h = (int)rng.range(1, huge ? 3 : 12);
            const int mask = huge ? 33000 : (int)rng.range(1, rng.chance(0.2) ? 300 : 12);
            const int anchor = (int)rng.range(0, mask - 1);
            const int cols = rows ? w + mask - 1 : w, lines = rows ? h : h + mask - 1;
            zt::StepPolicy sp;
            sp.unit = sizeof(T);
            zt::Region src((int64_t)cols * P, lines, zt::randomStep(rng, (int64_t)cols * P, sp), tight);
            src.randomize(rng);
            sp.unit = 4;
            zt::Region dst((int64_t)w * n.channels * 4, h, zt::randomStep(rng, (int64_t)w * n.channels * 4, sp), tight);
            dst.randomize(rng);
            const T* roi = (const T*)(rows ? src.origin() + (int64_t)anchor * P : src.row(anchor));
            zt::Shadow shadow({&dst});
            for (int y = 0; y < h; ++y)
                for (int64_t i = 0; i < (int64_t)w * n.channels; ++i) {
                    int64_t s = 0;
                    for (int j = 0; j < mask; ++j)
                        s += rows ? ((const T*)src.row(y))[i + (int64_t)j * n.channels]
                                  : ((const T*)src.row(y + j))[i];
                    float f = (float)s;
                    memcpy(shadow(dst.row(y)) + 4 * i, &f, 4);
                }
            ASSERT_EQ(zt::invoke(n.fn, roi, (int)src.step(), (Zel32f*)dst.origin(), (int)dst.step(), ZeliSize{w, h}, mask,
                                 anchor),
                      zelStsNoErr);
            ASSERT_TRUE(shadow.matches()) << "w " << w << " h " << h << " mask " << mask << " anchor " << anchor;
        });
    });
}
INSTANTIATE_TEST_SUITE_P(Sums, SumWindow1D, ::testing::ValuesIn(zt::namesOf({"SumWindowRow, SumWindowColumn"})),
                         zt::paramName);

struct Args1D {
    const Zel8u* src;
    Zel32f* dst;
    ZeliSize roi;
    int mask, anchor, step;
};

TEST(SumWindow1D, CheckOrder) {
    for (auto fn : {zeliSumWindowRow_8u32f_C1R, zeliSumWindowColumn_8u32f_C1R}) {
        zt::Region src(16, 8, 16), dst(32, 4, 32);
        Args1D valid{src.row(2) + 2, (Zel32f*)dst.origin(), {8, 4}, 5, 2, 16};
        zt::CheckOrder<Args1D> co(valid, [fn](const Args1D& a) {
            return fn(a.src, a.step, a.dst, a.step * 2, a.roi, a.mask, a.anchor);
        }, {&dst});
        co.row("pSrc null", [](Args1D& a) { a.src = nullptr; }, zelStsNullPtrErr)
            .row("pDst null", [](Args1D& a) { a.dst = nullptr; }, zelStsNullPtrErr)
            .row("mask 0", [](Args1D& a) { a.mask = 0; }, zelStsMaskSizeErr)
            .row("anchor = mask", [](Args1D& a) { a.anchor = 5; }, zelStsAnchorErr)
            .ignored("steps 0", [](Args1D& a) { a.step = 0; });
        co.run();
        {
            zt::Shadow before({&dst});
            EXPECT_EQ(fn(valid.src, 16, valid.dst, 32, {8, 0}, 5, 2), zelStsNoErr);
            EXPECT_TRUE(before.matches());
        }
    }
}

TEST(FilterBox64f, MeanOfTheAnchoredNeighbourhood) {
    zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int) {
        const int w = (int)rng.range(1, 120), h = (int)rng.range(1, 12);
        const int kw = (int)rng.range(1, 20), kh = (int)rng.range(1, 20);
        const ZeliPoint anchor{(int)rng.range(0, kw - 1), (int)rng.range(0, kh - 1)};
        zt::Region src((int64_t)(w + kw - 1) * 8, h + kh - 1, (w + kw - 1 + rng.range(0, 3)) * 8, tight);
        for (int64_t i = 0; i < src.extent() / 8; ++i) ((double*)src.lo())[i] = (double)rng.range(-1000000, 1000000) / 64;
        zt::Region dst((int64_t)w * 8, h, (w + rng.range(0, 3)) * 8, tight);
        const double* roi = (const double*)src.row(anchor.y) + anchor.x;
        ASSERT_EQ(zeliFilterBox_64f_C1R(roi, (int)src.step(), (Zel64f*)dst.origin(), (int)dst.step(), {w, h}, {kw, kh}, anchor),
                  zelStsNoErr);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                long double s = 0, mag = 0;
                for (int i = 0; i < kh; ++i)
                    for (int j = 0; j < kw; ++j) {
                        double v = ((const double*)src.row(y + i))[x + j];
                        s += v, mag += fabsl(v);
                    }
                ASSERT_NEAR(((const double*)dst.row(y))[x], (double)(s / (kw * kh)), (double)(mag / (kw * kh)) * 1e-13)
                    << x << "," << y;
            }
    });
    zt::Region buf(64, 1, 64);
    const Zel64f* p = (const Zel64f*)buf.origin();
    EXPECT_EQ(zeliFilterBox_64f_C1R(nullptr, 64, (Zel64f*)p, 64, {2, 2}, {2, 2}, {0, 0}), zelStsNullPtrErr);
    EXPECT_EQ(zeliFilterBox_64f_C1R(p, 64, (Zel64f*)p, 64, {2, 2}, {0, 2}, {0, 0}), zelStsSizeErr);
    EXPECT_EQ(zeliFilterBox_64f_C1R(p, 16, (Zel64f*)p, 64, {2, 2}, {2, 2}, {0, 0}), zelStsStepErr);
    EXPECT_EQ(zeliFilterBox_64f_C1R(p, 24, (Zel64f*)p, 8, {2, 2}, {2, 2}, {0, 0}), zelStsStepErr);
}

}  // namespace
