#include "count.hpp"

#include "../error.hpp"

#include <hmi_faultentry.hpp>

#include <nlohmann/json.hpp>

#include <ostream>

namespace healthintf::healthctl
{
namespace
{

ExitCode count(const Context& context)
{
    int visible = 0;
    int hidden = 0;
    if (health_namespace::FaultEntry::GetNumberOfHiddenVisibleFaults(
            visible, hidden) != health_namespace::statusOk)
    {
        throw Error(ExitCode::failed,
                    "the data cache cannot be read; see the log");
    }
    if (context.json)
    {
        writeJson(context, "healthctl.count/1",
                  {{"visible", visible}, {"hidden", hidden}});
    }
    else
    {
        context.out << "visible " << visible << "\nhidden " << hidden << '\n';
    }
    return ExitCode::ok;
}

} // namespace

void addCount(CommandLine& commands)
{
    commands.add({.name = "count",
                  .summary = "Counts the visible and the hidden faults.",
                  .more = "Examples:\n"
                          "  healthctl count\n"
                          "  healthctl count --json"},
                 count);
}

} // namespace healthintf::healthctl
