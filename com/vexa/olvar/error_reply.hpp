// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Turns exceptions in D-Bus callbacks into error replies. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

namespace healthintf::binding
{

/** The text of an exception for an error reply. A text that is not UTF-8 would
 *  end the connection. Only ASCII passes, which is simple to check. */
inline const char* asciiText(const char* text)
{
    const bool ascii = std::ranges::none_of(std::string_view(text), [](char c) {
        return (static_cast<unsigned char>(c) & 0x80U) != 0;
    });
    return ascii ? text : "exception with a text that is not ASCII";
}

/** Runs a callback's work and turns its exceptions into D-Bus errors. sdbusplus
 *  does so for its own exceptions only, and sd-bus is written in C and must see
 *  none.
 *
 *  @return what the work returns, or the negative errno of @p error */
template <typename Work>
int runWithErrorReply(sdbusplus::SdBusInterface* intf, sd_bus_error* error,
                      Work&& work) noexcept
{
    const auto setError = [&](const char* name, const char* text) {
        return intf->sd_bus_error_set(
            error, name != nullptr ? name : SD_BUS_ERROR_FAILED, text);
    };
    try
    {
        return std::forward<Work>(work)();
    }
    catch (const sdbusplus::exception_t& e)
    {
        return setError(e.name(), e.description());
    }
    catch (const std::exception& e)
    {
        return setError(nullptr, asciiText(e.what()));
    }
    catch (...)
    {
        return setError(nullptr, "unknown exception");
    }
}

} // namespace healthintf::binding
