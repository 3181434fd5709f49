// SPDX-License-Identifier: Apache-2.0
/** @file health-exporter: health and faults as metrics over HTTP. */

#include "../common/empty_arguments.hpp"
#include "../common/event_loop.hpp"
#include "../common/service_log.hpp"
#include "../common/standard_streams.hpp"
#include "../common/supervision.hpp"
#include "collector.hpp"
#include "endpoint.hpp"
#include "health_families.hpp"
#include "listener.hpp"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

namespace
{

using namespace healthintf;

struct Options
{
    std::string address = "127.0.0.1:9942";
    std::string path;
};

std::unique_ptr<exporter::Listener> makeListener(const Options& options)
{
    if (!options.path.empty())
    {
        return std::make_unique<exporter::Listener>(
            std::filesystem::path(options.path));
    }
    const exporter::TcpAddress address =
        exporter::parseAddress(options.address);
    if (!exporter::isLoopback(address))
    {
        SERVICE_LOG(services::log::warning,
                    "%s.%d.%s: whoever reaches %s can read the metrics: there "
                    "is neither a password nor encryption",
                    options.address.c_str());
    }
    return std::make_unique<exporter::Listener>(address);
}

int serve(const Options& options)
{
    // Standard output may be a pipe whose reader has ended.
    std::signal(SIGPIPE, SIG_IGN);
    const auto listener = makeListener(options);
    services::EventLoop loop;
    loop.exitOn({SIGINT, SIGTERM});
    exporter::Collector collector(loop);
    const exporter::Endpoint endpoint(loop, *listener, [&collector] {
        return exporter::render(
            exporter::makeFamilies(collector.collect(), HEALTHINTF_VERSION));
    });
    std::printf("listening on %s\n",
                options.path.empty()
                    ? ("port " + std::to_string(listener->port())).c_str()
                    : options.path.c_str());
    std::fflush(stdout);
    const services::Supervision supervision(loop);
    return loop.run();
}

int run(int argc, const char* const* argv)
{
    CLI::App app("Serves health and faults as metrics in the OpenMetrics "
                 "format, at /metrics over HTTP.",
                 "health-exporter");
    Options options;
    app.set_version_flag("--version", HEALTHINTF_VERSION);
    auto* listen =
        app.add_option("-l,--listen", options.address,
                       "Address and port to listen on; anything but this "
                       "machine's own addresses is warned of")
            ->type_name("ADDRESS:PORT")
            ->capture_default_str();
    app.add_option("-u,--unix", options.path,
                   "Socket to listen on instead of TCP")
        ->type_name("PATH")
        ->excludes(listen);
    try
    {
        app.parse(argc, argv);
        services::refuseEmptyArguments(argc, argv);
    }
    catch (const CLI::ParseError& e)
    {
        return app.exit(e);
    }
    return serve(options);
}

} // namespace

int main(int argc, char** argv)
{
    services::fillStandardStreams();
    try
    {
        return run(argc, argv);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "health-exporter: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
