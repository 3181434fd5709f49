#include "reading_process.hpp"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

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

// What an answer begins with; the value or the cause comes behind it.
constexpr char valueFollows = 'v';
constexpr char causeFollows = 'c';
constexpr std::size_t mostOfAnAnswer = 16384;

std::string answerOf(const std::function<double()>& read)
{
    try
    {
        const double value = read();
        std::string answer(1 + sizeof value, valueFollows);
        std::memcpy(answer.data() + 1, &value, sizeof value);
        return answer;
    }
    catch (const std::exception& e)
    {
        return (causeFollows + std::string(e.what())).substr(0, mostOfAnAnswer);
    }
}

double valueOf(const std::string& answer)
{
    if (answer.front() == causeFollows)
    {
        throw std::runtime_error(answer.substr(1));
    }
    double value = 0;
    std::memcpy(&value, answer.data() + 1, sizeof value);
    return value;
}

/** Lets go of all that belongs to hostmon: a read that hangs would keep it.
 *
 *  @return the number of the only descriptor that is left besides the first
 *          three; -1 when that fails */
int keepOnly(int socket)
{
    constexpr int place = STDERR_FILENO + 1;
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    const bool kept = nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 &&
                      dup2(nothing, STDOUT_FILENO) >= 0 &&
                      dup2(nothing, STDERR_FILENO) >= 0 &&
                      dup2(socket, place) >= 0 &&
                      close_range(place + 1, ~0U, 0) == 0;
    return kept ? place : -1;
}

/** The other process: answers until its owner is gone. */
[[noreturn]] void serve(int inherited, pid_t owner,
                        const std::function<double()>& read)
{
    // Also out of a read that waits for something that never comes.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int socket = keepOnly(inherited);
    if (getppid() != owner || socket < 0)
    {
        _exit(EXIT_FAILURE);
    }
    // Whoever counts the processes of hostmon's name does not mean this one.
    prctl(PR_SET_NAME, "hostmon-reader");
    char request = 0;
    while (recv(socket, &request, sizeof request, 0) > 0)
    {
        const std::string answer = answerOf(read);
        if (send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) < 0)
        {
            break;
        }
    }
    _exit(EXIT_SUCCESS);
}

} // namespace

ReadingProcess::ReadingProcess(std::function<double()> ownRead,
                               std::chrono::milliseconds ownPatience) :
    inOther(std::move(ownRead)),
    patience(ownPatience)
{}

ReadingProcess::~ReadingProcess()
{
    end();
}

double ReadingProcess::read()
{
    auto answer = ask();
    if (!answer)
    {
        start();
        answer = ask();
    }
    if (!answer)
    {
        throw std::runtime_error("the process that reads it has ended");
    }
    return valueOf(*answer);
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
    socket = host::FileDescriptor(ends[0]);
    const host::FileDescriptor others(ends[1]);
    const pid_t owner = getpid();
    process = fork();
    if (process == 0)
    {
        serve(others.get(), owner, inOther);
    }
    if (process < 0)
    {
        fail("fork");
    }
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
}

/** Waits for the other process as long as there is patience.
 *
 *  @return whether it has answered or ended */
bool ReadingProcess::answersInTime() const
{
    pollfd answer{.fd = socket.get(), .events = POLLIN, .revents = 0};
    return poll(&answer, 1, static_cast<int>(patience.count())) != 0;
}

/** Asks the other process for a reading, and the next one when it takes too
 *  long.
 *
 *  @return its answer; nothing when there is no such process */
std::optional<std::string> ReadingProcess::ask()
{
    const char request = 'r';
    const auto asked = [&] {
        return send(socket.get(), &request, sizeof request, MSG_NOSIGNAL) >= 0;
    };
    bool there = asked();
    while (there && !answersInTime())
    {
        start();
        there = asked();
    }
    if (!there)
    {
        return {};
    }
    std::string answer(mostOfAnAnswer, '\0');
    const ssize_t size = recv(socket.get(), answer.data(), answer.size(), 0);
    if (size <= 0)
    {
        return {};
    }
    answer.resize(static_cast<std::size_t>(size));
    return answer;
}

} // namespace healthintf::hostmon
