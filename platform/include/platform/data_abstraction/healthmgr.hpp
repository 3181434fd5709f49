// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Requests to healthmgr, from any thread. */

#include <platform/api.h>

#include <string>

namespace DataAbstraction::Healthmgr
{

/** Asks healthmgr for the health node of a key. Sends the request and does not
 *  wait for an answer: the node appears later, or never when no health manager
 *  runs.
 *
 *  @param[in] service healthmgr's bus name
 *  @param[in] path healthmgr's object path
 *  @param[in] key the wanted node's key
 *  @return 0, or the platform's error number when the request could not be
 *          sent */
PLATFORM_API int AddHealthObject(const std::string& service,
                                 const std::string& path, std::string key);

} // namespace DataAbstraction::Healthmgr
