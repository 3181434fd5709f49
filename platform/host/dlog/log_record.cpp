// SPDX-License-Identifier: Apache-2.0
#include "log_record.hpp"

#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace healthintf::host
{
namespace
{

struct Free
{
    void operator()(char* text) const
    {
        std::free(text);
    }
};

/** Reads file, line and function from the arguments when the format begins with
 *  them. */
void readOrigin(LogRecord& record, std::string_view format, va_list arguments)
{
    constexpr std::string_view origin = "%s.%d.%s";
    constexpr std::string_view exception = "EXCEPTION ";
    if (format.starts_with(exception))
    {
        format.remove_prefix(exception.size());
    }
    if (!format.starts_with(origin))
    {
        return;
    }
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller's copy
    record.file = va_arg(arguments, const char*);
    record.line = va_arg(arguments, int);
    record.function = va_arg(arguments, const char*);
}

} // namespace

LogRecord formatRecord(int level, int module, const char* format,
                       va_list arguments)
{
    LogRecord record{.level = level,
                     .module = module,
                     .text = {},
                     .file = {},
                     .line = 0,
                     .function = {}};
    va_list again;
    va_copy(again, arguments);
    readOrigin(record, format, again);
    va_end(again);

    char* formatted = nullptr;
    const int length = vasprintf(&formatted, format, arguments);
    if (length < 0)
    {
        throw std::runtime_error("unable to format a log line");
    }
    const std::unique_ptr<char, Free> owned(formatted);
    record.text.assign(formatted, length);
    if (record.text.ends_with('\n'))
    {
        record.text.pop_back();
    }
    return record;
}

int toPriority(int level)
{
    if (level <= 1)
    {
        return LOG_ERR;
    }
    if (level <= 3)
    {
        return LOG_WARNING;
    }
    if (level <= 6)
    {
        return LOG_NOTICE;
    }
    return level == 7 ? LOG_INFO : LOG_DEBUG;
}

const char* levelWord(int level)
{
    switch (toPriority(level))
    {
        case LOG_ERR:
            return "error";
        case LOG_WARNING:
            return "warning";
        case LOG_NOTICE:
            return "notice";
        case LOG_INFO:
            return "info";
        default:
            return "debug";
    }
}

} // namespace healthintf::host
