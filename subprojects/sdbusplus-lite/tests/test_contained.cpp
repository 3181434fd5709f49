#include <gtest/gtest.h>
#include <sdbusplus/details/contained.hpp>

#include <cerrno>
#include <stdexcept>
#include <string>

namespace sdbusplus::details
{
namespace
{

struct Nameless : exception::generated_exception
{
    const char* name() const noexcept override
    {
        return nullptr;
    }
    const char* description() const noexcept override
    {
        return nullptr;
    }
    const char* what() const noexcept override
    {
        return "no name";
    }
};

/** What is reported of @p work, as "name: text", and what is logged. */
struct Outcome
{
    std::string reported;
    std::string logged;
};

template <typename Work>
Outcome outcomeOf(Work&& work)
{
    Outcome outcome;
    testing::internal::CaptureStderr();
    contained("a test", work, [&](const char* name, const char* text) {
        outcome.reported = std::string(name) + ": " + text;
    });
    outcome.logged = testing::internal::GetCapturedStderr();
    return outcome;
}

TEST(ContainedWork, IsReportedOnlyWhenItThrows)
{
    int calls = 0;
    const Outcome outcome = outcomeOf([&] {
        ++calls;
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(outcome.reported, "");
    EXPECT_EQ(outcome.logged, "");
}

TEST(ContainedWork, IsReportedUnderTheNameOfItsError)
{
    const Outcome outcome = outcomeOf([] {
        throw exception::SdBusError(EINVAL, "sd_bus_send");
    });
    const std::string error =
        "org.freedesktop.DBus.Error.InvalidArgs: Invalid argument";
    EXPECT_EQ(outcome.reported, error);
    EXPECT_EQ(outcome.logged,
              "sdbusplus: exception in a test: sd_bus_send: " + error + "\n");
}

TEST(ContainedWork, IsReportedAsFailedWithoutAName)
{
    EXPECT_EQ(outcomeOf([] {
                  throw Nameless();
              }).reported,
              "org.freedesktop.DBus.Error.Failed: no name");
    EXPECT_EQ(outcomeOf([] {
                  throw std::out_of_range("broken");
              }).reported,
              "org.freedesktop.DBus.Error.Failed: broken");
    EXPECT_EQ(outcomeOf([] {
                  throw 7;
              }).reported,
              "org.freedesktop.DBus.Error.Failed: unknown exception");
}

TEST(ContainedWork, IsNotReportedWithATextThatCannotBeSent)
{
    const Outcome outcome = outcomeOf([] {
        throw std::runtime_error("\xff");
    });
    EXPECT_EQ(outcome.reported, "org.freedesktop.DBus.Error.Failed: exception "
                                "with a text that is not ASCII");
    EXPECT_EQ(outcome.logged, "sdbusplus: exception in a test: \xff\n");
}

} // namespace
} // namespace sdbusplus::details
