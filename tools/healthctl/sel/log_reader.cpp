#include "log_reader.hpp"

#include "../error.hpp"
#include "log_service.hpp"

#include <data_cache/sel_entry_cache.hpp>

#include <iostream>

namespace healthintf::healthctl
{

ReadLog readLog()
{
    try
    {
        return {.entries = LogService().entries(), .mirror = false};
    }
    catch (const Error& e)
    {
        ReadLog log{.entries = readMirror(), .mirror = true};
        if (e.code() != ExitCode::unavailable || log.entries.empty())
        {
            throw;
        }
        std::cerr << "healthctl: " << e.what()
                  << "; what follows is the mirror of the log in the data "
                     "cache, which may lack changes\n";
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
