// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Replaces sdbusplus's seam to libsystemd: records the library's calls
 *  in the journal and makes calls fail that a test scripts. */

#include "journal.hpp"

#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::test
{

/** Records a call and passes it on; if the scripted answer is negative, returns
 *  that and makes no call. A sent signal is recorded as "signal" with its
 *  content, and scripted as "sd_bus_send" and its member. */
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

    /** A direct connection has no bus daemon that assigns a name. */
    int sd_bus_get_unique_name(sd_bus* bus, const char** unique) override;

    // Not virtual in every version of the seam, hence without `override`.
    int sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot, const char* match,
                         sd_bus_message_handler_t callback, void* userdata);
};

/** Whether sdbusplus adds matches through its seam; the version of early 2023
 *  does not. */
template <typename Interface = sdbusplus::SdBusInterface>
constexpr bool seamSeesMatches = requires
{
    &Interface::sd_bus_add_match;
};

} // namespace healthintf::test
