// Thresholds against OpenCV's threshold and adaptiveThreshold, and memcpy for the fixed forms.
//
// The fixed-threshold cases use parameters for which one cv::threshold pass computes the same
// image (our kernels cost the same whatever the constants): _GT is THRESH_TRUNC, _Val with
// the greater comparison and value 0 is THRESH_TOZERO_INV, and _LTValGTVal with a lower
// threshold of 0 and the upper value equal to the upper threshold is THRESH_TRUNC again.
//
// Otsu reads one image; OpenCV's THRESH_OTSU also writes the thresholded image (into a second
// source image here, so that no output is compared), which is the call a user makes to get
// Otsu's level from it. The adaptive box case differs from OpenCV in output by design:
// OpenCV rounds the mean to an integer first, we compare with the exact mean.
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

volatile Zel8u gLevel;

const std::vector<ZeliSize> kBig = {{1920, 1080}, {7680, 4320}};

// The work buffer of the adaptive case, grown once per size outside the timed calls' way.
Zel8u* adaptiveBuffer(ZeliSize roi, ZeliSize mask) {
    static std::vector<Zel8u> buf;
    int n = 0;
    if (zeliThresholdAdaptiveBoxGetBufferSize(roi, mask, zel8u, 1, &n) != zelStsNoErr) return nullptr;
    if ((int)buf.size() < n) buf.resize(n);
    return buf.data();
}

}  // namespace

ZEL_BENCH_FAMILY(threshold) {
    zb::add({"zeliThreshold_GT_8u_C1R", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return zeliThreshold_GT_8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, 100); },
             ZB_PEER(cv::threshold(im.src[0].mat(), im.dst[0].mat(), 100, 255, cv::THRESH_TRUNC))});
    zb::add({"zeliThreshold_Val_32f_C1R", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) {
                 return zeliThreshold_Val_32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi, 10.0f, 0.0f, zelCmpGreater);
             },
             ZB_PEER(cv::threshold(im.src[0].mat(), im.dst[0].mat(), 10.0, 0, cv::THRESH_TOZERO_INV))});
    zb::add({"zeliThreshold_LTValGTVal_8u_C3R", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) {
                 const Zel8u tLT[3] = {0, 0, 0}, vLT[3] = {9, 9, 9}, tGT[3] = {150, 150, 150};
                 return zeliThreshold_LTValGTVal_8u_C3R(ZB_SRC(0), ZB_DST(0), im.roi, tLT, vLT, tGT, tGT);
             },
             ZB_PEER(cv::threshold(im.src[0].mat(), im.dst[0].mat(), 150, 255, cv::THRESH_TRUNC))});

    zb::Case otsu{"zeliComputeThreshold_Otsu_8u_C1R", [](zb::Images& im) { im.addSrc(1); im.addSrc(1); },
                  [](zb::Images& im) {
                      Zel8u level;
                      ZelStatus s = zeliComputeThreshold_Otsu_8u_C1R(ZB_SRC(0), im.roi, &level);
                      gLevel = level;
                      return s;
                  },
                  ZB_PEER(cv::threshold(im.src[0].mat(), im.src[1].mat(), 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU))};
    otsu.bytes = [](const zb::Images& im) { return im.src[0].roiBytes(); };
    zb::add(otsu, kBig);

    zb::add({"zeliThresholdAdaptiveBox_8u_C1R/15x15", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) {
                 const ZeliSize mask{15, 15};
                 return zeliThresholdAdaptiveBox_8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, mask, 5.0f, 255, 0, zelBorderRepl, 0,
                                                        adaptiveBuffer(im.roi, mask));
             },
             ZB_PEER(cv::adaptiveThreshold(im.src[0].mat(), im.dst[0].mat(), 255, cv::ADAPTIVE_THRESH_MEAN_C,
                                           cv::THRESH_BINARY, 15, 5.0))},
            kBig);
}
