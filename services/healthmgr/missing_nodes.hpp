// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes the nodes that the health tree needs and no daemon hosts. */

#include "../common/event_loop.hpp"
#include "../common/retry.hpp"
#include "hosted_nodes.hpp"

#include <string>

namespace healthintf::healthmgr
{

/** Hosts the root, missing parents, and nodes that have lost their records.
 *  After a failure it tries again by itself. */
class MissingNodes
{
  public:
    /** All arguments must outlive this object. */
    MissingNodes(services::EventLoop& loop, HostedNodes& nodes);

    /** Hosts the missing nodes now, unless there is a pause after a failure. */
    void hostNow();

    /** Hosts the missing nodes soon. */
    void hostSoon();

    /** Hosts the parent of a node soon, if it ended after the node had found
     *  it. */
    void hostParent(const std::string& key);

  private:
    bool hostAll();

    HostedNodes& nodes;
    services::Retry hosting;
};

} // namespace healthintf::healthmgr
