// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Faults for trial. */

#include <healthmgr/raised_fault_protocol.hpp>

#include <string_view>

namespace healthintf::healthctl
{

/** Whether a fault was raised for trial, by its FQDD. */
inline bool isForTrial(std::string_view fqdd)
{
    return fqdd == host::trialFqdd;
}

} // namespace healthintf::healthctl
