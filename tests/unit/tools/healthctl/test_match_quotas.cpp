// SPDX-License-Identifier: Apache-2.0
#include "doctor/match_quotas.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <functional>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using Write = std::function<void(sd_bus_message*)>;

/** The quotas that are read from a reply of the bus. */
MatchQuotas quotasIn(const Write& write)
{
    // A message needs a connection.
    const test::PrivateBus bus;
    sd_bus* opened = nullptr;
    sd_bus_open(&opened);
    const BusPtr connection(opened);
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(opened, &made, "/", "test.Stats", "Stats");
    const MessagePtr message(made);
    write(made);
    sd_bus_message_seal(made, 1, 0);
    return matchQuotasIn(made);
}

/** Writes the reply of dbus-broker 33 about root and about an unknown user. */
void writeAccounting(sd_bus_message* message, const char* thing)
{
    constexpr const char* users = "a(ua(suu)a{ua{su}})";
    sd_bus_message_open_container(message, 'a', "{sv}");
    sd_bus_message_append(message, "{sv}", "Serial", "u", 7);
    sd_bus_message_open_container(message, 'e', "sv");
    sd_bus_message_append(message, "s",
                          "org.bus1.DBus.Debug.Stats.UserAccounting");
    sd_bus_message_open_container(message, 'v', users);
    sd_bus_message_append(message, users, 2, //
                          0, 2, "Bytes", 5, 9, thing, 16'377, 16'384, 1, 0, 1,
                          thing, 7, //
                          4'000'000'000U, 1, thing, 0, 512, 0);
    sd_bus_message_close_container(message);
    sd_bus_message_close_container(message);
    sd_bus_message_close_container(message);
}

TEST(MatchQuotas, HoldUseAndLimitOfEachUser)
{
    const MatchQuotas quotas = quotasIn([](sd_bus_message* message) {
        writeAccounting(message, "Matches");
    });
    ASSERT_EQ(quotas.size(), 2u);
    EXPECT_EQ(quotas[0].user, "root");
    EXPECT_EQ(quotas[0].rules, 7u);
    EXPECT_EQ(quotas[0].most, 16'384u);
    EXPECT_EQ(quotas[1].user, "4000000000");
    EXPECT_EQ(quotas[1].rules, 512u);
    EXPECT_EQ(quotas[1].most, 512u);
}

TEST(MatchQuotas, AreNoneWhereTheBusTellsOfNoUsersOrNoRules)
{
    EXPECT_EQ(quotasIn([](sd_bus_message* message) {
                  sd_bus_message_append(message, "a{sv}", 1, "Serial", "u", 7);
              }).size(),
              0u);
    EXPECT_EQ(quotasIn([](sd_bus_message* message) {
                  writeAccounting(message, "Objects");
              }).size(),
              0u);
    EXPECT_EQ(quotasIn([](sd_bus_message* message) {
                  sd_bus_message_append(message, "s", "odd");
              }).size(),
              0u);
}

} // namespace
} // namespace healthintf::healthctl
