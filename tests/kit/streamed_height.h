// Geometry for tests of the paths that only large images take (non-temporal stores and source
// prefetching): the kernels that compute their stores stream once an image moves half of the
// largest cache (the heavy ones from a quarter).
#pragma once

#include <stdint.h>

#include <algorithm>

#include "zel/zelcore.h"

namespace zt {

// Rows enough for an image moving movedPerRow bytes a row (every source row read plus the
// destination row written) to be streamed; 0 when the largest cache is unknown or the image
// would take more than 256 MiB.
inline int64_t streamedHeight(int64_t movedPerRow) {
    int cache = 0;
    if (zelGetMaxCacheSizeB(&cache) != zelStsNoErr || cache <= 0) return 0;
    const int64_t h = std::max<int64_t>(cache / 2, 2 << 20) / movedPerRow + 2;
    return h * movedPerRow > (int64_t(256) << 20) ? 0 : h;
}

}  // namespace zt
