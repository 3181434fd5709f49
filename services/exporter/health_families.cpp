// SPDX-License-Identifier: Apache-2.0
#include "health_families.hpp"

#include "cache_content.hpp"

#include <hmi_health_value.hpp>

#include <set>
#include <utility>

namespace healthintf::exporter
{
namespace
{

using namespace health_namespace;

Family gauge(std::string name, std::string help, double value,
             std::string unit = {})
{
    return {std::move(name),
            Kind::gauge,
            std::move(unit),
            std::move(help),
            {{{}, value}}};
}

Family nodeHealth(const CacheContent& cache)
{
    Family family{"healthintf_node_health",
                  Kind::gauge,
                  "",
                  "Health of a node: 0 none, 1 unknown, 2 OK, 3 warning, 4 "
                  "critical.",
                  {}};
    for (const auto& [key, health] : cache.health)
    {
        family.samples.push_back(
            {{{"component", key}}, static_cast<double>(health)});
    }
    return family;
}

/** A health value's word, and whether hidden. */
using FaultLabels = std::pair<std::string, bool>;

void appendFaults(Family& family, const std::string& component,
                  const FaultCounts& counts)
{
    // Numbers of 0 are given, too: alerts notice a number that goes to 0, but
    // not one that vanishes. All unknown health values share a word.
    std::map<FaultLabels, uint64_t> numbers;
    for (const uint32_t severity :
         {healthUnknown, healthOk, healthWarning, healthCritical})
    {
        numbers[{healthWord(severity), false}] = 0;
        numbers[{healthWord(severity), true}] = 0;
    }
    for (const auto& [kind, number] : counts)
    {
        numbers[{healthWord(kind.first), kind.second}] += number;
    }
    for (const auto& [labels, number] : numbers)
    {
        family.samples.push_back(
            {{{"component", component},
              {"severity", labels.first},
              {"hidden", labels.second ? "true" : "false"}},
             static_cast<double>(number)});
    }
}

Family faults(const CacheContent& cache)
{
    Family family{"healthintf_faults",
                  Kind::gauge,
                  "",
                  "Faults that a component holds now.",
                  {}};
    for (const std::string& component : listComponents(cache))
    {
        const auto found = cache.faults.find(component);
        appendFaults(family, component,
                     found == cache.faults.end() ? FaultCounts()
                                                 : found->second);
    }
    return family;
}

Family evictions(std::map<std::string, uint64_t> all,
                 const std::set<std::string>& components)
{
    for (const std::string& component : components)
    {
        all.try_emplace(component, 0);
    }
    Family family{"healthintf_fault_evictions",
                  Kind::counter,
                  "",
                  "Faults that gave way to others since this program listens.",
                  {}};
    for (const auto& [component, number] : all)
    {
        family.samples.push_back(
            {{{"component", component}}, static_cast<double>(number)});
    }
    return family;
}

void appendCache(std::vector<Family>& families, const Snapshot& snapshot)
{
    families.push_back(gauge("healthintf_data_cache_up",
                             "Whether the data cache could be read.",
                             snapshot.cache ? 1 : 0));
    if (const auto& space = snapshot.space)
    {
        families.push_back(gauge("healthintf_data_cache_processes",
                                 "Processes that have records.",
                                 static_cast<double>(space->segments)));
        families.push_back(gauge("healthintf_data_cache_used_bytes",
                                 "What the records of all processes take.",
                                 static_cast<double>(space->usedBytes),
                                 "bytes"));
        families.push_back(gauge(
            "healthintf_data_cache_fullest_used_bytes",
            "What the records of the process take that is next to its limit.",
            static_cast<double>(space->fullestUsedBytes), "bytes"));
        families.push_back(
            gauge("healthintf_data_cache_fullest_capacity_bytes",
                  "Where new records of that process are refused.",
                  static_cast<double>(space->fullestCapacity), "bytes"));
    }
    if (snapshot.cache)
    {
        families.push_back(nodeHealth(*snapshot.cache));
        families.push_back(faults(*snapshot.cache));
        families.push_back(
            gauge("healthintf_lost_monitors",
                  "Components with the fault of a lost monitor.",
                  static_cast<double>(snapshot.cache->lostMonitors)));
    }
}

void appendNotes(std::vector<Family>& families, const Snapshot& snapshot)
{
    if (snapshot.silences)
    {
        families.push_back(gauge("healthintf_silences",
                                 "Silences that are in force.",
                                 static_cast<double>(*snapshot.silences)));
    }
    if (snapshot.acknowledgements)
    {
        families.push_back(
            gauge("healthintf_acknowledged_faults",
                  "Faults that an operator has acknowledged.",
                  static_cast<double>(*snapshot.acknowledgements)));
    }
}

void appendTime(std::vector<Family>& families, const char* name,
                const char* help, uint32_t time)
{
    if (time != 0)
    {
        families.push_back(gauge(name, help, time, "seconds"));
    }
}

void appendLog(std::vector<Family>& families, const services::LogStatus& log)
{
    families.push_back(gauge("healthintf_sel_entries",
                             "Entries of the System Event Log.", log.entries));
    families.push_back(gauge("healthintf_sel_capacity",
                             "Entries that the System Event Log may hold.",
                             log.capacity));
    families.push_back(gauge("healthintf_sel_overflow",
                             "Whether events were refused or dropped since the "
                             "log was last cleared.",
                             log.overflow ? 1 : 0));
    families.push_back({"healthintf_sel_policy",
                        Kind::info,
                        "",
                        "What happens to an event when the log is full.",
                        {{{{"overflow", log.policy}}, 1}}});
    appendTime(families, "healthintf_sel_last_addition_timestamp_seconds",
               "When an event was last added.", log.lastAddition);
    appendTime(families, "healthintf_sel_last_erase_timestamp_seconds",
               "When the log was last cleared.", log.lastErase);
}

} // namespace

std::vector<Family> makeFamilies(const Snapshot& snapshot,
                                 const std::string& version)
{
    std::vector<Family> families{{"healthintf_build",
                                  Kind::info,
                                  "",
                                  "The version of this program.",
                                  {{{{"version", version}}, 1}}}};
    appendCache(families, snapshot);
    families.push_back(gauge("healthintf_bus_up", "Whether the bus answered.",
                             snapshot.bus ? 1 : 0));
    families.push_back(gauge("healthintf_healthmgr_up",
                             "Whether healthmgr answered; without it "
                             "nodes above others may be out of date.",
                             snapshot.healthmgr ? 1 : 0));
    appendNotes(families, snapshot);
    if (snapshot.evictions)
    {
        families.push_back(
            evictions(*snapshot.evictions,
                      listComponents(snapshot.cache.value_or(CacheContent()))));
    }
    families.push_back(gauge("healthintf_sel_up", "Whether logmgr answered.",
                             snapshot.log ? 1 : 0));
    if (snapshot.log)
    {
        appendLog(families, *snapshot.log);
    }
    families.push_back(gauge("healthintf_scrape_duration_seconds",
                             "How long it took to collect this.",
                             snapshot.seconds, "seconds"));
    return families;
}

} // namespace healthintf::exporter
