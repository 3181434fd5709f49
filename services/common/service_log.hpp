// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The log lines of the services. */

#include <platform/log_line.hpp>

namespace healthintf::services
{

/** The services' module number in the debug log. */
inline constexpr int logModule = 310;

namespace log = ::healthintf::log;

} // namespace healthintf::services

/** Logs one line in the name of the current function. */
#define SERVICE_LOG(level, format, ...)                           \
    DLOG_LINE(::healthintf::services::logModule, __func__, level, \
              format __VA_OPT__(, ) __VA_ARGS__)
