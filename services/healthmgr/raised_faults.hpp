// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The faults that operators have raised, which healthmgr holds in their
 *  place. */

#include "../common/event_loop.hpp"
#include "../common/retry.hpp"
#include "hosted_faults.hpp"
#include "hosted_nodes.hpp"
#include "kept_file.hpp"
#include "raised_fault_file.hpp"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

/** The raised faults, on nodes that are hosted here. They are also in a file
 *  that lasts until the next boot, for the next healthmgr. */
class RaisedFaults : public HostedFaults
{
  public:
    /** How many there may be, in all and of one component. The latter leaves
     *  room for a lost monitor: no fault is evicted. */
    static constexpr std::size_t most = 64;
    static constexpr std::size_t mostOfOneComponent = 8;

    /** How many bytes the texts of one fault may have together. */
    static constexpr std::size_t mostText = 4096;

    /** Reads the file that an earlier healthmgr has left; one that cannot be
     *  read is renamed, which is logged.
     *
     *  @param[in] loop ends the faults whose time is up; must outlive this
     *             object, as must the nodes
     *  @param[in] path in a folder that healthmgr may write to; an empty path
     *             for no file */
    RaisedFaults(services::EventLoop& loop, HostedNodes& nodes,
                 std::filesystem::path path);
    ~RaisedFaults() override;

    /** Raises a fault, in place of one with the same message and sensor.
     *
     *  @throws RefusedCall when that is not possible, and nothing has
     *          changed */
    void raise(const std::string& key, const RaisedFault& fault);

    /** Ends the faults of a component, or with an empty key of all.
     *
     *  @param[in] message only those with this message; empty for any
     *  @return how many there were */
    std::size_t clear(const std::string& key, const std::string& message);

    /** Now, by the clock that RaisedFault::end has. */
    static std::chrono::seconds now();

    std::vector<std::string> components() const override;
    bool has(const std::string& key) const override;
    void report(const std::string& key,
                health_namespace::FaultAndHealth& node) override;
    bool giveUp(const std::string& key) override;

  private:
    using Test =
        std::function<bool(const std::string& key, const RaisedFault& fault)>;

    /** What two faults of one component cannot share: message and sensor. */
    using Identity = std::pair<std::string, std::string>;

    static Identity identify(const RaisedFault& fault)
    {
        return {fault.message, fault.sensorPath};
    }

    bool isUnmade(const std::string& key, const RaisedFault& fault) const;
    void forgetUnmade(const std::string& key, const RaisedFault& fault);
    bool makeUnmade();
    void addOrRetry(const std::string& key,
                    health_namespace::FaultAndHealth& node,
                    const RaisedFault& fault);
    RaisedFault* find(const std::string& key, const RaisedFault& like);
    void requireRoom(const std::string& key, const RaisedFault& fault) const;
    bool place(const std::string& key, const RaisedFault& fault);
    std::size_t end(const Test& ends);
    std::size_t endOf(const std::string& key, const Test& ends);
    void endExpired();
    void save();
    void setTimer();

    HostedNodes& nodes;
    KeptFile file;
    RaisedFaultMap faults;
    /** Writes the file, again and again if that fails. */
    services::Retry saving;
    services::EventSource timer;
    /** The faults that their hosted nodes do not have, by component: they could
     *  not be made anew. */
    std::map<std::string, std::set<Identity>> unmade;
    services::Retry making;
};

} // namespace healthintf::healthmgr
