// The model of every median test: sort the samples in the order the library uses (integers by
// value, floats by the IEEE total order: -NaN < -inf < ... < -0 < +0 < ... < +inf < +NaN) and
// take the sample of rank (n - 1) / 2 (for an even count the lower of the middle two).
#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "zel_test_kit.h"

namespace zt {

template <class T>
int64_t medianKey(T v) {
    if constexpr (std::is_floating_point_v<T>) {
        auto b = bitsOf(v);
        using S = std::make_signed_t<decltype(b)>;
        const S s = (S)b;
        return s < 0 ? (int64_t)(s ^ std::numeric_limits<S>::max()) : (int64_t)s;
    } else {
        return (int64_t)v;
    }
}

template <class T>
T medianOf(std::vector<T> v) {
    std::sort(v.begin(), v.end(), [](T a, T b) { return medianKey(a) < medianKey(b); });
    return v[(v.size() - 1) / 2];
}

}  // namespace zt
