/** @file Reads the entries of the System Event Log in the data cache into a
 * map, or one after the other by their identifiers, by bare calls of LMDB and
 *  without any other work: the floor that the queries are measured against.
 *
 *  Usage: sel-queries-floor list|id FOLDER COUNT */

#include "bare_cache.hpp"
#include "identifier_walk.hpp"
#include "turns.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace
{

using namespace healthintf::bench;

std::map<std::string, SELEntryProperties> read(const BareCache& cache,
                                               const std::string& start)
{
    std::map<std::string, SELEntryProperties> entries;
    cache.scan(start, [&entries](std::string_view path, const char* at) {
        SELEntryProperties& entry =
            entries.try_emplace(entries.end(), std::string(path))->second;
        take(at, entry.recordId);
        take(at, entry.timestamp);
        take(at, entry.record);
        take(at, entry.sensor.firstByte);
        take(at, entry.sensor.secondByte);
        take(at, entry.sensor.name);
        take(at, entry.sensor.path);
    });
    return entries;
}

std::string pathOf(uint16_t recordId)
{
    std::array<char, 64> path{};
    std::snprintf(path.data(), path.size(),
                  "s/com/vexa/olvar/logmgr/selentry/%05u", recordId);
    return path.data();
}

void require(bool found)
{
    if (!found)
    {
        std::fprintf(stderr, "not all entries were found\n");
        std::exit(1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        return 2;
    }
    const unsigned long count = std::strtoul(argv[3], nullptr, 10);
    const BareCache cache(argv[2]);
    if (std::string_view(argv[1]) == "list")
    {
        takeTurns([&] {
            require(read(cache, "s").size() == count);
        });
        return 0;
    }
    IdentifierWalk walk(count);
    takeTurns([&] {
        const uint16_t recordId = walk.next();
        const auto entries = read(cache, pathOf(recordId));
        require(entries.size() == 1 &&
                entries.begin()->second.recordId == recordId);
    });
    return 0;
}
