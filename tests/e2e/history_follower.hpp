// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the history while it is written. */

#include "healthctl.hpp"
#include "log_client.hpp"
#include "process.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace healthintf::test
{

inline constexpr const char* historyService = "com.vexa.olvar.logmgr.History";

/** Starts logmgr and waits until it keeps a history. */
inline Process startWithHistory(LogClient& log)
{
    Process logmgr = log.start();
    log.waitUntil("history", [&log] {
        return !log.findOwner(historyService).empty();
    });
    return logmgr;
}

/** A running "history --follow", of which each line must fit the schema. */
class Follower
{
  public:
    explicit Follower(const std::vector<std::string>& options = {}) :
        process(makeCommand(options))
    {}

    nlohmann::json next()
    {
        const std::string line = process.hear();
        Process checker({CHECK_SCHEMA, SCHEMAS});
        checker.tell(line);
        checker.endInput();
        EXPECT_EQ(checker.wait(), 0) << line << checker.errors();
        return nlohmann::json::parse(line)["records"].at(0);
    }

    /** Reads up to a record of a kind and component. */
    nlohmann::json next(const std::string& kind, const std::string& component)
    {
        for (;;)
        {
            nlohmann::json record = next();
            if (record["kind"] == kind && record["component"] == component)
            {
                return record;
            }
        }
    }

    Process process;

  private:
    static std::vector<std::string>
    makeCommand(const std::vector<std::string>& options)
    {
        // Tests may run with the signal ignored, as a shell's background jobs.
        std::vector<std::string> command{"env",      "--default-signal=INT",
                                         HEALTHCTL,  "history",
                                         "--follow", "--json"};
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }
};

} // namespace healthintf::test
