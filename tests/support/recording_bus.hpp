// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A seam under sdbusplus that notes the calls of the library in the
 *  journal, and makes those fail that a test scripts to. */

#include "journal.hpp"

#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::test
{

/** Notes a call and hands it on; a negative scripted answer is given back
 *  without the call being made. A signal is noted once it is sent, as "signal"
 *  with all that it holds, and scripted as "sd_bus_send" and its member. */
class RecordingBus : public sdbusplus::SdBusImpl
{
  public:
    int sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot,
                                  const char* path) override;
    int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot,
                                 const char* path, const char* interface,
                                 const sd_bus_vtable* vtable,
                                 void* userdata) override;
    int sd_bus_emit_interfaces_added_strv(sd_bus* bus, const char* path,
                                          char** interfaces) override;
    int sd_bus_emit_interfaces_removed_strv(sd_bus* bus, const char* path,
                                            char** interfaces) override;
    int sd_bus_emit_properties_changed_strv(sd_bus* bus, const char* path,
                                            const char* interface,
                                            const char** names) override;
    int sd_bus_flush(sd_bus* bus) override;
    int sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m,
                                  const char* path, const char* interface,
                                  const char* member) override;
    int sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie) override;

    /** The connections of the tests have no bus, and so no name. */
    int sd_bus_get_unique_name(sd_bus* bus, const char** unique) override;

    // Not in every version of the seam, so not marked as overriding.
    int sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot, const char* match,
                         sd_bus_message_handler_t callback, void* userdata);
};

/** Whether the seam of this sdbusplus is asked for matches; the one of early
 *  2023 is not. */
template <typename Interface = sdbusplus::SdBusInterface>
constexpr bool seamSeesMatches = requires
{
    &Interface::sd_bus_add_match;
};

} // namespace healthintf::test
