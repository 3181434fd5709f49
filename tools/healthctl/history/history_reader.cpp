// SPDX-License-Identifier: Apache-2.0
#include "history_reader.hpp"

#include "../error.hpp"
#include "../model/message_id.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** Checks that a page comes from where it was asked for, and that the next one
 *  leads on.
 *
 *  @throws Error when it does not: reading would have no end */
void check(const HistoryPage& page, uint64_t from, bool backwards)
{
    const auto isBefore = [backwards](uint64_t one, uint64_t other) {
        return backwards ? one > other : one < other;
    };
    uint64_t least = from;
    bool inOrder = true;
    for (const HistoryRecord& record : page.records)
    {
        inOrder = inOrder && !isBefore(record.sequence, least);
        least = record.sequence;
    }
    const bool leadsOn = page.next == 0 || isBefore(from, page.next);
    if (!inOrder || !leadsOn)
    {
        throw Error(ExitCode::failed,
                    "logmgr sends the records of the history in no order; see "
                    "whether logmgr and healthctl are of one version");
    }
}

} // namespace

HistoryReader::HistoryReader(ReadPage readPage, HistoryFilter filter) :
    readPage(std::move(readPage)), filter(std::move(filter))
{}

void HistoryReader::readForwards(uint64_t from, const TakeRecords& take) const
{
    read(from, false, take);
}

void HistoryReader::readBackwards(const TakeRecords& take) const
{
    read(std::numeric_limits<uint64_t>::max(), true, take);
}

std::optional<uint64_t> HistoryReader::findLast(std::size_t count) const
{
    std::optional<uint64_t> found;
    readBackwards([&](const std::vector<HistoryRecord>& records) {
        const std::size_t taken = std::min(records.size(), count);
        if (taken > 0)
        {
            found = records[taken - 1].sequence;
        }
        count -= taken;
        return count > 0;
    });
    return found;
}

void HistoryReader::read(uint64_t from, bool backwards,
                         const TakeRecords& take) const
{
    for (;;)
    {
        HistoryPage page = readPage(from, backwards, filter);
        check(page, from, backwards);
        choose(page.records);
        if ((!page.records.empty() && !take(page.records)) || page.next == 0)
        {
            return;
        }
        from = page.next;
    }
}

void HistoryReader::choose(std::vector<HistoryRecord>& records) const
{
    if (filter.messages.empty())
    {
        return;
    }
    std::erase_if(records, [this](const HistoryRecord& record) {
        return std::ranges::none_of(
            filter.messages, [&record](const std::string& asked) {
                return isSameMessage(record.messageId, asked);
            });
    });
}

} // namespace healthintf::healthctl
