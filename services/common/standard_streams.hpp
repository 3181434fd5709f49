// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The standard streams of a program that was started without them. */

namespace healthintf::services
{

/** Opens the standard streams that are closed: files and connections would take
 *  their place, and our output and log lines would go there. Writing to a
 *  stream that was closed fails, as it should. To be called before anything
 *  else is opened. */
void fillStandardStreams();

} // namespace healthintf::services
