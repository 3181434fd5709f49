// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"

#include <hmi_cfg_handlers.hpp>
#include <platform/config_manager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;

/** A change record of a change from @p before to @p now by @p source. */
std::vector<uint8_t> change(uint32_t now, uint32_t before,
                            std::string_view source = "")
{
    constexpr std::size_t fixed = 64;
    std::vector<uint8_t> record(fixed + source.size() + 1);
    const auto put = [&](std::size_t offset, uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i)
        {
            record[offset + i] = static_cast<uint8_t>(value >> (8 * i));
        }
    };
    put(CFGMGR_CHANGE_NEW_VALUE_OFFSET, now);
    put(CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET, before);
    put(CFGMGR_CHANGE_SOURCE_OFFSET, source.empty() ? 0 : fixed);
    std::ranges::copy(source, record.begin() + fixed);
    return record;
}

bool madeBySelf(const std::vector<uint8_t>& record)
{
    return cfg_notif_check_self_source(
        reinterpret_cast<const _CfgNotAttrChange*>(record.data()));
}

class CfgHandlers : public ComponentTest
{
  protected:
    CfgHandlers() : object(make())
    {
        add(*object, 1, "A");
        journal().take();
    }

    void hideErr(const std::vector<uint8_t>& record)
    {
        cfg_notif_handle_hide_err("", "", record.data(), record.size(),
                                  object.get());
    }

    void oemFlags(const std::vector<uint8_t>& record)
    {
        cfg_notif_handle_oem_flags("", "", record.data(), record.size(),
                                   object.get());
    }

    std::unique_ptr<FaultAndHealth> object;
};

TEST_F(CfgHandlers, RecogniseOwnChangesByTheirSourceName)
{
    EXPECT_TRUE(madeBySelf(change(1, 0, "HealthManagerInterface")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "HealthManagerInterfac")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "HealthManagerInterface2")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "healthmanagerinterface")));
}

TEST_F(CfgHandlers, DoNotTakeAChangeWithoutASourceForTheirOwn)
{
    std::vector<uint8_t> record = change(1, 0);
    EXPECT_FALSE(madeBySelf(record));
    // The offset 0 means no source, whatever the record begins with.
    std::ranges::copy(std::string_view("HealthManagerInterface"),
                      record.begin());
    EXPECT_FALSE(madeBySelf(record));
}

TEST_F(CfgHandlers, IgnoreTheNotificationOfAnOwnChange)
{
    hideErr(change(1, 0, "HealthManagerInterface"));
    EXPECT_EQ(
        journal().take(),
        (Lines{"log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err Entry "
               ": hide error",
               "log 7 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err: We "
               "have updated the attribute, skip any operation\n"}));
}

TEST_F(CfgHandlers, RefuseAMissingContextOrRecord)
{
    const auto record = change(1, 0);
    cfg_notif_handle_hide_err("", "", record.data(), record.size(), nullptr);
    cfg_notif_handle_hide_err("", "", nullptr, 0, object.get());
    cfg_notif_handle_oem_flags("", "", record.data(), record.size(), nullptr);
    cfg_notif_handle_oem_flags("", "", nullptr, 0, object.get());
    EXPECT_EQ(
        journal().take(),
        (Lines{"log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err Entry "
               ": hide error",
               "log 1 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err: "
               "Invalid argument",
               "log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err Entry "
               ": hide error",
               "log 1 271 hmi_cfg_handlers.#.cfg_notif_handle_hide_err: "
               "invalid data argument",
               "log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags Entry "
               ": lcd oem called error",
               "log 1 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags: "
               "Invalid argument",
               "log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags Entry "
               ": lcd oem called error",
               "log 1 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags: "
               "invalid data argument"}));
}

TEST_F(CfgHandlers, HideAndShowFaultsByTheHideErrorsAttribute)
{
    hideErr(change(0, 1));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    hideErr(change(5, 0));
    EXPECT_EQ(hiddenMessages(), Lines{});
    hideErr(change(0, 0, "operator"));
    EXPECT_EQ(hiddenMessages(), Lines{"A"}) << "whatever it was before";
    hideErr(change(1, 1, "operator"));
    EXPECT_EQ(hiddenMessages(), Lines{});
    hideErr(change(0, 1));
    hideErr(change(0x80000000, 0));
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, ShowNothingOfADisabledComponent)
{
    object->Disable();
    hideErr(change(0, 1));
    hideErr(change(1, 0));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    object->Enable();
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, LeaveFaultsAsTheyAreForAnOwnChange)
{
    hideErr(change(0, 1, "HealthManagerInterface"));
    EXPECT_EQ(hiddenMessages(), Lines{});
    hideErr(change(0, 1));
    hideErr(change(1, 0, "HealthManagerInterface"));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
}

TEST_F(CfgHandlers, HideFaultsWhenTheLowestOemFlagIsSet)
{
    oemFlags(change(0xF1, 0xF0, "HealthManagerInterface"));
    const Lines lines = journal().take();
    const std::string line = "log 7 271 hmi_cfg_handlers.#.processOemLcdEvent";
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4),
              (Lines{"log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags "
                     "Entry : lcd oem called error",
                     line + ": Entered", line + ": Always Hiding errors",
                     "log 8 271 hmi_fault_health.#.hideFaults Entry : Hide "
                     "all Faults"}));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    oemFlags(change(0, 0xFFFFFFFF));
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, SetTheHideErrorsAttributeWhenTheLowestOemFlagIsCleared)
{
    object->HideAllFaults(true);
    journal().take();
    oemFlags(change(0xF0, 0xF1));
    const Lines lines = journal().take();
    const std::string line = "log 7 271 hmi_cfg_handlers.#.processOemLcdEvent";
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 5),
              (Lines{"log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags "
                     "Entry : lcd oem called error",
                     line + ": Entered", line + ": Unhiding errors",
                     "CfgSetAttributeInt system.embedded.1#lcd.1#hideerrs 1 0 "
                     "HealthManagerInterface null null",
                     "log 8 271 hmi_fault_health.#.unhideFaults Entry : "
                     "Unhide Faults"}));
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, ShowFaultsEvenWhenTheAttributeCannotBeSet)
{
    object->HideAllFaults(true);
    journal().take();
    journal().answer("CfgSetAttributeInt", -7);
    oemFlags(change(0, 1));
    EXPECT_EQ(journal().take("log 1"),
              Lines{"log 1 271 hmi_cfg_handlers.#.setLCDAttributeInt: Unable "
                    "to set interger attribute "
                    "system.embedded.1#lcd.1#hideerrs to value 1; rc = -7\n"});
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, PassASettingOnUnchanged)
{
    EXPECT_EQ(setLCDAttributeInt("name", -5, "source", "a", "b"), 0);
    EXPECT_EQ(setLCDAttributeInt("name", 5, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(journal().take(),
              (Lines{"CfgSetAttributeInt name -5 0 source a b",
                     "CfgSetAttributeInt name 5 0 null null "
                     "null"}));
}

TEST_F(CfgHandlers, ReportOemFlagsThatLeaveTheLowestUnchanged)
{
    const std::string line =
        "log 1 271 hmi_cfg_handlers.#.processOemLcdEvent: Unknown option ";
    oemFlags(change(3, 1));
    EXPECT_EQ(journal().take("log 1"),
              Lines{line + "new value = 0x00000003 previous value = "
                           "0x00000001"});
    oemFlags(change(2, 0));
    EXPECT_EQ(journal().take("log 1"),
              Lines{line + "new value = 0x00000002 previous value = "
                           "0x00000000"});
    oemFlags(change(0x12345678, 0x0A0B0C0E));
    EXPECT_EQ(journal().take("log 1"),
              Lines{line + "new value = 0x12345678 previous value = "
                           "0x0a0b0c0e"});
}

TEST_F(CfgHandlers, ReplaceTheirSubscriptionsWhenRegisteredTwice)
{
    const uint64_t handle = object->RegisterForLCDAttributes();
    EXPECT_NE(handle, 0u);
    EXPECT_EQ(journal().count("LQOVS_receive_signal_free"), 2u);
    EXPECT_EQ(platform().subscriptions.size(), 2u);
    EXPECT_EQ(platform()
                  .subscriptions
                  .at(reinterpret_cast<void*>(static_cast<uintptr_t>(handle)))
                  .name,
              "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags");
    object->UnregisterLCDAttributes();
    object->UnregisterLCDAttributes();
    EXPECT_EQ(platform().subscriptions.size(), 0u);
    EXPECT_EQ(journal().count("LQOVS_receive_signal_free"), 4u);
}

TEST_F(CfgHandlers, HaveTheirComponentForContext)
{
    for (const auto& [handle, subscription] : platform().subscriptions)
    {
        EXPECT_EQ(subscription.context, object.get());
    }
}

TEST_F(CfgHandlers, FollowTheNotificationsOfTheirComponent)
{
    const std::string name =
        "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#";
    platform().notify(name + "hideerrs", change(0, 1));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    platform().notify(name + "hideerrs", change(1, 0));
    EXPECT_EQ(hiddenMessages(), Lines{});
    platform().notify(name + "oemLCDFlags", change(1, 0));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    platform().notify(name + "oemLCDFlags", change(0, 1));
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(CfgHandlers, ReportNoFailureToSubscribe)
{
    object->UnregisterLCDAttributes();
    journal().take();
    journal().answer("LQOVS_receive_signal", 0);
    journal().answer("LQOVS_receive_signal", 0);
    EXPECT_EQ(object->RegisterForLCDAttributes(), 0u);
    object->UnregisterLCDAttributes();
    EXPECT_EQ(journal().count("log 1"), 0u);
    EXPECT_EQ(journal().count("LQOVS_receive_signal_free"), 0u);
}

} // namespace
} // namespace health_namespace
