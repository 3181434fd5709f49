// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The object that a daemon creates for one component: its faults and the
 *  health that follows from them. */

#include <com/vexa/olvar/api.hpp>
#include <hmi_faultentry.hpp>
#include <hmi_health.hpp>
#include <hmi_status.hpp>
#include <platform/bus_handles.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace health_namespace
{

/** The faults and the health of one component.
 *
 *  Owns the component's health node and at most ten fault entries, of which the
 *  least important is evicted for an eleventh. The health is the worst of the
 *  base health and of the faults that are not hidden.
 *
 *  Everything here is used from the thread that owns the bus, and signals are
 *  handled on that thread. Only LCD notifications run on the thread on which
 *  the platform delivers them; if that is another thread, the daemon must not
 *  use the object at the same time. */
class HEALTHINTF_API FaultAndHealth
{
  public:
    /** How many faults a component holds at most. */
    static constexpr std::size_t maxFaults = 10;

    /** How many bytes the texts of one fault may have together. They are sent
     *  in one message, and a bus disconnects a client that sends 32 MiB. */
    static constexpr std::size_t maxFaultText = 1 << 20;

    /** How many bytes each text of a hide signal may have. Components ignore a
     *  signal with a longer text, because they remember its sensor path. */
    static constexpr std::size_t maxHideText = 1024;

    /** Creates the object of a component.
     *
     *  When the key's parent has no health node, healthmgr is asked to make
     *  one; Init() does not wait for the answer.
     *
     *  @param[in] bus the connection for all objects, signals and matches of
     *             the key; it must outlive the object
     *  @param[in] key the component key, a D-Bus object path below
     *             /com/vexa/olvar/health, at most 1,024 bytes
     *  @param[in] baseHealth the health without any fault, 0 to 4
     *  @param[in] fromHealthMgr true only in healthmgr itself, where a missing
     *             parent is an error
     *  @return the object, which the caller owns and deletes on the same
     *          thread; null on any failure, which is logged
     *
     *  Does not throw. A failure leaves nothing behind, except a health node as
     *  described at HealthStatus::Init().
     *
     *  This process may have another object of the key on another connection: a
     *  daemon that reconnects may create its new object before it deletes the
     *  old one. The younger object's health is recorded. A second object of the
     *  key on the same connection is refused. */
    static FaultAndHealth* Init(sdbusplus::bus_t& bus, const std::string& key,
                                uint32_t baseHealth, bool fromHealthMgr);

    /** The body of Init(). */
    static FaultAndHealth* InitInternal(sdbusplus::bus_t& bus,
                                        const std::string& key,
                                        uint32_t baseHealth,
                                        bool fromHealthMgr);

    FaultAndHealth(const FaultAndHealth&) = delete;
    FaultAndHealth& operator=(const FaultAndHealth&) = delete;

    /** Takes back every fault, then the health node, and waits until the
     *  signals are sent. Does not throw: a step that fails is logged, and the
     *  next one follows. */
    ~FaultAndHealth();

    /** Reports a fault by a message of the registry.
     *
     *  The same message for the same sensor may be reported more than once;
     *  each is a fault of its own.
     *
     *  @param[in] msgId the message's identifier
     *  @param[in] sensorPath the sensor that saw the fault
     *  @param[in] args the message's arguments, in order
     *  @param[in] fqdd identifier of the component
     *  @param[in] subSystem not used
     *  @param[in] sensorNumber IPMI sensor number
     *  @param[in] sensorType IPMI sensor type
     *  @return statusOk, also for an informational message, which makes no
     *          fault; statusNotRead when the registry has no such message,
     *          or memory runs out; statusNotCreated as the other overload
     *
     *  Does not throw. */
    int addFault(std::string& msgId, std::string& sensorPath,
                 std::vector<std::string>& args, std::string& fqdd,
                 std::string& subSystem, uint32_t sensorNumber,
                 uint32_t sensorType);

    /** Reports a fault with its text and severity.
     *
     *  @param[in] msgId the message's identifier
     *  @param[in] sensorPath the sensor that saw the fault
     *  @param[in] args the message's arguments
     *  @param[in] fqdd identifier of the component
     *  @param[in] subSystem not used
     *  @param[in] sensorNumber IPMI sensor number
     *  @param[in] sensorType IPMI sensor type
     *  @param[in] message the text
     *  @param[in] severity the registry's severity, 1 being the most severe
     *  @param[in] lcdMessage text for the front-panel LCD
     *  @param[in] ledState the LED state asked for, 0 for none
     *  @return statusOk; statusNotCreated when the entry could not be created
     *          or announced, or a text is one that D-Bus cannot carry (it must
     *          be UTF-8 without NUL), or all texts together have more than
     *          maxFaultText bytes
     *
     *  Does not throw. On failure the faults and the health are as before, with
     *  one exception: a fault that was evicted for this one stays removed. An
     *  entry's name holds a 16-bit number, so a fault that is still there after
     *  65,536 others were added may have the name that the next one needs:
     *  adding that one fails, and adding it again succeeds. */
    int addFault(const std::string& msgId, const std::string& sensorPath,
                 const std::vector<std::string>& args, const std::string& fqdd,
                 const std::string& subSystem, uint32_t sensorNumber,
                 uint32_t sensorType, const std::string& message,
                 uint32_t severity, const std::string& lcdMessage,
                 int32_t ledState);

    /** Removes the least important fault when there are more than ten: the one
     *  of the lowest severity, of those the newest, and of those of the same
     *  second the one reported first. Hidden faults count like others. The
     *  health is not updated. */
    void removeLowestPriorityFaultEntry();

    /** Takes back every fault of a message and sensor.
     *
     *  @param[in] msgId the message's identifier
     *  @param[in] sensorPath the sensor
     *  @return statusOk, whether or not there was one; statusInvalidArgument
     *          when either text is empty
     *
     *  Does not throw: a health that cannot be sent is logged. */
    int removeFault(std::string& msgId, std::string& sensorPath);

    /** Takes back every fault and updates the health.
     *
     *  @throws sdbusplus::exception::SdBusError when the health cannot be
     *          sent; the faults are gone then */
    void deleteFaultListAll();

    /** Computes the health from the current faults: the worst of the base
     *  health and of the faults that are not hidden. */
    uint32_t computeHealthStatusFromFaultList();

    /** Hides every fault, also those that are hidden already, and updates the
     *  health. A fault that is added later is visible.
     *
     *  @return the node's health
     *
     *  Does not throw, like every operation on visibility but the sender and
     *  the handler of the signal: a health that cannot be sent is logged. */
    int hideFaults();

    /** Hides the faults of a sensor and remembers it until
     *  unhideFaults(unsigned int). The health is updated when there was such a
     *  fault.
     *
     *  @param[in] sensorNumber IPMI sensor number */
    void hideFaults(unsigned int sensorNumber);

    /** Hides the faults of a sensor and remembers it until
     *  unhideFaults(const std::string&). The health is updated when there was
     *  such a fault.
     *
     *  @param[in] sensorPath the sensor, compared byte for byte; the empty one
     *             is that of faults without a sensor */
    void hideFaults(const std::string& sensorPath);

    /** Shows every fault whose sensor is not remembered as hidden, and updates
     *  the health when there was one; does nothing while HideAllFaults() or
     *  Disable() is in effect.
     *
     *  @return the node's health or, when nothing was done, the visibility
     *          flags: 0x2 while HideAllFaults() is in effect, 0x8 while
     *          disabled, and 0 when there was no fault to show */
    int unhideFaults();

    /** Forgets a hidden sensor, if it is one, and goes on as unhideFaults():
     *  that shows the faults of other sensors too.
     *
     *  @param[in] sensorNumber IPMI sensor number
     *  @return as unhideFaults() */
    int unhideFaults(unsigned int sensorNumber);

    /** Forgets a hidden sensor, if it is one, and goes on as unhideFaults():
     *  that shows the faults of other sensors too.
     *
     *  @param[in] sensorPath the sensor
     *  @return as unhideFaults() */
    int unhideFaults(const std::string& sensorPath);

    /** Hides every fault until it is called with false; then shows what
     *  nothing else hides. Independent of Disable().
     *
     *  @param[in] hide whether to hide
     *  @return as hideFaults() or unhideFaults() */
    int HideAllFaults(bool hide);

    /** Hides every fault until Enable(), and leaves the component with its base
     *  health. Does nothing when it is disabled.
     *
     *  @return as hideFaults(), or the visibility flags when nothing was
     *          done */
    int Disable();

    /** Ends Disable(), setting the health to healthOk, and shows what nothing
     *  else hides. Does nothing when the component is not disabled.
     *
     *  @return as unhideFaults(), or the visibility flags when nothing was
     *          done */
    int Enable();

    /** Asks every component in every process to hide faults, or to show them
     *  again. The component with the given key is disabled or enabled. Every
     *  other component compares the sensor path or, if that is empty, the
     *  sensor number.
     *
     *  Sends on this thread's default bus, which is the one of
     *  sd_bus_default(); may be called from any thread.
     *
     *  @param[in] hide whether to hide
     *  @param[in] healthPath a component key, or empty
     *  @param[in] sensorPath a sensor, or empty
     *  @param[in] sensorNumber IPMI sensor number, or 0 for none
     *  @return statusOk; statusInvalidArgument when all three are empty, or
     *          D-Bus cannot carry a text (it must be UTF-8 without NUL, and
     *          both together have no more than maxFaultText bytes). A signal
     *          with a text of more than maxHideText bytes is sent, and no
     *          component obeys it.
     *  @throws sdbusplus::exception::SdBusError naming the failed call, also
     *          when there is no bus */
    static int SendHideFaultsSignal(bool hide, const std::string& healthPath,
                                    const std::string& sensorPath,
                                    int sensorNumber);

    /** Subscribes to the signal of SendHideFaultsSignal(), ending an earlier
     *  subscription.
     *
     *  @throws sdbusplus::exception::SdBusError when the bus refuses */
    void RegisterForHideFaultsSignal();

    /** Handles one HideFaultForSensor signal. One with a text of more than
     *  maxHideText bytes is logged and changes nothing.
     *
     *  @return 0
     *  @throws sdbusplus::exception::SdBusError when it is malformed, and
     *          nothing is changed; or when the health cannot be sent */
    int hideFaultSignalHandler(sdbusplus::message_t& message);

    /** Subscribes to logmgr's signal that the System Event Log was cleared,
     *  ending an earlier subscription.
     *
     *  @throws sdbusplus::exception::SdBusError when the bus refuses */
    void RegisterForClearSELSignal();

    /** Handles one ClearedSelEntries signal; the faults stay as they are.
     *
     *  @return 0 */
    int clearSELSignalHandler(sdbusplus::message_t& message);

    /** Subscribes to the changes of the LCD's configuration attributes,
     *  ending earlier subscriptions.
     *
     *  @return the handle of the second subscription, 0 when it failed */
    uint64_t RegisterForLCDAttributes();

    /** Ends the subscriptions of RegisterForLCDAttributes(). */
    void UnregisterLCDAttributes();

  private:
    FaultAndHealth(sdbusplus::bus_t& connection, std::string at, uint32_t base);

    HEALTHINTF_LOCAL void addObjectManager();
    HEALTHINTF_LOCAL void undoConstruction() noexcept;

    // The steps of addFault(); what they throw ends it.
    struct Addition;
    HEALTHINTF_LOCAL void listFault(Addition& addition,
                                    const FaultEntry::PropertyMap& properties);
    HEALTHINTF_LOCAL void publishAddition(Addition& addition, uint32_t health);
    HEALTHINTF_LOCAL void rollBack(const Addition& addition);

    /** @throws as HealthStatus::updateHealthStatus() */
    HEALTHINTF_LOCAL int publishHealth();
    /** Runs an operation; logs what it throws in the name of @p function.
     *
     *  @return what the operation returns, or the published health if it
     *          throws */
    HEALTHINTF_LOCAL int
    runAndLogFailure(const char* function,
                     const std::function<int()>& operation) noexcept;

    // The operations on visibility, which throw as publishHealth() does.
    HEALTHINTF_LOCAL int hideAll();
    HEALTHINTF_LOCAL int unhideAll();
    template <typename Property>
    HEALTHINTF_LOCAL void
    hideBy(std::list<typename Property::type>& hiddenValues,
           const typename Property::type& value);
    template <typename Property>
    HEALTHINTF_LOCAL int
    setHidden(bool hide, std::list<typename Property::type>& hiddenValues,
              const typename Property::type& value);
    HEALTHINTF_LOCAL int setSensorHidden(bool hide,
                                         const std::string& sensorPath);
    HEALTHINTF_LOCAL int setSensorHidden(bool hide, uint32_t sensorNumber);
    HEALTHINTF_LOCAL void setDisabled(bool disabled);

    sdbusplus::bus_t& bus;
    std::unique_ptr<HealthStatus> healthNode;
    std::list<std::unique_ptr<FaultEntry>> faultList;
    std::string key;
    uint32_t baseHealth;
    uint64_t hideErrorsHandle = 0;
    uint64_t oemFlagsHandle = 0;
    std::unique_ptr<sdbusplus::bus::match_t> hideFaultsMatch;
    std::unique_ptr<sdbusplus::bus::match_t> clearSelMatch;
    std::list<uint32_t> hiddenSensorNumbers;
    std::list<std::string> hiddenSensorPaths;
    uint64_t visibilityFlags = 0;
    healthintf::SlotPtr objectManager;
};

} // namespace health_namespace
