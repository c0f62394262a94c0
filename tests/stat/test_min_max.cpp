// Extremes and their positions, element-wise extremes, block extremes and column dot products
// against reference models written from the rules, on random geometry in guard-page regions.
//
// The 32f rule under test, on every path: the ordinary comparison, NaN samples never win over a
// number (a channel of NaN samples only yields NaN), and of equal extremes (+0 and -0) the first
// in raster order is the result.
#include "stat_members.h"

namespace {

using st::Member;

// A sample as a double plus its bits, so that -0 and NaN payloads stay visible.
struct S {
    double v;
    uint32_t bits;
};
S sampleOf(const Member& m, const uint8_t* p) {
    S s{(double)m.read(p), 0};
    memcpy(&s.bits, p, m.sampleBytes);
    return s;
}

// True when a beats b for a minimum (a maximum when max): numbers beat NaN, otherwise the
// ordinary comparison, under which -0 equals +0.
bool beats(S a, S b, bool max) {
    bool na = std::isnan(a.v), nb = std::isnan(b.v);
    if (na || nb) return !na && nb;
    return max ? a.v > b.v : a.v < b.v;
}

// Samples from a small set of values so that ties abound: integers near both ends of the type,
// floats among ±0, ±1.5, 7, ±inf and (when nans) NaN of both signs.
void fillTies(zt::Region& r, const Member& m, zt::Rng& rng, bool nans) {
    const int64_t pool = rng.range(2, 5);
    static const float vals[] = {0.0f, -0.0f, 1.5f, -1.5f, INFINITY, -INFINITY, 7.0f};
    for (int64_t i = 0; i + m.sampleBytes <= r.extent(); i += m.sampleBytes) {
        int64_t k = rng.range(0, pool);
        uint32_t u = m.sampleBytes == 1 ? (k == 0 ? 0 : k == pool ? 255 : 100 + k)
                     : !m.isSigned ? (k == 0 ? 0 : k == pool ? 65535 : 1000 + k)
                                   : (uint16_t)(k == 0 ? -32768 : k == pool ? 32767 : k - 2);
        if (m.isFloat)
            u = zt::bitsOf(nans && rng.chance(0.15) ? (rng.chance(0.5) ? NAN : -NAN) : vals[rng.range(0, 6) % (pool + 2)]);
        memcpy(r.lo() + i, &u, m.sampleBytes);
    }
}

ZeliSize randomRoi(zt::Rng& rng, int pixelBytes) {
    ZeliSize roi{zt::randomWidth(rng, pixelBytes), 0};
    roi.height = zt::randomHeight(rng, (int64_t)roi.width * pixelBytes);
    return roi;
}

class Extremes : public ::testing::TestWithParam<Member> {};

TEST_P(Extremes, MatchModelWithTiesNansAndZeros) {
    const Member& m = GetParam();
    const int sb = m.sampleBytes;
    const bool indexed = m.op.find("Indx") != std::string::npos, both = m.op == "MinMax";
    zt::StepPolicy pol;
    pol.unit = sb, pol.zero = 0.05, pol.negative = 0.1;  // steps are not checked
    zt::forTrials(15, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        ZeliSize roi = randomRoi(rng, sb * m.channels);
        const int64_t row = (int64_t)roi.width * sb * m.channels;
        zt::Region img(row, roi.height, zt::randomStep(rng, row, pol), tight);
        fillTies(img, m, rng, trial % 3 != 0);
        const float nan = NAN;
        for (int64_t y = 0; m.isFloat && trial % 5 == 4 && y < roi.height; ++y)  // a channel of NaN samples only
            for (int64_t x = 0; x < roi.width; ++x) memcpy(img.row(y) + (x * m.channels + trial % m.channels) * 4, &nan, 4);
        auto at = [&](int64_t y, int64_t x, int c) { return img.origin() + img.step() / sb * sb * y + (x * m.channels + c) * sb; };
        alignas(8) uint8_t got[2][16];
        int ix[4] = {-1, -1, -1, -1}, iy[4] = {-1, -1, -1, -1};
        const void* src = img.origin();
        const int step = (int)img.step();
        ASSERT_EQ(both ? zt::invoke(m.fn, src, step, roi, got[0], got[1])
                  : indexed ? zt::invoke(m.fn, src, step, roi, got[0], ix, iy) : zt::invoke(m.fn, src, step, roi, got[0]),
                  zelStsNoErr) << roi.width << "x" << roi.height << " step " << step;
        for (int k = 0; k < (both ? 2 : 1); ++k) {
            const bool max = both ? k == 1 : m.op.rfind("Max", 0) == 0;
            for (int c = 0; c < m.used; ++c) {
                SCOPED_TRACE(::testing::Message() << roi.width << "x" << roi.height << " step " << step << " channel " << c << (max ? " max" : " min"));
                S best = sampleOf(m, at(0, 0, c)), g = sampleOf(m, got[k] + c * sb);
                int bx = 0, by = 0;  // the first sample in raster order that no later sample beats
                for (int64_t y = 0; y < roi.height; ++y)
                    for (int64_t x = 0; x < roi.width; ++x)
                        if (beats(sampleOf(m, at(y, x, c)), best, max)) best = sampleOf(m, at(y, x, c)), bx = (int)x, by = (int)y;
                if (!std::isnan(best.v)) EXPECT_EQ(g.bits, best.bits) << g.v << " vs " << best.v;
                else EXPECT_TRUE(std::isnan(g.v)) << "of NaN samples only";
                if (!indexed) continue;
                bool found = !std::isnan(best.v);  // else: the reported NaN's first position
                for (int64_t y = 0; !found && y < roi.height; ++y)
                    for (int64_t x = 0; !found && x < roi.width; ++x)
                        if (sampleOf(m, at(y, x, c)).bits == g.bits) found = true, bx = (int)x, by = (int)y;
                EXPECT_EQ(ix[c], bx);
                EXPECT_EQ(iy[c], by);
            }
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Stat, Extremes, ::testing::ValuesIn(st::members({"Min, Max, MinMax, MinIndx, MaxIndx"})), zt::paramName);

// kept is the image whose sample stays on ties (pSrcDst of the IR forms, pSrc1 of the R forms);
// other is pSrc or pSrc2.
class Every : public ::testing::TestWithParam<Member> {};

TEST_P(Every, MatchModelIncludingNan) {
    const Member& m = GetParam();
    const int sb = m.sampleBytes;
    const bool max = m.op == "MaxEvery";
    zt::StepPolicy pol;
    pol.unit = sb;
    zt::forTrials(10, [&](zt::Rng& rng, zt::Tight tight, int) {
        ZeliSize roi = randomRoi(rng, sb * m.channels);
        const int64_t row = (int64_t)roi.width * sb * m.channels;
        zt::Region a(row, roi.height, zt::randomStep(rng, row, pol), tight), b(row, roi.height, zt::randomStep(rng, row, pol), tight),
            d(row, roi.height, zt::randomStep(rng, row, pol), tight);
        fillTies(a, m, rng, true), fillTies(b, m, rng, true), fillTies(d, m, rng, true);
        zt::Region &kept = m.inPlace ? d : a, &other = m.inPlace ? a : b;
        zt::Shadow shadow({&a, &b, &d});
        for (int64_t y = 0; y < roi.height; ++y)
            for (int64_t i = 0; i < roi.width * m.channels; ++i) {
                if (m.used < m.channels && i % 4 == 3) continue;  // alpha stays
                auto at = [&](const zt::Region& r) { return shadow(r.origin()) + r.step() / sb * sb * y + i * sb; };
                S k = sampleOf(m, at(kept)), o = sampleOf(m, at(other));
                bool takeOther = (max ? o.v > k.v : o.v < k.v) || (std::isnan(k.v) && !std::isnan(o.v));
                memmove(at(d), takeOther ? at(other) : at(kept), sb);
            }
        ZelStatus st = m.inPlace ? zt::invoke(m.fn, a.origin(), (int)a.step(), d.origin(), (int)d.step(), roi)
                                 : zt::invoke(m.fn, a.origin(), (int)a.step(), b.origin(), (int)b.step(), d.origin(), (int)d.step(), roi);
        ASSERT_EQ(st, zelStsNoErr) << roi.width << "x" << roi.height;
        EXPECT_TRUE(shadow.matches()) << roi.width << "x" << roi.height;
    });
}

INSTANTIATE_TEST_SUITE_P(Stat, Every, ::testing::ValuesIn(st::members({"MinEvery, MaxEvery"})), zt::paramName);

TEST(StatBlockMinMax, MatchModel) {
    for (const Member& m : st::members({"BlockMinMax"})) {
        SCOPED_TRACE(m.name);
        const int sb = m.sampleBytes;
        zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int trial) {
            ZeliSize src{trial == 1 ? 5000 : zt::randomWidth(rng, sb), 0};
            src.height = zt::randomHeight(rng, (int64_t)src.width * sb) + 2;
            ZeliSize blk{(int)rng.range(1, trial == 1 ? 3000 : 40), (int)rng.range(1, 6)};
            if (trial == 2) blk = {src.width + 3, src.height + 1};
            const int bx = (src.width + blk.width - 1) / blk.width, by = (src.height + blk.height - 1) / blk.height;
            zt::StepPolicy pol;
            pol.unit = sb;
            zt::Region s(src.width * sb, src.height, zt::randomStep(rng, src.width * sb, pol), tight);
            zt::Region lo(bx * sb, by, zt::randomStep(rng, bx * sb, pol), tight), hi(bx * sb, by, zt::randomStep(rng, bx * sb, pol), tight);
            zt::Region g(2 * sb, 1, 2 * sb, tight);
            fillTies(s, m, rng, true);
            lo.randomize(rng), hi.randomize(rng), g.randomize(rng);
            zt::Shadow shadow({&s, &lo, &hi, &g});
            S glo = sampleOf(m, s.origin()), ghi = glo;
            for (int y = 0; y < src.height; ++y)
                for (int x = 0; x < src.width; ++x) {
                    S v = sampleOf(m, s.row(y) + x * sb);
                    if (beats(v, glo, false)) glo = v;
                    if (beats(v, ghi, true)) ghi = v;
                }
            for (int j = 0; j < by; ++j)
                for (int i = 0; i < bx; ++i) {
                    S l = sampleOf(m, s.row(j * blk.height) + i * blk.width * sb), h = l;
                    for (int y = j * blk.height; y < std::min(src.height, (j + 1) * blk.height); ++y)
                        for (int x = i * blk.width; x < std::min(src.width, (i + 1) * blk.width); ++x) {
                            S v = sampleOf(m, s.row(y) + x * sb);
                            if (beats(v, l, false)) l = v;
                            if (beats(v, h, true)) h = v;
                        }
                    memcpy(shadow(lo.row(j)) + i * sb, &l.bits, sb);
                    memcpy(shadow(hi.row(j)) + i * sb, &h.bits, sb);
                }
            memcpy(shadow(g.origin()), &glo.bits, sb);
            memcpy(shadow(g.origin()) + sb, &ghi.bits, sb);
            ASSERT_EQ(zt::invoke(m.fn, s.origin(), (int)s.step(), src, lo.origin(), (int)lo.step(), hi.origin(), (int)hi.step(), blk,
                                 g.origin(), g.origin() + sb),
                      zelStsNoErr);
            EXPECT_TRUE(shadow.matches()) << src.width << "x" << src.height << " blocks " << blk.width << "x" << blk.height;
        });
    }
}

template <class T>
void dotProdColTrials(void* fn) {
    zt::forTrials(20, [&](zt::Rng& rng, zt::Tight tight, int) {
        const int rows = (int)rng.range(1, 9), len = (int)rng.range(1, 300);
        std::vector<zt::Region> src;
        std::vector<const T*> ptrs;
        std::vector<T> w(rows);
        for (int i = 0; i < rows; ++i) {
            src.emplace_back(len * sizeof(T), 1, len * sizeof(T), tight);
            T* p = (T*)src.back().origin();
            for (int j = 0; j < len; ++j) p[j] = (T)rng.range(-1000, 1000) / 7;
            ptrs.push_back(p);
            w[i] = (T)rng.range(-100, 100) / 3;
        }
        zt::Region dst(len * sizeof(T), 1, len * sizeof(T), tight);
        ASSERT_EQ(zt::invoke(fn, ptrs.data(), w.data(), rows, (T*)dst.origin(), len), zelStsNoErr);
        for (int j = 0; j < len; ++j) {
            T acc = 0;
            for (int i = 0; i < rows; ++i) acc = std::fma(w[i], ptrs[i][j], acc);
            ASSERT_EQ(((T*)dst.origin())[j], acc) << "column " << j << " of " << len;
        }
    });
}

TEST(StatDotProdCol, MatchFusedRule) {
    for (const Member& m : st::members({"DotProdCol"}))
        zt::withType(m.type, [&](auto tag) { dotProdColTrials<typename decltype(tag)::type>(m.fn); });
}

// ---- signed zeros and NaN on every 32f extremum path ------------------------------------------

const float qn = NAN;

// Samples in raster order of an image w pixels wide, and the index of the sample each extreme
// must report (-1: NaN samples only, the first position of the NaN reported).
struct ZeroRow {
    std::vector<float> v;
    int w, minAt, maxAt;
};
const ZeroRow kZeroRows[] = {
    {{-0.0f, 0.0f}, 2, 0, 0},
    {{0.0f, -0.0f}, 2, 0, 0},
    {{qn, 0.0f, -0.0f}, 3, 1, 1},
    {{-0.0f, qn, 0.0f, -0.0f}, 4, 0, 0},
    {{1.0f, qn, -0.0f, 1.0f, 0.0f, -2.0f}, 6, 5, 0},
    {{1.0f, -0.0f, 0.0f, 1.0f}, 2, 1, 0},   // the zero of the first row, though its column is later
    {{0.0f, 1.0f, -0.0f, -0.0f}, 2, 0, 1},
    {{-INFINITY, qn, INFINITY}, 3, 0, 2},
    {{qn, -qn}, 2, -1, -1},
};

// Where a row's samples go: as one image row or down one column, and spread over a wider row of
// NaN samples (which never win) so that equal samples fall in different lanes, chunks and tails.
struct Layout {
    const char* name;
    bool column;
    int off, stride, tail;
};
const Layout kLayouts[] = {{"row", false, 0, 1, 0}, {"column", true, 0, 1, 0}, {"lanes", false, 3, 61, 9},
                           {"tail", false, 130, 1, 0}, {"spread", false, 5, 17, 100}};

TEST(StatExtremes, SignedZerosAndNanOnEveryPath) {
    std::vector<Member> ms;
    for (const Member& m : st::members({"Min, Max, MinMax, MinIndx, MaxIndx, BlockMinMax"}))
        if (m.isFloat) ms.push_back(m);
    for (const ZeroRow& r : kZeroRows)
        for (const Layout& l : kLayouts) {
            const int n = (int)r.v.size(), w0 = l.column ? 1 : r.w, h = n / w0;
            if (l.column && r.w != n) continue;
            const int w = l.off + (w0 - 1) * l.stride + 1 + l.tail;
            auto xOf = [&](int i) { return l.off + (i % w0) * l.stride; };
            for (const Member& m : ms) {
                SCOPED_TRACE(::testing::Message() << m.name << " " << l.name << " row of " << n << " from " << r.v[0]);
                const int C = m.channels, step = w * C * 4;
                std::vector<float> img((size_t)w * h * C, qn);
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < C; ++c) img[((size_t)(i / w0) * w + xOf(i)) * C + c] = r.v[i];
                float got[2][4], blk[2];
                int ix[4], iy[4];
                const float* p = img.data();
                const ZeliSize roi{w, h};
                ZelStatus st = m.op == "MinMax" ? zt::invoke(m.fn, p, step, roi, got[0], got[1])
                               : m.op == "BlockMinMax" ? zt::invoke(m.fn, p, step, roi, blk, 4, blk + 1, 4, roi, got[0], got[1])
                               : m.op.find("Indx") != std::string::npos ? zt::invoke(m.fn, p, step, roi, got[0], ix, iy)
                                                                         : zt::invoke(m.fn, p, step, roi, got[0]);
                ASSERT_EQ(st, zelStsNoErr);
                const bool both = m.op == "MinMax" || m.op == "BlockMinMax";
                for (int k = 0; k < (both ? 2 : 1); ++k) {
                    const bool max = both ? k == 1 : m.op.rfind("Max", 0) == 0;
                    const int at = max ? r.maxAt : r.minAt;
                    for (int c = 0; c < m.used; ++c) {
                        if (at >= 0) {
                            EXPECT_EQ(zt::bitsOf(got[k][c]), zt::bitsOf(r.v[at])) << (max ? "max" : "min");
                        } else {
                            EXPECT_TRUE(std::isnan(got[k][c]));
                        }
                        if (m.op == "BlockMinMax") {
                            EXPECT_EQ(zt::bitsOf(blk[k]), zt::bitsOf(got[k][c]));
                        }
                        if (m.op.find("Indx") == std::string::npos) continue;
                        int first = 0;  // the first sample of the reported bits
                        while (first < (int)img.size() / C - 1 && zt::bitsOf(img[(size_t)first * C + c]) != zt::bitsOf(got[k][c])) ++first;
                        EXPECT_EQ(ix[c], at >= 0 ? xOf(at) : first % w);
                        EXPECT_EQ(iy[c], at >= 0 ? at / w0 : first / w);
                    }
                }
            }
        }
}

// Pairs of (kept, other) samples and the element-wise minimum and maximum of them.
TEST(StatEvery, SignedZerosAndNan) {
    const float pairs[][4] = {{-0.0f, 0.0f, -0.0f, -0.0f}, {0.0f, -0.0f, 0.0f, 0.0f}, {qn, 1.0f, 1.0f, 1.0f},
                              {1.0f, qn, 1.0f, 1.0f},      {qn, -qn, qn, qn},         {-INFINITY, qn, -INFINITY, -INFINITY}};
    for (const Member& m : st::members({"MinEvery, MaxEvery"})) {
        if (!m.isFloat) continue;
        SCOPED_TRACE(m.name);
        const bool max = m.op == "MaxEvery";
        for (const auto& pr : pairs) {
            const int w = 37, n = w * m.channels, step = n * 4;  // a vector body and a tail
            std::vector<float> kept(n, pr[0]), other(n, pr[1]), dst(n, 5.0f);
            ZelStatus st = m.inPlace ? zt::invoke(m.fn, (const float*)other.data(), step, kept.data(), step, ZeliSize{w, 1})
                                     : zt::invoke(m.fn, (const float*)kept.data(), step, (const float*)other.data(), step, dst.data(), step, ZeliSize{w, 1});
            ASSERT_EQ(st, zelStsNoErr);
            const std::vector<float>& out = m.inPlace ? kept : dst;
            for (int i = 0; i < n; ++i) {
                const float want = m.used < m.channels && i % 4 == 3 ? pr[0] : pr[max ? 3 : 2];
                ASSERT_EQ(zt::bitsOf(out[i]), zt::bitsOf(want)) << "kept " << pr[0] << " other " << pr[1] << " sample " << i;
            }
        }
    }
}

// A first row of the type's extreme in every channel stops the scan: the rows after it lie past
// the guard page, so reading them would fault.
TEST(StatExtremes, IndexedScanStopsAtTheTypesExtreme) {
    zt::Region r(12, 1, 12, zt::Tight::End), f(4, 1, 4, zt::Tight::End);
    r.fill(255);
    Zel8u v[3];
    int x[3], y[3];
    ASSERT_EQ(zeliMaxIndx_8u_C3R(r.origin(), 12, {4, 5}, v, x, y), zelStsNoErr);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(v[c] * 100 + x[c] * 10 + y[c], 25500);
    const float mn = -INFINITY;
    memcpy(f.origin(), &mn, 4);
    Zel32f got;
    int gx, gy;
    ASSERT_EQ(zeliMinIndx_32f_C1R((const Zel32f*)f.origin(), 4, {1, 9}, &got, &gx, &gy), zelStsNoErr);
    EXPECT_EQ(got, -INFINITY);
}

// ---- argument-check orders -----------------------------------------------------------------

struct Args {
    const Zel8u* s;
    int ss;
    Zel8u* d;
    int ds;
    ZeliSize roi;
    Zel8u *v1, *v2;
    int *x, *y;
    ZeliSize blk;
};

TEST(StatExtremes, CheckOrders) {
    zt::Region img(8, 4, 8), dst(8, 4, 8), out(64, 1, 64);
    zt::Rng rng = zt::Rng::forTest();
    img.randomize(rng), dst.randomize(rng), out.randomize(rng);
    uint8_t* o = out.origin();
    Args valid{img.origin(), 8, dst.origin(), 8, {8, 4}, o, o + 8, (int*)(o + 16), (int*)(o + 32), {3, 3}};
    using Co = zt::CheckOrder<Args>;
    auto sizes = [](Co& co) {
        co.row("width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -2", [](Args& a) { a.roi.height = -2; }, zelStsSizeErr);
    };
    Co minMax(valid, [](const Args& a) { return zeliMinMax_8u_C1R(a.s, a.ss, a.roi, a.v1, a.v2); }, {&img, &out});
    minMax.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
    minMax.row("pMin null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
    minMax.row("pMax null", [](Args& a) { a.v2 = nullptr; }, zelStsNullPtrErr);
    sizes(minMax);
    minMax.ignored("step 0", [](Args& a) { a.ss = 0; });
    Co maxIndx(valid, [](const Args& a) { return zeliMaxIndx_8u_C1R(a.s, a.ss, a.roi, a.v1, a.x, a.y); }, {&img, &out});
    maxIndx.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
    maxIndx.row("pMax null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
    maxIndx.row("pIndexX null", [](Args& a) { a.x = nullptr; }, zelStsNullPtrErr);
    maxIndx.row("pIndexY null", [](Args& a) { a.y = nullptr; }, zelStsNullPtrErr);
    sizes(maxIndx);
    maxIndx.ignored("step -8", [](Args& a) { a.ss = -8; });
    Co every(valid, [](const Args& a) { return zeliMinEvery_8u_C1IR(a.s, a.ss, a.d, a.ds, a.roi); }, {&img, &dst});
    every.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
    every.row("pSrcDst null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
    sizes(every);
    every.row("srcStep 0", [](Args& a) { a.ss = 0; }, zelStsStepErr);
    every.row("srcDstStep -1", [](Args& a) { a.ds = -1; }, zelStsStepErr);
    Co block(valid, [](const Args& a) {
        return zeliBlockMinMax_8u_C1R(a.s, a.ss, a.roi, a.d, a.ds, a.d ? a.d + 16 : nullptr, a.ds, a.blk, a.v1, a.v2);
    }, {&img, &dst, &out});
    block.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
    block.row("block images null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
    block.row("global minimum null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
    sizes(block);
    block.row("block width 0", [](Args& a) { a.blk.width = 0; }, zelStsSizeErr);
    block.row("srcStep 0", [](Args& a) { a.ss = 0; }, zelStsStepErr);
    for (Co* co : {&minMax, &maxIndx, &every, &block}) co->run();

    static float row0[4] = {1, 2, 3, 4}, w[2] = {1, 2};
    static const Zel32f *rows[2] = {row0, row0}, *badRows[2] = {row0, nullptr};
    struct C {
        const Zel32f* const* rows;
        const Zel32f* w;
        int n;
        Zel32f* d;
        int len;
    };
    zt::CheckOrder<C> co({rows, w, 2, (Zel32f*)dst.origin(), 4}, [](const C& a) { return zeliDotProdCol_32f_L2(a.rows, a.w, a.n, a.d, a.len); }, {&dst});
    co.row("ppSrcRows null", [](C& a) { a.rows = nullptr; }, zelStsNullPtrErr);
    co.row("pWeights null", [](C& a) { a.w = nullptr; }, zelStsNullPtrErr);
    co.row("pDst null", [](C& a) { a.d = nullptr; }, zelStsNullPtrErr);
    co.row("numRows 0", [](C& a) { a.n = 0; }, zelStsSizeErr);
    co.row("len 0", [](C& a) { a.len = 0; }, zelStsSizeErr);
    co.row("a row null", [](C& a) { a.rows = badRows; }, zelStsNullPtrErr);
    co.run();
}

}  // namespace
