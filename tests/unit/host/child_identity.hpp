// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A child process reports its identity to the test. */

#include "child.hpp"
#include "data_cache/process_identity.hpp"

#include <sstream>
#include <string>

namespace healthintf::test
{

/** Sends this process's identity to the parent as one line. */
inline void sendIdentity(const Child::Parent& parent)
{
    const auto self = host::ProcessIdentity::self();
    parent.tell(std::to_string(self.pid) + " " +
                std::to_string(self.startTime));
}

/** Waits for the identity that a child reports. */
inline host::ProcessIdentity receiveIdentity(Child& child)
{
    std::istringstream line(child.hear());
    host::ProcessIdentity identity;
    line >> identity.pid >> identity.startTime;
    return identity;
}

} // namespace healthintf::test
