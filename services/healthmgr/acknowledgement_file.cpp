// SPDX-License-Identifier: Apache-2.0
#include "acknowledgement_file.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"
#include "comment.hpp"
#include "kept_file.hpp"
#include "node_key.hpp"
#include "silence.hpp"

#include <systemd/sd-bus.h>

#include <limits>
#include <utility>

namespace healthintf::healthmgr
{

using services::ConfigTable;

namespace
{

/** The array of tables. */
constexpr const char* tableOfAcknowledgement = "acknowledgement";

/** The names of a table's values. */
constexpr const char* faultOfAcknowledgement = "fault";
constexpr const char* messageOfAcknowledgement = "message";
constexpr const char* addedOfAcknowledgement = "added";
constexpr const char* pidOfAcknowledgement = "pid";
constexpr const char* startOfAcknowledgement = "start";
constexpr const char* commentOfAcknowledgement = "comment";
constexpr const char* userOfAcknowledgement = "user";
constexpr const char* timeOfAcknowledgement = "time";

constexpr double most32 = std::numeric_limits<uint32_t>::max();

void readInto(AcknowledgementMap& all, ConfigTable& table)
{
    const auto number = [&table](const char* name, double most = mostExact) {
        return table.number(name, 0, most, 0);
    };
    const std::string path = table.text(faultOfAcknowledgement);
    Acknowledgement acknowledgement{
        .fault = {.messageId = table.has(messageOfAcknowledgement)
                                   ? table.text(messageOfAcknowledgement)
                                   : "",
                  .timestamp =
                      static_cast<uint64_t>(number(addedOfAcknowledgement)),
                  .pid = static_cast<uint32_t>(
                      number(pidOfAcknowledgement, most32)),
                  .startTime =
                      static_cast<uint64_t>(number(startOfAcknowledgement))},
        .comment = table.text(commentOfAcknowledgement),
        .user = static_cast<uint32_t>(number(userOfAcknowledgement, most32)),
        .time = static_cast<int64_t>(number(timeOfAcknowledgement))};
    if (!isEntryPath(path) ||
        acknowledgement.fault.messageId.size() > maxMessageId)
    {
        table.fail(faultOfAcknowledgement, "is no fault");
    }
    if (const std::string cause =
            explainInvalidComment(acknowledgement.comment);
        !cause.empty())
    {
        table.fail(commentOfAcknowledgement, cause);
    }
    if (all.size() == mostAcknowledgements)
    {
        table.fail(faultOfAcknowledgement,
                   "there are more acknowledgements than " +
                       std::to_string(mostAcknowledgements));
    }
    if (!all.emplace(path, std::move(acknowledgement)).second)
    {
        table.fail(faultOfAcknowledgement, "is there twice");
    }
}

toml::table format(const std::string& path,
                   const Acknowledgement& acknowledgement)
{
    toml::table table;
    const auto put = [&table](const char* name, auto value) {
        table.insert(name, static_cast<int64_t>(value));
    };
    const FaultIdentity& fault = acknowledgement.fault;
    table.insert(faultOfAcknowledgement, path);
    if (!fault.messageId.empty())
    {
        table.insert(messageOfAcknowledgement, fault.messageId);
    }
    put(addedOfAcknowledgement, fault.timestamp);
    put(pidOfAcknowledgement, fault.pid);
    put(startOfAcknowledgement, fault.startTime);
    table.insert(commentOfAcknowledgement, acknowledgement.comment);
    put(userOfAcknowledgement, acknowledgement.user);
    put(timeOfAcknowledgement, acknowledgement.time);
    return table;
}

} // namespace

bool isEntryPath(const std::string& path)
{
    // As many bytes as an entry's name has behind the longest key.
    constexpr std::size_t longestName = 25;
    return path.size() <= maxKey + longestName &&
           sd_bus_object_path_is_valid(path.c_str()) > 0 &&
           componentOf(path) != path && isKey(componentOf(path).c_str());
}

AcknowledgementMap parseAcknowledgements(const std::string& text,
                                         const std::string& name)
{
    AcknowledgementMap all;
    forEachTable(services::parseToml(text, name), name, tableOfAcknowledgement,
                 [&all](ConfigTable& table) {
                     readInto(all, table);
                 });
    return all;
}

std::string formatAcknowledgements(const AcknowledgementMap& all)
{
    toml::array tables;
    for (const auto& [path, acknowledgement] : all)
    {
        tables.push_back(format(path, acknowledgement));
    }
    toml::table root;
    insertTables(root, tableOfAcknowledgement, std::move(tables));
    return formatToml(root);
}

} // namespace healthintf::healthmgr
