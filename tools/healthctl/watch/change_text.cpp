// SPDX-License-Identifier: Apache-2.0
#include "change_text.hpp"

#include "../model/component.hpp"
#include "../model/trial.hpp"
#include "../output/silence_output.hpp"
#include "../output/text.hpp"
#include "../output/time_text.hpp"
#include "../source/process_name.hpp"

#include <hmi_health_value.hpp>

namespace healthintf::healthctl
{
namespace
{

ChangeText describeNode(const Change& change)
{
    const auto word = [](const std::optional<uint32_t>& health) {
        return std::string(health_namespace::healthWord(health.value_or(0)));
    };
    return {.word = change.now ? word(change.now) : "gone",
            .text = shownKey(change.path) + "  " +
                    (change.before ? "was " + word(change.before)
                                   : std::string("is new"))};
}

/** " by " and a user; empty for nobody. */
std::string byUser(const std::optional<uint32_t>& user)
{
    return user ? " by " + readUserName(*user) : "";
}

std::string describeFaultChange(const Change& change)
{
    switch (change.kind)
    {
        case Change::Kind::faultRemoved:
            return "fault gone: ";
        case Change::Kind::faultHidden:
            return "fault hidden: ";
        case Change::Kind::faultShown:
            return "fault shown: ";
        case Change::Kind::acknowledged:
            return "acknowledged" + byUser(change.acknowledgement->user) +
                   " (" + change.acknowledgement->comment + "): ";
        case Change::Kind::withdrawn:
            return "acknowledgement withdrawn" + byUser(change.endedBy) + ": ";
        default:
            return "fault: ";
    }
}

ChangeText describeFault(const Change& change)
{
    return {.word = health_namespace::healthWord(change.fault->severity),
            .text = shownKey(getComponent(change.path)) + "  " +
                    describeFaultChange(change) + change.fault->message +
                    (isForTrial(change.fault->fqdd) ? " (trial)" : "")};
}

ChangeText describeSilence(const Change& change)
{
    const Silence& silence = *change.silence;
    const bool begins = change.kind == Change::Kind::silenced;
    const std::string what =
        begins ? " until " + localTime(clockTime(silence.until)) +
                     byUser(silence.user) + ": " + silence.comment
        : change.endedBy ? " ended" + byUser(change.endedBy)
                         : " is over";
    return {.word = begins ? "silenced" : "ended",
            .text = targetInWords(silence.target) + "  silence " +
                    std::to_string(silence.id) + what};
}

ChangeText describeProcess(const Change& change)
{
    std::string components;
    for (const std::string& key : change.components)
    {
        components += (components.empty() ? "" : ", ") + shownKey(key);
    }
    const bool silent = change.kind == Change::Kind::processSilent;
    return {.word = silent ? "silent" : "answers",
            .text = change.path + "  " +
                    (silent ? "does not answer" : "answers again, or is gone") +
                    (components.empty() ? "" : "; it holds " + components)};
}

} // namespace

ChangeText describeChange(const Change& change)
{
    if (change.fault)
    {
        return describeFault(change);
    }
    if (change.silence)
    {
        return describeSilence(change);
    }
    const bool isProcess = change.kind == Change::Kind::processSilent ||
                           change.kind == Change::Kind::processSilentEnded;
    return isProcess ? describeProcess(change) : describeNode(change);
}

ChangeText describeBeginning(const WatchedTree& tree, const WatchFilter& filter)
{
    return {.word = "begin",
            .text = counted(countNodes(tree, filter), "component") + ", " +
                    counted(countFaults(tree, filter), "fault")};
}

} // namespace healthintf::healthctl
