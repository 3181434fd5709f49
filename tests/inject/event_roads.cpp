// SPDX-License-Identifier: Apache-2.0
/** @file Roads that report events of the System Event Log as faults. */

#include "road.hpp"
#include "world.hpp"

#include <hmi_client_stub.hpp>

#include <cstdint>

namespace healthintf::test
{
namespace
{

using logmgr_interface::SELAndFault;

/** A fan crosses its warning threshold, or returns. */
std::vector<unsigned char> fanEvent(bool asserted)
{
    const unsigned char direction = asserted ? 0x01 : 0x81;
    return {0, 0, 2, 0, 0, 0, 0, 0x20, 0, 4, 4, 0x30, direction, 0, 0, 0};
}

const std::string slow = "FAN0100";

void withEvents(Try& tried)
{
    withFaults(tried);
    tried.events = std::make_unique<SELAndFault>(tried.component.get());
}

void withSlowFan(Try& tried)
{
    withEvents(tried);
    addFault(tried, slow, "/s9", 0x30, 2);
}

// Arguments are built before the run: only calls of the library should fail.
SELInterface::SensorInfo source{"Fan 1", "/s9", 7, 9};
std::vector<unsigned char> assertion = fanEvent(true);
std::vector<unsigned char> deassertion = fanEvent(false);

int storeByClient(Try& /*tried*/)
{
    const std::unique_ptr<SelClientStub::SELClient> client(
        SelClientStub::SELClient::Init(world().bus));
    uint32_t id = 0;
    return client ? client->addSEL({"Fan 1", "/s9", 7, 9}, assertion, id) : 1;
}

bool slowFan(const View& before, const View& after)
{
    return after.count(slow) == before.count(slow) + 1;
}

bool noSlowFan(const View& /*before*/, const View& after)
{
    return after.count(slow) == 0;
}

bool unchanged(const View& before, const View& after)
{
    return before == after;
}

/** The failures that the platform may answer besides the library's own. */
const std::set<int> eventFailures{1, 2, 4, 5, 12};

} // namespace

std::vector<Road> eventRoads()
{
    return {
        {.name = "findFaultInfoAndAddFault",
         .prepare = withEvents,
         .run =
             [](Try& tried) {
                 return tried.events->findFaultInfoAndAddFault(source,
                                                               assertion);
             },
         .failures = eventFailures,
         .done = slowFan},
        {.name = "findFaultInfoAndRemoveFault",
         .prepare = withSlowFan,
         .run =
             [](Try& tried) {
                 return tried.events->findFaultInfoAndAddFault(source,
                                                               deassertion);
             },
         .failures = eventFailures,
         .done = noSlowFan,
         .undone =
             [](const View& before, const View& after) {
                 // A fault that was cleared stays cleared.
                 return before == after || after.count(slow) == 0;
             }},
        {.name = "addSEL",
         .prepare = withEvents,
         .run =
             [](Try& tried) {
                 return tried.events->addSEL(source, assertion);
             },
         .failures = {4, 11},
         .done = unchanged},
        {.name = "addSELAndFault",
         .prepare = withEvents,
         .run =
             [](Try& tried) {
                 return tried.events->addSELAndFault(source, assertion);
             },
         .failures = {1, 2, 4, 5, 11, 12},
         .done = slowFan},
        {.name = "SELClientAddSEL",
         .prepare = withEvents,
         .run = storeByClient,
         .failures = {1, 10},
         .throwsBadAlloc = true,
         .done = unchanged},
    };
}

} // namespace healthintf::test
