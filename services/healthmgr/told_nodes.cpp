#include "told_nodes.hpp"

#include <hmi_health_value.hpp>

#include <utility>

namespace healthintf::healthmgr
{

bool ToldNodes::meet(const std::string& sender)
{
    return told.try_emplace(sender).second;
}

void ToldNodes::note(const std::string& sender, const std::string& key,
                     uint32_t health)
{
    Healths& nodes = told[sender];
    if (health == health_namespace::healthNone)
    {
        nodes.erase(key);
    }
    else if (nodes.contains(key) || nodes.size() < most)
    {
        nodes.insert_or_assign(key, health);
    }
}

void ToldNodes::forget(const std::string& key)
{
    for (auto& [sender, nodes] : told)
    {
        nodes.erase(key);
    }
}

ToldNodes::Healths ToldNodes::take(const std::string& sender)
{
    const auto found = told.extract(sender);
    return found ? std::move(found.mapped()) : Healths{};
}

} // namespace healthintf::healthmgr
