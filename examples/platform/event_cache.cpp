// SPDX-License-Identifier: Apache-2.0
/** @file The records that mirror the System Event Log: none is kept. */

#include <platform/data_abstraction/sel.hpp>

namespace DataAbstraction::SELEntry
{

long get_map_by_path_prefixes(const std::vector<std::string>& /*services*/,
                              const std::vector<std::string>& /*prefixes*/,
                              std::map<std::string, SELEntry_gen>& /*entries*/)
{
    return readNoRecords;
}

} // namespace DataAbstraction::SELEntry
