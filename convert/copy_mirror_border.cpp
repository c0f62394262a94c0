// CopyMirrorBorder: the frame around the source reflects it about its edge pixels, which are
// not repeated (source 0 1 2 continues as 1 0 1 2 1 0 ... in both directions; a source one
// pixel wide or high repeats it). Borders wider than the source reflect back and forth. Out
// of place, in place and the 64-bit forms; an out-of-place call with pSrc == pDst is the
// in-place call, with the source step.
#include "kernels/convert_border.h"

namespace {
using namespace zel;
template <int S, int C>
using Forms = BorderForms<S, C, false, Border::Mirror>;
}  // namespace

#define ZEL_MIRRORB(t, S, lay, C)                                        \
    ZEL_IMPL(zeliCopyMirrorBorder_##t##_##lay##R, Forms<S, C>::r)        \
    ZEL_IMPL(zeliCopyMirrorBorder_##t##_##lay##IR, Forms<S, C>::ir)      \
    ZEL_IMPL(zeliCopyMirrorBorder_##t##_##lay##R_L, Forms<S, C>::rL)     \
    ZEL_IMPL(zeliCopyMirrorBorder_##t##_##lay##IR_L, Forms<S, C>::irL)
#define ZEL_MIRRORB_TYPE(t, S)  \
    ZEL_MIRRORB(t, S, C1, 1)    \
    ZEL_MIRRORB(t, S, C3, 3)    \
    ZEL_MIRRORB(t, S, C4, 4)

ZEL_MIRRORB_TYPE(8u, 1)
ZEL_MIRRORB_TYPE(16u, 2)
ZEL_MIRRORB_TYPE(16s, 2)
ZEL_MIRRORB_TYPE(32s, 4)
ZEL_MIRRORB_TYPE(32f, 4)
