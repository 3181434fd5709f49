// SPDX-License-Identifier: Apache-2.0
/** @file hostmon: watches the machine that it runs on and reports faults. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/standard_streams.hpp"
#include "../common/supervision.hpp"
#include "claim.hpp"
#include "config.hpp"
#include "hostmon_config.hpp"
#include "monitor.hpp"
#include "source_reader.hpp"
#include "watch.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

namespace
{

using namespace healthintf;

struct Options
{
    std::string config = hostmon::defaultConfig;
    std::string root;
    bool checkOnly = false;
    bool show = false;
};

/** Reads a source once, or says that it did not answer in time. */
hostmon::Reading readOnce(const hostmon::Source& source,
                          std::chrono::microseconds patience)
{
    hostmon::SourceReader reader(source.read, [] {});
    reader.start();
    return reader.wait(patience).value_or(
        hostmon::Reading{std::nullopt, hostmon::describeTimeout(patience)});
}

/** Prints the current reading of every source. */
void show(const hostmon::Config& config, const std::string& root)
{
    for (const hostmon::WatchConfig& watch : config.watches)
    {
        for (const hostmon::Source& source :
             hostmon::makeSources(watch.subject, root))
        {
            const hostmon::Reading reading = readOnce(source, config.timeout);
            std::puts(hostmon::describe(watch, source, reading).c_str());
        }
    }
}

/** Writes what was printed.
 *
 *  @throws std::runtime_error when not all of it can be written */
void finishOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    {
        throw std::runtime_error("unable to write to the standard output");
    }
}

int serve(const hostmon::Config& config, const std::string& root)
{
    services::EventLoop loop;
    // Before the loop takes over signals: a signal must be able to end the
    // waiting for a bus that hangs.
    services::Connection connection(loop);
    loop.exitOn({SIGINT, SIGTERM});
    const hostmon::ComponentClaims claims(connection, config);
    const hostmon::Monitor monitor(connection.bus(), loop, config, root,
                                   [&claims](const std::string& component) {
                                       return claims.claim(component);
                                   });
    const services::Supervision supervision(loop);
    return loop.run();
}

int run(const Options& options)
{
    const hostmon::Config config = hostmon::loadConfig(options.config);
    if (options.checkOnly)
    {
        std::printf("%s: %zu to watch\n", options.config.c_str(),
                    config.watches.size());
        finishOutput();
        return EXIT_SUCCESS;
    }
    if (options.show)
    {
        show(config, options.root);
        finishOutput();
        return EXIT_SUCCESS;
    }
    return serve(config, options.root);
}

} // namespace

int main(int argc, char** argv)
{
    services::fillStandardStreams();
    try
    {
        CLI::App app("Watches this machine and reports faults on it.",
                     "hostmon");
        Options options;
        app.set_version_flag("--version", HEALTHINTF_VERSION);
        app.add_option("-c,--config", options.config, "What to watch")
            ->capture_default_str();
        app.add_option("--root", options.root,
                       "Folder in front of /proc and /sys, for tests");
        auto* check = app.add_flag("--check", options.checkOnly,
                                   "Check the configuration and exit");
        app.add_flag("--show", options.show, "Print current readings and exit")
            ->excludes(check);
        CLI11_PARSE(app, argc, argv);
        return run(options);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "hostmon: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
