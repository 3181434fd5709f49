// SPDX-License-Identifier: Apache-2.0
#include "line_watcher.hpp"

#include "change_line.hpp"
#include "ending_signals.hpp"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <ostream>

namespace healthintf::healthctl
{
namespace
{

Context withCompactJson(const Context& context)
{
    Context compact = context;
    compact.compact = true;
    return compact;
}

void write(const Context& context, const nlohmann::ordered_json& line)
{
    const ImmediateEnd ending;
    writeJson(withCompactJson(context), watchSchema, line);
    flush(context.out);
}

} // namespace

LineWatcher::LineWatcher(const Context& context, sd_bus* bus,
                         services::EventLoop& loop) :
    // Otherwise "healthctl watch | head" would go on until the next change.
    hangup(loop.onHangup(STDOUT_FILENO,
                         [&loop] {
                             loop.exit(0);
                         })),
    follower(bus, loop, [&context](const Changes& changes) {
        for (const Change& change : changes)
        {
            write(context, toJson(change));
        }
    })
{
    write(context, describeBeginning(follower.tree()));
    for (const Change& change : follower.tree().silence())
    {
        write(context, toJson(change));
    }
}

} // namespace healthintf::healthctl
