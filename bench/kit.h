// The benchmark kit. A case is a name, a setup that allocates the images of one contender, our
// call, an optional peer call (OpenCV doing the same operation) and the bytes one call moves.
// The runner times our call, the peer's call and a memcpy of as many bytes in alternation, on
// separate but identical images, and reports the medians of the per-pair ratios.
//
// A family adds its cases in its own file:
//
//     ZEL_BENCH_FAMILY(copy) {
//         zb::add({"zeliCopy_8u_C1R",
//                  [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
//                  [](zb::Images& im) { return zeliCopy_8u_C1R(ZB_SRC(0), ZB_DST(0), im.roi); },
//                  ZB_PEER(im.src[0].mat().copyTo(im.dst[0].mat()))});
//     }
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zel/zel.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace zb {

// OpenCV's depth code of a sample type (CV_8U is 0, CV_32F is 5).
template <typename T> constexpr int cv_depth = -1;
template <> constexpr int cv_depth<Zel8u> = 0;
template <> constexpr int cv_depth<Zel8s> = 1;
template <> constexpr int cv_depth<Zel16u> = 2;
template <> constexpr int cv_depth<Zel16s> = 3;
template <> constexpr int cv_depth<Zel32s> = 4;
template <> constexpr int cv_depth<Zel32f> = 5;
template <> constexpr int cv_depth<Zel64f> = 6;

// A pixel pointer that converts to the pointer type the called function takes.
struct Pixels {
    void* p;
    template <typename T>
    operator T*() const { return static_cast<T*>(p); }
};

// One image from the library's allocator: rows start on 64-byte boundaries.
struct Image {
    void* data = nullptr;
    int step = 0;
    int width = 0, height = 0, channels = 1, sampleBytes = 1;
    int cvDepth = 0;

    template <typename T = Zel8u>
    T* ptr() const { return static_cast<T*>(data); }
    int64_t roiBytes() const { return (int64_t)width * height * channels * sampleBytes; }
#ifdef ZEL_BENCH_OPENCV
    // A header over the same pixels; OpenCV's create() keeps it when size and type match.
    cv::Mat mat() const { return cv::Mat(height, width, CV_MAKETYPE(cvDepth, channels), data, (size_t)step); }
#endif
};

// The images of one contender: every call reads all of src and writes all of dst.
class Images {
public:
    explicit Images(ZeliSize size) : roi(size) {}
    Images(const Images&) = delete;
    Images& operator=(const Images&) = delete;
    ~Images();

    // Appends an image of the ROI size with the given sample type and channel count.
    template <typename T = Zel8u>
    void addSrc(int channels) { add(src, channels, sizeof(T), cv_depth<T>); }
    template <typename T = Zel8u>
    void addDst(int channels) { add(dst, channels, sizeof(T), cv_depth<T>); }

    ZeliSize roi;
    std::vector<Image> src, dst;

private:
    void add(std::vector<Image>& to, int channels, int sampleBytes, int cvDepth);
};

struct Case {
    std::string name;                          // the export's name
    std::function<void(Images&)> setup;        // allocates the images; the kit fills them
    std::function<ZelStatus(Images&)> ours;
    std::function<void(Images&)> peer = nullptr;  // empty when the peer has no such operation
    // Rewrites the data the kit filled in, for a case that needs its own range of values; runs
    // on each contender's images before any call.
    std::function<void(Images&)> prepare = nullptr;
    // Bytes one call moves; by default every source ROI read once plus every destination
    // ROI written once, counted packed (row padding excluded).
    std::function<int64_t(const Images&)> bytes = nullptr;
};

// Registers the case at each size, named "<name>/<width>x<height>".
void add(const Case& c, const std::vector<ZeliSize>& sizes = {{512, 512}, {1920, 1080}, {7680, 4320}});

}  // namespace zb

// Pointer and step of an image, as the library's functions take them.
#define ZB_SRC(i) zb::Pixels{im.src[i].data}, im.src[i].step
#define ZB_DST(i) zb::Pixels{im.dst[i].data}, im.dst[i].step

// The peer's call as a case member; it compiles to nothing when OpenCV is absent.
#ifdef ZEL_BENCH_OPENCV
#define ZB_PEER(...) [](zb::Images& im) { __VA_ARGS__; }
#else
#define ZB_PEER(...) nullptr
#endif

// Runs the body at start-up, before the runner reads its options and registers the cases.
#define ZEL_BENCH_FAMILY(family)                                               \
    static void zb_family_##family();                                          \
    [[maybe_unused]] static const bool zb_added_##family = (zb_family_##family(), true); \
    static void zb_family_##family()
