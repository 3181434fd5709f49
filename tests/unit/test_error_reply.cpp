// SPDX-License-Identifier: Apache-2.0
#include <com/vexa/olvar/error_reply.hpp>

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>

namespace healthintf::binding
{
namespace
{

/** An error that an interface declares for its methods. */
struct Declared : sdbusplus::exception_t
{
    const char* name() const noexcept override
    {
        return "com.example.Declared";
    }
    const char* description() const noexcept override
    {
        return "declared";
    }
    const char* what() const noexcept override
    {
        return "com.example.Declared: declared";
    }
    int get_errno() const noexcept override
    {
        return EIO;
    }
};

struct Outcome
{
    int result;
    std::string error;
};

Outcome catchOutcome(const std::function<int()>& work)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    Outcome outcome{runWithErrorReply(&sdbusplus::sdbus_impl, &error, work),
                    ""};
    if (error.name != nullptr)
    {
        outcome.error = std::string(error.name) + ": " + error.message;
    }
    sd_bus_error_free(&error);
    return outcome;
}

TEST(ErrorReply, ReturnsTheResultOfTheWork)
{
    const Outcome outcome = catchOutcome([] {
        return 7;
    });
    EXPECT_EQ(outcome.result, 7);
    EXPECT_EQ(outcome.error, "");
}

TEST(ErrorReply, KeepsNameAndDescriptionOfDBusErrors)
{
    const Outcome declared = catchOutcome([]() -> int {
        throw Declared();
    });
    EXPECT_LT(declared.result, 0);
    EXPECT_EQ(declared.error, "com.example.Declared: declared");
    EXPECT_EQ(catchOutcome([]() -> int {
                  throw sdbusplus::exception::SdBusError(EIO, "sd_bus_send");
              }).error,
              "org.freedesktop.DBus.Error.IOError: Input/output error");
}

TEST(ErrorReply, MapsAllOtherExceptionsToFailed)
{
    const Outcome outcome = catchOutcome([]() -> int {
        throw std::runtime_error("broken");
    });
    EXPECT_LT(outcome.result, 0);
    EXPECT_EQ(outcome.error, "org.freedesktop.DBus.Error.Failed: broken");
    EXPECT_EQ(catchOutcome([]() -> int {
                  throw 7;
              }).error,
              "org.freedesktop.DBus.Error.Failed: unknown exception");
}

TEST(ErrorReply, SendsOnlyTextsInAscii)
{
    EXPECT_EQ(catchOutcome([]() -> int {
                  throw std::runtime_error("\xff");
              }).error,
              "org.freedesktop.DBus.Error.Failed: exception with a text that "
              "is not ASCII");
}

} // namespace
} // namespace healthintf::binding
