// Conv, DecimateFilterRow/Column, WinBartlett/WinHamming: every member against a scalar model
// of its documented rule (the direct convolution sum, the triangular decimation taps, the
// window formulas) on random geometry in guarded memory, with work buffers of exactly the
// queried size against a guard page; the check orders of the calls and of the queries.
#include <math.h>

#include "zel_test_kit.h"

namespace {

struct Member : zt::Name {
    Member(const zt::Name& n) : zt::Name(n) {}
    bool conv() const { return op == "Conv"; }
    bool column() const { return op == "DecimateFilterColumn"; }
    bool decimate() const { return op.rfind("Decimate", 0) == 0; }
    bool hamming() const { return op == "WinHamming"; }
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

// The arguments of any member: source (src1), src2, destination, buffer; their steps; the
// sizes of src1 (or the ROI) and src2; divisor or fraction, and algType.
struct Args {
    const void* p[4];
    int step[3];
    ZeliSize size[2];
    int k[2];
};

ZelStatus call(const Member& m, const Args& a) {
    void* d = (void*)a.p[2];
    Zel8u* buf = (Zel8u*)a.p[3];
    if (m.conv() && m.isFloat)
        return zt::invoke(m.fn, a.p[0], a.step[0], a.size[0], a.p[1], a.step[1], a.size[1], d, a.step[2], a.k[1], buf);
    if (m.conv())
        return zt::invoke(m.fn, a.p[0], a.step[0], a.size[0], a.p[1], a.step[1], a.size[1], d, a.step[2], a.k[0], a.k[1], buf);
    if (m.decimate()) return zt::invoke(m.fn, a.p[0], a.step[0], a.size[0], d, a.step[2], a.k[0]);
    if (m.inPlace) return zt::invoke(m.fn, d, a.step[2], a.size[0], buf);
    return zt::invoke(m.fn, a.p[0], a.step[0], d, a.step[2], a.size[0], buf);
}

int bufferSize(const Member& m, ZeliSize s1, ZeliSize s2) {
    int n = -1;
    auto t = (ZelDataType)(m.isFloat ? zel32f : m.sampleBytes == 1 ? zel8u : m.isSigned ? zel16s : zel16u);
    EXPECT_EQ(m.conv() ? zeliConvGetBufferSize(s1, s2, t, m.channels, 0, &n)
                       : (m.hamming() ? zeliWinHammingGetBufferSize : zeliWinBartlettGetBufferSize)(t, s1, &n),
              zelStsNoErr);
    return n;
}

template <class T>
T load(const uint8_t* p) { T v; memcpy(&v, p, sizeof v); return v; }
template <class T>
void put(uint8_t* p, T v) { memcpy(p, &v, sizeof v); }
// Samples that keep sums in range and make rounding ties: often small, sometimes anything.
template <class T>
void fillSamples(zt::Region& r, zt::Rng& rng) {
    for (int64_t i = 0; i + (int64_t)sizeof(T) <= r.extent(); i += sizeof(T))
        if constexpr (std::is_floating_point_v<T>) put(r.lo() + i, rng.chance(0.05) ? (T)-0.0 : (T)rng.range(-64, 64) / 16);
        else put(r.lo() + i, rng.chance(0.6) ? (T)rng.range(0, 6) : rng.bits<T>());
}
// n / d rounded half to even (exact), then saturated.
template <class T>
T divide(int64_t n, int64_t d) {
    if (d < 0) n = -n, d = -d;
    int64_t q = n >= 0 ? n / d : -((-n + d - 1) / d), r = n - q * d;
    q += 2 * r > d || (2 * r == d && (q & 1));
    if constexpr (std::is_floating_point_v<T>) return (T)q;
    else return (T)std::clamp<int64_t>(q, std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max());
}

// dst(x, y) = full(x + ox, y + oy), full(X, Y) = sum src2(j, i) src1(X - j, Y - i) over src1.
std::pair<int64_t, int64_t> convShape(int alg, int64_t n1, int64_t n2) {
    if (alg == 0) return {n1 + n2 - 1, 0};
    if (alg == 1) return {std::abs(n1 - n2) + 1, std::min(n1, n2) - 1};
    return {n1, (n2 - 1) / 2};
}

template <class T>
void convTrial(const Member& m, zt::Rng& rng, zt::Tight tight) {
    const int S = sizeof(T), C = m.channels, P = S * C, w1 = (int)rng.range(1, 70), h1 = (int)rng.range(1, 10);
    const bool big = rng.chance(0.15);  // more than 258 taps
    const int w2 = (int)(big ? rng.range(17, 40) : rng.range(1, rng.chance(0.2) ? w1 + 6 : 7));
    const int h2 = (int)(big ? rng.range(16, 20) : rng.range(1, rng.chance(0.2) ? h1 + 4 : 5));
    const int alg = (int)rng.range(0, 2), div = m.isFloat ? 1 : rng.pick(std::vector<int>{1, 2, 3, 4, -3, 9, 5000});
    auto [ow, ox] = convShape(alg, w1, w2);
    auto [oh, oy] = convShape(alg, h1, h2);
    const int64_t st[3] = {zt::randomStep(rng, w1 * P, {S}), zt::randomStep(rng, w2 * P, {S}), zt::randomStep(rng, ow * P, {S})};
    zt::Region a(w1 * P, h1, st[0], tight), b(w2 * P, h2, st[1], tight), d(ow * P, oh, st[2], tight);
    const int n = bufferSize(m, {w1, h1}, {w2, h2});
    zt::Region buf(n, 1, n, tight);
    fillSamples<T>(a, rng), fillSamples<T>(b, rng), d.randomize(rng), buf.randomize(rng);
    zt::Shadow expect({&a, &b, &d});
    for (int64_t y = 0; y < oh; ++y)
        for (int64_t x = 0; x < ow * C; ++x) {
            if (x % C >= m.used) continue;
            float accF = 0.0f;
            int64_t accI = 0;
            for (int64_t i = 0; i < h2; ++i)
                for (int64_t j = 0, xs = x / C + ox - j, ys = y + oy - i; j < w2; ++j, --xs)
                    if (xs >= 0 && xs < w1 && ys >= 0 && ys < h1) {
                        T k = load<T>(b.row(i) + (j * C + x % C) * S), s = load<T>(a.row(ys) + (xs * C + x % C) * S);
                        accF = fmaf((float)k, (float)s, accF), accI += (int64_t)k * (int64_t)s;
                    }
            put(expect(d.row(y)) + x * S, m.isFloat ? (T)accF : divide<T>(accI, div));
        }
    SCOPED_TRACE(::testing::Message() << w1 << "x" << h1 << " * " << w2 << "x" << h2 << " alg " << alg << " divisor " << div);
    ASSERT_EQ(call(m, {{a.origin(), b.origin(), d.origin(), buf.origin()}, {(int)st[0], (int)st[1], (int)st[2]},
                       {{w1, h1}, {w2, h2}}, {div, alg}}),
              zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

// Output k of a line of len samples: the taps n(t) = 2q - |2pt - (2k + 1)q + p| > 0 over the
// clamped samples, divided by their sum.
template <class T, class Get>
T decimated(int p, int q, int64_t k, int64_t len, Get get) {
    float acc = 0.0f;
    int64_t exact = 0, sum = 0;
    for (int64_t t = k * q / p - 3; t <= k * q / p + 4; ++t)
        if (int64_t n = 2 * q - std::abs(2 * p * t - (2 * k + 1) * q + p); n > 0) {
            T s = get(std::clamp<int64_t>(t, 0, len - 1));
            acc = fmaf((float)n, (float)s, acc), exact += n * (int64_t)s, sum += n;
        }
    return std::is_floating_point_v<T> ? (T)(acc / (float)sum) : divide<T>(exact, sum);
}

template <class T>
void decimateTrial(const Member& m, zt::Rng& rng, zt::Tight tight) {
    static const int kFraction[5][2] = {{1, 2}, {3, 5}, {5, 8}, {7, 10}, {3, 4}};
    const int S = sizeof(T), C = m.channels, P = S * C, f = (int)rng.range(0, 4), p = kFraction[f][0], q = kFraction[f][1];
    const int64_t w = 1 + zt::randomWidth(rng, P), h = m.column() ? rng.range(2, 40) : zt::randomHeight(rng, w * P);
    const int64_t ow = m.column() ? w : w * p / q, oh = m.column() ? h * p / q : h;
    if (ow < 1 || oh < 1) return;
    const int64_t ss = zt::randomStep(rng, w * P, {S}), ds = zt::randomStep(rng, ow * P, {S});
    zt::Region src(w * P, h, ss, tight), dst(ow * P, oh, ds, tight);
    fillSamples<T>(src, rng), dst.randomize(rng);
    zt::Shadow expect({&src, &dst});
    for (int64_t y = 0; y < oh; ++y)
        for (int64_t x = 0; x < ow * C; ++x)
            put(expect(dst.row(y)) + x * S,
                m.column() ? decimated<T>(p, q, y, h, [&](int64_t t) { return load<T>(src.row(t) + x * S); })
                           : decimated<T>(p, q, x / C, w, [&](int64_t t) { return load<T>(src.row(y) + (t * C + x % C) * S); }));
    SCOPED_TRACE(::testing::Message() << w << "x" << h << " fraction " << p << "/" << q);
    ASSERT_EQ(call(m, {{src.origin(), nullptr, dst.origin(), nullptr}, {(int)ss, 0, (int)ds}, {{(int)w, (int)h}}, {f, 0}}),
              zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

// Weights for n <= (N - 1) / 2 in double, rounded to float and mirrored.
std::vector<float> window(bool hamming, int64_t n) {
    std::vector<float> w(n, 1.0f);
    for (int64_t k = 0; n > 1 && k <= (n - 1) / 2; ++k)
        w[k] = w[n - 1 - k] =
            (float)(hamming ? 0.54 - 0.46 * cos(2.0 * M_PI * (double)k / (double)(n - 1)) : (double)(2 * k) / (double)(n - 1));
    return w;
}

template <class T>
void windowTrial(const Member& m, zt::Rng& rng, zt::Tight tight) {
    const int S = sizeof(T);
    const int64_t w = zt::randomWidth(rng, S), h = rng.range(1, 12);
    const int64_t ss = zt::randomStep(rng, w * S, {S}), ds = m.inPlace ? ss : zt::randomStep(rng, w * S, {S});
    zt::Region src(w * S, h, ss, tight), dst(w * S, h, ds, tight);
    const int n = bufferSize(m, {(int)w, (int)h}, {});
    zt::Region buf(n, 1, n, tight);
    fillSamples<T>(src, rng), fillSamples<T>(dst, rng), buf.randomize(rng);
    const std::vector<float> wx = window(m.hamming(), w), wy = window(m.hamming(), h);
    zt::Shadow before({&src, &dst}), expect({&src, &dst});
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x) {
            float v = (float)load<T>(before((m.inPlace ? dst : src).row(y)) + x * S) * wx[x] * wy[y];
            put(expect(dst.row(y)) + x * S, std::is_floating_point_v<T> ? (T)v : divide<T>((int64_t)nearbyintf(v), 1));
        }
    ASSERT_EQ(call(m, {{src.origin(), nullptr, dst.origin(), buf.origin()}, {(int)ss, 0, (int)ds}, {{(int)w, (int)h}}, {}}),
              zelStsNoErr);
    EXPECT_TRUE(expect.matches()) << w << "x" << h;
}

class ConvDecimateWin : public ::testing::TestWithParam<Member> {};

TEST_P(ConvDecimateWin, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(25, [&](zt::Rng& rng, zt::Tight tight, int) {
        zt::withType(m.type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            m.conv() ? convTrial<T>(m, rng, tight) : m.decimate() ? decimateTrial<T>(m, rng, tight) : windowTrial<T>(m, rng, tight);
        });
    });
}

// Conv: pointers, sizes, steps, algType, divisor. Decimate: pointers, steps, size, fraction,
// a source too short for one sample. Windows: pointers, size, steps.
TEST_P(ConvDecimateWin, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int P = m.sampleBytes * m.channels;
    zt::Region a(8 * P, 8, 8 * P), b(3 * P, 2, 3 * P), d(10 * P, 9, 10 * P + 4), buf(4096, 1, 4096);
    zt::Rng rng = zt::Rng::forTest();
    a.randomize(rng), b.randomize(rng), d.randomize(rng);
    Args valid{{a.origin(), b.origin(), d.origin(), buf.origin()}, {8 * P, 3 * P, 10 * P + 4}, {{8, 8}, {3, 2}}, {1, 0}};
    zt::CheckOrder<Args> co{valid, [&m](const Args& x) { return call(m, x); }, {&a, &b, &d}};
    co.row("dst null", [](Args& x) { x.p[2] = nullptr; }, zelStsNullPtrErr);
    if (!m.decimate()) co.row("buffer null", [](Args& x) { x.p[3] = nullptr; }, zelStsNullPtrErr);
    auto size = [&] {
        co.row("height 0", [](Args& x) { x.size[0].height = 0; }, zelStsSizeErr);
        if (m.conv()) co.row("src2 width -1", [](Args& x) { x.size[1].width = -1; }, zelStsSizeErr);
    };
    if (!m.decimate()) size();
    co.row("dstStep 0", [](Args& x) { x.step[2] = 0; }, zelStsStepErr);
    if (!m.inPlace) co.row("srcStep -3", [](Args& x) { x.step[0] = -3; }, zelStsStepErr);
    if (m.decimate()) {
        size();
        co.row("fraction 5", [](Args& x) { x.k[0] = 5; }, zelStsDecimateFractionErr);
        co.row("length 1", [&m](Args& x) { (m.column() ? x.size[0].height : x.size[0].width) = 1; }, zelStsSizeErr);
    }
    if (m.conv()) co.row("algType 3", [](Args& x) { x.k[1] = 3; }, zelStsAlgTypeErr);
    if (m.conv() && !m.isFloat) co.row("divisor 0", [](Args& x) { x.k[0] = 0; }, zelStsDivisorErr);
    co.run();
}

std::vector<Member> members() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"Conv, ConvGetBufferSize", "DecimateFilterRow, DecimateFilterColumn", "WinBartlett, WinHamming"}))
        if (n.roi) v.push_back(n);
    return v;
}
INSTANTIATE_TEST_SUITE_P(Filter, ConvDecimateWin, ::testing::ValuesIn(members()), zt::paramName);

// The queries: pointer, sizes, data type, channels (Conv), algType (Conv); beyond 32 bits, 0.
TEST(ConvDecimateWin, QueriesCheckArgumentsInOrder) {
    struct Q {
        ZeliSize s1, s2;
        int type, channels, alg;
        bool null;
    };
    int out = 0;
    auto conv = [&out](const Q& q) {
        return zeliConvGetBufferSize(q.s1, q.s2, (ZelDataType)q.type, q.channels, q.alg, q.null ? nullptr : &out);
    };
    zt::CheckOrder<Q> co{{{9, 9}, {3, 3}, zel16s, 3, 2, false}, conv, {}};
    co.row("null size", [](Q& q) { q.null = true; }, zelStsNullPtrErr);
    co.row("src1 height 0", [](Q& q) { q.s1.height = 0; }, zelStsSizeErr);
    co.row("src2 width 0", [](Q& q) { q.s2.width = 0; }, zelStsSizeErr);
    co.row("16u", [](Q& q) { q.type = zel16u; }, zelStsDataTypeErr);
    co.row("2 channels", [](Q& q) { q.channels = 2; }, zelStsNumChannelsErr);
    co.row("algType -1", [](Q& q) { q.alg = -1; }, zelStsAlgTypeErr);
    co.run();
    EXPECT_EQ(zeliConvGetBufferSize({10, 10}, {40000, 40000}, zel8u, 1, 0, &out), zelStsBufferSizeErr);
    EXPECT_EQ(out, 0);
    for (auto* win : {zeliWinBartlettGetBufferSize, zeliWinHammingGetBufferSize}) {
        zt::CheckOrder<Q> cw{{{5, 5}, {}, zel16u, 1, 0, false},
                             [&](const Q& q) { return win((ZelDataType)q.type, q.s1, q.null ? nullptr : &out); }, {}};
        cw.row("null size", [](Q& q) { q.null = true; }, zelStsNullPtrErr);
        cw.row("width 0", [](Q& q) { q.s1.width = 0; }, zelStsSizeErr);
        cw.row("16s", [](Q& q) { q.type = zel16s; }, zelStsDataTypeErr);
        cw.run();
    }
}

// Documented values: 1/2 weighs samples 2k - 1 .. 2k + 2 by (1, 3, 3, 1) / 8; Bartlett over
// five columns is 0, 1/2, 1, 1/2, 0; one column weighs 1.
TEST(ConvDecimateWin, DocumentedWeights) {
    const Zel8u line[4] = {0, 8, 16, 24};
    Zel8u half[2] = {}, img[5] = {100, 100, 100, 101, 100}, buf[512];
    ASSERT_EQ(zeliDecimateFilterRow_8u_C1R(line, 4, {4, 1}, half, 2, 0), zelStsNoErr);
    EXPECT_EQ(half[0], 5);   // (0 + 3*0 + 3*8 + 16) / 8
    EXPECT_EQ(half[1], 19);  // (8 + 3*16 + 3*24 + 24) / 8
    ASSERT_EQ(zeliWinBartlett_8u_C1IR(img, 5, {5, 1}, buf), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(img, img + 5), (std::vector<int>{0, 50, 100, 50, 0}));  // 50.5 to the even 50
}

}  // namespace
