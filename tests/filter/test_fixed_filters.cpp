// The fixed-kernel filters against the model of their rules (fixed_model.h): every member of the
// derivative, Laplace, sharpening and Roberts families on random geometry, border kinds and
// in-memory flags, bands wider than one stack band, buffers of exactly the queried size; plus
// the families' check orders and buffer sizes.
#include "fixed_model.h"

namespace {

using fm::Source;
using fm::Taps;

struct Kernel {
    Taps row, col;
};

// The kernels as the notes of the export list write them.
Kernel derivativeKernel(const std::string& op, int side) {
    const Taps s3{1, 2, 1}, s5{1, 4, 6, 4, 1}, d3{-1, 0, 1}, d5{-1, -2, 0, 2, 1}, n3{1, 0, -1}, n5{1, 2, 0, -2, -1};
    const bool five = side == 5;
    if (op == "FilterSobelVertBorder") return {five ? n5 : n3, five ? s5 : s3};
    if (op == "FilterSobelNegVertBorder") return {five ? d5 : d3, five ? s5 : s3};
    if (op == "FilterSobelHorizBorder") return {five ? s5 : s3, five ? d5 : d3};
    if (op == "FilterSobelHorizSecondBorder") return {five ? s5 : s3, five ? Taps{1, 0, -2, 0, 1} : Taps{1, -2, 1}};
    if (op == "FilterSobelVertSecondBorder") return {five ? Taps{1, 0, -2, 0, 1} : Taps{1, -2, 1}, five ? s5 : s3};
    if (op == "FilterScharrHorizMaskBorder") return {{3, 10, 3}, d3};
    if (op == "FilterScharrVertMaskBorder") return {n3, {3, 10, 3}};
    if (op == "FilterPrewittHorizBorder") return {{1, 1, 1}, d3};
    return {n3, {1, 1, 1}};  // FilterPrewittVertBorder
}

bool only3x3(const std::string& op) { return op.find("Scharr") != op.npos || op.find("Prewitt") != op.npos || op.find("Roberts") != op.npos; }

const char* kDerivatives =
    "FilterSobelHorizBorder, FilterSobelVertBorder, FilterSobelNegVertBorder, FilterSobelHorizSecondBorder, "
    "FilterSobelVertSecondBorder";
const char* kScharrPrewitt = "FilterScharrHorizMaskBorder, FilterScharrVertMaskBorder, FilterPrewittHorizBorder, FilterPrewittVertBorder";
const char* kRoberts = "FilterRobertsUpBorder, FilterRobertsDownBorder";
const char* kLaplace = "FilterLaplaceBorder";
const char* kSharpen = "FilterSharpenBorder, FilterHipassBorder";

std::vector<zt::Name> members(std::initializer_list<std::string> families) {
    std::vector<zt::Name> out;
    for (auto& n : zt::namesOf(families))
        if (n.roi) out.push_back(n);
    return out;
}

// The buffer size the member's family reports.
int queriedSize(const zt::Name& n, ZeliSize roi, int mask) {
    const fm::Types t = fm::typesOf(n);
    auto code = [](const std::string& s) { return s == "8u" ? zel8u : s == "16u" ? zel16u : s == "16s" ? zel16s : zel32f; };
    void* q = dlsym(RTLD_DEFAULT, ("zeli" + n.op + "GetBufferSize").c_str());
    int size = -1;
    ZelStatus st = n.op == "FilterSharpenBorder" || n.op == "FilterHipassBorder"
                       ? zt::invoke(q, roi, mask, code(t.src), n.channels, &size)
                       : zt::invoke(q, roi, mask, code(t.src), code(t.dst), n.channels, &size);
    EXPECT_EQ(st, zelStsNoErr) << n.name;
    return size;
}

// One trial of a one-output member: the expected sample of destination (x, y, ch) from the
// model, written into the shadow of the destination; everything else must stay as it was.
template <typename S, typename D, class Expect>
void trial(const zt::Name& n, zt::Rng& rng, zt::Tight tight, int side, std::vector<unsigned> kinds, Expect&& expect) {
    const int C = n.channels, r = side / 2;
    const int W = (int)(rng.chance(0.1) ? rng.range(1000, 1400) : rng.range(1, rng.chance(0.3) ? 5 : 80));
    const int H = (int)rng.range(1, W > 500 ? 4 : 12);
    Source s(rng, tight, W, H, C, sizeof(S), r, fm::randomBorder(rng, kinds));
    fm::fillSamples<S>(rng, s.img);
    const int64_t dRow = (int64_t)W * C * sizeof(D);
    zt::Region dst(dRow, H, dRow + sizeof(D) * rng.range(0, 3), tight, 0, sizeof(D));
    dst.randomize(rng);
    const ZeliSize roi{W, H};
    const int mask = side == 3 ? zelMskSize3x3 : zelMskSize5x5;
    const int bytes = queriedSize(n, roi, mask);
    zt::Region buf(bytes, 1, bytes, tight);
    zt::Shadow shadow({&s.img, &dst});
    const void* value = s.value;
    ZelStatus st = C == 1 ? zt::invoke(n.fn, (const S*)s.roi, (int)s.step, (D*)dst.origin(), (int)dst.step(), roi, mask,
                                       s.border, *(const S*)value, buf.origin())
                          : zt::invoke(n.fn, (const S*)s.roi, (int)s.step, (D*)dst.origin(), (int)dst.step(), roi, mask,
                                       s.border, (const S*)value, buf.origin());
    ASSERT_EQ(st, zelStsNoErr) << n.name;
    for (int y = 0; y < H; ++y) {
        D* o = (D*)shadow(dst.row(y));
        for (int x = 0; x < W; ++x)
            for (int ch = 0; ch < n.used; ++ch) o[x * C + ch] = expect(s, x, y, ch);
    }
    ASSERT_TRUE(shadow.matches()) << n.name << " " << W << "x" << H << " border " << s.border << " mask " << mask;
}

class Members : public ::testing::TestWithParam<zt::Name> {};

TEST_P(Members, MatchTheModel) {
    const zt::Name n = GetParam();
    const std::string op = n.op;
    fm::withPair(fm::typesOf(n), [&](auto st, auto dt) {
        using S = typename decltype(st)::type;
        using D = typename decltype(dt)::type;
        zt::forTrials(60, [&](zt::Rng& rng, zt::Tight tight, int) {
            const int side = only3x3(op) || rng.chance(0.5) ? 3 : 5;
            const int area = side * side;
            if (op == "FilterRobertsUpBorder" || op == "FilterRobertsDownBorder") {
                const bool up = op == "FilterRobertsUpBorder";
                trial<S, D>(n, rng, tight, 3, {1, 3, 6}, [&](const Source& s, int x, int y, int ch) -> D {
                    using V = std::conditional_t<std::is_same<S, Zel32f>::value, float, int64_t>;
                    const V a = (V)s.px<S>(x, y + up, ch), b = (V)s.px<S>(x + 1, y + !up, ch);
                    if constexpr (std::is_same<D, Zel32f>::value) return a - b;
                    else return fm::saturate<D>(up ? a - b : a - b);
                });
            } else if (op == "FilterLaplaceBorder" || op == "FilterSharpenBorder" || op == "FilterHipassBorder") {
                const Taps box = side == 3 ? Taps{1, 1, 1} : Taps{1, 1, 1, 1, 1};
                const std::vector<unsigned> kinds = op == "FilterLaplaceBorder" ? std::vector<unsigned>{1, 6}
                                                                                  : std::vector<unsigned>{1, 3, 6};
                trial<S, D>(n, rng, tight, side, kinds, [&](const Source& s, int x, int y, int ch) -> D {
                    const auto sum = fm::separable<S>(s, box, box, x, y, ch);
                    const S p = s.px<S>(x, y, ch);
                    if constexpr (std::is_same<D, Zel32f>::value) {
                        if (op == "FilterLaplaceBorder") return fmaf((float)area, p, -sum);
                        if (op == "FilterSharpenBorder") return fmaf(-1.0f / (float)(area - 1), sum - p, 2.0f * p);
                        return fmaf(-1.0f / (float)area, sum, p);
                    } else {
                        auto round = [](int64_t num, int64_t den) {
                            const int64_t q = (2 * (num < 0 ? -num : num) + den) / (2 * den);
                            return num < 0 ? -q : q;
                        };
                        if (op == "FilterLaplaceBorder") return fm::saturate<D>(area * (int64_t)p - sum);
                        if (op == "FilterSharpenBorder") return fm::saturate<D>(round((2 * area - 1) * (int64_t)p - sum, area - 1));
                        return fm::saturate<D>(round(area * (int64_t)p - sum, area));
                    }
                });
            } else {
                const Kernel k = derivativeKernel(op, side);
                trial<S, D>(n, rng, tight, side, {1, 3, 6}, [&](const Source& s, int x, int y, int ch) -> D {
                    if constexpr (std::is_same<D, Zel32f>::value) return fm::separable<S>(s, k.row, k.col, x, y, ch);
                    else return fm::saturate<D>(fm::separable<S>(s, k.row, k.col, x, y, ch));
                });
            }
        });
    });
}

// The size rule of the derivative queries: the width rounded up to 16, times 3 or 5 rows, times
// 4 bytes, plus 32; from 8u to 16s a fixed 32. Every derivative family's query is the same.
TEST(FixedFilterQueries, SizeRule) {
    int size = 0;
    ASSERT_EQ(zeliFilterSobelVertBorderGetBufferSize({17, 2}, zelMskSize3x3, zel32f, zel32f, 1, &size), zelStsNoErr);
    EXPECT_EQ(size, 32 * 3 * 4 + 32);
    ASSERT_EQ(zeliFilterSobelHorizBorderGetBufferSize({16, 1}, zelMskSize5x5, zel16s, zel16s, 1, &size), zelStsNoErr);
    EXPECT_EQ(size, 16 * 5 * 4 + 32);
    ASSERT_EQ(zeliFilterRobertsUpBorderGetBufferSize({1, 1}, zelMskSize3x3, zel32f, zel32f, 1, &size), zelStsNoErr);
    EXPECT_EQ(size, 16 * 3 * 4 + 32);
    ASSERT_EQ(zeliFilterSobelNegVertBorderGetBufferSize({1920, 1080}, zelMskSize5x5, zel8u, zel16s, 1, &size), zelStsNoErr);
    EXPECT_EQ(size, 32);
    EXPECT_EQ(zeliFilterSobelVertBorderGetBufferSize({1 << 30, 1}, zelMskSize5x5, zel32f, zel32f, 1, &size), zelStsBufferSizeErr);
    EXPECT_EQ(size, 0);
}

INSTANTIATE_TEST_SUITE_P(Derivatives, Members, ::testing::ValuesIn(members({kDerivatives, kScharrPrewitt, kRoberts})), zt::paramName);
INSTANTIATE_TEST_SUITE_P(Centre, Members, ::testing::ValuesIn(members({kLaplace, kSharpen})), zt::paramName);

}  // namespace

namespace {

// Images of a check-order table: a W x H source and destination of element type T.
template <typename S, typename D = S>
struct Pair {
    static constexpr int W = 20, H = 4;
    zt::Region src{W * (int64_t)sizeof(S) * 4, H, W * (int64_t)sizeof(S) * 4}, dst{W * (int64_t)sizeof(D) * 4, H, W * (int64_t)sizeof(D) * 4};
    std::vector<Zel8u> buf = std::vector<Zel8u>(4096);
    Pair() {
        zt::Rng rng(7);
        src.randomize(rng), dst.randomize(rng);
    }
};

template <typename S, typename D, typename V>
struct Args {
    const S* src;
    int srcStep;
    D* dst;
    int dstStep;
    ZeliSize roi;
    int mask;
    unsigned border;
    V value;
    Zel8u* buf;
};

// The frame's rows, in order, for a member whose steps must be multiples of bs (source) and
// bd (destination) bytes.
template <class A>
void frameRows(zt::CheckOrder<A>& co, int bs, int bd, int badMask = 44) {
    co.row("pSrc null", [](A& a) { a.src = nullptr; }, zelStsNullPtrErr)
        .row("pDst null", [](A& a) { a.dst = nullptr; }, zelStsNullPtrErr)
        .row("pBuffer null", [](A& a) { a.buf = nullptr; }, zelStsNullPtrErr)
        .row("width 0", [](A& a) { a.roi.width = 0; }, zelStsSizeErr)
        .row("height -1", [](A& a) { a.roi.height = -1; }, zelStsSizeErr);
    if (bs > 1) co.row("srcStep not whole samples", [bs](A& a) { a.srcStep += bs / 2; }, zelStsNotEvenStepErr);
    if (bd > 1) co.row("dstStep not whole samples", [bd](A& a) { a.dstStep += bd / 2; }, zelStsNotEvenStepErr);
    co.row("mask", [badMask](A& a) { a.mask = badMask; }, zelStsMaskSizeErr).row("border 256", [](A& a) { a.border = 256; }, zelStsBorderErr);
}

TEST(FixedFilterChecks, Sobel32f) {
    Pair<Zel32f> im;
    using A = Args<Zel32f, Zel32f, Zel32f>;
    A valid{(const Zel32f*)im.src.origin(), (int)im.src.step(), (Zel32f*)im.dst.origin(), (int)im.dst.step(), {20, 4},
            zelMskSize5x5, zelBorderMirror, 0, im.buf.data()};
    zt::CheckOrder<A> co(valid, [](const A& a) {
        return zeliFilterSobelVertBorder_32f_C1R(a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, a.border, a.value, a.buf);
    }, {&im.src, &im.dst});
    frameRows(co, 4, 4);
    co.row("border kind 2", [](A& a) { a.border = 2; }, zelStsBorderErr).run();
}

TEST(FixedFilterChecks, Integer) {
    Pair<Zel8u, Zel16s> im;
    using A = Args<Zel8u, Zel16s, Zel8u>;
    A valid{im.src.origin(), (int)im.src.step(), (Zel16s*)im.dst.origin(), (int)im.dst.step(), {20, 4}, zelMskSize3x3,
            zelBorderConst | zelBorderInMemTop, 9, im.buf.data()};
    zt::CheckOrder<A> co(valid, [](const A& a) {
        return zeliFilterScharrVertMaskBorder_8u16s_C1R(a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, a.border, a.value, a.buf);
    }, {&im.src, &im.dst});
    frameRows(co, 1, 2, zelMskSize5x5);  // 3x3 only
    co.run();
}

// Laplace refuses mirror; a multi-channel member then wants its constant when it is used.
TEST(FixedFilterChecks, Laplace) {
    Pair<Zel32f> im;
    const Zel32f value[3] = {1, 2, 3};
    using A = Args<Zel32f, Zel32f, const Zel32f*>;
    A valid{(const Zel32f*)im.src.origin(), (int)im.src.step(), (Zel32f*)im.dst.origin(), (int)im.dst.step(), {5, 4},
            zelMskSize3x3, zelBorderConst, value, im.buf.data()};
    zt::CheckOrder<A> co(valid, [](const A& a) {
        return zeliFilterLaplaceBorder_32f_AC4R(a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, a.border, a.value, a.buf);
    }, {&im.src, &im.dst});
    frameRows(co, 4, 4);
    co.row("mirror", [](A& a) { a.border = zelBorderMirror | zelBorderInMemLeft; }, zelStsBorderErr)
        .row("constant null", [](A& a) { a.value = nullptr; }, zelStsNullPtrErr)
        .run();
    A inMem = valid;
    inMem.value = nullptr, inMem.border = zelBorderInMem;  // nothing synthesised: no constant needed
    inMem.src = (const Zel32f*)(im.src.row(1) + 16), inMem.roi = {3, 2};
    EXPECT_EQ(zeliFilterLaplaceBorder_32f_AC4R(inMem.src, inMem.srcStep, inMem.dst, inMem.dstStep, inMem.roi, inMem.mask,
                                               inMem.border, inMem.value, inMem.buf),
              zelStsNoErr);
}

TEST(FixedFilterChecks, Queries) {
    struct Q {
        ZeliSize roi;
        int mask, src, dst, channels;
        int* size;
    };
    int size = 0;
    zt::CheckOrder<Q> co({{8, 8}, zelMskSize3x3, zel16s, zel16s, 1, &size}, [](const Q& q) {
        return zeliFilterSobelHorizSecondBorderGetBufferSize(q.roi, q.mask, q.src, q.dst, q.channels, q.size);
    }, {});
    co.row("pBufferSize null", [](Q& q) { q.size = nullptr; }, zelStsNullPtrErr)
        .row("height 0", [](Q& q) { q.roi.height = 0; }, zelStsSizeErr)
        .row("mask 35", [](Q& q) { q.mask = 35; }, zelStsMaskSizeErr)
        .row("32f to 16s", [](Q& q) { q.src = zel32f; }, zelStsDataTypeErr)
        .row("3 channels", [](Q& q) { q.channels = 3; }, zelStsNumChannelsErr)
        .run();
    EXPECT_EQ(zeliFilterPrewittVertBorderGetBufferSize({8, 8}, zelMskSize3x3, zel8u, zel16s, 3, &size), zelStsNumChannelsErr);
    EXPECT_EQ(zeliFilterScharrHorizMaskBorderGetBufferSize({8, 8}, zelMskSize5x5, zel32f, zel32f, 1, &size), zelStsMaskSizeErr);
    EXPECT_EQ(zeliFilterLaplaceBorderGetBufferSize({8, 8}, zelMskSize3x3, zel16s, zel16s, 3, &size), zelStsNumChannelsErr);
    EXPECT_EQ(zeliFilterLaplaceBorderGetBufferSize({8, 8}, zelMskSize5x5, zel32f, zel32f, 4, &size), zelStsNoErr);
    EXPECT_EQ(size, 32 * 5 * 4 + 32);
    EXPECT_EQ(zeliFilterSharpenBorderGetBufferSize({8, 8}, zelMskSize3x3, zel8u, 3, &size), zelStsNoErr);
    EXPECT_EQ(size, 32);
    EXPECT_EQ(zeliFilterHipassBorderGetBufferSize({8, 8}, zelMskSize3x3, zel64f, 1, &size), zelStsDataTypeErr);
}

// The 8u Laplace clamps: a bright pixel on black gives 255 at it and 0 around it.
TEST(FixedFilterEdges, LaplaceOfOneBrightPixel) {
    Zel8u src[5 * 5] = {}, dst[5 * 5], buf[32];
    src[12] = 200;
    ASSERT_EQ(zeliFilterLaplaceBorder_8u_C1R(src, 5, dst, 5, {5, 5}, zelMskSize3x3, zelBorderRepl, 0, buf), zelStsNoErr);
    for (int i = 0; i < 25; ++i) EXPECT_EQ(dst[i], i == 12 ? 255 : 0) << i;
}

// A ramp rising to the right: Vert is negative, NegVert the same magnitude positive, Horiz 0.
TEST(FixedFilterEdges, RampSigns) {
    std::vector<Zel32f> src(40 * 6), v(src.size()), n(src.size()), h(src.size());
    for (size_t i = 0; i < src.size(); ++i) src[i] = (float)(i % 40);
    std::vector<Zel8u> buf(4096);
    for (unsigned border : {zelBorderRepl, zelBorderMirror, zelBorderConst}) {
        ASSERT_EQ(zeliFilterSobelVertBorder_32f_C1R(src.data(), 160, v.data(), 160, {40, 6}, zelMskSize3x3, border, 0, buf.data()), 0);
        ASSERT_EQ(zeliFilterSobelNegVertBorder_32f_C1R(src.data(), 160, n.data(), 160, {40, 6}, zelMskSize3x3, border, 0, buf.data()), 0);
        ASSERT_EQ(zeliFilterSobelHorizBorder_32f_C1R(src.data(), 160, h.data(), 160, {40, 6}, zelMskSize3x3, border, 0, buf.data()), 0);
        for (int y = border == zelBorderConst; y < 6 - (border == zelBorderConst); ++y)
            for (int x = 1; x < 39; ++x) {
                EXPECT_EQ(v[y * 40 + x], -8.0f);
                EXPECT_EQ(n[y * 40 + x], 8.0f);
                if (border != zelBorderConst) {
                    EXPECT_EQ(h[y * 40 + x], 0.0f);
                }
            }
    }
}

}  // namespace
