// Row kernels of alpha composition and premultiplication for every sample type: the 8u
// vector kernels for whole blocks, the scalar rule of alpha_rule.h for everything else. A
// destination may coincide with the second source (the in-place forms): each element is read
// before it is written.
#pragma once

#include <stdint.h>

#include <type_traits>

#include "kernels/alpha_8u.h"
#include "kernels/alpha_rule.h"

namespace zel::alpha {

template <typename T>
constexpr bool kVector8u = std::is_same_v<T, Zel8u>;

// The rows an image function walks: one long row when every step equals the packed row of
// rowBytes (fewer calls for narrow images), else the ROI's rows.
struct Rows {
    int64_t width, height;
};
template <class... S>
inline Rows rows_of(ZeliSize roi, int64_t rowBytes, S... steps) {
    if ((((int64_t)steps == rowBytes) && ...)) return {(int64_t)roi.width * roi.height, 1};
    return {roi.width, roi.height};
}

// True when a four-plane (AP4) argument and every one of its planes are set.
template <typename P>
inline bool planes_ok(P* const* p) {
    return p && p[0] && p[1] && p[2] && p[3];
}

// n AC4 pixels of a composed with n of b into d; all four channels are written.
template <typename T, int Op, bool Pre>
void ownsAlphaCompAC4(const T* a, const T* b, T* d, int64_t n) {
    using M = Math<T>;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaCompAC4_8u<Op, Pre>(a, b, d, n);
    for (; i < n; ++i) {
        const T *p = a + 4 * i, *q = b + 4 * i;
        T* r = d + 4 * i;
        auto aa = M::alpha(p[3]), ab = M::alpha(q[3]);
        for (int c = 0; c < 3; ++c) r[c] = comp_colour<T, Op, Pre>(p[c], q[c], aa, ab);
        r[3] = comp_alpha<T, Op>(aa, ab);
    }
}

// n samples of a colour plane composed, with the alpha planes of both images.
template <typename T, int Op, bool Pre>
void ownsAlphaCompPlane(const T* a, const T* aa, const T* b, const T* ab, T* d, int64_t n) {
    using M = Math<T>;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaCompPlane_8u<Op, Pre>(a, aa, b, ab, d, n);
    for (; i < n; ++i) d[i] = comp_colour<T, Op, Pre>(a[i], b[i], M::alpha(aa[i]), M::alpha(ab[i]));
}

// n samples of two alpha planes composed (the alpha plane of AP4, the images of AC1).
template <typename T, int Op>
void ownsAlphaCompAlpha(const T* a, const T* b, T* d, int64_t n) {
    using M = Math<T>;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaCompPlane_8u<Op, true>(a, a, b, b, d, n);
    for (; i < n; ++i) d[i] = comp_alpha<T, Op>(M::alpha(a[i]), M::alpha(b[i]));
}

// n pixels of C channels composed with constant alphas a1 (of a) and a2 (of b). KeepAlpha:
// AC4 pixels whose channel 3 in d is left as it is.
template <typename T, int Op, bool Pre, int C, bool KeepAlpha>
void ownsAlphaCompConst(const T* a, T a1, const T* b, T a2, T* d, int64_t n) {
    using M = Math<T>;
    const auto aa = M::alpha(a1), ab = M::alpha(a2);
    const int64_t samples = n * C;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaCompConst_8u<Op, Pre, KeepAlpha>(a, a1, b, a2, d, samples);
    for (; i < samples; ++i)
        if (!KeepAlpha || i % 4 != 3) d[i] = comp_colour<T, Op, Pre>(a[i], b[i], aa, ab);
}

// n AC4 pixels premultiplied by their alpha, which is copied.
template <typename T>
void ownsAlphaPremulAC4(const T* s, T* d, int64_t n) {
    using M = Math<T>;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaPremulAC4_8u(s, d, n);
    for (; i < n; ++i) {
        const T* p = s + 4 * i;
        T* r = d + 4 * i;
        auto a = M::alpha(p[3]);
        T keep = p[3];
        for (int c = 0; c < 3; ++c) r[c] = premul<T>(p[c], a);
        r[3] = keep;
    }
}

// n samples of a colour plane premultiplied by the samples of an alpha plane.
template <typename T>
void ownsAlphaPremulPlane(const T* c, const T* a, T* d, int64_t n) {
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaPremulPlane_8u(c, a, d, n);
    for (; i < n; ++i) d[i] = premul<T>(c[i], Math<T>::alpha(a[i]));
}

// n pixels of C channels premultiplied by a constant alpha; KeepAlpha as above.
template <typename T, int C, bool KeepAlpha>
void ownsAlphaPremulConst(const T* s, T alpha, T* d, int64_t n) {
    const auto a = Math<T>::alpha(alpha);
    const int64_t samples = n * C;
    int64_t i = 0;
    if constexpr (kVector8u<T>) i = ownsAlphaPremulConst_8u<KeepAlpha>(s, alpha, d, samples);
    for (; i < samples; ++i)
        if (!KeepAlpha || i % 4 != 3) d[i] = premul<T>(s[i], a);
}

}  // namespace zel::alpha
