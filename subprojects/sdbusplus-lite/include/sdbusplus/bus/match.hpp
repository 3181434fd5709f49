// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Subscriptions to messages, and the terms of their rules. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/message.hpp>
#include <sdbusplus/slot.hpp>
#include <systemd/sd-bus.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace sdbusplus::bus::match
{

inline namespace lite
{

/** One subscription; it ends with the object. A callback that throws ends the
 *  process. */
struct match : private sdbusplus::bus::details::bus_friend
{
    using callback_t = std::function<void(message_t&)>;

    /** @throws exception::SdBusError when the rule is refused */
    match(bus_t& bus, const char* rule, callback_t given) :
        callback(std::make_unique<callback_t>(std::move(given))),
        slot(add(bus, rule, deliver, callback.get()))
    {}
    match(bus_t& bus, const std::string& rule, callback_t given) :
        match(bus, rule.c_str(), std::move(given))
    {}

    /** A handler in C's terms: with another result than 0 the message is not
     *  handed on. */
    match(bus_t& bus, const char* rule, sd_bus_message_handler_t handler,
          void* context = nullptr) :
        slot(add(bus, rule, handler, context))
    {}
    match(bus_t& bus, const std::string& rule, sd_bus_message_handler_t handler,
          void* context = nullptr) :
        match(bus, rule.c_str(), handler, context)
    {}

  private:
    std::unique_ptr<callback_t> callback;
    sdbusplus::details::Slot slot;

    static sdbusplus::details::Slot add(bus_t& bus, const char* rule,
                                        sd_bus_message_handler_t handler,
                                        void* context)
    {
        SdBusInterface* intf = bus.getInterface();
        sd_bus_slot* added = nullptr;
        sdbusplus::details::check(intf->sd_bus_add_match(get_busp(bus), &added,
                                                         rule, handler,
                                                         context),
                                  "sd_bus_match");
        return {added, {intf}};
    }

    static int deliver(sd_bus_message* m, void* context,
                       sd_bus_error* /*error*/) noexcept
    {
        message_t held(m);
        (*static_cast<callback_t*>(context))(held);
        return 0;
    }
};

} // namespace lite

/** The terms of a rule; each ends with a comma, so that they can be joined.
 *  When there is no memory for one, the process ends. */
namespace rules
{
namespace details
{

inline std::string term(std::string_view key, std::string_view value) noexcept
{
    std::string text;
    text.append(key).append("='").append(value).append("',");
    return text;
}

} // namespace details

namespace type
{

inline std::string signal() noexcept
{
    return details::term("type", "signal");
}

} // namespace type

inline std::string sender(std::string_view value) noexcept
{
    return details::term("sender", value);
}

inline std::string interface(std::string_view value) noexcept
{
    return details::term("interface", value);
}

inline std::string member(std::string_view value) noexcept
{
    return details::term("member", value);
}

inline std::string path(std::string_view value) noexcept
{
    return details::term("path", value);
}

inline std::string path_namespace(std::string_view value) noexcept
{
    return details::term("path_namespace", value);
}

inline std::string argN(std::size_t number, std::string_view value) noexcept
{
    return details::term("arg" + std::to_string(number), value);
}

inline std::string nameOwnerChanged() noexcept
{
    return type::signal() + sender("org.freedesktop.DBus") +
           member("NameOwnerChanged");
}

} // namespace rules
} // namespace sdbusplus::bus::match

namespace sdbusplus::bus
{
using match_t = match::match;
} // namespace sdbusplus::bus
