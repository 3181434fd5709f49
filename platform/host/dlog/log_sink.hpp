// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Where the debug log goes. */

#include "log_record.hpp"

#include <string_view>

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

/** Writes a text to a file descriptor; no signal ends the process when it is a
 *  pipe whose reader has ended.
 *
 *  @return 0, or a negative errno */
int writeText(int fd, std::string_view text);

} // namespace healthintf::host
