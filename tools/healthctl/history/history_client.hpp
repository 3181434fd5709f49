// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Calls the history of logmgr. Every failure becomes an Error that says
 *  what to do. */

#include "../service_client.hpp"
#include "history_reader.hpp"

#include <cstdint>

namespace healthintf::healthctl
{

class HistoryClient
{
  public:
    /** Connects to the operator's bus.
     *
     *  @throws Error when there is none */
    HistoryClient();

    /** Reads a page as HistoryReader::ReadPage does. */
    HistoryPage read(uint64_t from, bool backwards,
                     const HistoryFilter& filter) const;

    /** How many records the history has.
     *
     *  @throws Error */
    uint64_t countRecords() const;

    /** Removes all records but those of lasting faults.
     *
     *  @throws Error */
    void clear() const;

  private:
    ServiceClient client;
};

/** A reader that asks logmgr.
 *
 *  @param[in] client must outlive it */
HistoryReader makeReader(const HistoryClient& client, HistoryFilter filter);

} // namespace healthintf::healthctl
