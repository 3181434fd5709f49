#include "private_bus.hpp"

#include <csignal>
#include <cstdlib>

namespace healthintf::test
{

PrivateBus::PrivateBus() :
    PrivateBus("<policy context=\"default\"><allow own=\"*\"/>"
               "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/>"
               "</policy>")
{}

PrivateBus::PrivateBus(const std::string& rules) :
    daemon(start(temporary, rules))
{
    const std::string address = daemon.hear();
    unsetenv("DBUS_STARTER_ADDRESS");
    unsetenv("DBUS_STARTER_BUS_TYPE");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
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
    return Process({"dbus-daemon", "--nofork", "--nopidfile", "--print-address",
                    "--config-file=" + config.string()});
}

void PrivateBus::activate(const std::string& name,
                          const std::string& program) const
{
    temporary.write("services/" + name + ".service",
                    "[D-BUS Service]\nName=" + name + "\nExec=" + program +
                        "\n");
}

void PrivateBus::kill()
{
    daemon.kill();
}

void PrivateBus::freeze() const
{
    daemon.signal(SIGSTOP);
}

} // namespace healthintf::test
