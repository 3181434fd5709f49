// SPDX-License-Identifier: Apache-2.0
#include "dlog/log_record.hpp"

#include <gtest/gtest.h>

#include <syslog.h>

namespace healthintf::host
{
namespace
{

LogRecord record(const char* format, ...) __attribute__((format(printf, 1, 2)));

LogRecord record(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogRecord made = formatRecord(7, 271, format, arguments);
    va_end(arguments);
    return made;
}

TEST(LogRecordOfALine, KnowsWhereTheLineComesFrom)
{
    const LogRecord made =
        record("%s.%d.%s: number %d", "file", 12, "function", 5);
    EXPECT_EQ(made.text, "file.12.function: number 5");
    EXPECT_EQ(made.file, "file");
    EXPECT_EQ(made.line, 12);
    EXPECT_EQ(made.function, "function");
    EXPECT_EQ(made.level, 7);
    EXPECT_EQ(made.module, 271);
}

TEST(LogRecordOfALine, KnowsWhereAnExceptionComesFrom)
{
    const LogRecord made =
        record("EXCEPTION %s.%d.%s: %s", "file", 12, "function", "text");
    EXPECT_EQ(made.text, "EXCEPTION file.12.function: text");
    EXPECT_EQ(made.function, "function");
}

TEST(LogRecordOfALine, ReadsNoOriginFromAnotherFormat)
{
    const LogRecord made = record("plain %d %s", 1, "text");
    EXPECT_EQ(made.text, "plain 1 text");
    EXPECT_EQ(made.file, "");
    EXPECT_EQ(made.line, 0);
}

TEST(LogRecordOfALine, DropsOneNewlineAtItsEnd)
{
    EXPECT_EQ(record("a\n").text, "a");
    EXPECT_EQ(record("a\n\n").text, "a\n");
    EXPECT_EQ(record("%s", "").text, "");
}

TEST(LogRecordOfALine, KeepsLongLines)
{
    const std::string text(20000, 'x');
    EXPECT_EQ(record("%s", text.c_str()).text, text);
}

TEST(LogLevels, HaveAPriorityAndAWord)
{
    EXPECT_EQ(toPriority(1), LOG_ERR);
    EXPECT_EQ(toPriority(2), LOG_WARNING);
    EXPECT_EQ(toPriority(5), LOG_NOTICE);
    EXPECT_EQ(toPriority(7), LOG_INFO);
    EXPECT_EQ(toPriority(8), LOG_DEBUG);
    EXPECT_EQ(toPriority(9), LOG_DEBUG);
    EXPECT_STREQ(levelWord(1), "error");
    EXPECT_STREQ(levelWord(2), "warning");
    EXPECT_STREQ(levelWord(5), "notice");
    EXPECT_STREQ(levelWord(7), "info");
    EXPECT_STREQ(levelWord(8), "debug");
}

} // namespace
} // namespace healthintf::host
