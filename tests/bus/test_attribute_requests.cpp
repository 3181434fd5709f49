// SPDX-License-Identifier: Apache-2.0
/** @file healthmgr sets attributes: what it replies, writes and announces, and
 *  what it takes over from earlier versions. */

#include "bus_client.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

constexpr const char* service = "com.vexa.olvar.healthmgr";
constexpr const char* path = "/com/vexa/olvar/healthmgr";
constexpr const char* interface = "com.vexa.olvar.healthmgr.Attributes";
const std::string error = std::string(interface) + ".Error.";

class AttributeRequests : public testing::Test
{
  protected:
    /** A running healthmgr that is ready. */
    Process manager()
    {
        Process started({HEALTHMGR});
        client.waitUntil("manager", [this] {
            return !client.findOwner(service).empty();
        });
        return started;
    }

    bool hasTheRoot() const
    {
        try
        {
            client.health(service, "/com/vexa/olvar/health");
            return true;
        }
        catch (const std::runtime_error&)
        {
            return false;
        }
    }

    void set(const std::string& name, int32_t value,
             const std::string& source = "") const
    {
        client.call(service, path, interface, "Set", "sis", name.c_str(), value,
                    source.c_str());
    }

    /** The error of healthmgr's reply. */
    std::string refusal(const std::string& name, int32_t value = 1,
                        const std::string& source = "") const
    {
        try
        {
            set(name, value, source);
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
        return "none";
    }

    std::filesystem::path file() const
    {
        return bus.folder().path() / "state/config/attributes.json";
    }

    /** The content of the attribute file. */
    nlohmann::json attributes() const
    {
        return nlohmann::json::parse(readContent(file())).at("attributes");
    }

    /** Records the names of all notifications. */
    void listen()
    {
        const auto take = [](sd_bus_message* message, void* context,
                             sd_bus_error*) {
            const char* name = nullptr;
            sd_bus_message_read(message, "s", &name);
            static_cast<std::vector<std::string>*>(context)->emplace_back(name);
            return 0;
        };
        ASSERT_GE(sd_bus_match_signal(client.get(), nullptr, service,
                                      "/com/vexa/olvar/notification",
                                      "com.vexa.olvar.Notification", "Notified",
                                      take, &announced),
                  0);
    }

    PrivateBus bus;
    BusClient client;
    std::vector<std::string> announced;
};

TEST_F(AttributeRequests, AreAnsweredWhenTheAttributeIsOnTheDiskAndAnnounced)
{
    const Process running = manager();
    listen();
    set("a", 5, "operator");
    EXPECT_EQ(attributes(), nlohmann::json({{"a", 5}}));
    client.catchUp();
    EXPECT_EQ(announced,
              std::vector<std::string>{"CfgMgr/1/AttributeChange/a"});
    set("a", std::numeric_limits<int32_t>::min());
    set("b", std::numeric_limits<int32_t>::max());
    EXPECT_EQ(attributes(),
              nlohmann::json({{"a", std::numeric_limits<int32_t>::min()},
                              {"b", std::numeric_limits<int32_t>::max()}}));
}

TEST_F(AttributeRequests, AreRefusedWithAnInvalidName)
{
    const Process running = manager();
    listen();
    const std::string start = error + "EINVAL: an attribute was not "
                                      "set: ";
    EXPECT_EQ(refusal(""), start + "it has no name");
    for (const char* name : {"a b", "a/b", "a\n", "../a", "\xC3\xA4"})
    {
        EXPECT_EQ(
            refusal(name),
            start +
                "its name has other characters than letters, digits and .#_-");
    }
    EXPECT_EQ(refusal(std::string(256, 'x')),
              start + "its name has more than 255 bytes");
    EXPECT_EQ(refusal("a", 1, std::string(4097, 'x')),
              start + "the name of who sets it has more than 4096 bytes");
    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_EQ(refusal(std::string(255, 'x'), 1, std::string(4096, 'x')),
              "none");
    client.catchUp();
    EXPECT_EQ(announced.size(), 1U);
    EXPECT_EQ(running.errors(), "")
        << "the caller gets the error; nothing is logged";
}

TEST_F(AttributeRequests, AreRefusedWithWrongArguments)
{
    const Process running = manager();
    for (const char* types : {"", "s", "si"})
    {
        EXPECT_THROW(
            client.call(service, path, interface, "Set", types, "a", 5, "more"),
            std::runtime_error);
    }
    set("a", 5);
}

TEST_F(AttributeRequests, AreRefusedWhenThereIsNoRoom)
{
    nlohmann::json full = nlohmann::json::object();
    for (int i = 1; i < 4096; ++i)
    {
        full[std::to_string(i)] = 1;
    }
    bus.folder().write(
        "state/config/attributes.json",
        nlohmann::json{{"version", 1}, {"attributes", full}}.dump());
    const Process running = manager();
    EXPECT_EQ(refusal("last"), "none");
    EXPECT_THAT(refusal("more"), testing::StartsWith(error + "EDQUOT: "));
    EXPECT_EQ(refusal("last", 2), "none");
}

TEST_F(AttributeRequests, AreRefusedAndLoggedWhereNothingCanBeWritten)
{
    const Process running = manager();
    bus.folder().write("state", "no folder");
    EXPECT_THAT(refusal("a"), testing::StartsWith(error + "ENOTDIR: "));
    EXPECT_THAT(refusal("a"),
                HasSubstr("an attribute was not set: attributes"));
    EXPECT_THAT(running.errors(),
                HasSubstr("attributes.json: Not a directory"));
    EXPECT_EQ(running.errors().find("not set"),
              running.errors().rfind("not set"))
        << "logged once";
}

TEST_F(AttributeRequests, FollowNoSymbolicLink)
{
    const auto victim = bus.folder().write("victim", "of somebody else");
    std::filesystem::create_directories(file().parent_path());
    std::filesystem::create_symlink(victim, file().string() + ".new");
    const Process running = manager();
    set("a", 5);
    EXPECT_EQ(readContent(victim), "of somebody else");
    std::filesystem::remove(file());
    std::filesystem::create_symlink(victim, file());
    EXPECT_THAT(refusal("a"), testing::StartsWith(error + "ELOOP: "));
    EXPECT_EQ(readContent(victim), "of somebody else");
}

TEST_F(AttributeRequests, TakeOverTheFileOfAnEarlierVersion)
{
    bus.folder().write("state/config/attributes.json", R"({
    "attributes": {
        "system.embedded.1#lcd.1#hideerrs": 0,
        "with a space": 3
    },
    "version": 1
}
)");
    bus.folder().write("state/config/lock", "");
    const Process running = manager();
    set("a", 5);
    EXPECT_EQ(attributes(), nlohmann::json({
                                {"a", 5},
                                {"system.embedded.1#lcd.1#hideerrs", 0},
                            }));
    EXPECT_THAT(running.errors(),
                HasSubstr("the attribute \"with a space\" in"));
    EXPECT_FALSE(std::filesystem::exists(file().parent_path() / "lock"));
}

TEST_F(AttributeRequests, LeaveTheFileToTheFirstOfTwoHealthManagers)
{
    const Process running = manager();
    const std::string untouched = R"({"version": 1, "attributes": {"a b": 1}})";
    bus.folder().write("state/config/attributes.json", untouched);
    bus.folder().write("state/config/lock", "");
    Process second({HEALTHMGR});
    EXPECT_NE(second.wait(), 0);
    EXPECT_EQ(readContent(file()), untouched);
    EXPECT_TRUE(std::filesystem::exists(file().parent_path() / "lock"));
}

TEST_F(AttributeRequests, MayBeMadeByTheNodesOfTheHealthManagerItself)
{
    const Process running = manager();
    const std::string lcd = "system.embedded.1#lcd.1#";
    // The root's node, which is healthmgr's own, reacts to the change of one
    // setting by changing the other.
    client.waitUntil("root", [this] {
        return hasTheRoot();
    });
    set(lcd + "oemLCDFlags", 1);
    listen();
    set(lcd + "oemLCDFlags", 0);
    client.waitUntil("change by the health manager", [this] {
        return announced.size() == 2;
    });
    EXPECT_EQ(announced.back(), "CfgMgr/1/AttributeChange/" + lcd + "hideerrs");
    EXPECT_EQ(attributes().at(lcd + "hideerrs"), 1);
    EXPECT_EQ(running.errors(), "");
}

} // namespace
} // namespace healthintf::test
