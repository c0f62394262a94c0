// The two 256-bit halves of a 512-bit register, and the register made of two halves. Written as
// plain vector shuffles: the intrinsics' forms (casts, inserts, extracts) carry a pass-through
// operand left undefined, which GCC 12 reports as uninitialised once they are inlined.
#pragma once

#include <immintrin.h>

namespace zel {

inline __m512i ownsJoin256(__m256i lo, __m256i hi) {
    return (__m512i)__builtin_shufflevector((__v4di)lo, (__v4di)hi, 0, 1, 2, 3, 4, 5, 6, 7);
}
inline __m256i ownsLo256(__m512i v) { return (__m256i)__builtin_shufflevector((__v8di)v, (__v8di)v, 0, 1, 2, 3); }
inline __m256i ownsHi256(__m512i v) { return (__m256i)__builtin_shufflevector((__v8di)v, (__v8di)v, 4, 5, 6, 7); }

}  // namespace zel
