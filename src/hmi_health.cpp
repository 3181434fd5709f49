// SPDX-License-Identifier: Apache-2.0
#include "bus_match.hpp"
#include "log_line.hpp"
#include "owner_callback.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health.hpp>

#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <exception>
#include <map>

namespace health_namespace
{

using namespace details;

HealthStatus* HealthStatus::Init(sdbusplus::bus_t& bus, std::string& key,
                                 unsigned int initialHealth)
{
    HMI_LOG(log::progress, "%s.%d.%s: Initalizing %d for %s key", initialHealth,
            key.c_str());
    try
    {
        // A node that is on the bus stays there even when its subscription
        // fails, because children may have found it already.
        auto* node =
            new HealthStatus(bus, key, {{"HealthStatus", initialHealth}});
        HMI_LOG(log::progress, "%s.%d.%s: Register %s for internal callback",
                key.c_str());
        node->RegisterHealthStatusCallback(bus);
        node->GetImmediateChildsAndUpdate();
        return node;
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return nullptr;
    }
}

HealthStatus::HealthStatus(sdbusplus::bus_t& bus, const std::string& key,
                           const PropertyMap& properties) :
    sdbusplus::server::com::vexa::olvar::healthmgr::HealthStatus(
        bus, key.c_str(), properties),
    key(key)
{
    HMI_LOG(log::progress, "%s.%d.%s: constructor %s", key.c_str());
    // Not GetParentKey(), which has no parent for the root: the root reports to
    // the key above it, where no node listens.
    parentKey = key.substr(0, key.rfind('/'));
    if (key.find('/') == std::string::npos)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s Error Parent path not found ",
                key.c_str());
    }
    if (const uint32_t health = healthStatus(); health != 0)
    {
        childMap.emplace(key, health);
    }
}

HealthStatus::~HealthStatus()
{
    HMI_LOG(log::progress, "%s.%d.%s: destructor %s", key.c_str());
    DestructionWatch::markDestroyed(this);
    try
    {
        // If this process has another node of the key, on another connection,
        // the parent gets that node's health; otherwise 0.
        healthStatusUpdate(parentKey, key, healthWithoutThis());
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::warning, "%s.%d.%s: %s", e.what());
    }
}

std::string HealthStatus::GetParentKey(const std::string& key)
{
    if (key == healthintf::names::root)
    {
        return {};
    }
    const std::size_t slash = key.rfind('/');
    if (slash == std::string::npos)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s Error Parent path not found ",
                key.c_str());
        return {};
    }
    return key.substr(0, slash);
}

void HealthStatus::print()
{
    HMI_LOG(log::progress, "%s.%d.%s: HealthStatus of parent %s is %d",
            key.c_str(), healthStatus());
    for (const auto& [child, health] : childMap)
    {
        HMI_LOG(log::progress, "%s.%d.%s: HealthStatus of child %s is %d",
                child.c_str(), health);
    }
    HMI_LOG(log::progress, "%s.%d.%s: Done\n");
}

int HealthStatus::updateHealthStatus(unsigned int status)
{
    HMI_LOG(log::progress, "%s.%d.%s: key:%s, status:%d", key.c_str(), status);
    if (status == 0)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Status Good, so remove %s\n",
                key.c_str());
    }
    else
    {
        HMI_LOG(log::progress, "%s.%d.%s: insert_or_assign %s to map\n",
                key.c_str());
    }
    storeOwnHealth(status);
    return static_cast<int>(recalculateHealth(false));
}

void HealthStatus::storeOwnHealth(unsigned int status)
{
    if (status == 0)
    {
        childMap.erase(key);
    }
    else
    {
        childMap.insert_or_assign(key, status);
    }
}

unsigned int HealthStatus::findWorstChild() const
{
    uint32_t worst = 0;
    for (const auto& [child, health] : childMap)
    {
        HMI_LOG_AS("recalculateHealth", log::progress,
                   "%s.%d.%s: Key:%s status:%d health:%d", child.c_str(),
                   health, worst);
        worst = std::max(worst, health);
    }
    return worst;
}

unsigned int HealthStatus::recalculateHealth(bool force)
{
    HMI_LOG(log::progress, "%s.%d.%s: childMap size:%zd", childMap.size());
    unsigned int health = 0;
    if (healthCalculator)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Registerd callback called for "
                               "calculating health");
        const DestructionWatch node(this);
        health = callOwnerCallback(healthCalculator, key, childMap);
        if (node.isDestroyed())
        {
            return health;
        }
    }
    else
    {
        health = findWorstChild();
    }
    HMI_LOG(log::progress, "%s.%d.%s: Recalculated health : %d, oldHealth:%d\n",
            health, healthStatus());
    if (!force && health == healthStatus())
    {
        return health;
    }
    updateHealthStatusAndSendSignalInternal(health);
    if (healthChangedCallback)
    {
        // The callback may destroy this node: nothing of it is used afterwards.
        callOwnerCallback(healthChangedCallback, healthStatus());
    }
    return health;
}

void HealthStatus::updateHealthStatusAndSendSignalInternal(unsigned int health)
{
    healthStatus(health);
    HMI_LOG(log::progress, "%s.%d.%s: Send signal for %s with health %d\n",
            key.c_str(), healthStatus());
    healthStatusUpdate(parentKey, key, healthStatus());
    HMI_LOG(log::progress, "%s.%d.%s: Parent : %s", parentKey.c_str());
}

void HealthStatus::RegisterHealthStatusCallback(sdbusplus::bus_t& bus)
{
    const std::string rule = std::string("type='signal',"
                                         "interface='") +
                             interface + "',member='" +
                             HealthStatusUpdate::name + "',arg0='" + key + "'";
    healthMatch =
        makeMatch(bus, rule, HMI_HANDLER("healthStatusCallbackHandler"),
                  [this](sdbusplus::message_t& message) {
                      healthStatusCallbackHandler(message);
                  });
    HMI_LOG(log::progress, "%s.%d.%s: Registered the health status call back");
    HMI_LOG(log::progress, "%s.%d.%s: %s", rule.c_str());
}

int HealthStatus::healthStatusCallbackHandler(sdbusplus::message_t& message)
{
    HMI_LOG(log::progress, "%s.%d.%s: Health Status Update ");
    std::string parent;
    std::string child;
    uint32_t health = 0;
    message.read(parent, child, health);
    HMI_LOG(log::progress, "%s.%d.%s: %d received for %s", health,
            child.c_str());
    if (parent == key)
    {
        healthStatusInternalCallbackHandler(child, health);
    }
    else
    {
        HMI_LOG(log::progress, "%s.%d.%s: Parent %s is not my key %s",
                parent.c_str(), key.c_str());
    }
    return 0;
}

int HealthStatus::healthStatusInternalCallbackHandler(std::string& childKey,
                                                      unsigned int health)
{
    if (childKey.empty())
    {
        // healthmgr found no record of this node and asks for it again.
        recalculateHealth(true);
        return 0;
    }
    if (health != 0)
    {
        childMap.insert_or_assign(childKey, health);
    }
    else
    {
        childMap.erase(childKey);
    }
    recalculateHealth(false);
    return 0;
}

int HealthStatus::GetImmediateChildsAndUpdate()
{
    std::vector<Record> records;
    const int result = GetImmediateChildHealthStatus(key, records);
    if (result == 0)
    {
        for (const auto& [path, record] : records)
        {
            if (path != key)
            {
                childMap.insert_or_assign(path, record.healthStatus());
            }
        }
        recalculateHealth(true);
    }
    return result;
}

namespace
{

void logReadFailure(const char* function, long result)
{
    HMI_LOG_AS(function, log::warning,
               "%s.%d.%s: Error in fetching from data cache %ld", result);
}

/** Reads health records; a failure is logged in the name of @p function. */
long readRecords(const char* function, const std::vector<std::string>& prefixes,
                 std::map<std::string, HealthStatus_gen>& records)
{
    const long result = DataAbstraction::HealthStatus::get_map_by_path_prefixes(
        {}, prefixes, records);
    if (result != DataAbstraction::readOk)
    {
        logReadFailure(function, result);
    }
    return result;
}

/** Whether there is a record at @p path; a failure is logged in the name of
 *  @p function. */
bool isRecorded(const char* function, const std::string& path)
{
    if (datacache_healthstatus_exists == nullptr)
    {
        std::map<std::string, HealthStatus_gen> found;
        return readRecords(function, {path}, found) ==
                   DataAbstraction::readOk &&
               found.contains(path);
    }
    bool exists = false;
    const long result = datacache_healthstatus_exists(path, exists);
    if (result != DataAbstraction::readOk)
    {
        logReadFailure(function, result);
    }
    return result == DataAbstraction::readOk && exists;
}

/** Whether @p path, which begins with @p key, has no slash behind the character
 *  that follows the key. That character need not be a slash: "/health/ab"
 *  counts as a child of "/health/a". */
bool isImmediateChild(const std::string& key, const std::string& path)
{
    return path.find('/', key.size() + 1) == std::string::npos;
}

} // namespace

int HealthStatus::GetImmediateChildHealthStatus(const std::string& key,
                                                std::vector<Record>& records)
{
    HMI_LOG(log::progress, "%s.%d.%s: Entry path:%s", key.c_str());
    std::map<std::string, HealthStatus_gen> found;
    if (const long result = readRecords(__func__, {key}, found);
        result != DataAbstraction::readOk)
    {
        return static_cast<int>(result);
    }
    if (found.empty())
    {
        HMI_LOG(log::progress,
                "%s.%d.%s: No entries available, returning success");
    }
    for (const auto& [path, record] : found)
    {
        if (path.size() < key.size())
        {
            continue;
        }
        if (path == key)
        {
            HMI_LOG(log::progress, "%s.%d.%s: inserting same : %s",
                    path.c_str());
            records.emplace_back(path, record);
        }
        else if (isImmediateChild(key, path))
        {
            HMI_LOG(log::progress, "%s.%d.%s: Child Found : %s", path.c_str());
            records.emplace_back(path, record);
        }
    }
    return 0;
}

bool HealthStatus::CheckHealthStatusExist(const std::string& path)
{
    HMI_LOG(log::progress, "%s.%d.%s: Entry path:%s", path.c_str());
    if (path == healthintf::names::aboveRoot)
    {
        return true;
    }
    return isRecorded(__func__, path);
}

void HealthStatus::GetMissingParents(std::vector<std::string>& parents)
{
    parents.clear();
    std::map<std::string, HealthStatus_gen> found;
    if (readRecords(__func__, {}, found) != DataAbstraction::readOk)
    {
        return;
    }
    for (const auto& [path, record] : found)
    {
        std::string parent = GetParentKey(path);
        if (parent.empty() || parent == healthintf::names::root ||
            found.contains(parent))
        {
            continue;
        }
        HMI_LOG(log::lifetime, "%s.%d.%s: Pushing %s to output",
                parent.c_str());
        parents.push_back(std::move(parent));
    }
}

} // namespace health_namespace
