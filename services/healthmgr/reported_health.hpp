#pragma once

/** @file What connections have reported of the health of their nodes. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The nodes that each connection reported last, with their health. What this
 *  takes is bounded for each connection and for each user. */
class ReportedHealth
{
  public:
    /** The health of nodes by their keys. */
    using Healths = std::map<std::string, uint32_t>;

    /** Bytes that may be remembered. */
    struct Bounds
    {
        /** Of a connection with as many nodes as the bus has match rules for,
         *  each with a long key. */
        std::size_t connection = 1UL << 20;
        /** Of all connections of a user. All whose user is not known yet count
         *  as one more user. */
        std::size_t user = 8UL << 20;
    };

    /** What remembering a node takes, beside its key. */
    static constexpr std::size_t overhead = 128;

    ReportedHealth() : ReportedHealth(Bounds())
    {}

    explicit ReportedHealth(Bounds bounds) : bounds(bounds)
    {}

    /** Notes a connection.
     *
     *  @param[in] sender its unique name
     *  @return whether it is heard for the first time since it was forgotten
     */
    bool meet(const std::string& sender);

    /** Notes whose a connection is that has been met.
     *
     *  @return what was remembered of it, and is not any more, because its
     *          user has reported too much already */
    Healths setUser(const std::string& sender, uint32_t user);

    /** Notes what a connection reports of a node.
     *
     *  @param[in] sender the connection's unique name
     *  @param[in] key the node
     *  @param[in] health 0 when it has ended
     *  @return whether it is remembered: there is room for it */
    bool note(const std::string& sender, const std::string& key,
              uint32_t health);

    /** Begins a question to a connection whether it is through with the ends
     *  of nodes that it reported.
     *
     *  @return whether to ask: there are ends that no question covers, and
     *          none is outstanding */
    bool beginQuestion(const std::string& sender);

    /** Ends the question to a connection.
     *
     *  @return the nodes whose ends it covered, which are forgotten */
    std::vector<std::string> endQuestion(const std::string& sender);

    /** Forgets the health of a node, whoever reported it. */
    void forget(const std::string& key);

    /** The nodes that connections have reported and not ended, and that are not
     *  among others.
     *
     *  @param[in] known the others */
    std::set<std::string> missingFrom(const Healths& known) const;

    /** Forgets a connection.
     *
     *  @param[in] sender its unique name
     *  @return what it reported last */
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
