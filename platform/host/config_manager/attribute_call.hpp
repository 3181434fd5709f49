#pragma once

/** @file Asks the health manager to set an attribute. */

#include "attribute_request.hpp"

namespace healthintf::host
{

/** Calls the health manager on threadBus() and waits at most 5 seconds for its
 *  answer. The bus starts the health manager if it can. May be called in a
 *  callback of that connection.
 *
 *  @param[in] request a valid one, see requestProblem()
 *  @return the health manager's answer, or why there is none */
AttributeOutcome requestAttribute(const AttributeRequest& request);

} // namespace healthintf::host
