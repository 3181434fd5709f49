// SPDX-License-Identifier: Apache-2.0
#include "text.hpp"

namespace healthintf::test
{
namespace
{

std::string next(sd_bus_message* message);

/** Reads the values up to the end of the container at the read position. */
std::string rest(sd_bus_message* message, const char* separator)
{
    std::string shown;
    while (sd_bus_message_at_end(message, 0) == 0)
    {
        shown += (shown.empty() ? "" : separator) + next(message);
    }
    return shown;
}

std::string container(sd_bus_message* message, char type, const char* contents)
{
    sd_bus_message_enter_container(message, type, contents);
    std::string shown;
    switch (type)
    {
        case SD_BUS_TYPE_ARRAY:
            shown = "[" + rest(message, ", ") + "]";
            break;
        case SD_BUS_TYPE_DICT_ENTRY:
            shown = rest(message, "=");
            break;
        case SD_BUS_TYPE_STRUCT:
            shown = "(" + rest(message, ", ") + ")";
            break;
        default:
            shown = rest(message, " ");
            break;
    }
    sd_bus_message_exit_container(message);
    return shown;
}

template <typename T>
std::string number(sd_bus_message* message, char type)
{
    T value{};
    sd_bus_message_read_basic(message, type, &value);
    return std::to_string(value);
}

std::string next(sd_bus_message* message)
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0)
    {
        return "?";
    }
    switch (type)
    {
        case SD_BUS_TYPE_BOOLEAN:
        {
            int value = 0;
            sd_bus_message_read_basic(message, type, &value);
            return text(value != 0);
        }
        case SD_BUS_TYPE_BYTE:
            return number<uint8_t>(message, type);
        case SD_BUS_TYPE_UINT16:
            return number<uint16_t>(message, type);
        case SD_BUS_TYPE_INT32:
            return number<int32_t>(message, type);
        case SD_BUS_TYPE_UINT32:
            return number<uint32_t>(message, type);
        case SD_BUS_TYPE_UINT64:
            return number<uint64_t>(message, type);
        case SD_BUS_TYPE_STRING:
        case SD_BUS_TYPE_OBJECT_PATH:
        {
            const char* value = nullptr;
            sd_bus_message_read_basic(message, type, &value);
            return text(std::string(value));
        }
        default:
            return container(message, type, contents);
    }
}

} // namespace

std::string arguments(sd_bus_message* message)
{
    sd_bus_message_rewind(message, 1);
    std::string shown = rest(message, " ");
    sd_bus_message_rewind(message, 1);
    return shown;
}

} // namespace healthintf::test
