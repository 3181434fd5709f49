// SPDX-License-Identifier: Apache-2.0
/** @file Overrides libsystemd's bus functions: each fails in its turn. Leaves
 *  out functions that cannot fail and those that only a program's event loop
 *  calls. */

#include "failer.hpp"
#include "next_definition.hpp"

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <cstdarg>

using healthintf::test::failer;
using healthintf::test::nextDefinition;
using healthintf::test::Seam;

/** Defines one override: the function's name, its parameters, and their names.
 */
#define FAILING_BUS_CALL(name, parameters, arguments)                    \
    extern "C" int name parameters                                       \
    {                                                                    \
        static auto* const next = nextDefinition(name);                  \
        return failer().fails(Seam::bus, #name) ? -EIO : next arguments; \
    }

FAILING_BUS_CALL(sd_bus_add_match,
                 (sd_bus * bus, sd_bus_slot** slot, const char* match,
                  sd_bus_message_handler_t callback, void* userdata),
                 (bus, slot, match, callback, userdata))
FAILING_BUS_CALL(sd_bus_match_signal,
                 (sd_bus * bus, sd_bus_slot** slot, const char* sender,
                  const char* path, const char* interface, const char* member,
                  sd_bus_message_handler_t callback, void* userdata),
                 (bus, slot, sender, path, interface, member, callback,
                  userdata))
FAILING_BUS_CALL(sd_bus_add_object_manager,
                 (sd_bus * bus, sd_bus_slot** slot, const char* path),
                 (bus, slot, path))

/** Exempts libraryMemory here: when memory runs out inside this function,
 *  libsystemd 252 frees the path of an object that it keeps, and reads it at
 *  the next registration. */
extern "C" int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot,
                                        const char* path, const char* interface,
                                        const sd_bus_vtable* vtable,
                                        void* userdata)
{
    static auto* const next = nextDefinition(sd_bus_add_object_vtable);
    if (failer().fails(Seam::bus, "sd_bus_add_object_vtable"))
    {
        return -EIO;
    }
    failer().spare(Seam::libraryMemory, true);
    const int result = next(bus, slot, path, interface, vtable, userdata);
    failer().spare(Seam::libraryMemory, false);
    return result;
}

FAILING_BUS_CALL(sd_bus_attach_event,
                 (sd_bus * bus, sd_event* event, int priority),
                 (bus, event, priority))
FAILING_BUS_CALL(sd_bus_call,
                 (sd_bus * bus, sd_bus_message* message, uint64_t timeout,
                  sd_bus_error* error, sd_bus_message** reply),
                 (bus, message, timeout, error, reply))
FAILING_BUS_CALL(sd_bus_default, (sd_bus * *bus), (bus))
FAILING_BUS_CALL(sd_bus_open, (sd_bus * *bus), (bus))
FAILING_BUS_CALL(sd_bus_emit_interfaces_added_strv,
                 (sd_bus * bus, const char* path, char** interfaces),
                 (bus, path, interfaces))
FAILING_BUS_CALL(sd_bus_emit_interfaces_removed_strv,
                 (sd_bus * bus, const char* path, char** interfaces),
                 (bus, path, interfaces))
FAILING_BUS_CALL(sd_bus_emit_properties_changed_strv,
                 (sd_bus * bus, const char* path, const char* interface,
                  char** names),
                 (bus, path, interface, names))
FAILING_BUS_CALL(sd_bus_flush, (sd_bus * bus), (bus))
FAILING_BUS_CALL(sd_bus_get_fd, (sd_bus * bus), (bus))
FAILING_BUS_CALL(sd_bus_get_unique_name, (sd_bus * bus, const char** unique),
                 (bus, unique))
FAILING_BUS_CALL(sd_bus_is_open, (sd_bus * bus), (bus))
FAILING_BUS_CALL(sd_bus_message_append_array,
                 (sd_bus_message * message, char type, const void* data,
                  size_t size),
                 (message, type, data, size))
FAILING_BUS_CALL(sd_bus_message_append_basic,
                 (sd_bus_message * message, char type, const void* value),
                 (message, type, value))
FAILING_BUS_CALL(sd_bus_message_at_end,
                 (sd_bus_message * message, int complete), (message, complete))
FAILING_BUS_CALL(sd_bus_message_close_container, (sd_bus_message * message),
                 (message))
FAILING_BUS_CALL(sd_bus_message_enter_container,
                 (sd_bus_message * message, char type, const char* contents),
                 (message, type, contents))
FAILING_BUS_CALL(sd_bus_message_exit_container, (sd_bus_message * message),
                 (message))
FAILING_BUS_CALL(sd_bus_message_has_signature,
                 (sd_bus_message * message, const char* signature),
                 (message, signature))
FAILING_BUS_CALL(sd_bus_message_new_method_call,
                 (sd_bus * bus, sd_bus_message** message, const char* service,
                  const char* path, const char* interface, const char* member),
                 (bus, message, service, path, interface, member))
FAILING_BUS_CALL(sd_bus_message_new_method_return,
                 (sd_bus_message * call, sd_bus_message** reply), (call, reply))
FAILING_BUS_CALL(sd_bus_message_new_signal,
                 (sd_bus * bus, sd_bus_message** message, const char* path,
                  const char* interface, const char* member),
                 (bus, message, path, interface, member))
FAILING_BUS_CALL(sd_bus_message_open_container,
                 (sd_bus_message * message, char type, const char* contents),
                 (message, type, contents))
FAILING_BUS_CALL(sd_bus_message_read_array,
                 (sd_bus_message * message, char type, const void** data,
                  size_t* size),
                 (message, type, data, size))
FAILING_BUS_CALL(sd_bus_message_read_basic,
                 (sd_bus_message * message, char type, void* value),
                 (message, type, value))
FAILING_BUS_CALL(sd_bus_message_set_expect_reply,
                 (sd_bus_message * message, int expect), (message, expect))
FAILING_BUS_CALL(sd_bus_message_skip,
                 (sd_bus_message * message, const char* types),
                 (message, types))
FAILING_BUS_CALL(sd_bus_message_verify_type,
                 (sd_bus_message * message, char type, const char* contents),
                 (message, type, contents))
FAILING_BUS_CALL(sd_bus_send,
                 (sd_bus * bus, sd_bus_message* message, uint64_t* cookie),
                 (bus, message, cookie))
FAILING_BUS_CALL(sd_bus_set_close_on_exit, (sd_bus * bus, int close),
                 (bus, close))
FAILING_BUS_CALL(sd_event_default, (sd_event * *event), (event))

extern "C" int sd_bus_message_append(sd_bus_message* message, const char* types,
                                     ...)
{
    if (failer().fails(Seam::bus, "sd_bus_message_append"))
    {
        return -EIO;
    }
    va_list arguments;
    va_start(arguments, types);
    const int result = sd_bus_message_appendv(message, types, arguments);
    va_end(arguments);
    return result;
}

extern "C" int sd_bus_message_read(sd_bus_message* message, const char* types,
                                   ...)
{
    if (failer().fails(Seam::bus, "sd_bus_message_read"))
    {
        return -EIO;
    }
    va_list arguments;
    va_start(arguments, types);
    const int result = sd_bus_message_readv(message, types, arguments);
    va_end(arguments);
    return result;
}
