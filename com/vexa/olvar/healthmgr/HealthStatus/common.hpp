// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Constants of the interface com.vexa.olvar.healthmgr.HealthStatus. */

#include <com/vexa/olvar/api.hpp>

namespace sdbusplus::common::com::vexa::olvar::healthmgr
{

/** The names that the interface has on D-Bus. */
struct HEALTHINTF_API HealthStatus
{
    /** The interface itself. */
    static constexpr auto interface = "com.vexa.olvar.healthmgr.HealthStatus";

    /** Tells a parent node of a child's health. */
    struct HealthStatusUpdate
    {
        /** The signal itself. */
        static constexpr auto name = "HealthStatusUpdate";
        /** Parent key, key of the sender, health. */
        static constexpr auto signature = "ssu";
    };
};

} // namespace sdbusplus::common::com::vexa::olvar::healthmgr
