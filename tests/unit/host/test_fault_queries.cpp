// SPDX-License-Identifier: Apache-2.0
/** @file The library's queries on the host's data cache. */

#include "cache_test.hpp"

#include <hmi_faultentry.hpp>

namespace health_namespace
{
namespace
{

using healthintf::test::Child;

const std::string root = "/com/vexa/olvar/health";

/** The counts as a line for another process. */
std::string counts()
{
    int visible = -1;
    int hidden = -1;
    const int status =
        FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden);
    return std::to_string(status) + ": " + std::to_string(visible) +
           " visible, " + std::to_string(hidden) + " hidden";
}

std::string ledStates()
{
    std::vector<int> states(7, -1);
    const int status = FaultEntry::GetLEDStateFromFaultEntries(states);
    std::string answer = std::to_string(status) + ":";
    for (const int state : states)
    {
        answer += " " + std::to_string(state);
    }
    return answer;
}

std::string top(int n, bool severeOnly, std::string prefix)
{
    std::vector<std::pair<std::string, FaultEntry_gen>> entries;
    const int status =
        FaultEntry::GetNFaultEntries(prefix, n, entries, severeOnly);
    std::string answer = std::to_string(status) + ":";
    for (const auto& [path, record] : entries)
    {
        answer += " " + path.substr(path.rfind('/') + 1) + " " +
                  record.message() + ";";
    }
    return answer;
}

class FaultQueriesOnTheHost : public healthintf::test::CacheTest
{
  protected:
    struct Fault
    {
        std::string path;
        uint32_t severity;
        uint64_t timestamp;
        int32_t ledState;
        bool hidden = false;
    };

    /** A running process that publishes faults, hides some of them, and reports
     *  that it is done. */
    static Child daemon(const std::vector<Fault>& faults)
    {
        return Child([faults](const Child::Parent& parent) {
            int failures = 0;
            for (const Fault& fault : faults)
            {
                failures += publish(fault) ? 0 : 1;
            }
            parent.tell(std::to_string(failures) + " failures");
            Child::Parent::waitForever();
            return 0;
        });
    }

    /** The result of a query in a third process. */
    template <typename... Arguments>
    static std::string answerTo(std::string (*query)(Arguments...),
                                Arguments... arguments)
    {
        Child child([=](const Child::Parent& parent) {
            parent.tell(query(arguments...));
            return 0;
        });
        return child.hear();
    }

  private:
    static bool publish(const Fault& fault)
    {
        return datacache_faultentry_create(
                   fault.path, {{"Message", "Of " + fault.path},
                                {"Severity", fault.severity},
                                {"Timestamp", fault.timestamp},
                                {"LedState", fault.ledState}}) == 0 &&
               (!fault.hidden || datacache_faultentry_set_property(
                                     fault.path, "Hidden", true) == 0);
    }
};

TEST_F(FaultQueriesOnTheHost, SeeTheFaultsOfAllProcesses)
{
    Child fans = daemon({{root + "/fan/entry/1", 4, 50, 3},
                         {root + "/fan/entry/2", 4, 10, 3},
                         {root + "/fan/entry/3", 4, 5, 6, true}});
    ASSERT_EQ(fans.hear(), "0 failures");
    Child disks = daemon({{root + "/disk/entry/4", 4, 30, 1},
                          {root + "/disk/entry/5", 2, 1, 0},
                          {"/elsewhere/entry/6", 4, 1, 2}});
    ASSERT_EQ(disks.hear(), "0 failures");

    EXPECT_EQ(answerTo(counts), "0: 5 visible, 1 hidden");
    EXPECT_EQ(answerTo(ledStates), "0: 0 1 0 1 0 0 1");
    const std::string two =
        "2 Of " + root + "/fan/entry/2; 4 Of " + root + "/disk/entry/4;";
    const std::string fifty = " 1 Of " + root + "/fan/entry/1;";
    EXPECT_EQ(answerTo(top, 2, false, root), "0: " + two);
    EXPECT_EQ(answerTo(top, 0, true, root), "0: " + two + fifty);
    EXPECT_EQ(answerTo(top, 0, false, root),
              "0: " + two + fifty + " 5 Of " + root + "/disk/entry/5;");
    EXPECT_EQ(answerTo(top, 1, false, root + "/disk"),
              "0: 4 Of " + root + "/disk/entry/4;");
    EXPECT_EQ(answerTo(top, 1, false, std::string("/nowhere")), "0:");
}

TEST_F(FaultQueriesOnTheHost, FindNothingBeforeTheFirstFault)
{
    EXPECT_EQ(answerTo(counts), "0: 0 visible, 0 hidden");
    EXPECT_EQ(answerTo(ledStates), "0: 0 0 0 0 0 0 0");
    EXPECT_EQ(answerTo(top, 0, false, root), "0:");
}

TEST_F(FaultQueriesOnTheHost, ReportThatTheDataCacheCannotBeRead)
{
    const auto file = folder.write("file", "");
    setenv("HEALTHINTF_RUNTIME_DIR", file.c_str(), 1);
    EXPECT_EQ(answerTo(counts), "5: 0 visible, 0 hidden");
    EXPECT_EQ(answerTo(ledStates), "5: 0 0 0 0 0 0 0");
    EXPECT_EQ(answerTo(top, 0, false, root), "5:");
}

} // namespace
} // namespace health_namespace
