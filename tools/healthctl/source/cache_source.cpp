// SPDX-License-Identifier: Apache-2.0
#include "cache_source.hpp"

#include "../error.hpp"
#include "../model/fault_filter.hpp"
#include "data_cache/record_owners.hpp"
#include "process_name.hpp"

#include <hmi_faultentry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <algorithm>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

using health_namespace::FaultEntry;

/** @param[in] result 0, readNoRecords, or the number of a failure */
void check(long result)
{
    if (result != DataAbstraction::readOk &&
        result != DataAbstraction::readNoRecords)
    {
        throw Error(ExitCode::failed,
                    "the data cache cannot be read; HEALTHINTF_LOG_LEVEL=4 in "
                    "the environment shows why");
    }
}

/** Names the owners of nodes. Looks each process up only once: most own many
 *  records. */
class Holders
{
  public:
    explicit Holders(host::RecordOwners owners) : owners(std::move(owners))
    {}

    std::string of(const std::string& path)
    {
        const auto owner = owners.find(path);
        if (owner == owners.end())
        {
            // It came or went between two readings.
            return {};
        }
        const auto [found, isNew] = known.try_emplace(owner->second);
        if (isNew)
        {
            found->second =
                readProcessName(static_cast<pid_t>(owner->second.pid));
        }
        return found->second;
    }

  private:
    host::RecordOwners owners;
    std::map<host::ProcessIdentity, std::string> known;
};

} // namespace

const char* CacheSource::name() const
{
    return "cache";
}

Nodes CacheSource::nodes()
{
    std::map<std::string, HealthStatus_gen> records;
    check(DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {},
                                                                  records));
    host::RecordOwners owners;
    check(host::listNodeOwners(owners));
    Holders holders(std::move(owners));
    Nodes all;
    for (const auto& [key, record] : records)
    {
        all[key] = {record.healthStatus(), holders.of(key)};
    }
    return all;
}

Faults CacheSource::faults()
{
    std::map<std::string, FaultEntry_gen> records;
    check(
        DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, {}, records));
    Faults all;
    for (auto& [path, record] : records)
    {
        all.push_back({path, std::move(record)});
    }
    return all;
}

Counts CacheSource::counts()
{
    Counts counted;
    check(FaultEntry::GetNumberOfHiddenVisibleFaults(counted.visible,
                                                     counted.hidden));
    return counted;
}

LedStates CacheSource::leds()
{
    LedStates states{};
    std::vector<int> asked(states.size());
    check(FaultEntry::GetLEDStateFromFaultEntries(asked));
    std::ranges::transform(asked, states.begin(), [](int each) {
        return each != 0;
    });
    return states;
}

Faults CacheSource::top(const std::string& key, std::size_t n, bool severeOnly)
{
    // With the slash no other component's name begins so.
    std::string prefix = key.empty() ? key : key + "/";
    std::vector<std::pair<std::string, FaultEntry_gen>> entries;
    // The query orders faults of one severity and second at random, so that
    // others are among the first each time.
    check(FaultEntry::GetNFaultEntries(prefix, 0, entries, severeOnly));
    Faults all;
    for (auto& [path, record] : entries)
    {
        all.push_back({path, std::move(record)});
    }
    FaultFilter first;
    first.limit = n;
    return chooseFaults(all, first);
}

} // namespace healthintf::healthctl
