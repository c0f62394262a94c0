// The test kit's own promises that every other test relies on: guard pages fault on both
// sides of a region, and an argument-check table catches a check made out of order.
#include <gtest/gtest-spi.h>

#include "zel_test_kit.h"

namespace {

TEST(TestKitDeathTest, GuardPagesFaultOnBothSides) {
    for (zt::Tight tight : zt::kTightSides) {
        zt::Region r(100, 3, -130, tight);
        volatile uint8_t* lo = r.lo();
        volatile uint8_t* hi = r.lo() + r.extent();
        uint8_t first = lo[0], last = hi[-1];  // the described bytes are there
        lo[0] = first;
        hi[-1] = last;
        if (tight == zt::Tight::Start) EXPECT_DEATH(lo[-1] = 1, "");
        else EXPECT_DEATH(hi[0] = 1, "");
        EXPECT_EQ(r.row(0), r.origin());
        EXPECT_EQ(r.row(2), r.lo());  // a negative step puts the last row lowest
    }
}

TEST(TestKit, CheckOrderCatchesAChecksOutOfOrder) {
    struct A {
        const void* p;
        int size;
    };
    // Checks the size before the pointer although the table says pointer first.
    auto call = [](const A& a) -> ZelStatus { return a.size < 1 ? zelStsSizeErr : !a.p ? zelStsNullPtrErr : 0; };
    int x = 0;
    zt::CheckOrder<A> co({&x, 1}, call, {});
    co.row("p null", [](A& a) { a.p = nullptr; }, zelStsNullPtrErr);
    co.row("size 0", [](A& a) { a.size = 0; }, zelStsSizeErr);
    ::testing::TestPartResultArray failures;
    {
        ::testing::ScopedFakeTestPartResultReporter reporter(
            ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        co.run();
    }
    EXPECT_EQ(failures.size(), 1) << "exactly the combined row fails";
}

}  // namespace
