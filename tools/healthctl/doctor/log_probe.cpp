// SPDX-License-Identifier: Apache-2.0
#include "log_probe.hpp"

#include "../error.hpp"
#include "../sel/logmgr_client.hpp"

#include <data_cache/sel_entry_cache.hpp>
#include <data_cache/sel_entry_codec.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** How often both are read while the log changes. */
constexpr int mostReadings = 5;

std::string encode(const SELEntry_gen& entry)
{
    return host::encodeSelEntry({.recordId = entry.recordId(),
                                 .timestamp = entry.timestamp(),
                                 .sensor = entry.sensor(),
                                 .record = entry.record()});
}

LogComparison compareEntries(const std::vector<SELEntry_gen>& log,
                             const std::vector<SELEntryProperties>& mirror)
{
    LogComparison comparison{.failure = "",
                             .entries = log.size(),
                             .mirrored = mirror.size(),
                             .different = 0};
    for (std::size_t i = 0; i < log.size(); ++i)
    {
        if (i >= mirror.size() ||
            encode(log[i]) != host::encodeSelEntry(mirror[i]))
        {
            ++comparison.different;
        }
    }
    return comparison;
}

bool isSame(const services::LogStatus& one, const services::LogStatus& other)
{
    return one.generation == other.generation &&
           one.lastEntry == other.lastEntry && one.entries == other.entries;
}

LogComparison makeFailure(const std::string& why)
{
    LogComparison comparison;
    comparison.failure = why;
    return comparison;
}

} // namespace

LogComparison compareLogWithMirror()
{
    try
    {
        LogmgrClient log;
        for (int reading = 0; reading < mostReadings; ++reading)
        {
            const services::LogStatus before = log.status();
            const std::vector<SELEntry_gen> entries = log.content().entries;
            std::vector<SELEntryProperties> mirror;
            const long result = host::readSelMirror(mirror);
            if (result != DataAbstraction::readOk &&
                result != DataAbstraction::readNoRecords)
            {
                return makeFailure("the mirror cannot be read");
            }
            if (isSame(before, log.status()))
            {
                return compareEntries(entries, mirror);
            }
        }
        return makeFailure("the log changes all the time");
    }
    catch (const Error& e)
    {
        return makeFailure(e.what());
    }
}

std::optional<services::LogStatus> askLogStatus()
{
    try
    {
        return LogmgrClient().status();
    }
    catch (const Error&)
    {
        return std::nullopt;
    }
}

} // namespace healthintf::healthctl
