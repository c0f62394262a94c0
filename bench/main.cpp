// zel_bench: runs the registered cases and prints one table row per case. Google Benchmark
// registers, filters and runs the cases; its own formats (--benchmark_format=json, or
// --benchmark_out=FILE) carry the same numbers as user counters.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "runner.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#endif

namespace {

std::string format(const char* fmt, double a, double b = 0) {
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, a, b);
    return buf;
}

std::string time_text(double s) {
    if (!(s > 0)) return "-";
    if (s < 1e-3) return format("%.1f us", s * 1e6);
    if (s < 1) return format("%.2f ms", s * 1e3);
    return format("%.2f s", s);
}

std::string ratio_text(double r, double pm) {
    if (std::isnan(r)) return "-";
    return format("%.2f ±%.2f", r, pm);
}

class TableReporter : public benchmark::BenchmarkReporter {
public:
    explicit TableReporter(size_t nameWidth) : width_((int)std::max<size_t>(nameWidth, 4)) {}

    bool ReportContext(const Context& ctx) override {
        auto& out = GetOutputStream();
        const auto& cpu = ctx.cpu_info;
        int largest = 0;
        for (const auto& c : cpu.caches) largest = std::max(largest, c.size);
        out << cpu.num_cpus << " CPUs" << format(" at %.0f MHz", cpu.cycles_per_second / 1e6)
            << ", largest cache " << largest / 1024 << " KiB";
        if (!cpu.load_avg.empty()) out << format(", load average %.2f", cpu.load_avg[0]);
        out << "; one thread\n";
#ifdef ZEL_BENCH_OPENCV
        out << "peer: OpenCV " << CV_VERSION << ", cv::setNumThreads(0)\n";
#else
        out << "peer: none (built without OpenCV)\n";
#endif
        out << "times: median per call, in this thread's processor time. ours/peer: median of "
               "per-pair time\n"
               "  ratios (below 1: ours is faster),"
               " ± half the spread of the per-pass medians.\n"
               "  GB/s: bytes read + written per call (source and destination ROIs, packed) over "
               "our time.\n"
               "  of memcpy: our bandwidth over memcpy's moving as many bytes (it copies half of "
               "them; memset\n"
               "  writes all of them for cases that read no image), median of per-pair ratios.\n\n";
        out << "case" << std::string(width_ - 4, ' ') << "  " << header("ours", 10) << header("peer", 10)
            << header("memcpy", 10) << header("ours/peer", 12) << header("GB/s", 8)
            << header("of memcpy", 12) << header("pairs", 7) << "\n";
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        auto& out = GetOutputStream();
        for (const Run& r : runs) {
            const std::string name = r.run_name.function_name;
            out << name << std::string(width_ > (int)name.size() ? width_ - name.size() : 0, ' ') << "  ";
            if (r.error_occurred) {
                out << r.error_message << "\n";
                continue;
            }
            auto get = [&r](const char* key) {
                auto it = r.counters.find(key);
                return it == r.counters.end() ? NAN : it->second.value;
            };
            out << header(time_text(get("ours_s")), 10) << header(time_text(get("peer_s")), 10)
                << header(time_text(get("memcpy_s")), 10)
                << header(ratio_text(get("vs_peer"), get("vs_peer_pm")), 12)
                << header(format("%.1f", get("GBps")), 8)
                << header(ratio_text(get("of_memcpy"), get("of_memcpy_pm")), 12)
                << header(format("%.0f", get("pairs")), 7);
            if (get("memset") == 1) out << "  memset";
            if (!r.report_label.empty()) out << "  " << r.report_label;
            out << "\n";
        }
        out.flush();
    }

private:
    // Right-aligned in a column of the given width; "±" is two bytes but one column.
    static std::string header(const std::string& s, int w) {
        int cols = (int)s.size() - (s.find("±") != std::string::npos ? 1 : 0);
        return std::string(cols < w ? w - cols : 1, ' ') + s;
    }

    int width_;
};

// Takes the runner's own options out of argv, leaving Google Benchmark's.
bool parse_options(int* argc, char** argv, zb::Options* opt) {
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        const char* a = argv[i];
        if (!std::strncmp(a, "--zel_passes=", 13)) {
            opt->passes = std::atoi(a + 13);
            if (opt->passes < 1) return false;
        } else if (!std::strncmp(a, "--zel_pass_time=", 16)) {
            opt->passSeconds = std::atof(a + 16);
            if (!(opt->passSeconds >= 0)) return false;
        } else {
            argv[kept++] = argv[i];
        }
    }
    *argc = kept;
    return true;
}

void print_help() {
    const zb::Options d;
    std::printf(
        "zel_bench [--zel_passes=N] [--zel_pass_time=SECONDS] [Google Benchmark options]\n"
        "  --zel_passes=N            passes per case (default %d)\n"
        "  --zel_pass_time=SECONDS   least time of a pass, which adds pairs until then (default %g)\n"
        "  --benchmark_filter=REGEX  cases to run, e.g. 'SwapChannels' or '/1920x1080'\n\n",
        d.passes, d.passSeconds);
    benchmark::PrintDefaultHelp();
}

bool wants_own_format(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (!std::strncmp(argv[i], "--benchmark_format=", 19) && std::strcmp(argv[i] + 19, "console")) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    zb::Options opt;
    if (!parse_options(&argc, argv, &opt)) {
        std::fprintf(stderr, "zel_bench: --zel_passes needs a count >= 1, --zel_pass_time seconds >= 0\n");
        return 1;
    }
    const bool ownFormat = wants_own_format(argc, argv);  // read before Initialize consumes it
    benchmark::Initialize(&argc, argv, print_help);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
#ifdef ZEL_BENCH_OPENCV
    cv::setNumThreads(0);
#endif
    size_t width = zb::register_cases(opt);
    if (ownFormat) {
        benchmark::RunSpecifiedBenchmarks();
    } else {
        TableReporter table(width);
        benchmark::RunSpecifiedBenchmarks(&table);
    }
    benchmark::Shutdown();
    return 0;
}
