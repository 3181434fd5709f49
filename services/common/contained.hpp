#pragma once

/** @file Keeps what a match callback throws inside it. */

#include "line_limit.hpp"
#include "service_log.hpp"

#include <sdbusplus/message.hpp>

#include <exception>
#include <functional>
#include <utility>

namespace healthintf::services
{

/** Lines about messages, which anybody may send. */
inline constinit host::LineLimit messageLines;

/** Makes a match callback of a handler that may throw, which would end the
 *  process in sdbusplus: it is logged and the message dropped. */
inline std::function<void(sdbusplus::message_t&)>
contained(std::function<void(sdbusplus::message_t&)> handler)
{
    return [handler = std::move(handler)](sdbusplus::message_t& message) {
        try
        {
            handler(message);
        }
        catch (const std::exception& e)
        {
            if (messageLines.admits())
            {
                SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
            }
        }
    };
}

} // namespace healthintf::services
