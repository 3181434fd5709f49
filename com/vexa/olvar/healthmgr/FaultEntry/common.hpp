// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Constants of the interface com.vexa.olvar.healthmgr.FaultEntry. */

#include <com/vexa/olvar/api.hpp>

namespace sdbusplus::common::com::vexa::olvar::healthmgr
{

/** The names that the interface has on D-Bus. */
struct HEALTHINTF_API FaultEntry
{
    /** The interface itself. */
    static constexpr auto interface = "com.vexa.olvar.healthmgr.FaultEntry";

    /** Announces a new fault. */
    struct FaultEntryAdded
    {
        /** The signal itself. */
        static constexpr auto name = "FaultEntryAdded";
        /** FQDD, message id, message, arguments, timestamp, severity, sensor
         *  path, sensor number, sensor type. */
        static constexpr auto signature = "sssastusuu";
    };

    /** Takes a fault back. */
    struct FaultEntryRemoved
    {
        /** The signal itself. */
        static constexpr auto name = "FaultEntryRemoved";
        /** FQDD, message id, sensor path, sensor number, sensor type. */
        static constexpr auto signature = "sssuu";
    };

    /** Asks every process to hide faults, or to show them again. */
    struct HideFaultForSensor
    {
        /** The signal itself. */
        static constexpr auto name = "HideFaultForSensor";
        /** Whether to hide, component key, sensor path, sensor number. */
        static constexpr auto signature = "bssi";
    };
};

} // namespace sdbusplus::common::com::vexa::olvar::healthmgr
