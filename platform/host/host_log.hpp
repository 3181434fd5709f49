// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The log lines of the host platform itself. */

#include <platform/log_line.hpp>

namespace healthintf::host
{

/** The host platform's module number in the debug log. */
inline constexpr int logModule = 300;

} // namespace healthintf::host

/** Logs one line with the name of the calling function. */
#define HOST_LOG(level, format, ...)                          \
    DLOG_LINE(::healthintf::host::logModule, __func__, level, \
              format __VA_OPT__(, ) __VA_ARGS__)
