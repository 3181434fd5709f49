// SPDX-License-Identifier: Apache-2.0
#include "error.hpp"
#include "history/fault_spans.hpp"
#include "history_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

std::string toText(TimeSpan span)
{
    return std::to_string(span.begin) + "-" + std::to_string(span.end);
}

/** What is found in records that are followed until the time 1000. */
struct Found
{
    explicit Found(const std::vector<HistoryRecord>& records)
    {
        FaultSpans spans(
            {.lasted =
                 [this](const HistoryRecord&, TimeSpan span, bool lasts) {
                     lasted.push_back(toText(span) + (lasts ? " lasts" : ""));
                 },
             .visible =
                 [this](const HistoryRecord&, TimeSpan span) {
                     visible.push_back(toText(span));
                 }});
        for (const HistoryRecord& record : records)
        {
            spans.take(record);
        }
        spans.finish(1000);
    }

    std::vector<std::string> lasted;
    std::vector<std::string> visible;
};

TEST(FaultSpans, GoFromAppearanceToEnd)
{
    for (const char* end : {"cleared", "gave-way", "withdrawn", "monitor-back"})
    {
        const Found found({makeRecord("appeared", 10), makeRecord(end, 30)});
        EXPECT_THAT(found.lasted, ElementsAre("10-30")) << end;
        EXPECT_THAT(found.visible, ElementsAre("10-30")) << end;
    }
    EXPECT_THAT(
        Found({makeRecord("monitor-lost", 10), makeRecord("monitor-back", 30)})
            .lasted,
        ElementsAre("10-30"));
}

TEST(FaultSpans, GoOnWhileAFaultLasts)
{
    const Found found({makeRecord("appeared", 10)});
    EXPECT_THAT(found.lasted, ElementsAre("10-1000 lasts"));
    EXPECT_THAT(found.visible, ElementsAre("10-1000"));
}

TEST(FaultSpans, AreVisibleBetweenHidings)
{
    const Found found({makeRecord("appeared", 10), makeRecord("hidden", 20),
                       makeRecord("hidden", 21), makeRecord("shown", 40),
                       makeRecord("shown", 41), makeRecord("cleared", 50)});
    EXPECT_THAT(found.lasted, ElementsAre("10-50"));
    EXPECT_THAT(found.visible, ElementsAre("10-20", "40-50"));
    EXPECT_THAT(
        Found({makeRecord("appeared", 10), makeRecord("hidden", 20)}).visible,
        ElementsAre("10-20"));
}

TEST(FaultSpans, TakeAForgottenBeginningFromTheEnd)
{
    HistoryRecord end = makeRecord("cleared", 30);
    EXPECT_THAT(Found({end}).lasted, IsEmpty());
    end.lasted = 25;
    EXPECT_THAT(Found({end}).lasted, ElementsAre("5-30"));
    EXPECT_THAT(Found({end}).visible, ElementsAre("5-30"));
    end.lasted = -3;
    EXPECT_THAT(Found({end}).lasted, ElementsAre("30-30"));
}

TEST(FaultSpans, EndAtTheNextAppearanceOfTheEntry)
{
    EXPECT_THAT(Found({makeRecord("appeared", 10), makeRecord("appeared", 40),
                       makeRecord("cleared", 50)})
                    .lasted,
                ElementsAre("10-40", "40-50"));
}

TEST(FaultSpans, KeepUsersApart)
{
    HistoryRecord other = makeRecord("appeared", 20);
    other.user = 7;
    EXPECT_THAT(
        Found({makeRecord("appeared", 10), other, makeRecord("cleared", 30)})
            .lasted,
        ElementsAre("10-30", "20-1000 lasts"));
}

TEST(FaultSpans, AreNeverNegative)
{
    EXPECT_THAT(
        Found({makeRecord("appeared", 10), makeRecord("cleared", 5)}).lasted,
        ElementsAre("10-10"));
}

TEST(FaultSpans, IgnoreWhatIsNoFault)
{
    const Found found({makeRecord("acknowledged", 10), makeRecord("hidden", 20),
                       makeRecord("shown", 30), makeRecord("log-cleared", 40),
                       makeRecord("of-a-later-version", 50)});
    EXPECT_THAT(found.lasted, IsEmpty());
    EXPECT_THAT(found.visible, IsEmpty());
}

TEST(FaultSpans, HaveALimit)
{
    FaultSpans spans({.lasted = [](const HistoryRecord&, TimeSpan, bool) {},
                      .visible = [](const HistoryRecord&, TimeSpan) {}});
    HistoryRecord fault = makeRecord("appeared", 10);
    for (std::size_t i = 0; i < FaultSpans::mostOpen; ++i)
    {
        fault.entry = "/entry/" + std::to_string(i);
        spans.take(fault);
    }
    // One that is known does not count again.
    spans.take(fault);
    fault.entry = "/entry/one-too-many";
    EXPECT_THROW(spans.take(fault), Error);
}

} // namespace
} // namespace healthintf::healthctl
