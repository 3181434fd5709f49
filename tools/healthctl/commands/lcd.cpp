// SPDX-License-Identifier: Apache-2.0
#include "lcd.hpp"

#include "../choices.hpp"
#include "../error.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "config_manager/attribute_file.hpp"

#include <platform/config_manager.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** The settings by the names that operators use. */
const Choices<std::string>& settings()
{
    static const Choices<std::string> all{
        {"hideerrs", "system.embedded.1#lcd.1#hideerrs"},
        {"oemLCDFlags", "system.embedded.1#lcd.1#oemLCDFlags"}};
    return all;
}

/** A setting that is named; all settings for no name. */
Choices<std::string> listSettings(const std::string& name)
{
    if (name.empty())
    {
        return settings();
    }
    const std::string attribute = parseChoice("NAME", name, settings());
    return {{attribute.substr(attribute.rfind('#') + 1), attribute}};
}

host::Attributes attributes()
{
    try
    {
        return host::readAttributes();
    }
    catch (const std::system_error& e)
    {
        const bool refused = e.code() == std::errc::permission_denied;
        throw Error(refused ? ExitCode::notPermitted : ExitCode::failed,
                    std::string("the attributes cannot be read: ") + e.what() +
                        (refused ? "; let this user read that file"
                                 : "; see HEALTHINTF_STATE_DIR"));
    }
    catch (const std::exception& e)
    {
        throw Error(ExitCode::failed,
                    std::string("the attributes cannot be read: ") + e.what() +
                        "; \"healthctl lcd set\" makes the file anew");
    }
}

ExitCode get(const Context& context, const std::string& name)
{
    const host::Attributes held = attributes();
    auto all = nlohmann::ordered_json::array();
    // Values are aligned alike for one setting and for all.
    constexpr std::size_t longestName = 11;
    Fields fields;
    for (const auto& [shown, attribute] : listSettings(name))
    {
        std::optional<int32_t> value;
        if (const auto found = held.find(attribute); found != held.end())
        {
            value = found->second;
        }
        all.push_back({{"name", shown}, {"attribute", attribute}});
        all.back()["value"] = nullptr;
        if (value)
        {
            all.back()["value"] = *value;
        }
        fields.emplace_back(shown, value ? std::to_string(*value) : "not set");
        fields.back().first.resize(longestName, ' ');
    }
    if (context.json)
    {
        writeJson(context, "healthctl.lcd/1", {{"attributes", all}});
    }
    else
    {
        writeFields(context, fields);
    }
    return ExitCode::ok;
}

/** Why an attribute was not set, and what to do.
 *
 *  @param[in] code the platform's error number */
Error makeError(const std::string& attribute, int code)
{
    const std::string line = attribute + " was not set: ";
    switch (code)
    {
        case EACCES:
        case EPERM:
            // Of the bus, or of healthmgr, which may not write its file.
            return {ExitCode::notPermitted,
                    line + "it is not permitted; try again as root or as a "
                           "member of the group healthintf-operators, and "
                           "where that fails, too, see healthmgr's log"};
        case EHOSTUNREACH:
        case ENXIO:
            return {ExitCode::unavailable,
                    line + "healthmgr is not running; start it"};
        case ETIMEDOUT:
            return {ExitCode::unavailable,
                    line + "healthmgr did not answer; \"healthctl lcd "
                           "get\" shows whether it is set all the same"};
        case ECONNRESET:
        case ENOTCONN:
            return {ExitCode::unavailable,
                    line + "the bus ended before healthmgr answered; "
                           "\"healthctl lcd get\" shows whether it is set all "
                           "the same"};
        case EDQUOT:
            return {ExitCode::failed,
                    line + "there is no room for another attribute; take one "
                           "out of the file"};
        default:
            return {ExitCode::failed,
                    line + std::strerror(code) + "; see healthmgr's log"};
    }
}

/** @throws Error when the attribute was not set, or nobody could be told */
void setAttribute(const std::string& attribute, int32_t value)
{
    const auto bus = connectBus();
    const CfgMgrOrigin origin{"healthctl", nullptr, nullptr};
    const int result = CfgSetAttributeInt(attribute.c_str(), value, 0, &origin);
    if (result != 0)
    {
        throw makeError(attribute, result);
    }
}

ExitCode set(const Context& context, const std::string& name, int32_t value)
{
    const auto named = listSettings(name);
    const auto& [shown, attribute] = *named.begin();
    setAttribute(attribute, value);
    if (context.json)
    {
        writeJson(context, "healthctl.lcd/1",
                  {{"attributes",
                    {{{"name", shown},
                      {"attribute", attribute},
                      {"value", value}}}}});
    }
    else
    {
        writeFields(context, {{shown, std::to_string(value)}});
    }
    return ExitCode::ok;
}

void addGet(CommandLine& commands, CLI::App& group)
{
    const auto name = std::make_shared<std::string>();
    CLI::App& command =
        commands.add(group,
                     {.name = "get",
                      .summary = "Shows the settings.",
                      .more = "Examples:\n"
                              "  healthctl lcd get\n"
                              "  healthctl lcd get hideerrs --json"},
                     [name](const Context& context) {
                         return get(context, *name);
                     });
    command.add_option("NAME", *name, "hideerrs or oemLCDFlags; both without")
        ->type_name("");
}

struct NewValue
{
    std::string name;
    int32_t value = 0;
};

void addSet(CommandLine& commands, CLI::App& group)
{
    const auto wanted = std::make_shared<NewValue>();
    CLI::App& command = commands.add(
        group,
        {.name = "set",
         .summary = "Changes a setting, which all components hear of.",
         .more = "Examples:\n"
                 "  healthctl lcd set hideerrs 0      hide all faults\n"
                 "  healthctl lcd set hideerrs 1      show them again\n"
                 "  healthctl lcd set oemLCDFlags 1   hide all faults"},
        [wanted](const Context& context) {
            return set(context, wanted->name, wanted->value);
        });
    command.add_option("NAME", wanted->name, "hideerrs or oemLCDFlags")
        ->required()
        ->type_name("");
    addNumber(command, "VALUE", wanted->value, {INT32_MIN, INT32_MAX},
              "A number of 32 bits")
        ->required()
        ->type_name("");
}

} // namespace

void addLcd(CommandLine& commands)
{
    CLI::App& group = commands.addGroup(
        {.name = "lcd",
         .summary = "Shows and changes the front panel's LCD settings.",
         .more = "hideerrs: 0 hides all faults, any other value shows them.\n"
                 "oemLCDFlags: bit 0 hides all faults; clearing it shows them "
                 "and sets\nhideerrs to 1.\n\n"
                 "Examples:\n"
                 "  healthctl lcd get\n"
                 "  healthctl lcd set hideerrs 0"});
    addGet(commands, group);
    addSet(commands, group);
}

} // namespace healthintf::healthctl
