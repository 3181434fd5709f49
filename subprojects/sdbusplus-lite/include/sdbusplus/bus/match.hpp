#pragma once

/** @file Subscriptions to messages, and the terms of their rules. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/details/contained.hpp>
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

/** One subscription; it ends with the object. What a handler throws is logged
 *  and its message dropped. */
struct match : private sdbusplus::bus::details::bus_friend
{
    using callback_t = std::function<void(message_t&)>;

    /** @throws exception::SdBusError when the rule is refused */
    match(bus_t& bus, const char* rule, callback_t callback) :
        subscriber(std::make_unique<Subscriber>(
            Subscriber{std::move(callback), bus.getInterface()})),
        slot(add(bus, rule, subscriber.get()))
    {}
    match(bus_t& bus, const std::string& rule, callback_t callback) :
        match(bus, rule.c_str(), std::move(callback))
    {}

    /** A handler in C's terms; its result is not looked at. */
    match(bus_t& bus, const char* rule, sd_bus_message_handler_t handler,
          void* context = nullptr) :
        match(bus, rule, [handler, context](message_t& m) {
            handler(m.get(), context, nullptr);
        })
    {}
    match(bus_t& bus, const std::string& rule, sd_bus_message_handler_t handler,
          void* context = nullptr) :
        match(bus, rule.c_str(), handler, context)
    {}

  private:
    struct Subscriber
    {
        callback_t callback;
        SdBusInterface* intf;
    };

    std::unique_ptr<Subscriber> subscriber;
    sdbusplus::details::Slot slot;

    static sdbusplus::details::Slot add(bus_t& bus, const char* rule,
                                        Subscriber* subscriber)
    {
        sd_bus_slot* added = nullptr;
        sdbusplus::details::check(
            subscriber->intf->sd_bus_add_match(get_busp(bus), &added, rule,
                                               deliver, subscriber),
            "sd_bus_match");
        return {added, {subscriber->intf}};
    }

    static int deliver(sd_bus_message* m, void* context,
                       sd_bus_error* /*error*/) noexcept
    {
        auto* subscriber = static_cast<Subscriber*>(context);
        sdbusplus::details::contained(
            "match callback",
            [&] {
                message_t held(m, subscriber->intf);
                subscriber->callback(held);
            },
            [](const char*, const char*) {});
        return 0;
    }
};

/** The terms of a rule; each ends with a comma, so that they can be joined. */
namespace rules
{
namespace details
{

inline std::string term(std::string_view key, std::string_view value)
{
    std::string text;
    text.append(key).append("='").append(value).append("',");
    return text;
}

} // namespace details

namespace type
{

inline std::string signal()
{
    return details::term("type", "signal");
}

} // namespace type

inline std::string sender(std::string_view value)
{
    return details::term("sender", value);
}

inline std::string interface(std::string_view value)
{
    return details::term("interface", value);
}

inline std::string member(std::string_view value)
{
    return details::term("member", value);
}

inline std::string path(std::string_view value)
{
    return details::term("path", value);
}

inline std::string path_namespace(std::string_view value)
{
    return details::term("path_namespace", value);
}

inline std::string argN(std::size_t number, std::string_view value)
{
    return details::term("arg" + std::to_string(number), value);
}

inline std::string nameOwnerChanged()
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
