// SPDX-License-Identifier: Apache-2.0
#include "kernel_file.hpp"
#include "no_more_descriptors.hpp"
#include "storage/shortage.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <system_error>

namespace healthintf::hostmon
{
namespace
{

TEST(KernelFile, GivesItsContent)
{
    const test::TemporaryFolder folder;
    EXPECT_EQ(readKernelFile(folder.write("a", "one\ntwo\n")), "one\ntwo\n");
    EXPECT_EQ(readKernelFile(folder.write("b", "")), "");
}

TEST(KernelFile, HasUpToOneMebibyte)
{
    const test::TemporaryFolder folder;
    constexpr std::size_t most = 1 << 20;
    const auto of = [&](std::size_t size) {
        return readKernelFile(folder.write("a", std::string(size, 'x'))).size();
    };
    EXPECT_EQ(of(most), most);
    EXPECT_THROW(of(most + 1), std::runtime_error);
    EXPECT_THROW(readKernelFile("/dev/zero"), std::runtime_error);
}

TEST(KernelFile, IsNamedWhenItCannotBeRead)
{
    try
    {
        readKernelFile("/nonexistent");
        FAIL() << "read";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "unable to open /nonexistent: No such file or "
                               "directory");
    }
    EXPECT_THROW(readKernelFile("/tmp"), std::runtime_error);
}

TEST(KernelFile, ReportsWhetherItExistsWhenItCannotBeRead)
{
    const auto catchFailure = [](const std::string& file) {
        try
        {
            readKernelFile(file);
        }
        catch (const std::system_error& e)
        {
            return e.code();
        }
        return std::error_code();
    };
    EXPECT_TRUE(isGone(catchFailure("/nonexistent")));
    EXPECT_TRUE(isGone(catchFailure("/dev/null/file")));
    EXPECT_FALSE(isGone(catchFailure("/tmp"))) << "a folder";
    EXPECT_FALSE(host::isShortage(catchFailure("/tmp").value()));
    EXPECT_FALSE(host::isShortage(catchFailure("/nonexistent").value()));
    const test::NoMoreDescriptors shortage;
    EXPECT_TRUE(host::isShortage(catchFailure("/proc/meminfo").value()));
    EXPECT_FALSE(isGone(catchFailure("/proc/meminfo")));
}

TEST(NumberInAText, IsFinite)
{
    for (const char* text : {"nan", "inf", "-inf"})
    {
        EXPECT_THROW(parseNumberAfter(text, "", "f"), std::runtime_error)
            << text;
    }
}

TEST(NumberInAText, StandsBehindItsLabel)
{
    EXPECT_EQ(parseNumberAfter("A:  5 kB\nB: 6.5", "A:", "f"), 5);
    EXPECT_EQ(parseNumberAfter("A:  5 kB\nB: 6.5", "B:", "f"), 6.5);
    EXPECT_EQ(parseNumberAfter("avg10=0.50 avg60=1", "avg60=", "f"), 1);
    EXPECT_EQ(parseNumberAfter("-42000\n", "", "f"), -42000);
}

TEST(NumberInAText, IsMissedByItsLabelAndFile)
{
    const auto error = [](const std::string& text,
                          const std::string& label) -> std::string {
        try
        {
            parseNumberAfter(text, label, "f");
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
        return "read";
    };
    EXPECT_EQ(error("A: 5", "B:"), "no number after B: in f");
    EXPECT_EQ(error("A: x", "A:"), "no number after A: in f");
    EXPECT_EQ(error("A:", "A:"), "no number after A: in f");
    EXPECT_EQ(error("", ""), "no number in f");
}

} // namespace
} // namespace healthintf::hostmon
