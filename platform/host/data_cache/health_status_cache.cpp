#include "byte_codec.hpp"
#include "record_table.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <cerrno>

using namespace healthintf::host;

namespace
{

constexpr const char* healthProperty = "HealthStatus";

std::string encode(uint32_t health)
{
    std::string payload;
    ByteWriter(payload).put(health);
    return payload;
}

HealthStatus_gen decode(std::string_view payload)
{
    return HealthStatus_gen(ByteReader(payload).getLive<uint32_t>());
}

/** What this thread looks for. */
thread_local Wanted wanted = Wanted::allBelow;

} // namespace

int datacache_healthstatus_create(const std::string& path,
                                  const HealthStatusPropertyMap& properties)
{
    const auto health = properties.find(healthProperty);
    return putRecord(RecordKind::healthStatus, path,
                     encode(health == properties.end()
                                ? 0
                                : std::get<uint32_t>(health->second)));
}

int datacache_healthstatus_set_property(
    const std::string& path, const std::string& name,
    const HealthStatusPropertyVariant& value)
{
    if (name != healthProperty)
    {
        return EINVAL;
    }
    return editRecord(RecordKind::healthStatus, path,
                      [&](std::string& payload) {
                          payload = encode(std::get<uint32_t>(value));
                          return 0;
                      });
}

int datacache_healthstatus_remove(const std::string& path)
{
    return removeRecord(RecordKind::healthStatus, path);
}

long DataAbstraction::HealthStatus::get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& prefixes,
    std::map<std::string, HealthStatus_gen>& records)
{
    return readRecords(
        RecordKind::healthStatus, prefixes,
        [&records](std::string_view path, const StoredRecord& record) {
            records.insert_or_assign(records.end(), std::string(path),
                                     decode(record.payload));
        },
        wanted);
}

void datacache_healthstatus_whole_paths(bool only)
{
    wanted = only ? Wanted::wholePaths : Wanted::allBelow;
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
