// Fixed-kernel filters against OpenCV's Sobel, Scharr, filter2D and cartToPolar, replicated
// borders, at 1920x1080.
//
// OpenCV's derivatives are right minus left and bottom minus top; our Vert members are left
// minus right, so the peer runs its plain (fastest) form and the check compares our result
// with its negation. OpenCV sums single-precision taps in an order of its own, and its angle
// lies in [0, 2 pi) with an accuracy of its own: each of those cases prints, once, the largest
// difference from ours (angles compared modulo 2 pi) instead of expecting equal bytes.
#include <math.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

const std::vector<ZeliSize> kSizes = {{1920, 1080}};

// The work buffer of a call, grown outside the timed calls' way.
Zel8u* buffer(int bytes) {
    static std::vector<Zel8u> buf;
    if ((int)buf.size() < bytes) buf.resize(bytes);
    return buf.data();
}

#ifdef ZEL_BENCH_OPENCV
// Once per case: the largest |ours - sign * peer| over the ROI (angles modulo 2 pi).
void report(const char* what, const cv::Mat& ours, const cv::Mat& peer, double sign, bool angle = false) {
    cv::Mat a, b;
    ours.convertTo(a, CV_64F);
    peer.convertTo(b, CV_64F, sign);
    double worst = 0;
    for (int y = 0; y < a.rows; ++y)
        for (int x = 0; x < a.cols; ++x) {
            double d = fabs(a.at<double>(y, x) - b.at<double>(y, x));
            if (angle) d = fmin(d, fabs(d - 2 * M_PI));
            worst = fmax(worst, d);
        }
    printf("  %s: largest difference from OpenCV %.3g\n", what, worst);
}
#define ZB_REPORT(...)            \
    do {                          \
        static bool done = false; \
        if (!done) {              \
            done = true;          \
            __VA_ARGS__;          \
        }                         \
    } while (0)
#else
#define ZB_REPORT(...) (void)0
#endif

#ifdef ZEL_BENCH_OPENCV
// OpenCV's derivative in the direction of ours (Scharr or Sobel of size k, replicated border).
void peerDerivative(const cv::Mat& src, cv::Mat& dst, bool scharr, bool vert, int k) {
    if (scharr) cv::Scharr(src, dst, CV_32F, vert, !vert, 1, 0, cv::BORDER_REPLICATE);
    else cv::Sobel(src, dst, CV_32F, vert, !vert, k, 1, 0, cv::BORDER_REPLICATE);
}
#endif

template <typename F>
void derivative(const char* name, bool vert, int mask, F&& call) {
    const bool scharr = std::string(name).find("Scharr") != std::string::npos;
    const int k = mask == zelMskSize3x3 ? 3 : 5;
    (void)scharr, (void)k;
    zb::Case c{name, [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
               [=](zb::Images& im) {
                   int n = 0;
                   zeliFilterSobelVertBorderGetBufferSize(im.roi, mask, zel32f, zel32f, 1, &n);
                   ZelStatus s = call(im, buffer(n));
                   ZB_REPORT({
                       cv::Mat ref;
                       peerDerivative(im.src[0].mat(), ref, scharr, vert, k);
                       report(name, im.dst[0].mat(), ref, vert ? -1 : 1);
                   });
                   return s;
               }};
#ifdef ZEL_BENCH_OPENCV
    c.peer = [=](zb::Images& im) {
        cv::Mat dst = im.dst[0].mat();
        peerDerivative(im.src[0].mat(), dst, scharr, vert, k);
    };
#endif
    zb::add(c, kSizes);
}

}  // namespace

ZEL_BENCH_FAMILY(filter_fixed) {
    for (int mask : {zelMskSize3x3, zelMskSize5x5}) {
        const bool three = mask == zelMskSize3x3;
        derivative(three ? "zeliFilterSobelVertBorder_32f_C1R" : "zeliFilterSobelVertBorder_32f_C1R/5x5", true, mask,
                   [mask](zb::Images& im, Zel8u* buf) {
                       return zeliFilterSobelVertBorder_32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi, mask, zelBorderRepl, 0, buf);
                   });
        derivative(three ? "zeliFilterSobelHorizBorder_32f_C1R" : "zeliFilterSobelHorizBorder_32f_C1R/5x5", false, mask,
                   [mask](zb::Images& im, Zel8u* buf) {
                       return zeliFilterSobelHorizBorder_32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi, mask, zelBorderRepl, 0, buf);
                   });
    }

    derivative("zeliFilterScharrHorizMaskBorder_32f_C1R", false, zelMskSize3x3, [](zb::Images& im, Zel8u* buf) {
        return zeliFilterScharrHorizMaskBorder_32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi, zelMskSize3x3, zelBorderRepl, 0, buf);
    });

    // 8u to 16s is exact on both sides: the check compares every sample with the peer's negation.
    zb::add({"zeliFilterSobelVertBorder_8u16s_C1R", [](zb::Images& im) { im.addSrc(1); im.addDst<Zel16s>(1); },
             [](zb::Images& im) {
                 Zel8u buf[32];
                 ZelStatus s = zeliFilterSobelVertBorder_8u16s_C1R(ZB_SRC(0), ZB_DST(0), im.roi, zelMskSize3x3, zelBorderRepl,
                                                                   0, buf);
                 ZB_REPORT({
                     cv::Mat ref;
                     cv::Sobel(im.src[0].mat(), ref, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
                     report("zeliFilterSobelVertBorder_8u16s_C1R", im.dst[0].mat(), ref, -1);
                 });
                 return s;
             },
             ZB_PEER(cv::Sobel(im.src[0].mat(), im.dst[0].mat(), CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE))},
            kSizes);

    zb::add({"zeliFilterLaplaceBorder_8u_C1R", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) {
                 Zel8u buf[32];
                 return zeliFilterLaplaceBorder_8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, zelMskSize3x3, zelBorderRepl, 0, buf);
             },
             ZB_PEER({
                 static const cv::Mat k = (cv::Mat_<float>(3, 3) << -1, -1, -1, -1, 8, -1, -1, -1, -1);
                 cv::filter2D(im.src[0].mat(), im.dst[0].mat(), CV_8U, k, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
             })},
            kSizes);

    // gx, gy, magnitude and angle against two Sobel calls and cartToPolar.
    zb::add({"zeliGradientVectorSobel_32f_C1R",
             [](zb::Images& im) {
                 im.addSrc<Zel32f>(1);
                 for (int k = 0; k < 4; ++k) im.addDst<Zel32f>(1);
             },
             [](zb::Images& im) {
                 int n = 0;
                 zeliGradientVectorGetBufferSize(im.roi, zelMskSize3x3, zel32f, 1, &n);
                 ZelStatus s = zeliGradientVectorSobel_32f_C1R(ZB_SRC(0), ZB_DST(0), ZB_DST(1), ZB_DST(2), ZB_DST(3), im.roi,
                                                              zelMskSize3x3, 4, zelBorderRepl, 0, buffer(n));
                 ZB_REPORT({
                     cv::Mat gx, gy, mag, ang;
                     cv::Sobel(im.src[0].mat(), gx, CV_32F, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
                     cv::Sobel(im.src[0].mat(), gy, CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
                     cv::cartToPolar(gx, gy, mag, ang);
                     report("GradientVectorSobel gx", im.dst[0].mat(), gx, 1);
                     report("GradientVectorSobel magnitude", im.dst[2].mat(), mag, 1);
                     report("GradientVectorSobel angle", im.dst[3].mat(), ang, 1, true);
                 });
                 return s;
             },
             ZB_PEER({
                 cv::Sobel(im.src[0].mat(), im.dst[0].mat(), CV_32F, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
                 cv::Sobel(im.src[0].mat(), im.dst[1].mat(), CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
                 cv::cartToPolar(im.dst[0].mat(), im.dst[1].mat(), im.dst[2].mat(), im.dst[3].mat());
             })},
            kSizes);
}
