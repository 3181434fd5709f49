// SPDX-License-Identifier: Apache-2.0
/** @file Repeats one of the library's queries of the System Event Log.
 *
 *  Usage: sel-queries-library list|id COUNT */

#include "identifier_walk.hpp"
#include "turns.hpp"

#include <lmi_sel_fault.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace
{

using health_namespace::statusOk;
using logmgr_interface::SELAndFault;

bool list(SELAndFault& log, unsigned long count)
{
    std::map<std::string, SELEntry_gen> entries;
    return log.GetSELDatacacheEntries(entries) == statusOk &&
           entries.size() == count;
}

bool find(SELAndFault& log, uint16_t recordId)
{
    SELEntry_gen entry;
    return log.GetSELDatacacheEntryByID(entry, recordId) == statusOk &&
           entry.recordId() == recordId;
}

void require(bool answered)
{
    if (!answered)
    {
        std::fprintf(stderr, "a wrong answer\n");
        std::exit(1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    SELAndFault log;
    if (std::string_view(argv[1]) == "list")
    {
        healthintf::bench::takeTurns([&] {
            require(list(log, count));
        });
        return 0;
    }
    healthintf::bench::IdentifierWalk walk(count);
    healthintf::bench::takeTurns([&] {
        require(find(log, walk.next()));
    });
    return 0;
}
