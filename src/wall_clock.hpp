// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The time of day. */

#include <cstdint>

namespace health_namespace::details
{

/** Whole seconds since the epoch. Alone in its file, so that a test can link
 *  a clock of its own. */
uint64_t secondsSinceEpoch();

} // namespace health_namespace::details
