// SPDX-License-Identifier: Apache-2.0
#include "reading_process.hpp"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace healthintf::hostmon
{
namespace
{

// The first byte of a request; what the read before kept follows.
constexpr char keptFollows = 'k';
// The first byte of an answer; the value and what the read keeps follow, or the
// cause of the failure.
constexpr char valueFollows = 'v';
constexpr char causeFollows = 'c';
constexpr std::size_t maxMessage = 16384;

std::string makeAnswer(const KeepingRead& read, std::string kept)
{
    try
    {
        const double value = read(kept);
        std::string answer(1 + sizeof value, valueFollows);
        std::memcpy(answer.data() + 1, &value, sizeof value);
        return answer + kept;
    }
    catch (const std::exception& e)
    {
        return (causeFollows + std::string(e.what())).substr(0, maxMessage);
    }
}

double parseAnswer(const std::string& answer, std::string& kept)
{
    if (answer.front() == causeFollows)
    {
        throw std::runtime_error(answer.substr(1));
    }
    double value = 0;
    std::memcpy(&value, answer.data() + 1, sizeof value);
    kept = answer.substr(1 + sizeof value);
    return value;
}

/** Receives one message; an empty text when the other end is closed. */
std::string receive(int socket)
{
    std::string message(maxMessage, '\0');
    const ssize_t size = recv(socket, message.data(), message.size(), 0);
    message.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return message;
}

/** Closes every descriptor inherited from hostmon except the socket: a read
 *  that hangs would keep them open.
 *
 *  @return the socket's new number; -1 on failure */
int closeAllBut(int socket)
{
    constexpr int place = STDERR_FILENO + 1;
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    const bool succeeded = nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 &&
                           dup2(nothing, STDOUT_FILENO) >= 0 &&
                           dup2(nothing, STDERR_FILENO) >= 0 &&
                           dup2(socket, place) >= 0 &&
                           close_range(place + 1, ~0U, 0) == 0;
    return succeeded ? place : -1;
}

/** The child process: answers requests until the parent is gone. */
[[noreturn]] void serve(int inherited, pid_t owner, const KeepingRead& read)
{
    // The child must also end while it is in a read that never returns.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int socket = closeAllBut(inherited);
    if (getppid() != owner || socket < 0)
    {
        _exit(EXIT_FAILURE);
    }
    // A watch that counts the processes named hostmon must not count this one.
    prctl(PR_SET_NAME, "hostmon-reader");
    for (std::string request = receive(socket); !request.empty();
         request = receive(socket))
    {
        const std::string answer = makeAnswer(read, request.substr(1));
        if (send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) < 0)
        {
            break;
        }
    }
    _exit(EXIT_SUCCESS);
}

} // namespace

ReadingProcess::ReadingProcess(KeepingRead ownRead,
                               std::chrono::milliseconds ownTimeout) :
    childRead(std::move(ownRead)),
    timeout(ownTimeout)
{}

ReadingProcess::~ReadingProcess()
{
    end();
    // Others may hang for as long as this process would wait for them.
    forgetEnded();
}

double ReadingProcess::read()
{
    forgetEnded();
    auto answer = requestReading();
    if (!answer)
    {
        start();
        answer = requestReading();
    }
    if (!answer)
    {
        throw std::runtime_error("the process that reads it has ended");
    }
    return parseAnswer(*answer, kept);
}

void ReadingProcess::start()
{
    end();
    const auto fail = [](const char* call) {
        throw std::system_error(errno, std::generic_category(), call);
    };
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
    {
        fail("socketpair");
    }
    host::FileDescriptor own(ends[0]);
    const host::FileDescriptor others(ends[1]);
    const pid_t owner = getpid();
    process = fork();
    if (process == 0)
    {
        serve(others.get(), owner, childRead);
    }
    if (process < 0)
    {
        fail("fork");
    }
    socket = std::move(own);
}

void ReadingProcess::end()
{
    if (process < 0)
    {
        return;
    }
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR)
    {}
    process = -1;
    socket = host::FileDescriptor();
}

/** Kills the child process without waiting for its end, unless too many were
 *  left already. */
void ReadingProcess::leave()
{
    forgetEnded();
    if (left.size() < mostLeft)
    {
        kill(process, SIGKILL);
        left.push_back(std::exchange(process, -1));
        socket = host::FileDescriptor();
    }
}

void ReadingProcess::forgetEnded()
{
    std::erase_if(left, [](pid_t each) {
        return waitpid(each, nullptr, WNOHANG) != 0;
    });
}

/** Waits until the child process has answered or ended, but not longer than the
 *  timeout.
 *
 *  @return whether it has */
bool ReadingProcess::waitForAnswer() const
{
    pollfd answer{.fd = socket.get(), .events = POLLIN, .revents = 0};
    return poll(&answer, 1, static_cast<int>(timeout.count())) != 0;
}

/** Asks the child process for a reading, and another one when it takes too
 *  long.
 *
 *  @return its answer; nothing when there is no child process */
std::optional<std::string> ReadingProcess::requestReading()
{
    const std::string request = keptFollows + kept;
    const auto sendRequest = [&] {
        return send(socket.get(), request.data(), request.size(),
                    MSG_NOSIGNAL) >= 0;
    };
    bool sent = sendRequest();
    while (sent && !waitForAnswer())
    {
        leave();
        start();
        sent = sendRequest();
    }
    if (!sent)
    {
        return {};
    }
    std::string answer = receive(socket.get());
    return answer.empty() ? std::nullopt : std::optional(std::move(answer));
}

} // namespace healthintf::hostmon
