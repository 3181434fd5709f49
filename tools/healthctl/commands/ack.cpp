// SPDX-License-Identifier: Apache-2.0
#include "ack.hpp"

#include "../error.hpp"
#include "../healthmgr_service.hpp"
#include "../model/component.hpp"
#include "../model/fault_name.hpp"
#include "../output/line_output.hpp"
#include "../source/health_source.hpp"
#include "arguments.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr ServiceMethod acknowledgeMethod = healthmgrMethod(
    host::acknowledgementsInterface, host::acknowledgeMethod, true);
constexpr ServiceMethod withdrawMethod = healthmgrMethod(
    host::acknowledgementsInterface, host::withdrawMethod, true);

struct AckOptions
{
    std::string fault;
    std::string comment;
    bool withdraw = false;
};

/** @throws Error when healthmgr does not do it */
void callFor(const Fault& fault, const AckOptions& options)
{
    const ServiceMethod& method =
        options.withdraw ? withdrawMethod : acknowledgeMethod;
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(method);
    host::checkBus("sd_bus_message_append",
                   sd_bus_message_append(call.get(), "s", fault.path.c_str()));
    if (!options.withdraw)
    {
        host::checkBus(
            "sd_bus_message_append",
            sd_bus_message_append(call.get(), "s",
                                  givenComment(options.comment).c_str()));
    }
    try
    {
        replyOrUsage(client, method, call);
    }
    catch (const Refusal& e)
    {
        if (e.name() == host::noFaultError ||
            e.name() == host::notAcknowledgedError)
        {
            throw Error(ExitCode::notThere,
                        std::string(e.what()) +
                            "; \"healthctl faults --all\" shows all");
        }
        throw;
    }
}

ExitCode acknowledge(const Context& context, const AckOptions& options)
{
    if (options.withdraw != options.comment.empty())
    {
        throw Error(ExitCode::usage,
                    options.withdraw
                        ? "--withdraw takes no --comment"
                        : "--comment is required; it says who sees to the "
                          "fault and how");
    }
    const auto source = openSourceWithWarning(SourceChoice::automatic);
    const Faults faults = source->faults();
    const Fault& fault = findFault(faults, options.fault);
    callFor(fault, options);
    const std::string component = getComponent(fault.path);
    if (context.json)
    {
        writeJson(context, "healthctl.ack/1",
                  {{"path", fault.path},
                   {"component", component},
                   {"messageId", fault.record.messageID()},
                   {"withdrawn", options.withdraw},
                   {"comment", options.comment}});
    }
    else
    {
        writeLine(context, std::string(options.withdraw
                                           ? "Withdrew the acknowledgement of "
                                           : "Acknowledged ") +
                               fault.record.messageID() + " of " +
                               shownKey(component) + ".");
    }
    return ExitCode::ok;
}

constexpr const char* ackHelp =
    "Says that somebody sees to a fault: \"faults\", \"top\" and \"tree\" show "
    "who\nand since when. The fault stays as bad as it is. An acknowledgement "
    "goes\nwith its fault. A fault is named by its component, if that has no "
    "other one,\nor by its entry: the path, or an end that no other entry "
    "has.\n"
    "\n"
    "Examples:\n"
    "  healthctl ack chassis/psu1 --comment \"Olga sees to it\"\n"
    "  healthctl ack Fault_41CC000A_4 --comment \"ticket 4711\"\n"
    "  healthctl ack chassis/psu1 --withdraw";

} // namespace

void addAck(CommandLine& commands)
{
    const auto options = std::make_shared<AckOptions>();
    CLI::App& command = commands.add(
        {.name = "ack", .summary = "Acknowledges a fault.", .more = ackHelp},
        [options](const Context& context) {
            return acknowledge(context, *options);
        });
    command
        .add_option("FAULT", options->fault,
                    "Its component, or its entry's path or end of it")
        ->required()
        ->type_name("");
    command
        .add_option("--comment", options->comment,
                    "Who sees to it, for others to read")
        ->type_name("TEXT");
    command.add_flag("--withdraw", options->withdraw,
                     "Take the acknowledgement back");
}

} // namespace healthintf::healthctl
