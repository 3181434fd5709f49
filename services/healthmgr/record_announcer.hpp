// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Sends the recorded health of nodes to their parents. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/growing_pause.hpp"
#include "../common/object_lifetime.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The health in a node's record; 0 when there is none, and nothing when the
 *  data cache cannot be read. */
std::optional<uint32_t> recordedHealth(const std::string& key);

/** Sends health updates in the name of nodes. Another process may change a
 *  record at the same time, and the bus may deliver that process's update
 *  before this one. So each record is compared after the bus has delivered the
 *  update; while it differs, it is sent again after growing pauses. While the
 *  data cache cannot be read, nothing is sent. */
class RecordAnnouncer
{
  public:
    /** The most nodes of announceIfRoom() that are compared at a time. */
    static constexpr std::size_t most = 16'384;

    /** All arguments must outlive this object. */
    RecordAnnouncer(services::Connection& connection,
                    services::EventLoop& loop);
    RecordAnnouncer(const RecordAnnouncer&) = delete;
    RecordAnnouncer& operator=(const RecordAnnouncer&) = delete;

    /** Sends the recorded health of nodes to their parents. */
    void announce(const std::vector<std::string>& keys);

    /** The same for a node that may have been made up by some process. Without
     *  room for another node, its parent is told once, and later all records
     *  are sent again. */
    void announceIfRoom(const std::string& key);

    /** Sends the recorded health of all nodes to their parents, after a
     *  pause. */
    void announceAll();

    /** Tells a parent health 0 for a key that is not its child. Waits until the
     *  message is written, so that it takes no memory here.
     *
     *  @param[in] parent the parent's key
     *  @param[in] child any text */
    void disown(const char* parent, const char* child);

  private:
    void sendWaiting();
    void send(const std::string& key, uint32_t health);
    void compare();
    void rest();
    void goOn();

    services::Connection& connection;
    /** Nodes to announce next. */
    std::set<std::string> waiting;
    /** Announced with this health, but perhaps not yet delivered by the bus. */
    std::map<std::string, uint32_t> sent;
    bool asked = false;
    /** Nodes to announce again after the pause. */
    std::set<std::string> unsettled;
    bool all = false;
    bool resting = false;
    services::ObjectLifetime lifetime;
    services::GrowingPause pauses;
    services::EventSource pauseEnd;
};

} // namespace healthintf::healthmgr
