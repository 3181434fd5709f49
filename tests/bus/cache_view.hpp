// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the data cache of the running test. */

#include "process.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::test
{

struct RecordedFault
{
    std::string path;
    std::string messageID;
    std::string message;
    std::vector<std::string> args;
    uint32_t severity;
    bool hidden;
};

/** @param[in] selPrefixes path prefixes of the wanted log entries; empty for
 *             all */
inline nlohmann::json
dumpedCache(const std::vector<std::string>& selPrefixes = {})
{
    std::vector<std::string> command{CACHE_DUMP};
    command.insert(command.end(), selPrefixes.begin(), selPrefixes.end());
    return nlohmann::json::parse(readOutput(command));
}

/** The identifiers of the log's entries in the data cache. */
inline std::vector<uint16_t>
recordedEvents(const std::vector<std::string>& prefixes = {})
{
    const auto cache = dumpedCache(prefixes);
    std::vector<uint16_t> ids;
    for (const auto& [path, entry] : cache["sel"].items())
    {
        ids.push_back(entry["recordId"]);
    }
    return ids;
}

/** The health in a key's record, if there is a record. */
inline std::optional<uint32_t> recordedHealth(const std::string& key)
{
    const auto cache = dumpedCache();
    const auto found = cache["health"].find(key);
    if (found == cache["health"].end())
    {
        return std::nullopt;
    }
    return found->get<uint32_t>();
}

/** The keys that have a health record, in order. */
inline std::vector<std::string> recordedKeys()
{
    const auto cache = dumpedCache();
    std::vector<std::string> keys;
    for (const auto& [key, health] : cache["health"].items())
    {
        keys.push_back(key);
    }
    return keys;
}

/** The fault-entry records in the order of their paths. */
inline std::vector<RecordedFault> recordedFaults()
{
    const auto cache = dumpedCache();
    std::vector<RecordedFault> faults;
    for (const auto& fault : cache["faults"])
    {
        faults.push_back({fault["path"], fault["messageID"], fault["message"],
                          fault["args"], fault["severity"], fault["hidden"]});
    }
    return faults;
}

} // namespace healthintf::test
