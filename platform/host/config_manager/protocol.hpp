// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file healthmgr's D-Bus method that sets an attribute. It answers when the
 *  attribute is on the disk and its change is announced. */

#include <platform/api.h>

#include <optional>
#include <string>
#include <string_view>

namespace healthintf::host
{

inline constexpr const char* attributesInterface =
    "com.vexa.olvar.healthmgr.Attributes";
/** Sets an attribute. Arguments: name, value, and who sets it, which may be
 *  empty. */
inline constexpr const char* setAttributeMethod = "Set";
inline constexpr const char* setAttributeSignature = "sis";

/** The D-Bus error name by which healthmgr reports an errno. It differs from
 *  the names of the bus and libsystemd, so that their errors are not taken for
 *  healthmgr's. */
PLATFORM_API std::string getErrorName(int code);

/** The errno of an error name; nullopt when the error is not healthmgr's. */
std::optional<int> parseErrorName(std::string_view name);

} // namespace healthintf::host
