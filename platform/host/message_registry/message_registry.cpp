// SPDX-License-Identifier: Apache-2.0
#include "../data_files.hpp"
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "known_message.hpp"
#include "message_arguments.hpp"
#include "message_catalog.hpp"

#include <platform/message_registry.h>
#include <platform/utf8.hpp>

#include <cerrno>
#include <cstring>
#include <exception>
#include <mutex>
#include <unordered_set>

namespace healthintf::host
{
namespace
{

constinit FailureLog catalogFailures;

/** The catalog, read at the first use. After DataShortage the next use reads it
 *  again. */
const MessageCatalog& catalog()
{
    static const MessageCatalog loaded = [] {
        const auto folders = registryFolders();
        MessageCatalog read = MessageCatalog::load(folders);
        warnAboutMissingFolders(registryPathVariable, folders);
        return read;
    }();
    return loaded;
}

void reportShortage(const DataShortage& shortage)
{
    if (catalogFailures.admits(shortage.code().value()))
    {
        HOST_LOG(log::error,
                 "%s.%d.%s: unable to read the message registries: %s (the "
                 "next message tries again)",
                 shortage.what());
    }
}

/** Splits the first @p count arguments off a block. */
std::vector<std::string_view> splitArguments(const char* block,
                                             unsigned int count)
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

/** Logs once for each message that arguments are missing.
 *
 *  @param[in] arguments as many as the message takes; missing ones are empty */
void warnAboutMissingArguments(const char* id, const Message& message,
                               const std::vector<std::string_view>& arguments)
{
    static std::mutex mutex;
    static std::unordered_set<const Message*> warned;

    std::size_t given = arguments.size();
    while (given > 0 && arguments[given - 1].empty())
    {
        --given;
    }
    if (given == arguments.size())
    {
        return;
    }
    const std::lock_guard lock(mutex);
    if (warned.insert(&message).second)
    {
        HOST_LOG(
            log::warning,
            "%s.%d.%s: the message %s takes %zu arguments, of which only the "
            "first %zu have a text",
            id, arguments.size(), given);
    }
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
    const auto arguments = splitArguments(block, message->arguments);
    warnAboutMissingArguments(id, *message, arguments);
    const std::string text = fillArguments(message->text, arguments);
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

std::optional<KnownMessage> findMessage(const std::string& id)
{
    const Message* message = catalog().find(id, "en");
    if (message == nullptr)
    {
        return std::nullopt;
    }
    return KnownMessage{.severity = message->severity,
                        .arguments = message->arguments};
}

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
    catch (const healthintf::host::DataShortage& e)
    {
        healthintf::host::reportShortage(e);
        return e.code().value();
    }
    catch (const std::exception&)
    {
        return ENOMEM;
    }
}
