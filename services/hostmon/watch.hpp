#pragma once

/** @file One source under watch: its readings become faults. */

#include "component_faults.hpp"
#include "config.hpp"
#include "fault_texts.hpp"
#include "limits.hpp"
#include "source.hpp"

#include <string>

namespace healthintf::hostmon
{

/** Watches one source for one component. */
class Watch
{
  public:
    /** @param[in] config the watch's configuration
     *  @param[in] watched one of its sources
     *  @param[in] sensorNumber 1 to 255
     *  @param[in] componentFaults the faults of the component that the watch
     *             is for; must outlive this object */
    Watch(const WatchConfig& config, Source watched, uint32_t sensorNumber,
          ComponentFaults& componentFaults);

    /** Reads the source and adds and removes faults as its level asks. The
     *  component's faults are to be reported then. */
    void check();

  private:
    void takeReading(double reading);
    void takeFailure(const std::string& cause);
    void takeSuccess();
    void add(const std::string& id, Level level,
             std::vector<std::string> arguments);
    void remove(const std::string& id);

    Limits limits;
    Source source;
    uint32_t number;
    ComponentFaults& faults;
    FaultTexts texts;
    std::string sensorPath;
    LevelTracker tracker;
    bool unreadable = false;
};

/** What a source reads now, and its level, as a line for people. */
std::string describe(const WatchConfig& config, const Source& source);

} // namespace healthintf::hostmon
