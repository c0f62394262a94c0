// What the statistics tests share: a member read from its export name, with a reader of its
// samples, and a reference comparison of samples that keeps -0 and NaN visible.
#pragma once

#include <cmath>

#include "zel_test_kit.h"

namespace st {

using Reader = long double (*)(const uint8_t*);

struct Member : zt::Name {
    Reader read = nullptr;
    // Sample i of row y of an image; rows advance by the step reduced to whole samples.
    long double at(const void* origin, int64_t step, int64_t y, int64_t i) const {
        return read((const uint8_t*)origin + step / sampleBytes * sampleBytes * y + i * sampleBytes);
    }
};

inline std::vector<Member> members(std::initializer_list<std::string> families) {
    std::vector<Member> v;
    for (auto& n : zt::namesOf(families)) {
        Member m;
        static_cast<zt::Name&>(m) = n;
        m.read = zt::withType(n.type, [](auto tag) -> Reader {
            using T = typename decltype(tag)::type;
            return [](const uint8_t* p) -> long double {
                T v;
                memcpy(&v, p, sizeof v);
                return v;
            };
        });
        v.push_back(m);
    }
    return v;
}

}  // namespace st
