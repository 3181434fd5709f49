// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How the result of a check is written. */

#include "../context.hpp"
#include "../model/component_check.hpp"

#include <cstddef>
#include <optional>
#include <string>

namespace healthintf::healthctl
{

/** The result of a check. */
struct CheckReport
{
    /** Where it was read; empty when nothing could be read. */
    std::string source;
    /** How many processes did not answer, so that what they have is missing. */
    std::size_t silent = 0;
    /** Nothing when there is none, or it could not be read. */
    std::optional<ComponentCheck> component;
    /** Why it is not known how the component is; empty when it is known. */
    std::string why;

    CheckState state() const;
};

/** The line of a monitoring plugin: the state, what there is to say for
 *  people, and after a bar the numbers as performance data. Texts of others
 *  have blanks in place of bars, equals signs and line ends, and lose their
 *  quotes: these have a meaning there. It has less than 1,024 bytes, which is
 *  what the smallest agents take, and no line end. */
std::string pluginLine(const CheckReport& report);

/** Writes the line of a plugin, or the JSON document. */
void writeReport(const Context& context, const CheckReport& report);

} // namespace healthintf::healthctl
