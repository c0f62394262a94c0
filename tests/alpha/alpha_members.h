// The compositing families described as data: every member is a kind (which rule), its layout
// and a call. One scalar model per kind, written from the rules: integer types divide a
// product by their largest value M rounding to nearest (the magnitude for signed types), take
// a negative alpha as 0 and saturate; 32f computes the same equations in single precision
// with alpha 1.0 opaque, a product followed by a sum fused. Inputs of types 0..5 are premultiplied first; results stay
// premultiplied.
#pragma once

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "zel_test_kit.h"

namespace at {

enum class Kind { Comp, CompC, Premul, PremulC, Key, AlphaKey };

template <class T>
struct Ref {
    static constexpr bool kFloat = std::is_floating_point_v<T>;
    using W = std::conditional_t<kFloat, float, __int128>;
    static W M() { return kFloat ? W(1) : W(std::numeric_limits<T>::max()); }
    static W alpha(T a) { return !kFloat && a < 0 ? W(0) : W(a); }
    // t / M rounded to nearest; M is odd, so there are no ties.
    static W div(W t) {
        if constexpr (kFloat) return t;
        else {
            W m = M(), q = ((t < 0 ? -t : t) * 2 + m) / (2 * m);
            return t < 0 ? -q : q;
        }
    }
    static T sat(W v) {
        if constexpr (kFloat) return v;
        else return (T)std::min<W>(std::max<W>(v, std::numeric_limits<T>::min()), std::numeric_limits<T>::max());
    }
    // The Porter-Duff equation of alphaType % 6 on premultiplied a, b with alphas aa, ab.
    static W pd(int type, W a, W b, W aa, W ab) {
        W m = M();
        if constexpr (kFloat) {  // a product and the sum after it: one rounding
            switch (type % 6) {
                case 0: return std::fma(b, m - aa, a);
                case 1: return a * ab;
                case 2: return a * (m - ab);
                case 3: return std::fma(a, ab, b * (m - aa));
                case 4: return std::fma(a, m - ab, b * (m - aa));
                default: return a + b;
            }
        }
        switch (type % 6) {
            case 0: return a + div(b * (m - aa));
            case 1: return div(a * ab);
            case 2: return div(a * (m - ab));
            case 3: return div(a * ab) + div(b * (m - aa));
            case 4: return div(a * (m - ab)) + div(b * (m - aa));
            default: return a + b;
        }
    }
    // One colour sample composed; inputs of types 0..5 premultiplied first.
    static T colour(int type, T a, T b, W aa, W ab) {
        bool pre = type >= 6;
        if constexpr (kFloat)
            if (type == 5) return std::fma(a, aa, b * ab);
        return sat(pd(type, pre ? W(a) : div(W(a) * aa), pre ? W(b) : div(W(b) * ab), aa, ab));
    }
    static T premul(T c, W a) { return sat(div(W(c) * a)); }
};

// Everything a member takes. Images are plane pointers (interleaved images use [0]); in-place
// members take a and b, b being the destination too.
template <class T>
struct Args {
    std::array<T*, 4> a{}, b{}, d{};
    bool aNull = false, bNull = false, dNull = false;  // the plane array itself is null
    int as = 0, bs = 0, ds = 0;
    ZeliSize roi{};
    int type = 0;
    T a1{}, a2{};
    const T* key = nullptr;
    const T* const* pa() const { return aNull ? nullptr : (const T* const*)a.data(); }
    const T* const* pb() const { return bNull ? nullptr : (const T* const*)b.data(); }
    T* const* pd() const { return dNull ? nullptr : d.data(); }
    T* const* pbd() const { return bNull ? nullptr : b.data(); }  // b as in-place destination
    T* const* pad() const { return aNull ? nullptr : a.data(); }
};

struct Member {
    std::string name;
    std::function<void()> matchesModel;
    std::function<void()> checksInOrder;
};

// One guarded image: one region of interleaved pixels, or four planes sharing the step.
template <class T>
struct Img {
    std::vector<zt::Region> r;
    int ch = 1;
    int64_t step = 0;
    Img(zt::Rng& rng, int w, int h, int ch_, int planes, int64_t step_, zt::Tight t) : ch(ch_), step(step_) {
        for (int k = 0; k < planes; ++k) {
            // Any slack, then moved so that row 0 starts on a whole sample: samples are aligned.
            int64_t slack = rng.range(0, 15) * (int64_t)sizeof(T), rowBytes = (int64_t)w * ch * sizeof(T);
            int64_t mis = (int64_t)((uintptr_t)zt::Region(rowBytes, h, step, t, slack).origin() % sizeof(T));
            if (mis) slack += t == zt::Tight::End ? mis : (int64_t)sizeof(T) - mis;
            r.emplace_back(rowBytes, h, step, t, slack);
            fill(rng, r.back());
        }
    }
    static T value(zt::Rng& rng) {
        if (rng.chance(0.25)) {
            const T special[] = {T(0), T(1), std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest()};
            return std::is_floating_point_v<T> ? T(rng.range(0, 1)) : rng.pick(special);
        }
        if constexpr (std::is_floating_point_v<T>) return T(rng.range(-1000, 5000) / 4000.0);
        else return rng.bits<T>();
    }
    static void fill(zt::Rng& rng, zt::Region& reg) {
        for (int64_t i = 0; i + (int64_t)sizeof(T) <= reg.extent(); i += sizeof(T)) {
            T v = value(rng);
            memcpy(reg.lo() + i, &v, sizeof v);
        }
    }
    T* plane(int k) const { return (T*)r[k].origin(); }
    // Sample c of pixel (x, y): the row advances by the step reduced to whole samples.
    T* at(int x, int y, int c) const {
        int k = r.size() == 1 ? 0 : c;
        uint8_t* row = r[k].origin() + step / (int64_t)sizeof(T) * (int64_t)sizeof(T) * y;
        return (T*)row + (int64_t)x * ch + (r.size() == 1 ? c : 0);
    }
    int samples() const { return r.size() == 1 ? ch : 4; }
};

const std::vector<Member>& members();

}  // namespace at
