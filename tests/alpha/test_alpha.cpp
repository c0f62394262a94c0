// Alpha composition, premultiplication and colour keys: every member against the model on
// random geometry and its check order; every 8-bit (colour, alpha) pair through
// premultiplication and through each operator; the choices the library made, pinned.
#include <set>

#include "alpha_members.h"

namespace {

using at::Member;
using R8 = at::Ref<Zel8u>;

std::vector<const Member*> all() {
    std::vector<const Member*> v;
    for (auto& m : at::members()) v.push_back(&m);
    return v;
}

class Compositing : public ::testing::TestWithParam<const Member*> {};

TEST_P(Compositing, MatchesModel) {
    ZT_SKIP_IF_PLACEHOLDER(GetParam()->name.c_str());
    GetParam()->matchesModel();
}

TEST_P(Compositing, ChecksArgumentsInOrder) {
    ZT_SKIP_IF_PLACEHOLDER(GetParam()->name.c_str());
    GetParam()->checksInOrder();
}

INSTANTIATE_TEST_SUITE_P(Alpha, Compositing, ::testing::ValuesIn(all()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(CompositingTable, CoversEveryExportOfTheFamilies) {
    auto names = zt::exportsOf({"AlphaComp", "AlphaCompC", "AlphaPremul, AlphaPremulC", "CompColorKey, AlphaCompColorKey"});
    std::set<std::string> tested;
    for (auto& m : at::members()) EXPECT_TRUE(tested.insert(m.name).second) << m.name << " twice";
    for (auto& n : names) EXPECT_TRUE(tested.count(n)) << n << " has no row in the member table";
    EXPECT_EQ(tested.size(), names.size());
}

// A 256x256 AC4 image whose pixel (x, y) has colour channels x and alpha y.
std::vector<Zel8u> allPairs() {
    std::vector<Zel8u> v(256 * 256 * 4);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            Zel8u* p = &v[(y * 256 + x) * 4];
            p[0] = (Zel8u)x, p[1] = (Zel8u)(255 - x), p[2] = (Zel8u)(x ^ 0x5a), p[3] = (Zel8u)y;
        }
    return v;
}

TEST(AlphaPremul8u, EveryColourAlphaPair) {
    auto src = allPairs();
    std::vector<Zel8u> dst(src.size());
    ASSERT_EQ(zeliAlphaPremul_8u_AC4R(src.data(), 1024, dst.data(), 1024, {256, 256}), zelStsNoErr);
    for (size_t i = 0; i < src.size(); i += 4) {
        int a = src[i + 3];
        for (int c = 0; c < 3; ++c) {
            int t = src[i + c] * a;  // the div255 rule, and t / 255 rounded to nearest
            ASSERT_EQ(dst[i + c], ((t + 128) + ((t + 128) >> 8)) >> 8) << "c " << (int)src[i + c] << " a " << a;
            ASSERT_EQ(dst[i + c], (int)R8::div(t));
        }
        ASSERT_EQ(dst[i + 3], a);
    }
    EXPECT_EQ(dst[(128 * 256 + 255) * 4], 128);  // c 255, a 128
    EXPECT_EQ(dst[(128 * 256 + 1) * 4], 1);      // c 1, a 128: 0.502 rounds up
}

// Every (A, alpha A) against 48 sampled (B, alpha B), for every operator, plain and
// premultiplied.
TEST(AlphaComp8u, EveryColourAlphaPairOfTheFirstImage) {
    auto a = allPairs();
    std::vector<Zel8u> b(a.size()), d(a.size());
    zt::Rng rng = zt::Rng::forTest();
    for (int sample = 0; sample < 48; ++sample) {
        Zel8u bp[4];
        rng.fill(bp, 4);
        if (sample < 3) bp[3] = sample == 0 ? 0 : sample == 1 ? 255 : 128;
        for (size_t i = 0; i < b.size(); i += 4) memcpy(&b[i], bp, 4);
        for (int type = 0; type < 12; ++type) {
            ASSERT_EQ(zeliAlphaComp_8u_AC4R(a.data(), 1024, b.data(), 1024, d.data(), 1024, {256, 256}, type), 0);
            for (size_t i = 0; i < a.size(); i += 4) {
                auto aa = R8::alpha(a[i + 3]), ab = R8::alpha(bp[3]);
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(d[i + c], R8::colour(type, a[i + c], bp[c], aa, ab))
                        << "type " << type << " A " << (int)a[i + c] << "/" << (int)a[i + 3] << " B " << (int)bp[c]
                        << "/" << (int)bp[3];
                ASSERT_EQ(d[i + 3], R8::sat(R8::pd(type, aa, ab, aa, ab)));
                if (type % 6 == 0 && a[i + 3] == 255) {
                    ASSERT_EQ(d[i], a[i]);  // opaque A over anything: A
                }
            }
        }
    }
}

// The open choices: plain inputs are premultiplied and the result stays premultiplied; signed
// alpha below 0 is transparent; 32f alpha 1.0 is opaque and nothing is clamped.
TEST(AlphaCompChoices, ResultsArePremultiplied) {
    const Zel8u a[4] = {200, 200, 200, 128}, b[4] = {100, 100, 100, 0};
    Zel8u d[4];
    ASSERT_EQ(zeliAlphaComp_8u_AC4R(a, 4, b, 4, d, 4, {1, 1}, zelAlphaOver), 0);
    EXPECT_EQ(d[0], 100);  // 200 * 128 / 255, not 200
    EXPECT_EQ(d[3], 128);
    const Zel16s sa[4] = {1000, -1000, 7, -5}, sb[4] = {-300, 300, 9, 32767};
    Zel16s sd[4];
    ASSERT_EQ(zeliAlphaComp_16s_AC4R(sa, 8, sb, 8, sd, 8, {1, 1}, zelAlphaOverPremul), 0);
    EXPECT_EQ(sd[0], 1000 - 300);  // alpha -5 counts as 0: B shows through whole
    EXPECT_EQ(sd[3], 32767);
    const Zel32f fa[4] = {0.5f, 2.0f, -1.0f, 0.5f}, fb[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    Zel32f fd[4];
    ASSERT_EQ(zeliAlphaComp_32f_AC4R(fa, 16, fb, 16, fd, 16, {1, 1}, zelAlphaOver), 0);
    EXPECT_EQ(fd[0], 0.75f);
    EXPECT_EQ(fd[1], 1.5f);  // 2.0 * 0.5 + 0.5: above 1, kept
    EXPECT_EQ(fd[2], 0.0f);
    EXPECT_EQ(fd[3], 1.0f);
}

TEST(AlphaCompColorKey8u, KeyedPixelsAreTransparent) {
    const Zel8u a[8] = {10, 20, 30, 77, 200, 200, 200, 77}, b[8] = {90, 90, 90, 5, 90, 90, 90, 6};
    const Zel8u key[3] = {10, 20, 30};
    Zel8u d[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    ASSERT_EQ(zeliAlphaCompColorKey_8u_AC4R(a, 32, 255, b, 32, 255, d, 32, {2, 1}, key, zelAlphaOver), 0);
    EXPECT_EQ(d[0], 90);   // keyed: B alone
    EXPECT_EQ(d[4], 200);  // opaque A over B
    EXPECT_EQ(d[3], 1);    // channel 3 kept
    EXPECT_EQ(d[7], 1);
}

}  // namespace
