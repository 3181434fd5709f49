// SPDX-License-Identifier: Apache-2.0
#include "recording_bus.hpp"

#include "text.hpp"

#include <string>
#include <string_view>

namespace healthintf::test
{
namespace
{

/** Makes the call unless the script makes it fail. */
template <typename Call>
int recorded(const std::string& name, const std::string& arguments, Call&& call)
{
    const auto scripted = static_cast<int>(journal().called(name, arguments));
    return scripted < 0 ? scripted : call();
}

std::string list(const char* const* names)
{
    std::string shown;
    for (; *names != nullptr; ++names)
    {
        shown += " ";
        shown += *names;
    }
    return shown;
}

std::string shown(const char* path)
{
    return path == nullptr ? "(null)" : path;
}

} // namespace

int RecordingBus::sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot,
                                            const char* path)
{
    return recorded("sd_bus_add_object_manager", path, [&] {
        return SdBusImpl::sd_bus_add_object_manager(bus, slot, path);
    });
}

int RecordingBus::sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot,
                                           const char* path,
                                           const char* interface,
                                           const sd_bus_vtable* vtable,
                                           void* userdata)
{
    return recorded("sd_bus_add_object_vtable", shown(path) + " " + interface,
                    [&] {
                        return SdBusImpl::sd_bus_add_object_vtable(
                            bus, slot, path, interface, vtable, userdata);
                    });
}

int RecordingBus::sd_bus_emit_interfaces_added_strv(sd_bus* bus,
                                                    const char* path,
                                                    char** interfaces)
{
    return recorded("InterfacesAdded", path + list(interfaces), [&] {
        return SdBusImpl::sd_bus_emit_interfaces_added_strv(bus, path,
                                                            interfaces);
    });
}

int RecordingBus::sd_bus_emit_interfaces_removed_strv(sd_bus* bus,
                                                      const char* path,
                                                      char** interfaces)
{
    return recorded("InterfacesRemoved", path + list(interfaces), [&] {
        return SdBusImpl::sd_bus_emit_interfaces_removed_strv(bus, path,
                                                              interfaces);
    });
}

int RecordingBus::sd_bus_emit_properties_changed_strv(sd_bus* bus,
                                                      const char* path,
                                                      const char* interface,
                                                      const char** names)
{
    if (std::string_view(names[0]) == "FQDD")
    {
        // sd-bus refuses this for a constant property, so some versions of
        // sdbusplus do not call it.
        return SdBusImpl::sd_bus_emit_properties_changed_strv(bus, path,
                                                              interface, names);
    }
    return recorded("PropertiesChanged", path + list(names), [&] {
        return SdBusImpl::sd_bus_emit_properties_changed_strv(bus, path,
                                                              interface, names);
    });
}

int RecordingBus::sd_bus_flush(sd_bus* bus)
{
    return recorded("sd_bus_flush", "", [&] {
        return SdBusImpl::sd_bus_flush(bus);
    });
}

int RecordingBus::sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m,
                                            const char* path,
                                            const char* interface,
                                            const char* member)
{
    const auto scripted =
        static_cast<int>(journal().scripted("sd_bus_message_new_signal"));
    return scripted < 0 ? scripted
                        : SdBusImpl::sd_bus_message_new_signal(
                              bus, m, path, interface, member);
}

int RecordingBus::sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie)
{
    if (sd_bus_message_is_signal(m, nullptr, nullptr) <= 0)
    {
        return SdBusImpl::sd_bus_send(bus, m, cookie);
    }
    const std::string member = sd_bus_message_get_member(m);
    const auto scripted =
        static_cast<int>(journal().scripted("sd_bus_send " + member));
    if (scripted < 0)
    {
        return scripted;
    }
    // A message can be read once it is sealed, which sending does.
    const int result = SdBusImpl::sd_bus_send(bus, m, cookie);
    journal().note(std::string("signal ") + sd_bus_message_get_path(m) + " " +
                   sd_bus_message_get_interface(m) + " " + member + " " +
                   sd_bus_message_get_signature(m, 1) + ": " + arguments(m));
    return result;
}

int RecordingBus::sd_bus_get_unique_name(sd_bus* /*bus*/, const char** unique)
{
    *unique = ":1.1";
    return 0;
}

int RecordingBus::sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot,
                                   const char* match,
                                   sd_bus_message_handler_t callback,
                                   void* userdata)
{
    return recorded("sd_bus_add_match", match, [&] {
        return ::sd_bus_add_match(bus, slot, match, callback, userdata);
    });
}

} // namespace healthintf::test
