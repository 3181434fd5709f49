// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <cstring>
#include <utility>

namespace sdbusplus
{
namespace
{

using exception::SdBusError;

TEST(SdBusError, NamesTheCallTheErrorAndItsText)
{
    const SdBusError error(EINVAL, "sd_bus_send");

    EXPECT_STREQ(error.what(),
                 "sd_bus_send: org.freedesktop.DBus.Error.InvalidArgs: "
                 "Invalid argument");
    EXPECT_STREQ(error.name(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_STREQ(error.description(), "Invalid argument");
    EXPECT_EQ(error.get_errno(), EINVAL);
}

TEST(SdBusError, TakesAnErrnoOfEitherSign)
{
    EXPECT_EQ(SdBusError(-EEXIST, "x").get_errno(), EEXIST);
    EXPECT_EQ(SdBusError(EEXIST, "x").get_errno(), EEXIST);
}

TEST(SdBusError, RefusesANumberThatIsNoError)
{
    EXPECT_THROW(SdBusError(0, "x"), std::runtime_error);
}

TEST(SdBusError, TakesOverAnErrorAndLeavesTheSourceEmpty)
{
    sd_bus_error source = SD_BUS_ERROR_NULL;
    sd_bus_error_set(&source, "com.example.Broken", "it broke");

    const SdBusError error(&source, "sd_bus_call");

    EXPECT_EQ(sd_bus_error_is_set(&source), 0);
    EXPECT_STREQ(error.what(), "sd_bus_call: com.example.Broken: it broke");
    EXPECT_STREQ(error.get_error()->name, "com.example.Broken");
}

TEST(SdBusError, KeepsItsContentWhenMoved)
{
    SdBusError first(ENOENT, "one");
    SdBusError second(std::move(first));
    EXPECT_STREQ(second.what(), "one: org.freedesktop.DBus.Error.FileNotFound: "
                                "No such file or directory");

    SdBusError third(EIO, "three");
    third = std::move(second);
    EXPECT_EQ(third.get_errno(), ENOENT);
}

TEST(SdBusError, IsCaughtAsEachOfItsBases)
{
    EXPECT_THROW(throw SdBusError(EIO, "x"), internal_exception_t);
    EXPECT_THROW(throw SdBusError(EIO, "x"), exception_t);
    EXPECT_THROW(throw SdBusError(EIO, "x"), std::exception);
}

TEST(GeneratedException, CountsAsAnInputOutputError)
{
    struct Declared : exception::generated_exception
    {
        const char* name() const noexcept override
        {
            return "com.example.Declared";
        }
        const char* description() const noexcept override
        {
            return "declared";
        }
    };
    EXPECT_EQ(Declared().get_errno(), EIO);
}

TEST(Check, PassesResultsAndThrowsOnFailures)
{
    EXPECT_EQ(details::check(3, "call"), 3);
    EXPECT_THROW(details::check(-EIO, "call"), SdBusError);
}

} // namespace
} // namespace sdbusplus
