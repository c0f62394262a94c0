// The two 256-bit halves of a 512-bit register, and the register made of two halves, in forms
// GCC 12 accepts quietly: the plain insert and extract intrinsics pass an undefined operand
// through, which it reports as uninitialised once they are inlined.
#pragma once

#include <immintrin.h>

namespace zel {

inline __m512i ownsJoin256(__m256i lo, __m256i hi) {
    const __m512i w = _mm512_castsi256_si512(lo);
    return _mm512_mask_inserti64x4(w, (__mmask8)0xFF, w, hi, 1);  // one vinserti64x4
}
inline __m256i ownsLo256(__m512i v) { return (__m256i)__builtin_shufflevector((__v8di)v, (__v8di)v, 0, 1, 2, 3); }
inline __m256i ownsHi256(__m512i v) { return (__m256i)__builtin_shufflevector((__v8di)v, (__v8di)v, 4, 5, 6, 7); }

}  // namespace zel
