// SPDX-License-Identifier: Apache-2.0
#include "log_sink.hpp"
#include "threshold.hpp"

#include <platform/dlog.h>

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <exception>

using namespace healthintf::host;

namespace
{

int writeLine(int level, int module, const char* format, va_list arguments)
{
    static const bool journal = standardErrorIsJournal();
    try
    {
        const LogRecord record = formatRecord(level, module, format, arguments);
        return journal ? writeToJournal(record)
                       : writeAsText(STDERR_FILENO, record);
    }
    catch (const std::exception&)
    {
        return -ENOMEM;
    }
}

} // namespace

extern "C" int dlog_printf(int level, int module, const char* format, ...)
{
    if (level > logThreshold())
    {
        return 0;
    }
    va_list arguments;
    va_start(arguments, format);
    const int result = writeLine(level, module, format, arguments);
    va_end(arguments);
    return result;
}
