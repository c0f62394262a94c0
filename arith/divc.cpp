// DivC: an image divided by one constant per processed channel (three for AC4), the quotient
// rounded and saturated as in Div. A zero constant in any channel fails with
// zelStsDivByZeroErr before anything is written; the 32f forms refuse it too, since a constant
// zero divisor is a caller's mistake rather than data. Steps below 1 are refused.
#include "arith/arith_image.h"

ZEL_ARITH_CONSTANTS(DivC, 8u, Zel8u, Sfs, )
ZEL_ARITH_CONSTANTS(DivC, 16u, Zel16u, Sfs, )
ZEL_ARITH_CONSTANTS(DivC, 16s, Zel16s, Sfs, )
ZEL_ARITH_CONSTANTS(DivC, 32f, Zel32f, , f)
