// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Events of every sensor type, with the words that every description by
 *  the IPMI tables must contain. */

#include "event_records.hpp"

#include <string>
#include <vector>

namespace healthintf::test
{

struct KnownEvent
{
    SensorEvent event;
    /** The sensor type's name begins with this. */
    std::string sensor;
    /** Each description contains these words. */
    std::vector<std::string> words;
};

const std::vector<KnownEvent>& knownEvents();

} // namespace healthintf::test
