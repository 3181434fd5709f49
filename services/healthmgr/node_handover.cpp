// SPDX-License-Identifier: Apache-2.0
#include "node_handover.hpp"

#include "../common/service_log.hpp"
#include "data_cache/withdrawal.hpp"

namespace healthintf::healthmgr
{

namespace log = services::log;

NodeHandover::NodeHandover(HostedNodes& nodes, RecordAnnouncer& announcer,
                           MissingNodes& missing) :
    nodes(nodes),
    announcer(announcer), missing(missing)
{}

void NodeHandover::giveToDaemon(const std::string& key)
{
    const auto record = host::findHealthRecord(key);
    if (!record || record->owner == host::ProcessIdentity::self())
    {
        return;
    }
    SERVICE_LOG(log::lifetime, "%s.%d.%s: %s is now held by process %d",
                key.c_str(), static_cast<int>(record->owner.pid));
    // Removing the node tells its parent health 0, so the health of the
    // daemon's node is announced again.
    nodes.lend(key);
    announcer.announce({key});
}

void NodeHandover::giveAllToDaemons()
{
    for (const std::string& key : nodes.overtaken())
    {
        giveToDaemon(key);
    }
}

void NodeHandover::takeBack(const std::string& key)
{
    if (hasNodesBelow(key))
    {
        missing.hostNow();
    }
}

} // namespace healthintf::healthmgr
