#pragma once

/** @file Constants of the interface com.vexa.olvar.healthmgr.HealthStatus. */

#include <com/vexa/olvar/api.hpp>

namespace sdbusplus::common::com::vexa::olvar::healthmgr
{

struct HEALTHINTF_API HealthStatus
{
    static constexpr auto interface = "com.vexa.olvar.healthmgr.HealthStatus";

    /** Tells a parent node of a child's health. */
    struct HealthStatusUpdate
    {
        static constexpr auto name = "HealthStatusUpdate";
        /** Parent key, key of the sender, health. */
        static constexpr auto signature = "ssu";
    };
};

} // namespace sdbusplus::common::com::vexa::olvar::healthmgr
