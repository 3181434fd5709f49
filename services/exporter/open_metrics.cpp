// SPDX-License-Identifier: Apache-2.0
#include "open_metrics.hpp"

#include <platform/utf8.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace healthintf::exporter
{
namespace
{

const char* getTypeName(Kind kind)
{
    switch (kind)
    {
        case Kind::counter:
            return "counter";
        case Kind::info:
            return "info";
        default:
            return "gauge";
    }
}

const char* getSuffix(Kind kind)
{
    switch (kind)
    {
        case Kind::counter:
            return "_total";
        case Kind::info:
            return "_info";
        default:
            return "";
    }
}

/** Whole numbers without an exponent, for people; others as short as they can
 *  be read back. */
std::string numberText(double value)
{
    if (!std::isfinite(value))
    {
        return std::isnan(value) ? "NaN" : value > 0 ? "+Inf" : "-Inf";
    }
    constexpr double wholeUpTo = 9007199254740992.0;
    std::array<char, 32> digits{};
    const bool whole =
        std::trunc(value) == value && std::abs(value) <= wholeUpTo;
    const char* end =
        whole ? std::to_chars(digits.begin(), digits.end(),
                              static_cast<int64_t>(value))
                    .ptr
              : std::to_chars(digits.begin(), digits.end(), value).ptr;
    return {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

void appendLabels(std::string& text, const Labels& labels)
{
    char before = '{';
    for (const auto& [name, value] : labels)
    {
        text += before;
        text += name;
        text += "=\"";
        text += escaped(value);
        text += '"';
        before = ',';
    }
    if (!labels.empty())
    {
        text += '}';
    }
}

void appendAbout(std::string& text, const char* what, const std::string& name,
                 std::string_view value)
{
    text += what;
    text += name;
    text += ' ';
    text += value;
    text += '\n';
}

void appendFamily(std::string& text, const Family& family)
{
    appendAbout(text, "# TYPE ", family.name, getTypeName(family.kind));
    if (!family.unit.empty())
    {
        appendAbout(text, "# UNIT ", family.name, family.unit);
    }
    appendAbout(text, "# HELP ", family.name, escaped(family.help));
    for (const Sample& sample : family.samples)
    {
        text += family.name;
        text += getSuffix(family.kind);
        appendLabels(text, sample.labels);
        text += ' ';
        text += numberText(sample.value);
        text += '\n';
    }
}

} // namespace

std::string escaped(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    forEachCharacter(text, [&result](const Character& character) {
        if (!character.valid)
        {
            result += "\xEF\xBF\xBD";
        }
        else if (character.code == '\n')
        {
            result += "\\n";
        }
        else
        {
            if (character.code == '\\' || character.code == '"')
            {
                result += '\\';
            }
            result += character.bytes;
        }
    });
    return result;
}

std::string render(const std::vector<Family>& families)
{
    std::string text;
    for (const Family& family : families)
    {
        appendFamily(text, family);
    }
    return text + "# EOF\n";
}

} // namespace healthintf::exporter
