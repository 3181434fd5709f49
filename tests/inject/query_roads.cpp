// SPDX-License-Identifier: Apache-2.0
/** @file Roads that query faults and the System Event Log. */

#include "road.hpp"
#include "world.hpp"

#include <hmi_faultentry.hpp>

#include <algorithm>
#include <stdexcept>

namespace healthintf::test
{
namespace
{

using health_namespace::FaultEntry;
using logmgr_interface::SELAndFault;

/** A query; it changes nothing.
 *
 *  @param[in] run throws std::logic_error when the result does not fit the
 *             status */
Road queryRoad(const std::string& name, const std::function<int(Try&)>& run)
{
    return {.name = name,
            .prepare =
                [](Try& tried) {
                    withFaults(tried);
                    tried.component->hideFaults(2U);
                    tried.events = std::make_unique<SELAndFault>();
                },
            .run = run,
            .failures = {5},
            .throwsBadAlloc = true,
            .done =
                [](const View& before, const View& after) {
                    return before == after;
                }};
}

void require(bool right, const char* what)
{
    if (!right)
    {
        throw std::logic_error(what);
    }
}

int countFaults(Try& /*tried*/)
{
    int visible = -1;
    int hidden = -1;
    const int status =
        FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden);
    require(status == 0 ? visible == 2 && hidden == 1
                        : visible == 0 && hidden == 0,
            "the counts are not those of the status");
    return status;
}

int readLeds(Try& /*tried*/)
{
    std::vector<int> states(7, 9);
    const int status = FaultEntry::GetLEDStateFromFaultEntries(states);
    require(std::ranges::count(states, 1) == (status == 0 ? 1 : 0) &&
                std::ranges::count(states, 0) == (status == 0 ? 6 : 7),
            "the states are not those of the status");
    return status;
}

int findWorst(Try& tried)
{
    std::vector<std::pair<std::string, FaultEntry_gen>> worst;
    const int status = FaultEntry::GetNFaultEntries(tried.key, 1, worst, false);
    require(worst.size() == (status == 0 ? 1 : 0) &&
                (worst.empty() || worst[0].second.messageID() == critical),
            "the entries are not those of the status");
    return status;
}

/** Makes sure that the log has an entry, from this run or an earlier one. */
void withEntry(Try& tried)
{
    SELInterface::SensorInfo sensor{"Fan 1", "/s9", 7, 9};
    std::vector<unsigned char> record(16);
    record[2] = 2;
    require(tried.events->addSEL(sensor, record) == 0, "addSEL");
}

int readLog(Try& tried)
{
    std::map<std::string, SELEntry_gen> entries;
    const int status = tried.events->GetSELDatacacheEntries(entries);
    // Entries that were read before the failure may stay in the list.
    require(status != 0 || !entries.empty(), "there are entries");
    return status;
}

int readEntry(Try& tried)
{
    SELEntry_gen entry;
    const int status = tried.events->GetSELDatacacheEntryByID(entry, 1);
    require(entry.recordId() == (status == 0 ? 1 : 0),
            "the entry is not that of the status");
    return status;
}

Road logRoad(const std::string& name, const std::function<int(Try&)>& run)
{
    Road road = queryRoad(name, run);
    road.prepare = [prepare = road.prepare](Try& tried) {
        prepare(tried);
        static const bool once = [&] {
            withEntry(tried);
            return true;
        }();
        require(once, "an entry");
    };
    return road;
}

} // namespace

std::vector<Road> queryRoads()
{
    return {
        queryRoad("GetNumberOfHiddenVisibleFaults", countFaults),
        queryRoad("GetLEDStateFromFaultEntries", readLeds),
        queryRoad("GetNFaultEntries", findWorst),
        logRoad("GetSELDatacacheEntries", readLog),
        logRoad("GetSELDatacacheEntryByID", readEntry),
    };
}

} // namespace healthintf::test
