// SPDX-License-Identifier: Apache-2.0
#include "event_descriptions.hpp"
#include "log_line.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <lmi_sel_fault.hpp>

#include <cstddef>
#include <exception>
#include <optional>
#include <utility>

namespace logmgr_interface
{

using namespace health_namespace;
using namespace health_namespace::details;
namespace names = healthintf::names;

namespace
{

// Offsets of the fields that are read from a record.
constexpr std::size_t sensorTypeOffset =
    offsetof(SELInterface::SELRecord, sensorType);
constexpr std::size_t sensorNumberOffset =
    offsetof(SELInterface::SELRecord, sensorNumber);
constexpr std::size_t directionOffset =
    offsetof(SELInterface::SELRecord, eventDirectionAndType);
constexpr unsigned char deassertion = 0x80;

/** The registry's severity of messages that make no faults. */
constexpr uint32_t informational = 3;

int rejectRecordSize(const char* function, std::size_t size)
{
    HMI_LOG_AS(function, log::error, "%s.%d.%s: Record size not valid %zd",
               size);
    return statusNotRead;
}

/** The function in whose name the steps of reporting an event log. */
constexpr const char* loggedFunction = "findFaultInfoAndAddFault";

/** Fetches the message of an event.
 *
 *  @return 0, or the error number of the event descriptions, which is logged */
int fetchMessage(const CSSDInfoFetcher& descriptions,
                 const std::vector<unsigned char>& record, JnlEntry& entry)
{
    const int status = descriptions.FetchJNLEntryFromSELEvent(record, entry);
    if (status != 0)
    {
        HMI_LOG_AS(loggedFunction, log::error,
                   "%s.%d.%s: Error in Fetching Event Data : %d", status);
    }
    return status;
}

} // namespace

SELAndFault::SELAndFault(FaultAndHealth* component, std::string title) :
    faultAndHealth(component), name(std::move(title))
{}

SELAndFault::~SELAndFault() = default;

void SELAndFault::connectFaultAndHealth(FaultAndHealth* component)
{
    faultAndHealth = component;
}

int SELAndFault::addSEL(SensorInfo& sensor, std::vector<unsigned char>& record)
{
    try
    {
        const uint32_t answer = DataAbstraction::SEL::AddSEL(
            names::logmgrService, names::selPath,
            {sensor.name, sensor.path, sensor.firstByte, sensor.secondByte},
            record, std::nullopt);
        if (answer > DataAbstraction::SEL::largestRecordId)
        {
            HMI_LOG(log::error, "%s.%d.%s: Error returned : %x", answer);
            return statusNotCreated;
        }
        return statusOk;
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: EXCEPTION %s", e.what());
        return statusStoreException;
    }
}

int SELAndFault::addSELAndFault(SensorInfo& sensor,
                                std::vector<unsigned char>& record)
{
    HMI_LOG(log::progress, "%s.%d.%s: Entry");
    if (record.size() != SELInterface::recordSize)
    {
        return rejectRecordSize(__func__, record.size());
    }
    if (const int status = addSEL(sensor, record); status != statusOk)
    {
        HMI_LOG(log::error, "%s.%d.%s: Error in SEL Logging for %s",
                sensor.path.c_str());
        return status;
    }
    if (const int status = findFaultInfoAndAddFault(sensor, record);
        status != statusOk)
    {
        HMI_LOG(log::error, "%s.%d.%s: Error in findFault Logging %s",
                sensor.path.c_str());
        return status;
    }
    HMI_LOG(log::progress, "%s.%d.%s: Exiting from addSELAndFault");
    return statusOk;
}

int SELAndFault::addSELAndFault(SensorInfo& sensor, const SELRecord& record)
{
    const auto* first = reinterpret_cast<const unsigned char*>(&record);
    std::vector<unsigned char> bytes;
    try
    {
        bytes.assign(first, first + sizeof(record));
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: EXCEPTION %s", e.what());
        return statusStoreException;
    }
    return addSELAndFault(sensor, bytes);
}

int SELAndFault::findFaultInfoAndAddFault(SensorInfo& sensor,
                                          std::vector<unsigned char>& record)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    if (record.size() <= directionOffset)
    {
        return rejectRecordSize(__func__, record.size());
    }
    const CSSDInfoFetcher descriptions;
    if (faultAndHealth == nullptr)
    {
        HMI_LOG(log::progress,
                "%s.%d.%s: ERROR: faultAndHealth is not initalized... "
                "returning");
        return statusOk;
    }
    try
    {
        if (const int status = removeOpposite(descriptions, sensor, record);
            status != statusOk)
        {
            return status;
        }
        return addOwn(descriptions, sensor, record);
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: EXCEPTION %s", e.what());
        return statusNotCreated;
    }
}

int SELAndFault::removeOpposite(const CSSDInfoFetcher& descriptions,
                                SensorInfo& sensor,
                                const std::vector<unsigned char>& record)
{
    std::vector<unsigned char> opposite = record;
    opposite[directionOffset] ^= deassertion;
    JnlEntry entry;
    if (const int status = fetchMessage(descriptions, opposite, entry);
        status != 0)
    {
        return status;
    }
    std::vector<std::string> toRemove{entry.messageId()};
    handleSpecialCasesForRemove(entry.messageId(), toRemove);
    for (std::string& messageId : toRemove)
    {
        HMI_LOG_AS(loggedFunction, log::progress,
                   "%s.%d.%s: Remove the assert/deassert fault %s",
                   messageId.c_str());
        const int status = faultAndHealth->removeFault(messageId, sensor.path);
        if (status != statusOk)
        {
            HMI_LOG_AS(loggedFunction, log::error,
                       "%s.%d.%s: Error in Removing Fault : %d", status);
            return status;
        }
    }
    return statusOk;
}

int SELAndFault::addOwn(const CSSDInfoFetcher& descriptions,
                        const SensorInfo& sensor,
                        const std::vector<unsigned char>& record)
{
    JnlEntry entry;
    if (const int status = fetchMessage(descriptions, record, entry);
        status != 0)
    {
        return status;
    }
    LcdEntry lcd;
    if (const int status = descriptions.FetchLCDEntryFromSELEvent(record, lcd);
        status != 0)
    {
        HMI_LOG_AS(loggedFunction, log::error,
                   "%s.%d.%s: Error in Fetching LCD DATA : %d", status);
        return status;
    }
    HMI_LOG_AS(loggedFunction, log::progress,
               "%s.%d.%s: Add new fault entry %s", entry.messageId().c_str());
    if (entry.severity() == informational)
    {
        HMI_LOG_AS(loggedFunction, log::progress,
                   "%s.%d.%s: Skip adding info messages %s",
                   entry.message().c_str());
        return statusOk;
    }
    const int status = faultAndHealth->addFault(
        entry.messageId(), sensor.path, entry.arguments(), entry.description(),
        entry.description(), record[sensorNumberOffset],
        record[sensorTypeOffset], entry.message(), entry.severity(), lcd.text(),
        lcd.ledState());
    if (status != statusOk)
    {
        constexpr int adding = 0;
        HMI_LOG_AS(loggedFunction, log::error,
                   "%s.%d.%s: Error in add/remove(%d) Fault returning failure "
                   ": %d",
                   adding, status);
        return status;
    }
    HMI_LOG_AS(loggedFunction, log::trace, "%s.%d.%s Exit : ");
    return statusOk;
}

void SELAndFault::handleSpecialCasesForRemove(
    const std::string& messageId, std::vector<std::string>& toRemove)
{
    // Each of these two messages clears the faults of the other.
    if (messageId == "SEC0031")
    {
        toRemove.emplace_back("SEC0033");
    }
    else if (messageId == "SEC0033")
    {
        toRemove.emplace_back("SEC0031");
    }
}

} // namespace logmgr_interface
