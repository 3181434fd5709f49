// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The seam over libsystemd: every sd-bus call of the other headers goes
 *  through SdBusInterface, so that a test can watch the calls or make one
 *  fail. */

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cstdint>

namespace sdbusplus
{

/** The classes have other names for the linker than those of the full
 *  library, whose layout is another: a program of the one does not link with a
 *  library of the other. */
inline namespace lite
{

/** The sd-bus calls in use, each with libsystemd's own name, arguments and
 *  result. */
class SdBusInterface
{
  public:
    SdBusInterface() = default;
    SdBusInterface(const SdBusInterface&) = delete;
    SdBusInterface& operator=(const SdBusInterface&) = delete;
    virtual ~SdBusInterface() = default;

    virtual int sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot,
                                 const char* match,
                                 sd_bus_message_handler_t callback,
                                 void* userdata) = 0;
    virtual int sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot,
                                          const char* path) = 0;
    virtual int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot,
                                         const char* path,
                                         const char* interface,
                                         const sd_bus_vtable* vtable,
                                         void* userdata) = 0;
    virtual int sd_bus_attach_event(sd_bus* bus, sd_event* event,
                                    int priority) = 0;
    virtual int sd_bus_call(sd_bus* bus, sd_bus_message* m, uint64_t usec,
                            sd_bus_error* error, sd_bus_message** reply) = 0;
    virtual void sd_bus_close(sd_bus* bus) = 0;
    virtual int sd_bus_detach_event(sd_bus* bus) = 0;
    virtual int sd_bus_emit_interfaces_added_strv(sd_bus* bus, const char* path,
                                                  char** interfaces) = 0;
    virtual int sd_bus_emit_interfaces_removed_strv(sd_bus* bus,
                                                    const char* path,
                                                    char** interfaces) = 0;
    virtual int sd_bus_emit_properties_changed_strv(sd_bus* bus,
                                                    const char* path,
                                                    const char* interface,
                                                    const char** names) = 0;
    virtual void sd_bus_error_free(sd_bus_error* error) = 0;
    virtual int sd_bus_error_get_errno(const sd_bus_error* error) = 0;
    virtual int sd_bus_error_set(sd_bus_error* error, const char* name,
                                 const char* message) = 0;
    virtual int sd_bus_error_set_errno(sd_bus_error* error, int number) = 0;
    virtual int sd_bus_flush(sd_bus* bus) = 0;
    virtual sd_bus* sd_bus_flush_close_unref(sd_bus* bus) = 0;
    virtual sd_event* sd_bus_get_event(sd_bus* bus) = 0;
    virtual int sd_bus_get_fd(sd_bus* bus) = 0;
    virtual int sd_bus_get_unique_name(sd_bus* bus, const char** unique) = 0;
    virtual int sd_bus_is_open(sd_bus* bus) = 0;
    virtual int sd_bus_message_append_basic(sd_bus_message* m, char type,
                                            const void* value) = 0;
    virtual int sd_bus_message_at_end(sd_bus_message* m, int complete) = 0;
    virtual int sd_bus_message_close_container(sd_bus_message* m) = 0;
    virtual int sd_bus_message_enter_container(sd_bus_message* m, char type,
                                               const char* contents) = 0;
    virtual int sd_bus_message_exit_container(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_destination(sd_bus_message* m) = 0;
    virtual int sd_bus_message_get_errno(sd_bus_message* m) = 0;
    virtual const sd_bus_error* sd_bus_message_get_error(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_interface(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_member(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_path(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_sender(sd_bus_message* m) = 0;
    virtual const char* sd_bus_message_get_signature(sd_bus_message* m,
                                                     int complete) = 0;
    virtual int sd_bus_message_is_method_call(sd_bus_message* m,
                                              const char* interface,
                                              const char* member) = 0;
    virtual int sd_bus_message_is_method_error(sd_bus_message* m,
                                               const char* name) = 0;
    virtual int sd_bus_message_is_signal(sd_bus_message* m,
                                         const char* interface,
                                         const char* member) = 0;
    virtual int sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** m,
                                               const char* destination,
                                               const char* path,
                                               const char* interface,
                                               const char* member) = 0;
    virtual int sd_bus_message_new_method_return(sd_bus_message* call,
                                                 sd_bus_message** m) = 0;
    virtual int sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m,
                                          const char* path,
                                          const char* interface,
                                          const char* member) = 0;
    virtual int sd_bus_message_open_container(sd_bus_message* m, char type,
                                              const char* contents) = 0;
    virtual int sd_bus_message_read_basic(sd_bus_message* m, char type,
                                          void* value) = 0;
    virtual sd_bus_message* sd_bus_message_ref(sd_bus_message* m) = 0;
    virtual int sd_bus_message_skip(sd_bus_message* m, const char* types) = 0;
    virtual sd_bus_message* sd_bus_message_unref(sd_bus_message* m) = 0;
    virtual int sd_bus_message_verify_type(sd_bus_message* m, char type,
                                           const char* contents) = 0;
    virtual int sd_bus_process(sd_bus* bus, sd_bus_message** m) = 0;
    virtual sd_bus* sd_bus_ref(sd_bus* bus) = 0;
    virtual int sd_bus_request_name(sd_bus* bus, const char* name,
                                    uint64_t flags) = 0;
    virtual int sd_bus_send(sd_bus* bus, sd_bus_message* m,
                            uint64_t* cookie) = 0;
    virtual sd_bus_slot* sd_bus_slot_unref(sd_bus_slot* slot) = 0;
    virtual sd_bus* sd_bus_unref(sd_bus* bus) = 0;
    virtual int sd_bus_wait(sd_bus* bus, uint64_t usec) = 0;
};

/** Hands every call on to libsystemd. */
class SdBusImpl : public SdBusInterface
{
  public:
    int sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot, const char* match,
                         sd_bus_message_handler_t callback,
                         void* userdata) override
    {
        return ::sd_bus_add_match(bus, slot, match, callback, userdata);
    }

    int sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot,
                                  const char* path) override
    {
        return ::sd_bus_add_object_manager(bus, slot, path);
    }

    int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot,
                                 const char* path, const char* interface,
                                 const sd_bus_vtable* vtable,
                                 void* userdata) override
    {
        return ::sd_bus_add_object_vtable(bus, slot, path, interface, vtable,
                                          userdata);
    }

    int sd_bus_attach_event(sd_bus* bus, sd_event* event, int priority) override
    {
        return ::sd_bus_attach_event(bus, event, priority);
    }

    int sd_bus_call(sd_bus* bus, sd_bus_message* m, uint64_t usec,
                    sd_bus_error* error, sd_bus_message** reply) override
    {
        return ::sd_bus_call(bus, m, usec, error, reply);
    }

    void sd_bus_close(sd_bus* bus) override
    {
        ::sd_bus_close(bus);
    }

    int sd_bus_detach_event(sd_bus* bus) override
    {
        return ::sd_bus_detach_event(bus);
    }

    int sd_bus_emit_interfaces_added_strv(sd_bus* bus, const char* path,
                                          char** interfaces) override
    {
        return ::sd_bus_emit_interfaces_added_strv(bus, path, interfaces);
    }

    int sd_bus_emit_interfaces_removed_strv(sd_bus* bus, const char* path,
                                            char** interfaces) override
    {
        return ::sd_bus_emit_interfaces_removed_strv(bus, path, interfaces);
    }

    int sd_bus_emit_properties_changed_strv(sd_bus* bus, const char* path,
                                            const char* interface,
                                            const char** names) override
    {
        return ::sd_bus_emit_properties_changed_strv(bus, path, interface,
                                                     const_cast<char**>(names));
    }

    void sd_bus_error_free(sd_bus_error* error) override
    {
        ::sd_bus_error_free(error);
    }

    int sd_bus_error_get_errno(const sd_bus_error* error) override
    {
        return ::sd_bus_error_get_errno(error);
    }

    int sd_bus_error_set(sd_bus_error* error, const char* name,
                         const char* message) override
    {
        return ::sd_bus_error_set(error, name, message);
    }

    int sd_bus_error_set_errno(sd_bus_error* error, int number) override
    {
        return ::sd_bus_error_set_errno(error, number);
    }

    int sd_bus_flush(sd_bus* bus) override
    {
        return ::sd_bus_flush(bus);
    }

    sd_bus* sd_bus_flush_close_unref(sd_bus* bus) override
    {
        return ::sd_bus_flush_close_unref(bus);
    }

    sd_event* sd_bus_get_event(sd_bus* bus) override
    {
        return ::sd_bus_get_event(bus);
    }

    int sd_bus_get_fd(sd_bus* bus) override
    {
        return ::sd_bus_get_fd(bus);
    }

    int sd_bus_get_unique_name(sd_bus* bus, const char** unique) override
    {
        return ::sd_bus_get_unique_name(bus, unique);
    }

    int sd_bus_is_open(sd_bus* bus) override
    {
        return ::sd_bus_is_open(bus);
    }

    int sd_bus_message_append_basic(sd_bus_message* m, char type,
                                    const void* value) override
    {
        return ::sd_bus_message_append_basic(m, type, value);
    }

    int sd_bus_message_at_end(sd_bus_message* m, int complete) override
    {
        return ::sd_bus_message_at_end(m, complete);
    }

    int sd_bus_message_close_container(sd_bus_message* m) override
    {
        return ::sd_bus_message_close_container(m);
    }

    int sd_bus_message_enter_container(sd_bus_message* m, char type,
                                       const char* contents) override
    {
        return ::sd_bus_message_enter_container(m, type, contents);
    }

    int sd_bus_message_exit_container(sd_bus_message* m) override
    {
        return ::sd_bus_message_exit_container(m);
    }

    const char* sd_bus_message_get_destination(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_destination(m);
    }

    int sd_bus_message_get_errno(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_errno(m);
    }

    const sd_bus_error* sd_bus_message_get_error(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_error(m);
    }

    const char* sd_bus_message_get_interface(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_interface(m);
    }

    const char* sd_bus_message_get_member(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_member(m);
    }

    const char* sd_bus_message_get_path(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_path(m);
    }

    const char* sd_bus_message_get_sender(sd_bus_message* m) override
    {
        return ::sd_bus_message_get_sender(m);
    }

    const char* sd_bus_message_get_signature(sd_bus_message* m,
                                             int complete) override
    {
        return ::sd_bus_message_get_signature(m, complete);
    }

    int sd_bus_message_is_method_call(sd_bus_message* m, const char* interface,
                                      const char* member) override
    {
        return ::sd_bus_message_is_method_call(m, interface, member);
    }

    int sd_bus_message_is_method_error(sd_bus_message* m,
                                       const char* name) override
    {
        return ::sd_bus_message_is_method_error(m, name);
    }

    int sd_bus_message_is_signal(sd_bus_message* m, const char* interface,
                                 const char* member) override
    {
        return ::sd_bus_message_is_signal(m, interface, member);
    }

    int sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** m,
                                       const char* destination,
                                       const char* path, const char* interface,
                                       const char* member) override
    {
        return ::sd_bus_message_new_method_call(bus, m, destination, path,
                                                interface, member);
    }

    int sd_bus_message_new_method_return(sd_bus_message* call,
                                         sd_bus_message** m) override
    {
        return ::sd_bus_message_new_method_return(call, m);
    }

    int sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m,
                                  const char* path, const char* interface,
                                  const char* member) override
    {
        return ::sd_bus_message_new_signal(bus, m, path, interface, member);
    }

    int sd_bus_message_open_container(sd_bus_message* m, char type,
                                      const char* contents) override
    {
        return ::sd_bus_message_open_container(m, type, contents);
    }

    int sd_bus_message_read_basic(sd_bus_message* m, char type,
                                  void* value) override
    {
        return ::sd_bus_message_read_basic(m, type, value);
    }

    sd_bus_message* sd_bus_message_ref(sd_bus_message* m) override
    {
        return ::sd_bus_message_ref(m);
    }

    int sd_bus_message_skip(sd_bus_message* m, const char* types) override
    {
        return ::sd_bus_message_skip(m, types);
    }

    sd_bus_message* sd_bus_message_unref(sd_bus_message* m) override
    {
        return ::sd_bus_message_unref(m);
    }

    int sd_bus_message_verify_type(sd_bus_message* m, char type,
                                   const char* contents) override
    {
        return ::sd_bus_message_verify_type(m, type, contents);
    }

    int sd_bus_process(sd_bus* bus, sd_bus_message** m) override
    {
        return ::sd_bus_process(bus, m);
    }

    sd_bus* sd_bus_ref(sd_bus* bus) override
    {
        return ::sd_bus_ref(bus);
    }

    int sd_bus_request_name(sd_bus* bus, const char* name,
                            uint64_t flags) override
    {
        return ::sd_bus_request_name(bus, name, flags);
    }

    int sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie) override
    {
        return ::sd_bus_send(bus, m, cookie);
    }

    sd_bus_slot* sd_bus_slot_unref(sd_bus_slot* slot) override
    {
        return ::sd_bus_slot_unref(slot);
    }

    sd_bus* sd_bus_unref(sd_bus* bus) override
    {
        return ::sd_bus_unref(bus);
    }

    int sd_bus_wait(sd_bus* bus, uint64_t usec) override
    {
        return ::sd_bus_wait(bus, usec);
    }
};

/** The instance that is used where no other is given. */
inline SdBusImpl sdbus_impl;

} // namespace lite
} // namespace sdbusplus
