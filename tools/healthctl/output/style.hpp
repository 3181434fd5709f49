// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Colours of texts, and the characters of drawings. */

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** The meaning of a text, which decides its colour. */
enum class Tone
{
    plain,
    strong,
    faint,
    none,
    unknown,
    ok,
    warning,
    critical,
};

/** The tone of a health value. */
Tone healthTone(uint32_t health);

/** The characters that drawings are made of. */
struct Glyphs
{
    const char* branch;
    const char* lastBranch;
    const char* passing;
    const char* nothing;
    const char* bullet;
    const char* ellipsis;
    const char* rule;
};

/** Colours text, and draws with characters that the terminal has. */
class Style
{
  public:
    /** @param[in] coloured whether text is coloured
     *  @param[in] unicode whether the terminal has more characters than ASCII
     */
    Style(bool coloured, bool unicode);

    std::string paint(const std::string& text, Tone tone) const;

    /** The word for a health value, in its colour. */
    std::string health(uint32_t value) const;

    const Glyphs& glyphs() const;

    /** Whether the terminal has more characters than ASCII. */
    bool hasUnicode() const
    {
        return unicode;
    }

  private:
    bool coloured;
    bool unicode;
};

} // namespace healthintf::healthctl
