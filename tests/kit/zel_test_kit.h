// The zel test kit: what every family's tests are written with.
//
// Random data, deterministic
//   zt::Rng rng = zt::Rng::forTest();   seeded from the running test's full name (and the
//                                       ZEL_TEST_SEED environment variable, when set, so that a
//                                       run can be varied or repeated); the seed is printed with
//                                       every failure of zt::forTrials.
//   rng.next() / range(lo, hi) (inclusive) / chance(p) / bits<T>() / fill(p, n) / pick(container)
//
// Guarded image memory
//   zt::Region r(rowBytes, height, step, zt::Tight::End [, slack [, align]]);
//     Describes an image: `height` rows of `rowBytes` bytes, row y at origin() + y * step. The
//     step may be any value, zero and negative included: the region maps exactly the bytes the
//     rows span (lo() .. lo() + extent()), rows and the padding between them, and puts a
//     PROT_NONE page on both sides. Tight::End places the last described byte right before the
//     guard page after it, Tight::Start the first byte right after the guard page before it, so
//     any read or write outside the described memory faults. `slack` moves the block that many
//     bytes away from its guard (to choose an address modulo 4096 or an alignment); a sixth
//     argument `align` adds the least slack that starts row 0 on a multiple of it (the sample
//     size, where steps are odd).
//     zt::kTightSides lists both placements: run every memory test once on each.
//     Fill it with randomize(rng) or fill(byte); padding between rows then doubles as a canary.
//   zt::Shadow shadow({&src, &dst});  snapshot of several regions; shadow(p) translates a pointer
//     into one of them to the same byte of the snapshot, so that a scalar reference model can run
//     on the snapshot with the very arguments the library gets. shadow.matches() then compares
//     every region with its snapshot byte for byte (destination and padding, and sources that
//     must stay unchanged), naming the first difference.
//
// Geometry
//   zt::randomWidth(rng, pixelBytes)  mostly 1..300 pixels, sometimes rows above 512 bytes and
//                                     above 4 KiB
//   zt::randomHeight(rng, rowBytes)   1..16 rows, fewer for wide rows
//   zt::randomStep(rng, rowBytes, policy)  the packed row, or padded by a random amount, in
//                                     multiples of policy.unit bytes (1 gives odd steps);
//                                     negative or zero when the policy allows
//   zt::forTrials(n, [&](zt::Rng& rng, zt::Tight tight, int trial) { ... })
//     runs n random trials on each side of the guard, stopping at the first failure; every
//     failure is traced with the trial, side and seed.
//
// Argument-check order
//   zt::CheckOrder<Args> co{valid, call, watch};
//   co.row("pSrc null", [](Args& a) { a.src = nullptr; }, zelStsNullPtrErr);  // in check order
//   co.ignored("srcStep 0", [](Args& a) { a.srcStep = 0; });  // never checked by the family
//   co.run();
//     `call(args)` calls the library. The valid arguments must succeed (status `okStatus`, 0 by
//     default). Then each row is evaluated three times: broken alone; broken with every later row
//     broken too (proving it is checked before them); and additionally with every ignored
//     variation. Rows before it stay valid. Each broken call must return the row's status and
//     leave every watched region unchanged. A family's whole check order is one table.
//
// Placeholders
//   zt::isPlaceholder("zeliCopy_8u_C1R")  true while the export's slot still points at a
//     placeholder of the generated frame (read from the library's own symbol table); a family's
//     tests skip members that are not implemented yet.
//   ZT_SKIP_IF_PLACEHOLDER(name)  GTEST_SKIP()s the current test in that case.
//
// Export table
//   zt::exportTable()  every export of the library as {name, family, kind}, from the list the
//     build generates (kind "status", "null" or "void": what the export returns).
//   zt::exportsOf({"Copy", "Set"})  the names of the exports of those families.
//
// Export names
//   zt::Name n = zt::parseName("zeliAddC_16s_AC4IRSfs_L");  what a name says about a member:
//     op "AddC", type "16s" (sampleBytes 2, isFloat, isSigned), layout "AC4" (channels 4, used 3;
//     planar for P/AP layouts), inPlace, roi (R), scaled (Sfs), longForm (_L); fn is the export.
//   zt::namesOf({"Add, Sub, Mul, Div"})  parseName of every export of those families.
//   zt::invoke(fn, args...)  calls an export with the arguments' own types (build them as the
//     prototype has them: pointers of any type, int or 64-bit steps, sizes, scalars).
//   zt::withType("16s", [](auto tag) { using T = typename decltype(tag)::type; ... })  runs a
//     template for the sample type a type token names.
//
// Helpers
//   zt::bitsOf(x) / zt::fromBits<T>(u)  exact bit patterns of floating-point values.
//   zt::paramName  names a parameterised test's instances after their members' names.
//   zt::sameBytes(region, expected)  one region against expected bytes, naming the first difference.
//   zt::ElfReader (elf_reader.h)  symbols, relocations, segments and NEEDED entries of a built library.
//
// Where tests go: tests/<subsystem>/*.cpp, one executable per folder, found by the build. A
// worked example of families written with this kit (members read from their export names, one
// rule per operation, random trials, exhaustive inputs, check-order tables) is
// tests/arith/sample_ops.h with tests/arith/test_sample_ops.cpp.
#pragma once

#include <ctype.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "elf_reader.h"
#include "zel/zel.h"

namespace zt {

// ---- deterministic random numbers ----------------------------------------------------------

class Rng {
public:
    explicit Rng(uint64_t seed) : seed_(seed) {
        uint64_t x = seed;
        for (auto& s : s_) s = splitmix(x);
    }

    // Seeded from the full name of the running test, so adding a test changes no other test.
    static Rng forTest(uint64_t salt = 0) {
        std::string name = "zel";
        if (auto* info = ::testing::UnitTest::GetInstance()->current_test_info())
            name = std::string(info->test_suite_name()) + "." + info->name();
        uint64_t h = 0xcbf29ce484222325ull;
        for (unsigned char c : name) h = (h ^ c) * 0x100000001b3ull;
        if (const char* env = getenv("ZEL_TEST_SEED")) h ^= strtoull(env, nullptr, 0) * 0x9e3779b97f4a7c15ull;
        return Rng(h ^ salt);
    }

    uint64_t seed() const { return seed_; }

    uint64_t next() {  // xoshiro256**
        uint64_t r = rotl(s_[1] * 5, 7) * 9, t = s_[1] << 17;
        s_[2] ^= s_[0], s_[3] ^= s_[1], s_[1] ^= s_[2], s_[0] ^= s_[3], s_[2] ^= t, s_[3] = rotl(s_[3], 45);
        return r;
    }
    int64_t range(int64_t lo, int64_t hi) { return lo + (int64_t)(next() % (uint64_t)(hi - lo + 1)); }
    bool chance(double p) { return (next() >> 11) * 0x1.0p-53 < p; }
    template <class T>
    T bits() {
        uint64_t v = next();
        T t;
        memcpy(&t, &v, sizeof t);
        return t;
    }
    void fill(void* p, size_t n) {
        auto* b = (uint8_t*)p;
        for (size_t i = 0; i < n; i += 8) {
            uint64_t v = next();
            memcpy(b + i, &v, std::min<size_t>(8, n - i));
        }
    }
    template <class C>
    const auto& pick(const C& c) {
        return *(std::begin(c) + range(0, (int64_t)std::size(c) - 1));
    }

private:
    static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    static uint64_t splitmix(uint64_t& x) {
        uint64_t z = (x += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    uint64_t seed_;
    uint64_t s_[4];
};

// ---- guarded image memory ------------------------------------------------------------------

enum class Tight { End, Start };
inline constexpr Tight kTightSides[] = {Tight::End, Tight::Start};
inline const char* name(Tight t) { return t == Tight::End ? "end at guard" : "start at guard"; }

class Region {
public:
    Region(int64_t rowBytes, int64_t height, int64_t step, Tight tight = Tight::End, int64_t slack = 0,
           int64_t align = 1)
        : rowBytes_(rowBytes), height_(height), step_(step) {
        int64_t first = std::min<int64_t>(0, step * (height - 1));  // offset of the lowest row
        int64_t last = std::max<int64_t>(0, step * (height - 1));
        extent_ = last - first + rowBytes;
        // Grow the slack until row 0 starts on a multiple of `align` (pages are multiples of it).
        auto mod = [align](int64_t v) { return ((v % align) + align) % align; };
        slack += tight == Tight::Start ? mod(first - slack) : mod(-(extent_ + first + slack));
        const int64_t page = sysconf(_SC_PAGESIZE);
        int64_t body = (extent_ + slack + page - 1) / page * page;
        mapLen_ = (size_t)(body + 2 * page);
        void* m = mmap(nullptr, mapLen_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (m == MAP_FAILED) {
            ADD_FAILURE() << "mmap of " << mapLen_ << " bytes failed";
            map_ = nullptr;
            return;
        }
        map_ = (uint8_t*)m;
        mprotect(map_, page, PROT_NONE);
        mprotect(map_ + page + body, page, PROT_NONE);
        lo_ = tight == Tight::Start ? map_ + page + slack : map_ + page + body - slack - extent_;
        origin_ = lo_ - first;
    }
    Region(Region&& o) noexcept { *this = std::move(o); }
    Region& operator=(Region&& o) noexcept {
        std::swap(map_, o.map_), std::swap(mapLen_, o.mapLen_), std::swap(lo_, o.lo_), std::swap(origin_, o.origin_);
        rowBytes_ = o.rowBytes_, height_ = o.height_, step_ = o.step_, extent_ = o.extent_;
        return *this;
    }
    Region(const Region&) = delete;
    ~Region() {
        if (map_) munmap(map_, mapLen_);
    }

    uint8_t* origin() const { return origin_; }          // first byte of row 0
    uint8_t* row(int64_t y) const { return origin_ + y * step_; }
    uint8_t* lo() const { return lo_; }                  // lowest described byte
    int64_t extent() const { return extent_; }
    int64_t step() const { return step_; }
    int64_t rowBytes() const { return rowBytes_; }
    int64_t height() const { return height_; }
    bool contains(const void* p) const { return (const uint8_t*)p >= lo_ && (const uint8_t*)p < lo_ + extent_; }

    void randomize(Rng& rng) { rng.fill(lo_, (size_t)extent_); }
    void fill(uint8_t b) { memset(lo_, b, (size_t)extent_); }
    std::vector<uint8_t> bytes() const { return std::vector<uint8_t>(lo_, lo_ + extent_); }

private:
    uint8_t* map_ = nullptr;
    size_t mapLen_ = 0;
    uint8_t* lo_ = nullptr;
    uint8_t* origin_ = nullptr;
    int64_t rowBytes_ = 0, height_ = 0, step_ = 0, extent_ = 0;
};

// Names the first difference between a region and the bytes it should hold.
inline ::testing::AssertionResult sameBytes(const Region& r, const uint8_t* expected, const char* what = "region") {
    const uint8_t* got = r.lo();
    int64_t n = r.extent(), bad = 0, first = -1;
    for (int64_t i = 0; i < n; ++i)
        if (got[i] != expected[i]) {
            if (first < 0) first = i;
            ++bad;
        }
    if (!bad) return ::testing::AssertionSuccess();
    int64_t off = (r.lo() + first) - r.origin();  // from row 0's first byte
    auto res = ::testing::AssertionFailure();
    res << what << ": " << bad << " of " << n << " bytes differ; first at byte " << off << " from row 0";
    if (r.step() > 0) res << " (row " << off / r.step() << ", byte " << off % r.step() << ")";
    res << ": got 0x" << std::hex << (int)got[first] << ", expected 0x" << (int)expected[first] << std::dec
        << " [row bytes " << r.rowBytes() << ", step " << r.step() << ", height " << r.height() << "]";
    return res;
}

class Shadow {
public:
    explicit Shadow(std::vector<const Region*> regions) : regions_(std::move(regions)) {
        for (auto* r : regions_) copies_.push_back(r->bytes());
    }
    // The address in the snapshot of the same byte as p; p must lie in one of the regions.
    template <class P>
    P* operator()(P* p) const {
        if (!p) return nullptr;
        for (size_t i = 0; i < regions_.size(); ++i)
            if (regions_[i]->contains(p))
                return (P*)(copies_[i].data() + ((const uint8_t*)p - regions_[i]->lo()));
        ADD_FAILURE() << "pointer outside every shadowed region";
        return nullptr;
    }
    ::testing::AssertionResult matches() const {
        for (size_t i = 0; i < regions_.size(); ++i) {
            std::string what = "region " + std::to_string(i);
            auto r = sameBytes(*regions_[i], copies_[i].data(), what.c_str());
            if (!r) return r;
        }
        return ::testing::AssertionSuccess();
    }

private:
    std::vector<const Region*> regions_;
    std::vector<std::vector<uint8_t>> copies_;
};

// ---- geometry ------------------------------------------------------------------------------

inline int randomWidth(Rng& rng, int pixelBytes) {
    int64_t r = rng.range(0, 99);
    if (r < 75) return (int)rng.range(1, 300);
    if (r < 92) return (int)std::max<int64_t>(1, rng.range(513, 2048) / pixelBytes + rng.range(0, 3));
    return (int)std::max<int64_t>(1, rng.range(4097, 9000) / pixelBytes + rng.range(0, 3));
}

inline int randomHeight(Rng& rng, int64_t rowBytes) {
    return (int)rng.range(1, rowBytes > 4096 ? 3 : rowBytes > 512 ? 6 : 16);
}

struct StepPolicy {
    int unit = 1;                // steps are multiples of this many bytes (1: odd steps too)
    int64_t maxPad = 160;        // largest padding after a row, bytes
    double packed = 0.25;        // chance of exactly the row length
    double negative = 0.0;       // chance of a negative step
    double zero = 0.0;           // chance of a zero step
};

inline int64_t randomStep(Rng& rng, int64_t rowBytes, const StepPolicy& p = {}) {
    if (rng.chance(p.zero)) return 0;
    int64_t step = rowBytes;
    if (!rng.chance(p.packed)) step += rng.range(0, p.maxPad);
    step = (step + p.unit - 1) / p.unit * p.unit;
    return rng.chance(p.negative) ? -step : step;
}

template <class F>
void forTrials(int n, F&& f) {
    for (Tight tight : kTightSides) {
        Rng rng = Rng::forTest(tight == Tight::End ? 0 : 0x5157);
        for (int t = 0; t < n; ++t) {
            SCOPED_TRACE(::testing::Message() << "trial " << t << ", " << name(tight) << ", seed 0x" << std::hex
                                              << rng.seed());
            f(rng, tight, t);
            if (::testing::Test::HasFailure()) return;
        }
    }
}

// ---- argument-check order ------------------------------------------------------------------

template <class Args>
class CheckOrder {
public:
    using Edit = std::function<void(Args&)>;
    CheckOrder(Args valid, std::function<ZelStatus(const Args&)> call, std::vector<const Region*> watch,
               ZelStatus okStatus = zelStsNoErr)
        : valid_(valid), call_(std::move(call)), watch_(std::move(watch)), ok_(okStatus) {}

    CheckOrder& row(std::string what, Edit edit, ZelStatus expected) {
        rows_.push_back({std::move(what), std::move(edit), expected});
        return *this;
    }
    CheckOrder& ignored(std::string what, Edit edit) {
        ignored_.push_back({std::move(what), std::move(edit), 0});
        return *this;
    }

    void run() const {
        EXPECT_EQ(call_(valid_), ok_) << "the valid baseline call";
        for (size_t i = 0; i < rows_.size(); ++i) {
            for (int variant = 0; variant < 3; ++variant) {
                if (variant == 2 && ignored_.empty()) break;
                Args a = valid_;
                std::string what = rows_[i].what;
                if (variant >= 1)
                    for (size_t j = rows_.size(); j-- > i + 1;) rows_[j].edit(a), what += ", " + rows_[j].what;
                if (variant == 2)
                    for (auto& g : ignored_) g.edit(a), what += ", " + g.what;
                rows_[i].edit(a);
                Shadow before(watch_);
                EXPECT_EQ(call_(a), rows_[i].expected) << "broken: " << what;
                EXPECT_TRUE(before.matches()) << "a failing call wrote memory; broken: " << what;
            }
        }
    }

private:
    struct Row {
        std::string what;
        Edit edit;
        ZelStatus expected;
    };
    Args valid_;
    std::function<ZelStatus(const Args&)> call_;
    std::vector<const Region*> watch_;
    ZelStatus ok_;
    std::vector<Row> rows_, ignored_;
};

// ---- placeholders --------------------------------------------------------------------------

// True while the export's slot still holds one of the generated placeholders. The stub is
// "endbr64; jmp *disp32(%rip)": its slot is read where the running library was loaded, and the
// placeholders' addresses come from the library file's symbol table. A stripped library counts
// every export as implemented.
inline bool isPlaceholder(const char* exportName) {
    void* fn = dlsym(RTLD_DEFAULT, exportName);
    if (!fn) return false;
    Dl_info info{};
    if (!dladdr(fn, &info) || !info.dli_fname) return false;
    static std::mutex mu;
    static std::map<std::string, std::vector<uintptr_t>> holders;
    std::vector<uintptr_t>* h;
    {
        std::lock_guard<std::mutex> lock(mu);
        auto it = holders.find(info.dli_fname);
        if (it == holders.end()) {
            std::vector<uintptr_t> v;
            ElfReader elf(info.dli_fname);
            for (const char* p : {"zel_placeholder_status", "zel_placeholder_null", "zel_placeholder_void"})
                if (const ElfSymbol* s = elf.symbol(p, /*dynamic=*/false)) v.push_back((uintptr_t)info.dli_fbase + s->value);
            it = holders.emplace(info.dli_fname, std::move(v)).first;
        }
        h = &it->second;
    }
    const uint8_t* stub = (const uint8_t*)fn;
    if (stub[4] != 0xff || stub[5] != 0x25) return false;
    int32_t disp;
    memcpy(&disp, stub + 6, 4);
    uintptr_t target;
    memcpy(&target, stub + 10 + disp, sizeof target);
    return std::find(h->begin(), h->end(), target) != h->end();
}

#define ZT_SKIP_IF_PLACEHOLDER(name) \
    do {                                                                        \
        if (::zt::isPlaceholder(name)) GTEST_SKIP() << name << " is not implemented yet"; \
    } while (0)

// ---- the export table ----------------------------------------------------------------------

struct ExportRow {
    const char* name;
    const char* family;
    const char* kind;  // "status", "null" or "void"
};

inline const std::vector<ExportRow>& exportTable() {
    static const std::vector<ExportRow> rows = {
#define ZEL_EXPORT(name, family, kind) {#name, family, #kind},
#include "zel_export_table.inc"
#undef ZEL_EXPORT
    };
    return rows;
}

inline std::vector<std::string> exportsOf(std::initializer_list<std::string> families) {
    std::vector<std::string> out;
    for (auto& e : exportTable())
        if (std::find(families.begin(), families.end(), e.family) != families.end()) out.push_back(e.name);
    return out;
}

// ---- export names --------------------------------------------------------------------------

struct Name {
    std::string name, op, type, layout;  // type: the first type token ("8u" of "8u64f")
    int sampleBytes = 0;
    bool isFloat = false, isSigned = false;
    int channels = 1;      // samples per pixel, or planes of a planar layout
    int used = 1;          // processed channels: 3 for AC4
    bool planar = false, inPlace = false, roi = false, scaled = false, longForm = false;
    void* fn = nullptr;
};

// Reads zeli<Op>[_<types>][_<descriptor>][_L].
inline Name parseName(const std::string& name) {
    Name n;
    n.name = name;
    std::vector<std::string> tok;
    for (size_t i = 4, j; i <= name.size(); i = j + 1) {
        j = name.find('_', i);
        if (j == std::string::npos) j = name.size();
        tok.push_back(name.substr(i, j - i));
    }
    size_t t = 0;
    while (t < tok.size() && !isdigit((unsigned char)tok[t][0])) n.op += (t ? "_" : "") + tok[t], ++t;
    if (t < tok.size()) {
        const std::string& ty = tok[t];
        size_t k = 0;
        int bits = atoi(ty.c_str());
        while (k < ty.size() && isdigit((unsigned char)ty[k])) ++k;
        size_t e = k;
        while (e < ty.size() && !isdigit((unsigned char)ty[e])) ++e;
        n.type = ty.substr(0, e);
        n.isFloat = ty[k] == 'f', n.isSigned = ty[k] != 'u';
        n.sampleBytes = bits / 8 * (e > k + 1 && ty[k + 1] == 'c' ? 2 : 1);
    }
    if (t + 1 < tok.size() && !(t + 2 == tok.size() && tok.back() == "L")) {
        std::string d = tok[t + 1];
        for (const char* l : {"AC4", "AP4", "AC1", "C1", "C2", "C3", "C4", "P3", "P4"})
            if (d.rfind(l, 0) == 0) {
                n.layout = l;
                break;
            }
        if (!n.layout.empty()) {
            n.channels = n.layout.back() - '0';
            n.used = n.layout == "AC4" ? 3 : n.channels;
            n.planar = n.layout.find('P') != std::string::npos;
            std::string rest = d.substr(n.layout.size());
            n.inPlace = rest.rfind("I", 0) == 0;
            n.roi = rest.find('R') != std::string::npos;
            n.scaled = rest.find("Sfs") != std::string::npos;
        }
    }
    n.longForm = tok.size() > t + 1 && tok.back() == "L";
    n.fn = dlsym(RTLD_DEFAULT, name.c_str());
    return n;
}

inline std::vector<Name> namesOf(std::initializer_list<std::string> families) {
    std::vector<Name> out;
    for (auto& e : exportTable())
        if (std::find(families.begin(), families.end(), e.family) != families.end()) out.push_back(parseName(e.name));
    return out;
}

template <class R = ZelStatus, class... A>
R invoke(void* fn, A... args) {
    return ((R(*)(A...))fn)(args...);
}

template <class T>
struct Tag {
    using type = T;
};
template <class F>
auto withType(const std::string& t, F&& f) {
    if (t == "8u") return f(Tag<Zel8u>{});
    if (t == "8s") return f(Tag<Zel8s>{});
    if (t == "16u") return f(Tag<Zel16u>{});
    if (t == "16s") return f(Tag<Zel16s>{});
    if (t == "32u") return f(Tag<Zel32u>{});
    if (t == "32s") return f(Tag<Zel32s>{});
    if (t == "64f") return f(Tag<Zel64f>{});
    if (t != "32f") ADD_FAILURE() << "no sample type for \"" << t << "\"";
    return f(Tag<Zel32f>{});
}

// ---- helpers -------------------------------------------------------------------------------

template <class F>
auto bitsOf(F f) {
    std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t> u;
    memcpy(&u, &f, sizeof u);
    return u;
}
template <class T, class U>
T fromBits(U u) {
    static_assert(sizeof(T) == sizeof(U));
    T t;
    memcpy(&t, &u, sizeof t);
    return t;
}

// Names the instances of a parameterised test after their members (any parameter with a name):
// INSTANTIATE_TEST_SUITE_P(Family, Test, ::testing::ValuesIn(members), zt::paramName).
inline constexpr auto paramName = [](const auto& info) { return std::string(info.param.name); };

}  // namespace zt
