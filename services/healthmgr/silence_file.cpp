// SPDX-License-Identifier: Apache-2.0
#include "silence_file.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"
#include "kept_file.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace healthintf::healthmgr
{

using services::ConfigTable;

namespace
{

/** The array of tables, and the number beside it. */
constexpr const char* tableOfSilence = "silence";
constexpr const char* lastOfSilence = "last";

/** The names of a table's values. */
constexpr const char* idOfSilence = "id";
constexpr const char* keyOfSilence = "component";
constexpr const char* pathOfSilence = "sensor-path";
constexpr const char* numberOfSilence = "sensor-number";
constexpr const char* commentOfSilence = "comment";
constexpr const char* userOfSilence = "user";
constexpr const char* secondsOfSilence = "seconds";
constexpr const char* untilOfSilence = "until";
constexpr const char* bootOfSilence = "boot";
constexpr const char* endsOfSilence = "ends";
constexpr const char* byWallOfSilence = "by-time-of-day";

constexpr double mostUser = std::numeric_limits<uint32_t>::max();

std::string textOrNone(ConfigTable& table, const char* name)
{
    return table.has(name) ? table.text(name) : std::string();
}

Silence readSilence(ConfigTable& table)
{
    const auto number = [&table](const char* name, double most) {
        return static_cast<int64_t>(table.number(name, 0, most, 0));
    };
    return {.target = {.key = textOrNone(table, keyOfSilence),
                       .sensorPath = textOrNone(table, pathOfSilence),
                       .sensorNumber = static_cast<uint32_t>(
                           number(numberOfSilence, mostUser))},
            .comment = textOrNone(table, commentOfSilence),
            .user = static_cast<uint32_t>(number(userOfSilence, mostUser)),
            .seconds =
                static_cast<uint32_t>(number(secondsOfSilence, longestSilence)),
            .until = number(untilOfSilence, mostExact),
            .boot = textOrNone(table, bootOfSilence),
            .ends = number(endsOfSilence, mostExact),
            .byWall = table.flag(byWallOfSilence, false)};
}

void readInto(KeptSilences& kept, ConfigTable& table)
{
    const auto id =
        static_cast<uint64_t>(table.number(idOfSilence, 1, mostExact));
    Silence silence = readSilence(table);
    if (const std::string fault = explainInvalidSilence(silence);
        !fault.empty())
    {
        table.fail(idOfSilence, fault);
    }
    if (kept.silences.size() == KeptSilences::most)
    {
        table.fail(idOfSilence, "there are more silences than " +
                                    std::to_string(KeptSilences::most));
    }
    if (!kept.silences.emplace(id, std::move(silence)).second)
    {
        table.fail(idOfSilence, "is there twice");
    }
    kept.last = std::max(kept.last, id);
}

toml::table format(uint64_t id, const Silence& silence)
{
    toml::table table;
    const auto put = [&table](const char* name, auto value) {
        table.insert(name, static_cast<int64_t>(value));
    };
    put(idOfSilence, id);
    if (!silence.target.key.empty())
    {
        table.insert(keyOfSilence, silence.target.key);
    }
    else if (!silence.target.sensorPath.empty())
    {
        table.insert(pathOfSilence, silence.target.sensorPath);
    }
    else
    {
        put(numberOfSilence, silence.target.sensorNumber);
    }
    table.insert(commentOfSilence, silence.comment);
    put(userOfSilence, silence.user);
    put(secondsOfSilence, silence.seconds);
    put(untilOfSilence, silence.until);
    if (!silence.boot.empty())
    {
        table.insert(bootOfSilence, silence.boot);
    }
    put(endsOfSilence, silence.ends);
    if (silence.byWall)
    {
        table.insert(byWallOfSilence, true);
    }
    return table;
}

} // namespace

KeptSilences parseSilences(const std::string& text, const std::string& name)
{
    const toml::table root = services::parseToml(text, name);
    KeptSilences kept;
    kept.last = static_cast<uint64_t>(
        ConfigTable(root, name, "").number(lastOfSilence, 0, mostExact, 0));
    forEachTable(root, name, tableOfSilence, [&kept](ConfigTable& table) {
        readInto(kept, table);
    });
    return kept;
}

std::string formatSilences(const KeptSilences& kept)
{
    toml::table root;
    root.insert(lastOfSilence, static_cast<int64_t>(kept.last));
    toml::array tables;
    for (const auto& [id, silence] : kept.silences)
    {
        tables.push_back(format(id, silence));
    }
    insertTables(root, tableOfSilence, std::move(tables));
    return formatToml(root);
}

} // namespace healthintf::healthmgr
