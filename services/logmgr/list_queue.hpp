// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The calls of ListEntries and ListLog that wait for their answers. */

#include "bus_calls.hpp"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::logmgr
{

/** How many calls of one connection may wait. */
inline constexpr std::size_t maxListsOfSender = 4;
/** How many calls of all connections of one user may wait. */
inline constexpr std::size_t maxListsOfUser = 16;

/** A call of ListEntries or ListLog with its arguments. */
struct ListCall
{
    MessagePtr message;
    /** The first wanted entry: an identifier for ListEntries, a sequence number
     *  for ListLog. */
    uint64_t first = 0;
    uint32_t limit = 0;
    /** Only ListLog has it. */
    std::optional<uint64_t> generation = std::nullopt;
};

/** Gives the users turns, however many calls each of them has made. The calls
 *  of a sender wait until its user is known. */
class ListQueue
{
  public:
    /** Whether a sender has made a call and was not forgotten since. */
    bool knows(const std::string& sender) const;

    /** Queues a call.
     *
     *  @return false when the sender, or its user if that is known, has too
     *          many calls in the queue; the call is dropped then */
    [[nodiscard]] bool add(const std::string& sender, ListCall call);

    /** Sets the user of a sender. The sender's calls can be answered from then
     *  on.
     *
     *  @return the sender's calls beyond the limit of the user; they are
     *          removed from the queue */
    [[nodiscard]] std::vector<ListCall> setUser(const std::string& sender,
                                                uid_t user);

    /** Drops a sender and its calls. */
    void forget(const std::string& sender);

    /** Removes the call that is to be answered next: the oldest one of the user
     *  whose turn it is.
     *
     *  @return nothing when no call's user is known */
    std::optional<ListCall> next();

    /** Whether next() would give a call. */
    bool ready() const
    {
        return !turns.empty();
    }

  private:
    struct Sender
    {
        std::optional<uid_t> user;
        /** How many of its calls are in the queue. */
        std::size_t pending = 0;
        /** Its calls until its user is known. */
        std::vector<ListCall> unknown;
    };

    struct Pending
    {
        std::string sender;
        ListCall call;
    };

    /** The calls of one user, the oldest first; never empty. */
    struct Turn
    {
        uid_t user;
        std::list<Pending> calls;
    };

    bool addForUser(uid_t user, const std::string& sender, ListCall& call);

    std::map<std::string, Sender> senders;
    /** The users with calls; the first one is next. */
    std::list<Turn> turns;
};

} // namespace healthintf::logmgr
