// The general filter against OpenCV's filter2D with BORDER_REPLICATE. filter2D correlates, so
// it gets the kernel flipped in both directions, which makes the same convolution.
//
// The 3x3 16s kernel with divisor 16 is exact on both sides (OpenCV's float kernel holds
// sixteenths exactly) and the outputs agree byte for byte. With a float kernel the two sum
// the taps in different orders: the first peer call of such a case also runs our call on the
// peer's data and prints the largest difference, which the rounding of the sums explains.
//
// A general kernel costs kw * kh multiply-adds per sample on either side, and the float cases
// run at about one 16-lane multiply-add per cycle, the processor's limit: their ratio to the
// peer says how far filter2D stays from that limit, not how much is left to gain.
#include <math.h>
#include <stdio.h>

#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

// A spec and work buffer for one kernel, data type and ROI, built once outside the timed calls.
struct Prepared {
    std::vector<Zel8u> spec, buf;
    ZeliSize roi{0, 0};
};

template <typename K>
Prepared& prepare(Prepared& p, ZeliSize roi, ZeliSize k, const K* kernel, int divisor, int dataType, int channels) {
    if (p.roi.width == roi.width && p.roi.height == roi.height) return p;
    int specSize = 0, bufSize = 0;
    const int kernelType = sizeof(K) == 2 ? zel16s : zel32f;
    zeliFilterBorderGetSize(k, roi, dataType, kernelType, channels, &specSize, &bufSize);
    p.spec.assign(specSize, 0), p.buf.assign(bufSize, 0), p.roi = roi;
    auto* s = (ZeliFilterBorderSpec*)p.spec.data();
    if constexpr (sizeof(K) == 2) zeliFilterBorderInit_16s((const Zel16s*)kernel, k, divisor, dataType, channels, zelRndNear, s);
    else zeliFilterBorderInit_32f((const Zel32f*)kernel, k, dataType, channels, zelRndNear, s);
    return p;
}

const Zel16s kBinomial3[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};

// A fixed kernel of n x n floats, not separable, summing to about 1.
const std::vector<Zel32f>& floatKernel(int n) {
    static std::vector<Zel32f> k[16];
    if (k[n].empty())
        for (int i = 0; i < n * n; ++i) k[n].push_back((Zel32f)((1 + (i * 7) % 11) / (6.0 * n * n)) * (i % 3 ? 1 : -0.5f) + 0.02f);
    return k[n];
}

#ifdef ZEL_BENCH_OPENCV
// The kernel as filter2D takes it: flipped both ways, divided by the divisor.
template <typename K>
cv::Mat flipped(const K* kernel, int n, double divisor) {
    cv::Mat k(n, n, CV_32F);
    for (int i = 0; i < n * n; ++i) k.at<float>(n - 1 - i / n, n - 1 - i % n) = (float)(kernel[i] / divisor);
    return k;
}

// Once per case: our result on the peer's data, and the largest difference from the peer's.
template <typename T>
void compareOnce(const char* name, const zb::Images& im, const std::function<ZelStatus(const zb::Image&, T*, int)>& ours) {
    const zb::Image& d = im.dst[0];
    std::vector<T> mine((size_t)d.width * d.channels * d.height);
    const int step = d.width * d.channels * (int)sizeof(T);
    if (ours(im.src[0], mine.data(), step) != zelStsNoErr) return;
    double worst = 0;
    for (int y = 0; y < d.height; ++y)
        for (int x = 0; x < d.width * d.channels; ++x)
            worst = fmax(worst, fabs((double)mine[(size_t)y * d.width * d.channels + x] - (double)d.ptr<T>()[(size_t)y * d.step / sizeof(T) + x]));
    fprintf(stderr, "%s %dx%d: largest difference from filter2D %g\n", name, d.width, d.height, worst);
}
#endif

}  // namespace

ZEL_BENCH_FAMILY(filter_border) {
    static Prepared p32f5, p8u3, p8u7;
    static auto run32f5 = [](ZeliSize roi, const zb::Image& s, Zel32f* d, int dstStep) {
        Prepared& p = prepare(p32f5, roi, {5, 5}, floatKernel(5).data(), 1, zel32f, 1);
        return zeliFilterBorder_32f_C1R(s.ptr<Zel32f>(), s.step, d, dstStep, roi, zelBorderRepl, nullptr,
                                        (const ZeliFilterBorderSpec*)p.spec.data(), p.buf.data());
    };
    static auto run8u3 = [](ZeliSize roi, const zb::Image& s, Zel8u* d, int dstStep) {
        Prepared& p = prepare(p8u3, roi, {3, 3}, kBinomial3, 16, zel8u, 1);
        return zeliFilterBorder_8u_C1R(s.ptr(), s.step, d, dstStep, roi, zelBorderRepl, nullptr,
                                       (const ZeliFilterBorderSpec*)p.spec.data(), p.buf.data());
    };
    static auto run8u7 = [](ZeliSize roi, const zb::Image& s, Zel8u* d, int dstStep) {
        Prepared& p = prepare(p8u7, roi, {7, 7}, floatKernel(7).data(), 1, zel8u, 3);
        return zeliFilterBorder_8u_C3R(s.ptr(), s.step, d, dstStep, roi, zelBorderRepl, nullptr,
                                       (const ZeliFilterBorderSpec*)p.spec.data(), p.buf.data());
    };

    zb::add({"zeliFilterBorder_32f_C1R/5x5", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) { return run32f5(im.roi, im.src[0], im.dst[0].ptr<Zel32f>(), im.dst[0].step); },
             ZB_PEER(static bool checked = false;
                     cv::filter2D(im.src[0].mat(), im.dst[0].mat(), -1, flipped(floatKernel(5).data(), 5, 1), cv::Point(-1, -1), 0,
                                  cv::BORDER_REPLICATE);
                     if (!checked) checked = true, compareOnce<Zel32f>("zeliFilterBorder_32f_C1R/5x5", im, [&](const zb::Image& s, Zel32f* d, int st) {
                         return run32f5(im.roi, s, d, st);
                     }))},
            {{1920, 1080}});
    zb::add({"zeliFilterBorder_8u_C1R/3x3_16s_div16", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return run8u3(im.roi, im.src[0], im.dst[0].ptr(), im.dst[0].step); },
             ZB_PEER(cv::filter2D(im.src[0].mat(), im.dst[0].mat(), -1, flipped(kBinomial3, 3, 16), cv::Point(-1, -1), 0,
                                  cv::BORDER_REPLICATE))},
            {{1920, 1080}});
    zb::add({"zeliFilterBorder_8u_C3R/7x7", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) { return run8u7(im.roi, im.src[0], im.dst[0].ptr(), im.dst[0].step); },
             ZB_PEER(static bool checked = false;
                     cv::filter2D(im.src[0].mat(), im.dst[0].mat(), -1, flipped(floatKernel(7).data(), 7, 1), cv::Point(-1, -1), 0,
                                  cv::BORDER_REPLICATE);
                     if (!checked) checked = true, compareOnce<Zel8u>("zeliFilterBorder_8u_C3R/7x7", im, [&](const zb::Image& s, Zel8u* d, int st) {
                         return run8u7(im.roi, s, d, st);
                     }))},
            {{1920, 1080}});
}
