// Border copies with 16-pixel borders on every side, against OpenCV's copyMakeBorder (and
// memcpy moving the source and destination bytes).
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr int kB = 16;

// Source of the ROI size, destination 2 * kB pixels wider and higher.
template <typename T>
void images(zb::Images& im, int channels) {
    im.addSrc<T>(channels);
    ZeliSize roi = im.roi;
    im.roi = {roi.width + 2 * kB, roi.height + 2 * kB};
    im.addDst<T>(channels);
    im.roi = roi;
}

#define ZB_DSTROI ZeliSize{im.dst[0].width, im.dst[0].height}

const Zel8u kValue3[3] = {0x12, 0x34, 0x56};

}  // namespace

ZEL_BENCH_FAMILY(border) {
    zb::add({"zeliCopyReplicateBorder_8u_C1R", [](zb::Images& im) { images<Zel8u>(im, 1); },
             [](zb::Images& im) {
                 return zeliCopyReplicateBorder_8u_C1R(ZB_SRC(0), im.roi, ZB_DST(0), ZB_DSTROI, kB, kB);
             },
             ZB_PEER(cv::copyMakeBorder(im.src[0].mat(), im.dst[0].mat(), kB, kB, kB, kB, cv::BORDER_REPLICATE))});
    zb::add({"zeliCopyConstBorder_8u_C3R", [](zb::Images& im) { images<Zel8u>(im, 3); },
             [](zb::Images& im) {
                 return zeliCopyConstBorder_8u_C3R(ZB_SRC(0), im.roi, ZB_DST(0), ZB_DSTROI, kB, kB, kValue3);
             },
             ZB_PEER(cv::copyMakeBorder(im.src[0].mat(), im.dst[0].mat(), kB, kB, kB, kB, cv::BORDER_CONSTANT,
                                        cv::Scalar(kValue3[0], kValue3[1], kValue3[2])))});
    zb::add({"zeliCopyMirrorBorder_32f_C1R", [](zb::Images& im) { images<Zel32f>(im, 1); },
             [](zb::Images& im) {
                 return zeliCopyMirrorBorder_32f_C1R(ZB_SRC(0), im.roi, ZB_DST(0), ZB_DSTROI, kB, kB);
             },
             ZB_PEER(cv::copyMakeBorder(im.src[0].mat(), im.dst[0].mat(), kB, kB, kB, kB, cv::BORDER_REFLECT_101))});
    zb::add({"zeliCopyWrapBorder_32f_C1R", [](zb::Images& im) { images<Zel32f>(im, 1); },
             [](zb::Images& im) {
                 return zeliCopyWrapBorder_32f_C1R(ZB_SRC(0), im.roi, ZB_DST(0), ZB_DSTROI, kB, kB);
             },
             ZB_PEER(cv::copyMakeBorder(im.src[0].mat(), im.dst[0].mat(), kB, kB, kB, kB, cv::BORDER_WRAP))});
}
