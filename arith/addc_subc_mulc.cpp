// AddC, SubC and MulC: an image and one constant per processed channel (three for AC4).
// SubC writes source minus constant. Integer types by the scale-factor rule with saturation,
// 32f in plain single precision. No step is checked.
#include "arith/arith_image.h"

#define ZEL_ACM_OP(op)                              \
    ZEL_ARITH_CONSTANTS(op, 8u, Zel8u, Sfs, )       \
    ZEL_ARITH_CONSTANTS(op, 16u, Zel16u, Sfs, )     \
    ZEL_ARITH_CONSTANTS(op, 16s, Zel16s, Sfs, )     \
    ZEL_ARITH_CONSTANTS(op, 32f, Zel32f, , f)

ZEL_ACM_OP(AddC)
ZEL_ACM_OP(SubC)
ZEL_ACM_OP(MulC)
