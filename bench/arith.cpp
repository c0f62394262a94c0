// Scaled arithmetic: the streaming members (Add, Sub, AddC, SubC) against memcpy of the same
// bytes, and the members OpenCV also has against its calls. The integer members run with scale
// factor 0 unless the name says otherwise; the OpenCV equivalent of scale factor 1 is a scale of
// 0.5, both rounding half to even.
#include <set>

#include "kit.h"

namespace {

template <typename T>
zb::Case two(const char* name, int ch, ZelStatus (*fn)(const T*, int, const T*, int, T*, int, ZeliSize, int), int sf) {
    return {name, [ch](zb::Images& im) { im.addSrc<T>(ch); im.addSrc<T>(ch); im.addDst<T>(ch); },
            [fn, sf](zb::Images& im) { return fn(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, sf); }};
}

zb::Case two32f(const char* name, int ch, ZelStatus (*fn)(const Zel32f*, int, const Zel32f*, int, Zel32f*, int, ZeliSize)) {
    return {name, [ch](zb::Images& im) { im.addSrc<Zel32f>(ch); im.addSrc<Zel32f>(ch); im.addDst<Zel32f>(ch); },
            [fn](zb::Images& im) { return fn(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi); }};
}

const Zel8u k8u[3] = {3, 40, 200};
const Zel16s k16s[3] = {-300, 7, 12000};
const Zel32f k32f[3] = {0.5f, -3.25f, 100.0f};

// Replaces the zeros of a divisor image once (the kit fills images with random bytes after the
// set-up), so that both libraries time their ordinary path and ours returns no warning.
template <typename T>
void no_zeros(const zb::Image& im) {
    static std::set<const void*> done;
    if (!done.insert(im.data).second) return;
    for (int y = 0; y < im.height; ++y) {
        T* r = (T*)((char*)im.data + (int64_t)y * im.step);
        for (int64_t x = 0; x < (int64_t)im.width * im.channels; ++x)
            if (r[x] == T(0)) r[x] = T(1);
    }
}

}  // namespace

ZEL_BENCH_FAMILY(arith) {
    // Streaming members against memcpy.
    zb::add(two<Zel8u>("zeliAdd_8u_C1RSfs", 1, zeliAdd_8u_C1RSfs, 0));
    zb::add(two<Zel8u>("zeliAdd_8u_C3RSfs", 3, zeliAdd_8u_C3RSfs, 0));
    zb::add(two<Zel8u>("zeliSub_8u_C1RSfs", 1, zeliSub_8u_C1RSfs, 0));
    zb::add(two<Zel8u>("zeliSub_8u_C3RSfs", 3, zeliSub_8u_C3RSfs, 0));
    zb::add(two<Zel16s>("zeliAdd_16s_C1RSfs", 1, zeliAdd_16s_C1RSfs, 0));
    zb::add(two<Zel16s>("zeliAdd_16s_C3RSfs", 3, zeliAdd_16s_C3RSfs, 0));
    zb::add(two<Zel16s>("zeliSub_16s_C1RSfs", 1, zeliSub_16s_C1RSfs, 0));
    zb::add(two<Zel16s>("zeliSub_16s_C3RSfs", 3, zeliSub_16s_C3RSfs, 0));
    zb::add(two32f("zeliAdd_32f_C1R", 1, zeliAdd_32f_C1R));
    zb::add(two32f("zeliAdd_32f_C3R", 3, zeliAdd_32f_C3R));
    zb::add(two32f("zeliSub_32f_C1R", 1, zeliSub_32f_C1R));
    zb::add(two32f("zeliSub_32f_C3R", 3, zeliSub_32f_C3R));
    zb::add({"zeliAddC_8u_C1RSfs", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return zeliAddC_8u_C1RSfs(ZB_SRC(0), 17, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliAddC_8u_C3RSfs", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) { return zeliAddC_8u_C3RSfs(ZB_SRC(0), k8u, ZB_DST(0), im.roi, 0); },
             ZB_PEER(cv::add(im.src[0].mat(), cv::Scalar(k8u[0], k8u[1], k8u[2]), im.dst[0].mat()))});
    zb::add({"zeliSubC_8u_C1RSfs", [](zb::Images& im) { im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return zeliSubC_8u_C1RSfs(ZB_SRC(0), 17, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliSubC_8u_C3RSfs", [](zb::Images& im) { im.addSrc(3); im.addDst(3); },
             [](zb::Images& im) { return zeliSubC_8u_C3RSfs(ZB_SRC(0), k8u, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliAddC_16s_C1RSfs", [](zb::Images& im) { im.addSrc<Zel16s>(1); im.addDst<Zel16s>(1); },
             [](zb::Images& im) { return zeliAddC_16s_C1RSfs(ZB_SRC(0), -300, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliAddC_16s_C3RSfs", [](zb::Images& im) { im.addSrc<Zel16s>(3); im.addDst<Zel16s>(3); },
             [](zb::Images& im) { return zeliAddC_16s_C3RSfs(ZB_SRC(0), k16s, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliSubC_16s_C1RSfs", [](zb::Images& im) { im.addSrc<Zel16s>(1); im.addDst<Zel16s>(1); },
             [](zb::Images& im) { return zeliSubC_16s_C1RSfs(ZB_SRC(0), -300, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliSubC_16s_C3RSfs", [](zb::Images& im) { im.addSrc<Zel16s>(3); im.addDst<Zel16s>(3); },
             [](zb::Images& im) { return zeliSubC_16s_C3RSfs(ZB_SRC(0), k16s, ZB_DST(0), im.roi, 0); }});
    zb::add({"zeliAddC_32f_C1R", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) { return zeliAddC_32f_C1R(ZB_SRC(0), 0.5f, ZB_DST(0), im.roi); }});
    zb::add({"zeliAddC_32f_C3R", [](zb::Images& im) { im.addSrc<Zel32f>(3); im.addDst<Zel32f>(3); },
             [](zb::Images& im) { return zeliAddC_32f_C3R(ZB_SRC(0), k32f, ZB_DST(0), im.roi); }});
    zb::add({"zeliSubC_32f_C1R", [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) { return zeliSubC_32f_C1R(ZB_SRC(0), 0.5f, ZB_DST(0), im.roi); }});
    zb::add({"zeliSubC_32f_C3R", [](zb::Images& im) { im.addSrc<Zel32f>(3); im.addDst<Zel32f>(3); },
             [](zb::Images& im) { return zeliSubC_32f_C3R(ZB_SRC(0), k32f, ZB_DST(0), im.roi); }});

    // Against OpenCV, at 1920x1080. OpenCV's divide(a, b) is a / b; ours writes pSrc2 / pSrc1.
    const std::vector<ZeliSize> hd = {{1920, 1080}};
    zb::add({"zeliMul_8u_C1RSfs(sf=1)", [](zb::Images& im) { im.addSrc(1); im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { return zeliMul_8u_C1RSfs(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, 1); },
             ZB_PEER(cv::multiply(im.src[0].mat(), im.src[1].mat(), im.dst[0].mat(), 0.5))},
            hd);
    zb::add({"zeliDiv_8u_C1RSfs", [](zb::Images& im) { im.addSrc(1); im.addSrc(1); im.addDst(1); },
             [](zb::Images& im) { no_zeros<Zel8u>(im.src[0]); return zeliDiv_8u_C1RSfs(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, 0); },
             ZB_PEER(no_zeros<Zel8u>(im.src[0]); cv::divide(im.src[1].mat(), im.src[0].mat(), im.dst[0].mat()))},
            hd);
    zb::add({"zeliDiv_16s_C1RSfs",
             [](zb::Images& im) { im.addSrc<Zel16s>(1); im.addSrc<Zel16s>(1); im.addDst<Zel16s>(1); },
             [](zb::Images& im) { no_zeros<Zel16s>(im.src[0]); return zeliDiv_16s_C1RSfs(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi, 0); },
             ZB_PEER(no_zeros<Zel16s>(im.src[0]); cv::divide(im.src[1].mat(), im.src[0].mat(), im.dst[0].mat()))},
            hd);
    zb::add({"zeliDiv_32f_C1R",
             [](zb::Images& im) { im.addSrc<Zel32f>(1); im.addSrc<Zel32f>(1); im.addDst<Zel32f>(1); },
             [](zb::Images& im) { no_zeros<Zel32f>(im.src[0]); return zeliDiv_32f_C1R(ZB_SRC(0), ZB_SRC(1), ZB_DST(0), im.roi); },
             ZB_PEER(no_zeros<Zel32f>(im.src[0]); cv::divide(im.src[1].mat(), im.src[0].mat(), im.dst[0].mat()))},
            hd);
}
