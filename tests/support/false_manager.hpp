// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A program in the place of healthmgr that does nothing. */

#include "bus_client.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace healthintf::test
{

/** Owns healthmgr's name, and gives all calls the same answer or none. */
class FalseManager
{
  public:
    /** @param[in] name the D-Bus error of each reply; empty for no reply */
    explicit FalseManager(std::string name = "") : error(std::move(name))
    {
        sd_bus_slot* slot = nullptr;
        EXPECT_GE(sd_bus_add_object(client.get(), &slot,
                                    "/com/vexa/olvar/healthmgr", take, this),
                  0);
        object.reset(slot);
        EXPECT_GE(
            sd_bus_request_name(client.get(), "com.vexa.olvar.healthmgr", 0),
            0);
    }

    /** Waits until somebody has called it. */
    void waitForACall()
    {
        client.waitUntil("call", [this] {
            return called;
        });
        sd_bus_flush(client.get());
    }

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* /*error*/)
    {
        auto* self = static_cast<FalseManager*>(context);
        self->called = true;
        return self->error.empty()
                   ? 1
                   : sd_bus_reply_method_errorf(message, self->error.c_str(),
                                                "%s", "its own words");
    }

    BusClient client;
    std::string error;
    bool called = false;
    std::unique_ptr<sd_bus_slot, Unref> object;
};

} // namespace healthintf::test
