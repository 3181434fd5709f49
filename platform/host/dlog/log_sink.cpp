// SPDX-License-Identifier: Apache-2.0
#include "log_sink.hpp"

#include "../printable.hpp"

#include <platform/pipe_signal_blocker.hpp>

#include <sys/stat.h>
#include <sys/uio.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

// The record has its own origin fields, so libsystemd must not add this line's.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace healthintf::host
{

bool standardErrorIsJournal()
{
    const char* stream = secure_getenv("JOURNAL_STREAM");
    struct stat status
    {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0)
    {
        return false;
    }
    return std::to_string(status.st_dev) + ":" +
               std::to_string(status.st_ino) ==
           stream;
}

int writeToJournal(const LogRecord& record)
{
    std::array<std::string, 6> fields{
        "MESSAGE=" + record.text,
        "PRIORITY=" + std::to_string(toPriority(record.level)),
        "HEALTHINTF_MODULE=" + std::to_string(record.module),
        "CODE_FILE=" + record.file,
        "CODE_LINE=" + std::to_string(record.line),
        "CODE_FUNC=" + record.function};
    const int count = record.file.empty() ? 3 : 6;
    std::array<iovec, 6> parts{};
    for (int i = 0; i < count; ++i)
    {
        parts[i] = {fields[i].data(), fields[i].size()};
    }
    return sd_journal_sendv(parts.data(), count);
}

int writeAsText(int fd, const LogRecord& record)
{
    const std::string line = std::string(program_invocation_short_name) + ": " +
                             levelWord(record.level) + ": " +
                             printable(record.text) + "\n";
    return writeText(fd, line);
}

int writeText(int fd, std::string_view text)
{
    // A lost line must not end the daemon.
    const PipeSignalBlocker blocker;
    // One write(), so that lines of several processes do not mix.
    const ssize_t written = write(fd, text.data(), text.size());
    const int error = written < 0 ? errno : 0;
    // The reader may also end when it has read the beginning of a long line.
    if (written < static_cast<ssize_t>(text.size()))
    {
        blocker.drop();
    }
    return -error;
}

} // namespace healthintf::host
