/** @file The libraries export what abi/ announces, under the same nodes of
 * their version scripts. */

#include "announced.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

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
    EXPECT_THAT(exported(LIBRARY), testing::UnorderedElementsAreArray(symbols));
}

TEST(ExportedSymbols, OfTheHostPlatformAreAnnounced)
{
    const std::vector<std::string> symbols =
        announced("libhealthintf-platform.symbols");
    EXPECT_GT(symbols.size(), 50);
    EXPECT_THAT(exported(PLATFORM_LIBRARY),
                testing::UnorderedElementsAreArray(symbols));
}

} // namespace
} // namespace healthintf::test
