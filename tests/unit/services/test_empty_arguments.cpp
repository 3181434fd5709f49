// SPDX-License-Identifier: Apache-2.0
#include "common/empty_arguments.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::services
{
namespace
{

/** The error for a command line; empty if it is accepted. */
std::string catchComplaint(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "program");
    try
    {
        refuseEmptyArguments(static_cast<int>(arguments.size()),
                             arguments.data());
    }
    catch (const CLI::ValidationError& e)
    {
        return e.what();
    }
    return "";
}

TEST(EmptyArguments, AreRefusedWhereverTheyStand)
{
    EXPECT_EQ(catchComplaint({"lcd", "set", "hideerrs", ""}),
              "the argument after \"hideerrs\" is empty");
    EXPECT_EQ(catchComplaint({"", "tree"}), "the first argument is empty");
    EXPECT_EQ(catchComplaint({"faults", "-c", "", "--all"}),
              "the argument after \"-c\" is empty");
}

TEST(EmptyArguments, AreRefusedBehindAnEqualsSign)
{
    EXPECT_EQ(catchComplaint({"faults", "--component=", "--all"}),
              "\"--component=\" has no value");
}

TEST(EmptyArguments, AreNotSeenInArgumentsWithAValue)
{
    EXPECT_EQ(catchComplaint({}), "");
    EXPECT_EQ(
        catchComplaint({"sel", "add", "--name=a=", "--path", "b=", "-", "--"}),
        "");
}

} // namespace
} // namespace healthintf::services
