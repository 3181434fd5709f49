// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A bus for one test. */

#include "process.hpp"
#include "temporary_folder.hpp"

#include <string>

namespace healthintf::test
{

/** The buses that the tests run on. */
enum class BusKind
{
    /** dbus-daemon. */
    daemon,
    /** dbus-broker. */
    broker,
};

/** The bus that the environment variable HEALTHINTF_TEST_BUS names, `daemon` or
 *  `broker`; without it dbus-daemon.
 *
 *  @throws std::runtime_error for another one */
BusKind busKind();

/** A bus's configuration that lets everybody do everything. */
inline constexpr const char* openRules =
    "<policy context=\"default\"><allow own=\"*\"/>"
    "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/></policy>";

/** A bus's configuration that limits the match rules: of each connection, or
 *  where the bus knows no such limit, of all connections of a user together. */
std::string matchRuleLimit(unsigned rules);

/** A bus with the limits of the system bus. While it lives, this process and
 *  the programs that it runs take it for the default bus, and have a data cache
 *  and attributes of their own. */
class PrivateBus
{
  public:
    /** Everybody may do everything. */
    PrivateBus();

    /** @param[in] rules what the bus's configuration says of who may do what,
     *             in its own language */
    explicit PrivateBus(const std::string& rules);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /** Lets the bus start a program for a name, from now on. */
    void activate(const std::string& name, const std::string& program) const;

    /** The folder that goes with the bus. */
    const TemporaryFolder& folder() const
    {
        return temporary;
    }

    /** Ends the bus at once. */
    void kill();

    /** Lets the bus do nothing any more, as if it had got stuck. */
    void freeze() const;

    /** Lets it go on after freeze(). */
    void thaw() const;

  private:
    static Process start(const TemporaryFolder& folder,
                         const std::string& rules);

    void reload() const;

    TemporaryFolder temporary;
    Process daemon;
    std::string address;
    /** The process that passes messages on. */
    pid_t passing = -1;
};

} // namespace healthintf::test
