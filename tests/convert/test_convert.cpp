// Convert, Scale and ScaleC: every member against one scalar model of its rule (computed in
// double precision from the contract, independently of the vector paths) on random geometry in
// guarded memory; every 8- and 16-bit source value and a dense set of floats around each
// rounding boundary in every round mode; the caller's rounding mode; the check orders.
#include <fenv.h>
#include <immintrin.h>
#include <math.h>

#include "zel_test_kit.h"

namespace {

enum Ty { U8, S8, U16, S16, U32, S32, F32, F64 };
constexpr int kSize[] = {1, 1, 2, 2, 4, 4, 4, 8};
constexpr double kLo[] = {0, -128, 0, -32768, 0, -2147483648.0, 0, 0};
constexpr double kHi[] = {255, 127, 65535, 32767, 4294967295.0, 2147483647.0, 0, 0};
bool isFloat(Ty t) { return t >= F32; }

// Runs f on a sample of type t.
template <class F>
auto byTy(Ty t, F f) {
    switch (t) {
        case U8: return f(Zel8u{});
        case S8: return f(Zel8s{});
        case U16: return f(Zel16u{});
        case S16: return f(Zel16s{});
        case U32: return f(Zel32u{});
        case S32: return f(Zel32s{});
        case F32: return f(Zel32f{});
        default: return f(Zel64f{});
    }
}
double get(Ty t, const uint8_t* p) {
    return byTy(t, [p](auto v) { return memcpy(&v, p, sizeof v), (double)v; });
}
// v is integral and in range for integer types.
void put(Ty t, uint8_t* p, double v) {
    byTy(t, [&](auto x) { return x = isFloat(t) ? (decltype(x))v : (decltype(x))(int64_t)v, memcpy(p, &x, sizeof x), 0; });
}

// Rounding of a finite v: 0 toward zero, 1 half to even, 2 half away from zero; exact and
// independent of the floating-point environment.
double roundBy(double v, int rule) {
    double t = trunc(v), f = fabs(v - t), s = v < 0 ? -1 : 1;
    if (rule == 0 || f < 0.5) return t;
    if (f > 0.5 || rule == 2) return t + s;
    return fmod(t, 2) != 0 ? t + s : t;
}
// A floating value into the integer type d: NaN to 0 (the financial rule: the maximum). The
// financial rule on a floating source is one addition of 0.5 in the source's precision after
// the clamp to the maximum, then truncation, so sums that round up to the next integer go up.
double toInt(Ty d, double v, int rule, Ty src = S32) {
    if (std::isnan(v)) return rule == 2 ? kHi[d] : 0;
    if (rule == 2 && isFloat(src) && std::isfinite(v)) {
        const double c = std::min(v, kHi[d]), sum = c + copysign(0.5, c);  // rounded as a double
        return std::min(std::max(trunc(src == F32 ? (double)(float)sum : sum), kLo[d]), kHi[d]);
    }
    double r = std::isinf(v) ? v : roundBy(v, rule);
    return std::min(std::max(r, kLo[d]), kHi[d]);
}
int ruleOf(int mode) { return mode == 0 ? 0 : mode == 1 ? 1 : 2; }

// The plain conversion of a pair: integers saturate, floating point rounds half to even.
double plain(Ty s, Ty d, double x) {
    if (d == F32) return (float)x;
    if (d == F64) return x;
    return isFloat(s) ? toInt(d, x, 1) : std::min(std::max(x, kLo[d]), kHi[d]);
}

enum class Form { Plain, Mode, Sfs, SfsIR, Range, Hint, C, CIR };

struct Member : zt::Name {
    Ty s = U8, d = U8;
    Form form = Form::Plain;
    bool ac4() const { return layout == "AC4"; }
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

// zeli<Op>_<source type>[<destination type>]_<layout>[I]R[Sfs]: the form follows from the name.
Member member(const zt::Name& n) {
    static const char* names[] = {"8u", "8s", "16u", "16s", "32u", "32s", "32f", "64f"};
    Member m;
    static_cast<zt::Name&>(m) = n;
    size_t at = n.name.find('_') + 1 + n.type.size();
    const std::string dt = n.name.substr(at, n.name.find('_', at) - at);
    for (int i = 0; i < 8; ++i) {
        if (n.type == names[i]) m.s = (Ty)i;
        if ((dt.empty() ? n.type : dt) == names[i]) m.d = (Ty)i;
    }
    if (n.op == "ScaleC") m.form = n.inPlace ? Form::CIR : Form::C;
    else if (n.op == "Scale") m.form = m.s == F32 || m.d == F32 ? Form::Range : m.s == U8 ? Form::Plain : Form::Hint;
    else m.form = n.inPlace ? Form::SfsIR : n.scaled ? Form::Sfs : m.s == F32 ? Form::Mode : Form::Plain;
    return m;
}

std::vector<Member> members() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"Convert", "Scale", "ScaleC"})) v.push_back(member(n));
    return v;
}

struct Args {
    const uint8_t* src = nullptr;
    int srcStep = 0;
    uint8_t* dst = nullptr;
    int dstStep = 0;
    ZeliSize roi{};
    int mode = 1, sf = 0, hint = 0;
    float vMin = 0, vMax = 1;
    double mul = 1, add = 0;
};

ZelStatus call(const Member& m, const Args& a) {
    switch (m.form) {
        case Form::Plain: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi);
        case Form::Mode: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mode);
        case Form::Hint: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.hint);
        case Form::Sfs: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mode, a.sf);
        case Form::SfsIR: return zt::invoke(m.fn, a.dst, a.dstStep, a.roi, a.mode, a.sf);
        case Form::Range: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.vMin, a.vMax);
        case Form::C: return zt::invoke(m.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mul, a.add, a.hint);
        default: return zt::invoke(m.fn, a.dst, a.dstStep, a.roi, a.mul, a.add, a.hint);
    }
}

bool identity(const Args& a) { return fabs(a.mul - 1) < 2.220446049250313e-16 && fabs(a.add) < 2.220446049250313e-16; }

// The model of one sample: the destination value for the source value x.
double model(const Member& m, const Args& a, double x) {
    const Ty s = m.s, d = m.d;
    if (m.op == "Convert") {
        if (m.form == Form::Plain) return plain(s, d, x);
        int sf = m.form == Form::Mode ? 0 : a.sf;
        return toInt(d, ldexp(x, (int)std::clamp(-(int64_t)sf, (int64_t)-3000, (int64_t)3000)), ruleOf(a.mode), s);
    }
    if (m.op == "Scale") {
        const bool acc = a.hint == zelAlgHintAccurate;
        if (s == U8 && d == F32) {
            float q = (a.vMax - a.vMin) / 255.0f;
            volatile float p = (float)x * q;  // product and sum rounded separately
            return p + a.vMin;
        }
        if (s == U8) return d == U16 ? x * 257 : d == S16 ? x * 257 - 32768 : x * 16843009 - 2147483648.0;
        if (s == F32) {
            float k = 255.0f / (a.vMax - a.vMin), b = -(k * a.vMin);
            return toInt(U8, fmaf(k, (float)x, b), 1);
        }
        if (s == S32) {
            int64_t u = (int64_t)x + 2147483648ll, M = 4294967295ll;
            if (acc) return (double)((2 * u * 255 + M) / (2 * M));  // exactly rounded, no ties
            int32_t v = (int32_t)x, t = v - (v >> 8);
            return (t >> 24) + 128;
        }
        int32_t v = (int32_t)x - (s == U16 ? 32768 : 0);
        if (acc) return roundBy((float)(v + 32768) * (255.0f / 65535.0f), 1);
        int32_t t = v - (v >> 8);
        return (t >> 8) + 128;
    }
    if (identity(a)) return plain(s, d, x);
    if (a.hint == zelAlgHintAccurate) {
        double r = fma(x, a.mul, a.add);
        return isFloat(d) ? (d == F32 ? (double)(float)r : r) : toInt(d, r, 1);
    }
    float r = fmaf((float)x, (float)a.mul, (float)a.add);
    return isFloat(d) ? r : toInt(d, r, 1);
}

// Runs the model over the ROI: source read from `from`, destination written into `to`.
void runModel(const Member& m, const Args& a, const zt::Shadow& from, zt::Shadow& to) {
    const int S = kSize[m.s], D = kSize[m.d];
    const int64_t ss = a.srcStep / S * S, ds = a.dstStep / D * D;
    const uint8_t* src = from(m.inPlace ? a.dst : a.src);
    uint8_t* dst = to(a.dst);
    for (int64_t y = 0; y < a.roi.height; ++y)
        for (int64_t i = 0; i < (int64_t)a.roi.width * m.channels; ++i)
            if (!m.ac4() || i % 4 != 3) put(m.d, dst + y * ds + i * D, model(m, a, get(m.s, src + y * ss + i * S)));
}

// A source sample: mostly values around the destination range, some halves, specials.
void randomSample(Ty t, Ty d, zt::Rng& rng, uint8_t* p) {
    if (!isFloat(t)) {
        rng.fill(p, kSize[t]);
        return;
    }
    double lo = isFloat(d) ? -1e6 : kLo[d] - 20, hi = isFloat(d) ? 1e6 : kHi[d] + 20, v;
    int64_t r = rng.range(0, 99);
    if (r < 60) v = lo + (hi - lo) * (double)(rng.next() >> 11) * 0x1p-53;
    else if (r < 85) v = (double)rng.range((int64_t)lo, (int64_t)hi) + 0.5;
    else if (r < 95) v = rng.pick(std::vector<double>{NAN, -NAN, INFINITY, -INFINITY, 0.0, -0.0, 1e30, -1e30, 3e38, 1e-40});
    else v = ldexp((double)(int64_t)rng.next() * 0x1p-63, (int)rng.range(-60, 60));
    put(t, p, v);
}

void randomArgs(zt::Rng& rng, Args& a) {
    a.mode = (int)rng.pick(std::vector<int>{0, 1, 2, 1, 0, 2, -1, 3, INT32_MIN});
    a.sf = rng.chance(0.9) ? (int)rng.range(-6, 20) : (int)rng.pick(std::vector<int64_t>{-200, 160, INT32_MIN, INT32_MAX, 1100, -1100});
    a.hint = (int)rng.pick(std::vector<int>{0, 1, 2, 2, -3});
    a.vMin = (float)rng.range(-3000, 3000) / 8;
    a.vMax = a.vMin + (float)rng.range(1, 5000) / 4;
    if (rng.chance(0.2)) a.mul = 1, a.add = 0;
    else a.mul = (double)rng.range(-4000, 4000) / 997, a.add = (double)rng.range(-100000, 100000) / 331;
}

void trial(const Member& m, zt::Rng& rng, zt::Tight tight) {
    const int S = kSize[m.s], D = kSize[m.d];
    const int w = zt::randomWidth(rng, std::max(S, D) * m.channels), h = zt::randomHeight(rng, (int64_t)w * m.channels * std::max(S, D));
    int64_t ss = zt::randomStep(rng, (int64_t)w * m.channels * S), ds = zt::randomStep(rng, (int64_t)w * m.channels * D);
    if (m.inPlace) ds = ss;
    zt::Region src(w * m.channels * S, h, ss, tight, rng.range(0, 63), S), dst(w * m.channels * D, h, ds, tight, rng.range(0, 63), D);
    dst.randomize(rng);
    zt::Region& in = m.inPlace ? dst : src;
    for (int64_t y = 0; y < h; ++y)  // rows advance by whole samples
        for (int64_t i = 0; i < (int64_t)w * m.channels; ++i) randomSample(m.s, m.d, rng, in.origin() + y * (in.step() / S * S) + i * S);
    Args a;
    randomArgs(rng, a);
    a.src = src.origin(), a.srcStep = (int)ss, a.dst = dst.origin(), a.dstStep = (int)ds, a.roi = {w, h};
    zt::Shadow orig({&src, &dst}), expect({&src, &dst});
    runModel(m, a, orig, expect);
    SCOPED_TRACE(::testing::Message() << m.name << " " << w << "x" << h << " steps " << ss << "," << ds << " mode "
                                      << a.mode << " sf " << a.sf << " hint " << a.hint << " mul " << a.mul << " add "
                                      << a.add << " range " << a.vMin << ".." << a.vMax);
    ASSERT_EQ(call(m, a), zelStsNoErr);
    EXPECT_TRUE(expect.matches());
}

// Source values that probe every rounding boundary of a member: all values of an 8- or 16-bit
// source; for floating point, k + 0.5 and k +- a few ulps over the destination range and its
// limits, halves near 2^23 and 2^24, and the special values.
std::vector<double> probes(const Member& m) {
    std::vector<double> v;
    if (!isFloat(m.s)) {
        if (kSize[m.s] <= 2)
            for (double x = kLo[m.s]; x <= kHi[m.s]; ++x) v.push_back(x);
        for (double x : {kLo[m.s], kHi[m.s], 0.0, 1.0, -1.0, 255.0, 256.0, 32767.0, 32768.0, 65535.0, 65536.0})
            if (x >= kLo[m.s] && x <= kHi[m.s]) v.push_back(x);
        return v;
    }
    auto step = [&](double x, int u) {
        for (int i = 0; i < abs(u); ++i)
            x = m.s == F32 ? nextafterf((float)x, u < 0 ? -INFINITY : INFINITY) : nextafter(x, u < 0 ? -INFINITY : INFINITY);
        return x;
    };
    auto around = [&](double k) {
        for (double c : {k, k + 0.5})
            for (int u = -2; u <= 2; ++u) v.push_back(step(c, u));
    };
    Ty d = isFloat(m.d) ? S16 : m.d;
    if (kSize[d] <= 2)
        for (double k = kLo[d] - 2; k <= kHi[d] + 2; ++k) around(k);
    else
        for (double k = -300; k <= 300; ++k) around(k);
    for (double k : {kLo[d], kHi[d], 8388607.0, 8388608.0, 8388609.0, 16777215.0, 16777216.0, 2147483520.0,
                     4294967040.0})
        for (double c : {k - 0.5, k, k + 0.5, -k - 0.5, -k, -k + 0.5})
            for (int u = -3; u <= 3; ++u) v.push_back(step(c, u));
    for (double x : {(double)NAN, (double)-NAN, (double)INFINITY, (double)-INFINITY, 0.0, -0.0, 0.49999997,
                     -0.49999997, 1e-45, 3.4e38, -3.4e38, 1e300, -1e300, 4294967296.0, 2147483648.0, -2147483649.0})
        v.push_back(m.s == F32 ? (double)(float)x : x);
    return v;
}

// One row of all probes through the member with the given arguments, against the model.
// The call runs under the caller's rounding mode callerMode, which it must keep.
void probeRow(const Member& m, Args a, const std::vector<double>& values, int callerMode = FE_TONEAREST) {
    const int S = kSize[m.s], D = kSize[m.d];
    const int w = (int)((values.size() + m.channels - 1) / m.channels);
    zt::Region src((int64_t)w * m.channels * S, 1, (int64_t)w * m.channels * S), dst((int64_t)w * m.channels * D, 1, (int64_t)w * m.channels * D);
    dst.fill(0x5A);
    zt::Region& in = m.inPlace ? dst : src;
    for (size_t i = 0; i < (size_t)w * m.channels; ++i) put(m.s, in.origin() + i * S, values[std::min(i, values.size() - 1)]);
    a.src = src.origin(), a.srcStep = (int)src.step(), a.dst = dst.origin(), a.dstStep = (int)dst.step(), a.roi = {w, 1};
    zt::Shadow orig({&src, &dst}), expect({&src, &dst});
    runModel(m, a, orig, expect);
    ASSERT_EQ(fesetround(callerMode), 0);
    const ZelStatus st = call(m, a);
    const int after = fegetround();
    fesetround(FE_TONEAREST);
    ASSERT_EQ(st, zelStsNoErr);
    EXPECT_EQ(after, callerMode);
    EXPECT_TRUE(expect.matches()) << m.name << " mode " << a.mode << " sf " << a.sf << " hint " << a.hint << " mul "
                                  << a.mul << " add " << a.add;
}

class Conversion : public ::testing::TestWithParam<Member> {};

TEST_P(Conversion, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(8, [&](zt::Rng& rng, zt::Tight tight, int) { trial(m, rng, tight); });
}

// Each row runs under another rounding mode of the caller: it changes no result and survives.
TEST_P(Conversion, EveryRoundingBoundary) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const std::vector<double> values = probes(m);
    const int callerModes[] = {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST};
    int row = 0;
    Args a;
    for (int mode : {0, 1, 2, -1})
        for (int sf : {0, 1, -33, 200}) {
            if (sf && m.form != Form::Sfs && m.form != Form::SfsIR) continue;
            if (mode != 1 && m.form != Form::Mode && m.form != Form::Sfs && m.form != Form::SfsIR) continue;
            a.mode = mode, a.sf = sf;
            probeRow(m, a, values, callerModes[row++ % 4]);
        }
    for (int hint : {0, 2}) {
        a.hint = hint, a.vMin = -1.5f, a.vMax = 300.25f;
        for (auto [mul, add] : {std::pair{1.0, 0.0}, {0.5, 0.25}, {-3.0, 1000.5}, {1.0 + 1e-9, -7.5}}) {
            a.mul = mul, a.add = add;
            probeRow(m, a, values, callerModes[row++ % 4]);
            if (m.op != "ScaleC") break;
        }
    }
}

// Check orders: the 32f Scale forms test the range first; ScaleC's identity hands over to the
// plain conversion's checks; the conversions without step check run with any step.
TEST_P(Conversion, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    const int S = kSize[m.s], D = kSize[m.d];
    zt::Region src(6 * m.channels * S, 4, 6 * m.channels * S + 5, zt::Tight::End, 0, S), dst(6 * m.channels * D, 4, 6 * m.channels * D + 3, zt::Tight::End, 0, D);
    zt::Rng rng = zt::Rng::forTest();
    src.fill(0);
    dst.randomize(rng);
    Args valid;
    valid.src = src.origin(), valid.srcStep = (int)src.step(), valid.dst = dst.origin(), valid.dstStep = (int)dst.step();
    valid.roi = {6, 4}, valid.mul = 2;
    const bool narrowing = (isFloat(m.s) && !isFloat(m.d)) || D < S;
    const bool steps = m.op != "Convert" || (narrowing && (m.form == Form::Plain || m.form == Form::Mode));
    for (bool ident : {false, true}) {
        if (ident && m.op != "ScaleC") break;
        Args v = valid;
        if (ident) v.mul = 1, v.add = 1e-17;
        zt::CheckOrder<Args> co{v, [&m](const Args& a) { return call(m, a); }, {&src, &dst}};
        if (m.form == Form::Range) co.row("vMax == vMin", [](Args& a) { a.vMin = a.vMax = 2.5f; }, zelStsScaleRangeErr);
        if (m.form == Form::Range) co.row("vMax < vMin", [](Args& a) { a.vMin = 3, a.vMax = -1; }, zelStsScaleRangeErr);
        co.row("null pointers", [](Args& a) { a.src = nullptr, a.dst = nullptr; }, zelStsNullPtrErr);
        if (!m.inPlace) co.row("null destination", [](Args& a) { a.dst = nullptr; }, zelStsNullPtrErr);
        co.row("width 0", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -2", [](Args& a) { a.roi.height = -2; }, zelStsSizeErr);
        auto badSteps = [](Args& a) { a.srcStep = 0, a.dstStep = -8; };
        bool checksSteps = steps && !(ident && !narrowing);
        if (checksSteps) co.row("steps 0 and -8", badSteps, zelStsStepErr);
        co.ignored("mode -7, scale factor INT_MIN, hint 99", [](Args& a) { a.mode = -7, a.sf = INT32_MIN, a.hint = 99; });
        co.run();
        if (!checksSteps) {  // any step is walked as given
            Args a = v;
            badSteps(a);
            a.srcStep = 0, a.dstStep = 0;
            EXPECT_EQ(call(m, a), zelStsNoErr);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Convert, Conversion, ::testing::ValuesIn(members()), zt::paramName);

// Images large enough to be written with streaming stores: a row start off the line
// boundary, padded steps, and a packed image that runs as one row.
TEST(ConversionEdges, LargeImages) {
    for (const char* name : {"zeliConvert_8u32f_C1R", "zeliConvert_32f8u_C1R", "zeliScaleC_32f8u_C1R"}) {
        ZT_SKIP_IF_PLACEHOLDER(name);
        const Member m = member(zt::parseName(name));
        const int S = kSize[m.s], D = kSize[m.d], w = 2999, h = 1400;
        zt::Rng rng = zt::Rng::forTest();
        for (int packed = 0; packed < 2; ++packed) {
            const int64_t ss = (int64_t)w * S + (packed ? 0 : 3 * S), ds = (int64_t)w * D + (packed ? 0 : 5 * D);
            zt::Region src(w * S, h, ss, zt::Tight::End, 0, S), dst(w * D, h, ds, zt::Tight::Start, 8 * D, D);
            src.randomize(rng);
            if (m.s == F32)
                for (int64_t y = 0; y < h; ++y)
                    for (int64_t i = 0; i < w; ++i) put(F32, src.row(y) + i * S, (double)(rng.next() % 40000) / 64 - 300);
            dst.randomize(rng);
            Args a;
            a.src = src.origin(), a.srcStep = (int)ss, a.dst = dst.origin(), a.dstStep = (int)ds, a.roi = {w, h};
            a.mul = 0.75, a.add = 3.25, a.vMin = -100, a.vMax = 200;
            zt::Shadow orig({&src, &dst}), expect({&src, &dst});
            runModel(m, a, orig, expect);
            ASSERT_EQ(call(m, a), zelStsNoErr);
            EXPECT_TRUE(expect.matches()) << name << (packed ? " packed" : " padded");
        }
    }
}

// Values worth stating outright, so that the model cannot share a mistake with the library.
TEST(ConversionEdges, StatedValues) {
    ZT_SKIP_IF_PLACEHOLDER("zeliConvert_32f8u_C1R");
    const float in[8] = {2.5f, 3.5f, 2.9f, -0.7f, 300.0f, NAN, -2.5f, 0.49999997f};
    Zel8u out[8];
    auto run = [&](int mode) {
        EXPECT_EQ(zeliConvert_32f8u_C1R(in, 32, out, 8, {8, 1}, mode), zelStsNoErr);
        return std::vector<int>(out, out + 8);
    };
    EXPECT_EQ(run(0), (std::vector<int>{2, 3, 2, 0, 255, 0, 0, 0}));
    EXPECT_EQ(run(1), (std::vector<int>{2, 4, 3, 0, 255, 0, 0, 0}));
    EXPECT_EQ(run(2), (std::vector<int>{3, 4, 3, 0, 255, 255, 0, 1}));  // 0.49999997 + 0.5 rounds to 1
    EXPECT_EQ(run(-5), run(2));
    Zel8s s8[2];
    const float neg[2] = {-2.5f, -3.5f};
    EXPECT_EQ(zeliConvert_32f8s_C1R(neg, 8, s8, 2, {2, 1}, zelRndFinancial), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(s8, s8 + 2), (std::vector<int>{-3, -4}));
    const float five = 5.0f;
    Zel8u r;
    EXPECT_EQ(zeliConvert_32f8u_C1RSfs(&five, 4, &r, 1, {1, 1}, zelRndNear, 1), zelStsNoErr);
    EXPECT_EQ(r, 2);
    EXPECT_EQ(zeliConvert_32f8u_C1RSfs(&five, 4, &r, 1, {1, 1}, zelRndFinancial, 1), zelStsNoErr);
    EXPECT_EQ(r, 3);
    const Zel8u bytes[3] = {0, 128, 255};
    Zel32s wide[3];
    EXPECT_EQ(zeliScale_8u32s_C1R(bytes, 3, wide, 12, {3, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<int>(wide, wide + 3), (std::vector<int>{INT32_MIN, 8421504, INT32_MAX}));
    EXPECT_EQ(zeliScale_32f8u_C1R(nullptr, 0, nullptr, 0, {0, 0}, 1.0f, 1.0f), zelStsScaleRangeErr);
    // 32-bit integers into floats round to nearest: 2^24 + 1 is a tie, to even.
    const Zel32s big[2] = {16777217, 16777219};
    Zel32f f[2];
    EXPECT_EQ(zeliConvert_32s32f_C1R(big, 8, f, 8, {2, 1}), zelStsNoErr);
    EXPECT_EQ(std::vector<float>(f, f + 2), (std::vector<float>{16777216.0f, 16777220.0f}));
}

// The control bits of the caller's floating-point environment (flush to zero, denormals are zero)
// are restored as well.
TEST(ConversionEdges, RestoresTheControlRegister) {
    ZT_SKIP_IF_PLACEHOLDER("zeliConvert_32f8u_C1R");
    const float in[3] = {NAN, 1e30f, 0.5f};
    Zel8u out[3];
    const unsigned saved = _mm_getcsr();
    _mm_setcsr((saved & ~0x6000u) | 0x8040u | 0x4000u);  // flush to zero, denormals are zero, round up
    const unsigned set = _mm_getcsr();
    EXPECT_EQ(zeliConvert_32f8u_C1R(in, 12, out, 3, {3, 1}, zelRndNear), zelStsNoErr);
    EXPECT_EQ(_mm_getcsr(), set);
    _mm_setcsr(saved);
    EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{0, 255, 0}));
}

}  // namespace
