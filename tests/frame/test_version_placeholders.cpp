// The version record, and the placeholders that stand in for exports not implemented yet:
// they return zelStsNotSupportedModeErr (or null, or nothing), read no argument and write
// nothing.
#include <dlfcn.h>

#include "zel_test_kit.h"

namespace {

TEST(Version, RecordValuesAndStrings) {
    const ZelLibraryVersion* v = zeliGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, zeliGetLibVersion()) << "one static record";
    EXPECT_EQ(v->major, 2021);
    EXPECT_EQ(v->minor, 11);
    EXPECT_EQ(v->majorBuild, 0);
    EXPECT_EQ((uint32_t)v->build, 0xCD107B02u);
    const char cpu[4] = {'n', '0', 0, 0};
    EXPECT_EQ(memcmp(v->targetCpu, cpu, 4), 0);
    EXPECT_STREQ(v->name, "zelIP AVX-512F/CD/ER/PF (n0)");
    EXPECT_STREQ(v->version, "2021.11.0 (r0xcd107b02)");
    EXPECT_STREQ(v->buildDate, "Jan 30 2024");
}

// Every export that is still a placeholder is called with pointers to guarded canary memory in
// every argument register: it must return its kind's failure value and write nothing.
TEST(Placeholders, EveryPlaceholderFailsAndWritesNothing) {
    zt::Rng rng = zt::Rng::forTest();
    std::vector<zt::Region> canaries;
    for (int i = 0; i < 6; ++i) canaries.emplace_back(256, 1, 256), canaries.back().randomize(rng);
    std::vector<const zt::Region*> watch;
    for (auto& c : canaries) watch.push_back(&c);
    void* a[6];
    for (int i = 0; i < 6; ++i) a[i] = canaries[i].origin();

    int placeholders = 0;
    for (auto& e : zt::exportTable()) {
        if (!zt::isPlaceholder(e.name)) continue;
        ++placeholders;
        void* fn = dlsym(RTLD_DEFAULT, e.name);
        zt::Shadow before(watch);
        const std::string kind = e.kind;
        if (kind == "status") EXPECT_EQ(zt::invoke(fn, a[0], a[1], a[2], a[3], a[4], a[5]), zelStsNotSupportedModeErr) << e.name;
        else if (kind == "null") EXPECT_EQ(zt::invoke<void*>(fn, a[0], a[1], a[2], a[3], a[4], a[5]), nullptr) << e.name;
        else zt::invoke<void>(fn, a[0], a[1], a[2], a[3], a[4], a[5]);
        EXPECT_TRUE(before.matches()) << e.name;
    }
    RecordProperty("placeholders", placeholders);
}

}  // namespace
