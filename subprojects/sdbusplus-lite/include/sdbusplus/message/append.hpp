// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes C++ values into a message. Like the calls of the full library
 *  these report nothing, and a message that refused a value is still sent, as
 *  far as it was written: check texts from outside before appending them. */

#include <sdbusplus/message/types.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus::message
{

template <typename T>
void append_one(SdBusInterface* intf, sd_bus_message* m, const T& item);

namespace details
{

inline std::string terminated(std::string_view text)
{
    return std::string(text);
}
inline const std::string& terminated(const std::string& text)
{
    return text;
}
inline const std::string& terminated(const string_path_wrapper& text)
{
    return text.str;
}
inline const std::string& terminated(const string_wrapper& text)
{
    return text.str;
}

template <typename T>
void append_text(SdBusInterface* intf, sd_bus_message* m, const T& item)
{
    constexpr char letter = types::wire_t<T>::letter;
    if constexpr (std::is_convertible_v<const T&, const char*>)
    {
        const char* text = item;
        intf->sd_bus_message_append_basic(m, letter, text);
    }
    else
    {
        intf->sd_bus_message_append_basic(m, letter, terminated(item).c_str());
    }
}

template <typename T>
void append_sequence(SdBusInterface* intf, sd_bus_message* m, const T& items)
{
    static_assert(!std::is_same_v<T, std::vector<bool>>,
                  "only the newest sdbusplus appends a vector of bool");
    intf->sd_bus_message_open_container(m, SD_BUS_TYPE_ARRAY,
                                        types::wire_t<T>::element::text);
    for (const auto& item : items)
    {
        append_one(intf, m, item);
    }
    intf->sd_bus_message_close_container(m);
}

template <typename T>
void append_dictionary(SdBusInterface* intf, sd_bus_message* m, const T& items)
{
    intf->sd_bus_message_open_container(m, SD_BUS_TYPE_ARRAY,
                                        types::wire_t<T>::element::text);
    for (const auto& [key, value] : items)
    {
        intf->sd_bus_message_open_container(m, SD_BUS_TYPE_DICT_ENTRY,
                                            types::wire_t<T>::content::text);
        append_one(intf, m, key);
        append_one(intf, m, value);
        intf->sd_bus_message_close_container(m);
    }
    intf->sd_bus_message_close_container(m);
}

template <typename T>
void append_structure(SdBusInterface* intf, sd_bus_message* m, const T& item)
{
    intf->sd_bus_message_open_container(m, SD_BUS_TYPE_STRUCT,
                                        types::wire_t<T>::content::text);
    std::apply(
        [&](const auto&... members) {
            (append_one(intf, m, members), ...);
        },
        item);
    intf->sd_bus_message_close_container(m);
}

template <typename T>
void append_variant(SdBusInterface* intf, sd_bus_message* m, const T& item)
{
    std::visit(
        [&](const auto& held) {
            intf->sd_bus_message_open_container(
                m, SD_BUS_TYPE_VARIANT, types::signature_of<decltype(held)>);
            append_one(intf, m, held);
            intf->sd_bus_message_close_container(m);
        },
        item);
}

} // namespace details

/** Appends one value. */
template <typename T>
void append_one(SdBusInterface* intf, sd_bus_message* m, const T& item)
{
    using types::Kind;
    constexpr Kind kind = types::wire_t<T>::kind;

    if constexpr (kind == Kind::boolean)
    {
        const int wide = item ? 1 : 0;
        intf->sd_bus_message_append_basic(m, types::wire_t<T>::letter, &wide);
    }
    else if constexpr (kind == Kind::number)
    {
        intf->sd_bus_message_append_basic(m, types::wire_t<T>::letter, &item);
    }
    else if constexpr (kind == Kind::text)
    {
        details::append_text(intf, m, item);
    }
    else if constexpr (kind == Kind::sequence)
    {
        details::append_sequence(intf, m, item);
    }
    else if constexpr (kind == Kind::dictionary)
    {
        details::append_dictionary(intf, m, item);
    }
    else if constexpr (kind == Kind::structure)
    {
        details::append_structure(intf, m, item);
    }
    else
    {
        details::append_variant(intf, m, item);
    }
}

/** Appends each argument in turn. */
template <typename... Args>
void append([[maybe_unused]] SdBusInterface* intf,
            [[maybe_unused]] sd_bus_message* m, const Args&... args)
{
    (append_one(intf, m, args), ...);
}

} // namespace sdbusplus::message
