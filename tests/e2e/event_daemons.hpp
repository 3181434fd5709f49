// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The programs of a test of events: the installed services, which the
 *  bus starts, and the examples, compiled against the installation. */

#include "installation.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{

/** Compiles an example, once in this program's life.
 *
 *  @return the path of the program */
inline std::string compiledExample(const std::string& name)
{
    const auto program = installation().files().path() / name;
    if (!std::filesystem::exists(program))
    {
        installation().compile(
            {SOURCE_FOLDER "/examples/" + name + ".cpp", "-o", program});
    }
    return program;
}

/** A bus that starts the installed services when they are called. */
class ServiceBus
{
  public:
    /** @param[in] logConfig the log manager's configuration */
    explicit ServiceBus(const std::string& logConfig = "")
    {
        bus.activate("com.vexa.olvar.healthmgr",
                     installation().program("healthmgr"));
        bus.activate("com.vexa.olvar.logmgr",
                     installation().program("logmgr") + " --config " +
                         bus.folder().write("logmgr.toml", logConfig).string());
    }

    PrivateBus bus;
};

inline std::string busctl(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"busctl", "--system"});
    return readOutput(arguments);
}

/** The unique name of the bus connection of a process.
 *
 *  @throws std::runtime_error when the process has none */
inline std::string findConnection(pid_t process)
{
    std::istringstream lines(busctl({"list", "--no-legend"}));
    for (std::string line; std::getline(lines, line);)
    {
        const std::vector<std::string> columns = words(line);
        if (columns.size() > 1 && columns[1] == std::to_string(process))
        {
            return columns[0];
        }
    }
    throw std::runtime_error("the process is not on the bus");
}

} // namespace healthintf::test
