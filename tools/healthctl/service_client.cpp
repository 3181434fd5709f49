// SPDX-License-Identifier: Apache-2.0
#include "service_client.hpp"

#include "context.hpp"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

/** How many seconds each reply of a service may take. */
constexpr uint64_t replySeconds = 5;

/** The exit code when nobody answers. */
ExitCode codeWithoutAnswer(const ServiceMethod& method)
{
    return method.changes ? ExitCode::failed : ExitCode::unavailable;
}

/** A part of a sentence that is true of methods that change something. */
std::string ifChanging(const ServiceMethod& method, const char* words)
{
    return method.changes ? words : "";
}

/** Whether a service owns its name, or it cannot be found out. */
bool hasOwner(const BusPtr& bus, const Service& service)
{
    return sd_bus_get_name_creds(bus.get(), service.busName, 0, nullptr) !=
           -ENXIO;
}

/** The bus waits for the service, which it has told to start. */
Error makeNotStarting(const Service& service, const ServiceMethod& method)
{
    return {codeWithoutAnswer(method),
            std::string(service.name) + " does not start" +
                ifChanging(method, ", and may still do it once it does") +
                "; see its log"};
}

Error makeLostBus(const Service& service, const ServiceMethod& method)
{
    return {codeWithoutAnswer(method),
            std::string("the bus ended before ") + service.name + " answered" +
                ifChanging(method, ", which may have done it") +
                "; see the log of the bus"};
}

/** The process has gone. */
Error makeEnded(const Service& service, const ServiceMethod& method)
{
    return {codeWithoutAnswer(method),
            std::string(service.name) + " ended before it answered" +
                ifChanging(method, ", and may have done it") + "; see its log"};
}

Error makeTooLate(const Service& service, const ServiceMethod& method)
{
    return {ExitCode::failed, std::string(service.role) +
                                  " did not answer within " +
                                  std::to_string(replySeconds) + " seconds" +
                                  ifChanging(method, ", and may still do it") +
                                  "; see the log of " + service.name};
}

/** Whether an error says that a service neither runs nor can be started. */
bool isMissing(std::string_view error)
{
    return error == SD_BUS_ERROR_SERVICE_UNKNOWN ||
           error == SD_BUS_ERROR_NAME_HAS_NO_OWNER ||
           host::isErrorOfSystemd(error) ||
           error.starts_with("org.freedesktop.DBus.Error.Spawn");
}

/** Whether an error is one that a service answers with. */
bool isAnswer(std::string_view error)
{
    return error == SD_BUS_ERROR_FAILED || error == SD_BUS_ERROR_INVALID_ARGS ||
           error == SD_BUS_ERROR_UNKNOWN_METHOD ||
           error == SD_BUS_ERROR_UNKNOWN_OBJECT ||
           error == SD_BUS_ERROR_UNKNOWN_INTERFACE ||
           error == SD_BUS_ERROR_UNKNOWN_PROPERTY;
}

/** @param[in] result what sd_bus_call() returned */
[[noreturn]] void failWith(const sd_bus_error& error, int result,
                           const Service& service, const ServiceMethod& method)
{
    const std::string_view name = error.name != nullptr ? error.name : "";
    const std::string text = error.message != nullptr
                                 ? error.message
                                 : std::generic_category().message(-result);
    if (name.starts_with(std::string(service.busName) + "."))
    {
        throw Refusal(std::string(name), text);
    }
    if (name == SD_BUS_ERROR_ACCESS_DENIED)
    {
        throw Error(ExitCode::notPermitted,
                    std::string("the bus policy does not let this user do "
                                "that; try again as ") +
                        method.callers);
    }
    if (isMissing(name))
    {
        throw Error(ExitCode::unavailable,
                    std::string(service.name) + " is not running; start it");
    }
    if (name == SD_BUS_ERROR_NO_REPLY)
    {
        // So the bus says when the process is gone.
        throw makeEnded(service, method);
    }
    if (result == -ETIMEDOUT)
    {
        throw makeTooLate(service, method);
    }
    throw Error(ExitCode::failed,
                std::string(service.name) +
                    (isAnswer(name) ? " answered with an error: "
                                    : " did not answer: ") +
                    text + "; see the log of " + service.name);
}

} // namespace

Refusal::Refusal(std::string name, const std::string& text) :
    Error(ExitCode::failed, text), errorName(std::move(name))
{}

ServiceClient::ServiceClient(const Service& service) : service(service)
{
    // This is the connection that the library uses, too.
    const auto operators = connectBus();
    bus = host::openDefaultBus();
    constexpr uint64_t microseconds = 1'000'000;
    checkBus(
        "sd_bus_set_method_call_timeout",
        sd_bus_set_method_call_timeout(bus.get(), replySeconds * microseconds));
}

MessagePtr ServiceClient::newCall(const ServiceMethod& method) const
{
    sd_bus_message* message = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus.get(), &message,
                                            service.busName, method.path,
                                            method.interface, method.member));
    return MessagePtr(message);
}

MessagePtr ServiceClient::newQuestion(const ServiceMethod& method) const
{
    MessagePtr call = newCall(method);
    checkBus("sd_bus_message_set_auto_start",
             sd_bus_message_set_auto_start(call.get(), 0));
    return call;
}

MessagePtr ServiceClient::reply(const ServiceMethod& method,
                                const MessagePtr& call) const
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(bus.get(), call.get(), 0, &error, &answer);
    MessagePtr owned(answer);
    if (result < 0)
    {
        const struct Free
        {
            sd_bus_error& error;
            ~Free()
            {
                sd_bus_error_free(&error);
            }
        } atEnd{error};
        if (sd_bus_is_open(bus.get()) <= 0)
        {
            throw makeLostBus(service, method);
        }
        const bool ended =
            sd_bus_error_has_name(&error, SD_BUS_ERROR_NO_REPLY) > 0;
        if (result == -ETIMEDOUT && !ended && !hasOwner(bus, service))
        {
            throw makeNotStarting(service, method);
        }
        failWith(error, result, service, method);
    }
    return owned;
}

Error ServiceClient::makeUnreadable(const std::system_error& error) const
{
    return {ExitCode::failed, std::string("the answer of ") + service.name +
                                  " cannot be read: " + error.what() +
                                  "; see whether " + service.name +
                                  " and healthctl are of one version"};
}

} // namespace healthintf::healthctl
