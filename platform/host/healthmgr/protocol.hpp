// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of healthmgr, and its method by which processes
 *  request a node without waiting for a reply. */

namespace healthintf::host
{

/** The bus name that healthmgr owns. */
inline constexpr const char* healthmgrService = "com.vexa.olvar.healthmgr";
inline constexpr const char* healthmgrPath = "/com/vexa/olvar/healthmgr";
inline constexpr const char* healthmgrInterface = "com.vexa.olvar.healthmgr";
/** The method; its argument is the key of the node, a string. */
inline constexpr const char* addHealthObjectMethod = "AddHealthObject";

} // namespace healthintf::host
