// SPDX-License-Identifier: Apache-2.0
#include "note_members.hpp"

#include <healthmgr/protocol.hpp>

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

Silence makeSilence(const host::Members& members)
{
    namespace member = host::members;
    return {
        .id = host::getMember<uint64_t>(members, member::id),
        .target = {.key =
                       host::getMember<std::string>(members, member::component),
                   .sensorPath = host::getMember<std::string>(
                       members, member::sensorPath),
                   .sensorNumber = static_cast<int>(host::getMember<uint32_t>(
                       members, member::sensorNumber))},
        .comment = host::getMember<std::string>(members, member::comment),
        .user = host::getMember<uint32_t>(members, member::user),
        .since = host::getMember<int64_t>(members, member::since),
        .until = host::getMember<int64_t>(members, member::until)};
}

Silences makeSilences(const std::vector<host::Members>& list)
{
    Silences silences;
    for (const host::Members& members : list)
    {
        silences.push_back(makeSilence(members));
    }
    return silences;
}

Acknowledgement makeAcknowledgement(const host::Members& members)
{
    namespace member = host::members;
    return {.time = host::getMember<int64_t>(members, member::time),
            .user = host::getMember<uint32_t>(members, member::user),
            .comment = host::getMember<std::string>(members, member::comment)};
}

Acknowledgements makeAcknowledgements(const std::vector<host::Members>& list)
{
    Acknowledgements all;
    for (const host::Members& members : list)
    {
        all.emplace(host::getMember<std::string>(members, host::members::fault),
                    makeAcknowledgement(members));
    }
    return all;
}

} // namespace healthintf::healthctl
