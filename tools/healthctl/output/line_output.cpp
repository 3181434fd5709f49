// SPDX-License-Identifier: Apache-2.0
#include "line_output.hpp"

#include <algorithm>

namespace healthintf::healthctl
{

void writeLine(const Context& context, const std::string& text, Tone tone)
{
    const std::size_t begin =
        std::min(text.find_first_not_of(' '), text.size());
    const std::string margin = text.substr(0, begin);
    Table table({});
    table.addText(margin, margin, text.substr(begin), tone);
    table.print(context.out, context.style, context.width);
}

void addFields(Table& table, const std::string& margin, const Fields& fields)
{
    std::size_t widest = 0;
    for (const auto& [name, value] : fields)
    {
        widest = std::max(widest, name.size());
    }
    const std::string rest = margin + std::string(widest + 2, ' ');
    for (const auto& [name, value] : fields)
    {
        table.addText(margin + name +
                          std::string(widest + 2 - name.size(), ' '),
                      rest, value, Tone::plain);
    }
}

void writeFields(const Context& context, const Fields& fields)
{
    Table table({});
    addFields(table, "", fields);
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
