// SPDX-License-Identifier: Apache-2.0
#include "log_reader.hpp"

#include "../error.hpp"
#include "logmgr_client.hpp"

#include <data_cache/sel_entry_cache.hpp>

#include <cstddef>
#include <iostream>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** How many identifiers there are; 1 follows the last. */
constexpr int identifiers = 65534;

/** How many entries the log had, with those that cannot be read.
 *
 *  @param[in] status of the log, read after its content */
std::size_t countEntries(const LogContent& content,
                         const services::LogStatus& status)
{
    if (status.generation == content.generation &&
        status.lastEntry == content.last)
    {
        return status.entries;
    }
    if (content.entries.empty())
    {
        return 0;
    }
    // An entry that cannot be read still has its identifier.
    const int ahead = content.last - content.entries.front().recordId();
    return static_cast<std::size_t>((ahead + identifiers) % identifiers + 1);
}

void tellLeftOut(const LogContent& content, const services::LogStatus& status)
{
    const std::size_t places = countEntries(content, status);
    if (places > content.entries.size())
    {
        std::cerr << "healthctl: the log has entries that cannot be read and "
                     "are left out: "
                  << places - content.entries.size()
                  << "; see the log of logmgr\n";
    }
}

} // namespace

ReadLog readLog()
{
    try
    {
        LogmgrClient log;
        LogContent content = log.content();
        tellLeftOut(content, log.status());
        return {.entries = std::move(content.entries),
                .mirror = false,
                .last = content.last};
    }
    catch (const Error& e)
    {
        ReadLog log{.entries = readMirror(), .mirror = true, .last = 0};
        if (e.code() != ExitCode::unavailable || log.entries.empty())
        {
            throw;
        }
        std::cerr << "healthctl: " << e.what()
                  << "; what follows is the mirror of the log in the data "
                     "cache, which may lack changes\n";
        log.last = log.entries.back().recordId();
        return log;
    }
}

std::vector<SELEntry_gen> readMirror()
{
    std::vector<SELEntryProperties> found;
    host::readSelMirror(found);
    return {found.begin(), found.end()};
}

} // namespace healthintf::healthctl
