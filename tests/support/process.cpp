// SPDX-License-Identifier: Apache-2.0
#include "process.hpp"

#include "argument_pointers.hpp"
#include "file_content.hpp"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace healthintf::test
{
namespace
{

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::runtime_error("unable to make a pipe");
    }
    return ends;
}

/** This process's environment with @p changes applied. */
std::vector<std::string>
environmentWith(const std::vector<std::string>& changes)
{
    std::vector<std::string> all(changes);
    for (char** entry = environ; *entry != nullptr; ++entry)
    {
        const std::string setting = *entry;
        const std::string name = setting.substr(0, setting.find('=') + 1);
        bool changed = false;
        for (const std::string& change : changes)
        {
            changed = changed || change.starts_with(name);
        }
        if (!changed)
        {
            all.push_back(setting);
        }
    }
    return all;
}

/** Waits until a descriptor is readable.
 *
 *  @return false after a timeout */
bool readable(int fd, std::chrono::seconds limit)
{
    pollfd poller{.fd = fd, .events = POLLIN, .revents = 0};
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(limit);
    return poll(&poller, 1, static_cast<int>(milliseconds.count())) > 0;
}

} // namespace

Process::Process(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment,
                 std::chrono::seconds limit) :
    limit(limit)
{
    const auto toProgram = makePipe();
    const auto fromProgram = makePipe();
    standardError = memfd_create("errors", MFD_CLOEXEC);
    input = toProgram[1];
    lines = fromProgram[0];

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toProgram[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromProgram[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, standardError, STDERR_FILENO);
    // When a test is killed, its programs must end too.
    std::vector<std::string> arguments{"setpriv", "--pdeathsig", "KILL"};
    arguments.insert(arguments.end(), command.begin(), command.end());
    std::vector<std::string> settings = environmentWith(environment);
    const int result = posix_spawnp(
        &process, arguments.front().c_str(), &actions, nullptr,
        argumentPointers(arguments).data(), argumentPointers(settings).data());
    posix_spawn_file_actions_destroy(&actions);
    close(toProgram[0]);
    close(fromProgram[1]);
    if (result != 0)
    {
        throw std::runtime_error("unable to run " + arguments.front() + ": " +
                                 std::strerror(result));
    }
}

Process::Process(Process&& other) noexcept :
    limit(other.limit), process(other.process),
    gone(std::exchange(other.gone, true)), status(other.status),
    input(std::exchange(other.input, -1)),
    lines(std::exchange(other.lines, -1)),
    standardError(std::exchange(other.standardError, -1)),
    heard(std::move(other.heard))
{}

Process::~Process()
{
    if (!gone)
    {
        kill();
    }
    for (const int fd : {input, lines, standardError})
    {
        if (fd >= 0)
        {
            close(fd);
        }
    }
}

void Process::tell(const std::string& line)
{
    const std::string whole = line + "\n";
    if (write(input, whole.data(), whole.size()) !=
        static_cast<ssize_t>(whole.size()))
    {
        throw std::runtime_error("unable to talk to the program: " + errors());
    }
}

bool Process::readMore()
{
    if (!readable(lines, limit))
    {
        throw std::runtime_error("the program says nothing: " + errors());
    }
    std::array<char, 4096> part{};
    const ssize_t got = read(lines, part.data(), part.size());
    if (got > 0)
    {
        heard.append(part.data(), got);
    }
    return got > 0;
}

std::string Process::hear()
{
    while (heard.find('\n') == std::string::npos)
    {
        if (!readMore())
        {
            throw std::runtime_error("the program ended: " + errors());
        }
    }
    const auto end = heard.find('\n');
    std::string line = heard.substr(0, end);
    heard.erase(0, end + 1);
    return line;
}

std::string Process::ask(const std::string& line)
{
    tell(line);
    return hear();
}

void Process::endInput()
{
    close(std::exchange(input, -1));
}

void Process::signal(int number) const
{
    ::kill(process, number);
}

void Process::awaitEnd(std::chrono::seconds atMost)
{
    if (gone)
    {
        return;
    }
    if (!endsInTime(process, atMost))
    {
        throw std::runtime_error("the program does not end: " + errors());
    }
    waitpid(process, &status, 0);
    gone = true;
}

int Process::wait()
{
    awaitEnd(limit);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Process::kill()
{
    if (!gone)
    {
        signal(SIGKILL);
        awaitEnd(patience);
    }
}

std::size_t Process::peakMemory() const
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;)
    {
        if (word == "VmHWM:")
        {
            std::size_t kib = 0;
            status >> kib;
            return kib / 1024;
        }
    }
    throw std::runtime_error("no peak of memory");
}

std::string Process::errors() const
{
    return readContent("/proc/self/fd/" + std::to_string(standardError));
}

std::string Process::output()
{
    while (readMore())
    {}
    return std::exchange(heard, {});
}

bool endsInTime(pid_t process, std::chrono::seconds limit)
{
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (handle < 0)
    {
        return errno == ESRCH;
    }
    const bool ended = readable(handle, limit);
    close(handle);
    return ended;
}

std::string readOutput(const std::vector<std::string>& command,
                       const std::vector<std::string>& environment,
                       std::chrono::seconds limit)
{
    Process program(command, environment, limit);
    std::string output = program.output();
    if (const int status = program.wait(); status != 0)
    {
        throw std::runtime_error(command.front() + " exits with " +
                                 std::to_string(status) + ": " +
                                 program.errors() + output);
    }
    return output;
}

} // namespace healthintf::test
