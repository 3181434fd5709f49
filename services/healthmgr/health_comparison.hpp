// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds healthmgr's nodes whose health is not the worst of their
 *  children's, daemons' nodes whose health is better than that, and nodes that
 *  are gone. */

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

/** Compares the records repeatedly. One difference may be an update under way.
 *  A difference that stays the same needs a repair: first the children's health
 *  is sent to the node again, then the node is made again. */
class HealthComparison
{
  public:
    /** The recorded health of nodes by their keys. */
    using Healths = std::map<std::string, uint32_t>;

    /** What to repair. */
    struct Findings
    {
        /** Nodes whose health is to be sent to their parents again. */
        std::vector<std::string> untold;
        /** Nodes that had a record at the last comparison and have none now. */
        std::vector<std::string> gone;
        /** Pairs of a node and another one whose key merely begins with the
         *  node's key. A new node takes that one for its child: it is to be
         *  told health 0 for it. */
        std::vector<std::pair<std::string, std::string>> strangers;
        /** Nodes to make again. */
        std::vector<std::string> stale;
        /** Whether to compare again soon. */
        bool unsettled = false;
    };

    /** Compares the health of all nodes with the worst of their children, and
     *  the set of all nodes with that of the comparison before. The nodes of
     *  this process have no health of their own; a daemon's node may be worse
     *  than its children, but not better.
     *
     *  @param[in] records the health of all nodes
     *  @param[in] isHosted whether a node is hosted by this process and has no
     *             faults */
    Findings compare(const Healths& records,
                     const std::function<bool(const std::string&)>& isHosted);

    /** Notes that a node has ended and its parent was told so. The next node of
     *  the key may have the same health. */
    void noteEnd(const std::string& key)
    {
        known.erase(key);
        noteUpdate(key);
    }

    /** Notes that a node heard an update of a child, or reported its health. If
     *  it is a daemon's, the update may have undone its repair, as that of an
     *  older holder of the child's key does; and a node that reports may be a
     *  new one, with the same health as the one that was told. */
    void noteUpdate(const std::string& key);

    /** Forgets the repairs of this process's nodes that did not help, so that
     *  they are tried again. A daemon's node may be better than its children
     *  because the daemon calculates its health some other way. */
    void beginAnew();

  private:
    struct Difference
    {
        uint32_t held = 0;
        uint32_t expected = 0;
        bool hosted = false;
        std::size_t times = 0;
    };

    std::vector<std::string> takeGone(const Healths& records);

    std::map<std::string, Difference> differing;
    /** The nodes that had records at the last comparison. */
    std::set<std::string> known;
};

} // namespace healthintf::healthmgr
