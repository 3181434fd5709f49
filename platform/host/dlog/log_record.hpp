// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file One line of the debug log with its parts. */

#include <cstdarg>
#include <string>

namespace healthintf::host
{

/** A line and where it comes from. */
struct LogRecord
{
    int level = 0;
    int module = 0;
    /** The whole line without a newline at its end. */
    std::string text;
    /** Where the line comes from; empty, 0, empty when its format does not
     *  begin with "%s.%d.%s". */
    std::string file;
    int line = 0;
    std::string function;
};

/** Formats a line.
 *
 *  @throws std::runtime_error when the line cannot be formatted */
LogRecord formatRecord(int level, int module, const char* format,
                       va_list arguments);

/** The syslog priority of a level. */
int toPriority(int level);

/** The word for a level on a terminal. */
const char* levelWord(int level);

} // namespace healthintf::host
