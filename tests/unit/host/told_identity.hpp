// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How a child tells a test which process it is. */

#include "child.hpp"
#include "data_cache/process_identity.hpp"

#include <sstream>
#include <string>

namespace healthintf::test
{

/** Tells the parent in one line which process this is. */
inline void tellIdentity(const Child::Parent& parent)
{
    const auto self = host::ProcessIdentity::self();
    parent.tell(std::to_string(self.pid) + " " +
                std::to_string(self.startTime));
}

/** Waits for a child to tell which process it is. */
inline host::ProcessIdentity hearIdentity(Child& child)
{
    std::istringstream line(child.hear());
    host::ProcessIdentity identity;
    line >> identity.pid >> identity.startTime;
    return identity;
}

} // namespace healthintf::test
