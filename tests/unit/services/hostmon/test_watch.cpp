// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "watch.hpp"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::hostmon
{
namespace
{

using namespace healthintf::test;
using health_namespace::FaultAndHealth;

class WatchOfASource : public LibraryTest
{
  protected:
    WatchOfASource()
    {
        for (const Subject& subject : {Subject(Filesystem{})})
        {
            const FaultTexts texts = selectFaultTexts(subject);
            platform().messages[texts.warningId] = {2, "%1: %2 over %3"};
            platform().messages[texts.criticalId] = {1, "%1: %2 over %3!"};
        }
        platform().messages[unreadableId] = {2, "%1: %2"};
        platform().messages[stillUnreadableId] = {2, "%1: %2"};
        haveHealthRecord("/com/vexa/olvar/health", 2);
        component.reset(
            FaultAndHealth::Init(bus, "/com/vexa/olvar/health/host", 2, false));
        faults.emplace("/com/vexa/olvar/health/host", *component);
        watch.emplace(WatchConfig{Filesystem{"/var"},
                                  {.direction = Direction::above,
                                   .warning = 80,
                                   .critical = 90,
                                   .hysteresis = 5},
                                  ""},
                      Source{"/var", "/var", {}}, 7, *faults);
        journal().take();
    }

    void check(double now)
    {
        watch->take(failure.empty() ? Reading{now, {}}
                                    : Reading{std::nullopt, failure});
        faults->report();
    }

    /** The additions and removals of faults since the last call, in order. */
    Lines takeAdditionsAndRemovals()
    {
        Lines order;
        for (const std::string& line : journal().take())
        {
            if (line.find("FaultEntryAdded") != std::string::npos)
            {
                order.emplace_back("added");
            }
            if (line.find("FaultEntryRemoved") != std::string::npos)
            {
                order.emplace_back("removed");
            }
        }
        return order;
    }

    static Lines texts()
    {
        Lines all;
        for (const auto& [path, record] : platform().faultRecords)
        {
            all.push_back(std::get<std::string>(record.at("Message")));
        }
        return all;
    }

    std::string failure;
    std::unique_ptr<FaultAndHealth> component;
    std::optional<ComponentFaults> faults;
    std::optional<Watch> watch;
};

TEST_F(WatchOfASource, ReportsEachLevelWithReadingAndLimit)
{
    check(50);
    EXPECT_EQ(texts(), Lines{});
    check(85.25);
    EXPECT_EQ(texts(), Lines{"/var: 85.2 over 80.0"});
    check(95);
    EXPECT_EQ(texts(), Lines{"/var: 95.0 over 90.0!"});
    check(82);
    EXPECT_EQ(texts(), Lines{"/var: 82.0 over 80.0"});
    check(10);
    EXPECT_EQ(texts(), Lines{});
}

TEST_F(WatchOfASource, ReportsALevelOnce)
{
    check(85);
    check(86);
    check(84);
    EXPECT_EQ(texts(), Lines{"/var: 85.0 over 80.0"});
}

TEST_F(WatchOfASource, AddsTheNewFaultBeforeItRemovesTheOld)
{
    check(85);
    journal().take();
    check(95);
    EXPECT_EQ(takeAdditionsAndRemovals(), (Lines{"added", "removed"}));
}

TEST_F(WatchOfASource, KeepsTheHealthWhileTheCauseOfAFailureChanges)
{
    for (const char* cause : {"first", "second", "third", "fourth"})
    {
        failure = cause;
        check(0);
        EXPECT_EQ(texts(), Lines{"/var: " + failure});
        EXPECT_EQ(takeAdditionsAndRemovals(),
                  failure == "first" ? Lines{"added"}
                                     : (Lines{"added", "removed"}));
    }
}

TEST_F(WatchOfASource, NamesTheSubjectOfTheFault)
{
    check(85);
    ASSERT_EQ(platform().faultRecords.size(), 1u);
    auto record = platform().faultRecords.begin()->second;
    EXPECT_EQ(std::get<std::string>(record["FQDD"]),
              "System.Host.1#filesystem.7");
    EXPECT_EQ(std::get<std::string>(record["SensorPath"]),
              "/com/vexa/olvar/sensors/filesystem/_2fvar");
    EXPECT_EQ(std::get<uint32_t>(record["SensorNumber"]), 7u);
    EXPECT_EQ(std::get<uint32_t>(record["SensorType"]), 0x0Du);
}

TEST_F(WatchOfASource, RetriesFaultsThatCouldNotBeReported)
{
    journal().answer("sd_bus_add_object_vtable", -ENOBUFS);
    check(85);
    EXPECT_EQ(texts(), Lines{});
    check(85);
    EXPECT_EQ(texts(), Lines{"/var: 85.0 over 80.0"});
}

TEST_F(WatchOfASource, ReportsAFailureToReadUntilItSucceeds)
{
    failure = "unable to ask";
    check(0);
    check(0);
    EXPECT_EQ(texts(), Lines{"/var: unable to ask"});
    failure.clear();
    check(50);
    EXPECT_EQ(texts(), Lines{});
}

TEST_F(WatchOfASource, ReportsThePresentCauseOfAFailedRead)
{
    failure = "no answer within 10.0 seconds";
    check(0);
    check(0);
    failure = "/var is not mounted";
    check(0);
    check(0);
    EXPECT_EQ(texts(), Lines{"/var: /var is not mounted"});
    EXPECT_THAT(journal().take("log 2 310"),
                testing::ElementsAre(
                    testing::EndsWith("/var: no answer within 10.0 seconds"),
                    testing::EndsWith("/var: /var is not mounted")));
}

TEST_F(WatchOfASource, KeepsItsLevelWhileItCannotRead)
{
    check(85);
    failure = "unable to ask";
    check(0);
    EXPECT_EQ(texts().size(), 2u);
    failure.clear();
    check(85);
    EXPECT_EQ(texts(), Lines{"/var: 85.0 over 80.0"});
}

TEST_F(WatchOfASource, RemovesItsFaultsWhenTheSourceIsGone)
{
    check(85);
    failure = "unable to ask";
    check(0);
    EXPECT_EQ(texts().size(), 2u);
    watch->removeFaults();
    faults->report();
    EXPECT_EQ(texts(), Lines{});
}

TEST_F(WatchOfASource, HasAReadableDescription)
{
    const WatchConfig config{Filesystem{"/var"},
                             {.direction = Direction::above,
                              .warning = 80,
                              .critical = 90,
                              .hysteresis = 5},
                             ""};
    const Source source{"/var", "/var", {}};
    const auto described = [&](const Reading& reading) {
        return describe(config, source, reading);
    };
    EXPECT_EQ(described({10, {}}), "filesystem /var: 10.0 (ok)");
    EXPECT_EQ(described({85, {}}), "filesystem /var: 85.0 (warning)");
    EXPECT_EQ(described({95, {}}), "filesystem /var: 95.0 (critical)");
    EXPECT_EQ(described({std::nullopt, "unable to ask"}),
              "filesystem /var: unable to ask");
}

} // namespace
} // namespace healthintf::hostmon
