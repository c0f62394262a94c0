// Mirror and Transpose against OpenCV's flip and transpose (and memcpy for the row flip, which
// is a copy with the rows in reverse order).
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

template <typename T>
zb::Case flip(const char* name, ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, ZelAxis), int channels,
              ZelAxis axis, int cvCode) {
    const char* what = axis == zelAxsHorizontal ? "/rows" : axis == zelAxsVertical ? "/columns" : "/both";
    zb::Case c{std::string(name) + what, [channels](zb::Images& im) { im.addSrc<T>(channels); im.addDst<T>(channels); },
               [fn, axis](zb::Images& im) { return fn(ZB_SRC(0), ZB_DST(0), im.roi, axis); }};
#ifdef ZEL_BENCH_OPENCV
    c.peer = [cvCode](zb::Images& im) { cv::flip(im.src[0].mat(), im.dst[0].mat(), cvCode); };
#else
    (void)cvCode;
#endif
    return c;
}

// The destination of a transpose is height x width.
template <typename T>
zb::Case transpose(const char* name, ZelStatus (*fn)(const T*, int, T*, int, ZeliSize), int channels) {
    return {name,
            [channels](zb::Images& im) {
                im.addSrc<T>(channels);
                ZeliSize roi = im.roi;
                im.roi = {roi.height, roi.width};
                im.addDst<T>(channels);
                im.roi = roi;
            },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_DST(0), im.roi); },
            ZB_PEER(cv::transpose(im.src[0].mat(), im.dst[0].mat()))};
}

}  // namespace

ZEL_BENCH_FAMILY(mirror) {
    zb::add(flip<Zel8u>("zeliMirror_8u_C1R", zeliMirror_8u_C1R, 1, zelAxsHorizontal, 0));
    zb::add(flip<Zel8u>("zeliMirror_8u_C1R", zeliMirror_8u_C1R, 1, zelAxsVertical, 1));
    zb::add(flip<Zel8u>("zeliMirror_8u_C3R", zeliMirror_8u_C3R, 3, zelAxsVertical, 1));
    zb::add(flip<Zel8u>("zeliMirror_8u_C4R", zeliMirror_8u_C4R, 4, zelAxsBoth, -1));
    zb::add(transpose<Zel8u>("zeliTranspose_8u_C1R", zeliTranspose_8u_C1R, 1));
    zb::add(transpose<Zel32f>("zeliTranspose_32f_C1R", zeliTranspose_32f_C1R, 1));
    zb::add(transpose<Zel8u>("zeliTranspose_8u_C3R", zeliTranspose_8u_C3R, 3));
}
