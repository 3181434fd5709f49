// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the users of bus connections. */

#include "../common/connection.hpp"
#include "../common/object_lifetime.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The users of connections. The bus is asked once for each connection. */
class PeerUsers
{
  public:
    /** Called with the user of a connection; with nothing when the bus does not
     *  know it. */
    using Found = std::function<void(std::optional<uint32_t>)>;

    /** The most requests that wait for the user of one connection. */
    static constexpr std::size_t mostWaiting = 64;

    /** @param[in] connection asks the bus; must outlive this object */
    explicit PeerUsers(services::Connection& connection) :
        connection(connection)
    {}

    PeerUsers(const PeerUsers&) = delete;
    PeerUsers& operator=(const PeerUsers&) = delete;

    /** Finds a connection's user without waiting for the bus.
     *
     *  @param[in] peer the connection's unique name
     *  @param[in] found called once, perhaps before this returns
     *  @return false when too many requests wait already, and @p found is not
     *          called */
    bool find(const std::string& peer, Found found);

    /** Forgets a connection that is gone. */
    void forget(const std::string& peer);

  private:
    void take(const std::string& peer, std::optional<uint32_t> user);

    services::Connection& connection;
    std::map<std::string, uint32_t> users;
    std::map<std::string, std::vector<Found>> waiting;
    services::ObjectLifetime lifetime;
};

} // namespace healthintf::healthmgr
