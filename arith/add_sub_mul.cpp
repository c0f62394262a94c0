// Add, Sub and Mul of two images: integer types by the scale-factor rule with saturation, 32f
// in plain single precision. Sub writes pSrc2 - pSrc1 (in place pSrcDst - pSrc). No step is
// checked: any step, zero and negative included, is used as given, reduced to whole samples.
#include "arith/arith_image.h"

#define ZEL_ASM_OP(op)                           \
    ZEL_ARITH_IMAGES(op, 8u, Zel8u, Sfs, )       \
    ZEL_ARITH_IMAGES(op, 16u, Zel16u, Sfs, )     \
    ZEL_ARITH_IMAGES(op, 16s, Zel16s, Sfs, )     \
    ZEL_ARITH_IMAGES(op, 32f, Zel32f, , f)

ZEL_ASM_OP(Add)
ZEL_ASM_OP(Sub)
ZEL_ASM_OP(Mul)
