#pragma once

/** @file Tells the parents of nodes what the records say. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/growing_pause.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** What the data cache says of a node's health; 0 when there is no record, and
 *  nothing when the data cache cannot be read. */
std::optional<uint32_t> recordedHealth(const std::string& key);

/** Sends health updates in the name of nodes. Another process may change a
 *  record at the same time, and the bus may pass its own word on before this
 *  one: so each record is compared once the bus has passed the update on, and
 *  told again, after a pause that grows, while it differs. Of a data cache that
 *  cannot be read nothing is told until it can. */
class RecordAnnouncer
{
  public:
    /** So many nodes are compared at a time, of those that announceIfRoom()
     *  was given. */
    static constexpr std::size_t most = 16'384;

    /** All arguments must outlive this object. */
    RecordAnnouncer(services::Connection& connection,
                    services::EventLoop& loop);
    RecordAnnouncer(const RecordAnnouncer&) = delete;
    RecordAnnouncer& operator=(const RecordAnnouncer&) = delete;

    /** Tells the parents of nodes what their records say. */
    void announce(const std::vector<std::string>& keys);

    /** The same for a node that somebody may have made up. Without room for
     *  another one, its parent is told at once, and what all records say is
     *  told later. */
    void announceIfRoom(const std::string& key);

    /** Tells a parent that it has no such child. Waits until the bus has taken
     *  that, so that nothing of it stays here.
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
    /** To be told next. */
    std::set<std::string> waiting;
    /** Told, but the bus has perhaps not passed it on yet. */
    std::map<std::string, uint32_t> sent;
    bool asked = false;
    /** To be told when the pause is over. */
    std::set<std::string> unsettled;
    bool all = false;
    bool resting = false;
    services::GrowingPause pauses;
    services::EventSource pauseEnd;
};

} // namespace healthintf::healthmgr
