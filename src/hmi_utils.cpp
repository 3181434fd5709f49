// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"

#include <hmi_utils.hpp>
#include <platform/message_registry.h>

#include <array>
#include <cstring>
#include <memory>

namespace health_namespace
{

using namespace details;

namespace
{

using ContentRecord = std::array<char, MSGREG_CONTENT_SIZE>;

/** The arguments one after the other, each ended by a NUL byte, then empty
 *  arguments for a message that has more placeholders. */
std::string argumentBlock(const std::vector<std::string>& args)
{
    std::string block;
    for (const auto& arg : args)
    {
        block.append(arg.c_str(), arg.size() + 1);
    }
    block.append(MSGREG_MAX_ARGUMENTS, '\0');
    return block;
}

MessageContent parseContent(const ContentRecord& record)
{
    MessageContent content;
    std::memcpy(&content.severity,
                record.data() + MSGREG_CONTENT_SEVERITY_OFFSET,
                sizeof(content.severity));
    const char* text = record.data() + MSGREG_CONTENT_TEXT_OFFSET;
    content.text.assign(
        text, strnlen(text, record.size() - MSGREG_CONTENT_TEXT_OFFSET));
    return content;
}

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier)
int _GetMessageContent(const std::string& msgId,
                       const std::vector<std::string>& args,
                       MessageContent& content)
{
    // On the heap: the stacks of the daemons are small.
    const auto record = std::make_unique<ContentRecord>();
    const int status = MsgRegGetContentWNByMsgID(
        msgId.c_str(), "en", argumentBlock(args).c_str(), record->data());
    if (status != 0)
    {
        HMI_LOG(log::error,
                "%s.%d.%s: MsgRegGetContentByMsgID failed with status: %i\n",
                status);
        return status;
    }
    content = parseContent(*record);
    return 0;
}

} // namespace health_namespace
