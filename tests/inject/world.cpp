// SPDX-License-Identifier: Apache-2.0
#include "world.hpp"

#include "keep_forever.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gtest/gtest.h>

#include <poll.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace healthintf::test
{
namespace
{

const char* const root = "/com/vexa/olvar/health";
const char* const logService = "com.vexa.olvar.logmgr";
const char* const healthService = "com.vexa.olvar.healthmgr";

void require(int result, const char* call)
{
    if (result < 0)
    {
        throw std::runtime_error(std::string(call) + ": " +
                                 std::strerror(-result));
    }
}

sd_bus* opened(int (*open)(sd_bus**), const char* call)
{
    sd_bus* bus = nullptr;
    require(open(&bus), call);
    return bus;
}

/** The events for which a connection polls. */
pollfd waitingFor(sd_bus* bus)
{
    return {sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0};
}

/** Stores the reply to an asynchronous call. */
int keepReply(sd_bus_message* message, void* context, sd_bus_error* /*error*/)
{
    static_cast<MessagePtr*>(context)->reset(sd_bus_message_ref(message));
    return 0;
}

/** Reads the properties of one interface of one object. */
void readProperties(sd_bus_message* m, SeenFault& fault,
                    std::optional<uint32_t>& health)
{
    sd_bus_message_enter_container(m, 'a', "{sv}");
    while (sd_bus_message_enter_container(m, 'e', "sv") > 0)
    {
        const char* name = nullptr;
        sd_bus_message_read(m, "s", &name);
        const std::string_view property = name;
        if (property == "MessageID" || property == "SensorPath")
        {
            const char* text = nullptr;
            sd_bus_message_read(m, "v", "s", &text);
            (property == "MessageID" ? fault.message : fault.sensor) = text;
        }
        else if (property == "Severity")
        {
            sd_bus_message_read(m, "v", "u", &fault.severity);
        }
        else if (property == "Hidden")
        {
            int hidden = 0;
            sd_bus_message_read(m, "v", "b", &hidden);
            fault.hidden = hidden != 0;
        }
        else if (property == "HealthStatus")
        {
            sd_bus_message_read(m, "v", "u", &health.emplace());
        }
        else
        {
            sd_bus_message_skip(m, "v");
        }
        sd_bus_message_exit_container(m);
    }
    sd_bus_message_exit_container(m);
}

/** Reads one object if it is the component or one of its faults. */
void readObject(sd_bus_message* m, const std::string& key, View& view)
{
    const char* path = nullptr;
    sd_bus_message_read(m, "o", &path);
    const bool isNode = path == key;
    if (!isNode && !std::string_view(path).starts_with(key + "/entry/"))
    {
        sd_bus_message_skip(m, "a{sa{sv}}");
        return;
    }
    SeenFault fault;
    sd_bus_message_enter_container(m, 'a', "{sa{sv}}");
    while (sd_bus_message_enter_container(m, 'e', "sa{sv}") > 0)
    {
        sd_bus_message_skip(m, "s");
        readProperties(m, fault, view.health);
        sd_bus_message_exit_container(m);
    }
    sd_bus_message_exit_container(m);
    if (!isNode)
    {
        view.faults[path] = fault;
    }
}

} // namespace

World::World() :
    other(opened(sd_bus_open, "sd_bus_open")),
    own(opened(sd_bus_default, "sd_bus_default")), bus(own)
{
    // Nodes that are leaked stay on this connection, where the test sees them.
    keepForever(own);
    sd_bus_unref(own);
    sd_bus_add_object_manager(own, nullptr, root);
    daemon.folder().write(
        "Test.json",
        R"({"RegistryPrefix": "Test", "RegistryVersion": "1.0.0",
            "Language": "en",
            "Messages": {
              "Failed": {"Message": "Fan %1 failed.",
                         "MessageSeverity": "Critical",
                         "NumberOfArgs": 1}}})");
    setenv("HEALTHINTF_REGISTRY_PATH", daemon.folder().path().c_str(), 1);
    setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    datacache_healthstatus_create(root, {{"HealthStatus", uint32_t{2}}});
    start(logmgr, LOGMGR, logService);
    // healthmgr sets attributes.
    start(healthmgr, HEALTHMGR, healthService);
}

World::~World()
{
    datacache_healthstatus_remove(root);
}

void World::start(std::unique_ptr<Process>& service, const char* program,
                  const char* name)
{
    service = std::make_unique<Process>(std::vector<std::string>{program});
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (sd_bus_call_method(other.get(), "org.freedesktop.DBus",
                              "/org/freedesktop/DBus", "org.freedesktop.DBus",
                              "GetNameOwner", nullptr, nullptr, "s", name) < 0)
    {
        if (std::chrono::steady_clock::now() > deadline)
        {
            throw std::runtime_error(std::string("no ") + name + ": " +
                                     service->errors());
        }
    }
}

void World::workUntil(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done())
    {
        const int first = sd_bus_process(own, nullptr);
        const int second = sd_bus_process(other.get(), nullptr);
        require(first, "the components' sd_bus_process");
        require(second, "the client's sd_bus_process");
        if (first > 0 || second > 0)
        {
            continue;
        }
        if (std::chrono::steady_clock::now() > deadline)
        {
            throw std::runtime_error("the bus does not answer");
        }
        std::array<pollfd, 2> both{waitingFor(own), waitingFor(client())};
        constexpr int milliseconds = 100;
        poll(both.data(), both.size(), milliseconds);
    }
}

View World::viewOfBus(const std::string& key)
{
    MessagePtr reply;
    const char* name = nullptr;
    require(sd_bus_get_unique_name(own, &name), "sd_bus_get_unique_name");
    require(sd_bus_call_method_async(client(), nullptr, name, root,
                                     "org.freedesktop.DBus.ObjectManager",
                                     "GetManagedObjects", keepReply, &reply,
                                     ""),
            "GetManagedObjects");
    workUntil([&] {
        return reply != nullptr;
    });
    View view;
    sd_bus_message_enter_container(reply.get(), 'a', "{oa{sa{sv}}}");
    while (sd_bus_message_enter_container(reply.get(), 'e', "oa{sa{sv}}") > 0)
    {
        readObject(reply.get(), key, view);
        sd_bus_message_exit_container(reply.get());
    }
    return view;
}

void World::deliver()
{
    // The bus replies after it has delivered all earlier messages.
    sd_bus_call_method(client(), "org.freedesktop.DBus",
                       "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
                       nullptr, nullptr, "");
}

void World::take()
{
    while (sd_bus_process(own, nullptr) > 0)
    {}
}

void World::settle()
{
    bus.flush();
    sd_bus_call_method(own, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                       "org.freedesktop.DBus", "GetId", nullptr, nullptr, "");
    take();
}

World& world()
{
    static World one;
    return one;
}

} // namespace healthintf::test
