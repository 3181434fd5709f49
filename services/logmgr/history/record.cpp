// SPDX-License-Identifier: Apache-2.0
#include "record.hpp"

#include <platform/utf8.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace healthintf::history
{
namespace
{

/** The kindNames by the numbers of their kinds. */
constexpr std::array kindNames{
    "",
    "appeared",
    "cleared",
    "gave-way",
    "withdrawn",
    "hidden",
    "shown",
    "monitor-lost",
    "monitor-back",
    "acknowledged",
    "silenced",
    "silence-ended",
    "attribute-changed",
    "log-cleared",
    "history-cleared",
};
static_assert(kindNames.size() == static_cast<std::size_t>(lastKind) + 1);

/** The texts of a fault but its arguments. */
auto textsOf(auto& fault)
{
    return std::array{&fault.component, &fault.entry,      &fault.messageId,
                      &fault.message,   &fault.sensorPath, &fault.process};
}

/** Hashes bytes into a number: FNV-1a, which gives the same number in each
 *  version of the program. */
class Hash
{
  public:
    void add(std::string_view text)
    {
        for (const char each : text)
        {
            addByte(static_cast<unsigned char>(each));
        }
        // No text contains it, so it keeps neighbours apart.
        addByte(0);
    }

    uint64_t value() const
    {
        return hash;
    }

  private:
    void addByte(unsigned char byte)
    {
        hash = (hash ^ byte) * 0x100000001B3;
    }

    uint64_t hash = 0xCBF29CE484222325;
};

} // namespace

const char* kindName(Kind kind)
{
    return kindNames.at(static_cast<std::size_t>(kind));
}

std::optional<Kind> parseKind(std::string_view name)
{
    const auto* const found =
        std::find(kindNames.begin() + 1, kindNames.end(), name);
    return found == kindNames.end()
               ? std::nullopt
               : std::optional(static_cast<Kind>(found - kindNames.begin()));
}

void trimText(std::string& text)
{
    std::string whole;
    for (std::string_view left(text); !left.empty();)
    {
        const Character next = firstCharacter(left);
        if (whole.size() + next.bytes.size() > longestText)
        {
            break;
        }
        whole += next.valid ? next.bytes : "?";
        left.remove_prefix(next.bytes.size());
    }
    text = std::move(whole);
}

void trim(Fault& fault)
{
    for (std::string* text : textsOf(fault))
    {
        trimText(*text);
    }
    fault.args.resize(std::min(fault.args.size(), mostArguments));
    for (std::string& argument : fault.args)
    {
        trimText(argument);
    }
}

uint64_t identityOf(const Fault& fault)
{
    Hash hash;
    for (const std::string* text :
         {&fault.component, &fault.messageId, &fault.sensorPath})
    {
        hash.add(*text);
    }
    hash.add(std::to_string(fault.sensorNumber));
    for (const std::string& argument : fault.args)
    {
        hash.add(argument);
    }
    return hash.value();
}

uint64_t hashOf(const Record& record)
{
    Hash hash;
    hash.add(kindName(record.kind));
    hash.add(std::to_string(record.time));
    hash.add(record.fault.entry);
    hash.add(record.comment);
    return hash.value();
}

std::size_t countBytes(const Record& record)
{
    const Fault& fault = record.fault;
    std::size_t bytes = record.comment.size();
    for (const std::string* text : textsOf(fault))
    {
        bytes += text->size();
    }
    for (const std::string& argument : fault.args)
    {
        bytes += argument.size();
    }
    return bytes;
}

} // namespace healthintf::history
