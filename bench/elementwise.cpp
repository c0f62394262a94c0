// Element-wise functions (Abs, Sqr, Sqrt, Exp, Ln) against OpenCV's calls.
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

template <typename T>
zb::Case one(const char* name, ZelStatus (*fn)(const T*, int, T*, int, ZeliSize)) {
    return {name, [](zb::Images& im) { im.addSrc<T>(1); im.addDst<T>(1); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_DST(0), im.roi); }};
}

}  // namespace

ZEL_BENCH_FAMILY(elementwise) {
    auto c = one("zeliSqrt_32f_C1R", zeliSqrt_32f_C1R);
    c.peer = ZB_PEER(cv::sqrt(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    c = one("zeliExp_32f_C1R", zeliExp_32f_C1R);
    c.peer = ZB_PEER(cv::exp(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    c = one("zeliLn_32f_C1R", zeliLn_32f_C1R);
    c.peer = ZB_PEER(cv::log(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    c = one("zeliAbs_16s_C1R", zeliAbs_16s_C1R);
    c.peer = ZB_PEER(cv::Mat d = im.dst[0].mat(); d = cv::abs(im.src[0].mat()));
    zb::add(c);
    c = one("zeliSqr_32f_C1R", zeliSqr_32f_C1R);
    c.peer = ZB_PEER(cv::multiply(im.src[0].mat(), im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
}
