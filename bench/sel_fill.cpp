// SPDX-License-Identifier: Apache-2.0
/** @file Fills the host's data cache with entries of the System Event Log,
 *  prints "ready", and keeps the cache open until standard input ends.
 *
 *  Usage: sel-fill COUNT */

#include "data_cache/sel_entry_cache.hpp"
#include "hold.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

/** A temperature that crosses a threshold. */
SELEntryProperties makeEntry(uint16_t recordId)
{
    constexpr uint32_t start = 1'700'000'000;
    const auto low = static_cast<uint8_t>(recordId);
    const auto high = static_cast<uint8_t>(recordId >> 8);
    const std::string sensor = "temperature" + std::to_string(low);
    return {.recordId = recordId,
            .timestamp = start + recordId,
            .sensor = {sensor, "/com/vexa/olvar/sensors/" + sensor, 1, 2},
            .record = {low, high, 2, 0, 0, 0, 0, 0x20, 0, 4, 1, low, 1, 0x59,
                       low, high}};
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned long count =
        argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
    const auto tellAll = [count](const healthintf::host::SelMirror::Sink& put) {
        for (unsigned long i = 1; i <= count; ++i)
        {
            put(i - 1, makeEntry(static_cast<uint16_t>(i)));
        }
    };
    healthintf::host::SelMirror mirror;
    if (mirror.replace(tellAll) != 0)
    {
        std::fprintf(stderr, "unable to create the entries\n");
        return 1;
    }
    healthintf::bench::hold();
    return 0;
}
