#pragma once

/** @file Constants of the interface com.vexa.olvar.event_mgr.DummySensorCode.
 */

#include <com/vexa/olvar/api.hpp>

namespace sdbusplus::common::com::vexa::olvar::event_mgr
{

struct HEALTHINTF_API DummySensorCode
{
    static constexpr auto interface =
        "com.vexa.olvar.event_mgr.DummySensorCode";
};

} // namespace sdbusplus::common::com::vexa::olvar::event_mgr
