// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks a bus that does not answer, or that is gone. */

#include "error.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

namespace healthintf::healthctl
{

/** Expects that a request fails with ExitCode::unavailable. */
inline void expectUnavailable(const std::function<void()>& request)
{
    try
    {
        request();
        ADD_FAILURE() << "the bus answers";
    }
    catch (const Error& e)
    {
        EXPECT_EQ(e.code(), ExitCode::unavailable);
    }
}

/** Stops a bus and expects that a request fails with ExitCode::unavailable,
 *  sooner than sd-bus gives a call up (25 seconds). */
inline void expectFailsSoonOnHanging(const test::PrivateBus& bus,
                                     const std::function<void()>& request)
{
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    expectUnavailable(request);
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(10));
    bus.thaw();
}

} // namespace healthintf::healthctl
