// The zel example program: allocates images with the library, draws a test pattern, runs the
// operations the library implements, writes each result as a PNG file and prints what it did
// and how long each step took.
//
//     zel_demo [output-directory]
#include <zel/zel.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>
#include <sys/stat.h>

#include "png.h"

namespace {

constexpr int W = 640, H = 400;

struct Image {
    Zel8u* data = nullptr;
    int step = 0;
    int channels = 1;
    ~Image() { zeliFree(data); }
};

bool alloc(Image& img, int channels) {
    img.channels = channels;
    switch (channels) {
        case 1: img.data = zeliMalloc_8u_C1(W, H, &img.step); break;
        case 3: img.data = zeliMalloc_8u_C3(W, H, &img.step); break;
        default: img.data = zeliMalloc_8u_C4(W, H, &img.step); break;
    }
    return img.data != nullptr;
}

// A colour test pattern: hue wheel, grey ramps and rings, so channel swaps and copies show.
void draw_pattern(Image& img) {
    for (int y = 0; y < H; ++y) {
        Zel8u* r = img.data + (ptrdiff_t)y * img.step;
        for (int x = 0; x < W; ++x) {
            double dx = x - W / 2.0, dy = y - H / 2.0;
            double ring = 0.5 + 0.5 * std::cos(std::sqrt(dx * dx + dy * dy) / 6.0);
            Zel8u red = (Zel8u)(255.0 * x / (W - 1));
            Zel8u green = (Zel8u)(255.0 * y / (H - 1));
            Zel8u blue = (Zel8u)(255.0 * ring);
            r[3 * x + 0] = red;
            r[3 * x + 1] = green;
            r[3 * x + 2] = blue;
        }
    }
}

struct Step {
    const char* what;
    ZelStatus status;
    double ms;
    std::string file;
};

template <typename F>
Step run(const char* what, F&& f) {
    auto t0 = std::chrono::steady_clock::now();
    ZelStatus s = f();
    auto t1 = std::chrono::steady_clock::now();
    return {what, s, std::chrono::duration<double, std::milli>(t1 - t0).count(), ""};
}

}  // namespace

int main(int argc, char** argv) {
    std::string out = argc > 1 ? argv[1] : "zel-demo-out";
    mkdir(out.c_str(), 0755);
    const ZelLibraryVersion* v = zeliGetLibVersion();
    std::printf("%s, version %s, built %s\n\n", v->name, v->version, v->buildDate);

    Image rgb, bgr, grey, rgba, dup, planes[3], back, flipped, binary, local;
    if (!alloc(rgb, 3) || !alloc(bgr, 3) || !alloc(grey, 1) || !alloc(rgba, 4) || !alloc(dup, 3) ||
        !alloc(planes[0], 1) || !alloc(planes[1], 1) || !alloc(planes[2], 1) || !alloc(back, 3) ||
        !alloc(flipped, 3) || !alloc(binary, 1) || !alloc(local, 1)) {
        std::fprintf(stderr, "allocation failed\n");
        return 1;
    }
    ZeliSize roi = {W, H};
    Step steps[16];
    int n = 0;
    auto save = [&](Step s, const Image& img, const char* name) {
        s.file = out + "/" + name;
        if (s.status == zelStsNoErr) demo::write_png(s.file, img.data, img.step, W, H, img.channels);
        steps[n++] = s;
    };

    auto t0 = std::chrono::steady_clock::now();
    draw_pattern(rgb);
    double drawMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    steps[n++] = {"draw the test pattern (C++)", zelStsNoErr, drawMs, out + "/pattern.png"};
    demo::write_png(steps[0].file, rgb.data, rgb.step, W, H, 3);

    const int swap[3] = {2, 1, 0};
    save(run("SwapChannels_8u_C3R {2,1,0}", [&] { return zeliSwapChannels_8u_C3R(rgb.data, rgb.step, bgr.data, bgr.step, roi, swap); }), bgr, "swapped.png");
    save(run("Copy_8u_C3C1R (green channel)", [&] { return zeliCopy_8u_C3C1R(rgb.data + 1, rgb.step, grey.data, grey.step, roi); }), grey, "green.png");
    save(run("Dup_8u_C1C3R", [&] { return zeliDup_8u_C1C3R(grey.data, grey.step, dup.data, dup.step, roi); }), dup, "dup.png");
    const int toRgba[4] = {0, 1, 2, 3};
    save(run("SwapChannels_8u_C3C4R + alpha 255", [&] { return zeliSwapChannels_8u_C3C4R(rgb.data, rgb.step, rgba.data, rgba.step, roi, toRgba, 255); }), rgba, "rgba.png");
    Zel8u* const pl[3] = {planes[0].data, planes[1].data, planes[2].data};
    save(run("Copy_8u_C3P3R", [&] { return zeliCopy_8u_C3P3R(rgb.data, rgb.step, pl, planes[0].step, roi); }), planes[2], "plane_blue.png");
    const Zel8u* const cpl[3] = {planes[2].data, planes[0].data, planes[1].data};
    save(run("Copy_8u_P3C3R (planes rotated)", [&] { return zeliCopy_8u_P3C3R(cpl, planes[0].step, back.data, back.step, roi); }), back, "rotated.png");
    const Zel8u teal[3] = {0, 128, 128};
    ZeliSize box = {W / 3, H / 3};
    save(run("Set_8u_C3R (a teal box)", [&] {
        ZelStatus s = zeliCopy_8u_C3R(rgb.data, rgb.step, back.data, back.step, roi);
        return s ? s : zeliSet_8u_C3R(teal, back.data + (ptrdiff_t)(H / 3) * back.step + 3 * (W / 3), back.step, box);
    }), back, "box.png");

    save(run("Mirror_8u_C3R (about the vertical axis)", [&] { return zeliMirror_8u_C3R(rgb.data, rgb.step, flipped.data, flipped.step, roi, zelAxsVertical); }), flipped, "mirrored.png");
    Zel8u otsu = 0;
    save(run("ComputeThreshold_Otsu + Threshold", [&] {
        ZelStatus s = zeliComputeThreshold_Otsu_8u_C1R(planes[2].data, planes[2].step, roi, &otsu);
        return s ? s : zeliThreshold_LTValGTVal_8u_C1R(planes[2].data, planes[2].step, binary.data, binary.step, roi, otsu, 0, otsu, 255);
    }), binary, "otsu.png");
    const ZeliSize mask = {15, 15};
    int bufferSize = 0;
    std::vector<Zel8u> buffer;
    save(run("ThresholdAdaptiveBox_8u_C1R 15x15", [&] {
        ZelStatus s = zeliThresholdAdaptiveBoxGetBufferSize(roi, mask, zel8u, 1, &bufferSize);
        if (s) return s;
        buffer.resize((size_t)bufferSize + 1);
        return zeliThresholdAdaptiveBox_8u_C1R(planes[2].data, planes[2].step, local.data, local.step, roi, mask, 0.0f, 255, 0, zelBorderRepl, 0, buffer.data());
    }), local, "adaptive.png");

    std::printf("%-40s %8s %10s  %s\n", "step", "status", "ms", "output");
    for (int i = 0; i < n; ++i)
        std::printf("%-40s %8d %10.3f  %s\n", steps[i].what, steps[i].status, steps[i].ms,
                    steps[i].status == zelStsNoErr ? steps[i].file.c_str() : "(not implemented yet)");
    for (int i = 0; i < n; ++i)
        if (steps[i].status < 0 && steps[i].status != zelStsNotSupportedModeErr) return 1;
    return 0;
}
