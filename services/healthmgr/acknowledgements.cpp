// SPDX-License-Identifier: Apache-2.0
#include "acknowledgements.hpp"

#include <algorithm>

namespace healthintf::healthmgr
{
namespace
{

/** Whether the fault that was acknowledged is the one that is there. While its
 *  component has no record, its process is not known. */
bool isSame(const FaultIdentity& acknowledged, const FaultIdentity& present)
{
    FaultIdentity expected = acknowledged;
    if (present.pid == 0 || acknowledged.pid == 0)
    {
        expected.pid = present.pid;
        expected.startTime = present.startTime;
    }
    return expected == present;
}

} // namespace

Acknowledgements::Acknowledgements(std::filesystem::path path,
                                   ReadFaults readFaults) :
    file(std::move(path), "the acknowledgements"),
    readFaults(std::move(readFaults)),
    acknowledgements(file.read(parseAcknowledgements))
{}

Acknowledgements::Outcome Acknowledgements::add(const std::string& path,
                                                const std::string& comment,
                                                uint32_t user, int64_t time)
{
    const auto found = readFaults({path});
    if (!found || !found->contains(path))
    {
        return Outcome::noFault;
    }
    auto before = acknowledgements.extract(path);
    if (!hasRoom(user))
    {
        if (!before.empty())
        {
            acknowledgements.insert(std::move(before));
        }
        return Outcome::tooMany;
    }
    acknowledgements.emplace(path, Acknowledgement{.fault = found->at(path),
                                                   .comment = comment,
                                                   .user = user,
                                                   .time = time});
    file.noteChange();
    return Outcome::done;
}

bool Acknowledgements::hasRoom(uint32_t user) const
{
    const auto ofUser =
        std::ranges::count_if(acknowledgements, [user](const auto& each) {
            return each.second.user == user;
        });
    return acknowledgements.size() < most &&
           static_cast<std::size_t>(ofUser) < mostOfOneUser;
}

std::optional<Acknowledgement> Acknowledgements::remove(const std::string& path)
{
    auto node = acknowledgements.extract(path);
    if (node.empty())
    {
        return std::nullopt;
    }
    file.noteChange();
    return std::move(node.mapped());
}

std::vector<Acknowledgements::ByPath> Acknowledgements::removeGone()
{
    std::vector<std::string> paths;
    for (const auto& [path, acknowledgement] : acknowledgements)
    {
        paths.push_back(path);
    }
    const auto present = readFaults(paths);
    std::vector<ByPath> gone;
    for (const std::string& path : paths)
    {
        const bool stays = !present || (present->contains(path) &&
                                        isSame(acknowledgements.at(path).fault,
                                               present->at(path)));
        if (!stays)
        {
            gone.emplace_back(path, *remove(path));
        }
    }
    return gone;
}

bool Acknowledgements::save()
{
    return file.save([this] {
        return formatAcknowledgements(acknowledgements);
    });
}

} // namespace healthintf::healthmgr
