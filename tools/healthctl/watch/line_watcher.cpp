// SPDX-License-Identifier: Apache-2.0
#include "line_watcher.hpp"

#include "../output/table.hpp"
#include "../output/time_text.hpp"
#include "change_line.hpp"
#include "change_text.hpp"
#include "ending_signals.hpp"
#include "note_change.hpp"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <ostream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

uint64_t now()
{
    return static_cast<uint64_t>(std::time(nullptr));
}

void writeObject(const Context& context, const nlohmann::ordered_json& change)
{
    Context compact = context;
    compact.compact = true;
    nlohmann::ordered_json line{{"time", utcTime(now())}};
    line.update(change);
    const ImmediateEnd ending;
    writeJson(compact, watchSchema, line);
    flush(context.out);
}

void writeText(const Context& context, const ChangeText& change)
{
    // The width of the longest health.
    constexpr std::size_t wordWidth = 8;
    const std::size_t blanks =
        wordWidth + 2 - std::min(wordWidth, change.word.size());
    const std::string lead =
        localTime(now()) + "  " + change.word + std::string(blanks, ' ');
    Table table({});
    table.addText(lead, std::string(lead.size(), ' '), change.text,
                  Tone::plain);
    const ImmediateEnd ending;
    table.print(context.out, context.style, context.width);
    flush(context.out);
}

} // namespace

LineWatcher::LineWatcher(const Context& context, const WatchFilter& filter,
                         sd_bus* bus, services::EventLoop& loop) :
    context(context),
    filter(filter),
    // Otherwise "healthctl watch | head" would go on until the next change.
    hangup(loop.onHangup(STDOUT_FILENO,
                         [&loop] {
                             loop.exit(0);
                         })),
    follower(bus, loop,
             [this](const Changes& changes) {
                 write(changes);
             }),
    notes(bus, loop, [this](Change::Kind kind, const host::Members& told) {
        write(makeNoteChanges(kind, told, follower.tree()));
    })
{
    // The reader may be gone before the loop runs.
    endWithReader();
    writeBeginning();
    write(follower.tree().silence());
}

void LineWatcher::writeBeginning() const
{
    if (context.json)
    {
        writeObject(context, beginningJson(follower.tree(), filter));
    }
    else
    {
        writeText(context, describeBeginning(follower.tree(), filter));
    }
}

void LineWatcher::write(const Changes& changes) const
{
    for (const Change& change : changes)
    {
        if (!isWatched(change, filter))
        {
            continue;
        }
        if (context.json)
        {
            writeObject(context, toJson(change));
        }
        else
        {
            writeText(context, describeChange(change));
        }
    }
}

} // namespace healthintf::healthctl
