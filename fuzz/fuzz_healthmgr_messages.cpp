// SPDX-License-Identifier: Apache-2.0
/** @file Sends any messages to healthmgr. */

#include "../services/common/connection.hpp"
#include "../services/common/event_loop.hpp"
#include "acknowledgement_requests.hpp"
#include "acknowledgements.hpp"
#include "attribute_requests.hpp"
#include "boot_clock.hpp"
#include "directories.hpp"
#include "dismissal.hpp"
#include "hosted_nodes.hpp"
#include "node_requests.hpp"
#include "peer_users.hpp"
#include "raise_requests.hpp"
#include "raised_faults.hpp"
#include "silence_requests.hpp"
#include "silences.hpp"
#include "stranger.hpp"
#include "surroundings.hpp"
#include "tree_keeper.hpp"

#include <platform/signal_blocker.hpp>

#include <filesystem>
#include <optional>
#include <utility>

namespace
{

using namespace healthintf;
namespace fs = std::filesystem;
using namespace healthintf::test;

const std::vector<KnownMessage> known{
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr", "AddHealthObject", "s"},
    {SD_BUS_MESSAGE_SIGNAL, "/com/vexa/olvar/health/a",
     "com.vexa.olvar.healthmgr.HealthStatus", "HealthStatusUpdate", "ssu"},
    {SD_BUS_MESSAGE_SIGNAL, "/com/vexa/olvar/health",
     "com.vexa.olvar.healthmgr", "HideFaultForSensor", "bssi"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/health",
     "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", ""},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/health",
     "org.freedesktop.DBus.Properties", "Set", "ssv"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "org.freedesktop.DBus.Properties", "GetAll", "s"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Attributes", "Set", "sis"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.LostMonitors", "Dismiss", "s"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Silences", "Add", "a{sv}"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Silences", "End", "t"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Silences", "List", ""},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Acknowledgements", "Acknowledge", "ss"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.Acknowledgements", "Withdraw", "s"},
    {SD_BUS_MESSAGE_SIGNAL, "/com/vexa/olvar/health/a/entry/b",
     "com.vexa.olvar.healthmgr.FaultEntry", "FaultEntryAdded", "sssastusuu"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.RaisedFaults", "Raise", "ssassuub"},
    {SD_BUS_MESSAGE_METHOD_CALL, "/com/vexa/olvar/healthmgr",
     "com.vexa.olvar.healthmgr.RaisedFaults", "Clear", "ss"},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    surroundings();
    // The fuzzer's SIGALRM would interrupt the set-up.
    std::optional<SignalBlocker> held(std::in_place);
    services::EventLoop loop;
    services::Connection connection(loop);
    healthmgr::HostedNodes nodes(connection.bus());
    healthmgr::PeerUsers users(connection);
    const healthmgr::NodeRequests requests(connection, nodes, users);
    const healthmgr::AttributeRequests attributes(connection);
    const healthmgr::Dismissal dismissal(connection, nodes);
    const fs::path folder = host::stateDirectory() / "healthmgr";
    healthmgr::Silences silences(folder / "silences.toml",
                                 healthmgr::systemClocks(folder / "boot"));
    const healthmgr::SilenceRequests silenceRequests(connection, loop, users,
                                                     silences);
    healthmgr::Acknowledgements acknowledgements(folder /
                                                 "acknowledgements.toml");
    const healthmgr::AcknowledgementRequests acknowledgementRequests(
        connection, loop, users, acknowledgements);
    healthmgr::RaisedFaults raised(loop, nodes, {});
    const healthmgr::RaiseRequests raiseRequests(connection, raised);
    const healthmgr::TreeKeeper keeper(connection, loop, nodes, users);
    Stranger stranger(connection.bus(), [&loop] {
        while (sd_event_run(loop.get(), 0) > 0)
        {}
    });
    held.reset();
    FuzzInput input(data, size);
    while (!input.empty())
    {
        stranger.send(known, input);
    }
    stranger.settle();
    return 0;
}
