// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A component with its faults for daemons in C++ of today: it owns what
 *  the library makes, and takes text as std::string_view. This header alone
 *  has the class; it calls health_namespace::FaultAndHealth. */

#include <hmi_fault_health.hpp>
#include <hmi_health_value.hpp>
#include <hmi_status.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace health_namespace
{

/** What a daemon says of one fault. The texts are read during the call that
 *  takes them, and not kept. */
struct FaultReport
{
    /** The message's identifier in the registry. */
    std::string_view message;
    /** The message's arguments, in order. */
    std::vector<std::string_view> arguments = {};
    /** The sensor that saw the fault. Component::remove() finds a fault by it:
     *  without one, only Component::removeAll() takes the fault back. */
    std::string_view sensorPath = {};
    /** IPMI sensor number, 0 for none. */
    uint32_t sensorNumber = 0;
    /** IPMI sensor type, 0 for none. */
    uint32_t sensorType = 0;
    /** Identifier of the component for people. */
    std::string_view fqdd = {};
};

/** One component of a daemon: its health node and at most
 *  FaultAndHealth::maxFaults faults.
 *
 *  Everything is used from the thread that owns the connection, and this thread
 *  processes the connection's messages. A component can be moved; one that was
 *  moved from can only be deleted or assigned to.
 *
 *  Each function may throw std::bad_alloc, and then has changed nothing. */
class Component
{
  public:
    /** Makes the health node.
     *
     *  @param[in] bus the connection, which outlives the component
     *  @param[in] key the component key, a D-Bus object path below
     *             /com/vexa/olvar/health, at most 1,024 bytes
     *  @param[in] baseHealth the health without any fault
     *  @throws std::runtime_error with the key when the node cannot be made;
     *          the cause is in the log */
    Component(sdbusplus::bus_t& bus, std::string_view key,
              HealthValue baseHealth = healthOk) :
        object(FaultAndHealth::Init(bus, std::string(key), baseHealth, false))
    {
        if (!object)
        {
            throw std::runtime_error("unable to hold the component " +
                                     std::string(key));
        }
    }

    /** Reports a fault. The same one may be reported more than once, and is
     *  another fault each time.
     *
     *  @param[in] report the fault
     *  @return - statusOk, also for a message that only informs and makes no
     *            fault
     *          - statusNotRead: the registry has no such message
     *          - statusNotCreated: the entry could not be made or announced, or
     *            D-Bus cannot carry a text */
    [[nodiscard]] Status add(const FaultReport& report)
    {
        std::string message(report.message);
        std::string sensor(report.sensorPath);
        std::vector<std::string> arguments(report.arguments.begin(),
                                           report.arguments.end());
        std::string fqdd(report.fqdd);
        std::string subSystem;
        return static_cast<Status>(
            object->addFault(message, sensor, arguments, fqdd, subSystem,
                             report.sensorNumber, report.sensorType));
    }

    /** Takes back every fault of a message and sensor.
     *
     *  @param[in] message the message's identifier
     *  @param[in] sensorPath the sensor
     *  @return statusOk, whether or not there was one; statusInvalidArgument
     *          when a text is empty */
    [[nodiscard]] Status remove(std::string_view message,
                                std::string_view sensorPath)
    {
        std::string id(message);
        std::string sensor(sensorPath);
        return static_cast<Status>(object->removeFault(id, sensor));
    }

    /** Takes back every fault.
     *
     *  @throws sdbusplus::exception::SdBusError when the health cannot be
     *          sent; the faults are gone then */
    void removeAll()
    {
        object->deleteFaultListAll();
    }

    /** The worst of the base health and of the faults that are not hidden. The
     *  node on D-Bus may be worse: it has its children's health, too. */
    HealthValue ownHealth() const
    {
        return static_cast<HealthValue>(
            object->computeHealthStatusFromFaultList());
    }

    /** What this object owns, for all else that the library offers: hiding,
     *  events, and faults with a text of their own.
     *
     *  @return a reference that is valid as long as the component, also after
     *          it was moved */
    FaultAndHealth& faultAndHealth() const
    {
        return *object;
    }

  private:
    std::unique_ptr<FaultAndHealth> object;
};

} // namespace health_namespace
