/* zel: image-processing primitives. Include this header to use the library: it brings the
   shared types (zeltypes.h) and the prototypes of every export (zel_api.h). */
#ifndef ZEL_ZEL_H
#define ZEL_ZEL_H

#include "zel/zeltypes.h"
#include "zel/zel_api.h"

#endif
