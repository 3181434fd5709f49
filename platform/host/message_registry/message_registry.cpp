#include "../data_files.hpp"
#include "../host_log.hpp"
#include "message_catalog.hpp"
#include "message_text.hpp"

#include <platform/message_registry.h>

#include <cerrno>
#include <cstring>
#include <exception>

namespace healthintf::host
{
namespace
{

const MessageCatalog& catalog()
{
    static const MessageCatalog loaded =
        MessageCatalog::load(registryFolders());
    return loaded;
}

/** The first @p count arguments of a block. */
std::vector<std::string_view> argumentsOf(const char* block, unsigned int count)
{
    std::vector<std::string_view> arguments;
    arguments.reserve(count);
    for (unsigned int i = 0; i < count; ++i)
    {
        arguments.emplace_back(block);
        block += arguments.back().size() + 1;
    }
    return arguments;
}

int fetch(const char* id, const char* language, const char* block,
          char* content)
{
    const Message* message = catalog().find(id, language);
    if (message == nullptr)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: no message %s in any registry of language %s", id,
                 language);
        return ENOENT;
    }
    const std::string text =
        fillArguments(message->text, argumentsOf(block, message->arguments));
    constexpr std::size_t room =
        MSGREG_CONTENT_SIZE - MSGREG_CONTENT_TEXT_OFFSET - 1;
    const std::string_view fitting = truncateUtf8(text, room);
    std::memcpy(content + MSGREG_CONTENT_SEVERITY_OFFSET, &message->severity,
                sizeof(message->severity));
    std::memcpy(content + MSGREG_CONTENT_TEXT_OFFSET, fitting.data(),
                fitting.size());
    content[MSGREG_CONTENT_TEXT_OFFSET + fitting.size()] = '\0';
    return 0;
}

} // namespace
} // namespace healthintf::host

int MsgRegGetContentWNByMsgID(const char* msgId, const char* language,
                              const char* argumentBlock, void* content)
{
    if (msgId == nullptr || language == nullptr || argumentBlock == nullptr ||
        content == nullptr)
    {
        return EINVAL;
    }
    try
    {
        return healthintf::host::fetch(msgId, language, argumentBlock,
                                       static_cast<char*>(content));
    }
    catch (const std::exception&)
    {
        return ENOMEM;
    }
}
