// Element-wise functions (Abs, Sqr, Sqrt, Exp, Ln) against OpenCV's calls.
#include <functional>

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

// Maps the kit's float samples, spread over [-512, 512), onto [lo, hi].
std::function<void(zb::Images&)> spread_to(float lo, float hi) {
    return [=](zb::Images& im) {
        for (const zb::Image& s : im.src)
            for (int y = 0; y < s.height; ++y) {
                float* r = (float*)((char*)s.data + (int64_t)y * s.step);
                for (int64_t x = 0; x < (int64_t)s.width * s.channels; ++x) r[x] = lo + (r[x] + 512.0f) * ((hi - lo) / 1024.0f);
            }
    };
}

}  // namespace

ZEL_BENCH_FAMILY(elementwise) {
    auto c = one("zeliSqrt_32f_C1R", zeliSqrt_32f_C1R);
    c.peer = ZB_PEER(cv::sqrt(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    c = one("zeliExp_32f_C1R", zeliExp_32f_C1R);
    c.peer = ZB_PEER(cv::exp(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    // Inputs where e^x is subnormal or zero for more than half of the samples.
    c.name = "zeliExp_32f_C1R:underflow";
    c.prepare = spread_to(-200.0f, 10.0f);
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
