// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests that report events of the System Event Log. */

#include "component_test.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace healthintf::test
{

/** The prefixes of the log lines of SELAndFault, by level. */
inline const std::string sel1 = "log 1 271 lmi_sel_fault.#.";
inline const std::string sel2 = "log 2 271 lmi_sel_fault.#.";
inline const std::string sel7 = "log 7 271 lmi_sel_fault.#.";
inline const std::string sel8 = "log 8 271 lmi_sel_fault.#.";

class SelTest : public ComponentTest
{
  protected:
    /** The record of an event: sensor type 4, sensor number 0x30. */
    static Bytes event(bool asserted, uint8_t sensorNumber = 0x30)
    {
        const uint8_t direction = asserted ? 0x01 : 0x81;
        return {0,         0,    2,    0,   0,    0,
                0,         0x20, 0,    4,   0x04, sensorNumber,
                direction, 0x57, 0x01, 0xff};
    }

    /** Describes the two events of a sensor. */
    static void describe(const EventText& assertion,
                         const EventText& deassertion)
    {
        platform().sel.messages[event(true)] = jnlEntry(assertion);
        platform().sel.messages[event(false)] = jnlEntry(deassertion);
    }

    /** What SELAndFault did since the last take: its log lines, its platform
     *  calls, and where it removed or added a fault. */
    static Lines takeSel()
    {
        constexpr std::array<std::string_view, 9> starts{
            "log 1 271 lmi_sel_fault.",
            "log 2 271 lmi_sel_fault.",
            "log 7 271 lmi_sel_fault.",
            "log 8 271 lmi_sel_fault.",
            "AddSEL",
            "IPMI_",
            "Transform",
            "log 7 271 hmi_fault_health.#.removeFault: Remove fault called",
            "log 8 271 hmi_fault_health.#.addFault Entry"};
        Lines lines = journal().take();
        std::erase_if(lines, [&](const std::string& line) {
            return std::ranges::none_of(starts, [&](std::string_view start) {
                return line.starts_with(start);
            });
        });
        return lines;
    }

    SELInterface::SensorInfo sensor{"Fan 1", "/sensors/fan1", 7, 9};
};

} // namespace healthintf::test
