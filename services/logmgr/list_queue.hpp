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
    /** An identifier in a call of ListEntries, a sequence number in one of
     *  ListLog. */
    uint64_t first = 0;
    uint32_t limit = 0;
    /** Of a call of ListLog. */
    std::optional<uint64_t> generation = std::nullopt;
};

/** Lets the users take turns, however many calls each of them has made. The
 *  calls of a sender wait until its user is known. */
class ListQueue
{
  public:
    /** Whether something was heard of a sender, and it was not forgotten. */
    bool knows(const std::string& sender) const;

    /** Lets a call wait.
     *
     *  @return false when the sender, or its user if that is known, has too
     *          many calls here; the call is not kept then */
    [[nodiscard]] bool add(const std::string& sender, ListCall call);

    /** Says who a sender is, whose calls can be answered from now on.
     *
     *  @return those of its calls that are too many for the user; they are not
     *          kept */
    [[nodiscard]] std::vector<ListCall> setUser(const std::string& sender,
                                                uid_t user);

    /** Drops what is known of a sender, and its calls. */
    void forget(const std::string& sender);

    /** Takes out the call that is to be answered next: the oldest of the user
     *  whose turn it is.
     *
     *  @return nothing without a call of a user that is known */
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
        /** How many calls it has here. */
        std::size_t pending = 0;
        /** Its calls, as long as its user is not known. */
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
    /** The users with calls; the first is the next. */
    std::list<Turn> turns;
};

} // namespace healthintf::logmgr
