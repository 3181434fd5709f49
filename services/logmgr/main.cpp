// SPDX-License-Identifier: Apache-2.0
/** @file logmgr, logmgr: keeps the System Event Log. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/growing_pause.hpp"
#include "../common/retry.hpp"
#include "../common/self_call.hpp"
#include "../common/standard_streams.hpp"
#include "../common/supervision.hpp"
#include "config.hpp"
#include "directories.hpp"
#include "event_log.hpp"
#include "history/history_thread.hpp"
#include "list_responder.hpp"
#include "logmgr_config.hpp"
#include "mirror.hpp"
#include "sel_object.hpp"
#include "sel_store.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>
#include <string>

namespace
{

using namespace healthintf;

/** The longest pause between two attempts to write the mirror again. */
constexpr std::chrono::milliseconds longestRepairPause(800);

/** How often the log's files are checked: somebody may have removed them. */
constexpr std::chrono::milliseconds lookPeriod(800);

uint32_t now()
{
    return logmgr::toRecordTime(std::time(nullptr));
}

int serve(const logmgr::Config& config)
{
    // Opened before the event loop takes over signals: opening may wait for
    // another process, and connecting for the bus, and a signal must be able
    // to end that.
    logmgr::SelStore store(host::stateDirectory() / "sel");
    logmgr::EventLog events(store, config, now);
    services::EventLoop loop;
    services::Connection connection(loop);
    loop.exitOn({SIGINT, SIGTERM});
    logmgr::Mirror mirror(events);
    services::Retry repair(
        loop,
        [&mirror] {
            return mirror.rebuild();
        },
        services::GrowingPause(longestRepairPause / 8, longestRepairPause));
    mirror.onFailure([&repair] {
        repair.request();
    });
    logmgr::ListResponder lists(loop, connection, events);
    logmgr::SelObject object(connection, events, mirror, lists);
    connection.requestName(names::logmgrService);
    // The mirror belongs to the process that owns the bus name, so it is
    // written only now, and before the first call is answered.
    mirror.rebuild();
    std::optional<history::HistoryThread> faults;
    if (config.keepsHistory)
    {
        faults.emplace(host::stateDirectory() / "history",
                       config.historyLimits);
    }
    const services::EventSource look = loop.every(lookPeriod, [&] {
        events.restoreFile();
        mirror.check();
        object.announceChanges();
    });
    services::SelfCall selfCall(connection);
    const services::Supervision supervision(loop, [&selfCall] {
        return selfCall.isAnswered();
    });
    return loop.run();
}

} // namespace

int main(int argc, char** argv)
{
    services::fillStandardStreams();
    // A write over the limit of file sizes fails then, as on a full filesystem.
    std::signal(SIGXFSZ, SIG_IGN);
    try
    {
        CLI::App app("Keeps the System Event Log.", "logmgr");
        std::string config;
        app.set_version_flag("--version", HEALTHINTF_VERSION);
        app.add_option("-c,--config", config,
                       std::string("Capacity and overflow, instead of ") +
                           logmgr::usualConfig);
        CLI11_PARSE(app, argc, argv);
        return serve(logmgr::loadConfig(config, logmgr::usualConfig));
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "logmgr: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
