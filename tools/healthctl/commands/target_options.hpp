// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The options that name faults to hide. */

#include "../model/hide_target.hpp"

#include <CLI/CLI.hpp>

#include <string>

namespace healthintf::healthctl
{

/** The faults that an operator names. */
struct TargetOptions
{
    /** The component as it was written; empty for none. */
    std::string component;
    HideTarget target;
};

/** Adds the options.
 *
 *  @param[in,out] options must live until the command line is parsed */
void addTargetOptions(CLI::App& command, TargetOptions& options);

/** The faults that the options name.
 *
 *  @throws Error when they name none, or have a name that components do not
 *          obey */
HideTarget chooseTarget(const TargetOptions& options);

/** @throws Error when a target has more than one name */
void requireOne(const HideTarget& target);

/** Counts what the options name, because no component answers.
 *
 *  @throws Error when there is no component of that name */
TargetCounts countNamed(const TargetOptions& options, const HideTarget& target);

} // namespace healthintf::healthctl
