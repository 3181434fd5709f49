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

Context oneLineEach(const Context& context)
{
    Context compact = context;
    compact.compact = true;
    return compact;
}

void write(const Context& context, const nlohmann::ordered_json& line)
{
    writeJson(oneLineEach(context), watchSchema, line);
    flush(context.out);
}

} // namespace

LineWatcher::LineWatcher(const Context& context, sd_bus* bus, EventLoop& loop) :
    context(context), bus(bus), loop(loop), heard(bus, listener())
{
    loop.setPaced(readingPace, [this] {
        takeOver();
    });
    // Or it would go on behind "head" until there is something to write.
    loop.exitOnHangup(STDOUT_FILENO);
    const Records records = readTree();
    tree.takeOver(records.nodes, records.faults);
    begun = true;
    write(context, beginningOf(tree));
}

Listener LineWatcher::listener()
{
    const auto act = [this](auto&& change) {
        loop.perform([&] {
            tell(change());
        });
    };
    return {.health =
                [this, act](const std::string& key, uint32_t health) {
                    act([&] {
                        return tree.setHealth(key, health);
                    });
                },
            .faultAdded =
                [this, act](const std::string& path,
                            const FaultEntryProperties& fault) {
                    act([&] {
                        return tree.addFault(path, fault);
                    });
                },
            .faultRemoved =
                [this, act](const std::string& path) {
                    act([&] {
                        return tree.removeFault(path);
                    });
                },
            .hidden =
                [this, act](const std::string& path, bool hidden) {
                    act([&] {
                        return tree.setHidden(path, hidden);
                    });
                },
            .unsure =
                [this] {
                    loop.requestPaced();
                }};
}

void LineWatcher::tell(const Changes& changes)
{
    if (!begun)
    {
        // Heard while the tree is read for the first time, from the bus: the
        // next reading has it.
        loop.requestPaced();
        return;
    }
    for (const Change& change : changes)
    {
        write(context, jsonOf(change));
    }
}

void LineWatcher::takeOver()
{
    // What was sent before comes first, or it would be told after what follows
    // from it.
    while (sd_bus_process(bus, nullptr) > 0)
    {}
    const Records records = readTree();
    tell(tree.takeOver(records.nodes, records.faults));
}

} // namespace healthintf::healthctl
