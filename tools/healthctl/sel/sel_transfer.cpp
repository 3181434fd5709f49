// SPDX-License-Identifier: Apache-2.0
#include "sel_transfer.hpp"

#include "../error.hpp"
#include "logmgr_client.hpp"
#include "whole_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
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

/** @throws std::invalid_argument when it is more than a log can hold */
std::string contentOf(const std::string& file)
{
    std::ifstream stream;
    if (file != standardStream)
    {
        stream.open(file, std::ios::binary);
        if (!stream)
        {
            failOn(file, "read", errno);
        }
    }
    std::istream& source = file == standardStream ? std::cin : stream;
    constexpr std::size_t most = mostRecords * SELInterface::recordSize;
    // One more tells that there is more.
    std::string content(most + 1, '\0');
    try
    {
        content.resize(static_cast<std::size_t>(source.rdbuf()->sgetn(
            content.data(), static_cast<std::streamsize>(content.size()))));
    }
    catch (const std::ios_base::failure&)
    {
        // A folder can be opened, and not be read.
        failOn(file, "read", errno);
    }
    if (content.size() > most)
    {
        throw std::invalid_argument("it has more than " +
                                    std::to_string(mostRecords) +
                                    " records, which no log holds");
    }
    return content;
}

/** @throws Error unless all fit into the log */
void checkRoom(const services::LogStatus& status, std::size_t records)
{
    const std::size_t room =
        status.capacity - std::min(status.capacity, status.entries);
    if (status.policy == "refuse" && records > room)
    {
        throw Error(ExitCode::failed,
                    "nothing was imported: the log has room for " +
                        std::to_string(room) + " of " +
                        std::to_string(records) +
                        " records; \"healthctl sel clear\" empties it");
    }
}

} // namespace

void writeRecords(const std::vector<RawRecord>& records,
                  const std::string& file, std::ostream& out)
{
    const std::string content = contentOf(records);
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
        return recordsIn(contentOf(file));
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
            ids.push_back(log.add({}, record, timeOf(record)));
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
