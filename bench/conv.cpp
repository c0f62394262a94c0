// Conv in its "same" shape against cv::filter2D with the second image flipped (filter2D
// correlates) and a zero constant border, which is what the terms outside the first image
// amount to. The kernels are products of two uneven vectors, so a convolution that forgot to
// flip would differ, and their weights are fractions with small power-of-two denominators, so
// that every sum is exact in single precision and both outputs agree bit for bit.
#include <vector>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

// The second image as our call takes it (rows of w samples) and, flipped, as filter2D takes it.
template <typename T>
struct Kernel {
    int w, h, divisor;
    std::vector<T> taps;
    std::vector<float> flipped;
};

template <typename T>
Kernel<T> outer(const std::vector<int>& col, const std::vector<int>& row, int divisor, float scale) {
    Kernel<T> k{(int)row.size(), (int)col.size(), divisor, {}, {}};
    for (int i = 0; i < k.h; ++i)
        for (int j = 0; j < k.w; ++j) k.taps.push_back((T)(col[i] * row[j] * scale));
    for (int i = k.h - 1; i >= 0; --i)
        for (int j = k.w - 1; j >= 0; --j) k.flipped.push_back((float)col[i] * row[j] / (float)divisor * scale);
    return k;
}

const Kernel<Zel32f> k32f = outer<Zel32f>({1, 2, 3, 4, 6}, {1, 2, 3, 4, 6}, 1, 1.0f / 256);
const Kernel<Zel8u> k8u = outer<Zel8u>({1, 1, 2}, {1, 2, 1}, 16, 1.0f);

// The work buffer, grown once per size outside the timed calls' way.
template <typename T>
Zel8u* convBuffer(ZeliSize roi, const Kernel<T>& k, ZelDataType type, int channels) {
    static std::vector<Zel8u> buf;
    int n = 0;
    if (zeliConvGetBufferSize(roi, {k.w, k.h}, type, channels, 2, &n) != zelStsNoErr) return nullptr;
    if ((int)buf.size() < n) buf.resize(n);
    return buf.data();
}

#ifdef ZEL_BENCH_OPENCV
template <typename T>
void filter2D(zb::Images& im, const Kernel<T>& k) {
    cv::Mat kernel(k.h, k.w, CV_32F, (void*)k.flipped.data());
    cv::Point anchor(k.w - 1 - (k.w - 1) / 2, k.h - 1 - (k.h - 1) / 2);
    cv::filter2D(im.src[0].mat(), im.dst[0].mat(), -1, kernel, anchor, 0, cv::BORDER_CONSTANT);
}
#endif

}  // namespace

ZEL_BENCH_FAMILY(conv) {
    const std::vector<ZeliSize> sizes = {{512, 512}, {1920, 1080}};
    zb::add({"zeliConv_32f_C1R/5x5", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) {
                 return zeliConv_32f_C1R(ZB_SRC(0), im.roi, k32f.taps.data(), k32f.w * 4, {k32f.w, k32f.h}, ZB_DST(0), 2,
                                         convBuffer(im.roi, k32f, zel32f, 1));
             },
             ZB_PEER(filter2D(im, k32f))},
            sizes);
    zb::add({"zeliConv_8u_C1R/3x3", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) {
                 return zeliConv_8u_C1R(ZB_SRC(0), im.roi, k8u.taps.data(), k8u.w, {k8u.w, k8u.h}, ZB_DST(0), k8u.divisor, 2,
                                        convBuffer(im.roi, k8u, zel8u, 1));
             },
             ZB_PEER(filter2D(im, k8u))},
            sizes);
    zb::add({"zeliConv_8u_C3R/3x3", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) {
                 static const std::vector<Zel8u> taps3 = [] {
                     std::vector<Zel8u> t;
                     for (Zel8u v : k8u.taps) t.insert(t.end(), {v, v, v});
                     return t;
                 }();
                 return zeliConv_8u_C3R(ZB_SRC(0), im.roi, taps3.data(), k8u.w * 3, {k8u.w, k8u.h}, ZB_DST(0), k8u.divisor,
                                        2, convBuffer(im.roi, k8u, zel8u, 3));
             },
             ZB_PEER(filter2D(im, k8u))},
            sizes);
}
