// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The registration of one interface at one object path. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/slot.hpp>
#include <sdbusplus/vtable.hpp>
#include <systemd/sd-bus.h>

#include <string>
#include <string_view>

namespace sdbusplus::server::interface
{
inline namespace lite
{

/** Registers on construction and withdraws on destruction. It can be neither
 *  copied nor moved, since sd-bus holds pointers into it. */
struct interface final : private sdbusplus::bus::details::bus_friend
{
    /** @param[in] bus the connection; a reference to it is kept
     *  @param[in] path the object's path
     *  @param[in] name the interface's name
     *  @param[in] members the interface's object table; must outlive this
     *             object
     *  @param[in] context what the table's callbacks are given
     *  @throws exception::SdBusError when sd-bus refuses
     *  @throws std::logic_error when the connection is closed */
    interface(bus_t& bus, const char* path, const char* name,
              const vtable_t* members, void* context) :
        connection(get_busp(bus), bus.getInterface()),
        objectPath(path), interfaceName(name), table(members),
        slot(add(connection, objectPath, interfaceName, members, context))
    {}

    interface(const interface&) = delete;
    interface& operator=(const interface&) = delete;
    interface(interface&&) = delete;
    interface& operator=(interface&&) = delete;

    ~interface()
    {
        emit_removed();
    }

    /** An empty signal of this interface from this path. */
    message_t new_signal(const char* member)
    {
        return connection.new_signal(objectPath.c_str(), interfaceName.c_str(),
                                     member);
    }

    /** Announces a property's new value; a refusal is ignored. sd-bus refuses
     *  a constant property, but only once it has made half the message, so
     *  that it is not asked. */
    void property_changed(const char* property)
    {
        if (isConstant(property))
        {
            return;
        }
        const char* names[] = {property, nullptr};
        connection.getInterface()->sd_bus_emit_properties_changed_strv(
            get_busp(connection), objectPath.c_str(), interfaceName.c_str(),
            names);
    }

    /** Announces the interface, once; a refusal is ignored. */
    void emit_added()
    {
        if (!announced)
        {
            char* names[] = {interfaceName.data(), nullptr};
            connection.getInterface()->sd_bus_emit_interfaces_added_strv(
                get_busp(connection), objectPath.c_str(), names);
            announced = true;
        }
    }

    /** Takes the announcement back, if one was made; a refusal is ignored. */
    void emit_removed()
    {
        if (announced)
        {
            char* names[] = {interfaceName.data(), nullptr};
            connection.getInterface()->sd_bus_emit_interfaces_removed_strv(
                get_busp(connection), objectPath.c_str(), names);
            announced = false;
        }
    }

    bus_t& bus()
    {
        return connection;
    }

    const std::string& path()
    {
        return objectPath;
    }

  private:
    bus_t connection;
    std::string objectPath;
    std::string interfaceName;
    const vtable_t* table;
    sdbusplus::details::Slot slot;
    bool announced = false;

    bool isConstant(std::string_view property) const
    {
        for (const vtable_t* entry = table; entry->type != _SD_BUS_VTABLE_END;
             ++entry)
        {
            if ((entry->type == _SD_BUS_VTABLE_PROPERTY ||
                 entry->type == _SD_BUS_VTABLE_WRITABLE_PROPERTY) &&
                entry->x.property.member == property)
            {
                return (entry->flags & SD_BUS_VTABLE_PROPERTY_CONST) != 0;
            }
        }
        return false;
    }

    static sdbusplus::details::Slot add(bus_t& bus, const std::string& path,
                                        const std::string& name,
                                        const vtable_t* table, void* context)
    {
        SdBusInterface* intf = bus.getInterface();
        sd_bus_slot* added = nullptr;
        sdbusplus::details::check(
            intf->sd_bus_add_object_vtable(get_busp(bus), &added, path.c_str(),
                                           name.c_str(), table, context),
            "sd_bus_add_object_vtable");
        return {added, {intf}};
    }
};

} // namespace lite
} // namespace sdbusplus::server::interface

namespace sdbusplus::server
{
using interface_t = interface::interface;
} // namespace sdbusplus::server
