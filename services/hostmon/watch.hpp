#pragma once

/** @file One source under watch: its readings become faults. */

#include "component_faults.hpp"
#include "config.hpp"
#include "fault_texts.hpp"
#include "limits.hpp"
#include "source_reader.hpp"

#include <optional>
#include <string>

namespace healthintf::hostmon
{

/** Turns the readings of one source into faults of one component. */
class Watch
{
  public:
    /** @param[in] config the watch's configuration
     *  @param[in] source one of its sources
     *  @param[in] sensorNumber 1 to 255
     *  @param[in] componentFaults the faults of the component that the watch
     *             is for; must outlive this object */
    Watch(const WatchConfig& config, const Source& source,
          uint32_t sensorNumber, ComponentFaults& componentFaults);

    /** Adds and removes faults as a reading's level asks, or as it could not
     *  be read. The component's faults are to be reported then. */
    void take(const Reading& reading);

    /** Removes the faults of a source that is there no more. */
    void withdraw();

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

/** What a source read, and its level, as a line for people. */
std::string describe(const WatchConfig& config, const Source& source,
                     const Reading& reading);

} // namespace healthintf::hostmon
