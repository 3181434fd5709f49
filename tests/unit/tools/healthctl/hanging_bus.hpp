// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks a bus that does not answer. */

#include "error.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

namespace healthintf::healthctl
{

/** Stops a bus and expects that a request fails with ExitCode::unavailable,
 *  sooner than sd-bus gives a call up (25 seconds). */
inline void expectFailsSoonOnHanging(const test::PrivateBus& bus,
                                     const std::function<void()>& request)
{
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    try
    {
        request();
        ADD_FAILURE() << "the bus answers";
    }
    catch (const Error& e)
    {
        EXPECT_EQ(e.code(), ExitCode::unavailable);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(10));
    bus.thaw();
}

} // namespace healthintf::healthctl
