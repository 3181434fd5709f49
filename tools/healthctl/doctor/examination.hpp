// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file All checks of "healthctl doctor". */

#include "finding.hpp"

namespace healthintf::healthctl
{

/** Looks at everything, in the order in which one thing needs another. */
Findings examine();

} // namespace healthintf::healthctl
