// Conv, DecimateFilterRow/Column, WinBartlett/WinHamming: every member against a scalar model
// written from the documented rules (the direct convolution sum, the triangular decimation
// taps, the window formulas) on random geometry in guarded memory, work buffers of exactly the
// queried size against a guard page, a few hand-computed results, and the check orders.
#include <math.h>

#include "zel_test_kit.h"

namespace {

template <class T>
T load(const uint8_t* p) {
    T v;
    memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
void put(uint8_t* p, T v) {
    memcpy(p, &v, sizeof v);
}

// Random samples: often small, so that sums stay in range and rounding ties occur.
template <class T>
T sample(zt::Rng& rng) {
    if constexpr (std::is_same_v<T, Zel32f>) return rng.chance(0.05) ? -0.0f : (float)rng.range(-64, 64) * 0.0625f;
    else if constexpr (std::is_same_v<T, Zel8u>) return rng.chance(0.5) ? (T)rng.range(0, 6) : rng.bits<T>();
    else return rng.chance(0.7) ? (T)rng.range(-40, 40) : rng.bits<T>();
}
template <class T>
void fillSamples(zt::Region& r, zt::Rng& rng) {
    for (int64_t i = 0; i + (int64_t)sizeof(T) <= r.extent(); i += sizeof(T)) put(r.lo() + i, sample<T>(rng));
}

// An export, named by its name in test output.
struct Member : zt::Name {
    Member(const zt::Name& n) : zt::Name(n) {}
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }
std::vector<Member> membersOf(std::initializer_list<std::string> families) {
    std::vector<Member> v;
    for (auto& n : zt::namesOf(families))
        if (n.roi) v.push_back(n);
    return v;
}

// n / d rounded half to even, exactly.
int64_t divHalfEven(int64_t n, int64_t d) {
    if (d < 0) n = -n, d = -d;
    int64_t q = n >= 0 ? n / d : -((-n + d - 1) / d), r = n - q * d;  // floor, 0 <= r < d
    return 2 * r > d || (2 * r == d && (q & 1)) ? q + 1 : q;
}
template <class T>
T saturate(int64_t v) {
    if constexpr (std::is_floating_point_v<T>) return (T)v;
    else return (T)std::clamp<int64_t>(v, std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max());
}

// ---- Conv -------------------------------------------------------------------------------------

struct ConvCall {
    const void* src1;
    int step1;
    ZeliSize size1;
    const void* src2;
    int step2;
    ZeliSize size2;
    void* dst;
    int dstStep;
    int divisor, alg;
    Zel8u* buf;
};

ZelStatus callConv(const zt::Name& m, const ConvCall& c) {
    if (m.isFloat)
        return zt::invoke(m.fn, c.src1, c.step1, c.size1, c.src2, c.step2, c.size2, c.dst, c.dstStep, c.alg, c.buf);
    return zt::invoke(m.fn, c.src1, c.step1, c.size1, c.src2, c.step2, c.size2, c.dst, c.dstStep, c.divisor, c.alg,
                      c.buf);
}

// Destination extent and offset in the full result, per direction.
std::pair<int64_t, int64_t> convShape(int alg, int64_t n1, int64_t n2) {
    if (alg == 0) return {n1 + n2 - 1, 0};
    if (alg == 1) return {std::abs(n1 - n2) + 1, std::min(n1, n2) - 1};
    return {n1, (n2 - 1) / 2};
}

int convBufferSize(const zt::Name& m, ZeliSize s1, ZeliSize s2, int alg) {
    int size = -1;
    const ZelDataType type = m.isFloat ? zel32f : m.sampleBytes == 1 ? zel8u : zel16s;
    EXPECT_EQ(zeliConvGetBufferSize(s1, s2, type, m.channels, alg, &size), zelStsNoErr);
    return size;
}

template <class T>
void convTrial(const zt::Name& m, zt::Rng& rng, zt::Tight tight) {
    const int S = sizeof(T), C = m.channels, P = S * C;
    const int w1 = (int)rng.range(1, 70), h1 = (int)rng.range(1, 10);
    const int w2 = (int)(rng.chance(0.2) ? rng.range(1, w1 + 6) : rng.range(1, 7));
    const int h2 = (int)(rng.chance(0.2) ? rng.range(1, h1 + 4) : rng.range(1, 5));
    const int alg = (int)rng.range(0, 2);
    const int divisors[] = {1, 1, 2, 3, 4, -3, 7, 9, 100, 5000};
    const int div = m.isFloat ? 1 : rng.pick(divisors);
    auto [ow, ox] = convShape(alg, w1, w2);
    auto [oh, oy] = convShape(alg, h1, h2);
    const int64_t st1 = zt::randomStep(rng, (int64_t)w1 * P, {S}), st2 = zt::randomStep(rng, (int64_t)w2 * P, {S});
    const int64_t std_ = zt::randomStep(rng, ow * P, {S});
    zt::Region a(w1 * P, h1, st1, tight), b(w2 * P, h2, st2, tight), d(ow * P, oh, std_, tight);
    const int bufSize = convBufferSize(m, {w1, h1}, {w2, h2}, alg);
    zt::Region buf(bufSize, 1, bufSize, tight);
    fillSamples<T>(a, rng), fillSamples<T>(b, rng), d.randomize(rng), buf.randomize(rng);

    zt::Shadow expect({&a, &b, &d});
    for (int64_t y = 0; y < oh; ++y)
        for (int64_t x = 0; x < ow; ++x)
            for (int c = 0; c < m.used; ++c) {
                const int64_t X = x + ox, Y = y + oy;
                float accF = 0.0f;
                int64_t accI = 0;
                for (int64_t i = 0; i < h2; ++i)
                    for (int64_t j = 0; j < w2; ++j) {
                        const int64_t xs = X - j, ys = Y - i;
                        if (xs < 0 || xs >= w1 || ys < 0 || ys >= h1) continue;
                        T k = load<T>(b.row(i) + (j * C + c) * S), s = load<T>(a.row(ys) + (xs * C + c) * S);
                        if constexpr (std::is_same_v<T, Zel32f>) accF = fmaf(k, s, accF);
                        else accI += (int64_t)k * s;
                    }
                uint8_t* out = expect(d.row(y)) + (x * C + c) * S;
                if constexpr (std::is_same_v<T, Zel32f>) put(out, accF);
                else put(out, saturate<T>(divHalfEven(accI, div)));
            }
    SCOPED_TRACE(::testing::Message() << m.name << " " << w1 << "x" << h1 << " * " << w2 << "x" << h2 << " alg " << alg
                                      << " divisor " << div);
    ConvCall call{a.origin(), (int)st1, {w1, h1}, b.origin(), (int)st2, {w2, h2}, d.origin(), (int)std_, div, alg,
                  buf.origin()};
    ASSERT_EQ(callConv(m, call), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

class Conv : public ::testing::TestWithParam<Member> {};

TEST_P(Conv, MatchesDirectSum) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(25, [&](zt::Rng& rng, zt::Tight tight, int) {
        zt::withType(m.type, [&](auto tag) { convTrial<typename decltype(tag)::type>(m, rng, tight); });
    });
}

// Pointers, sizes, steps, algType, divisor.
TEST_P(Conv, ChecksArgumentsInOrder) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int P = m.sampleBytes * m.channels;
    zt::Region a(6 * P, 4, 6 * P), b(3 * P, 2, 3 * P), d(8 * P, 5, 8 * P + 4);
    const int n = convBufferSize(m, {6, 4}, {3, 2}, 0);
    zt::Region buf(n, 1, n);
    zt::Rng rng = zt::Rng::forTest();
    a.randomize(rng), b.randomize(rng), d.randomize(rng);
    ConvCall valid{a.origin(), 6 * P, {6, 4}, b.origin(), 3 * P, {3, 2}, d.origin(), 8 * P + 4, 1, 0, buf.origin()};
    zt::CheckOrder<ConvCall> co{valid, [&m](const ConvCall& c) { return callConv(m, c); }, {&a, &b, &d}};
    co.row("src1 null", [](ConvCall& c) { c.src1 = nullptr; }, zelStsNullPtrErr);
    co.row("buffer null", [](ConvCall& c) { c.buf = nullptr; }, zelStsNullPtrErr);
    co.row("src2 height 0", [](ConvCall& c) { c.size2.height = 0; }, zelStsSizeErr);
    co.row("src1 width -1", [](ConvCall& c) { c.size1.width = -1; }, zelStsSizeErr);
    co.row("dstStep 0", [](ConvCall& c) { c.dstStep = 0; }, zelStsStepErr);
    co.row("src2Step -3", [](ConvCall& c) { c.step2 = -3; }, zelStsStepErr);
    co.row("algType 3", [](ConvCall& c) { c.alg = 3; }, zelStsAlgTypeErr);
    if (!m.isFloat) co.row("divisor 0", [](ConvCall& c) { c.divisor = 0; }, zelStsDivisorErr);
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Filter, Conv, ::testing::ValuesIn(membersOf({"Conv, ConvGetBufferSize"})), zt::paramName);

// Pointer, sizes, data type, channels, algType; a size beyond 32 bits writes 0.
TEST(ConvGetBufferSize, ChecksArgumentsInOrder) {
    ZT_SKIP_IF_PLACEHOLDER("zeliConvGetBufferSize");
    struct Q {
        ZeliSize s1, s2;
        int type, channels, alg;
        bool null;
    };
    int out = 0;
    zt::CheckOrder<Q> co{{{9, 9}, {3, 3}, zel16s, 3, 2, false},
                         [&out](const Q& q) {
                             return zeliConvGetBufferSize(q.s1, q.s2, (ZelDataType)q.type, q.channels, q.alg,
                                                          q.null ? nullptr : &out);
                         },
                         {}};
    co.row("null size", [](Q& q) { q.null = true; }, zelStsNullPtrErr);
    co.row("src1 height 0", [](Q& q) { q.s1.height = 0; }, zelStsSizeErr);
    co.row("src2 width 0", [](Q& q) { q.s2.width = 0; }, zelStsSizeErr);
    co.row("16u", [](Q& q) { q.type = zel16u; }, zelStsDataTypeErr);
    co.row("2 channels", [](Q& q) { q.channels = 2; }, zelStsNumChannelsErr);
    co.row("algType -1", [](Q& q) { q.alg = -1; }, zelStsAlgTypeErr);
    co.run();
    out = 7;
    EXPECT_EQ(zeliConvGetBufferSize({10, 10}, {40000, 40000}, zel8u, 1, 0, &out), zelStsBufferSizeErr);
    EXPECT_EQ(out, 0);
}

// A 3x3 second image whose only non-zero sample is (0, 0) passes the image through in the
// "same" shape shifted by its anchor: dst(x, y) = src(x - 1, y - 1), 0 outside.
TEST(ConvShapes, ImpulseShiftsByTheAnchor) {
    ZT_SKIP_IF_PLACEHOLDER("zeliConv_32f_C1R");
    float src[4 * 3], k[9] = {2, 0, 0, 0, 0, 0, 0, 0, 0}, dst[6 * 5];
    for (int i = 0; i < 12; ++i) src[i] = (float)(i + 1);
    int n = 0;
    ASSERT_EQ(zeliConvGetBufferSize({4, 3}, {3, 3}, zel32f, 1, 0, &n), zelStsNoErr);
    std::vector<Zel8u> buf(n);
    for (int alg : {0, 1, 2}) {
        auto [w, ox] = convShape(alg, 4, 3);
        auto [h, oy] = convShape(alg, 3, 3);
        ASSERT_EQ(zeliConv_32f_C1R(src, 16, {4, 3}, k, 12, {3, 3}, dst, (int)w * 4, alg, buf.data()), zelStsNoErr);
        for (int64_t y = 0; y < h; ++y)
            for (int64_t x = 0; x < w; ++x) {
                int64_t X = x + ox, Y = y + oy;
                float e = X < 4 && Y < 3 ? 2 * src[Y * 4 + X] : 0.0f;
                EXPECT_EQ(dst[y * w + x], e) << "alg " << alg << " at " << x << "," << y;
            }
    }
}

// ---- DecimateFilterRow, DecimateFilterColumn --------------------------------------------------

const int kFraction[5][2] = {{1, 2}, {3, 5}, {5, 8}, {7, 10}, {3, 4}};

struct DecCall {
    const void* src;
    int srcStep;
    ZeliSize roi;
    void* dst;
    int dstStep;
    int fraction;
};

ZelStatus callDecimate(const zt::Name& m, const DecCall& c) {
    return zt::invoke(m.fn, c.src, c.srcStep, c.roi, c.dst, c.dstStep, c.fraction);
}

// Output k of a line of len samples: sum of n(t) s(t) over the taps, edge samples past the ends.
template <class T, class Get>
T decimateModel(int p, int q, int64_t k, int64_t len, Get get) {
    float acc = 0.0f;
    int64_t exact = 0, sum = 0;
    for (int64_t t = k * q / p - 3; t <= k * q / p + 4; ++t) {
        int64_t n = 2 * q - std::abs(2 * p * t - (2 * k + 1) * q + p);
        if (n <= 0) continue;
        T s = get(std::clamp<int64_t>(t, 0, len - 1));
        acc = fmaf((float)n, (float)s, acc), exact += n * (int64_t)s, sum += n;
    }
    if constexpr (std::is_same_v<T, Zel32f>) return acc / (float)sum;
    else return saturate<T>(divHalfEven(exact, sum));
}

template <class T>
void decimateTrial(const zt::Name& m, zt::Rng& rng, zt::Tight tight) {
    const bool column = m.op == "DecimateFilterColumn";
    const int S = sizeof(T), C = m.channels, P = S * C;
    const int fraction = (int)rng.range(0, 4), p = kFraction[fraction][0], q = kFraction[fraction][1];
    const int64_t w = (column ? 1 : 2) + zt::randomWidth(rng, P), h = (column ? rng.range(2, 40) : zt::randomHeight(rng, w * P));
    const int64_t ow = column ? w : w * p / q, oh = column ? h * p / q : h;
    if (ow < 1 || oh < 1) return;
    const int64_t ss = zt::randomStep(rng, w * P, {S}), ds = zt::randomStep(rng, ow * P, {S});
    zt::Region src(w * P, h, ss, tight), dst(ow * P, oh, ds, tight);
    fillSamples<T>(src, rng), dst.randomize(rng);
    zt::Shadow expect({&src, &dst});
    for (int64_t y = 0; y < oh; ++y)
        for (int64_t x = 0; x < ow; ++x)
            for (int c = 0; c < C; ++c) {
                T r = column ? decimateModel<T>(p, q, y, h, [&](int64_t t) { return load<T>(src.row(t) + (x * C + c) * S); })
                             : decimateModel<T>(p, q, x, w, [&](int64_t t) { return load<T>(src.row(y) + (t * C + c) * S); });
                put(expect(dst.row(y)) + (x * C + c) * S, r);
            }
    SCOPED_TRACE(::testing::Message() << m.name << " " << w << "x" << h << " fraction " << p << "/" << q);
    ASSERT_EQ(callDecimate(m, {src.origin(), (int)ss, {(int)w, (int)h}, dst.origin(), (int)ds, fraction}), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

class Decimate : public ::testing::TestWithParam<Member> {};

TEST_P(Decimate, MatchesTriangularTaps) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int) {
        zt::withType(m.type, [&](auto tag) { decimateTrial<typename decltype(tag)::type>(m, rng, tight); });
    });
}

// Pointers, steps, size, fraction, then a source too short for one destination sample.
TEST_P(Decimate, ChecksArgumentsInOrder) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int P = m.sampleBytes * m.channels;
    zt::Region src(8 * P, 8, 8 * P), dst(8 * P, 8, 8 * P);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng);
    const bool column = m.op == "DecimateFilterColumn";
    zt::CheckOrder<DecCall> co{{src.origin(), 8 * P, {8, 8}, dst.origin(), 8 * P, 0},
                               [&m](const DecCall& c) { return callDecimate(m, c); },
                               {&src, &dst}};
    co.row("dst null", [](DecCall& c) { c.dst = nullptr; }, zelStsNullPtrErr);
    co.row("srcStep 0", [](DecCall& c) { c.srcStep = 0; }, zelStsStepErr);
    co.row("height 0", [](DecCall& c) { c.roi.height = 0; }, zelStsSizeErr);
    co.row("fraction 5", [](DecCall& c) { c.fraction = 5; }, zelStsDecimateFractionErr);
    co.row("length 1", [column](DecCall& c) { (column ? c.roi.height : c.roi.width) = 1; }, zelStsSizeErr);
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Filter, Decimate, ::testing::ValuesIn(membersOf({"DecimateFilterRow, DecimateFilterColumn"})),
                         zt::paramName);

// 1/2 weighs samples 2k - 1 .. 2k + 2 by (1, 3, 3, 1) / 8, the sample before the first being
// the first.
TEST(DecimateWeights, HalfIsOneThreeThreeOne) {
    ZT_SKIP_IF_PLACEHOLDER("zeliDecimateFilterRow_8u_C1R");
    const Zel8u src[4] = {0, 8, 16, 24};
    Zel8u dst[2] = {};
    ASSERT_EQ(zeliDecimateFilterRow_8u_C1R(src, 4, {4, 1}, dst, 2, 0), zelStsNoErr);
    EXPECT_EQ(dst[0], 5);   // (0 + 3*0 + 3*8 + 16) / 8
    EXPECT_EQ(dst[1], 19);  // (8 + 3*16 + 3*24 + 24) / 8
}

// ---- WinBartlett, WinHamming -------------------------------------------------------------------

std::vector<float> windowModel(bool hamming, int64_t n) {
    std::vector<float> w(n, 1.0f);
    for (int64_t k = 0; n > 1 && k <= (n - 1) / 2; ++k) {
        double m = (double)(n - 1);
        w[k] = w[n - 1 - k] = (float)(hamming ? 0.54 - 0.46 * cos(2.0 * M_PI * (double)k / m) : (double)(2 * k) / m);
    }
    return w;
}

struct WinCall {
    const void* src;
    int srcStep;
    void* dst;
    int dstStep;
    ZeliSize roi;
    Zel8u* buf;
};

ZelStatus callWindow(const zt::Name& m, const WinCall& c) {
    return m.inPlace ? zt::invoke(m.fn, c.dst, c.dstStep, c.roi, c.buf)
                     : zt::invoke(m.fn, c.src, c.srcStep, c.dst, c.dstStep, c.roi, c.buf);
}

ZelStatus windowBufferSize(const zt::Name& m, int type, ZeliSize roi, int* size) {
    auto q = m.op == "WinHamming" ? zeliWinHammingGetBufferSize : zeliWinBartlettGetBufferSize;
    return q((ZelDataType)type, roi, size);
}

template <class T>
void windowTrial(const zt::Name& m, zt::Rng& rng, zt::Tight tight) {
    const int S = sizeof(T);
    const int64_t w = zt::randomWidth(rng, S), h = rng.range(1, 12);
    const int64_t ss = zt::randomStep(rng, w * S, {S}), ds = m.inPlace ? ss : zt::randomStep(rng, w * S, {S});
    zt::Region src(w * S, h, ss, tight), dst(w * S, h, ds, tight);
    const int type = std::is_same_v<T, Zel8u> ? zel8u : std::is_same_v<T, Zel16u> ? zel16u : zel32f;
    int n = 0;
    ASSERT_EQ(windowBufferSize(m, type, {(int)w, (int)h}, &n), zelStsNoErr);
    zt::Region buf(n, 1, n, tight);
    fillSamples<T>(src, rng), fillSamples<T>(dst, rng), buf.randomize(rng);
    const bool hamming = m.op == "WinHamming";
    const std::vector<float> wx = windowModel(hamming, w), wy = windowModel(hamming, h);
    zt::Shadow before({&src, &dst}), expect({&src, &dst});
    const zt::Region& in = m.inPlace ? dst : src;
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x) {
            float v = (float)load<T>(before(in.row(y)) + x * S) * wx[x] * wy[y];
            if constexpr (std::is_same_v<T, Zel32f>) put(expect(dst.row(y)) + x * S, v);
            else put(expect(dst.row(y)) + x * S, saturate<T>((int64_t)nearbyintf(v)));
        }
    SCOPED_TRACE(::testing::Message() << m.name << " " << w << "x" << h);
    ASSERT_EQ(callWindow(m, {src.origin(), (int)ss, dst.origin(), (int)ds, {(int)w, (int)h}, buf.origin()}), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

class Window : public ::testing::TestWithParam<Member> {};

TEST_P(Window, MatchesSeparableWeights) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(20, [&](zt::Rng& rng, zt::Tight tight, int) {
        zt::withType(m.type, [&](auto tag) { windowTrial<typename decltype(tag)::type>(m, rng, tight); });
    });
}

// Pointers, size, steps.
TEST_P(Window, ChecksArgumentsInOrder) {
    const zt::Name& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int S = m.sampleBytes;
    zt::Region src(7 * S, 3, 7 * S), dst(7 * S, 3, 9 * S), buf(1024, 1, 1024);
    zt::Rng rng = zt::Rng::forTest();
    src.randomize(rng), dst.randomize(rng);
    zt::CheckOrder<WinCall> co{{src.origin(), 7 * S, dst.origin(), 9 * S, {7, 3}, buf.origin()},
                               [&m](const WinCall& c) { return callWindow(m, c); },
                               {&src, &dst}};
    co.row("buffer null", [](WinCall& c) { c.buf = nullptr; }, zelStsNullPtrErr);
    co.row("dst null", [](WinCall& c) { c.dst = nullptr; }, zelStsNullPtrErr);
    co.row("width 0", [](WinCall& c) { c.roi.width = 0; }, zelStsSizeErr);
    co.row("dstStep 0", [](WinCall& c) { c.dstStep = 0; }, zelStsStepErr);
    if (!m.inPlace) co.row("srcStep -1", [](WinCall& c) { c.srcStep = -1; }, zelStsStepErr);
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Filter, Window, ::testing::ValuesIn(membersOf({"WinBartlett, WinHamming"})), zt::paramName);

// Pointer, size, data type (8u, 16u, 32f only).
TEST(WindowBufferSize, ChecksArgumentsInOrder) {
    for (auto* q : {zeliWinBartlettGetBufferSize, zeliWinHammingGetBufferSize}) {
        struct Q {
            int type;
            ZeliSize roi;
            bool null;
        };
        int out = 0;
        zt::CheckOrder<Q> co{{zel16u, {5, 5}, false},
                             [&](const Q& a) { return q((ZelDataType)a.type, a.roi, a.null ? nullptr : &out); },
                             {}};
        co.row("null size", [](Q& a) { a.null = true; }, zelStsNullPtrErr);
        co.row("height 0", [](Q& a) { a.roi.height = 0; }, zelStsSizeErr);
        co.row("16s", [](Q& a) { a.type = zel16s; }, zelStsDataTypeErr);
        co.run();
    }
}

// Bartlett over five columns: 0, 1/2, 1, 1/2, 0; one row and one column weigh 1.
TEST(WindowWeights, BartlettIsTriangular) {
    ZT_SKIP_IF_PLACEHOLDER("zeliWinBartlett_8u_C1IR");
    Zel8u img[5] = {100, 100, 100, 101, 100};
    Zel8u buf[512];
    ASSERT_EQ(zeliWinBartlett_8u_C1IR(img, 5, {5, 1}, buf), zelStsNoErr);
    const Zel8u expect[5] = {0, 50, 100, 50, 0};  // 50.5 rounds to the even 50
    EXPECT_EQ(memcmp(img, expect, 5), 0);
    float one = 3.0f;
    ASSERT_EQ(zeliWinHamming_32f_C1IR(&one, 4, {1, 1}, buf), zelStsNoErr);
    EXPECT_EQ(one, 3.0f);
}

}  // namespace
