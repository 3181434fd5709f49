// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Server binding of com.vexa.olvar.healthmgr.FaultEntry: one fault,
 *  mirrored into the data cache. */

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>
#include <com/vexa/olvar/mirror.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/vtable.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{

/** One object with the interface. Used from the thread that owns its bus.
 *
 *  The virtual functions keep their order, which is part of the ABI: the two
 *  destructors, then for each property, in the order of this header, the
 *  getter and the two setters. D-Bus clients cannot write a property. */
class HEALTHINTF_API FaultEntry
    : public sdbusplus::common::com::vexa::olvar::healthmgr::FaultEntry,
      public faultentry_cluster
{
  public:
    /** The class, for the macro that declares its properties. */
    using Self = FaultEntry;
    /** The value of any property. */
    using PropertiesVariant = FaultEntryPropertyVariant;
    /** Properties by their D-Bus names. */
    using PropertyMap = FaultEntryPropertyMap;

    /** Puts the object on the bus and into the data cache.
     *
     *  @param[in] bus the connection; a reference to it is kept
     *  @param[in] path the object's path
     *  @param[in] properties initial values; with "meta-NonCached" among them
     *             the object has no record
     *  @param[in] skipSignal whether not to announce the initial values
     *  @throws sdbusplus::exception::SdBusError when sd-bus refuses the object
     *  @throws std::bad_variant_access, or what the data cache throws; then
     *          nothing is left behind */
    FaultEntry(sdbusplus::bus_t& bus, const char* path,
               const PropertyMap& properties, bool skipSignal);

    FaultEntry(const FaultEntry&) = delete;
    FaultEntry& operator=(const FaultEntry&) = delete;

    /** Removes the record, then the object. */
    virtual ~FaultEntry();

    /** Sets a property by its D-Bus name; an unknown name is ignored.
     *
     *  @throws std::bad_variant_access when the value is of another type */
    void setPropertyByName(const std::string& name,
                           const PropertiesVariant& value,
                           bool skipSignal = false);

    /** The value of a property by its D-Bus name; a variant of false for an
     *  unknown name. */
    PropertiesVariant getPropertyByName(const std::string& name) const;

    /** Sends the signal FaultEntryAdded.
     *
     *  @throws sdbusplus::exception::SdBusError naming the failed call */
    void faultEntryAdded(const std::string& fqdd, const std::string& messageID,
                         const std::string& message,
                         const std::vector<std::string>& args,
                         uint64_t timestamp, uint32_t severity,
                         const std::string& sensorPath, uint32_t sensorNumber,
                         uint32_t sensorType);

    /** Sends the signal FaultEntryRemoved.
     *
     *  @throws sdbusplus::exception::SdBusError naming the failed call */
    void faultEntryRemoved(const std::string& fqdd,
                           const std::string& messageID,
                           const std::string& sensorPath, uint32_t sensorNumber,
                           uint32_t sensorType);

    /** Sends the signal HideFaultForSensor.
     *
     *  @throws sdbusplus::exception::SdBusError naming the failed call */
    void hideFaultForSensor(bool hide, std::string healthPath,
                            std::string sensorPath, int32_t sensorNumber);

    /** Announces the object to the listeners of its object manager, once. */
    HEALTHINTF_LOCAL void emit_added()
    {
        mirror.interface.emit_added();
    }

    /** Takes the announcement back, if one was made. */
    HEALTHINTF_LOCAL void emit_removed()
    {
        mirror.interface.emit_removed();
    }

    /** The connection that the object is on. */
    sdbusplus::bus_t& bus();

  private:
    struct Cache
    {
        using Variant = PropertiesVariant;
        static constexpr auto create = datacache_faultentry_create;
        static constexpr auto setProperty = datacache_faultentry_set_property;
        static constexpr auto remove = datacache_faultentry_remove;
    };

    healthintf::binding::Mirror<Cache> mirror;

    /** Identifier of the component that the fault is on. Constant for D-Bus
     *  clients, so sd-bus may refuse to announce its first value. */
    HEALTHINTF_MIRRORED_PROPERTY(std::string, fqdd, "FQDD", const_)
    /** Identifier of the message in the message registry. */
    HEALTHINTF_MIRRORED_PROPERTY(std::string, messageID, "MessageID",
                                 emits_change)
    /** The message's text with its arguments filled in. */
    HEALTHINTF_MIRRORED_PROPERTY(std::string, message, "Message", emits_change)
    /** The message's arguments. */
    HEALTHINTF_MIRRORED_PROPERTY(std::vector<std::string>, args, "Args",
                                 emits_change)
    /** When the fault was added, in seconds since the epoch. */
    HEALTHINTF_MIRRORED_PROPERTY(uint64_t, timestamp, "Timestamp", emits_change)
    /** The health value that the fault stands for, 1 to 4. */
    HEALTHINTF_MIRRORED_PROPERTY(uint32_t, severity, "Severity", emits_change)
    /** The sensor that saw the fault. */
    HEALTHINTF_MIRRORED_PROPERTY(std::string, sensorPath, "SensorPath",
                                 emits_change)
    /** The sensor's IPMI number. */
    HEALTHINTF_MIRRORED_PROPERTY(uint32_t, sensorNumber, "SensorNumber",
                                 emits_change)
    /** The sensor's IPMI type. */
    HEALTHINTF_MIRRORED_PROPERTY(uint32_t, sensorType, "SensorType",
                                 emits_change)
    /** The LED state that the fault asks for; 0 asks for none. */
    HEALTHINTF_MIRRORED_PROPERTY(int32_t, ledState, "LedState", emits_change)
    /** Text for the front-panel LCD. */
    HEALTHINTF_MIRRORED_PROPERTY(std::string, lcdMessage, "LcdMessage",
                                 emits_change)
    /** Whether the fault is hidden and does not count for the health. */
    HEALTHINTF_MIRRORED_PROPERTY(bool, hidden, "Hidden", emits_change)
};

} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
