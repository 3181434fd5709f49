// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Remembers the health that connections have reported. */

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The last reported health of each connection's nodes. The memory is bounded
 *  for each connection and each user. */
class ReportedHealth
{
  public:
    /** The health of nodes by their keys. */
    using Healths = std::map<std::string, uint32_t>;

    /** The most bytes that are remembered. */
    struct Bounds
    {
        /** Of one connection: enough for as many nodes as the bus has match
         *  rules for, each with a long key. */
        std::size_t connection = 1UL << 20;
        /** Of all connections of one user. The connections whose user is not
         *  known yet count as one more user. */
        std::size_t user = 8UL << 20;
    };

    /** Bytes for a node in addition to its key. */
    static constexpr std::size_t overhead = 128;

    ReportedHealth() : ReportedHealth(Bounds())
    {}

    explicit ReportedHealth(Bounds bounds) : bounds(bounds)
    {}

    /** Notes a connection.
     *
     *  @param[in] sender its unique name
     *  @return whether the connection is new, or was forgotten
     * */
    bool meet(const std::string& sender);

    /** Sets the user of a known connection.
     *
     *  @return the connection's reports, if they exceed the user's bound and
     *          are forgotten */
    Healths setUser(const std::string& sender, uint32_t user);

    /** Notes what a connection reports of a node.
     *
     *  @param[in] sender the connection's unique name
     *  @param[in] key the node
     *  @param[in] health 0 when the node has ended
     *  @return false when the report exceeds a bound and is not remembered */
    bool note(const std::string& sender, const std::string& key,
              uint32_t health);

    /** Begins to ask a connection whether it has finished the ends of nodes
     *  that it reported.
     *
     *  @return whether to ask: there are ends that no question covers, and no
     *          question is outstanding */
    bool beginQuestion(const std::string& sender);

    /** Ends the question to a connection.
     *
     *  @return the nodes whose ends the question covered; they are forgotten */
    std::vector<std::string> endQuestion(const std::string& sender);

    /** Forgets the health of a node, whoever reported it. */
    void forget(const std::string& key);

    /** The reported nodes that have not ended and are not recorded.
     *
     *  @param[in] isRecorded whether to leave a node out */
    std::set<std::string> findUnrecorded(
        const std::function<bool(const std::string& key)>& isRecorded) const;

    /** The last reports that differ from @p known, of nodes that are in it. Of
     *  several connections that report a node, any one.
     *
     *  @param[in] known the true health of nodes */
    Healths differingFrom(const Healths& known) const;

    /** Forgets a connection.
     *
     *  @param[in] sender its unique name
     *  @return its last reports */
    Healths take(const std::string& sender);

  private:
    struct Peer
    {
        std::optional<uint32_t> user;
        std::size_t size = 0;
        Healths nodes;
        /** Nodes that have ended, before they are asked about. */
        std::set<std::string> ended;
        /** Those that the outstanding question is about. */
        std::set<std::string> asked;
        bool questioned = false;
    };

    bool grow(Peer& peer, const std::string& key);
    void shrink(Peer& peer, std::size_t size);
    Healths empty(Peer& peer);

    Bounds bounds;
    std::map<std::string, Peer> peers;
    std::map<std::optional<uint32_t>, std::size_t> users;
};

} // namespace healthintf::healthmgr
