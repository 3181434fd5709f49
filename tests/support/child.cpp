// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"

#include "file_content.hpp"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <grp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace healthintf::test
{

void Child::Parent::tell(const std::string& line) const
{
    const std::string whole = line + "\n";
    if (write(fd, whole.data(), whole.size()) !=
        static_cast<ssize_t>(whole.size()))
    {
        throw std::runtime_error("unable to talk to the parent");
    }
}

void Child::Parent::waitForever()
{
    for (;;)
    {
        pause();
    }
}

Child::Child(const std::function<int(const Parent&)>& work)
{
    std::array<int, 2> pipes{};
    standardError = memfd_create("errors", 0);
    if (pipe(pipes.data()) != 0 || standardError < 0)
    {
        throw std::runtime_error("unable to make a pipe");
    }
    std::fflush(nullptr);
    const pid_t parent = getpid();
    process = fork();
    if (process < 0)
    {
        throw std::runtime_error("unable to fork");
    }
    if (process == 0)
    {
        // When a test is killed, its children must end too.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
        {
            _exit(125);
        }
        close(pipes[0]);
        dup2(standardError, STDERR_FILENO);
        int result = 125;
        try
        {
            result = work(Parent(pipes[1]));
        }
        catch (const std::exception& e)
        {
            std::fprintf(stderr, "%s\n", e.what());
        }
        std::fflush(nullptr);
        _exit(result);
    }
    close(pipes[1]);
    toParent = pipes[0];
}

Child::~Child()
{
    if (!gone)
    {
        kill();
    }
    close(toParent);
    close(standardError);
}

std::string Child::hear()
{
    std::string line;
    for (;;)
    {
        char next = 0;
        const ssize_t got = read(toParent, &next, 1);
        if (got == 1 && next == '\n')
        {
            return line;
        }
        if (got == 1)
        {
            line.push_back(next);
        }
        else if (got == 0 || errno != EINTR)
        {
            throw std::runtime_error("the child ended: " + errors());
        }
    }
}

void Child::kill()
{
    ::kill(process, SIGKILL);
    wait();
}

int Child::wait()
{
    while (!gone)
    {
        gone = waitpid(process, &status, 0) == process || errno != EINTR;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Child::errors()
{
    return readContent("/proc/self/fd/" + std::to_string(standardError));
}

int inChild(const std::function<int()>& work, std::string* errors)
{
    Child child([&work](const Child::Parent&) {
        return work();
    });
    const int status = child.wait();
    if (errors != nullptr)
    {
        *errors = child.errors();
    }
    else if (status != 0)
    {
        std::fputs(child.errors().c_str(), stderr);
    }
    return status;
}

void leaveRoot()
{
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 ||
                           setuid(nobody) != 0))
    {
        throw std::runtime_error("unable to leave root");
    }
}

} // namespace healthintf::test
