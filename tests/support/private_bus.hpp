// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A message bus for one test. */

#include "process.hpp"
#include "temporary_folder.hpp"

#include <string>

namespace healthintf::test
{

/** The bus implementations that the tests run on. */
enum class BusKind
{
    /** dbus-daemon. */
    daemon,
    /** dbus-broker. */
    broker,
};

/** The bus that the environment variable HEALTHINTF_TEST_BUS names, `daemon` or
 *  `broker`; dbus-daemon if it is unset.
 *
 *  @throws std::runtime_error for any other value */
BusKind busKind();

/** A bus policy that allows everything to everybody. */
inline constexpr const char* openRules =
    "<policy context=\"default\"><allow own=\"*\"/>"
    "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/></policy>";

/** A bus configuration that limits match rules: for each connection, or for
 *  each user on a bus that has no limit for connections. */
std::string matchRuleLimit(unsigned rules);

/** A bus with the limits of the system bus. Until its end of scope it is the
 *  default bus of this process and its programs, which also use a data cache
 *  and attributes of their own. */
class PrivateBus
{
  public:
    /** A bus that allows everything to everybody. */
    PrivateBus();

    /** @param[in] rules the policy elements of the bus's configuration file */
    explicit PrivateBus(const std::string& rules);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /** Makes a name activatable: the bus starts @p program for it. */
    void activate(const std::string& name, const std::string& program) const;

    /** The folder of the bus's files. */
    const TemporaryFolder& folder() const
    {
        return temporary;
    }

    /** Kills the bus. */
    void kill();

    /** Stops the bus without closing its connections, as if it hung. */
    void freeze() const;

    /** Lets the bus continue after freeze(). */
    void thaw() const;

  private:
    static Process start(const TemporaryFolder& folder,
                         const std::string& rules);

    void reload() const;

    TemporaryFolder temporary;
    Process daemon;
    std::string address;
    /** The process that delivers messages. */
    pid_t passing = -1;
};

} // namespace healthintf::test
