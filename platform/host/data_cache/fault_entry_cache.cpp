// SPDX-License-Identifier: Apache-2.0
#include "fault_entry_codec.hpp"
#include "record_table.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <cerrno>

using namespace healthintf::host;

namespace
{

/** The property of a fault entry that is the record's live value. */
constexpr const char* hiddenProperty = "Hidden";

} // namespace

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
    return putRecord(RecordKind::faultEntry, path, encodeFaultEntry(entry),
                     static_cast<uint32_t>(entry.hidden));
}

int datacache_faultentry_set_property(const std::string& path,
                                      const std::string& name,
                                      const FaultEntryPropertyVariant& value)
{
    if (name == hiddenProperty)
    {
        const bool* hidden = std::get_if<bool>(&value);
        return hidden == nullptr ? EINVAL
                                 : setLiveValue(RecordKind::faultEntry, path,
                                                static_cast<uint32_t>(*hidden));
    }
    return editRecord(RecordKind::faultEntry, path, [&](std::string& payload) {
        const FaultEntryProperties stored = decodeFaultEntry(payload, 0);
        FaultEntryView entry = makeView(stored);
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
    return readRecordsInto(
        records, RecordQuery::below(RecordKind::faultEntry, prefixes),
        [](const ReadRecord& record, const ProcessIdentity&) {
            return FaultEntry_gen(
                decodeFaultEntry(record.payload, record.live));
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
