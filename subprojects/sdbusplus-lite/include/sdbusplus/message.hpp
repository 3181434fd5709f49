// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A D-Bus message. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message/append.hpp>
#include <sdbusplus/message/read.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

namespace sdbusplus::message
{

namespace details
{

/** Drops a reference to a message. */
struct Unref
{
    SdBusInterface* intf = nullptr;

    void operator()(sd_bus_message* m) const
    {
        intf->sd_bus_message_unref(m);
    }
};

} // namespace details

inline namespace lite
{

/** One reference to an sd-bus message; copying takes another reference. */
class message
{
  public:
    message() = default;

    /** Takes a reference of its own. */
    explicit message(sd_bus_message* m) : message(m, &sdbus_impl)
    {}
    message(sd_bus_message* m, SdBusInterface* interface) :
        intf(interface),
        held(m != nullptr ? intf->sd_bus_message_ref(m) : nullptr,
             details::Unref{interface})
    {}

    /** Takes over the caller's reference. */
    message(sd_bus_message* m, std::false_type) :
        message(m, &sdbus_impl, std::false_type{})
    {}
    message(sd_bus_message* m, SdBusInterface* interface, std::false_type) :
        intf(interface), held(m, details::Unref{interface})
    {}

    message(const message& other) : message(other.held.get(), other.intf)
    {}
    message& operator=(const message& other)
    {
        *this = message(other);
        return *this;
    }
    message(message&&) noexcept = default;
    message& operator=(message&&) noexcept = default;
    ~message() = default;

    explicit operator bool() const
    {
        return held != nullptr;
    }

    /** The message itself; it stays owned by this object. */
    sd_bus_message* get()
    {
        return held.get();
    }

    template <typename... Args>
    void append(Args&&... args)
    {
        sdbusplus::message::append(intf, held.get(), args...);
    }

    /** @throws exception::SdBusError when the next value is of another type */
    template <typename... Args>
    void read(Args&&... args)
    {
        sdbusplus::message::read(intf, held.get(), args...);
    }

    /** Reads into new values: the value itself for one type, a tuple for
     *  more. */
    template <typename... Args>
    auto unpack()
    {
        std::tuple<Args...> values{};
        std::apply(
            [this](Args&... args) {
                read(args...);
            },
            values);
        if constexpr (sizeof...(Args) == 1)
        {
            return std::get<0>(std::move(values));
        }
        else
        {
            return values;
        }
    }

    const char* get_path() const
    {
        return intf->sd_bus_message_get_path(held.get());
    }
    const char* get_interface() const
    {
        return intf->sd_bus_message_get_interface(held.get());
    }
    const char* get_member() const
    {
        return intf->sd_bus_message_get_member(held.get());
    }
    const char* get_sender() const
    {
        return intf->sd_bus_message_get_sender(held.get());
    }
    const char* get_destination() const
    {
        return intf->sd_bus_message_get_destination(held.get());
    }
    const char* get_signature() const
    {
        return intf->sd_bus_message_get_signature(held.get(), 1);
    }
    const sd_bus_error* get_error() const
    {
        return intf->sd_bus_message_get_error(held.get());
    }
    int get_errno() const
    {
        return intf->sd_bus_message_get_errno(held.get());
    }

    bool is_method_error() const
    {
        return intf->sd_bus_message_is_method_error(held.get(), nullptr) > 0;
    }
    bool is_method_call(const char* interface, const char* member) const
    {
        return intf->sd_bus_message_is_method_call(held.get(), interface,
                                                   member) > 0;
    }
    bool is_signal(const char* interface, const char* member) const
    {
        return intf->sd_bus_message_is_signal(held.get(), interface, member) >
               0;
    }

    /** An empty reply to this method call. */
    message new_method_return()
    {
        sd_bus_message* reply = nullptr;
        sdbusplus::details::check(
            intf->sd_bus_message_new_method_return(held.get(), &reply),
            "sd_bus_message_new_method_return");
        return {reply, intf, std::false_type{}};
    }

    /** Sends a signal to whoever listens. */
    void signal_send()
    {
        sdbusplus::details::check(
            intf->sd_bus_send(nullptr, held.get(), nullptr), "sd_bus_send");
    }

    /** Sends a reply to its caller. */
    void method_return()
    {
        signal_send();
    }

  private:
    SdBusInterface* intf = &sdbus_impl;
    std::unique_ptr<sd_bus_message, details::Unref> held;
};

} // namespace lite
} // namespace sdbusplus::message

namespace sdbusplus
{
using message_t = message::message;
} // namespace sdbusplus
