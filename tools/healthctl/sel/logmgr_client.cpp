// SPDX-License-Identifier: Apache-2.0
#include "logmgr_client.hpp"

#include "../context.hpp"
#include "../error.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <logmgr/protocol.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

/** How often the log is read when it changes during each reading. */
constexpr int mostListings = 10;

/** How many seconds each reply of logmgr may take. */
constexpr uint64_t replySeconds = 5;

/** The next entries to read are gone, or the log was cleared. */
class LogChanged : public Error
{
  public:
    using Error::Error;
};

/** Who may call a method of logmgr, for the error of a user who may not. */
std::string whoMayCall(std::string_view member)
{
    if (member == host::clearUpTo)
    {
        return "root or as a member of the group healthintf-operators";
    }
    if (member == names::addSelMethod || member == host::addSelWithTimestamp)
    {
        return "root or as a member of the group healthintf";
    }
    return "root";
}

bool isChange(std::string_view member)
{
    return member == host::clearUpTo || member == names::addSelMethod ||
           member == host::addSelWithTimestamp;
}

/** Whether logmgr owns its name, or it cannot be found out. */
bool hasOwner(const BusPtr& bus)
{
    return sd_bus_get_name_creds(bus.get(), names::logmgrService, 0, nullptr) !=
           -ENXIO;
}

/** The bus waits for logmgr, which it has told to start.
 *
 *  @param[in] member the method that was called */
[[noreturn]] void failToStart(const char* member)
{
    throw Error(
        isChange(member) ? ExitCode::failed : ExitCode::unavailable,
        std::string("logmgr does not start") +
            (isChange(member) ? ", and may still do it once it does" : "") +
            "; see its log");
}

/** @param[in] member the method that was called */
[[noreturn]] void failOnLostBus(const char* member)
{
    throw Error(isChange(member) ? ExitCode::failed : ExitCode::unavailable,
                std::string("the bus ended before logmgr answered") +
                    (isChange(member) ? ", which may have done it" : "") +
                    "; see the log of the bus");
}

/** @param[in] member the method that was called */
[[noreturn]] void failWith(const sd_bus_error& error, int result,
                           const char* member)
{
    const std::string_view name = error.name != nullptr ? error.name : "";
    const std::string text = error.message != nullptr
                                 ? error.message
                                 : std::generic_category().message(-result);
    if (name == host::selFull)
    {
        throw Error(ExitCode::failed,
                    text + "; \"healthctl sel clear\" does that");
    }
    if (name == SD_BUS_ERROR_ACCESS_DENIED)
    {
        throw Error(ExitCode::notPermitted,
                    "the bus policy does not let this user do that; try again "
                    "as " +
                        whoMayCall(member));
    }
    if (name == SD_BUS_ERROR_SERVICE_UNKNOWN ||
        name == SD_BUS_ERROR_NAME_HAS_NO_OWNER ||
        host::isErrorOfSystemd(name) ||
        name.starts_with("org.freedesktop.DBus.Error.Spawn"))
    {
        throw Error(ExitCode::unavailable, "logmgr is not running; start it");
    }
    if (name == host::selGrown)
    {
        throw Error(ExitCode::failed, text + "; export it anew");
    }
    if (name == host::selOldGeneration || name == host::selNoSuchEntry)
    {
        throw LogChanged(ExitCode::failed, text + "; try again");
    }
    if (name == SD_BUS_ERROR_NO_REPLY)
    {
        // So the bus says when the process is gone.
        throw Error(isChange(member) ? ExitCode::failed : ExitCode::unavailable,
                    std::string("logmgr ended before it answered") +
                        (isChange(member) ? ", and may have done it" : "") +
                        "; see its log");
    }
    if (result == -ETIMEDOUT)
    {
        throw Error(
            ExitCode::failed,
            "the log manager did not answer within " +
                std::to_string(replySeconds) + " seconds" +
                (isChange(member) ? ", and may still do it" : std::string()) +
                "; see the log of logmgr");
    }
    if (name.starts_with("com.vexa.olvar.logmgr."))
    {
        throw Error(ExitCode::failed, text);
    }
    throw Error(ExitCode::failed,
                "logmgr did not answer: " + text + "; see the log of logmgr");
}

MessagePtr newCall(const BusPtr& bus, const char* interface, const char* member)
{
    sd_bus_message* message = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus.get(), &message,
                                            names::logmgrService,
                                            names::selPath, interface, member));
    return MessagePtr(message);
}

/** Calls and waits for the reply.
 *
 *  @throws Error for an error reply */
MessagePtr reply(const BusPtr& bus, const MessagePtr& call)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(bus.get(), call.get(), 0, &error, &answer);
    const MessagePtr owned(answer);
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
        const char* member = sd_bus_message_get_member(call.get());
        if (sd_bus_is_open(bus.get()) <= 0)
        {
            failOnLostBus(member);
        }
        const bool ended =
            sd_bus_error_has_name(&error, SD_BUS_ERROR_NO_REPLY) > 0;
        if (result == -ETIMEDOUT && !ended && !hasOwner(bus))
        {
            failToStart(member);
        }
        failWith(error, result, member);
    }
    return MessagePtr(sd_bus_message_ref(answer));
}

/** Calls a function that reads an answer of logmgr.
 *
 *  @throws Error when it throws std::system_error */
template <typename Read>
auto parseAnswer(Read&& read)
{
    try
    {
        return read();
    }
    catch (const std::system_error& e)
    {
        throw Error(
            ExitCode::failed,
            std::string("the answer of logmgr cannot be read: ") + e.what() +
                "; see whether logmgr and healthctl are of one version");
    }
}

uint32_t readNumber(const MessagePtr& message)
{
    return parseAnswer([&] {
        uint32_t number = 0;
        checkBus("number", sd_bus_message_read(message.get(), "u", &number));
        return number;
    });
}

/** Reads the next entry of a list. */
SELEntry_gen readEntry(sd_bus_message* message)
{
    SELEntryProperties entry;
    const char* name = "";
    const char* path = "";
    const void* bytes = nullptr;
    std::size_t size = 0;
    checkBus("entry", sd_bus_message_read(message, "qu(ssyy)", &entry.recordId,
                                          &entry.timestamp, &name, &path,
                                          &entry.sensor.firstByte,
                                          &entry.sensor.secondByte));
    checkBus("entry", sd_bus_message_read_array(message, 'y', &bytes, &size));
    entry.sensor.name = name;
    entry.sensor.path = path;
    std::copy_n(static_cast<const uint8_t*>(bytes),
                std::min(size, entry.record.size()), entry.record.begin());
    return SELEntry_gen(entry);
}

/** Reads the entries of a page and the log's generation.
 *
 *  @return the sequence number of the entry that follows */
uint64_t readPage(sd_bus_message* message, LogContent& content)
{
    constexpr const char* entry = "qu(ssyy)ay";
    checkBus("generation",
             sd_bus_message_read(message, "t", &content.generation));
    checkBus("entries",
             sd_bus_message_enter_container(message, 'a', "(qu(ssyy)ay)"));
    while (sd_bus_message_enter_container(message, 'r', entry) > 0)
    {
        content.entries.push_back(readEntry(message));
        checkBus("entries", sd_bus_message_exit_container(message));
    }
    checkBus("entries", sd_bus_message_exit_container(message));
    uint64_t next = host::noSelSequence;
    checkBus("entries",
             sd_bus_message_read(message, "tq", &next, &content.last));
    return next;
}

} // namespace

LogmgrClient::LogmgrClient()
{
    // This is the connection that the library uses, too.
    const auto operators = connectBus();
    bus = host::openDefaultBus();
    constexpr uint64_t microseconds = 1'000'000;
    checkBus(
        "sd_bus_set_method_call_timeout",
        sd_bus_set_method_call_timeout(bus.get(), replySeconds * microseconds));
}

uint32_t LogmgrClient::add(const SELInterface::SensorInfo& sensor,
                           const RawRecord& record,
                           const std::optional<uint32_t>& time)
{
    const MessagePtr call =
        newCall(bus, names::selInterface,
                time ? host::addSelWithTimestamp : names::addSelMethod);
    if (sd_bus_message_append(call.get(), "(ssyy)", sensor.name.c_str(),
                              sensor.path.c_str(), sensor.firstByte,
                              sensor.secondByte) < 0)
    {
        throw Error(ExitCode::usage,
                    "the sensor's name or path is no text; write it in UTF-8");
    }
    checkBus("sd_bus_message_append_array",
             sd_bus_message_append_array(call.get(), 'y', record.data(),
                                         record.size()));
    if (time)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(call.get(), "u", *time));
    }
    return readNumber(reply(bus, call));
}

Clearing LogmgrClient::clear(const std::optional<uint16_t>& last,
                             const std::optional<uint64_t>& generation)
{
    const MessagePtr call = newCall(bus, names::selInterface, host::clearUpTo);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "tq",
                                   generation.value_or(host::anySelGeneration),
                                   last.value_or(host::anyLastSelEntry)));
    const MessagePtr answer = reply(bus, call);
    return parseAnswer([&] {
        Clearing clearing;
        checkBus("numbers",
                 sd_bus_message_read(answer.get(), "uq", &clearing.erased,
                                     &clearing.last));
        return clearing;
    });
}

services::LogStatus LogmgrClient::status()
{
    const MessagePtr call =
        newCall(bus, "org.freedesktop.DBus.Properties", "GetAll");
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "s", names::selInterface));
    const MessagePtr answer = reply(bus, call);
    return parseAnswer([&] {
        return services::readLogStatus(answer.get());
    });
}

LogContent LogmgrClient::content()
{
    for (int listing = 1;; ++listing)
    {
        try
        {
            return readContent();
        }
        catch (const LogChanged&)
        {
            if (listing == mostListings)
            {
                throw;
            }
        }
    }
}

LogContent LogmgrClient::readContent()
{
    LogContent content;
    content.generation = host::anySelGeneration;
    for (uint64_t next = 0; next != host::noSelSequence;)
    {
        const MessagePtr call =
            newCall(bus, names::selInterface, host::listLog);
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(call.get(), "ttu", content.generation,
                                       next, 0U));
        const std::size_t before = content.entries.size();
        const MessagePtr page = reply(bus, call);
        next = parseAnswer([&] {
            return readPage(page.get(), content);
        });
        if (next != host::noSelSequence && content.entries.size() == before)
        {
            throw Error(ExitCode::failed,
                        "logmgr announces more entries and sends "
                        "none; restart it");
        }
    }
    return content;
}

} // namespace healthintf::healthctl
