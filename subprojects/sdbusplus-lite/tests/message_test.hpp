// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests that write messages and read them. */

#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/message.hpp>

namespace sdbusplus::test
{

class MessageTest : public testing::Test
{
  protected:
    message_t empty()
    {
        return peers.near.new_signal("/com/example", "com.example", "Told");
    }

    /** A message that holds @p values and is ready to be read. */
    template <typename... Args>
    message_t sealed(const Args&... values)
    {
        message_t m = empty();
        m.append(values...);
        return seal(m);
    }

    static message_t seal(message_t m)
    {
        EXPECT_GE(sd_bus_message_seal(m.get(), 1, 0), 0);
        return m;
    }

  private:
    Peers peers;
};

} // namespace sdbusplus::test
