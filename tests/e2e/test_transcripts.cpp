// SPDX-License-Identifier: Apache-2.0
/** @file What healthctl's commands print on terminals of 80 and of 200 columns,
 *  blank for blank, on a machine that is always the same. */

#include "help_text.hpp"
#include "installation.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <regex>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;

constexpr std::array pages{"reading.md", "changing.md", "log.md"};

const fs::path folder = SOURCE_FOLDER "/tests/e2e/transcripts";

/** A time zone where it is noon now. So the day does not end during the test,
 *  and a picture of the day has the faults always in the same place. */
std::string zoneWithNoon()
{
    constexpr std::time_t day = 24 * 60 * 60;
    const std::time_t west = std::time(nullptr) % day - day / 2;
    const std::time_t seconds = std::abs(west);
    std::array<char, sizeof "TZ=NOON-12:00:00"> text{};
    std::snprintf(text.data(), text.size(), "TZ=NOON%s%02d:%02d:%02d",
                  west < 0 ? "-" : "", static_cast<int>(seconds / 3600),
                  static_cast<int>(seconds / 60 % 60),
                  static_cast<int>(seconds % 60));
    return text.data();
}

/** Runs a page's commands.
 *
 *  @return the runner's last line
 *  @throws std::runtime_error with the first difference */
std::string runPage(const std::string& name)
{
    const PrivateBus bus;
    const TemporaryFolder machine;
    fs::create_directory_symlink(BUILD_FOLDER, machine.path() / "build");
    fs::create_directory_symlink(SOURCE_FOLDER "/data",
                                 machine.path() / "data");
    fs::create_directory_symlink(folder / "machine",
                                 machine.path() / "machine");
    return readOutput({SOURCE_FOLDER "/scripts/checks/transcripts", "--exact",
                       "--let=$ at =$ " ON_TERMINAL " ",
                       "--let=$ screen =$ machine/first-screen ", folder / name,
                       machine.path()},
                      {"PATH=" + fs::path(HEALTHCTL).parent_path().string() +
                           ":" + std::getenv("PATH"),
                       "TERM=xterm", "LC_ALL=", "NO_COLOR=1", zoneWithNoon(),
                       "WATCH_ON_TERMINAL=" WATCH_ON_TERMINAL,
                       // Their paths are shown.
                       "HEALTHINTF_REGISTRY_PATH=data/registries",
                       "HEALTHINTF_EVENT_PATH=data/events"});
}

class Transcripts : public testing::TestWithParam<const char*>
{};

TEST_P(Transcripts, ShowTheActualOutput)
{
    EXPECT_THAT(runPage(GetParam()),
                testing::EndsWith("commands show what the document says\n"));
}

INSTANTIATE_TEST_SUITE_P(Pages, Transcripts, testing::ValuesIn(pages));

/** Every command that prints something on its own, in words. */
std::vector<std::string> listCommands(const std::vector<std::string>& command)
{
    std::vector<std::string> all;
    for (const std::string& next : commandsIn(readHelp(command)))
    {
        std::vector<std::string> longer = command;
        longer.push_back(next);
        const auto below = listCommands(longer);
        if (below.empty() || next == "history")
        {
            all.push_back(next);
        }
        for (const std::string& word : below)
        {
            all.push_back(next + " " + word);
        }
    }
    return all;
}

TEST(TranscriptsList, HasEveryCommandAtBothWidths)
{
    std::string all;
    for (const char* page : pages)
    {
        all += readContent(folder / page);
    }
    const auto commands = listCommands({HEALTHCTL});
    EXPECT_THAT(commands, testing::SizeIs(testing::Ge(28U)));
    for (const std::string& command : commands)
    {
        for (const char* columns : {"80", "200"})
        {
            EXPECT_TRUE(std::regex_search(
                all, std::regex(std::string("\n\\$ (at|screen) ") + columns +
                                " healthctl " + command + "\\b")))
                << columns << " " << command;
        }
    }
}

} // namespace
} // namespace healthintf::test
