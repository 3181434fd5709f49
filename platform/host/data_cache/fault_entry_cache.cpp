#include "fault_entry_codec.hpp"
#include "in_place.hpp"
#include "record_table.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <cerrno>

using namespace healthintf::host;

int datacache_faultentry_create(const std::string& path,
                                const FaultEntryPropertyMap& properties)
{
    FaultEntryView entry;
    for (const auto& [name, value] : properties)
    {
        if (!setProperty(entry, name, value))
        {
            return EINVAL;
        }
    }
    return putRecord(RecordKind::faultEntry, path, encodeFaultEntry(entry));
}

int datacache_faultentry_set_property(const std::string& path,
                                      const std::string& name,
                                      const FaultEntryPropertyVariant& value)
{
    return editRecord(RecordKind::faultEntry, path, [&](std::string& payload) {
        const FaultEntryProperties held = decodeFaultEntry(payload);
        FaultEntryView entry = viewOf(held);
        if (!setProperty(entry, name, value))
        {
            return EINVAL;
        }
        payload = encodeFaultEntry(entry);
        return 0;
    });
}

int datacache_faultentry_remove(const std::string& path)
{
    return removeRecord(RecordKind::faultEntry, path);
}

long DataAbstraction::FaultEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& prefixes,
    std::map<std::string, FaultEntry_gen>& records)
{
    return readRecords(
        RecordKind::faultEntry, prefixes,
        [&records](std::string_view path, const StoredRecord& record) {
            records.insert_or_assign(
                records.end(), std::string(path),
                InPlace<FaultEntry_gen, decodeFaultEntry>{record.payload});
        });
}

faultentry_cluster::faultentry_cluster(sdbusplus::bus_t& /*bus*/)
{}

faultentry_cluster::~faultentry_cluster() = default;

void faultentry_cluster::PropertyChanged(
    const std::string& /*path*/, const std::string& /*name*/,
    const FaultEntryPropertyVariant& /*value*/)
{
    // The record itself is written by the setters.
}
