// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads C++ values out of a message. A value of another type, or none,
 *  throws SdBusError; what was read before stays. Containers are appended to,
 *  not cleared. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message/types.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace sdbusplus::message
{

template <typename T>
void read_one(SdBusInterface* intf, sd_bus_message* m, T& item);

namespace details
{

/** The end of a container is 0 from sd-bus: no more elements, and an error
 *  where one is required. */
inline void require(int result, const char* call)
{
    sdbusplus::details::check(result == 0 ? -ENXIO : result, call);
}

template <typename T>
void read_text(SdBusInterface* intf, sd_bus_message* m, T& item)
{
    static_assert(!std::is_same_v<T, std::string_view>,
                  "only the newest sdbusplus reads views");
    const char* text = nullptr;
    require(intf->sd_bus_message_read_basic(m, types::wire_t<T>::letter, &text),
            "sd_bus_message_read_basic string");
    item = T(text);
}

template <typename T>
void read_bool(SdBusInterface* intf, sd_bus_message* m, T& item)
{
    int wide = 0;
    require(intf->sd_bus_message_read_basic(m, types::wire_t<T>::letter, &wide),
            "sd_bus_message_read_basic bool");
    item = wide != 0;
}

template <typename T>
void read_number(SdBusInterface* intf, sd_bus_message* m, T& item)
{
    require(intf->sd_bus_message_read_basic(m, types::wire_t<T>::letter, &item),
            "sd_bus_message_read_basic fundamental");
}

inline bool at_end(SdBusInterface* intf, sd_bus_message* m, const char* call)
{
    return sdbusplus::details::check(intf->sd_bus_message_at_end(m, 0), call) >
           0;
}

template <typename T>
void read_sequence(SdBusInterface* intf, sd_bus_message* m, T& items)
{
    require(intf->sd_bus_message_enter_container(
                m, SD_BUS_TYPE_ARRAY, types::wire_t<T>::element::text),
            "sd_bus_message_enter_container emplace_back_container");
    while (!at_end(intf, m, "sd_bus_message_at_end emplace_back_container"))
    {
        typename T::value_type item{};
        read_one(intf, m, item);
        items.insert(items.end(), std::move(item));
    }
    require(intf->sd_bus_message_exit_container(m),
            "sd_bus_message_exit_container emplace_back_container");
}

template <typename T>
void read_dictionary(SdBusInterface* intf, sd_bus_message* m, T& items)
{
    require(intf->sd_bus_message_enter_container(
                m, SD_BUS_TYPE_ARRAY, types::wire_t<T>::element::text),
            "sd_bus_message_enter_container emplace_container");
    while (!at_end(intf, m, "sd_bus_message_at_end emplace_container"))
    {
        typename T::key_type key{};
        typename T::mapped_type value{};
        require(intf->sd_bus_message_enter_container(
                    m, SD_BUS_TYPE_DICT_ENTRY, types::wire_t<T>::content::text),
                "sd_bus_message_enter_container pair");
        read_one(intf, m, key);
        read_one(intf, m, value);
        require(intf->sd_bus_message_exit_container(m),
                "sd_bus_message_exit_container pair");
        items.insert_or_assign(std::move(key), std::move(value));
    }
    require(intf->sd_bus_message_exit_container(m),
            "sd_bus_message_exit_container emplace_container");
}

template <typename T>
void read_structure(SdBusInterface* intf, sd_bus_message* m, T& item)
{
    require(intf->sd_bus_message_enter_container(
                m, SD_BUS_TYPE_STRUCT, types::wire_t<T>::content::text),
            "sd_bus_message_enter_container tuple");
    std::apply(
        [&](auto&... members) {
            (read_one(intf, m, members), ...);
        },
        item);
    require(intf->sd_bus_message_exit_container(m),
            "sd_bus_message_exit_container tuple");
}

/** Reads the alternative @p T when the message holds it.
 *
 *  @return whether it did */
template <typename T, typename Variant>
bool read_alternative(SdBusInterface* intf, sd_bus_message* m, Variant& item)
{
    constexpr const char* contents = types::signature_of<T>;
    const int held =
        intf->sd_bus_message_verify_type(m, SD_BUS_TYPE_VARIANT, contents);
    if (sdbusplus::details::check(held, "sd_bus_message_verify_type variant") ==
        0)
    {
        return false;
    }
    require(
        intf->sd_bus_message_enter_container(m, SD_BUS_TYPE_VARIANT, contents),
        "sd_bus_message_enter_container variant");
    T value{};
    read_one(intf, m, value);
    item = std::move(value);
    require(intf->sd_bus_message_exit_container(m),
            "sd_bus_message_exit_container variant");
    return true;
}

template <typename... Ts>
void read_variant(SdBusInterface* intf, sd_bus_message* m,
                  std::variant<Ts...>& item)
{
    if (!(read_alternative<Ts>(intf, m, item) || ...))
    {
        sdbusplus::details::check(intf->sd_bus_message_skip(m, "v"),
                                  "sd_bus_message_skip variant");
        item = std::variant<Ts...>{};
    }
}

} // namespace details

/** Reads one value. */
template <typename T>
void read_one(SdBusInterface* intf, sd_bus_message* m, T& item)
{
    using types::Kind;
    constexpr Kind kind = types::wire_t<T>::kind;

    if constexpr (kind == Kind::boolean)
    {
        details::read_bool(intf, m, item);
    }
    else if constexpr (kind == Kind::number)
    {
        details::read_number(intf, m, item);
    }
    else if constexpr (kind == Kind::text)
    {
        details::read_text(intf, m, item);
    }
    else if constexpr (kind == Kind::sequence)
    {
        details::read_sequence(intf, m, item);
    }
    else if constexpr (kind == Kind::dictionary)
    {
        details::read_dictionary(intf, m, item);
    }
    else if constexpr (kind == Kind::structure)
    {
        details::read_structure(intf, m, item);
    }
    else
    {
        details::read_variant(intf, m, item);
    }
}

/** Reads into each argument in turn. */
template <typename... Args>
void read([[maybe_unused]] SdBusInterface* intf,
          [[maybe_unused]] sd_bus_message* m, Args&... args)
{
    (read_one(intf, m, args), ...);
}

} // namespace sdbusplus::message
