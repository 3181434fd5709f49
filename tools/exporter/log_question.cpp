#include "log_question.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace healthintf::exporter
{
namespace
{

struct Unref
{
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
};

using MessagePtr = std::unique_ptr<sd_bus_message, Unref>;

MessagePtr questionOn(sd_bus* bus)
{
    sd_bus_message* raw = nullptr;
    sd_bus_message_new_method_call(bus, &raw, names::logManagerService,
                                   names::selPath,
                                   "org.freedesktop.DBus.Properties", "GetAll");
    MessagePtr question(raw);
    if (question == nullptr || sd_bus_message_set_auto_start(raw, 0) < 0 ||
        sd_bus_message_append(raw, "s", names::selInterface) < 0)
    {
        return nullptr;
    }
    return question;
}

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

std::optional<LogStatus> LogQuestion::ask(sd_bus* bus)
{
    const auto now = std::chrono::steady_clock::now();
    const MessagePtr question =
        bus == nullptr || now < silentUntil ? nullptr : questionOn(bus);
    if (question == nullptr)
    {
        return std::nullopt;
    }
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_call(
        bus, question.get(),
        std::chrono::duration_cast<std::chrono::microseconds>(patience).count(),
        nullptr, &raw);
    const MessagePtr answer(raw);
    if (result == -ETIMEDOUT)
    {
        silentUntil = std::chrono::steady_clock::now() + pause;
    }
    LogStatus status;
    if (result < 0 || !readStatus(raw, status))
    {
        return std::nullopt;
    }
    return status;
}

} // namespace healthintf::exporter
