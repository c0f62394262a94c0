// Logic, shifts, complement and comparison: the streaming members against memcpy of the same
// bytes, and against the OpenCV call that does the same where it has one.
#include <immintrin.h>
#include <string.h>

#include "kit.h"

#ifdef ZEL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

template <typename T>
zb::Case two(const char* name, int ch, ZelStatus (*fn)(const T*, int, const T*, int, T*, int, ZeliSize)) {
    return {name, [ch](zb::Images& im) { im.addSrc<T>(ch); im.addSrc<T>(ch); im.addDst<T>(ch); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi); }};
}
template <typename T>
zb::Case one(const char* name, int ch, ZelStatus (*fn)(const T*, int, T*, int, ZeliSize)) {
    return {name, [ch](zb::Images& im) { im.addSrc<T>(ch); im.addDst<T>(ch); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_DST(0), im.roi); }};
}
template <typename T, typename V>
zb::Case constant(const char* name, int ch, ZelStatus (*fn)(const T*, int, V, T*, int, ZeliSize), V v) {
    return {name, [ch](zb::Images& im) { im.addSrc<T>(ch); im.addDst<T>(ch); },
            [fn, v](zb::Images& im) { return fn(ZB_SRC(0), v, ZB_DST(0), im.roi); }};
}
template <typename T>
zb::Case compare(const char* name, int ch, ZelStatus (*fn)(const T*, int, const T*, int, Zel8u*, int, ZeliSize, ZelCmpOp)) {
    return {name, [ch](zb::Images& im) { im.addSrc<T>(ch); im.addSrc<T>(ch); im.addDst(1); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, zelCmpLess); }};
}

// The ceiling of any kernel that writes with cached vector stores: the source rows moved to the
// destination by plain 32-byte loads and stores, nothing computed. Where source and destination
// together just fill the second-level cache (16-bit images at 512x512), memcpy's string move,
// which writes whole lines without first reading them, beats it. The "~vcopy" cases run a
// member against it. (The bench is built for the baseline target; this function alone asks
// for AVX2.)
__attribute__((target("avx2"))) void vector_copy(zb::Images& im) {
    const zb::Image &s = im.src[0], &d = im.dst[0];
    const int64_t row = (int64_t)s.width * s.channels * s.sampleBytes;
    for (int y = 0; y < s.height; ++y) {
        const uint8_t* p = s.ptr() + (int64_t)y * s.step;
        uint8_t* q = d.ptr() + (int64_t)y * d.step;
        int64_t i = 0;
        for (; i + 64 <= row; i += 64) {
            __m256i a = _mm256_loadu_si256((const __m256i*)(p + i)), b = _mm256_loadu_si256((const __m256i*)(p + i + 32));
            _mm256_storeu_si256((__m256i*)(q + i), a);
            _mm256_storeu_si256((__m256i*)(q + i + 32), b);
        }
        memcpy(q + i, p + i, (size_t)(row - i));
    }
}

// The case at 512x512 against the plain vector copy.
void addAgainstVectorCopy(zb::Case c) {
    c.name += "~vcopy";
    c.peer = vector_copy;
    zb::add(c, {{512, 512}});
}

const Zel8u k8u3[3] = {0x3c, 0xa5, 0x0f};
const Zel32u counts3[3] = {3, 3, 3};
const Zel32s k32s3[3] = {0x1234567, -77, 0x5a5a5a5a};

}  // namespace

ZEL_BENCH_FAMILY(logic) {
    auto c = two("zeliAnd_8u_C1R", 1, zeliAnd_8u_C1R);
    c.peer = ZB_PEER(cv::bitwise_and(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat()));
    zb::add(c);
    c = two("zeliAnd_8u_C3R", 3, zeliAnd_8u_C3R);
    c.peer = ZB_PEER(cv::bitwise_and(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat()));
    zb::add(c);
    c = two("zeliXor_32s_C1R", 1, zeliXor_32s_C1R);
    c.peer = ZB_PEER(cv::bitwise_xor(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat()));
    zb::add(c);
    c = constant("zeliAndC_8u_C1R", 1, zeliAndC_8u_C1R, (Zel8u)0x5a);
    c.peer = ZB_PEER(cv::bitwise_and(im.src[0].mat(), cv::Scalar(0x5a), im.dst[0].mat()));
    zb::add(c);
    c = constant("zeliAndC_8u_C3R", 3, zeliAndC_8u_C3R, (const Zel8u*)k8u3);
    c.peer = ZB_PEER(cv::bitwise_and(im.src[0].mat(), cv::Scalar(0x3c, 0xa5, 0x0f), im.dst[0].mat()));
    zb::add(c);
    zb::add(constant("zeliOrC_32s_C1R", 1, zeliOrC_32s_C1R, (Zel32s)0x1234567));
    zb::add(constant("zeliXorC_32s_C3R", 3, zeliXorC_32s_C3R, (const Zel32s*)k32s3));
    c = one("zeliNot_8u_C1R", 1, zeliNot_8u_C1R);
    c.peer = ZB_PEER(cv::bitwise_not(im.src[0].mat(), im.dst[0].mat()));
    zb::add(c);
    zb::add(one("zeliNot_8u_C3R", 3, zeliNot_8u_C3R));
    zb::add(constant("zeliLShiftC_8u_C1R", 1, zeliLShiftC_8u_C1R, (Zel32u)3));
    zb::add(constant("zeliRShiftC_8u_C3R", 3, zeliRShiftC_8u_C3R, (const Zel32u*)counts3));
    zb::add(constant("zeliRShiftC_16s_C1R", 1, zeliRShiftC_16s_C1R, (Zel32u)3));
    zb::add(constant("zeliRShiftC_16s_C3R", 3, zeliRShiftC_16s_C3R, (const Zel32u*)counts3));
    zb::add(constant("zeliLShiftC_16u_C1R", 1, zeliLShiftC_16u_C1R, (Zel32u)3));
    zb::add(constant("zeliRShiftC_32s_C1R", 1, zeliRShiftC_32s_C1R, (Zel32u)3));
    zb::add(one("zeliComplement_16s_C1R", 1, zeliComplement_16s_C1R));
    addAgainstVectorCopy(constant("zeliRShiftC_16s_C1R", 1, zeliRShiftC_16s_C1R, (Zel32u)3));
    addAgainstVectorCopy(constant("zeliLShiftC_16u_C1R", 1, zeliLShiftC_16u_C1R, (Zel32u)3));
    addAgainstVectorCopy(one("zeliComplement_16s_C1R", 1, zeliComplement_16s_C1R));
    zb::add(one("zeliComplement_16s_C3R", 3, zeliComplement_16s_C3R));
    zb::add(one("zeliComplement_32s_C1R", 1, zeliComplement_32s_C1R));

    c = compare("zeliCompare_8u_C1R", 1, zeliCompare_8u_C1R);
    c.peer = ZB_PEER(cv::compare(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat(), cv::CMP_LT));
    zb::add(c);
    c = compare("zeliCompare_16s_C1R", 1, zeliCompare_16s_C1R);
    c.peer = ZB_PEER(cv::compare(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat(), cv::CMP_LT));
    zb::add(c);
    c = compare("zeliCompare_32f_C1R", 1, zeliCompare_32f_C1R);
    c.peer = ZB_PEER(cv::compare(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat(), cv::CMP_LT));
    zb::add(c);
    // A user of OpenCV compares the three-channel images, splits the mask and ANDs the planes.
    c = compare("zeliCompare_8u_C3R", 3, zeliCompare_8u_C3R);
    c.peer = ZB_PEER(static thread_local cv::Mat mask, planes[3]; cv::compare(im.src[0].mat(), im.src[1].mat(), mask, cv::CMP_LT);
                     cv::split(mask, planes); cv::Mat d = im.dst[0].mat(); cv::bitwise_and(planes[0], planes[1], d);
                     cv::bitwise_and(d, planes[2], d));
    zb::add(c);
}
