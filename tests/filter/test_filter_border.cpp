// The general 2-D filter against a scalar model of its rules: a true convolution of the
// caller's kernel with the fixed anchor, the paths' arithmetic (exact integer sums with the
// divisor rule, float sums with offset and round mode, double sums), on random geometry, with
// the source's flagged margins, the destination, the specification block and a work buffer of exactly the
// queried size against guard pages.
#include <math.h>

#include "filter/border_rows.h"
#include "zel_test_kit.h"

namespace {

int kDataType(const std::string& t) { return t == "8u" ? 1 : t == "16u" ? 5 : t == "16s" ? 7 : t == "32f" ? 13 : 19; }

// A random kernel size: the listed shapes, and sometimes one larger than the ROI.
ZeliSize kernelSize(zt::Rng& rng) {
    static const ZeliSize shapes[] = {{1, 1}, {1, 4}, {5, 1}, {2, 2}, {3, 3}, {5, 5}, {7, 7}, {15, 15}, {4, 3}, {2, 6}};
    return rng.chance(0.1) ? ZeliSize{(int)rng.range(1, 20), (int)rng.range(1, 20)} : rng.pick(shapes);
}

template <typename T>
double saturate(double v) {
    return std::min<double>(std::max<double>(v, std::numeric_limits<T>::lowest()), std::numeric_limits<T>::max());
}
// Float v rounded to T: 0 truncates, 1 half to even, 2 half away from zero (after saturating,
// by adding a half of the value's sign in float).
template <typename T>
T roundTo(float v, int mode) {
    float c = (float)saturate<T>(v);
    if (mode == 0) return (T)truncf(c);
    if (mode == 1) return (T)nearbyintf(c);
    return (T)truncf(c + copysignf(0.5f, c));
}

struct Filter {
    ZeliSize k;
    std::vector<double> K;  // the caller's kernel, row-major
    bool k16s;              // built by Init_16s
    int divisor = 1, round = 1, offset = 0;
};

// dst(x, y) = sum of K[i][j] * S(x - ax + kw - 1 - j, y - ay + kh - 1 - i), the terms taken
// from the last kernel element to the first; S(c, r, ch) is the bordered source.
template <typename T, class Src>
T model(const Filter& f, int channels, Src S, int x, int y, int ch) {
    const int kw = f.k.width, kh = f.k.height, ax = (kw - 1) / 2, ay = (kh - 1) / 2;
    auto term = [&](int i, int j) { return std::pair{f.K[(size_t)i * kw + j], S(x - ax + kw - 1 - j, y - ay + kh - 1 - i, ch)}; };
    const bool intPath = f.k16s && (sizeof(T) == 1 || (std::is_same_v<T, Zel16s> && channels == 1 && kw >= 3 && kh >= 2));
    if (intPath) {
        uint32_t sum = 0;
        for (int i = kh; i-- > 0;)
            for (int j = kw; j-- > 0;) sum += (uint32_t)(int32_t)(term(i, j).first * term(i, j).second);
        const int64_t t = (int32_t)(sum + (uint32_t)(f.offset * f.divisor)), d = f.divisor;
        if (d == 1) return (T)saturate<T>((double)t);
        if (d > 0 && (d & (d - 1)) == 0) {  // t / d rounded by the mode, exactly
            int64_t q = t >= 0 ? t / d : -((-t + d - 1) / d), r = t - q * d;
            if ((f.round == 0 && t < 0 && r) || (f.round == 1 && (2 * r > d || (2 * r == d && (q & 1)))) ||
                (f.round == 2 && (2 * r > d || (2 * r == d && t >= 0))))
                ++q;
            return (T)saturate<T>((double)q);
        }
        return roundTo<T>((float)t * (1.0f / (float)f.divisor), f.round);
    }
    if constexpr (std::is_same_v<T, double>) {
        double acc = 0;
        for (int i = kh; i-- > 0;)
            for (int j = kw; j-- > 0;) acc = fma(term(i, j).first, term(i, j).second, acc);
        return acc;
    } else {
        float acc = 0;
        for (int i = kh; i-- > 0;)
            for (int j = kw; j-- > 0;) acc = fmaf((float)term(i, j).first, (float)term(i, j).second, acc);
        if constexpr (std::is_same_v<T, float>) return acc;
        const int d = f.divisor;  // 1 for 32f kernels; its reciprocal is exact for powers of two
        return roundTo<T>((acc + (float)((int64_t)f.offset * d)) * (1.0f / (float)d), f.round);
    }
}

// Builds the specification block of f for T and channels into a block of exactly the queried size.
ZelStatus buildSpec(const Filter& f, const std::string& type, int channels, ZeliSize roi, zt::Tight tight,
                    std::unique_ptr<zt::Region>& spec, std::unique_ptr<zt::Region>& buf) {
    const int dt = kDataType(type), kt = type == "64f" ? 19 : f.k16s ? 7 : 13;
    int specSize = 0, bufSize = 0;
    EXPECT_EQ(zeliFilterBorderGetSize(f.k, roi, dt, kt, channels, &specSize, &bufSize), zelStsNoErr);
    spec = std::make_unique<zt::Region>(specSize, 1, specSize, tight);
    buf = std::make_unique<zt::Region>(bufSize, 1, bufSize, tight);
    auto* p = (ZeliFilterBorderSpec*)spec->origin();
    const size_t n = f.K.size();
    if (kt == 19) {
        std::vector<Zel64f> k(f.K.begin(), f.K.end());
        return zeliFilterBorderInit_64f(k.data(), f.k, dt, 1, f.round, p);
    }
    ZelStatus st;
    if (kt == 7) {
        std::vector<Zel16s> k(n);
        for (size_t i = 0; i < n; ++i) k[i] = (Zel16s)f.K[i];
        st = zeliFilterBorderInit_16s(k.data(), f.k, f.divisor, dt, channels, f.round, p);
    } else {
        std::vector<Zel32f> k(n);
        for (size_t i = 0; i < n; ++i) k[i] = (Zel32f)f.K[i];
        st = zeliFilterBorderInit_32f(k.data(), f.k, dt, channels, f.round, p);
    }
    if (st >= 0 && f.offset) {
        EXPECT_EQ(zeliFilterBorderSetMode(zelAlgHintNone, f.offset, p), zelStsNoErr);
    }
    return st;
}

TEST(FilterBorder, EveryMemberIsTheConvolutionOfItsRules) {
    auto members = zt::namesOf({"FilterBorderGetSize, FilterBorderInit, FilterBorderSetMode, FilterBorder"});
    std::erase_if(members, [](const zt::Name& n) { return n.op != "FilterBorder"; });
    ASSERT_EQ(members.size(), 13u);
    zt::forTrials(260, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        const zt::Name& m = members[trial % members.size()];
        zt::withType(m.type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            const int C = m.channels, P = C * (int)sizeof(T);
            Filter f;
            f.k = kernelSize(rng);
            f.k16s = !std::is_floating_point_v<T> && rng.chance(0.6);
            const bool wide = f.k16s && rng.chance(0.3);  // a kernel whose sums leave the float-exact range
            for (int i = 0; i < f.k.width * f.k.height; ++i)
                f.K.push_back(f.k16s ? (double)rng.range(wide ? -32768 : -9, wide ? 32767 : 9)
                                     : (double)(float)((int)rng.range(-4096, 4096) / 1024.0));
            static const int divisors[] = {1, 2, 4, 16, 256, 3, 10, -7, -1};
            if (f.k16s) f.divisor = rng.pick(divisors);
            f.round = std::is_same_v<T, double> ? 1 : (int)rng.range(0, 2);
            const bool unsignedOut = std::is_same_v<T, Zel8u> || std::is_same_v<T, Zel16u>;
            if (unsignedOut && rng.chance(0.3)) f.offset = (int)rng.range(-300, 300);
            std::unique_ptr<zt::Region> spec, buf;
            const ZeliSize roi{rng.chance(0.1) ? (int)rng.range(130, 300) : (int)rng.range(1, 40), (int)rng.range(1, 12)};
            ASSERT_GE(buildSpec(f, m.type, C, roi, tight, spec, buf), 0);

            static const unsigned kinds[] = {1, 3, 6};
            const unsigned border = rng.chance(0.15) ? 240u : rng.pick(kinds) | (unsigned)(rng.range(0, 15) << 4);
            zel::BorderArg b;
            ASSERT_EQ(zel::ownBorderDecode(border, zel::kBorderKindsFilter, &b), zelStsNoErr);
            const zel::BorderExtent e = zel::ownCentredExtent(f.k.width, f.k.height);
            const int ml = b.memLeft ? e.left : 0, mr = b.memRight ? e.right : 0, mt = b.memTop ? e.top : 0,
                      mb = b.memBottom ? e.bottom : 0;
            const int64_t srcRow = (int64_t)(ml + roi.width + mr) * P, dstRow = (int64_t)roi.width * P;
            zt::Region src(srcRow, mt + roi.height + mb, srcRow + (int)sizeof(T) * rng.range(0, 4), tight);
            zt::Region dst(dstRow, roi.height, zt::randomStep(rng, dstRow, {(int)sizeof(T)}), tight);
            src.randomize(rng), dst.randomize(rng);
            T value[4];
            for (int c = 0; c < C; ++c) value[c] = (T)rng.range(-200, 300);
            if constexpr (std::is_floating_point_v<T>) {
                for (int64_t r = 0; r < src.height(); ++r)
                    for (int64_t c = 0; c < srcRow / (int)sizeof(T); ++c)
                        ((T*)src.row(r))[c] = (T)((int)rng.range(-65536, 65536) / 128.0);
            }
            const T* roiSrc = (const T*)(src.row(mt) + (int64_t)ml * P);
            auto S = [&](int c, int r, int ch) -> double {
                const bool rowReal = (r >= 0 && r < roi.height) || (r < 0 && b.memTop) || (r >= roi.height && b.memBottom);
                const bool colReal = (c >= 0 && c < roi.width) || (c < 0 && b.memLeft) || (c >= roi.width && b.memRight);
                if ((!rowReal || !colReal) && b.kind == 6) return value[ch];
                if (!rowReal) r = (int)zel::ownBorderMap(b.kind, r, roi.height);
                if (!colReal) c = (int)zel::ownBorderMap(b.kind, c, roi.width);
                return *(const T*)((const uint8_t*)roiSrc + (int64_t)r * src.step() + ((int64_t)c * C + ch) * sizeof(T));
            };
            zt::Shadow want({&src, &dst});
            for (int y = 0; y < roi.height; ++y)
                for (int x = 0; x < roi.width; ++x)
                    for (int ch = 0; ch < C; ++ch)
                        want((T*)dst.row(y))[(int64_t)x * C + ch] = model<T>(f, C, S, x, y, ch);
            ASSERT_EQ(zt::invoke(m.fn, roiSrc, (int)src.step(), (T*)dst.origin(), (int)dst.step(), roi, border,
                                 b.kind == 6 ? value : nullptr, (const ZeliFilterBorderSpec*)spec->origin(), buf->origin()),
                      zelStsNoErr);
            ASSERT_TRUE(want.matches()) << m.name << " kernel " << f.k.width << "x" << f.k.height << (f.k16s ? " 16s" : "")
                                        << " divisor " << f.divisor << " round " << f.round << " offset " << f.offset
                                        << " roi " << roi.width << "x" << roi.height << " border " << border;
        });
    });
}

TEST(FilterBorder, OlderFilter64fReadsAroundTheAnchor) {
    zt::forTrials(40, [&](zt::Rng& rng, zt::Tight tight, int) {
        const ZeliSize k = kernelSize(rng), roi{(int)rng.range(1, 40), (int)rng.range(1, 8)};
        const ZeliPoint anchor{(int)rng.range(0, k.width - 1), (int)rng.range(0, k.height - 1)};
        std::vector<Zel64f> K(k.width * k.height);
        for (auto& v : K) v = (double)rng.range(-1000, 1000) / 64;
        const int64_t srcRow = (int64_t)(roi.width + k.width - 1) * 8;
        zt::Region src(srcRow, roi.height + k.height - 1, srcRow + 8 * rng.range(0, 3), tight);
        zt::Region dst(roi.width * 8, roi.height, roi.width * 8 + 8 * rng.range(0, 3), tight);
        for (int64_t i = 0; i < src.extent() / 8; ++i) ((Zel64f*)src.lo())[i] = (double)rng.range(-4096, 4096) / 16;
        int bufSize = 0;
        ASSERT_EQ(zeliFilterGetBufSize_64f_C1R(k, roi.width, &bufSize), zelStsNoErr);
        EXPECT_EQ(bufSize, k.width * k.height * 64 + 128);
        zt::Region buf(bufSize, 1, bufSize, tight);
        // The ROI sits where every neighbourhood starts inside the image.
        const Zel64f* roiSrc = (const Zel64f*)(src.row(k.height - 1 - anchor.y)) + (k.width - 1 - anchor.x);
        zt::Shadow want({&src, &dst});
        for (int y = 0; y < roi.height; ++y)
            for (int x = 0; x < roi.width; ++x) {
                double acc = 0;  // the true convolution: K[ay][ax] weights S(x, y)
                for (int i = k.height; i-- > 0;)
                    for (int j = k.width; j-- > 0;)
                        acc = fma(K[i * k.width + j], *(roiSrc + (int64_t)(y + anchor.y - i) * src.step() / 8 + x + anchor.x - j), acc);
                want((Zel64f*)dst.row(y))[x] = acc;
            }
        ASSERT_EQ(zeliFilter_64f_C1R(roiSrc, (int)src.step(), (Zel64f*)dst.origin(), (int)dst.step(), roi, K.data(), k, anchor,
                                     buf.origin()),
                  zelStsNoErr);
        ASSERT_TRUE(want.matches());
    });
}

TEST(FilterBorder, SizeQueryFormulas) {
    struct Row {
        ZeliSize k, roi;
        int dt, kt, nc, spec, buf;  // buf -1: the pipeline's own share is not fixed
    };
    // 64f: (a) round64(72) + 191; 8 * max((100 + 2) * 3, (3 + 50 - 1) * 3) rounded up to 32,
    // + 32, + 9 * 64 + 128 + 126. (b) a 2-wide kernel counts its far side as 2; an ROI not larger than
    // the kernel takes the whole bordered image. Others: round64(kw kh (2 or 4)) + 191 +
    // round64(roundUpEven(kw) * 80 * kh), + kw kh 64 for 32f data and kernel on one channel.
    const Row rows[] = {{{3, 3}, {100, 50}, 19, 19, 1, 319, 2464 + 32 + 704 + 126},
                        {{2, 2}, {10, 10}, 19, 19, 1, 255, 288 + 32 + 256 + 128 + 126},
                        {{4, 4}, {4, 9}, 19, 19, 1, 319, 8 * 12 * 7 + 32 + 1024 + 128 + 126},
                        {{5, 5}, {64, 64}, 1, 7, 3, 2687, -1},
                        {{5, 5}, {64, 64}, 5, 7, 1, 2751, -1},
                        {{5, 5}, {64, 64}, 13, 13, 1, 2751 + 1600, -1},
                        {{5, 5}, {64, 64}, 13, 13, 2, 2751, -1},
                        {{3, 2}, {64, 64}, 7, 7, 1, 64 + 191 + 640, -1}};
    for (const Row& r : rows) {
        int spec = -1, buf = -1;
        ASSERT_EQ(zeliFilterBorderGetSize(r.k, r.roi, r.dt, r.kt, r.nc, &spec, &buf), zelStsNoErr);
        EXPECT_EQ(spec, r.spec) << r.k.width << "x" << r.k.height << " types " << r.dt << "," << r.kt;
        if (r.buf >= 0) {
            EXPECT_EQ(buf, r.buf) << r.k.width << "x" << r.k.height;
        }
    }
    // A 16s kernel that the 16s data take as floats is sized as a 32f kernel.
    for (ZeliSize k : {ZeliSize{1, 5}, ZeliSize{5, 1}, ZeliSize{2, 4}}) {
        int s16, b16, s32, b32;
        zeliFilterBorderGetSize(k, {40, 30}, zel16s, zel16s, 1, &s16, &b16);
        zeliFilterBorderGetSize(k, {40, 30}, zel16s, zel32f, 1, &s32, &b32);
        EXPECT_TRUE(s16 == s32 && b16 == b32) << k.width << "x" << k.height;
    }
    int spec = 1, buf = 1;
    EXPECT_EQ(zeliFilterBorderGetSize({100, 100}, {1000000, 200}, zel32f, zel32f, 4, &spec, &buf), zelStsBufferSizeErr);
    EXPECT_TRUE(spec == 0 && buf == 0);
}

// Every argument check in its place, each failing call writing nothing.
TEST(FilterBorder, CheckOrder) {
    zt::Region out(64, 1, 64), dst(16, 4, 16), spec(4096, 1, 4096), buf(8192, 1, 8192), src(16, 4, 16);
    auto* ints = (int*)out.origin();
    auto* sp = (ZeliFilterBorderSpec*)spec.origin();
    const Zel16s k16[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    const Zel32f k32[9] = {};
    const Zel64f k64[9] = {};
    struct G { ZeliSize k, roi; int dt, kt, nc; int *s, *b; };
    zt::CheckOrder<G> g{{{3, 3}, {16, 4}, 1, 7, 1, ints, ints + 1}, [](const G& a) { return zeliFilterBorderGetSize(a.k, a.roi, a.dt, a.kt, a.nc, a.s, a.b); }, {&out}};
    g.row("kernel width 0", [](G& a) { a.k.width = 0; }, zelStsSizeErr).row("ROI height 0", [](G& a) { a.roi.height = 0; }, zelStsSizeErr);
    g.row("data type 2", [](G& a) { a.dt = 2; }, zelStsDataTypeErr).row("5 channels", [](G& a) { a.nc = 5; }, zelStsChannelErr);
    g.row("pSpecSize null", [](G& a) { a.s = nullptr; }, zelStsNullPtrErr).row("pBufferSize null", [](G& a) { a.b = nullptr; }, zelStsNullPtrErr);
    g.run();
    zt::CheckOrder<G> g64{{{3, 3}, {16, 4}, 19, 19, 1, ints, ints + 1}, [](const G& a) { return zeliFilterBorderGetSize(a.k, a.roi, a.dt, a.kt, a.nc, a.s, a.b); }, {&out}};
    g64.row("ROI width -1", [](G& a) { a.roi.width = -1; }, zelStsSizeErr).row("data type 13", [](G& a) { a.dt = 13; }, zelStsDataTypeErr);
    g64.row("2 channels", [](G& a) { a.nc = 2; }, zelStsChannelErr).row("pBufferSize null", [](G& a) { a.b = nullptr; }, zelStsNullPtrErr);
    g64.run();

    struct I { const void* k; ZeliSize ks; int div, dt, nc, rm; ZeliFilterBorderSpec* s; };
    auto init16 = [](const I& a) { return zeliFilterBorderInit_16s((const Zel16s*)a.k, a.ks, a.div, a.dt, a.nc, a.rm, a.s); };
    zt::CheckOrder<I> i16{{k16, {3, 3}, 16, 1, 1, 1, sp}, init16, {}};
    i16.row("pKernel null", [](I& a) { a.k = nullptr; }, zelStsNullPtrErr).row("pSpec null", [](I& a) { a.s = nullptr; }, zelStsNullPtrErr);
    i16.row("kernel height 0", [](I& a) { a.ks.height = 0; }, zelStsSizeErr).row("data type 13", [](I& a) { a.dt = 13; }, zelStsDataTypeErr);
    i16.row("0 channels", [](I& a) { a.nc = 0; }, zelStsChannelErr).row("round mode 3", [](I& a) { a.rm = 3; }, zelStsRoundModeErr);
    i16.row("divisor 0", [](I& a) { a.div = 0; }, zelStsDivisorErr);
    i16.run();
    EXPECT_EQ(init16({k16, {3, 3}, 16, zel16u, 1, 17, sp}), zelStsAccurateModeNotSupported);  // and the block is built
    EXPECT_EQ(init16({k16, {3, 3}, 16, zel16u, 5, 17, sp}), zelStsChannelErr);                // checking goes on
    EXPECT_EQ(init16({k16, {3, 3}, 16, zel16s, 1, 18, sp}), zelStsNoErr);
    zt::CheckOrder<I> i32{{k32, {3, 3}, 1, 13, 3, 2, sp}, [](const I& a) { return zeliFilterBorderInit_32f((const Zel32f*)a.k, a.ks, a.dt, a.nc, a.rm, a.s); }, {}};
    i32.row("pSpec null", [](I& a) { a.s = nullptr; }, zelStsNullPtrErr).row("kernel width -3", [](I& a) { a.ks.width = -3; }, zelStsSizeErr);
    i32.row("data type 19", [](I& a) { a.dt = 19; }, zelStsDataTypeErr).row("5 channels", [](I& a) { a.nc = 5; }, zelStsChannelErr);
    i32.row("round mode 32", [](I& a) { a.rm = 32; }, zelStsRoundModeErr);
    i32.run();
    zt::CheckOrder<I> i64{{k64, {3, 3}, 1, 19, 1, 17, sp}, [](const I& a) { return zeliFilterBorderInit_64f((const Zel64f*)a.k, a.ks, a.dt, a.nc, a.rm, a.s); }, {}};
    i64.row("pKernel null", [](I& a) { a.k = nullptr; }, zelStsNullPtrErr).row("kernel width 0", [](I& a) { a.ks.width = 0; }, zelStsSizeErr);
    i64.row("data type 13", [](I& a) { a.dt = 13; }, zelStsDataTypeErr).row("3 channels", [](I& a) { a.nc = 3; }, zelStsChannelErr);
    i64.row("round mode 2", [](I& a) { a.rm = 2; }, zelStsRoundModeErr);
    i64.run();

    // SetMode: an offset on a signed or float output is refused and the block is left as it was.
    ASSERT_EQ(zeliFilterBorderSetMode(zelAlgHintNone, 0, nullptr), zelStsNullPtrErr);
    for (int dt : {zel16s, zel32f}) {
        ASSERT_EQ(zeliFilterBorderInit_32f(k32, {3, 3}, dt, 1, 1, sp), zelStsNoErr);
        zt::Shadow before({&spec});
        EXPECT_EQ(zeliFilterBorderSetMode(zelAlgHintAccurate, 5, sp), zelStsNotSupportedModeErr);
        EXPECT_TRUE(before.matches());
    }

    ASSERT_EQ(zeliFilterBorderInit_16s(k16, {3, 3}, 16, zel8u, 1, 1, sp), zelStsNoErr);
    struct F { const Zel8u* src; int ss; Zel8u* dst; int ds; ZeliSize roi; unsigned border; const Zel8u* v; const ZeliFilterBorderSpec* sp; Zel8u* buf; };
    static const Zel8u v1[1] = {7};
    auto call = [](const F& a) { return zeliFilterBorder_8u_C1R(a.src, a.ss, a.dst, a.ds, a.roi, a.border, a.v, a.sp, a.buf); };
    zt::CheckOrder<F> fc{{src.origin(), 16, dst.origin(), 16, {16, 4}, 6, v1, sp, buf.origin()}, call, {&dst}};
    fc.row("pSrc null", [](F& a) { a.src = nullptr; }, zelStsNullPtrErr).row("pDst null", [](F& a) { a.dst = nullptr; }, zelStsNullPtrErr);
    fc.row("pSpec null", [](F& a) { a.sp = nullptr; }, zelStsNullPtrErr).row("pBuffer null", [](F& a) { a.buf = nullptr; }, zelStsNullPtrErr);
    fc.row("constant without value", [](F& a) { a.v = nullptr; }, zelStsNullPtrErr).row("width 0", [](F& a) { a.roi.width = 0; }, zelStsSizeErr);
    fc.row("srcStep 0", [](F& a) { a.ss = 0; }, zelStsStepErr).row("dstStep 15", [](F& a) { a.ds = 15; }, zelStsStepErr);
    fc.run();
    // Refused borders come last (a refused kind is not 6, so it needs no value).
    for (unsigned border : {2u, 4u, 5u, 7u, 15u, 256u, 0u, 6u | 256u}) {
        EXPECT_EQ(call({src.origin(), 16, dst.origin(), 16, {16, 4}, border, nullptr, sp, buf.origin()}), zelStsBorderErr) << border;
        EXPECT_EQ(call({src.origin(), 0, dst.origin(), 16, {16, 4}, border, nullptr, sp, buf.origin()}), zelStsStepErr) << border;
    }

    struct O { const Zel64f* src; Zel64f* dst; int ss, ds; ZeliSize roi; const Zel64f* k; ZeliSize ks; };
    zt::Region s64(8 * 20, 8, 8 * 20), d64(8 * 16, 4, 8 * 16);
    zt::CheckOrder<O> oc{{(const Zel64f*)s64.row(1) + 1, (Zel64f*)d64.origin(), 8 * 20, 8 * 16, {16, 4}, k64, {3, 3}},
                         [](const O& a) { return zeliFilter_64f_C1R(a.src, a.ss, a.dst, a.ds, a.roi, a.k, a.ks, {1, 1}, nullptr); }, {&d64}};
    oc.row("pKernel null", [](O& a) { a.k = nullptr; }, zelStsNullPtrErr).row("kernel width 0", [](O& a) { a.ks.width = 0; }, zelStsSizeErr);
    oc.row("srcStep one pixel short", [](O& a) { a.ss = 8 * 17; }, zelStsStepErr);
    oc.run();
}

}  // namespace
