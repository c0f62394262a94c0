// Copy family: same-layout copies, set, channel swap, duplication and the planar conversions,
// against the OpenCV call that does the same.
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using CopyFn = ZelStatus (*)(const Zel8u*, int, Zel8u*, int, ZeliSize);

zb::Case same_layout(const char* name, CopyFn fn, int channels) {
    return {name, [channels](zb::Images& im) { im.addSrc(channels); im.addDst(channels); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_DST(0), im.roi); },
            ZB_PEER(im.src[0].mat().copyTo(im.dst[0].mat()))};
}

const Zel8u kValue3[3] = {0x12, 0x34, 0x56};
const int kBgrToRgb[3] = {2, 1, 0};

}  // namespace

ZEL_BENCH_FAMILY(copy) {
    zb::add(same_layout("zeliCopy_8u_C1R", zeliCopy_8u_C1R, 1));
    zb::add(same_layout("zeliCopy_8u_C3R", zeliCopy_8u_C3R, 3));
    zb::add(same_layout("zeliCopy_8u_C4R", zeliCopy_8u_C4R, 4));
    zb::Case ac4 = same_layout("zeliCopy_8u_AC4R", zeliCopy_8u_AC4R, 4);
    ac4.peer = nullptr;  // OpenCV has no copy that keeps the destination's fourth channel
    zb::add(ac4);

    zb::add({"zeliSet_8u_C1R", [](zb::Images& im) { im.addDst(1); },
             [](zb::Images& im) { return zeliSet_8u_C1R(0x5a, ZB_DST(0), im.roi); },
             ZB_PEER(im.dst[0].mat().setTo(cv::Scalar(0x5a)))});
    zb::add({"zeliSet_8u_C3R", [](zb::Images& im) { im.addDst(3); },
             [](zb::Images& im) { return zeliSet_8u_C3R(kValue3, ZB_DST(0), im.roi); },
             ZB_PEER(im.dst[0].mat().setTo(cv::Scalar(kValue3[0], kValue3[1], kValue3[2])))});

    zb::add({"zeliSwapChannels_8u_C3R", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) { return zeliSwapChannels_8u_C3R(ZB_SRC(0), ZB_DST(0), im.roi, kBgrToRgb); },
             ZB_PEER(cv::cvtColor(im.src[0].mat(), im.dst[0].mat(), cv::COLOR_BGR2RGB))});

    zb::add({"zeliDup_8u_C1C3R", [](zb::Images& im) { im.addSrc(1); im.addDst(3); },
             [](zb::Images& im) { return zeliDup_8u_C1C3R(ZB_SRC(0), ZB_DST(0), im.roi); },
             ZB_PEER(const cv::Mat p = im.src[0].mat(); const cv::Mat planes[3] = {p, p, p};
                     cv::merge(planes, 3, im.dst[0].mat()))});

    zb::add({"zeliCopy_8u_C3P3R", [](zb::Images& im) { im.addSrc(3); im.addDst(1); im.addDst(1); im.addDst(1); },
             [](zb::Images& im) {
                 Zel8u* const planes[3] = {im.dst[0].ptr(), im.dst[1].ptr(), im.dst[2].ptr()};
                 return zeliCopy_8u_C3P3R(ZB_SRC(0), planes, im.dst[0].step, im.roi);
             },
             ZB_PEER(cv::Mat planes[3] = {im.dst[0].mat(), im.dst[1].mat(), im.dst[2].mat()};
                     cv::split(im.src[0].mat(), planes))});

    zb::add({"zeliCopy_8u_P3C3R", [](zb::Images& im) { im.addSrc(1); im.addSrc(1); im.addSrc(1); im.addDst(3); },
             [](zb::Images& im) {
                 const Zel8u* const planes[3] = {im.src[0].ptr(), im.src[1].ptr(), im.src[2].ptr()};
                 return zeliCopy_8u_P3C3R(planes, im.src[0].step, ZB_DST(0), im.roi);
             },
             ZB_PEER(const cv::Mat planes[3] = {im.src[0].mat(), im.src[1].mat(), im.src[2].mat()};
                     cv::merge(planes, 3, im.dst[0].mat()))});
}
