#pragma once

/** @file Asks the log manager how full its log is. */

#include "../common/log_status.hpp"
#include "brief_call.hpp"

#include <optional>

namespace healthintf::exporter
{

/** Asks the log manager, and waits for it only shortly. */
class LogQuestion
{
  public:
    LogQuestion();

    /** @param[in] bus the connection, or null
     *  @return nothing when there is no log manager or no whole answer in
     *          time; none is started for it */
    std::optional<services::LogStatus> ask(sd_bus* bus);

  private:
    BriefCall call;
};

} // namespace healthintf::exporter
