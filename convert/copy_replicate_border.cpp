// CopyReplicateBorder: the frame around the source repeats its edge pixels (each border pixel
// takes the nearest source pixel; corners take the corner pixel). Out of place, in place
// (the frame is written around a source already in place) and the 64-bit forms; an
// out-of-place call with pSrc == pDst is the in-place call, with the source step.
#include "kernels/convert_border.h"

namespace {
using namespace zel;
template <int S, int C, bool Alpha>
using Forms = BorderForms<S, C, Alpha, Border::Replicate>;
}  // namespace

#define ZEL_REPL(t, S, lay, C, A)                                            \
    ZEL_IMPL(zeliCopyReplicateBorder_##t##_##lay##R, Forms<S, C, A>::r)      \
    ZEL_IMPL(zeliCopyReplicateBorder_##t##_##lay##IR, Forms<S, C, A>::ir)    \
    ZEL_IMPL(zeliCopyReplicateBorder_##t##_##lay##R_L, Forms<S, C, A>::rL)   \
    ZEL_IMPL(zeliCopyReplicateBorder_##t##_##lay##IR_L, Forms<S, C, A>::irL)
#define ZEL_REPL_TYPE(t, S)        \
    ZEL_REPL(t, S, C1, 1, false)   \
    ZEL_REPL(t, S, C3, 3, false)   \
    ZEL_REPL(t, S, C4, 4, false)   \
    ZEL_REPL(t, S, AC4, 4, true)

ZEL_REPL_TYPE(8u, 1)
ZEL_REPL_TYPE(16u, 2)
ZEL_REPL_TYPE(16s, 2)
ZEL_REPL_TYPE(32s, 4)
ZEL_REPL_TYPE(32f, 4)
