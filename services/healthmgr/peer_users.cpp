// SPDX-License-Identifier: Apache-2.0
#include "peer_users.hpp"

#include <utility>

namespace healthintf::healthmgr
{

bool PeerUsers::find(const std::string& peer, Found found)
{
    if (const auto known = users.find(peer); known != users.end())
    {
        found(known->second);
        return true;
    }
    std::vector<Found>& others = waiting[peer];
    if (others.size() >= mostWaiting)
    {
        return false;
    }
    others.push_back(std::move(found));
    if (others.size() == 1)
    {
        connection.findUser(
            peer, lifetime.guard([this, peer](std::optional<uint32_t> user) {
                take(peer, user);
            }));
    }
    return true;
}

void PeerUsers::forget(const std::string& peer)
{
    users.erase(peer);
}

/** Handles the bus's reply, which comes before the bus announces that the
 *  connection is gone. */
void PeerUsers::take(const std::string& peer, std::optional<uint32_t> user)
{
    if (user)
    {
        users.insert_or_assign(peer, *user);
    }
    const auto others = waiting.extract(peer);
    for (const Found& found : others.mapped())
    {
        found(user);
    }
}

} // namespace healthintf::healthmgr
