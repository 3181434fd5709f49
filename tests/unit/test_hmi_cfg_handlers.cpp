#include "recording_platform.hpp"

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
using Lines = std::vector<std::string>;

/** A change record of @p now after @p before, made by @p source. */
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

class CfgHandlers : public testing::Test
{
  protected:
    CfgHandlers()
    {
        resetPlatform();
    }

    void hideErr(const std::vector<uint8_t>& record)
    {
        cfg_notif_handle_hide_err("", "", record.data(), record.size(),
                                  &context);
    }

    void oemFlags(const std::vector<uint8_t>& record)
    {
        cfg_notif_handle_oem_flags("", "", record.data(), record.size(),
                                   &context);
    }

    int context = 0;
};

TEST_F(CfgHandlers, RecogniseOnlyTheirOwnNameAsTheirOwnSource)
{
    EXPECT_TRUE(madeBySelf(change(1, 0, "HealthManagerInterface")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "HealthManagerInterfac")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "HealthManagerInterface2")));
    EXPECT_FALSE(madeBySelf(change(1, 0, "healthmanagerinterface")));
}

TEST_F(CfgHandlers, NeverTakeAChangeWithoutASourceForTheirOwn)
{
    EXPECT_FALSE(madeBySelf(change(1, 0)));
}

TEST_F(CfgHandlers, SkipTheEchoOfAnOwnChange)
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
    cfg_notif_handle_hide_err("", "", nullptr, 0, &context);
    cfg_notif_handle_oem_flags("", "", record.data(), record.size(), nullptr);
    cfg_notif_handle_oem_flags("", "", nullptr, 0, &context);
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

TEST_F(CfgHandlers, LookOnlyAtTheLowestOemFlag)
{
    const std::string line = "log 7 271 hmi_cfg_handlers.#.processOemLcdEvent";
    const std::string entry =
        "log 8 271 hmi_cfg_handlers.#.cfg_notif_handle_oem_flags Entry : lcd "
        "oem called error";
    oemFlags(change(1, 0));
    EXPECT_EQ(journal().take(), (Lines{entry, line + ": Entered",
                                       line + ": Always Hiding errors"}));
    oemFlags(change(0xF0, 0xF1));
    EXPECT_EQ(journal().take(),
              (Lines{entry, line + ": Entered", line + ": Unhiding errors"}));
}

TEST_F(CfgHandlers, ReportOemFlagsThatLeaveTheLowestAsItWas)
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
}

} // namespace
} // namespace health_namespace
