// SPDX-License-Identifier: Apache-2.0
/** @file Reads every fault entry of the data cache into a map by plain system
 *  calls, without any other work: the lower bound for queries. Like a query, a
 *  round includes the destruction of the map.
 *
 *  Usage: queries-floor FOLDER COUNT */

#include "bare_cache.hpp"
#include "turns.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace
{

using namespace healthintf::bench;

void decode(const char* at, FaultEntryProperties& entry)
{
    uint32_t args = 0;
    take(at, entry.fqdd);
    take(at, entry.messageID);
    take(at, entry.message);
    take(at, args);
    entry.args.resize(args);
    for (std::string& arg : entry.args)
    {
        take(at, arg);
    }
    take(at, entry.timestamp);
    take(at, entry.severity);
    take(at, entry.sensorPath);
    take(at, entry.sensorNumber);
    take(at, entry.sensorType);
    take(at, entry.ledState);
    take(at, entry.lcdMessage);
}

std::size_t scan(const char* folder)
{
    std::map<std::string, FaultEntryProperties> entries;
    readFolder(folder, [&entries](std::string_view path, const char* record,
                                  uint32_t live) {
        FaultEntryProperties& entry =
            entries.try_emplace(entries.end(), std::string(path))->second;
        decode(record, entry);
        entry.hidden = live != 0;
    });
    return entries.size();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    takeTurns([&] {
        if (scan(argv[1]) != count)
        {
            std::fprintf(stderr, "not all entries were found\n");
            std::exit(1);
        }
    });
    return 0;
}
