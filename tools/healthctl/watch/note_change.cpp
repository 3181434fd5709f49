// SPDX-License-Identifier: Apache-2.0
#include "note_change.hpp"

#include "../model/component.hpp"
#include "../source/note_members.hpp"

#include <healthmgr/protocol.hpp>

#include <set>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** The components whose faults a silence names, and its own. */
std::vector<std::string> listNamed(const HideTarget& target,
                                   const WatchedTree& tree)
{
    std::set<std::string> keys;
    if (!target.key.empty())
    {
        keys.insert(target.key);
    }
    for (const auto& [path, fault] : tree.faults())
    {
        if (isNamed({path, FaultEntry_gen(fault.properties)}, target))
        {
            keys.insert(getComponent(path));
        }
    }
    return {keys.begin(), keys.end()};
}

/** The user who ended something; nothing when nobody did. */
std::optional<uint32_t> readEnder(const host::Members& told, const char* name)
{
    return told.contains(name)
               ? std::optional(host::getMember<uint32_t>(told, name))
               : std::nullopt;
}

Change makeSilenceChange(Change::Kind kind, const host::Members& told,
                         const WatchedTree& tree)
{
    const Silence silence = makeSilence(told);
    return {.kind = kind,
            .path = {},
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = std::nullopt,
            .components = listNamed(silence.target, tree),
            .silence = silence,
            .endedBy = readEnder(told, host::members::endedBy)};
}

Change makeAcknowledgementChange(Change::Kind kind, const host::Members& told,
                                 const WatchedTree& tree)
{
    const auto path = host::getMember<std::string>(told, host::members::fault);
    const auto known = tree.faults().find(path);
    FaultEntryProperties fault;
    if (known != tree.faults().end())
    {
        fault = known->second.properties;
    }
    else
    {
        fault.messageID =
            host::getMember<std::string>(told, host::members::messageId);
        fault.message = fault.messageID;
    }
    return {.kind = kind,
            .path = path,
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = fault,
            .acknowledgement = makeAcknowledgement(told),
            .endedBy = readEnder(told, host::members::withdrawnBy)};
}

} // namespace

Changes makeNoteChanges(Change::Kind kind, const host::Members& told,
                        const WatchedTree& tree)
{
    if (kind == Change::Kind::silenced || kind == Change::Kind::silenceEnded)
    {
        return {makeSilenceChange(kind, told, tree)};
    }
    if (host::getMember<std::string>(told, host::members::reason) ==
        host::goneReason)
    {
        return {};
    }
    return {makeAcknowledgementChange(kind, told, tree)};
}

} // namespace healthintf::healthctl
