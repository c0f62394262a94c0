// Every member of Copy, CopyManaged, Set, SwapChannels and Dup against the scalar model on
// random geometry inside guarded memory, and its whole argument-check order.
#include <set>

#include "copy_members.h"

namespace {

using ct::Member;

std::vector<const Member*> all() {
    std::vector<const Member*> v;
    for (auto& m : ct::members()) v.push_back(&m);
    return v;
}

class DataMovement : public ::testing::TestWithParam<const Member*> {};

TEST_P(DataMovement, MatchesScalarModel) {
    const Member& m = *GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::forTrials(12, [&](zt::Rng& rng, zt::Tight tight, int) {
        ct::Trial t = ct::makeTrial(m, rng, tight);
        ct::expectModel(m, t.args, t.watch());
    });
}

TEST_P(DataMovement, ChecksArgumentsInOrder) {
    const Member& m = *GetParam();
    ZT_SKIP_IF_PLACEHOLDER(m.name.c_str());
    zt::Rng rng = zt::Rng::forTest();
    ct::Trial t = ct::makeTrial(m, rng, zt::Tight::End, {(int)rng.range(1, 40), (int)rng.range(1, 4), false, true});
    ct::checkOrder(m, t).run();
}

INSTANTIATE_TEST_SUITE_P(Convert, DataMovement, ::testing::ValuesIn(all()),
                         [](const ::testing::TestParamInfo<const Member*>& info) { return info.param->name; });

TEST(DataMovementTable, CoversEveryExportOfTheFamilies) {
    auto names = zt::exportsOf({"Copy", "CopyManaged", "Set", "SwapChannels", "Dup"});
    std::set<std::string> tested;
    for (auto& m : ct::members()) EXPECT_TRUE(tested.insert(m.name).second) << m.name << " twice";
    for (auto& n : names) EXPECT_TRUE(tested.count(n)) << n << " has no row in the member table";
    EXPECT_EQ(tested.size(), names.size());
}

}  // namespace
