// Fixed thresholds: clamping at a threshold (Threshold with a comparison, _GT, _LT),
// replacing the samples beyond it by a value (_Val with a comparison, _GTVal, _LTVal), and
// both sides at once (_LTValGTVal). Types 8u, 16u, 16s, 32f; layouts C1, C3, C4 (_GTVal and
// _LTVal only) and AC4, whose destination alpha is never written; the in-place forms are the
// out-of-place ones with pSrc = pDst.
//
// Checks, in order: a null image or constant array, width or height below 1, a step below 1,
// then the comparison (only zelCmpLess and zelCmpGreater are supported) or, for _LTValGTVal,
// a channel whose thresholdGT is below its thresholdLT (equal is accepted). The rules and
// their NaN behaviour are in kernels/threshold_fixed.h. Rows that follow each other without
// padding run as one long row; large destinations on 64-byte rows are written with
// non-temporal stores.
#include "frame/zel_internal.h"
#include "kernels/threshold_fixed.h"

namespace {

using namespace zel;

enum class Form { Clamp, Replace, Both };

template <ThrRule R, typename T, int C, bool Alpha>
void apply(const T* s, int ss, T* d, int ds, ZeliSize roi, const T* const (&k)[4]) {
    alignas(64) uint8_t pat[4][192];
    for (int j = 0; j < 4; ++j) {
        if (k[j]) ownsBuildPattern(pat[j], k[j], C, Alpha ? 3 : C);
        else memset(pat[j], 0, sizeof pat[j]);  // the GT pair of the one-sided rules
    }
    constexpr int P = ownsPatternPeriod(C);
    ownsStreamLayout<sizeof(T), C, Alpha, false>(ThrOp<R, T, P>(pat), s, ss, nullptr, 0, nullptr, d, ds, roi.width,
                                                 roi.height);
}

// The checked operation. k holds threshold and value (Clamp: the threshold twice), then for
// Both the GT pair; cmpOp is ignored by Both.
template <typename T, int C, bool Alpha>
ZelStatus run(const T* s, int ss, T* d, int ds, ZeliSize roi, Form form, int cmpOp, const T* const (&k)[4]) {
    constexpr int used = Alpha ? 3 : C;
    if (!s || !d || !k[0] || !k[1] || (form == Form::Both && (!k[2] || !k[3]))) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (ss < 1 || ds < 1) return zelStsStepErr;
    if (form == Form::Both) {
        for (int c = 0; c < used; ++c)
            if (k[2][c] < k[0][c]) return zelStsThresholdErr;
        apply<ThrRule::Both, T, C, Alpha>(s, ss, d, ds, roi, k);
        return zelStsNoErr;
    }
    if (cmpOp != zelCmpLess && cmpOp != zelCmpGreater) return zelStsNotSupportedModeErr;
    const bool gt = cmpOp == zelCmpGreater;
    if (form == Form::Clamp) {
        if (gt) apply<ThrRule::ClampGT, T, C, Alpha>(s, ss, d, ds, roi, k);
        else apply<ThrRule::ClampLT, T, C, Alpha>(s, ss, d, ds, roi, k);
    } else {
        if (gt) apply<ThrRule::ReplaceGT, T, C, Alpha>(s, ss, d, ds, roi, k);
        else apply<ThrRule::ReplaceLT, T, C, Alpha>(s, ss, d, ds, roi, k);
    }
    return zelStsNoErr;
}

// The entry shapes: one-channel members take their constants by value (V = T), the others
// as arrays (V = const T*); the fixed-comparison members pass Op, the in-place members
// (suffix _i) pass their image as source and destination.
template <typename T, int C, bool Alpha>
struct Thr {
    using V = std::conditional_t<C == 1, T, const T*>;
    static const T* ptr(const T& v) { return &v; }
    static const T* ptr(const T* p) { return p; }

    static ZelStatus clamp(const T* s, int ss, T* d, int ds, ZeliSize roi, V t, ZelCmpOp op) {
        return run<T, C, Alpha>(s, ss, d, ds, roi, Form::Clamp, op, {ptr(t), ptr(t), nullptr, nullptr});
    }
    static ZelStatus clamp_i(T* p, int st, ZeliSize roi, V t, ZelCmpOp op) { return clamp(p, st, p, st, roi, t, op); }
    template <ZelCmpOp Op>
    static ZelStatus clamp_op(const T* s, int ss, T* d, int ds, ZeliSize roi, V t) {
        return clamp(s, ss, d, ds, roi, t, Op);
    }
    template <ZelCmpOp Op>
    static ZelStatus clamp_op_i(T* p, int st, ZeliSize roi, V t) { return clamp(p, st, p, st, roi, t, Op); }

    static ZelStatus val(const T* s, int ss, T* d, int ds, ZeliSize roi, V t, V v, ZelCmpOp op) {
        return run<T, C, Alpha>(s, ss, d, ds, roi, Form::Replace, op, {ptr(t), ptr(v), nullptr, nullptr});
    }
    static ZelStatus val_i(T* p, int st, ZeliSize roi, V t, V v, ZelCmpOp op) { return val(p, st, p, st, roi, t, v, op); }
    template <ZelCmpOp Op>
    static ZelStatus val_op(const T* s, int ss, T* d, int ds, ZeliSize roi, V t, V v) {
        return val(s, ss, d, ds, roi, t, v, Op);
    }
    template <ZelCmpOp Op>
    static ZelStatus val_op_i(T* p, int st, ZeliSize roi, V t, V v) { return val(p, st, p, st, roi, t, v, Op); }

    static ZelStatus both(const T* s, int ss, T* d, int ds, ZeliSize roi, V tLT, V vLT, V tGT, V vGT) {
        return run<T, C, Alpha>(s, ss, d, ds, roi, Form::Both, 0, {ptr(tLT), ptr(vLT), ptr(tGT), ptr(vGT)});
    }
    static ZelStatus both_i(T* p, int st, ZeliSize roi, V tLT, V vLT, V tGT, V vGT) {
        return both(p, st, p, st, roi, tLT, vLT, tGT, vGT);
    }
};

}  // namespace

// One member per layout (C1, C3, AC4), out of place and in place.
#define ZEL_THR_LAYOUT(name, lay, C, A, fn, ...)                                    \
    ZEL_IMPL(zeli##name##_##lay##R, Thr<T_, C, A>::fn __VA_ARGS__)                   \
    ZEL_IMPL(zeli##name##_##lay##IR, Thr<T_, C, A>::fn##_i __VA_ARGS__)
#define ZEL_THR_3(name, t, fn, ...)                                                  \
    ZEL_THR_LAYOUT(name##_##t, C1, 1, false, fn, __VA_ARGS__)                        \
    ZEL_THR_LAYOUT(name##_##t, C3, 3, false, fn, __VA_ARGS__)                        \
    ZEL_THR_LAYOUT(name##_##t, AC4, 4, true, fn, __VA_ARGS__)
#define ZEL_THR_4(name, t, fn, ...)                                                  \
    ZEL_THR_3(name, t, fn, __VA_ARGS__)                                              \
    ZEL_THR_LAYOUT(name##_##t, C4, 4, false, fn, __VA_ARGS__)
#define ZEL_THR_TYPE(t)                                                              \
    ZEL_THR_3(Threshold, t, clamp)                                                   \
    ZEL_THR_3(Threshold_GT, t, clamp_op, <zelCmpGreater>)                            \
    ZEL_THR_3(Threshold_LT, t, clamp_op, <zelCmpLess>)                               \
    ZEL_THR_3(Threshold_Val, t, val)                                                 \
    ZEL_THR_4(Threshold_GTVal, t, val_op, <zelCmpGreater>)                           \
    ZEL_THR_4(Threshold_LTVal, t, val_op, <zelCmpLess>)                              \
    ZEL_THR_3(Threshold_LTValGTVal, t, both)

#define T_ Zel8u
ZEL_THR_TYPE(8u)
#undef T_
#define T_ Zel16u
ZEL_THR_TYPE(16u)
#undef T_
#define T_ Zel16s
ZEL_THR_TYPE(16s)
#undef T_
#define T_ Zel32f
ZEL_THR_TYPE(32f)
#undef T_
