// What the program's entry point needs from the runner.
#pragma once

#include <cstddef>

namespace zb {

struct Options {
    int passes = 6;             // benchmark iterations; each is one pass
    double passSeconds = 0.25;  // a pass adds pairs until it has run this long...
    int minPairs = 3;           // ...and has at least this many
};

// Hands every added case to Google Benchmark; returns the length of the longest case name.
size_t register_cases(const Options& opt);

}  // namespace zb
