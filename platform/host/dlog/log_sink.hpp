// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Where the debug log goes. */

#include "log_record.hpp"

namespace healthintf::host
{

/** Whether standard error is the journal, as it is under systemd. */
bool standardErrorIsJournal();

/** Writes a record to the journal with its origin as fields.
 *
 *  @return 0, or a negative errno */
int writeToJournal(const LogRecord& record);

/** Writes a record to a file descriptor as one line of text.
 *
 *  @return 0, or a negative errno */
int writeAsText(int fd, const LogRecord& record);

} // namespace healthintf::host
