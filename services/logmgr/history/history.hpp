// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps the history of faults: what is heard on the bus and seen in the
 *  data cache becomes records on the disk, in the journal and on the bus. */

#include "../../common/bus_link.hpp"
#include "../../common/event_loop.hpp"
#include "../../common/retry.hpp"
#include "data_cache/open_faults.hpp"
#include "fault_follower.hpp"
#include "fault_signals.hpp"
#include "history_object.hpp"
#include "history_store.hpp"
#include "history_writer.hpp"
#include "journal.hpp"
#include "operator_signals.hpp"

#include <filesystem>
#include <functional>
#include <optional>

namespace healthintf::history
{

/** The history in an event loop. It listens on one connection and answers on
 *  another one, so that whoever reads does not delay what is recorded. While
 *  the disk or the bus fails it tries again, and then records what it has
 *  missed as far as the data cache tells it. */
class History
{
  public:
    /** @param[in] loop must outlive this object
     *  @param[in] folder where the files are */
    History(services::EventLoop& loop, std::filesystem::path folder,
            const HistoryLimits& limits);
    ~History();
    History(const History&) = delete;
    History& operator=(const History&) = delete;

  private:
    /** An open store, and what it is written with. */
    struct Session
    {
        Session(const std::filesystem::path& folder,
                const HistoryLimits& limits, host::OpenFaults& cache);

        HistoryStore store;
        HistoryWriter writer;
        FaultFollower follower;
    };

    bool open();
    void findOperators() noexcept;
    void listen(sd_bus* bus);
    FaultSignals::Handlers makeHandlers();
    OperatorSignals::Handlers makeOperatorHandlers();
    void record(Session& session, Record record);
    HistoryObject::Source makeSource();
    void use(const std::function<void(Session&)>& work) noexcept;
    void close(const std::exception& why) noexcept;
    Session& session();
    void compare();
    void publish(Session& session);
    static void announce(sd_bus* bus,
                         const std::vector<Record>& records) noexcept;

    std::filesystem::path folder;
    HistoryLimits limits;
    host::OpenFaults cache;
    Journal journal;
    std::optional<Session> opened;
    FaultSignals signals;
    OperatorSignals operators;
    HistoryObject object;
    services::EventSource publication;
    services::Retry opening;
    services::EventSource clock;
    services::BusLink listening;
    services::BusLink answering;
};

} // namespace healthintf::history
