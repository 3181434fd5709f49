// SPDX-License-Identifier: Apache-2.0
/** @file Reads the entries in the mirror of the System Event Log into a map, or
 *  one at a time by identifier, by plain system calls without any other work:
 *  the lower bound for queries.
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

using Entries = std::map<std::string, SELEntryProperties>;

void add(Entries& entries, std::string_view path, const char* at)
{
    SELEntryProperties& entry =
        entries.try_emplace(entries.end(), std::string(path))->second;
    take(at, entry.recordId);
    take(at, entry.timestamp);
    take(at, entry.record);
    take(at, entry.sensor.firstByte);
    take(at, entry.sensor.secondByte);
    take(at, entry.sensor.name);
    take(at, entry.sensor.path);
}

Entries readAll(const char* folder)
{
    Entries entries;
    readFolder(folder,
               [&entries](std::string_view path, const char* at, uint32_t) {
                   add(entries, path, at);
               });
    return entries;
}

/** Reads only the header, one slot and its block. */
Entries readOne(const char* file, uint16_t recordId)
{
    using namespace healthintf::host;

    Entries entries;
    const int opened = open(file, O_RDONLY | O_CLOEXEC);
    SegmentHeader header{};
    Slot slot{};
    Place place;
    const auto [table, index] = slotPosition(recordId);
    const bool found =
        pread(opened, &header, sizeof(header), 0) == sizeof(header) &&
        pread(opened, &slot, sizeof(slot),
              static_cast<off_t>(header.tables[table] + slotsBehind(table) +
                                 index * sizeof(slot))) == sizeof(slot) &&
        decodePlace(slot.place, place);
    require(found, file);
    const std::size_t size = place.units * blockUnit;
    std::vector<char> block(size);
    require(pread(opened, block.data(), size,
                  static_cast<off_t>(place.unit * blockUnit)) ==
                static_cast<ssize_t>(size),
            file);
    close(opened);
    BlockHeader blockHeader{};
    std::memcpy(&blockHeader, block.data(), sizeof(blockHeader));
    const char* path = block.data() + sizeof(blockHeader);
    add(entries, {path, blockHeader.pathSize}, path + blockHeader.pathSize);
    return entries;
}

void requireFound(bool found)
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
    if (std::string_view(argv[1]) == "list")
    {
        takeTurns([&] {
            requireFound(readAll(argv[2]).size() == count);
        });
        return 0;
    }
    IdentifierWalk walk(count);
    takeTurns([&] {
        const uint16_t recordId = walk.next();
        const auto entries =
            readOne((std::string(argv[2]) + "/log").c_str(), recordId);
        requireFound(entries.size() == 1 &&
                     entries.begin()->second.recordId == recordId);
    });
    return 0;
}
