// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks logmgr how full its log is. */

#include "../common/log_status.hpp"
#include "brief_call.hpp"

#include <optional>

namespace healthintf::exporter
{

/** Asks logmgr for the status of the log, and waits only briefly. */
class LogQuestion
{
  public:
    LogQuestion();

    /** @param[in] bus the connection, or null
     *  @return nothing when logmgr is not running, or gives no complete answer
     *          in time; it is not started */
    std::optional<services::LogStatus> ask(sd_bus* bus);

  private:
    BriefCall call;
};

} // namespace healthintf::exporter
