// SPDX-License-Identifier: Apache-2.0
#include "message_arguments.hpp"

#include <charconv>

namespace healthintf::host
{

std::string fillArguments(std::string_view text,
                          const std::vector<std::string_view>& arguments)
{
    std::string filled;
    filled.reserve(text.size());
    while (!text.empty())
    {
        const std::size_t sign = text.find('%');
        filled.append(text.substr(0, sign));
        if (sign == std::string_view::npos)
        {
            break;
        }
        text.remove_prefix(sign + 1);
        std::size_t number = 0;
        const auto [end, error] =
            std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || number == 0)
        {
            filled.push_back('%');
            continue;
        }
        text.remove_prefix(end - text.data());
        if (number <= arguments.size())
        {
            filled.append(arguments[number - 1]);
        }
    }
    return filled;
}

} // namespace healthintf::host
