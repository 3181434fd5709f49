#pragma once

/** @file Sends notifications. */

#include "../bus_handles.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::host
{

/** The calling thread's way to the bus, its default connection, for as long as
 *  the object lives. */
class Announcer
{
  public:
    /** @throws std::system_error when the bus cannot be reached */
    Announcer();

    /** Sends a notification and waits until the bus has passed it on: whatever
     *  anybody sends afterwards comes after it everywhere.
     *
     *  @param[in] name UTF-8
     *  @throws std::system_error when that is not so after 5 seconds */
    void announce(const std::string& name,
                  const std::vector<uint8_t>& record) const;

  private:
    BusPtr bus;
};

} // namespace healthintf::host
