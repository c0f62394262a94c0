// Extremes and their positions, element-wise extremes, block extremes and column dot products
// against reference models written from the rules, on random geometry in guard-page regions.
//
// The 32f rule under test, on every path: NaN samples never win over a number (a channel of
// NaN samples only yields NaN), and -0 counts as below +0.
#include <cmath>
#include <functional>

#include "zel_test_kit.h"

namespace {

enum Ty { U8, U16, S16, F32 };
int bytesOf(Ty t) { return t == U8 ? 1 : t == F32 ? 4 : 2; }
template <class T> constexpr Ty tyOf() { return std::is_same_v<T, Zel8u> ? U8 : std::is_same_v<T, Zel16u> ? U16 : std::is_same_v<T, Zel16s> ? S16 : F32; }

// A sample as a double plus its bits, so that -0 and NaN payloads stay visible.
struct S {
    double v;
    uint32_t bits;
};
S sampleAt(Ty ty, const uint8_t* p) {
    switch (ty) {
        case U8: return {(double)*p, *p};
        case U16: { uint16_t x; memcpy(&x, p, 2); return {(double)x, x}; }
        case S16: { int16_t x; memcpy(&x, p, 2); return {(double)x, (uint16_t)x}; }
        default: { float f; memcpy(&f, p, 4); uint32_t b; memcpy(&b, p, 4); return {(double)f, b}; }
    }
}

// True when a beats b for a minimum (a maximum when max): numbers beat NaN, -0 is below +0.
bool beats(S a, S b, bool max) {
    bool na = std::isnan(a.v), nb = std::isnan(b.v);
    if (na || nb) return !na && nb;
    if (a.v == b.v) return max ? (!std::signbit(a.v) && std::signbit(b.v)) : (std::signbit(a.v) && !std::signbit(b.v));
    return max ? a.v > b.v : a.v < b.v;
}

enum Op { Min, Max, MinMax, MinIndx, MaxIndx };
using ExtCall = std::function<ZelStatus(const void*, int, ZeliSize, void*, void*, int*, int*)>;
struct ExtMember {
    const char* name;
    Ty ty;
    int C, out;
    Op op;
    ExtCall call;
};

#define EXT1(fn, T, C, out, op) ExtMember{#fn, tyOf<T>(), C, out, op, [](const void* s, int st, ZeliSize r, void* a, void*, int*, int*) { return fn((const T*)s, st, r, (T*)a); }}
#define EXT2(fn, T, C, out, op) ExtMember{#fn, tyOf<T>(), C, out, op, [](const void* s, int st, ZeliSize r, void* a, void* b, int*, int*) { return fn((const T*)s, st, r, (T*)a, (T*)b); }}
#define EXTI(fn, T, C, out, op) ExtMember{#fn, tyOf<T>(), C, out, op, [](const void* s, int st, ZeliSize r, void* a, void*, int* x, int* y) { return fn((const T*)s, st, r, (T*)a, x, y); }}
#define EXT_L(M, op, t, T) M(zeli##op##_##t##_C1R, T, 1, 1, op), M(zeli##op##_##t##_C3R, T, 3, 3, op), M(zeli##op##_##t##_C4R, T, 4, 4, op), M(zeli##op##_##t##_AC4R, T, 4, 3, op)
#define EXT_T(M, op) EXT_L(M, op, 8u, Zel8u), EXT_L(M, op, 16u, Zel16u), EXT_L(M, op, 16s, Zel16s), EXT_L(M, op, 32f, Zel32f)

const std::vector<ExtMember>& extMembers() {
    static const std::vector<ExtMember> m = {EXT_T(EXT1, Min), EXT_T(EXT1, Max), EXT_T(EXT2, MinMax), EXT_T(EXTI, MinIndx), EXT_T(EXTI, MaxIndx)};
    return m;
}

// Fills samples from a small set of values so that ties abound: integers near both ends of the
// type, floats among ±0, small numbers, ±inf and NaN (with a chance per trial).
void fillTies(zt::Region& r, Ty ty, zt::Rng& rng, bool nans) {
    const int b = bytesOf(ty);
    const int64_t pool = rng.range(2, 5);
    for (int64_t i = 0; i + b <= r.extent(); i += b) {
        int64_t k = rng.range(0, pool);
        uint8_t* p = r.lo() + i;
        if (ty == U8) *p = k == 0 ? 0 : k == pool ? 255 : (uint8_t)(100 + k);
        else if (ty == U16) { uint16_t v = k == 0 ? 0 : k == pool ? 65535 : (uint16_t)(1000 + k); memcpy(p, &v, 2); }
        else if (ty == S16) { int16_t v = k == 0 ? -32768 : k == pool ? 32767 : (int16_t)(k - 2); memcpy(p, &v, 2); }
        else {
            static const float vals[] = {0.0f, -0.0f, 1.5f, -1.5f, INFINITY, -INFINITY, 7.0f};
            float f = nans && rng.chance(0.15) ? (rng.chance(0.5) ? NAN : -NAN) : vals[rng.range(0, 6) % (pool + 2)];
            memcpy(p, &f, 4);
        }
    }
}

TEST(StatExtremes, MatchModelWithTiesNansAndZeros) {
    for (const ExtMember& m : extMembers()) {
        SCOPED_TRACE(m.name);
        ZT_SKIP_IF_PLACEHOLDER(m.name);
        const int sb = bytesOf(m.ty), px = sb * m.C;
        zt::StepPolicy pol;
        pol.unit = sb, pol.zero = 0.05, pol.negative = 0.1;  // steps are not checked
        zt::forTrials(15, [&](zt::Rng& rng, zt::Tight tight, int trial) {
            ZeliSize roi{zt::randomWidth(rng, px), 0};
            roi.height = zt::randomHeight(rng, (int64_t)roi.width * px);
            const int64_t row = (int64_t)roi.width * px;
            zt::Region img(row, roi.height, zt::randomStep(rng, row, pol), tight);
            fillTies(img, m.ty, rng, trial % 3 != 0);
            if (m.ty == F32 && trial % 5 == 4)  // a channel of NaN samples only
                for (int64_t y = 0; y < roi.height; ++y)
                    for (int64_t x = 0; x < roi.width; ++x) {
                        float n = NAN;
                        memcpy(img.row(y) + (x * m.C + trial % m.C) * 4, &n, 4);
                    }
            SCOPED_TRACE(::testing::Message() << roi.width << "x" << roi.height << " step " << img.step());
            for (bool max : {false, true}) {
                if ((m.op == Min || m.op == MinIndx) && max) continue;
                if ((m.op == Max || m.op == MaxIndx) && !max) continue;
                // Model: the first sample in raster order that no later sample beats.
                for (int c = 0; c < m.out; ++c) {
                    const uint8_t* first = img.origin() + c * sb;
                    S best = sampleAt(m.ty, first);
                    int bx = 0, by = 0;
                    for (int64_t y = 0; y < roi.height; ++y)
                        for (int64_t x = 0; x < roi.width; ++x) {
                            S s = sampleAt(m.ty, img.origin() + (img.step() / sb) * sb * y + (x * m.C + c) * sb);
                            if (beats(s, best, max)) best = s, bx = (int)x, by = (int)y;
                        }
                    alignas(8) uint8_t vmin[16], vmax[16];
                    int ix[4] = {-1, -1, -1, -1}, iy[4] = {-1, -1, -1, -1};
                    ASSERT_EQ(m.call(img.origin(), (int)img.step(), roi, vmin, vmax, ix, iy), zelStsNoErr);
                    const uint8_t* got = m.op == MinMax && max ? vmax : vmin;
                    S g = sampleAt(m.ty, got + c * sb);
                    if (std::isnan(best.v)) {
                        EXPECT_TRUE(std::isnan(g.v)) << "channel " << c << " of NaN samples only";
                    } else {
                        EXPECT_EQ(g.bits, best.bits) << "channel " << c << " value " << g.v << " vs " << best.v;
                    }
                    if (m.op == MinIndx || m.op == MaxIndx) {
                        if (std::isnan(best.v)) {  // the reported NaN's first position
                            bool found = false;
                            for (int64_t y = 0; y < roi.height && !found; ++y)
                                for (int64_t x = 0; x < roi.width && !found; ++x) {
                                    S s = sampleAt(m.ty, img.origin() + (img.step() / sb) * sb * y + (x * m.C + c) * sb);
                                    if (s.bits == g.bits) found = true, bx = (int)x, by = (int)y;
                                }
                        }
                        EXPECT_EQ(ix[c], bx) << "channel " << c;
                        EXPECT_EQ(iy[c], by) << "channel " << c;
                    }
                }
            }
        });
    }
}

TEST(StatExtremes, NanIgnoredInBodiesAndTails) {
    // 1-channel rows of 100 floats: positions 0 (the initial value), 40 (a vector body) and
    // 99 (the tail) hold NaN, and the numbers are the answer.
    for (int at : {0, 40, 99}) {
        std::vector<float> img(200, 3.0f);
        img[at] = NAN, img[100 + at] = -NAN;
        img[150] = 1.0f, img[170] = 9.0f;
        float mn, mx;
        int x, y;
        ASSERT_EQ(zeliMinMax_32f_C1R(img.data(), 400, {100, 2}, &mn, &mx), zelStsNoErr);
        EXPECT_EQ(mn, 1.0f);
        EXPECT_EQ(mx, 9.0f);
        ASSERT_EQ(zeliMinIndx_32f_C1R(img.data(), 400, {100, 2}, &mn, &x, &y), zelStsNoErr);
        EXPECT_EQ(mn, 1.0f);
        EXPECT_EQ(x, 50);
        EXPECT_EQ(y, 1);
        ASSERT_EQ(zeliMaxIndx_32f_C1R(img.data(), 400, {100, 2}, &mx, &x, &y), zelStsNoErr);
        EXPECT_EQ(x, 70);
        ASSERT_EQ(zeliMin_32f_C1R(img.data(), 400, {100, 2}, &mn), zelStsNoErr);
        EXPECT_EQ(mn, 1.0f);
        ASSERT_EQ(zeliMax_32f_C1R(img.data(), 400, {100, 2}, &mx), zelStsNoErr);
        EXPECT_EQ(mx, 9.0f);
    }
    // -0 is below +0: the minimum of {+0, -0} is -0 at its own position.
    float z[5] = {0.0f, 1.0f, -0.0f, 0.0f, 2.0f};
    float v;
    int x, y;
    ASSERT_EQ(zeliMinIndx_32f_C1R(z, 20, {5, 1}, &v, &x, &y), zelStsNoErr);
    EXPECT_TRUE(std::signbit(v));
    EXPECT_EQ(x, 2);
}

TEST(StatExtremes, EarlierRowWinsOverSmallerColumn) {
    Zel8u img[6 * 4] = {};
    img[2 * 6 + 5] = 200, img[3 * 6 + 1] = 200;
    Zel8u v;
    int x, y;
    ASSERT_EQ(zeliMaxIndx_8u_C1R(img, 6, {6, 4}, &v, &x, &y), zelStsNoErr);
    EXPECT_EQ(v, 200);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 2);
}

// A first row of 255 in every channel stops the scan: the rows after it lie past the guard page,
// so reading them would fault.
TEST(StatExtremes, MaxIndxStopsAtTheTypesLargestValue) {
    for (zt::Tight tight : zt::kTightSides) {
        if (tight == zt::Tight::Start) continue;  // the unmapped rows must follow the first
        zt::Region r(12, 1, 12, tight);
        r.fill(255);
        Zel8u v[3];
        int x[3], y[3];
        ASSERT_EQ(zeliMaxIndx_8u_C3R(r.origin(), 12, {4, 5}, v, x, y), zelStsNoErr);
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(v[c], 255);
            EXPECT_EQ(x[c], 0);
            EXPECT_EQ(y[c], 0);
        }
        float mn = -INFINITY;
        zt::Region f(4, 1, 4, tight);
        memcpy(f.origin(), &mn, 4);
        Zel32f got;
        int gx, gy;
        ASSERT_EQ(zeliMinIndx_32f_C1R((const Zel32f*)f.origin(), 4, {1, 9}, &got, &gx, &gy), zelStsNoErr);
        EXPECT_EQ(got, -INFINITY);
    }
}

TEST(StatExtremes, ZeroStepReadsTheFirstRowAgain) {
    Zel8u img[4] = {9, 3, 7, 5};
    Zel8u mn, mx;
    ASSERT_EQ(zeliMinMax_8u_C1R(img, 0, {4, 6}, &mn, &mx), zelStsNoErr);
    EXPECT_EQ(mn, 3);
    EXPECT_EQ(mx, 9);
}

// ---- MinEvery, MaxEvery ----------------------------------------------------------------------

// call(other, otherStep, kept, keptStep, dst, dstStep, roi): kept is the image whose sample stays
// on ties (pSrcDst of the IR forms, pSrc1 of the R forms), other is pSrc or pSrc2.
using EveryCall = std::function<ZelStatus(const void*, int, const void*, int, void*, int, ZeliSize)>;
struct EveryMember {
    const char* name;
    Ty ty;
    int C;
    bool alpha, max, inPlace;
    EveryCall call;
};
#define EVIR(fn, T, C, alpha, max) EveryMember{#fn, tyOf<T>(), C, alpha, max, true, [](const void* s, int ss, const void*, int, void* d, int ds, ZeliSize r) { return fn((const T*)s, ss, (T*)d, ds, r); }}
#define EVR(fn, T, max) EveryMember{#fn, tyOf<T>(), 1, false, max, false, [](const void* o, int so, const void* k, int sk, void* d, int ds, ZeliSize r) { return fn((const T*)k, sk, (const T*)o, so, (T*)d, ds, r); }}
#define EV_L(op, t, T, max) EVIR(zeli##op##_##t##_C1IR, T, 1, false, max), EVIR(zeli##op##_##t##_C3IR, T, 3, false, max), EVIR(zeli##op##_##t##_C4IR, T, 4, false, max), EVIR(zeli##op##_##t##_AC4IR, T, 4, true, max)
#define EV_ALL(op, max) EV_L(op, 8u, Zel8u, max), EV_L(op, 16u, Zel16u, max), EV_L(op, 16s, Zel16s, max), EV_L(op, 32f, Zel32f, max), \
    EVR(zeli##op##_8u_C1R, Zel8u, max), EVR(zeli##op##_16u_C1R, Zel16u, max), EVR(zeli##op##_32f_C1R, Zel32f, max)

TEST(StatEvery, MatchModelIncludingNan) {
    const std::vector<EveryMember> members = {EV_ALL(MinEvery, false), EV_ALL(MaxEvery, true)};
    for (const EveryMember& m : members) {
        SCOPED_TRACE(m.name);
        ZT_SKIP_IF_PLACEHOLDER(m.name);
        const int sb = bytesOf(m.ty), px = sb * m.C;
        zt::StepPolicy pol;
        pol.unit = sb;
        zt::forTrials(10, [&](zt::Rng& rng, zt::Tight tight, int) {
            ZeliSize roi{zt::randomWidth(rng, px), 0};
            roi.height = zt::randomHeight(rng, (int64_t)roi.width * px);
            const int64_t row = (int64_t)roi.width * px;
            zt::Region a(row, roi.height, zt::randomStep(rng, row, pol), tight);
            zt::Region b(row, roi.height, zt::randomStep(rng, row, pol), tight);
            zt::Region d(row, roi.height, zt::randomStep(rng, row, pol), tight);
            fillTies(a, m.ty, rng, true);
            fillTies(b, m.ty, rng, true);
            d.randomize(rng);
            // kept = pSrcDst (IR) or pSrc1 (R); other = pSrc or pSrc2.
            zt::Region& kept = m.inPlace ? d : a;
            if (m.inPlace) fillTies(d, m.ty, rng, true);
            zt::Region& other = m.inPlace ? a : b;
            zt::Shadow shadow({&a, &b, &d});
            for (int64_t y = 0; y < roi.height; ++y)
                for (int64_t i = 0; i < roi.width * m.C; ++i) {
                    uint8_t* dst = shadow(d.origin()) + (d.step() / sb) * sb * y + i * sb;
                    const uint8_t* k = shadow(kept.origin()) + (kept.step() / sb) * sb * y + i * sb;
                    const uint8_t* o = shadow(other.origin()) + (other.step() / sb) * sb * y + i * sb;
                    if (m.alpha && i % 4 == 3) continue;  // alpha stays
                    S ka = sampleAt(m.ty, k), ob = sampleAt(m.ty, o);
                    bool takeOther = m.max ? ob.v > ka.v : ob.v < ka.v;
                    if (std::isnan(ka.v) && !std::isnan(ob.v)) takeOther = true;
                    memmove(dst, takeOther ? o : k, sb);
                }
            ASSERT_EQ(m.call(other.origin(), (int)other.step(), kept.origin(), (int)kept.step(), d.origin(), (int)d.step(), roi), zelStsNoErr)
                << roi.width << "x" << roi.height;
            EXPECT_TRUE(shadow.matches()) << roi.width << "x" << roi.height;
        });
    }
}

// ---- BlockMinMax ----------------------------------------------------------------------------

template <class T>
void blockMinMaxTrials(ZelStatus (*fn)(const T*, int, ZeliSize, T*, int, T*, int, ZeliSize, T*, T*)) {
    const Ty ty = tyOf<T>();
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        ZeliSize src{trial == 1 ? 5000 : zt::randomWidth(rng, sizeof(T)), 0};
        src.height = zt::randomHeight(rng, (int64_t)src.width * sizeof(T)) + 2;
        ZeliSize blk{(int)rng.range(1, trial == 1 ? 3000 : 40), (int)rng.range(1, 6)};
        if (trial == 2) blk = {src.width + 3, src.height + 1};
        const int bx = (src.width + blk.width - 1) / blk.width, by = (src.height + blk.height - 1) / blk.height;
        zt::StepPolicy pol;
        pol.unit = sizeof(T);
        zt::Region s(src.width * sizeof(T), src.height, zt::randomStep(rng, src.width * sizeof(T), pol), tight);
        zt::Region lo(bx * sizeof(T), by, zt::randomStep(rng, bx * sizeof(T), pol), tight);
        zt::Region hi(bx * sizeof(T), by, zt::randomStep(rng, bx * sizeof(T), pol), tight);
        zt::Region g(2 * sizeof(T), 1, 2 * sizeof(T), tight);
        fillTies(s, ty, rng, true);
        lo.randomize(rng), hi.randomize(rng), g.randomize(rng);
        zt::Shadow shadow({&s, &lo, &hi, &g});
        S glo{}, ghi{};
        for (int j = 0; j < by; ++j)
            for (int i = 0; i < bx; ++i) {
                S l{}, h{};
                bool first = true;
                for (int y = j * blk.height; y < std::min(src.height, (j + 1) * blk.height); ++y)
                    for (int x = i * blk.width; x < std::min(src.width, (i + 1) * blk.width); ++x) {
                        S v = sampleAt(ty, s.row(y) + x * sizeof(T));
                        if (first || beats(v, l, false)) l = v;
                        if (first || beats(v, h, true)) h = v;
                        first = false;
                    }
                memcpy(shadow(lo.row(j)) + i * sizeof(T), &l.bits, sizeof(T));
                memcpy(shadow(hi.row(j)) + i * sizeof(T), &h.bits, sizeof(T));
                if ((i == 0 && j == 0) || beats(l, glo, false)) glo = l;
                if ((i == 0 && j == 0) || beats(h, ghi, true)) ghi = h;
            }
        memcpy(shadow(g.origin()), &glo.bits, sizeof(T));
        memcpy(shadow(g.origin()) + sizeof(T), &ghi.bits, sizeof(T));
        ASSERT_EQ(fn((const T*)s.origin(), (int)s.step(), src, (T*)lo.origin(), (int)lo.step(), (T*)hi.origin(), (int)hi.step(),
                     blk, (T*)g.origin(), (T*)g.origin() + 1),
                  zelStsNoErr);
        EXPECT_TRUE(shadow.matches()) << src.width << "x" << src.height << " blocks " << blk.width << "x" << blk.height;
    });
}

TEST(StatBlockMinMax, MatchModel) {
    blockMinMaxTrials<Zel8u>(zeliBlockMinMax_8u_C1R);
    blockMinMaxTrials<Zel16u>(zeliBlockMinMax_16u_C1R);
    blockMinMaxTrials<Zel16s>(zeliBlockMinMax_16s_C1R);
    blockMinMaxTrials<Zel32f>(zeliBlockMinMax_32f_C1R);
}

// ---- DotProdCol ------------------------------------------------------------------------------

template <class T>
void dotProdColTrials(ZelStatus (*fn)(const T* const[], const T*, int, T*, int)) {
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
        dst.fill(0x5A);
        ASSERT_EQ(fn(ptrs.data(), w.data(), rows, (T*)dst.origin(), len), zelStsNoErr);
        for (int j = 0; j < len; ++j) {
            T acc = 0;
            for (int i = 0; i < rows; ++i) acc = std::fma(w[i], ptrs[i][j], acc);
            ASSERT_EQ(((T*)dst.origin())[j], acc) << "column " << j << " of " << len;
        }
    });
}

TEST(StatDotProdCol, MatchFusedRule) {
    dotProdColTrials<Zel32f>(zeliDotProdCol_32f_L2);
    dotProdColTrials<Zel64f>(zeliDotProdCol_64f_L2);
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
    auto sizes = [](zt::CheckOrder<Args>& co) {
        co.row("width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -2", [](Args& a) { a.roi.height = -2; }, zelStsSizeErr);
    };
    {
        SCOPED_TRACE("MinMax");
        zt::CheckOrder<Args> co(valid, [](const Args& a) { return zeliMinMax_8u_C1R(a.s, a.ss, a.roi, a.v1, a.v2); }, {&img, &out});
        co.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
        co.row("pMin null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
        co.row("pMax null", [](Args& a) { a.v2 = nullptr; }, zelStsNullPtrErr);
        sizes(co);
        co.ignored("step 0", [](Args& a) { a.ss = 0; });
        co.run();
    }
    {
        SCOPED_TRACE("MaxIndx");
        zt::CheckOrder<Args> co(valid, [](const Args& a) { return zeliMaxIndx_8u_C1R(a.s, a.ss, a.roi, a.v1, a.x, a.y); }, {&img, &out});
        co.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
        co.row("pMax null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
        co.row("pIndexX null", [](Args& a) { a.x = nullptr; }, zelStsNullPtrErr);
        co.row("pIndexY null", [](Args& a) { a.y = nullptr; }, zelStsNullPtrErr);
        sizes(co);
        co.ignored("step -8", [](Args& a) { a.ss = -8; });
        co.run();
    }
    {
        SCOPED_TRACE("MinEvery");
        zt::CheckOrder<Args> co(valid, [](const Args& a) { return zeliMinEvery_8u_C1IR(a.s, a.ss, a.d, a.ds, a.roi); }, {&img, &dst});
        co.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
        co.row("pSrcDst null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
        sizes(co);
        co.row("srcStep 0", [](Args& a) { a.ss = 0; }, zelStsStepErr);
        co.row("srcDstStep -1", [](Args& a) { a.ds = -1; }, zelStsStepErr);
        co.run();
    }
    {
        SCOPED_TRACE("BlockMinMax");
        zt::CheckOrder<Args> co(valid, [](const Args& a) {
            return zeliBlockMinMax_8u_C1R(a.s, a.ss, a.roi, a.d, a.ds, a.d ? a.d + 16 : nullptr, a.ds, a.blk, a.v1, a.v2);
        }, {&img, &dst, &out});
        co.row("pSrc null", [](Args& a) { a.s = nullptr; }, zelStsNullPtrErr);
        co.row("block images null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
        co.row("global minimum null", [](Args& a) { a.v1 = nullptr; }, zelStsNullPtrErr);
        sizes(co);
        co.row("block width 0", [](Args& a) { a.blk.width = 0; }, zelStsSizeErr);
        co.row("srcStep 0", [](Args& a) { a.ss = 0; }, zelStsStepErr);
        co.run();
    }
    {
        SCOPED_TRACE("DotProdCol");
        static float row0[4] = {1, 2, 3, 4};
        struct C {
            const Zel32f* const* rows;
            const Zel32f* w;
            int n;
            Zel32f* d;
            int len;
        };
        static const Zel32f* rows[2] = {row0, row0};
        static const Zel32f* badRows[2] = {row0, nullptr};
        static float w[2] = {1, 2};
        zt::CheckOrder<C> co({rows, w, 2, (Zel32f*)dst.origin(), 4}, [](const C& a) { return zeliDotProdCol_32f_L2(a.rows, a.w, a.n, a.d, a.len); }, {&dst});
        co.row("ppSrcRows null", [](C& a) { a.rows = nullptr; }, zelStsNullPtrErr);
        co.row("pWeights null", [](C& a) { a.w = nullptr; }, zelStsNullPtrErr);
        co.row("pDst null", [](C& a) { a.d = nullptr; }, zelStsNullPtrErr);
        co.row("numRows 0", [](C& a) { a.n = 0; }, zelStsSizeErr);
        co.row("len 0", [](C& a) { a.len = 0; }, zelStsSizeErr);
        co.row("a row null", [](C& a) { a.rows = badRows; }, zelStsNullPtrErr);
        co.run();
    }
}

TEST(StatExtremes, OnePixel) {
    Zel16s v = -5, mn, mx;
    int x = -1, y = -1;
    ASSERT_EQ(zeliMinMax_16s_C1R(&v, 2, {1, 1}, &mn, &mx), zelStsNoErr);
    EXPECT_EQ(mn, -5);
    EXPECT_EQ(mx, -5);
    ASSERT_EQ(zeliMinIndx_16s_C1R(&v, 2, {1, 1}, &mn, &x, &y), zelStsNoErr);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
}

}  // namespace
