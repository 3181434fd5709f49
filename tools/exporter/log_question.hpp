#pragma once

/** @file Asks the log manager how full its log is. */

#include "snapshot.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <optional>

namespace healthintf::exporter
{

/** Asks the log manager, and waits for it only shortly. */
class LogQuestion
{
  public:
    /** How long an answer is waited for. */
    static constexpr std::chrono::milliseconds patience{300};
    /** How long a log manager that did not answer in time is not asked again,
     *  so that many scrapes do not wait one after the other. */
    static constexpr std::chrono::seconds pause{5};

    /** @param[in] bus the connection, or null
     *  @return nothing when there is no log manager or no whole answer in
     *          time; none is started for it */
    std::optional<LogStatus> ask(sd_bus* bus);

  private:
    std::chrono::steady_clock::time_point silentUntil;
};

} // namespace healthintf::exporter
