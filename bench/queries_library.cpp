// SPDX-License-Identifier: Apache-2.0
/** @file Repeats one of the library's queries.
 *
 *  Usage: queries-library counts|leds|top COUNT */

#include "turns.hpp"

#include <hmi_faultentry.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultEntry;
using health_namespace::statusOk;

bool counts(unsigned long count)
{
    int visible = 0;
    int hidden = 0;
    return FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden) ==
               statusOk &&
           static_cast<unsigned long>(visible) + hidden == count;
}

bool leds(unsigned long /*count*/)
{
    std::vector<int> states(7);
    return FaultEntry::GetLEDStateFromFaultEntries(states) == statusOk &&
           std::ranges::count(states, 1) == 6;
}

bool top(unsigned long /*count*/)
{
    constexpr int wanted = 10;
    std::string all = "/com/vexa/olvar/health";
    std::vector<std::pair<std::string, FaultEntry_gen>> entries;
    return FaultEntry::GetNFaultEntries(all, wanted, entries, false) ==
               statusOk &&
           entries.size() == wanted && entries.front().second.severity() == 4;
}

const std::map<std::string, std::function<bool(unsigned long)>> queries{
    {"counts", counts}, {"leds", leds}, {"top", top}};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3 || !queries.contains(argv[1]))
    {
        return 2;
    }
    const auto& query = queries.at(argv[1]);
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    healthintf::bench::takeTurns([&] {
        if (!query(count))
        {
            std::fprintf(stderr, "%s: a wrong answer\n", argv[1]);
            std::exit(1);
        }
    });
    return 0;
}
