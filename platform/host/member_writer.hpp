// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Maps from names to values of any type in D-Bus messages. */

#include "bus_calls.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>

namespace healthintf::host
{

/** Appends a map of type a{sv} to a message, member by member. Each call throws
 *  std::system_error when libsystemd cannot append. */
class MemberWriter
{
  public:
    /** Begins the map. The message must outlive the writer. */
    explicit MemberWriter(sd_bus_message* message) : message(message)
    {
        open('a', "{sv}");
    }

    /** @param[in] type the value's D-Bus type, a basic one; a boolean's value
     * is an int */
    void add(const char* name, const char* type, auto value)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "{sv}", name, type, value));
    }

    void add(const char* name, const std::string& text)
    {
        add(name, "s", text.c_str());
    }

    /** Adds an array of texts, of type as.
     *
     *  @param[in] texts a container of std::string */
    void addTexts(const char* name, const auto& texts)
    {
        addArray(name, "as", texts, [this](const std::string& text) {
            append("s", text.c_str());
        });
    }

    /** Adds an array of numbers, of type au.
     *
     *  @param[in] numbers a container of uint32_t */
    void addNumbers(const char* name, const auto& numbers)
    {
        addArray(name, "au", numbers, [this](uint32_t number) {
            append("u", number);
        });
    }

    /** Ends the map. */
    void finish()
    {
        close();
    }

  private:
    void addArray(const char* name, const char* type, const auto& values,
                  auto&& appendValue)
    {
        open('e', "sv");
        append("s", name);
        open('v', type);
        open('a', type + 1);
        for (const auto& value : values)
        {
            appendValue(value);
        }
        close();
        close();
        close();
    }

    void append(const char* type, auto value)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, type, value));
    }

    void open(char type, const char* content)
    {
        checkBus("sd_bus_message_open_container",
                 sd_bus_message_open_container(message, type, content));
    }

    void close()
    {
        checkBus("sd_bus_message_close_container",
                 sd_bus_message_close_container(message));
    }

    sd_bus_message* message;
};

} // namespace healthintf::host
