// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"

#include <stdexcept>

namespace healthintf::test
{
namespace
{

constexpr const char* root = "/com/vexa/olvar/health";
constexpr const char* nodeInterface = "com.vexa.olvar.healthmgr.HealthStatus";

} // namespace

BusClient::BusClient()
{
    sd_bus* opened = nullptr;
    const char* name = nullptr;
    if (sd_bus_open(&opened) < 0 || sd_bus_get_unique_name(opened, &name) < 0)
    {
        throw std::runtime_error("unable to connect to the bus");
    }
    bus.reset(opened);
    match("type='signal',interface='org.freedesktop.DBus.Properties',"
          "member='PropertiesChanged',"
          "arg0='com.vexa.olvar.healthmgr.HealthStatus'",
          takeProperty);
    match("type='signal',member='HealthStatusUpdate'", takeUpdate);
}

void BusClient::match(const char* rule, sd_bus_message_handler_t handler)
{
    if (sd_bus_add_match(bus.get(), nullptr, rule, handler, this) < 0)
    {
        throw std::runtime_error("unable to listen");
    }
}

int BusClient::takeProperty(sd_bus_message* message, void* context,
                            sd_bus_error* /*error*/)
{
    uint32_t health = 0;
    const char* name = nullptr;
    if (sd_bus_message_skip(message, "s") >= 0 &&
        sd_bus_message_enter_container(message, 'a', "{sv}") > 0 &&
        sd_bus_message_enter_container(message, 'e', "sv") > 0 &&
        sd_bus_message_read(message, "sv", &name, "u", &health) > 0)
    {
        auto* client = static_cast<BusClient*>(context);
        const std::string key = sd_bus_message_get_path(message);
        client->announced[key] = health;
        client->publications.push_back(key + " " + std::to_string(health));
    }
    return 0;
}

int BusClient::takeUpdate(sd_bus_message* message, void* context,
                          sd_bus_error* /*error*/)
{
    const char* parent = nullptr;
    const char* key = nullptr;
    uint32_t health = 0;
    if (sd_bus_message_read(message, "ssu", &parent, &key, &health) > 0)
    {
        static_cast<BusClient*>(context)->updates.push_back(
            std::string(parent) + " " + key + " " + std::to_string(health));
    }
    return 0;
}

void BusClient::waitUntil(const std::string& what,
                          const std::function<bool()>& done,
                          std::chrono::seconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done())
    {
        if (sd_bus_process(bus.get(), nullptr) > 0)
        {
            continue;
        }
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || sd_bus_wait(bus.get(), left.count()) < 0)
        {
            throw std::runtime_error("no " + what);
        }
    }
}

void BusClient::waitForHealth(const std::string& key, uint32_t health)
{
    waitUntil("health " + std::to_string(health) + " of " + key, [&] {
        const auto found = announced.find(key);
        return found != announced.end() && found->second == health;
    });
}

void BusClient::catchUp()
{
    // The bus replies after it has delivered all earlier messages.
    call("org.freedesktop.DBus", "/org/freedesktop/DBus",
         "org.freedesktop.DBus", "GetId", "");
    while (sd_bus_process(bus.get(), nullptr) > 0)
    {}
}

uint32_t BusClient::health(const std::string& owner,
                           const std::string& key) const
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    uint32_t value = 0;
    sd_bus_get_property_trivial(bus.get(), owner.c_str(), key.c_str(),
                                nodeInterface, "HealthStatus", &error, 'u',
                                &value);
    throwIfSet(error);
    return value;
}

bool BusClient::hasNode(const std::string& owner, const std::string& key) const
{
    try
    {
        health(owner, key);
        return true;
    }
    catch (const std::runtime_error&)
    {
        return false;
    }
}

std::map<std::string, std::vector<std::string>>
BusClient::objects(const std::string& owner) const
{
    const MessagePtr reply =
        call(owner.c_str(), root, "org.freedesktop.DBus.ObjectManager",
             "GetManagedObjects", "");
    sd_bus_message* m = reply.get();
    std::map<std::string, std::vector<std::string>> found;
    sd_bus_message_enter_container(m, 'a', "{oa{sa{sv}}}");
    while (sd_bus_message_enter_container(m, 'e', "oa{sa{sv}}") > 0)
    {
        const char* path = nullptr;
        sd_bus_message_read(m, "o", &path);
        auto& interfaces = found[path];
        sd_bus_message_enter_container(m, 'a', "{sa{sv}}");
        while (sd_bus_message_enter_container(m, 'e', "sa{sv}") > 0)
        {
            const char* interface = nullptr;
            sd_bus_message_read(m, "s", &interface);
            if (std::string(interface).starts_with("com.vexa."))
            {
                interfaces.emplace_back(interface);
            }
            sd_bus_message_skip(m, "a{sv}");
            sd_bus_message_exit_container(m);
        }
        sd_bus_message_exit_container(m);
        sd_bus_message_exit_container(m);
    }
    return found;
}

std::string BusClient::findOwner(const std::string& name) const
{
    try
    {
        const MessagePtr reply =
            call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                 "org.freedesktop.DBus", "GetNameOwner", "s", name.c_str());
        const char* owner = nullptr;
        sd_bus_message_read(reply.get(), "s", &owner);
        return owner;
    }
    catch (const std::runtime_error&)
    {
        return {};
    }
}

void BusClient::throwIfSet(sd_bus_error& error)
{
    if (sd_bus_error_is_set(&error) > 0)
    {
        const std::string text = std::string(error.name) + ": " + error.message;
        sd_bus_error_free(&error);
        throw std::runtime_error(text);
    }
}

} // namespace healthintf::test
