// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Encodes fault entries as the bytes of a record, and sets their
 *  properties by name. */

#include <platform/data_abstraction/fault_entry.hpp>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** The properties of a fault entry, with texts that are owned elsewhere. */
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

/** A view of an entry, valid as long as the entry. */
FaultEntryView makeView(const FaultEntryProperties& entry);

/** Sets one property by its D-Bus name. The value must outlive the view.
 *
 *  @return false when no property has this name and the value's type */
bool setProperty(FaultEntryView& entry, std::string_view name,
                 const FaultEntryPropertyVariant& value);

/** The bytes of an entry, without whether it is hidden, which is the record's
 *  live value. */
std::string encodeFaultEntry(const FaultEntryView& entry);

/** @param[in] live the record's live value, not 0 for an entry that is hidden
 *  @throws std::out_of_range when the bytes are too few */
FaultEntryProperties decodeFaultEntry(std::string_view payload, uint32_t live);

} // namespace healthintf::host
