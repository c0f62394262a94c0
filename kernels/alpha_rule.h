// The scalar rule of alpha composition and premultiplication, per sample type. It is the
// whole definition of the arithmetic: the vector kernels of alpha_8u.h reproduce it bit for
// bit and finish every row's remainder with it.
//
// Integer types take alpha in 0..M, M the largest value of the type (opaque), and divide a
// product by M rounding to nearest (no ties can occur: M is odd). For 8u that is the div255
// rule ((t + 128) + ((t + 128) >> 8)) >> 8, for 16u its 16-bit analogue. Signed types have
// signed colour: a product is divided with its magnitude rounded and its sign kept, and a
// negative alpha counts as 0 (transparent). 32f takes alpha 1.0 as opaque and computes in
// single precision, a product followed by a sum fused into one rounding (fmaf), with no
// clamping of alpha or of the result.
//
// Composition runs on premultiplied colour. Inputs that are not premultiplied (the six plain
// operators) are first premultiplied with the same division; the result is stored
// premultiplied, as the Porter-Duff equations produce it. The alpha channel is composed by the
// same equation as the colour channels, with each alpha standing for its own premultiplied
// colour (over gives aA + aB * (M - aA) / M). Integer results saturate to the type's range.
#pragma once

#include <stdint.h>

#include <type_traits>

#include "zel/zeltypes.h"

namespace zel::alpha {

// W: the type that holds a product of two samples and the sum of two quotients.
template <typename T> struct Math;

template <> struct Math<Zel8u> {
    using W = uint32_t;
    static constexpr W kOpaque = 255;
    static W alpha(Zel8u a) { return a; }
    static W mul_div(W x, W y) {
        W t = x * y + 128;
        return (t + (t >> 8)) >> 8;
    }
    static W inv(W a) { return kOpaque - a; }
    static Zel8u store(W v) { return (Zel8u)(v > 255 ? 255 : v); }
};

template <> struct Math<Zel16u> {
    using W = uint32_t;  // 65535 * 65535 + 32768 + 65535 still fits
    static constexpr W kOpaque = 65535;
    static W alpha(Zel16u a) { return a; }
    static W mul_div(W x, W y) {
        W t = x * y + 32768;
        return (t + (t >> 16)) >> 16;
    }
    static W inv(W a) { return kOpaque - a; }
    static Zel16u store(W v) { return (Zel16u)(v > 65535 ? 65535 : v); }
};

// Signed division of a product by M, the magnitude rounded to nearest.
template <typename W, W M>
inline W div_signed(W t) {
    W q = ((t < 0 ? -t : t) + (M - 1) / 2) / M;
    return t < 0 ? -q : q;
}

template <> struct Math<Zel16s> {
    using W = int32_t;
    static constexpr W kOpaque = 32767;
    static W alpha(Zel16s a) { return a < 0 ? 0 : a; }
    static W mul_div(W x, W y) { return div_signed<W, kOpaque>(x * y); }
    static W inv(W a) { return kOpaque - a; }
    static Zel16s store(W v) { return (Zel16s)(v > 32767 ? 32767 : v < -32768 ? -32768 : v); }
};

template <> struct Math<Zel32s> {
    using W = int64_t;
    static constexpr W kOpaque = 2147483647;
    static W alpha(Zel32s a) { return a < 0 ? 0 : a; }
    static W mul_div(W x, W y) { return div_signed<W, kOpaque>(x * y); }
    static W inv(W a) { return kOpaque - a; }
    static Zel32s store(W v) { return (Zel32s)(v > kOpaque ? kOpaque : v < -kOpaque - 1 ? -kOpaque - 1 : v); }
};

template <> struct Math<Zel32u> {
    using W = uint64_t;  // (2^32 - 1)^2 + 2^31 still fits
    static constexpr W kOpaque = 4294967295u;
    static W alpha(Zel32u a) { return a; }
    static W mul_div(W x, W y) { return (x * y + (kOpaque - 1) / 2) / kOpaque; }
    static W inv(W a) { return kOpaque - a; }
    static Zel32u store(W v) { return (Zel32u)(v > kOpaque ? kOpaque : v); }
};

template <> struct Math<Zel32f> {
    using W = float;
    static constexpr W kOpaque = 1.0f;
    static W alpha(Zel32f a) { return a; }
    static W mul_div(W x, W y) { return x * y; }
    static W inv(W a) { return 1.0f - a; }
    static Zel32f store(W v) { return v; }
};

// The six operators, alphaType modulo 6.
enum Op { kOver = 0, kIn = 1, kOut = 2, kATop = 3, kXor = 4, kPlus = 5 };

// The Porter-Duff equation of Op on premultiplied values a, b with alphas aa, ab. K supplies
// mul_div (product divided by the opaque value), inv (opaque minus alpha) and add; the sum is
// left unsaturated, for the caller's store. Written once for the scalar rule and the vectors.
// K::mul_add(x, y, z) is mul_div(x, y) + z; for 32f it is one fused multiply-add, so that
// the result does not depend on what the compiler contracts.
template <int Op, class K, class V>
inline V porter_duff(V a, V b, V aa, V ab) {
    if constexpr (Op == kOver) return K::mul_add(b, K::inv(aa), a);
    else if constexpr (Op == kIn) return K::mul_div(a, ab);
    else if constexpr (Op == kOut) return K::mul_div(a, K::inv(ab));
    else if constexpr (Op == kATop) return K::mul_add(a, ab, K::mul_div(b, K::inv(aa)));
    else if constexpr (Op == kXor) return K::mul_add(a, K::inv(ab), K::mul_div(b, K::inv(aa)));
    else return K::add(a, b);
}

// Math<T> with the sums that porter_duff expects.
template <typename T>
struct Scalar : Math<T> {
    using W = typename Math<T>::W;
    static W add(W x, W y) { return x + y; }
    static W mul_add(W x, W y, W z) {
        if constexpr (std::is_same_v<T, Zel32f>) return __builtin_fmaf(x, y, z);
        else return Math<T>::mul_div(x, y) + z;
    }
};

// One colour sample composed: a, b as stored, aa, ab the (clamped) alphas of their pixels.
template <typename T, int Op, bool Pre>
inline T comp_colour(T a, T b, typename Math<T>::W aa, typename Math<T>::W ab) {
    using K = Scalar<T>;
    using W = typename K::W;
    // Plain plus adds two products: the first is fused too, as in every other sum.
    if constexpr (std::is_same_v<T, Zel32f> && Op == kPlus && !Pre) return __builtin_fmaf(a, aa, b * ab);
    W pa = Pre ? (W)a : K::mul_div((W)a, aa);
    W pb = Pre ? (W)b : K::mul_div((W)b, ab);
    return K::store(porter_duff<Op, K>(pa, pb, aa, ab));
}

// The alpha sample of a composed pixel.
template <typename T, int Op>
inline T comp_alpha(typename Math<T>::W aa, typename Math<T>::W ab) {
    return Scalar<T>::store(porter_duff<Op, Scalar<T>>(aa, ab, aa, ab));
}

// Colour c premultiplied by alpha a (already clamped).
template <typename T>
inline T premul(T c, typename Math<T>::W a) {
    return Math<T>::store(Math<T>::mul_div((typename Math<T>::W)c, a));
}

// Calls f(std::integral_constant<int, Op>, std::bool_constant<Pre>) for alphaType 0..11, so
// that the row loop is compiled once per operator.
template <class F>
inline void with_type(int type, F&& f) {
    using std::integral_constant, std::bool_constant;
    switch (type) {
        case 0: return f(integral_constant<int, kOver>{}, bool_constant<false>{});
        case 1: return f(integral_constant<int, kIn>{}, bool_constant<false>{});
        case 2: return f(integral_constant<int, kOut>{}, bool_constant<false>{});
        case 3: return f(integral_constant<int, kATop>{}, bool_constant<false>{});
        case 4: return f(integral_constant<int, kXor>{}, bool_constant<false>{});
        case 5: return f(integral_constant<int, kPlus>{}, bool_constant<false>{});
        case 6: return f(integral_constant<int, kOver>{}, bool_constant<true>{});
        case 7: return f(integral_constant<int, kIn>{}, bool_constant<true>{});
        case 8: return f(integral_constant<int, kOut>{}, bool_constant<true>{});
        case 9: return f(integral_constant<int, kATop>{}, bool_constant<true>{});
        case 10: return f(integral_constant<int, kXor>{}, bool_constant<true>{});
        default: return f(integral_constant<int, kPlus>{}, bool_constant<true>{});
    }
}

// alphaType is a plain int: anything outside 0..11, negative values included, is refused.
inline bool bad_type(int type) { return (unsigned)type > 11u; }

}  // namespace zel::alpha
