// SPDX-License-Identifier: Apache-2.0
#include "line_watcher.hpp"

#include "change_line.hpp"
#include "records.hpp"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <chrono>
#include <ostream>

namespace healthintf::healthctl
{
namespace
{

constexpr std::chrono::milliseconds readingPace{100};

Context withCompactJson(const Context& context)
{
    Context compact = context;
    compact.compact = true;
    return compact;
}

void write(const Context& context, const nlohmann::ordered_json& line)
{
    writeJson(withCompactJson(context), watchSchema, line);
    flush(context.out);
}

} // namespace

LineWatcher::LineWatcher(const Context& context, sd_bus* bus,
                         services::EventLoop& loop) :
    context(context),
    bus(bus), loop(loop), reading(loop, readingPace,
                                  [this] {
                                      takeOver();
                                  }),
    // Otherwise "healthctl watch | head" would go on until the next change.
    hangup(loop.onHangup(STDOUT_FILENO,
                         [&loop] {
                             loop.exit(0);
                         })),
    changes(bus, makeHandlers())
{
    const Records records = readTree();
    tree.takeOver(records.nodes, records.faults);
    begun = true;
    write(context, describeBeginning(tree));
}

ChangeHandlers LineWatcher::makeHandlers()
{
    const auto perform = [this](auto&& change) {
        loop.perform([&] {
            writeChanges(change());
        });
    };
    return {.health =
                [this, perform](const std::string& key, uint32_t health) {
                    perform([&] {
                        return tree.setHealth(key, health);
                    });
                },
            .faultAdded =
                [this, perform](const std::string& path,
                                const FaultEntryProperties& fault) {
                    perform([&] {
                        return tree.addFault(path, fault);
                    });
                },
            .faultRemoved =
                [this, perform](const std::string& path) {
                    perform([&] {
                        return tree.removeFault(path);
                    });
                },
            .hidden =
                [this, perform](const std::string& path, bool hidden) {
                    perform([&] {
                        return tree.setHidden(path, hidden);
                    });
                },
            .unsure =
                [this] {
                    reading.request();
                }};
}

void LineWatcher::writeChanges(const Changes& made)
{
    if (!begun)
    {
        // The first reading from the bus handles signals while it waits for
        // answers. The next reading finds what they changed.
        reading.request();
        return;
    }
    for (const Change& change : made)
    {
        write(context, jsonOf(change));
    }
}

void LineWatcher::takeOver()
{
    // Signals from before come first, so that changes keep their order.
    while (sd_bus_process(bus, nullptr) > 0)
    {}
    const Records records = readTree();
    writeChanges(tree.takeOver(records.nodes, records.faults));
}

} // namespace healthintf::healthctl
