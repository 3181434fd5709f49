// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Server binding of com.vexa.olvar.event_mgr.DummySensorCode: a sensor
 *  for tests of the event manager. */

#include <com/vexa/olvar/api.hpp>
#include <com/vexa/olvar/event_mgr/DummySensorCode/common.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/server.hpp>
#include <sdbusplus/vtable.hpp>

#include <cstdint>
#include <string>
#include <variant>

namespace sdbusplus::server::com::vexa::olvar::event_mgr
{

/** One object with the interface, for a daemon to derive from. It has no
 *  record in the data cache. Used from the thread that owns its bus.
 *
 *  What an implementation of a method throws becomes an error reply.
 *
 *  The virtual functions keep their order, which is part of the ABI: the two
 *  destructors, the methods, then the getter and the two setters. */
class HEALTHINTF_API DummySensorCode
    : public sdbusplus::common::com::vexa::olvar::event_mgr::DummySensorCode
{
  public:
    /** The value of any property. */
    using PropertiesVariant = std::variant<uint32_t>;

    /** Puts the object on the bus.
     *
     *  @param[in] bus the connection; a reference to it is kept
     *  @param[in] path the object's path, at most 1,024 bytes
     *  @throws sdbusplus::exception::SdBusError when sd-bus refuses the
     *          object, or the path is longer */
    DummySensorCode(sdbusplus::bus_t& bus, const char* path);

    DummySensorCode(const DummySensorCode&) = delete;
    DummySensorCode& operator=(const DummySensorCode&) = delete;

    virtual ~DummySensorCode() = default;

    /** Raises a fault, for the D-Bus method TriggerFault.
     *
     *  @return the reply to the D-Bus call, as for every method here */
    virtual int32_t triggerFault(uint32_t value) = 0;

    /** Takes a fault back, for the D-Bus method RemoveFault. */
    virtual int32_t removeFault() = 0;

    /** Takes every fault back, for the D-Bus method ClearAllFault. */
    virtual int32_t clearAllFault() = 0;

    /** The health, 0 until it is set. */
    virtual uint32_t healthStatus() const;

    /** Sets the health and announces a change.
     *
     *  @param[in] value the health
     *  @param[in] skipSignal whether not to announce it
     *  @return the health afterwards */
    virtual uint32_t healthStatus(uint32_t value, bool skipSignal);

    /** Sets the health and announces a change; also called when a D-Bus client
     *  writes it.
     *
     *  @return the health afterwards */
    virtual uint32_t healthStatus(uint32_t value);

    /** Sets a property by its D-Bus name; an unknown name is ignored.
     *
     *  @throws std::bad_variant_access when the value is of another type */
    void setPropertyByName(const std::string& name,
                           const PropertiesVariant& value,
                           bool skipSignal = false);

    /** The value of a property by its D-Bus name; a variant of 0 for an unknown
     *  name. */
    PropertiesVariant getPropertyByName(const std::string& name) const;

    /** The connection that the object is on. */
    sdbusplus::bus_t& bus();

  private:
    sdbusplus::server::interface_t registration;
    uint32_t _healthStatus = 0;
};

} // namespace sdbusplus::server::com::vexa::olvar::event_mgr
