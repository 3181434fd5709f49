// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The platform's debug log. */

#include <platform/api.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /** Writes one line to the debug log.
     *
     *  A line below the platform's threshold must cost next to nothing: the
     *  platform decides by @p level before it formats anything.
     *
     *  @param[in] level 1 errors, 2 caught exceptions and warnings, 5
     *  construction and destruction, 7 progress, 8 entry and exit, 9
     *  destructors of the bindings
     *  @param[in] module the number of the part of the system that logs the
     *  line
     *  @param[in] format a printf format; one trailing newline is removed
     *  @return 0, or a negative number when the line could not be written
     *
     *  May be called from any thread. */
    PLATFORM_API int dlog_printf(int level, int module, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif
