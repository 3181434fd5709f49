// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The sources of nodes and faults. */

#include "../error.hpp"
#include "repeated_reading.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** A health node as it was read. */
struct Node
{
    uint32_t health = 0;
    /** The process that holds it, in words; empty when it is not known. */
    std::string holder;
    /** The unique name of the connection that shows it; empty when it was
     *  read from the data cache. */
    std::string connection = {};
    /** Whether its holder did not answer: this is what it said last. */
    bool silent = false;
};

/** Nodes by their keys. */
using Nodes = std::map<std::string, Node>;

/** What an operator says who sees to a fault. */
struct Acknowledgement
{
    /** Seconds since the epoch. */
    int64_t time = 0;
    /** The operator's user id. */
    uint32_t user = 0;
    std::string comment;
};

/** A fault entry as it was read. */
struct Fault
{
    std::string path;
    FaultEntry_gen record;
    /** As of a node. */
    std::string connection = {};
    /** The numbers of the silences that hide it. */
    std::vector<uint64_t> silences = {};
    std::optional<Acknowledgement> acknowledgement = {};
};

using Faults = std::vector<Fault>;

struct Counts
{
    int visible = 0;
    int hidden = 0;
};

/** Processes that did not answer, in words, by the unique names of their
 *  connections. */
using SilentProcesses = std::map<std::string, std::string>;

/** For each LED state from 0 to 6 whether a fault asks for it. */
using LedStates = std::array<bool, 7>;

/** Reads nodes and faults. What two functions return may be of different
 *  moments. Failures are thrown as Error. */
class HealthSource
{
  public:
    HealthSource() = default;
    HealthSource(const HealthSource&) = delete;
    HealthSource& operator=(const HealthSource&) = delete;
    virtual ~HealthSource() = default;

    /** Its name in JSON. */
    virtual const char* name() const = 0;

    /** The processes that could not be asked: what they have is missing in
     *  all answers. */
    virtual SilentProcesses silent() const
    {
        return {};
    }

    virtual Nodes nodes() = 0;

    /** All fault entries in the order of their paths. */
    virtual Faults faults() = 0;

    virtual Counts counts() = 0;

    virtual LedStates leds() = 0;

    /** The most important visible faults: the most severe first, of those the
     *  oldest.
     *
     *  @param[in] key the component that they are of or below; empty for all
     *  @param[in] n how many at most; 0 for all
     *  @param[in] severeOnly whether only severities above OK count */
    virtual Faults top(const std::string& key, std::size_t n,
                       bool severeOnly) = 0;
};

/** The source to read. */
enum class SourceChoice
{
    automatic,
    cache,
    bus,
};

/** Opens the data cache, or the bus where this user may not read the cache.
 *
 *  @throws Error when nothing runs, or the chosen source is not available */
std::unique_ptr<HealthSource> openSource(SourceChoice choice);

/** Opens a source as openSource() does with SourceChoice::automatic, though
 *  there may be no node.
 *
 *  @throws Error when there is no bus */
std::unique_ptr<HealthSource> openSourceAgain(const RepeatedReading& reading);

/** Opens a source as openSource() does, and warns on standard error of
 *  processes whose nodes and faults are missing. */
std::unique_ptr<HealthSource> openSourceWithWarning(SourceChoice choice);

/** Says that the nodes and faults of some processes are missing.
 *
 *  @param[in] silent one at least */
std::string describeMissing(const SilentProcesses& silent);

/** The error for a source without a node. */
Error noNodesIn(const HealthSource& source);

/** The error for a component that a source does not have. */
Error noComponentIn(const HealthSource& source, const std::string& written);

/** @throws Error when the component does not exist: nothing is found of a
 *          misspelt name, which looks as if all were well */
void checkComponent(HealthSource& source, const std::string& written);

} // namespace healthintf::healthctl
