// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The log line of the bindings. */

#include <platform/log_line.hpp>

namespace healthintf::binding
{

/** Logs the destruction of a binding's object. Log readers search for these
 *  lines by a fixed module, file and line number, the same for every binding,
 *  and by a text that is the same with and without a record. */
inline void logDestruction(const char* function)
{
    constexpr int module = 128;
    constexpr int line = 67;
    dlog_printf(log::binding, module, "%s.%d.%s: destructor called, DAL true",
                "server", line, function);
}

} // namespace healthintf::binding
