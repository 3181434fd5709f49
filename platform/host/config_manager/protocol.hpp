#pragma once

/** @file How processes on a host ask the health manager to set an attribute: a
 *  method of its object, answered when the attribute is on the disk and its
 *  change announced. */

#include <platform/api.h>

#include <optional>
#include <string>
#include <string_view>

namespace healthintf::host
{

inline constexpr const char* attributesInterface =
    "com.vexa.olvar.healthmgr.Attributes";
/** Sets an attribute: its name, its value, and who sets it, which may be
 *  empty. */
inline constexpr const char* setAttributeMethod = "Set";
inline constexpr const char* setAttributeSignature = "sis";

/** The D-Bus error by which the health manager tells an errno: a name of its
 *  own, so that what the bus and libsystemd answer is not taken for its
 *  answer. */
PLATFORM_API std::string errorNameOf(int code);

/** The errno that an error of the health manager tells; nothing when an error
 *  is not the health manager's. */
std::optional<int> numberOfError(std::string_view name);

} // namespace healthintf::host
