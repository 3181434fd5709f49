// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Chooses entries of the log. */

#include "../time_argument.hpp"
#include "event_words.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** An entry, with the platform's description if there is one. */
struct ReadEvent
{
    SELEntry_gen entry;
    std::optional<EventWords> words;
};

/** The type of sensors: its number, as 4 or 0x04, or its name. */
class SensorTypeChoice
{
  public:
    /** @throws std::invalid_argument when the text can be neither */
    explicit SensorTypeChoice(const std::string& text);

    /** Whether an event's sensor is of the type. Names are compared without
     *  blanks and signs, and capitals count as small letters. */
    bool fits(const ReadEvent& event) const;

    /** Whether it is a name, which only described events have. */
    bool isName() const
    {
        return !number;
    }

    /** The text as it was given. */
    const std::string& text() const
    {
        return given;
    }

  private:
    std::string given;
    std::optional<uint8_t> number;
    std::string name;
};

/** Conditions that all hold of the entries wanted; what is not set or empty
 *  wants everything. An entry without a time is older than any. */
struct SelFilter
{
    Period period = {};
    std::vector<SensorTypeChoice> sensorTypes = {};
    std::set<EventSeverity> severities = {};
    /** How many at most, of those at the end. */
    std::optional<std::size_t> last = std::nullopt;
};

/** Whether only described events can match. */
bool needsDescriptions(const SelFilter& filter);

/** The events that match, in their order. */
std::vector<ReadEvent> filtered(const std::vector<ReadEvent>& events,
                                const SelFilter& filter);

} // namespace healthintf::healthctl
