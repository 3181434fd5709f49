// SPDX-License-Identifier: Apache-2.0
/** @file Sends any messages to logmgr. */

#include "../services/common/connection.hpp"
#include "../services/common/event_loop.hpp"
#include "directories.hpp"
#include "event_log.hpp"
#include "list_responder.hpp"
#include "mirror.hpp"
#include "sel_object.hpp"
#include "sel_store.hpp"
#include "stranger.hpp"
#include "surroundings.hpp"

namespace
{

using namespace healthintf;
using namespace healthintf::test;

constexpr const char* path = "/com/vexa/olvar/logmgr/SEL";
constexpr const char* interface = "com.vexa.olvar.logmgr.SEL";
constexpr auto call = SD_BUS_MESSAGE_METHOD_CALL;

const std::vector<KnownMessage> known{
    {call, path, interface, "AddSEL", "(ssyy)ay"},
    {call, path, interface, "AddSELWithTimestamp", "(ssyy)ayu"},
    {call, path, interface, "GetEntry", "q"},
    {call, path, interface, "ListEntries", "qu"},
    {call, path, interface, "ListLog", "ttu"},
    {call, path, interface, "Clear", ""},
    {call, path, interface, "ClearUpTo", "tq"},
    {call, path, "org.freedesktop.DBus.Properties", "Get", "ss"},
    {call, path, "org.freedesktop.DBus.Properties", "Set", "ssv"},
    {call, path, "org.freedesktop.DBus.Properties", "GetAll", "s"},
};

/** A small log, so that inputs can fill it. */
logmgr::Config config()
{
    logmgr::Config few;
    few.capacity = 5;
    return few;
}

uint32_t standingClock()
{
    return 1'700'000'000;
}

/** The log. It is opened once, and cleared for each input. */
logmgr::SelStore& emptyStore()
{
    surroundings();
    static logmgr::SelStore store(host::stateDirectory() / "sel");
    store.clear({});
    return store;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    logmgr::EventLog events(emptyStore(), config(), standingClock);
    services::EventLoop loop;
    services::Connection connection(loop);
    logmgr::Mirror mirror(events);
    logmgr::ListResponder lists(loop, connection, events);
    const logmgr::SelObject object(connection, events, mirror, lists);
    Stranger stranger(connection.bus(), [&loop] {
        while (sd_event_run(loop.get(), 0) > 0)
        {}
    });
    FuzzInput input(data, size);
    while (!input.empty())
    {
        stranger.send(known, input);
    }
    stranger.settle();
    return 0;
}
