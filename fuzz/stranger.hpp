// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A client of the bus that sends any messages. */

#include "direct_connection.hpp"
#include "fuzz_input.hpp"

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{

/** A message that the fuzzed program handles. */
struct KnownMessage
{
    /** SD_BUS_MESSAGE_SIGNAL or SD_BUS_MESSAGE_METHOD_CALL. */
    uint8_t type;
    std::string path;
    const char* interface;
    const char* member;
    const char* signature;
};

/** A client with its own connection to the default bus. */
class Stranger
{
  public:
    /** @param[in] victim the fuzzed program's connection, in this process; must
     *             outlive this object
     *  @param[in] work makes the victim process what has arrived */
    Stranger(sdbusplus::bus_t& victim, std::function<void()> work);

    /** Sends one message: a known one, or one with other arguments or another
     *  path. Skips messages that libsystemd refuses to send. */
    void send(const std::vector<KnownMessage>& known, FuzzInput& input);

    /** Sends a signal whose arguments are a text and a record. */
    void sendRecord(const KnownMessage& signal, const std::string& text,
                    const std::vector<uint8_t>& record);

    /** Takes a bus name whose owner the victim trusts. */
    void own(const char* wanted);

    /** Releases a bus name once the bus has delivered what was sent under it:
     *  later calls to the name get an error at once. */
    void release(const char* owned);

    /** Makes the victim process everything that was sent.
     *
     *  @throws std::runtime_error when it stops answering */
    void settle();

  private:
    void take() const;
    void wait() const;

    std::unique_ptr<sd_bus, Unref> bus;
    sdbusplus::bus_t& victim;
    std::string name;
    std::function<void()> work;
};

} // namespace healthintf::test
