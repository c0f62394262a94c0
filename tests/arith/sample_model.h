// Sample-wise families (logic, shifts, complement, Abs, Sqr, Sqrt, Exp, Ln, MulScale) described
// as data: a member is its sample size, layout, operand shape, check order and a scalar rule
// for one sample. One model runs them all: every processed sample of the destination becomes
// rule(a, b, scaleFactor), where a is the first (or only) source sample and b the second
// source's sample or the channel's constant; the fourth channel of AC4 keeps its content.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "zel_test_kit.h"

namespace am {

enum class Shape { Unary, Binary, Const };

struct Args {
    uint8_t* a = nullptr;  // first operand (the destination itself in place)
    int64_t aStep = 0;
    uint8_t* b = nullptr;  // second image
    int64_t bStep = 0;
    uint8_t* dst = nullptr;
    int64_t dstStep = 0;
    int width = 0, height = 0;
    uint8_t value[16] = {};  // constants, constElem bytes each
    bool valueNull = false;
    int scale = 0;
};

using Rule = std::function<uint64_t(uint64_t a, uint64_t b, int scale)>;

struct Member {
    std::string name;
    int elem = 1;          // bytes per sample
    int channels = 1;      // samples per pixel in memory
    int used = 1;          // processed channels (3 for AC4)
    Shape shape = Shape::Unary;
    bool inPlace = false;
    bool sizeFirst = false;  // size checked before steps
    bool hasScale = false;
    int constElem = 0;     // bytes per constant
    Rule rule;
    // Accepts a result that differs from the rule (approximate functions); null: exact.
    std::function<bool(uint64_t got, uint64_t want, uint64_t a)> close;
    std::function<ZelStatus(const Args&)> call;

    int pixelBytes() const { return channels * elem; }
};

// Sign extension of the low `bytes` bytes.
inline int64_t sext(uint64_t v, int bytes) {
    int sh = 64 - 8 * bytes;
    return (int64_t)(v << sh) >> sh;
}
inline uint64_t low(int64_t v, int bytes) { return bytes == 8 ? (uint64_t)v : (uint64_t)v & ((1ull << (8 * bytes)) - 1); }

inline uint64_t load(const uint8_t* p, int bytes) {
    uint64_t v = 0;
    memcpy(&v, p, bytes);
    return v;
}
inline void store(uint8_t* p, uint64_t v, int bytes) { memcpy(p, &v, bytes); }

// The member's rule applied to the memory `a` points at (a snapshot).
inline void model(const Member& m, const Args& a) {
    const int64_t as = a.aStep / m.elem * m.elem, bs = a.bStep / m.elem * m.elem, ds = a.dstStep / m.elem * m.elem;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            for (int c = 0; c < m.used; ++c) {
                int64_t off = ((int64_t)x * m.channels + c) * m.elem;
                uint64_t va = load(a.a + y * as + off, m.elem);
                uint64_t vb = m.shape == Shape::Binary ? load(a.b + y * bs + off, m.elem)
                              : m.shape == Shape::Const ? load(a.value + c * m.constElem, m.constElem)
                                                        : 0;
                store(a.dst + y * ds + off, m.rule(va, vb, a.scale), m.elem);
            }
}

// Guarded images for one call; regions[] owns the memory.
struct Trial {
    std::vector<zt::Region> regions;
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> w;
        for (auto& r : regions) w.push_back(&r);
        return w;
    }
};

// Fills a sample region: random bits, or values from `gen` when given.
using Gen = std::function<uint64_t(zt::Rng&)>;

inline Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, int width = 0, int height = 0,
                       const Gen& gen = {}) {
    Trial t;
    Args& a = t.args;
    a.width = width ? width : zt::randomWidth(rng, m.pixelBytes());
    int64_t rowBytes = (int64_t)a.width * m.pixelBytes();
    a.height = height ? height : zt::randomHeight(rng, rowBytes);
    auto image = [&](int64_t& step) {
        step = zt::randomStep(rng, rowBytes);
        t.regions.emplace_back(rowBytes, a.height, step, tight, rng.range(0, 63));
        zt::Region& r = t.regions.back();
        r.randomize(rng);
        if (gen) {
            int64_t rs = step / m.elem * m.elem;
            for (int y = 0; y < a.height; ++y)
                for (int64_t i = 0; i < rowBytes; i += m.elem) store(r.origin() + y * rs + i, gen(rng), m.elem);
        }
        return r.origin();
    };
    t.regions.reserve(3);
    a.dst = image(a.dstStep);
    if (m.inPlace) {
        a.a = a.dst, a.aStep = a.dstStep;
    } else {
        a.a = image(a.aStep);
    }
    if (m.shape == Shape::Binary) a.b = image(a.bStep);
    for (int i = 0; i < 16; i += m.elem) {
        uint64_t v = gen && m.constElem == m.elem ? gen(rng) : rng.next();
        store(a.value + i, v, m.elem);
    }
    if (m.constElem == 4 && m.elem != 4)  // shift counts: mostly small, sometimes huge
        for (int c = 0; c < 4; ++c) {
            uint32_t k = rng.chance(0.8) ? (uint32_t)rng.range(0, 8 * m.elem + 2) : rng.bits<uint32_t>();
            store(a.value + 4 * c, k, 4);
        }
    a.scale = (int)rng.range(-4, 12);
    return t;
}

// Runs the member on the arguments and the model on a snapshot; every watched byte must agree
// (approximate members compare destination samples with their tolerance).
inline void expectModel(const Member& m, const Trial& t) {
    zt::Shadow shadow(t.watch());
    Args s = t.args;
    s.a = shadow(t.args.a), s.b = shadow(t.args.b), s.dst = shadow(t.args.dst);
    model(m, s);
    ASSERT_EQ(m.call(t.args), zelStsNoErr);
    if (!m.close) {
        EXPECT_TRUE(shadow.matches());
        return;
    }
    const Args& a = t.args;
    const int64_t ds = a.dstStep / m.elem * m.elem;
    for (int y = 0; y < a.height; ++y)
        for (int64_t i = 0; i < (int64_t)a.width * m.pixelBytes(); i += m.elem) {
            uint64_t got = load(a.dst + y * ds + i, m.elem), want = load(s.dst + y * ds + i, m.elem);
            if (got != want && !m.close(got, want, 0)) {
                ADD_FAILURE() << m.name << ": row " << y << " byte " << i << ": got 0x" << std::hex << got
                              << ", want 0x" << want;
                return;
            }
        }
}

// The member's whole argument-check order.
inline zt::CheckOrder<Args> checkOrder(const Member& m, const Trial& t, ZelStatus ok = zelStsNoErr) {
    zt::CheckOrder<Args> co(t.args, m.call, t.watch(), ok);
    if (!m.inPlace) co.row("first source null", [](Args& a) { a.a = nullptr; }, zelStsNullPtrErr);
    if (m.shape == Shape::Binary) co.row("second source null", [](Args& a) { a.b = nullptr; }, zelStsNullPtrErr);
    if (m.shape == Shape::Const && (m.used > 1 || m.channels > 1))
        co.row("constants null", [](Args& a) { a.valueNull = true; }, zelStsNullPtrErr);
    co.row("destination null", [](Args& a) { a.dst = nullptr; }, zelStsNullPtrErr);
    auto steps = [&] {
        if (!m.inPlace) co.row("first step 0", [](Args& a) { a.aStep = 0; }, zelStsStepErr);
        if (m.shape == Shape::Binary) co.row("second step -1", [](Args& a) { a.bStep = -1; }, zelStsStepErr);
        co.row("destination step 0", [](Args& a) { a.dstStep = 0; }, zelStsStepErr);
    };
    auto size = [&] {
        co.row("width 0", [](Args& a) { a.width = 0; }, zelStsSizeErr);
        co.row("height -1", [](Args& a) { a.height = -1; }, zelStsSizeErr);
    };
    if (m.sizeFirst) {
        size();
        steps();
    } else {
        steps();
        size();
    }
    return co;
}

// ---- binding a member to its export --------------------------------------------------------

using Call = std::function<ZelStatus(const Args&)>;
inline ZeliSize roi(const Args& a) { return {a.width, a.height}; }
template <class U>
U scalar(const Args& a) {
    U v;
    memcpy(&v, a.value, sizeof v);
    return v;
}
// Constant arrays sit at the end of a guarded page, so that reading one entry too many faults.
template <class U>
const U* array(const Args& a, int n) {
    static zt::Region* page = new zt::Region(64, 1, 64, zt::Tight::End);
    if (a.valueNull) return nullptr;
    uint8_t* p = page->lo() + 64 - n * sizeof(U);
    memcpy(p, a.value, n * sizeof(U));
    return (const U*)p;
}

// Two images, or one image in place (second source, then the destination).
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, const T*, int, T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) {
        return fn((const T*)a.a, (int)a.aStep, (const T*)a.b, (int)a.bStep, (T*)a.dst, (int)a.dstStep, roi(a));
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize), const Member& m) {
    if (m.shape == Shape::Binary)
        return [fn](const Args& a) { return fn((const T*)a.b, (int)a.bStep, (T*)a.dst, (int)a.dstStep, roi(a)); };
    return [fn](const Args& a) { return fn((const T*)a.a, (int)a.aStep, (T*)a.dst, (int)a.dstStep, roi(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) { return fn((T*)a.dst, (int)a.dstStep, roi(a)); };
}
template <class T, class U>
Call bind(ZelStatus (*fn)(const T*, int, U, T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) { return fn((const T*)a.a, (int)a.aStep, scalar<U>(a), (T*)a.dst, (int)a.dstStep, roi(a)); };
}
template <class T, class U>
Call bind(ZelStatus (*fn)(const T*, int, const U*, T*, int, ZeliSize), const Member& m) {
    int n = m.used;
    return [fn, n](const Args& a) {
        return fn((const T*)a.a, (int)a.aStep, array<U>(a, n), (T*)a.dst, (int)a.dstStep, roi(a));
    };
}
template <class T, class U>
Call bind(ZelStatus (*fn)(U, T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) { return fn(scalar<U>(a), (T*)a.dst, (int)a.dstStep, roi(a)); };
}
template <class T, class U>
Call bind(ZelStatus (*fn)(const U*, T*, int, ZeliSize), const Member& m) {
    int n = m.used;
    return [fn, n](const Args& a) { return fn(array<U>(a, n), (T*)a.dst, (int)a.dstStep, roi(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, int), const Member&) {
    return [fn](const Args& a) { return fn((const T*)a.a, (int)a.aStep, (T*)a.dst, (int)a.dstStep, roi(a), a.scale); };
}
template <class T>
Call bind(ZelStatus (*fn)(T*, int, ZeliSize, int), const Member&) {
    return [fn](const Args& a) { return fn((T*)a.dst, (int)a.dstStep, roi(a), a.scale); };
}

// A member from its export and layout token ("C1", "C3", "C4", "AC4").
template <class T, class F>
Member make(const char* name, F fn, const char* layout, Shape shape, bool inPlace, Rule rule, int constElem = 0,
            bool sizeFirst = false) {
    Member m;
    m.name = name, m.elem = sizeof(T), m.shape = shape, m.inPlace = inPlace, m.rule = std::move(rule);
    m.sizeFirst = sizeFirst;
    std::string l = layout;
    m.channels = l == "C1" ? 1 : l == "C3" ? 3 : 4;
    m.used = l == "AC4" ? 3 : m.channels;
    m.constElem = shape == Shape::Const ? (constElem ? constElem : (int)sizeof(T)) : 0;
    m.call = bind(fn, m);
    return m;
}

}  // namespace am
