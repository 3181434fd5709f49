// SPDX-License-Identifier: Apache-2.0
#include "node_slots.hpp"

#include <algorithm>
#include <utility>

namespace healthintf::healthmgr
{
namespace
{

/** Adds the paths above a key. */
void insertAncestors(std::set<std::string>& paths, std::string key)
{
    for (std::size_t slash = key.rfind('/'); slash != std::string::npos;
         slash = key.rfind('/'))
    {
        key.erase(slash);
        // The paths above this one are in the set already.
        if (!paths.insert(key).second)
        {
            return;
        }
    }
}

} // namespace

bool NodeSlots::hasRoom(const Asker& asker, std::size_t count) const
{
    constexpr uint32_t rootUser = 0;
    return asker.user == rootUser || asker.user == self ||
           (countSlots(asker.user) + count <= bounds.ofOneUser &&
            slots.size() + count <= bounds.nodes);
}

std::size_t NodeSlots::countSlots(uint32_t user) const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(slots, [user](const auto& slot) {
            return slot.second.user == user;
        }));
}

void NodeSlots::add(const std::string& key, const std::optional<Asker>& asker)
{
    Slot slot;
    if (asker)
    {
        slot.user = asker->user;
        slot.asker = asker->name;
    }
    slots.insert_or_assign(key, std::move(slot));
}

void NodeSlots::remove(const std::string& key)
{
    slots.erase(key);
}

void NodeSlots::lend(const std::string& key)
{
    if (const auto found = slots.find(key); found != slots.end())
    {
        found->second.lent = true;
    }
}

bool NodeSlots::takeBack(const std::string& key)
{
    const auto found = slots.find(key);
    return found != slots.end() && std::exchange(found->second.lent, false);
}

bool NodeSlots::hasAsker(const std::string& key) const
{
    const auto found = slots.find(key);
    return found != slots.end() && !found->second.asker.empty();
}

std::vector<std::string> NodeSlots::lent() const
{
    std::vector<std::string> keys;
    for (const auto& [key, slot] : slots)
    {
        if (slot.lent)
        {
            keys.push_back(key);
        }
    }
    return keys;
}

void NodeSlots::forget(const std::string& name)
{
    for (auto& [key, slot] : slots)
    {
        if (slot.asker == name)
        {
            slot.asker.clear();
        }
    }
}

std::vector<std::string> NodeSlots::idle(const std::set<std::string>& records,
                                         const std::set<std::string>& needed,
                                         Clock::time_point now)
{
    std::set<std::string> aboveOthers;
    for (const std::string& key : records)
    {
        const auto slot = slots.find(key);
        if (slot == slots.end() || slot->second.lent)
        {
            insertAncestors(aboveOthers, key);
        }
    }
    std::set<std::string> kept = needed;
    for (const std::string& key : needed)
    {
        insertAncestors(kept, key);
    }
    for (const auto& [key, slot] : slots)
    {
        if (!slot.asker.empty())
        {
            kept.insert(key);
            insertAncestors(kept, key);
        }
    }
    std::vector<std::string> going;
    for (auto& [key, slot] : slots)
    {
        if (aboveOthers.contains(key))
        {
            slot = Slot{
                .user = {}, .asker = {}, .idleSince = {}, .lent = slot.lent};
        }
        else if (kept.contains(key))
        {
            slot.idleSince.reset();
        }
        else if (!slot.idleSince)
        {
            slot.idleSince = now;
        }
        else if (now - *slot.idleSince >= bounds.idle)
        {
            going.push_back(key);
        }
    }
    return going;
}

} // namespace healthintf::healthmgr
