// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Hands nodes over between healthmgr and daemons. */

#include "hosted_nodes.hpp"
#include "missing_nodes.hpp"
#include "record_announcer.hpp"

#include <string>

namespace healthintf::healthmgr
{

/** Decides whether healthmgr or a daemon hosts a node. A daemon takes a node
 *  over by making its own node of the key; healthmgr takes it back when the
 *  daemon's node ends and other nodes are below it. */
class NodeHandover
{
  public:
    /** All arguments must outlive this object. */
    NodeHandover(HostedNodes& nodes, RecordAnnouncer& announcer,
                 MissingNodes& missing);

    /** Hands a node over to the daemon that has a record of its key; does
     *  nothing if there is none. */
    void giveToDaemon(const std::string& key);

    /** Hands over all hosted nodes of whose keys daemons have records. */
    void giveAllToDaemons();

    /** Takes the place of a node that ended, if there are nodes below it: so
     *  the parent does not lose their health. */
    void takeBack(const std::string& key);

  private:
    HostedNodes& nodes;
    RecordAnnouncer& announcer;
    MissingNodes& missing;
};

} // namespace healthintf::healthmgr
