// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Events of every sensor type, and what everybody who knows the IPMI
 *  tables says of them. */

#include "event_records.hpp"

#include <string>
#include <vector>

namespace healthintf::test
{

struct KnownEvent
{
    SensorEvent event;
    /** What the name of its sensor type begins with. */
    std::string sensor;
    /** What each description of it names. */
    std::vector<std::string> words;
};

const std::vector<KnownEvent>& knownEvents();

} // namespace healthintf::test
