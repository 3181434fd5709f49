// SPDX-License-Identifier: Apache-2.0
#include "error.hpp"
#include "history/history_reader.hpp"
#include "history_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** A history in pages of two records. */
class Pages
{
  public:
    explicit Pages(const std::map<uint64_t, std::string>& messages) :
        messages(messages)
    {}

    HistoryReader reader(std::vector<std::string> asked = {})
    {
        return {[this](uint64_t from, bool backwards, const HistoryFilter&) {
                    ++calls;
                    return backwards ? before(from) : after(from);
                },
                {.messages = std::move(asked)}};
    }

    int calls = 0;

  private:
    HistoryPage after(uint64_t from) const
    {
        HistoryPage page;
        for (auto at = messages.lower_bound(from);
             at != messages.end() && page.next == 0; ++at)
        {
            add(page, *at);
        }
        return page;
    }

    HistoryPage before(uint64_t from) const
    {
        HistoryPage page;
        for (auto at = messages.rbegin();
             at != messages.rend() && page.next == 0; ++at)
        {
            if (at->first <= from)
            {
                add(page, *at);
            }
        }
        return page;
    }

    static void add(HistoryPage& page,
                    const std::pair<const uint64_t, std::string>& message)
    {
        if (page.records.size() == 2)
        {
            page.next = message.first;
            return;
        }
        page.records.push_back(makeNumbered(message.first, message.second));
    }

    std::map<uint64_t, std::string> messages;
};

using Read = std::function<void(const HistoryReader::TakeRecords&)>;

std::vector<uint64_t> listNumbers(const Read& read)
{
    std::vector<uint64_t> numbers;
    read([&numbers](const std::vector<HistoryRecord>& records) {
        for (const HistoryRecord& record : records)
        {
            numbers.push_back(record.sequence);
        }
        return true;
    });
    return numbers;
}

std::vector<uint64_t> listForwards(const HistoryReader& reader, uint64_t from)
{
    return listNumbers([&](const HistoryReader::TakeRecords& take) {
        reader.readForwards(from, take);
    });
}

const std::map<uint64_t, std::string> fiveRecords{{1, "Fan.1.0.Hot"},
                                                  {3, "Fan.1.0.Stopped"},
                                                  {4, "Fan.1.0.Hot"},
                                                  {7, "Fan.1.0.Hot"},
                                                  {9, "Fan.1.0.Stopped"}};

TEST(HistoryReader, ReadsAllPagesForwards)
{
    Pages pages(fiveRecords);
    EXPECT_THAT(listForwards(pages.reader(), 0), ElementsAre(1, 3, 4, 7, 9));
    EXPECT_THAT(listForwards(pages.reader(), 4), ElementsAre(4, 7, 9));
    EXPECT_THAT(listForwards(pages.reader(), 10), IsEmpty());
}

TEST(HistoryReader, ReadsAllPagesBackwards)
{
    Pages pages(fiveRecords);
    const HistoryReader reader = pages.reader();
    EXPECT_THAT(listNumbers([&](const HistoryReader::TakeRecords& take) {
                    reader.readBackwards(take);
                }),
                ElementsAre(9, 7, 4, 3, 1));
}

TEST(HistoryReader, StopsWhenNoMoreAreWanted)
{
    Pages pages(fiveRecords);
    pages.reader().readForwards(0, [](const std::vector<HistoryRecord>&) {
        return false;
    });
    EXPECT_EQ(pages.calls, 1);
}

TEST(HistoryReader, ChoosesMessagesWithoutTheirRegistries)
{
    Pages pages(fiveRecords);
    EXPECT_THAT(listForwards(pages.reader({"Stopped"}), 0), ElementsAre(3, 9));
    EXPECT_THAT(listForwards(pages.reader({"Stopped", "Fan.1.0.Hot"}), 0),
                ElementsAre(1, 3, 4, 7, 9));
    EXPECT_THAT(listForwards(pages.reader({"Wet"}), 0), IsEmpty());
}

TEST(HistoryReader, FindsTheLastRecords)
{
    Pages pages(fiveRecords);
    EXPECT_EQ(pages.reader().findLast(1), 9U);
    EXPECT_EQ(pages.reader().findLast(3), 4U);
    EXPECT_EQ(pages.reader().findLast(100), 1U);
    EXPECT_EQ(pages.reader({"Stopped"}).findLast(2), 3U);
    EXPECT_EQ(pages.reader({"Wet"}).findLast(2), std::nullopt);
}

void expectNoSense(const HistoryPage& page, bool backwards)
{
    const HistoryReader reader(
        [&page](uint64_t, bool, const HistoryFilter&) {
            return page;
        },
        {});
    const auto take = [](const std::vector<HistoryRecord>&) {
        return true;
    };
    try
    {
        backwards ? reader.readBackwards(take) : reader.readForwards(5, take);
        ADD_FAILURE() << "no error";
    }
    catch (const Error& e)
    {
        EXPECT_EQ(e.code(), ExitCode::failed);
        EXPECT_THAT(e.what(), HasSubstr("in no order"));
    }
}

TEST(HistoryReader, RefusesPagesThatDoNotLeadOn)
{
    constexpr uint64_t most = std::numeric_limits<uint64_t>::max();
    expectNoSense({.records = {}, .next = 5}, false);
    expectNoSense({.records = {}, .next = 4}, false);
    expectNoSense({.records = {}, .next = most}, true);
    expectNoSense({.records = {makeNumbered(4)}, .next = 0}, false);
    expectNoSense({.records = {makeNumbered(7), makeNumbered(6)}, .next = 0},
                  false);
    expectNoSense({.records = {makeNumbered(6), makeNumbered(7)}, .next = 0},
                  true);
}

} // namespace
} // namespace healthintf::healthctl
