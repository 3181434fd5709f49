#include "utf8_prefix.hpp"

#include "utf8.hpp"

namespace healthintf::exporter
{

std::size_t utf8Prefix(std::string_view text)
{
    const host::Character first = host::firstCharacter(text);
    return first.valid ? first.bytes.size() : 0;
}

} // namespace healthintf::exporter
