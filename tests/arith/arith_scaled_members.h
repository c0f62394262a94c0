// The scaled-arithmetic families (Add, Sub, Mul, Div, their constant forms, Div_Round) as
// data: each export's name is parsed into operation, type, layout and form, and one generic
// caller invokes any of them with arguments in one record. The reference rule is written here
// from the definition, with exact integer arithmetic, and is the oracle of every test.
#pragma once

#include <dlfcn.h>

#include <string>
#include <type_traits>
#include <vector>

#include "zel_test_kit.h"

namespace at {

enum class Op { Add, Sub, Mul, Div, DivRound };
enum class Type { U8, U16, S16, F32 };

struct Member {
    std::string name;
    Op op = Op::Add;
    Type type = Type::U8;
    int layout = 1;  // 1, 3, 4, or 5 for AC4
    bool isConst = false, inPlace = false, longForm = false;
    void* fn = nullptr;

    int samples() const { return layout == 5 ? 4 : layout; }    // per pixel
    int constants() const { return layout == 5 ? 3 : layout; }  // of a constant form
    int elem() const { return type == Type::U8 ? 1 : type == Type::F32 ? 4 : 2; }
    bool isDiv() const { return op == Op::Div || op == Op::DivRound; }
    bool checksSteps() const { return isDiv(); }
};

// Everything a call takes. Operand 1 is the image s1 or the constants at value; the result is
// s2 op s1 (s2 - s1, s2 / s1) into d. In place, s2 is d; a constant form reads its image at s2.
struct Args {
    const void* s1 = nullptr;
    int64_t s1Step = 0;
    const void* s2 = nullptr;
    int64_t s2Step = 0;
    void* d = nullptr;
    int64_t dStep = 0;
    int64_t w = 0, h = 0;
    const void* value = nullptr;
    int sf = 0, rnd = 1;
};

inline Member parse(const std::string& name) {
    Member m;
    m.name = name;
    std::string s = name.substr(4);  // after "zeli"
    auto take = [&](const std::string& p) {
        if (s.compare(0, p.size(), p) != 0) return false;
        s = s.substr(p.size());
        return true;
    };
    if (take("Div_Round_")) m.op = Op::DivRound;
    else {
        std::string op = s.substr(0, s.find('_'));
        s = s.substr(op.size() + 1);
        if (op.back() == 'C') m.isConst = true, op.pop_back();
        m.op = op == "Add" ? Op::Add : op == "Sub" ? Op::Sub : op == "Mul" ? Op::Mul : Op::Div;
    }
    m.type = take("8u_") ? Type::U8 : take("16u_") ? Type::U16 : take("16s_") ? Type::S16 : (take("32f_"), Type::F32);
    m.layout = take("AC4") ? 5 : take("C1") ? 1 : take("C3") ? 3 : (take("C4"), 4);
    m.inPlace = take("I");
    m.longForm = s.size() >= 2 && s.compare(s.size() - 2, 2, "_L") == 0;
    m.fn = dlsym(RTLD_DEFAULT, name.c_str());
    return m;
}

inline const std::vector<Member>& members() {
    static const std::vector<Member> all = [] {
        std::vector<Member> v;
        for (auto& n : zt::exportsOf({"Add, Sub, Mul, Div", "AddC, SubC, MulC, DivC", "Div_Round"})) v.push_back(parse(n));
        return v;
    }();
    return all;
}

inline const Member& member(const std::string& name) {
    for (auto& m : members())
        if (m.name == name) return m;
    static Member none;
    ADD_FAILURE() << name << " is not a member";
    return none;
}

template <class... A>
ZelStatus invoke(void* fn, A... args) {
    return ((ZelStatus(*)(A...))fn)(args...);
}

template <class T, bool Long>
ZelStatus callAs(const Member& m, const Args& a) {
    using S = std::conditional_t<Long, int64_t, int>;
    using Z = std::conditional_t<Long, ZeliSizeL, ZeliSize>;
    Z roi{(decltype(Z::width))a.w, (decltype(Z::height))a.h};
    auto s1 = (const T*)a.s1, s2 = (const T*)a.s2, val = (const T*)a.value;
    auto d = (T*)a.d;
    auto fin = [&](auto... xs) -> ZelStatus {
        if (m.op == Op::DivRound) return invoke(m.fn, xs..., (ZelRoundMode)a.rnd, a.sf);
        if (m.type == Type::F32) return invoke(m.fn, xs...);
        return invoke(m.fn, xs..., a.sf);
    };
    if (!m.isConst)
        return m.inPlace ? fin(s1, S(a.s1Step), d, S(a.dStep), roi) : fin(s1, S(a.s1Step), s2, S(a.s2Step), d, S(a.dStep), roi);
    if (m.layout == 1) {
        T v = *val;
        return m.inPlace ? fin(v, d, S(a.dStep), roi) : fin(s2, S(a.s2Step), v, d, S(a.dStep), roi);
    }
    return m.inPlace ? fin(val, d, S(a.dStep), roi) : fin(s2, S(a.s2Step), val, d, S(a.dStep), roi);
}

inline ZelStatus call(const Member& m, const Args& a) {
    switch (m.type) {
        case Type::U8: return m.longForm ? callAs<Zel8u, true>(m, a) : callAs<Zel8u, false>(m, a);
        case Type::U16: return m.longForm ? callAs<Zel16u, true>(m, a) : callAs<Zel16u, false>(m, a);
        case Type::S16: return m.longForm ? callAs<Zel16s, true>(m, a) : callAs<Zel16s, false>(m, a);
        default: return m.longForm ? callAs<Zel32f, true>(m, a) : callAs<Zel32f, false>(m, a);
    }
}

// ---- the rule ----------------------------------------------------------------------------

inline int64_t clampTo(int64_t v, int64_t lo, int64_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// The exact result s times 2^-sf, rounded half to even, saturated to [lo, hi]; for sf > 0 the
// definition's formula (s + 2^(n-1) - 1 + ((s >> n) & 1)) >> n. |s| < 2^33.
inline int64_t scaleRule(int64_t s, int sf, int64_t lo, int64_t hi) {
    if (sf == 0) return clampTo(s, lo, hi);
    if (sf > 0) {
        if (sf > 40) return 0;  // |s| / 2^41 < 1/2
        int n = sf;
        return clampTo((s + (int64_t(1) << (n - 1)) - 1 + ((s >> n) & 1)) >> n, lo, hi);
    }
    int64_t n = -(int64_t)sf;
    if (s == 0) return 0;
    if (n > 24) return s > 0 ? hi : lo;  // |s| * 2^25 is beyond every range
    return clampTo(s * (int64_t(1) << n), lo, hi);
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
constexpr int64_t lowest() { return std::is_signed_v<T> ? -32768 : 0; }
template <class T>
constexpr int64_t highest() { return sizeof(T) == 1 ? 255 : std::is_signed_v<T> ? 32767 : 65535; }

// One sample: operand x (image 1 or constant) and y (image 2 or the constant form's image).
// Sets *zero when a division met a zero divisor.
template <class T>
T rule(Op op, T x, T y, int sf, int rnd, bool* zero) {
    if constexpr (std::is_same_v<T, float>) {
        switch (op) {
            case Op::Add: return x + y;
            case Op::Sub: return y - x;
            case Op::Mul: return x * y;
            default: *zero |= x == 0.0f; return y / x;
        }
    } else {
        const int64_t lo = lowest<T>(), hi = highest<T>();
        switch (op) {
            case Op::Add: return (T)scaleRule((int64_t)x + y, sf, lo, hi);
            case Op::Sub: return (T)scaleRule((int64_t)y - x, sf, lo, hi);
            case Op::Mul: return (T)scaleRule((int64_t)x * y, sf, lo, hi);
            default:
                if (sizeof(T) == 1 && sf < -15) return y ? 255 : 0;  // no division at all
                *zero |= x == 0;
                return (T)divRule(y, x, sf, rnd, lo, hi);
        }
    }
}

// Applies the member to the memory the arguments point at (a snapshot), row after row as the
// steps say; returns the status the library must return.
template <class T>
ZelStatus modelAs(const Member& m, const Args& a) {
    auto at = [](const void* p, int64_t step, int64_t y) { return (T*)p + step / (int64_t)sizeof(T) * y; };
    const int64_t n = a.w * m.samples();
    bool zero = false;
    for (int64_t y = 0; y < a.h; ++y) {
        T* d = at(a.d, a.dStep, y);
        const T* s2 = at(a.s2, a.s2Step, y);
        const T* s1 = m.isConst ? nullptr : at(a.s1, a.s1Step, y);
        for (int64_t i = 0; i < n; ++i) {
            int c = (int)(i % m.samples());
            if (m.layout == 5 && c == 3) continue;
            T x = m.isConst ? ((const T*)a.value)[c] : s1[i];
            d[i] = rule<T>(m.op, x, s2[i], a.sf, a.rnd, &zero);
        }
    }
    return zero ? zelStsDivByZero : zelStsNoErr;
}

inline ZelStatus model(const Member& m, const Args& a) {
    switch (m.type) {
        case Type::U8: return modelAs<Zel8u>(m, a);
        case Type::U16: return modelAs<Zel16u>(m, a);
        case Type::S16: return modelAs<Zel16s>(m, a);
        default: return modelAs<Zel32f>(m, a);
    }
}

}  // namespace at
