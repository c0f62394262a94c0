// FilterMedianBorder against a brute-force model (gather the neighbourhood by the border rules,
// sort it, take the middle), for every member, on random geometry and masks that reach every
// method, with the image's flagged margins and the work buffer (exactly the queried size)
// against guard pages; and the argument checks of the filter and its query.
#include "median_model.h"

namespace {

// Sample data: random, or crowded into few values, or into one coarse histogram bin, or with
// floating-point specials.
template <class T>
T sample(zt::Rng& rng, int mode) {
    if constexpr (std::is_floating_point_v<T>) {
        static const T specials[] = {0.0f, -0.0f, 1.0f / 0.0f, -1.0f / 0.0f, __builtin_nanf(""), -__builtin_nanf(""),
                                     1e-40f, -1e-40f};
        if (mode == 3 && rng.chance(0.3)) return rng.pick(specials);
        if (mode == 1) return (T)rng.range(-2, 2);
        if (mode == 2) return (T)(100 + rng.range(0, 15) * 0.25);
        return (T)(rng.range(-100000, 100000) * 0.001);
    } else {
        if (mode == 1) return (T)(std::numeric_limits<T>::min() + rng.range(0, 2));
        if (mode == 2) return (T)(32 + rng.range(0, 15));
        return rng.bits<T>();
    }
}

template <class T>
T* rowAt(T* p, int64_t step, int64_t y) {
    return (T*)((std::conditional_t<std::is_const_v<T>, const uint8_t, uint8_t>*)p + step * y);
}

struct Geometry {
    int w, h, kw, kh;
    unsigned border;
};

// One call of a FilterMedianBorder member against the model.
template <class T>
void checkMember(const zt::Name& n, zt::Rng& rng, zt::Tight tight, const Geometry& g) {
    const int C = n.channels, used = n.used, P = C * (int)sizeof(T);
    const int ax = (g.kw - 1) / 2, ay = (g.kh - 1) / 2;
    const unsigned bd = g.border;
    const bool all = bd == 240, kind6 = !all && (bd & 15) == 6;
    const bool mt = all || (bd & 16), mb = all || (bd & 32), ml = all || (bd & 64), mr = all || (bd & 128);
    const int padL = ml ? ax : 0, padR = mr ? ax : 0, padT = mt ? ay : 0, padB = mb ? ay : 0;
    const int64_t srcRow = (int64_t)(padL + g.w + padR) * P, dstRow = (int64_t)g.w * P;
    const int64_t sstep = zt::randomStep(rng, srcRow, {(int)sizeof(T)});
    const int64_t dstep = zt::randomStep(rng, dstRow, {(int)sizeof(T)});
    zt::Region src(srcRow, padT + g.h + padB, sstep, tight), dst(dstRow, g.h, dstep, tight);
    const int mode = (int)rng.range(0, 3);
    for (int64_t y = 0; y < src.height(); ++y)
        for (int64_t i = 0; i < srcRow / (int64_t)sizeof(T); ++i) ((T*)src.row(y))[i] = sample<T>(rng, mode);
    dst.randomize(rng);
    T value[4];
    for (T& v : value) v = sample<T>(rng, mode);

    int bytes = 0;
    ASSERT_EQ(zeliFilterMedianBorderGetBufferSize({g.w, g.h}, {g.kw, g.kh}, n.isFloat ? zel32f : n.sampleBytes == 1 ? zel8u : n.isSigned ? zel16s : zel16u, C, &bytes), zelStsNoErr);
    zt::Region buf(bytes, 1, bytes, tight);

    const T* roi = (const T*)(src.row(padT)) + (int64_t)padL * C;
    zt::Shadow shadow({&src, &dst});
    ZelStatus st = C == 1 ? zt::invoke(n.fn, roi, (int)sstep, (T*)dst.origin(), (int)dstep, ZeliSize{g.w, g.h},
                                       ZeliSize{g.kw, g.kh}, (ZeliBorderType)bd, value[0], buf.origin())
                          : zt::invoke(n.fn, roi, (int)sstep, (T*)dst.origin(), (int)dstep, ZeliSize{g.w, g.h},
                                       ZeliSize{g.kw, g.kh}, (ZeliBorderType)bd, (const T*)value, buf.origin());
    ASSERT_EQ(st, zelStsNoErr);

    // The model, on the snapshot.
    const T* sroi = shadow(roi);
    T* sdst = (T*)shadow(dst.origin());
    std::vector<T> v;
    for (int y = 0; y < g.h; ++y)
        for (int x = 0; x < g.w; ++x)
            for (int c = 0; c < used; ++c) {
                v.clear();
                for (int dy = -ay; dy <= ay; ++dy)
                    for (int dx = -ax; dx <= ax; ++dx) {
                        int64_t ys = y + dy, xs = x + dx;
                        const bool rowReal = (ys >= 0 && ys < g.h) || (ys < 0 && mt) || (ys >= g.h && mb);
                        const bool colReal = (xs >= 0 && xs < g.w) || (xs < 0 && ml) || (xs >= g.w && mr);
                        if (kind6 && (!rowReal || !colReal)) {
                            v.push_back(value[c]);
                            continue;
                        }
                        if (!rowReal) ys = std::clamp<int64_t>(ys, 0, g.h - 1);
                        if (!colReal) xs = std::clamp<int64_t>(xs, 0, g.w - 1);
                        v.push_back(rowAt(sroi, sstep, ys)[xs * C + c]);
                    }
                rowAt(sdst, dstep, y)[(int64_t)x * C + c] = zt::medianOf(v);
            }
    EXPECT_TRUE(shadow.matches()) << n.name << " " << g.w << "x" << g.h << " mask " << g.kw << "x" << g.kh
                                  << " border " << bd << " data " << mode;
}

std::vector<zt::Name> members() {
    std::vector<zt::Name> out;
    for (auto& n : zt::namesOf({"FilterMedianBorder"}))
        if (!n.type.empty()) out.push_back(n);
    return out;
}

unsigned randomBorder(zt::Rng& rng) {
    if (rng.chance(0.15)) return 240;
    return (rng.chance(0.5) ? 1u : 6u) | (unsigned)(rng.range(0, 15) << 4);
}

TEST(FilterMedianBorder, EveryMemberMatchesTheSortedNeighbourhood) {
    static const int masks[][2] = {{1, 1}, {1, 3}, {3, 1}, {1, 5}, {5, 1}, {3, 3}, {5, 5}, {3, 5},
                                   {5, 3}, {1, 7}, {9, 1}, {7, 7}, {15, 5}, {17, 17}, {3, 21}};
    for (const zt::Name& n : members()) {
        if (zt::isPlaceholder(n.name.c_str())) continue;
        SCOPED_TRACE(n.name);
        zt::forTrials(20, [&](zt::Rng& rng, zt::Tight tight, int) {
            const int* m = rng.pick(masks);
            Geometry g{(int)rng.range(1, rng.chance(0.2) ? 4 : 90), (int)rng.range(1, 20), m[0], m[1], randomBorder(rng)};
            zt::withType(n.type, [&](auto tag) { checkMember<typename decltype(tag)::type>(n, rng, tight, g); });
        });
    }
}

// Each method of the 8u one-channel member: fixed selections, the general one, the three
// histograms (the last on a wide image).
TEST(FilterMedianBorder, EveryMethodOf8uC1) {
    const zt::Name n = zt::parseName("zeliFilterMedianBorder_8u_C1R");
    ZT_SKIP_IF_PLACEHOLDER("zeliFilterMedianBorder_8u_C1R");
    static const int masks[][2] = {{3, 3}, {5, 5}, {3, 5}, {1, 7}, {15, 15}, {17, 17}, {257, 1}, {1, 257}, {259, 3}};
    zt::forTrials(4, [&](zt::Rng& rng, zt::Tight tight, int) {
        for (auto& m : masks) {
            const bool wide = m[0] > 100;
            Geometry g{(int)rng.range(wide ? 300 : 1, wide ? 700 : 120), (int)rng.range(1, m[1] > 100 ? 300 : 24), m[0], m[1],
                       randomBorder(rng)};
            checkMember<Zel8u>(n, rng, tight, g);
        }
    });
}

// The wider types' large masks, on images wider than one band.
TEST(FilterMedianBorder, LargeMasksOfWiderTypes) {
    for (const char* name : {"zeliFilterMedianBorder_16s_C1R", "zeliFilterMedianBorder_32f_C1R", "zeliFilterMedianBorder_16u_C3R"}) {
        if (zt::isPlaceholder(name)) continue;
        const zt::Name n = zt::parseName(name);
        zt::forTrials(2, [&](zt::Rng& rng, zt::Tight tight, int) {
            Geometry g{(int)rng.range(500, 700), (int)rng.range(1, 6), 31, 7, randomBorder(rng)};
            zt::withType(n.type, [&](auto tag) { checkMember<typename decltype(tag)::type>(n, rng, tight, g); });
        });
    }
}

struct Args {
    const void* src;
    int srcStep;
    void* dst;
    int dstStep;
    ZeliSize roi, mask;
    unsigned border;
    const void* value;
    Zel8u* buf;
};

TEST(FilterMedianBorder, CheckOrder) {
    for (const zt::Name& n : members()) {
        if (zt::isPlaceholder(n.name.c_str())) continue;
        SCOPED_TRACE(n.name);
        const int P = n.channels * n.sampleBytes;
        zt::Region src(8 * P, 8, 8 * P), dst(8 * P, 8, 8 * P), buf(1 << 16, 1, 1 << 16);
        static const double zero[4] = {};
        Args valid{src.origin(), 8 * P, dst.origin(), 8 * P, {8, 8}, {3, 3}, 6u, zero, buf.origin()};
        auto call = [&n](const Args& a) {
            if (n.channels > 1)
                return zt::invoke(n.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, (ZeliBorderType)a.border, a.value, a.buf);
            return zt::withType(n.type, [&](auto tag) {
                using T = typename decltype(tag)::type;
                return zt::invoke(n.fn, a.src, a.srcStep, a.dst, a.dstStep, a.roi, a.mask, (ZeliBorderType)a.border, T{}, a.buf);
            });
        };
        zt::CheckOrder<Args> co{valid, call, {&dst}};
        co.row("pSrc null", [](Args& a) { a.src = nullptr; }, zelStsNullPtrErr)
            .row("pDst null", [](Args& a) { a.dst = nullptr; }, zelStsNullPtrErr)
            .row("pBuffer null", [](Args& a) { a.buf = nullptr; }, zelStsNullPtrErr);
        if (n.channels > 1) co.row("constant border, value null", [](Args& a) { a.value = nullptr; }, zelStsNullPtrErr);
        co.row("roi height 0", [](Args& a) { a.roi.height = 0; }, zelStsSizeErr)
            .row("mask 3x4", [](Args& a) { a.mask = {3, 4}; }, zelStsMaskSizeErr)
            .row("border 6 + 256", [](Args& a) { a.border = 262; }, zelStsBorderErr)
            .run();
        for (unsigned bad : {256u, 0u, 2u, 4u, 7u, 3u | 240u})
            EXPECT_EQ(call(Args{valid.src, valid.srcStep, valid.dst, valid.dstStep, valid.roi, {4, 3}, bad, zero, valid.buf}),
                      zelStsMaskSizeErr);
        for (unsigned bad : {256u, 0u, 2u, 4u, 7u, 3u | 240u})
            EXPECT_EQ(call(Args{valid.src, valid.srcStep, valid.dst, valid.dstStep, valid.roi, valid.mask, bad, zero, valid.buf}),
                      zelStsBorderErr);
    }
}

TEST(FilterMedianBorder, BufferQueryCheckOrder) {
    struct Q {
        ZeliSize roi, mask;
        int type, channels;
        int* out;
    };
    int size = -1;
    auto call = [](const Q& q) { return zeliFilterMedianBorderGetBufferSize(q.roi, q.mask, q.type, q.channels, q.out); };
    zt::CheckOrder<Q> co{{{64, 64}, {31, 31}, zel16u, 3, &size}, call, {}};
    co.row("roi width 0", [](Q& q) { q.roi.width = 0; }, zelStsSizeErr)
        .row("mask 0x3", [](Q& q) { q.mask = {0, 3}; }, zelStsMaskSizeErr)
        .row("data type 64f", [](Q& q) { q.type = zel64f; }, zelStsDataTypeErr)
        .row("two channels", [](Q& q) { q.channels = 2; }, zelStsChannelErr)
        .row("pBufferSize null", [](Q& q) { q.out = nullptr; }, zelStsNullPtrErr)
        .run();
    EXPECT_EQ(zeliFilterMedianBorderGetBufferSize({8, 8}, {3, 3}, zel32f, 3, &size), zelStsChannelErr);
    EXPECT_EQ(zeliFilterMedianBorderGetBufferSize({1 << 20, 8}, {60001, 60001}, zel8u, 4, &size), zelStsBufferSizeErr);
    EXPECT_EQ(size, 0);
}

}  // namespace
