// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps a tree as it is on the bus and in the records. */

#include "bus_changes.hpp"
#include "paced_action.hpp"
#include "silent_connections.hpp"
#include "watched_tree.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Takes changes from signals at once, and reads all again where signals may
 *  not say everything: a connection has left, a node reports nothing, or
 *  somebody speaks of a node that is not known. A second after a change it
 *  reads as well, because a signal may be made up, or come before what it
 *  announces. When more is heard than is kept, it reads, too. */
class TreeFollower
{
  public:
    /** Reads the tree. Later changes are not missed.
     *
     *  @param[in] loop runs the changes; must outlive this object
     *  @param[in] onChanges gets what a signal or a reading changed; a reading
     *             that changed nothing, too
     *  @param[in] whileReading called again and again while a reading waits
     *             for answers, when the loop does not run; may be null
     *  @throws Error when this user may not read it */
    TreeFollower(sd_bus* bus, services::EventLoop& loop,
                 std::function<void(const Changes&)> onChanges,
                 std::function<void()> whileReading = {});

    const WatchedTree& tree() const
    {
        return known;
    }

    /** Why there is nothing; empty where there is something. */
    const std::string& nothing() const
    {
        return whyNothing;
    }

  private:
    using Heard = std::function<Changes(WatchedTree&)>;

    ChangeHandlers makeHandlers();
    void take(std::size_t bytes, const Heard& heard);
    void takeHealth(const std::string& key, uint32_t health);
    void read();
    void confirmLater();

    sd_bus* bus;
    services::EventLoop& loop;
    std::function<void(const Changes&)> onChanges;
    std::function<void()> whileReading;
    WatchedTree known;
    std::string whyNothing;
    /** Whether answers of the bus are waited for. */
    bool asking = false;
    /** What was heard since then. */
    std::vector<Heard> heardMeanwhile;
    /** The size of what was heard since the last reading began. */
    std::size_t bytesHeard = 0;
    /** Whether the first reading is done. */
    bool begun = false;
    PacedAction reading;
    services::EventSource confirmation;
    bool confirms = false;
    SilentConnections silent;
    BusChanges changes;
};

} // namespace healthintf::healthctl
