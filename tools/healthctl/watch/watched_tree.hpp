// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The tree as far as a watcher knows it. */

#include <platform/data_abstraction/fault_entry.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** One change of a node or a fault. */
struct Change
{
    enum class Kind
    {
        nodeAdded,
        nodeRemoved,
        health,
        faultAdded,
        faultRemoved,
        faultHidden,
        faultShown,
    };

    Kind kind;
    /** A node's key, or a fault entry's path. */
    std::string path;
    /** Of a node. */
    std::optional<uint32_t> before;
    std::optional<uint32_t> now;
    /** Of a fault. */
    std::optional<FaultEntryProperties> fault;
};

using Changes = std::vector<Change>;

/** Nodes with their health and faults with their properties. Each function
 *  takes what was heard and says what it changes: nothing when it was known
 *  already. */
class WatchedTree
{
  public:
    using Nodes = std::map<std::string, uint32_t>;
    using Faults = std::map<std::string, FaultEntryProperties>;

    Changes setHealth(const std::string& key, uint32_t health);

    Changes addFault(const std::string& path,
                     const FaultEntryProperties& fault);

    Changes removeFault(const std::string& path);

    /** What is heard of a fault that is not known comes before the fault, and
     *  says nothing new. */
    Changes setHidden(const std::string& path, bool hidden);

    /** Takes the records over.
     *
     *  @return first what is gone, then what is new */
    Changes takeOver(const Nodes& nodesThere, const Faults& faultsThere);

    const Nodes& nodes() const
    {
        return knownNodes;
    }
    const Faults& faults() const
    {
        return knownFaults;
    }

  private:
    void removeFaultsBut(const Faults& there, Changes& changes);
    void removeNodesBut(const Nodes& there, Changes& changes);

    Nodes knownNodes;
    Faults knownFaults;
};

} // namespace healthintf::healthctl
