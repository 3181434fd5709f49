// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs health-exporter and scrapes it. */

#include "process.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{

/** A running exporter on a free port. */
class Exporter
{
  public:
    Exporter() : Exporter({"--listen", "127.0.0.1:0"})
    {}

    explicit Exporter(std::vector<std::string> options) :
        process(command(std::move(options)))
    {
        const std::string line = process.hear();
        where = line.substr(line.rfind(' ') + 1);
        waitUntilItListensToTheBus();
    }

    nlohmann::json scrape() const
    {
        return nlohmann::json::parse(
            readOutput({"/usr/bin/python3", SCRAPER, where}));
    }

    /** @return the number of complete scrapes among several at once */
    nlohmann::json scrapeAtOnce(int number) const
    {
        return nlohmann::json::parse(readOutput(
            {"/usr/bin/python3", SCRAPER, where, std::to_string(number)}));
    }

    Process process;
    std::string where;

  private:
    void waitUntilItListensToTheBus() const
    {
        const auto begin = std::chrono::steady_clock::now();
        while (!scrape()["types"].contains("healthintf_fault_evictions"))
        {
            if (std::chrono::steady_clock::now() - begin > patience)
            {
                throw std::runtime_error("the exporter counts no evictions");
            }
        }
    }

    static std::vector<std::string> command(std::vector<std::string> options)
    {
        options.insert(options.begin(), HEALTH_EXPORTER);
        return options;
    }
};

} // namespace healthintf::test
