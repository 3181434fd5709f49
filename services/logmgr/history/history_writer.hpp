// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes records of the history in groups. */

#include "history_store.hpp"
#include "record.hpp"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace healthintf::history
{

/** Adds records to a store, and knows those that others are not told of yet:
 *  nobody hears of a record that a kill could still take back. All calls may
 *  throw as the store's. */
class HistoryWriter
{
  public:
    /** The most records of a group. */
    static constexpr std::size_t mostInGroup = 256;

    /** @param[in] store must outlive this object */
    explicit HistoryWriter(HistoryStore& store) : store(store)
    {}

    /** Whether another lasting fault of a user may be followed. */
    bool mayFollow(uint32_t user) const
    {
        return store.mayFollow(user);
    }

    /** Adds a record to the group, which is committed when it is large. */
    void add(Record record)
    {
        addTo(record);
        commitIfLarge();
    }

    /** The same for the appearance of a fault, which is followed from then
     *  on.
     *
     *  @param[in,out] fault its record gets its numbers */
    void addAppearance(FollowedFault& fault)
    {
        addTo(fault.appeared);
        store.follow(fault);
        commitIfLarge();
    }

    /** Notes what has changed of a followed fault. */
    void follow(const FollowedFault& fault)
    {
        store.follow(fault);
    }

    /** Follows a fault no longer. */
    void forget(const FollowedFault& fault)
    {
        store.forget(fault);
    }

    /** Whether something is not committed, or nobody was told of it. */
    bool hasGroup() const
    {
        return store.hasGroup() || !added.empty();
    }

    /** Commits the group; syncs the store when a loss of power would take a
     *  whole group back.
     *
     *  @return the records that were committed since the last call */
    std::vector<Record> commit()
    {
        store.commit();
        if (store.unsynced() >= mostInGroup)
        {
            store.sync();
        }
        return std::exchange(added, {});
    }

  private:
    /** In a storm nobody has time to ask for it. */
    void commitIfLarge()
    {
        if (store.unsynced() >= mostInGroup)
        {
            store.commit();
            store.sync();
        }
    }

    void addTo(Record& record)
    {
        trim(record.fault);
        trimText(record.comment);
        store.add(record);
        added.push_back(record);
    }

    HistoryStore& store;
    std::vector<Record> added;
};

} // namespace healthintf::history
