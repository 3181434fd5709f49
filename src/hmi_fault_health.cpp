#include "bus_text.hpp"
#include "entry_name.hpp"
#include "log_line.hpp"
#include "raw_bus.hpp"
#include "wall_clock.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <hmi_utils.hpp>
#include <platform/data_abstraction/healthmgr.hpp>

#include <sdbusplus/exception.hpp>
#include <systemd/sd-bus.h>

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>
#include <variant>

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
        // The constructor is private, which std::make_unique cannot reach.
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
    const int result = bus.getInterface()->sd_bus_add_object_manager(
        rawBus(bus), &slot, names::root);
    if (result < 0)
    {
        throw sdbusplus::exception::SdBusError(-result,
                                               "sd_bus_add_object_manager");
    }
    objectManager.reset(slot);
}

void FaultAndHealth::undoConstruction() noexcept
{
    hideFaultsMatch.reset();
    clearSelMatch.reset();
    UnregisterLCDAttributes();
    healthNode.reset();
    objectManager.reset();
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

int FaultAndHealth::addFault(std::string& msgId, std::string& sensorPath,
                             std::vector<std::string>& args, std::string& fqdd,
                             std::string& subSystem, uint32_t sensorNumber,
                             uint32_t sensorType)
{
    // The most severe messages make faults; larger severities only inform.
    constexpr uint32_t leastSevereFault = 2;

    MessageContent content;
    if (const int status = _GetMessageContent(msgId, args, content);
        status != 0)
    {
        HMI_LOG(log::error,
                "%s.%d.%s: Not able to fetch the Message Contents error : %d",
                status);
        return statusNotRead;
    }
    if (content.severity > leastSevereFault)
    {
        HMI_LOG(log::progress, "%s.%d.%s: %s Severity is %d, so not logging",
                msgId.c_str(), content.severity);
        return statusOk;
    }
    HMI_LOG(log::progress, "%s.%d.%s: Message Content : Severity : %d, %s",
            content.severity, content.text.c_str());
    return addFault(msgId, sensorPath, args, fqdd, subSystem, sensorNumber,
                    sensorType, content.text, content.severity, "", 0);
}

namespace
{

/** @throws std::logic_error when D-Bus does not carry the texts */
void requireBusTexts(const FaultEntry::PropertyMap& properties)
{
    BusTextCheck check(FaultAndHealth::maxFaultText);
    for (const auto& [name, value] : properties)
    {
        if (const auto* text = std::get_if<std::string>(&value))
        {
            check.require(name, *text);
        }
        else if (const auto* texts =
                     std::get_if<std::vector<std::string>>(&value))
        {
            for (const auto& each : *texts)
            {
                check.require(name, each);
            }
        }
    }
}

} // namespace

int FaultAndHealth::addFault(const std::string& msgId,
                             const std::string& sensorPath,
                             const std::vector<std::string>& args,
                             const std::string& fqdd,
                             const std::string& /*subSystem*/,
                             uint32_t sensorNumber, uint32_t sensorType,
                             const std::string& message, uint32_t severity,
                             const std::string& lcdMessage, int32_t ledState)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    std::string path;
    bool listed = false;
    bool updatingHealth = false;
    try
    {
        const uint64_t timestamp = secondsSinceEpoch();
        const uint32_t health =
            HealthStatus::MCATSeverityToHealthStatus(severity);
        // In the order of the names, each after the last.
        FaultEntry::PropertyMap properties;
        const auto put = [&properties](const char* name, auto value) {
            properties.emplace_hint(properties.end(), name, std::move(value));
        };
        put("Args", args);
        put("FQDD", fqdd);
        put("Hidden", false);
        put("LcdMessage", lcdMessage);
        put("LedState", ledState);
        put("Message", message);
        put("MessageID", msgId);
        put("SensorNumber", sensorNumber);
        put("SensorPath", sensorPath);
        put("SensorType", sensorType);
        put("Severity", health);
        put("Timestamp", timestamp);

        path = key + "/entry/";
        path += entryName(static_cast<uint32_t>(getpid()),
                          FaultEntry::GetUniqueFaultNumber(), health);
        HMI_LOG(log::progress, "%s.%d.%s: faultEntryPath %s", path.c_str());
        listFault(path, properties);
        listed = true;
        HMI_LOG(log::progress, "%s.%d.%s: FaultEntry created: %s, severity: %d",
                sensorPath.c_str(), health);
        faultList.back()->faultEntryAdded(fqdd, msgId, message, args, timestamp,
                                          health, sensorPath, sensorNumber,
                                          sensorType);
        if (faultList.size() > maxFaults)
        {
            HMI_LOG(log::progress,
                    "%s.%d.%s: Current Fault Entry Size : %zd, removing "
                    "lowest",
                    faultList.size());
            removeLowestPriorityFaultEntry();
        }
        const uint32_t current = healthNode->healthStatus();
        if (current != health)
        {
            HMI_LOG(log::progress, "%s.%d.%s: Updating health status %d != %d",
                    health, current);
            updatingHealth = true;
            publishHealth();
        }
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        HMI_LOG(log::error, "%s.%d.%s: Error in FaultEntry Creation for %s",
                path.c_str());
        if (listed)
        {
            faultList.remove_if([&path](const auto& entry) {
                return entry->objectPath() == path;
            });
        }
        if (updatingHealth)
        {
            contained(static_cast<const char*>(__func__), [this] {
                return publishHealth();
            });
        }
        return statusNotCreated;
    }
    HMI_LOG(log::trace, "%s.%d.%s Exit : ");
    return statusOk;
}

void FaultAndHealth::listFault(const std::string& path,
                               const FaultEntry::PropertyMap& properties)
{
    requireBusTexts(properties);
    auto entry = std::make_unique<FaultEntry>(bus, path.c_str(), properties);
    entry->emit_added();
    faultList.push_back(std::move(entry));
}

void FaultAndHealth::removeLowestPriorityFaultEntry()
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    if (faultList.size() <= maxFaults)
    {
        HMI_LOG(log::progress, "%s.%d.%s: number of entry is low %zd",
                faultList.size());
        return;
    }
    const auto lessImportant = [](const auto& a, const auto& b) {
        return a->severity() < b->severity() ||
               (a->severity() == b->severity() &&
                a->timestamp() > b->timestamp());
    };
    const auto lowest =
        std::min_element(faultList.begin(), faultList.end(), lessImportant);
    const FaultEntry& entry = **lowest;
    HMI_LOG(log::progress,
            "%s.%d.%s: MSG:%s, sev:%d, timestmap:%ld, sensorpath:%s",
            entry.messageID().c_str(), entry.severity(),
            static_cast<long>(entry.timestamp()), entry.sensorPath().c_str());
    faultList.erase(lowest);
    HMI_LOG(log::trace, "%s.%d.%s Exit : ");
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
        if ((*entry)->messageID() == msgId &&
            (*entry)->sensorPath() == sensorPath)
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
    contained(static_cast<const char*>(__func__), [this] {
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

int FaultAndHealth::contained(const char* function,
                              const std::function<int()>& operation) noexcept
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

} // namespace health_namespace
