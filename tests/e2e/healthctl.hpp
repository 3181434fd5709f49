// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs healthctl. */

#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The results of a program that has ended. */
struct Answer
{
    int status;
    std::string output;
    std::string errors;
};

inline Answer runProgram(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment = {})
{
    Process program(command, environment);
    std::string output = program.output();
    const int status = program.wait();
    return {status, std::move(output), program.errors()};
}

/** Runs healthctl with its output in a pipe. */
inline Answer healthctl(std::vector<std::string> arguments,
                        const std::vector<std::string>& environment = {})
{
    arguments.insert(arguments.begin(), HEALTHCTL);
    return runProgram(arguments, environment);
}

/** The JSON output of healthctl, checked against its schema.
 *
 *  @throws std::runtime_error when it does not fit the schema */
inline nlohmann::json toJson(std::vector<std::string> arguments, int status = 0)
{
    arguments.emplace_back("--json");
    const Answer answer = healthctl(arguments);
    if (answer.status != status)
    {
        throw std::runtime_error("status " + std::to_string(answer.status) +
                                 ": " + answer.errors);
    }
    Process checker({CHECK_SCHEMA, SCHEMAS});
    checker.tell(answer.output);
    checker.endInput();
    if (checker.wait() != 0)
    {
        throw std::runtime_error(checker.errors());
    }
    return nlohmann::json::parse(answer.output);
}

/** A tree of which healthmgr holds the root and "rack", and a daemon the
 *  components "rack/fan" and "rack/psu". */
class HealthctlTest : public testing::Test
{
  protected:
    HealthctlTest()
    {
        daemon.init(fan, 2);
        daemon.init(psu, 2);
        client.waitForHealth(root, 2);
    }

    const std::string root = "/com/vexa/olvar/health";
    const std::string rack = root + "/rack";
    const std::string fan = rack + "/fan";
    const std::string psu = rack + "/psu";

    PrivateBus bus;
    BusClient client;
    Process healthmgr{{HEALTHMGR}};
    Component daemon;
};

} // namespace healthintf::test
