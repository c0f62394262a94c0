// Alpha composition and premultiplication. OpenCV has no Porter-Duff composition and no
// premultiplication; the peer of AlphaPremul is only a rough one: cv::multiply of the image by
// its alpha broadcast to four channels with scale 1/255, which rounds half to even and leaves
// alpha squared, and whose broadcast (cv::mixChannels) is part of its time.
#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

ZEL_BENCH_FAMILY(alpha) {
    zb::add({"zeliAlphaComp_8u_AC4R", [](zb::Images& im) { im.addSrc(4); im.addSrc(4); im.addDst(4); },
             [](zb::Images& im) { return zeliAlphaComp_8u_AC4R(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, zelAlphaOver); }});
    zb::add({"zeliAlphaComp_8u_AC4R(OverPremul)", [](zb::Images& im) { im.addSrc(4); im.addSrc(4); im.addDst(4); },
             [](zb::Images& im) {
                 return zeliAlphaComp_8u_AC4R(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, zelAlphaOverPremul);
             }});
    zb::add({"zeliAlphaPremul_8u_AC4R", [](zb::Images& im) { im.addSrc(4); im.addDst(4); },
             [](zb::Images& im) { return zeliAlphaPremul_8u_AC4R(ZB_SRC(0), ZB_DST(0), im.roi); },
             ZB_PEER(static thread_local cv::Mat alpha4; cv::Mat src = im.src[0].mat();
                     alpha4.create(src.size(), src.type()); const int pairs[] = {3, 0, 3, 1, 3, 2, 3, 3};
                     cv::mixChannels(&src, 1, &alpha4, 1, pairs, 4);
                     cv::multiply(src, alpha4, im.dst[0].mat(), 1.0 / 255))});
    zb::add({"zeliAlphaCompC_8u_C1R", [](zb::Images& im) { im.addSrc(1); im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) {
                 return zeliAlphaCompC_8u_C1R(ZB_SRC(0), 200, ZB_SRC(1), 90, ZB_DST(0), im.roi, zelAlphaOver);
             },
             ZB_PEER(cv::addWeighted(im.src[0].mat(), 200.0 / 255, im.src[1].mat(), 90.0 / 255 * 55 / 255, 0,
                                     im.dst[0].mat()))});
}
