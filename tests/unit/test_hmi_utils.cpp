// SPDX-License-Identifier: Apache-2.0
#include "recording_platform.hpp"

#include <hmi_utils.hpp>
#include <platform/message_registry.h>

#include <gtest/gtest.h>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using Lines = std::vector<std::string>;

TEST(MessageContent, IsEmptyBeforeItIsFetched)
{
    EXPECT_EQ(MessageContent{}.severity, 0u);
    EXPECT_EQ(MessageContent{}.text, "");
}

class GetMessageContent : public testing::Test
{
  protected:
    GetMessageContent()
    {
        resetPlatform();
    }

    MessageContent content;
};

TEST_F(GetMessageContent, GivesSeverityAndTextWithItsArguments)
{
    platform().messages["FAN0001"] = {1, "Fan %1 at %2 rpm."};
    EXPECT_EQ(_GetMessageContent("FAN0001", {"7", "300"}, content), 0);
    EXPECT_EQ(content.severity, 1u);
    EXPECT_EQ(content.text, "Fan 7 at 300 rpm.");
    EXPECT_EQ(journal().take(),
              Lines{"MsgRegGetContentWNByMsgID FAN0001 en zeroed"});
}

TEST_F(GetMessageContent, EndsEachArgumentWithANul)
{
    using namespace std::string_literals;
    platform().messages["X"] = {1, "x"};
    _GetMessageContent("X", {"ab", "", "c"}, content);
    EXPECT_EQ(platform().argumentBlock.substr(0, 6), "ab\0\0c\0"s);
}

TEST_F(GetMessageContent, LeavesZeroBytesForArgumentsThatAreMissing)
{
    platform().messages["X"] = {2, "one %1, two %2, last %64."};
    EXPECT_EQ(_GetMessageContent("X", {"1"}, content), 0);
    EXPECT_EQ(content.text, "one 1, two , last .");
    EXPECT_EQ(_GetMessageContent("X", {}, content), 0);
    EXPECT_EQ(content.text, "one , two , last .");
    EXPECT_EQ(platform().argumentBlock,
              std::string(MSGREG_MAX_ARGUMENTS, '\0'));
}

TEST_F(GetMessageContent, EndsATextWithoutNulWithItsRecord)
{
    platform().messages["LONG"] = {1,
                                   std::string(2 * MSGREG_CONTENT_SIZE, 'x')};
    EXPECT_EQ(_GetMessageContent("LONG", {}, content), 0);
    EXPECT_EQ(content.text.size(),
              MSGREG_CONTENT_SIZE - MSGREG_CONTENT_TEXT_OFFSET);
}

TEST_F(GetMessageContent, LogsAFailureAndLeavesTheContentAlone)
{
    content = {7, "before"};
    journal().answer("MsgRegGetContentWNByMsgID", 42);
    EXPECT_EQ(_GetMessageContent("NONE", {}, content), 42);
    EXPECT_EQ(content.severity, 7u);
    EXPECT_EQ(content.text, "before");
    EXPECT_EQ(journal().take(),
              (Lines{"MsgRegGetContentWNByMsgID NONE en zeroed",
                     "log 1 271 hmi_utils.#._GetMessageContent: "
                     "MsgRegGetContentByMsgID failed with status: 42\n"}));
}

} // namespace
} // namespace health_namespace
