#pragma once

/** @file Where processes on a host find the health manager, and how they ask it
 *  for a node: a method of its object, without a reply. */

namespace healthintf::host
{

/** Its bus name, which it alone owns. */
inline constexpr const char* healthManagerService = "com.vexa.olvar.healthmgr";
inline constexpr const char* healthManagerPath = "/com/vexa/olvar/healthmgr";
inline constexpr const char* healthManagerInterface =
    "com.vexa.olvar.healthmgr";
/** Takes the key of the wanted node, a string. */
inline constexpr const char* addHealthObjectMethod = "AddHealthObject";

} // namespace healthintf::host
