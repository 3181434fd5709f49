// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A platform that notes every call in the journal and answers from a
 *  script, for tests that link it in the host platform's place. */

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

/** What the recording platform holds. A record is stored as the calls say,
 *  unless the script gives the call another answer than 0. */
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

    /** The messages of the registry; %1, %2, … stand for arguments. */
    std::map<std::string, Message> messages;
    /** The argument block of the last look-up, as far as the registry may
     *  read it. */
    std::string argumentBlock;

    /** Live subscriptions by handle. */
    std::map<void*, Subscription> subscriptions;

    RecordingSel sel;

    /** Calls every subscriber of a notification with a change record. */
    void notify(const std::string& name, const std::vector<uint8_t>& record);
};

/** The platform of the running test. */
RecordingPlatform& platform();

/** Empties platform and journal. */
void resetPlatform();

} // namespace healthintf::test
