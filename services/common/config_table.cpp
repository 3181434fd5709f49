// SPDX-License-Identifier: Apache-2.0
#include "config_table.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace healthintf::services
{

std::string formatNumber(double number)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", number);
    return text.data();
}

namespace
{

/** The elements of a list with commas between them. */
template <typename Element, typename Show>
std::string joinWithCommas(std::initializer_list<Element> elements, Show&& show)
{
    std::string text;
    for (const Element& element : elements)
    {
        text += (text.empty() ? "" : ", ") + show(element);
    }
    return text;
}

} // namespace

ConfigTable::ConfigTable(const toml::table& table, std::string file,
                         std::string name) :
    table(table),
    file(std::move(file)), name(std::move(name))
{}

bool ConfigTable::has(const std::string& key) const
{
    return table.contains(key);
}

const toml::node* ConfigTable::find(const std::string& key)
{
    readKeys.insert(key);
    return table.get(key);
}

std::string ConfigTable::place(const std::string& key) const
{
    const toml::node* node = table.get(key);
    const auto line =
        (node != nullptr ? node->source() : table.source()).begin.line;
    return file + ":" + std::to_string(std::max<uint32_t>(line, 1)) + ": " +
           (name.empty() ? "" : name + ".") + key;
}

void ConfigTable::fail(const std::string& key, const std::string& cause) const
{
    throw ConfigError(place(key) + ": " + cause);
}

double ConfigTable::number(const std::string& key, double least, double most,
                           std::optional<double> usual)
{
    const toml::node* node = find(key);
    if (node == nullptr && usual)
    {
        return *usual;
    }
    const auto value = node == nullptr ? std::nullopt : node->value<double>();
    // NaN fails every comparison.
    if (!value || !(*value >= least && *value <= most))
    {
        fail(key, "must be a number from " + formatNumber(least) + " to " +
                      formatNumber(most));
    }
    return *value;
}

int ConfigTable::whole(const std::string& key, int least, int most, int usual)
{
    const toml::node* node = find(key);
    if (node == nullptr)
    {
        return usual;
    }
    const auto value = node->value_exact<int64_t>();
    if (!value || *value < least || *value > most)
    {
        fail(key, "must be a whole number from " + std::to_string(least) +
                      " to " + std::to_string(most));
    }
    return static_cast<int>(*value);
}

bool ConfigTable::flag(const std::string& key, bool usual)
{
    const toml::node* node = find(key);
    if (node == nullptr)
    {
        return usual;
    }
    const auto value = node->value_exact<bool>();
    if (!value)
    {
        fail(key, "must be true or false");
    }
    return *value;
}

std::vector<std::string> ConfigTable::texts(const std::string& key,
                                            std::vector<std::string> usual)
{
    const toml::node* node = find(key);
    if (node == nullptr)
    {
        return usual;
    }
    const toml::array* elements = node->as_array();
    if (elements == nullptr)
    {
        fail(key, "must be a list of texts");
    }
    std::vector<std::string> values;
    for (const toml::node& element : *elements)
    {
        values.push_back(requireText(key, element.value_exact<std::string>(),
                                     "must be a list of texts"));
    }
    return values;
}

int ConfigTable::readChoice(const std::string& key,
                            std::initializer_list<int> allowed, int usual)
{
    const toml::node* node = find(key);
    if (node == nullptr)
    {
        return usual;
    }
    const auto value = node->value_exact<int64_t>();
    const auto* found = std::ranges::find(allowed, value.value_or(-1));
    if (found == allowed.end())
    {
        fail(key, "must be one of " + joinWithCommas(allowed, [](int each) {
                      return std::to_string(each);
                  }));
    }
    return *found;
}

std::string ConfigTable::text(const std::string& key,
                              std::optional<std::string> usual)
{
    const toml::node* node = find(key);
    if (node == nullptr && usual)
    {
        return *usual;
    }
    return requireText(
        key, node == nullptr ? std::nullopt : node->value_exact<std::string>(),
        "must be a text");
}

std::string ConfigTable::requireText(const std::string& key,
                                     std::optional<std::string> value,
                                     const std::string& cause) const
{
    if (!value || value->empty())
    {
        fail(key, cause);
    }
    // The kernel and the bus would cut a name or path at the NUL.
    if (value->find('\0') != std::string::npos)
    {
        fail(key, "must have no NUL");
    }
    return std::move(*value);
}

std::string
ConfigTable::readChoice(const std::string& key,
                        std::initializer_list<std::string_view> allowed,
                        std::optional<std::string> usual)
{
    const toml::node* node = find(key);
    if (node == nullptr && usual)
    {
        return *usual;
    }
    const auto value =
        node == nullptr ? std::nullopt : node->value_exact<std::string>();
    if (!value || std::ranges::find(allowed, *value) == allowed.end())
    {
        fail(key, "must be one of " +
                      joinWithCommas(allowed, [](std::string_view each) {
                          return '"' + std::string(each) + '"';
                      }));
    }
    return *value;
}

void ConfigTable::finish() const
{
    for (const auto& [key, node] : table)
    {
        if (!readKeys.contains(std::string(key.str())))
        {
            fail(std::string(key.str()), "is no known key");
        }
    }
}

} // namespace healthintf::services
