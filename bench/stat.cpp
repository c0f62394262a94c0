// Statistics: norms, sums, means, dot products and extremes against OpenCV, and the element-wise
// extremes against memcpy.
//
// Reductions write no image, so memcpy (which the kit sizes to half the bytes a case moves) is
// no measure of them. The "~read" cases measure them against reading the same bytes and
// nothing else: the peer column of such a case is a vector sum over the source rows, so
// ours/peer at most 1.25 means at least 80% of the read bandwidth.
#include <immintrin.h>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

volatile double gSink;  // results land here so that no call can be dropped
volatile Zel8u gSink8;
volatile Zel32f gSink32f;
volatile int gSinkI;

// Reads every byte of every source row once: the cheapest pass over the same data. (The bench
// is built for the baseline target; this function alone asks for AVX2.)
__attribute__((target("avx2"))) void read_sources(zb::Images& im) {
    __m256i acc[4] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256()};
    for (const zb::Image& s : im.src) {
        const int64_t row = (int64_t)s.width * s.channels * s.sampleBytes;
        for (int y = 0; y < s.height; ++y) {
            const uint8_t* p = s.ptr() + (int64_t)y * s.step;
            int64_t i = 0;
            for (; i + 128 <= row; i += 128)
                for (int k = 0; k < 4; ++k) acc[k] = _mm256_add_epi64(acc[k], _mm256_loadu_si256((const __m256i*)(p + i + 32 * k)));
            for (; i < row; ++i) acc[0] = _mm256_add_epi64(acc[0], _mm256_set1_epi64x(p[i]));
        }
    }
    __m256i t = _mm256_add_epi64(_mm256_add_epi64(acc[0], acc[1]), _mm256_add_epi64(acc[2], acc[3]));
    gSink = (double)_mm256_extract_epi64(t, 0) + (double)_mm256_extract_epi64(t, 3);
}

template <class T>
void sources(zb::Images& im, int n, int channels) {
    for (int i = 0; i < n; ++i) im.addSrc<T>(channels);
}

const std::vector<ZeliSize> kBig = {{1920, 1080}, {7680, 4320}};

// The case against OpenCV, and (when withRead) the same call against a read of its sources.
void add(const zb::Case& c, bool withRead, const std::vector<ZeliSize>& sizes = {{512, 512}, {1920, 1080}, {7680, 4320}}) {
    zb::add(c, sizes);
    if (!withRead) return;
    zb::Case r = c;
    r.name += "~read";
    r.peer = read_sources;
    zb::add(r, kBig);
}

}  // namespace

ZEL_BENCH_FAMILY(stat) {
    add({"zeliNorm_L1_8u_C1R", [](zb::Images& im) { sources<Zel8u>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNorm_L1_8u_C1R(ZB_SRC(0), im.roi, &v); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), cv::NORM_L1))}, true);
    add({"zeliNorm_L2_8u_C1R", [](zb::Images& im) { sources<Zel8u>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNorm_L2_8u_C1R(ZB_SRC(0), im.roi, &v); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), cv::NORM_L2))}, true);
    add({"zeliSum_8u_C3R", [](zb::Images& im) { sources<Zel8u>(im, 1, 3); },
         [](zb::Images& im) { double v[3]; ZelStatus s = zeliSum_8u_C3R(ZB_SRC(0), im.roi, v); gSink = v[0]; return s; },
         ZB_PEER(gSink = cv::sum(im.src[0].mat())[0])}, true);
    add({"zeliNorm_L1_32f_C1R", [](zb::Images& im) { sources<Zel32f>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNorm_L1_32f_C1R(ZB_SRC(0), im.roi, &v, zelAlgHintFast); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), cv::NORM_L1))}, false);
    add({"zeliNorm_L1_32f_C1R(accurate)", [](zb::Images& im) { sources<Zel32f>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNorm_L1_32f_C1R(ZB_SRC(0), im.roi, &v, zelAlgHintAccurate); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), cv::NORM_L1))}, false, kBig);
    add({"zeliNorm_Inf_16s_C1R", [](zb::Images& im) { sources<Zel16s>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNorm_Inf_16s_C1R(ZB_SRC(0), im.roi, &v); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), cv::NORM_INF))}, true);
    add({"zeliNormDiff_L2_8u_C1R", [](zb::Images& im) { sources<Zel8u>(im, 2, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliNormDiff_L2_8u_C1R(ZB_SRC(0), ZB_SRC(1), im.roi, &v); gSink = v; return s; },
         ZB_PEER(gSink = cv::norm(im.src[0].mat(), im.src[1].mat(), cv::NORM_L2))}, true);
    add({"zeliMean_32f_C1R", [](zb::Images& im) { sources<Zel32f>(im, 1, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliMean_32f_C1R(ZB_SRC(0), im.roi, &v, zelAlgHintFast); gSink = v; return s; },
         ZB_PEER(gSink = cv::mean(im.src[0].mat())[0])}, false);
    add({"zeliDotProd_32f64f_C1R", [](zb::Images& im) { sources<Zel32f>(im, 2, 1); },
         [](zb::Images& im) { double v; ZelStatus s = zeliDotProd_32f64f_C1R(ZB_SRC(0), ZB_SRC(1), im.roi, &v); gSink = v; return s; },
         ZB_PEER(gSink = im.src[0].mat().dot(im.src[1].mat()))}, true);
    add({"zeliMinMax_8u_C1R", [](zb::Images& im) { sources<Zel8u>(im, 1, 1); },
         [](zb::Images& im) { Zel8u a, b; ZelStatus s = zeliMinMax_8u_C1R(ZB_SRC(0), im.roi, &a, &b); gSink8 = a ^ b; return s; },
         ZB_PEER(double a, b; cv::minMaxLoc(im.src[0].mat(), &a, &b); gSink = a + b)}, true);
    add({"zeliMinIndx_32f_C1R", [](zb::Images& im) { sources<Zel32f>(im, 1, 1); },
         [](zb::Images& im) {
             Zel32f v; int x, y;
             ZelStatus s = zeliMinIndx_32f_C1R(ZB_SRC(0), im.roi, &v, &x, &y);
             gSink32f = v;
             gSinkI = x + y;
             return s;
         },
         ZB_PEER(double a; cv::Point p; cv::minMaxLoc(im.src[0].mat(), &a, nullptr, &p); gSink = a + p.x)}, false);
    add({"zeliMinEvery_8u_C1IR", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
         [](zb::Images& im) { return zeliMinEvery_8u_C1IR(ZB_SRC(0), ZB_DST(0), im.roi); },
         ZB_PEER(cv::Mat d = im.dst[0].mat(); cv::min(im.src[0].mat(), d, d))}, false);
    add({"zeliMaxEvery_32f_C1IR", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
         [](zb::Images& im) { return zeliMaxEvery_32f_C1IR(ZB_SRC(0), ZB_DST(0), im.roi); },
         ZB_PEER(cv::Mat d = im.dst[0].mat(); cv::max(im.src[0].mat(), d, d))}, false);
}
