// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A component whose faults a test hides and shows. */

#include "component_test.hpp"

#include <memory>
#include <string>

namespace healthintf::test
{

inline const std::string log7 = "log 7 271 hmi_fault_health.#.";
inline const std::string log8 = "log 8 271 hmi_fault_health.#.";
inline const std::string hidingAll =
    log8 + "hideFaults Entry : Hide all Faults";
inline const std::string unhiding = log8 + "unhideFaults Entry : Unhide Faults";

/** The line about faults that stay hidden because of flags. */
inline std::string blockedBy(const std::string& flags)
{
    return log7 + "unhideFaults: " + flags + " atleast one of the entry is set";
}

class HidingTest : public ComponentTest
{
  protected:
    HidingTest() : object(make())
    {
        journal().take();
    }

    std::unique_ptr<health_namespace::FaultAndHealth> object;
};

} // namespace healthintf::test
