// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the nodes that other processes have on the bus. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/object_lifetime.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** Asks all connections for their nodes, a few at a time. Nodes that the data
 *  cache refused a record for are found in no other way. Any process may answer
 *  anything. The bus counts unanswered calls, and logs those that its policy
 *  refuses: so a connection is asked again only after it has answered, and a
 *  search leaves out those that the policy kept from being asked. */
class NodeSearch
{
  public:
    /** The most objects that are read of one connection. */
    static constexpr std::size_t mostObjects = 16384;
    /** The most elements that the properties of a connection's objects may
     *  have; nodes behind them are not found. */
    static constexpr std::size_t mostElements = 1UL << 20;

    /** The keys of the nodes of a connection, but not of the root. */
    using Keys = std::set<std::string>;

    /** @param[in] connection asks the others; must outlive this object
     *  @param[in] loop must outlive this object
     *  @param[in] found called with each connection's nodes, if it has any
     *  @param[in] turn how long to wait for answers before the next ones are
     *             asked */
    NodeSearch(services::Connection& connection, services::EventLoop& loop,
               std::function<void(const Keys& keys)> found,
               std::chrono::milliseconds turn = std::chrono::seconds(5));

    NodeSearch(const NodeSearch&) = delete;
    NodeSearch& operator=(const NodeSearch&) = delete;

    /** Begins to search and does not wait for answers.
     *
     *  @throws std::system_error when the bus cannot be asked */
    void begin();

    /** Asks one connection, once it has handled its messages. Does not wait for
     *  the answer.
     *
     *  @throws std::system_error when the bus cannot be asked */
    void ask(const std::string& peer);

  private:
    void fill(const std::vector<std::string>& names);
    void beginTurn();
    void askNext();
    void take(sd_bus_message* reply) const;

    services::Connection& connection;
    std::function<void(const Keys& keys)> found;
    /** The connections that are still to be asked. */
    std::vector<std::string> peers;
    /** The connections that have not answered, and whether each is to be asked
     *  again then: it may have listed its nodes before it made another one. */
    std::map<std::string, bool> asked;
    /** The connections that the bus did not let be asked. */
    std::set<std::string> barred;
    std::chrono::milliseconds turn;
    services::EventSource turnEnd;
    services::ObjectLifetime lifetime;
};

} // namespace healthintf::healthmgr
