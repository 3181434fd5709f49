// SPDX-License-Identifier: Apache-2.0
/** @file Public Redfish message registries as input. They are not part of the
 *  project; $HEALTHINTF_TEST_REGISTRIES names their folder. */

#include "cache_view.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;
using nlohmann::json;

const std::string key = "/com/vexa/olvar/health/real";

class RealRegistries : public testing::Test
{
  protected:
    void SetUp() override
    {
        const char* given = std::getenv("HEALTHINTF_TEST_REGISTRIES");
        folder = given != nullptr ? given : REAL_REGISTRIES;
        if (!fs::is_directory(folder))
        {
            GTEST_SKIP() << "no registries in " << folder
                         << ": set HEALTHINTF_TEST_REGISTRIES";
        }
        setenv("HEALTHINTF_REGISTRY_PATH", folder.c_str(), 1);
    }

    /** Calls @p use for each message of each registry. */
    template <typename Use>
    void forEachMessage(Use&& use) const
    {
        for (const auto& file : fs::directory_iterator(folder))
        {
            if (file.path().extension() != ".json")
            {
                continue;
            }
            const json registry = json::parse(std::ifstream(file.path()));
            for (const auto& [name, message] : registry["Messages"].items())
            {
                use(registry["RegistryPrefix"].get<std::string>() + "." +
                        registry["RegistryVersion"].get<std::string>() + "." +
                        name,
                    message);
            }
        }
    }

    /** The text that a message must have after its arguments are filled in. */
    static std::string expectedText(std::string text, unsigned int arguments)
    {
        for (unsigned int i = arguments; i > 0; --i)
        {
            const std::string placeholder = "%" + std::to_string(i);
            for (auto at = text.find(placeholder); at != std::string::npos;
                 at = text.find(placeholder))
            {
                text.replace(at, placeholder.size(),
                             "argument-" + std::to_string(i));
            }
        }
        return text;
    }

    fs::path folder;
    PrivateBus bus;
};

TEST_F(RealRegistries, MakeAFaultOfEveryMessageThatIsNotInformational)
{
    Component daemon(key, 2);
    int made = 0;
    int dropped = 0;
    forEachMessage([&](const std::string& id, const json& message) {
        const auto arguments = message["NumberOfArgs"].get<unsigned int>();
        std::string command = "message " + key + " " + id + " /sensor";
        for (unsigned int i = 1; i <= arguments; ++i)
        {
            command += " argument-" + std::to_string(i);
        }
        daemon.expect(command, "0");
        const auto found = recordedFaults();
        const std::string severity = message["MessageSeverity"];
        if (severity == "OK")
        {
            EXPECT_TRUE(found.empty()) << id;
            ++dropped;
            return;
        }
        ASSERT_EQ(found.size(), 1u) << id;
        const RecordedFault& fault = found.front();
        EXPECT_EQ(fault.messageID, id);
        EXPECT_EQ(fault.message, expectedText(message["Message"], arguments));
        EXPECT_EQ(fault.args.size(), arguments);
        EXPECT_EQ(fault.severity, severity == "Critical" ? 4u : 3u) << id;
        daemon.remove(key, id, "/sensor");
        ++made;
    });
    EXPECT_GT(made, 100);
    EXPECT_GT(dropped, 50);
    EXPECT_EQ(daemon.process.errors().find("left out"), std::string::npos)
        << daemon.process.errors();
    RecordProperty("faults", made);
    RecordProperty("informational", dropped);
}

} // namespace
} // namespace healthintf::test
