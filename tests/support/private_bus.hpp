#pragma once

/** @file A bus daemon for one test. */

#include "process.hpp"
#include "temporary_folder.hpp"

#include <string>

namespace healthintf::test
{

/** A dbus-daemon with the limits of the system bus. While it lives, this
 *  process and the programs that it runs take it for the default bus, and have
 *  a data cache and attributes of their own. */
class PrivateBus
{
  public:
    /** Everybody may do everything. */
    PrivateBus();

    /** @param[in] rules what the bus's configuration says of who may do what,
     *             in its own language */
    explicit PrivateBus(const std::string& rules);

    /** Lets the bus start a program for a name. */
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

  private:
    static Process start(const TemporaryFolder& folder,
                         const std::string& rules);

    TemporaryFolder temporary;
    Process daemon;
};

} // namespace healthintf::test
