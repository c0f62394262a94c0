// Minimum and maximum filters and the 3x3 morphology of 64f images against a brute-force model:
// every window scanned for its extremum through a bordered-pixel function, on random
// geometry, masks (1x1, 1xN, Nx1, even, larger than the ROI), borders and in-memory flags, with
// source, destination, border value and a work buffer of exactly the queried size against
// guard pages; NaN, infinities and signed zeros in the floating data; the check orders.
#include <cmath>

#include "zel_test_kit.h"

namespace {

const char* const kFamily = "FilterMinBorder, FilterMaxBorder, Erode3x3, Dilate3x3";

std::vector<zt::Name> filters() {
    std::vector<zt::Name> out;
    for (auto& n : zt::namesOf({kFamily}))
        if ((n.op == "FilterMinBorder" || n.op == "FilterMaxBorder") && !n.type.empty()) out.push_back(n);
    return out;
}

// The library's order of samples: -0 below +0, and a NaN anywhere gives the quiet NaN.
template <typename T>
T extremum(const std::vector<T>& v, bool max) {
    T best = v[0];
    for (T x : v) {
        if constexpr (std::is_floating_point_v<T>) {
            for (T y : v)
                if (std::isnan(y)) return std::numeric_limits<T>::quiet_NaN();
            if (x == best && x == 0) {
                if (std::signbit(x) != std::signbit(best) && std::signbit(x) != max) best = x;
                continue;
            }
        }
        if (max ? x > best : x < best) best = x;
    }
    return best;
}

template <typename T>
T randomSample(zt::Rng& rng) {
    if constexpr (std::is_floating_point_v<T>) {
        using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
        const U sign = (U)1 << (8 * sizeof(T) - 1), expAll = sizeof(T) == 4 ? 0x7F800000u : 0x7FF0000000000000ull;
        switch (rng.range(0, 60)) {
            case 0: return zt::fromBits<T>((U)(expAll | (rng.bits<U>() & (expAll >> 5) ) | 1) | (rng.chance(0.5) ? sign : 0));
            case 1: case 2: return rng.chance(0.5) ? -0.0 : 0.0;
            case 3: return rng.chance(0.5) ? -INFINITY : INFINITY;
            default: return (T)rng.range(-20, 20) * (T)0.5;
        }
    } else {
        return rng.bits<T>();
    }
}

struct Geometry {
    int W, H, kw, kh;
    unsigned border;
};

// One call on the geometry, checked against the model: the source with exactly its flagged
// margins, the destination with canary padding, the border value and the work buffer, each
// against a guard page.
template <typename T>
void checkFilter(const zt::Name& m, const Geometry& g, zt::Rng& rng, zt::Tight tight) {
    const int C = m.channels, used = m.used, S = sizeof(T), P = C * S;
    const bool max = m.op == "FilterMaxBorder";
    const int ax = (g.kw - 1) / 2, ay = (g.kh - 1) / 2, right = g.kw - 1 - ax, bottom = g.kh - 1 - ay;
    const unsigned kind = g.border == 240 ? 0 : g.border & 15;
    const bool mT = g.border & 16, mB = g.border & 32, mL = g.border & 64, mR = g.border & 128;
    const int ml = mL ? ax : 0, mr = mR ? right : 0, mt = mT ? ay : 0, mb = mB ? bottom : 0;

    const int64_t srcRow = (int64_t)(ml + g.W + mr) * P, srcStep = srcRow + S * rng.range(0, 3);
    zt::Region src(srcRow, mt + g.H + mb, srcStep, tight);
    for (int64_t y = 0; y < src.height(); ++y)
        for (int64_t i = 0; i < srcRow / S; ++i) ((T*)src.row(y))[i] = randomSample<T>(rng);
    const int64_t dstRow = (int64_t)g.W * P, dstStep = dstRow + S * rng.range(0, 3);
    zt::Region dst(dstRow, g.H, dstStep, tight), value(used * S, 1, used * S, tight);
    dst.randomize(rng);
    for (int c = 0; c < used; ++c) ((T*)value.origin())[c] = randomSample<T>(rng);
    int bytes = 0;
    const int type = S == 1 ? zel8u : S == 4 ? zel32f : m.isSigned ? zel16s : zel16u;
    ASSERT_EQ(zt::invoke(zt::parseName("zeli" + m.op + "GetBufferSize").fn, ZeliSize{g.W, g.H}, ZeliSize{g.kw, g.kh},
                         (ZelDataType)type, C, &bytes), zelStsNoErr);
    zt::Region buf(bytes, 1, bytes, tight);

    const T* roi = (const T*)(src.row(mt) + (int64_t)ml * P);
    zt::Shadow expect({&src, &dst});
    T* want = expect((T*)dst.origin());
    const T* vals = (const T*)value.origin();
    auto map = [](unsigned k, int64_t i, int64_t n) -> int64_t {
        if (i >= 0 && i < n) return i;
        if (k != 3 || n == 1) return i < 0 ? 0 : n - 1;
        int64_t p = 2 * n - 2, r = ((i % p) + p) % p;
        return r < n ? r : p - r;
    };
    auto sample = [&](int64_t x, int64_t y, int c) -> T {
        bool rowReal = (y >= 0 && y < g.H) || (y < 0 && mT) || (y >= g.H && mB);
        bool colReal = (x >= 0 && x < g.W) || (x < 0 && mL) || (x >= g.W && mR);
        if ((!rowReal || !colReal) && kind == 6) return vals[c];
        if (!rowReal) y = map(kind, y, g.H);
        if (!colReal) x = map(kind, x, g.W);
        return *(const T*)((const uint8_t*)roi + y * srcStep + x * P + c * S);
    };
    std::vector<T> win;
    for (int y = 0; y < g.H; ++y)
        for (int x = 0; x < g.W; ++x)
            for (int c = 0; c < used; ++c) {
                win.clear();
                for (int i = 0; i < g.kh; ++i)
                    for (int j = 0; j < g.kw; ++j) win.push_back(sample(x - ax + j, y - ay + i, c));
                *(T*)((uint8_t*)want + (int64_t)y * dstStep + (int64_t)x * P + c * S) = extremum(win, max);
            }
    ASSERT_EQ(zt::invoke(m.fn, roi, (int)srcStep, (T*)dst.origin(), (int)dstStep, ZeliSize{g.W, g.H},
                         ZeliSize{g.kw, g.kh}, (ZeliBorderType)g.border, vals, buf.origin()),
              zelStsNoErr);
    EXPECT_TRUE(expect.matches()) << m.name << " " << g.W << "x" << g.H << " mask " << g.kw << "x" << g.kh
                                  << " border " << g.border;
}

unsigned randomBorder(zt::Rng& rng) {
    static const unsigned kinds[] = {1, 3, 6};
    return rng.chance(0.1) ? 240u : kinds[rng.range(0, 2)] | (unsigned)(rng.range(0, 15) << 4);
}

TEST(FilterMinMax, MatchesTheWindowScanOnRandomGeometry) {
    const auto members = filters();
    ASSERT_EQ(members.size(), 32u);
    zt::forTrials(200, [&](zt::Rng& rng, zt::Tight tight, int t) {
        const zt::Name& m = members[t % members.size()];
        auto side = [&](int n) -> int {
            switch (rng.range(0, 5)) {
                case 0: return 1;
                case 1: return 2;
                case 2: return (int)rng.range(3, 5);
                case 3: return (int)rng.range(6, 12);
                default: return (int)rng.range(1, n + 3);  // may pass the ROI
            }
        };
        Geometry g;
        g.W = (int)rng.range(1, rng.chance(0.2) ? 140 : 40);
        g.H = (int)rng.range(1, 10);
        g.kw = side(g.W), g.kh = side(g.H);
        g.border = randomBorder(rng);
        zt::withType(m.type, [&](auto tag) { checkFilter<typename decltype(tag)::type>(m, g, rng, tight); });
    });
}

// Large masks on small and narrow images, where the ring for the whole width does not fit the
// queried buffer and the ROI is walked in bands; and single rows and columns.
TEST(FilterMinMax, LargeMasksWalkBandsInsideTheQueriedBuffer) {
    const auto members = filters();
    zt::forTrials(60, [&](zt::Rng& rng, zt::Tight tight, int t) {
        const zt::Name& m = members[(t * 7) % members.size()];
        Geometry g;
        g.W = (int)rng.range(1, 90), g.H = (int)rng.range(1, 5);
        g.kw = (int)rng.range(1, 100), g.kh = (int)rng.range(1, 24);
        if (rng.chance(0.3)) g.H = 1 + (int)rng.range(g.kh, g.kh + 3), g.kw = (int)rng.range(1, 9);
        if (rng.chance(0.3)) g.kh = 1;
        g.border = randomBorder(rng);
        zt::withType(m.type, [&](auto tag) { checkFilter<typename decltype(tag)::type>(m, g, rng, tight); });
    });
}

TEST(FilterMinMax, NanAndSignedZeroAreOrderFree) {
    // Max over {-0, +0} is +0 and Min is -0 in either order; a NaN of any sign wins.
    const Zel32f nan = zt::fromBits<Zel32f>(0xFFC00123u);
    for (bool swap : {false, true}) {
        Zel32f s[3] = {swap ? 0.0f : -0.0f, swap ? -0.0f : 0.0f, 5.0f}, d[2];
        Zel8u buf[4096];
        ASSERT_EQ(zeliFilterMaxBorder_32f_C1R(s, 12, d, 8, {2, 1}, {2, 1}, zelBorderRepl, nullptr, buf), 0);
        EXPECT_EQ(zt::bitsOf(d[0]), 0u);
        ASSERT_EQ(zeliFilterMinBorder_32f_C1R(s, 12, d, 8, {2, 1}, {2, 1}, zelBorderRepl, nullptr, buf), 0);
        EXPECT_EQ(zt::bitsOf(d[0]), 0x80000000u);
        s[1] = nan;
        ASSERT_EQ(zeliFilterMinBorder_32f_C1R(s, 12, d, 8, {2, 1}, {2, 1}, zelBorderRepl, nullptr, buf), 0);
        EXPECT_EQ(zt::bitsOf(d[0]), 0x7FC00000u);
        EXPECT_EQ(zt::bitsOf(d[1]), 0x7FC00000u);
    }
}

TEST(FilterMinMax, QueryCheckOrderAndSize) {
    struct Q {
        ZeliSize roi, mask;
        int type, channels;
        bool nullOut;
    };
    for (const char* f : {"zeliFilterMinBorderGetBufferSize", "zeliFilterMaxBorderGetBufferSize"}) {
        int out = 0;
        void* fn = zt::parseName(f).fn;
        auto call = [&](const Q& q) {
            return zt::invoke(fn, q.roi, q.mask, (ZelDataType)q.type, q.channels, q.nullOut ? nullptr : &out);
        };
        zt::CheckOrder<Q> co{{{20, 10}, {5, 5}, zel8u, 1, false}, call, {}};
        co.row("pBufferSize null", [](Q& q) { q.nullOut = true; }, zelStsNullPtrErr)
            .row("roi height 0", [](Q& q) { q.roi.height = 0; }, zelStsSizeErr)
            .row("mask width 0", [](Q& q) { q.mask.width = 0; }, zelStsMaskSizeErr)
            .row("channels 2", [](Q& q) { q.channels = 2; }, zelStsNumChannelsErr)
            .row("type 64f", [](Q& q) { q.type = zel64f; }, zelStsDataTypeErr)
            .run();
        // 20x10 ROI, 5x5 mask, 8u C1: strips max(24 x 6, 14 x 6) = 144 (160), + 5 x 32 + 32 + 32.
        ASSERT_EQ(call({{20, 10}, {5, 5}, zel8u, 1, false}), 0);
        EXPECT_EQ(out, 160 + 5 * 32 + 32 + 32);
        // 32f C3, 4x4 ROI, 2x6 mask (not larger): 5 x 9 bordered pixels of 12 bytes, + 6 rows + 1 + 64 + 32.
        ASSERT_EQ(call({{4, 4}, {2, 6}, zel32f, 3, false}), 0);
        EXPECT_EQ(out, 544 + 6 * 64 + 32 + 64 + 32);
        out = 7;
        EXPECT_EQ(call({{2000, 2000}, {20000, 20000}, zel32f, 4, false}), zelStsBufferSizeErr);
        EXPECT_EQ(out, 0);
    }
}

TEST(FilterMinMax, FilterCheckOrderWritesNothing) {
    struct A {
        const void* src;
        void* dst;
        ZeliSize roi, mask;
        unsigned border;
        const void* value;
        void* buf;
    };
    for (const char* f : {"zeliFilterMinBorder_8u_C1R", "zeliFilterMaxBorder_32f_AC4R"}) {
        zt::Name m = zt::parseName(f);
        const int P = m.channels * m.sampleBytes;
        zt::Region src(8 * P, 6, 8 * P), dst(8 * P, 6, 8 * P), buf(4096, 1, 4096);
        zt::Rng rng = zt::Rng::forTest();
        src.randomize(rng), dst.randomize(rng);
        float value[4] = {1, 2, 3, 4};
        auto call = [&](const A& a) {
            return zt::invoke(m.fn, a.src, 8 * P, a.dst, 8 * P, a.roi, a.mask, (ZeliBorderType)a.border, a.value, a.buf);
        };
        zt::CheckOrder<A> co{{src.origin(), dst.origin(), {8, 6}, {3, 3}, 6, value, buf.origin()}, call, {&src, &dst}};
        co.row("pSrc null", [](A& a) { a.src = nullptr; }, zelStsNullPtrErr)
            .row("pBuffer null", [](A& a) { a.buf = nullptr; }, zelStsNullPtrErr)
            .row("borderValue null with kind 6", [](A& a) { a.value = nullptr; }, zelStsNullPtrErr)
            .row("roi width 0", [](A& a) { a.roi.width = 0; }, zelStsSizeErr)
            .row("mask height 0", [](A& a) { a.mask.height = 0; }, zelStsMaskSizeErr)
            .row("border 262", [](A& a) { a.border = 256 + 6; }, zelStsBorderErr)
            .run();
        for (unsigned b : {2u | 64, 4u, 257u}) EXPECT_EQ(call({src.origin(), dst.origin(), {8, 6}, {3, 3}, b, value, buf.origin()}), zelStsBorderErr);
        EXPECT_EQ(call({src.origin(), dst.origin(), {8, 6}, {3, 3}, 1, nullptr, buf.origin()}), zelStsNoErr);
    }
}

TEST(FilterMinMax, Morphology3x3On64f) {
    zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int t) {
        const bool max = t % 2;
        const int W = (int)rng.range(1, rng.chance(0.2) ? 1100 : 40), H = (int)rng.range(1, 6);
        const int64_t srcStep = (W + 2) * 8 + 8 * rng.range(0, 2), dstStep = W * 8 + 8 * rng.range(0, 2);
        zt::Region src((W + 2) * 8, H + 2, srcStep, tight), dst(W * 8, H, dstStep, tight);
        for (int y = 0; y < H + 2; ++y)
            for (int x = 0; x < W + 2; ++x) ((Zel64f*)src.row(y))[x] = randomSample<Zel64f>(rng);
        dst.randomize(rng);
        zt::Shadow expect({&src, &dst});
        std::vector<Zel64f> win;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                win.clear();
                for (int i = 0; i < 3; ++i)
                    for (int j = 0; j < 3; ++j) win.push_back(((Zel64f*)src.row(y + i))[x + j]);
                *expect((Zel64f*)dst.row(y) + x) = extremum(win, max);
            }
        auto fn = max ? zeliDilate3x3_64f_C1R : zeliErode3x3_64f_C1R;
        ASSERT_EQ(fn((Zel64f*)(src.row(1) + 8), (int)srcStep, (Zel64f*)dst.origin(), (int)dstStep, {W, H}), 0);
        EXPECT_TRUE(expect.matches());
    });

    struct A {
        const Zel64f* src;
        Zel64f* dst;
        int ss, ds;
        ZeliSize roi;
    };
    zt::Region src(12 * 8, 6, 12 * 8), dst(10 * 8, 4, 10 * 8);
    for (auto fn : {zeliErode3x3_64f_C1R, zeliDilate3x3_64f_C1R}) {
        auto call = [&](const A& a) { return fn(a.src, a.ss, a.dst, a.ds, a.roi); };
        zt::CheckOrder<A> co{{(Zel64f*)(src.row(1) + 8), (Zel64f*)dst.origin(), 96, 80, {10, 4}}, call, {&src, &dst}};
        co.row("pDst null", [](A& a) { a.dst = nullptr; }, zelStsNullPtrErr)
            .row("dstStep 0", [](A& a) { a.ds = 0; }, zelStsStepErr)
            .row("width 0", [](A& a) { a.roi.width = 0; }, zelStsSizeErr)
            .row("height 0", [](A& a) { a.roi.height = 0; }, zelStsSizeErr)
            .row("srcStep one pixel short of width + 2", [](A& a) { a.ss = 88; }, zelStsStrideErr)
            .run();
    }
}

}  // namespace
