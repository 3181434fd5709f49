#pragma once

/** @file What D-Bus can carry as a text. */

#include <cstddef>
#include <string>
#include <string_view>

namespace health_namespace::details
{

/** Whether a text is UTF-8 without NUL. sd-bus refuses any other in the
 *  middle of a message, and a bus daemon disconnects whoever sends one. */
bool isBusText(std::string_view text);

/** Looks at the texts of one message. A bus disconnects whoever sends a
 *  message of 32 MiB. */
class BusTextCheck
{
  public:
    /** @param[in] most how many bytes the texts may have together */
    explicit BusTextCheck(std::size_t most) : most(most)
    {}

    /** @param[in] name what the text is, for the error
     *  @throws std::logic_error when D-Bus does not carry the text, or not
     *          together with those before */
    void require(const std::string& name, const std::string& text);

  private:
    std::size_t most;
    std::size_t bytes = 0;
};

} // namespace health_namespace::details
