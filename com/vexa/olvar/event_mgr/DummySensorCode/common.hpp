// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Constants of the interface com.vexa.olvar.event_mgr.DummySensorCode.
 */

#include <com/vexa/olvar/api.hpp>

namespace sdbusplus::common::com::vexa::olvar::event_mgr
{

/** The names that the interface has on D-Bus. */
struct HEALTHINTF_API DummySensorCode
{
    /** The interface itself. */
    static constexpr auto interface =
        "com.vexa.olvar.event_mgr.DummySensorCode";
};

} // namespace sdbusplus::common::com::vexa::olvar::event_mgr
