#pragma once

/** @file Finds the nodes held here whose health is not that of their
 *  children, and the nodes that are gone. */

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

/** Compares records again and again. What differs once may be on its way; what
 *  goes on differing in the same way is to be put right, first by telling the
 *  node of its children again, then by making the node anew. */
class HealthComparison
{
  public:
    /** The health in the records by their keys. */
    using Healths = std::map<std::string, uint32_t>;

    /** What is to be done. */
    struct Findings
    {
        /** Whose health is to be told to their parents again. */
        std::vector<std::string> untold;
        /** Nodes that had a record at the last comparison and have none now. */
        std::vector<std::string> gone;
        /** Nodes with others that begin alike, which a new node takes for its
         *  children: each pair is to be told that there is no such child. */
        std::vector<std::pair<std::string, std::string>> strangers;
        /** Nodes to be made anew. */
        std::vector<std::string> stale;
        /** Whether to look again soon. */
        bool unsettled = false;
    };

    /** Compares the nodes of this process, which have no health of their own,
     *  with the worst of their children, and all nodes with those of the
     *  comparison before.
     *
     *  @param[in] records the health of all nodes
     *  @param[in] isHosted whether a node is held here */
    Findings compare(const Healths& records,
                     const std::function<bool(const std::string&)>& isHosted);

    /** Notes that the parent of a node was told of its end. */
    void noteEnd(const std::string& key)
    {
        known.erase(key);
    }

    /** Forgets what was of no use, so that it is tried again. */
    void beginAnew()
    {
        differing.clear();
    }

  private:
    struct Difference
    {
        uint32_t held = 0;
        uint32_t expected = 0;
        std::size_t times = 0;
    };

    std::vector<std::string> takeGone(const Healths& records);

    std::map<std::string, Difference> differing;
    /** The nodes that had records at the last comparison. */
    std::set<std::string> known;
};

} // namespace healthintf::healthmgr
