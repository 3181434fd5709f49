#pragma once

/** @file How processes on a host ask the health manager for a node: a method
 *  of its object, without a reply. */

namespace healthintf::host
{

inline constexpr const char* healthManagerInterface =
    "com.vexa.olvar.healthmgr";
/** Takes the key of the wanted node, a string. */
inline constexpr const char* addHealthObjectMethod = "AddHealthObject";

} // namespace healthintf::host
