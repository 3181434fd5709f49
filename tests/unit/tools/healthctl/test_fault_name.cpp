// SPDX-License-Identifier: Apache-2.0
#include "error.hpp"
#include "model/fault_name.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health/";

const Faults faults{{root + "fan/entry/Fault_0001_4", {}},
                    {root + "psu/entry/Fault_0002_4", {}},
                    {root + "psu/entry/Fault_0003_3", {}},
                    {root + "psu/entry/Fault_10003_3", {}}};

/** The exit code and the text of the error. */
std::pair<ExitCode, std::string> refusal(const std::string& written)
{
    try
    {
        findFault(faults, written);
    }
    catch (const Error& e)
    {
        return {e.code(), e.what()};
    }
    return {ExitCode::ok, ""};
}

TEST(FaultName, IsThePathOfTheEntryOrAnEndOfIt)
{
    for (const char* written :
         {"/com/vexa/olvar/health/psu/entry/Fault_0002_4", "Fault_0002_4",
          "2_4", "psu/entry/Fault_0002_4"})
    {
        EXPECT_EQ(&findFault(faults, written), &faults[1]) << written;
    }
}

TEST(FaultName, IsTheComponentWithoutAnotherFault)
{
    EXPECT_EQ(&findFault(faults, "fan"), &faults[0]);
    EXPECT_EQ(&findFault(faults, root + "fan"), &faults[0]);
}

TEST(FaultName, IsTheWholePathThatOthersEndWith)
{
    Faults nested{{"/entry/a", {}}, {"/b/entry/a", {}}};
    EXPECT_EQ(&findFault(nested, "/entry/a"), &nested[0]);
}

TEST(FaultName, MustNotBeThatOfSeveral)
{
    EXPECT_EQ(refusal("psu"),
              std::pair(ExitCode::usage,
                        std::string("\"psu\" may be one of 3 faults; give one "
                                    "of Fault_0002_4, Fault_0003_3, "
                                    "Fault_10003_3")));
    EXPECT_EQ(refusal("_4").first, ExitCode::usage);
    EXPECT_EQ(refusal("0003_3").first, ExitCode::usage);
}

TEST(FaultName, MustBeThatOfOne)
{
    for (const char* written : {"rack", "Fault_0009_4", "a//b", "fan/entry"})
    {
        EXPECT_EQ(refusal(written).first, ExitCode::notThere) << written;
        EXPECT_THAT(refusal(written).second,
                    HasSubstr("there is no fault \"" + std::string(written)));
    }
}

TEST(FaultName, NamesFourOfMany)
{
    Faults many;
    for (int i = 0; i < 5; ++i)
    {
        many.push_back({root + "a/entry/F" + std::to_string(i), {}});
    }
    try
    {
        findFault(many, "a");
        FAIL() << "found one";
    }
    catch (const Error& e)
    {
        EXPECT_THAT(e.what(), HasSubstr("5 faults; give one of F0, F1, F2, "
                                        "F3, ..."));
    }
}

} // namespace
} // namespace healthintf::healthctl
