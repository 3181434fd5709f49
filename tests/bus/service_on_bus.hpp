// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs a service's parts inside a test. */

#include "common/connection.hpp"
#include "common/event_loop.hpp"
#include "private_bus.hpp"

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** A bus with a service's connection. A process opens one data cache in its
 *  life, so the tests of a program share it. */
struct ServiceOnBus
{
    static ServiceOnBus& instance()
    {
        static ServiceOnBus only;
        return only;
    }

    /** Runs the loop until @p done.
     *
     *  @throws std::runtime_error naming @p what, after a timeout */
    void runUntil(const std::string& what, const std::function<bool()>& done)
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!done())
        {
            const auto left =
                std::chrono::duration_cast<std::chrono::microseconds>(
                    deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0)
            {
                throw std::runtime_error("no " + what);
            }
            sd_event_run(loop.get(), static_cast<uint64_t>(left.count()));
        }
    }

    /** Runs the loop until the bus has delivered everything sent so far. */
    void catchUp()
    {
        bool passed = false;
        connection.afterBus([&] {
            passed = true;
        });
        runUntil("answer of the bus", [&] {
            return passed;
        });
    }

    PrivateBus bus{openRules + matchRuleLimit(512)};
    services::EventLoop loop;
    services::Connection connection{loop};
};

} // namespace healthintf::test
