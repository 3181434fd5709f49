#pragma once

/** @file What the data cache of the running test holds. */

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

inline nlohmann::json dumpedCache()
{
    return nlohmann::json::parse(outputOf({CACHE_DUMP}));
}

/** The health that a key's record holds, if there is one. */
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

/** The keys that have a health record, in their order. */
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
