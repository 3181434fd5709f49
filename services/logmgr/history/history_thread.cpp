// SPDX-License-Identifier: Apache-2.0
#include "history_thread.hpp"

#include "../../common/event_loop.hpp"
#include "../../common/service_log.hpp"
#include "history.hpp"

#include <exception>

namespace healthintf::history
{

namespace log = services::log;

HistoryThread::HistoryThread(const std::filesystem::path& folder,
                             const HistoryLimits& limits) :
    thread([this, folder, limits] {
        run(folder, limits);
    })
{}

HistoryThread::~HistoryThread()
{
    end.wake();
    thread.join();
}

void HistoryThread::run(const std::filesystem::path& folder,
                        const HistoryLimits& limits) noexcept
{
    try
    {
        services::EventLoop loop;
        const services::EventSource ended =
            loop.onReadable(end.descriptor(), [&loop] {
                loop.exit(0);
            });
        History history(loop, folder, limits);
        loop.run();
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::error, "EXCEPTION %s.%d.%s: no history is kept: %s",
                    e.what());
    }
}

} // namespace healthintf::history
