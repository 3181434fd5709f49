// SPDX-License-Identifier: Apache-2.0
/** @file Faults that operators acknowledge, with a real healthmgr and real
 *  daemons. */

#include "blocked_file.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "managed_tree.hpp"
#include "operator_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

class AcknowledgementsOnBus : public ManagedTree
{
  protected:
    AcknowledgementsOnBus()
    {
        startManager();
        addFault();
    }

    void addFault()
    {
        daemon->add(key, "BAD", "/sensor", 1);
        entry = recordedFaults().back().path;
    }

    void acknowledge(const std::string& path,
                     const std::string& comment = "Olga sees to it")
    {
        interface.call("Acknowledge", [&](auto& call) {
            call.append(path, comment);
        });
    }

    void withdraw(const std::string& path)
    {
        interface.call("Withdraw", [&](auto& call) {
            call.append(path);
        });
    }

    std::string refusal(const std::string& path, const std::string& comment)
    {
        return RecordInterface::refusal([&] {
            acknowledge(path, comment);
        });
    }

    std::string refusalToWithdraw(const std::string& path)
    {
        return RecordInterface::refusal([&] {
            withdraw(path);
        });
    }

    void waitUntilWithdrawn(const std::string& reason)
    {
        client.waitUntil("signal", [this] {
            return !interface.signals.empty() &&
                   interface.signals.back().first == "Withdrawn";
        });
        Members& told = interface.signals.back().second;
        EXPECT_EQ(std::get<std::string>(told["Reason"]), reason);
        EXPECT_EQ(std::get<std::string>(told["Fault"]), entry);
        EXPECT_THAT(interface.list(), IsEmpty());
    }

    const std::string key = root + "/fans/fan1";
    std::unique_ptr<Component> daemon = std::make_unique<Component>(key, 2);
    std::string entry;
    RecordInterface interface {
        client, "com.vexa.olvar.healthmgr.Acknowledgements"
    };
};

TEST_F(AcknowledgementsOnBus, AreListedAndAnnounced)
{
    const int64_t before = time(nullptr);
    acknowledge(entry);
    auto all = interface.list();
    ASSERT_EQ(all.size(), 1U);
    const auto told = std::get<int64_t>(all[0]["Time"]);
    EXPECT_GE(told, before);
    EXPECT_LE(told, time(nullptr));
    const Members expected{{"Fault", entry},
                           {"MessageID", std::string("BAD")},
                           {"Comment", std::string("Olga sees to it")},
                           {"User", uint32_t{geteuid()}},
                           {"Time", told}};
    EXPECT_EQ(all[0], expected);
    client.waitUntil("signal", [this] {
        return !interface.signals.empty();
    });
    EXPECT_EQ(interface.signals[0],
              std::pair(std::string("Acknowledged"), expected));
}

TEST_F(AcknowledgementsOnBus, ChangeNoHealth)
{
    client.waitForHealth(root, 4);
    acknowledge(entry);
    client.catchUp();
    EXPECT_EQ(client.health(service, root), 4U);
}

TEST_F(AcknowledgementsOnBus, AreWithdrawn)
{
    acknowledge(entry);
    withdraw(entry);
    waitUntilWithdrawn("withdrawn");
    EXPECT_EQ(
        std::get<uint32_t>(interface.signals.back().second["WithdrawnBy"]),
        geteuid());
    EXPECT_THAT(refusalToWithdraw(entry),
                HasSubstr("Error.NotAcknowledged: the fault is not"));
}

TEST_F(AcknowledgementsOnBus, GoWhenTheFaultGoes)
{
    acknowledge(entry);
    daemon->remove(key, "BAD", "/sensor");
    waitUntilWithdrawn("gone");
}

TEST_F(AcknowledgementsOnBus, GoWhenTheDaemonDies)
{
    acknowledge(entry);
    daemon->process.kill();
    waitUntilWithdrawn("gone");
}

TEST_F(AcknowledgementsOnBus, StayOverARestartOfTheManager)
{
    acknowledge(entry);
    const auto before = interface.list();
    manager->kill();
    startManager();
    EXPECT_EQ(interface.list(), before);
}

TEST_F(AcknowledgementsOnBus, StayWithdrawnAfterAFullDisk)
{
    const std::filesystem::path file =
        std::filesystem::path(getenv("HEALTHINTF_RUNTIME_DIR")) / "healthmgr" /
        "acknowledgements.toml";
    acknowledge(entry);
    EXPECT_THAT(readContent(file), HasSubstr(entry));
    const BlockedFile blocked(file);
    withdraw(entry);
    EXPECT_THAT(readContent(file), HasSubstr(entry));
    blocked.free();
    EXPECT_TRUE(blocked.loses(entry));
    manager->kill();
    startManager();
    EXPECT_THAT(interface.list(), IsEmpty());
}

TEST_F(AcknowledgementsOnBus, GoWhenTheFaultWentWithoutAManager)
{
    acknowledge(entry);
    manager->kill();
    daemon->remove(key, "BAD", "/sensor");
    startManager();
    waitUntilWithdrawn("gone");
}

TEST_F(AcknowledgementsOnBus, AreNotOfTheNextFaultOfTheSensor)
{
    acknowledge(entry);
    daemon->remove(key, "BAD", "/sensor");
    addFault();
    EXPECT_THAT(interface.list(), IsEmpty());
}

TEST_F(AcknowledgementsOnBus, RefuseWhatIsNoFaultAndNoComment)
{
    for (const std::string& path :
         {std::string("/"), key, key + "/entry/Fault_0000_4", entry + "0",
          std::string("Fault_0000_4")})
    {
        EXPECT_THAT(refusal(path, "why"),
                    HasSubstr("Error.NoFault: there is no such fault"));
    }
    EXPECT_THAT(refusal(entry, ""), HasSubstr("Error.Invalid: a comment"));
    EXPECT_THAT(refusal(entry, "two\nlines"), HasSubstr("Error.Invalid: "));
    EXPECT_THAT(interface.list(), IsEmpty());
}

} // namespace
} // namespace healthintf::test
