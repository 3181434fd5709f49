// SPDX-License-Identifier: Apache-2.0
// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "hmi_fault_health"

#include "bus_text.hpp"
#include "entry_name.hpp"
#include "log_line.hpp"
#include "wall_clock.hpp"

#include <hmi_fault_health.hpp>
#include <hmi_utils.hpp>

#include <unistd.h>

#include <exception>
#include <utility>
#include <variant>

namespace health_namespace
{

using namespace details;

int FaultAndHealth::addFault(std::string& msgId, std::string& sensorPath,
                             std::vector<std::string>& args, std::string& fqdd,
                             std::string& subSystem, uint32_t sensorNumber,
                             uint32_t sensorType)
{
    // Severities 1 and 2 make faults; larger numbers only inform.
    constexpr uint32_t leastSevereFault = 2;

    MessageContent content;
    try
    {
        if (const int status = _GetMessageContent(msgId, args, content);
            status != 0)
        {
            HMI_LOG(
                log::error,
                "%s.%d.%s: Not able to fetch the Message Contents error : %d",
                status);
            return statusNotRead;
        }
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
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

/** @throws std::logic_error when D-Bus cannot carry the texts */
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

/** The object path of a component's next entry. */
std::string nextEntryPath(const std::string& key, uint32_t health)
{
    return key + "/entry/" +
           entryName(static_cast<uint32_t>(getpid()),
                     FaultEntry::GetUniqueFaultNumber(), health);
}

/** The properties of a new entry. They are inserted in the order of their
 *  names, each at the end of the map, which needs no search. */
FaultEntry::PropertyMap
entryProperties(const std::string& msgId, const std::string& sensorPath,
                const std::vector<std::string>& args, const std::string& fqdd,
                uint32_t sensorNumber, uint32_t sensorType,
                const std::string& message, uint32_t health, uint64_t timestamp,
                const std::string& lcdMessage, int32_t ledState)
{
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
    return properties;
}

/** The function in whose name the steps of adding a fault log. */
constexpr const char* loggedFunction = "addFault";

} // namespace

/** What an addition has done so far, for rollBack(). */
struct FaultAndHealth::Addition
{
    std::string path;
    /** Whether the fault is in the list. If not, an entry at the path belongs
     *  to an older fault. */
    bool listed = false;
    bool publishingHealth = false;
};

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
    Addition addition;
    try
    {
        const uint64_t timestamp = secondsSinceEpoch();
        const uint32_t health =
            HealthStatus::MCATSeverityToHealthStatus(severity);
        const auto properties = entryProperties(
            msgId, sensorPath, args, fqdd, sensorNumber, sensorType, message,
            health, timestamp, lcdMessage, ledState);
        addition.path = nextEntryPath(key, health);
        listFault(addition, properties);
        HMI_LOG(log::progress, "%s.%d.%s: FaultEntry created: %s, severity: %d",
                sensorPath.c_str(), health);
        faultList.back()->faultEntryAdded(fqdd, msgId, message, args, timestamp,
                                          health, sensorPath, sensorNumber,
                                          sensorType);
        publishAddition(addition, health);
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        HMI_LOG(log::error, "%s.%d.%s: Error in FaultEntry Creation for %s",
                addition.path.c_str());
        rollBack(addition);
        return statusNotCreated;
    }
    HMI_LOG(log::trace, "%s.%d.%s Exit : ");
    return statusOk;
}

void FaultAndHealth::listFault(Addition& addition,
                               const FaultEntry::PropertyMap& properties)
{
    HMI_LOG_AS(loggedFunction, log::progress, "%s.%d.%s: faultEntryPath %s",
               addition.path.c_str());
    requireBusTexts(properties);
    auto entry =
        std::make_unique<FaultEntry>(bus, addition.path.c_str(), properties);
    entry->emit_added();
    faultList.push_back(std::move(entry));
    addition.listed = true;
}

void FaultAndHealth::publishAddition(Addition& addition, uint32_t health)
{
    if (faultList.size() > maxFaults)
    {
        HMI_LOG_AS(loggedFunction, log::progress,
                   "%s.%d.%s: Current Fault Entry Size : %zd, removing lowest",
                   faultList.size());
        removeLowestPriorityFaultEntry();
    }
    const uint32_t current = healthNode->healthStatus();
    if (current != health)
    {
        HMI_LOG_AS(loggedFunction, log::progress,
                   "%s.%d.%s: Updating health status %d != %d", health,
                   current);
        addition.publishingHealth = true;
        publishHealth();
    }
    else
    {
        // A child may be as bad as the fault, and get better before it.
        healthNode->storeOwnHealth(computeHealthStatusFromFaultList());
    }
}

void FaultAndHealth::rollBack(const Addition& addition)
{
    if (addition.listed)
    {
        faultList.remove_if([&addition](const auto& entry) {
            return entry->objectPath() == addition.path;
        });
    }
    if (addition.publishingHealth)
    {
        runAndLogFailure(loggedFunction, [this] {
            return publishHealth();
        });
    }
}

} // namespace health_namespace
