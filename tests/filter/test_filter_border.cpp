// The general 2-D filter against a scalar model of its rules: a true convolution of the
// caller's kernel with the fixed anchor, the paths' arithmetic (exact integer sums with the
// divisor rule, float sums with offset and round mode, double sums), on random geometry, with
// the source's flagged margins, the destination, the spec and a work buffer of exactly the
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

// Builds the spec of f for T and channels into a block of exactly the queried size.
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

}  // namespace
