// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The properties of a binding as one list of types, which yields its
 *  D-Bus object table and the access by name. */

#include <com/vexa/olvar/error_reply.hpp>

#include <sdbusplus/sdbuspp_support/server.hpp>
#include <sdbusplus/vtable.hpp>
#include <systemd/sd-bus.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace healthintf::binding
{

/** D-Bus signature of a property's type. */
template <typename T>
constexpr const char* dbusSignature = nullptr;
template <>
inline constexpr const char* dbusSignature<bool> = "b";
template <>
inline constexpr const char* dbusSignature<int32_t> = "i";
template <>
inline constexpr const char* dbusSignature<uint32_t> = "u";
template <>
inline constexpr const char* dbusSignature<uint64_t> = "t";
template <>
inline constexpr const char* dbusSignature<std::string> = "s";
template <>
inline constexpr const char* dbusSignature<std::vector<std::string>> = "as";

/** Answers a D-Bus read of one property through its virtual getter. */
template <typename Object, typename Property>
int getCallback(sd_bus* /*bus*/, const char* /*path*/,
                const char* /*interface*/, const char* /*name*/,
                sd_bus_message* reply, void* context,
                sd_bus_error* error) noexcept
{
    auto* object = static_cast<Object*>(context);
    auto* intf = object->bus().getInterface();
    return runWithErrorReply(intf, error, [&] {
        return sdbusplus::sdbuspp::property_callback(
            reply, intf, error, std::function([object]() {
                return Property::get(*object);
            }));
    });
}

/** Carries out a D-Bus write of one property. */
template <typename Object, typename Property>
int setCallback(sd_bus* /*bus*/, const char* /*path*/,
                const char* /*interface*/, const char* /*name*/,
                sd_bus_message* value, void* context,
                sd_bus_error* error) noexcept
{
    auto* object = static_cast<Object*>(context);
    auto* intf = object->bus().getInterface();
    return runWithErrorReply(intf, error, [&] {
        return sdbusplus::sdbuspp::property_callback(
            value, intf, error,
            std::function([object](typename Property::type&& given) {
                Property::write(*object, std::move(given));
            }));
    });
}

/** The table entry of one property. D-Bus clients can write the property if it
 *  has a function `write`. */
template <typename Object, typename Property>
constexpr sdbusplus::vtable_t tableEntry()
{
    constexpr const char* signature = dbusSignature<typename Property::type>;
    if constexpr (requires { &Property::write; })
    {
        return sdbusplus::vtable::property(
            Property::name, signature, getCallback<Object, Property>,
            setCallback<Object, Property>, Property::flags);
    }
    else
    {
        return sdbusplus::vtable::property(Property::name, signature,
                                           getCallback<Object, Property>,
                                           Property::flags);
    }
}

/** The properties of @p Object in the order of its object table. Each has a
 *  type, a D-Bus name, flags, functions `get` and `set`, and a function `write`
 *  if D-Bus clients can write it. */
template <typename Object, typename Variant, typename... Properties>
struct PropertyTable
{
    /** Entries of the object table, without its start and end. */
    static constexpr std::array<sdbusplus::vtable_t, sizeof...(Properties)>
        entries{tableEntry<Object, Properties>()...};

    /** The value of the property @p name; a default variant for an unknown
     *  name. */
    static Variant get(const Object& object, std::string_view name)
    {
        Variant value{};
        const auto found = [&]<typename Property>(const Property&) {
            if (name == Property::name)
            {
                value = Variant(Property::get(object));
            }
            return name == Property::name;
        };
        static_cast<void>((found(Properties{}) || ...));
        return value;
    }

    /** Sets the property @p name; an unknown name is ignored.
     *
     *  @throws std::bad_variant_access when the value is of another type */
    static void set(Object& object, std::string_view name, const Variant& value,
                    bool skipSignal)
    {
        const auto found = [&]<typename Property>(const Property&) {
            if (name == Property::name)
            {
                Property::set(object, std::get<typename Property::type>(value),
                              skipSignal);
            }
            return name == Property::name;
        };
        static_cast<void>((found(Properties{}) || ...));
    }
};

/** The whole object table: @p first entries, then those of the
 *  properties. */
template <typename Table, std::size_t N>
constexpr auto objectTable(const std::array<sdbusplus::vtable_t, N>& first)
{
    constexpr std::size_t count = Table::entries.size();
    return [&]<std::size_t... I, std::size_t... J>(std::index_sequence<I...>,
                                                   std::index_sequence<J...>)
    {
        return std::array<sdbusplus::vtable_t, N + count + 2>{
            sdbusplus::vtable::start(), first[I]..., Table::entries[J]...,
            sdbusplus::vtable::end()};
    }
    (std::make_index_sequence<N>{}, std::make_index_sequence<count>{});
}

} // namespace healthintf::binding
