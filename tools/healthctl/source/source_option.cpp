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
              "Where to read: cache, bus, or auto (the bus where the data "
              "cache cannot be opened)");
}

} // namespace healthintf::healthctl
