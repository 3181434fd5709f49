// SPDX-License-Identifier: Apache-2.0
/** @file A daemon for the tests: holds components on its default bus and
 * executes commands from standard input, one a line, each answered with one
 * line.
 *
 *  Usage: component-daemon sd-event|own-loop
 *
 *    init KEY BASE          null, or the daemon's unique name
 *    count                  the numbers of visible and of hidden faults
 *    hide 0|1 KEY|- SENSOR|- NUMBER
 *    set ATTRIBUTE VALUE    each: the status, once the bus has delivered it
 *    disable KEY
 *    enable KEY             each: the result
 *    add KEY ID SENSOR SEVERITY [NUMBER]
 *    message KEY ID SENSOR [ARGUMENT ...]
 *    remove KEY ID SENSOR
 *    event KEY SENSOR DIGITS   a record of the log; each: the status
 *    clear KEY              ok
 *    delete KEY             ok
 *    close                  ok; closes the connection under the library
 *    quit                   ends the daemon without deleting anything
 *    end of input           ends the daemon after deleting everything */

#include "command_lines.hpp"

#include <hmi_fault_health.hpp>
#include <lmi_sel_fault.hpp>
#include <platform/config_manager.h>

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultAndHealth;
using Words = std::istringstream;

class Daemon
{
  public:
    explicit Daemon(sd_bus* raw) : raw(raw), bus(raw)
    {}

    /** Executes one command and returns the answer. */
    std::string obey(const std::string& line)
    {
        Words words(line);
        std::string command;
        words >> command;
        if (command == "init")
        {
            return init(words);
        }
        if (command == "close")
        {
            sd_bus_close(raw);
            return "ok";
        }
        if (command == "count")
        {
            return count();
        }
        if (command == "hide")
        {
            return hide(words);
        }
        if (command == "set")
        {
            return set(words);
        }
        if (command == "quit")
        {
            _exit(0);
        }
        std::string key;
        words >> key;
        const auto found = components.find(key);
        if (found == components.end())
        {
            return "no component " + key;
        }
        if (command == "delete")
        {
            components.erase(found);
            return "ok";
        }
        return work(command, *found->second, words);
    }

  private:
    std::string init(Words& words)
    {
        std::string key;
        uint32_t base = 0;
        words >> key >> base;
        auto* made = FaultAndHealth::Init(bus, key, base, false);
        if (made == nullptr)
        {
            return "null";
        }
        components[key].reset(made);
        return bus.get_unique_name();
    }

    static std::string count()
    {
        int visible = -1;
        int hidden = -1;
        const int status =
            health_namespace::FaultEntry::GetNumberOfHiddenVisibleFaults(
                visible, hidden);
        return status != 0
                   ? "status " + std::to_string(status)
                   : std::to_string(visible) + " " + std::to_string(hidden);
    }

    std::string hide(Words& words)
    {
        const auto named = [&words] {
            std::string word;
            words >> word;
            return word == "-" ? "" : word;
        };
        bool hide = false;
        int number = 0;
        words >> hide;
        const std::string healthPath = named();
        const std::string sensorPath = named();
        words >> number;
        int status = 0;
        try
        {
            status = FaultAndHealth::SendHideFaultsSignal(hide, healthPath,
                                                          sensorPath, number);
        }
        catch (const sdbusplus::exception::SdBusError& e)
        {
            return e.what();
        }
        // The bus replies after it has delivered all earlier messages.
        sd_bus_call_method(raw, "org.freedesktop.DBus", "/",
                           "org.freedesktop.DBus.Peer", "Ping", nullptr,
                           nullptr, "");
        return std::to_string(status);
    }

    static std::string set(Words& words)
    {
        std::string attribute;
        int32_t value = 0;
        words >> attribute >> value;
        const CfgMgrOrigin origin{"operator", nullptr, nullptr};
        return std::to_string(
            CfgSetAttributeInt(attribute.c_str(), value, 0, &origin));
    }

    static std::string work(const std::string& command,
                            FaultAndHealth& component, Words& words)
    {
        if (command == "disable")
        {
            return std::to_string(component.Disable());
        }
        if (command == "enable")
        {
            return std::to_string(component.Enable());
        }
        if (command == "event")
        {
            return event(component, words);
        }
        std::string id;
        std::string sensor;
        words >> id >> sensor;
        if (command == "add")
        {
            constexpr uint32_t usualNumber = 48;
            uint32_t severity = 0;
            uint32_t number = 0;
            words >> severity;
            if (!(words >> number))
            {
                number = usualNumber;
            }
            return std::to_string(component.addFault(
                id, sensor, {"one", "two"}, "Test.1", "test", number, 4,
                "A fault of " + sensor, severity, "", 0));
        }
        if (command == "message")
        {
            std::string fqdd = "Test.1";
            std::string subSystem = "test";
            std::vector<std::string> args;
            for (std::string arg; words >> arg;)
            {
                args.push_back(arg);
            }
            return std::to_string(
                component.addFault(id, sensor, args, fqdd, subSystem, 48, 4));
        }
        if (command == "remove")
        {
            return std::to_string(component.removeFault(id, sensor));
        }
        if (command == "clear")
        {
            component.deleteFaultListAll();
            return "ok";
        }
        return "no command " + command;
    }

    static std::string event(FaultAndHealth& component, Words& words)
    {
        constexpr int hexadecimal = 16;
        logmgr_interface::SELAndFault events(&component, "component-daemon");
        logmgr_interface::SELAndFault::SensorInfo sensor;
        std::string digits;
        words >> sensor.path >> digits;
        std::vector<unsigned char> record;
        for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
        {
            record.push_back(static_cast<unsigned char>(
                std::stoul(digits.substr(at, 2), nullptr, hexadecimal)));
        }
        return std::to_string(events.addSELAndFault(sensor, record));
    }

    sd_bus* raw;
    sdbusplus::bus_t bus;
    std::map<std::string, std::unique_ptr<FaultAndHealth>> components;
};

/** Executes the commands that have arrived on standard input.
 *
 *  @return false when standard input has ended */
bool obeyInput(healthintf::test::CommandLines& commands, Daemon& daemon)
{
    return commands.take([&daemon](const std::string& line) {
        std::string answer;
        try
        {
            answer = daemon.obey(line);
        }
        catch (const std::exception& e)
        {
            answer = std::string("exception: ") + e.what();
        }
        std::cout << answer << std::endl;
    });
}

struct Context
{
    Daemon& daemon;
    healthintf::test::CommandLines commands;
};

void runSdEvent(sd_bus* bus, Daemon& daemon)
{
    sd_event* event = nullptr;
    Context context{daemon, {}};
    sd_event_default(&event);
    sd_bus_attach_event(bus, event, SD_EVENT_PRIORITY_NORMAL);
    const auto take = [](sd_event_source* source, int, uint32_t, void* at) {
        auto* given = static_cast<Context*>(at);
        if (!obeyInput(given->commands, given->daemon))
        {
            sd_event_exit(sd_event_source_get_event(source), 0);
        }
        return 0;
    };
    sd_event_add_io(event, nullptr, STDIN_FILENO, EPOLLIN, take, &context);
    sd_event_loop(event);
    sd_bus_detach_event(bus);
    sd_event_unref(event);
}

void runOwnLoop(sd_bus* bus, Daemon& daemon)
{
    healthintf::test::CommandLines commands;
    for (;;)
    {
        while (sd_bus_process(bus, nullptr) > 0)
        {}
        std::array<pollfd, 2> polled{
            pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
            pollfd{.fd = sd_bus_get_fd(bus), .events = POLLIN, .revents = 0}};
        if (polled[1].fd < 0)
        {
            polled[1].fd = -1;
        }
        poll(polled.data(), polled.size(), -1);
        if (polled[0].revents != 0 && !obeyInput(commands, daemon))
        {
            return;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    sd_bus* bus = nullptr;
    if (argc != 2 || sd_bus_default(&bus) < 0)
    {
        std::fprintf(stderr, "component-daemon: no bus, or no loop named\n");
        return EXIT_FAILURE;
    }
    {
        Daemon daemon(bus);
        if (std::string(argv[1]) == "sd-event")
        {
            runSdEvent(bus, daemon);
        }
        else
        {
            runOwnLoop(bus, daemon);
        }
    }
    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}
