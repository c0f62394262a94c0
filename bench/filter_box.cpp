// Box filter and window sums against OpenCV's blur and boxFilter with replicated borders.
//
// OpenCV rounds its 8u means by its own fixed-point rule and sums 32f windows in its own order,
// so outputs may differ by a rounding step: the first peer call of each case also runs our call
// on the peer's images and prints the largest difference of the two outputs.
#include <math.h>
#include <stdio.h>

#include <set>
#include <string>
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

const std::vector<ZeliSize> kSizes = {{1920, 1080}};

// The work buffer, grown once per size outside the timed calls' way.
Zel8u* boxBuffer(ZeliSize roi, ZeliSize mask, ZelDataType type, int channels, bool sum) {
    static std::vector<Zel8u> buf;
    int n = 0;
    auto query = sum ? zeliSumWindowGetBufferSize : zeliFilterBoxBorderGetBufferSize;
    if (query(roi, mask, type, channels, &n) != zelStsNoErr) return nullptr;
    if ((int)buf.size() < n) buf.resize(n);
    return buf.data();
}

// The largest difference between the peer's output (in im) and ours on the same source.
template <typename Out>
void compareOnce(const std::string& name, zb::Images& im, ZelStatus (*ours)(zb::Images&)) {
    static std::set<std::string> done;
    if (!done.insert(name).second) return;
    const zb::Image& d = im.dst[0];
    std::vector<Out> peer((size_t)d.width * d.channels * d.height);
    for (int y = 0; y < d.height; ++y)
        memcpy(&peer[(size_t)y * d.width * d.channels], (const char*)d.data + (size_t)y * d.step, (size_t)d.width * d.channels * sizeof(Out));
    ours(im);
    double largest = 0;
    for (int y = 0; y < d.height; ++y)
        for (int i = 0; i < d.width * d.channels; ++i) {
            double a = ((const Out*)((const char*)d.data + (size_t)y * d.step))[i], b = peer[(size_t)y * d.width * d.channels + i];
            largest = fmax(largest, fabs(a - b));
        }
    fprintf(stderr, "%s: largest difference from the peer %g\n", name.c_str(), largest);
}

template <typename T, typename Out, int C, bool Sum>
void addCase(const char* fn, int k, ZelStatus (*ours)(zb::Images&), void (*peer)(zb::Images&, int)) {
    (void)peer;
    static std::vector<std::pair<ZelStatus (*)(zb::Images&), void (*)(zb::Images&, int)>> keep;
    const std::string name = std::string(fn) + "/" + std::to_string(k) + "x" + std::to_string(k);
    zb::Case c{name, [](zb::Images& im) { im.addSrc<T>(C); im.addDst<Out>(C); }, ours};
#ifdef ZEL_BENCH_OPENCV
    c.peer = [peer, k, ours, name](zb::Images& im) {
        peer(im, k);
        compareOnce<Out>(name, im, ours);
    };
#endif
    zb::add(c, kSizes);
}

template <int K>
ZelStatus box8uC1(zb::Images& im) {
    return zeliFilterBoxBorder_8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi, {K, K}, zelBorderRepl, nullptr,
                                      boxBuffer(im.roi, {K, K}, zel8u, 1, false));
}

}  // namespace

ZEL_BENCH_FAMILY(filter_box) {
#ifdef ZEL_BENCH_OPENCV
    auto blur = [](zb::Images& im, int k) { cv::blur(im.src[0].mat(), im.dst[0].mat(), cv::Size(k, k), cv::Point(-1, -1), cv::BORDER_REPLICATE); };
    auto sums = [](zb::Images& im, int k) {
        cv::Mat d = im.dst[0].mat();
        cv::boxFilter(im.src[0].mat(), d, CV_32S, cv::Size(k, k), cv::Point(-1, -1), false, cv::BORDER_REPLICATE);
    };
#else
    void (*blur)(zb::Images&, int) = nullptr;
    void (*sums)(zb::Images&, int) = nullptr;
#endif
    addCase<Zel8u, Zel8u, 1, false>("zeliFilterBoxBorder_8u_C1R", 3, box8uC1<3>, blur);
    addCase<Zel8u, Zel8u, 1, false>("zeliFilterBoxBorder_8u_C1R", 15, box8uC1<15>, blur);
    addCase<Zel8u, Zel8u, 1, false>("zeliFilterBoxBorder_8u_C1R", 31, box8uC1<31>, blur);
    addCase<Zel8u, Zel8u, 3, false>("zeliFilterBoxBorder_8u_C3R", 5, [](zb::Images& im) {
        return zeliFilterBoxBorder_8u_C3R(ZB_SRC(0), ZB_DST(0), im.roi, {5, 5}, zelBorderRepl, nullptr,
                                          boxBuffer(im.roi, {5, 5}, zel8u, 3, false));
    }, blur);
    addCase<Zel32f, Zel32f, 1, false>("zeliFilterBoxBorder_32f_C1R", 5, [](zb::Images& im) {
        return zeliFilterBoxBorder_32f_C1R(ZB_SRC(0), ZB_DST(0), im.roi, {5, 5}, zelBorderRepl, nullptr,
                                           boxBuffer(im.roi, {5, 5}, zel32f, 1, false));
    }, blur);
    addCase<Zel8u, Zel32s, 1, true>("zeliSumWindow_8u32s_C1R", 15, [](zb::Images& im) {
        return zeliSumWindow_8u32s_C1R(ZB_SRC(0), ZB_DST(0), im.roi, {15, 15}, zelBorderRepl, nullptr,
                                       boxBuffer(im.roi, {15, 15}, zel8u, 1, true));
    }, sums);
}
