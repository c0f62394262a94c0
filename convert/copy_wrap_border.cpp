// CopyWrapBorder: the frame around the source continues it periodically (border pixel
// coordinates taken modulo the source size). Out of place, in place and the 64-bit forms;
// an out-of-place call with pSrc == pDst passes the checks and then is the in-place call,
// with the source step.
#include "kernels/convert_border.h"

namespace {
using namespace zel;
using Forms = BorderForms<4, 1, false, Border::Wrap>;
}  // namespace

#define ZEL_WRAP(t)                                             \
    ZEL_IMPL(zeliCopyWrapBorder_##t##_C1R, Forms::r)            \
    ZEL_IMPL(zeliCopyWrapBorder_##t##_C1IR, Forms::ir)          \
    ZEL_IMPL(zeliCopyWrapBorder_##t##_C1R_L, Forms::rL)         \
    ZEL_IMPL(zeliCopyWrapBorder_##t##_C1IR_L, Forms::irL)

ZEL_WRAP(32s)
ZEL_WRAP(32f)
