// Member tables, the scalar model, random trials and check-order tables of the data-movement
// families (see copy_members.h).
#include "copy_members.h"

#include <limits.h>

namespace ct {

namespace {

// Arrays handed to the library (plane pointers, values, channel order) are copied to the very
// end of a guarded page first, so that reading one entry too many faults.
enum TailSlot { kSrcPlanes, kDstPlanes, kValues, kOrder, kTailSlots };

const void* tail(TailSlot slot, const void* items, size_t bytes) {
    static zt::Region* pages[kTailSlots] = {};
    if (!pages[slot]) pages[slot] = new zt::Region(256, 1, 256, zt::Tight::End);
    uint8_t* p = pages[slot]->lo() + 256 - bytes;
    memcpy(p, items, bytes);
    return p;
}

using Call = std::function<ZelStatus(const Args&)>;

ZeliSize size32(const Args& a) { return {(int)a.width, (int)a.height}; }
ZeliSizeL sizeL(const Args& a) { return {a.width, a.height}; }
template <class T>
T scalarValue(const Args& a) {
    T v;
    memcpy(&v, a.value, sizeof v);
    return v;
}
template <class T>
const T* valueArray(const Args& a, int n) {
    return a.valueNull ? nullptr : (const T*)tail(kValues, a.value, n * sizeof(T));
}
const int* orderArray(const Args& a, int n) { return a.orderNull ? nullptr : (const int*)tail(kOrder, a.order, n * 4); }
template <class T>
T* const* dstPlanes(const Args& a, int n) {
    return a.dstArrayNull ? nullptr : (T* const*)tail(kDstPlanes, a.dst, n * sizeof(void*));
}
template <class T>
const T* const* srcPlanes(const Args& a, int n) {
    return a.srcArrayNull ? nullptr : (const T* const*)tail(kSrcPlanes, a.src, n * sizeof(void*));
}

// One binder per signature shape; overload resolution picks it from the export's type.
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) { return fn((const T*)a.src[0], (int)a.srcStep, (T*)a.dst[0], (int)a.dstStep, size32(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, Zel64s, T*, Zel64s, ZeliSizeL), const Member&) {
    return [fn](const Args& a) { return fn((const T*)a.src[0], a.srcStep, (T*)a.dst[0], a.dstStep, sizeL(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T* const*, int, ZeliSize), const Member& m) {
    int n = m.dst.planes;
    return [fn, n](const Args& a) {
        return fn((const T*)a.src[0], (int)a.srcStep, dstPlanes<T>(a, n), (int)a.dstStep, size32(a));
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T* const*, int, T*, int, ZeliSize), const Member& m) {
    int n = m.src.planes;
    return [fn, n](const Args& a) {
        return fn(srcPlanes<T>(a, n), (int)a.srcStep, (T*)a.dst[0], (int)a.dstStep, size32(a));
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, const Zel8u*, int), const Member&) {
    return [fn](const Args& a) {
        return fn((const T*)a.src[0], (int)a.srcStep, (T*)a.dst[0], (int)a.dstStep, size32(a), a.mask, (int)a.maskStep);
    };
}
Call bind(ZelStatus (*fn)(const Zel8u*, int, Zel8u*, int, ZeliSize, int), const Member&) {
    return [fn](const Args& a) {
        return fn(a.src[0], (int)a.srcStep, a.dst[0], (int)a.dstStep, size32(a), a.flags);
    };
}
template <class T>
Call bind(ZelStatus (*fn)(T, T*, int, ZeliSize), const Member&) {
    return [fn](const Args& a) { return fn(scalarValue<T>(a), (T*)a.dst[0], (int)a.dstStep, size32(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, T*, int, ZeliSize), const Member& m) {
    int n = m.values;
    return [fn, n](const Args& a) { return fn(valueArray<T>(a, n), (T*)a.dst[0], (int)a.dstStep, size32(a)); };
}
template <class T>
Call bind(ZelStatus (*fn)(T, T*, int, ZeliSize, const Zel8u*, int), const Member&) {
    return [fn](const Args& a) {
        return fn(scalarValue<T>(a), (T*)a.dst[0], (int)a.dstStep, size32(a), a.mask, (int)a.maskStep);
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, T*, int, ZeliSize, const Zel8u*, int), const Member& m) {
    int n = m.values;
    return [fn, n](const Args& a) {
        return fn(valueArray<T>(a, n), (T*)a.dst[0], (int)a.dstStep, size32(a), a.mask, (int)a.maskStep);
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, const int*), const Member& m) {
    int n = m.orderLen;
    return [fn, n](const Args& a) {
        return fn((const T*)a.src[0], (int)a.srcStep, (T*)a.dst[0], (int)a.dstStep, size32(a), orderArray(a, n));
    };
}
template <class T>
Call bind(ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, const int*, T), const Member& m) {
    int n = m.orderLen;
    return [fn, n](const Args& a) {
        T val;
        memcpy(&val, a.extra, sizeof val);
        return fn((const T*)a.src[0], (int)a.srcStep, (T*)a.dst[0], (int)a.dstStep, size32(a), orderArray(a, n), val);
    };
}
template <class T>
Call bind(ZelStatus (*fn)(T*, int, ZeliSize, const int*), const Member& m) {
    int n = m.orderLen;
    return [fn, n](const Args& a) { return fn((T*)a.dst[0], (int)a.dstStep, size32(a), orderArray(a, n)); };
}

constexpr Source K{Source::Keep, 0};
Source S(int k) { return {Source::Src, k}; }
Source V(int k) { return {Source::Value, k}; }

template <class T, class F>
Member make(const char* name, Family family, Layout src, Layout dst, std::vector<Source> map, F fn,
            const std::function<void(Member&)>& tweak = {}) {
    Member m;
    m.name = name, m.family = family, m.elem = sizeof(T), m.src = src, m.dst = dst, m.fixedMap = std::move(map);
    if (tweak) tweak(m);
    m.call = bind(fn, m);
    return m;
}

const Layout C1{1}, C3{3}, C4{4}, C3c{3, 1, true}, C4c{4, 1, true}, P3{1, 3}, P4{1, 4}, None{};
const std::vector<Source> I1{S(0)}, I3{S(0), S(1), S(2)}, I4{S(0), S(1), S(2), S(3)}, A4{S(0), S(1), S(2), K};

auto masked = [](Member& m) { m.mask = true; };
auto longForm = [](Member& m) { m.longForm = true; };
std::function<void(Member&)> values(int n, bool array, bool mask = false) {
    return [=](Member& m) { m.values = n, m.valueArray = array, m.mask = mask; };
}
std::function<void(Member&)> order(Order o, int len, bool inPlace = false) {
    return [=](Member& m) { m.order = o, m.orderLen = len, m.inPlace = inPlace; };
}

#define CT_TYPE(t, T)                                                                                            \
    make<T>("zeliCopy_" #t "_C1R", Family::Copy, C1, C1, I1, zeliCopy_##t##_C1R),                               \
    make<T>("zeliCopy_" #t "_C3R", Family::Copy, C3, C3, I3, zeliCopy_##t##_C3R),                               \
    make<T>("zeliCopy_" #t "_C4R", Family::Copy, C4, C4, I4, zeliCopy_##t##_C4R),                               \
    make<T>("zeliCopy_" #t "_AC4R", Family::Copy, C4, C4, A4, zeliCopy_##t##_AC4R),                             \
    make<T>("zeliCopy_" #t "_C1R_L", Family::Copy, C1, C1, I1, zeliCopy_##t##_C1R_L, longForm),                 \
    make<T>("zeliCopy_" #t "_C3R_L", Family::Copy, C3, C3, I3, zeliCopy_##t##_C3R_L, longForm),                 \
    make<T>("zeliCopy_" #t "_C4R_L", Family::Copy, C4, C4, I4, zeliCopy_##t##_C4R_L, longForm),                 \
    make<T>("zeliCopy_" #t "_AC4R_L", Family::Copy, C4, C4, A4, zeliCopy_##t##_AC4R_L, longForm),               \
    make<T>("zeliCopy_" #t "_C3C1R", Family::Copy, C3c, C1, I1, zeliCopy_##t##_C3C1R),                          \
    make<T>("zeliCopy_" #t "_C4C1R", Family::Copy, C4c, C1, I1, zeliCopy_##t##_C4C1R),                          \
    make<T>("zeliCopy_" #t "_C1C3R", Family::Copy, C1, C3c, I1, zeliCopy_##t##_C1C3R),                          \
    make<T>("zeliCopy_" #t "_C1C4R", Family::Copy, C1, C4c, I1, zeliCopy_##t##_C1C4R),                          \
    make<T>("zeliCopy_" #t "_C3CR", Family::Copy, C3c, C3c, I1, zeliCopy_##t##_C3CR),                           \
    make<T>("zeliCopy_" #t "_C4CR", Family::Copy, C4c, C4c, I1, zeliCopy_##t##_C4CR),                           \
    make<T>("zeliCopy_" #t "_C3AC4R", Family::Copy, C3, C4, A4, zeliCopy_##t##_C3AC4R),                         \
    make<T>("zeliCopy_" #t "_AC4C3R", Family::Copy, C4, C3, I3, zeliCopy_##t##_AC4C3R),                         \
    make<T>("zeliCopy_" #t "_C3P3R", Family::Copy, C3, P3, I3, zeliCopy_##t##_C3P3R),                           \
    make<T>("zeliCopy_" #t "_C4P4R", Family::Copy, C4, P4, I4, zeliCopy_##t##_C4P4R),                           \
    make<T>("zeliCopy_" #t "_P3C3R", Family::Copy, P3, C3, I3, zeliCopy_##t##_P3C3R),                           \
    make<T>("zeliCopy_" #t "_P4C4R", Family::Copy, P4, C4, I4, zeliCopy_##t##_P4C4R),                           \
    make<T>("zeliCopy_" #t "_C1MR", Family::Copy, C1, C1, I1, zeliCopy_##t##_C1MR, masked),                     \
    make<T>("zeliCopy_" #t "_C3MR", Family::Copy, C3, C3, I3, zeliCopy_##t##_C3MR, masked),                     \
    make<T>("zeliCopy_" #t "_C4MR", Family::Copy, C4, C4, I4, zeliCopy_##t##_C4MR, masked),                     \
    make<T>("zeliCopy_" #t "_AC4MR", Family::Copy, C4, C4, A4, zeliCopy_##t##_AC4MR, masked),                   \
    make<T>("zeliSet_" #t "_C1R", Family::Set, None, C1, {V(0)}, zeliSet_##t##_C1R, values(1, false)),          \
    make<T>("zeliSet_" #t "_C3R", Family::Set, None, C3, {V(0), V(1), V(2)}, zeliSet_##t##_C3R, values(3, true)), \
    make<T>("zeliSet_" #t "_C4R", Family::Set, None, C4, {V(0), V(1), V(2), V(3)}, zeliSet_##t##_C4R,           \
            values(4, true)),                                                                                    \
    make<T>("zeliSet_" #t "_AC4R", Family::Set, None, C4, {V(0), V(1), V(2), K}, zeliSet_##t##_AC4R,            \
            values(3, true)),                                                                                    \
    make<T>("zeliSet_" #t "_C3CR", Family::Set, None, C3c, {V(0)}, zeliSet_##t##_C3CR, values(1, false)),       \
    make<T>("zeliSet_" #t "_C4CR", Family::Set, None, C4c, {V(0)}, zeliSet_##t##_C4CR, values(1, false)),       \
    make<T>("zeliSet_" #t "_C1MR", Family::Set, None, C1, {V(0)}, zeliSet_##t##_C1MR, values(1, false, true)),  \
    make<T>("zeliSet_" #t "_C3MR", Family::Set, None, C3, {V(0), V(1), V(2)}, zeliSet_##t##_C3MR,               \
            values(3, true, true)),                                                                              \
    make<T>("zeliSet_" #t "_C4MR", Family::Set, None, C4, {V(0), V(1), V(2), V(3)}, zeliSet_##t##_C4MR,         \
            values(4, true, true)),                                                                              \
    make<T>("zeliSet_" #t "_AC4MR", Family::Set, None, C4, {V(0), V(1), V(2), K}, zeliSet_##t##_AC4MR,          \
            values(3, true, true)),                                                                              \
    make<T>("zeliSwapChannels_" #t "_C3R", Family::Swap, C3, C3, {}, zeliSwapChannels_##t##_C3R,                \
            order(Order::Plain, 3)),                                                                             \
    make<T>("zeliSwapChannels_" #t "_C4R", Family::Swap, C4, C4, {}, zeliSwapChannels_##t##_C4R,                \
            order(Order::Plain, 4)),                                                                             \
    make<T>("zeliSwapChannels_" #t "_AC4R", Family::Swap, C4, C4, {}, zeliSwapChannels_##t##_AC4R,              \
            order(Order::Plain, 3)),                                                                             \
    make<T>("zeliSwapChannels_" #t "_C3C4R", Family::Swap, C3, C4, {}, zeliSwapChannels_##t##_C3C4R,            \
            order(Order::C3C4, 4)),                                                                              \
    make<T>("zeliSwapChannels_" #t "_C4C3R", Family::Swap, C4, C3, {}, zeliSwapChannels_##t##_C4C3R,            \
            order(Order::C4C3, 3))

std::vector<Member> build() {
    std::vector<Member> v = {CT_TYPE(8u, Zel8u), CT_TYPE(16u, Zel16u), CT_TYPE(16s, Zel16s), CT_TYPE(32s, Zel32s),
                             CT_TYPE(32f, Zel32f)};
    v.push_back(make<Zel8u>("zeliSwapChannels_8u_C3IR", Family::Swap, C3, C3, {}, zeliSwapChannels_8u_C3IR,
                            order(Order::Plain, 3, true)));
    v.push_back(make<Zel8u>("zeliSwapChannels_8u_C4IR", Family::Swap, C4, C4, {}, zeliSwapChannels_8u_C4IR,
                            order(Order::Plain, 4, true)));
    v.push_back(make<Zel8u>("zeliDup_8u_C1C3R", Family::Dup, C1, C3, {S(0), S(0), S(0)}, zeliDup_8u_C1C3R));
    v.push_back(make<Zel8u>("zeliDup_8u_C1C4R", Family::Dup, C1, C4, {S(0), S(0), S(0), S(0)}, zeliDup_8u_C1C4R));
    v.push_back(make<Zel8u>("zeliCopyManaged_8u_C1R", Family::Managed, C1, C1, I1, zeliCopyManaged_8u_C1R));
    return v;
}

}  // namespace

const std::vector<Member>& members() {
    static const std::vector<Member> all = build();
    return all;
}

const Member& member(const std::string& name) {
    for (auto& m : members())
        if (m.name == name) return m;
    ADD_FAILURE() << "no member " << name;
    return members().front();
}

std::vector<Source> Member::map(const Args& a) const {
    if (order == Order::None) return fixedMap;
    std::vector<Source> out;
    for (int i = 0; i < orderLen; ++i) {
        int o = a.order[i];
        if (order == Order::C3C4 && o == 3) out.push_back({Source::Extra, 0});
        else if (order == Order::C3C4 && o > 3) out.push_back(K);
        else out.push_back(S(o));
    }
    if ((int)out.size() < dst.slots()) out.push_back(K);  // AC4: alpha stays
    return out;
}

void model(const Member& m, const Args& a) {
    const std::vector<Source> map = m.map(a);
    const int E = m.elem;
    const int64_t sRow = a.srcStep / E * E, dRow = a.dstStep / E * E;
    bool sameLayout = !m.mask && m.src.planes == 1 && m.dst.planes == 1 && !m.src.channelPtr &&
                      !m.dst.channelPtr && m.src.stride == m.dst.stride && (int)map.size() == m.dst.stride;
    for (int d = 0; sameLayout && d < (int)map.size(); ++d)
        sameLayout = map[d].kind == Source::Src && map[d].index == d;
    if (sameLayout) {  // a plain row copy: the same rule, row by row, fast enough for large images
        for (int64_t y = 0; y < a.height; ++y)
            memmove(a.dst[0] + y * dRow, a.src[0] + y * sRow, a.width * m.dst.stride * E);
        return;
    }
    for (int64_t y = 0; y < a.height; ++y)
        for (int64_t x = 0; x < a.width; ++x) {
            if (m.mask && a.mask[y * a.maskStep + x] == 0) continue;
            uint8_t px[4][8];
            for (int k = 0; k < m.src.slots(); ++k) {
                const uint8_t* p = m.src.planes > 1 ? a.src[k] + y * sRow + x * E
                                                    : a.src[0] + y * sRow + (x * m.src.stride + k) * E;
                memcpy(px[k], p, E);
            }
            for (int d = 0; d < (int)map.size(); ++d) {
                uint8_t* q = m.dst.planes > 1 ? a.dst[d] + y * dRow + x * E
                                              : a.dst[0] + y * dRow + (x * m.dst.stride + d) * E;
                switch (map[d].kind) {
                    case Source::Keep: break;
                    case Source::Src: memcpy(q, px[map[d].index], E); break;
                    case Source::Value: memcpy(q, a.value + map[d].index * E, E); break;
                    case Source::Extra: memcpy(q, a.extra, E); break;
                }
            }
        }
}

Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, const TrialShape& shape) {
    const int E = m.elem;
    Trial t;
    t.regions.reserve(10);
    Args& a = t.args;
    a.width = shape.width ? shape.width : zt::randomWidth(rng, m.pixelBytes());
    a.height = shape.height ? shape.height : zt::randomHeight(rng, a.width * m.pixelBytes());
    const bool inPlace = m.inPlace || shape.inPlace;
    const bool checksSteps = m.family == Family::Swap;

    zt::StepPolicy pol;
    pol.unit = rng.chance(0.3) ? 1 : E;  // odd steps: rows advance by whole samples
    pol.packed = rng.chance(0.25) ? 1.0 : 0.0;  // all images packed together: the one-row paths
    pol.negative = shape.plainSteps ? 0.0 : 0.15;
    zt::StepPolicy srcPol = pol;
    if (!checksSteps && !inPlace && !shape.plainSteps) srcPol.zero = 0.08;
    // Long forms: sometimes one row with a step no 32-bit form could take.
    const bool hugeSteps = m.longForm && !shape.plainSteps && rng.chance(0.15);
    if (hugeSteps) a.height = 1;
    auto huge = [&] { return (rng.chance(0.5) ? 1 : -1) * (((int64_t)1 << 33) + rng.range(0, 1 << 20) * E); };

    auto image = [&](const Layout& l, int64_t step, int elem) -> zt::Region& {
        int64_t slack = rng.range(0, 63 / elem) * elem;
        t.regions.emplace_back(a.width * l.stride * elem, a.height, step, tight, slack, elem);
        t.regions.back().randomize(rng);
        return t.regions.back();
    };

    // Sometimes every step zero: each row lands on the first one, with the same content.
    const bool allZero = !checksSteps && !inPlace && !shape.plainSteps && !hugeSteps && rng.chance(0.05);
    a.dstStep = allZero ? 0 : hugeSteps ? huge() : zt::randomStep(rng, a.width * m.dst.stride * E, pol);
    int dstChannel = m.dst.channelPtr ? (int)rng.range(0, m.dst.stride - 1) : 0;
    for (int p = 0; p < m.dst.planes; ++p) a.dst[p] = image(m.dst, a.dstStep, E).origin() + dstChannel * E;
    if (inPlace) {
        a.src[0] = a.dst[0], a.srcStep = a.dstStep;
    } else if (m.src.stride) {
        a.srcStep = allZero ? 0 : hugeSteps ? huge() : zt::randomStep(rng, a.width * m.src.stride * E, srcPol);
        int srcChannel = m.src.channelPtr ? (int)rng.range(0, m.src.stride - 1) : 0;
        for (int p = 0; p < m.src.planes; ++p) a.src[p] = image(m.src, a.srcStep, E).origin() + srcChannel * E;
    }
    if (m.mask) {
        zt::StepPolicy mp;
        mp.negative = shape.plainSteps ? 0.0 : 0.15, mp.zero = shape.plainSteps ? 0.0 : 0.08;
        a.maskStep = allZero ? 0 : zt::randomStep(rng, a.width, mp);
        zt::Region& mask = image({1}, a.maskStep, 1);
        int64_t kind = rng.range(0, 9);  // all zero, all set, or mixed
        for (uint8_t* b = mask.lo(); b < mask.lo() + mask.extent(); ++b)
            *b = kind == 0 ? 0 : kind == 1 ? (uint8_t)rng.range(1, 255) : rng.chance(0.5) ? 0 : (uint8_t)rng.range(1, 255);
        a.mask = mask.origin();
    }

    rng.fill(a.value, sizeof a.value);
    rng.fill(a.extra, sizeof a.extra);
    if (E == 4 && rng.chance(0.3)) {  // special single-precision patterns among the values
        const uint32_t special[] = {0x7fc12345u, 0xff800001u, 0x80000000u, 0x7f800000u, 0x00000001u};
        for (int i = 0; i < 8; ++i)
            if (rng.chance(0.5)) memcpy(a.value + 4 * i, &special[rng.range(0, 4)], 4);
    }
    for (int i = 0; i < m.orderLen; ++i) {
        switch (m.order) {
            case Order::Plain: a.order[i] = (int)rng.range(0, m.orderLen - 1); break;
            case Order::C4C3: a.order[i] = (int)rng.range(0, 3); break;
            case Order::C3C4: {
                const int pick[] = {0, 1, 2, 3, 4, 5, 100, INT_MAX};
                a.order[i] = rng.pick(pick);
                break;
            }
            case Order::None: break;
        }
    }
    const int flags[] = {0, 1, 2, 3, 4, -1, 0x100};
    a.flags = rng.pick(flags);
    return t;
}

void expectModel(const Member& m, const Args& a, const std::vector<const zt::Region*>& watch) {
    zt::Shadow shadow(watch);
    Args s = a;
    for (int p = 0; p < 4; ++p) s.src[p] = shadow(a.src[p]), s.dst[p] = shadow(a.dst[p]);
    s.mask = shadow(a.mask);
    model(m, s);
    ASSERT_EQ(m.call(a), zelStsNoErr) << m.name << " " << a.width << "x" << a.height << ", steps " << a.srcStep
                                      << "/" << a.dstStep;
    EXPECT_TRUE(shadow.matches()) << m.name << " " << a.width << "x" << a.height << ", steps " << a.srcStep << "/"
                                  << a.dstStep << (m.mask ? ", mask step " + std::to_string(a.maskStep) : "");
}

zt::CheckOrder<Args> checkOrder(const Member& m, const Trial& t) {
    zt::CheckOrder<Args> co(t.args, m.call, t.watch());
    const ZelStatus kNull = zelStsNullPtrErr, kSize = zelStsSizeErr, kStep = zelStsStepErr,
                    kOrder = zelStsChannelOrderErr;

    auto imagePointers = [&] {
        if (m.inPlace) {
            co.row("pSrcDst null", [](Args& a) { a.dst[0] = nullptr, a.src[0] = nullptr; }, kNull);
            return;
        }
        if (m.src.stride) {
            for (int p = 0; m.src.planes > 1 && p < m.src.planes; ++p)
                co.row("source plane " + std::to_string(p) + " null", [p](Args& a) { a.src[p] = nullptr; }, kNull);
            if (m.src.planes > 1) co.row("source plane array null", [](Args& a) { a.srcArrayNull = true; }, kNull);
            else co.row("pSrc null", [](Args& a) { a.src[0] = nullptr; }, kNull);
        }
        for (int p = 0; m.dst.planes > 1 && p < m.dst.planes; ++p)
            co.row("destination plane " + std::to_string(p) + " null", [p](Args& a) { a.dst[p] = nullptr; }, kNull);
        if (m.dst.planes > 1) co.row("destination plane array null", [](Args& a) { a.dstArrayNull = true; }, kNull);
        else co.row("pDst null", [](Args& a) { a.dst[0] = nullptr; }, kNull);
    };
    auto sizes = [&] {
        co.row("width 0", [](Args& a) { a.width = 0; }, kSize);
        co.row("height 0", [](Args& a) { a.height = 0; }, kSize);
        co.row("width -1", [](Args& a) { a.width = -1; }, kSize);
        co.row("height -7", [](Args& a) { a.height = -7; }, kSize);
        if (m.longForm) co.row("width -2^40", [](Args& a) { a.width = -((int64_t)1 << 40); }, kSize);
        else co.row("height INT_MIN", [](Args& a) { a.height = INT_MIN; }, kSize);
    };
    auto steps = [&] {
        if (m.inPlace) {
            co.row("srcDstStep 0", [](Args& a) { a.srcStep = a.dstStep = 0; }, kStep);
        } else {
            co.row("srcStep 0", [](Args& a) { a.srcStep = 0; }, kStep);
            co.row("dstStep 0", [](Args& a) { a.dstStep = 0; }, kStep);
        }
    };
    auto orderNull = [&] { co.row("dstOrder null", [](Args& a) { a.orderNull = true; }, kNull); };
    auto orderEntries = [&] {
        int bound = m.order == Order::C3C4 ? 0 : m.order == Order::C4C3 ? 4 : m.orderLen;
        for (int i = 0; i < m.orderLen; ++i) {
            co.row("dstOrder[" + std::to_string(i) + "] -1", [i](Args& a) { a.order[i] = -1; }, kOrder);
            if (bound)
                co.row("dstOrder[" + std::to_string(i) + "] " + std::to_string(bound),
                       [i, bound](Args& a) { a.order[i] = bound; }, kOrder);
        }
    };

    if (m.family != Family::Swap) {
        imagePointers();
        if (m.mask) co.row("pMask null", [](Args& a) { a.mask = nullptr; }, kNull);
        if (m.valueArray) co.row("value null", [](Args& a) { a.valueNull = true; }, kNull);
        sizes();
        // No step is checked: zero and negative steps change no status.
        if (m.src.stride) co.ignored("srcStep 0", [](Args& a) { a.srcStep = 0; });
        co.ignored("dstStep 0", [](Args& a) { a.dstStep = 0; });
        if (m.mask) co.ignored("maskStep -1", [](Args& a) { a.maskStep = -1; });
        if (m.family == Family::Managed) co.ignored("flags -1", [](Args& a) { a.flags = -1; });
        return co;
    }
    if (m.name.find("_AC4R") != std::string::npos) {
        imagePointers(), steps(), sizes(), orderNull(), orderEntries();
    } else if (m.inPlace) {
        imagePointers(), orderNull(), steps(), sizes(), orderEntries();
    } else {
        imagePointers(), orderNull(), sizes(), steps(), orderEntries();
    }
    co.ignored("negative steps", [](Args& a) {
        a.srcStep = -std::abs(a.srcStep), a.dstStep = -std::abs(a.dstStep);
    });
    return co;
}

}  // namespace ct
