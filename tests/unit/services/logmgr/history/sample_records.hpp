// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records of the history for tests. */

#include "logmgr/history/record.hpp"

#include <cstdint>
#include <string>

namespace healthintf::history
{

inline const std::string fan = "/com/vexa/olvar/health/fan";

/** A fault of a component, in a process of a user. */
inline Fault makeFault(const std::string& component = fan,
                       const std::string& number = "1", uint32_t user = 1000)
{
    return {.component = component,
            .entry = component + "/entry/Fault_00AA000" + number + "_4",
            .messageId = "FAN.1.0.Failed",
            .args = {"Fan", number},
            .message = "Fan " + number + " failed.",
            .severity = 4,
            .sensorPath = "/sensors/fan" + number,
            .sensorNumber = 3,
            .sensorType = 4,
            .process = "fand",
            .pid = 170,
            .user = user};
}

inline Record makeRecord(Kind kind, int64_t time,
                         const Fault& fault = makeFault())
{
    Record record;
    record.kind = kind;
    record.time = time;
    record.fault = fault;
    return record;
}

} // namespace healthintf::history
