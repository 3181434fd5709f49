// SPDX-License-Identifier: Apache-2.0
#include "record_holders.hpp"

#include <platform/per_process.hpp>

#include <algorithm>
#include <variant>

namespace healthintf::binding
{
namespace
{

constexpr const char* healthProperty = "HealthStatus";

} // namespace

RecordHolders& RecordHolders::ofThisProcess()
{
    static constinit PerProcess<RecordHolders> all;
    return all.get();
}

int RecordHolders::create(const void* holder, const std::string& path,
                          const HealthStatusPropertyMap& properties)
{
    const auto health = properties.find(healthProperty);
    const std::lock_guard lock(mutex);
    auto& atPath = holders[path];
    try
    {
        const auto* value = health == properties.end()
                                ? nullptr
                                : std::get_if<uint32_t>(&health->second);
        atPath.push_back(
            {.object = holder, .health = value == nullptr ? 0 : *value});
        return datacache_healthstatus_create(path, properties);
    }
    catch (...)
    {
        std::erase_if(atPath, [holder](const Holder& each) {
            return each.object == holder;
        });
        if (atPath.empty())
        {
            holders.erase(path);
        }
        throw;
    }
}

int RecordHolders::setProperty(const void* holder, const std::string& path,
                               const std::string& name,
                               const HealthStatusPropertyVariant& value)
{
    const std::lock_guard lock(mutex);
    const auto found = holders.find(path);
    if (found == holders.end())
    {
        return datacache_healthstatus_set_property(path, name, value);
    }
    if (found->second.back().object == holder)
    {
        const int result =
            datacache_healthstatus_set_property(path, name, value);
        if (result != 0)
        {
            return result;
        }
    }
    const auto own = std::ranges::find(found->second, holder, &Holder::object);
    const auto* health = std::get_if<uint32_t>(&value);
    if (own != found->second.end() && name == healthProperty &&
        health != nullptr)
    {
        own->health = *health;
    }
    return 0;
}

int RecordHolders::remove(const void* holder, const std::string& path)
{
    const std::lock_guard lock(mutex);
    const auto found = holders.find(path);
    if (found == holders.end())
    {
        return datacache_healthstatus_remove(path);
    }
    auto& atPath = found->second;
    const bool wasYoungest = atPath.back().object == holder;
    std::erase_if(atPath, [holder](const Holder& each) {
        return each.object == holder;
    });
    if (atPath.empty())
    {
        holders.erase(found);
        return datacache_healthstatus_remove(path);
    }
    return wasYoungest ? datacache_healthstatus_set_property(
                             path, healthProperty, atPath.back().health)
                       : 0;
}

uint32_t RecordHolders::healthWithout(const void* holder,
                                      const std::string& path)
{
    const std::lock_guard lock(mutex);
    const auto found = holders.find(path);
    if (found == holders.end())
    {
        return 0;
    }
    const auto& atPath = found->second;
    const auto other = std::find_if(atPath.rbegin(), atPath.rend(),
                                    [holder](const Holder& each) {
                                        return each.object != holder;
                                    });
    return other == atPath.rend() ? 0 : other->health;
}

} // namespace healthintf::binding
