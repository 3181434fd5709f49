// SPDX-License-Identifier: Apache-2.0
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/store_failure.hpp"
#include "../thread_bus.hpp"
#include "protocol.hpp"

#include <platform/data_abstraction/sel.hpp>
#include <platform/signal_blocker.hpp>
#include <platform/utf8.hpp>

#include <cerrno>
#include <cstring>
#include <exception>
#include <string_view>
#include <system_error>

namespace
{

using namespace healthintf;
using namespace healthintf::host;
using DataAbstraction::SEL::Sensor;

constinit FailureLog logFailures;

/** Errors are returned as numbers above all identifiers. */
constexpr uint32_t failureBase = DataAbstraction::SEL::largestRecordId + 1;

/** How many bytes a text or record may have: the bus disconnects who sends too
 *  much. */
constexpr std::size_t maxArgument = 1UL << 20;

[[noreturn]] void fail(int code, const std::string& why)
{
    throw std::system_error(code, std::generic_category(), why);
}

/** @throws std::system_error when the bus cannot carry the text */
void checkText(const std::string& text, const char* what)
{
    if (text.size() > maxArgument || text.find('\0') != std::string::npos ||
        !isUtf8(text))
    {
        fail(EINVAL,
             std::string(what) + " of the sensor cannot be sent on a bus");
    }
}

void append(sd_bus_message* message, const Sensor& sensor,
            const std::vector<uint8_t>& record,
            const std::optional<uint32_t>& timestamp)
{
    const auto& [name, path, firstByte, secondByte] = sensor;
    checkText(name, "the name");
    checkText(path, "the path");
    if (record.size() > maxArgument)
    {
        fail(EINVAL, "the record is too large for a bus");
    }
    checkBus("sd_bus_message_append",
             sd_bus_message_append(message, "(ssyy)", name.c_str(),
                                   path.c_str(), firstByte, secondByte));
    checkBus("sd_bus_message_append_array",
             sd_bus_message_append_array(message, 'y', record.data(),
                                         record.size()));
    if (timestamp)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "u", *timestamp));
    }
}

/** The errno for an error of logmgr or of the bus. */
int errnoFor(const sd_bus_error& error)
{
    const std::string_view name = error.name;
    if (name == selFull)
    {
        return ENOSPC;
    }
    if (name == selInvalidRecord)
    {
        return EINVAL;
    }
    return getErrno(error);
}

/** Sends a call and waits for its reply.
 *
 *  @throws std::system_error with the error's text when the reply is an
 *          error */
MessagePtr call(sd_bus* bus, sd_bus_message* message)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const SignalBlocker blocker;
    const int result = sd_bus_call(bus, message, 0, &error, &reply);
    MessagePtr owned(reply);
    if (sd_bus_error_is_set(&error) != 0)
    {
        const int code = errnoFor(error);
        const std::string text = error.message != nullptr ? error.message : "";
        sd_bus_error_free(&error);
        fail(code, text);
    }
    checkBus("sd_bus_call", result);
    return owned;
}

/** Reads the identifier in a reply.
 *
 *  @throws std::system_error when it has none */
uint32_t readIdentifier(sd_bus_message* reply)
{
    uint32_t id = 0;
    if (sd_bus_message_has_signature(reply, "u") <= 0 ||
        sd_bus_message_read(reply, "u", &id) < 0)
    {
        fail(EBADMSG, "the reply is no number");
    }
    if (id > DataAbstraction::SEL::largestRecordId)
    {
        fail(EBADMSG,
             "the reply " + std::to_string(id) + " is no record's identifier");
    }
    return id;
}

/** What the operator can do about a failure. */
const char* remedyForCall(int code)
{
    switch (code)
    {
        case EINVAL:
            return "check what the daemon passes";
        case ENOSPC:
            return "clear the log";
        case EACCES:
        case EPERM:
            return "let the bus policy allow this user to add events";
        case EHOSTUNREACH:
        case ENXIO:
        case ENOENT:
        case ECONNREFUSED:
            return "check that the bus and logmgr run";
        case ENOTCONN:
            return "restart this program: it keeps a lost connection";
        case EPIPE:
        case ECONNRESET:
        case ETIMEDOUT:
            return "it may be stored nevertheless: check the log";
        default:
            return "see what logmgr logs";
    }
}

} // namespace

uint32_t DataAbstraction::SEL::AddSEL(const std::string& service,
                                      const std::string& path,
                                      const Sensor& sensor,
                                      const std::vector<uint8_t>& record,
                                      const std::optional<uint32_t>& timestamp)
{
    try
    {
        // Sent once only: after a failure the record may have been stored.
        sd_bus* bus = threadBus();
        sd_bus_message* raw = nullptr;
        checkBus(
            "sd_bus_message_new_method_call",
            sd_bus_message_new_method_call(
                bus, &raw, service.c_str(), path.c_str(),
                SELInterface::logInterface,
                timestamp ? addSelWithTimestamp : SELInterface::addMethod));
        const MessagePtr message(raw);
        append(raw, sensor, record, timestamp);
        const uint32_t id = readIdentifier(call(bus, raw).get());
        logFailures.noteSuccess();
        return id;
    }
    catch (const std::exception& e)
    {
        const int code = getErrorNumber(e);
        if (logFailures.admits(code))
        {
            HOST_LOG(log::error,
                     "%s.%d.%s: unable to store a record by %s: %s (%s)",
                     service.c_str(), e.what(), remedyForCall(code));
        }
        return failureBase + static_cast<uint32_t>(code);
    }
}
