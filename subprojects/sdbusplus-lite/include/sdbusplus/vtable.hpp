// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Entries of an sd-bus object table as constant expressions. */

#include <systemd/sd-bus.h>

#include <cstddef>

namespace sdbusplus
{
namespace vtable
{

using vtable_t = sd_bus_vtable;
using flags_t = decltype(vtable_t::flags);

namespace details
{

/** The flags that an entry has room for. */
constexpr flags_t room = (flags_t{1} << 56U) - 1;

} // namespace details

/** Flags that fit every kind of entry. */
namespace common_
{
constexpr auto deprecated = SD_BUS_VTABLE_DEPRECATED;
constexpr auto hidden = SD_BUS_VTABLE_HIDDEN;
constexpr auto unprivileged = SD_BUS_VTABLE_UNPRIVILEGED;
} // namespace common_

/** Flags of methods. */
namespace method_
{
constexpr auto no_reply = SD_BUS_VTABLE_METHOD_NO_REPLY;
} // namespace method_

/** Flags of properties. */
namespace property_
{
constexpr auto const_ = SD_BUS_VTABLE_PROPERTY_CONST;
constexpr auto emits_change = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
constexpr auto emits_invalidation = SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION;
constexpr auto explicit_ = SD_BUS_VTABLE_PROPERTY_EXPLICIT;
constexpr auto none = flags_t{};
} // namespace property_

/** First entry of every table. */
constexpr vtable_t start(flags_t flags = 0)
{
    return vtable_t SD_BUS_VTABLE_START(flags & details::room);
}

/** Last entry of every table. */
constexpr vtable_t end()
{
    return vtable_t SD_BUS_VTABLE_END;
}

constexpr vtable_t method(const char* member, const char* signature,
                          const char* result, sd_bus_message_handler_t handler,
                          flags_t flags = 0)
{
    return vtable_t SD_BUS_METHOD(member, signature, result, handler,
                                  flags & details::room);
}

constexpr vtable_t signal(const char* member, const char* signature,
                          flags_t flags = 0)
{
    return vtable_t SD_BUS_SIGNAL(member, signature, flags & details::room);
}

/** A property that D-Bus clients can only read. */
constexpr vtable_t property(const char* member, const char* signature,
                            sd_bus_property_get_t get, flags_t flags = 0)
{
    return vtable_t SD_BUS_PROPERTY(member, signature, get, 0,
                                    flags & details::room);
}

/** A property that D-Bus clients can read and write. */
constexpr vtable_t property(const char* member, const char* signature,
                            sd_bus_property_get_t get,
                            sd_bus_property_set_t set, flags_t flags = 0)
{
    return vtable_t SD_BUS_WRITABLE_PROPERTY(member, signature, get, set, 0,
                                             flags & details::room);
}

} // namespace vtable

using vtable_t = vtable::vtable_t;

} // namespace sdbusplus
