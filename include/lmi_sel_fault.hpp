// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Events of the System Event Log (SEL) that are faults at the same time:
 *  storing and reporting them, reading the log, and subscribing to the host
 *  firmware's events. */

#include <com/vexa/olvar/api.hpp>
#include <hmi_fault_health.hpp>
#include <hmi_status.hpp>
#include <platform/bus_handles.hpp>
#include <platform/data_abstraction/sel.hpp>
#include <platform/sel_interface.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace health_namespace::details
{
class CSSDInfoFetcher;
} // namespace health_namespace::details

namespace logmgr_interface
{

/** Stores and reports events of the SEL for a daemon.
 *
 *  An event is stored in the SEL and clears the faults of its opposite: an
 *  assertion those of its deassertion, and a deassertion those of its
 *  assertion. Unless its own message is informational, it then makes a fault
 *  itself. The messages come from the platform's event descriptions.
 *
 *  Everything here is used from the thread that owns the bus of the faults, and
 *  signals are handled on that thread. */
class HEALTHINTF_API SELAndFault
{
  public:
    /** The sensor that saw an event. */
    using SensorInfo = SELInterface::SensorInfo;
    /** The 16 bytes of an event. */
    using SELRecord = SELInterface::SELRecord;

    /** Called with a record before it is stored. Its result is ignored; what it
     *  throws is logged. */
    using PreSELCallback = std::function<int(const SELRecord&)>;

    /** Creates an object without a subscription.
     *
     *  @param[in] component the component whose faults the events are; it must
     *             outlive the object or be replaced before it is deleted. With
     *             null, events are stored and make no faults
     *  @param[in] title what the object is called in the log */
    explicit SELAndFault(health_namespace::FaultAndHealth* component = nullptr,
                         std::string title = {});

    SELAndFault(const SELAndFault&) = delete;
    SELAndFault& operator=(const SELAndFault&) = delete;

    /** Ends the subscription to the events of the host firmware. */
    ~SELAndFault();

    /** Sets the component whose faults the events are from now on.
     *
     *  @param[in] component the component, or null for none; owned by the
     *             caller as in the constructor */
    void connectFaultAndHealth(health_namespace::FaultAndHealth* component);

    /** Stores a record; no fault is touched.
     *
     *  Waits until logmgr has answered.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record's bytes, whose number is not checked
     *  @return statusOk; statusNotCreated when logmgr did not store the record;
     *          statusStoreException when storing it threw */
    int addSEL(SensorInfo& sensor, std::vector<unsigned char>& record);

    /** Stores a record and reports its event as a fault.
     *
     *  When a later step fails, the record stays stored and cleared faults stay
     *  cleared.
     *
     *  @param[in] sensor the sensor that saw the event; its path is the sensor
     *             path of the faults
     *  @param[in] record the record's 16 bytes
     *  @return statusOk, also without a component; statusNotRead when the
     *          record has not 16 bytes, and nothing is done; otherwise as
     *          addSEL() or, with the record stored, as
     *          findFaultInfoAndAddFault() */
    int addSELAndFault(SensorInfo& sensor, std::vector<unsigned char>& record);

    /** Stores a record and reports its event as a fault, as the other
     *  overload.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record
     *  @return as the other overload */
    int addSELAndFault(SensorInfo& sensor, const SELRecord& record);

    /** Reports an event as a fault without storing its record: clears the
     *  faults of its opposite, then adds its own.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record's bytes; missing event data are taken as
     *             zero
     *  @return statusOk, also when the message is informational or there is no
     *          component; statusNotRead when the record is too short to tell an
     *          assertion from a deassertion; statusNotAttached when the event
     *          descriptions are not available; statusNotCreated also when
     *          memory runs out; otherwise the status of the descriptions, or of
     *          removing or adding the fault. The first step that fails ends the
     *          call
     *
     *  Does not throw. */
    int findFaultInfoAndAddFault(SensorInfo& sensor,
                                 std::vector<unsigned char>& record);

    /** Finds the further messages that an event clears: the two security
     *  messages SEC0031 and SEC0033 clear each other.
     *
     *  @param[in] messageId the message of the opposite event
     *  @param[in,out] toRemove the further message is added at the end, if
     *                 there is one */
    void handleSpecialCasesForRemove(const std::string& messageId,
                                     std::vector<std::string>& toRemove);

    /** Reads all entries of the log from the data cache.
     *
     *  @param[in,out] entries the entries are added, by object path
     *  @return statusOk, also for an empty log; statusNotRead when the data
     *          cache could not be read */
    int GetSELDatacacheEntries(std::map<std::string, SELEntry_gen>& entries);

    /** Reads one entry of the log from the data cache.
     *
     *  @param[in,out] entry the entry; unchanged when there is none
     *  @param[in] recordId its record identifier
     *  @return statusOk, also when the data cache holds no entry at all;
     *          statusNotRead when it holds others only, or could not be read */
    int GetSELDatacacheEntryByID(SELEntry_gen& entry, uint16_t recordId);

    /** Subscribes to the events that the host firmware raises, which logmgr
     *  announces before it stores them. Callback and subscription replace
     *  earlier ones and last as long as the object. The callback may destroy
     *  the object, or register another callback in its place. That one gets
     *  only the events announced from then on: not the event being handled, nor
     *  events that have already arrived.
     *
     *  @param[in] bus the connection; it must outlive the object
     *  @param[in] callback called for each event, on the thread that processes
     *             the bus
     *  @param[in] sensorNumber the IPMI sensor number whose events are wanted.
     *             0 subscribes to the events of every sensor, but the sensor
     *             number of an earlier registration, if there was one, still
     *             selects the events that reach the callback
     *  @return statusOk
     *  @throws sdbusplus::exception::SdBusError when the bus refuses; then
     *          everything is as before */
    int RegisterForBIOSPreSELEvent(sdbusplus::bus_t& bus,
                                   PreSELCallback callback,
                                   uint32_t sensorNumber);

    /** Handles one announced event. One with less than a record's bytes is
     *  logged and dropped.
     *
     *  @return 0
     *  @throws sdbusplus::exception::SdBusError when the message does not begin
     *          with an array of bytes; or what the callback throws */
    int BIOSSELEventCallbackHandler(sdbusplus::message_t& message);

  private:
    /** Clears the faults of an event's opposite.
     *
     *  @return statusOk, or the status of the step that failed */
    HEALTHINTF_LOCAL int removeOpposite(
        const health_namespace::details::CSSDInfoFetcher& descriptions,
        SensorInfo& sensor, const std::vector<unsigned char>& record);
    /** Adds an event's own fault, unless its message is informational.
     *
     *  @return statusOk, or the status of the step that failed */
    HEALTHINTF_LOCAL int
    addOwn(const health_namespace::details::CSSDInfoFetcher& descriptions,
           const SensorInfo& sensor, const std::vector<unsigned char>& record);

    /** Replaces the subscription by one with the given rule. */
    HEALTHINTF_LOCAL void subscribe(sdbusplus::bus_t& bus,
                                    const std::string& rule);

    health_namespace::FaultAndHealth* faultAndHealth;
    std::string name;
    /** Shared, so that a callback that replaces itself lives until it
     *  returns. */
    std::shared_ptr<const PreSELCallback> preSelCallback;
    /** Keeps the bus delivering the events that preSelMatch selects. */
    healthintf::SlotPtr preSelDelivery;
    std::unique_ptr<sdbusplus::bus::match_t> preSelMatch;
    uint32_t sensorFilter = 0;
};

} // namespace logmgr_interface
