#include "log_question.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace healthintf::exporter
{
namespace
{

/** Reads one property's value.
 *
 *  @return negative for another type; 0 for a property that is not wanted */
int readValue(sd_bus_message* answer, std::string_view name, LogStatus& status)
{
    const auto number = [answer](uint32_t& into) {
        return sd_bus_message_read(answer, "v", "u", &into);
    };
    if (name == "Entries")
    {
        return number(status.entries);
    }
    if (name == "Capacity")
    {
        return number(status.capacity);
    }
    if (name == "LastAddition")
    {
        return number(status.lastAddition);
    }
    if (name == "LastErase")
    {
        return number(status.lastErase);
    }
    if (name == "Overflow")
    {
        int overflow = 0;
        const int result = sd_bus_message_read(answer, "v", "b", &overflow);
        status.overflow = overflow != 0;
        return result;
    }
    if (name == "OverflowPolicy")
    {
        const char* policy = "";
        const int result = sd_bus_message_read(answer, "v", "s", &policy);
        status.policy = policy;
        return result;
    }
    return std::min(0, sd_bus_message_skip(answer, "v"));
}

/** @return whether every property that is wanted was there */
bool readStatus(sd_bus_message* answer, LogStatus& status)
{
    constexpr int wanted = 6;
    int read = 0;
    int more = sd_bus_message_enter_container(answer, 'a', "{sv}");
    while (more >= 0 &&
           (more = sd_bus_message_enter_container(answer, 'e', "sv")) > 0)
    {
        const char* name = "";
        const int result = sd_bus_message_read(answer, "s", &name) <= 0
                               ? -EBADMSG
                               : readValue(answer, name, status);
        if (result < 0)
        {
            return false;
        }
        read += result > 0 ? 1 : 0;
        more = sd_bus_message_exit_container(answer);
    }
    return more == 0 && read == wanted;
}

} // namespace

LogQuestion::LogQuestion() :
    call({.service = names::logManagerService,
          .path = names::selPath,
          .interface = "org.freedesktop.DBus.Properties",
          .member = "GetAll",
          .argument = names::selInterface})
{}

std::optional<LogStatus> LogQuestion::ask(sd_bus* bus)
{
    const MessagePtr answer = call.make(bus);
    LogStatus status;
    if (answer == nullptr || !readStatus(answer.get(), status))
    {
        return std::nullopt;
    }
    return status;
}

} // namespace healthintf::exporter
