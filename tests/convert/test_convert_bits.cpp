// Bit-packed images to 8u and back, against a bit-by-bit model in guarded memory: every bit
// offset, random widths and steps, the bits of the first and last byte outside the ROI kept,
// and the argument-check order.
#include "zel_test_kit.h"

namespace {

struct Args {
    const Zel8u* bits;
    int bitsStep;
    Zel8u* image;
    int imageStep;
    int offset;
    ZeliSize roi;
};

int bitAt(const uint8_t* row, int64_t b) { return (row[b >> 3] >> (7 - (b & 7))) & 1; }

// Row y of a copy of region r's bytes.
uint8_t* rowIn(std::vector<uint8_t>& copy, const zt::Region& r, int64_t y) { return copy.data() + (r.row(y) - r.lo()); }

TEST(ConvertBits, BothWaysMatchTheBitModel) {
    zt::forTrials(60, [](zt::Rng& rng, zt::Tight tight, int) {
        const int w = (int)rng.range(1, 300), h = (int)rng.range(1, 6), o = (int)rng.range(0, 7);
        const int64_t packed = (o + w + 7) / 8;
        const int64_t bs = zt::randomStep(rng, packed), is = zt::randomStep(rng, w);
        const Zel8u threshold = (Zel8u)rng.range(0, 255);
        zt::Region bits(packed, h, bs, tight), image(w, h, is, tight), packedBack(packed, h, bs, tight);
        bits.randomize(rng), image.randomize(rng), packedBack.randomize(rng);

        std::vector<uint8_t> want = image.bytes();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) rowIn(want, image, y)[x] = bitAt(bits.row(y), o + x) ? 255 : 0;
        ASSERT_EQ(zeliConvert_1u8u_C1R(bits.row(0), (int)bs, o, image.row(0), (int)is, {w, h}), zelStsNoErr);
        ASSERT_TRUE(zt::sameBytes(image, want.data(), "1u8u"));

        image.randomize(rng);
        std::vector<uint8_t> back = packedBack.bytes();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                uint8_t& byte = rowIn(back, packedBack, y)[(o + x) >> 3];
                const uint8_t m = (uint8_t)(0x80 >> ((o + x) & 7));
                byte = image.row(y)[x] >= threshold ? byte | m : byte & ~m;
            }
        ASSERT_EQ(zeliConvert_8u1u_C1R(image.row(0), (int)is, packedBack.row(0), (int)bs, o, {w, h}, threshold),
                  zelStsNoErr);
        ASSERT_TRUE(zt::sameBytes(packedBack, back.data(), "8u1u"));
    });
}

TEST(ConvertBits, CheckOrder) {
    zt::Region bits(8, 2, 8), image(40, 2, 40);
    bits.fill(0xA5), image.fill(0x11);
    Args valid{bits.row(0), 8, image.row(0), 40, 3, {40, 2}};
    auto order = [&](auto call) {
        zt::CheckOrder<Args>(valid, call, {&bits, &image})
            .row("null pointer", [](Args& a) { a.image = nullptr; }, zelStsNullPtrErr)
            .row("zero width", [](Args& a) { a.roi.width = 0; }, zelStsSizeErr)
            .row("zero step", [](Args& a) { a.bitsStep = 0; }, zelStsStepErr)
            .row("offset 8", [](Args& a) { a.offset = 8; }, zelStsBadArgErr)
            .run();
    };
    order([](const Args& a) { return zeliConvert_1u8u_C1R(a.bits, a.bitsStep, a.offset, a.image, a.imageStep, a.roi); });
    order([](const Args& a) {
        return zeliConvert_8u1u_C1R(a.image, a.imageStep, (Zel8u*)a.bits, a.bitsStep, a.offset, a.roi, 128);
    });
}

}  // namespace
