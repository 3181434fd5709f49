// SPDX-License-Identifier: Apache-2.0
/** @file Reads the history from a database whose rows hold anything. What is
 *  read has the bounds of a record, is the same when it is stored and read
 *  again, and arrives at healthctl as logmgr has sent it. */

#include "fuzz_input.hpp"
#include "history/history_record.hpp"
#include "history/history_rows.hpp"
#include "history/history_store.hpp"
#include "history/record_message.hpp"
#include "local_messages.hpp"
#include "surroundings.hpp"
#include "temporary_folder.hpp"

#include <platform/utf8.hpp>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace
{

using namespace healthintf;
using history::Record;
using test::FuzzInput;

void require(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

/** A history, and a second way to its table. */
struct Table
{
    test::TemporaryFolder folder;
    history::HistoryStore store{folder.path(), {}};
    history::Database database{folder.path() / "history.db"};
    history::Statement insertion{database, history::insertRow};
};

/** Binds a value of any type to a column, whatever belongs there. */
void bindAny(history::Statement& insertion, int column, FuzzInput& input)
{
    switch (input.below(4))
    {
        case 0:
            return insertion.bindOne(column, input.number<int64_t>());
        case 1:
            return insertion.bindOne(column,
                                     static_cast<int64_t>(input.below(20)));
        case 2:
            return insertion.bindOne(column, std::optional<int64_t>());
        default:
            return insertion.bindOne(column, input.text());
    }
}

void requireText(const std::string& text)
{
    require(text.size() <= history::longestText);
    for (std::string_view left(text); !left.empty();)
    {
        const Character next = firstCharacter(left);
        require(next.valid);
        left.remove_prefix(next.bytes.size());
    }
}

void requireBounds(const Record& record)
{
    const auto& fault = record.fault;
    require(fault.args.size() <= history::mostArguments);
    for (const std::string* text :
         {&fault.component, &fault.entry, &fault.messageId, &fault.message,
          &fault.sensorPath, &fault.process, &record.comment})
    {
        requireText(*text);
    }
    std::ranges::for_each(fault.args, requireText);
}

/** The values of a record, which members of messages may be compared with.
 *  D-Bus knows no text behind a zero. */
auto valuesOf(const Record& record)
{
    const history::Fault& fault = record.fault;
    const auto text = [](const std::string& whole) {
        return std::string(whole.c_str());
    };
    std::vector<std::string> args;
    std::ranges::transform(fault.args, std::back_inserter(args), text);
    return std::tuple(
        record.sequence, record.time, text(fault.component), text(fault.entry),
        text(fault.messageId), args, text(fault.message), fault.severity,
        text(fault.sensorPath), fault.sensorNumber, fault.sensorType,
        text(fault.process), fault.pid, record.lasted, record.occurrence,
        record.missed, text(record.comment));
}

/** The same of what healthctl has received. */
auto valuesOf(const healthctl::HistoryRecord& record)
{
    return std::tuple(record.sequence, record.time, record.component,
                      record.entry, record.messageId, record.args,
                      record.message, record.severity, record.sensorPath,
                      record.sensorNumber, record.sensorType, record.process,
                      record.pid, record.lasted, record.occurrence,
                      record.missed, record.comment);
}

void checkMessage(const Record& record)
{
    static const test::LocalMessages local;
    const auto message = local.make();
    history::appendRecord(message.get(), record);
    test::LocalMessages::seal(message);
    const auto received = healthctl::readHistoryRecord(message.get());
    require(valuesOf(received) == valuesOf(record));
    require(received.kind == kindName(record.kind));
    require(received.user.value_or(history::noUser) == record.fault.user);
}

/** Stores a record in the place of the row that it was read from. */
void checkStored(Table& table, const Record& record)
{
    table.database.run("DELETE FROM records");
    history::bindRow(table.insertion, record);
    table.insertion.run();
    const auto page = table.store.read({.limit = 2});
    require(page.records.size() == 1);
    const Record& again = page.records.front();
    require(valuesOf(again) == valuesOf(record));
    require(again.kind == record.kind && again.fault.user == record.fault.user);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    test::haveShippedData();
    static Table table;
    FuzzInput input(data, size);
    table.database.run("DELETE FROM records");
    table.insertion.reset();
    table.insertion.bindOne(1, int64_t{1} + input.number<uint16_t>());
    for (int column = 2; column <= history::columnsOfRow; ++column)
    {
        bindAny(table.insertion, column, input);
    }
    table.insertion.run();
    const auto page = table.store.read({.limit = 2});
    require(page.records.size() == 1 && page.next == 0);
    const Record& record = page.records.front();
    requireBounds(record);
    checkMessage(record);
    checkStored(table, record);
    return 0;
}
