// SPDX-License-Identifier: Apache-2.0
#include "registry_file.hpp"

#include "json_lines.hpp"

#include <platform/message_registry.h>

#include <nlohmann/json.hpp>

#include <array>
#include <optional>

namespace healthintf::host
{
namespace
{

using nlohmann::json;

/** One message is invalid. The text names the property, if a single one is
 *  wrong. */
class MessageError : public std::runtime_error
{
  public:
    MessageError(std::string property, const std::string& cause) :
        std::runtime_error(property.empty() ? cause : property + " " + cause),
        name(std::move(property))
    {}

    const std::string& property() const
    {
        return name;
    }

  private:
    std::string name;
};

json parseJson(std::string_view text)
{
    try
    {
        return json::parse(text);
    }
    catch (const json::exception& e)
    {
        throw RegistryError(describeJsonError(text, e));
    }
}

/** Reads a text property of the registry itself. */
std::string readHeadText(const json& registry, std::string_view text,
                         const std::string& name)
{
    const auto found = registry.find(name);
    if (found == registry.end())
    {
        throw RegistryError("line 1: " + name + " is missing");
    }
    if (!found->is_string() || found->get_ref<const std::string&>().empty())
    {
        throw RegistryError("line " +
                            std::to_string(findLineOfKeys(text, {name})) +
                            ": " + name + " is no text");
    }
    return *found;
}

MessageSeverity readSeverity(const json& message)
{
    // Registries before MessageRegistry 1.2 have only the older name.
    for (const char* name : {"MessageSeverity", "Severity"})
    {
        const auto found = message.find(name);
        if (found == message.end())
        {
            continue;
        }
        if (*found == "Critical")
        {
            return MessageSeverity::critical;
        }
        if (*found == "Warning")
        {
            return MessageSeverity::warning;
        }
        if (*found == "OK")
        {
            return MessageSeverity::ok;
        }
        throw MessageError(name, "is none of Critical, Warning and OK");
    }
    throw MessageError("MessageSeverity", "is missing");
}

/** The largest number of a %1, %2, … in a text. */
unsigned int highestPlaceholder(std::string_view text)
{
    unsigned int highest = 0;
    for (auto at = text.find('%'); at != std::string_view::npos;
         at = text.find('%', at + 1))
    {
        unsigned int number = 0;
        for (std::size_t i = at + 1; i < text.size() && text[i] >= '0' &&
                                     text[i] <= '9' && number < 1000;
             ++i)
        {
            number = number * 10 + static_cast<unsigned int>(text[i] - '0');
        }
        highest = std::max(highest, number);
    }
    return highest;
}

unsigned int readArgumentCount(const json& message, const std::string& text)
{
    const auto found = message.find("NumberOfArgs");
    if (found == message.end())
    {
        throw MessageError("NumberOfArgs", "is missing");
    }
    if (!found->is_number_unsigned() ||
        found->get<uint64_t>() > MSGREG_MAX_ARGUMENTS)
    {
        throw MessageError("NumberOfArgs",
                           "is no number from 0 to " +
                               std::to_string(MSGREG_MAX_ARGUMENTS));
    }
    const auto arguments = found->get<unsigned int>();
    if (highestPlaceholder(text) > arguments)
    {
        throw MessageError("NumberOfArgs",
                           "is less than the placeholders of Message");
    }
    return arguments;
}

Message readMessage(const json& message)
{
    if (!message.is_object())
    {
        throw MessageError("", "is no object");
    }
    const auto text = message.find("Message");
    if (text == message.end() || !text->is_string())
    {
        throw MessageError("Message", "is no text");
    }
    return {.severity = readSeverity(message),
            .text = *text,
            .arguments = readArgumentCount(message, *text)};
}

/** A text that only people need; empty when it is missing or no text. */
std::string readNote(const json& value)
{
    return value.is_string() ? value.get<std::string>() : std::string();
}

/** A member of a message; null when it is missing. */
json findMember(const json& message, const char* name)
{
    const auto found = message.find(name);
    return found == message.end() ? json() : *found;
}

/** The text at a place of a list; empty when there is none. */
std::string readListed(const json& list, std::size_t place)
{
    return list.is_array() && place < list.size() ? readNote(list[place])
                                                  : std::string();
}

/** Reads what people are told of a valid message. */
MessageNotes readNotes(const json& message, unsigned int arguments)
{
    MessageNotes notes{
        .description = readNote(findMember(message, "Description")),
        .resolution = readNote(findMember(message, "Resolution")),
        .arguments = {}};
    const json types = findMember(message, "ParamTypes");
    const json descriptions = findMember(message, "ArgDescriptions");
    for (unsigned int i = 0; i < arguments; ++i)
    {
        notes.arguments.push_back({.type = readListed(types, i),
                                   .description = readListed(descriptions, i)});
    }
    return notes;
}

/** Describes what is wrong with a message, with its line. */
std::string describeProblem(std::string_view text, const std::string& key,
                            const MessageError& error)
{
    std::vector<std::string> keys{"Messages", key};
    if (!error.property().empty())
    {
        keys.push_back(error.property());
    }
    return "line " + std::to_string(findLineOfKeys(text, keys)) + ": " + key +
           ": " + error.what();
}

/** Adds a message that is left out to those of the file. */
void noteProblem(RegistryFile& file, std::string_view text,
                 const std::string& key, const MessageError& error)
{
    // One mistake of a generator is in thousands of messages, and finding the
    // line of one takes a search through the whole text.
    constexpr std::size_t most = 10;
    if (file.problems.size() < most)
    {
        file.problems.push_back(describeProblem(text, key, error));
    }
    else
    {
        ++file.furtherProblems;
    }
}

} // namespace

RegistryFile parseRegistry(std::string_view text, RegistryNotes* notes)
{
    const json registry = parseJson(text);
    if (!registry.is_object())
    {
        throw RegistryError("line 1: no JSON object");
    }
    RegistryFile file{.prefix = readHeadText(registry, text, "RegistryPrefix"),
                      .version =
                          readHeadText(registry, text, "RegistryVersion"),
                      .language = readHeadText(registry, text, "Language"),
                      .messages = {},
                      .problems = {},
                      .furtherProblems = 0};
    const auto messages = registry.find("Messages");
    if (messages == registry.end() || !messages->is_object())
    {
        throw RegistryError("line " +
                            std::to_string(findLineOfKeys(text, {"Messages"})) +
                            ": Messages is no object");
    }
    for (const auto& [key, message] : messages->items())
    {
        try
        {
            const auto added =
                file.messages.emplace(key, readMessage(message)).first;
            if (notes != nullptr)
            {
                notes->emplace(key,
                               readNotes(message, added->second.arguments));
            }
        }
        catch (const MessageError& e)
        {
            noteProblem(file, text, key, e);
        }
    }
    return file;
}

} // namespace healthintf::host
