// SPDX-License-Identifier: Apache-2.0
/** @file SELAndFault's queries of the log's entries in the data cache. */

// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "lmi_sel_fault"
#include "log_line.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <lmi_sel_fault.hpp>
#include <platform/data_abstraction/results.hpp>

#include <array>
#include <cstdio>
#include <optional>

namespace logmgr_interface
{

using namespace health_namespace;
using namespace health_namespace::details;
namespace names = healthintf::names;

namespace
{

using Entries = std::map<std::string, SELEntry_gen>;

/** Fetches entries of the log.
 *
 *  @param[in] function the query, in whose name lines are logged
 *  @return the status to return from the query; nothing when the query goes
 *          on */
std::optional<int> fetch(const char* function, const std::string& prefix,
                         Entries& entries)
{
    const long result = DataAbstraction::SELEntry::get_map_by_path_prefixes(
        {names::logmgrService}, {prefix}, entries);
    switch (result)
    {
        case DataAbstraction::readOk:
            return std::nullopt;
        case DataAbstraction::readNoRecords:
            HMI_LOG_AS(function, log::progress,
                       "%s.%d.%s: No entries available, returning success");
            return statusOk;
        default:
            HMI_LOG_AS(function, log::error,
                       "%s.%d.%s: Error in fetching from Datacache : %ld",
                       result);
            return statusNotRead;
    }
}

std::string entryPath(uint16_t recordId)
{
    std::array<char, sizeof("65535")> digits{};
    std::snprintf(digits.data(), digits.size(), "%05d", recordId);
    return std::string(names::selEntryPrefix) + digits.data();
}

} // namespace

int SELAndFault::GetSELDatacacheEntries(Entries& entries)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    if (const auto end = fetch(__func__, names::selPath, entries))
    {
        return *end;
    }
    if (entries.empty())
    {
        HMI_LOG(log::progress, "%s.%d.%s: No data found for given path "
                               "/com/vexa/olvar/logmgr/SEL");
    }
    else
    {
        HMI_LOG(log::progress,
                "%s.%d.%s: Exiting from GetSELDatacacheEntries: %zd entries",
                entries.size());
    }
    return statusOk;
}

int SELAndFault::GetSELDatacacheEntryByID(SELEntry_gen& entry,
                                          uint16_t recordId)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    const std::string path = entryPath(recordId);
    Entries entries;
    if (const auto end = fetch(__func__, path, entries))
    {
        return *end;
    }
    if (entries.empty())
    {
        HMI_LOG(log::progress,
                "%s.%d.%s: No data found for given recordID at path %s",
                path.c_str());
        return statusNotRead;
    }
    if (entries.size() > 1)
    {
        HMI_LOG(log::warning,
                "%s.%d.%s: Multiple entries found for path %s. Returning "
                "first value.",
                path.c_str());
    }
    entry = entries.begin()->second;
    HMI_LOG(log::progress,
            "%s.%d.%s: Exiting from GetSELDatacacheEntryByID: Found %lu "
            "entries for recordID %d",
            static_cast<unsigned long>(entries.size()), recordId);
    return statusOk;
}

} // namespace logmgr_interface
