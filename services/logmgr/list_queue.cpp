// SPDX-License-Identifier: Apache-2.0
#include "list_queue.hpp"

#include <algorithm>
#include <utility>

namespace healthintf::logmgr
{

bool ListQueue::knows(const std::string& sender) const
{
    return senders.contains(sender);
}

bool ListQueue::add(const std::string& sender, ListCall call)
{
    Sender& from = senders[sender];
    if (from.pending >= maxListsOfSender)
    {
        return false;
    }
    if (!from.user)
    {
        from.unknown.push_back(std::move(call));
    }
    else if (!addForUser(*from.user, sender, call))
    {
        return false;
    }
    ++from.pending;
    return true;
}

bool ListQueue::addForUser(uid_t user, const std::string& sender,
                           ListCall& call)
{
    auto turn = std::ranges::find(turns, user, &Turn::user);
    if (turn == turns.end())
    {
        turn = turns.insert(turn, Turn{user, {}});
    }
    else if (turn->calls.size() >= maxListsOfUser)
    {
        return false;
    }
    turn->calls.push_back(Pending{sender, std::move(call)});
    return true;
}

std::vector<ListCall> ListQueue::setUser(const std::string& sender, uid_t user)
{
    std::vector<ListCall> tooMany;
    const auto found = senders.find(sender);
    if (found == senders.end())
    {
        return tooMany;
    }
    Sender& from = found->second;
    from.user = user;
    for (ListCall& call : std::exchange(from.unknown, {}))
    {
        if (!addForUser(user, sender, call))
        {
            --from.pending;
            tooMany.push_back(std::move(call));
        }
    }
    return tooMany;
}

void ListQueue::forget(const std::string& sender)
{
    senders.erase(sender);
    for (Turn& turn : turns)
    {
        turn.calls.remove_if([&sender](const Pending& pending) {
            return pending.sender == sender;
        });
    }
    turns.remove_if([](const Turn& turn) {
        return turn.calls.empty();
    });
}

std::optional<ListCall> ListQueue::next()
{
    if (turns.empty())
    {
        return std::nullopt;
    }
    Turn& turn = turns.front();
    Pending pending = std::move(turn.calls.front());
    turn.calls.pop_front();
    if (turn.calls.empty())
    {
        turns.pop_front();
    }
    else
    {
        turns.splice(turns.end(), turns, turns.begin());
    }
    --senders.at(pending.sender).pending;
    return std::move(pending.call);
}

} // namespace healthintf::logmgr
