#pragma once

/** @file What connections have told of the health of their nodes. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace healthintf::healthmgr
{

/** The nodes that each connection told of last, with their health. */
class ToldNodes
{
  public:
    /** The health of nodes by their keys. */
    using Healths = std::map<std::string, uint32_t>;

    /** So many nodes of one connection are remembered: more than a bus lets it
     *  have, and no more than whoever makes up messages may cost. */
    static constexpr std::size_t most = 16'384;

    /** Notes a connection.
     *
     *  @param[in] sender its unique name
     *  @return whether it is heard for the first time since it was forgotten
     */
    bool meet(const std::string& sender);

    /** Notes what a connection tells of a node.
     *
     *  @param[in] sender the connection's unique name
     *  @param[in] key the node
     *  @param[in] health 0 when it has ended */
    void note(const std::string& sender, const std::string& key,
              uint32_t health);

    /** Forgets a node, whoever told of it. */
    void forget(const std::string& key);

    /** Forgets a connection.
     *
     *  @param[in] sender its unique name
     *  @return what it told of last */
    Healths take(const std::string& sender);

  private:
    std::map<std::string, Healths> told;
};

} // namespace healthintf::healthmgr
