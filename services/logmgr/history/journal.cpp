// SPDX-License-Identifier: Apache-2.0
#include "journal.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <syslog.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace healthintf::history
{
namespace
{

/** The MESSAGE_ID of each kind, by its number. They are in the catalog, too,
 *  and never change. */
constexpr std::array messageIds{
    "",
    "6738835f450d4e41b94fabad8a88f034",
    "14007f1556af4b0abd465dcf92058baf",
    "724fda82200f414fa5e2ad0626d3d30a",
    "d3fc254240974a82b26e38f9cd5ba3fb",
    "8241738437e3494da1eb765313fd0594",
    "e4a6c6585194413e82b0be57fa54c3bd",
    "278d06b9d3654bb0adefbe465a068a98",
    "b74ba1655b764a7f865c6619d238cebd",
    "ec01d4626ff54770b8a1097dbbf54f71",
    "003386a744f54e92af4c520a1769a84e",
    "5cc63bd5a7f04f7d952e8929c4e8246c",
    "9d3d85a076cd47f2aadbb12d8209fd4b",
    "8ba2a118075b40b680483f03f57630b6",
    "937d5b82631b47b389de147660e39705",
};
static_assert(messageIds.size() == static_cast<std::size_t>(lastKind) + 1);

/** The severities by their health values. */
constexpr std::array severities{"", "", "ok", "warning", "critical"};

const char* nameSeverity(uint32_t severity)
{
    return severity < severities.size() ? severities.at(severity) : "";
}

/** The urgency of a record as syslog has it. */
int findPriority(const Record& record)
{
    constexpr uint32_t warning = 3;
    if (record.kind != Kind::appeared && record.kind != Kind::monitorLost)
    {
        return LOG_NOTICE;
    }
    return record.fault.severity > warning    ? LOG_CRIT
           : record.fault.severity == warning ? LOG_WARNING
                                              : LOG_NOTICE;
}

/** Appends a field. A value with a line end has its size in front of it. */
void addField(std::string& text, const char* name, const std::string& value)
{
    if (value.empty())
    {
        return;
    }
    text += name;
    if (value.find('\n') == std::string::npos)
    {
        text += '=' + value + '\n';
        return;
    }
    text += '\n';
    for (uint64_t left = value.size(), i = 0; i < sizeof(left); ++i)
    {
        text += static_cast<char>(left & 0xFF);
        left >>= 8;
    }
    text += value + '\n';
}

void addNumber(std::string& text, const char* name, uint64_t number)
{
    if (number != 0)
    {
        addField(text, name, std::to_string(number));
    }
}

sockaddr_un makeAddress(const std::filesystem::path& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(static_cast<char*>(address.sun_path),
                       sizeof(address.sun_path) - 1);
    return address;
}

} // namespace

std::string describe(const Record& record)
{
    const Fault& fault = record.fault;
    std::string text;
    if (!fault.component.empty())
    {
        text += fault.component + ": ";
    }
    text += kindName(record.kind);
    if (const std::string severity = nameSeverity(fault.severity);
        !severity.empty())
    {
        text += ", " + severity;
    }
    for (const std::string* part : {&fault.message, &record.comment})
    {
        text += part->empty() ? "" : ": " + *part;
    }
    return text;
}

std::string formatForJournal(const Record& record)
{
    const Fault& fault = record.fault;
    std::string text;
    addField(text, "MESSAGE", describe(record));
    addField(text, "MESSAGE_ID",
             messageIds.at(static_cast<std::size_t>(record.kind)));
    addField(text, "PRIORITY", std::to_string(findPriority(record)));
    addField(text, "SYSLOG_IDENTIFIER", "logmgr");
    addField(text, "HEALTH_KIND", kindName(record.kind));
    addNumber(text, "HEALTH_SEQUENCE", record.sequence);
    addField(text, "HEALTH_COMPONENT", fault.component);
    addField(text, "HEALTH_MESSAGE_ID", fault.messageId);
    addField(text, "HEALTH_MESSAGE", fault.message);
    addField(text, "HEALTH_SEVERITY", nameSeverity(fault.severity));
    addField(text, "HEALTH_SENSOR_PATH", fault.sensorPath);
    addField(text, "HEALTH_PROCESS", fault.process);
    addNumber(text, "HEALTH_PROCESS_ID", fault.pid);
    addNumber(text, "HEALTH_OCCURRENCE", record.occurrence);
    if (record.lasted)
    {
        addField(text, "HEALTH_LASTED_MS", std::to_string(*record.lasted));
    }
    addField(text, "HEALTH_MISSED", record.missed ? "1" : "");
    addField(text, "HEALTH_COMMENT", record.comment);
    return text;
}

Journal::Journal(std::filesystem::path socket) :
    address(std::move(socket)),
    socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{}

void Journal::write(const Record& record) const
{
    const std::string text = formatForJournal(record);
    const sockaddr_un to = makeAddress(address);
    const void* const any = &to;
    // Without a journal, or with one that is behind, nobody reads it.
    static_cast<void>(sendto(socket.get(), text.data(), text.size(),
                             MSG_NOSIGNAL, static_cast<const sockaddr*>(any),
                             sizeof(to)));
}

} // namespace healthintf::history
