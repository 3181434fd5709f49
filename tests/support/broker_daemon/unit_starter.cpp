// SPDX-License-Identifier: Apache-2.0
#include "unit_starter.hpp"

#include "../argument_pointers.hpp"
#include "handles.hpp"

#include <spawn.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace healthintf::test
{
namespace
{

constexpr const char* name = "org.freedesktop.systemd1";
constexpr const char* path = "/org/freedesktop/systemd1";
constexpr const char* interface = "org.freedesktop.systemd1.Manager";

std::string makePath(const std::string& unit)
{
    char* encoded = nullptr;
    checkResult(sd_bus_path_encode("/org/freedesktop/systemd1/unit",
                                   unit.c_str(), &encoded),
                unit);
    const std::unique_ptr<char, decltype(&std::free)> owner(encoded, std::free);
    return encoded;
}

/** Reads `a(sasb)`, the value of ExecStart; expects one command only. */
std::vector<std::string> readCommand(sd_bus_message* message)
{
    checkResult(sd_bus_message_enter_container(message, 'v', "a(sasb)"), "v");
    checkResult(sd_bus_message_enter_container(message, 'a', "(sasb)"), "a");
    checkResult(sd_bus_message_enter_container(message, 'r', "sasb"), "r");
    checkResult(sd_bus_message_skip(message, "s"), "program");
    char** arguments = nullptr;
    checkResult(sd_bus_message_read_strv(message, &arguments), "arguments");
    std::vector<std::string> command;
    for (char** each = arguments; each != nullptr && *each != nullptr; ++each)
    {
        command.emplace_back(*each);
        std::free(*each);
    }
    std::free(arguments);
    checkResult(sd_bus_message_skip(message, "b"), "b");
    for (int level = 0; level < 3; ++level)
    {
        checkResult(sd_bus_message_exit_container(message), "ExecStart");
    }
    return command;
}

/** Reads the command from `a(sv)`, the properties of a unit. */
std::vector<std::string> readProperties(sd_bus_message* message)
{
    std::vector<std::string> command;
    checkResult(sd_bus_message_enter_container(message, 'a', "(sv)"), "a(sv)");
    while (checkResult(sd_bus_message_enter_container(message, 'r', "sv"),
                       "(sv)") > 0)
    {
        const char* property = nullptr;
        checkResult(sd_bus_message_read(message, "s", &property), "property");
        if (std::strcmp(property, "ExecStart") == 0)
        {
            command = readCommand(message);
        }
        else
        {
            checkResult(sd_bus_message_skip(message, "v"), property);
        }
        checkResult(sd_bus_message_exit_container(message), "(sv)");
    }
    return command;
}

/** Starts a program with no signal blocked.
 *
 *  @throws std::system_error */
pid_t spawn(std::vector<std::string> command,
            std::vector<std::string> environment)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t process = -1;
    const int result = posix_spawnp(
        &process, command.front().c_str(), nullptr, &attributes,
        argumentPointers(command).data(), argumentPointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    checkResult(-result, command.front());
    return process;
}

} // namespace

UnitStarter::UnitStarter(sd_bus* bus, std::vector<std::string> environment) :
    bus(bus), environment(std::move(environment))
{
    checkResult(sd_bus_add_object_vtable(bus, nullptr, path, interface,
                                         methods().data(), this),
                interface);
    checkResult(sd_bus_request_name(bus, name, 0), name);
}

template <int (UnitStarter::*Method)(sd_bus_message*)>
int UnitStarter::answer(sd_bus_message* message, void* starter,
                        sd_bus_error* error)
{
    try
    {
        return (static_cast<UnitStarter*>(starter)->*Method)(message);
    }
    catch (const std::system_error& failure)
    {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
    }
}

const std::vector<sd_bus_vtable>& UnitStarter::methods()
{
    static const std::vector<sd_bus_vtable> all{
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("LoadUnit", "s", "o", answer<&UnitStarter::loadUnit>,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("StartTransientUnit", "ssa(sv)a(sa(sv))", "o",
                      answer<&UnitStarter::startUnit>,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    return all;
}

int UnitStarter::loadUnit(sd_bus_message* message)
{
    const char* unit = nullptr;
    checkResult(sd_bus_message_read(message, "s", &unit), "LoadUnit");
    return sd_bus_reply_method_return(message, "o", makePath(unit).c_str());
}

int UnitStarter::startUnit(sd_bus_message* message)
{
    const char* unit = nullptr;
    const char* mode = nullptr;
    checkResult(sd_bus_message_read(message, "ss", &unit, &mode), "unit");
    const std::vector<std::string> command = readProperties(message);

    const uint32_t job = ++jobs;
    const std::string jobPath =
        "/org/freedesktop/systemd1/job/" + std::to_string(job);
    checkResult(sd_bus_reply_method_return(message, "o", jobPath.c_str()),
                "reply");
    const char* result = "done";
    try
    {
        start(unit, command);
    }
    catch (const std::system_error&)
    {
        result = "failed";
    }
    return sd_bus_emit_signal(bus, path, interface, "JobRemoved", "uoss", job,
                              jobPath.c_str(), unit, result);
}

void UnitStarter::start(const std::string& unit,
                        std::vector<std::string> command)
{
    units.emplace(spawn(std::move(command), environment), unit);
}

void UnitStarter::reportEnd(pid_t process, bool succeeded)
{
    if (const auto ended = units.find(process); ended != units.end())
    {
        if (!succeeded)
        {
            announceFailure(ended->second);
        }
        units.erase(ended);
    }
}

void UnitStarter::announceFailure(const std::string& unit)
{
    checkResult(sd_bus_emit_signal(bus, makePath(unit).c_str(),
                                   "org.freedesktop.DBus.Properties",
                                   "PropertiesChanged", "sa{sv}as",
                                   "org.freedesktop.systemd1.Unit", 1,
                                   "ActiveState", "s", "failed", 0),
                unit);
}

} // namespace healthintf::test
