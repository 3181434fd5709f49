// SPDX-License-Identifier: Apache-2.0
#include "style.hpp"

#include <hmi_health_value.hpp>

namespace healthintf::healthctl
{
namespace
{

/** The terminal's code for a tone; null for none. */
const char* getEscapeCode(Tone tone)
{
    switch (tone)
    {
        case Tone::plain:
            return nullptr;
        case Tone::strong:
            return "1";
        case Tone::faint:
        case Tone::none:
            return "2";
        case Tone::unknown:
            return "35";
        case Tone::ok:
            return "32";
        case Tone::warning:
            return "33";
        case Tone::critical:
            return "31;1";
    }
    return nullptr;
}

constexpr Glyphs unicodeGlyphs{"├─ ", "└─ ", "│  ", "   ", "•", "…", "─"};
constexpr Glyphs asciiGlyphs{"|- ", "`- ", "|  ", "   ", "*", "...", "-"};

} // namespace

Tone healthTone(uint32_t health)
{
    switch (health)
    {
        case health_namespace::healthNone:
            return Tone::none;
        case health_namespace::healthOk:
            return Tone::ok;
        case health_namespace::healthWarning:
            return Tone::warning;
        case health_namespace::healthCritical:
            return Tone::critical;
        default:
            return Tone::unknown;
    }
}

Style::Style(bool coloured, bool unicode) : coloured(coloured), unicode(unicode)
{}

std::string Style::paint(const std::string& text, Tone tone) const
{
    const char* code = getEscapeCode(tone);
    if (!coloured || code == nullptr || text.empty())
    {
        return text;
    }
    return std::string("\033[") + code + "m" + text + "\033[0m";
}

std::string Style::health(uint32_t value) const
{
    return paint(health_namespace::healthWord(value), healthTone(value));
}

const Glyphs& Style::glyphs() const
{
    return unicode ? unicodeGlyphs : asciiGlyphs;
}

} // namespace healthintf::healthctl
