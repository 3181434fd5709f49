// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A D-Bus connection. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace sdbusplus
{

using SdBusDuration = std::chrono::duration<uint64_t, std::micro>;

namespace bus
{
namespace details
{

/** Drops a reference to a connection, flushing and closing it first where it
 *  was opened for one owner alone. */
struct Release
{
    SdBusInterface* intf;
    bool close = false;

    void operator()(sd_bus* bus) const
    {
        if (close)
        {
            intf->sd_bus_flush_close_unref(bus);
        }
        else
        {
            intf->sd_bus_unref(bus);
        }
    }
};

} // namespace details

inline namespace lite
{

/** One reference to a connection, or to none. It can be moved, not copied. */
struct bus
{
    /** Takes a reference of its own.
     *
     *  @throws std::logic_error when the connection has no unique name, as a
     *          closed one */
    explicit bus(sd_bus* b) : bus(b, &sdbus_impl)
    {}
    bus(sd_bus* b, SdBusInterface* interface) :
        intf(interface), held(b != nullptr ? intf->sd_bus_ref(b) : nullptr,
                              details::Release{interface})
    {
        requireName();
    }

    /** Takes over the caller's reference, which is dropped when this throws
     *  as above. */
    bus(sd_bus* b, std::false_type) :
        intf(&sdbus_impl), held(b, details::Release{intf})
    {
        requireName();
    }

    bus(const bus&) = delete;
    bus& operator=(const bus&) = delete;
    bus(bus&&) noexcept = default;
    bus& operator=(bus&&) noexcept = default;
    ~bus() = default;

    /** Whether the last use closes the connection. */
    void set_should_close(bool close)
    {
        held.get_deleter().close = close;
    }

    SdBusInterface* getInterface()
    {
        return intf;
    }

    /** The connection itself, for an event loop of the caller's; it stays
     *  owned by this object. */
    sd_bus* get() noexcept
    {
        return held.get();
    }

    /** @throws std::logic_error when there is none */
    std::string get_unique_name()
    {
        const char* name = nullptr;
        intf->sd_bus_get_unique_name(held.get(), &name);
        if (name == nullptr)
        {
            throw std::logic_error("the connection has no unique name");
        }
        return name;
    }

    bool is_open()
    {
        return check(intf->sd_bus_is_open(held.get()), "sd_bus_is_open") > 0;
    }

    int get_fd()
    {
        return intf->sd_bus_get_fd(held.get());
    }

    void close()
    {
        intf->sd_bus_close(held.get());
    }

    /** Waits until everything queued has left. */
    void flush()
    {
        check(intf->sd_bus_flush(held.get()), "sd_bus_flush");
    }

    /** Does one step of work; the message, if any, is the caller's. */
    message_t process()
    {
        sd_bus_message* m = nullptr;
        check(intf->sd_bus_process(held.get(), &m), "sd_bus_process");
        return {m, intf, std::false_type{}};
    }

    /** Does one step of work.
     *
     *  @return whether there was any */
    bool process_discard()
    {
        return check(intf->sd_bus_process(held.get(), nullptr),
                     "sd_bus_process discard") > 0;
    }

    /** Waits for work.
     *
     *  @param[in] microseconds how long at most */
    int wait(uint64_t microseconds)
    {
        return check(intf->sd_bus_wait(held.get(), microseconds),
                     "sd_bus_wait");
    }
    int wait(std::optional<SdBusDuration> timeout = std::nullopt)
    {
        return wait(timeout ? timeout->count() : UINT64_MAX);
    }

    /** Claims a name, also from its owner if that has claimed it so; the next
     *  one who claims it so gets it. */
    void request_name(const char* name)
    {
        check(intf->sd_bus_request_name(held.get(), name,
                                        SD_BUS_NAME_ALLOW_REPLACEMENT |
                                            SD_BUS_NAME_REPLACE_EXISTING),
              "sd_bus_request_name");
    }

    message_t new_method_call(const char* service, const char* path,
                              const char* interface, const char* member)
    {
        sd_bus_message* m = nullptr;
        check(intf->sd_bus_message_new_method_call(held.get(), &m, service,
                                                   path, interface, member),
              "sd_bus_message_new_method_call");
        return {m, intf, std::false_type{}};
    }

    message_t new_signal(const char* path, const char* interface,
                         const char* member)
    {
        sd_bus_message* m = nullptr;
        check(intf->sd_bus_message_new_signal(held.get(), &m, path, interface,
                                              member),
              "sd_bus_message_new_signal");
        return {m, intf, std::false_type{}};
    }

    /** Calls a method and waits for the reply.
     *
     *  @param[in] microseconds how long at most, 0 for the default */
    message_t call(message_t& m, uint64_t microseconds)
    {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        if (intf->sd_bus_call(held.get(), m.get(), microseconds, &error,
                              &reply) < 0)
        {
            throw exception::SdBusError(&error, "sd_bus_call", intf);
        }
        return {reply, intf, std::false_type{}};
    }
    message_t call(message_t& m,
                   std::optional<SdBusDuration> timeout = std::nullopt)
    {
        return call(m, timeout ? timeout->count() : 0);
    }

    /** Announces interfaces under an object manager; failures are ignored. */
    void emit_interfaces_added(const char* path,
                               const std::vector<std::string>& interfaces)
    {
        intf->sd_bus_emit_interfaces_added_strv(held.get(), path,
                                                strv(interfaces).data());
    }
    void emit_interfaces_removed(const char* path,
                                 const std::vector<std::string>& interfaces)
    {
        intf->sd_bus_emit_interfaces_removed_strv(held.get(), path,
                                                  strv(interfaces).data());
    }

    void attach_event(sd_event* event, int priority)
    {
        intf->sd_bus_attach_event(held.get(), event, priority);
    }
    void detach_event()
    {
        intf->sd_bus_detach_event(held.get());
    }
    sd_event* get_event()
    {
        return intf->sd_bus_get_event(held.get());
    }

  private:
    SdBusInterface* intf;
    std::unique_ptr<sd_bus, details::Release> held;

    void requireName()
    {
        if (held)
        {
            get_unique_name();
        }
    }

    static int check(int result, const char* call)
    {
        return sdbusplus::details::check(result, call);
    }

    static std::vector<char*> strv(const std::vector<std::string>& texts)
    {
        std::vector<char*> pointers;
        pointers.reserve(texts.size() + 1);
        for (const auto& text : texts)
        {
            pointers.push_back(const_cast<char*>(text.c_str()));
        }
        pointers.push_back(nullptr);
        return pointers;
    }
};

} // namespace lite

namespace details
{

/** Lets classes reach the raw connection in the way of the full library. */
struct bus_friend
{
    static sd_bus* get_busp(bus& b) noexcept
    {
        return b.get();
    }
};

/** @throws exception::SdBusError naming @p call when no connection came of
 *  it */
inline bus opened(sd_bus* b, int result, const char* call, bool close)
{
    bus connection(b, std::false_type{});
    sdbusplus::details::check(result, call);
    connection.set_should_close(close);
    return connection;
}

} // namespace details

/** This thread's shared connection: to the user's bus inside a session, else
 *  to the system bus. */
inline bus new_default()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_default(&b);
    return details::opened(b, result, "sd_bus_default", false);
}

/** This thread's shared connection to the user's bus. */
inline bus new_default_user()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_default_user(&b);
    return details::opened(b, result, "sd_bus_default_user", false);
}

/** This thread's shared connection to the system bus. */
inline bus new_default_system()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_default_system(&b);
    return details::opened(b, result, "sd_bus_default_system", false);
}

/** A new connection of the kind that new_default() shares. */
inline bus new_bus()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_open(&b);
    return details::opened(b, result, "sd_bus_open", true);
}

/** A new connection to the user's bus. */
inline bus new_user()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_open_user(&b);
    return details::opened(b, result, "sd_bus_open_user", true);
}

/** A new connection to the system bus. */
inline bus new_system()
{
    sd_bus* b = nullptr;
    const int result = sd_bus_open_system(&b);
    return details::opened(b, result, "sd_bus_open_system", true);
}

} // namespace bus

using bus_t = bus::bus;

} // namespace sdbusplus
