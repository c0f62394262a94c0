// The member table of the compositing families, the per-pixel model of each kind, and the
// two generic checks every member runs: the model on random geometry in guarded memory, and
// the argument-check order with canaries.
#include "alpha_members.h"

#include <memory>

namespace at {
namespace {

struct Shape {
    Kind kind;
    int ch = 4;             // samples per pixel of an interleaved image
    bool planar = false;    // four planes (AP4)
    bool inPlace = false;
    bool keep = false;      // AC4/AP4 constant forms: channel 3 of the destination is kept
    bool keyArray = true;   // the colour key is an array (C3, C4, AlphaCompColorKey)

    bool two() const { return kind != Kind::Premul && kind != Kind::PremulC; }
    bool typed() const { return kind == Kind::Comp || kind == Kind::CompC || kind == Kind::AlphaKey; }
    bool steps() const { return kind == Kind::Key || kind == Kind::AlphaKey; }
    int samples() const { return planar ? 4 : ch; }
};

template <class T>
void model_pixel(const Shape& s, const Args<T>& p, const T* a, const T* b, T* d) {
    using R = Ref<T>;
    const int n = s.samples();
    switch (s.kind) {
        case Kind::Comp: {
            auto aa = R::alpha(a[n - 1]), ab = R::alpha(b[n - 1]);
            for (int c = 0; c < n - 1; ++c) d[c] = R::colour(p.type, a[c], b[c], aa, ab);
            d[n - 1] = R::sat(R::pd(p.type, aa, ab, aa, ab));
            break;
        }
        case Kind::CompC:
            for (int c = 0; c < n; ++c)
                if (!(s.keep && c == 3)) d[c] = R::colour(p.type, a[c], b[c], R::alpha(p.a1), R::alpha(p.a2));
            break;
        case Kind::Premul: {
            T alpha = a[3];
            for (int c = 0; c < 3; ++c) d[c] = R::premul(a[c], R::alpha(alpha));
            d[3] = alpha;
            break;
        }
        case Kind::PremulC:
            for (int c = 0; c < n; ++c)
                if (!(s.keep && c == 3)) d[c] = R::premul(a[c], R::alpha(p.a1));
            break;
        case Kind::Key: {
            bool hit = true;
            for (int c = 0; c < n; ++c) hit &= a[c] == p.key[c];
            for (int c = 0; c < n; ++c) d[c] = hit ? b[c] : a[c];
            break;
        }
        case Kind::AlphaKey: {
            bool keyed = a[0] == p.key[0] && a[1] == p.key[1] && a[2] == p.key[2];
            for (int c = 0; c < 3; ++c)
                d[c] = R::colour(p.type, keyed ? T(0) : a[c], b[c], keyed ? 0 : R::alpha(p.a1), R::alpha(p.a2));
            break;
        }
    }
}

template <class T>
struct Trial {
    std::unique_ptr<Img<T>> A, B, D;
    std::unique_ptr<zt::Region> K;  // the key array, guarded
    Img<T>* dst = nullptr;
    Args<T> args;

    Trial(const Shape& s, zt::Rng& rng, zt::Tight t, int w, int h) {
        const int planes = s.planar ? 4 : 1, pix = s.ch * (int)sizeof(T);
        zt::StepPolicy pol;
        if (!s.steps()) pol.negative = 0.1, pol.zero = 0.05;
        auto img = [&] { return std::make_unique<Img<T>>(rng, w, h, s.ch, planes, zt::randomStep(rng, (int64_t)w * pix, pol), t); };
        A = img();
        if (s.two()) B = img();
        if (!s.inPlace) D = img();
        dst = s.inPlace ? (s.two() ? B.get() : A.get()) : D.get();
        for (int k = 0; k < planes; ++k) {
            args.a[k] = A->plane(k);
            if (B) args.b[k] = B->plane(k);
            if (D) args.d[k] = D->plane(k);
        }
        args.as = (int)A->step, args.bs = B ? (int)B->step : 0, args.ds = D ? (int)D->step : 0;
        args.roi = {w, h};
        args.type = (int)rng.range(0, 11);
        args.a1 = Img<T>::value(rng), args.a2 = Img<T>::value(rng);
        if (s.kind == Kind::Key || s.kind == Kind::AlphaKey) {  // a key that src1 holds often
            int n = s.kind == Kind::Key ? s.ch : 3;
            K = std::make_unique<zt::Region>(n * (int64_t)sizeof(T), 1, 0, t);
            for (int c = 0; c < n; ++c) ((T*)K->origin())[c] = *A->at((int)rng.range(0, w - 1), 0, c);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    if (rng.chance(0.3))
                        for (int c = 0; c < n; ++c) *A->at(x, y, c) = ((T*)K->origin())[c];
            args.key = (const T*)K->origin();
        }
    }
    std::vector<const zt::Region*> regions() const {
        std::vector<const zt::Region*> v;
        for (auto* i : {A.get(), B.get(), D.get()})
            if (i)
                for (auto& r : i->r) v.push_back(&r);
        if (K) v.push_back(K.get());
        return v;
    }
};

template <class T, class Call>
Member make(const char* name, Shape s, Call call) {
    auto matches = [=] {
        zt::forTrials(24, [&](zt::Rng& rng, zt::Tight tight, int trial) {
            int w = zt::randomWidth(rng, s.ch * sizeof(T)), h = zt::randomHeight(rng, (int64_t)w * s.ch * sizeof(T));
            Trial<T> t(s, rng, tight, w, h);
            t.args.type = trial % 12;
            zt::Shadow shadow(t.regions());
            ASSERT_EQ(call(t.args), zelStsNoErr);
            Img<T>* imgs[3] = {t.A.get(), t.B.get(), t.dst};
            const int n = s.samples();
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    T px[3][4] = {};
                    for (int i = 0; i < 3; ++i)
                        if (imgs[i])
                            for (int c = 0; c < n; ++c) memcpy(&px[i][c], shadow(imgs[i]->at(x, y, c)), sizeof(T));
                    Args<T> p = t.args;
                    p.key = t.K ? shadow(t.args.key) : nullptr;
                    model_pixel<T>(s, p, px[0], px[1], px[2]);
                    // The snapshot keeps the bytes, not the alignment, of the images.
                    for (int c = 0; c < n; ++c) memcpy(shadow(t.dst->at(x, y, c)), &px[2][c], sizeof(T));
                }
            EXPECT_TRUE(shadow.matches()) << name << " " << w << "x" << h << " alphaType " << t.args.type;
        });
    };
    auto order = [=] {
        zt::Rng rng = zt::Rng::forTest();
        Trial<T> t(s, rng, zt::Tight::End, (int)rng.range(1, 40), (int)rng.range(1, 4));
        zt::CheckOrder<Args<T>> co(t.args, call, t.regions());
        auto nulls = [&](const char* what, std::array<T*, 4> Args<T>::*img, bool Args<T>::*arr) {
            if (!s.planar) return (void)co.row(std::string(what) + " null", [=](Args<T>& a) { (a.*img)[0] = nullptr; }, zelStsNullPtrErr);
            co.row(std::string(what) + " array null", [=](Args<T>& a) { a.*arr = true; }, zelStsNullPtrErr);
            co.row(std::string(what) + " plane 3 null", [=](Args<T>& a) { (a.*img)[3] = nullptr; }, zelStsNullPtrErr);
        };
        nulls("pSrc1", &Args<T>::a, &Args<T>::aNull);
        if (s.two()) nulls("pSrc2", &Args<T>::b, &Args<T>::bNull);
        if (!s.inPlace) nulls("pDst", &Args<T>::d, &Args<T>::dNull);
        if (t.K && s.keyArray) co.row("colorKey null", [](Args<T>& a) { a.key = nullptr; }, zelStsNullPtrErr);
        co.row("width 0", [](Args<T>& a) { a.roi.width = 0; }, zelStsSizeErr);
        co.row("height -3", [](Args<T>& a) { a.roi.height = -3; }, zelStsSizeErr);
        if (s.steps()) {
            co.row("src1Step 0", [](Args<T>& a) { a.as = 0; }, zelStsStepErr);
            co.row("src2Step -4", [](Args<T>& a) { a.bs = -4; }, zelStsStepErr);
            co.row("dstStep 0", [](Args<T>& a) { a.ds = 0; }, zelStsStepErr);
        } else {
            co.ignored("steps 0 and negative", [](Args<T>& a) { a.as = 0, a.bs = -64, a.ds = 0; });
        }
        if (s.typed()) {
            co.row("alphaType 12", [](Args<T>& a) { a.type = 12; }, zelStsAlphaTypeErr);
            co.row("alphaType -1", [](Args<T>& a) { a.type = -1; }, zelStsAlphaTypeErr);
        }
        co.run();
    };
    return {name, matches, order};
}

using K = Kind;
#define M(T, n, ...) make<T>(#n, Shape{__VA_ARGS__}, [](const Args<T>& p) { return n

#define COMP(t, T)                                                                                       \
    M(T, zeliAlphaComp_##t##_AC4R, K::Comp, 4)(p.a[0], p.as, p.b[0], p.bs, p.d[0], p.ds, p.roi, p.type); }), \
    M(T, zeliAlphaComp_##t##_AC4IR, K::Comp, 4, false, true)(p.a[0], p.as, p.b[0], p.bs, p.roi, p.type); }), \
    M(T, zeliAlphaComp_##t##_AC1R, K::Comp, 1)(p.a[0], p.as, p.b[0], p.bs, p.d[0], p.ds, p.roi, p.type); })
#define COMP_P(t, T)                                                                                      \
    M(T, zeliAlphaComp_##t##_AP4R, K::Comp, 1, true)(p.pa(), p.as, p.pb(), p.bs, p.pd(), p.ds, p.roi, p.type); }), \
    M(T, zeliAlphaComp_##t##_AP4IR, K::Comp, 1, true, true)(p.pa(), p.as, p.pbd(), p.bs, p.roi, p.type); })
#define COMPC(t, T, L, ch, keep)                                                                          \
    M(T, zeliAlphaCompC_##t##_##L##R, K::CompC, ch, false, false, keep)(p.a[0], p.as, p.a1, p.b[0], p.bs, p.a2, \
                                                                       p.d[0], p.ds, p.roi, p.type); }), \
    M(T, zeliAlphaCompC_##t##_##L##IR, K::CompC, ch, false, true, keep)(p.a[0], p.as, p.a1, p.b[0], p.bs, p.a2, \
                                                                       p.roi, p.type); })
#define COMPC_ALL(t, T)                                                                                   \
    COMPC(t, T, C1, 1, false), COMPC(t, T, C3, 3, false), COMPC(t, T, C4, 4, false), COMPC(t, T, AC4, 4, true), \
    M(T, zeliAlphaCompC_##t##_AP4R, K::CompC, 1, true, false, true)(p.pa(), p.as, p.a1, p.pb(), p.bs, p.a2, \
                                                                    p.pd(), p.ds, p.roi, p.type); }), \
    M(T, zeliAlphaCompC_##t##_AP4IR, K::CompC, 1, true, true, true)(p.pa(), p.as, p.a1, p.pbd(), p.bs, p.a2, \
                                                                    p.roi, p.type); })
#define PREMULC(t, T, L, ch, keep)                                                                        \
    M(T, zeliAlphaPremulC_##t##_##L##R, K::PremulC, ch, false, false, keep)(p.a[0], p.as, p.a1, p.d[0], p.ds, \
                                                                           p.roi); }), \
    M(T, zeliAlphaPremulC_##t##_##L##IR, K::PremulC, ch, false, true, keep)(p.a1, p.a[0], p.as, p.roi); })
#define PREMUL(t, T)                                                                                      \
    M(T, zeliAlphaPremul_##t##_AC4R, K::Premul, 4)(p.a[0], p.as, p.d[0], p.ds, p.roi); }),                 \
    M(T, zeliAlphaPremul_##t##_AC4IR, K::Premul, 4, false, true)(p.a[0], p.as, p.roi); }),                 \
    M(T, zeliAlphaPremul_##t##_AP4R, K::Premul, 1, true)(p.pa(), p.as, p.pd(), p.ds, p.roi); }),           \
    M(T, zeliAlphaPremul_##t##_AP4IR, K::Premul, 1, true, true)(p.pad(), p.as, p.roi); }),                 \
    PREMULC(t, T, C1, 1, false), PREMULC(t, T, C3, 3, false), PREMULC(t, T, C4, 4, false),                 \
    PREMULC(t, T, AC4, 4, true),                                                                           \
    M(T, zeliAlphaPremulC_##t##_AP4R, K::PremulC, 1, true, false, true)(p.pa(), p.as, p.a1, p.pd(), p.ds, p.roi); }), \
    M(T, zeliAlphaPremulC_##t##_AP4IR, K::PremulC, 1, true, true, true)(p.a1, p.pad(), p.as, p.roi); })
#define KEY(t, T)                                                                                         \
    M(T, zeliCompColorKey_##t##_C1R, K::Key, 1, false, false, false, false)(p.a[0], p.as, p.b[0], p.bs, p.d[0], \
                                                                          p.ds, p.roi, p.key ? *p.key : T(0)); }), \
    M(T, zeliCompColorKey_##t##_C3R, K::Key, 3)(p.a[0], p.as, p.b[0], p.bs, p.d[0], p.ds, p.roi, p.key); }), \
    M(T, zeliCompColorKey_##t##_C4R, K::Key, 4)(p.a[0], p.as, p.b[0], p.bs, p.d[0], p.ds, p.roi, p.key); })

}  // namespace

const std::vector<Member>& members() {
    static const std::vector<Member> table = {
        COMP(8u, Zel8u), COMP(16u, Zel16u), COMP(16s, Zel16s), COMP(32s, Zel32s), COMP(32u, Zel32u), COMP(32f, Zel32f),
        COMP_P(8u, Zel8u), COMP_P(16u, Zel16u),
        COMPC_ALL(8u, Zel8u), COMPC_ALL(16u, Zel16u), COMPC(16s, Zel16s, C1, 1, false),
        COMPC(32s, Zel32s, C1, 1, false), COMPC(32u, Zel32u, C1, 1, false), COMPC(32f, Zel32f, C1, 1, false),
        PREMUL(8u, Zel8u), PREMUL(16u, Zel16u),
        KEY(8u, Zel8u), KEY(16u, Zel16u), KEY(16s, Zel16s),
        M(Zel8u, zeliAlphaCompColorKey_8u_AC4R, K::AlphaKey, 4)(p.a[0], p.as, p.a1, p.b[0], p.bs, p.a2, p.d[0], p.ds,
                                                                p.roi, p.key, p.type); }),
    };
    return table;
}

}  // namespace at
