// SPDX-License-Identifier: Apache-2.0
/** @file The libraries export what abi/ announces, under the same nodes of
 * their version scripts. */

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

/** A symbol as a declaration. sdbusplus' classes have one name each: that for
 *  the linker is another in each of its versions. */
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

/** Without inline functions, of which the compiler decides, and without the
 *  nodes themselves. */
std::vector<std::string> exported(const std::string& library)
{
    std::vector<std::string> symbols;
    for (const std::string& line :
         linesOf(outputOf({"nm", "-D", "--defined-only", library})))
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
