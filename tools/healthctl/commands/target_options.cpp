// SPDX-License-Identifier: Apache-2.0
#include "target_options.hpp"

#include "../error.hpp"
#include "../model/component.hpp"
#include "../numbers.hpp"
#include "../source/health_source.hpp"

#include <hmi_fault_health.hpp>

namespace healthintf::healthctl
{
namespace
{

/** @throws Error for a text that is longer than components accept */
void checkLength(const std::string& text)
{
    using health_namespace::FaultAndHealth;
    if (text.size() > FaultAndHealth::maxHideText)
    {
        throw Error(ExitCode::usage,
                    "a name has " + std::to_string(text.size()) +
                        " bytes; components obey names of up to " +
                        std::to_string(FaultAndHealth::maxHideText));
    }
}

} // namespace

void addTargetOptions(CLI::App& command, TargetOptions& options)
{
    command
        .add_option("-c,--component", options.component,
                    "All faults of this component, but not below it")
        ->type_name("PATH");
    command
        .add_option("--sensor-path", options.target.sensorPath,
                    "The faults of this sensor")
        ->type_name("PATH");
    addNumber(command, "--sensor-number", options.target.sensorNumber, {1},
              "The faults of the sensors with this IPMI number")
        ->type_name("N");
}

HideTarget chooseTarget(const TargetOptions& options)
{
    HideTarget target = options.target;
    if (options.component.empty() && target.sensorPath.empty() &&
        target.sensorNumber == 0)
    {
        throw Error(ExitCode::usage,
                    "nothing is named; give --component, --sensor-path or "
                    "--sensor-number");
    }
    checkLength(options.component);
    checkLength(target.sensorPath);
    if (!options.component.empty())
    {
        target.key = parseKey(options.component);
    }
    return target;
}

void requireOne(const HideTarget& target)
{
    const int named = static_cast<int>(!target.key.empty()) +
                      static_cast<int>(!target.sensorPath.empty()) +
                      static_cast<int>(target.sensorNumber != 0);
    if (named > 1)
    {
        throw Error(ExitCode::usage, "several things are named; give one of "
                                     "--component, --sensor-path and "
                                     "--sensor-number");
    }
}

TargetCounts countNamed(const TargetOptions& options, const HideTarget& target)
{
    const auto source = openSourceWithWarning(SourceChoice::automatic);
    if (!options.component.empty())
    {
        checkComponent(*source, options.component);
    }
    return countTargets(target, source->faults());
}

} // namespace healthintf::healthctl
