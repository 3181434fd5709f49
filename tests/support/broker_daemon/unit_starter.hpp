// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Starts programs for dbus-broker-launch in place of systemd. */

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{

/** Provides systemd's StartTransientUnit on the bus: dbus-broker-launch calls
 *  it to start the program of an activatable name. */
class UnitStarter
{
  public:
    /** Takes the service manager's name.
     *
     *  @param[in] bus a connection that outlives this object
     *  @param[in] environment the environment of the programs
     *  @throws std::system_error */
    UnitStarter(sd_bus* bus, std::vector<std::string> environment);
    ~UnitStarter() = default;
    UnitStarter(const UnitStarter&) = delete;
    UnitStarter& operator=(const UnitStarter&) = delete;

    /** Handles the end of a program, and announces a failed unit.
     *
     *  @param[in] succeeded whether it ended with the exit status 0 */
    void reportEnd(pid_t process, bool succeeded);

  private:
    static const std::vector<sd_bus_vtable>& methods();

    /** Calls a method of this class for libsystemd. */
    template <int (UnitStarter::*Method)(sd_bus_message*)>
    static int answer(sd_bus_message* message, void* starter,
                      sd_bus_error* error);

    int loadUnit(sd_bus_message* message);
    int startUnit(sd_bus_message* message);
    void start(const std::string& unit, std::vector<std::string> command);
    void announceFailure(const std::string& unit);

    sd_bus* bus;
    std::vector<std::string> environment;
    std::map<pid_t, std::string> units;
    uint32_t jobs = 0;
};

} // namespace healthintf::test
