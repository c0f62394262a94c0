// The median functions without border handling against brute-force models: the source is the
// ROI with exactly the margins the neighbourhood reaches, against guard pages.
#include "median_model.h"

namespace {

template <class T>
T pick(zt::Rng& rng, bool ties) {
    if constexpr (std::is_floating_point_v<T>) {
        if (rng.chance(0.05)) return rng.chance(0.5) ? (T)__builtin_nan("") : (T)-0.0;
        return ties ? (T)rng.range(0, 3) : (T)(rng.range(-10000, 10000) * 0.01);
    } else {
        return ties ? (T)rng.range(0, 3) : rng.bits<T>();
    }
}

// A source with margins (left, top, right, bottom) pixels around a w x h ROI, of C samples.
template <class T>
struct Source {
    zt::Region r;
    int64_t step;
    int left, top, C;
    const T* roi() const { return (const T*)r.row(top) + (int64_t)left * C; }
    T at(const T* base, int64_t x, int64_t y, int c) const { return ((const T*)((const uint8_t*)base + y * step))[x * C + c]; }
};

template <class T>
Source<T> source(zt::Rng& rng, zt::Tight tight, int w, int h, int l, int t, int rt, int b, int C) {
    const int64_t rowBytes = (int64_t)(l + w + rt) * C * sizeof(T), step = zt::randomStep(rng, rowBytes, {(int)sizeof(T)});
    Source<T> s{zt::Region(rowBytes, t + h + b, step, tight), step, l, t, C};
    const bool ties = rng.chance(0.3);
    for (int64_t y = 0; y < s.r.height(); ++y)
        for (int64_t i = 0; i < rowBytes / (int64_t)sizeof(T); ++i) ((T*)s.r.row(y))[i] = pick<T>(rng, ties);
    return s;
}

template <class T>
T* dstRow(T* base, int64_t step, int64_t y) {
    return (T*)((uint8_t*)base + step * y);
}

// Runs one member on a fresh destination; model(src snapshot roi, x, y, c) gives each sample.
template <class T, class Call, class Model>
void check(zt::Rng& rng, zt::Tight tight, Source<T>& s, int w, int h, int C, int used, Call call, Model model) {
    const int64_t rowBytes = (int64_t)w * C * sizeof(T), step = zt::randomStep(rng, rowBytes, {(int)sizeof(T)});
    zt::Region dst(rowBytes, h, step, tight);
    dst.randomize(rng);
    zt::Shadow shadow({&s.r, &dst});
    ASSERT_EQ(call((T*)dst.origin(), (int)step), zelStsNoErr);
    const T* sroi = shadow(s.roi());
    T* sd = (T*)shadow(dst.origin());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < used; ++c) dstRow(sd, step, y)[(int64_t)x * C + c] = model(sroi, x, y, c);
    EXPECT_TRUE(shadow.matches()) << w << "x" << h;
}

TEST(FilterMedian, AnyMaskAndAnchorWithTheQueriedBuffer) {
    for (const char* name : {"zeliFilterMedian_32f_C3R", "zeliFilterMedian_32f_C4R", "zeliFilterMedian_64f_C1R"}) {
        const zt::Name n = zt::parseName(name);
        zt::forTrials(15, [&](zt::Rng& rng, zt::Tight tight, int) {
            const int w = (int)rng.range(1, 40), h = (int)rng.range(1, 8), kw = (int)rng.range(1, 6), kh = (int)rng.range(1, 6);
            const ZeliPoint a{(int)rng.range(0, kw - 1), (int)rng.range(0, kh - 1)};
            const int C = n.channels;
            int bytes = 0;
            ASSERT_EQ((n.type == "64f" ? zeliFilterMedianGetBufferSize_64f : zeliFilterMedianGetBufferSize_32f)(
                          {w, h}, {kw, kh}, (Zel32u)C, &bytes), zelStsNoErr);
            zt::Region buf(bytes, 1, bytes, tight);
            zt::withType(n.type, [&](auto tag) {
                using T = typename decltype(tag)::type;
                Source<T> s = source<T>(rng, tight, w, h, a.x, a.y, kw - 1 - a.x, kh - 1 - a.y, C);
                check<T>(
                    rng, tight, s, w, h, C, C,
                    [&](T* d, int step) {
                        return zt::invoke(n.fn, s.roi(), (int)s.step, d, step, ZeliSize{w, h}, ZeliSize{kw, kh}, a, buf.origin());
                    },
                    [&](const T* roi, int x, int y, int c) {
                        std::vector<T> v;
                        for (int dy = 0; dy < kh; ++dy)
                            for (int dx = 0; dx < kw; ++dx) v.push_back(s.at(roi, x - a.x + dx, y - a.y + dy, c));
                        return zt::medianOf(v);
                    });
            });
        });
    }
}

TEST(FilterMedian, CheckOrder) {
    struct Args {
        const void* s;
        int ss;
        void* d;
        int ds;
        ZeliSize roi, mask;
        ZeliPoint a;
        Zel8u* buf;
    };
    zt::Region src(64, 8, 64), dst(64, 8, 64), buf(4096, 1, 4096);
    Args valid{src.row(1), 64, dst.origin(), 64, {2, 2}, {3, 3}, {1, 1}, buf.origin()};
    zt::CheckOrder<Args> co{valid, [](const Args& a) {
        return zeliFilterMedian_64f_C1R((const Zel64f*)a.s, a.ss, (Zel64f*)a.d, a.ds, a.roi, a.mask, a.a, a.buf);
    }, {&dst}};
    co.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr)
        .row("pBuffer null", [](Args& a) { a.buf = nullptr; }, zelStsNullPtrErr)
        .row("roi width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr)
        .row("mask height 0", [](Args& a) { a.mask.height = 0; a.a.y = 0; }, zelStsMaskSizeErr)
        .row("anchor x = mask width", [](Args& a) { a.a.x = 3; }, zelStsAnchorErr)
        .row("srcStep 0", [](Args& a) { a.ss = 0; }, zelStsStepErr)
        .run();
    int size;
    EXPECT_EQ(zeliFilterMedianGetBufferSize_32f({4, 4}, {3, 3}, 1, &size), zelStsChannelErr);
    EXPECT_EQ(zeliFilterMedianGetBufferSize_64f({4, 4}, {3, 0}, 1, &size), zelStsMaskSizeErr);
}

TEST(FilterMedianColorCross, MatchModels) {
    for (auto& n : zt::namesOf({"FilterMedianColor", "FilterMedianCross"})) {
        SCOPED_TRACE(n.name);
        const bool color = n.op == "FilterMedianColor";
        zt::forTrials(10, [&](zt::Rng& rng, zt::Tight tight, int) {
            const int w = (int)rng.range(1, 30), h = (int)rng.range(1, 6), r = rng.chance(0.5) ? 1 : 2, k = 2 * r + 1;
            const ZeliMaskSize mask = r == 1 ? zelMskSize3x3 : zelMskSize5x5;
            zt::withType(n.type, [&](auto tag) {
                using T = typename decltype(tag)::type;
                Source<T> s = source<T>(rng, tight, w, h, r, r, r, r, n.channels);
                check<T>(
                    rng, tight, s, w, h, n.channels, n.used,
                    [&](T* d, int step) { return zt::invoke(n.fn, s.roi(), (int)s.step, d, step, ZeliSize{w, h}, mask); },
                    [&](const T* roi, int x, int y, int c) {
                        if (!color) {
                            std::vector<T> v;
                            for (int o = -r; o <= r; ++o) v.push_back(s.at(roi, x + o, y, c));
                            for (int o = -r; o <= r; ++o)
                                if (o) v.push_back(s.at(roi, x, y + o, c));
                            return zt::medianOf(v);
                        }
                        int best = 0;
                        double bestSum = 0;
                        for (int i = 0; i < k * k; ++i) {
                            double sum = 0;
                            for (int j = 0; j < k * k; ++j)
                                for (int cc = 0; cc < 3; ++cc) {
                                    const double a = s.at(roi, x - r + i % k, y - r + i / k, cc), b = s.at(roi, x - r + j % k, y - r + j / k, cc);
                                    sum += a < b ? b - a : a - b;
                                }
                            if (i == 0 || sum < bestSum) best = i, bestSum = sum;
                        }
                        return s.at(roi, x - r + best % k, y - r + best / k, c);
                    });
            });
        });
    }
}

TEST(FilterMedianWeightedCenter3x3, CentreCountsWeightTimes) {
    zt::forTrials(20, [&](zt::Rng& rng, zt::Tight tight, int) {
        const int w = (int)rng.range(1, 40), h = (int)rng.range(1, 6), weight = (int)rng.range(1, 12);
        Source<Zel8u> s = source<Zel8u>(rng, tight, w, h, 1, 1, 1, 1, 1);
        check<Zel8u>(
            rng, tight, s, w, h, 1, 1,
            [&](Zel8u* d, int step) { return zeliFilterMedianWeightedCenter3x3_8u_C1R(s.roi(), (int)s.step, d, step, {w, h}, weight); },
            [&](const Zel8u* roi, int x, int y, int) {
                std::vector<Zel8u> v;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        for (int t = 0; t < (dx || dy ? 1 : weight); ++t) v.push_back(s.at(roi, x + dx, y + dy, 0));
                return zt::medianOf(v);
            });
    });
    Zel8u px[9] = {};
    EXPECT_EQ(zeliFilterMedianWeightedCenter3x3_8u_C1R(px + 4, 3, px, 3, {1, 1}, 0), zelStsWeightErr);
    EXPECT_EQ(zeliFilterMedianWeightedCenter3x3_8u_C1R(px + 4, 0, px, 3, {1, 1}, 0), zelStsStepErr);
}

TEST(Median, ThreePlanes) {
    zt::forTrials(20, [&](zt::Rng& rng, zt::Tight tight, int) {
        const int w = (int)rng.range(1, 300), h = (int)rng.range(1, 5);
        const int64_t step = zt::randomStep(rng, w);
        zt::Region planes(w, 3 * h, step, tight), dst(w, h, step, tight);
        planes.randomize(rng);
        dst.randomize(rng);
        zt::Shadow shadow({&planes, &dst});
        const Zel8u* p[3] = {planes.row(0), planes.row(h), planes.row(2 * h)};
        ASSERT_EQ(zeliMedian_8u_P3C1R(p, (int)step, dst.origin(), (int)step, {w, h}), zelStsNoErr);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                shadow(dst.row(y))[x] = zt::medianOf<Zel8u>({shadow(p[0])[y * step + x], shadow(p[1])[y * step + x], shadow(p[2])[y * step + x]});
        EXPECT_TRUE(shadow.matches());
        const Zel8u* bad[3] = {p[0], nullptr, p[2]};
        EXPECT_EQ(zeliMedian_8u_P3C1R(bad, (int)step, dst.origin(), (int)step, {w, h}), zelStsNullPtrErr);
    });
}

}  // namespace
