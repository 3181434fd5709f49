// SPDX-License-Identifier: Apache-2.0
#include "history.hpp"

#include "../../common/entry_path.hpp"
#include "../../common/service_log.hpp"
#include "line_limit.hpp"

#include <systemd/sd-event.h>

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

namespace healthintf::history
{

namespace log = services::log;

namespace
{

/** How often the history is compared with the data cache, and synced. A fault
 *  that lasts for two periods is recorded whatever the bus does. */
constexpr std::chrono::milliseconds period(400);

/** Readers wait until there is nothing to record. */
constexpr int priorityOfReaders = SD_EVENT_PRIORITY_IDLE + 1;

/** Says in a record of an operator what the fault of its entry is, as far as
 *  that is known. */
void describeFault(FaultFollower& follower, Record& record)
{
    const std::string entry = record.fault.entry;
    if (follower.find(entry) == nullptr)
    {
        // The fault may be younger than the last comparison.
        follower.compare(Now::read());
    }
    record.fault.component = services::getComponent(entry);
    if (const Record* appeared = follower.find(entry))
    {
        const uint32_t user = record.fault.user;
        record.occurrence = appeared->occurrence;
        record.fault = appeared->fault;
        record.fault.user = user;
    }
}

} // namespace

History::Session::Session(const std::filesystem::path& folder,
                          const HistoryLimits& limits,
                          host::OpenFaults& cache) :
    store(folder, limits),
    writer(store), follower(writer, store.followed(), cache, Now::read())
{}

History::History(services::EventLoop& loop, std::filesystem::path folder,
                 const HistoryLimits& limits) :
    folder(std::move(folder)),
    limits(limits), signals(makeHandlers()), operators(makeOperatorHandlers()),
    object(makeSource()), publication(loop.onRequest([this] {
        use([this](Session& session) {
            publish(session);
        });
    })),
    opening(loop,
            [this] {
                return open();
            }),
    clock(loop.every(period,
                     [this] {
                         compare();
                     })),
    listening(loop,
              [this](sd_bus* bus) {
                  signals.listen(bus);
                  operators.listen(bus);
              }),
    answering(
        loop,
        [this](sd_bus* bus) {
            object.offer(bus);
        },
        priorityOfReaders)
{
    services::EventLoop::yield(publication);
    opening.attempt();
}

History::~History()
{
    if (!opened)
    {
        return;
    }
    try
    {
        publish(*opened);
    }
    catch (const std::exception& e)
    {
        // Without another attempt: the event loop has ended.
        close(e);
    }
}

/** Opens the files, and takes up what they tell.
 *
 *  @return whether that was possible */
bool History::open()
{
    if (opened)
    {
        return true;
    }
    if (cache.refresh() != 0)
    {
        return false;
    }
    opened.emplace(folder, limits, cache);
    services::EventLoop::request(publication);
    findOperators();
    return true;
}

/** Asks what operators have done: these files may not tell it. Without a bus it
 *  is asked when there is one. */
void History::findOperators() noexcept
{
    try
    {
        if (sd_bus* bus = listening.get(); bus != nullptr)
        {
            operators.ask(bus);
        }
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
    }
}

/** Works with the open files. When that fails they are closed and opened
 *  again. */
void History::use(const std::function<void(Session&)>& work) noexcept
{
    if (!opened)
    {
        return;
    }
    try
    {
        work(*opened);
        if (opened->writer.hasGroup())
        {
            services::EventLoop::request(publication);
        }
    }
    catch (const std::exception& e)
    {
        close(e);
        opening.fail();
    }
}

/** Closes the files after a failure. */
void History::close(const std::exception& why) noexcept
{
    SERVICE_LOG(log::error,
                "%s.%d.%s: the history was not written: %s; what is "
                "missing will be marked",
                why.what());
    opened.reset();
}

/** The open files, for somebody who reads.
 *
 *  @throws std::runtime_error when they are not open */
History::Session& History::session()
{
    if (!opened)
    {
        throw std::runtime_error("the history cannot be opened");
    }
    return *opened;
}

void History::compare()
{
    use([this](Session& session) {
        if (!session.store.isInPlace())
        {
            throw std::runtime_error("its file was removed");
        }
        session.follower.compare(Now::read());
        if (session.writer.hasGroup())
        {
            publish(session);
        }
        if (session.store.unsynced() > 0)
        {
            session.store.sync();
        }
    });
}

/** Commits what was recorded, and tells it. */
void History::publish(Session& session)
{
    const auto records = session.writer.commit();
    for (const Record& record : records)
    {
        journal.write(record);
    }
    if (sd_bus* bus = answering.get(); bus != nullptr)
    {
        announce(bus, records);
    }
}

/** Tells of records that were written. When the bus is lost nobody is there to
 *  hear of them; whoever follows the history reads on when it is back. */
void History::announce(sd_bus* bus, const std::vector<Record>& records) noexcept
{
    static constinit host::LineLimit lines;
    try
    {
        HistoryObject::announce(bus, records);
    }
    catch (const std::exception& e)
    {
        if (lines.admits())
        {
            SERVICE_LOG(log::warning,
                        "%s.%d.%s: new records were not announced: %s",
                        e.what());
        }
    }
}

FaultSignals::Handlers History::makeHandlers()
{
    return {.added =
                [this](const Sender& sender, Fault fault) {
                    use([&](Session& session) {
                        session.follower.takeAdded(sender, std::move(fault),
                                                   Now::read());
                    });
                },
            .removed =
                [this](const Sender& sender, const std::string& entry) {
                    use([&](Session& session) {
                        session.follower.takeRemoved(sender, entry,
                                                     Now::read());
                    });
                },
            .happened =
                [this](Record happened) {
                    use([&](Session& session) {
                        record(session, std::move(happened));
                    });
                }};
}

OperatorSignals::Handlers History::makeOperatorHandlers()
{
    return {.happened =
                [this](Record happened) {
                    use([&](Session& session) {
                        record(session, std::move(happened));
                    });
                },
            .found =
                [this](Record found) {
                    use([&](Session& session) {
                        if (!session.store.has(found))
                        {
                            found.missed = true;
                            record(session, std::move(found));
                        }
                    });
                }};
}

/** Adds a record of something that is no beginning or end of a fault. One
 *  without a time happens now. */
void History::record(Session& session, Record record)
{
    if (record.time == 0)
    {
        record.time = Now::read().wall;
    }
    if (!record.fault.entry.empty())
    {
        describeFault(session.follower, record);
    }
    session.writer.add(std::move(record));
}

HistoryObject::Source History::makeSource()
{
    return {.read =
                [this](const HistoryQuery& query) {
                    publish(session());
                    return session().store.read(query);
                },
            .clear =
                [this] {
                    Session& open = session();
                    open.store.clear();
                    Record record;
                    record.kind = Kind::historyCleared;
                    record.time = Now::read().wall;
                    open.writer.add(std::move(record));
                    publish(open);
                },
            .status =
                [this] {
                    HistoryStore& store = session().store;
                    return HistoryStatus{.first = store.first(),
                                         .last = store.last(),
                                         .records = store.records(),
                                         .bytes = store.bytes()};
                }};
}

} // namespace healthintf::history
