#pragma once

/** @file Whose the connections of the bus are. */

#include "../common/connection.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The users of connections, each of which the bus is asked for once. */
class PeerUsers
{
  public:
    /** Takes the user of a connection; nothing when the bus knows none. */
    using Found = std::function<void(std::optional<uint32_t>)>;

    /** So many wait for the user of one connection. */
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
     *  @return whether it will be called; too many wait otherwise */
    bool find(const std::string& peer, Found found);

    /** Forgets a connection that is gone. */
    void forget(const std::string& peer);

  private:
    void take(const std::string& peer, std::optional<uint32_t> user);

    services::Connection& connection;
    std::map<std::string, uint32_t> users;
    std::map<std::string, std::vector<Found>> waiting;
};

} // namespace healthintf::healthmgr
