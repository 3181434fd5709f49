#pragma once

/** @file Fault entries as the bytes of a record, and their properties by
 *  name. */

#include <platform/data_abstraction/fault_entry.hpp>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** The properties of a fault entry whose texts belong to somebody else. */
struct FaultEntryView
{
    std::string_view fqdd;
    std::string_view messageID;
    std::string_view message;
    std::span<const std::string> args;
    uint64_t timestamp = 0;
    uint32_t severity = 0;
    std::string_view sensorPath;
    uint32_t sensorNumber = 0;
    uint32_t sensorType = 0;
    int32_t ledState = 0;
    std::string_view lcdMessage;
    bool hidden = false;
};

/** A view of an entry, as long as that lives. */
FaultEntryView viewOf(const FaultEntryProperties& entry);

/** Sets one property by its D-Bus name to a value that outlives the view.
 *
 *  @return whether there is one of this name and of the value's type */
bool setProperty(FaultEntryView& entry, std::string_view name,
                 const FaultEntryPropertyVariant& value);

/** The bytes of an entry, all but whether it is hidden: that is the record's
 *  live value. */
std::string encodeFaultEntry(const FaultEntryView& entry);

/** @param[in] live the record's live value, not 0 for an entry that is hidden
 *  @throws std::out_of_range when the bytes are too few */
FaultEntryProperties decodeFaultEntry(std::string_view payload, uint32_t live);

} // namespace healthintf::host
