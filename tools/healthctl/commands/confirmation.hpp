// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks whether to do what cannot be undone. */

#include "../context.hpp"

#include <string>

namespace healthintf::healthctl
{

/** Asks the operator on the terminal, and returns whether the answer is yes.
 *
 *  @param[in] deed what would be done, as "remove all entries"
 *  @param[in] question the same with its extent, without the mark
 *  @throws Error when there is no terminal to ask on */
bool isConfirmed(const Context& context, const std::string& deed,
                 const std::string& question);

} // namespace healthintf::healthctl
