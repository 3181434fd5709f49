// SPDX-License-Identifier: Apache-2.0
/** @file Runs dbus-broker in place of dbus-daemon on a machine without systemd.
 *
 *  Takes the options of dbus-daemon that the tests use, provides what
 *  dbus-broker-launch expects of systemd (a listening socket, a journal, a
 *  service that starts units), and runs the bus until the bus ends or a signal
 *  stops it.
 *
 *      broker-daemon --config-file=FILE [--print-address[=FD]]
 *                    [--print-pid[=FD]] [--nofork] [--nopidfile] [--nosyslog]
 *
 *  The process id that it prints is that of dbus-broker itself. */

#include "handles.hpp"
#include "journal.hpp"
#include "launcher.hpp"
#include "options.hpp"
#include "unit_starter.hpp"
#include "unix_socket.hpp"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <optional>
#include <set>
#include <vector>

extern char** environ;

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;

/** A folder beside the socket for the broker's own files. */
class BrokerFolder
{
  public:
    explicit BrokerFolder(const fs::path& socket)
    {
        std::string name = socket.parent_path() / "broker.XXXXXX";
        checkErrno(mkdtemp(name.data()) == nullptr ? -1 : 0, name);
        folder = name;
    }

    ~BrokerFolder()
    {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    BrokerFolder(const BrokerFolder&) = delete;
    BrokerFolder& operator=(const BrokerFolder&) = delete;

    fs::path path() const
    {
        return folder;
    }

  private:
    fs::path folder;
};

/** Writes a configuration that includes @p included and lets this process's
 *  user own the service manager's name. */
fs::path writeConfig(const fs::path& folder, const fs::path& included)
{
    const fs::path file = folder / "bus.conf";
    std::ofstream(file)
        << "<!DOCTYPE busconfig PUBLIC "
           "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
           "<busconfig><include>"
        << fs::absolute(included).string() << "</include><policy user=\""
        << getuid()
        << "\"><allow own=\"org.freedesktop.systemd1\"/>"
           "<allow send_destination=\"org.freedesktop.systemd1\"/>"
           "</policy></busconfig>\n";
    return file;
}

/** This process's environment, with the variables that tell a program which bus
 *  started it. */
std::vector<std::string> environmentOfServices(const std::string& scope,
                                               const std::string& address)
{
    const bool system = scope == "system";
    setenv(system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS",
           address.c_str(), 1);
    setenv("DBUS_STARTER_ADDRESS", address.c_str(), 1);
    setenv("DBUS_STARTER_BUS_TYPE", system ? "system" : "session", 1);
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry)
    {
        all.emplace_back(*entry);
    }
    return all;
}

/** Connects as a client. */
BusHandle connect(const std::string& address)
{
    sd_bus* made = nullptr;
    checkResult(sd_bus_new(&made), "sd_bus_new");
    BusHandle bus(made);
    checkResult(sd_bus_set_address(made, address.c_str()), address);
    checkResult(sd_bus_set_bus_client(made, 1), address);
    checkResult(sd_bus_start(made), address);
    return bus;
}

/** The broker, which is the only child of the launcher. */
pid_t findBroker(pid_t launcher)
{
    const std::string id = std::to_string(launcher);
    const fs::path children = "/proc/" + id + "/task/" + id + "/children";
    pid_t broker = -1;
    std::ifstream(children) >> broker;
    checkErrno(broker, children);
    return broker;
}

/** Keeps the descriptors for --print-address and --print-pid from the programs
 *  that this process starts: their readers wait until the pipes close. */
void keepToOurselves(const Options& options)
{
    for (const int to : {options.addressTo, options.pidTo})
    {
        if (to > STDERR_FILENO)
        {
            checkErrno(fcntl(to, F_SETFD, FD_CLOEXEC), "fcntl");
        }
    }
}

/** Prints the address and the process id if they were asked for, and closes the
 *  pipes. */
void print(const Options& options, const std::string& address, pid_t broker)
{
    if (options.addressTo >= 0)
    {
        dprintf(options.addressTo, "%s\n", address.c_str());
    }
    if (options.pidTo >= 0)
    {
        dprintf(options.pidTo, "%d\n", broker);
    }
    for (const int to : std::set{options.addressTo, options.pidTo})
    {
        if (to > STDERR_FILENO)
        {
            close(to);
        }
    }
}

/** Runs one bus. */
class Broker
{
  public:
    explicit Broker(const Options& options) :
        options(options), config(readConfig(options.config)),
        folder(config.socket), journal(makeJournal(folder.path())),
        address("unix:path=" + config.socket.string())
    {}

    ~Broker()
    {
        std::error_code ignored;
        fs::remove(config.socket, ignored);
    }

    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /** Runs until dbus-broker-launch ends.
     *
     *  @return its exit status */
    int run()
    {
        sd_event* made = nullptr;
        checkResult(sd_event_new(&made), "sd_event_new");
        loop.reset(made);
        start();
        try
        {
            serve();
        }
        catch (const std::exception&)
        {
            // The broker's own log may name the cause: print it first.
            journal.drain();
            throw;
        }
        checkResult(sd_event_loop(loop.get()), "sd_event_loop");
        journal.drain();
        return status;
    }

  private:
    static fs::path makeJournal(const fs::path& folder)
    {
        fs::create_directory(folder / "journal");
        // The broker may run as another user.
        fs::permissions(folder, fs::perms(0755));
        return folder / "journal";
    }

    void start()
    {
        keepToOurselves(options);
        const fs::path file = writeConfig(folder.path(), options.config);
        // Only the launcher may keep the socket open: when it ends, clients
        // that are connecting must get an error.
        const Descriptor listening = bindSocket(config.socket, SOCK_STREAM);
        launcher = startLauncher({.config = file,
                                  .scope = config.scope,
                                  .address = address,
                                  .journal = folder.path() / "journal"},
                                 listening.get());
    }

    void serve()
    {
        bus = connect(address);
        starter.emplace(bus.get(),
                        environmentOfServices(config.scope, address));
        checkResult(sd_bus_attach_event(bus.get(), loop.get(), 0), "loop");
        journal.attach(loop.get());
        handleSignals();
        const pid_t broker = findBroker(launcher);
        endWith(broker);
        print(options, address, broker);
    }

    /** Ends the launcher when the broker ends. The launcher does so itself, but
     *  if its own connection to the broker is not accepted yet, it first waits
     *  90 seconds for the answer. */
    void endWith(pid_t broker)
    {
        brokersEnd.emplace(
            checkErrno(static_cast<int>(syscall(SYS_pidfd_open, broker, 0)),
                       "pidfd_open"));
        checkResult(sd_event_add_io(loop.get(), nullptr, brokersEnd->get(),
                                    EPOLLIN, killLauncher, this),
                    "sd_event_add_io");
    }

    static int killLauncher(sd_event_source* source, int /*fd*/,
                            uint32_t /*events*/, void* context)
    {
        kill(static_cast<Broker*>(context)->launcher, SIGKILL);
        return sd_event_source_set_enabled(source, SD_EVENT_OFF);
    }

    void handleSignals()
    {
        sigset_t handled;
        sigemptyset(&handled);
        for (const int number : {SIGCHLD, SIGINT, SIGTERM})
        {
            sigaddset(&handled, number);
        }
        checkErrno(sigprocmask(SIG_BLOCK, &handled, nullptr), "sigprocmask");
        for (const int number : {SIGCHLD, SIGINT, SIGTERM})
        {
            checkResult(sd_event_add_signal(loop.get(), nullptr, number,
                                            takeSignal, this),
                        "sd_event_add_signal");
        }
        reap();
    }

    static int takeSignal(sd_event_source* /*source*/,
                          const signalfd_siginfo* signal, void* context)
    {
        auto& self = *static_cast<Broker*>(context);
        if (signal->ssi_signo == SIGCHLD)
        {
            self.reap();
        }
        else
        {
            kill(self.launcher, SIGTERM);
        }
        return 0;
    }

    void reap()
    {
        int ended = 0;
        for (pid_t child = waitpid(-1, &ended, WNOHANG); child > 0;
             child = waitpid(-1, &ended, WNOHANG))
        {
            if (child == launcher)
            {
                status = WIFEXITED(ended) ? WEXITSTATUS(ended) : EXIT_FAILURE;
                sd_event_exit(loop.get(), 0);
            }
            else
            {
                starter->reportEnd(child, ended == 0);
            }
        }
    }

    Options options;
    BusConfig config;
    BrokerFolder folder;
    BrokerJournal journal;
    std::string address;
    LoopHandle loop;
    BusHandle bus;
    std::optional<UnitStarter> starter;
    std::optional<Descriptor> brokersEnd;
    pid_t launcher = -1;
    int status = EXIT_SUCCESS;
};

} // namespace
} // namespace healthintf::test

int main(int argc, char** argv)
{
    using namespace healthintf::test;
    try
    {
        Broker broker(readOptions({argv + 1, argv + argc}));
        return broker.run();
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "broker-daemon: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
