// Mirror and Transpose: every member against a scalar model of the flip on random geometry in
// guarded memory (odd, zero and negative steps where the family takes them; in place and out
// of place), and the argument-check orders.
#include "zel_test_kit.h"

namespace {

struct Member : zt::Name {
    bool transpose = false;
    bool alpha() const { return layout == "AC4"; }
    int pixel() const { return sampleBytes * channels; }
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

std::vector<Member> members() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"Mirror", "Transpose"})) {
        Member m;
        static_cast<zt::Name&>(m) = n;
        m.transpose = n.op == "Transpose";
        v.push_back(m);
    }
    return v;
}

ZelStatus call(const Member& m, const void* src, int srcStep, void* dst, int dstStep, ZeliSize roi, int flip) {
    if (m.transpose) return m.inPlace ? zt::invoke(m.fn, dst, dstStep, roi) : zt::invoke(m.fn, src, srcStep, dst, dstStep, roi);
    return m.inPlace ? zt::invoke(m.fn, dst, dstStep, roi, flip) : zt::invoke(m.fn, src, srcStep, dst, dstStep, roi, flip);
}

// Source pixel (sx, sy) that lands on destination pixel (x, y) under a flip of a w x h source.
void inverse(int flip, int64_t w, int64_t h, int64_t x, int64_t y, int64_t& sx, int64_t& sy) {
    switch (flip) {
        case 0: sx = x, sy = h - 1 - y; break;
        case 1: sx = w - 1 - x, sy = y; break;
        case 2: sx = w - 1 - x, sy = h - 1 - y; break;
        case 3: sx = y, sy = x; break;
        default: sx = w - 1 - y, sy = h - 1 - x; break;
    }
}

// One call: builds guarded images, runs the library and checks every byte against the model
// (applied to a snapshot, reading the source from a second, untouched snapshot).
void trial(const Member& m, zt::Rng& rng, zt::Tight tight, int flip, bool samePointer) {
    const int P = m.pixel(), S = m.sampleBytes;
    const bool diag = flip >= 3, swapsSize = diag;
    int64_t w, h;
    auto side = [&] { return rng.chance(0.15) ? rng.range(250, 300) : rng.range(1, 90); };  // past one 256 block
    if (diag || m.transpose) w = side(), h = side();
    else w = zt::randomWidth(rng, P), h = zt::randomHeight(rng, w * P);
    if (m.inPlace && diag) h = w;
    zt::StepPolicy pol;
    if (!diag) pol.negative = 0.15, pol.zero = h == 1 ? 0.3 : 0.0;  // steps unchecked: any sign
    int64_t ss = zt::randomStep(rng, w * P, pol);
    int64_t dw = swapsSize ? h : w, dh = swapsSize ? w : h;
    int64_t ds = zt::randomStep(rng, dw * P, pol);
    if (ss == 0 && h > 1) ss = w * P;
    if (ds == 0 && dh > 1) ds = dw * P;
    zt::Region src(w * P, h, ss, tight, rng.range(0, 63), S);
    zt::Region dst(dw * P, dh, m.inPlace || samePointer ? ss : ds, tight, rng.range(0, 63), S);
    src.randomize(rng);
    dst.randomize(rng);
    zt::Region& in = (m.inPlace || samePointer) ? dst : src;
    if (samePointer) ds = ss;
    const int64_t rs = ss / S * S, rd = (m.inPlace || samePointer ? ss : ds) / S * S;
    zt::Shadow orig({&src, &dst}), expect({&src, &dst});
    const int write = m.alpha() ? 3 * S : P;
    for (int64_t y = 0; y < dh; ++y)
        for (int64_t x = 0; x < dw; ++x) {
            int64_t sx, sy;
            if (m.transpose) sx = y, sy = x;
            else inverse(flip, w, h, x, y, sx, sy);
            memcpy(expect(dst.origin()) + y * rd + x * P, orig(in.origin()) + sy * rs + sx * P, write);
        }
    const ZelStatus st = call(m, in.origin(), (int)ss, dst.origin(), (int)(m.inPlace ? ss : ds), {(int)w, (int)h}, flip);
    SCOPED_TRACE(::testing::Message() << m.name << " flip " << flip << " " << w << "x" << h << " steps " << ss
                                      << "," << ds);
    ASSERT_EQ(st, zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

// Transpose is the flip about the main diagonal (3) alone.
class Flip : public ::testing::TestWithParam<Member> {};
int firstFlip(const Member& m) { return m.transpose ? 3 : 0; }
int lastFlip(const Member& m) { return m.transpose ? 3 : 4; }

TEST_P(Flip, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(m.transpose ? 10 : 6, [&](zt::Rng& rng, zt::Tight tight, int t) {
        for (int flip = firstFlip(m); flip <= lastFlip(m); ++flip) trial(m, rng, tight, flip, false);
        // The same pointer and step hands an axis flip over to the in-place form.
        if (!m.inPlace && !m.transpose) trial(m, rng, tight, t % 3, true);
    });
}

struct CallArgs {
    const void* src;
    int srcStep;
    void* dst;
    int dstStep;
    ZeliSize roi;
    int flip;
};

// Check order of a member on a small valid call; dst of 8 x 8 pixels, source 6 x 6 (or the
// destination itself in place).
void checkOrder(const Member& m, int flip) {
    const int P = m.pixel();
    zt::Region src(6 * P, 6, 6 * P + 3), dst(8 * P, 8, 8 * P + 5);
    zt::Rng rng = zt::Rng::forTest(flip);
    src.randomize(rng);
    dst.randomize(rng);
    CallArgs valid{src.origin(), (int)src.step(), dst.origin(), (int)dst.step(), {6, 6}, flip};
    auto callIt = [&m](const CallArgs& a) { return call(m, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.flip); };
    zt::CheckOrder<CallArgs> co{valid, callIt, {&src, &dst}};
    auto nullPtr = [](CallArgs& a) { a.src = nullptr, a.dst = nullptr; };
    co.row("null pointer", nullPtr, zelStsNullPtrErr);
    const bool diag = !m.transpose && flip >= 3;
    auto steps = [](CallArgs& a) { a.srcStep = 0, a.dstStep = -1; };
    if (diag && !m.inPlace) co.row("steps < 1", steps, zelStsStepErr);
    co.row("width 0", [](CallArgs& a) { a.roi.width = 0; }, zelStsSizeErr);
    co.row("height -1", [](CallArgs& a) { a.roi.height = -1; }, zelStsSizeErr);
    if (!m.transpose && !diag) co.row("flip 5", [](CallArgs& a) { a.flip = 5; }, zelStsMirrorFlipErr);
    if (!m.transpose && !diag) co.row("flip -1", [](CallArgs& a) { a.flip = -1; }, zelStsMirrorFlipErr);
    if (diag && m.inPlace) co.row("steps < 1", steps, zelStsStepErr);
    if (m.inPlace && (diag || m.transpose)) co.row("not square", [](CallArgs& a) { a.roi.width = 5; }, zelStsSizeErr);
    if (diag && !m.inPlace)
        co.row("overlap", [&](CallArgs& a) { a.src = dst.origin() + 2 * dst.step() - P; }, zelStsNotSupportedModeErr);
    if (!diag) co.ignored("steps 0 and -1", steps);
    co.run();
}

TEST_P(Flip, ChecksArgumentsInOrder) {
    ZT_SKIP_IF_PLACEHOLDER(GetParam().name.c_str());
    for (int flip = firstFlip(GetParam()); flip <= lastFlip(GetParam()); ++flip) {
        SCOPED_TRACE(::testing::Message() << "flip " << flip);
        checkOrder(GetParam(), flip);
    }
}

INSTANTIATE_TEST_SUITE_P(Convert, Flip, ::testing::ValuesIn(members()), zt::paramName);

TEST(MirrorEdges, DiagonalOverlapIsTestedBothWays) {
    ZT_SKIP_IF_PLACEHOLDER("zeliMirror_8u_C1R");
    zt::Region img(64, 64, 64);
    img.fill(7);
    Zel8u* p = img.origin();
    // 4 x 4 spans of 196 bytes: one shared byte either way is an overlap, adjacency is not.
    EXPECT_EQ(zeliMirror_8u_C1R(p + 195, 64, p, 64, {4, 4}, zelAxs45), zelStsNotSupportedModeErr);
    EXPECT_EQ(zeliMirror_8u_C1R(p, 64, p + 195, 64, {4, 4}, zelAxs135), zelStsNotSupportedModeErr);
    EXPECT_EQ(zeliMirror_8u_C1R(p, 64, p + 196, 64, {4, 4}, zelAxs45), zelStsNoErr);
    EXPECT_EQ(zeliMirror_8u_C1R(p + 196, 64, p, 64, {4, 4}, zelAxs135), zelStsNoErr);
}

TEST(TransposeEdges, SamePointerIsInPlaceAndNeedsASquare) {
    ZT_SKIP_IF_PLACEHOLDER("zeliTranspose_8u_C1R");
    Zel8u a[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(zeliTranspose_8u_C1IR(a, 4, {4, 3}), zelStsSizeErr);
    EXPECT_EQ(zeliTranspose_8u_C1R(a, 4, a, 3, {4, 3}), zelStsSizeErr);
    Zel8u b[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, t[9] = {1, 4, 7, 2, 5, 8, 3, 6, 9};
    EXPECT_EQ(zeliTranspose_8u_C1R(b, 3, b, 7, {3, 3}), zelStsNoErr);
    EXPECT_EQ(memcmp(b, t, 9), 0);
}

// A flip about the horizontal axis of an image larger than half the cache streams its rows.
TEST(MirrorEdges, LargeRowFlip) {
    ZT_SKIP_IF_PLACEHOLDER("zeliMirror_8u_C1R");
    const int w = 6000, h = 3000;
    zt::Region src(w, h, w + 64), dst(w, h, w + 64);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng);
    ASSERT_EQ(zeliMirror_8u_C1R(src.origin(), w + 64, dst.origin(), w + 64, {w, h}, zelAxsHorizontal), zelStsNoErr);
    for (int y = 0; y < h; ++y) ASSERT_EQ(memcmp(dst.row(y), src.row(h - 1 - y), w), 0) << "row " << y;
}

// A 32-bit destination of several MiB on aligned lines takes the streaming stores.
TEST(TransposeEdges, LargeAlignedDestination) {
    ZT_SKIP_IF_PLACEHOLDER("zeliTranspose_32f_C1R");
    const int w = 1100, h = 1000;
    zt::Region src(w * 4, h, w * 4 + 36, zt::Tight::End, 0, 64), dst(h * 4, w, h * 4 + 32, zt::Tight::End, 0, 64);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng);
    ASSERT_EQ(zeliTranspose_32f_C1R((const Zel32f*)src.origin(), (int)src.step(), (Zel32f*)dst.origin(),
                                    (int)dst.step(), {w, h}),
              zelStsNoErr);
    for (int x = 0; x < w; ++x)
        for (int y = 0; y < h; ++y)
            ASSERT_EQ(memcmp(dst.row(x) + 4 * y, src.row(y) + 4 * x, 4), 0) << x << "," << y;
}

}  // namespace
