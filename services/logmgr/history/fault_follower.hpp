// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Follows the faults of all daemons and records what happens to them. */

#include "data_cache/open_faults.hpp"
#include "history_store.hpp"
#include "history_writer.hpp"
#include "now.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::history
{

/** Who has sent a signal. */
struct Sender
{
    uint32_t user = 0;
    uint32_t pid = 0;
};

/** Follows the faults by the signals of their daemons and by the data cache.
 *  The signals tell each fault, however short, and in what order things happen;
 *  the data cache tells what is true, whatever signals were lost or made up.
 *
 *  What throws is the writer; then the store is to be opened again, and a new
 *  object takes over. */
class FaultFollower
{
  public:
    /** How many faults of one user are followed, so that no user can fill the
     *  memory. */
    static constexpr std::size_t mostOfUser = 4096;

    /** Takes up the faults that lasted when the history was last written, and
     *  compares them with the data cache: what has changed since is recorded as
     *  missed.
     *
     *  @param[in] writer must outlive this object
     *  @param[in] followed what the store knows of them
     *  @param[in] cache read just now; must outlive this object */
    FaultFollower(HistoryWriter& writer, std::vector<FollowedFault> followed,
                  host::OpenFaults& cache, const Now& now);

    /** Takes the announcement of a fault. One of a sender whose user has no
     *  such component is ignored. */
    void takeAdded(const Sender& sender, Fault fault, const Now& now);

    /** Takes the announcement that a fault was removed. One of another user
     *  than the fault's is ignored. */
    void takeRemoved(const Sender& sender, const std::string& entry,
                     const Now& now);

    /** Records what the data cache shows and no signal has told. A fault that
     *  is missing there is given time until the next call, because its signal
     *  may be on the way; so is one that is still there after its removal was
     *  announced, because daemons announce it first. */
    void compare(const Now& now);

    /** The fault of an entry; null when it is not followed. */
    const Record* find(const std::string& entry) const;

    /** How many faults last. */
    std::size_t size() const
    {
        return open.size();
    }

  private:
    /** An entry and the user who has it: another user may make up an entry of
     *  the same path. */
    using Key = std::pair<std::string, uint32_t>;

    struct Open
    {
        FollowedFault fault;
        /** Since when the fault lasts; unknown for one from before the last
         *  start, until the data cache tells it. */
        std::optional<std::chrono::nanoseconds> since;
        /** Whether the last comparison missed it. */
        bool missing = false;
        /** Whether the comparison that goes on has found it. */
        bool seen = false;
    };
    using OpenFaults = std::map<Key, Open>;

    const host::Reporter* findReporter(const Sender& sender,
                                       const std::string& component) const;
    bool admits(uint32_t user);
    void appear(FollowedFault fault,
                std::optional<std::chrono::nanoseconds> since);
    static Key keyOf(const Fault& fault);
    void insert(Key key, Open fault);
    void compareWithCache(const Now& now, bool missed);
    void compareFault(const host::Reporter& reporter, const std::string& entry,
                      const host::OpenFault& found, const Now& now,
                      bool missed);
    void noteHidden(Open& fault, bool hidden, const Now& now, bool missed);
    OpenFaults::iterator end(OpenFaults::iterator fault, Kind kind,
                             const Now& now, bool missed);
    Kind kindOfEnd(const FollowedFault& followed) const;
    Kind kindOfRemoval(const FollowedFault& followed) const;
    bool isWatchedAgain(const Fault& fault) const;

    HistoryWriter& writer;
    host::OpenFaults& cache;
    OpenFaults open;
    /** Whose removal was announced since the last comparison. */
    std::set<Key> removed;
    std::map<uint32_t, std::size_t> ofUser;
    /** How many lasting faults a component has in a process. */
    std::map<std::pair<std::string, uint32_t>, std::size_t> ofComponent;
};

} // namespace healthintf::history
