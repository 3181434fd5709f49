// SPDX-License-Identifier: Apache-2.0
#include "message_body.hpp"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

namespace
{

constexpr int maxDepth = 4;
constexpr std::size_t maxElements = 4;

const std::array<const char*, 14> knownTexts{
    "",
    "/",
    "/com/vexa/olvar",
    "/com/vexa/olvar/health",
    "/com/vexa/olvar/health/a",
    "/com/vexa/olvar/health/a/b",
    "/com/vexa/olvar/health/other",
    "/sensors/fan1",
    "com.vexa.olvar.healthmgr.HealthStatus",
    "com.vexa.olvar.logmgr.SEL",
    "HealthStatus",
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
    "FAN0001",
};

const std::array<const char*, 6> knownPaths{
    "/",
    "/com/vexa/olvar/health",
    "/com/vexa/olvar/health/a",
    "/com/vexa/olvar/health/a/b/c",
    "/com/vexa/olvar/logmgr/SEL/48",
    "/x",
};

/** One complete type of a D-Bus signature. */
std::string completeType(FuzzInput& input, int depth)
{
    constexpr std::string_view basic = "ybnqiuxtdsog";
    const std::size_t chosen = input.below(basic.size() + 4);
    if (chosen < basic.size() || depth == maxDepth)
    {
        return std::string(1, basic.at(chosen % basic.size()));
    }
    switch (chosen - basic.size())
    {
        case 0:
            return "a" + completeType(input, depth + 1);
        case 1:
            return "v";
        case 2:
            return "a{s" + completeType(input, depth + 1) + "}";
        default:
            return "(" + completeType(input, depth + 1) +
                   completeType(input, depth + 1) + ")";
    }
}

/** The end of the complete type that begins at @p begin. */
std::size_t endOfType(const std::string& signature, std::size_t begin)
{
    if (signature.at(begin) == 'a')
    {
        return endOfType(signature, begin + 1);
    }
    int open = 0;
    std::size_t end = begin;
    do
    {
        const char c = signature.at(end++);
        open += c == '(' || c == '{' ? 1 : 0;
        open -= c == ')' || c == '}' ? 1 : 0;
    } while (open > 0);
    return end;
}

/** A text of characters that every D-Bus string type allows. */
std::string printable(std::string text)
{
    for (char& c : text)
    {
        c = static_cast<char>(' ' + static_cast<unsigned char>(c) % 95);
    }
    return text;
}

std::string anyText(FuzzInput& input)
{
    const std::size_t chosen = input.below(knownTexts.size() + 3);
    if (chosen < knownTexts.size())
    {
        return knownTexts.at(chosen);
    }
    if (chosen == knownTexts.size())
    {
        return std::string(std::size_t{input.number<uint16_t>()}, 'x');
    }
    return printable(input.text());
}

std::string textOfType(char type, FuzzInput& input)
{
    if (type == 'o')
    {
        return knownPaths.at(input.below(knownPaths.size()));
    }
    return type == 'g' ? makeSignature(input) : anyText(input);
}

void appendBasic(sd_bus_message* message, char type, FuzzInput& input)
{
    if (type == 's' || type == 'o' || type == 'g')
    {
        const std::string text = textOfType(type, input);
        orThrow(sd_bus_message_append_basic(message, type, text.c_str()),
                "text");
        return;
    }
    if (type == 'b')
    {
        const int value = input.coin() ? 1 : 0;
        orThrow(sd_bus_message_append_basic(message, type, &value), "boolean");
        return;
    }
    const auto value = input.number<uint64_t>();
    orThrow(sd_bus_message_append_basic(message, type, &value), "number");
}

void appendOne(sd_bus_message* message, const std::string& type,
               FuzzInput& input);

void appendContainer(sd_bus_message* message, char kind,
                     const std::string& contents, std::size_t elements,
                     FuzzInput& input)
{
    orThrow(sd_bus_message_open_container(message, kind, contents.c_str()),
            "container");
    for (std::size_t element = 0; element != elements; ++element)
    {
        appendValues(message, contents, input);
    }
    orThrow(sd_bus_message_close_container(message), "container's end");
}

/** Appends bytes, often as many as a record has. */
void appendBytes(sd_bus_message* message, FuzzInput& input)
{
    const auto bytes = input.bytes(input.coin() ? 16 : input.below(40));
    orThrow(
        sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size()),
        "bytes");
}

void appendOne(sd_bus_message* message, const std::string& type,
               FuzzInput& input)
{
    if (type == "ay")
    {
        return appendBytes(message, input);
    }
    switch (type.front())
    {
        case 'a':
            return appendContainer(message, 'a', type.substr(1),
                                   input.below(maxElements), input);
        case 'v':
            return appendContainer(message, 'v', completeType(input, 1), 1,
                                   input);
        case '(':
            return appendContainer(message, 'r',
                                   type.substr(1, type.size() - 2), 1, input);
        case '{':
            return appendContainer(message, 'e',
                                   type.substr(1, type.size() - 2), 1, input);
        default:
            return appendBasic(message, type.front(), input);
    }
}

} // namespace

void orThrow(int result, const char* what)
{
    if (result < 0)
    {
        throw std::runtime_error(what);
    }
}

std::string makeSignature(FuzzInput& input)
{
    std::string signature;
    for (std::size_t types = input.below(5); types != 0; --types)
    {
        signature += completeType(input, 0);
    }
    return signature;
}

void appendValues(sd_bus_message* message, const std::string& signature,
                  FuzzInput& input)
{
    std::size_t begin = 0;
    while (begin != signature.size())
    {
        const std::size_t end = endOfType(signature, begin);
        appendOne(message, signature.substr(begin, end - begin), input);
        begin = end;
    }
}

} // namespace healthintf::test
