#pragma once

/** @file How text looks: its colours, and the signs that are drawn with. */

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** What a piece of text is, which its colour tells. */
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
Tone toneOf(uint32_t health);

/** The signs that drawings are made of. */
struct Signs
{
    const char* branch;
    const char* lastBranch;
    const char* passing;
    const char* nothing;
    const char* bullet;
    const char* ellipsis;
    const char* rule;
};

/** Colours text or leaves it, and knows the signs that the terminal has. */
class Style
{
  public:
    /** @param[in] coloured whether text is coloured
     *  @param[in] unicode whether there are other signs than those of ASCII */
    Style(bool coloured, bool unicode);

    std::string paint(const std::string& text, Tone tone) const;

    /** The word for a health value, in its colour. */
    std::string health(uint32_t value) const;

    const Signs& signs() const;

  private:
    bool coloured;
    bool unicode;
};

} // namespace healthintf::healthctl
