// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Turns the readings of one source into faults. */

#include "component_faults.hpp"
#include "config.hpp"
#include "fault_texts.hpp"
#include "limits.hpp"
#include "source_reader.hpp"

#include <optional>
#include <string>

namespace healthintf::hostmon
{

/** Adds and removes the faults of one source on one component. */
class Watch
{
  public:
    /** @param[in] config the watch's configuration
     *  @param[in] source one of its sources
     *  @param[in] sensorNumber 1 to 255
     *  @param[in] componentFaults the faults of the component; must outlive
     *  this object */
    Watch(const WatchConfig& config, const Source& source,
          uint32_t sensorNumber, ComponentFaults& componentFaults);

    /** Adds and removes faults according to a reading's level, or because the
     *  reading failed. The caller reports the component's faults afterwards. */
    void take(const Reading& reading);

    /** Removes all faults of the source, which no longer exists. */
    void removeFaults();

  private:
    void takeValue(double value);
    void takeFailure(const std::string& cause);
    void takeSuccess();
    void add(const std::string& id, Level level,
             std::vector<std::string> arguments);
    void remove(const std::string& id);

    Limits limits;
    std::string name;
    uint32_t number;
    ComponentFaults& faults;
    FaultTexts texts;
    std::string sensorPath;
    LevelTracker tracker;
    /** Why the source cannot be read; nothing while it can. */
    std::optional<std::string> failure;
    /** The message that says so; empty while it can be read. */
    std::string failureId;
};

/** One line for people with a source's reading and its level. */
std::string describe(const WatchConfig& config, const Source& source,
                     const Reading& reading);

} // namespace healthintf::hostmon
