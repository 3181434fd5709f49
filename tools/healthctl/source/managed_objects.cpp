// SPDX-License-Identifier: Apache-2.0
#include "managed_objects.hpp"

#include <functional>
#include <stdexcept>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

int checkWellFormed(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("the answer is malformed");
    }
    return result;
}

/** Reads each member of a dictionary.
 *
 *  @param[in] content what stands in one member */
void readDictionary(sd_bus_message* message, const char* content, char key,
                    const std::function<void(const char* key)>& readValue)
{
    checkWellFormed(sd_bus_message_enter_container(message, 'a', nullptr));
    while (checkWellFormed(
               sd_bus_message_enter_container(message, 'e', content)) > 0)
    {
        const char* name = nullptr;
        checkWellFormed(
            sd_bus_message_read_basic(message, key, static_cast<void*>(&name)));
        readValue(name);
        checkWellFormed(sd_bus_message_exit_container(message));
    }
    checkWellFormed(sd_bus_message_exit_container(message));
}

template <typename Value>
Value readNumber(sd_bus_message* message, char type)
{
    Value value{};
    checkWellFormed(sd_bus_message_read_basic(message, type, &value));
    return value;
}

PropertyValue readValue(sd_bus_message* message, std::string_view type)
{
    if (type == "b")
    {
        return readNumber<int>(message, 'b') != 0;
    }
    if (type == "i")
    {
        return readNumber<int32_t>(message, 'i');
    }
    if (type == "u")
    {
        return readNumber<uint32_t>(message, 'u');
    }
    if (type == "t")
    {
        return readNumber<uint64_t>(message, 't');
    }
    if (type == "s")
    {
        const char* text = nullptr;
        checkWellFormed(
            sd_bus_message_read_basic(message, 's', static_cast<void*>(&text)));
        return std::string(text);
    }
    if (type == "as")
    {
        return readTexts(message);
    }
    checkWellFormed(sd_bus_message_skip(message, std::string(type).c_str()));
    return {};
}

} // namespace

std::vector<std::string> readTexts(sd_bus_message* message)
{
    std::vector<std::string> texts;
    const char* text = nullptr;
    checkWellFormed(sd_bus_message_enter_container(message, 'a', "s"));
    while (checkWellFormed(sd_bus_message_read_basic(
               message, 's', static_cast<void*>(&text))) > 0)
    {
        texts.emplace_back(text);
    }
    checkWellFormed(sd_bus_message_exit_container(message));
    return texts;
}

PropertyValue readVariant(sd_bus_message* message)
{
    char type = 0;
    const char* content = nullptr;
    checkWellFormed(sd_bus_message_peek_type(message, &type, &content));
    if (type != 'v')
    {
        throw std::runtime_error("the answer is malformed");
    }
    const std::string inside = content;
    checkWellFormed(
        sd_bus_message_enter_container(message, 'v', inside.c_str()));
    PropertyValue value = readValue(message, inside);
    checkWellFormed(sd_bus_message_exit_container(message));
    return value;
}

ManagedObjects readManagedObjects(sd_bus_message* message)
{
    ManagedObjects objects;
    readDictionary(message, "oa{sa{sv}}", 'o', [&](const char* path) {
        auto& interfaces = objects[path];
        readDictionary(message, "sa{sv}", 's', [&](const char* interface) {
            Properties& properties = interfaces[interface];
            readDictionary(message, "sv", 's', [&](const char* property) {
                properties[property] = readVariant(message);
            });
        });
    });
    return objects;
}

} // namespace healthintf::healthctl
