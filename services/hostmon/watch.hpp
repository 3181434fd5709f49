#pragma once

/** @file One source under watch: its readings become faults. */

#include "config.hpp"
#include "fault_texts.hpp"
#include "limits.hpp"
#include "source.hpp"

#include <hmi_fault_health.hpp>

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
     *  @param[in] owner the component that the faults are on; must outlive
     *             this object */
    Watch(const WatchConfig& config, Source watched, uint32_t sensorNumber,
          health_namespace::FaultAndHealth& owner);

    /** Reads the source and adds and removes faults as its level asks. What
     *  cannot be reported is tried again the next time. */
    void check();

  private:
    void takeReading(double reading);
    void takeFailure(const std::string& cause);
    void takeSuccess();
    bool add(const std::string& id, std::vector<std::string> arguments);
    void remove(std::string id);

    Limits limits;
    Source source;
    uint32_t number;
    health_namespace::FaultAndHealth& component;
    FaultTexts texts;
    std::string sensorPath;
    LevelTracker tracker;
    bool unreadable = false;
};

/** What a source reads now, and its level, as a line for people. */
std::string describe(const WatchConfig& config, const Source& source);

} // namespace healthintf::hostmon
