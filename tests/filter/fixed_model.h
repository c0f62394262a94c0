// Reference model of the fixed-kernel filters, written from their rules: the bordered source
// pixel, the one-dimensional kernels in their documented order of operations, and the trial
// geometry (an ROI inside a larger image whose flagged margins are real memory, against guard
// pages) that every member's test shares.
#pragma once

#include <math.h>

#include <string>
#include <vector>

#include "zel_test_kit.h"

namespace fm {

// The type tokens of a member: "8u16s" gives source 8u and destination 16s.
struct Types {
    std::string src, dst;
};
inline Types typesOf(const zt::Name& n) {
    const size_t a = n.name.find('_') + 1, b = n.name.find('_', a);
    const std::string t = n.name.substr(a, b - a);
    size_t k = 1;
    while (k < t.size() && isdigit((unsigned char)t[k])) ++k;
    while (k < t.size() && !isdigit((unsigned char)t[k])) ++k;
    return {t.substr(0, k), k < t.size() ? t.substr(k) : t.substr(0, k)};
}
// Runs f(source tag, destination tag) for the type pairs these families have.
template <class F>
void withPair(const Types& t, F&& f) {
    using zt::Tag;
    const std::string k = t.src + ":" + t.dst;
    if (k == "8u:8u") f(Tag<Zel8u>{}, Tag<Zel8u>{});
    else if (k == "8u:16s") f(Tag<Zel8u>{}, Tag<Zel16s>{});
    else if (k == "16s:16s") f(Tag<Zel16s>{}, Tag<Zel16s>{});
    else if (k == "16u:16u") f(Tag<Zel16u>{}, Tag<Zel16u>{});
    else if (k == "16s:32f") f(Tag<Zel16s>{}, Tag<Zel32f>{});
    else if (k == "16u:32f") f(Tag<Zel16u>{}, Tag<Zel32f>{});
    else if (k == "32f:32f") f(Tag<Zel32f>{}, Tag<Zel32f>{});
    else ADD_FAILURE() << "no model for " << k;
}
inline int bytesOf(const std::string& t) { return t == "8u" ? 1 : t == "32f" ? 4 : 2; }

// A random border argument of the kinds given, with random in-memory flags (or 240).
inline unsigned randomBorder(zt::Rng& rng, std::vector<unsigned> kinds) {
    if (rng.chance(0.15)) return 240;
    return kinds[rng.range(0, (int64_t)kinds.size() - 1)] | (unsigned)(rng.range(0, 15) << 4);
}

// The source image of a trial: the ROI with `r` real pixels beyond each flagged side.
struct Source {
    int W, H, C, S, r;
    unsigned border;
    int kind;
    bool top, bottom, left, right;
    zt::Region img;
    int64_t step;
    uint8_t* roi;
    uint8_t value[64];

    Source(zt::Rng& rng, zt::Tight tight, int W_, int H_, int C_, int S_, int r_, unsigned border_)
        : W(W_), H(H_), C(C_), S(S_), r(r_), border(border_),
          kind(border_ == 240 ? 0 : (int)(border_ & 15)),
          top(border_ & 16), bottom(border_ & 32), left(border_ & 64), right(border_ & 128),
          img(rowBytes(), rows(), stepFor(rng), tight, 0, S_) {
        step = img.step();
        roi = img.row(top ? r : 0) + (int64_t)(left ? r : 0) * C * S;
        rng.fill(value, sizeof value);
    }
    int64_t rowBytes() const { return (int64_t)(W + (left ? r : 0) + (right ? r : 0)) * C * S; }
    int64_t rows() const { return H + (top ? r : 0) + (bottom ? r : 0); }
    int64_t stepFor(zt::Rng& rng) const { return rowBytes() + S * rng.range(0, 3); }

    static int64_t map(int kind, int64_t i, int64_t n) {  // replicate or mirror into [0, n)
        if (i >= 0 && i < n) return i;
        if (kind != 3 || n == 1) return i < 0 ? 0 : n - 1;
        const int64_t period = 2 * n - 2;
        int64_t m = ((i % period) + period) % period;
        return m < n ? m : period - m;
    }
    // Address of sample ch of the pixel that stands at column c, row ys; null for the constant.
    const uint8_t* at(int64_t c, int64_t ys, int ch) const {
        const bool rowReal = (ys >= 0 && ys < H) || (ys < 0 && top) || (ys >= H && bottom);
        const bool colReal = (c >= 0 && c < W) || (c < 0 && left) || (c >= W && right);
        if ((!rowReal || !colReal) && kind == 6) return nullptr;
        if (!rowReal) ys = map(kind, ys, H);
        if (!colReal) c = map(kind, c, W);
        return roi + ys * step + (c * C + ch) * S;
    }
    template <typename T>
    T px(int64_t c, int64_t ys, int ch) const {
        const uint8_t* p = at(c, ys, ch);
        T v;
        memcpy(&v, p ? p : value + ch * S, sizeof v);
        return v;
    }
};

// Random samples: any bits for integers; for 32f values of every magnitude class the filters
// meet (small integers, fractions, large values), never NaN.
template <typename T>
void fillSamples(zt::Rng& rng, zt::Region& r) {
    r.randomize(rng);
    if constexpr (std::is_same<T, Zel32f>::value) {
        const int mode = (int)rng.range(0, 2);
        for (int64_t i = 0; i + 4 <= r.extent(); i += 4) {
            float f = mode == 0 ? (float)rng.range(-300, 300)
                      : mode == 1 ? (float)rng.range(-1 << 20, 1 << 20) / 1024.0f
                                  : ldexpf((float)rng.range(-(1 << 23), 1 << 23), (int)rng.range(-30, 10));
            memcpy(r.lo() + i, &f, 4);
        }
    }
}

// A one-dimensional kernel as written (3 or 5 taps, index 0 the leftmost or topmost).
using Taps = std::vector<int>;

// The kernel over the values v(-R) .. v(R): pairs v(+k) -/+ v(-k) outermost first with the
// weight of the far tap, then the centre (even kernels); in single precision every step after
// the first is a fused multiply-add. Integers are exact.
template <typename V, class F>
V apply(const Taps& t, F&& v) {
    const int R = (int)t.size() / 2;
    const bool odd = t[R] == 0 && t[R + 1] == -t[R - 1] && t[R + 1] != 0;
    auto pair = [&](int k) { return odd ? (V)(v(k) - v(-k)) : (V)(v(k) + v(-k)); };
    V acc = (V)t[R + R] * pair(R);
    for (int k = R - 1; k >= 1; --k) {
        if constexpr (std::is_same<V, float>::value) acc = fmaf((float)t[R + k], pair(k), acc);
        else acc += (V)t[R + k] * pair(k);
    }
    if (!odd) {
        if constexpr (std::is_same<V, float>::value) acc = fmaf((float)t[R], v(0), acc);
        else acc += (V)t[R] * v(0);
    }
    return acc;
}

// The separable kernel (row, column) at destination (x, y), channel ch: float for 32f sources,
// exact 64-bit integers otherwise.
template <typename T, typename V = std::conditional_t<std::is_same<T, Zel32f>::value, float, int64_t>>
V separable(const Source& s, const Taps& row, const Taps& col, int64_t x, int64_t y, int ch) {
    return apply<V>(col, [&](int j) {
        return apply<V>(row, [&](int i) { return (V)s.px<T>(x + i, y + j, ch); });
    });
}

template <typename D>
D saturate(int64_t v) {
    if constexpr (std::is_floating_point<D>::value) return (D)v;
    else {
        const int64_t lo = std::numeric_limits<D>::min(), hi = std::numeric_limits<D>::max();
        return (D)(v < lo ? lo : v > hi ? hi : v);
    }
}

}  // namespace fm
