#pragma once

/** @file Where the health tree and its manager are found on D-Bus. */

#include <string_view>

namespace healthintf::names
{

/** The root of the health tree: every component key lies below it, and each
 *  connection that holds nodes has an object manager here. */
inline constexpr const char* root = "/com/vexa/olvar/health";
/** The key above the root; it has no node, and is never missed. */
inline constexpr const char* aboveRoot = "/com/vexa/olvar";

/** The health manager's bus name. */
inline constexpr const char* managerService = "com.vexa.olvar.healthmgr";
/** The health manager's object. */
inline constexpr const char* managerPath = "/com/vexa/olvar/healthmgr";
/** The interface of the health manager and of the signals that any process
 *  may send to all components. */
inline constexpr const char* managerInterface = "com.vexa.olvar.healthmgr";

} // namespace healthintf::names
