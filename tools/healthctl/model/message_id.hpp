// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Compares identifiers of messages. */

#include <string_view>

namespace healthintf::healthctl
{

/** Whether two identifiers name one message. Each may leave out its registry,
 *  and numbers of the registry's version at their end: "FilesystemFull" is the
 *  same as "HostMonitor.1.0.FilesystemFull". What both have must be the same,
 *  to the letter. */
bool isSameMessage(std::string_view one, std::string_view other);

} // namespace healthintf::healthctl
