// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs a component daemon. */

#include "process.hpp"

#include <sys/resource.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{

/** A running component-daemon. */
class Component
{
  public:
    explicit Component(const std::string& loop = "sd-event") :
        process({COMPONENT_DAEMON, loop})
    {}

    /** @param[in] command a command that ends up running component-daemon */
    explicit Component(const std::vector<std::string>& command) :
        process(command)
    {}

    /** Starts a daemon that holds one component. */
    Component(const std::string& key, uint32_t base,
              const std::string& loop = "sd-event") :
        Component(loop)
    {
        init(key, base);
    }

    /** @return the daemon's unique name */
    std::string init(const std::string& key, uint32_t base)
    {
        uniqueName = process.ask("init " + key + " " + std::to_string(base));
        return uniqueName;
    }

    /** The same while the daemon cannot open a file. */
    void initWithoutDescriptors(const std::string& key, uint32_t base)
    {
        // It has opened what it needs when it answers.
        expect("clear none", "no component none");
        // poll(), with which libsystemd waits, refuses more files than the
        // limit.
        constexpr rlim_t least = 3;
        rlimit usual{};
        prlimit(process.pid(), RLIMIT_NOFILE, nullptr, &usual);
        setFileLimit({least, usual.rlim_max});
        init(key, base);
        setFileLimit(usual);
    }

    void add(const std::string& key, const std::string& id,
             const std::string& sensor, uint32_t severity,
             uint32_t sensorNumber = 48)
    {
        expect("add " + key + " " + id + " " + sensor + " " +
                   std::to_string(severity) + " " +
                   std::to_string(sensorNumber),
               "0");
    }

    void remove(const std::string& key, const std::string& id,
                const std::string& sensor)
    {
        expect("remove " + key + " " + id + " " + sensor, "0");
    }

    /** Ends the daemon after it has deleted its components. */
    void end()
    {
        process.endInput();
        if (const int status = process.wait(); status != 0)
        {
            throw std::runtime_error("the daemon ended with " +
                                     std::to_string(status) + ": " +
                                     process.errors());
        }
    }

    void expect(const std::string& command, const std::string& answer)
    {
        if (const std::string given = process.ask(command); given != answer)
        {
            throw std::runtime_error(command + ": " + given + "\n" +
                                     process.errors());
        }
    }

    const std::string& name() const
    {
        return uniqueName;
    }

    Process process;

  private:
    void setFileLimit(const rlimit& limit) const
    {
        if (prlimit(process.pid(), RLIMIT_NOFILE, &limit, nullptr) != 0)
        {
            throw std::runtime_error("unable to limit the daemon's files");
        }
    }

    std::string uniqueName;
};

} // namespace healthintf::test
