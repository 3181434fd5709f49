// SPDX-License-Identifier: Apache-2.0
#include "log_status.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <string_view>
#include <system_error>

#include <bus_calls.hpp>

namespace healthintf::services
{
namespace
{

using host::checkBus;

void readVariant(sd_bus_message* message, const char* type, void* value)
{
    const int result = sd_bus_message_read(message, "v", type, value);
    checkBus("property", result == 0 ? -EBADMSG : result);
}

void readValue(sd_bus_message* message, uint16_t& value)
{
    readVariant(message, "q", &value);
}

void readValue(sd_bus_message* message, uint32_t& value)
{
    readVariant(message, "u", &value);
}

void readValue(sd_bus_message* message, uint64_t& value)
{
    readVariant(message, "t", &value);
}

void readValue(sd_bus_message* message, bool& value)
{
    int number = 0;
    readVariant(message, "b", &number);
    value = number != 0;
}

void readValue(sd_bus_message* message, std::string& value)
{
    const char* text = "";
    readVariant(message, "s", &text);
    value = text;
}

template <auto member>
void readMember(sd_bus_message* message, LogStatus& status)
{
    readValue(message, status.*member);
}

struct Property
{
    std::string_view name;
    void (*read)(sd_bus_message* message, LogStatus& status);
};

constexpr std::array<Property, 8> properties{{
    {"Entries", readMember<&LogStatus::entries>},
    {"Capacity", readMember<&LogStatus::capacity>},
    {"OverflowPolicy", readMember<&LogStatus::policy>},
    {"Overflow", readMember<&LogStatus::overflow>},
    {"LastAddition", readMember<&LogStatus::lastAddition>},
    {"LastErase", readMember<&LogStatus::lastErase>},
    {"Generation", readMember<&LogStatus::generation>},
    {"LastEntry", readMember<&LogStatus::lastEntry>},
}};

} // namespace

LogStatus readLogStatus(sd_bus_message* reply)
{
    LogStatus status;
    std::set<std::string_view> missing;
    for (const Property& property : properties)
    {
        missing.insert(property.name);
    }
    checkBus("properties", sd_bus_message_enter_container(reply, 'a', "{sv}"));
    int more = 0;
    while ((more = sd_bus_message_enter_container(reply, 'e', "sv")) > 0)
    {
        const char* name = "";
        checkBus("property", sd_bus_message_read(reply, "s", &name));
        const auto* property =
            std::ranges::find(properties, name, &Property::name);
        if (property == properties.end())
        {
            checkBus("property", sd_bus_message_skip(reply, "v"));
        }
        else
        {
            property->read(reply, status);
            missing.erase(property->name);
        }
        checkBus("property", sd_bus_message_exit_container(reply));
    }
    checkBus("properties", more);
    if (!missing.empty())
    {
        throw std::system_error(EBADMSG, std::generic_category(),
                                "no property " + std::string(*missing.begin()));
    }
    return status;
}

} // namespace healthintf::services
