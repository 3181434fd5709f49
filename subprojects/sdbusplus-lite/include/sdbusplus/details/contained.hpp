#pragma once

/** @file Keeps exceptions inside the callbacks that sd-bus makes: it is C and
 *  cannot pass them on. */

#include <sdbusplus/exception.hpp>

#include <cstdio>
#include <exception>

namespace sdbusplus::details
{

/** Runs @p work; what it throws is written to standard error and given to
 *  @p report as error name and text. */
template <typename Work, typename Report>
void contained(const char* where, Work&& work, Report&& report) noexcept
{
    const auto failed = [&](const char* name, const char* text) {
        std::fprintf(stderr, "sdbusplus: exception in %s: %s\n", where, text);
        report(name, text);
    };
    constexpr const char* unnamed = "org.freedesktop.DBus.Error.Failed";
    try
    {
        work();
    }
    catch (const exception_t& e)
    {
        failed(e.name() != nullptr ? e.name() : unnamed, e.what());
    }
    catch (const std::exception& e)
    {
        failed(unnamed, e.what());
    }
    catch (...)
    {
        failed(unnamed, "unknown exception");
    }
}

} // namespace sdbusplus::details
