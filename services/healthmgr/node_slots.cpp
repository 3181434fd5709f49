#include "node_slots.hpp"

#include <algorithm>

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
        // Those above one that is known are known, too.
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
           (countOf(asker.user) + count <= bounds.ofOneUser &&
            slots.size() + count <= bounds.nodes);
}

std::size_t NodeSlots::countOf(uint32_t user) const
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
                                         Clock::time_point now)
{
    std::set<std::string> aboveOthers;
    for (const std::string& key : records)
    {
        if (!slots.contains(key))
        {
            insertAncestors(aboveOthers, key);
        }
    }
    std::set<std::string> kept;
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
            slot = Slot();
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
