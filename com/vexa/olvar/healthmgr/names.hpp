// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of the health tree and of healthmgr. */

#include <string_view>

namespace healthintf::names
{

/** The root of the health tree: every component key lies below it, and each
 *  connection that holds nodes has an object manager here. */
inline constexpr const char* root = "/com/vexa/olvar/health";
/** The key above the root; it has no node and needs none. */
inline constexpr const char* aboveRoot = "/com/vexa/olvar";

/** The bus name of healthmgr. */
inline constexpr const char* managerService = "com.vexa.olvar.healthmgr";
/** The object of healthmgr. */
inline constexpr const char* managerPath = "/com/vexa/olvar/healthmgr";
/** The interface of healthmgr, and of signals that any process may send to all
 *  components. */
inline constexpr const char* managerInterface = "com.vexa.olvar.healthmgr";

} // namespace healthintf::names
