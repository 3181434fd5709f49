// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Receives the log of dbus-broker in place of systemd's journal. */

#include "handles.hpp"

#include <systemd/sd-event.h>

#include <filesystem>

namespace healthintf::test
{

/** The sockets of a journal; dbus-broker-launch does not start without them.
 *  Writes each message to standard error as one line. */
class BrokerJournal
{
  public:
    /** Binds the sockets.
     *
     *  @param[in] folder the broker sees it as /run/systemd/journal
     *  @throws std::system_error */
    explicit BrokerJournal(const std::filesystem::path& folder);

    /** Reads messages whenever the loop runs. */
    void attach(sd_event* loop);

    /** Reads all messages that have arrived. */
    void drain() const;

  private:
    Descriptor messages;
    Descriptor streams;
};

} // namespace healthintf::test
