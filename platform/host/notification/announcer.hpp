// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Sends notifications. */

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Sends a notification on the calling thread's default connection. The
 *  connection must own healthmgr's name: receivers ignore other senders.
 *  Receivers get it before anything that is sent on this connection later.
 *
 *  @param[in] name UTF-8
 *  @throws std::system_error when it cannot be sent */
void announce(const std::string& name, const std::vector<uint8_t>& record);

} // namespace healthintf::host
