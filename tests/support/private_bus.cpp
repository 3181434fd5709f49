// SPDX-License-Identifier: Apache-2.0
#include "private_bus.hpp"

#include "direct_connection.hpp"

#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

namespace healthintf::test
{
namespace
{

const char* nameProgram(BusKind kind)
{
    return kind == BusKind::broker ? BROKER_DAEMON : "dbus-daemon";
}

} // namespace

BusKind busKind()
{
    const char* given = getenv("HEALTHINTF_TEST_BUS");
    const std::string name = given == nullptr ? "daemon" : given;
    if (name != "daemon" && name != "broker")
    {
        throw std::runtime_error("HEALTHINTF_TEST_BUS is " + name +
                                 ", neither daemon nor broker");
    }
    return name == "broker" ? BusKind::broker : BusKind::daemon;
}

std::string matchRuleLimit(unsigned rules)
{
    const auto limit = [](const std::string& name, unsigned value) {
        return "<limit name=\"" + name + "\">" + std::to_string(value) +
               "</limit>";
    };
    const std::string config = limit("max_match_rules_per_connection", rules);
    if (busKind() == BusKind::daemon)
    {
        return config;
    }
    // dbus-broker gives each user the limits of a connection, multiplied by
    // the number of connections that it allows him. Raise the other limits, so
    // that only match rules run out.
    return config + limit("max_connections_per_user", 1) +
           limit("max_outgoing_bytes", 1U << 30) +
           limit("max_outgoing_unix_fds", 1U << 14);
}

PrivateBus::PrivateBus() : PrivateBus(openRules)
{}

PrivateBus::PrivateBus(const std::string& rules) :
    daemon(start(temporary, rules)), address(daemon.hear()),
    passing(std::stoi(daemon.hear()))
{
    unsetenv("DBUS_STARTER_ADDRESS");
    unsetenv("DBUS_STARTER_BUS_TYPE");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    // A frozen (stopped) process reacts to SIGKILL only.
    kill();
}

Process PrivateBus::start(const TemporaryFolder& folder,
                          const std::string& rules)
{
    setenv("HEALTHINTF_RUNTIME_DIR", (folder.path() / "run").c_str(), 1);
    setenv("HEALTHINTF_STATE_DIR", (folder.path() / "state").c_str(), 1);
    std::filesystem::create_directory(folder.path() / "services");
    const auto config = folder.write(
        "bus.conf",
        "<!DOCTYPE busconfig PUBLIC "
        "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
        "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
        "<busconfig><type>session</type>"
        "<listen>unix:dir=" +
            folder.path().string() +
            "</listen><auth>EXTERNAL</auth>"
            "<limit name=\"max_match_rules_per_connection\">512</limit>"
            "<limit name=\"max_connections_per_user\">256</limit>"
            "<servicedir>" +
            (folder.path() / "services").string() + "</servicedir>" + rules +
            "</busconfig>");
    return Process({nameProgram(busKind()), "--nofork", "--nopidfile",
                    "--print-address=1", "--print-pid=1",
                    "--config-file=" + config.string()});
}

void PrivateBus::activate(const std::string& name,
                          const std::string& program) const
{
    temporary.write("services/" + name + ".service",
                    "[D-BUS Service]\nName=" + name + "\nExec=" + program +
                        "\n");
    reload();
}

void PrivateBus::reload() const
{
    sd_bus* made = nullptr;
    sd_bus_new(&made);
    const std::unique_ptr<sd_bus, Unref> bus(made);
    sd_bus_set_address(made, address.c_str());
    sd_bus_set_bus_client(made, 1);
    if (sd_bus_start(made) < 0 ||
        sd_bus_call_method(made, "org.freedesktop.DBus",
                           "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "ReloadConfig", nullptr, nullptr, nullptr) < 0)
    {
        throw std::runtime_error("the bus does not read its configuration: " +
                                 daemon.errors());
    }
}

void PrivateBus::kill()
{
    if (passing > 0)
    {
        ::kill(std::exchange(passing, -1), SIGKILL);
        daemon.wait();
    }
}

void PrivateBus::freeze() const
{
    ::kill(passing, SIGSTOP);
}

void PrivateBus::thaw() const
{
    ::kill(passing, SIGCONT);
}

} // namespace healthintf::test
