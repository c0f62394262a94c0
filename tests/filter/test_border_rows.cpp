// The border component against a direct model of the border rules: every segment's view of
// every source row a neighbourhood reads, on random geometry, pixel sizes, extents, kinds and
// in-memory flags, with the image's flagged margins and the work buffer against guard pages.
#include "filter/border_rows.h"
#include "zel_test_kit.h"

namespace {

using zel::BorderArg;
using zel::BorderExtent;
using zel::BorderRows;

struct Case {
    int w, h, P, S;
    BorderExtent e;
    unsigned border;
};

// The pixel that column c of source row ys stands for: read from memory inside the ROI and on
// flagged sides, else the constant or the mapped ROI pixel.
const uint8_t* modelPixel(const Case& k, const BorderArg& b, const uint8_t* roi, int64_t step, const uint8_t* value,
                          int64_t c, int64_t ys) {
    bool rowReal = (ys >= 0 && ys < k.h) || (ys < 0 && b.memTop) || (ys >= k.h && b.memBottom);
    if (!rowReal && b.kind == 6) return value;
    if (!rowReal) ys = zel::ownBorderMap(b.kind, ys, k.h);
    bool colReal = (c >= 0 && c < k.w) || (c < 0 && b.memLeft) || (c >= k.w && b.memRight);
    if (!colReal && b.kind == 6) return value;
    if (!colReal) c = zel::ownBorderMap(b.kind, c, k.w);
    return roi + ys * step + c * k.P;
}

TEST(BorderRows, SegmentsReadWhatTheBorderRulesSay) {
    zt::forTrials(300, [&](zt::Rng& rng, zt::Tight tight, int) {
        Case k;
        static const int sizes[][2] = {{1, 1}, {1, 3}, {1, 4}, {2, 1}, {2, 3}, {4, 1}, {4, 3}, {8, 1}, {8, 4}};
        const int* sz = sizes[rng.range(0, 8)];
        k.S = sz[0], k.P = sz[0] * sz[1];
        k.w = (int)rng.range(1, rng.chance(0.2) ? 4 : 70);
        k.h = (int)rng.range(1, 12);
        auto ext = [&] { return (int)rng.range(0, rng.chance(0.3) ? 20 : 4); };
        k.e = {ext(), ext(), ext(), ext()};
        static const unsigned kinds[] = {1, 3, 6};
        k.border = rng.chance(0.15) ? 240u : kinds[rng.range(0, 2)] | (unsigned)(rng.range(0, 15) << 4);
        BorderArg b;
        ASSERT_EQ(zel::ownBorderDecode(k.border, zel::kBorderKindsFilter, &b), zelStsNoErr);

        // The source: the ROI plus its flagged margins, nothing more.
        const int ml = b.memLeft ? k.e.left : 0, mr = b.memRight ? k.e.right : 0;
        const int mt = b.memTop ? k.e.top : 0, mb = b.memBottom ? k.e.bottom : 0;
        const int64_t rowBytes = (int64_t)(ml + k.w + mr) * k.P;
        const int64_t step = rowBytes + k.S * rng.range(0, 3);
        zt::Region img(rowBytes, mt + k.h + mb, step, tight);
        img.randomize(rng);
        const uint8_t* roi = img.row(mt) + (int64_t)ml * k.P;
        uint8_t value[32];
        rng.fill(value, sizeof value);

        // The whole ROI, or a band of it.
        int bx0 = 0, bx1 = k.w;
        if (rng.chance(0.4)) bx0 = (int)rng.range(0, k.w - 1), bx1 = (int)rng.range(bx0 + 1, k.w);
        // The full ring, or a ring of one row for a kernel done with each row before the next.
        const int64_t ring = rng.chance(0.3) ? 1 : 0;
        const int64_t bytes = BorderRows::bufferSize(bx1 - bx0, k.P, k.e, ring);
        zt::Region buf(bytes, 1, bytes, tight);
        BorderRows rows;
        rows.init(roi, step, k.S, k.P / k.S, k.w, k.h, k.e, b, value, k.P / k.S, buf.origin(), bx0, bx1, ring);

        // The segments cover the band once, in order.
        int covered = bx0;
        for (int i = 0; i < rows.segments(); ++i) {
            ASSERT_EQ(rows.segment(i).x0, covered);
            ASSERT_GT(rows.segment(i).x1, covered);
            covered = rows.segment(i).x1;
        }
        ASSERT_EQ(covered, bx1);

        // Destination row by row: the rows of one neighbourhood and the row that just left it,
        // all held at once, as a running-sum kernel holds them.
        const int kh = k.e.top + k.e.bottom + 1;
        std::vector<const uint8_t*> held(kh + 1);
        for (int y = 0; y < k.h; ++y) {
            for (int i = 0; i < rows.segments(); ++i) {
                auto s = rows.segment(i);
                int first = y > 0 ? -1 : 0;
                for (int r = first; r < kh; ++r) held[r + 1] = rows.row(y - k.e.top + r, i);
                for (int r = first; r < kh; ++r)
                    for (int64_t c = s.x0 - k.e.left; c < s.x1 + k.e.right; ++c) {
                        if (ring == 1) held[r + 1] = rows.row(y - k.e.top + r, i);
                        const uint8_t* want = modelPixel(k, b, roi, step, value, c, y - k.e.top + r);
                        ASSERT_EQ(memcmp(held[r + 1] + c * k.P, want, k.P), 0)
                            << "w " << k.w << " h " << k.h << " P " << k.P << " border " << k.border << " ext "
                            << k.e.left << "," << k.e.right << "," << k.e.top << "," << k.e.bottom << " band " << bx0 << ".." << bx1 << " row "
                            << y - k.e.top + r << " col " << c << " segment " << i;
                    }
            }
        }
    });
}

TEST(BorderRows, DecodeRefusesWhatNoFilterTakes) {
    BorderArg b;
    for (unsigned v : {0u, 2u, 4u, 5u, 7u, 15u, 16u, 0x31u + 1, 256u, 257u, 0xFFFFFFFFu})
        EXPECT_EQ(zel::ownBorderDecode(v, zel::kBorderKindsFilter, &b), zelStsBorderErr) << v;
    EXPECT_EQ(zel::ownBorderDecode(3 | 16, zel::kBorderKindsNoMirror, &b), zelStsBorderErr);
    ASSERT_EQ(zel::ownBorderDecode(1 | 16 | 32, zel::kBorderKindsFilter, &b), zelStsNoErr);
    EXPECT_TRUE(b.kind == 1 && b.memTop && b.memBottom && !b.memLeft && !b.memRight);
    ASSERT_EQ(zel::ownBorderDecode(240, zel::kBorderKindsNoMirror, &b), zelStsNoErr);
    EXPECT_TRUE(b.kind == 0 && b.memTop && b.memBottom && b.memLeft && b.memRight);
}

}  // namespace
