// SPDX-License-Identifier: Apache-2.0
#include "pager.hpp"

#include "terminal.hpp"

#include <sys/wait.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** Does nothing at signals, and restores what was done at them before. Unlike
 *  ignoring them it ends in a program that is started meanwhile. */
class IgnoredSignals
{
  public:
    explicit IgnoredSignals(std::initializer_list<int> numbers)
    {
        struct sigaction ignore
        {};
        ignore.sa_handler = [](int) {};
        ignore.sa_flags = SA_RESTART;
        for (const int number : numbers)
        {
            struct sigaction old
            {};
            sigaction(number, &ignore, &old);
            before.emplace_back(number, old);
        }
    }
    ~IgnoredSignals()
    {
        for (const auto& [number, old] : before)
        {
            sigaction(number, &old, nullptr);
        }
    }
    IgnoredSignals(const IgnoredSignals&) = delete;
    IgnoredSignals& operator=(const IgnoredSignals&) = delete;

  private:
    std::vector<std::pair<int, struct sigaction>> before;
};

/** Sets how less shows a text: it ends by itself when all fits on the screen,
 *  shows colours, and leaves the text there. */
void setUpLess()
{
    setenv("LESS", "FRX", 0);
    if (std::getenv("SUDO_UID") != nullptr)
    {
        // Who may run only healthctl as another user gets no shell of theirs.
        setenv("LESSSECURE", "1", 1);
    }
}

/** Whether a shell has found the program and run it. */
bool hasRun(int status)
{
    constexpr int notExecutable = 126;
    constexpr int notFound = 127;
    return status != -1 &&
           !(WIFEXITED(status) && (WEXITSTATUS(status) == notExecutable ||
                                   WEXITSTATUS(status) == notFound));
}

/** Runs the pager on a text.
 *
 *  @return whether there is such a program */
bool runPager(const std::string& text, const std::string& pager)
{
    // Ctrl-C is for the pager, which may also end before it has read all.
    const IgnoredSignals ignored{SIGINT, SIGQUIT, SIGPIPE};
    FILE* input = popen(pager.c_str(), "we");
    if (input == nullptr)
    {
        return false;
    }
    std::fwrite(text.data(), 1, text.size(), input);
    return hasRun(pclose(input));
}

/** Whether this process may draw upon the terminal: a background job that
 *  starts a pager would stop. */
bool isInForeground()
{
    return tcgetpgrp(STDOUT_FILENO) == getpgrp();
}

} // namespace

std::string choosePager()
{
    if (!canDraw() || !isInForeground())
    {
        return "";
    }
    for (const char* name : {"HEALTHCTL_PAGER", "PAGER"})
    {
        if (const char* pager = std::getenv(name))
        {
            return std::string(pager) == "cat" ? "" : pager;
        }
    }
    return "less";
}

void showPaged(const std::string& text, const std::string& pager,
               std::size_t lines, std::ostream& out)
{
    const auto count = static_cast<std::size_t>(std::ranges::count(text, '\n'));
    if (pager.empty() || count < lines)
    {
        out << text;
        return;
    }
    setUpLess();
    if (!runPager(text, pager))
    {
        out << text;
    }
}

} // namespace healthintf::healthctl
