// SPDX-License-Identifier: Apache-2.0
#include "launcher.hpp"

#include "handles.hpp"

#include <sys/mount.h>
#include <sys/prctl.h>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;

// The first descriptor of socket activation (SD_LISTEN_FDS_START).
constexpr int firstPassed = 3;

void writeFile(const fs::path& file, const std::string& text)
{
    std::ofstream stream(file);
    stream << text << std::flush;
    checkErrno(stream ? 0 : -1, file);
}

/** Maps one id of the new user namespace to the same id outside. */
std::string onlyThis(unsigned id)
{
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

/** Enters a mount namespace. A user without the right to do so enters a user
 *  namespace too, which grants it. */
void enterNamespaces()
{
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWNS) == 0)
    {
        return;
    }
    checkErrno(unshare(CLONE_NEWUSER | CLONE_NEWNS),
               "no mount namespace of our own");
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", onlyThis(user));
    writeFile("/proc/self/gid_map", onlyThis(group));
}

/** Makes /run/systemd/journal if it is missing, on a tmpfs over /run/systemd or
 *  /run that only this namespace sees. */
void makeMountPoint(const fs::path& shown)
{
    const fs::path parent = shown.parent_path();
    std::error_code refused;
    // An empty /run/systemd harms nobody; covering /run would hide its content.
    fs::create_directory(parent, refused);
    const fs::path covered = fs::exists(parent) ? parent : "/run";
    checkErrno(mount("none", covered.c_str(), "tmpfs", 0, nullptr), covered);
    fs::create_directories(shown);
}

/** Mounts @p journal over /run/systemd/journal, in this namespace only. */
void showJournal(const fs::path& journal)
{
    checkErrno(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "/");
    const fs::path shown = "/run/systemd/journal";
    if (!fs::exists(shown))
    {
        makeMountPoint(shown);
    }
    checkErrno(mount(journal.c_str(), shown.c_str(), nullptr, MS_BIND, nullptr),
               shown);
}

/** Hands the listening socket over as systemd's socket activation does. */
void passOn(int listening)
{
    checkErrno(dup2(listening, firstPassed), "dup2");
    // dup2() of a descriptor to itself leaves FD_CLOEXEC set.
    checkErrno(fcntl(firstPassed, F_SETFD, 0), "fcntl");
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
}

/** Replaces this process by dbus-broker-launch. */
[[noreturn]] void becomeLauncher(const Launch& launch, int listening)
{
    checkErrno(prctl(PR_SET_PDEATHSIG, SIGKILL), "prctl");
    enterNamespaces();
    showJournal(launch.journal);
    passOn(listening);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", launch.address.c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", launch.address.c_str(), 1);
    execlp("dbus-broker-launch", "dbus-broker-launch", "--scope",
           launch.scope.c_str(), "--config-file", launch.config.c_str(),
           nullptr);
    throw std::system_error(errno, std::generic_category(),
                            "dbus-broker-launch");
}

} // namespace

pid_t startLauncher(const Launch& launch, int listening)
{
    const pid_t child = checkErrno(fork(), "fork");
    if (child == 0)
    {
        try
        {
            becomeLauncher(launch, listening);
        }
        catch (const std::exception& error)
        {
            std::fprintf(stderr, "broker-daemon: %s\n", error.what());
            _exit(EXIT_FAILURE);
        }
    }
    return child;
}

} // namespace healthintf::test
