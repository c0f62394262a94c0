// Convert, Scale and ScaleC against OpenCV's Mat::convertTo (with alpha and beta for the
// scalings) and against a memcpy of the same bytes.
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

// The kit fills float images with values in [-512, 512).
constexpr float kMin = -512.0f, kMax = 512.0f;
constexpr double kMul = 0.25, kAdd = 128.0;

template <typename S, typename D>
void images(zb::Images& im) {
    im.addSrc<S>(1);
    im.addDst<D>(1);
}

}  // namespace

ZEL_BENCH_FAMILY(convert) {
    zb::add({"zeliConvert_8u32f_C1R", images<Zel8u, Zel32f>,
             [](zb::Images& im) { return zeliConvert_8u32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi); },
             ZB_PEER(im.src[0].mat().convertTo(im.dst[0].mat(), CV_32F))});
    zb::add({"zeliConvert_32f8u_C1R", images<Zel32f, Zel8u>,
             [](zb::Images& im) { return zeliConvert_32f8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, zelRndNear); },
             ZB_PEER(im.src[0].mat().convertTo(im.dst[0].mat(), CV_8U))});
    zb::add({"zeliConvert_16s8u_C1R", images<Zel16s, Zel8u>,
             [](zb::Images& im) { return zeliConvert_16s8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi); },
             ZB_PEER(im.src[0].mat().convertTo(im.dst[0].mat(), CV_8U))});
    zb::add({"zeliScale_32f8u_C1R", images<Zel32f, Zel8u>,
             [](zb::Images& im) { return zeliScale_32f8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, kMin, kMax); },
             ZB_PEER(double k = 255.0 / (kMax - kMin); im.src[0].mat().convertTo(im.dst[0].mat(), CV_8U, k, -k * kMin))});
    zb::add({"zeliScaleC_32f8u_C1R", images<Zel32f, Zel8u>,
             [](zb::Images& im) {
                 return zeliScaleC_32f8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, kMul, kAdd, zelAlgHintFast);
             },
             ZB_PEER(im.src[0].mat().convertTo(im.dst[0].mat(), CV_8U, kMul, kAdd))});
}
