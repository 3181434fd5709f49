// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the doctor finds. */

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{

enum class Grade
{
    ok,
    /** It works, but not all of it, or not for long. */
    warning,
    /** Something does not work. */
    problem,
};

/** The word for a grade. */
inline const char* wordFor(Grade grade)
{
    switch (grade)
    {
        case Grade::ok:
            return "ok";
        case Grade::warning:
            return "warning";
        case Grade::problem:
            return "problem";
    }
    return "problem";
}

struct Finding
{
    /** What was looked at; scripts know it by this name. */
    std::string check;
    Grade grade = Grade::ok;
    std::string text;
    /** What to do, in one line; empty when there is nothing to do. */
    std::string remedy;
};

/** Whether so much of a limit is taken that it is time to do something: four
 *  fifths. */
constexpr bool isNear(std::size_t used, std::size_t limit)
{
    return used >= limit - limit / 5;
}

using Findings = std::vector<Finding>;

/** Puts findings behind others. */
inline void append(Findings& findings, Findings more)
{
    for (Finding& finding : more)
    {
        findings.push_back(std::move(finding));
    }
}

} // namespace healthintf::healthctl
