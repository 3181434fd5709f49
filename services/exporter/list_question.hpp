// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks healthmgr how many silences or acknowledgements there are. */

#include "brief_call.hpp"

#include <cstdint>
#include <optional>

namespace healthintf::exporter
{

/** Asks healthmgr for a list, and waits only briefly. */
class ListQuestion
{
  public:
    /** @param[in] interface has the method
     *  @param[in] member the method, which returns an array of maps; both
     *             texts must outlive the object */
    ListQuestion(const char* interface, const char* member);

    /** @param[in] bus the connection, or null
     *  @return how long the list is; nothing when healthmgr is not running, or
     *          gives no such answer in time; it is not started */
    std::optional<uint64_t> ask(sd_bus* bus);

  private:
    BriefCall call;
};

} // namespace healthintf::exporter
