// SPDX-License-Identifier: Apache-2.0
#include "attribute_call.hpp"

#include "../healthmgr/protocol.hpp"
#include "../thread_bus.hpp"
#include "protocol.hpp"

#include <platform/signal_blocker.hpp>

#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>

namespace healthintf::host
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr std::chrono::seconds patience{5};

/** The time until a deadline in microseconds, for libsystemd. At least 1, as 0
 *  means libsystemd's default timeout. */
uint64_t timeUntil(Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<microseconds>(deadline - Clock::now());
    return left > microseconds(1) ? left.count() : 1;
}

/** Waits until the bus has answered a new connection's greeting. No other
 *  message can arrive before that, so no callback runs here.
 *
 *  @throws std::system_error when it does not answer in time */
void waitForGreeting(sd_bus* bus, Clock::time_point deadline)
{
    while (sd_bus_is_open(bus) > 0 && sd_bus_is_ready(bus) == 0)
    {
        const int worked = sd_bus_process(bus, nullptr);
        checkBus("unable to connect to the bus", worked);
        if (worked == 0)
        {
            const int woken = sd_bus_wait(bus, timeUntil(deadline));
            checkBus("unable to connect to the bus", woken);
            if (woken == 0 && Clock::now() >= deadline)
            {
                checkBus("unable to connect to the bus", -ETIMEDOUT);
            }
        }
    }
}

MessagePtr makeMessage(sd_bus* bus, const AttributeRequest& request)
{
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus, &raw, healthmgrService,
                                            healthmgrPath, attributesInterface,
                                            setAttributeMethod));
    MessagePtr message(raw);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(raw, setAttributeSignature,
                                   request.name.c_str(), request.value,
                                   request.source.c_str()));
    return message;
}

/** Describes an error that comes from the bus or libsystemd, and not from
 *  healthmgr. */
std::string describeBusError(const sd_bus_error& error, int code)
{
    if (std::string_view(error.name) == SD_BUS_ERROR_ACCESS_DENIED)
    {
        return "this user may not set attributes: the bus policy denies it "
               "(group healthintf-operators may)";
    }
    const std::string text = error.message != nullptr ? error.message : "";
    switch (code)
    {
        case EHOSTUNREACH:
        case ENXIO:
            return text + " (check that healthmgr runs)";
        case ETIMEDOUT:
            return "no answer of healthmgr (it may be set nevertheless)";
        case ENOTCONN:
            return text + " (restart this program: it keeps a lost connection)";
        case ECONNRESET:
            return "the bus ended before healthmgr answered (it may be set "
                   "nevertheless)";
        default:
            return text + " (see what healthmgr logs)";
    }
}

AttributeOutcome makeOutcome(const sd_bus_error& error)
{
    if (const auto number = parseErrorName(error.name))
    {
        return {*number, error.message != nullptr ? error.message : ""};
    }
    const int code = getErrno(error);
    return makeFailure(code, describeBusError(error, code));
}

} // namespace

AttributeOutcome requestAttribute(const AttributeRequest& request)
{
    const Clock::time_point deadline = Clock::now() + patience;
    const SignalBlocker blocker;
    sd_bus* bus = threadBus();
    waitForGreeting(bus, deadline);
    const MessagePtr message = makeMessage(bus, request);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result =
        sd_bus_call(bus, message.get(), timeUntil(deadline), &error, nullptr);
    AttributeOutcome outcome;
    if (sd_bus_error_is_set(&error) != 0)
    {
        outcome = makeOutcome(error);
        sd_bus_error_free(&error);
        return outcome;
    }
    checkBus("no answer of the bus", result);
    return outcome;
}

} // namespace healthintf::host
