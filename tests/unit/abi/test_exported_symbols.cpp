// SPDX-License-Identifier: Apache-2.0
/** @file The libraries export exactly the symbols that abi/ lists, under the
 *  same version nodes. */

#include "announced.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::test
{
namespace
{

void replaceAll(std::string& text, std::string_view old, std::string_view by)
{
    for (auto at = text.find(old); at != std::string::npos;
         at = text.find(old, at + by.size()))
    {
        text.replace(at, old.size(), by);
    }
}

/** A symbol as a C++ declaration, with the same names of sdbusplus's classes
 *  for each of its versions. */
std::string readable(const std::string& symbol)
{
    const std::size_t end = std::min(symbol.find('@'), symbol.size());
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(symbol.substr(0, end).c_str(), nullptr, nullptr,
                            nullptr),
        std::free);
    std::string text = demangled ? demangled.get() : symbol.substr(0, end);
    replaceAll(text, "::lite::", "::");
    replaceAll(text, "sdbusplus::bus::bus&", "sdbusplus::bus_t&");
    return text + symbol.substr(end);
}

std::vector<std::string> readable(std::vector<std::string> symbols)
{
    for (std::string& symbol : symbols)
    {
        symbol = readable(symbol);
    }
    return symbols;
}

/** The exported symbols, without inline functions, which depend on the
 *  compiler, and without the version nodes themselves. */
std::vector<std::string> exported(const std::string& library)
{
    std::vector<std::string> symbols;
    for (const std::string& line :
         splitLines(readOutput({"nm", "-D", "--defined-only", library})))
    {
        std::istringstream words(line);
        std::string address;
        std::string kind;
        std::string symbol;
        words >> address >> kind >> symbol;
        if (kind != "W" && kind != "A")
        {
            symbols.push_back(symbol);
        }
    }
    return symbols;
}

TEST(ExportedSymbols, OfTheLibraryAreAnnounced)
{
    const std::vector<std::string> symbols = announced("libhealthintf.symbols");
    EXPECT_GT(symbols.size(), 100);
    EXPECT_THAT(readable(exported(LIBRARY)),
                testing::UnorderedElementsAreArray(readable(symbols)));
}

TEST(ExportedSymbols, OfTheHostPlatformAreAnnounced)
{
    const std::vector<std::string> symbols =
        announced("libhealthintf-platform.symbols");
    EXPECT_GT(symbols.size(), 50);
    EXPECT_THAT(readable(exported(PLATFORM_LIBRARY)),
                testing::UnorderedElementsAreArray(readable(symbols)));
}

} // namespace
} // namespace healthintf::test
