#include "context.hpp"

#include "error.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

namespace healthintf::healthctl
{

sdbusplus::bus_t connectBus()
{
    sd_bus* bus = nullptr;
    const int result = sd_bus_default(&bus);
    if (result < 0)
    {
        const bool refused = result == -EACCES || result == -EPERM;
        throw Error(refused ? ExitCode::notPermitted : ExitCode::unavailable,
                    std::string("unable to connect to the bus: ") +
                        std::strerror(-result) +
                        (refused ? "; try again as root"
                                 : "; start the D-Bus daemon, or set "
                                   "DBUS_SYSTEM_BUS_ADDRESS to its address"));
    }
    return {bus, std::false_type()};
}

void flush(std::ostream& out)
{
    if (!out.flush())
    {
        throw Error(ExitCode::failed,
                    "unable to write the output; see where it goes to");
    }
}

void writeJson(const Context& context, const char* schema,
               const nlohmann::ordered_json& content)
{
    constexpr int indent = 2;
    nlohmann::ordered_json document{{"schema", schema}};
    document.update(content);
    // What is not UTF-8 in a record must not cost the operator the rest.
    context.out << document.dump(
                       context.compact ? -1 : indent, ' ', false,
                       nlohmann::ordered_json::error_handler_t::replace)
                << '\n';
}

} // namespace healthintf::healthctl
