// SPDX-License-Identifier: Apache-2.0
/** @file Fills the host's data cache with fault entries, prints "ready", and
 *  keeps the cache open until standard input ends.
 *
 *  Usage: queries-fill COUNT */

#include "hold.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

std::string numbered(const char* format, unsigned int number)
{
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

/** The entry's path; each component has ten entries. */
std::string makePath(unsigned int number)
{
    constexpr unsigned int entriesOfAComponent = 10;
    return "/com/vexa/olvar/health" +
           numbered("/chassis/fan%05u", number / entriesOfAComponent) +
           numbered("/entry/Fault_%08X_4", number);
}

/** A fault with varying severity and unordered time; one in ten is hidden. */
FaultEntryPropertyMap fault(unsigned int number)
{
    const auto fan = std::to_string(number);
    return {{"FQDD", "System.Embedded.1#Fan." + fan},
            {"MessageID", "HostMonitor.1.0.TemperatureCritical"},
            {"Message", "The fan " + fan + " in the rear is too slow."},
            {"Args", std::vector<std::string>{"fan " + fan, "rear"}},
            {"Timestamp", uint64_t{1'700'000'000} + number * 7919 % 1'000'000},
            {"Severity", number % 4 + 1},
            {"SensorPath", "/com/vexa/olvar/sensors/fan" + fan},
            {"SensorNumber", number},
            {"SensorType", 4U},
            {"LedState", static_cast<int32_t>(number % 7)},
            {"LcdMessage", "Fan " + fan + " is slow"},
            {"Hidden", number % 10 == 9}};
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned long count =
        argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        if (datacache_faultentry_create(makePath(i), fault(i)) != 0)
        {
            std::fprintf(stderr, "unable to create the entry %u\n", i);
            return 1;
        }
    }
    healthintf::bench::hold();
    return 0;
}
