// Minimum and maximum filters against OpenCV's erode and dilate with a rectangle, the anchor
// centred and replicated borders (the same rule as zelBorderRepl).
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

const std::vector<ZeliSize> kHd = {{1920, 1080}};

// The work buffer, grown once per size outside the timed calls' way.
Zel8u* buffer(ZeliSize roi, ZeliSize mask, ZelDataType type) {
    static std::vector<Zel8u> buf;
    int n = 0;
    if (zeliFilterMinBorderGetBufferSize(roi, mask, type, 1, &n) != zelStsNoErr) return nullptr;
    if ((int)buf.size() < n) buf.resize(n);
    return buf.data();
}

#define ZB_MM_CASE(fn, T, type, k, cvop)                                                                  \
    zb::add({#fn "/" #k "x" #k, [](zb::Images& im) { im.addSrc<T>(1); im.addDst<T>(1); },                \
             [](zb::Images& im) {                                                                         \
                 const ZeliSize mask{k, k};                                                               \
                 return fn(ZB_SRC(0), ZB_DST(0), im.roi, mask, zelBorderRepl, nullptr,                    \
                           buffer(im.roi, mask, type));                                                   \
             },                                                                                           \
             ZB_PEER(cv::cvop(im.src[0].mat(), im.dst[0].mat(),                                           \
                              cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k)), cv::Point(-1, -1), \
                              1, cv::BORDER_REPLICATE))},                                                 \
            kHd)

}  // namespace

ZEL_BENCH_FAMILY(filter_minmax) {
    ZB_MM_CASE(zeliFilterMinBorder_8u_C1R, Zel8u, zel8u, 3, erode);
    ZB_MM_CASE(zeliFilterMaxBorder_8u_C1R, Zel8u, zel8u, 3, dilate);
    ZB_MM_CASE(zeliFilterMinBorder_8u_C1R, Zel8u, zel8u, 15, erode);
    ZB_MM_CASE(zeliFilterMaxBorder_8u_C1R, Zel8u, zel8u, 15, dilate);
    ZB_MM_CASE(zeliFilterMinBorder_8u_C1R, Zel8u, zel8u, 61, erode);
    ZB_MM_CASE(zeliFilterMinBorder_32f_C1R, Zel32f, zel32f, 5, erode);
    ZB_MM_CASE(zeliFilterMaxBorder_32f_C1R, Zel32f, zel32f, 5, dilate);
}
