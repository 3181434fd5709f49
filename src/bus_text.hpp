#pragma once

/** @file What D-Bus can carry as a text. */

#include <string>
#include <string_view>

namespace health_namespace::details
{

/** Whether a text is UTF-8 without NUL. sd-bus refuses any other in the
 *  middle of a message, and a bus daemon disconnects whoever sends one. */
bool isBusText(std::string_view text);

/** @param[in] what what the text is, for the error
 *  @throws std::invalid_argument when D-Bus cannot carry the text */
void requireBusText(const char* what, const std::string& text);

} // namespace health_namespace::details
