#pragma once

/** @file The one line that the bindings log. */

#include <platform/log_line.hpp>

namespace healthintf::binding
{

/** Logs the destruction of a binding's object. Log readers know these lines
 *  by a module, file and line number of their own, the same for every
 *  binding, and by a text that does not depend on whether the object has a
 *  record. */
inline void logDestruction(const char* function)
{
    constexpr int module = 128;
    constexpr int line = 67;
    dlog_printf(log::binding, module, "%s.%d.%s: destructor called, DAL true",
                "server", line, function);
}

} // namespace healthintf::binding
