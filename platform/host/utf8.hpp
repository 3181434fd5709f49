#pragma once

/** @file What D-Bus and JSON can carry as text. */

#include <string>

namespace healthintf::host
{

/** Whether a text is well-formed UTF-8. */
bool isUtf8(const std::string& text);

} // namespace healthintf::host
