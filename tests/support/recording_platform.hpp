// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A platform that records every call in the journal and gives scripted
 *  answers. Tests link it instead of the host platform. */

#include "journal.hpp"
#include "recording_sel.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>
#include <platform/notification.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The records of the recording platform. A call changes them unless the script
 *  answers it with a value other than 0. */
struct RecordingPlatform
{
    struct Message
    {
        uint32_t severity;
        std::string text;
    };

    struct Subscription
    {
        std::string name;
        LQOVS_callback callback;
        void* context;
    };

    std::map<std::string, HealthStatusPropertyMap> healthRecords;
    std::map<std::string, FaultEntryPropertyMap> faultRecords;

    /** The messages of the registry, with placeholders %1, %2, …. */
    std::map<std::string, Message> messages;
    /** The argument block of the last look-up, up to the size that the registry
     *  may read. */
    std::string argumentBlock;

    /** Live subscriptions by handle. */
    std::map<void*, Subscription> subscriptions;

    RecordingSel sel;

    /** Calls every subscriber of a notification with a change record. */
    void notify(const std::string& name, const std::vector<uint8_t>& record);
};

/** The recording platform of the running test. */
RecordingPlatform& platform();

/** Empties the platform and the journal. */
void resetPlatform();

} // namespace healthintf::test
