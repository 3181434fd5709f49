// SPDX-License-Identifier: Apache-2.0
/** @file Fault-entry records of the data cache: none is kept. */

#include <platform/data_abstraction/fault_entry.hpp>

#include <cerrno>

int datacache_faultentry_create(const std::string& /*path*/,
                                const FaultEntryPropertyMap& /*properties*/)
{
    return ENOSYS;
}

int datacache_faultentry_set_property(
    const std::string& /*path*/, const std::string& /*name*/,
    const FaultEntryPropertyVariant& /*value*/)
{
    return ENOSYS;
}

int datacache_faultentry_remove(const std::string& /*path*/)
{
    return 0;
}

faultentry_cluster::faultentry_cluster(sdbusplus::bus_t& /*bus*/)
{}

faultentry_cluster::~faultentry_cluster() = default;

void faultentry_cluster::PropertyChanged(
    const std::string& /*path*/, const std::string& /*name*/,
    const FaultEntryPropertyVariant& /*value*/)
{}

namespace DataAbstraction::FaultEntry
{

long get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& /*prefixes*/,
    std::map<std::string, FaultEntry_gen>& /*records*/)
{
    return readNoRecords;
}

} // namespace DataAbstraction::FaultEntry
