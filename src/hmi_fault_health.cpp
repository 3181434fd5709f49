// SPDX-License-Identifier: Apache-2.0
#include "bus_match.hpp"
#include "log_line.hpp"
#include "raw_bus.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <com/vexa/olvar/logmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <platform/data_abstraction/healthmgr.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace health_namespace
{

using namespace details;
namespace names = healthintf::names;

FaultAndHealth* FaultAndHealth::Init(sdbusplus::bus_t& bus,
                                     const std::string& key,
                                     uint32_t baseHealth, bool fromHealthMgr)
{
    return InitInternal(bus, key, baseHealth, fromHealthMgr);
}

FaultAndHealth* FaultAndHealth::InitInternal(sdbusplus::bus_t& bus,
                                             const std::string& key,
                                             uint32_t baseHealth,
                                             bool fromHealthMgr)
{
    try
    {
        const std::string parent = HealthStatus::GetParentKey(key);
        if (!parent.empty() && !HealthStatus::CheckHealthStatusExist(parent))
        {
            HMI_LOG(log::progress,
                    "%s.%d.%s: Parent %s doesn't exist, send request to "
                    "healthmgr",
                    parent.c_str());
            if (fromHealthMgr)
            {
                HMI_LOG(log::progress,
                        "%s.%d.%s: from HealthMgr but parent not "
                        "found.. something wrong");
                throw std::runtime_error(
                    "invalid FaultAndHealth::Init request");
            }
            DataAbstraction::Healthmgr::AddHealthObject(
                names::managerService, names::managerPath, parent);
        }
        // std::make_unique cannot call the private constructor.
        std::unique_ptr<FaultAndHealth> object(
            new FaultAndHealth(bus, key, baseHealth));
        HMI_LOG(log::progress, "%s.%d.%s: FaultAndHealth Created: %s",
                key.c_str());
        return object.release();
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s", e.what());
        return nullptr;
    }
}

FaultAndHealth::FaultAndHealth(sdbusplus::bus_t& connection, std::string at,
                               uint32_t base) :
    bus(connection),
    key(std::move(at)), baseHealth(base)
{
    try
    {
        addObjectManager();
        HMI_LOG(log::lifetime, "%s.%d.%s: FaultAndHealth constructor called");
        healthNode.reset(HealthStatus::Init(bus, key, baseHealth));
        if (!healthNode)
        {
            throw std::runtime_error("Failed to create HealthStatus object");
        }
        sd_bus_set_close_on_exit(rawBus(bus), 0);
        HMI_LOG(log::lifetime,
                "%s.%d.%s: Setting close on event loop exit to false");
        RegisterForLCDAttributes();
        RegisterForClearSELSignal();
        RegisterForHideFaultsSignal();
        HMI_LOG(log::lifetime, "%s.%d.%s: Registering for HideFault done");
    }
    catch (...)
    {
        undoConstruction();
        throw;
    }
}

void FaultAndHealth::addObjectManager()
{
    sd_bus_slot* slot = nullptr;
    requireDone(bus.getInterface()->sd_bus_add_object_manager(
                    rawBus(bus), &slot, names::root),
                "sd_bus_add_object_manager");
    objectManager.reset(slot);
}

void FaultAndHealth::undoConstruction() noexcept
{
    // Everything else is released by the members' destructors.
    UnregisterLCDAttributes();
}

FaultAndHealth::~FaultAndHealth()
{
    HMI_LOG(log::lifetime, "%s.%d.%s: %s destructor called", key.c_str());
    const auto attempt = [](auto&& step) {
        try
        {
            step();
        }
        catch (const std::exception& e)
        {
            HMI_LOG_AS("~FaultAndHealth", log::warning,
                       "%s.%d.%s: Exception: %s", e.what());
        }
    };
    attempt([this] {
        deleteFaultListAll();
    });
    attempt([this] {
        healthNode.reset();
    });
    attempt([this] {
        UnregisterLCDAttributes();
    });
    attempt([this] {
        bus.flush();
    });
}

int FaultAndHealth::removeFault(std::string& msgId, std::string& sensorPath)
{
    if (msgId.empty())
    {
        HMI_LOG(log::error, "%s.%d.%s: invalid msgid");
        return statusInvalidArgument;
    }
    if (sensorPath.empty())
    {
        HMI_LOG(log::error, "%s.%d.%s: invalid sensorPath");
        return statusInvalidArgument;
    }
    HMI_LOG(log::progress, "%s.%d.%s: Remove fault called for %s",
            msgId.c_str());
    for (auto entry = faultList.begin(); entry != faultList.end();)
    {
        if (FaultEntry::messageIDProperty::storedValue(**entry) == msgId &&
            FaultEntry::sensorPathProperty::storedValue(**entry) == sensorPath)
        {
            entry = faultList.erase(entry);
            HMI_LOG(log::progress,
                    "%s.%d.%s: entry found and removed successfully");
        }
        else
        {
            ++entry;
        }
    }
    runAndLogFailure(__func__, [this] {
        return publishHealth();
    });
    HMI_LOG(log::progress, "%s.%d.%s: Remove fault exiting");
    return statusOk;
}

void FaultAndHealth::deleteFaultListAll()
{
    while (!faultList.empty())
    {
        faultList.pop_front();
    }
    publishHealth();
}

uint32_t FaultAndHealth::computeHealthStatusFromFaultList()
{
    uint32_t health = baseHealth;
    for (const auto& entry : faultList)
    {
        if (!entry->hidden())
        {
            health = std::max(health, entry->severity());
        }
    }
    return health;
}

int FaultAndHealth::publishHealth()
{
    return healthNode->updateHealthStatus(computeHealthStatusFromFaultList());
}

int FaultAndHealth::runAndLogFailure(
    const char* function, const std::function<int()>& operation) noexcept
{
    try
    {
        return operation();
    }
    catch (const std::exception& e)
    {
        HMI_LOG_AS(function, log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return static_cast<int>(healthNode->healthStatus());
    }
}

void FaultAndHealth::RegisterForClearSELSignal()
{
    const std::string rule =
        signalRule(names::selPath, names::selInterface, names::selCleared);
    clearSelMatch = makeMatch(bus, rule, HMI_HANDLER("clearSELSignalHandler"),
                              [this](sdbusplus::message_t& message) {
                                  clearSELSignalHandler(message);
                              });
    HMI_LOG(log::progress, "%s.%d.%s: Registered clear SEL  Signal Handler");
    HMI_LOG(log::progress, "%s.%d.%s: %s", rule.c_str());
}

int FaultAndHealth::clearSELSignalHandler(sdbusplus::message_t& /*message*/)
{
    HMI_LOG(log::progress, "%s.%d.%s: clear SEL Signal Received");
    return 0;
}

} // namespace health_namespace
