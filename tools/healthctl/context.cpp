// SPDX-License-Identifier: Apache-2.0
#include "context.hpp"

#include "error.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <bus_calls.hpp>
#include <printable.hpp>

namespace healthintf::healthctl
{

namespace
{

const char* remedyFor(int result)
{
    switch (-result)
    {
        case EACCES:
        case EPERM:
            return "; try again as the user whose bus it is";
        case ETIMEDOUT:
            return "; see whether the D-Bus daemon is stopped";
        default:
            return "; start the D-Bus daemon, or set DBUS_SYSTEM_BUS_ADDRESS "
                   "to its address";
    }
}

} // namespace

sdbusplus::bus_t connectBus()
{
    sd_bus* opened = nullptr;
    int result = sd_bus_default(&opened);
    BusPtr bus(opened);
    if (result >= 0)
    {
        result = waitForBus(opened);
    }
    if (result < 0)
    {
        const bool refused = result == -EACCES || result == -EPERM;
        throw Error(refused ? ExitCode::notPermitted : ExitCode::unavailable,
                    std::string("unable to connect to the bus: ") +
                        std::strerror(-result) + remedyFor(result));
    }
    return {bus.release(), std::false_type()};
}

int waitForBus(sd_bus* bus)
{
    using Clock = std::chrono::steady_clock;
    using Microseconds = std::chrono::microseconds;
    constexpr std::chrono::seconds patience{5};
    const auto end = Clock::now() + patience;
    while (sd_bus_is_ready(bus) == 0)
    {
        int result = sd_bus_process(bus, nullptr);
        const auto left =
            std::chrono::duration_cast<Microseconds>(end - Clock::now());
        if (result == 0 && left.count() <= 0)
        {
            return -ETIMEDOUT;
        }
        if (result == 0)
        {
            result = sd_bus_wait(bus, static_cast<uint64_t>(left.count()));
        }
        if (result < 0 && result != -EINTR)
        {
            return result;
        }
    }
    return 0;
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
    forEachCharacter(document, [&](const Character& character) {
        const uint32_t code = character.code;
        if (code < firstToEscape || !host::isMisleading(code))
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

std::string jsonText(const nlohmann::ordered_json& value, int indent)
{
    return escaped(value.dump(
        indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void writeJson(const Context& context, const char* schema,
               const nlohmann::ordered_json& content)
{
    constexpr int indent = 2;
    nlohmann::ordered_json document{{"schema", schema}};
    document.update(content);
    context.out << jsonText(document, context.compact ? -1 : indent) << '\n';
}

} // namespace healthintf::healthctl
