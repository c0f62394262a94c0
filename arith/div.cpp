// Div and Div_Round of two images: pSrc2 / pSrc1 (in place pSrcDst / pSrc). Integer quotients
// are the exact quotient times 2^-scaleFactor, rounded half to even (Div) or by the round mode
// (Div_Round), then saturated. A zero divisor does not stop the call: the sample becomes the
// saturated extreme of the dividend's sign (0 for 0 / 0; IEEE results for 32f) and the call
// returns zelStsDivByZero after the last row. For 8u with scaleFactor below -15 no division is
// done: 255 wherever the dividend is non-zero, 0 elsewhere. Steps below 1 are refused.
#include "arith/arith_image.h"

ZEL_ARITH_IMAGES(Div, 8u, Zel8u, Sfs, )
ZEL_ARITH_IMAGES(Div, 16u, Zel16u, Sfs, )
ZEL_ARITH_IMAGES(Div, 16s, Zel16s, Sfs, )
ZEL_ARITH_IMAGES(Div, 32f, Zel32f, , f)

#define ZEL_DIV_ROUND(t, T)                                                        \
    ZEL_IMPL(zeliDiv_Round_##t##_C1RSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC1>::Rr)    \
    ZEL_IMPL(zeliDiv_Round_##t##_C1IRSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC1>::IRr)  \
    ZEL_IMPL(zeliDiv_Round_##t##_C3RSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC3>::Rr)    \
    ZEL_IMPL(zeliDiv_Round_##t##_C3IRSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC3>::IRr)  \
    ZEL_IMPL(zeliDiv_Round_##t##_C4RSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC4>::Rr)    \
    ZEL_IMPL(zeliDiv_Round_##t##_C4IRSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kC4>::IRr)  \
    ZEL_IMPL(zeliDiv_Round_##t##_AC4RSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kAC4>::Rr)  \
    ZEL_IMPL(zeliDiv_Round_##t##_AC4IRSfs, zel::ArithImages<T, zel::ArithOp::Div, zel::kAC4>::IRr)

ZEL_DIV_ROUND(8u, Zel8u)
ZEL_DIV_ROUND(16u, Zel16u)
ZEL_DIV_ROUND(16s, Zel16s)
