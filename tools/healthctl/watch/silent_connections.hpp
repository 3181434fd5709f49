// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Waits for connections that did not answer. */

#include "../source/health_source.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <set>
#include <string>

namespace healthintf::healthctl
{

/** Asks each connection that did not answer once more and waits for its answer
 *  without end, so that nothing has to ask again and again. */
class SilentConnections
{
  public:
    /** @param[in] bus must outlive this object
     *  @param[in] onAnswer called when one answers or leaves the bus */
    SilentConnections(sd_bus* bus, std::function<void()> onAnswer);
    SilentConnections(const SilentConnections&) = delete;
    SilentConnections& operator=(const SilentConnections&) = delete;

    /** Asks those that are new, and waits no longer for those that are not
     *  among them. */
    void takeOver(const SilentProcesses& silent);

    /** The unique names of those that are waited for. */
    std::set<std::string> names() const;

  private:
    struct Question
    {
        SilentConnections* all = nullptr;
        std::string connection;
        /** Nothing when the bus refused the question. */
        SlotPtr slot;
    };

    static int takeAnswer(sd_bus_message* answer, void* question,
                          sd_bus_error* error);
    void ask(const std::string& connection);

    sd_bus* bus;
    std::function<void()> onAnswer;
    std::map<std::string, Question> questions;
};

} // namespace healthintf::healthctl
