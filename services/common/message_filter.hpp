// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps messages from the handlers in this process. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>

namespace healthintf::services
{

/** Checks each message of a connection before the handlers of this process get
 *  it, except replies to this process's own calls. */
class MessageFilter
{
  public:
    /** Whether to keep a message from all handlers. It may read the message,
     *  which is rewound afterwards. */
    using Refuses = std::function<bool(sd_bus_message*)>;

    /** @param[in] bus the connection; must outlive this object
     *  @param[in] refuses called for each message; when it throws, the
     *             exception is logged and the message passes
     *  @throws std::system_error when the connection refuses the filter */
    MessageFilter(sd_bus* bus, Refuses refuses);
    MessageFilter(const MessageFilter&) = delete;
    MessageFilter& operator=(const MessageFilter&) = delete;

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;

    Refuses refuses;
    SlotPtr slot;
};

} // namespace healthintf::services
