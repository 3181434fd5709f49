// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The log lines of the library. */

#include <platform/log_line.hpp>

namespace health_namespace::details
{

/** The library's module number in the debug log. */
inline constexpr int logModule = 271;

namespace log = ::healthintf::log;

} // namespace health_namespace::details

/** The file that log lines name. A class whose code is spread over several
 *  files logs under one name: those files define it before they include this
 *  header. */
#ifndef HMI_LOG_FILE
#define HMI_LOG_FILE __FILE__
#endif

/** Logs one line in the name of @p function. */
#define HMI_LOG_AS(function, level, format, ...)                       \
    DLOG_LINE_IN(HMI_LOG_FILE, ::health_namespace::details::logModule, \
                 function, level, format __VA_OPT__(, ) __VA_ARGS__)

/** Logs one line in the name of the current function. */
#define HMI_LOG(level, format, ...) \
    HMI_LOG_AS(__func__, level, format __VA_OPT__(, ) __VA_ARGS__)
