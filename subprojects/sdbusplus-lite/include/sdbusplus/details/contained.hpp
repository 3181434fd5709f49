#pragma once

/** @file Keeps exceptions inside the callbacks that sd-bus makes: it is C and
 *  cannot pass them on. */

#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string_view>

namespace sdbusplus::details
{

/** Runs @p work; what it throws is written to standard error and given to
 *  @p report as error name and description. */
template <typename Work, typename Report>
void contained(const char* where, Work&& work, Report&& report) noexcept
{
    // A text that D-Bus might not carry would end the connection.
    const auto sendable = [](const char* text) {
        const bool ascii =
            std::ranges::none_of(std::string_view(text), [](char c) {
                return (static_cast<unsigned char>(c) & 0x80U) != 0;
            });
        return ascii ? text : "exception with a text that is not ASCII";
    };
    const auto failed = [&](const char* text, const char* name,
                            const char* description) {
        std::fprintf(stderr, "sdbusplus: exception in %s: %s\n", where, text);
        report(name != nullptr ? name : "org.freedesktop.DBus.Error.Failed",
               description != nullptr ? description : sendable(text));
    };
    try
    {
        work();
    }
    catch (const exception_t& e)
    {
        failed(e.what(), e.name(), e.description());
    }
    catch (const std::exception& e)
    {
        failed(e.what(), nullptr, nullptr);
    }
    catch (...)
    {
        failed("unknown exception", nullptr, nullptr);
    }
}

} // namespace sdbusplus::details
