// SPDX-License-Identifier: Apache-2.0
#include "history_rows.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <variant>

namespace healthintf::history
{
namespace
{

/** The columns in their order. */
constexpr const char* columns =
    "records.sequence, time, kind, component, records.entry, message_id, args, "
    "message, severity, sensor_path, sensor_number, sensor_type, process, pid, "
    "user, lasted, occurrence, missed, comment, identity";

using Args = std::vector<std::string>;

/** Stands before each argument. The texts of a record are UTF-8, which has no
 *  such byte, so none has to be written in a longer way. */
constexpr char argumentMark = '\xFF';

std::string encodeArgs(const Args& args)
{
    std::string text;
    for (const std::string& each : args)
    {
        text += argumentMark + each;
    }
    return text;
}

/** Reads arguments as a JSON array: earlier versions of this program wrote
 *  them so. */
Args decodeJsonArgs(const std::string& text)
{
    const auto read = nlohmann::json::parse(text, nullptr, false);
    Args args;
    if (read.is_array())
    {
        for (const auto& each : read)
        {
            args.push_back(each.is_string() ? each.get<std::string>()
                                            : std::string());
        }
    }
    return args;
}

Args decodeArgs(const std::string& text)
{
    if (!text.starts_with(argumentMark))
    {
        return decodeJsonArgs(text);
    }
    Args args;
    for (std::size_t begin = 1; begin <= text.size();)
    {
        const std::size_t end =
            std::min(text.find(argumentMark, begin), text.size());
        args.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return args;
}

uint32_t readSmall(const Statement& row, int column)
{
    return static_cast<uint32_t>(row.number(column));
}

/** A number that is 0 or more; a negative one, which is none of ours, counts as
 *  0. */
uint64_t readLarge(const Statement& row, int column)
{
    return static_cast<uint64_t>(std::max(row.number(column), int64_t{0}));
}

Kind readKind(const Statement& row, int column)
{
    const int64_t number = row.number(column);
    return number > 0 && number <= static_cast<int64_t>(lastKind)
               ? static_cast<Kind>(number)
               : Kind::appeared;
}

/** Collects the conditions of a statement and their values. */
class Conditions
{
  public:
    using Value = std::variant<int64_t, std::string>;

    /** @param[in] text with a question mark for each of the values */
    void add(const std::string& text, std::vector<Value> further)
    {
        joined += (joined.empty() ? " WHERE " : " AND ") + text;
        std::ranges::move(further, std::back_inserter(values));
    }

    /** Lets a column have one of some numbers; any when there are none. */
    template <typename Numbers>
    void addChoice(const std::string& column, const Numbers& numbers)
    {
        std::string list;
        for (const auto each : numbers)
        {
            list += (list.empty() ? "" : ", ") +
                    std::to_string(static_cast<int64_t>(each));
        }
        if (!list.empty())
        {
            add(column + " IN (" + list + ")", {});
        }
    }

    const std::string& text() const
    {
        return joined;
    }

    void bindTo(Statement& statement) const
    {
        int index = 0;
        for (const Value& value : values)
        {
            ++index;
            std::visit(
                [&](const auto& each) {
                    statement.bindOne(index, each);
                },
                value);
        }
    }

  private:
    std::string joined;
    std::vector<Value> values;
};

/** A sequence number or a limit as SQLite has it. */
int64_t toSigned(uint64_t number)
{
    constexpr uint64_t most = std::numeric_limits<int64_t>::max();
    return static_cast<int64_t>(std::min(number, most));
}

Conditions makeConditions(const HistoryQuery& query)
{
    Conditions conditions;
    conditions.add(query.backwards ? "sequence <= ?" : "sequence >= ?",
                   {toSigned(query.from)});
    if (!query.component.empty())
    {
        // The plus keeps SQLite from the component's index, whose rows it would
        // have to sort. Of all that begins with a slash, a zero comes next.
        conditions.add(
            "(+component = ? OR (+component >= ? AND "
            "+component < ?))",
            {query.component, query.component + '/', query.component + '0'});
    }
    conditions.addChoice("kind", query.kinds);
    conditions.addChoice("severity", query.severities);
    if (!query.messageId.empty())
    {
        conditions.add("message_id = ?", {query.messageId});
    }
    if (query.since)
    {
        conditions.add("time >= ?", {*query.since});
    }
    if (query.until)
    {
        conditions.add("time < ?", {*query.until});
    }
    return conditions;
}

} // namespace

const std::string insertRow =
    "INSERT INTO records VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
    "?, ?, ?, ?, ?)";

// The cast counts bytes, not characters. An index has the component once more;
// the rest of a row is numbers.
const std::string sizeOfRow =
    "(120 + 2 * length(CAST(component AS BLOB)) + "
    "length(CAST(entry AS BLOB)) + length(CAST(message_id AS BLOB)) + "
    "length(CAST(args AS BLOB)) + length(CAST(message AS BLOB)) + "
    "length(CAST(sensor_path AS BLOB)) + length(CAST(process AS BLOB)) + "
    "length(CAST(comment AS BLOB)))";

void bindRow(Statement& insertion, const Record& record)
{
    const Fault& fault = record.fault;
    const std::string args = encodeArgs(fault.args);
    insertion.bind(toSigned(record.sequence), record.time,
                   static_cast<int64_t>(record.kind), fault.component,
                   fault.entry, fault.messageId, args, fault.message,
                   int64_t{fault.severity}, fault.sensorPath,
                   int64_t{fault.sensorNumber}, int64_t{fault.sensorType},
                   fault.process, int64_t{fault.pid}, int64_t{fault.user},
                   record.lasted, toSigned(record.occurrence),
                   record.missed ? int64_t{1} : int64_t{0}, record.comment,
                   static_cast<int64_t>(identityOf(fault)));
}

std::string selectRows(const std::string& further)
{
    return std::string("SELECT ") + columns +
           (further.empty() ? "" : ", " + further) + " FROM records";
}

Record readRow(const Statement& row)
{
    Record record;
    Fault& fault = record.fault;
    record.sequence = readLarge(row, 0);
    record.time = row.number(1);
    record.kind = readKind(row, 2);
    fault.component = row.text(3);
    fault.entry = row.text(4);
    fault.messageId = row.text(5);
    fault.args = decodeArgs(row.text(6));
    fault.message = row.text(7);
    fault.severity = readSmall(row, 8);
    fault.sensorPath = row.text(9);
    fault.sensorNumber = readSmall(row, 10);
    fault.sensorType = readSmall(row, 11);
    fault.process = row.text(12);
    fault.pid = readSmall(row, 13);
    fault.user = readSmall(row, 14);
    record.lasted = row.numberIfAny(15);
    record.occurrence = readLarge(row, 16);
    record.missed = row.number(17) != 0;
    record.comment = row.text(18);
    // A damaged text would make D-Bus refuse all records of the answer.
    trim(fault);
    trimText(record.comment);
    return record;
}

Statement prepareQuery(const Database& database, const HistoryQuery& query)
{
    const Conditions conditions = makeConditions(query);
    Statement statement(
        database, selectRows() + conditions.text() + " ORDER BY sequence " +
                      (query.backwards ? "DESC" : "ASC") + " LIMIT " +
                      std::to_string(query.limit + 1));
    conditions.bindTo(statement);
    return statement;
}

} // namespace healthintf::history
