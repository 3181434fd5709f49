// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Server binding of com.vexa.olvar.healthmgr.HealthStatus: the health
 *  of one component key, mirrored into the data cache. */

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/mirror.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/vtable.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{

/** One object with the interface. Used from the thread that owns its bus.
 *
 *  The virtual functions keep their order, which is part of the ABI: the two
 *  destructors, then the getter and the two setters. */
class HEALTHINTF_API HealthStatus
    : public sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus,
      public healthstatus_cluster
{
  public:
    /** The class, for the macro that declares its properties. */
    using Self = HealthStatus;
    /** The value of any property. */
    using PropertiesVariant = HealthStatusPropertyVariant;
    /** Properties by their D-Bus names. */
    using PropertyMap = HealthStatusPropertyMap;

    /** Puts the object on the bus and into the data cache.
     *
     *  @param[in] bus the connection; a reference to it is kept
     *  @param[in] path the object's path
     *  @param[in] properties initial values; with "meta-NonCached" among them
     *             the object has no record
     *  @throws sdbusplus::exception::SdBusError when sd-bus refuses the object
     *  @throws std::bad_variant_access, or what the data cache throws; then
     *          nothing is left behind */
    HealthStatus(sdbusplus::bus_t& bus, const char* path,
                 const PropertyMap& properties);

    HealthStatus(const HealthStatus&) = delete;
    HealthStatus& operator=(const HealthStatus&) = delete;

    /** Removes the record, then the object. The record stays while this process
     *  has another object at the path, on another connection. */
    virtual ~HealthStatus();

    /** Sets a property by its D-Bus name; an unknown name is ignored.
     *
     *  @throws std::bad_variant_access when the value is of another type */
    void setPropertyByName(const std::string& name,
                           const PropertiesVariant& value,
                           bool skipSignal = false);

    /** The value of a property by its D-Bus name; a variant of 0 for an unknown
     *  name. */
    PropertiesVariant getPropertyByName(const std::string& name) const;

    /** Sends the signal HealthStatusUpdate.
     *
     *  @param[in] parentKey the key of the node that is to hear it
     *  @param[in] key the key of the node that reports
     *  @param[in] health its health, 0 to 4
     *  @throws sdbusplus::exception::SdBusError naming the failed call */
    void healthStatusUpdate(const std::string& parentKey,
                            const std::string& key, uint32_t health);

    /** The health that the path has in this process once this object is gone:
     *  that of the youngest other object there, 0 when there is none. */
    HEALTHINTF_LOCAL uint32_t healthWithoutThis();

    /** The connection that the object is on. */
    sdbusplus::bus_t& bus();

  private:
    /** The data cache through RecordHolders. */
    struct Cache
    {
        using Variant = PropertiesVariant;
        static int create(const void* holder, const std::string& path,
                          const PropertyMap& properties);
        static int setProperty(const void* holder, const std::string& path,
                               const std::string& name, const Variant& value);
        static int remove(const void* holder, const std::string& path);
    };

    healthintf::binding::Mirror<Cache> mirror;

    /** The health, 0 (none) to 4 (critical); 0 until it is set. */
    HEALTHINTF_MIRRORED_PROPERTY(uint32_t, healthStatus, "HealthStatus",
                                 emits_change)
};

} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
