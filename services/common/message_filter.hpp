#pragma once

/** @file Keeps messages from those in this process who would hear them. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>

namespace healthintf::services
{

/** Looks at each message of a connection before anybody else does. Replies to
 *  this process's own calls are not shown to it. */
class MessageFilter
{
  public:
    /** Whether nobody may hear a message. It may read the message: whoever
     *  hears it reads it from the start. */
    using Refuses = std::function<bool(sd_bus_message*)>;

    /** @param[in] bus the connection; must outlive this object
     *  @param[in] refuses asked for each message; when it throws, that is
     *             logged and the message passes
     *  @throws std::system_error when the connection takes no filter */
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
