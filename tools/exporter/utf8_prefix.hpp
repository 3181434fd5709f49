#pragma once

/** @file Takes text apart by its characters. */

#include <cstddef>
#include <string_view>

namespace healthintf::exporter
{

/** How many bytes the first character has; 0 when the text does not begin
 *  with well-formed UTF-8. The text must not be empty. */
std::size_t utf8Prefix(std::string_view text);

} // namespace healthintf::exporter
