// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A tree of health whose missing nodes a real healthmgr holds. */

#include "bus_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{

/** A private bus, a client on it, and a healthmgr that a test starts. */
class ManagedTree : public testing::Test
{
  protected:
    /** Starts healthmgr, which ignores lost monitors, and waits until it holds
     *  the root.
     *
     *  @param[in] launcher the arguments that healthmgr's program is started
     *                      with, or none */
    void startManager(const std::vector<std::string>& launcher = {})
    {
        launchManager(launcher);
        client.waitUntil("manager", [&] {
            return managed(root);
        });
    }

    /** Starts healthmgr as startManager() does, without waiting. */
    void launchManager(std::vector<std::string> launcher = {})
    {
        launcher.insert(launcher.end(),
                        {HEALTHMGR, "--config", IGNORE_LOST_MONITORS});
        manager = std::make_unique<Process>(launcher);
    }

    /** Whether healthmgr holds the node of a key. */
    bool managed(const std::string& key) const
    {
        return client.hasNode(service, key);
    }

    const std::string root = "/com/vexa/olvar/health";
    const char* const service = "com.vexa.olvar.healthmgr";
    PrivateBus bus;
    BusClient client;
    std::unique_ptr<Process> manager;
};

} // namespace healthintf::test
