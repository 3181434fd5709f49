// SPDX-License-Identifier: Apache-2.0
/** @file Health records of the data cache: none is kept. */

#include <platform/data_abstraction/health_status.hpp>

#include <cerrno>

int datacache_healthstatus_create(const std::string& /*path*/,
                                  const HealthStatusPropertyMap& /*properties*/)
{
    return ENOSYS;
}

int datacache_healthstatus_set_property(
    const std::string& /*path*/, const std::string& /*name*/,
    const HealthStatusPropertyVariant& /*value*/)
{
    return ENOSYS;
}

int datacache_healthstatus_remove(const std::string& /*path*/)
{
    return 0;
}

healthstatus_cluster::healthstatus_cluster(sdbusplus::bus_t& /*bus*/)
{}

healthstatus_cluster::~healthstatus_cluster() = default;

void healthstatus_cluster::PropertyChanged(
    const std::string& /*path*/, const std::string& /*name*/,
    const HealthStatusPropertyVariant& /*value*/)
{}

namespace DataAbstraction::HealthStatus
{

long get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& /*prefixes*/,
    std::map<std::string, HealthStatus_gen>& /*records*/)
{
    return readNoRecords;
}

} // namespace DataAbstraction::HealthStatus
