// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Options that take one word of a few. */

#include <CLI/CLI.hpp>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Words and what they mean. */
template <typename Value>
using Choices = std::map<std::string, Value>;

/** What a word means, written in large or small letters.
 *
 *  @throws CLI::ValidationError naming the words when it is none of them */
template <typename Value>
Value parseChoice(const std::string& option, const std::string& word,
                  const Choices<Value>& choices)
{
    std::string all;
    for (const auto& [name, value] : choices)
    {
        if (CLI::detail::to_lower(name) == CLI::detail::to_lower(word))
        {
            return value;
        }
        all += (all.empty() ? "" : ", ") + name;
    }
    throw CLI::ValidationError(option, "\"" + word + "\" is none of: " + all);
}

/** Adds an option for one of a few words.
 *
 *  @param[in] choices in static storage
 *  @param[in,out] chosen must live until the command line is parsed */
template <typename Value>
CLI::Option* addChoice(CLI::App& command, const std::string& option,
                       Value& chosen, const Choices<Value>& choices,
                       const std::string& description)
{
    return command
        .add_option_function<std::string>(
            option,
            [&chosen, &choices, option](const std::string& word) {
                chosen = parseChoice(option, word, choices);
            },
            description)
        ->type_name("WORD");
}

/** Adds an option for words of a few, which may be given several times.
 *
 *  @param[in] choices in static storage
 *  @param[in,out] chosen must live until the command line is parsed */
template <typename Value>
CLI::Option* addChoices(CLI::App& command, const std::string& option,
                        std::set<Value>& chosen, const Choices<Value>& choices,
                        const std::string& description)
{
    const std::string name = option.substr(option.find("--"));
    return command
        .add_option_function<std::vector<std::string>>(
            option,
            [&chosen, &choices, name](const std::vector<std::string>& words) {
                for (const std::string& word : words)
                {
                    chosen.insert(parseChoice(name, word, choices));
                }
            },
            description)
        ->type_name("WORD")
        ->expected(1)
        ->take_all();
}

} // namespace healthintf::healthctl
