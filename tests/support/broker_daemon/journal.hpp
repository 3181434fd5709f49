// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The journal's end of what dbus-broker logs. */

#include "handles.hpp"

#include <systemd/sd-event.h>

#include <filesystem>

namespace healthintf::test
{

/** The sockets of a journal, which dbus-broker-launch does not start without.
 *  What comes is written to standard error, one line for each message. */
class BrokerJournal
{
  public:
    /** Binds the sockets.
     *
     *  @param[in] folder what becomes /run/systemd/journal for the broker
     *  @throws std::system_error */
    explicit BrokerJournal(const std::filesystem::path& folder);

    /** Takes messages whenever the loop runs. */
    void attach(sd_event* loop);

    /** Takes the messages that have come. */
    void drain() const;

  private:
    Descriptor messages;
    Descriptor streams;
};

} // namespace healthintf::test
