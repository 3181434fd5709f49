// SPDX-License-Identifier: Apache-2.0
#include "source_option.hpp"

#include "../choices.hpp"

namespace healthintf::healthctl
{

void addSourceOption(CLI::App& command, SourceChoice& choice)
{
    static const Choices<SourceChoice> choices{
        {"auto", SourceChoice::automatic},
        {"cache", SourceChoice::cache},
        {"bus", SourceChoice::bus}};
    addChoice(command, "--source", choice, choices,
              "Where to read: auto, cache or bus");
}

} // namespace healthintf::healthctl
