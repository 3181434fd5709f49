// SPDX-License-Identifier: Apache-2.0
/** @file The debug log: what went wrong, on standard error. */

#include <platform/dlog.h>

#include <cstdarg>
#include <cstdio>

namespace
{

/** Errors, caught exceptions and warnings. */
constexpr int highestLevel = 2;

} // namespace

extern "C" int dlog_printf(int level, int /*module*/, const char* format, ...)
{
    if (level > highestLevel)
    {
        return 0;
    }
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return written < 0 || std::fputc('\n', stderr) == EOF ? -1 : 0;
}
