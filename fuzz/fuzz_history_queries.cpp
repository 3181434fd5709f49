// SPDX-License-Identifier: Apache-2.0
/** @file Asks the history of faults with any filter. A filter whose members are
 *  as they should be is read as it was written, and each answer has just the
 *  records that the filter chooses. */

#include "history/history_store.hpp"
#include "history/record_message.hpp"
#include "history_members.hpp"
#include "local_messages.hpp"
#include "logmgr/history_protocol.hpp"
#include "surroundings.hpp"
#include "temporary_folder.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace
{

using namespace healthintf;
using history::HistoryQuery;
using history::Kind;
using history::Record;
using test::FuzzInput;
namespace filter = host::history_filter;

const std::array<std::string, 6> components{"",
                                            "/com/vexa/olvar/health/a",
                                            "/com/vexa/olvar/health/a/b",
                                            "/com/vexa/olvar/health/a0",
                                            "/com/vexa/olvar/health/ab",
                                            "%' OR 1 = 1 --"};
const std::array<std::string, 3> messages{"", "FAN.1.0.Failed",
                                          "Disk.1.0.Slow"};
constexpr uint32_t severities = 6;
constexpr int64_t lastTime = 40;

void require(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

/** A history that has all combinations of what a filter looks at. */
class FilledHistory
{
  public:
    FilledHistory() : store(folder.path(), {})
    {
        constexpr int count = 97;
        for (int i = 0; i < count; ++i)
        {
            Record record;
            record.time = i * 7 % (lastTime + 1);
            record.kind =
                static_cast<Kind>(1 + i % static_cast<int>(history::lastKind));
            record.fault.component = components.at(i % components.size());
            record.fault.messageId = messages.at(i % messages.size());
            record.fault.severity = i % severities;
            store.add(record);
            records.push_back(record);
        }
        store.commit();
    }

    test::TemporaryFolder folder;
    history::HistoryStore store;
    std::vector<Record> records;
};

bool isAtOrBelow(const std::string& key, const std::string& top)
{
    return top.empty() || key == top || key.starts_with(top + '/');
}

bool isChosen(const Record& record, const HistoryQuery& query)
{
    return (query.backwards ? record.sequence <= query.from
                            : record.sequence >= query.from) &&
           isAtOrBelow(record.fault.component, query.component) &&
           (query.kinds.empty() || query.kinds.contains(record.kind)) &&
           (query.severities.empty() ||
            query.severities.contains(record.fault.severity)) &&
           (query.messageId.empty() ||
            query.messageId == record.fault.messageId) &&
           (!query.since || record.time >= *query.since) &&
           (!query.until || record.time < *query.until);
}

/** Compares the history's answer with the records themselves. */
void checkAnswer(FilledHistory& filled, const HistoryQuery& query)
{
    std::vector<uint64_t> expected;
    for (const Record& record : filled.records)
    {
        if (isChosen(record, query))
        {
            expected.push_back(record.sequence);
        }
    }
    if (query.backwards)
    {
        std::ranges::reverse(expected);
    }
    const auto page = filled.store.read(query);
    const std::size_t size = std::min(expected.size(), query.limit);
    require(page.records.size() == size);
    for (std::size_t i = 0; i < size; ++i)
    {
        require(page.records[i].sequence == expected[i]);
    }
    require(page.next == (size < expected.size() ? expected[size] : 0));
}

/** Writes a query, and remembers what it says. */
class QueryWriter
{
  public:
    QueryWriter(sd_bus_message* message, FuzzInput& input) :
        message(message), input(input)
    {}

    void write()
    {
        query.from = input.coin() ? input.number<uint64_t>() : input.below(99);
        query.backwards = input.coin();
        const uint32_t limit = input.below(120);
        query.limit = limit;
        test::orThrow(sd_bus_message_append(message, "tbu", query.from,
                                            query.backwards ? 1 : 0, limit),
                      "query");
        test::orThrow(sd_bus_message_open_container(message, 'a', "{sv}"),
                      "filter");
        while (!input.empty())
        {
            writeMember();
        }
        test::orThrow(sd_bus_message_close_container(message), "filter's end");
    }

    HistoryQuery query;
    /** Whether a member may be one that is refused. */
    bool odd = false;

  private:
    void writeMember()
    {
        switch (input.below(8))
        {
            case 0:
                query.component = components.at(input.below(components.size()));
                return append(filter::component, "s", query.component.c_str());
            case 1:
                query.messageId = messages.at(input.below(messages.size()));
                return append(filter::messageId, "s", query.messageId.c_str());
            case 2:
                query.since = readTime();
                return append(filter::since, "x", *query.since);
            case 3:
                query.until = readTime();
                return append(filter::until, "x", *query.until);
            case 4:
                return writeKinds();
            case 5:
                return writeSeverities();
            default:
                return writeAny();
        }
    }

    int64_t readTime()
    {
        return input.coin() ? input.number<int64_t>()
                            : static_cast<int64_t>(input.below(lastTime + 2));
    }

    void append(const char* name, const char* type, auto value)
    {
        test::appendMember(message, name, type, value);
    }

    void writeKinds()
    {
        std::vector<Kind> kinds(input.below(4));
        for (Kind& kind : kinds)
        {
            kind = static_cast<Kind>(
                1 + input.below(static_cast<std::size_t>(history::lastKind)));
            query.kinds.insert(kind);
        }
        test::appendMembers(message, filter::kinds, "s", kinds, [&](Kind kind) {
            return sd_bus_message_append(message, "s", kindName(kind));
        });
    }

    void writeSeverities()
    {
        std::vector<uint32_t> wanted(input.below(4));
        for (uint32_t& severity : wanted)
        {
            severity = input.below(severities);
            query.severities.insert(severity);
        }
        test::appendMembers(
            message, filter::severities, "u", wanted, [&](uint32_t severity) {
                return sd_bus_message_append(message, "u", severity);
            });
    }

    void writeAny()
    {
        static const std::array<const char*, 7> names{
            filter::component, filter::kinds, filter::severities,
            filter::since,     filter::until, filter::messageId,
            "Colour"};
        odd = true;
        test::appendAnyMember(message, names.at(input.below(names.size())),
                              input);
    }

    sd_bus_message* message;
    FuzzInput& input;
};

void requireSame(const HistoryQuery& one, const HistoryQuery& other)
{
    require(one.from == other.from && one.backwards == other.backwards &&
            one.limit == other.limit && one.component == other.component &&
            one.kinds == other.kinds && one.severities == other.severities &&
            one.messageId == other.messageId && one.since == other.since &&
            one.until == other.until);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    test::haveShippedData();
    static FilledHistory filled;
    static const test::LocalMessages local;
    FuzzInput input(data, size);
    const auto message = local.make();
    QueryWriter writer(message.get(), input);
    writer.write();
    test::LocalMessages::seal(message);
    HistoryQuery query;
    try
    {
        query = history::readQuery(message.get());
    }
    catch (const std::invalid_argument&)
    {
        require(writer.odd);
        return 0;
    }
    catch (const std::system_error&)
    {
        require(writer.odd);
        return 0;
    }
    if (!writer.odd)
    {
        requireSame(query, writer.query);
    }
    checkAnswer(filled, query);
    return 0;
}
