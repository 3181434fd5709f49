// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks healthmgr to set an attribute. */

#include "attribute_request.hpp"

namespace healthintf::host
{

/** Calls healthmgr on threadBus() and waits at most 5 seconds for its answer.
 *  The bus starts healthmgr if it can. May be called in a callback of that
 *  connection.
 *
 *  @param[in] request a valid one, see requestProblem()
 *  @return healthmgr's answer, or why there is none */
AttributeOutcome requestAttribute(const AttributeRequest& request);

} // namespace healthintf::host
