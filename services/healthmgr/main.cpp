// SPDX-License-Identifier: Apache-2.0
/** @file healthmgr: hosts the nodes of the health tree that no daemon hosts,
 *  withdraws the nodes of dead daemons, sets the configuration attributes, and
 *  keeps raised faults, silences and acknowledgements. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/self_call.hpp"
#include "../common/service_log.hpp"
#include "../common/standard_streams.hpp"
#include "../common/supervision.hpp"
#include "acknowledgement_requests.hpp"
#include "acknowledgements.hpp"
#include "attribute_requests.hpp"
#include "boot_clock.hpp"
#include "config.hpp"
#include "data_cache/withdrawal.hpp"
#include "directories.hpp"
#include "dismissal.hpp"
#include "healthmgr_config.hpp"
#include "hosted_nodes.hpp"
#include "node_requests.hpp"
#include "peer_users.hpp"
#include "raise_requests.hpp"
#include "raised_faults.hpp"
#include "silence_requests.hpp"
#include "silences.hpp"
#include "tree_keeper.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

namespace
{

using namespace healthintf;
namespace fs = std::filesystem;

int serve(const healthmgr::Config& config)
{
    services::EventLoop loop;
    // Before the loop takes over signals: a signal must be able to end the
    // waiting for a bus that hangs.
    services::Connection connection(loop);
    loop.exitOn({SIGINT, SIGTERM});
    host::giveWayToOthers();
    // The second one survives a reboot.
    const fs::path runtimeFolder = host::runtimeDirectory() / "healthmgr";
    const fs::path stateFolder = host::stateDirectory() / "healthmgr";
    healthmgr::HostedNodes nodes(
        connection.bus(), {},
        [&loop] {
            loop.exit(EXIT_FAILURE);
        },
        healthmgr::LostMonitors(runtimeFolder / "lost-monitors.toml", config));
    healthmgr::PeerUsers users(connection);
    std::optional<healthmgr::TreeKeeper> keeper;
    // Whoever cannot read the data cache asks for its parent, but does not
    // report to it.
    const auto search = [&keeper](const std::string& asker) {
        keeper->searchNodesOf(asker);
    };
    const healthmgr::NodeRequests requests(connection, nodes, users, search);
    connection.requestName(names::managerService);
    // After the name is acquired: only its owner may use the attributes' file.
    const healthmgr::AttributeRequests attributes(connection);
    const healthmgr::Dismissal dismissal(connection, nodes);
    healthmgr::RaisedFaults raised(loop, nodes,
                                   runtimeFolder / "raised-faults.toml");
    const healthmgr::RaiseRequests raiseRequests(connection, raised);
    healthmgr::Silences silences(
        stateFolder / "silences.toml",
        healthmgr::systemClocks(runtimeFolder / "boot"));
    const healthmgr::SilenceRequests silenceRequests(connection, loop, users,
                                                     silences);
    healthmgr::Acknowledgements acknowledgements(runtimeFolder /
                                                 "acknowledgements.toml");
    const healthmgr::AcknowledgementRequests acknowledgementRequests(
        connection, loop, users, acknowledgements);
    // No request is handled before the loop runs.
    keeper.emplace(connection, loop, nodes, users);
    services::SelfCall selfCall(connection);
    const services::Supervision supervision(loop, [&] {
        return selfCall.isAnswered() && keeper->isProgressing();
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
        CLI::App app("Holds the nodes of the health tree that no daemon holds, "
                     "and withdraws what dead daemons left behind.",
                     "healthmgr");
        app.set_version_flag("--version", HEALTHINTF_VERSION);
        std::string config;
        app.add_option("-c,--config", config,
                       std::string("What lost monitors are reported, instead "
                                   "of ") +
                           healthmgr::usualConfig);
        CLI11_PARSE(app, argc, argv);
        return serve(healthmgr::loadConfig(config, healthmgr::usualConfig));
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "healthmgr: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
