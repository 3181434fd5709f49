// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The tree as far as a watcher knows it. */

#include "../model/silence.hpp"
#include "../source/health_source.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** One change of a node, a fault, or a process, or of what operators have noted
 *  of faults. */
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
        /** A process does not answer: what is known of its nodes and faults is
         *  what it said last. */
        processSilent,
        /** It answers again, or has left the bus. */
        processSilentEnded,
        /** An operator sees to a fault, or does so no longer. */
        acknowledged,
        withdrawn,
        silenced,
        silenceEnded,
    };

    Kind kind;
    /** A node's key, a fault entry's path, or a process in words; empty for a
     *  silence. */
    std::string path;
    /** Of a node. */
    std::optional<uint32_t> before;
    std::optional<uint32_t> now;
    /** Of a fault. */
    std::optional<FaultEntryProperties> fault;
    /** The keys of the nodes of a process, or of the components of which a
     *  silence names faults. */
    std::vector<std::string> components = {};
    std::optional<Silence> silence = {};
    std::optional<Acknowledgement> acknowledgement = {};
    /** The user id of who ended a silence, or took an acknowledgement back. */
    std::optional<uint32_t> endedBy = {};
};

using Changes = std::vector<Change>;

/** A fault entry as it was read or heard of. */
struct WatchedFault
{
    FaultEntryProperties properties;
    /** The unique name of the connection that shows it; empty when it was read
     *  from the data cache. */
    std::string connection = {};
};

/** Nodes and faults. Each function
 *  takes what was heard and says what it changes: nothing when it was known
 *  already. */
class WatchedTree
{
  public:
    using Faults = std::map<std::string, WatchedFault>;

    /** A node that is not known is not added: a signal may be made up. */
    Changes setHealth(const std::string& key, uint32_t health);

    Changes addNode(const std::string& key, const Node& node);

    Changes addFault(const std::string& path, const WatchedFault& fault);

    Changes removeFault(const std::string& path);

    /** What is heard of a fault that is not known comes before the fault, and
     *  says nothing new. */
    Changes setHidden(const std::string& path, bool hidden);

    /** Takes over what was read. What silent processes hold stays as it is.
     *
     *  @return first what is gone, then what is new */
    Changes takeOver(const Nodes& nodesThere, const Faults& faultsThere,
                     const SilentProcesses& silentThere = {});

    const Nodes& nodes() const
    {
        return knownNodes;
    }
    const Faults& faults() const
    {
        return knownFaults;
    }
    const SilentProcesses& silent() const
    {
        return knownSilent;
    }

    /** The silent processes as changes. */
    Changes silence() const;

  private:
    Changes endSilence(const SilentProcesses& there) const;
    Changes beginSilence(const SilentProcesses& there);
    std::vector<std::string> listKeys(const std::string& connection) const;
    void removeFaultsBut(const Faults& there,
                         const SilentProcesses& silentThere, Changes& changes);
    void removeNodesBut(const Nodes& there, const SilentProcesses& silentThere,
                        Changes& changes);

    Nodes knownNodes;
    Faults knownFaults;
    SilentProcesses knownSilent;
};

} // namespace healthintf::healthctl
