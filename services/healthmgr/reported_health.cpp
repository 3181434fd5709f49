// SPDX-License-Identifier: Apache-2.0
#include "reported_health.hpp"

#include <hmi_health_value.hpp>

#include <utility>

namespace healthintf::healthmgr
{
namespace
{

std::size_t getSize(const std::string& key)
{
    return key.size() + ReportedHealth::overhead;
}

} // namespace

bool ReportedHealth::meet(const std::string& sender)
{
    return peers.try_emplace(sender).second;
}

ReportedHealth::Healths ReportedHealth::setUser(const std::string& sender,
                                                uint32_t user)
{
    const auto found = peers.find(sender);
    if (found == peers.end())
    {
        return {};
    }
    Peer& peer = found->second;
    const std::size_t size = peer.size;
    shrink(peer, size);
    peer.user = user;
    peer.size = size;
    users[peer.user] += size;
    return users[peer.user] > bounds.user ? empty(peer) : Healths{};
}

bool ReportedHealth::note(const std::string& sender, const std::string& key,
                          uint32_t health)
{
    Peer& peer = peers[sender];
    if (health == health_namespace::healthNone)
    {
        if (peer.nodes.erase(key) != 0)
        {
            shrink(peer, getSize(key));
        }
        if (peer.ended.contains(key))
        {
            return true;
        }
        if (!grow(peer, key))
        {
            return false;
        }
        peer.ended.insert(key);
        return true;
    }
    if (!peer.nodes.contains(key) && !grow(peer, key))
    {
        return false;
    }
    peer.nodes.insert_or_assign(key, health);
    return true;
}

bool ReportedHealth::beginQuestion(const std::string& sender)
{
    const auto found = peers.find(sender);
    if (found == peers.end() || found->second.questioned ||
        found->second.ended.empty())
    {
        return false;
    }
    found->second.asked = std::exchange(found->second.ended, {});
    found->second.questioned = true;
    return true;
}

std::vector<std::string> ReportedHealth::endQuestion(const std::string& sender)
{
    const auto found = peers.find(sender);
    if (found == peers.end())
    {
        return {};
    }
    Peer& peer = found->second;
    peer.questioned = false;
    for (const std::string& key : peer.asked)
    {
        shrink(peer, getSize(key));
    }
    const auto asked = std::exchange(peer.asked, {});
    return {asked.begin(), asked.end()};
}

void ReportedHealth::forget(const std::string& key)
{
    for (auto& [sender, peer] : peers)
    {
        if (peer.nodes.erase(key) != 0)
        {
            shrink(peer, getSize(key));
        }
    }
}

std::set<std::string> ReportedHealth::findUnrecorded(
    const std::function<bool(const std::string& key)>& isRecorded) const
{
    std::set<std::string> unrecorded;
    for (const auto& [sender, peer] : peers)
    {
        for (const auto& [key, health] : peer.nodes)
        {
            if (!isRecorded(key))
            {
                unrecorded.insert(key);
            }
        }
    }
    return unrecorded;
}

ReportedHealth::Healths
ReportedHealth::differingFrom(const Healths& known) const
{
    Healths differing;
    for (const auto& [sender, peer] : peers)
    {
        for (const auto& [key, health] : peer.nodes)
        {
            const auto found = known.find(key);
            if (found != known.end() && found->second != health)
            {
                differing.insert_or_assign(key, health);
            }
        }
    }
    return differing;
}

ReportedHealth::Healths ReportedHealth::take(const std::string& sender)
{
    const auto found = peers.find(sender);
    if (found == peers.end())
    {
        return {};
    }
    Healths reported = empty(found->second);
    peers.erase(found);
    return reported;
}

/** Counts a key towards the bounds, if they allow it. */
bool ReportedHealth::grow(Peer& peer, const std::string& key)
{
    const std::size_t size = getSize(key);
    const auto user = users.find(peer.user);
    const std::size_t ofUser = user == users.end() ? 0 : user->second;
    if (peer.size + size > bounds.connection || ofUser + size > bounds.user)
    {
        return false;
    }
    peer.size += size;
    users[peer.user] += size;
    return true;
}

void ReportedHealth::shrink(Peer& peer, std::size_t size)
{
    peer.size -= size;
    const auto user = users.find(peer.user);
    if (user != users.end() && (user->second -= size) == 0)
    {
        users.erase(user);
    }
}

/** Removes and returns what a connection reported; the connection stays. */
ReportedHealth::Healths ReportedHealth::empty(Peer& peer)
{
    Healths reported = std::exchange(peer.nodes, {});
    for (const auto* keys : {&peer.ended, &peer.asked})
    {
        for (const std::string& key : *keys)
        {
            reported.emplace(key, health_namespace::healthNone);
        }
    }
    peer.ended.clear();
    peer.asked.clear();
    shrink(peer, peer.size);
    return reported;
}

} // namespace healthintf::healthmgr
