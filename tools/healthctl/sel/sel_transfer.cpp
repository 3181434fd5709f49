// SPDX-License-Identifier: Apache-2.0
#include "sel_transfer.hpp"

#include "../error.hpp"
#include "logmgr_client.hpp"
#include "whole_file.hpp"

#include <storage/file_descriptor.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <system_error>

namespace healthintf::healthctl
{
namespace
{

[[noreturn]] void failOn(const std::string& file, const char* what, int code)
{
    throw Error(code == EACCES || code == EPERM ? ExitCode::notPermitted
                                                : ExitCode::failed,
                std::string("unable to ") + what + " " + file + ": " +
                    std::strerror(code) + "; name another file");
}

/** As many records as a log has identifiers for. */
constexpr std::size_t mostRecords = 65534;

[[noreturn]] void failToRead(const std::string& file)
{
    failOn(file == standardStream ? "the standard input" : file, "read", errno);
}

/** Opens a file, or duplicates the standard input. */
host::FileDescriptor openSource(const std::string& file)
{
    host::FileDescriptor source(file == standardStream
                                    ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                    : open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (source.get() < 0)
    {
        failToRead(file);
    }
    return source;
}

/** @throws std::invalid_argument when it is more than a log can hold */
std::string readContent(const std::string& file)
{
    constexpr std::size_t most = mostRecords * SELInterface::recordSize;
    // One more tells that there is more.
    std::string content(most + 1, '\0');
    const host::FileDescriptor source = openSource(file);
    std::size_t size = 0;
    ssize_t got = 1;
    while (got != 0 && size < content.size())
    {
        got = read(source.get(), content.data() + size, content.size() - size);
        if (got < 0 && errno != EINTR)
        {
            failToRead(file);
        }
        size += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    if (size > most)
    {
        throw std::invalid_argument("it has more than " +
                                    std::to_string(mostRecords) +
                                    " records, which no log holds");
    }
    content.resize(size);
    return content;
}

/** @throws Error unless all fit into the log. One that wraps drops its own
 *          entries for them. */
void checkRoom(const services::LogStatus& status, std::size_t records)
{
    const std::size_t room =
        status.policy == "refuse"
            ? status.capacity - std::min(status.capacity, status.entries)
            : status.capacity;
    if (records > room)
    {
        const char* remedy = records > status.capacity
                                 ? "configure logmgr with a larger capacity"
                                 : "\"healthctl sel clear\" empties it";
        throw Error(ExitCode::failed,
                    "nothing was imported: the log has room for " +
                        std::to_string(room) + " of " +
                        std::to_string(records) + " records; " + remedy);
    }
}

} // namespace

void writeRecords(const std::vector<RawRecord>& records,
                  const std::string& file, std::ostream& out)
{
    const std::string content = formatRecords(records);
    if (file == standardStream)
    {
        out << content;
        return;
    }
    try
    {
        writeWholeFile(file, content);
    }
    catch (const std::system_error& e)
    {
        failOn(file, "write", e.code().value());
    }
}

std::vector<RawRecord> readRecords(const std::string& file)
{
    try
    {
        return recordsIn(readContent(file));
    }
    catch (const std::invalid_argument& e)
    {
        throw Error(ExitCode::failed, file + ": nothing was imported: " +
                                          e.what() + "; export the log anew");
    }
}

std::vector<uint32_t> importRecords(LogmgrClient& log,
                                    const std::vector<RawRecord>& records)
{
    checkRoom(log.status(), records.size());
    std::vector<uint32_t> ids;
    for (const RawRecord& record : records)
    {
        try
        {
            ids.push_back(log.add({}, record, describeTime(record)));
        }
        catch (const Error& e)
        {
            throw Error(e.code(), "imported " + std::to_string(ids.size()) +
                                      " of " + std::to_string(records.size()) +
                                      " records, then: " + e.what());
        }
    }
    return ids;
}

} // namespace healthintf::healthctl
