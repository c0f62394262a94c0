// The image functions of the element-wise arithmetic families: one checked core per sample
// type and operation that picks the row kernel and walks the ROI, and the entry shapes (not in
// place, in place, 64-bit, without scale factor, with round mode, image or constant operand)
// reduced to it. A member binds with ZEL_IMPL(name, ArithImages<T, Op, Layout>::Form).
#pragma once

// The widening and narrowing intrinsics inlined here pass an undefined operand that GCC 12
// reports as used uninitialised (the maybe form is off for the whole library); the warning
// has to be off before the intrinsic headers.
#pragma GCC diagnostic ignored "-Wuninitialized"

#include "frame/zel_internal.h"
#include "kernels/arith_kernels.h"
#include "kernels/copy_engine.h"

namespace zel {

// Channel layouts; the value is the count of constants a constant form takes.
enum ArithLayout { kC1 = 1, kC3 = 3, kC4 = 4, kAC4 = 5 };

constexpr int arith_samples(int layout) { return layout == kAC4 ? 4 : layout; }
constexpr int arith_constants(int layout) { return layout == kAC4 ? 3 : layout; }

// Checks and runs one call. Operand 1 is the image (s1, st1) or, with Const, the array of
// constants; the result s2 op s1 goes to d. Checks: pointers, size, then (divisions) the steps,
// then a zero constant of an integer DivC, then the round mode.
template <typename T, ArithOp Op, bool Const>
ZelStatus ownsArithImage(int layout, const T* s1, int64_t st1, const T* s2, int64_t st2, T* d, int64_t sd, int64_t w,
                         int64_t h, int sf, int rnd) {
    constexpr bool kInt = !std::is_same_v<T, float>;
    if (!s1 || !s2 || !d) return zelStsNullPtrErr;
    if (w < 1 || h < 1) return zelStsSizeErr;
    if constexpr (Op == ArithOp::Div) {
        if ((!Const && st1 < 1) || st2 < 1 || sd < 1) return zelStsStepErr;
        if constexpr (Const)
            for (int i = 0; i < arith_constants(layout); ++i)
                if (s1[i] == T(0)) return zelStsDivByZeroErr;
    }
    if (rnd < 0 || rnd > 2) return zelStsRoundModeErr;

    const int ch = arith_samples(layout);
    const bool ac4 = layout == kAC4;
    const int64_t samples = w * ch;
    const int64_t moved = samples * h * (int64_t)sizeof(T) * (Const ? 2 : 3);
    const bool nt = ownsUseStreamingComputed(moved, Op == ArithOp::Div);
    ArithCtx c;
    ArithRowFn<T> fn = ownsArithPick<T, Op, Const>(kInt ? sf : 0, rnd, nt, c);
    if (!fn) {
        if (!ac4) {
            const T zero[1] = {T(0)};
            ownsFill2D_8u((const uint8_t*)zero, (int)sizeof(T), (uint8_t*)d, sd / (int64_t)sizeof(T) * (int64_t)sizeof(T),
                          samples * (int64_t)sizeof(T), h);
            return zelStsNoErr;
        }
        fn = &ownsArithZeroRow<T>;
    }
    int zero;
    if constexpr (Const) {
        // The constant repeated over the pattern; a division reads 1 as the unprocessed alpha.
        constexpr int64_t kLen = kArithPatternBytes / (int64_t)sizeof(T);
        T pat[kLen];
        for (int i = 0; i < ch; ++i) pat[i] = i < arith_constants(layout) ? s1[i] : Op == ArithOp::Div ? T(1) : T(0);
        for (int64_t have = ch; have < kLen; have *= 2) memcpy(pat + have, pat, (size_t)std::min(have, kLen - have) * sizeof(T));
        zero = ownsArithRows<T>(fn, c, pat, 0, true, s2, st2, d, sd, samples, h, ac4);
    } else {
        zero = ownsArithRows<T>(fn, c, s1, st1, false, s2, st2, d, sd, samples, h, ac4);
    }
    if (nt) _mm_sfence();
    return zero ? zelStsDivByZero : zelStsNoErr;
}

// True when a 64-bit call can be handed to the 32-bit form: every |step|, the width, the
// height and width times height below 2^31 - 1.
inline bool arith_fits32(int64_t a, int64_t b, int64_t c, ZeliSizeL roi) {
    auto small = [](int64_t v) { return v > -kInt32Max && v < kInt32Max; };
    return small(a) && small(b) && small(c) && small(roi.width) && small(roi.height) &&
           small(roi.width * roi.height);
}
inline ZeliSize arith_narrow(ZeliSizeL roi) { return {(int)roi.width, (int)roi.height}; }

// The entry shapes of one member. Constant forms of C1 take the value itself, the others an
// array; in place, the constant comes first and the image is source and destination.
template <typename T, ArithOp Op, int L>
struct ArithImages {
    static constexpr int kRnd = 1;  // the scale-factor rule rounds half to even

    // Two images.
    static ZelStatus R(const T* a, int sa, const T* b, int sb, T* d, int sd, ZeliSize roi, int sf) {
        return ownsArithImage<T, Op, false>(L, a, sa, b, sb, d, sd, roi.width, roi.height, sf, kRnd);
    }
    static ZelStatus IR(const T* a, int sa, T* d, int sd, ZeliSize roi, int sf) { return R(a, sa, d, sd, d, sd, roi, sf); }
    static ZelStatus RL(const T* a, int64_t sa, const T* b, int64_t sb, T* d, int64_t sd, ZeliSizeL roi, int sf) {
        if (arith_fits32(sa, sb, sd, roi)) return R(a, (int)sa, b, (int)sb, d, (int)sd, arith_narrow(roi), sf);
        return ownsArithImage<T, Op, false>(L, a, sa, b, sb, d, sd, roi.width, roi.height, sf, kRnd);
    }
    static ZelStatus IRL(const T* a, int64_t sa, T* d, int64_t sd, ZeliSizeL roi, int sf) {
        return RL(a, sa, d, sd, d, sd, roi, sf);
    }
    static ZelStatus Rf(const T* a, int sa, const T* b, int sb, T* d, int sd, ZeliSize roi) { return R(a, sa, b, sb, d, sd, roi, 0); }
    static ZelStatus IRf(const T* a, int sa, T* d, int sd, ZeliSize roi) { return R(a, sa, d, sd, d, sd, roi, 0); }
    static ZelStatus RLf(const T* a, int64_t sa, const T* b, int64_t sb, T* d, int64_t sd, ZeliSizeL roi) {
        return RL(a, sa, b, sb, d, sd, roi, 0);
    }
    static ZelStatus IRLf(const T* a, int64_t sa, T* d, int64_t sd, ZeliSizeL roi) { return RL(a, sa, d, sd, d, sd, roi, 0); }

    // Div_Round: two images with a round mode.
    static ZelStatus Rr(const T* a, int sa, const T* b, int sb, T* d, int sd, ZeliSize roi, ZelRoundMode m, int sf) {
        return ownsArithImage<T, Op, false>(L, a, sa, b, sb, d, sd, roi.width, roi.height, sf, m);
    }
    static ZelStatus IRr(const T* a, int sa, T* d, int sd, ZeliSize roi, ZelRoundMode m, int sf) {
        return Rr(a, sa, d, sd, d, sd, roi, m, sf);
    }

    // Image and constant(s).
    static ZelStatus CR(const T* s, int ss, const T* v, T* d, int sd, ZeliSize roi, int sf) {
        return ownsArithImage<T, Op, true>(L, v, 0, s, ss, d, sd, roi.width, roi.height, sf, kRnd);
    }
    static ZelStatus CIR(const T* v, T* d, int sd, ZeliSize roi, int sf) { return CR(d, sd, v, d, sd, roi, sf); }
    static ZelStatus CRL(const T* s, int64_t ss, const T* v, T* d, int64_t sd, ZeliSizeL roi, int sf) {
        if (arith_fits32(ss, sd, 0, roi)) return CR(s, (int)ss, v, d, (int)sd, arith_narrow(roi), sf);
        return ownsArithImage<T, Op, true>(L, v, 0, s, ss, d, sd, roi.width, roi.height, sf, kRnd);
    }
    static ZelStatus CIRL(const T* v, T* d, int64_t sd, ZeliSizeL roi, int sf) { return CRL(d, sd, v, d, sd, roi, sf); }
    static ZelStatus CRf(const T* s, int ss, const T* v, T* d, int sd, ZeliSize roi) { return CR(s, ss, v, d, sd, roi, 0); }
    static ZelStatus CIRf(const T* v, T* d, int sd, ZeliSize roi) { return CR(d, sd, v, d, sd, roi, 0); }
    static ZelStatus CRLf(const T* s, int64_t ss, const T* v, T* d, int64_t sd, ZeliSizeL roi) {
        return CRL(s, ss, v, d, sd, roi, 0);
    }
    static ZelStatus CIRLf(const T* v, T* d, int64_t sd, ZeliSizeL roi) { return CRL(d, sd, v, d, sd, roi, 0); }

    // C1 constant forms take the value itself.
    static ZelStatus VR(const T* s, int ss, T v, T* d, int sd, ZeliSize roi, int sf) { return CR(s, ss, &v, d, sd, roi, sf); }
    static ZelStatus VIR(T v, T* d, int sd, ZeliSize roi, int sf) { return CR(d, sd, &v, d, sd, roi, sf); }
    static ZelStatus VRL(const T* s, int64_t ss, T v, T* d, int64_t sd, ZeliSizeL roi, int sf) {
        return CRL(s, ss, &v, d, sd, roi, sf);
    }
    static ZelStatus VIRL(T v, T* d, int64_t sd, ZeliSizeL roi, int sf) { return CRL(d, sd, &v, d, sd, roi, sf); }
    static ZelStatus VRf(const T* s, int ss, T v, T* d, int sd, ZeliSize roi) { return CR(s, ss, &v, d, sd, roi, 0); }
    static ZelStatus VIRf(T v, T* d, int sd, ZeliSize roi) { return CR(d, sd, &v, d, sd, roi, 0); }
    static ZelStatus VRLf(const T* s, int64_t ss, T v, T* d, int64_t sd, ZeliSizeL roi) { return CRL(s, ss, &v, d, sd, roi, 0); }
    static ZelStatus VIRLf(T v, T* d, int64_t sd, ZeliSizeL roi) { return CRL(d, sd, &v, d, sd, roi, 0); }
};

}  // namespace zel

// The four forms of one layout: name##R, name##IR and their _L forms, each with the suffix sfx
// (Sfs, or nothing for 32f).
#define ZEL_ARITH_FORMS(name, T, op, L, sfx, r, ir, rl, irl)                        \
    ZEL_IMPL(name##R##sfx, zel::ArithImages<T, zel::ArithOp::op, zel::L>::r)        \
    ZEL_IMPL(name##IR##sfx, zel::ArithImages<T, zel::ArithOp::op, zel::L>::ir)      \
    ZEL_IMPL(name##R##sfx##_L, zel::ArithImages<T, zel::ArithOp::op, zel::L>::rl)   \
    ZEL_IMPL(name##IR##sfx##_L, zel::ArithImages<T, zel::ArithOp::op, zel::L>::irl)

// The 16 members of a two-image operation for one type; f is empty, or f for 32f.
#define ZEL_ARITH_IMAGES(op, t, T, sfx, f)                                                   \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C1, T, op, kC1, sfx, R##f, IR##f, RL##f, IRL##f)        \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C3, T, op, kC3, sfx, R##f, IR##f, RL##f, IRL##f)        \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C4, T, op, kC4, sfx, R##f, IR##f, RL##f, IRL##f)        \
    ZEL_ARITH_FORMS(zeli##op##_##t##_AC4, T, op, kAC4, sfx, R##f, IR##f, RL##f, IRL##f)

// The 16 members of an image-and-constant operation for one type.
#define ZEL_ARITH_CONSTANTS(op, t, T, sfx, f)                                                \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C1, T, op, kC1, sfx, VR##f, VIR##f, VRL##f, VIRL##f)    \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C3, T, op, kC3, sfx, CR##f, CIR##f, CRL##f, CIRL##f)    \
    ZEL_ARITH_FORMS(zeli##op##_##t##_C4, T, op, kC4, sfx, CR##f, CIR##f, CRL##f, CIRL##f)    \
    ZEL_ARITH_FORMS(zeli##op##_##t##_AC4, T, op, kAC4, sfx, CR##f, CIR##f, CRL##f, CIRL##f)
