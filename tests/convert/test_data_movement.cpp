// Copy, CopyManaged, Set, SwapChannels and Dup. A member is its export name read back: the
// layouts of its images and a channel map. One scalar model runs every member: for each pixel
// (where the mask allows) each destination slot keeps its content, takes a source slot, a value
// or the extra constant. Random arguments in guarded memory, the model on a snapshot, every byte
// compared; the whole argument-check order; then the paths random geometry rarely reaches.
#include <limits.h>

#include <numeric>
#include <set>

#include "zel/zelcore.h"
#include "zel_test_kit.h"

namespace {

// One image argument. stride: samples per pixel of the image the pointer lies in (0: absent);
// planes above 1: an array of plane pointers sharing one step; channel: the pointer addresses
// one channel inside each pixel.
struct Img {
    int stride = 0, planes = 1;
    bool channel = false;
    int slots() const { return planes > 1 ? planes : channel ? 1 : stride; }
};
struct Source {
    enum Kind { Keep, Src, Value, Extra } kind;
    int index;
};
enum class Order { None, Plain, C4C3, C3C4 };

struct Member : zt::Name {
    Img src, dst;
    bool mask = false;
    int values = 0;          // Set: samples of the value (above 1: an array)
    Order order = Order::None;
    int orderLen = 0;
    std::vector<Source> fixedMap;
    int pixelBytes() const { return std::max(src.stride, dst.stride) * sampleBytes; }
};
void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

// zeli<Op>_<type>_<layout>[<layout>][C|M|I]R[_L]: C3C1 reads one channel, C1C3 writes one.
Member member(const zt::Name& n) {
    Member m;
    static_cast<zt::Name&>(m) = n;
    size_t at = n.name.find('_', n.name.find('_') + 1) + 1;
    const std::string d = n.name.substr(at, n.name.find('_', at) - at);
    size_t i = 0;
    auto layout = [&]() -> std::string {
        for (const char* l : {"AC4", "C1", "C3", "C4", "P3", "P4"})
            if (d.compare(i, strlen(l), l) == 0) return i += strlen(l), l;
        return "";
    };
    const std::string a = layout(), b = layout(), rest = d.substr(i);
    auto img = [](const std::string& l) { return l[0] == 'P' ? Img{1, l.back() - '0'} : Img{l.back() - '0'}; };
    Img A = img(a), B = b.empty() ? A : img(b);
    if (rest == "CR") A.channel = B.channel = true;
    if (b == "C1") A.channel = true;
    if (a == "C1" && !b.empty() && n.op == "Copy") B.channel = true;
    auto used = [](const std::string& l, const Img& g) { return g.channel ? 1 : l == "AC4" ? 3 : g.slots(); };
    const int ua = used(a, A), ub = used(b.empty() ? a : b, B);
    m.mask = rest == "MR";
    m.dst = B;
    if (n.op != "Set") m.src = A;
    for (int k = 0; k < B.slots(); ++k) {
        if (n.op == "Set") m.fixedMap.push_back({k < ub ? Source::Value : Source::Keep, k});
        else if (n.op == "Dup") m.fixedMap.push_back({Source::Src, 0});
        else m.fixedMap.push_back({k < std::min(ua, ub) ? Source::Src : Source::Keep, k});
    }
    if (n.op == "Set") m.values = ub;
    if (n.op == "SwapChannels") {
        m.order = b.empty() ? Order::Plain : a == "C3" ? Order::C3C4 : Order::C4C3;
        m.orderLen = b.empty() ? ua : B.slots();
    }
    if (d.empty() || a.empty() || (rest != "R" && rest != "CR" && rest != "MR" && rest != "IR"))
        ADD_FAILURE() << "cannot read " << n.name;
    return m;
}

std::vector<Member> members() {
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"Copy", "CopyManaged", "Set", "SwapChannels", "Dup"})) v.push_back(member(n));
    return v;
}
const Member& named(const std::string& name) {
    static const std::vector<Member> all = members();
    for (auto& m : all)
        if (m.name == name) return m;
    ADD_FAILURE() << "no member " << name;
    return all.front();
}

// Everything any member takes. Arrays (plane pointers, values, order) reach the library from the
// very end of a guarded page, so that reading one entry too many faults.
struct Args {
    const uint8_t* src[4] = {};
    uint8_t* dst[4] = {};
    bool srcArrayNull = false, dstArrayNull = false, valueNull = false, orderNull = false;
    int64_t srcStep = 0, dstStep = 0, width = 0, height = 0, maskStep = 0;
    const uint8_t* mask = nullptr;
    uint8_t value[32] = {};  // one sample, or one per channel
    uint8_t extra[8] = {};   // the constant of SwapChannels C3C4R
    int order[4] = {};
    int flags = 0;
};

const void* tail(int slot, const void* items, size_t bytes, bool null) {
    static zt::Region* pages[4] = {};
    if (!pages[slot]) pages[slot] = new zt::Region(256, 1, 256, zt::Tight::End);
    uint8_t* p = pages[slot]->lo() + 256 - bytes;
    memcpy(p, items, bytes);
    return null ? nullptr : p;
}

ZelStatus call(const Member& m, const Args& a) {
    return zt::withType(m.type, [&](auto tag) -> ZelStatus {
        using T = typename decltype(tag)::type;
        const ZeliSize r{(int)a.width, (int)a.height};
        const int ss = (int)a.srcStep, ds = (int)a.dstStep, ms = (int)a.maskStep;
        const void* s = m.src.planes > 1 ? tail(0, a.src, 8 * m.src.planes, a.srcArrayNull) : a.src[0];
        void* d = m.dst.planes > 1 ? (void*)tail(1, a.dst, 8 * m.dst.planes, a.dstArrayNull) : a.dst[0];
        const void* ord = tail(2, a.order, 4 * m.orderLen, a.orderNull);
        T v, e;
        memcpy(&v, a.value, sizeof v), memcpy(&e, a.extra, sizeof e);
        if (m.op == "Set" && m.values > 1) {
            const void* vals = tail(3, a.value, m.values * sizeof(T), a.valueNull);
            return m.mask ? zt::invoke(m.fn, vals, d, ds, r, a.mask, ms) : zt::invoke(m.fn, vals, d, ds, r);
        }
        if (m.op == "Set") return m.mask ? zt::invoke(m.fn, v, d, ds, r, a.mask, ms) : zt::invoke(m.fn, v, d, ds, r);
        if (m.longForm) return zt::invoke(m.fn, s, a.srcStep, d, a.dstStep, ZeliSizeL{a.width, a.height});
        if (m.inPlace) return zt::invoke(m.fn, d, ds, r, ord);
        if (m.order == Order::C3C4) return zt::invoke(m.fn, s, ss, d, ds, r, ord, e);
        if (m.order != Order::None) return zt::invoke(m.fn, s, ss, d, ds, r, ord);
        if (m.mask) return zt::invoke(m.fn, s, ss, d, ds, r, a.mask, ms);
        if (m.op == "CopyManaged") return zt::invoke(m.fn, s, ss, d, ds, r, a.flags);
        return zt::invoke(m.fn, s, ss, d, ds, r);
    });
}

// The channel map: fixed, or read from dstOrder (C3C4R: 3 takes the constant, above 3 keeps).
std::vector<Source> channelMap(const Member& m, const Args& a) {
    if (m.order == Order::None) return m.fixedMap;
    std::vector<Source> out;
    for (int i = 0; i < m.orderLen; ++i) {
        int o = a.order[i];
        bool c34 = m.order == Order::C3C4;
        out.push_back({c34 && o == 3 ? Source::Extra : c34 && o > 3 ? Source::Keep : Source::Src, o});
    }
    if ((int)out.size() < m.dst.slots()) out.push_back({Source::Keep, 0});  // AC4: alpha stays
    return out;
}

// Applies the member's rule to the memory `a` points at.
void model(const Member& m, const Args& a) {
    const std::vector<Source> map = channelMap(m, a);
    const int E = m.sampleBytes;
    const int64_t sRow = a.srcStep / E * E, dRow = a.dstStep / E * E;
    bool plainCopy = !m.mask && m.src.planes == 1 && m.dst.planes == 1 && !m.src.channel && !m.dst.channel &&
                     m.src.stride == m.dst.stride;
    for (int d = 0; d < (int)map.size(); ++d) plainCopy &= map[d].kind == Source::Src && map[d].index == d;
    if (plainCopy) {  // row by row: fast enough for large images
        for (int64_t y = 0; y < a.height; ++y) memmove(a.dst[0] + y * dRow, a.src[0] + y * sRow, a.width * m.dst.stride * E);
        return;
    }
    for (int64_t y = 0; y < a.height; ++y)
        for (int64_t x = 0; x < a.width; ++x) {
            if (m.mask && a.mask[y * a.maskStep + x] == 0) continue;
            uint8_t px[4][8];
            for (int k = 0; k < m.src.slots(); ++k)
                memcpy(px[k], m.src.planes > 1 ? a.src[k] + y * sRow + x * E : a.src[0] + y * sRow + (x * m.src.stride + k) * E, E);
            for (int d = 0; d < (int)map.size(); ++d) {
                uint8_t* q = m.dst.planes > 1 ? a.dst[d] + y * dRow + x * E : a.dst[0] + y * dRow + (x * m.dst.stride + d) * E;
                const Source s = map[d];
                if (s.kind != Source::Keep)
                    memcpy(q, s.kind == Source::Src ? px[s.index] : s.kind == Source::Value ? a.value + s.index * E : a.extra, E);
            }
        }
}

struct Trial {
    std::vector<zt::Region> regions;  // the destination first, the mask last
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> w;
        for (auto& r : regions) w.push_back(&r);
        return w;
    }
};

struct Shape {
    int width = 0, height = 0;  // 0: random
    bool sameImage = false;     // source == destination (SwapChannels C3R accepts it)
    bool plainSteps = false;    // positive steps only
    bool streamed = false;      // destination rows on 64 bytes at the front guard, sources at the end
    int packed = -1;            // every image packed (1), none (0), or by chance
};

Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, const Shape& shape = {}) {
    const int E = m.sampleBytes;
    Trial t;
    t.regions.reserve(10);
    Args& a = t.args;
    a.width = shape.width ? shape.width : zt::randomWidth(rng, m.pixelBytes());
    a.height = shape.height ? shape.height : zt::randomHeight(rng, a.width * m.pixelBytes());
    const bool inPlace = m.inPlace || shape.sameImage, plain = shape.plainSteps || shape.streamed;
    const bool anyStep = m.op != "SwapChannels" && !inPlace && !plain;  // no step is checked
    zt::StepPolicy pol;
    const bool packed = shape.packed < 0 ? rng.chance(0.25) : shape.packed;  // all packed: the one-row paths
    pol.unit = shape.streamed ? (packed ? 1 : 64) : rng.chance(0.3) ? 1 : E;  // odd steps: whole samples
    pol.packed = packed;
    pol.negative = plain ? 0.0 : 0.15;
    zt::StepPolicy srcPol = pol;
    if (anyStep) srcPol.zero = 0.08;
    const bool huge = m.longForm && !plain && rng.chance(0.15);  // one row, a step no 32-bit form takes
    if (huge) a.height = 1;
    auto hugeStep = [&] { return (rng.chance(0.5) ? 1 : -1) * (((int64_t)1 << 33) + rng.range(0, 1 << 20) * E); };
    auto image = [&](const Img& l, int64_t step, int elem, bool isDst) -> zt::Region& {
        const bool front = shape.streamed ? isDst : tight == zt::Tight::Start;
        const int64_t slack = shape.streamed && isDst ? 0 : rng.range(0, 63 / elem) * elem;
        t.regions.emplace_back(a.width * l.stride * elem, a.height, step, front ? zt::Tight::Start : zt::Tight::End, slack, elem);
        t.regions.back().randomize(rng);
        return t.regions.back();
    };
    const bool allZero = anyStep && !huge && rng.chance(0.05);  // every row lands on the first
    a.dstStep = allZero ? 0 : huge ? hugeStep() : zt::randomStep(rng, a.width * m.dst.stride * E, pol);
    const int dstChannel = m.dst.channel ? (int)rng.range(0, m.dst.stride - 1) : 0;
    for (int p = 0; p < m.dst.planes; ++p) a.dst[p] = image(m.dst, a.dstStep, E, true).origin() + dstChannel * E;
    if (inPlace) {
        a.src[0] = a.dst[0], a.srcStep = a.dstStep;
    } else if (m.src.stride) {
        a.srcStep = allZero ? 0 : huge ? hugeStep() : zt::randomStep(rng, a.width * m.src.stride * E, srcPol);
        const int srcChannel = m.src.channel ? (int)rng.range(0, m.src.stride - 1) : 0;
        for (int p = 0; p < m.src.planes; ++p) a.src[p] = image(m.src, a.srcStep, E, false).origin() + srcChannel * E;
    }
    if (m.mask) {
        zt::StepPolicy mp;
        mp.negative = plain ? 0.0 : 0.15, mp.zero = plain ? 0.0 : 0.08;
        a.maskStep = allZero ? 0 : zt::randomStep(rng, a.width, mp);
        zt::Region& mask = image({1}, a.maskStep, 1, false);
        const int64_t kind = rng.range(0, 9);  // all zero, all set, or mixed
        for (uint8_t* b = mask.lo(); b < mask.lo() + mask.extent(); ++b)
            *b = kind == 0 ? 0 : kind == 1 || rng.chance(0.5) ? (uint8_t)rng.range(1, 255) : 0;
        a.mask = mask.origin();
    }
    rng.fill(a.value, sizeof a.value);
    rng.fill(a.extra, sizeof a.extra);
    const uint32_t special[] = {0x7fc12345u, 0xffc00001u, 0x7f800001u, 0xff800000u, 0x80000000u, 0x00000001u};
    for (int i = 0; E == 4 && i < 8; ++i)  // NaN payloads, infinities, -0, denormals: bits kept
        if (rng.chance(0.2)) memcpy(a.value + 4 * i, &special[rng.range(0, 5)], 4), memcpy(a.extra, a.value + 4 * i, 4);
    const int wild[] = {0, 1, 2, 3, 4, 5, 100, INT_MAX};
    for (int i = 0; i < m.orderLen; ++i)
        a.order[i] = m.order == Order::C3C4 ? rng.pick(wild) : (int)rng.range(0, m.order == Order::C4C3 ? 3 : m.orderLen - 1);
    const int flags[] = {0, 1, 2, 3, 4, -1, 0x100};
    a.flags = rng.pick(flags);
    return t;
}

// Runs the member on the memory and the model on a snapshot; every watched byte must agree.
void expectModel(const Member& m, const Args& a, const std::vector<const zt::Region*>& watch) {
    zt::Shadow shadow(watch);
    Args s = a;
    for (int p = 0; p < 4; ++p) s.src[p] = shadow(a.src[p]), s.dst[p] = shadow(a.dst[p]);
    s.mask = shadow(a.mask);
    model(m, s);
    SCOPED_TRACE(::testing::Message() << m.name << " " << a.width << "x" << a.height << ", steps " << a.srcStep << "/"
                                      << a.dstStep << "/" << a.maskStep);
    ASSERT_EQ(call(m, a), zelStsNoErr);
    EXPECT_TRUE(shadow.matches());
}

class DataMovement : public ::testing::TestWithParam<Member> {};

TEST_P(DataMovement, MatchesScalarModel) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        Shape shape;
        shape.sameImage = m.order == Order::Plain && m.layout == "C3" && !m.inPlace && trial % 3 == 0;
        Trial t = makeTrial(m, rng, tight, shape);
        expectModel(m, t.args, t.watch());
    });
}

// Pointers in argument order, mask, value, then sizes; no step is checked but SwapChannels'.
TEST_P(DataMovement, ChecksArgumentsInOrder) {
    const Member& m = GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::Rng rng = zt::Rng::forTest();
    Shape shape;
    shape.width = (int)rng.range(1, 40), shape.height = (int)rng.range(1, 4), shape.plainSteps = true;
    Trial t = makeTrial(m, rng, zt::Tight::End, shape);
    zt::CheckOrder<Args> co(t.args, [&m](const Args& a) { return call(m, a); }, t.watch());
    const ZelStatus kNull = zelStsNullPtrErr, kSize = zelStsSizeErr, kStep = zelStsStepErr;
    auto pointers = [&] {
        if (m.inPlace) return (void)co.row("pSrcDst null", [](Args& a) { a.src[0] = nullptr, a.dst[0] = nullptr; }, kNull);
        for (bool isSrc : {true, false}) {
            const Img& g = isSrc ? m.src : m.dst;
            const std::string what = isSrc ? "source" : "destination";
            if (!g.stride) continue;
            for (int p = 0; g.planes > 1 && p < g.planes; ++p)
                co.row(what + " plane " + std::to_string(p) + " null",
                       [p, isSrc](Args& a) { isSrc ? void(a.src[p] = nullptr) : void(a.dst[p] = nullptr); }, kNull);
            co.row(what + " null", [&g, isSrc](Args& a) {
                if (g.planes > 1) (isSrc ? a.srcArrayNull : a.dstArrayNull) = true;
                else isSrc ? void(a.src[0] = nullptr) : void(a.dst[0] = nullptr);
            }, kNull);
        }
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
        if (m.inPlace) return (void)co.row("srcDstStep 0", [](Args& a) { a.srcStep = a.dstStep = 0; }, kStep);
        co.row("srcStep 0", [](Args& a) { a.srcStep = 0; }, kStep);
        co.row("dstStep 0", [](Args& a) { a.dstStep = 0; }, kStep);
    };
    auto order = [&] { co.row("dstOrder null", [](Args& a) { a.orderNull = true; }, kNull); };
    if (m.order == Order::None) {
        pointers();
        if (m.mask) co.row("pMask null", [](Args& a) { a.mask = nullptr; }, kNull);
        if (m.values > 1) co.row("value null", [](Args& a) { a.valueNull = true; }, kNull);
        sizes();
        co.ignored("every step 0, maskStep -1, flags -1", [](Args& a) { a.srcStep = a.dstStep = 0, a.maskStep = -1, a.flags = -1; });
        return co.run();
    }
    if (m.layout == "AC4") pointers(), steps(), sizes(), order();
    else if (m.inPlace) pointers(), order(), steps(), sizes();
    else pointers(), order(), sizes(), steps();
    const int bound = m.order == Order::C3C4 ? 0 : m.order == Order::C4C3 ? 4 : m.orderLen;
    for (int i = 0; i < m.orderLen; ++i) {
        co.row("dstOrder[" + std::to_string(i) + "] -1", [i](Args& a) { a.order[i] = -1; }, zelStsChannelOrderErr);
        if (bound)
            co.row("dstOrder[" + std::to_string(i) + "] too large", [i, bound](Args& a) { a.order[i] = bound; }, zelStsChannelOrderErr);
    }
    co.ignored("negative steps", [](Args& a) { a.srcStep = -std::abs(a.srcStep), a.dstStep = -std::abs(a.dstStep); });
    co.run();
}

INSTANTIATE_TEST_SUITE_P(Convert, DataMovement, ::testing::ValuesIn(members()), zt::paramName);

// ---- paths that random geometry rarely reaches ----------------------------------------------

// A same-layout copy between two images placed at chosen byte offsets after their guard pages.
void copyAt(const Member& m, int width, int height, int64_t srcStep, int64_t dstStep, int64_t srcSlack, int64_t dstSlack) {
    zt::Rng rng = zt::Rng::forTest(srcSlack * 4099 + dstSlack);
    const int64_t rowBytes = (int64_t)width * m.dst.stride * m.sampleBytes;
    zt::Region src(rowBytes, height, srcStep, zt::Tight::Start, srcSlack), dst(rowBytes, height, dstStep, zt::Tight::Start, dstSlack);
    src.randomize(rng), dst.randomize(rng);
    Args a;
    a.src[0] = src.origin(), a.srcStep = srcStep, a.dst[0] = dst.origin(), a.dstStep = dstStep, a.width = width, a.height = height;
    expectModel(m, a, {&src, &dst});
}

// Copies and planar conversions above 3 MiB and half the largest cache stream: destination rows
// on 64 bytes (padded, or packed into one long row) or anywhere (odd steps and offsets), rows not
// a multiple of 32 bytes; just above 3 MiB the cached path remains where the cache is larger.
TEST(CopyEngine, LargeImages) {
    int cache = 0;
    const int64_t streamed = std::max<int64_t>(zelGetMaxCacheSizeB(&cache) == zelStsNoErr ? cache / 2 : 0, 3 << 20) + 1;
    enum { Anywhere = -1, Padded = 0, Packed = 1 };
    const struct { const char* name; int width, height, rows; } images[] = {
        {"zeliCopy_8u_C4R", 4096, 0, Padded}, {"zeliCopy_8u_C4R", 4093, 0, Anywhere}, {"zeliCopy_8u_C4R", 4096, 0, Packed},
        {"zeliCopy_32f_C3R", 1365, 0, Anywhere}, {"zeliCopy_8u_C1R", 4096, 769, Padded}, {"zeliCopy_8u_C1R", 4095, 769, Anywhere},
        {"zeliCopy_8u_C3P3R", 1000, 0, Padded}, {"zeliCopy_8u_P3C3R", 1001, 0, Packed}, {"zeliCopy_16s_C4P4R", 517, 0, Packed},
        {"zeliCopy_16s_P4C4R", 517, 0, Padded}, {"zeliCopy_32f_C3P3R", 333, 0, Packed}, {"zeliCopy_32f_P3C3R", 333, 0, Padded}};
    zt::Rng rng = zt::Rng::forTest();
    for (auto& im : images) {
        const Member& m = named(im.name);
        const int64_t h = im.height ? im.height : streamed / (im.width * m.pixelBytes()) + 2;
        if (zt::isPlaceholder(im.name) || h * im.width * m.pixelBytes() > (int64_t(256) << 20)) continue;
        Shape shape{im.width, (int)h, false, true, im.rows != Anywhere, im.rows};
        Trial t = makeTrial(m, rng, im.rows == Anywhere ? zt::Tight::Start : zt::Tight::End, shape);
        expectModel(m, t.args, t.watch());
    }
}

// Equal steps with the destination 0..159 bytes after the source modulo 4096 (32-byte aligned)
// take the variant ordered against 4 KiB aliasing; the neighbours of that window do not.
TEST(CopyEngine, FourKibibyteAliasing) {
    for (const char* name : {"zeliCopy_8u_C1R", "zeliCopy_16s_C3R", "zeliCopy_32f_C4R", "zeliCopy_8u_C4R"}) {
        const Member& m = named(name);
        if (zt::isPlaceholder(name)) continue;
        const int pixel = m.dst.stride * m.sampleBytes, w0 = 32 / std::gcd(pixel, 32);  // rows of whole 32-byte units
        for (int bytes : {1024, 2048, 8192}) {
            const int width = (bytes / pixel + w0 - 1) / w0 * w0;
            const int64_t step = (int64_t)width * pixel + 96;
            for (int64_t d : {0, 32, 64, 96, 128, 160, 192, 4064, 4000, 40}) {
                copyAt(m, width, 24, step, step, 256, 256 + d);
                copyAt(m, width, 24, step, step, 512 + 32, 512 + 32 + d);
            }
            if (HasFailure()) return;
        }
    }
}

// Every flag value, every destination head alignment up to 64 bytes, packed and padded.
TEST(CopyEngine, ManagedCopyFlagsAndHeads) {
    const Member& m = named("zeliCopyManaged_8u_C1R");
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::Rng rng = zt::Rng::forTest();
    for (int flags : {0, 1, 2, 3, 4, -1})
        for (int head = 0; head < 64 && !HasFailure(); head += (int)rng.range(1, 9)) {
            const int width = rng.pick(std::vector<int>{1, 15, 64, 200, 1000, 5000}), height = (int)rng.range(1, 5);
            const bool packed = rng.chance(0.5);
            Args a;
            a.srcStep = packed ? width : width + rng.range(1, 100), a.dstStep = packed ? width : width + rng.range(1, 100);
            zt::Region src(width, height, a.srcStep, zt::Tight::Start, rng.range(0, 63));
            zt::Region dst(width, height, a.dstStep, zt::Tight::Start, head);
            src.randomize(rng), dst.randomize(rng);
            a.src[0] = src.origin(), a.dst[0] = dst.origin(), a.width = width, a.height = height, a.flags = flags;
            SCOPED_TRACE(::testing::Message() << "flags " << flags << ", head " << head);
            expectModel(m, a, {&src, &dst});
        }
}

// Two gibibytes of rows on the same memory: the 32-bit form streams (2^31 bytes and more) and the
// 64-bit form runs its own row loop (width x height beyond 2^31 - 1).
TEST(CopyEngine, ZeroStepsOverTwoGibibytes) {
    zt::Rng rng = zt::Rng::forTest();
    const int w = 65536, h = 32768;
    zt::Region src(w, 1, 0), dst(w, 1, 0);
    src.randomize(rng);
    for (const char* name : {"zeliCopy_8u_C1R", "zeliCopy_8u_C1R_L"}) {
        if (zt::isPlaceholder(name)) continue;
        dst.randomize(rng);
        Args a;
        a.src[0] = src.origin(), a.dst[0] = dst.origin(), a.width = w, a.height = h;
        ASSERT_EQ(call(named(name), a), zelStsNoErr) << name;
        EXPECT_EQ(memcmp(src.origin(), dst.origin(), w), 0) << name;
    }
}

// Fills of every pixel size long enough for the string stores (rows of 4 KiB and more, more than
// 1 MiB in all) and short rows of vector stores.
TEST(CopyEngine, LargeFillsOfEveryPixelSize) {
    std::set<int> pixelSizes;
    zt::Rng rng = zt::Rng::forTest();
    for (auto& m : members()) {
        if (m.op != "Set" || m.mask || m.dst.channel || m.layout == "AC4" || !pixelSizes.insert(m.pixelBytes()).second) continue;
        if (zt::isPlaceholder(m.name.c_str())) continue;
        for (auto [w, h] : {std::pair{5000, 300}, {20000, 30}, {37, 9}}) {
            Trial t = makeTrial(m, rng, zt::Tight::End, {w, h, false, true});
            expectModel(m, t.args, t.watch());
        }
    }
    EXPECT_EQ(pixelSizes.size(), 8u);  // 1, 2, 3, 4, 6, 8, 12 and 16 bytes
}

// C3C4R stated outright: 0..2 take that source channel, 3 the constant, above 3 leave the channel.
TEST(SwapChannels, ThreeToFourChannelRule) {
    ZT_SKIP_IF_PLACEHOLDER("zeliSwapChannels_8u_C3C4R");
    const uint8_t src[6] = {10, 20, 30, 40, 50, 60};
    const int orders[3][4] = {{2, 1, 0, 3}, {2, 1, 0, 4}, {3, INT_MAX, 1, 0}};
    const uint8_t want[3][8] = {
        {30, 20, 10, 255, 60, 50, 40, 255}, {30, 20, 10, 0x11, 60, 50, 40, 0x11}, {255, 0x11, 20, 10, 255, 0x11, 50, 40}};
    for (int i = 0; i < 3; ++i) {
        uint8_t dst[8];
        memset(dst, 0x11, 8);
        ASSERT_EQ(zeliSwapChannels_8u_C3C4R(src, 6, dst, 8, {2, 1}, orders[i], 255), zelStsNoErr);
        EXPECT_EQ(memcmp(dst, want[i], 8), 0) << "order " << i;
    }
}

}  // namespace
