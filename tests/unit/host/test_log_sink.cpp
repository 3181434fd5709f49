// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "dlog/log_sink.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace healthintf::host
{
namespace
{

using test::inChild;

const LogRecord example{.level = 1,
                        .module = 271,
                        .text = "file.1.function: text",
                        .file = "file",
                        .line = 1,
                        .function = "function"};

/** The text that is written for a record. */
std::string formatText(const LogRecord& record)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    EXPECT_EQ(writeAsText(ends[1], record), 0);
    close(ends[1]);
    std::array<char, 200> text{};
    EXPECT_GT(read(ends[0], text.data(), text.size() - 1), 0);
    close(ends[0]);
    return text.data();
}

TEST(LogAsText, IsOneLineWithProgramAndLevel)
{
    EXPECT_EQ(formatText(example), std::string(program_invocation_short_name) +
                                       ": error: file.1.function: text\n");
}

TEST(LogAsText, IsOneLineForAnyText)
{
    LogRecord record = example;
    record.text = "key\nlogmgr: error: \x1b[2J\u202Eb\u2028\xFF";
    EXPECT_EQ(formatText(record),
              std::string(program_invocation_short_name) +
                  ": error: key logmgr: error: \\x1b[2J\\u202eb\\u2028?\n");
}

TEST(LogAsText, ReportsAFailure)
{
    EXPECT_EQ(writeAsText(-1, example), -EBADF);
}

/** Writes a record to a pipe whose reader has ended. */
int writeToNobody()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    const int result = writeAsText(ends[1], example);
    close(ends[1]);
    return result;
}

TEST(LogAsText, DoesNotEndTheProcessWhenItsReaderHasEnded)
{
    EXPECT_EQ(inChild([] {
                  return writeToNobody() == -EPIPE ? 0 : 1;
              }),
              0);
}

TEST(LogAsText, DoesNotEndTheProcessWhenItsReaderEndsAmidALongLine)
{
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> ends{};
                  if (pipe(ends.data()) != 0)
                  {
                      return 1;
                  }
                  const int size = fcntl(ends[1], F_GETPIPE_SZ);
                  LogRecord record = example;
                  record.text.assign(2 * size, 'x');
                  std::thread reader([&ends] {
                      char first = 0;
                      const bool read = ::read(ends[0], &first, 1) == 1;
                      close(read ? ends[0] : -1);
                  });
                  const int result = writeAsText(ends[1], record);
                  reader.join();
                  return result;
              }),
              0);
}

TEST(LogAsText, LeavesTheSignalOfAPipeToTheProgram)
{
    EXPECT_EQ(inChild([] {
                  sigset_t pipeSignal;
                  sigemptyset(&pipeSignal);
                  sigaddset(&pipeSignal, SIGPIPE);
                  sigprocmask(SIG_BLOCK, &pipeSignal, nullptr);
                  raise(SIGPIPE);
                  writeToNobody();
                  sigset_t waiting;
                  sigpending(&waiting);
                  return sigismember(&waiting, SIGPIPE) == 1 ? 0 : 1;
              }),
              0);
    sigset_t blocked;
    writeToNobody();
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

TEST(LogToTheJournal, TakesARecordWithOrWithoutOrigin)
{
    // The call succeeds even without a journal.
    EXPECT_EQ(writeToJournal(example), 0);
    LogRecord plain = example;
    plain.file.clear();
    EXPECT_EQ(writeToJournal(plain), 0);
}

TEST(StandardError, IsTheJournalWhenItIsTheStreamOfTheEnvironment)
{
    EXPECT_EQ(inChild([] {
                  struct stat status
                  {};
                  fstat(STDERR_FILENO, &status);
                  setenv("JOURNAL_STREAM",
                         (std::to_string(status.st_dev) + ":" +
                          std::to_string(status.st_ino))
                             .c_str(),
                         1);
                  return standardErrorIsJournal() ? 0 : 1;
              }),
              0);
}

TEST(StandardError, IsNotTheJournalForAnyOtherStream)
{
    setenv("JOURNAL_STREAM", "1:2", 1);
    EXPECT_FALSE(standardErrorIsJournal());
    unsetenv("JOURNAL_STREAM");
    EXPECT_FALSE(standardErrorIsJournal());
}

} // namespace
} // namespace healthintf::host
