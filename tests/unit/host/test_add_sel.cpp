// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "no_bus.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace
{

// tests/bus/ tests what logmgr receives.

TEST(AddSel, LogsTheMissingBusOnce)
{
    healthintf::test::haveNoBus();
    std::string errors;
    EXPECT_EQ(
        healthintf::test::inChild(
            [] {
                const auto add = [] {
                    return DataAbstraction::SEL::AddSEL(
                        "com.example", "/com/example", {"name", "path", 1, 2},
                        std::vector<uint8_t>(16), std::nullopt);
                };
                return add() == 0x10000 + ENOENT && add() == 0x10000 + ENOENT
                           ? 0
                           : 1;
            },
            &errors),
        0);
    EXPECT_THAT(errors,
                testing::MatchesRegex(".*unable to store a record by "
                                      "com.example: [^\n]*No such file[^\n]*"
                                      "check that the bus[^\n]*\n"));
}

} // namespace
