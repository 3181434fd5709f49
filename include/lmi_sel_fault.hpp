#pragma once

/** @file Events of the System Event Log (SEL) that are faults at the same time:
 *  storing and reporting them, reading the log, and hearing of the host
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

/** What a daemon does with events of the SEL.
 *
 *  An event is stored in the SEL and clears the faults of its opposite: an
 *  assertion those of its deassertion, and a deassertion those of its
 *  assertion. Unless its own message is informational, it then makes a fault
 *  itself. The platform's event descriptions say which messages these are.
 *
 *  Everything here is used from the thread that owns the bus of the faults,
 *  and signals are taken on that thread. */
class HEALTHINTF_API SELAndFault
{
  public:
    /** The sensor that saw an event. */
    using SensorInfo = SELInterface::SensorInfo;
    /** The 16 bytes of an event. */
    using SELRecord = SELInterface::SELRecord;

    /** Takes a record before it is stored. What it returns is not looked at,
     *  and what it throws is logged. */
    using PreSELCallback = std::function<int(const SELRecord&)>;

    /** Makes an object that nothing is subscribed to yet.
     *
     *  @param[in] component the component whose faults the events are; it must
     *             outlive the object or be replaced before it goes. With null,
     *             events are stored and make no faults
     *  @param[in] title what the object is called in the log */
    explicit SELAndFault(health_namespace::FaultAndHealth* component = nullptr,
                         std::string title = {});

    SELAndFault(const SELAndFault&) = delete;
    SELAndFault& operator=(const SELAndFault&) = delete;

    /** Ends the subscription to the events of the host firmware. */
    ~SELAndFault();

    /** Sets the component whose faults the events are from now on.
     *
     *  @param[in] component the component, or null for none; it stays the
     *             caller's, as in the constructor */
    void connectFaultAndHealth(health_namespace::FaultAndHealth* component);

    /** Stores a record; no fault is touched.
     *
     *  Waits until the log manager has answered.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record's bytes, whose number is not looked at
     *  @return statusOk; statusNotCreated when the log manager did not store
     *          the record; statusStoreException when storing it threw */
    int addSEL(SensorInfo& sensor, std::vector<unsigned char>& record);

    /** Stores a record and reports its event as a fault.
     *
     *  The record stays stored, and faults that were cleared stay so, when a
     *  later step fails.
     *
     *  @param[in] sensor the sensor that saw the event; its path is the sensor
     *             path of the faults
     *  @param[in] record the record's 16 bytes
     *  @return statusOk, also without a component; statusNotRead when the
     *          record has not 16 bytes, and nothing is done; else as addSEL(),
     *          or with the record stored as findFaultInfoAndAddFault() */
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
     *  @return statusOk, also when the message is informational or there is
     *          no component; statusNotRead when the record is too short to
     *          tell an assertion from a deassertion; statusNotAttached when
     *          the event descriptions are not to be had; statusNotCreated
     *          also when memory runs out; else what the descriptions, or
     *          removing or adding the fault, answered. Nothing is done after
     *          a step that failed
     *
     *  Does not throw. */
    int findFaultInfoAndAddFault(SensorInfo& sensor,
                                 std::vector<unsigned char>& record);

    /** Says which further messages an event clears: the two security messages
     *  SEC0031 and SEC0033 clear each other.
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
     *  @param[in,out] entry the entry; left alone when there is none
     *  @param[in] recordId its record identifier
     *  @return statusOk, also when the data cache holds no entry at all;
     *          statusNotRead when it holds others only, or could not be read */
    int GetSELDatacacheEntryByID(SELEntry_gen& entry, uint16_t recordId);

    /** Subscribes to the events that the host firmware raises, which the log
     *  manager announces before it stores them. Callback and subscription
     *  replace earlier ones and last as long as the object. The callback may
     *  destroy the object, or register one in its own place, which hears of
     *  what is announced from then on: neither of the event that is being
     *  handled nor of those that have arrived meanwhile.
     *
     *  @param[in] bus the connection; it must outlive the object
     *  @param[in] callback called for each event, on the thread that processes
     *             the bus
     *  @param[in] sensorNumber the IPMI sensor number whose events are wanted.
     *             0 subscribes to every sensor's events, and yet only those of
     *             an earlier registration's number, if there was one, go on to
     *             the callback
     *  @return statusOk
     *  @throws sdbusplus::exception::SdBusError when the bus refuses; then
     *          everything is as before */
    int RegisterForBIOSPreSELEvent(sdbusplus::bus_t& bus,
                                   PreSELCallback callback,
                                   uint32_t sensorNumber);

    /** Takes one announced event. One with less than a record's bytes is
     *  logged and dropped.
     *
     *  @return 0
     *  @throws sdbusplus::exception::SdBusError when the message does not
     *          begin with an array of bytes; or what the callback throws */
    int BIOSSELEventCallbackHandler(sdbusplus::message_t& message);

  private:
    /** Clears the faults of an event's opposite.
     *
     *  @return statusOk, or what the step that failed answered */
    HEALTHINTF_LOCAL int removeOpposite(
        const health_namespace::details::CSSDInfoFetcher& descriptions,
        SensorInfo& sensor, const std::vector<unsigned char>& record);
    /** Adds an event's own fault, unless its message is informational.
     *
     *  @return statusOk, or what the step that failed answered */
    HEALTHINTF_LOCAL int
    addOwn(const health_namespace::details::CSSDInfoFetcher& descriptions,
           const SensorInfo& sensor, const std::vector<unsigned char>& record);

    /** Subscribes to the events of a rule, instead of those before. */
    HEALTHINTF_LOCAL void subscribe(sdbusplus::bus_t& bus,
                                    const std::string& rule);

    health_namespace::FaultAndHealth* faultAndHealth;
    std::string name;
    /** Shared with the call that is under way, if the callback replaces it. */
    std::shared_ptr<const PreSELCallback> preSelCallback;
    /** Makes the bus deliver the events that the match takes. */
    healthintf::SlotPtr preSelDelivery;
    std::unique_ptr<sdbusplus::bus::match_t> preSelMatch;
    uint32_t sensorFilter = 0;
};

} // namespace logmgr_interface
