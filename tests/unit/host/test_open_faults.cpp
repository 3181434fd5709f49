// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "data_cache/open_faults.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>

#include <unistd.h>

#include <memory>

namespace healthintf::host
{
namespace
{

using test::Child;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OpenFaultsTest : public test::CacheTest
{
  protected:
    /** A process with a node and a fault, until it is killed. */
    static std::unique_ptr<Child> startDaemon(const std::string& key)
    {
        auto child =
            std::make_unique<Child>([key](const Child::Parent& parent) {
                makeFault(key);
                parent.tell("ready");
                Child::Parent::waitForever();
                return 0;
            });
        child->hear();
        return child;
    }

    static void makeFault(const std::string& key)
    {
        datacache_healthstatus_create(key, {});
        datacache_faultentry_create(
            key + "/entry/1",
            {{"MessageID", std::string("A.B")}, {"Hidden", true}});
    }

    const Reporter& only() const
    {
        EXPECT_THAT(faults.reporters(), SizeIs(1));
        return faults.reporters().begin()->second;
    }

    OpenFaults faults;
};

TEST_F(OpenFaultsTest, AreNoneWithoutADataCache)
{
    EXPECT_EQ(faults.refresh(), 0);
    EXPECT_THAT(faults.reporters(), IsEmpty());
}

TEST_F(OpenFaultsTest, HaveTheirProcessAndItsNodes)
{
    const auto daemon = startDaemon("/a");
    EXPECT_EQ(faults.refresh(), 0);
    const Reporter& reporter = only();
    EXPECT_EQ(reporter.process.pid, static_cast<uint32_t>(daemon->pid()));
    EXPECT_EQ(reporter.user, getuid());
    EXPECT_FALSE(reporter.name.empty());
    EXPECT_FALSE(reporter.isPlaceholder);
    EXPECT_THAT(reporter.nodes, ElementsAre("/a"));
    ASSERT_THAT(reporter.faults, SizeIs(1));
    const auto& [entry, fault] = *reporter.faults.begin();
    EXPECT_EQ(entry, "/a/entry/1");
    EXPECT_EQ(fault.properties.messageID, "A.B");
    EXPECT_TRUE(fault.properties.hidden);
    EXPECT_GT(fault.made.count(), 0);
}

TEST_F(OpenFaultsTest, AreReadAgainWhenTheyChange)
{
    // A process changes its records, and reads them through their file.
    EXPECT_EQ(
        test::inChild([this] {
            makeFault("/a");
            faults.refresh();
            datacache_faultentry_set_property("/a/entry/1", "Hidden", false);
            faults.refresh();
            const bool shown =
                !only().faults.at("/a/entry/1").properties.hidden;
            datacache_faultentry_remove("/a/entry/1");
            faults.refresh();
            faults.refresh();
            return shown && only().faults.empty() && only().nodes.contains("/a")
                       ? 0
                       : 1;
        }),
        0);
}

TEST_F(OpenFaultsTest, HaveObjectPathsOnly)
{
    EXPECT_EQ(test::inChild([this] {
                  makeFault("/a");
                  makeFault("/bad\xFF");
                  makeFault("no/path");
                  faults.refresh();
                  return only().faults.size() == 1 &&
                                 only().faults.contains("/a/entry/1")
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(OpenFaultsTest, EndWithTheirProcess)
{
    const auto first = startDaemon("/a");
    const auto second = startDaemon("/b");
    faults.refresh();
    EXPECT_THAT(faults.reporters(), SizeIs(2));
    first->kill();
    faults.refresh();
    EXPECT_THAT(only().nodes, ElementsAre("/b"));
}

TEST_F(OpenFaultsTest, AreThoseOfTheLastCallWhenTheDataCacheCannotBeRead)
{
    const auto daemon = startDaemon("/a");
    faults.refresh();
    // A file cannot be listed.
    setenv("HEALTHINTF_RUNTIME_DIR", folder.write("file", "").c_str(), 1);
    EXPECT_NE(faults.refresh(), 0);
    EXPECT_THAT(only().nodes, ElementsAre("/a"));
}

} // namespace
} // namespace healthintf::host
