// Median filters against OpenCV's medianBlur, which replicates the border (BORDER_REPLICATE):
// our calls use zelBorderRepl, so both outputs must be equal. medianBlur takes 16U and 32F
// images only for apertures 3 and 5.
//
// The 257x257 case runs against our own 31x31 call (its ours/peer is the cost of the larger
// mask relative to the smaller; the outputs differ by nature).
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

const std::vector<ZeliSize> kHd = {{1920, 1080}};

// The work buffer of a case, grown once per size outside the timed calls' way.
Zel8u* medianBuffer(ZeliSize roi, int k, ZelDataType type, int channels) {
    static std::vector<Zel8u> buf;
    int n = 0;
    if (zeliFilterMedianBorderGetBufferSize(roi, {k, k}, type, channels, &n) != zelStsNoErr) return nullptr;
    if ((int)buf.size() < n) buf.resize(n);
    return buf.data();
}

template <typename T, int K>
ZelStatus median1(zb::Images& im, int i, ZelDataType type,
                  ZelStatus (*fn)(const T*, int, T*, int, ZeliSize, ZeliSize, ZeliBorderType, T, Zel8u*)) {
    return fn((const T*)im.src[0].data, im.src[0].step, (T*)im.dst[i].data, im.dst[i].step, im.roi, {K, K},
              zelBorderRepl, T{}, medianBuffer(im.roi, K, type, 1));
}

template <int K>
void add8u() {
    const std::string name = "zeliFilterMedianBorder_8u_C1R/" + std::to_string(K) + "x" + std::to_string(K);
    zb::add({name, [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return median1<Zel8u, K>(im, 0, zel8u, zeliFilterMedianBorder_8u_C1R); },
             ZB_PEER(cv::medianBlur(im.src[0].mat(), im.dst[0].mat(), K))},
            kHd);
}

}  // namespace

ZEL_BENCH_FAMILY(filter_median) {
    add8u<3>();
    add8u<5>();
    add8u<15>();
    add8u<31>();
    zb::add({"zeliFilterMedianBorder_8u_C3R/5x5", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) {
                 const Zel8u v[3] = {};
                 return zeliFilterMedianBorder_8u_C3R(ZB_SRC(0), ZB_DST(0), im.roi, {5, 5}, zelBorderRepl, v,
                                                      medianBuffer(im.roi, 5, zel8u, 3));
             },
             ZB_PEER(cv::medianBlur(im.src[0].mat(), im.dst[0].mat(), 5))},
            kHd);
    zb::add({"zeliFilterMedianBorder_16u_C1R/5x5", [](zb::Images& im) { im.addSrc<Zel16u>(1); im.addDst<Zel16u>(1); },
             [](zb::Images& im) { return median1<Zel16u, 5>(im, 0, zel16u, zeliFilterMedianBorder_16u_C1R); },
             ZB_PEER(cv::medianBlur(im.src[0].mat(), im.dst[0].mat(), 5))},
            kHd);
    zb::add({"zeliFilterMedianBorder_32f_C1R/5x5", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) { return median1<Zel32f, 5>(im, 0, zel32f, zeliFilterMedianBorder_32f_C1R); },
             ZB_PEER(cv::medianBlur(im.src[0].mat(), im.dst[0].mat(), 5))},
            kHd);
    zb::add({"zeliFilterMedianBorder_8u_C1R/257x257~31x31", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return median1<Zel8u, 257>(im, 0, zel8u, zeliFilterMedianBorder_8u_C1R); },
             ZB_PEER(median1<Zel8u, 31>(im, 0, zel8u, zeliFilterMedianBorder_8u_C1R))},
            kHd);
}
