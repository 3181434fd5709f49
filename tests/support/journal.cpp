// SPDX-License-Identifier: Apache-2.0
#include "journal.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace healthintf::test
{

long Journal::called(const std::string& call, const std::string& arguments,
                     long usual)
{
    note(arguments.empty() ? call : call + " " + arguments);
    return scripted(call, usual);
}

long Journal::scripted(const std::string& call, long usual)
{
    auto found = scripts.find(call);
    if (found == scripts.end() || found->second.empty())
    {
        return usual;
    }
    Script& next = found->second.front();
    if (next.before > 0)
    {
        --next.before;
        return usual;
    }
    const Script script = std::move(next);
    found->second.pop_front();
    if (script.thrower)
    {
        script.thrower();
    }
    return script.result;
}

void Journal::note(std::string line)
{
    noted.push_back(std::move(line));
}

void Journal::answer(const std::string& call, long result, unsigned before)
{
    scripts[call].push_back({before, result, nullptr});
}

void Journal::fail(const std::string& call, std::function<void()> thrower,
                   unsigned before)
{
    scripts[call].push_back({before, 0, std::move(thrower)});
}

void Journal::clear()
{
    noted.clear();
    scripts.clear();
}

const std::vector<std::string>& Journal::lines() const
{
    return noted;
}

std::vector<std::string> Journal::take()
{
    return std::exchange(noted, {});
}

std::vector<std::string> Journal::take(std::string_view start)
{
    std::vector<std::string> kept;
    std::ranges::copy_if(take(), std::back_inserter(kept),
                         [start](const std::string& line) {
                             return line.starts_with(start);
                         });
    return kept;
}

std::size_t Journal::count(std::string_view start) const
{
    return std::ranges::count_if(noted, [start](const std::string& line) {
        return line.starts_with(start);
    });
}

std::vector<std::string> Journal::takeCalls()
{
    return takeApart().calls;
}

CallsAndLog Journal::takeApart()
{
    constexpr std::string_view mark = "log ";
    CallsAndLog apart;
    for (std::string& line : take())
    {
        if (line.starts_with(mark))
        {
            apart.log.push_back(line.substr(mark.size()));
        }
        else
        {
            apart.calls.push_back(std::move(line));
        }
    }
    return apart;
}

Journal& journal()
{
    static Journal instance;
    return instance;
}

} // namespace healthintf::test
