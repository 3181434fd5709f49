// SPDX-License-Identifier: Apache-2.0
#include "record_table.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <cerrno>

using namespace healthintf::host;

namespace
{

constexpr const char* healthProperty = "HealthStatus";

long readHealth(const RecordQuery& query,
                std::map<std::string, HealthStatus_gen>& records)
{
    return readRecordsInto(
        records, query, [](const ReadRecord& record, const ProcessIdentity&) {
            return HealthStatus_gen(record.live);
        });
}

} // namespace

int datacache_healthstatus_create(const std::string& path,
                                  const HealthStatusPropertyMap& properties)
{
    const auto health = properties.find(healthProperty);
    // The health is the record's live value; the payload is empty.
    return putRecord(
        RecordKind::healthStatus, path, {},
        health == properties.end() ? 0 : std::get<uint32_t>(health->second));
}

int datacache_healthstatus_set_property(
    const std::string& path, const std::string& name,
    const HealthStatusPropertyVariant& value)
{
    return name == healthProperty ? setLiveValue(RecordKind::healthStatus, path,
                                                 std::get<uint32_t>(value))
                                  : EINVAL;
}

int datacache_healthstatus_remove(const std::string& path)
{
    return removeRecord(RecordKind::healthStatus, path);
}

long datacache_healthstatus_exists(const std::string& path, bool& exists)
{
    std::map<std::string, HealthStatus_gen> found;
    const long result =
        readHealth(RecordQuery::exactly(RecordKind::healthStatus, path), found);
    if (result == DataAbstraction::readOk)
    {
        exists = !found.empty();
    }
    return result;
}

long DataAbstraction::HealthStatus::get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& prefixes,
    std::map<std::string, HealthStatus_gen>& records)
{
    return readHealth(RecordQuery::below(RecordKind::healthStatus, prefixes),
                      records);
}

healthstatus_cluster::healthstatus_cluster(sdbusplus::bus_t& /*bus*/)
{}

healthstatus_cluster::~healthstatus_cluster() = default;

void healthstatus_cluster::PropertyChanged(
    const std::string& /*path*/, const std::string& /*name*/,
    const HealthStatusPropertyVariant& /*value*/)
{
    // The record itself is written by the setters.
}
