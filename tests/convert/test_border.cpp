// The border copies (CopyConstBorder, CopyReplicateBorder, CopyMirrorBorder, CopyWrapBorder):
// every member against a scalar model of the border rule on random geometry in guarded
// memory, borders from 0 to three times the source size on every side, out of place, in place
// and through the same-pointer hand-over; the argument-check order of every member.
#include "zel_test_kit.h"

namespace {

enum Kind { Const, Replicate, Mirror, Wrap };

struct Member : zt::Name {
    Kind kind = Const;
    bool alpha() const { return layout == "AC4"; }
    int pixel() const { return sampleBytes * channels; }
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

std::vector<Member> members() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"CopyConstBorder, CopyReplicateBorder, CopyMirrorBorder, CopyWrapBorder"})) {
        Member m;
        static_cast<zt::Name&>(m) = n;
        m.kind = n.op == "CopyConstBorder"       ? Const
                 : n.op == "CopyReplicateBorder" ? Replicate
                 : n.op == "CopyMirrorBorder"    ? Mirror
                                                 : Wrap;
        v.push_back(m);
    }
    return v;
}

struct Args {
    const uint8_t* src;
    int64_t srcStep;
    uint8_t* dst;  // the extended region, or the first source pixel in place
    int64_t dstStep;
    int64_t sw, sh, dw, dh, top, left;
    const uint8_t* value;  // the constant's samples (null pointer where the member takes an array)
};

// Calls the member with the argument types of its form; a one-channel constant goes by value.
ZelStatus call(const Member& m, const Args& a) {
    return zt::withType(m.type, [&](auto tag) {
        typename decltype(tag)::type v;
        memcpy(&v, a.value ? a.value : (const uint8_t*)"\0\0\0\0", sizeof v);
        auto withValue = [&](auto... lead) -> ZelStatus {
            if (m.kind != Const) return zt::invoke(m.fn, lead...);
            return m.channels == 1 ? zt::invoke(m.fn, lead..., v) : zt::invoke(m.fn, lead..., (const void*)a.value);
        };
        const ZeliSize s{(int)a.sw, (int)a.sh}, d{(int)a.dw, (int)a.dh};
        const ZeliSizeL sl{a.sw, a.sh}, dl{a.dw, a.dh};
        const int ss = (int)a.srcStep, ds = (int)a.dstStep, t = (int)a.top, l = (int)a.left;
        if (m.inPlace && !m.longForm) return withValue(a.dst, ds, s, d, t, l);
        if (m.inPlace) return withValue(a.dst, a.dstStep, sl, dl, a.top, a.left);
        if (!m.longForm) return withValue(a.src, ss, s, a.dst, ds, d, t, l);
        return withValue(a.src, a.srcStep, sl, a.dst, a.dstStep, dl, a.top, a.left);
    });
}

// The source index that border index i (any integer) reads, by the rule of each kind.
int64_t mapIndex(Kind k, int64_t i, int64_t n) {
    if (i >= 0 && i < n) return i;
    switch (k) {
        case Replicate: return i < 0 ? 0 : n - 1;
        case Mirror: {
            if (n == 1) return 0;
            int64_t p = 2 * n - 2, r = ((i % p) + p) % p;
            return r >= n ? 2 * n - 2 - r : r;
        }
        default: return ((i % n) + n) % n;
    }
}

// Random geometry: a source up to 40 x 20 pixels, each border 0, 1 or up to three times the
// source size on its axis.
void geometry(zt::Rng& rng, Args& a) {
    a.sw = rng.chance(0.2) ? 1 : rng.range(1, 40);
    a.sh = rng.chance(0.2) ? 1 : rng.range(1, 20);
    auto border = [&](int64_t n) { return rng.chance(0.2) ? 0 : rng.chance(0.2) ? 1 : rng.range(0, 3 * n); };
    a.left = border(a.sw), a.top = border(a.sh);
    a.dw = a.left + a.sw + border(a.sw), a.dh = a.top + a.sh + border(a.sh);
}

// One call against the model. samePointer: an out-of-place member called with pSrc == pDst.
void trial(const Member& m, zt::Rng& rng, zt::Tight tight, bool samePointer) {
    const int P = m.pixel(), S = m.sampleBytes;
    Args a{};
    geometry(rng, a);
    const bool inPlace = m.inPlace || samePointer;
    int64_t ss = zt::randomStep(rng, a.sw * P), ds = zt::randomStep(rng, a.dw * P);
    zt::Region src(a.sw * P, a.sh, ss, tight, rng.range(0, 63), S);
    zt::Region dst(a.dw * P, a.dh, ds, tight, rng.range(0, 63), S);
    zt::Region value(16, 1, 16, tight);
    src.randomize(rng), dst.randomize(rng), value.randomize(rng);
    const int64_t rd = ds / S * S, rs = inPlace ? rd : ss / S * S;
    // In place the source is the interior of the destination region, with its step.
    const uint8_t* srcOrigin = inPlace ? dst.origin() + a.top * rd + a.left * P : src.origin();
    a.src = srcOrigin, a.srcStep = inPlace ? ds : ss;
    a.dst = m.inPlace ? (uint8_t*)srcOrigin : dst.origin(), a.dstStep = ds;
    if (samePointer) a.dst = (uint8_t*)srcOrigin, a.dstStep = rng.chance(0.5) ? ds : ds + 7;
    a.value = m.kind == Const ? value.origin() + 16 - (m.alpha() ? 3 : m.channels) * S : nullptr;
    zt::Shadow orig({&src, &dst, &value}), expect({&src, &dst, &value});
    const int write = m.alpha() ? 3 * S : P;
    const uint8_t* so = orig(srcOrigin);
    for (int64_t y = 0; y < a.dh; ++y)
        for (int64_t x = 0; x < a.dw; ++x) {
            int64_t sx = x - a.left, sy = y - a.top;
            uint8_t* out = expect(dst.origin()) + y * rd + x * P;
            if (m.kind == Const && (sx < 0 || sx >= a.sw || sy < 0 || sy >= a.sh))
                memcpy(out, a.value, write);
            else
                memcpy(out, so + mapIndex(m.kind, sy, a.sh) * rs + mapIndex(m.kind, sx, a.sw) * P, write);
        }
    SCOPED_TRACE(::testing::Message() << m.name << (samePointer ? " pSrc == pDst" : "") << ": src " << a.sw << "x"
                                      << a.sh << " dst " << a.dw << "x" << a.dh << " top " << a.top << " left "
                                      << a.left << " steps " << a.srcStep << "," << a.dstStep);
    ASSERT_EQ(call(m, a), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

class BorderCopy : public ::testing::TestWithParam<Member> {};

TEST_P(BorderCopy, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(16, [&](zt::Rng& rng, zt::Tight tight, int t) {
        trial(m, rng, tight, false);
        if (!m.inPlace && m.kind != Const && t % 4 == 0) trial(m, rng, tight, true);
    });
}

TEST_P(BorderCopy, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int P = m.pixel();
    zt::Region src(5 * P, 4, 5 * P + 3), dst(9 * P, 8, 9 * P + 1), value(16, 1, 16);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng), value.randomize(rng);
    Args valid{src.origin(), src.step(), dst.origin(), dst.step(), 5, 4, 9, 8, 2, 3, nullptr};
    if (m.inPlace) valid.dst = dst.origin() + 2 * dst.step() + 3 * P;
    if (m.kind == Const) valid.value = value.origin() + 16 - (m.alpha() ? 3 : m.channels) * m.sampleBytes;
    zt::CheckOrder<Args> co{valid, [&m](const Args& a) { return call(m, a); }, {&src, &dst, &value}};
    co.row("null pointers", [&m](Args& a) { a.src = nullptr, a.dst = nullptr; if (m.kind == Const && m.channels > 1) a.value = nullptr; }, zelStsNullPtrErr);
    co.row("steps 0 and -1", [](Args& a) { a.srcStep = 0, a.dstStep = -1; }, zelStsStepErr);
    co.row("source width 0", [](Args& a) { a.sw = 0; }, zelStsSizeErr);
    co.row("source height -2", [](Args& a) { a.sh = -2; }, zelStsSizeErr);
    co.row("destination width 0", [](Args& a) { a.dw = 0; }, zelStsSizeErr);
    co.row("destination height 0", [](Args& a) { a.dh = 0; }, zelStsSizeErr);
    co.row("top -1", [](Args& a) { a.top = -1; }, zelStsSizeErr);
    co.row("left -1", [](Args& a) { a.left = -1; }, zelStsSizeErr);
    co.row("destination one pixel too narrow", [](Args& a) { a.dw = a.left + a.sw - 1; }, zelStsSizeErr);
    co.row("destination one row too low", [](Args& a) { a.dh = a.top + a.sh - 1; }, zelStsSizeErr);
    co.run();
    if (m.kind == Const && m.channels > 1) {  // the constant array alone
        Args a = valid;
        a.value = nullptr;
        zt::Shadow before({&src, &dst});
        EXPECT_EQ(call(m, a), zelStsNullPtrErr);
        EXPECT_TRUE(before.matches());
    }
}

INSTANTIATE_TEST_SUITE_P(Convert, BorderCopy, ::testing::ValuesIn(members()), zt::paramName);

// pSrc == pDst: Replicate and Mirror take the in-place form before any check, Wrap after.
TEST(BorderCopyEdges, SamePointerHandOverComesBeforeOrAfterTheChecks) {
    ZT_SKIP_IF_PLACEHOLDER("zeliCopyWrapBorder_32s_C1R");
    Zel32s img[5][5] = {};
    img[1][1] = 7;
    Zel32s* p = &img[1][1];
    EXPECT_EQ(zeliCopyReplicateBorder_32s_C1R(p, 20, {1, 1}, p, 0, {3, 3}, 1, 1), zelStsNoErr);
    EXPECT_EQ(img[0][0], 7);
    EXPECT_EQ(img[2][2], 7);
    EXPECT_EQ(zeliCopyMirrorBorder_32s_C1R(p, 20, {1, 1}, p, 0, {3, 3}, 1, 1), zelStsNoErr);
    EXPECT_EQ(zeliCopyWrapBorder_32s_C1R(p, 20, {1, 1}, p, 0, {3, 3}, 1, 1), zelStsStepErr);
    img[0][2] = 0;
    EXPECT_EQ(zeliCopyWrapBorder_32s_C1R(p, 20, {1, 1}, p, 20, {3, 3}, 1, 1), zelStsNoErr);
    EXPECT_EQ(img[0][2], 7);
    EXPECT_EQ(img[3][3], 0);  // nothing beyond the region
}

TEST(BorderCopyEdges, RowsOfTheRule) {
    ZT_SKIP_IF_PLACEHOLDER("zeliCopyMirrorBorder_8u_C1R");
    const Zel8u abc[3] = {'a', 'b', 'c'};
    Zel8u out[9] = {};
    EXPECT_EQ(zeliCopyMirrorBorder_8u_C1R(abc, 3, {3, 1}, out, 8, {8, 1}, 0, 5), zelStsNoErr);
    EXPECT_EQ(std::string((char*)out, 8), "babcbabc");
    Zel32s w[3] = {1, 2, 3}, wout[7] = {};
    EXPECT_EQ(zeliCopyWrapBorder_32s_C1R(w, 12, {3, 1}, wout, 28, {7, 1}, 0, 2), zelStsNoErr);
    const Zel32s want[7] = {2, 3, 1, 2, 3, 1, 2};
    EXPECT_EQ(memcmp(wout, want, sizeof want), 0);
    Zel8u one[1] = {'x'}, col[4] = {};
    EXPECT_EQ(zeliCopyMirrorBorder_8u_C1R(one, 1, {1, 1}, col, 4, {4, 1}, 0, 2), zelStsNoErr);
    EXPECT_EQ(std::string((char*)col, 4), "xxxx");
    EXPECT_EQ(zeliCopyConstBorder_8u_C1R(abc, 3, {3, 1}, out, 8, {7, 1}, 0, 5, 'z'), zelStsSizeErr);
}

}  // namespace
