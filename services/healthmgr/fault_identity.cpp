// SPDX-License-Identifier: Apache-2.0
#include "fault_identity.hpp"

#include "data_cache/withdrawal.hpp"
#include "printable.hpp"
#include "silence.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/results.hpp>
#include <platform/utf8.hpp>

namespace healthintf::healthmgr
{
namespace
{

FaultIdentity identify(const std::string& path, const FaultEntry_gen& record)
{
    FaultIdentity identity;
    identity.messageId = std::string(
        truncateUtf8(host::printable(record.messageID()), maxMessageId));
    identity.timestamp = record.timestamp();
    if (const auto node = host::findHealthRecord(componentOf(path)))
    {
        identity.pid = node->owner.pid;
        identity.startTime = node->owner.startTime;
    }
    return identity;
}

} // namespace

std::optional<FaultIdentities>
readIdentities(const std::vector<std::string>& paths)
{
    FaultIdentities identities;
    if (paths.empty())
    {
        // Without a prefix all records would be read.
        return identities;
    }
    std::map<std::string, FaultEntry_gen> records;
    const long result = DataAbstraction::FaultEntry::get_map_by_path_prefixes(
        {}, paths, records);
    if (result != DataAbstraction::readOk &&
        result != DataAbstraction::readNoRecords)
    {
        return std::nullopt;
    }
    for (const std::string& path : paths)
    {
        if (const auto found = records.find(path); found != records.end())
        {
            identities.emplace(path, identify(path, found->second));
        }
    }
    return identities;
}

} // namespace healthintf::healthmgr
