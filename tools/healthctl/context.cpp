#include "context.hpp"

#include "error.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <printable.hpp>

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
                        (refused ? "; try again as the user whose bus it is"
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

namespace
{

/** A number of 16 bits as JSON writes it in a string. */
std::string escape(uint32_t unit)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", unit);
    return text.data();
}

/** A JSON document without characters that mislead who reads it on a terminal.
 *  Beyond ASCII they stand in strings only; those of ASCII are escaped or, as
 *  line ends, ours, but for DEL. */
std::string escaped(std::string_view document)
{
    constexpr uint32_t firstToEscape = 0x7F;
    constexpr uint32_t firstPair = 0x10000;
    std::string result;
    host::forEachCharacter(document, [&](const host::Character& character) {
        const uint32_t code = character.code;
        if (code < firstToEscape || !host::misleads(code))
        {
            result += character.bytes;
        }
        else if (code < firstPair)
        {
            result += escape(code);
        }
        else
        {
            result += escape(0xD800 + ((code - firstPair) >> 10)) +
                      escape(0xDC00 + ((code - firstPair) & 0x3FF));
        }
    });
    return result;
}

} // namespace

void writeJson(const Context& context, const char* schema,
               const nlohmann::ordered_json& content)
{
    constexpr int indent = 2;
    nlohmann::ordered_json document{{"schema", schema}};
    document.update(content);
    // What is not UTF-8 in a record must not cost the operator the rest.
    context.out << escaped(document.dump(
                       context.compact ? -1 : indent, ' ', false,
                       nlohmann::ordered_json::error_handler_t::replace))
                << '\n';
}

} // namespace healthintf::healthctl
