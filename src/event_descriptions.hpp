// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Access to the platform's event descriptions. */

#include "event_entry.hpp"

#include <cstdint>
#include <vector>

namespace health_namespace::details
{

/** Attaches to the event-description library, and detaches at the end of the
 *  scope, whether or not it could attach. The class and its functions have the
 *  names that log readers know. */
class CSSDInfoFetcher
{
  public:
    CSSDInfoFetcher();
    CSSDInfoFetcher(const CSSDInfoFetcher&) = delete;
    CSSDInfoFetcher& operator=(const CSSDInfoFetcher&) = delete;
    ~CSSDInfoFetcher();

    /** Fetches the message of an event.
     *
     *  @param[in] record the event's record; missing bytes are taken as zero
     *  @param[out] entry the message; empty after a failure
     *  @return 0; statusNotAttached; or the library's error number */
    int FetchJNLEntryFromSELEvent(const std::vector<unsigned char>& record,
                                  JnlEntry& entry) const;

    /** Fetches what the front panel shows for an event.
     *
     *  @param[in] record the event's record; missing bytes are taken as zero
     *  @param[out] entry what is shown; empty after a failure
     *  @return as FetchJNLEntryFromSELEvent() */
    int FetchLCDEntryFromSELEvent(const std::vector<unsigned char>& record,
                                  LcdEntry& entry) const;

  private:
    /** Whether the constructor could attach; if not, logs that in the name of
     *  @p function. */
    bool isAttached(const char* function) const;

    bool initialised = false;
};

} // namespace health_namespace::details
