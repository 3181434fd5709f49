// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Who has how much of the history. */

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

namespace healthintf::history
{

/** A number of records, and how many bytes they have. */
struct Amount
{
    void add(uint64_t size)
    {
        ++records;
        bytes += size;
    }

    void remove(uint64_t size)
    {
        records -= std::min(records, uint64_t{1});
        bytes -= std::min(bytes, size);
    }

    uint64_t records = 0;
    uint64_t bytes = 0;
};

/** What of an amount counts. */
using Measure = uint64_t Amount::*;

/** How much of the records belongs to each component or user. */
template <typename Key>
class Shares
{
  public:
    void add(const Key& key, uint64_t size)
    {
        amounts[key].add(size);
    }

    void remove(const Key& key, uint64_t size)
    {
        const auto found = amounts.find(key);
        if (found == amounts.end())
        {
            return;
        }
        found->second.remove(size);
        if (found->second.records == 0)
        {
            amounts.erase(found);
        }
    }

    Amount of(const Key& key) const
    {
        const auto found = amounts.find(key);
        return found == amounts.end() ? Amount() : found->second;
    }

    /** Who has most, and how much. */
    std::pair<Key, uint64_t> findMost(Measure measure) const
    {
        std::pair<Key, uint64_t> most;
        for (const auto& [key, amount] : amounts)
        {
            if (amount.*measure > most.second)
            {
                most = {key, amount.*measure};
            }
        }
        return most;
    }

    void clear()
    {
        amounts.clear();
    }

  private:
    std::map<Key, Amount> amounts;
};

} // namespace healthintf::history
