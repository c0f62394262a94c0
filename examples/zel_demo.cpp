// The zel example program: allocates images with the library, draws a test pattern, runs the
// operations the library implements, writes each result as a PNG file and prints what it did
// and how long each step took (the median of a few runs).
//
//     zel_demo [output-directory]
//
// The output directory (default zel-demo-out) is created if its parent exists. The exit status
// is 0 when every step ran (or is not implemented yet) and every file was written, 1 otherwise.
#include <zel/zel.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
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

// The test pattern: red rises from left to right, green from top to bottom, and blue draws
// concentric rings about the centre (a cosine of the distance, one ring every 38 pixels or so).
// Each channel has its own shape, so a swap, a plane copy or a flip shows at a glance.
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
    bool written = false;
};

// Runs f a few times and keeps the median time, so the table reads the same from run to run.
template <typename F>
Step run(const char* what, F&& f) {
    constexpr int kRuns = 7;
    double ms[kRuns];
    ZelStatus s = zelStsNoErr;
    for (int i = 0; i < kRuns; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        s = f();
        ms[i] = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    }
    std::nth_element(ms, ms + kRuns / 2, ms + kRuns);
    return {what, s, ms[kRuns / 2], ""};
}

// Creates the output directory unless it is one already; false (with a message) otherwise.
bool make_directory(const std::string& dir) {
    struct stat st;
    if (mkdir(dir.c_str(), 0755) != 0 && !(errno == EEXIST && stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode))) {
        std::fprintf(stderr, "zel_demo: cannot create the output directory %s: %s\n", dir.c_str(),
                     std::strerror(errno == EEXIST ? ENOTDIR : errno));
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::string out = argc > 1 ? argv[1] : "zel-demo-out";
    if (!make_directory(out)) return 1;
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
        if (s.status == zelStsNoErr) s.written = demo::write_png(s.file, img.data, img.step, W, H, img.channels);
        steps[n++] = s;
    };

    save(run("draw the test pattern (C++)", [&] { draw_pattern(rgb); return zelStsNoErr; }), rgb, "pattern.png");

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
    int failed = 0;
    for (int i = 0; i < n; ++i) {
        const Step& s = steps[i];
        std::string output = s.written ? s.file : s.file + " (could not be written)";
        if (s.status == zelStsNotSupportedModeErr) output = "(not implemented yet)";
        else if (s.status != zelStsNoErr) output = s.status < 0 ? "(failed)" : "(warning: nothing written)";
        std::printf("%-40s %8d %10.3f  %s\n", s.what, s.status, s.ms, output.c_str());
        if (s.status == zelStsNoErr && !s.written) {
            std::fprintf(stderr, "zel_demo: could not write %s\n", s.file.c_str());
            ++failed;
        } else if (s.status < 0 && s.status != zelStsNotSupportedModeErr) {
            ++failed;
        }
    }
    return failed ? 1 : 0;
}
