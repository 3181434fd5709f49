#pragma once

/** @file Sends notifications. */

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Sends a notification on the calling thread's default connection, which owns
 *  the health manager's name: receivers hear nobody else. Whatever is sent on
 *  this connection afterwards comes after it everywhere.
 *
 *  @param[in] name UTF-8
 *  @throws std::system_error when it cannot be sent */
void announce(const std::string& name, const std::vector<uint8_t>& record);

} // namespace healthintf::host
