// The sample-wise families of arithmetic, logic and comparison as one model. A member is its
// export name read back (operation, type, layout, form); one caller invokes any member, and one
// rule per operation, a template over the sample type, gives every destination sample from the
// image operand p (pSrc2, pSrcDst, or the only source) and the other operand q (pSrc1 or pSrc of
// two-image forms, or the channel's constant). The fourth channel of AC4 keeps its content.
#pragma once

#include <limits.h>
#include <math.h>

#include <limits>
#include <type_traits>

#include "zel_test_kit.h"

namespace ar {

enum class Op { Add, Sub, Mul, Div, DivRound, And, Or, Xor, Not, LShift, RShift, Complement, Abs, Sqr, Sqrt, Exp, Ln,
                MulScale, Compare, Eps };
enum class Shape { Unary, Binary, Const };

struct Member : zt::Name {
    Op op = Op::Add;
    Shape shape = Shape::Unary;
    bool sizeFirst = false;    // size checked before the steps
    bool checksSteps = true;
    bool known = false;        // the model has a rule for the operation
    bool scaledOp() const { return op <= Op::DivRound; }
    bool divides() const { return op == Op::Div || op == Op::DivRound; }
    bool shifts() const { return op == Op::LShift || op == Op::RShift; }
    bool compares() const { return op >= Op::Compare; }
    bool approximate() const { return isFloat && (op == Op::Exp || op == Op::Ln); }  // within 1 ulp
};

// The operation and shape of a member: constant forms end in C (MulCScale: MulScale with a constant).
inline Member member(const zt::Name& n) {
    static const std::map<std::string, Op> ops = {
        {"Add", Op::Add}, {"Sub", Op::Sub}, {"Mul", Op::Mul}, {"Div", Op::Div}, {"Div_Round", Op::DivRound},
        {"And", Op::And}, {"Or", Op::Or}, {"Xor", Op::Xor}, {"Not", Op::Not}, {"LShift", Op::LShift},
        {"RShift", Op::RShift}, {"Complement", Op::Complement}, {"Abs", Op::Abs}, {"Sqr", Op::Sqr}, {"Sqrt", Op::Sqrt},
        {"Exp", Op::Exp}, {"Ln", Op::Ln}, {"MulScale", Op::MulScale}, {"Compare", Op::Compare}, {"CompareEqualEps", Op::Eps}};
    Member m;
    static_cast<zt::Name&>(m) = n;
    std::string op = n.op == "MulCScale" ? "MulScaleC" : n.op;
    if (op.back() == 'C') op.pop_back(), m.shape = Shape::Const;
    auto it = ops.find(op);
    if (it != ops.end()) m.op = it->second, m.known = true;
    if (m.shape != Shape::Const)
        m.shape = m.op == Op::Not || m.op == Op::Complement || (m.op >= Op::Abs && m.op <= Op::Ln) ? Shape::Unary : Shape::Binary;
    // Check order: scaled arithmetic takes the size first and only division checks steps; logic
    // and comparison take steps before the size; the element-wise functions the size first.
    m.sizeFirst = m.scaledOp() || (m.op >= Op::Abs && m.op <= Op::MulScale);
    m.checksSteps = !m.scaledOp() || m.divides();
    return m;
}

inline std::vector<Member> members(std::initializer_list<std::string> families) {
    std::vector<Member> v;
    for (auto& n : zt::namesOf(families)) v.push_back(member(n));
    return v;
}

// Everything a call takes; in place, p and d are the same image.
struct Args {
    const void* q = nullptr;
    int64_t qStep = 0;
    const void* p = nullptr;
    int64_t pStep = 0;
    void* d = nullptr;
    int64_t dStep = 0;
    int64_t w = 0, h = 0;
    const void* value = nullptr;  // the constants, in guarded memory
    int sf = 0, rnd = 1, cmp = 0;
    float eps = 0;
};

template <class T, class V, class D, bool Long>
ZelStatus callAs(const Member& m, const Args& a) {
    using S = std::conditional_t<Long, int64_t, int>;
    std::conditional_t<Long, ZeliSizeL, ZeliSize> roi{(S)a.w, (S)a.h};
    auto q = (const T*)a.q, p = (const T*)a.p;
    auto d = (D*)a.d;
    auto val = (const V*)a.value;
    auto fin = [&](auto... xs) {
        if (m.op == Op::DivRound) return zt::invoke(m.fn, xs..., a.rnd, a.sf);
        if (m.scaled) return zt::invoke(m.fn, xs..., a.sf);
        if (m.op == Op::Compare) return zt::invoke(m.fn, xs..., a.cmp);
        if (m.op == Op::Eps) return zt::invoke(m.fn, xs..., a.eps);
        return zt::invoke(m.fn, xs...);
    };
    switch (m.shape) {
        case Shape::Unary: return m.inPlace ? fin(d, S(a.dStep), roi) : fin(p, S(a.pStep), d, S(a.dStep), roi);
        case Shape::Binary:
            return m.inPlace ? fin(q, S(a.qStep), d, S(a.dStep), roi) : fin(q, S(a.qStep), p, S(a.pStep), d, S(a.dStep), roi);
        default:
            if (m.layout == "C1") return m.inPlace ? fin(*val, d, S(a.dStep), roi) : fin(p, S(a.pStep), *val, d, S(a.dStep), roi);
            return m.inPlace ? fin(val, d, S(a.dStep), roi) : fin(p, S(a.pStep), val, d, S(a.dStep), roi);
    }
}

inline ZelStatus call(const Member& m, const Args& a) {
    return zt::withType(m.type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        if (m.shifts()) return callAs<T, Zel32u, T, false>(m, a);
        if (m.compares()) return callAs<T, T, Zel8u, false>(m, a);
        return m.longForm ? callAs<T, T, T, true>(m, a) : callAs<T, T, T, false>(m, a);
    });
}

// ---- the rules ----------------------------------------------------------------------------

inline int64_t clampTo(int64_t v, int64_t lo, int64_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// s * 2^-sf rounded half to even, saturated to [lo, hi]; for sf > 0 the formula
// (s + 2^(n-1) - 1 + ((s >> n) & 1)) >> n. |s| < 2^33.
inline int64_t scaleRule(int64_t s, int sf, int64_t lo, int64_t hi) {
    if (sf == 0) return clampTo(s, lo, hi);
    if (sf > 0) return sf > 40 ? 0 : clampTo((s + (int64_t(1) << (sf - 1)) - 1 + ((s >> sf) & 1)) >> sf, lo, hi);
    if (s == 0) return 0;
    if (sf < -24) return s > 0 ? hi : lo;  // |s| * 2^25 is beyond every range
    return clampTo(s * (int64_t(1) << -sf), lo, hi);
}

// The exact quotient num * 2^-sf / den rounded by rnd (0 toward zero, 1 half to even, 2 half
// away from zero) and saturated; a zero divisor gives the extreme of the dividend's sign.
inline int64_t divRule(int64_t num, int64_t den, int sf, int rnd, int64_t lo, int64_t hi) {
    if (den == 0) return num > 0 ? hi : num < 0 ? lo : 0;
    int s = sf < -100 ? -100 : sf > 100 ? 100 : sf;  // beyond, every quotient is 0 or saturated alike
    __int128 N = num, D = den;
    if (s < 0) N <<= -s;
    else D <<= s;
    bool neg = (N < 0) != (D < 0);
    if (N < 0) N = -N;
    if (D < 0) D = -D;
    __int128 q = N / D, r2 = 2 * (N % D);
    if ((rnd == 1 && (r2 > D || (r2 == D && (q & 1)))) || (rnd == 2 && r2 >= D)) ++q;
    if (q > (__int128)1 << 40) q = (__int128)1 << 40;
    return clampTo(neg ? -(int64_t)q : (int64_t)q, lo, hi);
}

template <class T>
T saturate(long double v) {  // rounded half to even
    constexpr int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    return (T)(v <= lo ? lo : v >= hi ? hi : (int64_t)__builtin_roundevenl(v));
}

// One destination sample from p and q (k: the shift count); sets *zero on a zero divisor.
template <class T>
T rule(const Member& m, T p, T q, uint32_t k, const Args& a, bool* zero) {
    if constexpr (std::is_floating_point_v<T>) {
        switch (m.op) {
            case Op::Add: return q + p;
            case Op::Sub: return p - q;
            case Op::Mul: return q * p;
            case Op::Div: *zero |= q == 0; return p / q;
            case Op::Abs: return std::fabs(p);  // the sign bit cleared, NaN too
            case Op::Sqr: return p * p;
            case Op::Sqrt: return sqrtf(p);
            case Op::Exp: return (float)exp((double)p);
            default: return (float)log((double)p);
        }
    } else {
        constexpr int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
        constexpr int bits = 8 * sizeof(T);
        using U = std::make_unsigned_t<T>;
        int64_t x = p;
        switch (m.op) {
            case Op::Add: return (T)scaleRule(x + q, a.sf, lo, hi);
            case Op::Sub: return (T)scaleRule(x - q, a.sf, lo, hi);
            case Op::Mul: return (T)scaleRule(x * q, a.sf, lo, hi);
            case Op::Div:
            case Op::DivRound:
                if (sizeof(T) == 1 && a.sf < -15) return p ? hi : 0;  // no division at all
                *zero |= q == 0;
                return (T)divRule(x, q, a.sf, m.op == Op::DivRound ? a.rnd : 1, lo, hi);
            case Op::And: return p & q;
            case Op::Or: return p | q;
            case Op::Xor: return p ^ q;
            case Op::Not: return (T)~p;
            case Op::LShift: return k >= (uint32_t)bits ? 0 : (T)((U)p << k);
            case Op::RShift: return (T)(std::is_signed_v<T> ? x >> std::min(k, 63u) : k >= (uint32_t)bits ? 0 : (U)p >> k);
            case Op::Complement: return x >= 0 ? p : (T)(U)(-x | (int64_t(1) << (bits - 1)));  // sign and magnitude
            case Op::Abs: return (T)std::min(x < 0 ? -x : x, hi);
            case Op::Sqr: return (T)scaleRule(x * x, a.sf, lo, hi);
            case Op::Sqrt: return x <= 0 ? 0 : saturate<T>(ldexpl(sqrtl((long double)x), -a.sf));
            case Op::Exp: return saturate<T>(ldexpl(expl((long double)x), -a.sf));
            case Op::Ln: return x <= 0 ? (T)lo : saturate<T>(ldexpl(logl((long double)x), -a.sf));
            default: return (T)((2 * (uint64_t)x * (uint64_t)q + hi) / (2 * (uint64_t)hi));  // MulScale
        }
    }
}

template <class T>
bool holds(const Member& m, T p, T q, const Args& a, bool isConst) {
    if (m.op == Op::Eps) return fabsf((float)p - (float)q) <= a.eps;
    T x = isConst ? p : q, y = isConst ? q : p;  // pSrc1 (or the image) against pSrc2 (or the constant)
    switch (a.cmp) {
        case 0: return x < y;
        case 1: return x <= y;
        case 2: return x == y;
        case 3: return x >= y;
        default: return x > y;
    }
}

template <class V>
V load(const void* base, int64_t step, int64_t y, int64_t i) {
    V v;
    memcpy(&v, (const uint8_t*)base + step / (int64_t)sizeof(V) * (int64_t)sizeof(V) * y + i * (int64_t)sizeof(V), sizeof v);
    return v;
}

// Applies the member to the memory the arguments point at (a snapshot); returns the status the
// library must return.
template <class T>
ZelStatus modelAs(const Member& m, const Args& a) {
    bool zero = false, isConst = m.shape == Shape::Const;
    for (int64_t y = 0; y < a.h; ++y)
        for (int64_t x = 0; x < a.w; ++x) {
            bool all = true;
            for (int c = 0; c < m.used; ++c) {
                int64_t i = x * m.channels + c;
                T p = load<T>(a.p, a.pStep, y, i), q{};
                uint32_t k = 0;
                if (m.shifts()) k = ((const uint32_t*)a.value)[c];
                else if (isConst) memcpy(&q, (const T*)a.value + c, sizeof q);
                else if (m.shape == Shape::Binary) q = load<T>(a.q, a.qStep, y, i);
                if (m.compares()) {
                    all &= holds<T>(m, p, q, a, isConst);
                    continue;
                }
                T r = rule<T>(m, p, q, k, a, &zero);
                memcpy((uint8_t*)a.d + a.dStep / (int64_t)sizeof(T) * (int64_t)sizeof(T) * y + i * (int64_t)sizeof(T), &r, sizeof r);
            }
            if (m.compares()) ((uint8_t*)a.d)[y * a.dStep + x] = all ? 255 : 0;
        }
    return zero ? zelStsDivByZero : zelStsNoErr;
}

inline ZelStatus model(const Member& m, const Args& a) {
    return zt::withType(m.type, [&](auto tag) { return modelAs<typename decltype(tag)::type>(m, a); });
}

// ---- trials -------------------------------------------------------------------------------

// A sample biased to the edges: extremes, small numbers, zero; floats as each operation wants
// them (no NaN where its payload would be an arbitrary choice).
template <class T>
T sample(const Member& m, zt::Rng& rng) {
    if constexpr (std::is_floating_point_v<T>) {
        static const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 3.0f, 1e30f, -1e-30f, INFINITY, -INFINITY, NAN};
        if (m.op == Op::Exp) return rng.chance(0.05) ? (float)rng.range(-200, 200) : (float)(rng.range(-220000, 220000) * 5e-4);
        if (m.op == Op::Ln) return zt::fromBits<float>(rng.bits<uint32_t>() & (rng.chance(0.95) ? 0x7FFFFFFFu : ~0u));
        if (m.op >= Op::Abs && m.op <= Op::Sqrt) return rng.bits<float>();
        if (rng.chance(0.15)) return special[rng.range(0, m.compares() ? 10 : 9)];
        return m.compares() ? (float)rng.range(-4, 4) * 0.25f : (float)rng.range(-1000000, 1000000) / (float)rng.range(1, 1000);
    } else {
        int64_t r = rng.range(0, 9);
        if (r < 5) return rng.bits<T>();
        if (r < 8) return (T)rng.range(std::max<int64_t>(std::numeric_limits<T>::min(), -9), 9);
        const T edge[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(std::numeric_limits<T>::max() - 1), T(0)};
        return rng.pick(edge);
    }
}

inline int randomScale(zt::Rng& rng) {
    int64_t r = rng.range(0, 19);
    if (r == 0) return rng.pick(std::vector<int>{INT_MIN, INT_MAX, -1000, 1000, 63, -63, 32, -32, 31, -31});
    return (int)(r < 12 ? rng.range(-18, 18) : rng.range(-40, 40));
}

// Guarded images of one call: regions own the memory, args point into it.
struct Trial {
    std::vector<zt::Region> regions;
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> v;
        for (auto& r : regions) v.push_back(&r);
        return v;
    }
};

// Members that check no step get zero and negative steps too, unless `plain`. A `step` other
// than 0 is every image's; a `dstAt` of 0 or more puts the destination that many bytes past the
// guard page before it (the sources still end at theirs).
template <class T>
Trial makeTrialAs(const Member& m, zt::Rng& rng, zt::Tight tight, int64_t w, int64_t h, bool plain, int64_t step, int64_t dstAt) {
    const int64_t sz = sizeof(T), rowBytes = w * m.channels * sz;
    const bool anySteps = !m.checksSteps && !plain;
    zt::StepPolicy pol;
    if (anySteps) pol.negative = 0.1, pol.zero = 0.05;
    Trial t;
    t.regions.reserve(4);
    Args& a = t.args;
    a.w = w, a.h = h;
    auto image = [&](int64_t& st, int64_t bytes, bool divisor, bool samples = true) -> void* {
        st = step ? step : zt::randomStep(rng, bytes, pol);
        if (anySteps && h == 1 && rng.chance(0.3)) st = rng.range(-1000, 1000);  // one row: any step
        const int64_t slack = rng.chance(0.5) ? 0 : rng.range(1, 63);  // mostly right at the guard
        if (&st == &a.dStep && dstAt >= 0) t.regions.emplace_back(bytes, h, st, zt::Tight::Start, dstAt);
        else t.regions.emplace_back(bytes, h, st, tight, slack);
        zt::Region& r = t.regions.back();
        r.randomize(rng);
        bool zeros = !divisor || rng.chance(0.5);
        for (int64_t y = 0; samples && y < h; ++y)
            for (int64_t i = 0; i < bytes; i += sz) {
                T v = sample<T>(m, rng);
                if (!zeros && v == T(0)) v = T(1);
                memcpy(r.origin() + st / sz * sz * y + i, &v, sz);
            }
        return r.origin();
    };
    if (m.shape == Shape::Const) {
        int64_t vb = m.shifts() ? 4 : sz;
        t.regions.emplace_back(m.used * vb, 1, 0, tight);
        for (int c = 0; c < m.used; ++c) {
            T v = sample<T>(m, rng);
            if (m.divides() && v == T(0)) v = T(1);
            uint32_t n = rng.chance(0.8) ? (uint32_t)rng.range(0, 8 * sz + 2) : rng.bits<uint32_t>();  // shift counts
            memcpy(t.regions.back().origin() + c * vb, m.shifts() ? (const void*)&n : &v, vb);
        }
        a.value = t.regions.back().origin();
    }
    if (m.shape == Shape::Binary) a.q = image(a.qStep, rowBytes, m.divides());
    a.d = m.compares() ? image(a.dStep, w, false, false) : image(a.dStep, rowBytes, false);
    if (m.inPlace) a.p = a.d, a.pStep = a.dStep;
    else a.p = image(a.pStep, rowBytes, false);
    a.sf = m.scaledOp() ? randomScale(rng) : (int)rng.range(-40, 40);
    a.rnd = m.op == Op::DivRound ? (int)rng.range(0, 2) : 1;
    a.cmp = (int)rng.range(0, 4);
    a.eps = rng.chance(0.5) ? 0.0f : 0.25f * (float)rng.range(0, 8);
    return t;
}

inline Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, int64_t w = 0, int64_t h = 0, bool plain = false,
                       int64_t step = 0, int64_t dstAt = -1) {
    const int px = m.channels * m.sampleBytes;
    if (!w) w = zt::randomWidth(rng, px);
    if (!h) h = zt::randomHeight(rng, w * px);
    return zt::withType(m.type, [&](auto tag) { return makeTrialAs<typename decltype(tag)::type>(m, rng, tight, w, h, plain, step, dstAt); });
}

inline int64_t ulps(float x, float y) {
    if (isnan(x) || isnan(y)) return isnan(x) && isnan(y) ? 0 : INT64_MAX;
    auto ord = [](float f) {
        uint32_t u = zt::bitsOf(f);
        return (int64_t)(u & 0x80000000u ? -(int64_t)(u & 0x7FFFFFFF) : (int64_t)u);
    };
    return std::llabs(ord(x) - ord(y));
}

// Runs the model on a snapshot and the member on the memory; every watched byte must agree
// (approximate members: destination samples within 1 ulp).
inline void expectModel(const Member& m, const Trial& t) {
    zt::Shadow shadow(t.watch());
    Args s = t.args;
    s.q = shadow(s.q), s.p = shadow(s.p), s.d = shadow(s.d), s.value = shadow(s.value);
    ZelStatus want = model(m, s);
    const Args& a = t.args;
    ASSERT_EQ(call(m, a), want) << a.w << "x" << a.h << " sf " << a.sf << " rnd " << a.rnd;
    for (int64_t y = 0; m.approximate() && y < a.h; ++y)
        for (int64_t i = 0; i < a.w * m.channels; ++i) {
            float* want = (float*)s.d + a.dStep / 4 * y + i;
            float got = load<float>(a.d, a.dStep, y, i);
            if (ulps(got, load<float>(s.d, s.dStep, y, i)) <= 1) memcpy(want, &got, 4);
        }
    EXPECT_TRUE(shadow.matches()) << a.w << "x" << a.h << " sf " << a.sf << " rnd " << a.rnd << " cmp " << a.cmp
                                  << " eps " << a.eps << " steps " << a.qStep << " " << a.pStep << " " << a.dStep;
}

// The member's whole argument-check order: null pointers in argument order, then size and steps
// in the member's order, then its parameters.
inline void checkOrder(const Member& m, Trial& t) {
    zt::CheckOrder<Args> co(t.args, [&](const Args& a) { return call(m, a); }, t.watch());
    bool two = m.shape == Shape::Binary, arr = m.shape == Shape::Const && m.layout != "C1";
    if (two) co.row(m.inPlace ? "pSrc null" : "pSrc1 null", [](Args& a) { a.q = nullptr; }, zelStsNullPtrErr);
    if (!m.inPlace) co.row(two ? "pSrc2 null" : "pSrc null", [](Args& a) { a.p = nullptr; }, zelStsNullPtrErr);
    if (arr) co.row("value null", [](Args& a) { a.value = nullptr; }, zelStsNullPtrErr);
    co.row("pDst null", [](Args& a) { a.d = nullptr; }, zelStsNullPtrErr);
    auto size = [&] {
        co.row("width 0", [](Args& a) { a.w = 0; }, zelStsSizeErr);
        co.row("height -1", [](Args& a) { a.h = -1; }, zelStsSizeErr);
    };
    if (m.sizeFirst) size();
    if (m.checksSteps) {
        if (two) co.row("pSrc1 step 0", [](Args& a) { a.qStep = 0; }, zelStsStepErr);
        if (!m.inPlace) co.row(two ? "pSrc2 step -1" : "pSrc step -1", [](Args& a) { a.pStep = -1; }, zelStsStepErr);
        co.row("pDst step 0", [](Args& a) { a.dStep = 0; }, zelStsStepErr);
    } else {
        co.ignored("every step 0", [](Args& a) { a.qStep = a.pStep = a.dStep = 0; });
        co.ignored("every step negative", [](Args& a) { a.qStep = a.pStep = a.dStep = -64; });
    }
    if (!m.sizeFirst) size();
    std::vector<std::vector<uint8_t>> zeroed(m.used);  // DivC: each constant zero in turn
    for (int c = 0; m.divides() && m.shape == Shape::Const && c < m.used; ++c) {
        zeroed[c].assign((const uint8_t*)t.args.value, (const uint8_t*)t.args.value + m.used * m.sampleBytes);
        memset(zeroed[c].data() + c * m.sampleBytes, 0, m.sampleBytes);
        const void* z = zeroed[c].data();
        co.row("constant " + std::to_string(c) + " zero", [z](Args& a) { a.value = z; }, zelStsDivByZeroErr);
    }
    if (m.op == Op::DivRound) {
        co.row("round mode 3", [](Args& a) { a.rnd = 3; }, zelStsRoundModeErr);
        co.row("round mode -1", [](Args& a) { a.rnd = -1; }, zelStsRoundModeErr);
    }
    if (m.op == Op::Eps) co.row("eps -0.5", [](Args& a) { a.eps = -0.5f; }, zelStsEpsValErr);
    if (m.scaled) co.ignored("scale factor INT_MIN", [](Args& a) { a.sf = INT_MIN; });
    co.run();
}

}  // namespace ar
