// The pairwise runner. Our call, the peer's call and a memcpy of the same bytes run in turn,
// each on its own images, within one pass; a pass repeats such rounds ("pairs") for a set
// time, and the benchmark repeats passes. Every ratio is taken inside one pair, so that a
// machine whose speed drifts between pairs still gives a steady median.
#include "kit.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>

#include <benchmark/benchmark.h>

#include "runner.h"
#include "zel/zelcore.h"

namespace zb {

Images::~Images() {
    for (auto* list : {&src, &dst})
        for (Image& im : *list) zeliFree(im.data);
}

// Rows of width x channels samples from the library's 8u allocator, which aligns every row
// to 64 bytes whatever the sample type.
void Images::add(std::vector<Image>& to, int channels, int sampleBytes, int cvDepth) {
    Image im;
    im.width = roi.width;
    im.height = roi.height;
    im.channels = channels;
    im.sampleBytes = sampleBytes;
    im.cvDepth = cvDepth;
    im.data = zeliMalloc_8u_C1(roi.width * channels * sampleBytes, roi.height, &im.step);
    to.push_back(im);
}

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::pair<Case, ZeliSize>>& registry() {
    static std::vector<std::pair<Case, ZeliSize>> cases;
    return cases;
}

// Every byte of a buffer from a fixed xorshift sequence: the pages are touched before the
// clock starts, and the contenders of one case get identical data.
void fill_random(void* p, int64_t n, uint64_t seed) {
    uint64_t x = seed * 0x9e3779b97f4a7c15ull + 1;
    auto* b = static_cast<unsigned char*>(p);
    for (int64_t i = 0; i + 8 <= n; i += 8) {
        x ^= x << 13, x ^= x >> 7, x ^= x << 17;
        std::memcpy(b + i, &x, 8);
    }
    for (int64_t i = n & ~(int64_t)7; i < n; ++i) b[i] = (unsigned char)i;
}

// Floating-point samples from the same sequence, spread over [-512, 512) in steps of 1/64:
// random bits would make NaNs and subnormals, which time differently from ordinary values.
template <typename F>
void fill_float(void* p, int64_t n, uint64_t seed) {
    fill_random(p, n, seed);
    auto* f = static_cast<F*>(p);
    for (int64_t i = 0; i < n / (int64_t)sizeof(F); ++i) {
        uint16_t bits;
        std::memcpy(&bits, reinterpret_cast<unsigned char*>(f + i), 2);
        f[i] = (F)bits / 64 - 512;
    }
}

void fill(Images& im) {
    uint64_t seed = 1;
    for (Image& s : im.src) {
        const int64_t n = (int64_t)s.step * s.height;
        if (s.cvDepth == cv_depth<Zel32f>) fill_float<Zel32f>(s.data, n, seed++);
        else if (s.cvDepth == cv_depth<Zel64f>) fill_float<Zel64f>(s.data, n, seed++);
        else fill_random(s.data, n, seed++);
    }
    for (Image& d : im.dst) std::memset(d.data, 0, (size_t)d.step * d.height);
}

bool all_allocated(const Images& im) {
    for (auto* list : {&im.src, &im.dst})
        for (const Image& i : *list)
            if (!i.data) return false;
    return true;
}

bool same_output(const Images& a, const Images& b) {
    for (size_t i = 0; i < a.dst.size(); ++i) {
        const Image &x = a.dst[i], &y = b.dst[i];
        size_t row = (size_t)x.width * x.channels * x.sampleBytes;
        for (int r = 0; r < x.height; ++r)
            if (std::memcmp(x.ptr() + (int64_t)r * x.step, y.ptr() + (int64_t)r * y.step, row)) return false;
    }
    return true;
}

int64_t packed_bytes(const Images& im) {
    int64_t n = 0;
    for (auto* list : {&im.src, &im.dst})
        for (const Image& i : *list) n += i.roiBytes();
    return n;
}

double median(std::vector<double> v) {
    if (v.empty()) return NAN;
    size_t h = v.size() / 2;
    std::nth_element(v.begin(), v.begin() + h, v.end());
    double m = v[h];
    if (v.size() % 2 == 0) m = (m + *std::max_element(v.begin(), v.begin() + h)) / 2;
    return m;
}

// Half the range of the per-pass medians: how far the passes disagree.
double half_range(const std::vector<double>& v) {
    if (v.empty()) return NAN;
    auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    return (*hi - *lo) / 2;
}

// The C library's routines, called through pointers the compiler cannot see through.
void* (*volatile memcpy_fn)(void*, const void*, size_t) = std::memcpy;
void* (*volatile memset_fn)(void*, int, size_t) = std::memset;

// The processor time of this thread: unlike the wall clock it stands still while the shared
// machine runs someone else.
double thread_seconds() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return (double)t.tv_sec + 1e-9 * (double)t.tv_nsec;
}

// Seconds per call of f over reps back-to-back calls; one untimed call first warms the caches
// when calls are short enough to be repeated.
template <typename F>
double time_calls(F&& f, int reps) {
    if (reps > 1) f();
    double t0 = thread_seconds();
    for (int i = 0; i < reps; ++i) f();
    benchmark::ClobberMemory();
    return (thread_seconds() - t0) / reps;
}

void run_case(benchmark::State& st, const Case& c, ZeliSize size, const Options& opt) {
    Images mine(size), theirs(size);
    c.setup(mine);
    const bool hasPeer = static_cast<bool>(c.peer);
    if (hasPeer) c.setup(theirs);
    const int64_t bytes = c.bytes ? c.bytes(mine) : packed_bytes(mine);
    // The reference moves as many bytes: memcpy reads half and writes half of them; for a
    // case that reads no image, memset writes all of them.
    const bool writeOnly = mine.src.empty();
    const size_t refBytes = (size_t)(writeOnly ? bytes : bytes / 2);
    void* from = zelMalloc_L((Zel64s)refBytes);
    void* to = zelMalloc_L((Zel64s)refBytes);
    struct Release {
        void *a, *b;
        ~Release() {
            zelFree(a);
            zelFree(b);
        }
    } release{from, to};
    if (!all_allocated(mine) || (hasPeer && !all_allocated(theirs)) || !from || !to) {
        st.SkipWithError("out of memory");
        return;
    }
    fill(mine);
    if (hasPeer) fill(theirs);
    if (c.prepare) {
        c.prepare(mine);
        if (hasPeer) c.prepare(theirs);
    }
    fill_random(from, (int64_t)refBytes, 99);
    std::memset(to, 0, refBytes);

    ZelStatus status = c.ours(mine);
    if (status != zelStsNoErr) {
        st.SkipWithError(("returned status " + std::to_string(status)).c_str());
        return;
    }
    // Batch short calls so that one timing spans about a millisecond.
    auto ours = [&] {
        ZelStatus s = c.ours(mine);
        if (s != zelStsNoErr) status = s;
    };
    auto peer = [&] { c.peer(theirs); };
    auto copy = [&] {
        if (writeOnly) memset_fn(to, 0x5a, refBytes);
        else memcpy_fn(to, from, refBytes);
    };
    double once = time_calls(ours, 2);
    const int reps = (int)std::clamp(std::ceil(1e-3 / std::max(once, 1e-9)), 1.0, 100000.0);

    std::vector<double> tOurs, tPeer, tCopy, vsPeer, ofCopy, passVsPeer, passOfCopy;
    const int contenders = hasPeer ? 3 : 2;
    for (auto _ : st) {
        const size_t first = tOurs.size();
        const auto start = Clock::now();
        do {
            // Rotate who goes first so that no contender always follows the same one.
            double t[3] = {0, 0, 0};
            for (int k = 0; k < contenders; ++k) {
                int who = (int)((tOurs.size() + k) % contenders);
                if (who == 0) t[0] = time_calls(ours, reps);
                else if (who == 1 && hasPeer) t[1] = time_calls(peer, reps);
                else t[2] = time_calls(copy, reps);
            }
            tOurs.push_back(t[0]);
            tCopy.push_back(t[2]);
            ofCopy.push_back(t[2] / t[0]);
            if (hasPeer) tPeer.push_back(t[1]), vsPeer.push_back(t[0] / t[1]);
        } while (tOurs.size() - first < (size_t)opt.minPairs ||
                 std::chrono::duration<double>(Clock::now() - start).count() < opt.passSeconds);
        auto pass = [first](const std::vector<double>& v) {
            return median(std::vector<double>(v.begin() + (std::ptrdiff_t)first, v.end()));
        };
        st.SetIterationTime(pass(tOurs));
        passOfCopy.push_back(pass(ofCopy));
        if (hasPeer) passVsPeer.push_back(pass(vsPeer));
    }
    if (status != zelStsNoErr) {
        st.SkipWithError(("returned status " + std::to_string(status)).c_str());
        return;
    }
    // A "~" case runs against a baseline (a read, a plain copy), not the same operation.
    const bool baseline = c.name.find('~') != std::string::npos;
    if (hasPeer && !baseline && !same_output(mine, theirs)) st.SetLabel("output differs from the peer's");

    auto& k = st.counters;
    k["bytes"] = (double)bytes;
    k["pairs"] = (double)tOurs.size();
    k["ours_s"] = median(tOurs);
    k["memcpy_s"] = median(tCopy);
    k["GBps"] = (double)bytes / median(tOurs) * 1e-9;
    k["of_memcpy"] = median(ofCopy);
    k["of_memcpy_pm"] = half_range(passOfCopy);
    if (writeOnly) k["memset"] = 1;
    if (hasPeer) {
        k["peer_s"] = median(tPeer);
        k["vs_peer"] = median(vsPeer);
        k["vs_peer_pm"] = half_range(passVsPeer);
    }
}

}  // namespace

void add(const Case& c, const std::vector<ZeliSize>& sizes) {
    for (ZeliSize s : sizes) registry().emplace_back(c, s);
}

size_t register_cases(const Options& opt) {
    size_t width = 0;
    for (auto& [c, size] : registry()) {
        std::string name = c.name + "/" + std::to_string(size.width) + "x" + std::to_string(size.height);
        width = std::max(width, name.size());
        benchmark::RegisterBenchmark(name.c_str(),
                                     [&c = c, size = size, opt](benchmark::State& st) { run_case(st, c, size, opt); })
            ->Iterations(opt.passes)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    return width;
}

}  // namespace zb
