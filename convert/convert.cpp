// Convert: changes the sample type value for value. Widening is exact (32-bit integers into
// floats round to nearest); integer narrowing saturates; the Rs forms clamp negatives to 0;
// floating point into integers rounds by the round mode (0 truncates, 1 rounds half to even,
// any other value clamps to the maximum, adds 0.5 with the value's sign and truncates, so
// halves go away from zero) and saturates, NaN giving 0 in modes 0 and 1 and the destination
// maximum otherwise.
//
// The Sfs forms multiply by 2^-scaleFactor first and then round and saturate the same way;
// their integer sources are scaled exactly (through doubles, which hold every 32-bit value),
// so an integer Sfs result is the exact quotient rounded by the mode. Every scale factor is
// accepted: one too small to matter gives 0 for every finite sample, one too large saturates
// every non-zero sample.
//
// Checks: pointers, size; then the steps (< 1) for the narrowing and the float-to-integer forms
// without scale factor. The round mode and the scale factor are never rejected.
#include "kernels/convert_type.h"

namespace {

using namespace zel;
using namespace zel::cvt;

template <typename F, typename D, bool Scaled, typename S>
void run_round(const S* s, int ss, D* d, int ds, ZeliSize roi, int layout, int mode, int sf) {
    const int64_t n = (int64_t)roi.width * samples_of(layout);
    const bool ac4 = layout == kAC4;
    switch (round_rule(mode)) {
        case Rnd::Zero: ownsConvertImage(s, ss, d, ds, n, roi.height, ac4, true, OpRound<F, D, Rnd::Zero, Scaled>(sf)); break;
        case Rnd::Near: ownsConvertImage(s, ss, d, ds, n, roi.height, ac4, true, OpRound<F, D, Rnd::Near, Scaled>(sf)); break;
        case Rnd::Fin: ownsConvertImage(s, ss, d, ds, n, roi.height, ac4, true, OpRound<F, D, Rnd::Fin, Scaled>(sf)); break;
    }
}

// 32f into integers with a round mode.
template <typename D, int L>
ZelStatus convert_round(const float* s, int ss, D* d, int ds, ZeliSize roi, ZelRoundMode mode) {
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ss < 1 || ds < 1) return zelStsStepErr;
    run_round<float, D, false>(s, ss, d, ds, roi, L, mode, 0);
    return zelStsNoErr;
}

// The Sfs forms: 32f computes in floats, every other source in doubles.
template <typename S, typename D>
ZelStatus convert_sfs(const S* s, int ss, D* d, int ds, ZeliSize roi, ZelRoundMode mode, int sf) {
    using F = std::conditional_t<std::is_same_v<S, float>, float, double>;
    if (!s || !d) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (sf == 0) run_round<F, D, false>(s, ss, d, ds, roi, 1, mode, 0);
    else run_round<F, D, true>(s, ss, d, ds, roi, 1, mode, sf);
    return zelStsNoErr;
}

// In place: the floats of the image are replaced by their 32u conversions.
ZelStatus convert_32f32u_ir(Zel32u* p, int step, ZeliSize roi, ZelRoundMode mode, int sf) {
    return convert_sfs<float, Zel32u>((const float*)p, step, p, step, roi, mode, sf);
}

}  // namespace

#define ZEL_CVT(s, S, d, D, lay, L) ZEL_IMPL(zeliConvert_##s##d##_##lay, ownsConvertPlain<S, D, L>)
#define ZEL_CVT4(s, S, d, D)            \
    ZEL_CVT(s, S, d, D, C1R, 1)         \
    ZEL_CVT(s, S, d, D, C3R, 3)         \
    ZEL_CVT(s, S, d, D, C4R, 4)         \
    ZEL_CVT(s, S, d, D, AC4R, kAC4)
#define ZEL_CVT_ROUND4(d, D)                                          \
    ZEL_IMPL(zeliConvert_32f##d##_C1R, convert_round<D, 1>)           \
    ZEL_IMPL(zeliConvert_32f##d##_C3R, convert_round<D, 3>)           \
    ZEL_IMPL(zeliConvert_32f##d##_C4R, convert_round<D, 4>)           \
    ZEL_IMPL(zeliConvert_32f##d##_AC4R, convert_round<D, kAC4>)
#define ZEL_CVT_SFS(s, S, d, D) ZEL_IMPL(zeliConvert_##s##d##_C1RSfs, convert_sfs<S, D>)

ZEL_CVT4(8u, Zel8u, 16u, Zel16u)
ZEL_CVT4(8u, Zel8u, 16s, Zel16s)
ZEL_CVT4(8u, Zel8u, 32s, Zel32s)
ZEL_CVT4(8u, Zel8u, 32f, Zel32f)
ZEL_CVT4(8s, Zel8s, 32s, Zel32s)
ZEL_CVT4(8s, Zel8s, 32f, Zel32f)
ZEL_CVT4(16u, Zel16u, 32s, Zel32s)
ZEL_CVT4(16u, Zel16u, 32f, Zel32f)
ZEL_CVT4(16s, Zel16s, 32s, Zel32s)
ZEL_CVT4(16s, Zel16s, 32f, Zel32f)
ZEL_CVT(8s, Zel8s, 16s, Zel16s, C1R, 1)
ZEL_CVT(8s, Zel8s, 64f, Zel64f, C1R, 1)
ZEL_CVT(16u, Zel16u, 32u, Zel32u, C1R, 1)
ZEL_CVT(32s, Zel32s, 32f, Zel32f, C1R, 1)
ZEL_CVT(32u, Zel32u, 32f, Zel32f, C1R, 1)
ZEL_CVT4(16s, Zel16s, 8u, Zel8u)
ZEL_CVT4(16u, Zel16u, 8u, Zel8u)
ZEL_CVT4(32s, Zel32s, 8u, Zel8u)
ZEL_CVT4(32s, Zel32s, 8s, Zel8s)
ZEL_CVT_ROUND4(8u, Zel8u)
ZEL_CVT_ROUND4(8s, Zel8s)
ZEL_CVT_ROUND4(16u, Zel16u)
ZEL_CVT_ROUND4(16s, Zel16s)
ZEL_CVT(8s, Zel8s, 8u, Zel8u, C1Rs, 1)
ZEL_CVT(8s, Zel8s, 16u, Zel16u, C1Rs, 1)
ZEL_CVT(8s, Zel8s, 32u, Zel32u, C1Rs, 1)
ZEL_CVT(16s, Zel16s, 16u, Zel16u, C1Rs, 1)
ZEL_CVT(16s, Zel16s, 32u, Zel32u, C1Rs, 1)
ZEL_CVT(32s, Zel32s, 32u, Zel32u, C1Rs, 1)
ZEL_CVT_SFS(8u, Zel8u, 8s, Zel8s)
ZEL_CVT_SFS(16s, Zel16s, 8s, Zel8s)
ZEL_CVT_SFS(16u, Zel16u, 8s, Zel8s)
ZEL_CVT_SFS(16u, Zel16u, 16s, Zel16s)
ZEL_CVT_SFS(32f, Zel32f, 8u, Zel8u)
ZEL_CVT_SFS(32f, Zel32f, 8s, Zel8s)
ZEL_CVT_SFS(32f, Zel32f, 16u, Zel16u)
ZEL_CVT_SFS(32f, Zel32f, 16s, Zel16s)
ZEL_CVT_SFS(32f, Zel32f, 32s, Zel32s)
ZEL_CVT_SFS(32f, Zel32f, 32u, Zel32u)
ZEL_CVT_SFS(32s, Zel32s, 16s, Zel16s)
ZEL_CVT_SFS(32s, Zel32s, 16u, Zel16u)
ZEL_CVT_SFS(32u, Zel32u, 8u, Zel8u)
ZEL_CVT_SFS(32u, Zel32u, 8s, Zel8s)
ZEL_CVT_SFS(32u, Zel32u, 16u, Zel16u)
ZEL_CVT_SFS(32u, Zel32u, 16s, Zel16s)
ZEL_CVT_SFS(32u, Zel32u, 32s, Zel32s)
ZEL_CVT_SFS(64f, Zel64f, 8u, Zel8u)
ZEL_CVT_SFS(64f, Zel64f, 8s, Zel8s)
ZEL_CVT_SFS(64f, Zel64f, 16u, Zel16u)
ZEL_CVT_SFS(64f, Zel64f, 16s, Zel16s)
ZEL_IMPL(zeliConvert_32f32u_C1IRSfs, convert_32f32u_ir)
