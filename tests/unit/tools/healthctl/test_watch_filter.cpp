// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/watch_filter.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string fan = root + "/fan";

constexpr uint32_t ok = 2;
constexpr uint32_t warning = 3;
constexpr uint32_t critical = 4;

Change makeHealth(const std::string& key, std::optional<uint32_t> before,
                  std::optional<uint32_t> now)
{
    return {.kind = Change::Kind::health,
            .path = key,
            .before = before,
            .now = now,
            .fault = std::nullopt};
}

WatchedFault makeFault(uint32_t severity)
{
    WatchedFault fault;
    fault.properties.severity = severity;
    return fault;
}

Change makeFaultChange(const std::string& key, uint32_t severity)
{
    return {.kind = Change::Kind::faultAdded,
            .path = key + "/entry/Fault_1",
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = makeFault(severity).properties};
}

Change makeSilence(const std::vector<std::string>& components)
{
    return {.kind = Change::Kind::processSilent,
            .path = "fan[7]",
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = std::nullopt,
            .components = components};
}

TEST(WatchFilter, WatchesAllByDefault)
{
    for (const Change& change :
         {makeHealth(fan, ok, critical), makeHealth("/elsewhere", {}, ok),
          makeFaultChange(fan, 1), makeSilence({}), makeSilence({fan})})
    {
        EXPECT_TRUE(isWatched(change, {}));
    }
}

TEST(WatchFilter, WatchesWhatIsAtOrBelowAComponent)
{
    const WatchFilter filter{.key = fan, .severities = {}};
    EXPECT_TRUE(isWatched(makeHealth(fan, ok, critical), filter));
    EXPECT_TRUE(isWatched(makeHealth(fan + "/blade", ok, critical), filter));
    EXPECT_FALSE(isWatched(makeHealth(root, ok, critical), filter));
    EXPECT_FALSE(isWatched(makeHealth(fan + "2", ok, critical), filter));
    EXPECT_TRUE(isWatched(makeFaultChange(fan, warning), filter));
    EXPECT_FALSE(isWatched(makeFaultChange(root, warning), filter));
    EXPECT_TRUE(isWatched(makeSilence({root, fan}), filter));
    EXPECT_TRUE(isWatched(makeSilence({}), filter));
    EXPECT_FALSE(isWatched(makeSilence({root}), filter));
}

TEST(WatchFilter, WatchesWhatHasOrHadASeverity)
{
    const WatchFilter filter{.key = "", .severities = {critical}};
    EXPECT_TRUE(isWatched(makeHealth(fan, ok, critical), filter));
    EXPECT_TRUE(isWatched(makeHealth(fan, critical, std::nullopt), filter));
    EXPECT_FALSE(isWatched(makeHealth(fan, std::nullopt, ok), filter));
    EXPECT_FALSE(isWatched(makeHealth(fan, ok, warning), filter));
    EXPECT_TRUE(isWatched(makeFaultChange(fan, critical), filter));
    EXPECT_FALSE(isWatched(makeFaultChange(fan, warning), filter));
    EXPECT_TRUE(isWatched(makeSilence({fan}), filter));
}

class WatchedPart : public testing::Test
{
  protected:
    WatchedPart()
    {
        tree.addNode(root, {critical, ""});
        tree.addNode(fan, {warning, ""});
        tree.addNode(root + "/disk", {critical, ""});
        tree.addFault(fan + "/entry/Fault_1", makeFault(warning));
        tree.addFault(root + "/disk/entry/Fault_1", makeFault(critical));
    }

    /** The key of the only tree of the part; empty when there is none. */
    std::string chooseTop(const WatchFilter& filter) const
    {
        const auto trees = chooseTrees(buildTrees(tree.nodes(), {}), filter);
        return trees.empty() ? "" : trees.front().key;
    }

    WatchedTree tree;
};

TEST_F(WatchedPart, IsCounted)
{
    EXPECT_EQ(countNodes(tree, {}), 3U);
    EXPECT_EQ(countFaults(tree, {}), 2U);
    EXPECT_EQ(countNodes(tree, {.key = fan, .severities = {}}), 1U);
    EXPECT_EQ(countFaults(tree, {.key = fan, .severities = {}}), 1U);
    EXPECT_EQ(countNodes(tree, {.key = "", .severities = {critical}}), 2U);
    EXPECT_EQ(countFaults(tree, {.key = fan, .severities = {critical}}), 0U);
}

TEST_F(WatchedPart, IsATree)
{
    EXPECT_EQ(chooseTop({}), root);
    EXPECT_EQ(chooseTop({.key = fan, .severities = {}}), fan);
    EXPECT_EQ(chooseTop({.key = fan, .severities = {critical}}), "");
    EXPECT_EQ(chooseTop({.key = root + "/none", .severities = {}}), "");
}

TEST(WatchFilter, WatchesSilencesThatNameAComponentThere)
{
    Change silenced{.kind = Change::Kind::silenced,
                    .path = {},
                    .before = std::nullopt,
                    .now = std::nullopt,
                    .fault = std::nullopt};
    const auto watches = [&silenced](const std::string& top) {
        return isWatched(silenced, {.key = top, .severities = {}});
    };
    EXPECT_TRUE(watches(""));
    EXPECT_FALSE(watches("/r/a"));
    silenced.components = {"/r/a/b"};
    EXPECT_TRUE(watches("/r/a"));
    EXPECT_FALSE(watches("/r/b"));
}

} // namespace
} // namespace healthintf::healthctl
