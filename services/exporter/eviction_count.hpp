// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Counts the faults that were evicted by others. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace healthintf::exporter
{

/** Tells evicted faults from those that were removed. The signals of both are
 *  the same. But a component has more faults than its limit only after it
 *  announced one too many, until it removes the evicted one: an entry that is
 *  removed in between was evicted.
 *
 *  Signals of one process come in their order, so once a component's entries
 *  are known, all its later evictions are counted. */
class EvictionCount
{
  public:
    /** How many entries are followed at most. Whoever may report may announce
     *  any number of entries. */
    static constexpr std::size_t mostEntries = 65'536;

    /** Forgets all entries, not what was counted, and stops counting. */
    void startAnew();

    /** Notes an entry from before the first signal. Ignores one whose removal
     *  was announced since startAnew(). */
    void know(const std::string& entry);

    /** Counts evictions from now on, because all entries are known. */
    void startCounting();

    /** Whether evictions count now. */
    bool isCounting() const
    {
        return counting;
    }

    /** Takes the announcement of an entry.
     *
     *  @param[in] sender the unique name of the process that has it */
    void added(const std::string& sender, const std::string& entry);

    /** Takes the removal of an entry. */
    void removed(const std::string& entry);

    /** Forgets the entries of a process that has left the bus. */
    void left(const std::string& sender);

    /** Forgets what was counted for all other components. */
    void forgetAllBut(const std::set<std::string>& components);

    /** How many evictions were counted, by component; only components that had
     *  some. */
    const std::map<std::string, uint64_t>& evictions() const
    {
        return counted;
    }

    /** How many entries are followed. */
    std::size_t entries() const
    {
        return followed;
    }

    /** How many removals are remembered until counting starts. */
    std::size_t removals() const
    {
        return gone.size();
    }

  private:
    /** @param[in] sender empty when it is not known */
    void insert(const std::string& entry, const std::string& sender);

    /** The entries of one component in one process. */
    struct Group
    {
        /** Its unique name; empty before its first signal. */
        std::string sender;
        std::set<std::string> entries;
    };

    std::map<std::string, Group, std::less<>> groups;
    /** How many entries all groups have. */
    std::size_t followed = 0;
    std::map<std::string, uint64_t> counted;
    /** Entries that went before counting started. */
    std::set<std::string> gone;
    bool counting = false;
};

} // namespace healthintf::exporter
