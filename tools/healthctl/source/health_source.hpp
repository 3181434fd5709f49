#pragma once

/** @file Where the commands that only look get nodes and faults from. */

#include "../error.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
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
};

/** Nodes by their keys. */
using Nodes = std::map<std::string, Node>;

/** A fault entry as it was read. */
struct Fault
{
    std::string path;
    FaultEntry_gen record;
};

using Faults = std::vector<Fault>;

struct Counts
{
    int visible = 0;
    int hidden = 0;
};

/** For each LED state from 0 to 6 whether a fault asks for it. */
using LedStates = std::array<bool, 7>;

/** What wants to be read. Each answer stands for a moment of its own. Failures
 *  are thrown as Error. */
class HealthSource
{
  public:
    HealthSource() = default;
    HealthSource(const HealthSource&) = delete;
    HealthSource& operator=(const HealthSource&) = delete;
    virtual ~HealthSource() = default;

    /** What it is called in JSON. */
    virtual const char* name() const = 0;

    /** The processes that could not be asked, in words: what they have is
     *  missing in all answers. */
    virtual std::vector<std::string> silent() const
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

/** Which source is wanted. */
enum class SourceChoice
{
    automatic,
    cache,
    bus,
};

/** Opens the data cache, or turns to the bus where this user may not.
 *
 *  @throws Error when nothing runs, or the source that is wanted cannot be
 *          had */
std::unique_ptr<HealthSource> openSource(SourceChoice choice);

/** Opens a source as openSource() does, and says on standard error whose
 *  nodes and faults are missing in it. */
std::unique_ptr<HealthSource> openSourceAndTell(SourceChoice choice);

/** What ends a command that names a component which a source does not have. */
Error noComponentIn(const HealthSource& source, const std::string& written);

/** Sees to it that a component is there: of a name that is misspelt all is
 *  well.
 *
 *  @throws Error when it is not */
void checkComponent(HealthSource& source, const std::string& written);

} // namespace healthintf::healthctl
