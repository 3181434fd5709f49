// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A client of the bus that sends what nobody asked for. */

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

/** A message that a program listens to. */
struct KnownMessage
{
    /** SD_BUS_MESSAGE_SIGNAL or SD_BUS_MESSAGE_METHOD_CALL. */
    uint8_t type;
    std::string path;
    const char* interface;
    const char* member;
    const char* signature;
};

/** Has a connection of its own to the default bus. */
class Stranger
{
  public:
    /** @param[in] victim the connection of who is sent to, of this process;
     * must outlive this object
     *  @param[in] work lets the victim take what has arrived */
    Stranger(sdbusplus::bus_t& victim, std::function<void()> work);

    /** Sends one message: a known one as it is known, or with other arguments,
     *  or from another path. What libsystemd refuses to send is left out. */
    void send(const std::vector<KnownMessage>& known, FuzzInput& input);

    /** Sends a signal with a text and an array of bytes. */
    void sendRecord(const KnownMessage& signal, const std::string& text,
                    const std::vector<uint8_t>& record);

    /** Takes a name, by which the victim believes what it is sent. */
    void own(const char* wanted);

    /** Gives a name back once the bus has passed on what was sent under it: who
     *  calls it then gets an error at once. */
    void release(const char* owned);

    /** Lets the victim take all that was sent.
     *
     *  @throws std::runtime_error when it does not answer any more */
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
