// SPDX-License-Identifier: Apache-2.0
/** @file FaultEntry's queries over the fault entries of all processes. */

// Log readers know the lines of the queries by this name.
#define HMI_LOG_FILE "hmi_fault_health"
#include "log_line.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_faultentry.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <utility>

namespace health_namespace
{

using namespace details;
namespace names = healthintf::names;

namespace
{

using Records = std::map<std::string, FaultEntry_gen>;
using Entries = std::vector<std::pair<std::string, FaultEntry_gen>>;

void logNoEntries(const char* function)
{
    HMI_LOG_AS(function, log::progress,
               "%s.%d.%s: No entries available, returning success");
}

void logNoDatacache(const char* function)
{
    HMI_LOG_AS(function, log::progress,
               "%s.%d.%s: Datacache not created(no entries), so skipping and "
               "return success");
}

/** Fetches the records of a query.
 *
 *  @param[in] function the query, in whose name lines are logged
 *  @param[in] logNone logs that no process has made a fault entry yet
 *  @return the status to return from the query; nothing when the query goes
 *          on */
std::optional<int> fetch(const char* function,
                         const std::vector<std::string>& prefixes,
                         Records& records, void (*logNone)(const char*))
{
    const long result = DataAbstraction::FaultEntry::get_map_by_path_prefixes(
        {}, prefixes, records);
    switch (result)
    {
        case DataAbstraction::readOk:
            return std::nullopt;
        case DataAbstraction::readNoRecords:
            logNone(function);
            return statusOk;
        default:
            HMI_LOG_AS(function, log::error,
                       "%s.%d.%s: Error in fetching from Datacache : %ld",
                       result);
            return statusNotRead;
    }
}

} // namespace

int FaultEntry::GetNumberOfHiddenVisibleFaults(int& visible, int& hidden)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    visible = 0;
    hidden = 0;
    Records records;
    if (const auto end = fetch(__func__, {}, records, logNoEntries))
    {
        return *end;
    }
    if (records.empty())
    {
        HMI_LOG(log::progress, "%s.%d.%s: No Data found.");
    }
    hidden =
        static_cast<int>(std::ranges::count_if(records, [](const auto& record) {
            return record.second.hidden();
        }));
    visible = static_cast<int>(records.size()) - hidden;
    return statusOk;
}

int FaultEntry::GetLEDStateFromFaultEntries(std::vector<int>& ledStates)
{
    // The states that an entry may ask for; 0 asks for none.
    constexpr int firstState = 1;
    constexpr int lastState = 6;

    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    if (ledStates.size() != lastState + 1)
    {
        HMI_LOG(log::error,
                "%s.%d.%s: Error in input vector ledStates of size %zd",
                ledStates.size());
        return statusInvalidArgument;
    }
    std::ranges::fill(ledStates, 0);
    Records records;
    if (const auto end =
            fetch(__func__, {names::root}, records, logNoDatacache))
    {
        return *end;
    }
    if (records.empty())
    {
        HMI_LOG(log::progress, "%s.%d.%s: No Data found for given path %s",
                names::root);
        return statusOk;
    }
    for (const auto& [path, record] : records)
    {
        const int32_t state = record.ledState();
        if (state >= firstState && state <= lastState)
        {
            ledStates[state] = 1;
        }
    }
    HMI_LOG(log::progress, "%s.%d.%s: LED States: %d %d %d %d %d %d",
            ledStates[1], ledStates[2], ledStates[3], ledStates[4],
            ledStates[5], ledStates[6]);
    return statusOk;
}

namespace
{

/** How many entries the query may return. 0 asks for as many as the records
 *  that were found; a negative number becomes a huge one and so sets no
 *  limit. */
std::size_t resultLimit(int wanted, std::size_t found)
{
    if (wanted == 0 || std::cmp_less(found, wanted))
    {
        return found;
    }
    return static_cast<std::size_t>(wanted);
}

/** The rank of an entry and where the entry is. Candidates are sorted instead
 *  of entries, so that only the best entries are moved. */
struct Candidate
{
    Candidate(const std::string& path, FaultEntry_gen& record) :
        severity(record.severity()), timestamp(record.timestamp()), path(&path),
        record(&record)
    {}

    uint32_t severity;
    uint64_t timestamp;
    const std::string* path;
    FaultEntry_gen* record;
};

/** Whether @p a is more severe than @p b, or as severe and not newer. */
bool goesBefore(const Candidate& a, const Candidate& b)
{
    return a.severity > b.severity ||
           (a.severity == b.severity && a.timestamp <= b.timestamp);
}

/** The caller's entries, then the records that the query's filter passes. */
std::vector<Candidate> collectCandidates(Entries& entries, Records& records,
                                         bool severeOnly)
{
    constexpr uint32_t notSevere = 2;

    std::vector<Candidate> all;
    all.reserve(entries.size() + records.size());
    for (auto& [path, record] : entries)
    {
        all.emplace_back(path, record);
    }
    for (auto& [path, record] : records)
    {
        HMI_LOG_AS("GetNFaultEntries", log::lifetime,
                   "%s.%d.%s: Before:%s, msg:%s %d %ld", path.c_str(),
                   record.messageID().c_str(), record.severity(),
                   static_cast<long>(record.timestamp()));
        if (!record.hidden() && (!severeOnly || record.severity() > notSevere))
        {
            all.emplace_back(path, record);
        }
    }
    return all;
}

/** Moves the entries of the @p limit best candidates to @p entries, the best
 *  first. */
void moveBest(std::size_t limit, std::vector<Candidate>& all, Entries& entries)
{
    const auto end = all.begin() + static_cast<std::ptrdiff_t>(limit);
    std::partial_sort(all.begin(), end, all.end(), goesBefore);
    std::for_each(all.begin(), end, [&entries](const Candidate& each) {
        entries.emplace_back(*each.path, std::move(*each.record));
    });
}

} // namespace

int FaultEntry::GetNFaultEntries(std::string& pathPrefix, int n,
                                 Entries& entries, bool severeOnly)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    Records records;
    if (const auto end = fetch(__func__, {pathPrefix}, records, logNoEntries))
    {
        return *end;
    }
    if (records.empty())
    {
        HMI_LOG(log::progress, "%s.%d.%s: No Data found for given path %s",
                pathPrefix.c_str());
        return statusOk;
    }
    HMI_LOG(log::progress, "%s.%d.%s: No of entries found : %zd",
            records.size());
    std::size_t limit = std::min(resultLimit(n, records.size()),
                                 entries.size() + records.size());
    // Allocated before the candidates. As the heap's last block it would make
    // the allocator merge its free blocks whenever the caller frees a result.
    Entries best;
    best.reserve(limit);
    std::vector<Candidate> all =
        collectCandidates(entries, records, severeOnly);
    if (all.empty())
    {
        HMI_LOG(log::progress, "%s.%d.%s: no entires added after filtering");
        return statusOk;
    }
    limit = std::min(limit, all.size());
    if (limit < all.size())
    {
        HMI_LOG(log::progress, "%s.%d.%s: Resizing the array to %d",
                static_cast<int>(limit));
    }
    moveBest(limit, all, best);
    entries = std::move(best);
    HMI_LOG(log::progress, "%s.%d.%s: Exit: %zd", entries.size());
    return statusOk;
}

} // namespace health_namespace
