// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The macro by which all code here logs; it fills in file, line and
 *  function. */

#include <platform/dlog.h>

#include <cstddef>

namespace healthintf::log
{

/** How important a line is; dlog_printf() writes those up to its threshold. */
enum Level : int
{
    error = 1,
    warning = 2,
    lifetime = 5,
    progress = 7,
    trace = 8,
    binding = 9,
};

/** A source file's name without folder and suffix, worked out by the
 *  compiler. */
template <std::size_t N>
struct BaseName
{
    /** The name, ended by a NUL. */
    char text[N]{};

    /** @param[in] file what __FILE__ is */
    consteval BaseName(const char (&file)[N])
    {
        std::size_t start = 0;
        for (std::size_t i = 0; i < N; ++i)
        {
            if (file[i] == '/')
            {
                start = i + 1;
            }
        }
        std::size_t length = 0;
        while (file[start + length] != '.' && file[start + length] != '\0')
        {
            text[length] = file[start + length];
            ++length;
        }
    }
};

/** The name of a file, for as long as the program runs. */
template <BaseName name>
inline constexpr const char* baseName = name.text;

} // namespace healthintf::log

/** Logs one line as if it came from @p function in @p file. The format is a
 *  literal that begins with "%s.%d.%s", for file, line and function, so that
 *  the compiler checks the arguments and a search finds the text. */
#define DLOG_LINE_IN(file, module, function, level, format, ...)          \
    dlog_printf(level, module, format, ::healthintf::log::baseName<file>, \
                __LINE__, function __VA_OPT__(, ) __VA_ARGS__)

/** Logs one line as if it came from @p function in this file. */
#define DLOG_LINE(module, function, level, format, ...) \
    DLOG_LINE_IN(__FILE__, module, function, level,     \
                 format __VA_OPT__(, ) __VA_ARGS__)
