#include "log_reader.hpp"

#include "../error.hpp"
#include "log_service.hpp"

#include <data_cache/sel_entry_cache.hpp>

#include <cstddef>
#include <iostream>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** How many identifiers there are; behind the last comes 1. */
constexpr int identifiers = 65534;

/** Entries keep their identifiers when one between them makes no sense. */
void tellOfLeftOut(const LogContent& content)
{
    if (content.entries.empty())
    {
        return;
    }
    const int ahead = content.last - content.entries.front().recordId();
    const auto places =
        static_cast<std::size_t>((ahead + identifiers) % identifiers + 1);
    if (places > content.entries.size())
    {
        std::cerr << "healthctl: the log has entries that make no sense and "
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
        LogContent content = LogService().content();
        tellOfLeftOut(content);
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
