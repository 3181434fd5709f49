#pragma once

/** @file Asks the process that has the attributes to set one. */

#include "attribute_request.hpp"

namespace healthintf::host
{

/** Calls the health manager on this thread's kept connection and waits for its
 *  answer, at most 5 seconds. The bus starts the health manager if it can. May
 *  be called in a callback of that connection.
 *
 *  @param[in] request one without fault
 *  @return the health manager's outcome, or why there is none */
AttributeOutcome callForAttribute(const AttributeRequest& request);

} // namespace healthintf::host
