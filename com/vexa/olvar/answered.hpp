#pragma once

/** @file What every callback of an object table has around its work. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

namespace healthintf::binding
{

/** The text of an exception for an error reply. One that D-Bus might not carry
 *  would end the connection; which text is UTF-8 is not worth finding out. */
inline const char* sendable(const char* text)
{
    const bool ascii = std::ranges::none_of(std::string_view(text), [](char c) {
        return (static_cast<unsigned char>(c) & 0x80U) != 0;
    });
    return ascii ? text : "exception with a text that is not ASCII";
}

/** Runs a callback's work. sdbusplus answers for its own exceptions alone;
 *  sd-bus is C and must not see any other, so that they become errors here.
 *
 *  @return what the work returns, or the negative number that @p error stands
 *          for */
template <typename Work>
int answered(sdbusplus::SdBusInterface* intf, sd_bus_error* error,
             Work&& work) noexcept
{
    const auto failed = [&](const char* name, const char* text) {
        return intf->sd_bus_error_set(
            error, name != nullptr ? name : SD_BUS_ERROR_FAILED, text);
    };
    try
    {
        return std::forward<Work>(work)();
    }
    catch (const sdbusplus::exception_t& e)
    {
        return failed(e.name(), e.description());
    }
    catch (const std::exception& e)
    {
        return failed(nullptr, sendable(e.what()));
    }
    catch (...)
    {
        return failed(nullptr, "unknown exception");
    }
}

} // namespace healthintf::binding
