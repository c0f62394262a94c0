// Alpha composition, premultiplication and colour keys. Every member, read from its export name,
// runs against one scalar model per kind on random geometry in guarded memory, and through its
// check order; every 8-bit (colour, alpha) pair goes through premultiplication and each operator;
// the choices the library made are pinned by example.
//
// The model: integer types divide a product by their largest value M rounding to nearest (the
// magnitude for signed types), take a negative alpha as 0 and saturate; 32f computes the same
// equations in single precision with alpha 1.0 opaque, a product followed by a sum fused.
// Inputs of types 0..5 are premultiplied first; results stay premultiplied.
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include "zel_test_kit.h"

namespace {

template <class T>
struct Ref {
    static constexpr bool kFloat = std::is_floating_point_v<T>;
    using W = std::conditional_t<kFloat, float, __int128>;
    static W M() { return kFloat ? W(1) : W(std::numeric_limits<T>::max()); }
    static W alpha(T a) { return !kFloat && a < 0 ? W(0) : W(a); }
    static W div(W t) {  // t / M rounded to nearest; M is odd, so there are no ties
        if constexpr (kFloat) return t;
        else {
            W m = M(), q = ((t < 0 ? -t : t) * 2 + m) / (2 * m);
            return t < 0 ? -q : q;
        }
    }
    static T sat(W v) {
        if constexpr (kFloat) return v;
        else return (T)std::min<W>(std::max<W>(v, std::numeric_limits<T>::min()), std::numeric_limits<T>::max());
    }
    // The Porter-Duff equation of alphaType % 6 on premultiplied a, b with alphas aa, ab.
    static W pd(int type, W a, W b, W aa, W ab) {
        W m = M();
        if constexpr (kFloat) {  // a product and the sum after it: one rounding
            switch (type % 6) {
                case 0: return std::fma(b, m - aa, a);
                case 1: return a * ab;
                case 2: return a * (m - ab);
                case 3: return std::fma(a, ab, b * (m - aa));
                case 4: return std::fma(a, m - ab, b * (m - aa));
                default: return a + b;
            }
        }
        switch (type % 6) {
            case 0: return a + div(b * (m - aa));
            case 1: return div(a * ab);
            case 2: return div(a * (m - ab));
            case 3: return div(a * ab) + div(b * (m - aa));
            case 4: return div(a * (m - ab)) + div(b * (m - aa));
            default: return a + b;
        }
    }
    static T colour(int type, T a, T b, W aa, W ab) {
        bool pre = type >= 6;
        if constexpr (kFloat)
            if (type == 5) return std::fma(a, aa, b * ab);
        return sat(pd(type, pre ? W(a) : div(W(a) * aa), pre ? W(b) : div(W(b) * ab), aa, ab));
    }
    static T premul(T c, W a) { return sat(div(W(c) * a)); }
};

enum class Kind { Comp, CompC, Premul, PremulC, Key, AlphaKey };

struct Member : zt::Name {
    Kind kind = Kind::Comp;
    bool keep = false;  // AC4 and AP4 constant forms keep channel 3 of the destination
    bool two() const { return kind != Kind::Premul && kind != Kind::PremulC; }
    bool typed() const { return kind == Kind::Comp || kind == Kind::CompC || kind == Kind::AlphaKey; }
    bool steps() const { return kind == Kind::Key || kind == Kind::AlphaKey; }
    int ch() const { return planar ? 1 : channels; }      // samples per pixel of one image
    int samples() const { return planar ? 4 : channels; }  // per pixel, over every plane
};

std::vector<Member> members() {
    static const std::map<std::string, Kind> kinds = {
        {"AlphaComp", Kind::Comp}, {"AlphaCompC", Kind::CompC}, {"AlphaPremul", Kind::Premul},
        {"AlphaPremulC", Kind::PremulC}, {"CompColorKey", Kind::Key}, {"AlphaCompColorKey", Kind::AlphaKey}};
    std::vector<Member> v;
    for (auto& n : zt::namesOf({"AlphaComp", "AlphaCompC", "AlphaPremul, AlphaPremulC", "CompColorKey, AlphaCompColorKey"})) {
        Member m;
        static_cast<zt::Name&>(m) = n;
        m.kind = kinds.at(n.op);
        m.keep = (m.kind == Kind::CompC || m.kind == Kind::PremulC) && (n.layout == "AC4" || n.planar);
        v.push_back(m);
    }
    return v;
}

// Everything a member takes. Images are plane pointers (interleaved images use [0]); in place,
// b (a for premultiplication) is the destination too.
template <class T>
struct Args {
    std::array<T*, 4> a{}, b{}, d{};
    bool aNull = false, bNull = false, dNull = false;  // the plane array itself is null
    int as = 0, bs = 0, ds = 0;
    ZeliSize roi{};
    int type = 0;
    T a1{}, a2{};
    const T* key = nullptr;
};

template <class T>
ZelStatus call(const Member& m, const Args<T>& p) {
    auto img = [&](const std::array<T*, 4>& planes, bool null) -> const void* {
        return !m.planar ? (const void*)planes[0] : null ? nullptr : (const void*)planes.data();
    };
    const void *A = img(p.a, p.aNull), *B = img(p.b, p.bNull), *D = img(p.d, p.dNull);
    void* f = m.fn;
    switch (m.kind) {
        case Kind::Comp:
            return m.inPlace ? zt::invoke(f, A, p.as, B, p.bs, p.roi, p.type) : zt::invoke(f, A, p.as, B, p.bs, D, p.ds, p.roi, p.type);
        case Kind::CompC:
            return m.inPlace ? zt::invoke(f, A, p.as, p.a1, B, p.bs, p.a2, p.roi, p.type)
                             : zt::invoke(f, A, p.as, p.a1, B, p.bs, p.a2, D, p.ds, p.roi, p.type);
        case Kind::Premul: return m.inPlace ? zt::invoke(f, A, p.as, p.roi) : zt::invoke(f, A, p.as, D, p.ds, p.roi);
        case Kind::PremulC: return m.inPlace ? zt::invoke(f, p.a1, A, p.as, p.roi) : zt::invoke(f, A, p.as, p.a1, D, p.ds, p.roi);
        case Kind::Key:
            if (m.layout == "C1") return zt::invoke(f, A, p.as, B, p.bs, D, p.ds, p.roi, p.key ? *p.key : T(0));
            return zt::invoke(f, A, p.as, B, p.bs, D, p.ds, p.roi, p.key);
        default: return zt::invoke(f, A, p.as, p.a1, B, p.bs, p.a2, D, p.ds, p.roi, p.key, p.type);
    }
}

template <class T>
void modelPixel(const Member& m, const Args<T>& p, const T* a, const T* b, T* d) {
    using R = Ref<T>;
    const int n = m.samples();
    switch (m.kind) {
        case Kind::Comp: {
            auto aa = R::alpha(a[n - 1]), ab = R::alpha(b[n - 1]);
            for (int c = 0; c < n - 1; ++c) d[c] = R::colour(p.type, a[c], b[c], aa, ab);
            d[n - 1] = R::sat(R::pd(p.type, aa, ab, aa, ab));
            break;
        }
        case Kind::CompC:
            for (int c = 0; c < n - m.keep; ++c) d[c] = R::colour(p.type, a[c], b[c], R::alpha(p.a1), R::alpha(p.a2));
            break;
        case Kind::Premul:
            for (int c = 0; c < 3; ++c) d[c] = R::premul(a[c], R::alpha(a[3]));
            d[3] = a[3];
            break;
        case Kind::PremulC:
            for (int c = 0; c < n - m.keep; ++c) d[c] = R::premul(a[c], R::alpha(p.a1));
            break;
        case Kind::Key: {
            bool hit = std::equal(a, a + n, p.key);
            for (int c = 0; c < n; ++c) d[c] = hit ? b[c] : a[c];
            break;
        }
        case Kind::AlphaKey: {
            bool keyed = std::equal(a, a + 3, p.key);
            for (int c = 0; c < 3; ++c)
                d[c] = R::colour(p.type, keyed ? T(0) : a[c], b[c], keyed ? 0 : R::alpha(p.a1), R::alpha(p.a2));
            break;
        }
    }
}

template <class T>
T value(zt::Rng& rng) {
    if (rng.chance(0.25)) {
        const T special[] = {T(0), T(1), std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest()};
        return std::is_floating_point_v<T> ? T(rng.range(0, 1)) : rng.pick(special);
    }
    if constexpr (std::is_floating_point_v<T>) return T(rng.range(-1000, 5000) / 4000.0);
    else return rng.bits<T>();
}

// One guarded image: one region of interleaved pixels, or four planes sharing the step; rows
// start on whole samples.
template <class T>
struct Img {
    std::vector<zt::Region> r;
    int ch;
    int64_t step;
    Img(zt::Rng& rng, int w, int h, int ch_, int planes, int64_t step_, zt::Tight t) : ch(ch_), step(step_) {
        for (int k = 0; k < planes; ++k) {
            int64_t slack = rng.chance(0.5) ? 0 : rng.range(1, 15) * (int64_t)sizeof(T);  // mostly right at the guard
            r.emplace_back((int64_t)w * ch * sizeof(T), h, step, t, slack, sizeof(T));
            for (int64_t i = 0; i + (int64_t)sizeof(T) <= r.back().extent(); i += sizeof(T)) {
                T v = value<T>(rng);
                memcpy(r.back().lo() + i, &v, sizeof v);
            }
        }
    }
    T* at(int x, int y, int c) const {  // rows advance by the step reduced to whole samples
        bool one = r.size() == 1;
        return (T*)(r[one ? 0 : c].origin() + step / (int64_t)sizeof(T) * (int64_t)sizeof(T) * y) + (int64_t)x * ch + (one ? c : 0);
    }
};

template <class T>
struct Trial {
    std::unique_ptr<Img<T>> A, B, D;
    std::unique_ptr<zt::Region> K;  // the key, guarded
    Img<T>* dst = nullptr;
    Args<T> args;

    Trial(const Member& m, zt::Rng& rng, zt::Tight t, int w, int h) {
        const int planes = m.planar ? 4 : 1;
        zt::StepPolicy pol;
        if (!m.steps()) pol.negative = 0.1, pol.zero = 0.05;
        auto img = [&] { return std::make_unique<Img<T>>(rng, w, h, m.ch(), planes, zt::randomStep(rng, (int64_t)w * m.ch() * sizeof(T), pol), t); };
        A = img();
        if (m.two()) B = img();
        if (!m.inPlace) D = img();
        dst = m.inPlace ? (m.two() ? B.get() : A.get()) : D.get();
        for (int k = 0; k < planes; ++k) {
            args.a[k] = (T*)A->r[k].origin();
            if (B) args.b[k] = (T*)B->r[k].origin();
            if (D) args.d[k] = (T*)D->r[k].origin();
        }
        args.as = (int)A->step, args.bs = B ? (int)B->step : 0, args.ds = D ? (int)D->step : 0;
        args.roi = {w, h};
        args.type = (int)rng.range(0, 11);
        args.a1 = value<T>(rng), args.a2 = value<T>(rng);
        if (m.kind == Kind::Key || m.kind == Kind::AlphaKey) {  // a key that src1 holds often
            int n = m.kind == Kind::Key ? m.channels : 3;
            K = std::make_unique<zt::Region>(n * (int64_t)sizeof(T), 1, 0, t);
            T* key = (T*)K->origin();
            for (int c = 0; c < n; ++c) key[c] = *A->at((int)rng.range(0, w - 1), 0, c);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    if (rng.chance(0.3)) std::copy(key, key + n, A->at(x, y, 0));
            args.key = key;
        }
    }
    std::vector<const zt::Region*> regions() const {
        std::vector<const zt::Region*> v;
        for (auto* i : {A.get(), B.get(), D.get()})
            for (size_t k = 0; i && k < i->r.size(); ++k) v.push_back(&i->r[k]);
        if (K) v.push_back(K.get());
        return v;
    }
};

template <class T>
void matchesModel(const Member& m) {
    zt::forTrials(24, [&](zt::Rng& rng, zt::Tight tight, int trial) {
        int w = zt::randomWidth(rng, m.ch() * sizeof(T)), h = zt::randomHeight(rng, (int64_t)w * m.ch() * sizeof(T));
        Trial<T> t(m, rng, tight, w, h);
        t.args.type = trial % 12;
        zt::Shadow shadow(t.regions());
        ASSERT_EQ(call(m, t.args), zelStsNoErr);
        Img<T>* imgs[3] = {t.A.get(), t.B.get(), t.dst};
        Args<T> p = t.args;
        p.key = shadow(t.args.key);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                T px[3][4] = {};
                for (int i = 0; i < 3; ++i)
                    for (int c = 0; imgs[i] && c < m.samples(); ++c) memcpy(&px[i][c], shadow(imgs[i]->at(x, y, c)), sizeof(T));
                modelPixel<T>(m, p, px[0], px[1], px[2]);
                for (int c = 0; c < m.samples(); ++c) memcpy(shadow(t.dst->at(x, y, c)), &px[2][c], sizeof(T));
            }
        EXPECT_TRUE(shadow.matches()) << w << "x" << h << " alphaType " << t.args.type;
    });
}

template <class T>
void checksInOrder(const Member& m) {
    zt::Rng rng = zt::Rng::forTest();
    Trial<T> t(m, rng, zt::Tight::End, (int)rng.range(1, 40), (int)rng.range(1, 4));
    zt::CheckOrder<Args<T>> co(t.args, [&](const Args<T>& a) { return call(m, a); }, t.regions());
    auto nulls = [&](const char* what, std::array<T*, 4> Args<T>::*img, bool Args<T>::*arr) {
        if (!m.planar) return (void)co.row(std::string(what) + " null", [=](Args<T>& a) { (a.*img)[0] = nullptr; }, zelStsNullPtrErr);
        co.row(std::string(what) + " array null", [=](Args<T>& a) { a.*arr = true; }, zelStsNullPtrErr);
        co.row(std::string(what) + " plane 3 null", [=](Args<T>& a) { (a.*img)[3] = nullptr; }, zelStsNullPtrErr);
    };
    nulls("pSrc1", &Args<T>::a, &Args<T>::aNull);
    if (m.two()) nulls("pSrc2", &Args<T>::b, &Args<T>::bNull);
    if (!m.inPlace) nulls("pDst", &Args<T>::d, &Args<T>::dNull);
    if (t.K && m.layout != "C1") co.row("colorKey null", [](Args<T>& a) { a.key = nullptr; }, zelStsNullPtrErr);
    co.row("width 0", [](Args<T>& a) { a.roi.width = 0; }, zelStsSizeErr);
    co.row("height -3", [](Args<T>& a) { a.roi.height = -3; }, zelStsSizeErr);
    if (m.steps()) {
        co.row("src1Step 0", [](Args<T>& a) { a.as = 0; }, zelStsStepErr);
        co.row("src2Step -4", [](Args<T>& a) { a.bs = -4; }, zelStsStepErr);
        co.row("dstStep 0", [](Args<T>& a) { a.ds = 0; }, zelStsStepErr);
    } else {
        co.ignored("steps 0 and negative", [](Args<T>& a) { a.as = 0, a.bs = -64, a.ds = 0; });
    }
    if (m.typed()) {
        co.row("alphaType 12", [](Args<T>& a) { a.type = 12; }, zelStsAlphaTypeErr);
        co.row("alphaType -1", [](Args<T>& a) { a.type = -1; }, zelStsAlphaTypeErr);
    }
    co.run();
}

class Compositing : public ::testing::TestWithParam<Member> {};

TEST_P(Compositing, MatchesModel) {
    zt::withType(GetParam().type, [&](auto tag) { matchesModel<typename decltype(tag)::type>(GetParam()); });
}

TEST_P(Compositing, ChecksArgumentsInOrder) {
    zt::withType(GetParam().type, [&](auto tag) { checksInOrder<typename decltype(tag)::type>(GetParam()); });
}

INSTANTIATE_TEST_SUITE_P(Alpha, Compositing, ::testing::ValuesIn(members()), zt::paramName);

// Every 8-bit (colour, alpha) pair of the first image through premultiplication and, against
// 48 sampled pixels of the second, through every operator: pixel (x, y) has colours x, 255 - x,
// x ^ 0x5a and alpha y.
TEST(Alpha8u, EveryColourAlphaPair) {
    std::vector<Zel8u> a(256 * 256 * 4), b(a.size()), d(a.size());
    for (size_t i = 0; i < a.size(); i += 4) a[i] = (Zel8u)(i / 4), a[i + 1] = (Zel8u)~a[i], a[i + 2] = a[i] ^ 0x5a, a[i + 3] = (Zel8u)(i / 1024);
    Args<Zel8u> p;
    p.a[0] = a.data(), p.b[0] = b.data(), p.d[0] = d.data(), p.as = p.bs = p.ds = 1024, p.roi = {256, 256};
    auto expectModel = [&](const Member& m) {
        ASSERT_EQ(call(m, p), zelStsNoErr);
        for (size_t i = 0; i < a.size(); i += 4) {
            Zel8u want[4];
            modelPixel<Zel8u>(m, p, &a[i], &b[i], want);
            ASSERT_EQ(memcmp(want, &d[i], 4), 0) << m.name << " type " << p.type << " A " << +a[i] << "/" << +a[i + 3] << " B "
                                                 << +b[i] << "/" << +b[i + 3];
            if (m.kind == Kind::Comp && p.type % 6 == 0 && a[i + 3] == 255) {
                ASSERT_EQ(d[i], a[i]) << "opaque A over anything";
            }
        }
    };
    const auto all = members();
    auto named = [&](const char* n) { return *std::find_if(all.begin(), all.end(), [&](const Member& m) { return m.name == n; }); };
    expectModel(named("zeliAlphaPremul_8u_AC4R"));
    const Member comp = named("zeliAlphaComp_8u_AC4R");
    zt::Rng rng = zt::Rng::forTest();
    for (int sample = 0; sample < 48 && !HasFailure(); ++sample) {
        Zel8u bp[4];
        rng.fill(bp, 4);
        if (sample < 3) bp[3] = sample == 0 ? 0 : sample == 1 ? 255 : 128;
        for (size_t i = 0; i < b.size(); i += 4) memcpy(&b[i], bp, 4);
        for (p.type = 0; p.type < 12; ++p.type) expectModel(comp);
    }
}

// The open choices: plain inputs are premultiplied and the result stays premultiplied; signed
// alpha below 0 is transparent; 32f alpha 1.0 is opaque and nothing is clamped; a keyed pixel
// of AlphaCompColorKey is transparent and channel 3 of its destination is kept.
TEST(AlphaCompChoices, ByExample) {
    const Zel8u a[4] = {200, 200, 200, 128}, b[4] = {100, 100, 100, 0};
    Zel8u d[4];
    ASSERT_EQ(zeliAlphaComp_8u_AC4R(a, 4, b, 4, d, 4, {1, 1}, zelAlphaOver), 0);
    EXPECT_EQ(std::vector<int>(d, d + 4), (std::vector<int>{100, 100, 100, 128}));  // 200 * 128 / 255, not 200
    const Zel16s sa[4] = {1000, -1000, 7, -5}, sb[4] = {-300, 300, 9, 32767};
    Zel16s sd[4];
    ASSERT_EQ(zeliAlphaComp_16s_AC4R(sa, 8, sb, 8, sd, 8, {1, 1}, zelAlphaOverPremul), 0);
    EXPECT_EQ(sd[0], 1000 - 300);  // alpha -5 counts as 0: B shows through whole
    EXPECT_EQ(sd[3], 32767);
    const Zel32f fa[4] = {0.5f, 2.0f, -1.0f, 0.5f}, fb[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    Zel32f fd[4];
    ASSERT_EQ(zeliAlphaComp_32f_AC4R(fa, 16, fb, 16, fd, 16, {1, 1}, zelAlphaOver), 0);
    EXPECT_EQ(std::vector<float>(fd, fd + 4), (std::vector<float>{0.75f, 1.5f, 0.0f, 1.0f}));  // 1.5: above 1, kept
    const Zel8u ka[8] = {10, 20, 30, 77, 200, 200, 200, 77}, kb[8] = {90, 90, 90, 5, 90, 90, 90, 6}, key[3] = {10, 20, 30};
    Zel8u kd[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    ASSERT_EQ(zeliAlphaCompColorKey_8u_AC4R(ka, 32, 255, kb, 32, 255, kd, 32, {2, 1}, key, zelAlphaOver), 0);
    EXPECT_EQ(std::vector<int>(kd, kd + 8), (std::vector<int>{90, 90, 90, 1, 200, 200, 200, 1}));  // keyed: B alone
}

}  // namespace
