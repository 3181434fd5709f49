#pragma once

/** @file Counts the faults that gave way to others. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace healthintf::exporter
{

/** The component of a fault entry's object path; empty when it is none. */
std::string_view componentOf(std::string_view entry);

/** Tells the faults that gave way from those that were removed. On the bus
 *  both go by the same signals. But a component never holds more faults than
 *  it may, other than between the announcement of one too many and the removal
 *  of the one that gives way: an entry that is removed then was evicted.
 *
 *  Signals of one process come in their order, so that knowing a component's
 *  entries at one time is enough to count exactly from then on. */
class EvictionCount
{
  public:
    /** Forgets all entries, not what was counted, and stops counting. */
    void startAnew();

    /** Notes an entry that was there before anything was heard. One whose
     *  removal was heard since startAnew() is on its way out. */
    void know(const std::string& entry);

    /** From now on what is known is whole, and evictions count. */
    void startCounting();

    /** Whether evictions count now. */
    bool isCounting() const
    {
        return counting;
    }

    /** Takes the announcement of an entry.
     *
     *  @param[in] sender the unique name of who holds it */
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

  private:
    /** The entries of one component in one process. */
    struct Group
    {
        /** Empty while nothing was heard of it. */
        std::string sender;
        std::set<std::string> entries;
    };

    std::map<std::string, Group, std::less<>> groups;
    std::map<std::string, uint64_t> counted;
    /** Entries that went before counting started. */
    std::set<std::string> gone;
    bool counting = false;
};

} // namespace healthintf::exporter
